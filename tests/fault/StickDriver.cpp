// Does one job of the daemon, by its own code on the fakes, with a stick that may be pulled meanwhile, and does it
// again with the next one. usage: StickDriver JOB STICK NEXT | StickDriver jobs
//
// The wall clock is steered, so that two runs write the same bytes. What is told: the result of the job on each stick,
// what the first left open, and how much it traced.

#include "FakePlatform.h"
#include "FakeSync.h"
#include "LogConfig.h"
#include "LogDaemon.h"
#include "SteeredClock.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <malloc.h>

class LogDaemonInspector
{
public:
    /// Time passes by tick() alone.
    static void stopTimers(LogDaemon& daemon)
    {
        daemon.minuteTimer.stop();
        daemon.secondTimer.stop();
    }
    /// The steps of a tick behind the reading of the values.
    static void passSecond(LogDaemon& daemon)
    {
        LogDaemon::StateLocker locker(&daemon.stateMutex);
        daemon.checkPendingSaves();
        daemon.checkUsbLogDate(locker);
        daemon.customLogsTick();
    }
};

namespace
{

constexpr int History = 30; // seconds in memory when the stick comes
constexpr uchar EnergyColumns = 2;
constexpr int EnergyInvalid = -1;
constexpr int PatienceMs = 30000;

qsizetype entriesOf(const char* folder)
{
    return QDir(QString::fromLatin1(folder)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

qsizetype openDescriptors()
{
    return entriesOf("/proc/self/fd");
}

qsizetype threads()
{
    return entriesOf("/proc/self/task");
}

void fill(FakePlatform& platform)
{
    platform.addParameter(1, "Power", "kW", 17);
    platform.addParameter(2, "Starts", "", 4);
    platform.addParameter(3, "Pressure", "bar", 9);
    platform.defaultLog = {1, 2};
    platform.modbusParams = {1, 2, 3};
    platform.metadata[1].registerKind = zemo::data::ModbusHoldingRegister;
    platform.settings = QByteArray(20000, 's');
    for (unsigned int id = 59005; id < 59030; ++id)
    {
        platform.texts[id] = QStringLiteral("Text %1").arg(id);
    }
    zdatetime_t time{};
    platform.alarms.append({zemo::time::DateTime(&time),
                            zemo::localization::PanelText("Pressure low"),
                            13,
                            zemo::localization::PanelText("Pump 1"),
                            {{zemo::localization::PanelText("Pressure"), zemo::localization::PanelText("0.2 bar")}}});
    for (int i = 0; i < 100; ++i)
    {
        platform.hourlyPower.append({1700000000 + i * 3600, 1.5, 2.5, 3.5});
        platform.quarterlyPower.append({1700000000 + i * 900, 1.5, 2.5, 3.5});
        platform.changeLog.append({platform.values[1], platform.metadata[1], time});
        platform.alarms.append({zemo::time::DateTime(&time),
                                zemo::localization::PanelText("Filter blocked"),
                                12,
                                zemo::localization::PanelText("Pump 1"),
                                {}});
    }
}

class Stage
{
public:
    Stage()
    {
        fill(platform);
        setDefaults(logConfig());
        fillInternalMemory();
        steeredClock::set(QDateTime(QDate(2026, 3, 5), QTime(12, 0)));
        daemon = std::make_unique<LogDaemon>(nullptr);
        LogDaemonInspector::stopTimers(*daemon);
        QObject::connect(daemon.get(), &LogDaemon::saveSettingsFinished, [this](bool ok) { told = ok; });
        QObject::connect(daemon.get(), &LogDaemon::energyLogExportCompleted, [this](bool ok) { told = ok; });
        QObject::connect(daemon.get(), &LogDaemon::PowerLogExportCompleted, [this](bool ok) { told = ok; });
        fillEnergyLog();
        tick(History);
        ownThreads = threads();
    }

    void tick(int seconds)
    {
        for (int second = 0; second < seconds; ++second)
        {
            steeredClock::advance(1);
            daemon->second();
            QCoreApplication::processEvents();
        }
    }

    /// Waits for what was queued and for the threads of the exports.
    void settle() const
    {
        QElapsedTimer timer;
        timer.start();
        while (threads() > ownThreads && timer.elapsed() < PatienceMs)
        {
            QThread::msleep(1);
        }
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (threads() > ownThreads)
        {
            puts("an export hangs");
        }
    }

    /// What a signal told of the job that `accepted` tells to have begun.
    bool outcome(bool accepted)
    {
        settle();
        return accepted && told.exchange(false);
    }

    FakePlatform platform;
    FakeSync sync;
    std::unique_ptr<LogDaemon> daemon;
    std::atomic<bool> told = false;

private:
    static void fillInternalMemory()
    {
        const QString folder = QString::fromUtf8(logConfig().internalPath);
        QDir().mkpath(folder);
        QFile log(folder + "/raw.blf");
        if (log.open(QIODevice::WriteOnly))
        {
            log.write(QByteArray(40000, 'r'));
        }
    }
    void fillEnergyLog()
    {
        daemon->initEnergyLog(EnergyColumns, EnergyInvalid);
        for (uchar hour = 0; hour < 24; ++hour)
        {
            daemon->addEnergyLogHourlyEntry({2026, 3, 4, hour, {hour, 2 * hour}});
        }
    }

    qsizetype ownThreads = 0;
};

struct Job
{
    const char* name;
    bool (*run)(Stage& stage);
};

constexpr Job Jobs[] = {
    {"MainLog",
     [](Stage& stage)
     {
         const bool started = stage.daemon->startUsbLog(1, false, "default");
         stage.tick(3);
         return stage.daemon->stopUsbLog() && started;
     }},
    {"CustomLog",
     [](Stage& stage)
     {
         stage.daemon->configureCustomLogUsb(7, "pump", {1, 3});
         const bool started = stage.daemon->startCustomUsbLog(7, 1, false);
         stage.tick(3);
         return stage.daemon->stopCustomUsbLog(7) && started;
     }},
    {"Snapshot",
     [](Stage& stage)
     {
         const bool recording = stage.daemon->saveRamLogToUsb(History, 2, "");
         stage.tick(4);
         return recording;
     }},
    {"InternalSnapshotOnTheStick",
     [](Stage& stage)
     {
         const QString drive = stage.platform.drives.value(0);
         qstrncpy(logConfig().internalPath, drive.toUtf8().constData(), LogConfig::PathSize);
         stage.daemon->saveRamLogToInternalMem(History, 2);
         stage.tick(4);
         const bool converted = stage.daemon->saveInternalLogToUsb(0, "");
         return stage.daemon->removeLogFromInternalMem(0) && converted;
     }},
    {"InternalLogToUsb",
     [](Stage& stage)
     {
         const uint32_t id = stage.daemon->saveRamLogToInternalMem(History, 2);
         stage.tick(4);
         const bool converted = stage.daemon->saveInternalLogToUsb(id, "");
         return stage.daemon->removeLogFromInternalMem(id) && converted;
     }},
    {"SettingsSave", [](Stage& stage) { return stage.outcome(stage.daemon->saveSettingsToUSB(0)); }},
    {"SettingsRestore",
     [](Stage& stage)
     {
         stage.platform.setRestored({});
         const bool accepted = stage.daemon->restoreSettingsFromUSB();
         stage.settle();
         return accepted && !stage.platform.restoredSettings().isEmpty();
     }},
    {"PowerLogExport", [](Stage& stage) { return stage.outcome(stage.daemon->PowerLogExportToUsb("default")); }},
    {"EnergyLogExport",
     [](Stage& stage) {
         return stage.outcome(stage.daemon->exportEnergyLogToUsb({"A", "B"}, QByteArray("\1\0", 2), 2026, 3, 2026, 3));
     }},
    {"ModbusState", [](Stage& stage) { return stage.daemon->saveModbusStateToUsb(); }},
    {"ModbusMostUsed", [](Stage& stage) { return stage.daemon->saveModbusMostUsedToUsb(); }},
    {"ChangeLog", [](Stage& stage) { return stage.daemon->saveChangeLogToUsb(""); }},
    {"AlarmLog", [](Stage& stage) { return stage.daemon->saveAlarmLogToUsb(101, ""); }},
    {"SysLog", [](Stage& stage) { return stage.daemon->saveSysLogToUsb(); }},
    {"SysInfo", [](Stage& stage) { return stage.daemon->saveSysInfoToUsb(); }},
    {"InternalLogsRaw", [](Stage& stage) { return stage.daemon->saveInternalLogsToUsbRaw(); }},
    {"CoreDumps", [](Stage& stage) { return stage.daemon->saveCoreDumpsToUsb(); }},
    {"Folder", [](Stage& stage) { return !stage.daemon->createUsbFolder("logs", "").isEmpty(); }},
};

const Job* jobOf(const char* name)
{
    for (const Job& job : Jobs)
    {
        if (strcmp(job.name, name) == 0)
        {
            return &job;
        }
    }
    return nullptr;
}

void runJob(const Job& job, const QString& stick, const QString& next)
{
    Stage stage;
    const qsizetype descriptors = openDescriptors();
    stage.platform.clearTrace();
    stage.platform.insertDrive(stick);
    printf("first %d\n", job.run(stage));
    stage.settle();
    stage.platform.removeDrive(stick);
    stage.tick(1);
    stage.settle();
    printf("left open %d\n", static_cast<int>(openDescriptors() - descriptors));
    printf("traced %d\n", static_cast<int>(stage.platform.trace().size()));
    steeredClock::set(QDateTime(QDate(2026, 3, 5), QTime(12, 10)));
    stage.platform.insertDrive(next);
    printf("next %d\n", job.run(stage));
    stage.settle();
}

size_t heapInUse()
{
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void sample(Stage& stage, int count)
{
    const QMap<int32_t, zemo::data::DataValue> values = stage.platform.values;
    for (int second = 0; second < count; ++second)
    {
        steeredClock::advance(1);
        emit stage.daemon->valuesUpdated(static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch()), values);
        LogDaemonInspector::passSecond(*stage.daemon);
    }
}

/// A main and a custom log for as long as the memory of the daemon reaches back, on a stick that takes nothing soon
/// after their start.
void runThreeDays(const QString& stick)
{
    constexpr int Hour = 3600;
    constexpr int ThreeDays = 72 * Hour;
    Stage stage;
    stage.platform.insertDrive(stick);
    stage.daemon->configureCustomLogUsb(7, "pump", {1, 3});
    printf("started %d\n",
           stage.daemon->startUsbLog(1, false, "default") && stage.daemon->startCustomUsbLog(7, 1, false));
    stage.platform.clearTrace();
    sample(stage, Hour);
    const size_t before = heapInUse();
    sample(stage, ThreeDays - Hour);
    printf("grown %lld\n", static_cast<long long>(heapInUse()) - static_cast<long long>(before));
    printf("traced %d\n", static_cast<int>(stage.platform.trace().size()));
    printf("main %d custom %d\n", stage.daemon->isUsbLogActive(), stage.daemon->isCustomUsbLogActive(7));
}

} // namespace

int main(int argc, char** argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    QCoreApplication application(argc, argv);
    const Job* const job = argc == 4 ? jobOf(argv[1]) : nullptr;
    if (job)
    {
        runJob(*job, argv[2], argv[3]);
        return 0;
    }
    if (argc == 3 && strcmp(argv[1], "three-days") == 0)
    {
        runThreeDays(argv[2]);
        return 0;
    }
    if (argc == 2 && strcmp(argv[1], "jobs") == 0)
    {
        for (const Job& each : Jobs)
        {
            puts(each.name);
        }
        return 0;
    }
    return 2;
}
