#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonInspector.h"
#include "LoggerTestSupport.h"
#include "RunOnQueue.h"
#include "logging/CSVLogger.h"

#include <QCoreApplication>
#include <QDir>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>
#include <utility>

namespace
{

constexpr uint32_t T0 = 1700000000;

// A daemon on this thread with a stick in, and three parameters known to the platform.
class LogDaemonCustomUsbLog : public testing::Test
{
protected:
    LogDaemonCustomUsbLog()
    {
        setDefaults(logConfig());
        platform.addParameter(10, "Flow", "l/s", 3);
        platform.addParameter(20, "Level", "", 4);
        platform.addParameter(30, "Power", "kW", 5);
        daemon.emplace(nullptr);
        inspector.emplace(*daemon);
        inspector->usbPath() = stick.path();
        platform.clearTrace();
    }
    ~LogDaemonCustomUsbLog() override
    {
        daemon.reset();
        deleteDeferred();
    }

    QStringList files() const
    {
        return QDir(stick.path()).entryList(QDir::Files, QDir::Name);
    }
    QByteArray contentOf(const QString& name) const
    {
        return ::contentOf(stick.filePath(name));
    }
    QByteArrayList linesOf(const QString& name) const
    {
        QByteArrayList lines = contentOf(name).split('\n');
        EXPECT_EQ(lines.takeLast(), "");
        return lines;
    }
    int traced(const std::string& function, const std::string& text)
    {
        return platform.traceCount("LogDaemon", 1, function, text);
    }
    void sample(uint32_t time)
    {
        emit daemon->valuesUpdated(time, platform.values);
    }
    void loseStickUnnoticed()
    {
        inspector->usbPath() = stick.filePath("gone");
    }
    // Leaves the log of that id configured and failed.
    void failToStart(int id)
    {
        daemon->configureCustomLogUsb(id, "boiler", {10});
        loseStickUnnoticed();
        daemon->startCustomUsbLog(id, 1, false);
        inspector->usbPath() = stick.path();
    }
    QString today() const
    {
        return QDate::currentDate().toString("yyyyMMdd");
    }

    FakePlatform platform;
    QTemporaryDir stick;
    std::optional<LogDaemon> daemon;
    std::optional<LogDaemonInspector> inspector;
};

} // namespace

// Configuring

TEST_F(LogDaemonCustomUsbLog, AConfigurationIsStoredUnderItsId)
{
    EXPECT_TRUE(daemon->configureCustomLogUsb(-7, "boiler", {30, 10, 30}));

    ASSERT_TRUE(inspector->customConfigs().contains(-7));
    EXPECT_EQ(inspector->customConfigs()[-7]->prefix, "boiler");
    EXPECT_EQ(inspector->customConfigs()[-7]->parameters, QList<int>({30, 10, 30}));
}

TEST_F(LogDaemonCustomUsbLog, AConfigurationAloneAsksThePlatformNothingAndMakesNoLogger)
{
    const int before = platform.callCount("getMetadata");

    daemon->configureCustomLogUsb(1, "boiler", {10});

    EXPECT_EQ(platform.callCount("getMetadata"), before);
    EXPECT_TRUE(inspector->customLoggers().isEmpty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(LogDaemonCustomUsbLog, ALaterConfigurationReplacesTheEarlierOne)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});

    EXPECT_TRUE(daemon->configureCustomLogUsb(1, "tank", {20}));

    ASSERT_EQ(inspector->customConfigs().size(), 1);
    EXPECT_EQ(inspector->customConfigs()[1]->prefix, "tank");
    EXPECT_EQ(inspector->customConfigs()[1]->parameters, QList<int>({20}));
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringWithAnEmptyListAnswersTrueAndTheLogHasNoParameters)
{
    EXPECT_TRUE(daemon->configureCustomLogUsb(1, "empty", {}));

    EXPECT_TRUE(daemon->startCustomUsbLog(1, 1, false));
    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList());
    EXPECT_EQ(contentOf("empty-123456-1.csv"), "\n");
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringARunningLogWithANewIdGoesOnAtOnceInANewFile)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_TRUE(daemon->configureCustomLogUsb(1, "boiler", {10, 30}));

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv"}));
    EXPECT_EQ(contentOf("boiler-123456-2.csv"), "\tFlow [l/s]\tPower [kW]\n");
    EXPECT_EQ(traced("configureCustomLogUsb", "Updating the parameters..."), 1);
    EXPECT_TRUE(daemon->isCustomUsbLogActive(1));
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringARunningLogWithFewerIdsStaysInItsFile)
{
    daemon->configureCustomLogUsb(1, "boiler", {10, 30});
    daemon->startCustomUsbLog(1, 1, false);

    daemon->configureCustomLogUsb(1, "boiler", {30});

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv"}));
    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList({"Flow", "Power"}));
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringARunningLogRaisesNothing)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);

    daemon->configureCustomLogUsb(1, "boiler", {20});

    EXPECT_EQ(started.count() + stopped.count(), 0);
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringAFailedLogGivesItsLoggerTheNewParameters)
{
    failToStart(1);

    EXPECT_TRUE(daemon->configureCustomLogUsb(1, "boiler", {20, 30}));

    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList({"Level", "Power"}));
    EXPECT_EQ(traced("configureCustomLogUsb", "Updating the parameters..."), 1);
    EXPECT_FALSE(daemon->isCustomUsbLogActive(1));
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringARunningLogAsksForItsTextsInTheDefaultLocaleWithTheStateOpen)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    bool open = false;
    platform.onCall = [&](const char* operation)
    { open = open || (operation == std::string("getMetadata") && inspector->isStateMutexFree()); };

    daemon->configureCustomLogUsb(1, "boiler", {30, 10});

    EXPECT_TRUE(open);
    EXPECT_EQ(platform.lastCall("getMetadata").ids, QList<int>({30, 10}));
    EXPECT_EQ(platform.lastCall("getMetadata").locale, "default");
}

TEST_F(LogDaemonCustomUsbLog, ConfiguringARunningLogHoldsTheStateWhileItsNewFileIsMade)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    QList<bool> open;
    platform.onCall = [&](const char* operation)
    {
        if (operation == std::string("getSerial"))
        {
            open.append(inspector->isStateMutexFree());
        }
    };

    daemon->configureCustomLogUsb(1, "boiler", {30});

    EXPECT_EQ(open, QList<bool>{false});
}

TEST_F(LogDaemonCustomUsbLog, APrefixChangedWhileTheLogRunsShowsOnlyInTheFileNameOfTheNextStart)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    daemon->configureCustomLogUsb(1, "tank", {10, 20});
    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv"}));
    daemon->stopCustomUsbLog(1);
    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv", "tank-123456-1.csv"}));
}

// Starting

TEST_F(LogDaemonCustomUsbLog, StartingAnUnknownIdAnswersFalseAndTellsThatTheConfigurationIsMissing)
{
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);

    EXPECT_FALSE(daemon->startCustomUsbLog(42, 1, false));

    EXPECT_EQ(traced("startCustomUsbLog", "USB Logging (log: 42) is missing config. Not starting."), 1);
    EXPECT_EQ(started.count(), 0);
    EXPECT_TRUE(inspector->customLoggers().isEmpty());
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(LogDaemonCustomUsbLog, StartingWithoutADriveAnswersFalseWithNoTraceAndKeepsTheConfiguration)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    inspector->usbPath().clear();

    EXPECT_FALSE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_TRUE(platform.trace().empty());
    EXPECT_TRUE(inspector->customLoggers().isEmpty());
    ASSERT_TRUE(inspector->customConfigs().contains(1));
    EXPECT_EQ(inspector->customConfigs()[1]->prefix, "boiler");
}

TEST_F(LogDaemonCustomUsbLog, StartingAnUnknownIdWithoutADriveAnswersFalseWithNoTrace)
{
    inspector->usbPath().clear();

    EXPECT_FALSE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(LogDaemonCustomUsbLog, AStartThatComesUpAnswersTrueTracesAndRaisesItsSignalOnce)
{
    daemon->configureCustomLogUsb(3, "boiler", {10, 20});
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);

    EXPECT_TRUE(daemon->startCustomUsbLog(3, 15, false));

    ASSERT_EQ(started.count(), 1);
    EXPECT_EQ(started[0][0].toInt(), 3);
    EXPECT_EQ(traced("startCustomUsbLog", "USB Logging (log: 3 ) started with 15 sec interval"), 1);
    EXPECT_TRUE(daemon->isCustomUsbLogActive(3));
    EXPECT_EQ(contentOf("boiler-123456-1.csv"), "\tFlow [l/s]\tLevel\n");
}

TEST_F(LogDaemonCustomUsbLog, AnEmptyPrefixGivesTheDateAsFirstPartOfTheName)
{
    daemon->configureCustomLogUsb(1, "", {10});

    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_EQ(files(), QStringList(today() + "-123456-1.csv"));
}

TEST_F(LogDaemonCustomUsbLog, AStartAsksForTheConfiguredListAsItIsInTheDefaultLocale)
{
    daemon->configureCustomLogUsb(1, "boiler", {30, 10, 99});

    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_EQ(platform.lastCall("getMetadata").ids, QList<int>({30, 10, 99}));
    EXPECT_EQ(platform.lastCall("getMetadata").locale, "default");
}

TEST_F(LogDaemonCustomUsbLog, AnIdThatThePlatformDoesNotKnowIsMissingFromTheLog)
{
    daemon->configureCustomLogUsb(1, "boiler", {99, 20});

    EXPECT_TRUE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList("Level"));
}

TEST_F(LogDaemonCustomUsbLog, AStartLeavesTheStateOpenAndTheLoggerUnknownUntilTheFileIsMade)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    QStringList asked;
    bool open = true;
    bool known = false;
    platform.onCall = [&](const char* operation)
    {
        asked.append(operation);
        open = open && inspector->isStateMutexFree();
        known = known || inspector->customLoggers().contains(1);
    };

    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_EQ(asked, QStringList({"getMetadata", "getSerial"}));
    EXPECT_TRUE(open);
    EXPECT_FALSE(known);
}

TEST_F(LogDaemonCustomUsbLog, OfTwoStartsOfOneIdThatOverlapTheOneThatEndsLaterIsKept)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);
    QPointer<FileLogger> inner;
    bool outer = true;
    platform.onCall = [&](const char* operation)
    {
        if (operation == std::string("getMetadata") && std::exchange(outer, false))
        {
            EXPECT_TRUE(daemon->startCustomUsbLog(1, 3, false));
            inner = inspector->customLoggers()[1].data();
        }
    };

    EXPECT_TRUE(daemon->startCustomUsbLog(1, 7, false));

    EXPECT_EQ(static_cast<CSVLogger&>(*inspector->customLoggers()[1]).getInterval(), 7);
    EXPECT_EQ(started.count(), 2);
    EXPECT_EQ(files().size(), 2);
    ASSERT_FALSE(inner.isNull());
    deleteDeferred();
    EXPECT_TRUE(inner.isNull());
}

TEST_F(LogDaemonCustomUsbLog, TheStartedSignalIsRaisedWithTheStateOpenAndTheLogActive)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    bool open = false;
    bool active = false;
    QObject::connect(&*daemon, &LogDaemon::customUsbLogStarted,
                     [&](int id)
                     {
                         open = inspector->isStateMutexFree();
                         active = daemon->isCustomUsbLogActive(id);
                     });

    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_TRUE(open);
    EXPECT_TRUE(active);
}

TEST_F(LogDaemonCustomUsbLog, StartingTwiceAnswersTrueTwiceAndRaisesTheSignalOnce)
{
    daemon->configureCustomLogUsb(5, "boiler", {10});
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);

    EXPECT_TRUE(daemon->startCustomUsbLog(5, 1, false));
    EXPECT_TRUE(daemon->startCustomUsbLog(5, 60, false));

    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(traced("startCustomUsbLog", "USB Logging (log: 5) already started"), 1);
    EXPECT_EQ(files().size(), 1);
}

TEST_F(LogDaemonCustomUsbLog, ASecondStartKeepsTheIntervalOfTheFirst)
{
    daemon->configureCustomLogUsb(5, "boiler", {10});
    daemon->startCustomUsbLog(5, 2, false);

    daemon->startCustomUsbLog(5, 60, false);
    sample(T0);
    sample(T0 + 1);
    sample(T0 + 2);

    EXPECT_EQ(linesOf("boiler-123456-1.csv").size(), 1 + 2);
}

TEST_F(LogDaemonCustomUsbLog, ASecondStartAnswersTrueEvenWithoutADrive)
{
    daemon->configureCustomLogUsb(5, "boiler", {10});
    daemon->startCustomUsbLog(5, 1, false);
    inspector->usbPath().clear();

    EXPECT_TRUE(daemon->startCustomUsbLog(5, 1, false));
}

TEST_F(LogDaemonCustomUsbLog, ARunningLogWritesTheValuesOfItsOwnParametersOnly)
{
    daemon->configureCustomLogUsb(1, "boiler", {30, 10});
    daemon->startCustomUsbLog(1, 1, false);

    sample(T0);

    const QByteArrayList lines = linesOf("boiler-123456-1.csv");
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], "\tFlow [l/s]\tPower [kW]");
    EXPECT_EQ(lines[1].mid(19), "\t3\t5");
}

TEST_F(LogDaemonCustomUsbLog, ACustomLogDoesNotAskForARestartAtTheDateChange)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});

    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_FALSE(inspector->customLoggers()[1]->isRestartAtDateChange());
}

TEST_F(LogDaemonCustomUsbLog, TheSameParameterInTwoLogsIsReadOnceATickAndWrittenToBoth)
{
    daemon->configureCustomLogUsb(1, "one", {10, 20});
    daemon->configureCustomLogUsb(2, "two", {20, 30});
    daemon->startCustomUsbLog(1, 1, false);
    daemon->startCustomUsbLog(2, 1, false);

    daemon->second();

    EXPECT_EQ(platform.calls().back().operation, "getValues");
    EXPECT_EQ(platform.calls().back().ids, QList<int>({10, 20, 30}));
    EXPECT_EQ(linesOf("one-123456-1.csv").value(1).mid(19), "\t3\t4");
    EXPECT_EQ(linesOf("two-123456-1.csv").value(1).mid(19), "\t4\t5");
}

TEST_F(LogDaemonCustomUsbLog, IdsAreIndependentAndTheirSignalsCarryThem)
{
    daemon->configureCustomLogUsb(1, "one", {10});
    daemon->configureCustomLogUsb(2, "two", {20});
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);

    daemon->startCustomUsbLog(2, 1, false);
    daemon->startCustomUsbLog(1, 1, false);
    daemon->stopCustomUsbLog(2);

    ASSERT_EQ(started.count(), 2);
    EXPECT_EQ(started[0][0].toInt(), 2);
    EXPECT_EQ(started[1][0].toInt(), 1);
    ASSERT_EQ(stopped.count(), 1);
    EXPECT_EQ(stopped[0][0].toInt(), 2);
    EXPECT_TRUE(daemon->isCustomUsbLogActive(1));
    EXPECT_FALSE(daemon->isCustomUsbLogActive(2));
}

TEST_F(LogDaemonCustomUsbLog, ACustomLogRunsBesideTheMainLogAndDoesNotTouchIt)
{
    platform.defaultLog = {20};
    daemon->startUsbLog(1, false, "default");
    daemon->configureCustomLogUsb(1, "boiler", {10});

    daemon->startCustomUsbLog(1, 1, false);
    sample(T0);

    EXPECT_TRUE(daemon->isUsbLogActive());
    EXPECT_EQ(linesOf(today() + "-123456-1.csv").value(1).mid(19), "\t4");
    EXPECT_EQ(linesOf("boiler-123456-1.csv").value(1).mid(19), "\t3");
    daemon->stopUsbLog();
}

// Failed starts

TEST_F(LogDaemonCustomUsbLog, AStartThatDoesNotComeUpAnswersFalseTracesAtLevelOneAndRaisesNothing)
{
    daemon->configureCustomLogUsb(8, "boiler", {10});
    loseStickUnnoticed();
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);

    EXPECT_FALSE(daemon->startCustomUsbLog(8, 1, false));

    EXPECT_EQ(traced("startCustomUsbLog", "USB Logging (log: 8) failed to start"), 1);
    EXPECT_EQ(started.count(), 0);
    EXPECT_TRUE(inspector->customLoggers().value(8));
}

TEST_F(LogDaemonCustomUsbLog, AfterAFailedStartTheLogIsNotActiveAndGivesItsTitlesAlready)
{
    failToStart(1);

    EXPECT_FALSE(daemon->isCustomUsbLogActive(1));
    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList("Flow"));
}

TEST_F(LogDaemonCustomUsbLog, AfterAFailedStartAStopRaisesThatItStopped)
{
    failToStart(6);
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);

    EXPECT_TRUE(daemon->stopCustomUsbLog(6));

    ASSERT_EQ(stopped.count(), 1);
    EXPECT_EQ(stopped[0][0].toInt(), 6);
    EXPECT_EQ(traced("stopCustomUsbLog", "USB Logging (log: 6) stopped"), 1);
    EXPECT_FALSE(inspector->customLoggers().contains(6));
}

TEST_F(LogDaemonCustomUsbLog, AFailedStartAloneLeavesTheMainLogActive)
{
    daemon->startUsbLog(1, false, "default");

    failToStart(1);

    EXPECT_TRUE(daemon->isUsbLogActive());
    daemon->stopUsbLog();
}

TEST_F(LogDaemonCustomUsbLog, ARetryAfterAFailedStartComesUpInANewLogger)
{
    failToStart(1);
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);

    EXPECT_TRUE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_EQ(started.count(), 1);
    EXPECT_TRUE(daemon->isCustomUsbLogActive(1));
    EXPECT_EQ(files(), QStringList("boiler-123456-1.csv"));
}

TEST_F(LogDaemonCustomUsbLog, ARetryAfterAFailedStartLeavesTheMainLogInactiveThoughItGoesOnWriting)
{
    platform.defaultLog = {20};
    daemon->startUsbLog(1, false, "default");
    const std::unique_ptr<FileLogger> main(inspector->usbLogger());
    failToStart(1);
    QSignalSpy stopped(&*daemon, &LogDaemon::usbLogStopped);

    daemon->startCustomUsbLog(1, 1, false);
    sample(T0);

    EXPECT_FALSE(daemon->isUsbLogActive());
    EXPECT_EQ(stopped.count(), 0);
    EXPECT_EQ(linesOf(today() + "-123456-1.csv").size(), 2);
}

TEST_F(LogDaemonCustomUsbLog, ARetryWithoutADriveStillClearsTheFailedLoggerAndTheMainLog)
{
    daemon->startUsbLog(1, false, "default");
    const std::unique_ptr<FileLogger> main(inspector->usbLogger());
    failToStart(1);
    inspector->usbPath().clear();

    EXPECT_FALSE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_FALSE(inspector->customLoggers().contains(1));
    EXPECT_FALSE(daemon->isUsbLogActive());
}

TEST_F(LogDaemonCustomUsbLog, ARetryThatFailsAgainIsRememberedAgain)
{
    failToStart(1);
    loseStickUnnoticed();

    EXPECT_FALSE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_TRUE(inspector->customLoggers().value(1));
    EXPECT_EQ(traced("startCustomUsbLog", "USB Logging (log: 1) failed to start"), 2);
}

TEST_F(LogDaemonCustomUsbLog, AFailedLogTakesNoRows)
{
    failToStart(1);

    sample(T0);

    EXPECT_TRUE(files().isEmpty());
}

// Stopping

TEST_F(LogDaemonCustomUsbLog, StoppingAnUnknownIdAnswersTrueAndRaisesNothing)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);

    EXPECT_TRUE(daemon->stopCustomUsbLog(1));
    EXPECT_TRUE(daemon->stopCustomUsbLog(2));

    EXPECT_EQ(stopped.count(), 0);
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(LogDaemonCustomUsbLog, StoppingARunningLogAnswersTrueTracesAndRaisesItsSignalWithTheStateOpen)
{
    daemon->configureCustomLogUsb(4, "boiler", {10});
    daemon->startCustomUsbLog(4, 1, false);
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);
    bool open = false;
    QObject::connect(&*daemon, &LogDaemon::customUsbLogStopped, [&] { open = inspector->isStateMutexFree(); });

    EXPECT_TRUE(daemon->stopCustomUsbLog(4));

    ASSERT_EQ(stopped.count(), 1);
    EXPECT_EQ(stopped[0][0].toInt(), 4);
    EXPECT_TRUE(open);
    EXPECT_EQ(traced("stopCustomUsbLog", "USB Logging (log: 4) stopped"), 1);
    EXPECT_FALSE(daemon->isCustomUsbLogActive(4));
    EXPECT_EQ(daemon->getCustomUsbLogParameters(4), QStringList());
}

TEST_F(LogDaemonCustomUsbLog, AStoppedLogTakesRowsUntilItsDeferredDeletionHasRun)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    daemon->stopCustomUsbLog(1);
    sample(T0);
    deleteDeferred();
    sample(T0 + 1);

    EXPECT_EQ(linesOf("boiler-123456-1.csv").size(), 1 + 1);
}

TEST_F(LogDaemonCustomUsbLog, AStopKeepsTheConfigurationSoThatAStartNeedsNoNewOne)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    daemon->stopCustomUsbLog(1);

    EXPECT_TRUE(daemon->startCustomUsbLog(1, 1, false));

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv"}));
}

TEST_F(LogDaemonCustomUsbLog, AStoppedLogsParametersGoOnBeingRead)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    daemon->stopCustomUsbLog(1);

    daemon->second();

    EXPECT_EQ(platform.calls().back().ids, QList<int>({10}));
}

// State

TEST_F(LogDaemonCustomUsbLog, AConfigurationByItselfGivesNoTitles)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});

    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList());
    EXPECT_FALSE(daemon->isCustomUsbLogActive(1));
}

TEST_F(LogDaemonCustomUsbLog, WhetherALogRunsIsToldWithTheStateLocked)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_FALSE(answerBehind(
        inspector->stateMutex(), [&] { inspector->customLoggers().clear(); },
        [&] { return daemon->isCustomUsbLogActive(1); }));
}

TEST_F(LogDaemonCustomUsbLog, TitlesAreToldWithTheStateLocked)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    EXPECT_EQ(answerBehind(
                  inspector->stateMutex(), [&] { inspector->customLoggers().clear(); },
                  [&] { return daemon->getCustomUsbLogParameters(1); }),
              QStringList());
}

TEST_F(LogDaemonCustomUsbLog, ARunningLogOutlivesTheRemovalOfItsDrive)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    daemon->usbDriveRemoved(stick.path());
    sample(T0);

    EXPECT_TRUE(daemon->isCustomUsbLogActive(1));
    EXPECT_EQ(linesOf("boiler-123456-1.csv").size(), 2);
}

TEST_F(LogDaemonCustomUsbLog, AnInsertedDriveStartsNothing)
{
    QTemporaryDir other;
    daemon->configureCustomLogUsb(1, "boiler", {10});

    daemon->usbDriveInserted(other.path());

    EXPECT_FALSE(daemon->isCustomUsbLogActive(1));
    EXPECT_TRUE(QDir(other.path()).isEmpty());
}

// The pass of the tick. Of the two zones, the furthest west and the furthest east, each has another date than the other
// at any hour, and one of them another date than UTC.

TEST_F(LogDaemonCustomUsbLog, ACustomLogRunsAcrossMidnightInOneFile)
{
    const TimeZone west("<-12>12");
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);

    const TimeZone east("<+14>-14");
    daemon->second();

    EXPECT_EQ(files(), QStringList("boiler-123456-1.csv"));
}

TEST_F(LogDaemonCustomUsbLog, ALogThatAsksForItIsRestartedAtTheDateChangeInTheSameObject)
{
    const TimeZone west("<-12>12");
    daemon->configureCustomLogUsb(1, "boiler", {10});
    daemon->startCustomUsbLog(1, 1, false);
    const QSharedPointer<FileLogger> logger = inspector->customLoggers()[1];
    logger->setRestartAtDateChange(true);
    const QDateTime created = logger->getCreatedAt();
    QSignalSpy started(&*daemon, &LogDaemon::customUsbLogStarted);
    QSignalSpy stopped(&*daemon, &LogDaemon::customUsbLogStopped);

    const TimeZone east("<+14>-14");
    inspector->customLogsTick();

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv"}));
    EXPECT_EQ(inspector->customLoggers()[1], logger);
    EXPECT_EQ(logger->getCreatedAt(), created);
    EXPECT_TRUE(daemon->isCustomUsbLogActive(1));
    EXPECT_EQ(started.count() + stopped.count(), 0);
}

TEST_F(LogDaemonCustomUsbLog, ALogThatAsksForItStaysInItsFileOnTheSameLocalDate)
{
    daemon->configureCustomLogUsb(1, "boiler", {10});
    for (const char* name : {"<-12>12", "<+14>-14"})
    {
        const TimeZone zone(name);
        daemon->startCustomUsbLog(1, 1, false);
        inspector->customLoggers()[1]->setRestartAtDateChange(true);

        inspector->customLogsTick();

        daemon->stopCustomUsbLog(1);
    }

    EXPECT_EQ(files(), QStringList({"boiler-123456-1.csv", "boiler-123456-2.csv"}));
}

TEST_F(LogDaemonCustomUsbLog, ThePassLeavesFailedLogsAndEmptyEntriesAlone)
{
    const TimeZone west("<-12>12");
    failToStart(1);
    inspector->customLoggers()[1]->setRestartAtDateChange(true);
    inspector->customLoggers()[2] = nullptr;

    const TimeZone east("<+14>-14");
    inspector->customLogsTick();

    EXPECT_FALSE(daemon->isCustomUsbLogActive(1));
    EXPECT_FALSE(daemon->isCustomUsbLogActive(2));
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(LogDaemonCustomUsbLog, AnEmptyEntryCountsAsNoLogger)
{
    inspector->customLoggers()[1] = nullptr;
    daemon->configureCustomLogUsb(1, "boiler", {10});

    EXPECT_EQ(daemon->getCustomUsbLogParameters(1), QStringList());
    EXPECT_TRUE(daemon->startCustomUsbLog(1, 1, false));
}

// Threads

TEST(LogDaemonCustomUsbLogThreads, ALoggerStartedFromTheMainThreadLivesAndEndsOnTheDaemonsThread)
{
    setDefaults(logConfig());
    FakePlatform platform;
    platform.addParameter(10, "Flow");
    QTemporaryDir stick;
    platform.drives = QStringList(stick.path());
    zemo::ExecutionQueue queue;
    std::unique_ptr<LogDaemon> daemon;
    runOnQueue(queue, [&] { daemon = std::make_unique<LogDaemon>(nullptr); });
    daemon->configureCustomLogUsb(1, "boiler", {10});

    daemon->startCustomUsbLog(1, 1, false);
    QSharedPointer<FileLogger> logger = LogDaemonInspector(*daemon).customLoggers()[1];
    QThread* thread = logger->thread();
    QThread* endedOn = nullptr;
    QObject::connect(logger.data(), &QObject::destroyed, [&] { endedOn = QThread::currentThread(); });
    logger.reset();
    daemon->stopCustomUsbLog(1);
    // Posted before this event, the deletion has run when it is through.
    runOnQueue(queue, [] {});

    EXPECT_EQ(thread, &queue);
    EXPECT_EQ(endedOn, &queue);
    runOnQueue(queue, [&] { daemon.reset(); });
}
