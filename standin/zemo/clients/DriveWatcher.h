#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace zemo::clients
{

/// Follows the drives of the platform over the life of its service: what the service reports is passed on as it comes,
/// and when the service appears, anew or for the first time, what is then different from before is reported as well.
/// Drives that are there when the watcher is made are not reported. Lives on the thread that made it and never blocks
/// it.
class DriveWatcher : public QObject
{
    Q_OBJECT

public:
    explicit DriveWatcher(QObject* parent);

signals:
    void inserted(const QString& path);
    void removed(const QString& path);

private:
    using Answer = void (DriveWatcher::*)(const QStringList& drives);

    void askForDrives(Answer answer);
    void takeAsKnown(const QStringList& drives);
    void reportDifference(const QStringList& drives);
    void noteInserted(const QString& path);
    void noteRemoved(const QString& path);

    QDBusServiceWatcher m_service;
    QTimer m_retry;
    QStringList m_known;
};

} // namespace zemo::clients
