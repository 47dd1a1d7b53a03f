#pragma once

#include <QDBusConnection>
#include <QString>

namespace zemo::clients
{

/// The address of the system bus, as the bus library finds it.
QString systemBusAddress();

/// The clients' connection to it, theirs alone: what others send to the process' own connection, however much it is,
/// keeps no answer of the platform waiting. It knows the types of the wire. Any thread.
QDBusConnection bus();

} // namespace zemo::clients
