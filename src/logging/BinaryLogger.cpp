#include "logging/BinaryLogger.h"

#include "Trace.h"
#include "logging/BinaryFormat.h"
#include "logging/BinaryRows.h"
#include "logging/ValueLookup.h"

#include <zemo/DataManagementClient.h>

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QtEndian>

#include <exception>

namespace
{

const QString& extension()
{
    static const QString objS_extension = QStringLiteral(".blf");
    return objS_extension;
}

void encode(uint8_t u8L_varSize, long long value, char* pL_target)
{
    switch (u8L_varSize)
    {
    case zemo::data::VarSizeInt8:
    case zemo::data::VarSizeUint8:
        *pL_target = static_cast<char>(value);
        break;
    case zemo::data::VarSizeInt16:
    case zemo::data::VarSizeUint16:
        qToBigEndian(static_cast<quint16>(value), pL_target);
        break;
    case zemo::data::VarSizeInt32:
    case zemo::data::VarSizeUint32:
        qToBigEndian(static_cast<quint32>(value), pL_target);
        break;
    default:
        *pL_target = 0;
    }
}

bool readMagic(QDataStream& objL_stream)
{
    quint32 u32L_magic = 0;
    objL_stream >> u32L_magic;
    return u32L_magic == BinaryFormat::Magic && !objL_stream.atEnd();
}

QString dateOf(const QFile& objL_file)
{
    return QFileInfo(objL_file)
        .fileTime(QFileDevice::FileModificationTime)
        .toLocalTime()
        .toString(QStringLiteral("yyyyMMdd"));
}

void play(BinaryRows& objL_rows, const QFile& objL_file, FileLogger* target)
{
    target->updateParameters(
        zemo::data::DataManagementClient::instance->getMetadata(objL_rows.ids(), QStringLiteral("en_GB")));
    // Behind the question, which may take long: a log that still records may go on past midnight meanwhile.
    target->setBaseName(dateOf(objL_file));
    target->start(false);
    while (objL_rows.next())
    {
        target->log(objL_rows.time(), objL_rows.values());
    }
    target->stop();
}

} // namespace

BinaryLogger::BinaryLogger(const QString& objL_directory, int iL_interval, QObject* parent)
    : FileLogger(objL_directory, BinaryLog, parent)
    , interval(iL_interval)
{
    traceModule();
}

p7zemo_module_t BinaryLogger::traceModule()
{
    static const p7zemo_module_t objS_module = p7zemo_traceRegisterModule(traceHandle(), "BinaryLogger");
    return objS_module;
}

bool BinaryLogger::start(bool continueLog)
{
    try
    {
        return startFile(continueLog);
    }
    catch (const std::exception& objL_exception)
    {
        ZEMO_TRACE(traceModule(), 4, "Got exception: %s", objL_exception.what());
        return false;
    }
}

bool BinaryLogger::startFile(bool continueLog)
{
    const QMutexLocker objL_locker(&fileMutex);
    // A file that could not be opened has no stream to take a head.
    if (!openBinaryFile(continueLog) || !isRunning())
    {
        return false;
    }
    findColumns();
    if (!continueLog || file->size() == 0)
    {
        writeBinaryHead(head());
    }
    return true;
}

// The parameters stay as they are while the log runs. They are looked through once, and not for every row.
void BinaryLogger::findColumns()
{
    columns.clear();
    qsizetype iL_offset = BinaryFormat::TimeSize;
    for (const Metadata& objL_each : std::as_const(parameters))
    {
        if (BinaryFormat::isStored(objL_each.varType))
        {
            columns.push_back({objL_each.varId, objL_each.varType, objL_each.varSize, iL_offset});
            iL_offset += BinaryFormat::valueWidth(objL_each.varSize);
        }
    }
    row.resize(iL_offset);
}

bool BinaryLogger::stop()
{
    const QMutexLocker objL_locker(&logMutex);
    disconnect();
    return closeFile();
}

QString BinaryLogger::getFileExtension()
{
    return extension();
}

QString BinaryLogger::getBaseName()
{
    return baseName;
}

void BinaryLogger::setBaseName(const QString& objL_baseName)
{
    baseName = objL_baseName;
}

QString BinaryLogger::fileNameForIndex(uint32_t logIndex, const QString& baseName)
{
    return formatLogFileName(baseName, extension(), logIndex + 1);
}

QByteArray BinaryLogger::head() const
{
    QByteArray objL_head;
    QDataStream objL_stream(&objL_head, QIODevice::WriteOnly);
    objL_stream << BinaryFormat::Magic << static_cast<qint32>(columns.size());
    for (const Column& objL_column : columns)
    {
        objL_stream << objL_column.varId << objL_column.varType << objL_column.varSize;
    }
    return objL_head;
}

bool BinaryLogger::log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values)
{
    try
    {
        return logRow(u32L_timestamp, objL_values);
    }
    catch (const std::exception& objL_exception)
    {
        ZEMO_TRACE(traceModule(), 4, "Got exception: %s", objL_exception.what());
        return false;
    }
}

bool BinaryLogger::logRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values)
{
    const QMutexLocker objL_logLocker(&logMutex);
    const QMutexLocker objL_fileLocker(&fileMutex);
    if (!isRunning())
    {
        return false;
    }
    if (lastLoggedTime < u32L_timestamp && static_cast<int32_t>(u32L_timestamp - lastLoggedTime) < interval)
    {
        return false;
    }
    lastLoggedTime = u32L_timestamp;
    assembleRow(u32L_timestamp, objL_values);
    writeBinaryRow(row);
    return true;
}

void BinaryLogger::assembleRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values)
{
    char* const pL_row = row.data();
    qToBigEndian(u32L_timestamp, pL_row);
    ValueLookup objL_lookup(objL_values);
    for (const Column& objL_column : columns)
    {
        const DataValue* const objL_value = objL_lookup.find(objL_column.varId);
        encode(objL_column.varSize, objL_value ? objL_value->getIntValue() : 0, pL_row + objL_column.offset);
    }
}

bool BinaryLogger::read(const QString& path, FileLogger* target)
{
    try
    {
        QFile objL_file(path);
        // A pipe or a device in its place would never end.
        if (!QFileInfo(objL_file).isFile() || !objL_file.open(QIODevice::ReadOnly))
        {
            return false;
        }
        QDataStream objL_stream(&objL_file);
        objL_stream.setVersion(QDataStream::Qt_5_6);
        if (objL_stream.status() != QDataStream::Ok || !readMagic(objL_stream))
        {
            return false;
        }
        quint32 u32L_count = 0;
        objL_stream >> u32L_count;
        if (u32L_count > BinaryFormat::MaximumParameters)
        {
            ZEMO_TRACE(traceModule(), 4, "Got unusual high number of parameters: %u", u32L_count);
            return false;
        }
        BinaryRows objL_rows(objL_stream, u32L_count);
        play(objL_rows, objL_file, target);
        return true;
    }
    catch (const std::exception& objL_exception)
    {
        ZEMO_TRACE(traceModule(), 4, "Got exception: %s", objL_exception.what());
        return false;
    }
}
