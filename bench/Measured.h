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
