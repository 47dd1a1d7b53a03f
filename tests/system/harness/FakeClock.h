#pragma once

#include "Daemon.h"

#include <QDateTime>

/// Another clock for a daemon, through libfaketime. Files keep the machine's real times.
namespace fakeClock
{

/// The daemon's clock starts at `start` (local time of the daemon) and runs `speed` times as fast, its timers too.
/// Call before the daemon starts.
void runFrom(Daemon& daemon, const QDateTime& start, int speed = 1);

/// The daemon's clock can be set while it runs; timers go on at their own pace. Call before the daemon starts, then set
/// the clock with `set`.
void steer(Daemon& daemon, const Scratch& scratch);

/// Sets the clock of all steered daemons of the scratch directory; it runs on from there.
void set(const Scratch& scratch, const QDateTime& now);

} // namespace fakeClock
