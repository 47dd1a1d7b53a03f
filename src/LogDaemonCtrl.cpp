#include "LogDaemonCtrl.h"

#include "LogConfig.h"
#include "LogDaemonAdaptor.h"
#include "RunOnQueue.h"
#include "Trace.h"

#include <QDBusConnection>
#include <QDBusMetaType>

namespace
{

const char* const ServiceName = "com.tarn.zemo.logd";
const char* const ObjectPath = "/Logging";

LogDaemonCtrl* objS_control = nullptr;

p7zemo_module_t traceModule()
{
    static p7zemo_module_t objS_module = p7zemo_traceRegisterModule(traceHandle(), "LogDaemonCtrl");
    return objS_module;
}

void registerBusTypes()
{
    qDBusRegisterMetaType<zemo::data::EnergyLogEntry>();
    qRegisterMetaType<QListEnergyLogEntry>("QListEnergyLogEntry");
    qDBusRegisterMetaType<QListEnergyLogEntry>();
    // The adaptor hands 64-bit numbers on under the bus layer's name for them; the slots call them int64_t.
    qRegisterMetaType<qlonglong>("int64_t");
}

void connectSignals(LogDaemon* objL_daemon, LogDaemonCtrl* objL_control)
{
    static const char* const SignalNames[] = {
        SIGNAL(customUsbLogStarted(int)),
        SIGNAL(customUsbLogStopped(int)),
        SIGNAL(usbLogStarted()),
        SIGNAL(usbLogStopped()),
        SIGNAL(saveSettingsStarted()),
        SIGNAL(saveSettingsFinished(bool)),
        SIGNAL(restoreSettingsStarted()),
        SIGNAL(restoreSettingsFinished(bool)),
        SIGNAL(hasSettingsOnUSBChanged(bool)),
        SIGNAL(energyLogEntryHourlyAdded(ushort, uchar, uchar, uchar)),
        SIGNAL(energyLogEntryMonthlyAdded(ushort, uchar)),
        SIGNAL(energyLogMonthSummarized(ushort, uchar)),
        SIGNAL(energyLogExportStarted()),
        SIGNAL(energyLogExportCompleted(bool)),
        SIGNAL(PowerLogExportStarted()),
        SIGNAL(PowerLogExportCompleted(bool)),
    };
    for (const char* pL_signal : SignalNames)
    {
        QObject::connect(objL_daemon, pL_signal, objL_control, pL_signal);
    }
}

} // namespace

LogDaemonCtrl::LogDaemonCtrl()
{
    runOnQueue(executionQueue, [this] { logDaemon = new LogDaemon(nullptr); });
    traceModule();
    registerBusTypes();
    connectSignals(logDaemon, this);
}

LogDaemonCtrl::~LogDaemonCtrl()
{
    logDaemon->deleteLater();
}

void LogDaemonCtrl::start()
{
    objS_control = new LogDaemonCtrl;
    new LogDaemonAdaptor(objS_control); // owned by its parent
    QDBusConnection objL_bus = QDBusConnection::systemBus();
    if (!objL_bus.registerService(ServiceName))
    {
        ZEMO_TRACE(traceModule(), 4, "error registering %s service", ServiceName);
    }
    if (!objL_bus.registerObject(ObjectPath, objS_control, QDBusConnection::ExportAdaptors))
    {
        ZEMO_TRACE(traceModule(), 4, "error registering %s object", ObjectPath);
    }
    emit objS_control->logDaemonStarted();
}

void LogDaemonCtrl::stop()
{
    QDBusConnection objL_bus = QDBusConnection::systemBus();
    objL_bus.unregisterObject(ObjectPath, QDBusConnection::UnregisterNode);
    if (!objL_bus.unregisterService(ServiceName))
    {
        ZEMO_TRACE(traceModule(), 4, "error unregistering %s service", ServiceName);
    }
    delete objS_control;
    objS_control = nullptr;
}

bool LogDaemonCtrl::saveRamLogToUsb(QString objL_path)
{
    return logDaemon->saveRamLogToUsb(logConfig().usbHistory, logConfig().usbFuture, objL_path);
}

uint LogDaemonCtrl::saveRamLogToInternalMem()
{
    return logDaemon->saveRamLogToInternalMem(logConfig().internalHistory, logConfig().internalFuture);
}

QStringList LogDaemonCtrl::getLogParameters()
{
    return logDaemon->getLogParameters();
}

bool LogDaemonCtrl::isUsbLogActive()
{
    return logDaemon->isUsbLogActive();
}

bool LogDaemonCtrl::hasSettingsOnUSB()
{
    return logDaemon->hasSettingsOnUSB();
}

bool LogDaemonCtrl::removeLogFromInternalMem(uint u32L_id)
{
    return logDaemon->removeLogFromInternalMem(u32L_id);
}

bool LogDaemonCtrl::restoreSettingsFromUSB()
{
    return logDaemon->restoreSettingsFromUSB();
}

bool LogDaemonCtrl::saveCoreDumpsToUsb()
{
    return logDaemon->saveCoreDumpsToUsb();
}

bool LogDaemonCtrl::saveChangeLogToUsb(QString objL_path)
{
    return logDaemon->saveChangeLogToUsb(objL_path);
}

bool LogDaemonCtrl::saveModbusMostUsedToUsb()
{
    return logDaemon->saveModbusMostUsedToUsb();
}

bool LogDaemonCtrl::saveInternalLogToUsb(uint u32L_id, QString objL_path)
{
    return logDaemon->saveInternalLogToUsb(u32L_id, objL_path);
}

bool LogDaemonCtrl::saveInternalLogsToUsbRaw()
{
    return logDaemon->saveInternalLogsToUsbRaw();
}

bool LogDaemonCtrl::saveModbusStateToUsb()
{
    return logDaemon->saveModbusStateToUsb();
}

bool LogDaemonCtrl::saveSettingsToUSB(uint u32L_saveType)
{
    return logDaemon->saveSettingsToUSB(u32L_saveType);
}

bool LogDaemonCtrl::saveSysLogToUsb()
{
    return logDaemon->saveSysLogToUsb();
}

bool LogDaemonCtrl::saveSysInfoToUsb()
{
    return logDaemon->saveSysInfoToUsb();
}

bool LogDaemonCtrl::saveAlarmLogToUsb(int iL_count, QString objL_path)
{
    return logDaemon->saveAlarmLogToUsb(iL_count, objL_path);
}

bool LogDaemonCtrl::startLogUsb(int interval, bool bL_continue, QString objL_locale)
{
    return logDaemon->startUsbLog(interval, bL_continue, objL_locale);
}

bool LogDaemonCtrl::stopLogUsb()
{
    return logDaemon->stopUsbLog();
}

QString LogDaemonCtrl::createUsbFolder(QString objL_prefix, QString objL_path)
{
    return logDaemon->createUsbFolder(objL_prefix, objL_path);
}

bool LogDaemonCtrl::configureCustomLogUsb(int s32L_id, QString objL_prefix, QList<int> objL_parameters)
{
    return logDaemon->configureCustomLogUsb(s32L_id, objL_prefix, objL_parameters);
}

QStringList LogDaemonCtrl::getCustomUsbLogParameters(int s32L_id)
{
    return logDaemon->getCustomUsbLogParameters(s32L_id);
}

bool LogDaemonCtrl::isCustomUsbLogActive(int s32L_id)
{
    return logDaemon->isCustomUsbLogActive(s32L_id);
}

bool LogDaemonCtrl::startCustomLogUsb(int s32L_id, int s32L_interval, bool bL_continue)
{
    return logDaemon->startCustomUsbLog(s32L_id, s32L_interval, bL_continue);
}

bool LogDaemonCtrl::stopCustomLogUsb(int s32L_id)
{
    return logDaemon->stopCustomUsbLog(s32L_id);
}

bool LogDaemonCtrl::initEnergyLog(uchar u8L_numColumns, int s32L_invalidValue)
{
    return logDaemon->initEnergyLog(u8L_numColumns, s32L_invalidValue);
}

bool LogDaemonCtrl::addEnergyLogHourlyEntry(zemo::data::EnergyLogEntry objL_logEntry)
{
    return logDaemon->addEnergyLogHourlyEntry(objL_logEntry);
}

bool LogDaemonCtrl::addEnergyLogHourlyEntries(QListEnergyLogEntry objL_logEntries)
{
    return logDaemon->addEnergyLogHourlyEntries(objL_logEntries);
}

bool LogDaemonCtrl::addEnergyLogMonthlyEntry(zemo::data::EnergyLogEntry objL_logEntry)
{
    return logDaemon->addEnergyLogMonthlyEntry(objL_logEntry);
}

bool LogDaemonCtrl::summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, QList<bool> objL_shouldAverage)
{
    return logDaemon->summarizeEnergyLogMonth(u16L_year, u8L_month, objL_shouldAverage);
}

QListEnergyLogEntry LogDaemonCtrl::getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay,
                                                      uchar u8L_startHour, ushort u16L_stopYear, uchar u8L_stopMonth,
                                                      uchar u8L_stopDay, uchar u8L_stopHour)
{
    return logDaemon->getEnergyLogHourly(u16L_startYear, u8L_startMonth, u8L_startDay, u8L_startHour, u16L_stopYear,
                                         u8L_stopMonth, u8L_stopDay, u8L_stopHour);
}

QListEnergyLogEntry LogDaemonCtrl::getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth,
                                                       ushort u16L_stopYear, uchar u8L_stopMonth)
{
    return logDaemon->getEnergyLogMonthly(u16L_startYear, u8L_startMonth, u16L_stopYear, u8L_stopMonth);
}

bool LogDaemonCtrl::exportEnergyLogToUsb(QStringList objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                                         uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth)
{
    return logDaemon->exportEnergyLogToUsb(objL_headers, objL_decimals, u16L_startYear, u8L_startMonth, u16L_stopYear,
                                           u8L_stopMonth);
}

bool LogDaemonCtrl::PowerLogExportToUsb(QString locale)
{
    return logDaemon->PowerLogExportToUsb(locale);
}

bool LogDaemonCtrl::PowerLogExportHourlyToUsb(QString locale)
{
    return logDaemon->PowerLogExportHourlyToUsb(locale);
}

bool LogDaemonCtrl::PowerLogExportQuarterlyToUsb(QString locale)
{
    return logDaemon->PowerLogExportQuarterlyToUsb(locale);
}

bool LogDaemonCtrl::PowerLogExportForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp)
{
    return logDaemon->PowerLogExportForPeriodToUsb(locale, start_timestamp, end_timestamp);
}

bool LogDaemonCtrl::PowerLogExportHourlyForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp)
{
    return logDaemon->PowerLogExportHourlyForPeriodToUsb(locale, start_timestamp, end_timestamp);
}

bool LogDaemonCtrl::PowerLogExportQuarterlyForPeriodToUsb(QString locale, int64_t start_timestamp,
                                                          int64_t end_timestamp)
{
    return logDaemon->PowerLogExportQuarterlyForPeriodToUsb(locale, start_timestamp, end_timestamp);
}
