#include <zemo/Watchdog.h>

#include <QTimer>

#include <chrono>
#include <systemd/sd-daemon.h>

namespace zemo::system
{

namespace
{

// Twice in each of the service manager's intervals; nothing if it keeps no watch.
void serve(QObject* owner)
{
    uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0)
    {
        return;
    }
    auto* timer = new QTimer(owner);
    QObject::connect(timer, &QTimer::timeout, owner, [] { sd_notify(0, "WATCHDOG=1"); });
    timer->start(std::chrono::milliseconds(microseconds / 2000));
}

} // namespace

Watchdog::Watchdog(bool enabled, QObject* parent)
    : QObject(parent)
{
    sd_notify(0, "READY=1");
    if (enabled)
    {
        serve(this);
    }
}

Watchdog::~Watchdog() = default;

} // namespace zemo::system
