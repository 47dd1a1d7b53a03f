#include "Bus.h"

namespace zemo::clients
{

QString systemBusAddress()
{
    const QString given = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return given.isEmpty() ? QStringLiteral("unix:path=/run/dbus/system_bus_socket") : given;
}

QDBusConnection bus()
{
    // Lives for ever, since threads that nobody joins may still ask while the process ends.
    static const auto& everlasting =
        *new QDBusConnection(QDBusConnection::connectToBus(systemBusAddress(), QStringLiteral("zemo-clients")));
    return everlasting;
}

} // namespace zemo::clients
