#include "Baseline.h"
#include "Data.h"
#include "Measured.h"

#include "logging/RAMLogger.h"

#include <benchmark/benchmark.h>

#include <memory>

// Names are Work/side/parameters; a script puts the two sides of a work together.
namespace
{

// The first second of a minute: no thinning for 59 samples, and none is timed where it isn't asked for.
constexpr uint32_t Start = 1700000040 / 60 * 60;

// A time that never falls on a whole minute.
uint32_t unthinned(uint32_t step)
{
    return Start + step / 59 * 60 + 1 + step % 59;
}

// Few enough that they stay in the cache, where the row of the moment has just been made when it is logged.
constexpr uint32_t Samples = 16;

std::vector<QMap<int32_t, DataValue>> readySamples(const Data& data)
{
    std::vector<QMap<int32_t, DataValue>> samples;
    for (uint32_t i = 0; i < Samples; ++i)
    {
        samples.push_back(data.sample(i));
    }
    return samples;
}

std::vector<std::vector<int64_t>> readyNumbers(const Data& data)
{
    std::vector<std::vector<int64_t>> samples;
    for (uint32_t i = 0; i < Samples; ++i)
    {
        samples.push_back(data.numbers(i));
    }
    return samples;
}

// Samples logged before the history is begun anew, so that memory stays bounded: 64 MB at most.
uint32_t roundsFor(int64_t parameters)
{
    return static_cast<uint32_t>(std::max<int64_t>(64, 1000000 / parameters));
}

// A history that knows each parameter already.
std::unique_ptr<RAMLogger> begunLogger(const Data& data, const QMap<int32_t, DataValue>& first)
{
    auto logger = std::make_unique<RAMLogger>(nullptr);
    logger->updateParameters(data.metadata());
    logger->log(unthinned(0), first);
    return logger;
}

std::unique_ptr<baseline::History> begunHistory(const Data& data, const std::vector<int64_t>& first)
{
    auto history = std::make_unique<baseline::History>(data.parameters());
    history->log(unthinned(0), first.data());
    return history;
}

void logOurs(benchmark::State& state, double changing)
{
    const Data data(static_cast<int>(state.range(0)), changing);
    const auto samples = readySamples(data);
    const uint32_t rounds = roundsFor(state.range(0));
    auto logger = begunLogger(data, samples[0]);
    uint32_t step = 1;
    for (auto _ : Measured(state))
    {
        logger->log(unthinned(step), samples[step % Samples]);
        if (++step % rounds == 0)
        {
            pause(state);
            logger = begunLogger(data, samples[0]);
            step = 1;
            resume(state);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void logBaseline(benchmark::State& state, double changing)
{
    const Data data(static_cast<int>(state.range(0)), changing);
    const auto samples = readyNumbers(data);
    const uint32_t rounds = roundsFor(state.range(0));
    auto history = begunHistory(data, samples[0]);
    uint32_t step = 1;
    for (auto _ : Measured(state))
    {
        history->log(unthinned(step), samples[step % Samples].data());
        if (++step % rounds == 0)
        {
            pause(state);
            history = begunHistory(data, samples[0]);
            step = 1;
            resume(state);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void thinOurs(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 1);
    RAMLogger logger(nullptr);
    logger.updateParameters(data.metadata());
    uint32_t step = 0;
    uint32_t now = Start + 259200;
    for (uint32_t time : fullHistoryTimes(now))
    {
        // Off the whole minutes, so that nothing is thinned yet.
        logger.log(time + 1, data.sample(step++));
    }
    const auto last = data.sample(step);
    logger.log(now, last);
    for (auto _ : Measured(state))
    {
        // The same moment again: nothing is stored, and the walk finds everything on its grid.
        logger.log(now, last);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * static_cast<int64_t>(step));
}

void thinBaseline(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 1);
    baseline::History history(data.parameters());
    uint32_t step = 0;
    for (uint32_t time : fullHistoryTimes(Start + 259200))
    {
        history.log(time, data.numbers(step++).data());
    }
    for (auto _ : Measured(state))
    {
        benchmark::DoNotOptimize(history.walk());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * static_cast<int64_t>(step));
}

void updateUnchangedOurs(benchmark::State& state)
{
    const auto metadata = Data(static_cast<int>(state.range(0)), 1).metadata();
    RAMLogger logger(nullptr);
    logger.updateParameters(metadata);
    for (auto _ : Measured(state))
    {
        logger.updateParameters(metadata);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void updateNewOurs(benchmark::State& state)
{
    const auto metadata = Data(static_cast<int>(state.range(0)), 1).metadata();
    for (auto _ : Measured(state))
    {
        pause(state);
        RAMLogger logger(nullptr);
        resume(state);
        logger.updateParameters(metadata);
        pause(state);
        logger.updateParameters({});
        resume(state);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::vector<uint32_t> ids(int64_t count)
{
    std::vector<uint32_t> result;
    for (uint32_t i = 0; i < count; ++i)
    {
        result.push_back(Data::FirstId + i);
    }
    return result;
}

void updateUnchangedBaseline(benchmark::State& state)
{
    const auto have = ids(state.range(0));
    const auto want = have;
    for (auto _ : Measured(state))
    {
        benchmark::DoNotOptimize(baseline::merge(have, want));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// What comes in is no array of numbers but a set of descriptions, whose ids lie far apart in memory.
void updateUnchangedRecords(benchmark::State& state)
{
    std::vector<baseline::Record> have;
    for (const uint32_t id : ids(state.range(0)))
    {
        have.push_back({id, {}});
    }
    const auto want = have;
    for (auto _ : Measured(state))
    {
        benchmark::DoNotOptimize(baseline::merge(have, want));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void updateNewBaseline(benchmark::State& state)
{
    const auto want = ids(state.range(0));
    for (auto _ : Measured(state))
    {
        std::vector<std::unique_ptr<baseline::Node>> made;
        benchmark::DoNotOptimize(baseline::merge({}, want));
        for (size_t i = 0; i < want.size(); ++i)
        {
            made.push_back(std::make_unique<baseline::Node>());
        }
        benchmark::DoNotOptimize(made.data());
        pause(state);
        made.clear();
        resume(state);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Counts rows and does nothing with them.
class Counter : public Logger
{
public:
    Counter()
        : Logger(CsvLog, 0, nullptr)
    {
    }
    bool start(bool /*continueLog*/) override
    {
        return true;
    }
    bool stop() override
    {
        return true;
    }
    bool log(uint32_t /*timestamp*/, QMap<int32_t, DataValue> /*values*/) override
    {
        ++rows;
        return true;
    }
    void updateParameters(QMap<int32_t, Metadata> /*parameters*/) override
    {
    }

    int64_t rows = 0;
};

void replayOurs(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    RAMLogger logger(nullptr);
    logger.updateParameters(data.metadata());
    const auto now = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
    uint32_t step = 0;
    for (uint32_t time : fullHistoryTimes(now))
    {
        logger.log(time, data.sample(step++));
    }
    Counter counter;
    for (auto _ : Measured(state))
    {
        logger.replayTo(&counter, QDateTime::fromSecsSinceEpoch(0), false);
    }
    state.SetItemsProcessed(counter.rows * state.range(0));
}

} // namespace

BENCHMARK_CAPTURE(logOurs, changing, 1.0)->Name("log_changed/ours")->Apply(atEverySize);
BENCHMARK_CAPTURE(logBaseline, changing, 1.0)->Name("log_changed/baseline")->Apply(atEverySize);
BENCHMARK_CAPTURE(logOurs, mostly, 0.65)->Name("log_65_percent/ours")->Apply(atEverySize);
BENCHMARK_CAPTURE(logBaseline, mostly, 0.65)->Name("log_65_percent/baseline")->Apply(atEverySize);
BENCHMARK_CAPTURE(logOurs, same, 0.0)->Name("log_unchanged/ours")->Apply(atEverySize);
BENCHMARK_CAPTURE(logBaseline, same, 0.0)->Name("log_unchanged/baseline")->Apply(atEverySize);
BENCHMARK(updateUnchangedOurs)->Name("update_unchanged/ours")->Apply(atEverySize);
BENCHMARK(updateUnchangedBaseline)->Name("update_unchanged/baseline")->Apply(atEverySize);
BENCHMARK(updateUnchangedRecords)->Name("update_unchanged/records")->Apply(atEverySize);
BENCHMARK(updateNewOurs)->Name("update_new/ours")->Apply(atEverySize);
BENCHMARK(updateNewBaseline)->Name("update_new/baseline")->Apply(atEverySize);
BENCHMARK(thinOurs)->Name("thin_full_history/ours")->Apply(atMostSizes);
BENCHMARK(thinOurs)->Name("thin_full_history/ours")->Apply(atTheLastSize);
BENCHMARK(thinBaseline)->Name("thin_full_history/baseline")->Apply(atMostSizes);
BENCHMARK(thinBaseline)->Name("thin_full_history/baseline")->Apply(atTheLastSize);
BENCHMARK(replayOurs)->Name("replay_to_nothing/ours")->Apply(atMostSizes);
BENCHMARK(replayOurs)->Name("replay_to_nothing/ours")->Apply(atTheLastSize);
