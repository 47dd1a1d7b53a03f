#include "FaultyRun.h"

#include <QFile>

#include <csignal>
#include <ctime>

namespace
{

constexpr int DeadlineMs = 300000;

QStringList linesOf(const QByteArray& text)
{
    return QString::fromUtf8(text).split('\n', Qt::SkipEmptyParts);
}

} // namespace

FaultyRun::FaultyRun(const QString& path)
    : environment(QProcessEnvironment::systemEnvironment())
{
    environment.insert("LD_PRELOAD", FAULT_LIBRARY);
    // The address sanitizer wants to be the first library; behind this one it still finds everything.
    environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":verify_asan_link_order=0");
    set("PATH", path);
    set("LOG", folder.filePath("calls"));
}

FaultyRun& FaultyRun::at(int number)
{
    return set("AT", QString::number(number));
}

FaultyRun& FaultyRun::action(const QString& name)
{
    return set("ACTION", name);
}

FaultyRun& FaultyRun::countTogether()
{
    return set("COUNTER", folder.filePath("counter"));
}

FaultyRun& FaultyRun::set(const QString& name, const QString& value)
{
    environment.insert("ZEMO_FAULT_" + name, value);
    return *this;
}

void FaultyRun::start(const QString& program, const QStringList& arguments)
{
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
}

bool FaultyRun::finish()
{
    const bool ended = process.waitForFinished(DeadlineMs);
    if (!ended)
    {
        process.kill();
        process.waitForFinished();
    }
    lines = linesOf(process.readAll());
    return ended;
}

bool FaultyRun::run(const QString& program, const QStringList& arguments)
{
    start(program, arguments);
    return finish() && process.exitStatus() == QProcess::NormalExit;
}

bool FaultyRun::runAndKill(const QString& program, const QStringList& arguments, int microseconds)
{
    start(program, arguments);
    process.waitForStarted(DeadlineMs);
    const timespec delay = {0, microseconds * 1000L};
    nanosleep(&delay, nullptr);
    kill(static_cast<pid_t>(process.processId()), SIGKILL);
    return finish();
}

bool FaultyRun::wasKilled() const
{
    return process.exitStatus() == QProcess::CrashExit;
}

int FaultyRun::exitCode() const
{
    return process.exitCode();
}

QStringList FaultyRun::output() const
{
    return lines;
}

QStringList FaultyRun::calls() const
{
    QFile file(folder.filePath("calls"));
    QStringList calls;
    if (file.open(QIODevice::ReadOnly))
    {
        for (const QString& line : linesOf(file.readAll()))
        {
            calls << line.section(' ', 1);
        }
    }
    return calls;
}
