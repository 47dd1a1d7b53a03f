#pragma once

#include <cstdio>
#include <ctime>

/// The processor time that this process has used so far, in nanoseconds, all its threads together.
inline double processorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// Prints the processor time of one call of `work`, in nanoseconds, after a few calls to warm up.
template <class Work> void printProcessorTime(int calls, Work work)
{
    for (int i = 0; i < calls / 10; ++i)
    {
        work();
    }
    const double begin = processorTime();
    for (int i = 0; i < calls; ++i)
    {
        work();
    }
    std::printf("%.0f\n", (processorTime() - begin) / calls);
}
