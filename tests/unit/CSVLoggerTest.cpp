#include "FakePlatform.h"
#include "LoggerTestSupport.h"

#include "logging/CSVLogger.h"

#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <thread>

namespace
{

/// Opens what a test has to hold or look at.
class OpenedCSVLogger : public CSVLogger
{
public:
    using CSVLogger::CSVLogger;
    using CSVLogger::fileMutex;
    using CSVLogger::logMutex;

    bool isRunning() override
    {
        onLook();
        return CSVLogger::isRunning();
    }

    int descriptor() const
    {
        return file->handle();
    }

    std::function<void()> onLook = [] {}; ///< runs whenever an operation asks for the state
};

class CSVLoggerTest : public testing::Test
{
protected:
    CSVLoggerTest()
    {
        platform.addParameter(1, "A", "kW");
        platform.addParameter(2, "B");
        logger.setBaseName("x");
    }

    QString path(const QString& name) const
    {
        return directory.filePath(name);
    }

    QByteArray content(const QString& name = "x-123456-1.csv") const
    {
        return contentOf(path(name));
    }

    /// Starts the logger with all parameters of the platform.
    void begin()
    {
        logger.updateParameters(platform.metadata);
        ASSERT_TRUE(logger.start(false));
    }

    /// The times of the rows in the file, as they stand there.
    QList<QByteArray> rowTimes() const
    {
        QList<QByteArray> times;
        for (const QByteArray& line : content().split('\n').mid(1))
        {
            times.append(line.split('\t')[0]);
        }
        times.removeLast(); // behind the last line's end
        return times;
    }

    static QByteArray timeText(int64_t time)
    {
        return QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString("yyyy-MM-dd hh:mm:ss").toUtf8();
    }

    TimeZone zone{"UTC"};
    FakePlatform platform;
    QTemporaryDir directory;
    OpenedCSVLogger logger{directory.path(), 1, nullptr};
};

// What it is

TEST_F(CSVLoggerTest, IsOfTypeTwoWithIndexZeroAndItsInterval)
{
    const CSVLogger fresh("/tmp", 37, nullptr);

    EXPECT_EQ(fresh.getType(), 2);
    EXPECT_EQ(fresh.getLogIndex(), 0U);
    EXPECT_EQ(fresh.getInterval(), 37);
}

TEST_F(CSVLoggerTest, ItsFilesEndInCsv)
{
    EXPECT_EQ(logger.getFileExtension(), ".csv");
}

TEST_F(CSVLoggerTest, ItsBaseNameIsTodaysLocalDateUnlessOneIsSet)
{
    CSVLogger fresh("/tmp", 1, nullptr);
    const TimeZone early("<-12>12");
    EXPECT_EQ(fresh.getBaseName(), QDate::currentDate().toString("yyyyMMdd"));

    const TimeZone late("<+14>-14");
    EXPECT_EQ(fresh.getBaseName(), QDate::currentDate().toString("yyyyMMdd"));
    EXPECT_NE(fresh.getBaseName(), QDateTime::currentDateTimeUtc().addDays(-1).toString("yyyyMMdd"));

    fresh.setBaseName("pump");
    EXPECT_EQ(fresh.getBaseName(), "pump");
}

TEST_F(CSVLoggerTest, ABaseNameThatIsTakenBackGivesTheDateAgain)
{
    logger.setBaseName("");

    EXPECT_EQ(logger.getBaseName(), QDate::currentDate().toString("yyyyMMdd"));
}

// The file

TEST_F(CSVLoggerTest, WritesAHeadingAndOneLineForEachLog)
{
    begin();

    EXPECT_TRUE(logger.log(1794713507, integerValues({{1, 12}, {2, 7}})));
    EXPECT_TRUE(logger.log(1794713508, integerValues({{1, 12}})));

    EXPECT_EQ(content(), "\tA [kW]\tB\n"
                         "2026-11-15 03:31:47\t12\t7\n"
                         "2026-11-15 03:31:48\t12\t-\n");
}

TEST_F(CSVLoggerTest, AParameterWithAnEmptyUnitHasAHeadingWithoutBrackets)
{
    platform.metadata[1].unit = "";

    begin();

    EXPECT_EQ(content(), "\tA\tB\n");
}

TEST_F(CSVLoggerTest, SoftHyphensAreGoneFromTheHeadingAndKeptInAValuesText)
{
    platform.metadata[1].name = zemo::localization::PanelText(QString::fromUtf8("Pum\u00ADpen\u00AD"), 1);
    platform.metadata[1].varType = zemo::data::VarTypeString;
    zemo::data::DataValue text = integerValue(0);
    text.setStringValue(QString::fromUtf8("off\u00ADline"));
    begin();

    logger.log(1700000000, {{1, text}});

    EXPECT_EQ(content(), "\tPumpen [kW]\tB\n2023-11-14 22:13:20\toff\u00ADline\t-\n");
}

TEST_F(CSVLoggerTest, TheUnitIsPutInAsItStands)
{
    platform.metadata[1].unit = QString::fromUtf8("m\u00AD\u00B3/h [x]");

    begin();

    EXPECT_EQ(content(), "\tA [m\u00AD\u00B3/h [x]]\tB\n");
}

TEST_F(CSVLoggerTest, PercentSignsInNameAndUnitAreNoPlaceholders)
{
    platform.metadata[1].name = zemo::localization::PanelText("%2%1", 1);
    platform.metadata[1].unit = "%1";

    begin();

    EXPECT_EQ(content(), "\t%2%1 [%1]\tB\n");
}

TEST_F(CSVLoggerTest, TextIsUtf8WithoutAByteOrderMarkAndWithoutQuoting)
{
    platform.metadata[1].name = zemo::localization::PanelText(QString::fromUtf8("Druck \u00B0\u4E2D"), 1);
    platform.metadata[2].varType = zemo::data::VarTypeLongString;
    zemo::data::DataValue text = integerValue(0);
    text.setStringValue(QString::fromUtf8("a\tb \"c\", \u00E4"));
    begin();

    logger.log(1700000000, {{2, text}});

    EXPECT_EQ(content(), "\tDruck \u00B0\u4E2D [kW]\tB\n2023-11-14 22:13:20\t-\ta\tb \"c\", \u00E4\n");
}

TEST_F(CSVLoggerTest, AnEmptyParameterSetGivesAnEmptyHeadingAndRowsOfTheTimeAlone)
{
    ASSERT_TRUE(logger.start(false));

    logger.log(1700000000, integerValues({{1, 5}}));

    EXPECT_EQ(content(), "\n2023-11-14 22:13:20\n");
}

TEST_F(CSVLoggerTest, EveryVarTypeIsAColumn)
{
    platform.metadata[1].varType = zemo::data::VarTypeString;
    platform.metadata[2].varType = 77;

    begin();
    logger.log(1700000000, integerValues({{1, 5}, {2, 6}}));

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t\t6\n");
}

TEST_F(CSVLoggerTest, TheValuesTextIsThePlatforms)
{
    platform.metadata[1].decimals = 2;
    platform.metadata[2].valueTexts = {{"off"}, {"on"}};
    zemo::data::DataValue bad = integerValue(4);
    bad.setIsOk(false);
    begin();

    logger.log(1700000000, integerValues({{1, -1234567}, {2, 1}}));
    logger.log(1700000001, {{1, integerValue(5)}, {2, bad}});

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t-12345.67\ton\n2023-11-14 22:13:21\t0.05\t-\n");
}

TEST_F(CSVLoggerTest, AMissingValueIsADashAndExtraKeysAreIgnored)
{
    begin();

    logger.log(1700000000, integerValues({{-1, 9}, {0, 9}, {2, 7}, {3, 9}}));

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t-\t7\n");
}

TEST_F(CSVLoggerTest, AColumnTakesTheValueOfItsVarIdNotOfItsKey)
{
    platform.metadata[1].varId = 2;
    platform.metadata[2].varId = 1;
    begin();

    logger.log(1700000000, integerValues({{1, 11}, {2, 22}}));

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t22\t11\n");
}

TEST_F(CSVLoggerTest, VarIdsFrom0x8000AreFound)
{
    platform.metadata.clear();
    platform.addParameter(0x8000, "A");
    platform.addParameter(0xffff, "B");
    begin();

    logger.log(1700000000, integerValues({{0x8000, 1}, {0xffff, 2}}));

    EXPECT_EQ(content(), "\tA\tB\n2023-11-14 22:13:20\t1\t2\n");
}

TEST_F(CSVLoggerTest, EveryRowIsInTheFileWhenLogReturns)
{
    begin();

    for (int second = 0; second < 3; ++second)
    {
        logger.log(1700000000 + second, {});
        EXPECT_EQ(rowTimes().size(), second + 1);
    }
}

TEST_F(CSVLoggerTest, LogOnAnIdleLoggerAnswersFalseAndWritesNothing)
{
    EXPECT_FALSE(logger.log(1700000000, {}));

    EXPECT_TRUE(QDir(directory.path()).isEmpty());
}

TEST_F(CSVLoggerTest, LogAfterStopAnswersFalseAndWritesNothing)
{
    begin();
    logger.stop();

    EXPECT_FALSE(logger.log(1700000000, {}));

    EXPECT_EQ(content(), "\tA [kW]\tB\n");
}

TEST_F(CSVLoggerTest, StartFalseOnARunningLoggerWritesASecondHeading)
{
    begin();
    logger.log(1700000000, {});

    EXPECT_TRUE(logger.start(false));

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t-\t-\n\tA [kW]\tB\n");
    EXPECT_EQ(QDir(directory.path()).entryList(QDir::Files).size(), 1);
}

TEST_F(CSVLoggerTest, StartTrueOnARunningLoggerKeepsTheHeadingItHas)
{
    begin();

    EXPECT_TRUE(logger.start(true));

    EXPECT_EQ(content(), "\tA [kW]\tB\n");
}

TEST_F(CSVLoggerTest, StartTrueOnANewFileWritesTheHeading)
{
    logger.updateParameters(platform.metadata);

    EXPECT_TRUE(logger.start(true));

    EXPECT_EQ(content(), "\tA [kW]\tB\n");
}

TEST_F(CSVLoggerTest, StartTrueOnAFileThatTheLastOpenLeftBehindAppendsWithoutAHeading)
{
    OpenedCSVLogger late(path("later"), 1, nullptr);
    late.setBaseName("x");
    EXPECT_FALSE(late.start(false));
    QDir(directory.path()).mkdir("later");
    writeFile(path("later/x-123456-1.csv"), "\told\n");

    EXPECT_TRUE(late.start(true));
    late.log(1700000000, {});

    EXPECT_EQ(content("later/x-123456-1.csv"), "\told\n2023-11-14 22:13:20\n");
}

TEST_F(CSVLoggerTest, DeletingARunningLoggerClosesItsFile)
{
    const int before = openDescriptors();
    {
        CSVLogger doomed(directory.path(), 1, nullptr);
        doomed.setBaseName("d");
        ASSERT_TRUE(doomed.start(false));
        EXPECT_EQ(openDescriptors(), before + 1);
    }

    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(content("d-123456-1.csv"), "\n");
}

// Which rows are written

TEST_F(CSVLoggerTest, RowsBeforeTheirIntervalAreSkipped)
{
    OpenedCSVLogger slow(directory.path(), 5, nullptr);
    slow.setBaseName("x");
    ASSERT_TRUE(slow.start(false));

    EXPECT_TRUE(slow.log(100, {}));
    EXPECT_FALSE(slow.log(104, {}));
    EXPECT_TRUE(slow.log(105, {}));

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{timeText(100), timeText(105)}));
}

TEST_F(CSVLoggerTest, TheSameSecondTwiceWritesOneRow)
{
    begin();

    EXPECT_TRUE(logger.log(1000, integerValues({{1, 1}})));
    EXPECT_FALSE(logger.log(1000, integerValues({{1, 2}})));

    EXPECT_EQ(content(), "\tA [kW]\tB\n1970-01-01 00:16:40\t1\t-\n");
}

TEST_F(CSVLoggerTest, AStepBackOfLessThanAMinuteWritesNothing)
{
    begin();
    logger.log(1050, {});

    EXPECT_FALSE(logger.log(1000, {}));
    EXPECT_FALSE(logger.log(991, {}));

    EXPECT_EQ(rowTimes(), QList<QByteArray>{timeText(1050)});
}

TEST_F(CSVLoggerTest, AStepBackOfAMinuteIsANewBeginning)
{
    OpenedCSVLogger slow(directory.path(), 5, nullptr);
    slow.setBaseName("x");
    ASSERT_TRUE(slow.start(false));
    slow.log(1060, {});

    EXPECT_TRUE(slow.log(1000, {}));
    EXPECT_FALSE(slow.log(1004, {}));
    EXPECT_TRUE(slow.log(1005, {}));

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{timeText(1060), timeText(1000), timeText(1005)}));
}

TEST_F(CSVLoggerTest, TheVeryFirstLogIsWritten)
{
    OpenedCSVLogger slow(directory.path(), 86400, nullptr);
    slow.setBaseName("x");
    ASSERT_TRUE(slow.start(false));

    EXPECT_TRUE(slow.log(1700000000, {}));

    EXPECT_EQ(rowTimes(), QList<QByteArray>{timeText(1700000000)});
}

TEST_F(CSVLoggerTest, TheIntervalGoesOnOverARestartWithNewParameters)
{
    OpenedCSVLogger slow(directory.path(), 5, nullptr);
    slow.setBaseName("x");
    ASSERT_TRUE(slow.start(false));
    slow.log(1700000000, {});

    slow.updateParameters(platform.metadata);

    EXPECT_FALSE(slow.log(1700000004, {}));
    EXPECT_TRUE(slow.log(1700000005, {}));
    EXPECT_EQ(content("x-123456-2.csv"), "\tA [kW]\tB\n2023-11-14 22:13:25\t-\t-\n");
}

// Local time

TEST_F(CSVLoggerTest, TheHourBeforeWinterTimeIsShownTwice)
{
    const TimeZone berlin("Europe/Berlin");
    begin();

    logger.log(1698537599, {}); // 2023-10-29 01:59:59 in summer
    logger.log(1698537600, {});
    logger.log(1698541199, {});
    logger.log(1698541200, {}); // the clock goes back
    logger.log(1698544799, {});
    logger.log(1698544800, {});

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{"2023-10-29 01:59:59", "2023-10-29 02:00:00", "2023-10-29 02:59:59",
                                             "2023-10-29 02:00:00", "2023-10-29 02:59:59", "2023-10-29 03:00:00"}));
}

TEST_F(CSVLoggerTest, TheHourThatSummerTimeSkipsIsNotShown)
{
    const TimeZone berlin("Europe/Berlin");
    begin();

    logger.log(1679792399, {});
    logger.log(1679792400, {});

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{"2023-03-26 01:59:59", "2023-03-26 03:00:00"}));
}

TEST_F(CSVLoggerTest, EverySecondOfAnHourHasItsOwnText)
{
    const TimeZone kathmandu("Asia/Kathmandu"); // 5:45 ahead
    begin();

    for (int second = 0; second < 3700; ++second)
    {
        logger.log(1700000000 + second, {});
    }

    const QList<QByteArray> times = rowTimes();
    ASSERT_EQ(times.size(), 3700);
    for (int second = 0; second < 3700; ++second)
    {
        ASSERT_EQ(times[second], timeText(1700000000 + second + 5 * 3600 + 45 * 60));
    }
}

TEST_F(CSVLoggerTest, TimesAreRightInAnyOrder)
{
    begin();

    logger.log(1700000059, {});
    logger.log(1699999000, {});
    logger.log(1700000001, {});

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{timeText(1700000059), timeText(1699999000), timeText(1700000001)}));
}

TEST_F(CSVLoggerTest, ATimeZoneThatChangesWhileALogRunsShowsBeforeLong)
{
    begin();
    logger.log(1700000000, {});
    const TimeZone tokyo("Asia/Tokyo");
    QThread::msleep(150); // rows of the present are a second apart

    logger.log(1700000001, {});

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{"2023-11-14 22:13:20", "2023-11-15 07:13:21"}));
}

TEST_F(CSVLoggerTest, ATimeMoreThanHalfThe32BitsAheadIsTakenForOneBeforeItsInterval)
{
    begin();

    EXPECT_FALSE(logger.log(0x80000000U, {}));
}

TEST_F(CSVLoggerTest, AStepBackOfHalfThe32BitsOrMoreWritesNothing)
{
    begin();
    logger.log(0x70000000U, {});
    logger.log(0xe0000000U, {});

    EXPECT_FALSE(logger.log(0x10000000U, {}));
    EXPECT_FALSE(logger.log(0x60000000U, {}));
    EXPECT_TRUE(logger.log(0x60000001U, {}));
}

TEST_F(CSVLoggerTest, TheLastSecondOf32BitsIsWritten)
{
    begin();

    logger.log(0x70000000U, {});
    logger.log(0xe0000000U, {});
    logger.log(0xffffffffU, {});

    EXPECT_EQ(rowTimes(), (QList<QByteArray>{timeText(0x70000000), timeText(0xe0000000), "2106-02-07 06:28:15"}));
}

// Locks

TEST_F(CSVLoggerTest, StopTakesNoMutex)
{
    begin();
    logger.logMutex.lock();
    logger.fileMutex.lock();

    std::thread([&] { EXPECT_TRUE(logger.stop()); }).join();

    logger.fileMutex.unlock();
    logger.logMutex.unlock();
    EXPECT_FALSE(logger.isRunning());
}

TEST_F(CSVLoggerTest, StopDisconnectsNothing)
{
    begin();
    int calls = 0;
    QObject::connect(&logger, &QObject::objectNameChanged, [&] { ++calls; });

    logger.stop();
    logger.setObjectName("renamed");

    EXPECT_EQ(calls, 1);
}

TEST_F(CSVLoggerTest, LogHoldsTheLogMutexAndTheFileMutex)
{
    begin();
    bool logMutexHeld = false;
    bool fileMutexHeld = false;
    logger.onLook = [&]
    {
        logMutexHeld = isTaken(logger.logMutex);
        fileMutexHeld = isTaken(logger.fileMutex);
    };

    logger.log(1700000000, {});
    logger.onLook = [] {};

    EXPECT_TRUE(logMutexHeld);
    EXPECT_TRUE(fileMutexHeld);
}

TEST_F(CSVLoggerTest, LogTakesTheLogMutexBeforeTheFileMutex)
{
    begin();
    logger.fileMutex.lock();

    std::thread row([&] { logger.log(1700000000, {}); });

    EXPECT_TRUE(getsTaken(logger.logMutex));
    logger.fileMutex.unlock();
    row.join();
}

// A medium that takes no more

TEST_F(CSVLoggerTest, RowsThatAFullMediumDoesNotTakeAreLostWholeAndLoggingGoesOn)
{
    logger.updateParameters(platform.metadata);
    for (uint64_t room = 0; room < 4096; room += room < 300 ? 1 : 13)
    {
        ASSERT_TRUE(logger.start(false));
        QByteArray expected = "\tA [kW]\tB\n";
        const auto row = [](uint32_t time) { return timeText(time) + "\t" + QByteArray::number(time) + "\t-\n"; };
        uint32_t time = 1700000000 + static_cast<uint32_t>(room) * 1000;
        {
            const FullMedium full(room);
            const uint64_t enough = room / 30 + 3;
            for (uint64_t n = 0; n < enough; ++n, ++time)
            {
                ASSERT_TRUE(logger.log(time, integerValues({{1, time}})));
                expected += static_cast<uint64_t>(expected.size() + row(time).size()) <= room ? row(time) : "";
            }
        }
        ASSERT_TRUE(logger.log(time, integerValues({{1, time}})));
        expected += row(time);
        logger.stop();
        const QString name = path(QStringLiteral("x-123456-%1.csv").arg(logger.getLogIndex() + 1));
        ASSERT_EQ(contentOf(name), expected) << "room for " << room;
        QFile::remove(name);
    }
}

TEST_F(CSVLoggerTest, AHeadingThatTheMediumDidNotTakeGoesBeforeTheFirstRowThatItTakes)
{
    {
        const FullMedium full(5);
        begin();
        logger.log(1700000000, {});
        EXPECT_EQ(content(), "");
    }

    logger.log(1700000001, {});

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:21\t-\t-\n");
}

TEST_F(CSVLoggerTest, AFullMediumIsTracedOnceWhenItBeginsAndOnceWhenItEnds)
{
    begin();
    platform.clearTrace();
    for (int episode = 0; episode < 2; ++episode)
    {
        const auto time = static_cast<uint32_t>(1700000000 + 100 * episode);
        {
            const FullMedium full(1);
            for (uint32_t second = 0; second < 50; ++second)
            {
                logger.log(time + second, {});
            }
        }
        logger.log(time + 50, {});
        logger.log(time + 51, {});
    }

    const std::string name = path("x-123456-1.csv").toStdString();
    EXPECT_EQ(platform.traceTexts("FileLogger", 4), (std::vector<std::string>(2, "Writing to '" + name + "' failed")));
    EXPECT_EQ(platform.traceTexts("FileLogger", 1),
              (std::vector<std::string>(2, "Writing to '" + name + "' works again")));
    EXPECT_EQ(platform.trace().size(), 4U);
}

TEST_F(CSVLoggerTest, AMediumThatCannotBeCutEitherGetsItsNextRowsInStep)
{
    begin();
    logger.log(1700000000, integerValues({{1, 1}}));
    const int real = dup(logger.descriptor());
    const int broken = open("/dev/full", O_WRONLY);
    dup2(broken, logger.descriptor());
    logger.log(1700000001, integerValues({{1, 2}}));
    logger.log(1700000002, integerValues({{1, 3}}));
    dup2(real, logger.descriptor());

    logger.log(1700000003, integerValues({{1, 4}}));

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:20\t1\t-\n2023-11-14 22:13:23\t4\t-\n");
    close(real);
    close(broken);
}

TEST_F(CSVLoggerTest, ALogOnAFullMediumDoesNotGrow)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer's heap cannot be measured";
#endif
    begin();
    const FullMedium full(1);
    const auto logSome = [&](uint32_t time)
    {
        for (uint32_t second = 0; second < 20000; ++second)
        {
            logger.log(time + second, integerValues({{1, second}, {2, second}}));
        }
    };
    logSome(1700000000);
    const size_t before = heapInUse();

    logSome(1700100000);

    EXPECT_LT(heapInUse(), before + 1024);
}

TEST_F(CSVLoggerTest, ALongRowThatWasLostIsNotWrittenLater)
{
    platform.metadata[1].varType = zemo::data::VarTypeString;
    zemo::data::DataValue text = integerValue(0);
    text.setStringValue(QString(100000, 'x'));
    begin();
    {
        const FullMedium full(50000);
        logger.log(1700000000, {{1, text}});
    }

    logger.log(1700000001, {});

    EXPECT_EQ(content(), "\tA [kW]\tB\n2023-11-14 22:13:21\t-\t-\n");
}

} // namespace
