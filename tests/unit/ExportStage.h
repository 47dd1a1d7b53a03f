#pragma once

#include "FakePlatform.h"
#include "FakeSync.h"
#include "LogDaemonInspector.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <functional>
#include <mutex>
#include <sys/resource.h>

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

    /// Whether every question that `work` put to the platform, and there was one, came without stateMutex.
    bool asksWithoutTheMutex(const std::function<void()>& work)
    {
        QList<bool> free;
        platform.onCall = [&](const char*) { free.append(inspector.isStateMutexFree()); };
        work();
        platform.onCall = nullptr;
        return !free.isEmpty() && !free.contains(false);
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

inline QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<no such file>");
}

inline void makeFile(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(contents);
}

/// While it lives no file of this process grows beyond `bytes`: what a stick without space does to a writer.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
        : m_oldHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_oldLimit);
        const rlimit limit{bytes, m_oldLimit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_oldLimit);
        std::signal(SIGXFSZ, m_oldHandler);
    }

    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*m_oldHandler)(int);
    rlimit m_oldLimit{};
};
