#include "Platform.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <csignal>

namespace
{
const QString serviceName = QStringLiteral("com.tarn.zemo.platform");
const QString controlPath = QStringLiteral("/Control");
const QString controlInterface = QStringLiteral("com.tarn.zemo.platform.Control");
} // namespace

bool Platform::start(const QString& busAddress, const QDBusConnection& connection, const QString& scenario)
{
    connectionName = connection.name();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    if (!process.start(QStringLiteral(ZEMO_PLATFORMD), {QStringLiteral("--scenario"), scenario}, environment))
        return false;
    const auto registered = [&] { return connection.interface()->isServiceRegistered(serviceName).value(); };
    return waitUntil([&] { return !process.isRunning() || registered(); }) && process.isRunning();
}

bool Platform::isRunning() const
{
    return process.isRunning();
}

std::optional<int> Platform::stop()
{
    return process.terminate();
}

void Platform::freeze()
{
    ::kill(static_cast<pid_t>(process.processId()), SIGSTOP);
}

void Platform::thaw()
{
    ::kill(static_cast<pid_t>(process.processId()), SIGCONT);
}

bool Platform::insertDrive(const QString& path)
{
    return steer(QStringLiteral("insertDrive"), {path});
}

bool Platform::removeDrive(const QString& path)
{
    return steer(QStringLiteral("removeDrive"), {path});
}

bool Platform::setValue(int id, const QVariant& value)
{
    return steer(QStringLiteral("setValue"), {id, QVariant::fromValue(QDBusVariant(value))});
}

bool Platform::releaseValue(int id)
{
    return steer(QStringLiteral("releaseValue"), {id});
}

bool Platform::dropValue(int id)
{
    return steer(QStringLiteral("dropValue"), {id});
}

bool Platform::setDefaultLog(const QList<int>& ids)
{
    return steer(QStringLiteral("setDefaultLog"), {QVariant::fromValue(ids)});
}

bool Platform::setLanguage(const QString& locale)
{
    return steer(QStringLiteral("setLanguage"), {locale});
}

bool Platform::setDelay(const QString& operation, std::chrono::milliseconds delay)
{
    return steer(QStringLiteral("setDelay"), {operation, static_cast<uint>(delay.count())});
}

bool Platform::setFailure(const QString& operation, bool fails)
{
    return steer(QStringLiteral("setFailure"), {operation, fails});
}

bool Platform::load(const QString& scenario)
{
    return steer(QStringLiteral("load"), {scenario});
}

uint Platform::callCount(const QString& operation)
{
    return call(QStringLiteral("callCount"), {operation}).value(0).toUInt();
}

QList<int> Platform::lastIds()
{
    return qdbus_cast<QList<int>>(call(QStringLiteral("lastIds"), {}).value(0));
}

QStringList Platform::errorLines() const
{
    return process.errorLines();
}

QVariantList Platform::call(const QString& method, const QVariantList& arguments, bool* ok)
{
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, controlPath, controlInterface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection(connectionName).call(message);
    const bool answered = reply.type() == QDBusMessage::ReplyMessage;
    if (!answered)
        qWarning("%s of the platform: %s", qUtf8Printable(method), qUtf8Printable(reply.errorMessage()));
    if (ok)
        *ok = answered;
    return reply.arguments();
}

bool Platform::steer(const QString& method, const QVariantList& arguments)
{
    bool ok = false;
    call(method, arguments, &ok);
    return ok;
}
