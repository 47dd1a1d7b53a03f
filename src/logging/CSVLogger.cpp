#include "logging/CSVLogger.h"

#include "logging/SoftHyphens.h"
#include "logging/ValueLookup.h"

#include <zemo/DataFormat.h>

#include <QDate>
#include <QFile>
#include <QMutexLocker>

namespace
{

// A clock that steps back by less than this waits until it has caught up; further back is a new beginning.
constexpr int32_t SecondsSteppedBack = 60;

QString columnHeading(const Metadata& objL_parameter)
{
    const QString objL_name = withoutSoftHyphens(objL_parameter.name.text());
    return objL_parameter.unit.isEmpty()
               ? QLatin1Char('\t') + objL_name
               : QLatin1Char('\t') + objL_name + QStringLiteral(" [") + objL_parameter.unit + QLatin1Char(']');
}

} // namespace

CSVLogger::CSVLogger(const QString& objL_directory, int iL_interval, QObject* parent)
    : FileLogger(objL_directory, CsvLog, parent)
    , interval(iL_interval)
{
}

CSVLogger::~CSVLogger()
{
    closeFile();
}

bool CSVLogger::start(bool continueLog)
{
    const QMutexLocker objL_locker(&fileMutex);
    // A file that could not be opened has no stream to take a heading.
    if (!openTextFile(continueLog) || !isRunning())
    {
        return false;
    }
    if (!continueLog || file->size() == 0)
    {
        writeTextHead(headingLine());
    }
    else
    {
        flush();
    }
    return true;
}

bool CSVLogger::stop()
{
    return closeFile();
}

QString CSVLogger::getFileExtension()
{
    return QStringLiteral(".csv");
}

QString CSVLogger::getBaseName()
{
    return baseName.isEmpty() ? QDate::currentDate().toString(QStringLiteral("yyyyMMdd")) : baseName;
}

void CSVLogger::setBaseName(const QString& objL_baseName)
{
    baseName = objL_baseName;
}

int CSVLogger::getInterval() const
{
    return interval;
}

bool CSVLogger::log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values)
{
    const QMutexLocker objL_logLocker(&logMutex);
    const QMutexLocker objL_fileLocker(&fileMutex);
    if (!isRunning() || isSkipped(u32L_timestamp))
    {
        return false;
    }
    lastLoggedTime = u32L_timestamp;
    assembleRow(u32L_timestamp, objL_values);
    writeTextRow(row);
    return true;
}

bool CSVLogger::isSkipped(uint32_t u32L_timestamp) const
{
    return lastLoggedTime < u32L_timestamp ? static_cast<int32_t>(u32L_timestamp - lastLoggedTime) < interval
                                           : static_cast<int32_t>(lastLoggedTime - u32L_timestamp) < SecondsSteppedBack;
}

QString CSVLogger::headingLine() const
{
    QString objL_line;
    for (const Metadata& objL_parameter : parameters)
    {
        objL_line += columnHeading(objL_parameter);
    }
    return objL_line + QLatin1Char('\n');
}

void CSVLogger::assembleRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values)
{
    row.resize(0); // keeps the memory, unlike clear
    timeText.append(u32L_timestamp, row);
    ValueLookup objL_lookup(objL_values);
    for (const Metadata& objL_parameter : std::as_const(parameters))
    {
        row += QLatin1Char('\t');
        const DataValue* objL_value = objL_lookup.find(objL_parameter.varId);
        row += objL_value ? zemo::data::getStringValue(*objL_value, objL_parameter, 0) : QStringLiteral("-");
    }
    row += QLatin1Char('\n');
}
