#include "LogDaemon.h"
#include "LogConfig.h"
#include "Trace.h"

#include <QDateTime>
#include <QDir>

#include <cstdio>
#include <cstdlib>

namespace
{

QString folderTime()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
}

/// Looks at the folder each time: where it is gone with its drive, QFile::copy would first copy the whole file to
/// internal storage.
bool copyTo(const QString& objL_folder, const QFileInfo& objL_file)
{
    return QFileInfo::exists(objL_folder) &&
           QFile::copy(objL_file.filePath(), QStringLiteral("%1/%2").arg(objL_folder, objL_file.fileName()));
}

} // namespace

bool LogDaemon::saveSysInfoToUsb()
{
    // usbPath is read without stateMutex on purpose, as the copies take no lock either; that a drive may come or go at
    // this very moment is the price.
    char acL_command[200] = {};
    const int iL_length = std::snprintf(acL_command, sizeof(acL_command), "/usr/bin/getdebugfile.sh USB %s sys_info",
                                        usbPath.toUtf8().constData());
    if (iL_length < 0 || static_cast<size_t>(iL_length) >= sizeof(acL_command))
    {
        qFatal("The command for the system information is too long");
    }
    // Only the exit code counts, so an end by a signal counts as done (where the shell doesn't turn it into a code).
    switch ((std::system(acL_command) >> 8) & 0xff)
    {
    case 0:
        return true;
    case 1:
        ZEMO_TRACE(traceModule(), 4, "Error removing files in shell script.");
        return false;
    case 2:
        ZEMO_TRACE(traceModule(), 4, "Error copying files in shell script.");
        return false;
    case 3:
        ZEMO_TRACE(traceModule(), 4, "Error compressing files in shell script.");
        return false;
    default:
        ZEMO_TRACE(traceModule(), 4, "Unknown error in shell script.");
        return false;
    }
}

bool LogDaemon::saveInternalLogsToUsbRaw()
{
    return copyFolderToUsb(QString::fromUtf8(logConfig().internalPath), QStringLiteral("rawlogs"));
}

bool LogDaemon::saveCoreDumpsToUsb()
{
    return copyFolderToUsb(QStringLiteral("/var/zemo/crash"), QStringLiteral("crash"));
}

bool LogDaemon::saveSysLogToUsb()
{
    const QStringList objL_drives = usbClient->getUsbDrives();
    if (objL_drives.isEmpty())
    {
        return false;
    }
    const bool bL_files = copyFolderToUsb(QStringLiteral("/var/log"), QStringLiteral("syslog"));
    const QString objL_target = objL_drives.first() + QLatin1String("/p7zemo-") + folderTime();
    const bool bL_tree = copyDirectoryTree(QStringLiteral("/var/log/p7zemo"), objL_target);
    syncFileSystem();
    return bL_files && bL_tree;
}

bool LogDaemon::copyFolderToUsb(const QString& source, const QString& tag)
{
    const QStringList objL_drives = usbClient->getUsbDrives();
    if (objL_drives.isEmpty())
    {
        return false;
    }
    const QDir objL_drive(objL_drives.first());
    const QString objL_folder = QStringLiteral("%1-%2").arg(tag, folderTime());
    if (!objL_drive.mkdir(objL_folder))
    {
        return false;
    }
    bool bL_result = true;
    for (const QString& objL_name : QDir(source).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Unsorted))
    {
        const QFileInfo objL_info(QStringLiteral("%1/%2").arg(source, objL_name));
        if (!objL_info.isSymLink() && objL_info.isFile())
        {
            bL_result = copyTo(objL_drive.filePath(objL_folder), objL_info) && bL_result;
        }
    }
    syncFileSystem();
    return bL_result;
}

bool LogDaemon::copyDirectoryTree(const QString& source, const QString& target)
{
    const QDir objL_target(target);
    if (!QDir(source).exists() || !objL_target.mkpath(target))
    {
        return false;
    }
    bool bL_result = true;
    for (const QString& objL_name :
         QDir(source).entryList(QDir::Dirs | QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDir::Unsorted))
    {
        const QFileInfo objL_info(source + QLatin1Char('/') + objL_name);
        if (objL_info.isFile())
        {
            bL_result = copyTo(objL_target.path(), objL_info) && bL_result;
        }
        else if (objL_info.isDir())
        {
            // Replaces the result on purpose: a folder that copies well outweighs a file that failed before it.
            bL_result = copyDirectoryTree(objL_info.filePath(), target + QLatin1Char('/') + objL_name);
        }
    }
    return bL_result;
}
