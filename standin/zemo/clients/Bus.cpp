#include "Bus.h"

#include <wire/Records.h>

namespace zemo::clients
{

namespace
{

QDBusConnection connectToBus()
{
    wire::registerTypes();
    return QDBusConnection::connectToBus(systemBusAddress(), QStringLiteral("zemo-clients"));
}

} // namespace

QString systemBusAddress()
{
    const QString given = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return given.isEmpty() ? QStringLiteral("unix:path=/run/dbus/system_bus_socket") : given;
}

QDBusConnection bus()
{
    // Lives for ever, since threads that nobody joins may still ask while the process ends.
    static const auto& everlasting = *new QDBusConnection(connectToBus());
    return everlasting;
}

} // namespace zemo::clients
