// The C library's older ways to the wall clock, for programs and libraries that bring a clock_gettime of their own.

#include <ctime>
#include <sys/time.h>

extern "C"
{

    int gettimeofday(timeval* result, void* /*zone*/) noexcept
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        *result = {now.tv_sec, now.tv_nsec / 1000};
        return 0;
    }

    time_t time(time_t* result) noexcept
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        if (result)
        {
            *result = now.tv_sec;
        }
        return now.tv_sec;
    }
}
