#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonInspector.h"
#include "LoggerInspector.h"
#include "LoggerTestSupport.h"
#include "Refusal.h"
#include "logging/CSVLogger.h"

#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace
{

/// A daemon on the calling thread with the default list 5 and 12 and an empty stick, not inserted.
class UsbLog : public testing::Test
{
protected:
    UsbLog()
    {
        setDefaults(logConfig());
        for (int id : {5, 12, 30, 77})
        {
            platform.addParameter(id, QStringLiteral("Name %1").arg(id), QStringLiteral("V"), id * 100LL);
        }
        platform.defaultLog = {12, 5};
        daemon.minute();
    }

    ~UsbLog() override
    {
        daemon.stopUsbLog(); // the daemon leaves it open when it goes
        deleteDeferred();
    }

    CSVLogger* logger()
    {
        return static_cast<CSVLogger*>(inspector.usbLogger());
    }

    void putOnStick(const QString& name, const QByteArray& content)
    {
        writeFile(stick.filePath(name), content);
    }

    QStringList logFiles()
    {
        return QDir(stick.path()).entryList({QStringLiteral("*.csv")}, QDir::Files, QDir::Name);
    }

    QByteArray heading(const QString& name)
    {
        const QByteArray content = contentOf(stick.filePath(name));
        return content.left(content.indexOf('\n') + 1);
    }

    /// Inserts the stick and gives the ids that were asked for.
    QList<int> insertAndGetIds()
    {
        platform.insertDrive(stick.path());
        return platform.lastCall("getMetadata").ids;
    }

    void makeYesterdays(FileLogger& old)
    {
        LoggerInspector::setCreatedAt(old, QDateTime::currentDateTime().addDays(-1));
    }

    FakePlatform platform;
    QTemporaryDir stick;
    LogDaemon daemon{nullptr};
    LogDaemonInspector inspector{daemon};
    QSignalSpy started{&daemon, &LogDaemon::usbLogStarted};
    QSignalSpy stopped{&daemon, &LogDaemon::usbLogStopped};
};

} // namespace

// Start and stop

TEST_F(UsbLog, AStartWithoutADriveAnswersFalseAndNeitherTracesNorRaisesAnything)
{
    platform.clearTrace();

    EXPECT_FALSE(daemon.startUsbLog(1, false, QStringLiteral("en_GB")));

    EXPECT_TRUE(platform.trace().empty());
    EXPECT_EQ(started.count() + stopped.count(), 0);
    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_NE(platform.lastCall("getDefaultLog").locale, "en_GB");
}

TEST_F(UsbLog, AStartOpensALogOfAllParametersAtTheInterval)
{
    platform.insertDrive(stick.path());
    platform.clearTrace();

    EXPECT_TRUE(daemon.startUsbLog(7, false, QStringLiteral("de_DE")));

    EXPECT_TRUE(daemon.isUsbLogActive());
    EXPECT_EQ(logger()->getInterval(), 7);
    EXPECT_TRUE(logger()->isRestartAtDateChange());
    EXPECT_EQ(logger()->getParameterTitles(), QStringList({"Name 5", "Name 12"}));
    EXPECT_EQ(logger()->parent(), nullptr);
    EXPECT_EQ(logFiles().size(), 1);
    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "de_DE");
    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(platform.traceCount("LogDaemon", 1, "startUsbLog", "USB Logging started with interval 7 sec"), 1);
}

TEST_F(UsbLog, AnIntervalThatMakesNoSenseIsNotRefused)
{
    platform.insertDrive(stick.path());

    EXPECT_TRUE(daemon.startUsbLog(-5, false, QStringLiteral("default")));

    EXPECT_EQ(logger()->getInterval(), -5);
}

TEST_F(UsbLog, ASecondStartWithAnotherIntervalAnswersTrueAndChangesNothing)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    CSVLogger* const first = logger();
    const size_t callsBefore = platform.calls().size();

    EXPECT_TRUE(daemon.startUsbLog(3, true, QStringLiteral("en_GB")));

    EXPECT_EQ(logger(), first);
    EXPECT_EQ(logger()->getInterval(), 7);
    EXPECT_EQ(logFiles().size(), 1);
    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(platform.calls().size(), callsBefore);
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "startUsbLog", "Logging has already been started"), 1);
}

TEST_F(UsbLog, AStopWithoutALogAnswersTrueAndNeitherTracesNorRaisesAnything)
{
    platform.insertDrive(stick.path());
    platform.clearTrace();

    EXPECT_TRUE(daemon.stopUsbLog());

    EXPECT_EQ(stopped.count(), 0);
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(UsbLog, AStopEndsTheLogTracesAndRaises)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(1, false, QStringLiteral("default"));
    const QPointer<CSVLogger> running = logger();
    platform.clearTrace();

    EXPECT_TRUE(daemon.stopUsbLog());

    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_FALSE(running->isRunning());
    deleteDeferred();
    EXPECT_TRUE(running.isNull());
    EXPECT_EQ(stopped.count(), 1);
    EXPECT_EQ(platform.traceTexts("LogDaemon", 1), std::vector<std::string>({"USB Logging stopped..."}));
    EXPECT_EQ(platform.traceCount("LogDaemon", 1, "stopUsbLog", "USB Logging stopped..."), 1);
}

TEST_F(UsbLog, AStartThatCannotOpenItsFileAnswersFalseAndLeavesTheLogOff)
{
    platform.insertDrive(stick.filePath("not there"));

    EXPECT_FALSE(daemon.startUsbLog(1, false, QStringLiteral("default")));

    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_EQ(started.count() + stopped.count(), 0);
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "startUsbLog", "USB Logging failed to start"), 1);
    EXPECT_TRUE(platform.traceTexts("LogDaemon", 4).size() == 1);
}

TEST_F(UsbLog, AStartAfterAFailedOneWorks)
{
    platform.insertDrive(stick.filePath("later"));
    ASSERT_FALSE(daemon.startUsbLog(1, false, QStringLiteral("default")));
    QDir(stick.path()).mkdir("later");

    EXPECT_TRUE(daemon.startUsbLog(1, false, QStringLiteral("default")));
}

TEST_F(UsbLog, TheMutexIsOpenWhileTheStartIsRaised)
{
    platform.insertDrive(stick.path());
    bool free = false;
    bool active = false;
    QObject::connect(&daemon, &LogDaemon::usbLogStarted, &daemon,
                     [&]
                     {
                         free = inspector.isStateMutexFree();
                         active = daemon.isUsbLogActive();
                     });

    daemon.startUsbLog(1, false, QStringLiteral("default"));

    EXPECT_TRUE(free);
    EXPECT_TRUE(active);
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(UsbLog, TheMutexIsOpenWhileTheStopIsRaised)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(1, false, QStringLiteral("default"));
    bool free = false;
    bool active = true;
    QObject::connect(&daemon, &LogDaemon::usbLogStopped, &daemon,
                     [&]
                     {
                         free = inspector.isStateMutexFree();
                         active = daemon.isUsbLogActive();
                     });

    daemon.stopUsbLog();

    EXPECT_TRUE(free);
    EXPECT_FALSE(active);
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(UsbLog, OfTwoStartsThatOverlapBothGoOnAndTheLaterLoggerIsKept)
{
    platform.insertDrive(stick.path());
    QPointer<CSVLogger> inner;
    bool outer = true;
    platform.onCall = [&](const char* operation)
    {
        if (qstrcmp(operation, "getDefaultLog") == 0 && std::exchange(outer, false))
        {
            EXPECT_TRUE(daemon.startUsbLog(3, false, QStringLiteral("default")));
            inner = logger();
        }
    };

    EXPECT_TRUE(daemon.startUsbLog(7, false, QStringLiteral("default")));

    EXPECT_EQ(logger()->getInterval(), 7);
    EXPECT_EQ(started.count(), 2);
    EXPECT_EQ(logFiles().size(), 2);
    ASSERT_FALSE(inner.isNull());
    EXPECT_TRUE(inner->isRunning());
    delete inner;
}

TEST_F(UsbLog, WhetherALogRunsIsToldWithTheStateLocked)
{
    EXPECT_TRUE(answerBehind(
        inspector.stateMutex(),
        [&]
        {
            platform.insertDrive(stick.path());
            daemon.startUsbLog(1, false, QStringLiteral("default"));
        },
        [&] { return daemon.isUsbLogActive(); }));
}

TEST_F(UsbLog, ALogStartedOnAnotherThreadMovesToTheDaemons)
{
    platform.insertDrive(stick.path());

    std::thread caller([&] { daemon.startUsbLog(1, false, QStringLiteral("default")); });
    caller.join();

    ASSERT_NE(logger(), nullptr);
    EXPECT_EQ(logger()->thread(), daemon.thread());
}

TEST_F(UsbLog, ARunningLogGetsTheSamplesOfTheTick)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(1, false, QStringLiteral("default"));

    daemon.second();

    const QList<QByteArray> lines = contentOf(stick.filePath(logFiles().value(0))).split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[1].mid(19), "\t500\t1200");
}

// Log parameters

TEST_F(UsbLog, LogParametersAreTheTitlesInIdOrderWhetherALogRunsOrNot)
{
    EXPECT_EQ(daemon.getLogParameters(), QStringList({"Name 5", "Name 12"}));

    platform.insertDrive(stick.path());
    daemon.startUsbLog(1, false, QStringLiteral("default"));

    EXPECT_EQ(daemon.getLogParameters(), QStringList({"Name 5", "Name 12"}));
}

TEST_F(UsbLog, LogParametersAreToldWithTheStateLocked)
{
    EXPECT_EQ(answerBehind(
                  inspector.stateMutex(), [&] { inspector.all().clear(); }, [&] { return daemon.getLogParameters(); }),
              QStringList());
}

TEST_F(UsbLog, LogParametersKeepTheirSoftHyphens)
{
    platform.addParameter(5, QStringLiteral("Pump po\u00adwer"));
    daemon.minute();

    EXPECT_EQ(daemon.getLogParameters(), QStringList({QStringLiteral("Pump po\u00adwer"), QStringLiteral("Name 12")}));
}

// Drives

TEST_F(UsbLog, TheRemovalOfTheDriveLeavesARunningLogActive)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(1, false, QStringLiteral("default"));

    platform.removeDrive(stick.path());
    daemon.second();

    EXPECT_TRUE(daemon.isUsbLogActive());
    EXPECT_EQ(stopped.count(), 0);
}

TEST_F(UsbLog, ALogSetOnAStickStartsNoLog)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");

    platform.insertDrive(stick.path());

    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_EQ(started.count(), 0);
}

TEST_F(UsbLog, AManualParameterIsWrittenByTheMainLog)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    platform.insertDrive(stick.path());

    daemon.startUsbLog(1, false, QStringLiteral("default"));

    EXPECT_EQ(heading(logFiles().value(0)), "\tName 5 [V]\tName 12 [V]\tName 77 [V]\n");
}

TEST_F(UsbLog, AStickWithLogSetThatComesInWhileALogRunsChangesTheColumns)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    CSVLogger* const running = logger();
    QTemporaryDir other;
    writeFile(other.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");

    platform.insertDrive(other.path());

    EXPECT_EQ(logger(), running);
    ASSERT_EQ(logFiles().size(), 2);
    EXPECT_EQ(heading(logFiles().value(1)), "\tName 5 [V]\tName 12 [V]\tName 77 [V]\n");
    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(stopped.count(), 0);
}

TEST_F(UsbLog, AStickWithLogSetBringsTheTextsBackToTheDefaultLocale)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("de_DE"));
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");

    platform.insertDrive(stick.path());

    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "default");
}

// Date

TEST_F(UsbLog, ALogOfTodayIsNotRestarted)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    CSVLogger* const running = logger();

    daemon.second();

    EXPECT_EQ(logger(), running);
    EXPECT_EQ(logFiles().size(), 1);
}

TEST_F(UsbLog, ALogOfYesterdayGoesOnInANewFileWithoutASignalAndInTheDefaultLocale)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("de_DE"));
    const QPointer<CSVLogger> old = logger();
    makeYesterdays(*old);
    started.clear();
    platform.clearTrace();

    daemon.second();

    EXPECT_TRUE(daemon.isUsbLogActive());
    EXPECT_NE(logger(), old);
    EXPECT_EQ(logger()->getInterval(), 7);
    EXPECT_EQ(logger()->getCreatedAt().date(), QDate::currentDate());
    EXPECT_EQ(logFiles().size(), 2);
    EXPECT_EQ(started.count() + stopped.count(), 0);
    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "default");
    EXPECT_EQ(platform.traceTexts("LogDaemon", 1),
              std::vector<std::string>({"USB Logging stopped...", "USB Logging started with interval 7 sec"}));
}

TEST_F(UsbLog, ALogOfTomorrowIsRestartedToo)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    CSVLogger* const old = logger();
    LoggerInspector::setCreatedAt(*old, QDateTime::currentDateTime().addDays(1));

    inspector.checkUsbLogDate();

    EXPECT_NE(logger(), old);
    EXPECT_EQ(logFiles().size(), 2);
}

TEST_F(UsbLog, ADateThatDiffersInTheDayTheMonthOrTheYearAloneIsAnotherOne)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    const QDate today = QDate::currentDate();
    const QDate otherDay(today.year(), today.month(), today.day() == 1 ? 2 : 1);
    const QDate otherMonth(today.year(), today.month() == 1 ? 12 : 1, today.day()); // each of the two has 31 days
    const QDate otherYear = today.addYears(-4);

    for (const QDate& date : {otherDay, otherMonth, otherYear})
    {
        CSVLogger* const old = logger();
        LoggerInspector::setCreatedAt(*old, QDateTime(date, QTime(12, 0)));

        inspector.checkUsbLogDate();

        EXPECT_NE(logger(), old) << date.toString(Qt::ISODate).toStdString();
    }
}

TEST_F(UsbLog, ALogOfTodaysLocalDateIsNotRestartedThoughTheDateInUtcIsAnother)
{
    platform.insertDrive(stick.path());
    for (const char* name : {"<-12>12", "<+14>-14"}) // at any hour one of them has another date than UTC
    {
        const TimeZone zone(name);
        daemon.startUsbLog(7, false, QStringLiteral("default"));
        CSVLogger* const running = logger();

        inspector.checkUsbLogDate();

        EXPECT_EQ(logger(), running) << name;
        daemon.stopUsbLog();
    }
}

// In this zone the date changes within each day of UTC: the beginning and the end of that day never both have the date
// of now.
TEST_F(UsbLog, ALogOfAnotherLocalDateIsRestartedThoughTheDateInUtcIsTheSame)
{
    const TimeZone zone("<+14>-14");
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    const QDate dateInUtc = QDateTime::currentDateTimeUtc().date();
    int restarts = 0;

    for (const QTime& time : {QTime(0, 0), QTime(23, 59, 59)})
    {
        CSVLogger* const old = logger();
        LoggerInspector::setCreatedAt(*old, QDateTime(dateInUtc, time, Qt::UTC).toLocalTime());
        inspector.checkUsbLogDate();
        restarts += logger() != old ? 1 : 0;
    }

    EXPECT_EQ(restarts, 1);
}

TEST_F(UsbLog, ALogWhoseStickWasPulledEndsAtMidnightWithoutASignal)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    platform.removeDrive(stick.path());
    makeYesterdays(*logger());
    started.clear();

    daemon.second();

    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_EQ(started.count() + stopped.count(), 0);
    EXPECT_EQ(logFiles().size(), 1);
}

TEST_F(UsbLog, ALogThatCannotBeRestartedAtMidnightEndsWithATraceAndNoSignal)
{
    platform.insertDrive(stick.path());
    daemon.startUsbLog(7, false, QStringLiteral("default"));
    inspector.usbPath() = stick.filePath("not there");
    makeYesterdays(*logger());
    started.clear();

    daemon.second();

    EXPECT_FALSE(daemon.isUsbLogActive());
    EXPECT_EQ(started.count() + stopped.count(), 0);
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "startUsbLog", "USB Logging failed to start"), 1);
}

// LOG.SET

TEST_F(UsbLog, TheIdsOfLogSetAreAskedForInFileOrderWithDuplicatesInTheDefaultLocale)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n30\n77\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({77, 30, 77}));
    EXPECT_EQ(platform.lastCall("getMetadata").locale, "default");
    EXPECT_EQ(inspector.manualIds(), QList<int>({30, 77}));
}

TEST_F(UsbLog, ALogSetWhoseFirstLineIsAnIdLosesThatId)
{
    putOnStick("LOG.SET", "30\n77\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({77}));
}

TEST_F(UsbLog, OfBothNamesOnlyTheLowerCaseOneIsRead)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    putOnStick("log.set", "[ZEMOLOG;20240305]\n30\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({30}));
    EXPECT_EQ(platform.callCount("getMetadata"), 1);
}

TEST_F(UsbLog, AnyOtherSpellingOfTheNameIsNotRead)
{
    putOnStick("Log.Set", "[ZEMOLOG;20240305]\n77\n");

    platform.insertDrive(stick.path());

    EXPECT_EQ(platform.callCount("getMetadata"), 0);
}

TEST_F(UsbLog, ANumberWithSpacesAroundItCountsAndOneWithLettersBehindItDoesNot)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n  77\t \n12x\n30\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({77, 30}));
}

TEST_F(UsbLog, LinesThatAreNoDecimal32BitNumberArePassedOver)
{
    putOnStick("LOG.SET",
               "[ZEMOLOG;20240305]\n\n0x1e\n5 12\n12.0\n2147483648\n-2147483649\nabc\n2147483647\n-8\n077\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({2147483647, -8, 77}));
}

TEST_F(UsbLog, LinesMayEndInCarriageReturnAndTheLastOneNeedsNoEnd)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\r\n77\r\n30");

    EXPECT_EQ(insertAndGetIds(), QList<int>({77, 30}));
}

TEST_F(UsbLog, MaxManualDoesNotCutTheIdsOfLogSet)
{
    logConfig().maxManual = 0;
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n30\n5\n12\n");

    EXPECT_EQ(insertAndGetIds().size(), 4);
    EXPECT_EQ(inspector.manualIds().size(), 4);
}

TEST_F(UsbLog, AnIdThatThePlatformDoesNotKnowDropsOut)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n4000\n");

    platform.insertDrive(stick.path());

    EXPECT_EQ(inspector.manualIds(), QList<int>({77}));
}

TEST_F(UsbLog, AStickWithoutLogSetKeepsTheManualParametersOfTheOneBefore)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    platform.insertDrive(stick.path());
    QTemporaryDir other;

    platform.insertDrive(other.path());

    EXPECT_EQ(inspector.manualIds(), QList<int>({77}));
}

TEST_F(UsbLog, AnEmptyLogSetEmptiesTheManualParameters)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    platform.insertDrive(stick.path());
    putOnStick("LOG.SET", "");

    EXPECT_EQ(insertAndGetIds(), QList<int>());
    EXPECT_TRUE(inspector.manualIds().isEmpty());
    EXPECT_EQ(inspector.allIds(), QList<int>({5, 12}));
}

TEST_F(UsbLog, ADirectoryInPlaceOfLogSetEmptiesTheManualParametersWithoutAReport)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    platform.insertDrive(stick.path());
    QFile::remove(stick.filePath("LOG.SET"));
    ASSERT_TRUE(QDir(stick.path()).mkdir("LOG.SET"));
    platform.clearTrace();

    platform.insertDrive(stick.path());

    EXPECT_TRUE(inspector.manualIds().isEmpty());
    EXPECT_EQ(platform.trace().size(), 1U); // the insertion's own
}

TEST_F(UsbLog, ALogSetWithoutTheRightToReadItEmptiesTheManualParameters)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    platform.insertDrive(stick.path());
    ASSERT_EQ(inspector.manualIds(), QList<int>{77});
    NEEDS_REFUSAL(stick.filePath("LOG.SET"));

    platform.insertDrive(stick.path());

    EXPECT_TRUE(inspector.manualIds().isEmpty());
}

TEST_F(UsbLog, APipeInPlaceOfLogSetDoesNotHoldUpTheInsertion)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(stick.filePath("LOG.SET")).constData(), 0600), 0);

    EXPECT_EQ(insertAndGetIds(), QList<int>());
    EXPECT_EQ(platform.callCount("getMetadata"), 1);
}

TEST_F(UsbLog, ALinkToADeviceInPlaceOfLogSetIsNotRead)
{
    ASSERT_TRUE(QFile::link("/dev/zero", stick.filePath("LOG.SET")));

    EXPECT_EQ(insertAndGetIds(), QList<int>());
}

TEST_F(UsbLog, ALineOfManyMegabytesIsPassedOverAndTheNextOnesAreRead)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n30\n" + QByteArray(8LL * 1024 * 1024, '7') + "\n77\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({30, 77}));
}

TEST_F(UsbLog, AHeaderLineOfManyMegabytesIsOneHeader)
{
    putOnStick("LOG.SET", QByteArray(8LL * 1024 * 1024, '7') + "\n77\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({77}));
}

TEST_F(UsbLog, ALineOfTheLimitsLengthIsNoNumberAndOneShorterIs)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n" + QByteArray(4094, '0') + "5\n" + QByteArray(4095, '0') + "6\n" +
                              QByteArray(4096, '0') + "7\n12\n");

    EXPECT_EQ(insertAndGetIds(), QList<int>({5, 12}));
}

TEST_F(UsbLog, AMillionIdsAreAllTaken)
{
    QByteArray content = "[ZEMOLOG;20240305]\n";
    for (int id = 0; id < 1000000; ++id)
    {
        content += QByteArray::number(id) + '\n';
    }
    putOnStick("LOG.SET", content);

    const QList<int> ids = insertAndGetIds();

    ASSERT_EQ(ids.size(), 1000000);
    EXPECT_EQ(ids.last(), 999999);
}

TEST_F(UsbLog, AFileThatNeverEndsIsReadUpToTheLimit)
{
    putOnStick("LOG.SET", "[ZEMOLOG;20240305]\n77\n");
    QFile sparse(stick.filePath("LOG.SET"));
    ASSERT_TRUE(sparse.resize(8LL * 1024 * 1024 * 1024));
    QElapsedTimer time;
    time.start();

    EXPECT_EQ(insertAndGetIds(), QList<int>({77}));
    EXPECT_LT(time.elapsed(), 20000);
}

TEST_F(UsbLog, IdsBehindTheLimitsNumberOfCharactersAreNotRead)
{
    constexpr int Limit = 12582912;
    const QByteArray header = "[ZEMOLOG;20240305]\n";
    const QByteArray line = QByteArray(3999, '0') + "7\n";
    const int begunBefore = static_cast<int>((Limit - header.size() + line.size() - 1) / line.size());

    putOnStick("LOG.SET", header + line.repeated(begunBefore + 10));

    EXPECT_EQ(insertAndGetIds(), QList<int>(begunBefore, 7));
}

TEST_F(UsbLog, BytesThatAreNoTextAreLinesThatAreNoNumbers)
{
    constexpr char bytes[] = "\x80\xff header\n\xc3\x28\n\0\x01\n\xe2\x82\n30\xff\n77\n";
    putOnStick("LOG.SET", QByteArray(bytes, sizeof bytes - 1));

    EXPECT_EQ(insertAndGetIds(), QList<int>({77}));
}
