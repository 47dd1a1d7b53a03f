#include "ExportStage.h"
#include "NoThreads.h"
#include "Termination.h"
#include "TimeZone.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <thread>

using zemo::data::PowerLogRecord;

namespace
{

const std::string Module = "LogDaemon";
const QString Hourly = "powerlog_hourly_";
const QString Quarterly = "powerlog_15_min_";
const double Missing = std::numeric_limits<double>::quiet_NaN();
constexpr auto Deadline = std::chrono::seconds(30);

/// A stage that waits for the exports: what they raise is noted on the thread that raises it.
class PowerStage : public ExportStage
{
public:
    PowerStage()
    {
        platform.texts = {{59023, "Date"}, {59024, "A"}, {59025, "B"}, {59026, "C"}, {59027, "Total"}};
        QObject::connect(
            &daemon, &LogDaemon::PowerLogExportStarted, &daemon, [this] { note("started"); }, Qt::DirectConnection);
        QObject::connect(
            &daemon, &LogDaemon::PowerLogExportCompleted, &daemon,
            [this](bool result)
            {
                if (onCompleted)
                {
                    onCompleted();
                }
                note(result ? "completed true" : "completed false");
            },
            Qt::DirectConnection);
    }

    ~PowerStage()
    {
        waitForIdle();
    }

    /// Waits for the end of the next export; false when the deadline passes or it failed.
    bool finish()
    {
        std::unique_lock lock(m_mutex);
        const bool ended = m_changed.wait_for(lock, Deadline, [this] { return m_ended > m_awaited; });
        ++m_awaited;
        return ended && m_raised.back() == "completed true";
    }

    /// The guard is given back after the last signal, with nothing to tell of it.
    void waitForIdle()
    {
        const auto end = std::chrono::steady_clock::now() + Deadline;
        while (!inspector.powerLogStart())
        {
            if (std::chrono::steady_clock::now() > end)
            {
                ADD_FAILURE() << "the export does not end";
                return;
            }
            std::this_thread::yield();
        }
        inspector.powerLogStop();
    }

    QStringList raised()
    {
        const std::lock_guard lock(m_mutex);
        return m_raised;
    }

    std::vector<std::thread::id> threads()
    {
        const std::lock_guard lock(m_mutex);
        return m_threads;
    }

    /// Exports all hourly records and answers the file.
    QByteArray hourlyFile()
    {
        EXPECT_TRUE(daemon.PowerLogExportHourlyToUsb("en_GB"));
        EXPECT_TRUE(finish());
        return contentOf(path(Hourly, 1, ".csv"));
    }

    /// The cells of the one record.
    QList<QByteArray> cellsOf(const PowerLogRecord& record)
    {
        platform.hourlyPower = {record};
        return hourlyFile().split('\n').value(1).split('\t');
    }

    std::function<void()> onCompleted; ///< runs inside the signal

private:
    void note(const QString& text)
    {
        const std::lock_guard lock(m_mutex);
        m_raised.append(text);
        m_threads.push_back(std::this_thread::get_id());
        m_ended += text.startsWith("completed") ? 1 : 0;
        m_changed.notify_all();
    }

    TimeZone m_zone{"UTC"};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    QStringList m_raised;
    std::vector<std::thread::id> m_threads;
    int m_ended = 0;
    int m_awaited = 0;
};

/// Stops the export in the middle: the first client call waits here until it is let go.
class Gate
{
public:
    explicit Gate(FakePlatform& platform, const char* operation)
        : m_platform(platform)
    {
        const std::lock_guard guard(platform);
        platform.onCall = [this, operation](const char* called)
        {
            if (std::strcmp(called, operation) == 0)
            {
                std::unique_lock lock(m_mutex);
                m_reached = true;
                m_changed.notify_all();
                m_changed.wait_for(lock, Deadline, [this] { return m_open; });
            }
        };
    }

    bool waitUntilReached()
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, Deadline, [this] { return m_reached; });
    }

    void open()
    {
        const std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

private:
    FakePlatform& m_platform;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_reached = false;
    bool m_open = false;
};

/// The one message that `pattern` fits; empty for any other number of them.
std::string onlyMatch(FakePlatform& platform, uint32_t level, const std::string& function, const QString& pattern)
{
    const QRegularExpression expression("^" + pattern + "$");
    std::string found;
    int count = 0;
    for (const FakeTraceLine& line : platform.trace())
    {
        if (line.module == Module && line.level == level && line.function == function &&
            expression.match(QString::fromStdString(line.text)).hasMatch())
        {
            found = line.text;
            ++count;
        }
    }
    return count == 1 ? found : std::string();
}

QStringList powerCalls(FakePlatform& platform)
{
    QStringList found;
    for (const FakePlatform::Call& call : platform.calls())
    {
        if (call.operation.starts_with("GetHourly") || call.operation.starts_with("GetQuarterly"))
        {
            found.append(
                QString("%1 %2 %3").arg(QString::fromStdString(call.operation)).arg(call.first).arg(call.second));
        }
    }
    return found;
}

int searchesFor(FakePlatform& platform, const QString& prefix)
{
    int count = 0;
    for (const std::string& text : platform.traceTexts("FileLogger", 1))
    {
        count += QString::fromStdString(text).contains(prefix) ? 1 : 0;
    }
    return count;
}

struct Method
{
    const char* name;
    std::function<bool(LogDaemon&)> call;
    QStringList asked;
    QStringList prefixes;
};

/// In the names of the tests, which are the same in every run then.
void PrintTo(const Method& method, std::ostream* out)
{
    *out << method.name;
}

class PowerLogMethod : public testing::TestWithParam<Method>
{
};

} // namespace

TEST_P(PowerLogMethod, AsksForItsRecordsAndWritesItsFiles)
{
    PowerStage stage;

    const bool result = GetParam().call(stage.daemon);

    EXPECT_TRUE(result);
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(powerCalls(stage.platform), GetParam().asked);
    QStringList names;
    for (const QString& prefix : GetParam().prefixes)
    {
        names.append(stage.name(prefix, 1, ".csv"));
    }
    EXPECT_EQ(stage.onStick(), names);
}

INSTANTIATE_TEST_SUITE_P(
    Methods, PowerLogMethod,
    testing::Values(Method{"All",
                           [](LogDaemon& daemon) { return daemon.PowerLogExportToUsb("en_GB"); },
                           {"GetHourly 0 0", "GetQuarterly 0 0"},
                           {Quarterly, Hourly}},
                    Method{"Hourly",
                           [](LogDaemon& daemon) { return daemon.PowerLogExportHourlyToUsb("en_GB"); },
                           {"GetHourly 0 0"},
                           {Hourly}},
                    Method{"Quarterly",
                           [](LogDaemon& daemon) { return daemon.PowerLogExportQuarterlyToUsb("en_GB"); },
                           {"GetQuarterly 0 0"},
                           {Quarterly}},
                    Method{"AllForPeriod",
                           [](LogDaemon& daemon)
                           { return daemon.PowerLogExportForPeriodToUsb("en_GB", -5, 5000000000); },
                           {"GetHourlyForPeriod -5 5000000000", "GetQuarterlyForPeriod -5 5000000000"},
                           {Quarterly, Hourly}},
                    Method{"HourlyForPeriod",
                           [](LogDaemon& daemon) { return daemon.PowerLogExportHourlyForPeriodToUsb("en_GB", 10, 11); },
                           {"GetHourlyForPeriod 10 11"},
                           {Hourly}},
                    Method{"QuarterlyForPeriod",
                           [](LogDaemon& daemon)
                           { return daemon.PowerLogExportQuarterlyForPeriodToUsb("en_GB", 10, 11); },
                           {"GetQuarterlyForPeriod 10 11"},
                           {Quarterly}}),
    [](const auto& method) { return std::string(method.param.name); });

TEST(PowerLogExport, IsThisFileByteForByte)
{
    PowerStage stage;
    stage.platform.texts[59023] = "Zeit\u00adpunkt";
    stage.platform.texts[59027] = "Größe";
    stage.platform.quarterlyPower = {{1700000000, 1.5, Missing, 2.25}, {1700000900, -3, 0.125, 1000000}};

    const bool result = stage.daemon.PowerLogExportQuarterlyToUsb("de_DE");

    EXPECT_TRUE(result);
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(contentOf(stage.path(Quarterly, 1, ".csv")),
              "Zeit\u00adpunkt\tA\tB\tC\tGröße\n"
              "2023-11-14 22:13:20\t1.500\t-\t2.250\t3.750\n"
              "2023-11-14 22:28:20\t-3.000\t0.125\t1000000.000\t999997.125\n");
}

TEST(PowerLogExport, RaisesStartedAndThenCompletedFromAThreadOfItsOwn)
{
    PowerStage stage;

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.raised(), (QStringList{"started", "completed true"}));
    EXPECT_NE(stage.threads()[0], std::this_thread::get_id());
    EXPECT_EQ(stage.threads()[0], stage.threads()[1]);
}

TEST(PowerLogExport, TheCallerDoesNotWaitForTheService)
{
    PowerStage stage;
    Gate gate(stage.platform, "GetHourly");

    const bool result = stage.daemon.PowerLogExportHourlyToUsb("en_GB");

    EXPECT_TRUE(result);
    EXPECT_TRUE(gate.waitUntilReached());
    EXPECT_EQ(stage.raised(), QStringList{"started"});
    gate.open();
    EXPECT_TRUE(stage.finish());
}

TEST(PowerLogExport, TheFileIsOpenWhileTheRecordsAreFetched)
{
    PowerStage stage;
    Gate gate(stage.platform, "GetHourly");

    stage.daemon.PowerLogExportHourlyToUsb("en_GB");

    EXPECT_TRUE(gate.waitUntilReached());
    EXPECT_EQ(contentOf(stage.path(Hourly, 1, ".csv")), "");
    gate.open();
    EXPECT_TRUE(stage.finish());
}

TEST(PowerLogGuard, ASecondExportDuringTheFirstIsRefusedAndLeavesTheRunningOneAlone)
{
    PowerStage stage;
    stage.platform.hourlyPower = {{0, 1, 2, 3}};
    Gate gate(stage.platform, "GetHourly");
    stage.daemon.PowerLogExportHourlyToUsb("en_GB");
    EXPECT_TRUE(gate.waitUntilReached());

    const bool result = stage.daemon.PowerLogExportQuarterlyToUsb("en_GB");

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStartExport", "Export is already active"), 1);
    gate.open();
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.onStick(), QStringList{stage.name(Hourly, 1, ".csv")});
    EXPECT_EQ(stage.raised(), (QStringList{"started", "completed true"}));
}

TEST(PowerLogGuard, EachOfTheSixMethodsIsRefusedWhileItIsTaken)
{
    PowerStage stage;
    ASSERT_TRUE(stage.inspector.powerLogStart());

    EXPECT_FALSE(stage.daemon.PowerLogExportToUsb("en_GB"));
    EXPECT_FALSE(stage.daemon.PowerLogExportHourlyToUsb("en_GB"));
    EXPECT_FALSE(stage.daemon.PowerLogExportQuarterlyToUsb("en_GB"));
    EXPECT_FALSE(stage.daemon.PowerLogExportForPeriodToUsb("en_GB", 1, 2));
    EXPECT_FALSE(stage.daemon.PowerLogExportHourlyForPeriodToUsb("en_GB", 1, 2));
    EXPECT_FALSE(stage.daemon.PowerLogExportQuarterlyForPeriodToUsb("en_GB", 1, 2));

    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStartExport", "Export is already active"), 6);
    stage.inspector.powerLogStop();
    EXPECT_TRUE(stage.raised().isEmpty());
}

TEST(PowerLogGuard, ACallFromInsideTheCompletedSignalIsRefused)
{
    PowerStage stage;
    bool again = true;
    stage.onCompleted = [&] { again = stage.daemon.PowerLogExportToUsb("en_GB"); };

    stage.daemon.PowerLogExportHourlyToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_FALSE(again);
    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStartExport", "Export is already active"), 1);
}

TEST(PowerLogGuard, IsGivenBackAtTheEndOfAnExport)
{
    PowerStage stage;
    stage.daemon.PowerLogExportHourlyToUsb("en_GB");
    EXPECT_TRUE(stage.finish());
    stage.waitForIdle();

    const bool result = stage.daemon.PowerLogExportHourlyToUsb("en_GB");

    EXPECT_TRUE(result);
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.raised().size(), 4);
}

TEST(PowerLogGuard, IsGivenBackAfterAnExportThatFailed)
{
    PowerStage stage;
    stage.platform.drives.clear();
    stage.daemon.PowerLogExportHourlyToUsb("en_GB");
    EXPECT_FALSE(stage.finish());

    stage.waitForIdle();

    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStopExport", "No active export to stop"), 0);
}

TEST(PowerLogGuard, IsSharedByAllObjects)
{
    PowerStage stage;
    LogDaemon other(nullptr);
    ASSERT_TRUE(stage.inspector.powerLogStart());

    EXPECT_FALSE(other.PowerLogExportToUsb("en_GB"));

    stage.inspector.powerLogStop();
}

TEST(PowerLogGuard, StoppingAnswersWhetherAnExportWasActive)
{
    PowerStage stage;
    stage.inspector.powerLogStart();

    EXPECT_TRUE(stage.inspector.powerLogStop());
    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStopExport", "No active export to stop"), 0);
    EXPECT_FALSE(stage.inspector.powerLogStop());
    EXPECT_EQ(stage.platform.traceCount(Module, 3, "PowerLogStopExport", "No active export to stop"), 1);
}

namespace
{

void expectRefusedPeriod(long long start, long long end, const std::string& text)
{
    PowerStage stage;

    const bool result = stage.daemon.PowerLogExportForPeriodToUsb("en_GB", start, end);

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportMain", text), 1);
    EXPECT_TRUE(stage.daemon.PowerLogExportHourlyForPeriodToUsb("en_GB", 1, 2));
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.raised(), (QStringList{"started", "completed true"}));
    EXPECT_EQ(powerCalls(stage.platform), QStringList{"GetHourlyForPeriod 1 2"});
}

} // namespace

TEST(PowerLogPeriod, AStartAfterItsEndIsRefusedWithoutASignalAndTheNextExportIsAccepted)
{
    expectRefusedPeriod(9000000001, 9000000000, "Invalid export period: 9000000001 >= 9000000000");
}

TEST(PowerLogPeriod, AStartEqualToItsEndIsRefusedJustSo)
{
    expectRefusedPeriod(-7, -7, "Invalid export period: -7 >= -7");
}

TEST(PowerLogPeriod, IsTraced)
{
    PowerStage stage;

    stage.daemon.PowerLogExportForPeriodToUsb("en_GB", -9000000000, 9000000000);

    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.platform.traceCount(Module, 2, "PowerLogExportMain",
                                        "Exporting power log from -9000000000 to 9000000000"),
              1);
}

TEST(PowerLogPeriod, NoneIsTracedAsAllData)
{
    PowerStage stage;

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(stage.platform.traceCount(Module, 2, "PowerLogExportMain", "Exporting all available power log data"), 1);
}

TEST(PowerLogPeriod, AStartAloneExportsAllData)
{
    PowerStage stage;
    stage.inspector.powerLogStart();

    const bool result = stage.inspector.powerLogMain("en_GB", LogDaemon::PowerLogExportType::All, 5, {});

    EXPECT_TRUE(result);
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(powerCalls(stage.platform), (QStringList{"GetHourly 0 0", "GetQuarterly 0 0"}));
    EXPECT_EQ(stage.platform.traceCount(Module, 2, "PowerLogExportMain", "Exporting all available power log data"), 1);
}

TEST(PowerLogPeriod, AnEndAloneExportsAllData)
{
    PowerStage stage;
    stage.inspector.powerLogStart();

    const bool result = stage.inspector.powerLogMain("en_GB", LogDaemon::PowerLogExportType::Hourly, {}, 5);

    EXPECT_TRUE(result);
    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(powerCalls(stage.platform), QStringList{"GetHourly 0 0"});
}

TEST(PowerLogTitles, AreAskedForOnceInTheLanguageOfTheCaller)
{
    PowerStage stage;

    stage.daemon.PowerLogExportToUsb("fr_FR");

    EXPECT_TRUE(stage.finish());
    std::vector<FakePlatform::Call> asked;
    for (const FakePlatform::Call& call : stage.platform.calls())
    {
        if (call.operation == "getTexts")
        {
            asked.push_back(call);
        }
    }
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].locale, "fr_FR");
    EXPECT_EQ(asked[0].ids, (QList<int>{59023, 59024, 59025, 59026, 59027}));
}

TEST(PowerLogTitles, MissingOnesAreEmptyWithTheirTabs)
{
    PowerStage stage;
    stage.platform.texts = {{59025, "B"}};

    EXPECT_EQ(stage.hourlyFile(), "\t\tB\t\t\n");
}

TEST(PowerLogTitles, OneThatIsEmptyIsEnoughToGoOn)
{
    PowerStage stage;
    stage.platform.texts = {{59025, ""}};

    EXPECT_EQ(stage.hourlyFile(), "\t\t\t\t\n");
}

TEST(PowerLogTitles, NoneAtAllEndsTheExportWithFalseBeforeAnyFileExists)
{
    PowerStage stage;
    stage.platform.texts.clear();

    const bool result = stage.daemon.PowerLogExportToUsb("xx_XX");

    EXPECT_TRUE(result);
    EXPECT_FALSE(stage.finish());
    EXPECT_EQ(stage.raised(), (QStringList{"started", "completed false"}));
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportFunction",
                                        "Failed to retrieve header texts (even empty ones)"),
              1);
    EXPECT_TRUE(stage.onStick().isEmpty());
    EXPECT_TRUE(powerCalls(stage.platform).isEmpty());
}

TEST(PowerLogRecords, AnEmptyListGivesTheHeaderLineAloneAndSuccess)
{
    PowerStage stage;

    EXPECT_EQ(stage.hourlyFile(), "Date\tA\tB\tC\tTotal\n");
    EXPECT_NE(onlyMatch(stage.platform, 2, "PowerLogExportSingleType", "Retrieved 0 power log entries in \\d+ ms"), "");
}

TEST(PowerLogRecords, AMissingSecondValueIsADashAndTheTotalAddsTheOthers)
{
    PowerStage stage;

    EXPECT_EQ(stage.cellsOf({0, 1.25, Missing, 2.5}).mid(1), (QList<QByteArray>{"1.250", "-", "2.500", "3.750"}));
}

TEST(PowerLogRecords, ThreeMissingValuesHaveTheTotalZero)
{
    PowerStage stage;

    EXPECT_EQ(stage.cellsOf({0, Missing, Missing, Missing}).mid(1), (QList<QByteArray>{"-", "-", "-", "0.000"}));
}

TEST(PowerLogRecords, NegativeValuesHaveTheirSignAndTheTotalIsThePlainSum)
{
    PowerStage stage;

    EXPECT_EQ(stage.cellsOf({0, -1.5, 0.25, -2}).mid(1), (QList<QByteArray>{"-1.500", "0.250", "-2.000", "-3.250"}));
}

TEST(PowerLogRecords, HugeValuesArePrintedInFull)
{
    PowerStage stage;

    const QList<QByteArray> cells = stage.cellsOf({0, 1e300, 123456789012345678.0, -1e20});

    EXPECT_EQ(cells[1].size(), 301 + 4);
    EXPECT_EQ(cells[1].toDouble(), 1e300);
    EXPECT_EQ(cells[2], "123456789012345680.000");
    EXPECT_EQ(cells[3], "-100000000000000000000.000");
    EXPECT_EQ(cells[4].toDouble(), 1e300);
}

TEST(PowerLogRecords, ThreeDecimalsAreRoundedAndTheTotalIsThatOfTheFullValues)
{
    PowerStage stage;

    EXPECT_EQ(stage.cellsOf({0, 0.0004, 0.0004, 0.0004}).mid(1),
              (QList<QByteArray>{"0.000", "0.000", "0.000", "0.001"}));
}

TEST(PowerLogRecords, TheTotalIsAddedFromTheLeft)
{
    PowerStage stage;

    stage.platform.hourlyPower = {{0, 1, 1e17, -1e17}, {0, 1e17, -1e17, 1}};

    const QList<QByteArray> lines = stage.hourlyFile().split('\n');
    EXPECT_EQ(lines.value(1).split('\t').value(4), "0.000");
    EXPECT_EQ(lines.value(2).split('\t').value(4), "1.000");
}

TEST(PowerLogRecords, InfiniteValuesAreNotMissing)
{
    PowerStage stage;
    const double infinite = std::numeric_limits<double>::infinity();

    EXPECT_EQ(stage.cellsOf({0, infinite, -infinite, 1}).mid(1), (QList<QByteArray>{"inf", "-inf", "1.000", "nan"}));
}

TEST(PowerLogRecords, ATimeBeyondTheCalendarIsAnEmptyCell)
{
    PowerStage stage;

    EXPECT_EQ(stage.cellsOf({std::numeric_limits<int64_t>::max(), 1, 2, 3}).value(0), "");
}

TEST(PowerLogRecords, LocalTimesRepeatWhenTheClockGoesBackAndTheOrderIsTheClients)
{
    PowerStage stage;
    const TimeZone berlin("Europe/Berlin");
    // 02:30 twice in the night of 29 October 2023; then a leap back.
    stage.platform.hourlyPower = {{1698539400, 1, 0, 0}, {1698543000, 2, 0, 0}, {1679790600, 3, 0, 0}};

    const QList<QByteArray> lines = stage.hourlyFile().split('\n');

    EXPECT_EQ(lines.value(1).left(25), "2023-10-29 02:30:00\t1.000");
    EXPECT_EQ(lines.value(2).left(25), "2023-10-29 02:30:00\t2.000");
    EXPECT_EQ(lines.value(3).left(25), "2023-03-26 01:30:00\t3.000");
}

TEST(PowerLogRecords, AYearOfQuarterHoursIsComplete)
{
    PowerStage stage;
    constexpr int Count = 365 * 96;
    for (int i = 0; i < Count; ++i)
    {
        stage.platform.hourlyPower.append({1700000000 + i * 900LL, i * 1.0, 0, 0});
    }

    const QList<QByteArray> lines = stage.hourlyFile().split('\n');

    ASSERT_EQ(lines.size(), Count + 2);
    EXPECT_EQ(lines[Count].split('\t').value(1), QByteArray::number(Count - 1) + ".000");
    EXPECT_NE(onlyMatch(stage.platform, 2, "PowerLogExportSingleType", "Retrieved 35040 power log entries in \\d+ ms"),
              "");
}

TEST(PowerLogOutcome, BothFilesAreTracedWithTheirTimes)
{
    PowerStage stage;

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_NE(onlyMatch(stage.platform, 2, "PowerLogExportFunction", "Exported hourly power log in \\d+ ms"), "");
    EXPECT_NE(onlyMatch(stage.platform, 2, "PowerLogExportFunction", "Exported quarterly power log in \\d+ ms"), "");
}

namespace
{

constexpr int PauseMs = 50;

/// From here on the records of either kind take their time.
void makeRecordsSlow(FakePlatform& platform)
{
    const std::lock_guard guard(platform);
    platform.onCall = [](const char* operation)
    {
        if (std::strcmp(operation, "GetHourly") == 0 || std::strcmp(operation, "GetQuarterly") == 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(PauseMs));
        }
    };
}

/// The time told at the end of the one message that `text` and a time fit.
int tracedMs(FakePlatform& platform, const std::string& function, const QString& text)
{
    return QString::fromStdString(onlyMatch(platform, 2, function, text + " \\d+ ms")).section(' ', -2, -2).toInt();
}

/// Whether that can be the milliseconds of something with a pause in it. It is measured by another clock than the pause
/// is; in microseconds it would be beyond the bound.
bool fitsThePause(int ms)
{
    return ms >= PauseMs / 2 && ms < 20000;
}

} // namespace

TEST(PowerLogOutcome, TimesAreMilliseconds)
{
    PowerStage stage;
    makeRecordsSlow(stage.platform);

    stage.hourlyFile();

    const int fetched = tracedMs(stage.platform, "PowerLogExportSingleType", "Retrieved 0 power log entries in");
    EXPECT_TRUE(fitsThePause(fetched)) << fetched;
}

TEST(PowerLogOutcome, TheTimeOfAFileIncludesThatOfItsRecords)
{
    PowerStage stage;
    makeRecordsSlow(stage.platform);

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    const int hourly = tracedMs(stage.platform, "PowerLogExportFunction", "Exported hourly power log in");
    const int quarterly = tracedMs(stage.platform, "PowerLogExportFunction", "Exported quarterly power log in");
    EXPECT_TRUE(fitsThePause(hourly)) << hourly;
    EXPECT_TRUE(fitsThePause(quarterly)) << quarterly;
}

TEST(PowerLogOutcome, AFailedHourlyFileMeansThatNoQuarterlyFileIsMade)
{
    PowerStage stage;
    stage.makeNamesTooLong();

    const bool result = stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(result);
    EXPECT_FALSE(stage.finish());
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportSingleType", "Failed to open log file"), 1);
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportFunction", "Failed to export hourly power log"), 1);
    EXPECT_EQ(searchesFor(stage.platform, Quarterly), 0);
    EXPECT_TRUE(powerCalls(stage.platform).isEmpty());
}

TEST(PowerLogOutcome, AFailedQuarterlyFileLeavesTheHourlyOneInPlace)
{
    PowerStage stage;
    const QString hourlyPath = stage.path(Hourly, 1, ".csv");
    stage.platform.onCall = [&](const char* operation)
    {
        if (std::strcmp(operation, "GetHourly") == 0)
        {
            stage.makeNamesTooLong();
        }
    };

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_FALSE(stage.finish());
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportFunction", "Failed to export quarterly power log"),
              1);
    EXPECT_EQ(contentOf(hourlyPath), "Date\tA\tB\tC\tTotal\n");
}

TEST(PowerLogOutcome, WithNoDriveTheCallIsTrueAndTheExportCompletesWithFalse)
{
    PowerStage stage;
    stage.platform.drives.clear();

    const bool result = stage.daemon.PowerLogExportQuarterlyToUsb("en_GB");

    EXPECT_TRUE(result);
    EXPECT_FALSE(stage.finish());
    EXPECT_EQ(stage.raised(), (QStringList{"started", "completed false"}));
    EXPECT_EQ(stage.platform.traceTexts(Module, 4), (std::vector<std::string>{"No USB drive", "Failed to open log file",
                                                                              "Failed to export quarterly power log"}));
}

TEST(PowerLogOutcome, WithoutAThreadToBeHadTheExportIsRefusedWithoutASignalAndTheNextOneIsAccepted)
{
    PowerStage stage;
    {
        const NoThreads none;
        EXPECT_FALSE(stage.daemon.PowerLogExportToUsb("en_GB"));
    }
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "PowerLogExportMain",
                                        "Failed to start a thread: " + std::generic_category().message(EAGAIN)),
              1);
    EXPECT_EQ(stage.raised(), QStringList());

    EXPECT_TRUE(stage.daemon.PowerLogExportHourlyToUsb("en_GB"));
    EXPECT_TRUE(stage.finish());
}

TEST(PowerLogOutcome, AWriteThatFailsDoesNotChangeTheResult)
{
    PowerStage stage;
    stage.platform.hourlyPower = QList<PowerLogRecord>(5000, PowerLogRecord{0, 1, 2, 3});
    const FullMedium limit(1000);

    stage.daemon.PowerLogExportHourlyToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(QFileInfo(stage.path(Hourly, 1, ".csv")).size(), 1000);
}

TEST(PowerLogOutcome, AnExceptionOnTheExportsThreadEndsTheProcess)
{
    const Termination termination;
    PowerStage stage;
    stage.platform.onCall = [](const char* operation)
    {
        if (std::strcmp(operation, "GetHourly") == 0)
        {
            throw std::runtime_error("no answer");
        }
    };

    EXPECT_TRUE(stage.daemon.PowerLogExportHourlyToUsb("en_GB"));

    EXPECT_TRUE(termination.isBroughtAboutBy<std::runtime_error>());
    EXPECT_EQ(stage.raised(), QStringList{"started"});
    stage.inspector.powerLogStop(); // in place of the thread, which goes no further
}

TEST(PowerLogOutcome, EachFileIsClosedAndSyncedBeforeTheExportCompletes)
{
    PowerStage stage;
    int syncs = 0;
    bool open = true;
    stage.onCompleted = [&]
    {
        syncs = stage.sync.runs();
        open = stage.sync.sawOpen(stage.path(Quarterly, 1, ".csv"));
    };

    stage.daemon.PowerLogExportToUsb("en_GB");

    EXPECT_TRUE(stage.finish());
    EXPECT_EQ(syncs, 2);
    EXPECT_FALSE(open);
}

TEST(PowerLogOutcome, WithNoSourceAtAllTheResultIsTrue)
{
    PowerStage stage;

    EXPECT_TRUE(stage.inspector.powerLogFunction("en_GB", {}, {}));
    EXPECT_TRUE(stage.onStick().isEmpty());
}
