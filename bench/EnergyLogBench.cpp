#include "Baseline.h"
#include "Measured.h"

#include "LogDaemon.h"
#include "energylog/energylogdb.h"

#include <QDir>
#include <QFile>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

// The energy log belongs to the daemon, and so does the step of an export that writes a file.
class LogDaemonInspector
{
public:
    static EnergyLogDB& energyLog(LogDaemon& daemon)
    {
        return daemon.energyLogDb;
    }
    static bool writeEnergyLogCsv(LogDaemon& daemon, QIODevice* device, const QList<QString>& headers,
                                  const QByteArray& decimals, const QList<zemo::data::EnergyLogEntry>& entries,
                                  int invalidValue)
    {
        return daemon.writeEnergyLogCsv(device, headers, decimals, entries, 0, invalidValue);
    }
};

// Runs inside the sandbox: the energy log's path is fixed.
namespace
{

constexpr int Columns = 20;
constexpr int Invalid = -32768;

// A year of hours that ends now, so that nothing is too old to be kept.
QList<zemo::data::EnergyLogEntry> year()
{
    QList<zemo::data::EnergyLogEntry> entries;
    const QDateTime now = QDateTime::currentDateTime();
    for (int hour = 8783; hour >= 0; --hour)
    {
        const QDateTime time = now.addSecs(-3600LL * hour);
        QList<int> values;
        for (int column = 0; column < Columns; ++column)
        {
            values.append((hour * 31 + column) % 10 == 0 ? Invalid : hour * column);
        }
        entries.append(zemo::data::EnergyLogEntry(ushort(time.date().year()), uchar(time.date().month()),
                                                  uchar(time.date().day()), uchar(time.time().hour()), values));
    }
    return entries;
}

LogDaemon& theDaemon()
{
    // Qt's list of databases has to outlast the daemon's, and what is made first goes last.
    [[maybe_unused]] static const bool listed = QSqlDatabase::contains();
    static LogDaemon daemon(nullptr);
    return daemon;
}

EnergyLogDB& openedLog()
{
    static EnergyLogDB& log = LogDaemonInspector::energyLog(theDaemon());
    static const bool opened = qEnvironmentVariableIsSet("ZEMO_IN_SANDBOX") && log.init(Columns, Invalid);
    if (!opened)
    {
        qFatal("the energy log cannot be opened here; run this inside the sandbox");
    }
    return log;
}

QString listOf(const QString& piece)
{
    QStringList pieces;
    for (int column = 1; column <= Columns; ++column)
    {
        pieces.append(piece.contains(u'%') ? piece.arg(column) : piece);
    }
    return pieces.join(QStringLiteral(", "));
}

// A database beside the daemon's own, with the same table.
QSqlDatabase bareDatabase()
{
    static const QTemporaryDir folder(QStringLiteral("/var/zemo/var/bench-XXXXXX"));
    if (!QSqlDatabase::contains())
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
        database.setDatabaseName(folder.filePath(QStringLiteral("bare.db3")));
        database.open();
        QSqlQuery(database).exec(
            QStringLiteral("CREATE TABLE hourly (hour INTEGER NOT NULL PRIMARY KEY ON CONFLICT REPLACE, %1)")
                .arg(listOf(QStringLiteral("value%1 INTEGER"))));
    }
    return QSqlDatabase::database();
}

void fillBare(QSqlDatabase& database, const QList<zemo::data::EnergyLogEntry>& entries)
{
    database.transaction();
    QSqlQuery query(database);
    query.prepare(QStringLiteral("INSERT INTO hourly (hour, %1) VALUES (?, %2)")
                      .arg(listOf(QStringLiteral("value%1")), listOf(QStringLiteral("?"))));
    for (const zemo::data::EnergyLogEntry& entry : entries)
    {
        const QDateTime time(QDate(entry.year(), entry.month(), entry.day()), QTime(entry.hour(), 0));
        query.bindValue(0, time.toSecsSinceEpoch());
        for (int i = 0; i < Columns; ++i)
        {
            const int value = entry.values()[i];
            query.bindValue(i + 1, value == Invalid ? QVariant() : QVariant(value));
        }
        query.exec();
    }
    database.commit();
}

void batchOurs(benchmark::State& state)
{
    const auto entries = year();
    for (auto _ : Measured(state))
    {
        openedLog().addHourlyEntries(entries);
    }
}

void batchBaseline(benchmark::State& state)
{
    const auto entries = year();
    QSqlDatabase database = bareDatabase();
    for (auto _ : Measured(state))
    {
        fillBare(database, entries);
    }
}

void readOurs(benchmark::State& state)
{
    openedLog().addHourlyEntries(year());
    for (auto _ : Measured(state))
    {
        benchmark::DoNotOptimize(openedLog().getHourly(2000, 1, 1, 0, 2100, 1, 1, 0));
    }
}

void readBaseline(benchmark::State& state)
{
    QSqlDatabase database = bareDatabase();
    fillBare(database, year());
    for (auto _ : Measured(state))
    {
        QSqlQuery query(database);
        query.setForwardOnly(true);
        query.exec(QStringLiteral("SELECT * FROM hourly ORDER BY hour ASC"));
        QList<QList<int>> rows;
        while (query.next())
        {
            QList<int> values;
            values.reserve(Columns);
            const QDateTime time = QDateTime::fromSecsSinceEpoch(query.value(0).toLongLong());
            benchmark::DoNotOptimize(time.date().year());
            for (int i = 1; i <= Columns; ++i)
            {
                const QVariant value = query.value(i);
                values.append(value.isNull() ? Invalid : value.toInt());
            }
            rows.append(values);
        }
        benchmark::DoNotOptimize(rows.data());
    }
}

// Every column has one decimal.
QByteArray decimals()
{
    return {Columns, 1};
}

void exportOurs(benchmark::State& state)
{
    openedLog().addHourlyEntries(year());
    const QList<QString> headers(Columns, QStringLiteral("Energy"));
    const QTemporaryDir folder(QStringLiteral("/var/zemo/var/bench-XXXXXX"));
    for (auto _ : Measured(state))
    {
        QFile file(folder.filePath(QStringLiteral("export.csv")));
        file.open(QIODevice::WriteOnly);
        LogDaemonInspector::writeEnergyLogCsv(theDaemon(), &file, headers, decimals(),
                                              openedLog().getHourly(2000, 1, 1, 0, 2100, 1, 1, 0), Invalid);
    }
}

void exportBaseline(benchmark::State& state)
{
    QSqlDatabase database = bareDatabase();
    fillBare(database, year());
    const QTemporaryDir folder(QStringLiteral("/var/zemo/var/bench-XXXXXX"));
    for (auto _ : Measured(state))
    {
        baseline::TableFile file(folder.filePath(QStringLiteral("export.csv")).toStdString(), Columns);
        QSqlQuery query(database);
        query.setForwardOnly(true);
        query.exec(QStringLiteral("SELECT * FROM hourly ORDER BY hour ASC"));
        while (query.next())
        {
            const QDateTime time = QDateTime::fromSecsSinceEpoch(query.value(0).toLongLong());
            file.beginRow(time.date().year(), time.date().month(), time.date().day(), time.time().hour());
            for (int i = 1; i <= Columns; ++i)
            {
                const QVariant value = query.value(i);
                value.isNull() ? file.addNothing() : file.add(value.toInt(), 1);
            }
        }
    }
}

void onDisk(benchmark::internal::Benchmark* work)
{
    work->Unit(benchmark::kMillisecond)->UseRealTime();
    countable(work);
}

} // namespace

BENCHMARK(batchOurs)->Name("energy_batch/ours/8784")->Apply(onDisk);
BENCHMARK(batchBaseline)->Name("energy_batch/baseline/8784")->Apply(onDisk);
BENCHMARK(readOurs)->Name("energy_read/ours/8784")->Apply(onDisk);
BENCHMARK(readBaseline)->Name("energy_read/baseline/8784")->Apply(onDisk);
BENCHMARK(exportOurs)->Name("energy_export/ours/8784")->Apply(onDisk);
BENCHMARK(exportBaseline)->Name("energy_export/baseline/8784")->Apply(onDisk);
