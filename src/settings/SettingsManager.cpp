#include "settings/SettingsManager.h"

#include "NameInUse.h"
#include "Trace.h"

#include <zemo/DataManagementClient.h>
#include <zemo/SystemClient.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cstdio>
#include <stdexcept>
#include <unistd.h>

using zemo::data::DataManagementClient;

namespace
{

QByteArray digestOf(const QByteArray& objL_payload)
{
    return QCryptographicHash::hash(objL_payload, QCryptographicHash::Sha1);
}

QByteArray makeHeader(const QByteArray& objL_payload)
{
    const QString objL_digest = QString::fromLatin1(digestOf(objL_payload).toHex());
    const QString objL_deviceName = zemo::system::SystemClient::instance->getDeviceName();
    const QString objL_date = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd"));
    // One substitution for all three: a "%3" in the device name stays as it is.
    return QStringLiteral("[ZEMOSET;%1;%2;%3]\n").arg(objL_date, objL_deviceName, objL_digest).toUtf8();
}

/// Frees the name if it is in use, and makes that last. False when it can't be freed.
bool clearAway(const QString& objL_path)
{
    if (isNameInUse(objL_path))
    {
        if (!QFile::remove(objL_path))
        {
            return false;
        }
        ::sync();
    }
    return true;
}

/// The operating system's rename. QFile::rename falls back to copying, which could leave half a file under a name that
/// is looked at.
bool renameFile(const QString& objL_from, const QString& objL_to)
{
    return std::rename(QFile::encodeName(objL_from).constData(), QFile::encodeName(objL_to).constData()) == 0;
}

/// Null when all is with the operating system, otherwise what went wrong.
const char* writeFile(QFile& objL_file, const QByteArray& objL_header, const QByteArray& objL_payload)
{
    // One statement each: in which order a sum takes its parts is up to the compiler.
    const qint64 s64L_header = objL_file.write(objL_header);
    const qint64 s64L_payload = objL_file.write(objL_payload);
    if (s64L_header + s64L_payload != objL_header.size() + objL_payload.size())
    {
        return "Save failed - not enough space";
    }
    // What write took may still be in its buffer: only the flush tells of a full drive.
    if (!objL_file.flush())
    {
        return "Save failed - cannot close file";
    }
    return nullptr;
}

/// QFile::remove on the open file would refuse, as closing it fails once more on the drive that is full.
void discard(QFile& objL_file)
{
    objL_file.close();
    QFile::remove(objL_file.fileName());
    ::sync();
}

/// Puts the temporary file in the place of the previous generation, which becomes the old one. Null when done,
/// otherwise what went wrong. A failure leaves everything where it is: the temporary file may hold the only settings
/// that are complete.
const char* replaceFile(const QString& objL_path, const QString& objL_tmpPath, const QString& objL_oldPath)
{
    if (!clearAway(objL_oldPath))
    {
        return "Save failed - cannot remove old settings file";
    }
    if (QFile::exists(objL_path) && !renameFile(objL_path, objL_oldPath))
    {
        return "Save failed - cannot rename old file";
    }
    if (!renameFile(objL_tmpPath, objL_path))
    {
        return "Save failed - cannot rename temporary file";
    }
    return nullptr;
}

/// True when the file itself lies in its folder or below, and not only a link to it.
bool isAtHome(const QFileInfo& objL_file)
{
    const QString objL_folder = QDir(objL_file.absolutePath()).canonicalPath();
    return objL_file.canonicalFilePath().startsWith(objL_folder + QLatin1Char('/'));
}

/// A stick may hold anything in the place of the file: a pipe that blocks whoever opens it, a device that never ends, a
/// link that leads out of the stick, more bytes than the memory or a message to the service takes.
bool isReadable(const QString& objL_path)
{
    const QFileInfo objL_file(objL_path);
    return objL_file.isFile() && isAtHome(objL_file) && objL_file.size() <= SettingsManager::MaxFileBytes;
}

/// Reads the header line and returns its digest, decoded; empty for a file of the older form, which has none.
QByteArray readHeader(QFile& objL_file)
{
    static const QRegularExpression objS_header(QStringLiteral(R"(\[ZEMOSET;\d{8}\;[^;]+;?([a-f0-9]{40})?\])"));
    const QByteArray objL_line = objL_file.readLine(SettingsManager::MaxHeaderBytes);
    const bool bL_cut = !objL_line.endsWith('\n') && !objL_file.atEnd();
    const QRegularExpressionMatch objL_match = objS_header.match(QString::fromUtf8(objL_line));
    if (bL_cut || !objL_match.hasMatch())
    {
        throw std::runtime_error("failed to parse header: " + objL_line.toStdString());
    }
    return QByteArray::fromHex(objL_match.captured(1).toLatin1());
}

/// The payload of the settings file. Throws std::runtime_error when there is none to trust.
QByteArray readSettings(const QString& objL_path)
{
    QFile objL_file(objL_path);
    if (!isReadable(objL_path) || !objL_file.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        throw std::runtime_error("Settings: Restore failed - unable to open file: " + objL_path.toStdString());
    }
    const QByteArray objL_digest = readHeader(objL_file);
    QByteArray objL_payload = objL_file.readAll();
    if (!objL_digest.isEmpty() && objL_digest != digestOf(objL_payload))
    {
        throw std::runtime_error("data integrity check failed");
    }
    return objL_payload;
}

} // namespace

SettingsManager::SettingsManager(QObject* parent)
    : QObject(parent)
{
    traceModule();
    connect(DataManagementClient::instance, SIGNAL(restoreSettingsStarted()), this, SIGNAL(restoreSettingsStarted()));
    connect(DataManagementClient::instance, SIGNAL(restoreSettingsFinished(bool)), this,
            SIGNAL(restoreSettingsFinished(bool)));
}

p7zemo_module_t SettingsManager::traceModule()
{
    static p7zemo_module_t objS_module = p7zemo_traceRegisterModule(traceHandle(), "SettingsManager");
    return objS_module;
}

bool SettingsManager::finishSave(bool bL_result)
{
    emit saveSettingsFinished(bL_result);
    return bL_result;
}

bool SettingsManager::saveSettings(QString objL_path, uint u32L_saveType)
{
    QFile objL_tmp(objL_path + QStringLiteral(".TMP"));
    if (!clearAway(objL_tmp.fileName()))
    {
        ZEMO_TRACE(traceModule(), 4, "Save failed - cannot remove old TMP file");
        return finishSave(false);
    }

    ZEMO_TRACE(traceModule(), 1, "Save started");
    emit saveSettingsStarted();
    const QByteArray objL_payload = DataManagementClient::instance->saveSettings(u32L_saveType);
    if (objL_payload.isEmpty())
    {
        ZEMO_TRACE(traceModule(), 4, "DataManagementClient::saveSettings failed");
        return finishSave(false);
    }
    if (!objL_tmp.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
    {
        ZEMO_TRACE(traceModule(), 4, "Save failed - unable to open file");
        return finishSave(false);
    }

    if (const char* pL_failure = writeFile(objL_tmp, makeHeader(objL_payload), objL_payload))
    {
        ZEMO_TRACE(traceModule(), 4, "%s", pL_failure);
        discard(objL_tmp);
        return finishSave(false);
    }
    ::sync();
    if (const char* pL_failure = replaceFile(objL_path, objL_tmp.fileName(), objL_path + QStringLiteral(".OLD")))
    {
        ZEMO_TRACE(traceModule(), 4, "%s", pL_failure);
        return finishSave(false);
    }

    ::sync();
    ZEMO_TRACE(traceModule(), 1, "Save finished");
    return finishSave(true);
}

bool SettingsManager::restoreSettings(QString objL_path)
{
    QByteArray objL_payload;
    try
    {
        objL_payload = readSettings(objL_path);
    }
    catch (const std::exception& objL_error)
    {
        // Reported here in full, as the service never hears of it.
        emit restoreSettingsStarted();
        emit restoreSettingsFinished(false);
        ZEMO_TRACE(traceModule(), 4, "Error %s", objL_error.what());
        return false;
    }
    return DataManagementClient::instance->restoreSettings(objL_payload);
}
