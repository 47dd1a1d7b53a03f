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

/// The daemon's state and its two ticks. Lives on queueThread; the public methods are called from the main thread too,
/// and run on the thread that calls. One source unit for each subject implements them.
///
/// Unless said otherwise a public method or slot takes stateMutex itself and must be called without it. "The drive in
/// use" is usbPath; "the first drive" is the first that the platform names at that moment.
class LogDaemon : public QObject
{
    Q_OBJECT

public:
    /// A caller's guard on stateMutex, handed to operations that open it for a while.
    using StateLocker = QMutexLocker<QRecursiveMutex>;

    /// Starts the ticks, takes the first drive and fetches the parameters. Call on the thread that it is to live on.
    explicit LogDaemon(QObject* parent);
    /// The main log and snapshots that still record are left as they stand.
    ~LogDaemon() override;

    /// The trace module of the class and of the functions beside it, registered by the first call. Any thread.
    static p7zemo_module_t traceModule();

    // Main USB log

    /// Starts the log with at least `interval` seconds between two rows. True when it is on, also when it was before:
    /// nothing changes then. False without a drive or a file. `continueLog` has nothing to continue: the logger is new.
    bool startUsbLog(int interval, bool continueLog, const QString& objL_locale);
    /// Ends the log; always true.
    bool stopUsbLog();
    /// Also true while the drive is away, and for a log that could open no new file for new parameters and writes
    /// nothing until it is stopped and started. False after midnight if no new file could be opened, and for a log that
    /// only counts as off, as startCustomUsbLog tells.
    bool isUsbLogActive();
    /// Names of all logged parameters by ascending id, whether a log runs or not; those of the default list in the
    /// locale of the latest refresh.
    QStringList getLogParameters();

    // Custom USB logs; `id` is the client's own

    /// Stores prefix and parameters for `id`; always true. A log that runs goes on in a new file if it doesn't have all
    /// of them, or not at all if that can't be opened, and keeps its columns otherwise; the prefix counts from its next
    /// start on.
    bool configureCustomLogUsb(int id, const QString& prefix, const QList<int>& parameters);
    /// As startUsbLog, but false also without a configuration. After a start, or new parameters, that opened no file
    /// the next start makes a main log that runs count as off: it writes on and can't be stopped.
    bool startCustomUsbLog(int id, int interval, bool continueLog);
    /// Ends the log, whose file is closed a moment later on queueThread; always true. The configuration stays.
    bool stopCustomUsbLog(int id);
    /// False also for a log whose start, or new parameters, opened no file.
    bool isCustomUsbLogActive(int id);
    /// Names of the parameters of a log that was started, also in vain, by ascending id; empty otherwise.
    QStringList getCustomUsbLogParameters(int id);

    // Snapshots of the RAM log; times in seconds before and after now. The replay takes listLock and not stateMutex.

    /// True while the snapshot goes on recording: false for one that is complete, as with a `future` of 0, and when
    /// getUsbPath refuses `objL_path`. A file that can't be opened doesn't show.
    bool saveRamLogToUsb(int32_t history, int32_t future, const QString& objL_path);
    /// The log's id, the number of its file minus one. 0 is the first id, and the answer for a log that is complete, as
    /// with a `future` of 0. A file that can't be opened doesn't show. Call on a thread with an event loop.
    uint32_t saveRamLogToInternalMem(int32_t history, int32_t future);
    /// Converts the log, one that still records as far as it goes. False when there is none that can be read, and when
    /// getUsbPath refuses `objL_path`. Whether the text was written doesn't show.
    bool saveInternalLogToUsb(uint32_t id, const QString& objL_path);
    /// Ends the log if it still records and deletes its file; true also when there is none. The id is used again.
    bool removeLogFromInternalMem(uint32_t id);

    // Energy log; zemo::SQLiteDB::sql_error passes through. Only the export takes stateMutex.

    /// As EnergyLogDB::init.
    bool initEnergyLog(uchar u8L_columns, int s32L_invalid_value);
    /// As EnergyLogDB's adds. A single row that was stored is signalled, a list is not.
    bool addEnergyLogHourlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry);
    bool addEnergyLogHourlyEntries(const QListEnergyLogEntry& objL_logEntries);
    bool addEnergyLogMonthlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry);
    /// As EnergyLogDB::summarizeMonth. A success is signalled.
    bool summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, const QList<bool>& objL_shouldAverage);
    /// As EnergyLogDB's queries.
    QListEnergyLogEntry getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay,
                                           uchar u8L_startHour, ushort u16L_endYear, uchar u8L_endMonth,
                                           uchar u8L_endDay, uchar u8L_endHour);
    QListEnergyLogEntry getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_endYear,
                                            uchar u8L_endMonth);
    /// Starts a thread that writes these months, the last one included, to the first drive, with a title and a number
    /// of decimals for each value. False without a drive in use or a thread. A database that fails on that thread ends
    /// the process.
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

    /// Start a thread that writes hourly records, quarter-hourly ones or both to the first drive, with headings in that
    /// locale. False while another export is under way and without a thread. True also without a drive: the outcome is
    /// in the signal.
    bool PowerLogExportToUsb(const QString& locale);
    bool PowerLogExportHourlyToUsb(const QString& locale);
    bool PowerLogExportQuarterlyToUsb(const QString& locale);
    /// The same for a period, in seconds since the epoch. False also when its start is not before its end.
    bool PowerLogExportForPeriodToUsb(const QString& locale, long long start_timestamp, long long end_timestamp);
    bool PowerLogExportHourlyForPeriodToUsb(const QString& locale, long long start_timestamp, long long end_timestamp);
    bool PowerLogExportQuarterlyForPeriodToUsb(const QString& locale, long long start_timestamp,
                                               long long end_timestamp);

    // Settings

    /// Leave the work to queueThread: true when there is a drive in use, and the outcome is in the signals.
    bool saveSettingsToUSB(uint u32L_saveType);
    bool restoreSettingsFromUSB();
    /// Whether the settings file was there at the latest insertion, removal or successful save.
    bool hasSettingsOnUSB();

    // Exports of the platform's data to the first drive, and what all exports share; these take no lock. False or empty
    // without a drive, but for saveSysInfoToUsb.

    /// The absolute path of a new folder in `objL_path`, which is made too, named prefix, date, serial number, number.
    /// Empty also when it can't be made or its path leads off the drive by its text: links are followed.
    QString createUsbFolder(QString objL_prefix, QString objL_path);
    /// As writeModbusLogToCSV: all parameters that Modbus reaches, and those of the default list with a register.
    bool saveModbusStateToUsb();
    bool saveModbusMostUsedToUsb();
    /// As writeChangeLog, for at most 10000 changes. False also when no file can be opened in `objL_path`.
    bool saveChangeLogToUsb(QString objL_path);
    /// Writes at most `iL_count` alarms to `objL_path`. True once the file is open: what it took is not looked at.
    bool saveAlarmLogToUsb(int iL_count, QString objL_path);
    /// Runs the platform's script for the drive in use, if there is one or not. True when the shell ends with 0 or by a
    /// signal. A mount path that makes the command longer than its buffer ends the process.
    bool saveSysInfoToUsb();
    /// Copy files to new folders named by the time. False when a folder of that name is there, but for the second
    /// one of saveSysLogToUsb, when a copy failed, except of a file in /var/log/p7zemo if a folder beside it copied
    /// well afterwards, and when /var/log/p7zemo is missing.
    bool saveSysLogToUsb();
    bool saveCoreDumpsToUsb();
    bool saveInternalLogsToUsbRaw();

signals:
    /// One sample a second, for the loggers. On queueThread, with stateMutex held.
    void valuesUpdated(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values);
    /// Never raised.
    void parametersUpdated(QMap<int32_t, Metadata> objL_logParametersAll,
                           QMap<int32_t, Metadata> objL_logParametersConstrained);
    /// The work for settingsManager, queued to it. With stateMutex held.
    void saveSettings(QString objL_path, uint u32L_saveType);
    void restoreSettings(QString objL_path);
    /// What settingsManager tells. On queueThread, without stateMutex.
    void saveSettingsStarted();
    void saveSettingsFinished(bool bL_result);
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool bL_result);
    /// hasSettingsOnUSB now answers this. On queueThread, with stateMutex open.
    void hasSettingsOnUSBChanged(bool bL_result);
    /// A call has started or stopped a log; a custom one that had opened no file is stopped with the signal too. On the
    /// caller's thread, with stateMutex open.
    void customUsbLogStarted(int id);
    void customUsbLogStopped(int id);
    void usbLogStarted();
    void usbLogStopped();
    /// A single row was stored, or a month folded into one. On the caller's thread, without a lock.
    void energyLogEntryHourlyAdded(ushort u16L_year, uchar u8L_month, uchar u8L_day, uchar u8L_hour);
    void energyLogEntryMonthlyAdded(ushort u16L_year, uchar u8L_month);
    void energyLogMonthSummarized(ushort u16L_year, uchar u8L_month);
    /// One of each for every export, on its thread, without a lock. When the energy log's has completed its files are
    /// still to be closed and synced; when the power log's has, another one is refused for a moment longer.
    void energyLogExportStarted();
    void energyLogExportCompleted(bool bL_ok);
    void PowerLogExportStarted();
    void PowerLogExportCompleted(bool result);

public slots:
    /// Takes that drive into use, looks for its settings file and reads its LOG.SET.
    void usbDriveInserted(QString objL_path);
    /// Leaves no drive in use, whichever was removed. Logs that run go on.
    void usbDriveRemoved(QString objL_path);
    /// The ticks: refresh the parameters; take a sample, end snapshots that are due, change files after midnight.
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
    /// The folder's path with links resolved. Empty without a root, and, traced, for one that is not there or lies off
    /// the drive; a folder beside the drive whose path begins with the root's passes.
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
