#include "energylog/energylogdb.h"

#include "RunOnQueue.h"
#include "Trace.h"
#include "energylog/TimeKeys.h"

#include <zemo/DateTime.h>

#include <QCalendar>
#include <QDir>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <memory>
#include <utility>

namespace
{

const char* const directory = "/var/zemo/var/data";
const char* const fileName = "/energylog.db3";
constexpr uchar maxColumns = 50;

const char* const createHourly =
    "CREATE TABLE IF NOT EXISTS hourly (hour INTEGER NOT NULL PRIMARY KEY ON CONFLICT REPLACE, %1)";
const char* const createMonthly =
    "CREATE TABLE IF NOT EXISTS monthly (month INTEGER NOT NULL PRIMARY KEY ON CONFLICT REPLACE, %1)";
const char* const countColumns = "SELECT COUNT(*) FROM pragma_table_info('hourly')";
const char* const widenHourly = "ALTER TABLE hourly ADD COLUMN value%1 INTEGER";
const char* const widenMonthly = "ALTER TABLE monthly ADD COLUMN value%1 INTEGER";
const char* const deleteHourly = "DELETE FROM hourly WHERE hour < %1";
const char* const deleteMonthly = "DELETE FROM monthly WHERE month < %1";
const char* const insertHourly = "INSERT INTO hourly (hour, %1) VALUES (?, %2)";
const char* const insertMonthly = "INSERT INTO monthly (month, %1) VALUES (?, %2)";
const char* const selectHourly = "SELECT * FROM hourly WHERE hour >= ? AND hour <=? ORDER BY hour ASC";
const char* const selectMonthly = "SELECT * FROM monthly WHERE month >= ? AND month <=? ORDER BY month ASC";
const char* const summarize =
    "INSERT INTO monthly (month, %1) SELECT %2, %3 FROM hourly WHERE hour >= %4 and hour <= %5";

p7zemo_module_t objS_traceModule = nullptr;

/// Traces `objL_format` with the error's text under the name of the calling function and throws.
[[noreturn]] void traceAndThrow(const char* objL_format, const QSqlError& objL_error,
                                const char* objL_function = __builtin_FUNCTION(), int iL_line = __builtin_LINE())
{
    p7zemo_traceAdd(objS_traceModule, 4, static_cast<uint32_t>(iL_line), __FILE__, objL_function, objL_format,
                    objL_error.text().toUtf8().constData());
    zemo::throwSqlError(objL_error);
}

/// Runs one statement; a failure is traced with `objL_failure`, if there is one, under the name of the calling function
/// and thrown.
void execute(const QSqlDatabase& objL_db, const QString& objL_statement, const char* objL_failure = nullptr,
             const char* objL_function = __builtin_FUNCTION(), int iL_line = __builtin_LINE())
{
    QSqlQuery objL_query(objL_db);
    if (objL_query.exec(objL_statement))
    {
        return;
    }
    if (objL_failure)
    {
        traceAndThrow(objL_failure, objL_query.lastError(), objL_function, iL_line);
    }
    zemo::throwSqlError(objL_query.lastError());
}

/// `objL_piece` filled in with each of 1 to n, as a list for a statement.
QString numbered(const char* objL_piece, uchar n)
{
    QStringList objL_pieces;
    for (uchar i = 1; i <= n; ++i)
    {
        objL_pieces.append(QString::fromLatin1(objL_piece).arg(i));
    }
    return objL_pieces.join(QStringLiteral(", "));
}

QString columnNames(uchar n)
{
    return numbered("value%1", n);
}

QString placeholders(uchar n)
{
    return QStringList(n, QStringLiteral("?")).join(QStringLiteral(", "));
}

QString aggregates(const QList<bool>& objL_shouldAverage)
{
    QStringList objL_pieces;
    uchar u8L_column = 0;
    for (bool bL_average : objL_shouldAverage)
    {
        const QString objL_name = QStringLiteral("value%1").arg(++u8L_column);
        objL_pieces.append(QString::fromLatin1(bL_average ? "CAST(AVG(%1) AS INTEGER)" : "SUM(%1)").arg(objL_name));
    }
    return objL_pieces.join(QStringLiteral(", "));
}

QVariant hourlyKey(HourKeys& objL_keys, const zemo::data::EnergyLogEntry& objL_entry)
{
    return QVariant::fromValue(
        objL_keys.keyOf({objL_entry.year(), objL_entry.month(), objL_entry.day(), objL_entry.hour()}));
}

/// 32 bits without sign, unlike the hourly key: the format of the file wants it.
QVariant monthlyKey(HourKeys& /*objL_keys*/, const zemo::data::EnergyLogEntry& objL_entry)
{
    return static_cast<quint32>(dateToSeconds(objL_entry.year(), objL_entry.month(), 1, 0));
}

using DateTimePtr = std::unique_ptr<zdatetime_t, decltype(&zdatetime_free)>;

DateTimePtr presentTime()
{
    return {datetimeclient_getDateTime(0), &zdatetime_free};
}

/// The oldest hour that is kept.
qint64 hourlyLimit()
{
    const DateTimePtr objL_time = presentTime();
    zdatetime_addDays(objL_time.get(), -366);
    return dateToSeconds(objL_time->year, objL_time->month, objL_time->day, objL_time->hour);
}

/// The oldest month that is kept.
qint64 monthlyLimit()
{
    const DateTimePtr objL_time = presentTime();
    zdatetime_addYears(objL_time.get(), -10);
    return dateToSeconds(objL_time->year, objL_time->month, 1, 0);
}

} // namespace

EnergyLogDB::EnergyLogDB(QObject* parent)
    : QObject(parent)
    , objM_database(QStringLiteral("zemologd-energylog"))
{
    if (!objS_traceModule)
    {
        objS_traceModule = p7zemo_traceRegisterModule(traceHandle(), "EnergyLogDB");
    }
}

void EnergyLogDB::runOnExecutor(const std::function<void(QSqlDatabase&)>& objL_work)
{
    runOnQueue(zemo::SQLiteDB::executor(),
               [this, &objL_work]
               {
                   QSqlDatabase objL_db = objM_database.db();
                   objL_work(objL_db);
               });
}

bool EnergyLogDB::init(uchar u8L_columns, int s32L_invalid_value)
{
    if (u8L_columns == 0 || bM_initialized)
    {
        return false;
    }
    // One level only, and before the count is judged: a platform without its own folder has no energy log.
    QDir().mkdir(QString::fromLatin1(directory));
    if (u8L_columns > maxColumns)
    {
        return false;
    }
    s32M_invalidValue = s32L_invalid_value;
    u8M_columns = u8L_columns;
    runOnExecutor(
        [u8L_columns](QSqlDatabase& objL_db)
        {
            objL_db.setDatabaseName(QString::fromLatin1(directory) + QString::fromLatin1(fileName));
            if (!objL_db.open())
            {
                traceAndThrow("Could not open database, Error :%s", objL_db.lastError());
            }
            if (zemo::SQLiteDB::checkForCorruption(objL_db))
            {
                ZEMO_TRACE(p7zemo_getDefaultTraceModule(), 5, "Energylog db appears to be corrupt, attempt to recover");
                try
                {
                    zemo::SQLiteDB::backupAndReset(objL_db);
                }
                catch (const std::exception& objL_error)
                {
                    ZEMO_TRACE(p7zemo_getDefaultTraceModule(), 5, "Failed to backup & reset database; %s",
                               objL_error.what());
                }
            }
            createTables(objL_db, u8L_columns);
            expandTable(objL_db, u8L_columns);
            cleanupOld(objL_db);
            vacuum(objL_db);
        });
    bM_initialized = true;
    return true;
}

void EnergyLogDB::createTables(QSqlDatabase& db, uchar columns)
{
    const QString objL_columns = numbered("value%1 INTEGER", columns);
    execute(db, QString::fromLatin1(createHourly).arg(objL_columns), "Failed to create hourly table, Error :%s");
    execute(db, QString::fromLatin1(createMonthly).arg(objL_columns), "Failed to create monthly table, Error :%s");
}

void EnergyLogDB::expandTable(QSqlDatabase& db, uchar columns)
{
    Transaction objL_transaction(db);
    QSqlQuery objL_query(db);
    objL_query.prepare(QString::fromLatin1(countColumns));
    if (!objL_query.exec())
    {
        zemo::throwSqlError(objL_query.lastError());
    }
    objL_query.next();
    const auto s8L_count = static_cast<qint8>(objL_query.value(0).toInt());
    objL_query.finish(); // a table isn't altered under a statement that is still reading
    if (columns < s8L_count)
    {
        return;
    }
    const auto s8L_diff = static_cast<qint8>(columns + 1 - s8L_count);
    ZEMO_TRACE(objS_traceModule, 2, "Adding new columns, diff: %d", s8L_diff);
    for (qint8 i = 0; i < s8L_diff; ++i)
    {
        const auto u8L_column = static_cast<uchar>(s8L_count + i);
        execute(db, QString::fromLatin1(widenHourly).arg(u8L_column), "Failed to add hourly column, Error :%s");
        execute(db, QString::fromLatin1(widenMonthly).arg(u8L_column), "Failed to add monthly column, Error :%s");
    }
    objL_transaction.commit();
}

void EnergyLogDB::cleanupOld(QSqlDatabase& db)
{
    const qint64 s64L_hourly = hourlyLimit();
    const qint64 s64L_monthly = monthlyLimit();
    execute(db, QString::fromLatin1(deleteHourly).arg(s64L_hourly), "Failed delete hourly, Error :%s");
    execute(db, QString::fromLatin1(deleteMonthly).arg(s64L_monthly), "Failed delete monthly, Error :%s");
}

void EnergyLogDB::vacuum(QSqlDatabase& db)
{
    execute(db, QStringLiteral("VACUUM"));
}

bool EnergyLogDB::fits(const Entry& objL_entry) const
{
    return objL_entry.values().size() == u8M_columns;
}

bool EnergyLogDB::addHourlyEntry(const zemo::data::EnergyLogEntry& objL_entry)
{
    return addEntries({objL_entry}, insertHourly, &hourlyKey);
}

bool EnergyLogDB::addHourlyEntries(const QList<zemo::data::EnergyLogEntry>& objL_entries)
{
    return addEntries(objL_entries, insertHourly, &hourlyKey);
}

bool EnergyLogDB::addMonthlyEntry(const zemo::data::EnergyLogEntry& objL_entry)
{
    return addEntries({objL_entry}, insertMonthly, &monthlyKey);
}

bool EnergyLogDB::addEntries(const QList<Entry>& objL_entries, const char* objL_statement, KeyOf objL_keyOf)
{
    if (!bM_initialized ||
        !std::all_of(objL_entries.begin(), objL_entries.end(), [this](const Entry& entry) { return fits(entry); }))
    {
        return false;
    }
    runOnExecutor(
        [&](QSqlDatabase& objL_db)
        {
            Transaction objL_transaction(objL_db);
            QSqlQuery objL_query(objL_db);
            objL_query.prepare(
                QString::fromLatin1(objL_statement).arg(columnNames(u8M_columns), placeholders(u8M_columns)));
            HourKeys objL_keys;
            for (const Entry& objL_entry : objL_entries)
            {
                bindRow(objL_query, objL_keyOf(objL_keys, objL_entry), objL_entry.values());
                if (!objL_query.exec())
                {
                    traceAndThrow("Failed to execute, Error :%s", objL_query.lastError());
                }
            }
            objL_transaction.commit();
            cleanupOld(objL_db);
        });
    return true;
}

void EnergyLogDB::bindRow(QSqlQuery& objL_query, const QVariant& objL_key, const QList<int>& objL_values) const
{
    objL_query.bindValue(0, objL_key);
    int iL_position = 1;
    for (int s32L_value : objL_values)
    {
        objL_query.bindValue(iL_position++, s32L_value == s32M_invalidValue ? QVariant() : QVariant(s32L_value));
    }
}

bool EnergyLogDB::summarizeMonth(ushort year, uchar month, QList<bool> shouldAverage)
{
    if (!bM_initialized)
    {
        return false;
    }
    const QString objL_start = QString::number(dateToSeconds(year, month, 1, 0));
    const auto u8L_days = static_cast<uchar>(QCalendar().daysInMonth(month, year));
    const QString objL_end = QString::number(dateToSeconds(year, month, u8L_days, 23));
    const QString objL_columns = columnNames(u8M_columns);
    const QString objL_aggregates = aggregates(shouldAverage);
    runOnExecutor(
        [&](QSqlDatabase& objL_db)
        {
            execute(objL_db, QString::fromLatin1(summarize).arg(objL_columns, objL_start, objL_aggregates, objL_start,
                                                                objL_end));
        });
    return true;
}

QList<zemo::data::EnergyLogEntry> EnergyLogDB::getHourly(ushort startYear, uchar startMonth, uchar startDay,
                                                         uchar startHour, ushort endYear, uchar endMonth, uchar endDay,
                                                         uchar endHour)
{
    return readRange(selectHourly, dateToSeconds(startYear, startMonth, startDay, startHour),
                     dateToSeconds(endYear, endMonth, endDay, endHour));
}

QList<zemo::data::EnergyLogEntry> EnergyLogDB::getMonthly(ushort startYear, uchar startMonth, ushort endYear,
                                                          uchar endMonth)
{
    return readRange(selectMonthly, dateToSeconds(startYear, startMonth, 1, 0), dateToSeconds(endYear, endMonth, 1, 0));
}

QList<zemo::data::EnergyLogEntry> EnergyLogDB::readRange(const char* objL_statement, qint64 s64L_start, qint64 s64L_end)
{
    QList<Entry> objL_entries;
    if (!bM_initialized || s64L_end < s64L_start)
    {
        return objL_entries;
    }
    runOnExecutor(
        [&](QSqlDatabase& objL_db)
        {
            QSqlQuery objL_query(objL_db);
            objL_query.setForwardOnly(true);
            objL_query.prepare(QString::fromLatin1(objL_statement));
            objL_query.bindValue(0, s64L_start);
            objL_query.bindValue(1, s64L_end);
            const bool bL_ok = objL_query.exec();
            objL_entries.reserve(std::max(0, objL_query.size()));
            HourKeys objL_keys;
            while (bL_ok && objL_query.next())
            {
                objL_entries.append(currentRow(objL_query, objL_keys));
            }
            // Also when it fails on a later row: half a range must not pass for the whole.
            if (!bL_ok || objL_query.lastError().isValid())
            {
                traceAndThrow("Failed to execute, Error :%s", objL_query.lastError());
            }
        });
    return objL_entries;
}

zemo::data::EnergyLogEntry EnergyLogDB::currentRow(const QSqlQuery& objL_query, HourKeys& objL_keys) const
{
    QList<int> objL_values;
    objL_values.reserve(u8M_columns);
    for (uchar i = 1; i <= u8M_columns; ++i)
    {
        objL_values.append(cell(objL_query.value(i)));
    }
    const HourKeys::LocalHour objL_time = objL_keys.hourOf(objL_query.value(0).toLongLong());
    return {objL_time.year, objL_time.month, objL_time.day, objL_time.hour, std::move(objL_values)};
}

int EnergyLogDB::cell(const QVariant& objL_value) const
{
    if (objL_value.isNull())
    {
        return s32M_invalidValue;
    }
    // What the log itself stored comes as this type. Asking whether it can be converted costs more than the value.
    if (objL_value.typeId() == QMetaType::LongLong)
    {
        return static_cast<int>(*static_cast<const qlonglong*>(objL_value.constData()));
    }
    const bool bL_readable = QMetaType::canConvert(objL_value.metaType(), QMetaType::fromType<int>());
    return bL_readable ? objL_value.toInt() : s32M_invalidValue;
}

int EnergyLogDB::invalidValue() const
{
    return s32M_invalidValue;
}
