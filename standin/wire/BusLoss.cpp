#include "BusLoss.h"

namespace zemo::wire
{

void watchForLoss(QDBusConnection bus, QObject* receiver, const char* slot)
{
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"), QStringLiteral("org.freedesktop.DBus.Local"),
                QStringLiteral("Disconnected"), receiver, slot);
}

} // namespace zemo::wire
