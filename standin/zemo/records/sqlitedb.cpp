#include <helpers/sqlitedb.h>

#include <QDateTime>
#include <QFile>
#include <QMetaObject>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QStringList>

#include <algorithm>

namespace zemo
{

namespace
{

// The result codes of SQLite that speak of the file itself. All others (busy, out of space, no rights, a read error)
// say nothing against it.
constexpr int resultCorrupt = 11;
constexpr int resultNotADatabase = 26;

bool meansDamage(int code)
{
    const int primaryCode = code & 0xff;
    return primaryCode == resultCorrupt || primaryCode == resultNotADatabase;
}

/// What the integrity check found. A page that could not be read is among its findings, most often with the code of the
/// failure.
bool meansDamage(const QString& finding)
{
    static const QRegularExpression failure(QStringLiteral("failed to get page|error code=(\\d+)"));
    const QRegularExpressionMatch match = failure.match(finding);
    return match.hasMatch() ? meansDamage(match.captured(1).toInt()) : finding != QLatin1String("ok");
}

bool findsDamage(QSqlDatabase& database)
{
    // Opening succeeds on any file; only a statement reads it. One finding is enough.
    QSqlQuery query(database);
    if (!query.exec(QStringLiteral("PRAGMA integrity_check(1)")))
    {
        return meansDamage(query.lastError().nativeErrorCode().toInt());
    }
    return !query.next() || meansDamage(query.value(0).toString());
}

/// What SQLite may keep beside a database and needs again to read it, the database itself last: a crash in between
/// leaves no journal beside an empty database, where SQLite would delete it.
const char* const parts[] = {"-journal", "-wal", "-shm", ""};

bool isTaken(const QString& path)
{
    return std::any_of(std::begin(parts), std::end(parts),
                       [&](const char* part) { return QFile::exists(path + QLatin1String(part)); });
}

QString freeBackupPath(const QString& path)
{
    const QString dated = path + QDateTime::currentDateTime().toString(QStringLiteral("'.'yyyyMMdd-hhmmss"));
    QString candidate = dated;
    for (int number = 2; isTaken(candidate); ++number)
    {
        candidate = dated + QLatin1Char('-') + QString::number(number);
    }
    return candidate;
}

void moveAside(const QString& path)
{
    const QString backup = freeBackupPath(path);
    for (const char* part : parts)
    {
        QFile file(path + QLatin1String(part));
        if (file.exists() && !file.rename(backup + QLatin1String(part)))
        {
            throw std::runtime_error(
                QStringLiteral("cannot move %1 aside: %2").arg(file.fileName(), file.errorString()).toStdString());
        }
    }
}

} // namespace

SQLiteDB::SQLiteDB(const QString& connectionName)
    : m_connectionName(connectionName)
{
}

SQLiteDB::~SQLiteDB()
{
    if (!QSqlDatabase::contains(m_connectionName))
    {
        return;
    }
    // A connection belongs to the thread that made it, for closing too.
    const auto type = QThread::currentThread() == &executor() ? Qt::DirectConnection : Qt::BlockingQueuedConnection;
    QMetaObject::invokeMethod(
        executor().context(),
        [this]
        {
            QSqlDatabase::database(m_connectionName, false).close();
            QSqlDatabase::removeDatabase(m_connectionName);
        },
        type);
}

QSqlDatabase SQLiteDB::db()
{
    if (!QSqlDatabase::contains(m_connectionName))
    {
        return QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    }
    return QSqlDatabase::database(m_connectionName, false);
}

bool SQLiteDB::checkForCorruption(QSqlDatabase& database)
{
    // A read that fails once can make SQLite call a sound file malformed.
    const bool found = findsDamage(database);
    return found && findsDamage(database);
}

void SQLiteDB::backupAndReset(QSqlDatabase& database)
{
    database.close();
    try
    {
        moveAside(database.databaseName());
    }
    catch (const std::exception&)
    {
        database.open(); // on the old file, so that what is tried next fails with SQLite's own reason
        throw;
    }
    if (!database.open())
    {
        throwSqlError(database.lastError());
    }
}

} // namespace zemo
