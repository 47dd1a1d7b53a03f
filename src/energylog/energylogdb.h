#pragma once

#include <helpers/sqlitedb.h>
#include <zemo/EnergyLogEntry.h>

#include <QList>
#include <QObject>
#include <QSqlQuery>
#include <QVariant>

#include <functional>

class HourKeys;

/// The energy log: hourly and monthly rows of integers in one SQLite file. Closed until init. Every operation blocks on
/// the database queue, behind whatever waits there; a statement that fails throws zemo::SQLiteDB::sql_error. Call on
/// any thread with no lock held. Before init every operation but init and invalidValue answers false or an empty list
/// and leaves the queue alone.
class EnergyLogDB : public QObject
{
    Q_OBJECT

public:
    explicit EnergyLogDB(QObject* parent);

    /// Opens or makes the file with `u8L_columns` values a row, 1 to 50; a damaged file is set aside first. False if
    /// the count is refused or an earlier call succeeded; a call that failed can be repeated. `s32L_invalid_value`
    /// stands for a missing value on the way in and out.
    bool init(uchar u8L_columns, int s32L_invalid_value);

    /// Store rows, replacing those with the same key whole, and then drop what has outlived its time. A batch is stored
    /// as one. False, and nothing stored, when an entry has another number of values than init was told. A failed
    /// commit is only traced.
    bool addHourlyEntry(const zemo::data::EnergyLogEntry& objL_entry);
    bool addHourlyEntries(const QList<zemo::data::EnergyLogEntry>& objL_entries);
    bool addMonthlyEntry(const zemo::data::EnergyLogEntry& objL_entry);

    /// Folds the hours of a month into its monthly row: the sum of a column, or its mean where `shouldAverage` says so.
    /// Throws when `shouldAverage` has another length than init was told.
    bool summarizeMonth(ushort year, uchar month, QList<bool> shouldAverage);

    /// Stored rows of an inclusive range of local times, in order; empty when the range is.
    QList<zemo::data::EnergyLogEntry> getHourly(ushort startYear, uchar startMonth, uchar startDay, uchar startHour,
                                                ushort endYear, uchar endMonth, uchar endDay, uchar endHour);
    QList<zemo::data::EnergyLogEntry> getMonthly(ushort startYear, uchar startMonth, ushort endYear, uchar endMonth);

    int invalidValue() const;

private:
    using Entry = zemo::data::EnergyLogEntry;
    using KeyOf = QVariant (*)(HourKeys& objL_keys, const Entry& objL_entry);

    /// Runs `objL_work` on the database queue with the connection and returns when it is done, with its exception.
    void runOnExecutor(const std::function<void(QSqlDatabase&)>& objL_work);

    // The steps of init and of every add, on the queue
    static void createTables(QSqlDatabase& db, uchar columns);
    static void expandTable(QSqlDatabase& db, uchar columns);
    static void cleanupOld(QSqlDatabase& db);
    static void vacuum(QSqlDatabase& db);

    bool addEntries(const QList<Entry>& objL_entries, const char* objL_statement, KeyOf objL_keyOf);
    bool fits(const Entry& objL_entry) const;
    void bindRow(QSqlQuery& objL_query, const QVariant& objL_key, const QList<int>& objL_values) const;
    QList<Entry> readRange(const char* objL_statement, qint64 s64L_start, qint64 s64L_end);
    Entry currentRow(const QSqlQuery& objL_query, HourKeys& objL_keys) const;
    int cell(const QVariant& objL_value) const;

    zemo::SQLiteDB objM_database;
    bool bM_initialized = false;
    uchar u8M_columns = 0;
    int s32M_invalidValue; ///< nothing compares with it before init
};
