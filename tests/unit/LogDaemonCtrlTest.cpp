#include "LogDaemonCtrl.h"
#include "EnergyLogFile.h"
#include "FakePlatform.h"
#include "FakeSync.h"
#include "LogConfig.h"
#include "LogDaemonAdaptor.h"
#include "LogDaemonInspector.h"
#include "LoggerTestSupport.h"
#include "SignalRecorder.h"
#include "logging/RAMLogger.h"

#include <QDBusMetaType>
#include <QDir>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <stdexcept>

/// Gives a control object's daemon.
class LogDaemonCtrlInspector
{
public:
    static LogDaemon* daemon(LogDaemonCtrl& control)
    {
        return control.logDaemon;
    }
    static QThread* queue(LogDaemonCtrl& control)
    {
        return &control.executionQueue;
    }
};

namespace
{

std::string described(const QMetaMethod& method)
{
    QStringList arguments;
    for (int i = 0; i < method.parameterCount(); ++i)
    {
        arguments.append(
            QString::fromLatin1(method.parameterTypes().at(i) + ' ' + method.parameterNames().at(i)).trimmed());
    }
    return QStringLiteral("%1 %2(%3)")
        .arg(QString::fromLatin1(method.typeName()), QString::fromLatin1(method.name()), arguments.join(", "))
        .toStdString();
}

std::vector<std::string> methodsOf(const QMetaObject& meta, QMetaMethod::MethodType type)
{
    std::vector<std::string> found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
    {
        if (meta.method(i).methodType() == type)
        {
            found.push_back(described(meta.method(i)));
        }
    }
    return found;
}

/// Ends the snapshots that still record, as the daemon leaves them open when it goes; when each was to end.
QList<QDateTime> endSnapshots(LogDaemonCtrl& control)
{
    LogDaemon* const daemon = LogDaemonCtrlInspector::daemon(control);
    QMap<QDateTime, Logger*> pending;
    QMetaObject::invokeMethod(
        daemon,
        [&]
        {
            pending = std::exchange(LogDaemonInspector(*daemon).pendingSaves(), {});
            for (Logger* logger : std::as_const(pending))
            {
                logger->stop();
                logger->deleteLater();
            }
        },
        Qt::BlockingQueuedConnection);
    deleteDeferred();
    return pending.keys();
}

class LogDaemonControl : public testing::Test
{
protected:
    LogDaemonControl()
    {
        setDefaults(logConfig());
        platform.addParameter(10, QStringLiteral("Flow"), QStringLiteral("l/s"), 7);
        platform.defaultLog = {10};
    }

    /// Gives the history a value of 500 seconds ago; answers what time it is now.
    uint32_t fillHistory(LogDaemonCtrl& control)
    {
        const auto now = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
        RAMLogger* const ram = LogDaemonInspector(*LogDaemonCtrlInspector::daemon(control)).ramLogger();
        ram->log(now - 500, platform.values);
        return now;
    }

    static QByteArray contentOfOnlyFile(const QString& folder)
    {
        const QStringList names = QDir(folder).entryList(QDir::Files);
        EXPECT_EQ(names.size(), 1);
        QFile file(QDir(folder).filePath(names.value(0)));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }

    FakePlatform platform;
};

/// A control object on the bus, as main starts it.
class StartedControl : public LogDaemonControl
{
protected:
    StartedControl()
    {
        bus.hasName({});
    }

    void start()
    {
        LogDaemonCtrl::start();
        started = true;
    }

    void stop()
    {
        LogDaemonCtrl::stop();
        started = false;
    }

    ~StartedControl() override
    {
        if (started)
        {
            LogDaemonCtrl::stop();
        }
        bus.client().unregisterService(QStringLiteral("com.tarn.zemo.logd"));
    }

    UnitBus& bus = UnitBus::instance();
    bool started = false;
};

} // namespace

TEST_F(LogDaemonControl, HasItsSignalsInTheirOrder)
{
    const std::vector<std::string> expected = {
        "void customUsbLogStarted(int id)",
        "void customUsbLogStopped(int id)",
        "void hasSettingsOnUSBChanged(bool result)",
        "void restoreSettingsFinished(bool ok)",
        "void restoreSettingsStarted()",
        "void saveSettingsFinished(bool ok)",
        "void saveSettingsStarted()",
        "void usbLogStarted()",
        "void usbLogStopped()",
        "void logDaemonStarted()",
        "void energyLogEntryHourlyAdded(ushort u16L_year, uchar u8L_month, uchar u8L_day, uchar u8L_hour)",
        "void energyLogEntryMonthlyAdded(ushort u16L_year, uchar u8L_month)",
        "void energyLogMonthSummarized(ushort u16L_year, uchar u8L_month)",
        "void energyLogExportCompleted(bool bL_result)",
        "void energyLogExportStarted()",
        "void PowerLogExportStarted()",
        "void PowerLogExportCompleted(bool result)",
    };

    EXPECT_EQ(methodsOf(LogDaemonCtrl::staticMetaObject, QMetaMethod::Signal), expected);
}

TEST_F(LogDaemonControl, HasItsSlotsInTheirOrder)
{
    // One slot a line.
    // clang-format off
    const std::vector<std::string> expected = {
        "QStringList getLogParameters()",
        "bool isUsbLogActive()",
        "bool hasSettingsOnUSB()",
        "bool removeLogFromInternalMem(uint u32L_id)",
        "bool restoreSettingsFromUSB()",
        "bool saveCoreDumpsToUsb()",
        "bool saveChangeLogToUsb(QString objL_path)",
        "bool saveModbusMostUsedToUsb()",
        "bool saveInternalLogToUsb(uint u32L_id, QString objL_path)",
        "bool saveInternalLogsToUsbRaw()",
        "bool saveModbusStateToUsb()",
        "uint saveRamLogToInternalMem()",
        "bool saveRamLogToUsb(QString objL_path)",
        "bool saveSettingsToUSB(uint u32L_saveType)",
        "bool saveSysLogToUsb()",
        "bool saveSysInfoToUsb()",
        "bool saveAlarmLogToUsb(int iL_count, QString objL_path)",
        "bool startLogUsb(int interval, bool bL_continue, QString objL_locale)",
        "bool stopLogUsb()",
        "QString createUsbFolder(QString objL_prefix, QString objL_path)",
        "bool configureCustomLogUsb(int s32L_id, QString objL_prefix, QList<int> objL_parameters)",
        "QStringList getCustomUsbLogParameters(int s32L_id)",
        "bool isCustomUsbLogActive(int s32L_id)",
        "bool startCustomLogUsb(int s32L_id, int s32L_interval, bool bL_continue)",
        "bool stopCustomLogUsb(int s32L_id)",
        "bool initEnergyLog(uchar u8L_numColumns, int s32L_invalidValue)",
        "bool addEnergyLogHourlyEntry(zemo::data::EnergyLogEntry objL_logEntry)",
        "bool addEnergyLogHourlyEntries(QListEnergyLogEntry objL_logEntries)",
        "bool addEnergyLogMonthlyEntry(zemo::data::EnergyLogEntry objL_logEntry)",
        "bool summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, QList<bool> objL_shouldAverage)",
        "QListEnergyLogEntry getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay, uchar u8L_startHour, ushort u16L_stopYear, uchar u8L_stopMonth, uchar u8L_stopDay, uchar u8L_stopHour)",
        "QListEnergyLogEntry getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth)",
        "bool exportEnergyLogToUsb(QStringList objL_headers, QByteArray objL_decimals, ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth)",
        "bool PowerLogExportToUsb(QString locale)",
        "bool PowerLogExportHourlyToUsb(QString locale)",
        "bool PowerLogExportQuarterlyToUsb(QString locale)",
        "bool PowerLogExportForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp)",
        "bool PowerLogExportHourlyForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp)",
        "bool PowerLogExportQuarterlyForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp)",
    };
    // clang-format on

    EXPECT_EQ(methodsOf(LogDaemonCtrl::staticMetaObject, QMetaMethod::Slot), expected);
}

TEST_F(LogDaemonControl, MakesTheDaemonOnTheQueueAndWaitsForIt)
{
    QThread* constructedOn = nullptr;
    platform.onCall = [&](const char*) { constructedOn = QThread::currentThread(); };

    LogDaemonCtrl control;

    LogDaemon* const daemon = LogDaemonCtrlInspector::daemon(control);
    ASSERT_NE(daemon, nullptr);
    EXPECT_EQ(daemon->parent(), nullptr);
    EXPECT_EQ(daemon->thread(), LogDaemonCtrlInspector::queue(control));
    EXPECT_EQ(constructedOn, LogDaemonCtrlInspector::queue(control));
    EXPECT_EQ(platform.callCount("getDefaultLog"), 1); // the daemon's last step
}

TEST_F(LogDaemonControl, AnExceptionOfTheDaemonsConstructionReachesTheCaller)
{
    platform.onCall = [](const char*) { throw std::runtime_error("no such luck"); };

    try
    {
        const LogDaemonCtrl control;
        FAIL() << "nothing was thrown";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ(error.what(), "no such luck");
    }
}

TEST_F(LogDaemonControl, EndsTheDaemonOnItsThread)
{
    QPointer<LogDaemon> daemon;
    QThread* endedOn = nullptr;
    QThread* queue = nullptr;
    {
        LogDaemonCtrl control;
        daemon = LogDaemonCtrlInspector::daemon(control);
        queue = LogDaemonCtrlInspector::queue(control);
        QObject::connect(
            daemon, &QObject::destroyed, daemon, [&] { endedOn = QThread::currentThread(); }, Qt::DirectConnection);
    }

    EXPECT_TRUE(daemon.isNull());
    EXPECT_EQ(endedOn, queue);
}

TEST_F(LogDaemonControl, RelaysEverySignalOfTheSameNameOnce)
{
    LogDaemonCtrl control;
    LogDaemon* const daemon = LogDaemonCtrlInspector::daemon(control);
    QStringList raised;
    QObject::connect(&control, &LogDaemonCtrl::customUsbLogStarted, &control,
                     [&](int id) { raised.append(QStringLiteral("customUsbLogStarted %1").arg(id)); });
    QObject::connect(&control, &LogDaemonCtrl::customUsbLogStopped, &control,
                     [&](int id) { raised.append(QStringLiteral("customUsbLogStopped %1").arg(id)); });
    QObject::connect(&control, &LogDaemonCtrl::usbLogStarted, &control, [&] { raised.append("usbLogStarted"); });
    QObject::connect(&control, &LogDaemonCtrl::usbLogStopped, &control, [&] { raised.append("usbLogStopped"); });
    QObject::connect(&control, &LogDaemonCtrl::saveSettingsStarted, &control,
                     [&] { raised.append("saveSettingsStarted"); });
    QObject::connect(&control, &LogDaemonCtrl::saveSettingsFinished, &control,
                     [&](bool ok) { raised.append(QStringLiteral("saveSettingsFinished %1").arg(ok)); });
    QObject::connect(&control, &LogDaemonCtrl::restoreSettingsStarted, &control,
                     [&] { raised.append("restoreSettingsStarted"); });
    QObject::connect(&control, &LogDaemonCtrl::restoreSettingsFinished, &control,
                     [&](bool ok) { raised.append(QStringLiteral("restoreSettingsFinished %1").arg(ok)); });
    QObject::connect(&control, &LogDaemonCtrl::hasSettingsOnUSBChanged, &control,
                     [&](bool has) { raised.append(QStringLiteral("hasSettingsOnUSBChanged %1").arg(has)); });
    QObject::connect(&control, &LogDaemonCtrl::energyLogExportStarted, &control,
                     [&] { raised.append("energyLogExportStarted"); });
    QObject::connect(&control, &LogDaemonCtrl::energyLogExportCompleted, &control,
                     [&](bool ok) { raised.append(QStringLiteral("energyLogExportCompleted %1").arg(ok)); });
    QObject::connect(&control, &LogDaemonCtrl::PowerLogExportStarted, &control,
                     [&] { raised.append("PowerLogExportStarted"); });
    QObject::connect(&control, &LogDaemonCtrl::PowerLogExportCompleted, &control,
                     [&](bool ok) { raised.append(QStringLiteral("PowerLogExportCompleted %1").arg(ok)); });
    QObject::connect(
        &control, &LogDaemonCtrl::energyLogEntryHourlyAdded, &control,
        [&](ushort year, uchar month, uchar day, uchar hour) {
            raised.append(
                QStringLiteral("energyLogEntryHourlyAdded %1 %2 %3 %4").arg(year).arg(month).arg(day).arg(hour));
        });
    QObject::connect(&control, &LogDaemonCtrl::energyLogEntryMonthlyAdded, &control,
                     [&](ushort year, uchar month)
                     { raised.append(QStringLiteral("energyLogEntryMonthlyAdded %1 %2").arg(year).arg(month)); });
    QObject::connect(&control, &LogDaemonCtrl::energyLogMonthSummarized, &control,
                     [&](ushort year, uchar month)
                     { raised.append(QStringLiteral("energyLogMonthSummarized %1 %2").arg(year).arg(month)); });

    emit daemon->customUsbLogStarted(41);
    emit daemon->customUsbLogStopped(42);
    emit daemon->usbLogStarted();
    emit daemon->usbLogStopped();
    emit daemon->saveSettingsStarted();
    emit daemon->restoreSettingsStarted();
    emit daemon->energyLogExportStarted();
    emit daemon->PowerLogExportStarted();
    for (const bool outcome : {true, false})
    {
        emit daemon->saveSettingsFinished(outcome);
        emit daemon->restoreSettingsFinished(outcome);
        emit daemon->hasSettingsOnUSBChanged(outcome);
        emit daemon->energyLogExportCompleted(outcome);
        emit daemon->PowerLogExportCompleted(outcome);
    }
    emit daemon->energyLogEntryHourlyAdded(2024, 12, 31, 23);
    emit daemon->energyLogEntryMonthlyAdded(2023, 11);
    emit daemon->energyLogMonthSummarized(2022, 10);

    EXPECT_EQ(raised.join('\n').toStdString(),
              "customUsbLogStarted 41\ncustomUsbLogStopped 42\nusbLogStarted\nusbLogStopped\nsaveSettingsStarted\n"
              "restoreSettingsStarted\nenergyLogExportStarted\nPowerLogExportStarted\n"
              "saveSettingsFinished 1\nrestoreSettingsFinished 1\nhasSettingsOnUSBChanged 1\n"
              "energyLogExportCompleted 1\nPowerLogExportCompleted 1\n"
              "saveSettingsFinished 0\nrestoreSettingsFinished 0\nhasSettingsOnUSBChanged 0\n"
              "energyLogExportCompleted 0\nPowerLogExportCompleted 0\n"
              "energyLogEntryHourlyAdded 2024 12 31 23\nenergyLogEntryMonthlyAdded 2023 11\n"
              "energyLogMonthSummarized 2022 10");
}

TEST_F(LogDaemonControl, ASignalOfTheQueueIsRaisedLaterOnTheMainThread)
{
    LogDaemonCtrl control;
    LogDaemon* const daemon = LogDaemonCtrlInspector::daemon(control);
    QThread* raisedOn = nullptr;
    QObject::connect(
        &control, &LogDaemonCtrl::usbLogStarted, &control, [&] { raisedOn = QThread::currentThread(); },
        Qt::DirectConnection);

    QMetaObject::invokeMethod(
        daemon, [daemon] { emit daemon->usbLogStarted(); }, Qt::BlockingQueuedConnection);

    EXPECT_EQ(raisedOn, nullptr);
    QCoreApplication::processEvents();
    EXPECT_EQ(raisedOn, QThread::currentThread());
}

TEST_F(LogDaemonControl, RegistersTheEnergyLogsTypesForTheBus)
{
    const LogDaemonCtrl control;

    EXPECT_STREQ(QDBusMetaType::typeToSignature(QMetaType::fromType<zemo::data::EnergyLogEntry>()), "ai");
    EXPECT_STREQ(QDBusMetaType::typeToSignature(QMetaType::fromType<QListEnergyLogEntry>()), "aai");
    EXPECT_EQ(QMetaType::fromName("QListEnergyLogEntry"), QMetaType::fromType<QListEnergyLogEntry>());
}

TEST_F(LogDaemonControl, ASnapshotToUsbTakesItsFutureFromTheConfiguration)
{
    const QTemporaryDir stick;
    platform.drives = {stick.path()};
    logConfig().usbFuture = 5000;
    logConfig().internalFuture = 9000;
    LogDaemonCtrl control;
    const QDateTime before = QDateTime::currentDateTime();

    ASSERT_TRUE(control.saveRamLogToUsb(QString()));

    const QList<QDateTime> ends = endSnapshots(control);
    ASSERT_EQ(ends.size(), 1);
    EXPECT_NEAR(static_cast<double>(before.secsTo(ends.first())), 5000, 30);
}

TEST_F(LogDaemonControl, ASnapshotToInternalMemoryTakesItsFutureFromTheConfiguration)
{
    const QTemporaryDir memory;
    qstrncpy(logConfig().internalPath, QFile::encodeName(memory.path()).constData(), LogConfig::PathSize);
    logConfig().usbFuture = 5000;
    logConfig().internalFuture = 9000;
    LogDaemonCtrl control;
    const QDateTime before = QDateTime::currentDateTime();

    control.saveRamLogToInternalMem();

    const QList<QDateTime> ends = endSnapshots(control);
    ASSERT_EQ(ends.size(), 1);
    EXPECT_NEAR(static_cast<double>(before.secsTo(ends.first())), 9000, 30);
}

TEST_F(LogDaemonControl, ASnapshotToUsbTakesItsHistoryFromTheConfiguration)
{
    const QTemporaryDir stick;
    platform.drives = {stick.path()};
    logConfig().usbHistory = 100;
    logConfig().internalHistory = 300;
    LogDaemonCtrl control;
    const uint32_t now = fillHistory(control);

    control.saveRamLogToUsb(QString());

    const QByteArray firstRow = contentOfOnlyFile(stick.path()).split('\n').value(1);
    const QDateTime begin = QDateTime::fromString(QString::fromLatin1(firstRow.left(19)), "yyyy-MM-dd hh:mm:ss");
    EXPECT_NEAR(static_cast<double>(now - begin.toSecsSinceEpoch()), 100, 30);
}

TEST_F(LogDaemonControl, ASnapshotToInternalMemoryTakesItsHistoryFromTheConfiguration)
{
    const QTemporaryDir memory;
    qstrncpy(logConfig().internalPath, QFile::encodeName(memory.path()).constData(), LogConfig::PathSize);
    logConfig().usbHistory = 100;
    logConfig().internalHistory = 300;
    LogDaemonCtrl control;
    const uint32_t now = fillHistory(control);

    control.saveRamLogToInternalMem();

    endSnapshots(control);
    const QByteArray log = contentOfOnlyFile(memory.path());
    ASSERT_GE(log.size(), 16); // a head with one parameter, and a time
    EXPECT_NEAR(static_cast<double>(now - qFromBigEndian<quint32>(log.constData() + 12)), 300, 30);
}

TEST_F(LogDaemonControl, ASaveOfTheSettingsPassesItsTypeOn)
{
    const QTemporaryDir stick;
    platform.drives = {stick.path()};
    LogDaemonCtrl control;
    QSignalSpy finished(&control, &LogDaemonCtrl::saveSettingsFinished);

    EXPECT_TRUE(control.saveSettingsToUSB(4000000001U));

    ASSERT_TRUE(finished.wait(20000));
    EXPECT_EQ(platform.callCount("saveSettings"), 1);
    EXPECT_EQ(platform.lastCall("saveSettings").first, 4000000001);
}

TEST_F(LogDaemonControl, ARangeOfHoursKeepsTheOrderOfItsEightNumbers)
{
    const EnergyLogFile file;
    const ushort year = comingYear();
    const auto next = static_cast<ushort>(year + 1);
    LogDaemonCtrl control;
    ASSERT_TRUE(control.initEnergyLog(1, -1));
    ASSERT_TRUE(control.addEnergyLogHourlyEntries(
        {entry(year, 3, 4, 5, {1}), entry(year, 3, 4, 6, {2}), entry(next, 9, 8, 7, {3}), entry(next, 9, 8, 8, {4})}));

    const QListEnergyLogEntry hours = control.getEnergyLogHourly(year, 3, 4, 6, next, 9, 8, 7);

    EXPECT_EQ(shown(hours),
              (QStringList{QStringLiteral("%1-3-4 6|2").arg(year), QStringLiteral("%1-9-8 7|3").arg(next)}));
}

TEST_F(LogDaemonControl, RangesOfMonthsKeepTheOrderOfTheirFourNumbers)
{
    const FakeSync sync;
    const QTemporaryDir stick;
    platform.drives = {stick.path()};
    const EnergyLogFile file;
    const ushort year = comingYear();
    const auto next = static_cast<ushort>(year + 1);
    LogDaemonCtrl control;
    ASSERT_TRUE(control.initEnergyLog(1, -1));
    ASSERT_TRUE(control.addEnergyLogMonthlyEntry(entry(year, 3, 1, 0, {1})));
    ASSERT_TRUE(control.addEnergyLogMonthlyEntry(entry(year, 4, 1, 0, {2})));
    ASSERT_TRUE(control.addEnergyLogMonthlyEntry(entry(next, 9, 1, 0, {3})));
    ASSERT_TRUE(control.addEnergyLogMonthlyEntry(entry(next, 10, 1, 0, {4})));

    const QListEnergyLogEntry months = control.getEnergyLogMonthly(year, 4, next, 9);
    ASSERT_TRUE(control.exportEnergyLogToUsb({"Heat"}, QByteArray(1, '\0'), year, 4, next, 9));

    ASSERT_TRUE(QTest::qWaitFor([&] { return sync.runs() == 2; }, 20000)); // both files are closed
    EXPECT_EQ(shown(months),
              (QStringList{QStringLiteral("%1-4-1 0|2").arg(year), QStringLiteral("%1-9-1 0|3").arg(next)}));
    const QStringList exports = QDir(stick.path()).entryList({"energylog_monthly_*"});
    ASSERT_EQ(exports.size(), 1);
    EXPECT_EQ(QString::fromUtf8(EnergyLogFile::content(stick.filePath(exports[0]))),
              QStringLiteral("\tHeat\n%1-04\t2\n%2-09\t3\n").arg(year).arg(next));
}

TEST_F(StartedControl, StartTakesTheNameRegistersTheObjectAndRaisesLogDaemonStartedOnce)
{
    SignalRecorder recorder;

    start();

    EXPECT_TRUE(bus.hasName(QStringLiteral("com.tarn.zemo.logd")));
    EXPECT_EQ(bus.call(QStringLiteral("isUsbLogActive")).arguments(), QVariantList({false}));
    EXPECT_EQ(recorder.seen, QStringList({"logDaemonStarted"}));
    EXPECT_TRUE(platform.traceTexts("LogDaemonCtrl", 4).empty());
}

TEST_F(StartedControl, LogDaemonStartedIsNotSeenByAClientThatComesLater)
{
    start();
    SignalRecorder recorder;

    bus.call(QStringLiteral("isUsbLogActive"));

    EXPECT_TRUE(recorder.seen.isEmpty());
}

TEST_F(StartedControl, AnInstanceThatCannotHaveTheNameServesItsObjectAndTracesTheNameOnly)
{
    SignalRecorder recorder;
    ASSERT_TRUE(bus.client().registerService(QStringLiteral("com.tarn.zemo.logd")));

    start();

    const QString address = QDBusConnection::systemBus().baseService();
    EXPECT_EQ(bus.call(QStringLiteral("isUsbLogActive"), {}, address).arguments(), QVariantList({false}));
    EXPECT_EQ(recorder.seen, QStringList({"logDaemonStarted"}));
    EXPECT_EQ(recorder.sender, address);
    EXPECT_EQ(platform.traceTexts("LogDaemonCtrl", 4),
              std::vector<std::string>({"error registering com.tarn.zemo.logd service"}));
    EXPECT_EQ(platform.traceCount("LogDaemonCtrl", 4, "start", "error registering com.tarn.zemo.logd service"), 1);
}

TEST_F(StartedControl, AnObjectPathThatIsTakenIsTracedAndTheStartGoesOn)
{
    QObject other;
    QDBusConnection::systemBus().registerObject(QStringLiteral("/Logging"), &other);
    SignalRecorder recorder;

    start();

    QDBusConnection::systemBus().unregisterObject(QStringLiteral("/Logging"));
    EXPECT_EQ(platform.traceCount("LogDaemonCtrl", 4, "start", "error registering /Logging object"), 1);
    EXPECT_EQ(platform.traceTexts("LogDaemonCtrl", 4).size(), 1U);
    EXPECT_TRUE(bus.hasName(QStringLiteral("com.tarn.zemo.logd")));
}

TEST_F(StartedControl, StopTakesNameAndObjectOffTheBus)
{
    start();

    stop();

    EXPECT_FALSE(bus.hasName(QStringLiteral("com.tarn.zemo.logd")));
    const QDBusMessage reply =
        bus.call(QStringLiteral("isUsbLogActive"), {}, QDBusConnection::systemBus().baseService());
    EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_TRUE(platform.traceTexts("LogDaemonCtrl", 4).empty());
}

TEST_F(StartedControl, AStopWithoutTheNameTracesIt)
{
    ASSERT_TRUE(bus.client().registerService(QStringLiteral("com.tarn.zemo.logd")));
    start();
    platform.clearTrace();

    stop();

    EXPECT_EQ(platform.traceCount("LogDaemonCtrl", 4, "stop", "error unregistering com.tarn.zemo.logd service"), 1);
}

TEST_F(StartedControl, CanBeStartedAgainAfterAStop)
{
    start();
    stop();

    start();

    EXPECT_EQ(bus.call(QStringLiteral("isUsbLogActive")).arguments(), QVariantList({false}));
}

TEST_F(StartedControl, ASignalOfTheQueueTravelsToTheBus)
{
    start();
    SignalRecorder recorder;
    const QTemporaryDir stick;
    QFile settings(stick.filePath("STORE.SET"));
    ASSERT_TRUE(settings.open(QIODevice::WriteOnly));

    platform.insertDrive(stick.path());

    EXPECT_TRUE(QTest::qWaitFor([&] { return !recorder.seen.isEmpty(); }));
    EXPECT_EQ(recorder.seen, QStringList({"hasSettingsOnUSBChanged true"}));
}
