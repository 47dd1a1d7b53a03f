#include "Daemon.h"

#include <QFile>
#include <QUuid>

#include <algorithm>
#include <csignal>

Daemon::Daemon(const Scratch& scratchDirectory)
    : scratch(scratchDirectory)
    , runName(QUuid::createUuid().toString(QUuid::Id128))
{
}

void Daemon::setEnvironment(const QString& name, const QString& value)
{
    environment[name] = value;
}

void Daemon::setWrapper(const QStringList& command)
{
    wrapper = command;
}

QString Daemon::addSizedStick(const QString& name, qint64 bytes)
{
    const QString path = scratch.makeStick(name);
    sizedSticks[path] = bytes;
    return path;
}

bool Daemon::start(const QString& busAddress)
{
    QFile::remove(pidFile());
    return process.start(QStringLiteral(ZEMO_TOOLS "/sandbox"), arguments(busAddress)) &&
           waitUntil([this] { return processId() > 0 || !isRunning(); }) && processId() > 0;
}

bool Daemon::isRunning() const
{
    return process.isRunning();
}

qint64 Daemon::processId() const
{
    return linesOf(pidFile()).value(0).toLongLong();
}

QString Daemon::seen(const QString& path) const
{
    return QStringLiteral("/proc/%1/root%2").arg(processId()).arg(path);
}

std::optional<int> Daemon::stop(int signal)
{
    ::kill(static_cast<pid_t>(processId()), signal);
    return waitForEnd();
}

std::optional<int> Daemon::waitForEnd(std::chrono::milliseconds deadline)
{
    return process.waitForEnd(deadline);
}

void Daemon::kill()
{
    stop(SIGKILL);
}

QList<TraceLine> Daemon::trace() const
{
    QList<TraceLine> messages;
    const QStringList lines = process.errorLines();
    for (const QString& line : lines)
    {
        if (line.startsWith(QLatin1String("  ")) && !messages.isEmpty())
            messages.last().text += QLatin1Char('\n') + line.mid(2);
        else
            messages += TraceLine::parse(line);
    }
    return messages;
}

QStringList Daemon::summaries(const QString& module) const
{
    QStringList result;
    const QList<TraceLine> messages = trace();
    for (const TraceLine& message : messages)
        if (message.module == module)
            result += message.summary();
    return result;
}

bool Daemon::hasTraced(const QString& text) const
{
    const QList<TraceLine> messages = trace();
    return std::any_of(messages.begin(), messages.end(),
                       [&](const TraceLine& message) { return message.text.contains(text); });
}

bool Daemon::waitForTrace(const QString& text) const
{
    return waitUntil([&] { return hasTraced(text); });
}

QStringList Daemon::errorLines() const
{
    return process.errorLines();
}

void Daemon::forgetTrace()
{
    process.forgetErrorLines();
}

QString Daemon::pidFile() const
{
    return scratch.root() + QLatin1String("/run/pid-") + runName;
}

QStringList Daemon::arguments(const QString& busAddress) const
{
    QStringList list = {QStringLiteral("--quiet"), QStringLiteral("--root"), scratch.root(),
                        QStringLiteral("--pid-file"), pidFile()};
    if (!busAddress.isEmpty())
        list << QStringLiteral("--bus") << busAddress;
    for (auto variable = environment.begin(); variable != environment.end(); ++variable)
        list << QStringLiteral("--setenv") << variable.key() << variable.value();
    for (auto stick = sizedSticks.begin(); stick != sizedSticks.end(); ++stick)
        list << QStringLiteral("--size") << QString::number(stick.value()) << QStringLiteral("--tmpfs") << stick.key();
    return list << QStringLiteral("--") << wrapper << QStringLiteral(ZEMO_DAEMON);
}
