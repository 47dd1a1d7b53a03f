#include "LogDaemon.h"
#include "Trace.h"

#include <QCalendar>
#include <QTextStream>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <thread>

namespace
{

/// An integer in decimal text; lives as long as the object.
class Decimal
{
public:
    explicit Decimal(qint64 s64L_value)
        : length(std::to_chars(buffer, buffer + sizeof buffer, s64L_value).ptr - buffer)
    {
    }

    QByteArrayView text() const
    {
        return {buffer, length};
    }

private:
    char buffer[20];
    qsizetype length;
};

void appendTwoDigits(QByteArray& objL_row, int iL_number)
{
    if (iL_number < 10)
    {
        objL_row.append('0');
    }
    objL_row.append(Decimal(iL_number).text());
}

void appendTime(QByteArray& objL_row, const zemo::data::EnergyLogEntry& objL_entry, bool bL_monthly)
{
    objL_row.append(Decimal(objL_entry.year()).text());
    objL_row.append('-');
    appendTwoDigits(objL_row, objL_entry.month());
    if (bL_monthly)
    {
        return;
    }
    objL_row.append('-');
    appendTwoDigits(objL_row, objL_entry.day());
    objL_row.append(' ');
    appendTwoDigits(objL_row, objL_entry.hour());
    objL_row.append(":00");
}

/// `s32L_value` / 10^`u8L_decimals` in fixed notation. The value has at most ten digits and a double carries fifteen,
/// so moving the point gives the text of the floating-point division at a tenth of its cost.
void appendScaled(QByteArray& objL_row, int s32L_value, uchar u8L_decimals)
{
    if (s32L_value < 0)
    {
        objL_row.append('-');
    }
    const Decimal objL_magnitude(qAbs(qint64(s32L_value)));
    const QByteArrayView objL_digits = objL_magnitude.text();
    const qsizetype iL_whole = std::max<qsizetype>(objL_digits.size() - u8L_decimals, 0);
    objL_row.append(iL_whole > 0 ? objL_digits.first(iL_whole) : QByteArrayView("0"));
    objL_row.append('.');
    objL_row.append(u8L_decimals - (objL_digits.size() - iL_whole), '0');
    objL_row.append(objL_digits.sliced(iL_whole));
}

void appendValue(QByteArray& objL_row, int s32L_value, uchar u8L_decimals)
{
    objL_row.append('\t');
    if (u8L_decimals == 0)
    {
        objL_row.append(Decimal(s32L_value).text());
        return;
    }
    appendScaled(objL_row, s32L_value, u8L_decimals);
}

void appendValues(QByteArray& objL_row, const QList<int>& objL_values, const QByteArray& objL_decimals,
                  int s32L_invalidValue)
{
    for (qsizetype i = 0; i < objL_values.size(); ++i)
    {
        if (objL_values[i] == s32L_invalidValue)
        {
            objL_row.append("\t-");
            continue;
        }
        // Only the first row's length was compared with the decimals: a longer row goes on with plain integers.
        appendValue(objL_row, objL_values[i], i < objL_decimals.size() ? static_cast<uchar>(objL_decimals[i]) : 0);
    }
}

/// Looks at the first row only, as all rows out of the database have one length.
bool columnsFit(const QList<QString>& objL_headers, const QByteArray& objL_decimals,
                const QList<zemo::data::EnergyLogEntry>& objL_entries)
{
    if (objL_entries.isEmpty())
    {
        return true;
    }
    const qsizetype iL_columns = objL_entries.first().values().size();
    return iL_columns == objL_headers.size() && iL_columns == objL_decimals.size();
}

} // namespace

bool LogDaemon::initEnergyLog(uchar u8L_columns, int s32L_invalid_value)
{
    return energyLogDb.init(u8L_columns, s32L_invalid_value);
}

bool LogDaemon::addEnergyLogHourlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry)
{
    if (!energyLogDb.addHourlyEntry(objL_logEntry))
    {
        return false;
    }
    emit energyLogEntryHourlyAdded(objL_logEntry.year(), objL_logEntry.month(), objL_logEntry.day(),
                                   objL_logEntry.hour());
    return true;
}

bool LogDaemon::addEnergyLogHourlyEntries(const QListEnergyLogEntry& objL_logEntries)
{
    // No signal: a year of hours would flood the bus.
    return energyLogDb.addHourlyEntries(objL_logEntries);
}

bool LogDaemon::addEnergyLogMonthlyEntry(const zemo::data::EnergyLogEntry& objL_logEntry)
{
    if (!energyLogDb.addMonthlyEntry(objL_logEntry))
    {
        return false;
    }
    emit energyLogEntryMonthlyAdded(objL_logEntry.year(), objL_logEntry.month());
    return true;
}

bool LogDaemon::summarizeEnergyLogMonth(ushort u16L_year, uchar u8L_month, const QList<bool>& objL_shouldAverage)
{
    if (!energyLogDb.summarizeMonth(u16L_year, u8L_month, objL_shouldAverage))
    {
        return false;
    }
    emit energyLogMonthSummarized(u16L_year, u8L_month);
    return true;
}

QListEnergyLogEntry LogDaemon::getEnergyLogHourly(ushort u16L_startYear, uchar u8L_startMonth, uchar u8L_startDay,
                                                  uchar u8L_startHour, ushort u16L_endYear, uchar u8L_endMonth,
                                                  uchar u8L_endDay, uchar u8L_endHour)
{
    return energyLogDb.getHourly(u16L_startYear, u8L_startMonth, u8L_startDay, u8L_startHour, u16L_endYear,
                                 u8L_endMonth, u8L_endDay, u8L_endHour);
}

QListEnergyLogEntry LogDaemon::getEnergyLogMonthly(ushort u16L_startYear, uchar u8L_startMonth, ushort u16L_endYear,
                                                   uchar u8L_endMonth)
{
    return energyLogDb.getMonthly(u16L_startYear, u8L_startMonth, u16L_endYear, u8L_endMonth);
}

bool LogDaemon::exportEnergyLogToUsb(QList<QString> objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                                     uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth)
{
    const StateLocker objL_locker(&stateMutex);
    if (usbPath.isEmpty())
    {
        return false;
    }
    try
    {
        energyLogExportRun(objL_headers, objL_decimals, u16L_startYear, u8L_startMonth, u16L_stopYear, u8L_stopMonth);
    }
    catch (const std::system_error& objL_error)
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to start a thread: %s", objL_error.what());
        return false;
    }
    return true;
}

void LogDaemon::energyLogExportRun(QList<QString> objL_headers, QByteArray objL_decimals, ushort u16L_startYear,
                                   uchar u8L_startMonth, ushort u16L_stopYear, uchar u8L_stopMonth)
{
    // Nothing waits for the thread, and nothing on it catches: a database that fails here ends the process, and the
    // service manager starts the daemon anew.
    std::thread(
        [=, this]
        {
            emit energyLogExportStarted();
            const LogFilePtr objL_hourlyFile =
                openLogFile(QStringLiteral("energylog_hourly_"), QStringLiteral(".csv"), {});
            const LogFilePtr objL_monthlyFile =
                objL_hourlyFile ? openLogFile(QStringLiteral("energylog_monthly_"), QStringLiteral(".csv"), {})
                                : nullptr;
            if (!objL_monthlyFile)
            {
                emit energyLogExportCompleted(false);
                return;
            }
            const int s32L_invalid = energyLogDb.invalidValue();
            const auto u8L_days = static_cast<uchar>(QCalendar().daysInMonth(u8L_stopMonth, u16L_stopYear));
            const bool bL_hourly = writeEnergyLogCsv(
                objL_hourlyFile.get(), objL_headers, objL_decimals,
                energyLogDb.getHourly(u16L_startYear, u8L_startMonth, 1, 0, u16L_stopYear, u8L_stopMonth, u8L_days, 23),
                0, s32L_invalid);
            const bool bL_monthly = writeEnergyLogCsv(
                objL_monthlyFile.get(), objL_headers, objL_decimals,
                energyLogDb.getMonthly(u16L_startYear, u8L_startMonth, u16L_stopYear, u8L_stopMonth), 1, s32L_invalid);
            // Before the files are closed and synced: a client has to allow for a sync that is still under way.
            emit energyLogExportCompleted(bL_hourly && bL_monthly);
        })
        .detach();
}

bool LogDaemon::writeEnergyLogCsv(QIODevice* device, const QList<QString>& headers, const QByteArray& decimals,
                                  const QList<zemo::data::EnergyLogEntry>& entries, int monthly, int invalidValue)
{
    if (!columnsFit(headers, decimals, entries))
    {
        return false;
    }
    QTextStream objL_stream(device);
    objL_stream.setEncoding(QStringConverter::Utf8);
    for (const QString& objL_title : headers)
    {
        objL_stream << '\t' << objL_title;
    }
    objL_stream << '\n';
    QByteArray objL_row;
    for (const zemo::data::EnergyLogEntry& objL_entry : entries)
    {
        objL_row.resize(0);
        appendTime(objL_row, objL_entry, monthly != 0);
        appendValues(objL_row, objL_entry.values(), decimals, invalidValue);
        objL_row.append('\n');
        objL_stream << QLatin1String(objL_row);
    }
    return objL_stream.status() == QTextStream::Ok;
}
