#pragma once

#include <QDBusConnection>

namespace zemo::wire
{

/// Calls the slot, given as SLOT(...), when the connection to the bus is lost. It never comes back.
void watchForLoss(QDBusConnection bus, QObject* receiver, const char* slot);

} // namespace zemo::wire
