#include "LogDaemon.h"
#include "Trace.h"
#include "logging/FileLogger.h"

#include <QDateTime>
#include <QDir>

#include <cstdlib>

void syncFileSystem()
{
    const int iL_result = std::system("sync");
    if (iL_result != 0)
    {
        ZEMO_TRACE(LogDaemon::traceModule(), 1, "Unable to sync to file system (retval=%d)...", iL_result);
    }
}

void LogFileDeleter::operator()(QFile* objL_file) const noexcept
{
    delete objL_file;
    syncFileSystem();
}

QString dateTimeText(const zemo::time::DateTime& objL_time)
{
    const QDate objL_date(objL_time.year(), objL_time.month(), objL_time.day());
    const QTime objL_clock(objL_time.hour(), objL_time.minute(), objL_time.second());
    return QDateTime(objL_date, objL_clock).toString(QStringLiteral("dd MMMM yyyy hh:mm:ss"), QCalendar());
}

QString datedBaseName(const QString& prefix)
{
    return prefix + QDate::currentDate().toString(QStringLiteral("yyyyMMdd"));
}

QStringList columnTitles(const QMap<unsigned int, zemo::localization::PanelText>& texts, const QList<unsigned int>& ids)
{
    QStringList objL_titles;
    for (const unsigned int u32L_id : ids)
    {
        objL_titles.append(texts.value(u32L_id, zemo::localization::PanelText(QString())).text());
    }
    return objL_titles;
}

// The drive is asked for afresh at each call: usbPath can lag behind for a moment, and its lock is not taken here.

LogFilePtr LogDaemon::openLogFile(const QString& prefix, const QString& suffix, const QString& subfolder)
{
    const QStringList objL_drives = usbClient->getUsbDrives();
    if (objL_drives.isEmpty())
    {
        ZEMO_TRACE(traceModule(), 4, "No USB drive");
        return nullptr;
    }
    const QDir objL_root(objL_drives.first());
    // Resolved on the disk, so that a link on the stick can't lead a file out of it.
    const QString objL_folder = QDir(objL_root.filePath(subfolder)).canonicalPath();
    const QString objL_path = FileLogger::getLogFileName(objL_folder, datedBaseName(prefix), suffix).first;
    if (!objL_path.startsWith(objL_root.canonicalPath()))
    {
        ZEMO_TRACE(traceModule(), 4, "Path should be relative to USB root: %s", qUtf8Printable(subfolder));
        return nullptr;
    }
    LogFilePtr objL_file(new QFile(objL_path));
    if (!objL_file->open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to open file: %s", qUtf8Printable(objL_path));
        return nullptr;
    }
    return objL_file;
}

QString LogDaemon::createUsbFolder(QString objL_prefix, QString objL_path)
{
    const QStringList objL_drives = usbClient->getUsbDrives();
    if (objL_drives.isEmpty())
    {
        ZEMO_TRACE(traceModule(), 4, "No USB drive");
        return {};
    }
    const QDir objL_root(objL_drives.first());
    // By text alone, unlike openLogFile: the folder need not exist yet.
    const QString objL_parent = QDir(objL_root.filePath(objL_path)).absolutePath();
    QString objL_folder = FileLogger::getLogFileName(objL_parent, datedBaseName(objL_prefix), QString()).first;
    if (!objL_folder.startsWith(objL_root.absolutePath()))
    {
        ZEMO_TRACE(traceModule(), 4, "Path should be relative to USB root: %s", qUtf8Printable(objL_path));
        return {};
    }
    if (!objL_root.mkpath(objL_folder))
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to create %s", qUtf8Printable(objL_folder));
        return {};
    }
    return objL_folder;
}
