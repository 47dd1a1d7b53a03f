#pragma once

#include "LogFile.h"
#include "energylog/energylogdb.h"
#include "logging/Logger.h"

#include <zemo/PanelText.h>
#include <zemo/PowerLogRecord.h>
#include <zemo/UsbClient.h>

#include <QMutexLocker>
#include <QRecursiveMutex>
#include <QSharedPointer>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <optional>

class FileLogger;
class RAMLogger;
class SettingsManager;

/// What a client stored for one custom log.
struct CustomLogConfig
{
    QString prefix; ///< first part of the file name
    QList<int> parameters;
};

/// The daemon's state and its two ticks. Lives on queueThread; the public methods are called from the main thread too.
/// Methods are told where they are implemented: one unit for each subject. Unless said otherwise a public method or
/// slot takes stateMutex itself and must be called without it.
class LogDaemon : public QObject
{
    Q_OBJECT

public:
    /// A caller's guard on stateMutex, handed to operations that open it for a while.
    using StateLocker = QMutexLocker<QRecursiveMutex>;

    explicit LogDaemon(QObject* parent);
    ~LogDaemon() override;

    // Main USB log
    bool startUsbLog(int interval, bool continueLog, const QString& objL_locale);
    bool stopUsbLog();
    bool isUsbLogActive();
    QStringList getLogParameters();

    // Custom USB logs
    bool configureCustomLogUsb(int id, const QString& prefix, const QList<int>& parameters);
    bool startCustomUsbLog(int id, int interval, bool continueLog);
    bool stopCustomUsbLog(int id);
    bool isCustomUsbLogActive(int id);
    QStringList getCustomUsbLogParameters(int id);

    // Snapshots of the RAM log; times in seconds before and after now
    bool saveRamLogToUsb(int32_t history, int32_t future, const QString& objL_path);
    uint32_t saveRamLogToInternalMem(int32_t history, int32_t future);
    bool saveInternalLogToUsb(uint32_t id, const QString& objL_path);
    bool removeLogFromInternalMem(uint32_t id);

    // Energy log; zemo::SQLiteDB::sql_error passes through. Only the export takes stateMutex.
    bool initEnergyLog(uchar u8L_columns, int s32L_invalid_value);
    bool addEnergyLogHourlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry);
    bool addEnergyLogHourlyEntries(const QListEnergyLogEntry& objL_logEntries);
    bool addEnergyLogMonthlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry);
    bool summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, const QList<bool>& objL_shouldAverage);
    QListEnergyLogEntry getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay,
                                           uchar u8L_startHour, ushort u16L_endYear, uchar u8L_endMonth,
                                           uchar u8L_endDay, uchar u8L_endHour);
    QListEnergyLogEntry getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_endYear,
                                            uchar u8L_endMonth);
    bool exportEnergyLogToUsb(QList<QString> objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                              uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth);

    // Power log; takes exportMutex alone
    enum class PowerLogExportType
    {
        All = 0,
        Hourly = 1,
        Quarterly = 2
    };
    using PowerLogSource = std::function<QList<zemo::data::PowerLogRecord>()>;

    bool PowerLogExportToUsb(const QString& locale);
    bool PowerLogExportHourlyToUsb(const QString& locale);
    bool PowerLogExportQuarterlyToUsb(const QString& locale);
    bool PowerLogExportForPeriodToUsb(const QString& locale, long long start_timestamp, long long end_timestamp);
    bool PowerLogExportHourlyForPeriodToUsb(const QString& locale, long long start_timestamp, long long end_timestamp);
    bool PowerLogExportQuarterlyForPeriodToUsb(const QString& locale, long long start_timestamp,
                                               long long end_timestamp);

    // Settings
    bool saveSettingsToUSB(uint u32L_saveType);
    bool restoreSettingsFromUSB();
    bool hasSettingsOnUSB();

    // Exports of the platform's data, and what all exports share; these take no lock
    QString createUsbFolder(QString objL_prefix, QString objL_path);
    bool saveModbusStateToUsb();
    bool saveModbusMostUsedToUsb();
    bool saveChangeLogToUsb(QString objL_path);
    bool saveAlarmLogToUsb(int iL_count, QString objL_path);
    bool saveSysInfoToUsb();
    bool saveSysLogToUsb();
    bool saveCoreDumpsToUsb();
    bool saveInternalLogsToUsbRaw();

signals:
    void valuesUpdated(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values);
    void parametersUpdated(QMap<int32_t, Metadata> objL_logParametersAll,
                           QMap<int32_t, Metadata> objL_logParametersConstrained);
    void saveSettings(QString objL_path, uint u32L_saveType);
    void restoreSettings(QString objL_path);
    void saveSettingsStarted();
    void saveSettingsFinished(bool bL_result);
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool bL_result);
    void hasSettingsOnUSBChanged(bool bL_result);
    void customUsbLogStarted(int id);
    void customUsbLogStopped(int id);
    void usbLogStarted();
    void usbLogStopped();
    void energyLogEntryHourlyAdded(ushort u16L_year, uchar u8L_month, uchar u8L_day, uchar u8L_hour);
    void energyLogEntryMonthlyAdded(ushort u16L_year, uchar u8L_month);
    void energyLogMonthSummarized(ushort u16L_year, uchar u8L_month);
    void energyLogExportStarted();
    void energyLogExportCompleted(bool bL_ok);
    void PowerLogExportStarted();
    void PowerLogExportCompleted(bool result);

public slots:
    void usbDriveInserted(QString objL_path);
    void usbDriveRemoved(QString objL_path);
    void minute();
    void second();

private:
    friend class LogDaemonInspector; // tests look inside and call the steps of the tick

    // LogDaemon.cpp
    void connectSignals();
    /// Runs on the thread that saved, without stateMutex.
    void noticeSavedSettings(bool bL_saved);
    /// Every id that the tick reads, in no order and with duplicates. Call with stateMutex.
    QList<int> sampledIds() const;
    /// Rebuild the parameter maps; look for the settings file. `locker` is the caller's guard: locked on entry and on
    /// return, open in between.
    void refreshParameters(StateLocker& locker, const QString& locale);
    void refreshSettingsOnUsb(StateLocker& locker);
    /// The steps of refreshParameters between the platform's answer and the loggers. Call with stateMutex.
    void constrainDefaultParameters();
    void mergeManualParameters();

    // LogDaemon.UsbLog.cpp; `locker` as above
    bool startUsbLog(StateLocker& locker, int interval, bool raiseSignal, bool continueLog, const QString& locale);
    bool stopUsbLog(StateLocker& locker, bool raiseSignal);
    void checkUsbLogDate(StateLocker& locker);
    /// The second half of usbDriveInserted: takes the manual parameters from the drive's LOG.SET, if it has one. Takes
    /// stateMutex itself.
    void readLogSet(const QString& objL_path);

    // LogDaemon.CustomUsbLog.cpp
    void customLogsTick(); ///< call with stateMutex

    // LogDaemon.RamLog.cpp; all but beginRamLogSave are for callers that have stateMutex
    QString getUsbPath(const QString& usbRoot, const QString& relativePath);
    bool beginRamLogSave(Logger* logger, const QDateTime& from, const QDateTime& end);
    bool addPendingSave(Logger* logger, const QDateTime& end);
    void checkPendingSaves();

    // LogDaemon.EnergyLog.cpp
    void energyLogExportRun(QList<QString> objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                            uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth);
    bool writeEnergyLogCsv(QIODevice* device, const QList<QString>& headers, const QByteArray& decimals,
                           const QList<zemo::data::EnergyLogEntry>& entries, int monthly, int invalidValue);

    // LogDaemon.PowerLog.cpp
    bool PowerLogStartExport();
    bool PowerLogStopExport();
    bool PowerLogExportMain(const QString& locale, PowerLogExportType type, std::optional<long long> start,
                            std::optional<long long> end);
    bool PowerLogExportFunction(const QString& locale, std::optional<PowerLogSource> hourly,
                                std::optional<PowerLogSource> quarterly);
    bool PowerLogExportSingleType(const QMap<unsigned int, zemo::localization::PanelText>& texts, const char* prefix,
                                  PowerLogSource source);

    // LogDaemon.Utilities.cpp
    /// A new file on the first drive, named prefix, date, serial, number, suffix, in `subfolder`; null on failure.
    LogFilePtr openLogFile(const QString& prefix, const QString& suffix, const QString& subfolder);

    // LogDaemon.SysInfo.cpp
    bool copyFolderToUsb(const QString& source, const QString& tag);
    bool copyDirectoryTree(const QString& source, const QString& target);

    /// The trace module of the class, valid once an object has been made.
    static p7zemo_module_t traceModule();

    friend void syncFileSystem();
    friend int writeModbusLogToCSV(zemo::hardware::UsbClient* client, const QString& prefix,
                                   const QMap<int32_t, Metadata>& parameters);

    QTimer minuteTimer;
    QTimer secondTimer;
    QString usbPath;            ///< mount path of the drive in use; empty means no drive
    QRecursiveMutex stateMutex; // rank 1
    zemo::hardware::UsbClient* usbClient;
    RAMLogger* ramLogger;
    FileLogger* usbLogger = nullptr; ///< null while no USB log runs; ended by deleteLater
    QMap<int, QSharedPointer<CustomLogConfig>> customLogConfigs;
    QMap<int, QSharedPointer<FileLogger>> customLoggers;
    SettingsManager* settingsManager;
    QMap<QDateTime, Logger*> pendingSaves;            ///< snapshots still recording, by their end
    QMap<int32_t, Metadata> logParametersAll;         ///< the default list and the manual parameters
    QMap<int32_t, Metadata> logParametersConstrained; ///< what the RAM log keeps; never shrinks
    QMap<int32_t, Metadata> logParametersManual;      ///< named by the drive's LOG.SET
    bool settingsOnUsb = false;
    EnergyLogDB energyLogDb;
};
