#pragma once

#include <benchmark/benchmark.h>

#include <valgrind/callgrind.h>

/// The loop of a benchmark, `for (auto _ : Measured(state))`. Under callgrind what runs meanwhile is counted, on all
/// threads, and nothing else; without callgrind this costs nothing.
class Measured
{
public:
    explicit Measured(benchmark::State& state)
        : m_state(state)
    {
        CALLGRIND_START_INSTRUMENTATION;
    }
    ~Measured()
    {
        CALLGRIND_STOP_INSTRUMENTATION;
    }
    Measured(const Measured&) = delete;
    Measured& operator=(const Measured&) = delete;

    auto begin()
    {
        return m_state.begin();
    }
    auto end()
    {
        return m_state.end();
    }

private:
    benchmark::State& m_state;
};

/// Takes what follows out of the measured time and count, until resume.
inline void pause(benchmark::State& state)
{
    CALLGRIND_STOP_INSTRUMENTATION;
    state.PauseTiming();
}

inline void resume(benchmark::State& state)
{
    state.ResumeTiming();
    CALLGRIND_START_INSTRUMENTATION;
}

/// Instructions need no repetition to be exact: under callgrind each loop runs so often.
constexpr int CountedIterations = 5;

inline void countable(benchmark::internal::Benchmark* work)
{
    if (RUNNING_ON_VALGRIND != 0)
    {
        work->Iterations(CountedIterations);
    }
}

/// The sizes that every work is measured at, to show how it grows.
inline void atEverySize(benchmark::internal::Benchmark* work)
{
    work->Arg(10)->Arg(101)->Arg(1000)->Arg(10000);
    countable(work);
}

/// The same for what goes over a whole history, without the last size.
inline void atMostSizes(benchmark::internal::Benchmark* work)
{
    work->Arg(10)->Arg(101)->Arg(1000)->Unit(benchmark::kMillisecond);
    countable(work);
}

/// The last size of those, which takes so long and so much memory that once has to do.
inline void atTheLastSize(benchmark::internal::Benchmark* work)
{
    work->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(1);
}
