#include "Client.h"

#include "CommandLine.h"

#include <QDBusError>
#include <QDBusServiceWatcher>
#include <QTimer>

#include <iostream>
#include <unistd.h>

namespace
{
const QString Service = QStringLiteral("com.tarn.zemo.logd");
const QString Path = QStringLiteral("/Logging");

bool isAbsence(const QDBusMessage& reply)
{
    const QDBusError::ErrorType type = QDBusError(reply).type();
    return type == QDBusError::ServiceUnknown || type == QDBusError::NoServer || type == QDBusError::Disconnected ||
           reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
}

// The bus answers for a daemon that left the call unanswered. When the time is over the error is made here.
bool isAbandonment(const QDBusMessage& reply)
{
    return QDBusError(reply).type() == QDBusError::NoReply && reply.service() == QLatin1String("org.freedesktop.DBus");
}

} // namespace

Client::Client(const Output& output, const Options& options)
    : m_output(output)
    , m_options(options)
    , m_bus(QDBusConnection::systemBus())
{
}

int Client::run(const Command& command, const Given& given)
{
    const QVariantList arguments = busArguments(command, given); // a mistake in them is one without a bus as well
    if (!m_bus.isConnected())
    {
        return m_output.error(ExitUnavailable, "NoBus",
                              "cannot reach the system bus: " + m_bus.lastError().message().toStdString());
    }
    if (command.answer == Command::Nothing)
    {
        return monitor();
    }
    Command called = command;
    called.method = busMethod(command, given);
    return call(called, arguments);
}

int Client::call(const Command& command, const QVariantList& arguments)
{
    const bool follows = m_options.wait && !command.finishedSignal.empty();
    // Before the call: a quick job may be through before its answer has arrived.
    if (follows && !listenForEnd(command))
    {
        return deaf();
    }
    QDBusMessage message =
        QDBusMessage::createMethodCall(Service, Path, Service, QString::fromStdString(command.method));
    message.setArguments(arguments);
    const QDBusMessage reply = m_bus.call(message, QDBus::BlockWithGui, m_options.timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage)
    {
        return fail(reply);
    }
    const QVariant value = reply.arguments().value(0);
    return follows && value.toBool() ? follow(command) : m_output.answer(command, value);
}

int Client::fail(const QDBusMessage& reply) const
{
    const std::string name = reply.errorName().toStdString();
    if (isAbsence(reply))
    {
        return m_output.error(ExitUnavailable, name, "the daemon is not on the bus");
    }
    if (isAbandonment(reply))
    {
        return m_output.error(ExitUnavailable, name, "the daemon went away before it answered");
    }
    const QDBusError::ErrorType type = QDBusError(reply).type();
    if (type == QDBusError::NoReply || type == QDBusError::TimedOut || type == QDBusError::Timeout)
    {
        return m_output.error(ExitTimeout, name, "no answer in time");
    }
    return m_output.error(ExitSoftware, name, reply.errorMessage().toStdString());
}

int Client::follow(const Command& command)
{
    QTimer::singleShot(m_options.timeoutMs, &m_loop, &QEventLoop::quit);
    m_clock.start();
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&] { showProgress(command); });
    const bool onTerminal = isatty(STDERR_FILENO) != 0;
    if (onTerminal)
    {
        ticker.start(100);
    }
    // The job may be through by now, and a loop can't be left before it runs.
    if (!m_finishedOk && m_loss.empty())
    {
        m_loop.exec();
    }
    if (onTerminal)
    {
        std::cerr << "\r\033[K";
    }
    if (m_finishedOk)
    {
        return m_output.finished(command, *m_finishedOk);
    }
    return m_loss.empty() ? m_output.error(ExitTimeout, "Timeout", "not finished in time")
                          : m_output.error(ExitUnavailable, "Gone", m_loss);
}

void Client::showProgress(const Command& command)
{
    std::cerr << "\r" << command.group << " " << command.name << ": " << m_clock.elapsed() / 1000 << " s" << std::flush;
}

int Client::monitor()
{
    if (!listenFor(QString(), SLOT(onSignal(QDBusMessage))))
    {
        return deaf();
    }
    m_loop.exec();
    return m_output.error(ExitUnavailable, "Gone", m_loss);
}

// The signals of the daemon, or one of them, and the end of the bus.
bool Client::listenFor(const QString& signal, const char* slot)
{
    return m_bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                         QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                         SLOT(onBusGone())) &&
           m_bus.connect(Service, Path, Service, signal, this, slot);
}

bool Client::listenForEnd(const Command& command)
{
    auto* watcher = new QDBusServiceWatcher(Service, m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { lose("the daemon left the bus before it was through"); });
    return listenFor(QString::fromStdString(command.finishedSignal), SLOT(onFinished(QDBusMessage)));
}

int Client::deaf() const
{
    return m_output.error(ExitUnavailable, "NoSignals",
                          "cannot listen for the daemon's signals: " + m_bus.lastError().message().toStdString());
}

void Client::lose(const std::string& what)
{
    m_loss = what;
    m_loop.quit();
}

void Client::onBusGone()
{
    lose("the bus went away");
}

void Client::onFinished(const QDBusMessage& message)
{
    m_finishedOk = message.arguments().value(0).toBool();
    m_loop.quit();
}

void Client::onSignal(const QDBusMessage& message)
{
    m_output.signal(message.member(), message.arguments());
}
