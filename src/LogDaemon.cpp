#include "LogDaemon.h"

#include "LogConfig.h"
#include "Trace.h"
#include "logging/FileLogger.h"
#include "logging/RAMLogger.h"
#include "settings/SettingsManager.h"

#include <zemo/DataManagementClient.h>

#include <algorithm>
#include <functional>

namespace
{

constexpr int MinuteMs = 60000;
constexpr int SecondMs = 1000;

QString settingsPath(const QString& objL_usbPath)
{
    return QStringLiteral("%1/%2").arg(objL_usbPath, QStringLiteral("STORE.SET"));
}

void startTicking(QTimer& objL_timer, int iL_interval)
{
    // A coarse timer, the default, would let a tick every second repeat or skip seconds.
    objL_timer.setTimerType(Qt::PreciseTimer);
    objL_timer.setInterval(iL_interval);
    objL_timer.start();
}

} // namespace

LogDaemon::LogDaemon(QObject* parent)
    : QObject(parent)
    , usbClient(new zemo::hardware::UsbClient(this))
    , ramLogger(new RAMLogger(this))
    , settingsManager(new SettingsManager(this))
    , energyLogDb(this)
{
    registerLoggerMetaTypes();
    traceModule();
    connectSignals();
    startTicking(minuteTimer, MinuteMs);
    startTicking(secondTimer, SecondMs);
    const QStringList objL_drives = usbClient->getUsbDrives();
    if (!objL_drives.isEmpty())
    {
        usbDriveInserted(objL_drives.first());
    }
    connect(this, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)), ramLogger,
            SLOT(log(uint32_t, QMap<int32_t, DataValue>)));
    StateLocker objL_locker(&stateMutex);
    refreshParameters(objL_locker, QStringLiteral("default"));
}

LogDaemon::~LogDaemon() = default;

p7zemo_module_t LogDaemon::traceModule()
{
    static p7zemo_module_t objS_module = p7zemo_traceRegisterModule(traceHandle(), "LogDaemon");
    return objS_module;
}

void LogDaemon::connectSignals()
{
    connect(usbClient, SIGNAL(driveInserted(QString)), this, SLOT(usbDriveInserted(QString)));
    connect(usbClient, SIGNAL(driveRemoved(QString)), this, SLOT(usbDriveRemoved(QString)));
    connect(&minuteTimer, SIGNAL(timeout()), this, SLOT(minute()));
    connect(&secondTimer, SIGNAL(timeout()), this, SLOT(second()));
    // Queued, so that the slow work never runs on the thread that asked for it, nor under its stateMutex.
    connect(this, SIGNAL(saveSettings(QString, uint)), settingsManager, SLOT(saveSettings(QString, uint)),
            Qt::QueuedConnection);
    connect(this, SIGNAL(restoreSettings(QString)), settingsManager, SLOT(restoreSettings(QString)),
            Qt::QueuedConnection);
    connect(settingsManager, SIGNAL(saveSettingsStarted()), this, SIGNAL(saveSettingsStarted()));
    connect(settingsManager, SIGNAL(saveSettingsFinished(bool)), this, SIGNAL(saveSettingsFinished(bool)));
    connect(settingsManager, SIGNAL(restoreSettingsStarted()), this, SIGNAL(restoreSettingsStarted()));
    connect(settingsManager, SIGNAL(restoreSettingsFinished(bool)), this, SIGNAL(restoreSettingsFinished(bool)));
    // Behind the relay above: whoever listens hears that the save is done before hearing that a file is there.
    connect(settingsManager, &SettingsManager::saveSettingsFinished, settingsManager,
            std::bind_front(&LogDaemon::noticeSavedSettings, this), Qt::DirectConnection);
}

void LogDaemon::noticeSavedSettings(bool bL_saved)
{
    if (bL_saved)
    {
        StateLocker objL_locker(&stateMutex);
        refreshSettingsOnUsb(objL_locker);
    }
}

void LogDaemon::usbDriveInserted(QString objL_path)
{
    ZEMO_TRACE(traceModule(), 1, "USB Drive Inserted %s", qUtf8Printable(objL_path));
    {
        StateLocker objL_locker(&stateMutex);
        usbPath = objL_path;
        refreshSettingsOnUsb(objL_locker);
    }
    readLogSet(objL_path);
}

void LogDaemon::usbDriveRemoved(QString /*objL_path*/)
{
    StateLocker objL_locker(&stateMutex);
    usbPath.clear();
    logParametersManual.clear();
    refreshParameters(objL_locker, QStringLiteral("default"));
    refreshSettingsOnUsb(objL_locker);
}

void LogDaemon::minute()
{
    StateLocker objL_locker(&stateMutex);
    refreshParameters(objL_locker, QStringLiteral("default"));
}

void LogDaemon::second()
{
    StateLocker objL_locker(&stateMutex);
    // Taken before the values are read: the time that the read takes does not show in it.
    const auto u32L_timestamp = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
    QList<int> objL_ids = sampledIds();
    objL_locker.unlock();
    std::sort(objL_ids.begin(), objL_ids.end());
    objL_ids.erase(std::unique(objL_ids.begin(), objL_ids.end()), objL_ids.end());
    const QMap<int32_t, DataValue> objL_values = zemo::data::DataManagementClient::instance->getValues(objL_ids);
    objL_locker.relock();
    emit valuesUpdated(u32L_timestamp, objL_values);
    checkPendingSaves();
    checkUsbLogDate(objL_locker);
    customLogsTick();
}

QList<int> LogDaemon::sampledIds() const
{
    const QList<QSharedPointer<CustomLogConfig>> objL_configs = customLogConfigs.values();
    QList<int> objL_ids;
    objL_ids.reserve(logParametersAll.size());
    for (auto objL_entry = logParametersAll.keyBegin(); objL_entry != logParametersAll.keyEnd(); ++objL_entry)
    {
        objL_ids.append(*objL_entry);
    }
    for (const QSharedPointer<CustomLogConfig>& objL_config : objL_configs)
    {
        objL_ids.append(objL_config->parameters);
    }
    return objL_ids;
}

void LogDaemon::refreshParameters(StateLocker& locker, const QString& locale)
{
    locker.unlock();
    const QMap<int32_t, Metadata> objL_defaultLog = zemo::data::DataManagementClient::instance->getDefaultLog(locale);
    locker.relock();
    // Two calls can overlap while the mutex is open: the one that comes back later wins.
    logParametersAll = objL_defaultLog;
    constrainDefaultParameters();
    mergeManualParameters();
    ramLogger->updateParameters(logParametersConstrained);
    if (usbLogger)
    {
        usbLogger->updateParameters(logParametersAll);
    }
}

void LogDaemon::constrainDefaultParameters()
{
    int32_t s32L_count = 0;
    for (auto objL_entry = logParametersAll.cbegin(); objL_entry != logParametersAll.cend(); ++objL_entry)
    {
        // Inclusive on purpose: the limit counts from zero, so a limit of 0 lets one parameter in.
        if (logConfig().maxDefault >= s32L_count)
        {
            logParametersConstrained.insert(objL_entry.key(), objL_entry.value());
        }
        ++s32L_count;
    }
}

void LogDaemon::mergeManualParameters()
{
    int32_t s32L_count = 0;
    for (auto objL_entry = logParametersManual.cbegin(); objL_entry != logParametersManual.cend(); ++objL_entry)
    {
        if (!logParametersAll.contains(objL_entry.key()))
        {
            logParametersAll.insert(objL_entry.key(), objL_entry.value());
        }
        // This reads as if the constrained map were meant, and it is not: manual parameters never enter the RAM log on
        // their own. The limit only decides whose metadata stands in the map of all parameters.
        if (logConfig().maxManual >= s32L_count && !logParametersConstrained.contains(objL_entry.key()))
        {
            logParametersAll.insert(objL_entry.key(), objL_entry.value());
            ++s32L_count;
        }
    }
}

void LogDaemon::refreshSettingsOnUsb(StateLocker& locker)
{
    const bool bL_exists = QFile::exists(settingsPath(usbPath));
    if (bL_exists == settingsOnUsb)
    {
        return;
    }
    settingsOnUsb = bL_exists;
    locker.unlock();
    emit hasSettingsOnUSBChanged(bL_exists);
    locker.relock();
}

bool LogDaemon::saveSettingsToUSB(uint u32L_saveType)
{
    const StateLocker objL_locker(&stateMutex);
    if (usbPath.isEmpty())
    {
        return false;
    }
    emit saveSettings(settingsPath(usbPath), u32L_saveType);
    return true;
}

bool LogDaemon::restoreSettingsFromUSB()
{
    const StateLocker objL_locker(&stateMutex);
    if (usbPath.isEmpty())
    {
        return false;
    }
    emit restoreSettings(settingsPath(usbPath));
    return true;
}

bool LogDaemon::hasSettingsOnUSB()
{
    const StateLocker objL_locker(&stateMutex);
    return settingsOnUsb;
}
