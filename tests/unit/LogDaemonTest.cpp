#include "ExpectedMethods.h"
#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonInspector.h"
#include "LoggerInspector.h"
#include "LoggerTestSupport.h"
#include "RecordingLogger.h"
#include "logging/CSVLogger.h"
#include "logging/RAMLogger.h"
#include "settings/SettingsManager.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace
{

/// A log of yesterday that runs at any time, and notes what the daemon does to it, and whether without stateMutex.
class YesterdaysLogger : public CSVLogger
{
public:
    YesterdaysLogger(const QString& name, QStringList& happened, const LogDaemonInspector& daemon)
        : CSVLogger(QStringLiteral("/nowhere"), 1, nullptr)
        , m_name(name)
        , m_happened(happened)
        , m_daemon(daemon)
    {
        LoggerInspector::setCreatedAt(*this, QDateTime::currentDateTime().addDays(-1));
        setRestartAtDateChange(true);
    }

    bool start(bool continueLog) override
    {
        note(continueLog ? "goes on" : "starts");
        return true;
    }
    bool stop() override
    {
        note("stops");
        return true;
    }
    void updateParameters(QMap<int32_t, Metadata> updated) override
    {
        note(QStringLiteral("gets %1 parameters").arg(updated.size()));
    }
    bool isRunning() override
    {
        return true;
    }

private:
    void note(const QString& what)
    {
        m_happened.append(m_name + " " + what + (m_daemon.isStateMutexFree() ? " without the mutex" : ""));
    }

    QString m_name;
    QStringList& m_happened;
    LogDaemonInspector m_daemon;
};

/// A daemon on the calling thread, on a platform that holds `defaultLog`.
class LogDaemonTest : public testing::Test
{
protected:
    LogDaemonTest()
    {
        setDefaults(logConfig());
        for (int id : {1, 2, 3, 5, 9, 12, 30, 77})
        {
            platform.addParameter(id, QStringLiteral("Name %1").arg(id), QStringLiteral("V"), id * 100LL);
        }
    }

    LogDaemon& daemon()
    {
        if (!made)
        {
            made = std::make_unique<LogDaemon>(nullptr);
        }
        return *made;
    }

    LogDaemonInspector inspect()
    {
        return LogDaemonInspector(daemon());
    }

    /// Puts the parameters on the stick's own list, with "manual" for a unit.
    void describeByHand(LogDaemonInspector& inspector, const QList<int>& ids)
    {
        for (const int id : ids)
        {
            Metadata metadata = platform.metadata[id];
            metadata.unit = QStringLiteral("manual");
            inspector.manual().insert(id, metadata);
        }
    }

    /// The parameters that the history in memory keeps. Gives it a sample, as a history without any has no rows.
    QList<int> idsOfHistory()
    {
        emit daemon().valuesUpdated(static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch()) - 2, platform.values);
        RecordingLogger target;
        inspect().ramLogger()->replayTo(&target, QDateTime::fromSecsSinceEpoch(0), false);
        return target.rows.empty() ? QList<int>() : target.rows.back().keys();
    }

    std::vector<std::string> operations()
    {
        std::vector<std::string> names;
        for (const FakePlatform::Call& call : platform.calls())
        {
            names.push_back(call.operation);
        }
        return names;
    }

    FakePlatform platform;
    QTemporaryDir stick;
    std::unique_ptr<LogDaemon> made;
};

} // namespace

TEST_F(LogDaemonTest, MetaObjectHoldsTheMethodsInTheirOrder)
{
    expectMethods(LogDaemon::staticMetaObject,
                  {
                      {QMetaMethod::Signal, "void", "valuesUpdated(uint32_t,QMap<int32_t,DataValue>)",
                       "u32L_timestamp objL_values"},
                      {QMetaMethod::Signal, "void", "parametersUpdated(QMap<int32_t,Metadata>,QMap<int32_t,Metadata>)",
                       "objL_logParametersAll objL_logParametersConstrained"},
                      {QMetaMethod::Signal, "void", "saveSettings(QString,uint)", "objL_path u32L_saveType"},
                      {QMetaMethod::Signal, "void", "restoreSettings(QString)", "objL_path"},
                      {QMetaMethod::Signal, "void", "saveSettingsStarted()", ""},
                      {QMetaMethod::Signal, "void", "saveSettingsFinished(bool)", "bL_result"},
                      {QMetaMethod::Signal, "void", "restoreSettingsStarted()", ""},
                      {QMetaMethod::Signal, "void", "restoreSettingsFinished(bool)", "bL_result"},
                      {QMetaMethod::Signal, "void", "hasSettingsOnUSBChanged(bool)", "bL_result"},
                      {QMetaMethod::Signal, "void", "customUsbLogStarted(int)", "id"},
                      {QMetaMethod::Signal, "void", "customUsbLogStopped(int)", "id"},
                      {QMetaMethod::Signal, "void", "usbLogStarted()", ""},
                      {QMetaMethod::Signal, "void", "usbLogStopped()", ""},
                      {QMetaMethod::Signal, "void", "energyLogEntryHourlyAdded(ushort,uchar,uchar,uchar)",
                       "u16L_year u8L_month u8L_day u8L_hour"},
                      {QMetaMethod::Signal, "void", "energyLogEntryMonthlyAdded(ushort,uchar)", "u16L_year u8L_month"},
                      {QMetaMethod::Signal, "void", "energyLogMonthSummarized(ushort,uchar)", "u16L_year u8L_month"},
                      {QMetaMethod::Signal, "void", "energyLogExportStarted()", ""},
                      {QMetaMethod::Signal, "void", "energyLogExportCompleted(bool)", "bL_ok"},
                      {QMetaMethod::Signal, "void", "PowerLogExportStarted()", ""},
                      {QMetaMethod::Signal, "void", "PowerLogExportCompleted(bool)", "result"},
                      {QMetaMethod::Slot, "void", "usbDriveInserted(QString)", "objL_path"},
                      {QMetaMethod::Slot, "void", "usbDriveRemoved(QString)", "objL_path"},
                      {QMetaMethod::Slot, "void", "minute()", ""},
                      {QMetaMethod::Slot, "void", "second()", ""},
                  });
}

TEST_F(LogDaemonTest, ValuesCanTravelInQueuedConnectionsUnderTheNamesOfTheSignals)
{
    daemon();

    EXPECT_TRUE(QMetaType::fromName("uint32_t").isValid());
    EXPECT_EQ(QMetaType::fromName("QMap<int32_t,DataValue>"), (QMetaType::fromType<QMap<int, DataValue>>()));
    EXPECT_EQ(QMetaType::fromName("QMap<int,zemo::data::DataValue>"), (QMetaType::fromType<QMap<int, DataValue>>()));
}

TEST_F(LogDaemonTest, TheObjectsThatItMakesAreItsChildren)
{
    LogDaemonInspector inspector = inspect();

    EXPECT_EQ(inspector.usbClient()->parent(), &daemon());
    EXPECT_EQ(inspector.ramLogger()->parent(), &daemon());
    EXPECT_EQ(inspector.settingsManager()->parent(), &daemon());
    EXPECT_EQ(inspector.energyLogDb().parent(), &daemon());
}

TEST_F(LogDaemonTest, BothTimersRepeatPreciselyAtTheirIntervals)
{
    LogDaemonInspector inspector = inspect();

    EXPECT_EQ(inspector.minuteTimer().interval(), 60000);
    EXPECT_EQ(inspector.secondTimer().interval(), 1000);
    for (QTimer* timer : {&inspector.minuteTimer(), &inspector.secondTimer()})
    {
        EXPECT_TRUE(timer->isActive());
        EXPECT_FALSE(timer->isSingleShot());
        EXPECT_EQ(timer->timerType(), Qt::PreciseTimer);
    }
}

TEST_F(LogDaemonTest, TheTimersDriveTheirTicks)
{
    platform.defaultLog = {1};
    LogDaemonInspector inspector = inspect();
    inspector.minuteTimer().setInterval(0);
    inspector.secondTimer().setInterval(0);
    const int refreshesBefore = platform.callCount("getDefaultLog");

    const bool ticked = QTest::qWaitFor(
        [&] { return platform.callCount("getValues") > 0 && platform.callCount("getDefaultLog") > refreshesBefore; });

    EXPECT_TRUE(ticked);
}

TEST_F(LogDaemonTest, TheFirstSecondComesOneSecondAfterTheStart)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    daemon();
    EXPECT_EQ(platform.callCount("getValues"), 0);

    ASSERT_TRUE(QTest::qWaitFor([&] { return platform.callCount("getValues") > 0; }, 10000));

    EXPECT_GE(sinceStart.elapsed(), 990);
    EXPECT_EQ(platform.callCount("getDefaultLog"), 1);
}

TEST_F(LogDaemonTest, AStartWithoutADriveAsksForDrivesAndThenForTheDefaultList)
{
    daemon();

    EXPECT_EQ(operations(), (std::vector<std::string>{"getUsbDrives", "getDefaultLog"}));
    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "default");
    EXPECT_EQ(inspect().usbPath(), "");
}

TEST_F(LogDaemonTest, ADrivePresentAtTheStartIsUsedAndItsLogSetReadBeforeTheFirstSecond)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");
    platform.drives = {stick.path()};
    platform.defaultLog = {5};

    LogDaemonInspector inspector = inspect();

    EXPECT_EQ(inspector.usbPath(), stick.path());
    EXPECT_EQ(inspector.manualIds(), QList<int>({77}));
    EXPECT_EQ(inspector.allIds(), QList<int>({5, 77}));
    EXPECT_EQ(operations(),
              (std::vector<std::string>{"getUsbDrives", "getMetadata", "getDefaultLog", "getDefaultLog"}));
    EXPECT_FALSE(daemon().isUsbLogActive());
    EXPECT_EQ(
        platform.traceCount("LogDaemon", 1, "usbDriveInserted", "USB Drive Inserted " + stick.path().toStdString()), 1);
}

TEST_F(LogDaemonTest, OfTwoDrivesAtTheStartOnlyTheFirstIsUsed)
{
    QTemporaryDir second;
    writeFile(second.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");
    platform.drives = {stick.path(), second.path()};

    LogDaemonInspector inspector = inspect();

    EXPECT_EQ(inspector.usbPath(), stick.path());
    EXPECT_TRUE(inspector.manualIds().isEmpty());
    EXPECT_EQ(platform.traceTexts("LogDaemon", 1),
              std::vector<std::string>({"USB Drive Inserted " + stick.path().toStdString()}));
}

TEST_F(LogDaemonTest, TheSecondDriveIsUsedWhenALaterInsertionNamesIt)
{
    QTemporaryDir second;
    platform.drives = {stick.path(), second.path()};
    daemon();

    platform.insertDrive(second.path());

    EXPECT_EQ(inspect().usbPath(), second.path());
}

TEST_F(LogDaemonTest, AnInsertionSetsThePathTracesItAndStartsNoLog)
{
    daemon();
    QSignalSpy started(&daemon(), SIGNAL(usbLogStarted()));
    platform.clearTrace();

    platform.insertDrive(stick.path());

    EXPECT_EQ(inspect().usbPath(), stick.path());
    EXPECT_EQ(
        platform.traceCount("LogDaemon", 1, "usbDriveInserted", "USB Drive Inserted " + stick.path().toStdString()), 1);
    EXPECT_EQ(started.count(), 0);
    EXPECT_FALSE(daemon().isUsbLogActive());
}

TEST_F(LogDaemonTest, AnInsertionWithoutLogSetRefreshesNothing)
{
    daemon();
    const int refreshes = platform.callCount("getDefaultLog");

    platform.insertDrive(stick.path());

    EXPECT_EQ(platform.callCount("getDefaultLog"), refreshes);
    EXPECT_EQ(platform.callCount("getMetadata"), 0);
}

TEST_F(LogDaemonTest, ThePathIsSetBeforeTheLogSetIsLookedAt)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");
    LogDaemonInspector inspector = inspect();
    QString seen;
    bool mutexFree = false;
    platform.onCall = [&](const char* operation)
    {
        if (qstrcmp(operation, "getMetadata") == 0)
        {
            seen = inspector.usbPath();
            mutexFree = inspector.isStateMutexFree();
        }
    };

    platform.insertDrive(stick.path());

    EXPECT_EQ(seen, stick.path());
    EXPECT_TRUE(mutexFree);
}

TEST_F(LogDaemonTest, TheSettingsFileOfANewDriveIsKnownBeforeTheLogSetIsLookedAt)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");
    writeFile(stick.filePath("STORE.SET"), "settings");
    daemon();
    bool known = false;
    platform.onCall = [&](const char* operation)
    {
        if (qstrcmp(operation, "getMetadata") == 0)
        {
            known = daemon().hasSettingsOnUSB();
        }
    };

    platform.insertDrive(stick.path());

    EXPECT_TRUE(known);
}

TEST_F(LogDaemonTest, TheRemovalOfAnotherDriveClearsThePathAllTheSame)
{
    platform.drives = {stick.path()};
    LogDaemonInspector inspector = inspect();

    platform.removeDrive(QStringLiteral("/media/another"));

    EXPECT_EQ(inspector.usbPath(), "");
}

TEST_F(LogDaemonTest, ARemovalEmptiesTheManualParametersAndRefreshes)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");
    platform.drives = {stick.path()};
    platform.defaultLog = {5};
    LogDaemonInspector inspector = inspect();
    ASSERT_EQ(inspector.allIds(), QList<int>({5, 77}));

    platform.removeDrive(stick.path());

    EXPECT_TRUE(inspector.manualIds().isEmpty());
    EXPECT_EQ(inspector.allIds(), QList<int>({5}));
    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "default");
}

TEST_F(LogDaemonTest, ARemovalRefreshesBehindThePathAndBeforeTheAnswerAboutTheSettings)
{
    writeFile(stick.filePath("STORE.SET"), "settings");
    platform.drives = {stick.path()};
    LogDaemonInspector inspector = inspect();
    QString pathThen = QStringLiteral("never asked");
    bool hadSettingsThen = false;
    platform.onCall = [&](const char*)
    {
        pathThen = inspector.usbPath();
        hadSettingsThen = daemon().hasSettingsOnUSB();
    };

    platform.removeDrive(stick.path());

    EXPECT_EQ(pathThen, "");
    EXPECT_TRUE(hadSettingsThen);
    EXPECT_FALSE(daemon().hasSettingsOnUSB());
}

TEST_F(LogDaemonTest, AfterTheRemovalTheManualParametersAreNoLongerRead)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n30\n");
    platform.drives = {stick.path()};
    platform.defaultLog = {5};
    daemon().second();
    ASSERT_EQ(platform.lastCall("getValues").ids, QList<int>({5, 30, 77}));

    platform.removeDrive(stick.path());
    daemon().second();

    EXPECT_EQ(platform.lastCall("getValues").ids, QList<int>({5}));
}

TEST_F(LogDaemonTest, AfterTheRemovalAManualParameterOfACustomLogIsStillRead)
{
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n30\n");
    platform.drives = {stick.path()};
    platform.defaultLog = {5};
    inspect().customConfigs().insert(1,
                                     QSharedPointer<CustomLogConfig>(new CustomLogConfig{QStringLiteral("own"), {77}}));

    platform.removeDrive(stick.path());
    daemon().second();

    EXPECT_EQ(platform.lastCall("getValues").ids, QList<int>({5, 77}));
}

TEST_F(LogDaemonTest, WithMaxDefaultZeroTheFirstParameterIsConstrained)
{
    logConfig().maxDefault = 0;
    platform.defaultLog = {9, 5, 12};

    EXPECT_EQ(inspect().constrainedIds(), QList<int>({5}));
    EXPECT_EQ(inspect().allIds(), QList<int>({5, 9, 12}));
}

TEST_F(LogDaemonTest, WithANegativeMaxDefaultNothingIsConstrained)
{
    logConfig().maxDefault = -1;
    platform.defaultLog = {5, 9, 12};

    EXPECT_TRUE(inspect().constrainedIds().isEmpty());
    EXPECT_EQ(inspect().allIds(), QList<int>({5, 9, 12}));
}

TEST_F(LogDaemonTest, WithMaxDefaultTwoThreeParametersAreConstrainedAndNoneLeaves)
{
    logConfig().maxDefault = 2;
    platform.defaultLog = {5, 9, 12, 30};
    LogDaemonInspector inspector = inspect();
    EXPECT_EQ(inspector.constrainedIds(), QList<int>({5, 9, 12}));

    platform.defaultLog = {1, 2, 3};
    daemon().minute();

    EXPECT_EQ(inspector.constrainedIds(), QList<int>({1, 2, 3, 5, 9, 12}));
    EXPECT_EQ(inspector.allIds(), QList<int>({1, 2, 3}));
    EXPECT_EQ(idsOfHistory(), QList<int>({1, 2, 3, 5, 9, 12}));
}

TEST_F(LogDaemonTest, WithTheDefaultLimitOf100TheFirst101ParametersAreConstrained)
{
    platform.defaultLog.clear();
    for (int id = 1000; id < 1150; ++id)
    {
        platform.addParameter(id, QStringLiteral("P"));
        platform.defaultLog.append(id);
    }

    LogDaemonInspector inspector = inspect();

    EXPECT_EQ(inspector.constrainedIds().size(), 101);
    EXPECT_EQ(inspector.constrainedIds().last(), 1100);
    EXPECT_EQ(inspector.allIds().size(), 150);
}

TEST_F(LogDaemonTest, AnEntryThatMovesBehindTheLimitStaysConstrained)
{
    logConfig().maxDefault = 0;
    platform.defaultLog = {9};
    LogDaemonInspector inspector = inspect();

    platform.defaultLog = {5, 9};
    daemon().minute();

    EXPECT_EQ(inspector.constrainedIds(), QList<int>({5, 9}));
}

TEST_F(LogDaemonTest, ARefreshOverwritesTheConstrainedMetadataInFrontOfTheLimitOnly)
{
    logConfig().maxDefault = 0;
    platform.defaultLog = {9};
    LogDaemonInspector inspector = inspect();
    platform.defaultLog = {5, 9};
    daemon().minute();
    platform.metadata[5].unit = QStringLiteral("new 5");
    platform.metadata[9].unit = QStringLiteral("new 9");

    daemon().minute();

    EXPECT_EQ(inspector.constrained().value(5).unit, "new 5");
    EXPECT_EQ(inspector.constrained().value(9).unit, "V");
}

TEST_F(LogDaemonTest, AnEmptyDefaultListEmptiesTheMapOfAllAndLeavesTheConstrainedOne)
{
    platform.defaultLog = {5, 9};
    LogDaemonInspector inspector = inspect();

    platform.defaultLog.clear();
    daemon().minute();

    EXPECT_TRUE(inspector.allIds().isEmpty());
    EXPECT_EQ(inspector.constrainedIds(), QList<int>({5, 9}));
}

TEST_F(LogDaemonTest, AManualParameterIsReadEachSecondAndNeverConstrained)
{
    platform.defaultLog = {5};
    LogDaemonInspector inspector = inspect();
    inspector.manual() = {{77, platform.metadata[77]}};

    daemon().minute();
    daemon().second();

    EXPECT_EQ(inspector.constrainedIds(), QList<int>({5}));
    EXPECT_EQ(inspector.allIds(), QList<int>({5, 77}));
    EXPECT_EQ(platform.lastCall("getValues").ids, QList<int>({5, 77}));
}

TEST_F(LogDaemonTest, TheHistoryKeepsNeitherManualParametersNorThoseBehindTheLimit)
{
    logConfig().maxDefault = 0;
    platform.defaultLog = {5, 9};
    LogDaemonInspector inspector = inspect();
    inspector.manual() = {{77, platform.metadata[77]}};

    daemon().minute();

    EXPECT_EQ(inspector.allIds(), QList<int>({5, 9, 77}));
    EXPECT_EQ(idsOfHistory(), QList<int>({5}));
}

TEST_F(LogDaemonTest, MaxManualCutsNoParameter)
{
    logConfig().maxManual = 0;
    platform.defaultLog = {5};
    LogDaemonInspector inspector = inspect();
    for (int id : {1, 2, 3, 77})
    {
        inspector.manual().insert(id, platform.metadata[id]);
    }

    daemon().minute();

    EXPECT_EQ(inspector.allIds(), QList<int>({1, 2, 3, 5, 77}));
}

TEST_F(LogDaemonTest, UpToMaxManualTheManualMetadataReplacesThatOfUnconstrainedDefaults)
{
    logConfig().maxDefault = -1;
    logConfig().maxManual = 1;
    platform.defaultLog = {1, 2, 3, 5};
    LogDaemonInspector inspector = inspect();
    describeByHand(inspector, {1, 2, 3, 5});

    daemon().minute();

    EXPECT_EQ(inspector.all().value(1).unit, "manual");
    EXPECT_EQ(inspector.all().value(2).unit, "manual"); // inclusive too
    EXPECT_EQ(inspector.all().value(3).unit, "V");
    EXPECT_EQ(inspector.all().value(5).unit, "V");
}

TEST_F(LogDaemonTest, AManualParameterThatTheDefaultListLacksCountsTowardsMaxManualToo)
{
    logConfig().maxDefault = -1;
    logConfig().maxManual = 0;
    platform.defaultLog = {2};
    LogDaemonInspector inspector = inspect();
    describeByHand(inspector, {1, 2});

    daemon().minute();

    EXPECT_EQ(inspector.all().value(1).unit, "manual");
    EXPECT_EQ(inspector.all().value(2).unit, "V");
}

TEST_F(LogDaemonTest, AConstrainedParameterKeepsTheDefaultMetadataAndDoesNotCountAsManual)
{
    logConfig().maxDefault = 0;
    logConfig().maxManual = 0;
    platform.defaultLog = {1, 2};
    LogDaemonInspector inspector = inspect();
    describeByHand(inspector, {1, 2});

    daemon().minute();

    EXPECT_EQ(inspector.all().value(1).unit, "V");
    EXPECT_EQ(inspector.all().value(2).unit, "manual");
}

TEST_F(LogDaemonTest, AConfiguredCustomParameterIsReadEachSecondWithoutAnyStart)
{
    platform.defaultLog = {5, 12};
    daemon().configureCustomLogUsb(8, QStringLiteral("own"), {30, 1});

    daemon().second();
    daemon().stopCustomUsbLog(8);
    daemon().second();

    EXPECT_EQ(platform.lastCall("getValues").ids, QList<int>({1, 5, 12, 30}));
}

TEST_F(LogDaemonTest, EachIdIsAskedForOnceInAscendingOrderInOneCall)
{
    platform.defaultLog = {5, 12};
    LogDaemonInspector inspector = inspect();
    inspector.customConfigs().insert(3, QSharedPointer<CustomLogConfig>(new CustomLogConfig{{}, {77, 12, 1, 77}}));
    inspector.customConfigs().insert(1, QSharedPointer<CustomLogConfig>(new CustomLogConfig{{}, {30, 5, -4}}));

    daemon().second();

    EXPECT_EQ(platform.callCount("getValues"), 1);
    EXPECT_EQ(platform.lastCall("getValues").ids, QList<int>({-4, 1, 5, 12, 30, 77}));
}

TEST_F(LogDaemonTest, WithoutAnyParameterAnEmptyReadIsDoneAndEmptyValuesAreRaised)
{
    daemon();
    int raised = 0;
    QMap<int32_t, DataValue> values{{1, {}}};
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(),
                     [&](uint32_t, const QMap<int32_t, DataValue>& read)
                     {
                         ++raised;
                         values = read;
                     });

    daemon().second();

    EXPECT_EQ(platform.callCount("getValues"), 1);
    EXPECT_TRUE(platform.lastCall("getValues").ids.isEmpty());
    EXPECT_EQ(raised, 1);
    EXPECT_TRUE(values.isEmpty());
}

TEST_F(LogDaemonTest, ValuesAreRaisedAsReadAndAMissingOneIsMissing)
{
    platform.defaultLog = {5, 9, 12};
    platform.values.remove(9);
    QMap<int32_t, DataValue> values;
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(),
                     [&](uint32_t, const QMap<int32_t, DataValue>& read) { values = read; });

    daemon().second();

    EXPECT_EQ(values.keys(), QList<int>({5, 12}));
    EXPECT_EQ(values.value(12).getIntValue(), 1200);
}

TEST_F(LogDaemonTest, TheTimeStampIsTakenBeforeTheValuesAreRead)
{
    qint64 askedAt = 0;
    platform.onCall = [&](const char* operation)
    {
        if (qstrcmp(operation, "getValues") == 0)
        {
            askedAt = QDateTime::currentSecsSinceEpoch();
            while (QDateTime::currentSecsSinceEpoch() == askedAt)
            {
                std::this_thread::yield(); // a read that lasts into the next second
            }
        }
    };
    uint32_t stamp = 0;
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(),
                     [&](uint32_t raised, const QMap<int32_t, DataValue>&) { stamp = raised; });

    daemon().second();

    EXPECT_LE(stamp, askedAt);
    EXPECT_GE(stamp, askedAt - 1);
}

TEST_F(LogDaemonTest, TheMutexIsOpenWhileValuesAreReadAndHeldWhileTheyAreRaised)
{
    LogDaemonInspector inspector = inspect();
    bool freeInRead = false;
    bool freeInSignal = true;
    platform.onCall = [&](const char*) { freeInRead = inspector.isStateMutexFree(); };
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(),
                     [&] { freeInSignal = inspector.isStateMutexFree(); });

    daemon().second();

    EXPECT_TRUE(freeInRead);
    EXPECT_FALSE(freeInSignal);
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(LogDaemonTest, TheMutexIsOpenWhileTheDefaultListIsFetched)
{
    LogDaemonInspector inspector = inspect();
    int asked = 0;
    bool free = false;
    platform.onCall = [&](const char*)
    {
        ++asked;
        free = inspector.isStateMutexFree();
    };

    daemon().minute();

    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(free);
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(LogDaemonTest, WhileTheDefaultListIsFetchedTheParametersOfTheLastRefreshHold)
{
    platform.defaultLog = {5};
    LogDaemonInspector inspector = inspect();
    inspector.manual() = {{77, platform.metadata[77]}};
    daemon().minute();
    platform.defaultLog = {9};
    QList<int> idsThen;
    QStringList titlesThen;
    platform.onCall = [&](const char*)
    {
        idsThen = inspector.allIds();
        titlesThen = daemon().getLogParameters();
    };

    daemon().minute();

    EXPECT_EQ(idsThen, QList<int>({5, 77}));
    EXPECT_EQ(titlesThen, QStringList({"Name 5", "Name 77"}));
    EXPECT_EQ(inspector.allIds(), QList<int>({9, 77}));
}

TEST_F(LogDaemonTest, TheMainLogGetsTheParametersOfARefreshWithTheMutexHeld)
{
    QStringList happened;
    LogDaemonInspector inspector = inspect();
    YesterdaysLogger log("main log", happened, inspector);
    inspector.usbLogger() = &log;
    platform.defaultLog = {5, 9};

    daemon().minute();

    EXPECT_EQ(happened, QStringList({"main log gets 2 parameters"}));
}

TEST_F(LogDaemonTest, TheRamLogTakesEachSampleBeforeTheOthers)
{
    platform.defaultLog = {5};
    QStringList order;
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(), [&] { order.append("another receiver"); });
    QObject::connect(inspect().ramLogger(), &RAMLogger::valuesUpdated, &daemon(), [&] { order.append("RAM log"); });

    daemon().second();

    EXPECT_EQ(order, QStringList({"RAM log", "another receiver"}));
}

TEST_F(LogDaemonTest, ASecondServesTheSnapshotsThenTheMainLogThenTheCustomLogsBehindItsSampleWithTheMutexHeld)
{
    QStringList happened;
    LogDaemonInspector inspector = inspect();
    QObject::connect(&daemon(), &LogDaemon::valuesUpdated, &daemon(), [&] { happened.append("sample"); });
    inspector.pendingSaves().insert(QDateTime::currentDateTimeUtc(),
                                    new YesterdaysLogger("snapshot", happened, inspector));
    inspector.usbLogger() = new YesterdaysLogger("main log", happened, inspector);
    inspector.customLoggers().insert(
        1, QSharedPointer<FileLogger>(new YesterdaysLogger("custom log", happened, inspector)));

    daemon().second();
    deleteDeferred();

    EXPECT_EQ(happened,
              QStringList({"sample", "snapshot stops", "main log stops", "custom log stops", "custom log starts"}));
}

TEST_F(LogDaemonTest, MinuteRefreshesInTheDefaultLocaleAndReadsNoValues)
{
    daemon();
    inspect().refreshParameters(QStringLiteral("de_DE"));
    ASSERT_EQ(platform.lastCall("getDefaultLog").locale, "de_DE");
    const size_t callsBefore = platform.calls().size();

    daemon().minute();

    EXPECT_EQ(platform.calls().size(), callsBefore + 1);
    EXPECT_EQ(platform.lastCall("getDefaultLog").locale, "default");
}

TEST_F(LogDaemonTest, OfTwoRefreshesThatOverlapTheLaterToReturnWins)
{
    platform.defaultLog = {1};
    LogDaemonInspector inspector = inspect();
    bool outer = true;
    platform.onCall = [&](const char*)
    {
        if (std::exchange(outer, false))
        {
            platform.defaultLog = {2};
            std::thread inner([&] { inspector.refreshParameters(QStringLiteral("default")); });
            inner.join();
            EXPECT_EQ(inspector.allIds(), QList<int>({2}));
            platform.defaultLog = {3};
        }
    };

    daemon().minute();

    EXPECT_EQ(inspector.allIds(), QList<int>({3}));
    EXPECT_EQ(inspector.constrainedIds(), QList<int>({1, 2, 3}));
}

TEST_F(LogDaemonTest, ARefreshNeverRaisesParametersUpdated)
{
    platform.defaultLog = {5};
    daemon();
    int raised = 0;
    QObject::connect(&daemon(), &LogDaemon::parametersUpdated, &daemon(), [&] { ++raised; });
    writeFile(stick.filePath("LOG.SET"), "[ZEMOLOG;20240305]\n77\n");

    platform.insertDrive(stick.path());
    daemon().minute();
    platform.removeDrive(stick.path());
    daemon().second();

    EXPECT_EQ(raised, 0);
}
