#pragma once

#include "LogDaemon.h"
#include "Mutexes.h"

/// Looks inside a LogDaemon and calls the steps of its tick on the calling thread.
class LogDaemonInspector
{
public:
    explicit LogDaemonInspector(LogDaemon& daemon)
        : m_daemon(daemon)
    {
    }

    QList<int> allIds() const
    {
        return m_daemon.logParametersAll.keys();
    }
    QList<int> constrainedIds() const
    {
        return m_daemon.logParametersConstrained.keys();
    }
    QList<int> manualIds() const
    {
        return m_daemon.logParametersManual.keys();
    }
    QMap<int32_t, Metadata>& all()
    {
        return m_daemon.logParametersAll;
    }
    QMap<int32_t, Metadata>& constrained()
    {
        return m_daemon.logParametersConstrained;
    }
    QMap<int32_t, Metadata>& manual()
    {
        return m_daemon.logParametersManual;
    }
    QMap<int, QSharedPointer<CustomLogConfig>>& customConfigs()
    {
        return m_daemon.customLogConfigs;
    }
    QMap<int, QSharedPointer<FileLogger>>& customLoggers()
    {
        return m_daemon.customLoggers;
    }
    QMap<QDateTime, Logger*>& pendingSaves()
    {
        return m_daemon.pendingSaves;
    }
    QString& usbPath()
    {
        return m_daemon.usbPath;
    }
    FileLogger*& usbLogger()
    {
        return m_daemon.usbLogger;
    }
    RAMLogger* ramLogger()
    {
        return m_daemon.ramLogger;
    }
    SettingsManager* settingsManager()
    {
        return m_daemon.settingsManager;
    }
    zemo::hardware::UsbClient* usbClient()
    {
        return m_daemon.usbClient;
    }
    EnergyLogDB& energyLogDb()
    {
        return m_daemon.energyLogDb;
    }
    QTimer& minuteTimer()
    {
        return m_daemon.minuteTimer;
    }
    QTimer& secondTimer()
    {
        return m_daemon.secondTimer;
    }

    QRecursiveMutex& stateMutex()
    {
        return m_daemon.stateMutex;
    }
    /// Whether another thread could take stateMutex now.
    bool isStateMutexFree()
    {
        return !isTaken(m_daemon.stateMutex);
    }

    void refreshParameters(const QString& locale)
    {
        LogDaemon::StateLocker locker(&m_daemon.stateMutex);
        m_daemon.refreshParameters(locker, locale);
    }
    void checkUsbLogDate()
    {
        LogDaemon::StateLocker locker(&m_daemon.stateMutex);
        m_daemon.checkUsbLogDate(locker);
    }
    void customLogsTick()
    {
        LogDaemon::StateLocker locker(&m_daemon.stateMutex);
        m_daemon.customLogsTick();
    }
    QString getUsbPath(const QString& usbRoot, const QString& relativePath)
    {
        return m_daemon.getUsbPath(usbRoot, relativePath);
    }
    bool addPendingSave(Logger* logger, const QDateTime& end)
    {
        LogDaemon::StateLocker locker(&m_daemon.stateMutex);
        return m_daemon.addPendingSave(logger, end);
    }
    void checkPendingSaves()
    {
        LogDaemon::StateLocker locker(&m_daemon.stateMutex);
        m_daemon.checkPendingSaves();
    }
    bool writeEnergyLogCsv(QIODevice* device, const QList<QString>& headers, const QByteArray& decimals,
                           const QListEnergyLogEntry& entries, int monthly, int invalidValue)
    {
        return m_daemon.writeEnergyLogCsv(device, headers, decimals, entries, monthly, invalidValue);
    }
    LogFilePtr openLogFile(const QString& prefix, const QString& suffix, const QString& subfolder)
    {
        return m_daemon.openLogFile(prefix, suffix, subfolder);
    }
    bool copyFolderToUsb(const QString& source, const QString& tag)
    {
        return m_daemon.copyFolderToUsb(source, tag);
    }
    bool copyDirectoryTree(const QString& source, const QString& target)
    {
        return m_daemon.copyDirectoryTree(source, target);
    }
    bool powerLogStart()
    {
        return m_daemon.PowerLogStartExport();
    }
    bool powerLogStop()
    {
        return m_daemon.PowerLogStopExport();
    }
    bool powerLogMain(const QString& locale, LogDaemon::PowerLogExportType type, std::optional<long long> start,
                      std::optional<long long> end)
    {
        return m_daemon.PowerLogExportMain(locale, type, start, end);
    }
    bool powerLogFunction(const QString& locale, std::optional<LogDaemon::PowerLogSource> hourly,
                          std::optional<LogDaemon::PowerLogSource> quarterly)
    {
        return m_daemon.PowerLogExportFunction(locale, std::move(hourly), std::move(quarterly));
    }

private:
    LogDaemon& m_daemon;
};
