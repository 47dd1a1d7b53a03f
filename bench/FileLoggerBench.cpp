#include "Baseline.h"
#include "Data.h"
#include "FakePlatform.h"
#include "Measured.h"

#include "logging/BinaryFormat.h"
#include "logging/BinaryLogger.h"
#include "logging/CSVLogger.h"
#include "logging/RAMLogger.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace
{

struct Layout
{
    explicit Layout(const Data& data)
    {
        const QMap<int32_t, Metadata> metadata = data.metadata();
        for (const Metadata& entry : metadata)
        {
            decimals.push_back(entry.decimals);
            widths.push_back(static_cast<uint8_t>(BinaryFormat::valueWidth(entry.varSize)));
            isUnsigned.push_back(BinaryFormat::isUnsigned(entry.varSize));
        }
    }

    std::vector<uint8_t> decimals;
    std::vector<uint8_t> widths;
    std::vector<bool> isUnsigned;
};

// In memory where the machine has such a place, so that the disk of the day doesn't count.
QString folderPattern()
{
    return (QFile::exists(QStringLiteral("/dev/shm")) ? QStringLiteral("/dev/shm") : QDir::tempPath()) +
           QStringLiteral("/zemologd-bench-XXXXXX");
}

constexpr uint32_t Start = 1700000041;
// Few enough that they stay in the cache, where the row of the moment has just been made when it is logged.
constexpr uint32_t Samples = 16;
// A file is begun anew after so many rows.
constexpr uint32_t RowsInAFile = 20000;

template <class FileLoggerType>
std::unique_ptr<FileLoggerType> makeLogger(const QTemporaryDir& folder, const Data& data)
{
    QDir(folder.path()).removeRecursively();
    QDir().mkpath(folder.path());
    auto logger = std::make_unique<FileLoggerType>(folder.path(), 1, nullptr);
    logger->updateParameters(data.metadata());
    logger->start(false);
    return logger;
}

template <class FileLoggerType> void rowOurs(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    const QTemporaryDir folder(folderPattern());
    auto logger = makeLogger<FileLoggerType>(folder, data);
    std::vector<QMap<int32_t, DataValue>> samples;
    for (uint32_t i = 0; i < Samples; ++i)
    {
        samples.push_back(data.sample(i));
    }
    uint32_t step = 0;
    for (auto _ : Measured(state))
    {
        logger->log(Start + step, samples[step % Samples]);
        if (++step % RowsInAFile == 0)
        {
            pause(state);
            logger->stop();
            logger = makeLogger<FileLoggerType>(folder, data);
            resume(state);
        }
    }
    logger->stop();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <void (*Write)(baseline::RowFile&, uint32_t, const std::vector<int64_t>&, const Layout&)>
void rowBaseline(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    const Layout layout(data);
    const QTemporaryDir folder(folderPattern());
    const std::string path = folder.filePath(QStringLiteral("baseline")).toStdString();
    auto file = std::make_unique<baseline::RowFile>(path);
    std::vector<std::vector<int64_t>> samples;
    for (uint32_t i = 0; i < Samples; ++i)
    {
        samples.push_back(data.numbers(i));
    }
    uint32_t step = 0;
    for (auto _ : Measured(state))
    {
        Write(*file, Start + step, samples[step % Samples], layout);
        if (++step % RowsInAFile == 0)
        {
            pause(state);
            file = std::make_unique<baseline::RowFile>(path);
            resume(state);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void writeText(baseline::RowFile& file, uint32_t time, const std::vector<int64_t>& values, const Layout& layout)
{
    file.writeText(time, values, layout.decimals);
}

void writeBinary(baseline::RowFile& file, uint32_t time, const std::vector<int64_t>& values, const Layout& layout)
{
    file.writeBinary(time, values, layout.widths);
}

void snapshotOurs(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    const QTemporaryDir folder(folderPattern());
    RAMLogger history(nullptr);
    history.updateParameters(data.metadata());
    const auto now = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
    uint32_t step = 0;
    for (uint32_t time : fullHistoryTimes(now))
    {
        history.log(time, data.sample(step++));
    }
    for (auto _ : Measured(state))
    {
        pause(state);
        auto logger = makeLogger<CSVLogger>(folder, data);
        resume(state);
        history.replayTo(logger.get(), QDateTime::fromSecsSinceEpoch(0), false);
        logger->stop();
    }
    state.SetItemsProcessed(state.iterations() * step);
}

void snapshotBaseline(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    const Layout layout(data);
    const QTemporaryDir folder(folderPattern());
    const std::vector<uint32_t> times = fullHistoryTimes(static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch()));
    std::vector<std::vector<int64_t>> rows;
    for (uint32_t i = 0; i < times.size(); ++i)
    {
        rows.push_back(data.numbers(i));
    }
    for (auto _ : Measured(state))
    {
        baseline::RowFile file(folder.filePath(QStringLiteral("baseline")).toStdString());
        for (size_t i = 0; i < times.size(); ++i)
        {
            file.writeText(times[i], rows[i], layout.decimals);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(times.size()));
}

constexpr uint32_t RowsToConvert = 5000;

// Makes a binary log and gives its path.
QString binaryLog(const QTemporaryDir& folder, const Data& data)
{
    const auto logger = makeLogger<BinaryLogger>(folder, data);
    for (uint32_t i = 0; i < RowsToConvert; ++i)
    {
        logger->log(Start + i, data.sample(i));
    }
    logger->stop();
    return folder.filePath(BinaryLogger::fileNameForIndex(0, QString()));
}

void readOurs(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    FakePlatform::instance().metadata = data.metadata();
    const QTemporaryDir folder(folderPattern());
    const QString source = binaryLog(folder, data);
    for (auto _ : Measured(state))
    {
        CSVLogger target(folder.path(), 1, nullptr);
        BinaryLogger::read(source, &target);
        pause(state);
        for (const QString& name : QDir(folder.path()).entryList({QStringLiteral("*.csv")}))
        {
            QFile::remove(folder.filePath(name));
        }
        resume(state);
    }
    state.SetItemsProcessed(state.iterations() * RowsToConvert);
}

void readBaseline(benchmark::State& state)
{
    const Data data(static_cast<int>(state.range(0)), 0.65);
    const Layout layout(data);
    const QTemporaryDir folder(folderPattern());
    const std::string source = binaryLog(folder, data).toStdString();
    const size_t headSize =
        BinaryFormat::HeadSize + BinaryFormat::TableEntrySize * static_cast<size_t>(data.parameters());
    for (auto _ : Measured(state))
    {
        baseline::binaryToText(source, folder.filePath(QStringLiteral("out")).toStdString(), layout.widths,
                               layout.isUnsigned, layout.decimals, headSize);
    }
    state.SetItemsProcessed(state.iterations() * RowsToConvert);
}

} // namespace

BENCHMARK(rowOurs<CSVLogger>)->Name("csv_row/ours")->Apply(atEverySize);
BENCHMARK(rowBaseline<writeText>)->Name("csv_row/baseline")->Apply(atEverySize);
BENCHMARK(rowOurs<BinaryLogger>)->Name("binary_row/ours")->Apply(atEverySize);
BENCHMARK(rowBaseline<writeBinary>)->Name("binary_row/baseline")->Apply(atEverySize);
BENCHMARK(snapshotOurs)->Name("snapshot_to_csv/ours")->Apply(atMostSizes);
BENCHMARK(snapshotOurs)->Name("snapshot_to_csv/ours")->Apply(atTheLastSize);
BENCHMARK(snapshotBaseline)->Name("snapshot_to_csv/baseline")->Apply(atMostSizes);
BENCHMARK(snapshotBaseline)->Name("snapshot_to_csv/baseline")->Apply(atTheLastSize);
BENCHMARK(readOurs)->Name("binary_to_csv/ours")->Apply(atMostSizes);
BENCHMARK(readOurs)->Name("binary_to_csv/ours")->Apply(atTheLastSize);
BENCHMARK(readBaseline)->Name("binary_to_csv/baseline")->Apply(atMostSizes);
BENCHMARK(readBaseline)->Name("binary_to_csv/baseline")->Apply(atTheLastSize);
