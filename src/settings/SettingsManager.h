#pragma once

#include <p7zemo.h>

#include <QObject>
#include <QString>

/// Saves the controller's settings to a file on the stick and restores them. Lives on queueThread; each slot runs to
/// its end there, takes no lock, and tells its outcome by the signals alone.
class SettingsManager : public QObject
{
    Q_OBJECT

public:
    /// Of a restore: longer headers do not parse, larger files count as files that can't be opened. The bus cuts off
    /// whoever sends more than 32 MiB, so what is handed over stays below.
    static constexpr qint64 MaxHeaderBytes = 1024LL * 1024;
    static constexpr qint64 MaxFileBytes = 31LL * 1024 * 1024;

    /// Relays the restore signals of DataManagementClient::instance, which must exist.
    explicit SettingsManager(QObject* parent);

signals:
    void saveSettingsStarted();
    /// A save that can't clear away the leftover of an earlier one finishes without having started.
    void saveSettingsFinished(bool bL_result);
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool bL_result);

public slots:
    /// Replaces the file at `objL_path` and keeps the previous one as `objL_path` plus ".OLD". If one of these is there
    /// and complete, the old settings or the new ones stand complete at every moment, under the path or under it plus
    /// ".OLD" or ".TMP".
    bool saveSettings(QString objL_path, uint u32L_saveType);
    /// Hands the settings of the file to the service, after a check of their digest if the file has one. A file that
    /// is no settings file is reported as started and failed; from the hand-over on only the service reports.
    bool restoreSettings(QString objL_path);

private:
    bool finishSave(bool bL_result);

    /// The trace module of the class, registered by the first call.
    static p7zemo_module_t traceModule();
};
