#pragma once

#include <QObject>

namespace zemo::system
{

/// Tells the service manager that the process is ready, and keeps its watchdog served from the event loop of the thread
/// that made it, as long as it lives. A thread that is busy for longer than the watchdog's interval gets the process
/// ended.
class Watchdog : public QObject
{
    Q_OBJECT

public:
    Watchdog(bool enabled, QObject* parent);
    ~Watchdog() override;
};

} // namespace zemo::system
