#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

/// A clock in memory that one process drives and others read: a point of it, and how fast it runs from there. Times are
/// nanoseconds; those of the machine are of its monotonic clock, asked of the kernel as the C library's clock may be
/// another one here.
struct ClockPage
{
    std::int64_t start = 0;    ///< the wall clock where the page's time is 0, since the epoch
    std::int64_t quickest = 0; ///< no speed is ever higher
    /// How far the clock runs by itself behind the point that was last set. It stands still when whoever drives it
    /// isn't let run, as the others on its processor aren't either.
    std::int64_t longestRun = 0;
    std::atomic<std::uint32_t> version = 0; ///< odd while the three below are written
    std::atomic<std::int64_t> reached = 0;
    std::atomic<std::int64_t> since = 0; ///< when that was, by the machine's clock
    std::atomic<std::int64_t> speed = 0; ///< nanoseconds of this clock in each of the machine's

    static std::int64_t machineTime()
    {
        timespec now{};
        syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
        return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
    }

    std::int64_t now() const
    {
        for (;; sched_yield())
        {
            const std::uint32_t before = version;
            const std::int64_t time = timeAt(machineTime());
            if (before % 2 == 0 && version == before)
                return time;
        }
    }

    /// Goes on from where the clock is now, at the speed that `speedAfter` answers for the time since the last call.
    /// For the one process that drives it.
    template <class SpeedAfter> void goOn(SpeedAfter speedAfter)
    {
        // Nobody may read a time that lies behind the one from which the clock goes on.
        ++version;
        const std::int64_t machine = machineTime();
        const std::int64_t passed = machine - since;
        reached = timeAt(machine);
        since = machine;
        speed = speedAfter(passed);
        ++version;
    }

private:
    static_assert(std::atomic<std::int64_t>::is_always_lock_free, "processes share it, some of them to read only");

    std::int64_t timeAt(std::int64_t machine) const
    {
        return reached + std::clamp<std::int64_t>(machine - since, 0, longestRun) * speed;
    }
};
