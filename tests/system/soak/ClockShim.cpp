// Preloaded into a program that is to live by the clock in the file that ZEMO_CLOCK names. A wait for it lasts by the
// fastest that the clock may run, so it may end early; programs look at the time again then.

#include "ClockPage.h"

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>

namespace
{

constexpr std::int64_t second = 1'000'000'000;

// Zero means no time to some.
constexpr std::int64_t monotonicStart = 1000 * second;

// Waits that are too short for the machine's timers would follow each other in vain.
constexpr std::int64_t shortestWait = 100'000;

const ClockPage& page()
{
    static const ClockPage* const mapped = []
    {
        const int file = open(getenv("ZEMO_CLOCK"), O_RDONLY | O_CLOEXEC);
        void* const memory = mmap(nullptr, sizeof(ClockPage), PROT_READ, MAP_SHARED, file, 0);
        if (memory == MAP_FAILED)
            abort();
        close(file);
        return static_cast<const ClockPage*>(memory);
    }();
    return *mapped;
}

timespec timespecOf(std::int64_t time)
{
    return {static_cast<time_t>(time / second), static_cast<long>(time % second)};
}

timespec shortened(std::int64_t wait)
{
    return timespecOf(std::max(wait / page().quickest, std::min(wait, shortestWait)));
}

} // namespace

// A preloaded library's functions come before those of the C library.
extern "C"
{

    int clock_gettime(clockid_t clock, timespec* result) noexcept
    {
        switch (clock)
        {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
            *result = timespecOf(page().start + page().now());
            return 0;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_BOOTTIME:
            *result = timespecOf(monotonicStart + page().now());
            return 0;
        default:
            return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
        }
    }

    int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* signals)
    {
        timespec wait{};
        if (timeout)
            wait = shortened(timeout->tv_sec * second + timeout->tv_nsec);
        constexpr int signalSetSize = 8;
        return static_cast<int>(
            syscall(SYS_ppoll, descriptors, count, timeout ? &wait : nullptr, signals, signalSetSize));
    }

    int poll(pollfd* descriptors, nfds_t count, int timeout)
    {
        const timespec wait = timespecOf(timeout * std::int64_t{1'000'000});
        return ppoll(descriptors, count, timeout < 0 ? nullptr : &wait, nullptr);
    }
}
