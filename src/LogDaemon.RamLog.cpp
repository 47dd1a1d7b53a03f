#include "LogDaemon.h"

#include "LogConfig.h"
#include "Trace.h"
#include "logging/BinaryLogger.h"
#include "logging/CSVLogger.h"
#include "logging/RAMLogger.h"

#include <QDir>
#include <QScopedPointer>

#include <cerrno>
#include <cstdio>

namespace
{

/// A snapshot has a row for every second of its future part.
constexpr int SnapshotInterval = 1;

QDateTime secondsFromNow(int64_t s64L_seconds)
{
    return QDateTime::currentDateTimeUtc().addSecs(s64L_seconds);
}

QString internalPath()
{
    return QString::fromUtf8(logConfig().internalPath);
}

QString internalLogPath(uint32_t u32L_id)
{
    return QStringLiteral("%1/%2").arg(internalPath(), BinaryLogger::fileNameForIndex(u32L_id, QString()));
}

/// Ends a snapshot's logger at once; it is deleted later, on its own thread.
void finish(Logger* objL_logger)
{
    objL_logger->stop();
    objL_logger->deleteLater();
}

bool isInternalLog(const Logger* objL_logger, uint32_t u32L_id)
{
    return objL_logger->getType() == Logger::BinaryLog && objL_logger->getLogIndex() == u32L_id;
}

} // namespace

QString LogDaemon::getUsbPath(const QString& usbRoot, const QString& relativePath)
{
    if (usbRoot.isEmpty())
    {
        qCritical("no USB stick");
        return {};
    }
    const QDir objL_root(usbRoot);
    const QString objL_canonicalRoot = objL_root.canonicalPath();
    QString objL_wanted = QDir(objL_root.filePath(relativePath)).canonicalPath();
    // A mount point that is gone has no canonical path, and every path begins with nothing.
    if (objL_canonicalRoot.isEmpty() || !objL_wanted.startsWith(objL_canonicalRoot))
    {
        ZEMO_TRACE(traceModule(), 4, "Path should be relative to USB root: %s", qUtf8Printable(relativePath));
        return {};
    }
    return objL_wanted;
}

bool LogDaemon::saveRamLogToUsb(int32_t history, int32_t future, const QString& objL_path)
{
    StateLocker objL_locker(&stateMutex);
    const QString objL_directory = getUsbPath(usbPath, objL_path);
    objL_locker.unlock();
    if (objL_directory.isEmpty())
    {
        return false;
    }
    auto* objL_logger = new CSVLogger(objL_directory, SnapshotInterval, nullptr);
    objL_logger->moveToThread(thread());
    const QDateTime objL_from = secondsFromNow(-int64_t{history});
    return beginRamLogSave(objL_logger, objL_from, secondsFromNow(future));
}

uint32_t LogDaemon::saveRamLogToInternalMem(int32_t history, int32_t future)
{
    // Stays on the caller's thread, where its live rows arrive queued.
    auto* objL_logger = new BinaryLogger(internalPath(), SnapshotInterval, nullptr);
    const QDateTime objL_from = secondsFromNow(-int64_t{history});
    return beginRamLogSave(objL_logger, objL_from, secondsFromNow(future)) ? objL_logger->getLogIndex() : 0;
}

bool LogDaemon::beginRamLogSave(Logger* logger, const QDateTime& from, const QDateTime& end)
{
    StateLocker objL_locker(&stateMutex);
    logger->updateParameters(logParametersConstrained);
    objL_locker.unlock();
    // A logger that doesn't come up goes through all of this like any other; it just writes nothing.
    logger->start(false);
    ramLogger->replayTo(logger, from, true);
    objL_locker.relock();
    return addPendingSave(logger, end);
}

bool LogDaemon::addPendingSave(Logger* logger, const QDateTime& end)
{
    if (QDateTime::currentDateTimeUtc() >= end)
    {
        finish(logger);
        return false;
    }
    pendingSaves[end] = logger;
    return true;
}

void LogDaemon::checkPendingSaves()
{
    while (!pendingSaves.isEmpty() && QDateTime::currentDateTimeUtc() >= pendingSaves.firstKey())
    {
        finish(pendingSaves.take(pendingSaves.firstKey()));
    }
}

bool LogDaemon::saveInternalLogToUsb(uint32_t id, const QString& objL_path)
{
    StateLocker objL_locker(&stateMutex);
    const QString objL_directory = getUsbPath(usbPath, objL_path);
    objL_locker.unlock();
    if (objL_directory.isEmpty())
    {
        return false;
    }
    const QScopedPointer<CSVLogger, QScopedPointerDeleteLater> objL_csv(
        new CSVLogger(objL_directory, SnapshotInterval, nullptr));
    return BinaryLogger::read(internalLogPath(id), objL_csv.data());
}

bool LogDaemon::removeLogFromInternalMem(uint32_t id)
{
    const StateLocker objL_locker(&stateMutex);
    for (auto objL_entry = pendingSaves.begin(); objL_entry != pendingSaves.end();)
    {
        Logger* objL_logger = objL_entry.value();
        if (isInternalLog(objL_logger, id))
        {
            objL_entry = pendingSaves.erase(objL_entry);
            finish(objL_logger);
        }
        else
        {
            ++objL_entry;
        }
    }
    // A log that is not there counts as removed, so that the call can be repeated.
    return std::remove(internalLogPath(id).toUtf8().constData()) == 0 || errno == ENOENT;
}
