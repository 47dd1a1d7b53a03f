#include "SteeredClock.h"

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

std::atomic<qint64> steered = 0; // seconds since the epoch

} // namespace

void steeredClock::set(const QDateTime& now)
{
    steered = now.toSecsSinceEpoch();
}

void steeredClock::advance(qint64 seconds)
{
    steered += seconds;
}

// A program's own functions come before those of the C library, for the libraries too.
extern "C"
{

    int clock_gettime(clockid_t clock, timespec* result) noexcept
    {
        if (steered == 0 || (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE))
        {
            return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
        }
        *result = {static_cast<time_t>(steered), 0};
        return 0;
    }
}
