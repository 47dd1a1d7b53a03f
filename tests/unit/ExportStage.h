#pragma once

#include "FakePlatform.h"
#include "FakeSync.h"
#include "Files.h"
#include "FullMedium.h"
#include "LogDaemonInspector.h"

#include <QDate>
#include <QDir>
#include <QRecursiveMutex>
#include <QTemporaryDir>

#include <chrono>
#include <future>
#include <mutex>

/// What every export needs: the platform, a stick in it, the daemon, and a "sync" that is looked at.
struct ExportStage
{
    ExportStage()
    {
        platform.drives.append(stick.path());
    }

    /// The name of today's file or folder.
    QString name(const QString& prefix, int number, const QString& suffix) const
    {
        return prefix + today() + "-" + platform.serial + "-" + QString::number(number) + suffix;
    }

    QString path(const QString& prefix, int number, const QString& suffix) const
    {
        return stick.filePath(name(prefix, number, suffix));
    }

    /// From here on no file of the daemon can be opened: with this serial number every name is longer than a file
    /// system takes.
    void makeNamesTooLong()
    {
        const std::lock_guard guard(platform);
        platform.serial = QString(300, '9');
    }

    /// Whether `work` comes to its end on another thread while this one holds stateMutex.
    template <class Work> bool runsWithoutTheMutex(Work work)
    {
        QRecursiveMutex& mutex = inspector.stateMutex();
        mutex.lock();
        std::future<void> end = std::async(std::launch::async, work);
        const bool came = end.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
        mutex.unlock();
        end.get();
        return came;
    }

    QStringList onStick() const
    {
        return QDir(stick.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    }

    /// Asked for each time: a test can change the zone, and with it the date.
    static QString today()
    {
        return QDate::currentDate().toString("yyyyMMdd");
    }

    FakePlatform platform;
    FakeSync sync;
    QTemporaryDir stick;
    LogDaemon daemon{nullptr};
    LogDaemonInspector inspector{daemon};
};
