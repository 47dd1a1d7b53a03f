#include "PrivateBus.h"

#include "Waiting.h"

#include <QDBusConnectionInterface>
#include <QUuid>

PrivateBus::PrivateBus() = default;

PrivateBus::~PrivateBus()
{
    disconnect();
}

bool PrivateBus::start(const QString& folder)
{
    if (!process.start(QStringLiteral(ZEMO_TOOLS "/private-bus"), {folder}))
        return false;
    if (!waitUntil([this] { return !process.outputLines().isEmpty() || !process.isRunning(); }) || address().isEmpty())
        return false;
    connectionName = QUuid::createUuid().toString();
    return QDBusConnection::connectToBus(address(), connectionName).isConnected();
}

void PrivateBus::stop()
{
    process.kill();
    disconnect();
}

QString PrivateBus::address() const
{
    return process.outputLines().value(0);
}

QDBusConnection PrivateBus::connection() const
{
    return QDBusConnection(connectionName);
}

bool PrivateBus::waitForName(const QString& name) const
{
    return waitUntil([&] { return hasName(name); });
}

bool PrivateBus::waitForNoName(const QString& name) const
{
    return waitUntil([&] { return !hasName(name); });
}

bool PrivateBus::hasName(const QString& name) const
{
    return connection().interface()->isServiceRegistered(name);
}

void PrivateBus::disconnect()
{
    if (!connectionName.isEmpty())
        QDBusConnection::disconnectFromBus(connectionName);
    connectionName.clear();
}
