#pragma once

#include "Daemon.h"

#include <QDateTime>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

struct ClockPage;

/// A clock for a daemon that runs several times as fast as ours, but only while the machine lets it run: a thread
/// drives it in steps of half the patience, and where that thread is held up for longer than this, by the host of a
/// virtual machine for one, the clock stands still (`Pace`). What the daemon then misses, it misses by itself. On the
/// same processor a call into the kernel that takes the daemon longer than that stops the clock as well, so it is told
/// for how long it stood. Of the daemon's waits only those on descriptors (`poll`) follow the clock, which are all that
/// its event loop does.
class PacedClock
{
public:
    /// Where the process has a real-time priority the thread has the next one. The shorter the patience, the less can
    /// a machine that is away again and again take from those that run by the clock.
    static constexpr std::chrono::nanoseconds patienceWithPriority = std::chrono::microseconds(500);
    static constexpr std::chrono::nanoseconds patience = std::chrono::milliseconds(2);

    /// The page is a new file. None of the speeds that are set later may be higher than this one.
    PacedClock(const QString& pageFile, const QDateTime& start, int speed);
    ~PacedClock();

    PacedClock(const PacedClock&) = delete;
    PacedClock& operator=(const PacedClock&) = delete;

    /// Call before the daemon starts.
    void runFor(Daemon& daemon) const;

    /// The clock stops at 0.
    void setSpeed(int speed);

    QDateTime now() const;

    /// For how long of the machine's time the clock stood still while it was to run, and the longest piece of it.
    std::chrono::milliseconds stoodStill() const;
    std::chrono::milliseconds longestStop() const;

private:
    void drive();

    const QString path;
    const std::unique_ptr<ClockPage, void (*)(ClockPage*)> page;
    std::atomic<int> wantedSpeed;
    std::atomic<std::int64_t> stood = 0;
    std::atomic<std::int64_t> longest = 0;
    std::atomic<bool> ending = false;
    std::thread thread;
};
