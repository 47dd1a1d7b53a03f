#include "FakePlatform.h"
#include "LoggerTestSupport.h"

#include "logging/BinaryLogger.h"
#include "logging/CSVLogger.h"

#include <QDataStream>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

/// Opens the base's state, and notes how it is started and stopped.
class WatchedLogger : public CSVLogger
{
public:
    explicit WatchedLogger(const QString& path)
        : CSVLogger(path, 1, nullptr)
    {
        setBaseName("x");
    }

    bool start(bool continueLog) override
    {
        happened.emplace_back(continueLog ? "start true" : "start false");
        return CSVLogger::start(continueLog);
    }
    bool stop() override
    {
        happened.emplace_back("stop");
        return CSVLogger::stop();
    }

    bool isRunning() override
    {
        onLook();
        return CSVLogger::isRunning();
    }

    using CSVLogger::dataStream;
    using CSVLogger::file;
    using CSVLogger::fileMutex;
    using CSVLogger::fileName;
    using CSVLogger::lastFlushMs;
    using CSVLogger::nextLogFilePath;
    using CSVLogger::openBinaryFile;
    using CSVLogger::openTextFile;
    using CSVLogger::parameters;

    std::vector<std::string> happened;
    std::function<void()> onLook = [] {}; ///< runs whenever an operation asks for the state
};

class FileLoggerTest : public testing::Test
{
protected:
    QString path(const QString& name) const
    {
        return directory.filePath(name);
    }

    QByteArray content(int number) const
    {
        return contentOf(path(QStringLiteral("x-123456-%1.csv").arg(number)));
    }

    void touch(int number) const
    {
        writeFile(path(QStringLiteral("x-123456-%1.csv").arg(number)), "old\n");
    }

    static QMap<int32_t, Metadata> set(std::initializer_list<uint16_t> ids)
    {
        QMap<int32_t, Metadata> result;
        for (const uint16_t id : ids)
        {
            result.insert(id, parameter(id, zemo::data::VarSizeInt32));
        }
        return result;
    }

    /// Notes, whenever an operation asks for the logger's state, whether the file's mutex is held.
    void watchFileMutex()
    {
        logger.onLook = [this] { held.push_back(isTaken(logger.fileMutex)); };
    }
    bool wasAlwaysHeld() const
    {
        return !held.empty() && std::find(held.begin(), held.end(), false) == held.end();
    }

    TimeZone zone{"UTC"};
    std::vector<bool> held;
    FakePlatform platform;
    QTemporaryDir directory;
    WatchedLogger logger{directory.path()};
};

// Names

TEST_F(FileLoggerTest, APatternIsBaseNameSerialPlaceAndExtension)
{
    EXPECT_EQ(FileLogger::makeFileNamePattern("20231114", ".csv"), "20231114-123456-%1.csv");
}

TEST_F(FileLoggerTest, APatternWithoutABaseNameBeginsWithTheSerial)
{
    EXPECT_EQ(FileLogger::makeFileNamePattern("", ".blf"), "123456-%1.blf");
}

TEST_F(FileLoggerTest, ANumberIsPutInWithoutPadding)
{
    EXPECT_EQ(FileLogger::formatLogFileName("x", ".csv", 7), "x-123456-7.csv");
    EXPECT_EQ(FileLogger::formatLogFileName("", ".blf", 4294967295U), "123456-4294967295.blf");
}

TEST_F(FileLoggerTest, TheFirstStartInAnEmptyDirectoryTakesNumberOneAndIndexZero)
{
    ASSERT_TRUE(logger.start(false));

    EXPECT_EQ(logger.fileName, path("x-123456-1.csv"));
    EXPECT_EQ(logger.getLogIndex(), 0U);
    EXPECT_TRUE(QFile::exists(path("x-123456-1.csv")));
}

TEST_F(FileLoggerTest, TheFirstFreeNumberIsTaken)
{
    touch(1);
    touch(2);
    touch(4);

    ASSERT_TRUE(logger.start(false));
    EXPECT_EQ(logger.getLogIndex(), 2U);
    logger.stop();
    ASSERT_TRUE(logger.start(false));

    EXPECT_EQ(logger.getLogIndex(), 4U);
    EXPECT_EQ(logger.fileName, path("x-123456-5.csv"));
    EXPECT_EQ(content(4), "old\n");
}

TEST_F(FileLoggerTest, ANumberThatBecameFreeIsUsedAgain)
{
    touch(1);
    touch(2);
    QFile::remove(path("x-123456-1.csv"));

    EXPECT_EQ(FileLogger::getLogFileName(directory.path(), "x", ".csv"), std::pair(path("x-123456-1.csv"), 1U));
}

TEST_F(FileLoggerTest, EveryNameThatIsTriedIsTracedWithItsAbsolutePath)
{
    touch(1);
    const QString before = QDir::currentPath();
    QDir::setCurrent(directory.path());

    const auto [found, number] = FileLogger::getLogFileName("./", "x", ".csv");
    QDir::setCurrent(before);

    const QString absolute = QFileInfo(directory.path()).canonicalFilePath();
    EXPECT_EQ(found, absolute + "/x-123456-2.csv");
    EXPECT_EQ(number, 2U);
    EXPECT_EQ(platform.trace().size(), 2U);
    for (const char* name : {"/x-123456-1.csv", "/x-123456-2.csv"})
    {
        EXPECT_EQ(platform.traceCount("FileLogger", 1, "getLogFileName", "Trying " + (absolute + name).toStdString()),
                  1);
    }
}

TEST_F(FileLoggerTest, AfterAMillionFilesTheLastNameIsTakenAlthoughItExists)
{
    // One file that has every number: the number goes into a folder that the name leaves again.
    touch(1);
    QFile::rename(path("x-123456-1.csv"), path("all-123456-%1.csv"));
    std::atomic<bool> stop = false;
    std::thread clearing(
        [&]
        {
            while (!stop)
            {
                platform.clearTrace();
                std::this_thread::yield();
            }
        });

    const auto [found, number] = FileLogger::getLogFileName(directory.path(), "%0/../all", ".csv");
    stop = true;
    clearing.join();

    EXPECT_EQ(found, path("all-123456-%1.csv"));
    EXPECT_EQ(number, 1000001U);
}

TEST_F(FileLoggerTest, ALinkWithoutATargetIsPassedOver)
{
    const QString outside = path("outside");
    QFile::link(outside, path("x-123456-1.csv"));

    ASSERT_TRUE(logger.start(false));

    EXPECT_FALSE(QFile::exists(outside));
    EXPECT_EQ(logger.fileName, path("x-123456-2.csv"));
}

TEST_F(FileLoggerTest, TheBaseNameIsTakenAtStart)
{
    CSVLogger overMidnight(directory.path(), 1, nullptr);
    QString dateAtConstruction;
    {
        const TimeZone dayBefore("<-12>12");
        dateAtConstruction = overMidnight.getBaseName();
    }
    const TimeZone dayAfter("<+14>-14");

    ASSERT_TRUE(overMidnight.start(false));

    const QString today = QDate::currentDate().toString("yyyyMMdd");
    EXPECT_NE(today, dateAtConstruction);
    EXPECT_TRUE(QFile::exists(path(today + "-123456-1.csv")));
}

TEST_F(FileLoggerTest, ANewNameIsChosenAlsoToContinueOnceTheLogWasClosed)
{
    ASSERT_TRUE(logger.start(false));
    logger.stop();
    EXPECT_EQ(logger.fileName, "");

    ASSERT_TRUE(logger.start(true));

    EXPECT_EQ(logger.fileName, path("x-123456-2.csv"));
}

TEST_F(FileLoggerTest, TheOldNameIsContinuedOnlyIfAnOpenLeftItBehind)
{
    logger.fileName = path("left");
    logger.setLogIndex(77);

    EXPECT_EQ(logger.nextLogFilePath(true), path("left"));
    EXPECT_EQ(logger.getLogIndex(), 77U);

    EXPECT_EQ(logger.nextLogFilePath(false), path("x-123456-1.csv"));
    EXPECT_EQ(logger.getLogIndex(), 0U);
}

// Start, stop, flush

TEST_F(FileLoggerTest, AFreshLoggerIsIdle)
{
    EXPECT_FALSE(logger.isRunning());
    EXPECT_EQ(logger.fileName, "");
    EXPECT_EQ(logger.lastFlushMs, 0);
}

TEST_F(FileLoggerTest, StopOnAnIdleLoggerAnswersTrue)
{
    EXPECT_TRUE(logger.stop());
    EXPECT_TRUE(BinaryLogger(directory.path(), 1, nullptr).stop());
}

TEST_F(FileLoggerTest, AStartedLoggerRunsAndAStoppedOneDoesNot)
{
    ASSERT_TRUE(logger.start(false));
    EXPECT_TRUE(logger.isRunning());

    EXPECT_TRUE(logger.stop());

    EXPECT_FALSE(logger.isRunning());
    EXPECT_FALSE(logger.file);
}

TEST_F(FileLoggerTest, StartOnARunningLoggerOpensNothing)
{
    ASSERT_TRUE(logger.start(false));
    const int before = openDescriptors();
    const QFile* const file = logger.file.get();

    EXPECT_TRUE(logger.start(false));

    EXPECT_EQ(logger.file.get(), file);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(QDir(directory.path()).entryList(QDir::Files).size(), 1);
}

TEST_F(FileLoggerTest, FlushNotesItsTimeInEveryState)
{
    const int64_t before = QDateTime::currentMSecsSinceEpoch();

    logger.flush();

    EXPECT_GE(logger.lastFlushMs, before);
    EXPECT_LE(logger.lastFlushMs, QDateTime::currentMSecsSinceEpoch());
}

TEST_F(FileLoggerTest, StartAndEveryRowFlush)
{
    ASSERT_TRUE(logger.start(false));
    EXPECT_GT(logger.lastFlushMs, 0);
    logger.lastFlushMs = 0;

    logger.log(1700000000, {});

    EXPECT_GT(logger.lastFlushMs, 0);
}

TEST_F(FileLoggerTest, TheStreamOfABinaryLogHasAFixedVersion)
{
    ASSERT_TRUE(logger.openBinaryFile(false));

    EXPECT_EQ(logger.dataStream->version(), 17);
}

// A file that cannot be opened

TEST_F(FileLoggerTest, AStartInADirectoryThatIsNotThereFailsAndCreatesNothing)
{
    const int before = openDescriptors();
    WatchedLogger lost(path("missing"));

    EXPECT_FALSE(lost.start(false));

    EXPECT_FALSE(lost.isRunning());
    EXPECT_FALSE(QFile::exists(path("missing")));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileLoggerTest, AFileThatCannotBeOpenedIsNoFailureOfTheStepItselfButLeavesTheLoggerIdle)
{
    WatchedLogger lost(path("missing"));

    EXPECT_TRUE(lost.openTextFile(false));
    EXPECT_FALSE(lost.isRunning());
    EXPECT_TRUE(lost.openBinaryFile(false));
    EXPECT_FALSE(lost.isRunning());
}

TEST_F(FileLoggerTest, AfterAFailedStartLogWritesNothingAndStopAnswersTrue)
{
    WatchedLogger lost(path("missing"));
    lost.start(false);

    EXPECT_FALSE(lost.log(1700000000, {}));
    lost.flush();
    EXPECT_TRUE(lost.stop());

    EXPECT_FALSE(lost.isRunning());
    EXPECT_EQ(lost.fileName, path("missing/x-123456-1.csv"));
}

TEST_F(FileLoggerTest, ALaterStartOnTheSameObjectWorks)
{
    WatchedLogger lost(path("missing"));
    lost.start(false);
    QDir(directory.path()).mkdir("missing");

    EXPECT_TRUE(lost.start(false));

    EXPECT_TRUE(lost.log(1700000000, {}));
    EXPECT_EQ(contentOf(path("missing/x-123456-1.csv")), "\n2023-11-14 22:13:20\n");
}

TEST_F(FileLoggerTest, ABinaryLogThatCannotBeOpenedFailsAndWorksLater)
{
    BinaryLogger lost(path("missing"), 1, nullptr);

    EXPECT_FALSE(lost.start(false));
    EXPECT_FALSE(lost.isRunning());
    EXPECT_FALSE(lost.log(1700000000, {}));
    EXPECT_TRUE(lost.stop());

    QDir(directory.path()).mkdir("missing");
    EXPECT_TRUE(lost.start(false));
    EXPECT_TRUE(lost.log(1700000000, {}));
    EXPECT_EQ(contentOf(path("missing/123456-1.blf")).size(), 12);
    lost.stop();
}

TEST_F(FileLoggerTest, FailedStartsLeakNothing)
{
    WatchedLogger lost(path("missing"));
    const int before = openDescriptors();

    for (int n = 0; n < 100; ++n)
    {
        EXPECT_FALSE(lost.start(n % 2 == 0));
    }

    EXPECT_EQ(openDescriptors(), before);
}

// Parameters

TEST_F(FileLoggerTest, AnIdleLoggerTakesTheSet)
{
    logger.updateParameters(set({1, 2}));

    EXPECT_EQ(logger.parameters.keys(), (QList<int32_t>{1, 2}));
    EXPECT_EQ(platform.traceCount("FileLogger", 1, "updateParameters", "Not running"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
}

TEST_F(FileLoggerTest, TheSameKeysWithOtherTextsDoNotRestart)
{
    logger.updateParameters(set({1, 2}));
    logger.start(false);
    platform.clearTrace();
    QMap<int32_t, Metadata> changed = set({1, 2});
    changed[1].name = zemo::localization::PanelText("other", 1);
    changed[2].unit = "bar";

    logger.updateParameters(changed);

    EXPECT_EQ(platform.traceCount("FileLogger", 1, "updateParameters", "Not restarting"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
    EXPECT_EQ(logger.getParameterTitles(), (QStringList{"P1", "P2"}));
    EXPECT_EQ(content(1), "\tP1\tP2\n");
}

TEST_F(FileLoggerTest, FewerParametersDoNotRestartAndTheirColumnsStayEmpty)
{
    logger.updateParameters(set({1, 2, 3}));
    logger.start(false);
    platform.clearTrace();

    logger.updateParameters(set({1, 2}));
    logger.log(1700000000, integerValues({{1, 1}, {2, 2}}));

    EXPECT_EQ(platform.traceCount("FileLogger", 1, "updateParameters", "Not restarting"), 1);
    EXPECT_EQ(content(1), "\tP1\tP2\tP3\n2023-11-14 22:13:20\t1\t2\t-\n");
}

TEST_F(FileLoggerTest, AnEmptySetDoesNotTouchARunningLog)
{
    logger.updateParameters(set({1}));
    logger.start(false);

    logger.updateParameters({});

    EXPECT_EQ(platform.traceCount("FileLogger", 1, "updateParameters", "Not restarting"), 1);
    EXPECT_TRUE(logger.isRunning());
    EXPECT_EQ(logger.parameters.keys(), QList<int32_t>{1});
}

TEST_F(FileLoggerTest, ANewIdRestartsInANewFileWithTheNewColumns)
{
    logger.updateParameters(set({1, 2, 3}));
    logger.start(false);
    logger.log(1700000000, integerValues({{1, 1}, {2, 2}, {3, 3}}));
    platform.clearTrace();
    logger.happened.clear();

    logger.updateParameters(set({1, 2, 9}));
    logger.log(1700000001, integerValues({{1, 1}, {2, 2}, {3, 3}, {9, 9}}));

    EXPECT_EQ(platform.traceCount("FileLogger", 1, "updateParameters", "Restarting"), 1);
    EXPECT_EQ(logger.happened, (std::vector<std::string>{"stop", "start false"}));
    EXPECT_EQ(logger.getLogIndex(), 1U);
    EXPECT_EQ(content(1), "\tP1\tP2\tP3\n2023-11-14 22:13:20\t1\t2\t3\n");
    EXPECT_EQ(content(2), "\tP1\tP2\tP9\n2023-11-14 22:13:21\t1\t2\t9\n");
}

TEST_F(FileLoggerTest, AsManyParametersWithOneExchangedRestartToo)
{
    logger.updateParameters(set({1, 2}));
    logger.start(false);

    logger.updateParameters(set({1, 3}));

    EXPECT_EQ(content(2), "\tP1\tP3\n");
}

TEST_F(FileLoggerTest, ARestartThatFailsLeavesTheLogIdleWithTheNewSet)
{
    QDir(directory.path()).mkdir("stick");
    WatchedLogger pulled(path("stick"));
    pulled.updateParameters(set({1}));
    pulled.start(false);
    QDir(path("stick")).removeRecursively();

    pulled.updateParameters(set({1, 2}));

    EXPECT_FALSE(pulled.isRunning());
    EXPECT_EQ(pulled.parameters.keys(), (QList<int32_t>{1, 2}));
}

TEST_F(FileLoggerTest, TitlesStandInColumnOrder)
{
    logger.updateParameters(set({9, 1, 5}));

    EXPECT_EQ(logger.getParameterTitles(), (QStringList{"P1", "P5", "P9"}));
}

TEST_F(FileLoggerTest, TitlesOfAnEmptySetAreAnEmptyList)
{
    EXPECT_TRUE(logger.getParameterTitles().isEmpty());
}

TEST_F(FileLoggerTest, TitlesKeepTheirSoftHyphens)
{
    QMap<int32_t, Metadata> hyphenated = set({1});
    hyphenated[1].name = zemo::localization::PanelText(QString::fromUtf8("Pum\u00ADpe"), 1);
    logger.updateParameters(hyphenated);

    EXPECT_EQ(logger.getParameterTitles(), QStringList{QString::fromUtf8("Pum\u00ADpe")});
}

// Locks

TEST_F(FileLoggerTest, StartHoldsTheFileMutex)
{
    watchFileMutex();

    logger.start(false);

    EXPECT_TRUE(wasAlwaysHeld());
    EXPECT_FALSE(isTaken(logger.fileMutex));
}

TEST_F(FileLoggerTest, UpdateParametersOfAnIdleLoggerHoldsTheFileMutex)
{
    watchFileMutex();

    logger.updateParameters(set({1}));

    EXPECT_TRUE(wasAlwaysHeld());
    EXPECT_FALSE(isTaken(logger.fileMutex));
}

TEST_F(FileLoggerTest, ARestartHoldsTheFileMutexFromTheStopToTheStart)
{
    logger.start(false);
    watchFileMutex();

    logger.updateParameters(set({1}));

    EXPECT_EQ(logger.happened.back(), "start false");
    EXPECT_TRUE(wasAlwaysHeld());
    EXPECT_FALSE(isTaken(logger.fileMutex));
}

TEST_F(FileLoggerTest, AFlushWaitsForTheFileMutex)
{
    logger.fileMutex.lock();

    std::future<void> flush = std::async(std::launch::async, [this] { logger.flush(); });

    EXPECT_EQ(flush.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(logger.lastFlushMs, 0);
    logger.fileMutex.unlock();
    flush.get();
    EXPECT_GT(logger.lastFlushMs, 0);
}

TEST_F(FileLoggerTest, TitlesWaitForTheFileMutex)
{
    logger.updateParameters(set({1}));
    logger.fileMutex.lock();

    std::future<QStringList> titles = std::async(std::launch::async, [this] { return logger.getParameterTitles(); });

    EXPECT_EQ(titles.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    logger.fileMutex.unlock();
    EXPECT_EQ(titles.get(), QStringList{"P1"});
}

} // namespace
