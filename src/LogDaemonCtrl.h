#pragma once

#include "LogDaemon.h"

#include <zemo/ExecutionQueue.h>

#include <QObject>

/// The daemon's face on the bus. Lives on the main thread; owns the thread that the daemon lives on, and the daemon.
/// Every slot is a plain call into LogDaemon on the main thread.
class LogDaemonCtrl : public QObject
{
    Q_OBJECT

public:
    LogDaemonCtrl();
    ~LogDaemonCtrl() override;

    /// Makes the daemon, registers it on the system bus and raises logDaemonStarted. A failed registration is traced.
    static void start();
    /// Takes the daemon off the bus and ends it.
    static void stop();

signals:
    void customUsbLogStarted(int id);
    void customUsbLogStopped(int id);
    void hasSettingsOnUSBChanged(bool result);
    void restoreSettingsFinished(bool ok);
    void restoreSettingsStarted();
    void saveSettingsFinished(bool ok);
    void saveSettingsStarted();
    void usbLogStarted();
    void usbLogStopped();
    void logDaemonStarted();
    void energyLogEntryHourlyAdded(ushort u16L_year, uchar u8L_month, uchar u8L_day, uchar u8L_hour);
    void energyLogEntryMonthlyAdded(ushort u16L_year, uchar u8L_month);
    void energyLogMonthSummarized(ushort u16L_year, uchar u8L_month);
    void energyLogExportCompleted(bool bL_result);
    void energyLogExportStarted();
    void PowerLogExportStarted();
    void PowerLogExportCompleted(bool result);

public slots:
    QStringList getLogParameters();
    bool isUsbLogActive();
    bool hasSettingsOnUSB();
    bool removeLogFromInternalMem(uint u32L_id);
    bool restoreSettingsFromUSB();
    bool saveCoreDumpsToUsb();
    bool saveChangeLogToUsb(QString objL_path);
    bool saveModbusMostUsedToUsb();
    bool saveInternalLogToUsb(uint u32L_id, QString objL_path);
    bool saveInternalLogsToUsbRaw();
    bool saveModbusStateToUsb();
    uint saveRamLogToInternalMem();
    bool saveRamLogToUsb(QString objL_path);
    bool saveSettingsToUSB(uint u32L_saveType);
    bool saveSysLogToUsb();
    bool saveSysInfoToUsb();
    bool saveAlarmLogToUsb(int iL_count, QString objL_path);
    bool startLogUsb(int interval, bool bL_continue, QString objL_locale);
    bool stopLogUsb();
    QString createUsbFolder(QString objL_prefix, QString objL_path);
    bool configureCustomLogUsb(int s32L_id, QString objL_prefix, QList<int> objL_parameters);
    QStringList getCustomUsbLogParameters(int s32L_id);
    bool isCustomUsbLogActive(int s32L_id);
    bool startCustomLogUsb(int s32L_id, int s32L_interval, bool bL_continue);
    bool stopCustomLogUsb(int s32L_id);
    bool initEnergyLog(uchar u8L_numColumns, int s32L_invalidValue);
    bool addEnergyLogHourlyEntry(zemo::data::EnergyLogEntry objL_logEntry);
    bool addEnergyLogHourlyEntries(QListEnergyLogEntry objL_logEntries);
    bool addEnergyLogMonthlyEntry(zemo::data::EnergyLogEntry objL_logEntry);
    bool summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, QList<bool> objL_shouldAverage);
    QListEnergyLogEntry getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay,
                                           uchar u8L_startHour, ushort u16L_stopYear, uchar u8L_stopMonth,
                                           uchar u8L_stopDay, uchar u8L_stopHour);
    QListEnergyLogEntry getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_stopYear,
                                            uchar u8L_stopMonth);
    bool exportEnergyLogToUsb(QStringList objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                              uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth);
    bool PowerLogExportToUsb(QString locale);
    bool PowerLogExportHourlyToUsb(QString locale);
    bool PowerLogExportQuarterlyToUsb(QString locale);
    bool PowerLogExportForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp);
    bool PowerLogExportHourlyForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp);
    bool PowerLogExportQuarterlyForPeriodToUsb(QString locale, int64_t start_timestamp, int64_t end_timestamp);

private:
    friend class LogDaemonCtrlInspector; // tests raise signals of the daemon

    zemo::ExecutionQueue executionQueue;
    LogDaemon* logDaemon = nullptr; ///< owned, ended by deleteLater
};
