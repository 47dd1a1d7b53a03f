#include "EnergyLogFile.h"
#include "FakePlatform.h"
#include "RunOnQueue.h"
#include "Trace.h"

#include <helpers/sqlitedb.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

namespace
{

const char* const createTable = "CREATE TABLE numbers (number INTEGER PRIMARY KEY, name TEXT)";

/// A database of the helper under test on the test's file, open, with everything done on the queue.
class SQLiteDB : public testing::Test
{
protected:
    SQLiteDB()
    {
        openTrace();
    }

    void open()
    {
        onQueue(
            [](QSqlDatabase& database)
            {
                database.setDatabaseName(QString::fromLatin1(EnergyLogFile::path));
                ASSERT_TRUE(database.open());
            });
    }

    void onQueue(const std::function<void(QSqlDatabase&)>& work)
    {
        runOnQueue(zemo::SQLiteDB::executor(),
                   [&]
                   {
                       QSqlDatabase database = helper.db();
                       work(database);
                   });
    }

    bool isDamaged()
    {
        bool damaged = false;
        onQueue([&](QSqlDatabase& database) { damaged = zemo::SQLiteDB::checkForCorruption(database); });
        return damaged;
    }

    void backupAndReset()
    {
        onQueue([](QSqlDatabase& database) { zemo::SQLiteDB::backupAndReset(database); });
    }

    bool execute(const char* statement)
    {
        bool ok = false;
        onQueue([&](QSqlDatabase& database) { ok = QSqlQuery(database).exec(QString::fromLatin1(statement)); });
        return ok;
    }

    FakePlatform platform;
    EnergyLogFile file;
    zemo::SQLiteDB helper{QStringLiteral("zemologd-energylog")};
};

/// Fills a database over several pages and returns its bytes.
QByteArray manyRows(const EnergyLogFile& file)
{
    file.run({createTable, QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
                                          "3000) INSERT INTO numbers SELECT i, 'number ' || i FROM n")});
    return EnergyLogFile::content();
}

} // namespace

TEST_F(SQLiteDB, TheErrorKeepsTheSqlErrorAndShowsItsText)
{
    const QSqlError cause(QStringLiteral("driver \u00e4"), QStringLiteral("database"), QSqlError::StatementError,
                          QStringLiteral("19"));

    const zemo::SQLiteDB::sql_error error(cause);

    EXPECT_EQ(std::string(error.what()), cause.text().toUtf8().toStdString());
    EXPECT_EQ(error.error(), cause);
    EXPECT_EQ(error.error().nativeErrorCode(), QStringLiteral("19"));
}

TEST_F(SQLiteDB, TheExecutorIsOneQueueForTheProcess)
{
    EXPECT_EQ(&zemo::SQLiteDB::executor(), &zemo::SQLiteDB::executor());
    EXPECT_TRUE(zemo::SQLiteDB::executor().isRunning());
    EXPECT_EQ(zemo::SQLiteDB::executor().context()->thread(), &zemo::SQLiteDB::executor());
}

TEST_F(SQLiteDB, TheConnectionIsMadeOnceAndKept)
{
    open();

    execute(createTable);

    EXPECT_TRUE(execute("INSERT INTO numbers VALUES (1, 'one')"));
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM numbers")), 1);
}

TEST_F(SQLiteDB, TheConnectionGoesWithItsOwner)
{
    {
        zemo::SQLiteDB other(QStringLiteral("another"));
        runOnQueue(zemo::SQLiteDB::executor(), [&] { other.db(); });
        ASSERT_TRUE(QSqlDatabase::contains(QStringLiteral("another")));
    }

    EXPECT_FALSE(QSqlDatabase::contains(QStringLiteral("another")));
}

TEST_F(SQLiteDB, ASoundDatabaseIsNotDamaged)
{
    manyRows(file);
    open();

    EXPECT_FALSE(isDamaged());
}

TEST_F(SQLiteDB, AnEmptyFileIsAnEmptyDatabase)
{
    file.write({});
    open();

    EXPECT_FALSE(isDamaged());
}

TEST_F(SQLiteDB, AFileThatIsNoDatabaseIsDamaged)
{
    file.write("This is a text and no database.\n");
    open();

    EXPECT_TRUE(isDamaged());
}

TEST_F(SQLiteDB, AFileOfZerosIsDamaged)
{
    file.write(QByteArray(8192, '\0'));
    open();

    EXPECT_TRUE(isDamaged());
}

TEST_F(SQLiteDB, ADatabaseWithADamagedPageIsDamaged)
{
    QByteArray content = manyRows(file);
    ASSERT_GT(content.size(), 4 * 4096);
    file.write(content.replace(2 * 4096, 4096, QByteArray(4096, '\xa5')));
    open();

    EXPECT_TRUE(isDamaged());
}

TEST_F(SQLiteDB, ATruncatedDatabaseIsDamaged)
{
    const QByteArray content = manyRows(file);
    file.write(content.first(content.size() - 4096));
    open();

    EXPECT_TRUE(isDamaged());
}

TEST_F(SQLiteDB, ADatabaseThatAnotherProgramHasLockedIsNotDamaged)
{
    file.run({createTable});
    open();
    onQueue([](QSqlDatabase& database) { QSqlQuery(database).exec(QStringLiteral("PRAGMA busy_timeout = 0")); });
    const EnergyLogFile::Connection other;
    other.execute(QStringLiteral("BEGIN EXCLUSIVE"));

    EXPECT_FALSE(isDamaged());
}

TEST_F(SQLiteDB, TheSetAsideFileIsWholeAndNamedByTheTime)
{
    file.write("no database at all");
    open();
    const QDateTime before = QDateTime::currentDateTime();

    backupAndReset();

    const QStringList others = file.others();
    ASSERT_EQ(others.size(), 1);
    EXPECT_EQ(EnergyLogFile::content(QDir(EnergyLogFile::directory).filePath(others[0])), "no database at all");
    const QDateTime named =
        QDateTime::fromString(others[0], QStringLiteral("'energylog.db3.'yyyyMMdd-hhmmss")).addMSecs(999);
    EXPECT_GE(named, before);
    EXPECT_LE(named, QDateTime::currentDateTime().addMSecs(999));
}

TEST_F(SQLiteDB, TheHandleIsOpenOnAnEmptyDatabaseAfterwards)
{
    manyRows(file);
    open();

    backupAndReset();

    EXPECT_TRUE(execute(createTable));
    EXPECT_TRUE(execute("INSERT INTO numbers VALUES (1, 'one')"));
    EXPECT_EQ(file.rows(QStringLiteral("SELECT * FROM numbers")), QStringList{QStringLiteral("1|one")});
}

TEST_F(SQLiteDB, TwoBackupsInOneSecondAreBothKept)
{
    file.write("the first damaged file");
    open();
    backupAndReset();
    file.write("the second damaged file");

    backupAndReset();

    QList<QByteArray> kept;
    const QStringList names = file.others();
    for (const QString& name : names)
    {
        kept.append(EnergyLogFile::content(QDir(EnergyLogFile::directory).filePath(name)));
    }
    EXPECT_EQ(kept.size(), 2);
    EXPECT_TRUE(kept.contains("the first damaged file"));
    EXPECT_TRUE(kept.contains("the second damaged file"));
}

TEST_F(SQLiteDB, WhatLiesBesideTheDatabaseGoesWithIt)
{
    file.write("no database at all");
    open();
    for (const char* suffix : {"-journal", "-wal", "-shm"})
    {
        QFile companion(QString::fromLatin1(EnergyLogFile::path) + QLatin1String(suffix));
        ASSERT_TRUE(companion.open(QIODevice::WriteOnly));
        companion.write(suffix);
    }

    backupAndReset();
    execute(createTable);

    const QStringList names = file.others();
    ASSERT_EQ(names.size(), 4);
    for (const char* suffix : {"-journal", "-wal", "-shm"})
    {
        EXPECT_EQ(EnergyLogFile::content(QDir(EnergyLogFile::directory).filePath(names[0] + QLatin1String(suffix))),
                  suffix);
    }
}

TEST_F(SQLiteDB, AFolderThatRefusesTheMoveIsReportedAndNothingIsLost)
{
    file.write("no database at all");
    open();
    chmod(EnergyLogFile::directory, 0555);
    if (access(EnergyLogFile::directory, W_OK) == 0)
    {
        chmod(EnergyLogFile::directory, 0755);
        GTEST_SKIP() << "rights mean nothing to this user";
    }

    EXPECT_THROW(backupAndReset(), std::exception);

    chmod(EnergyLogFile::directory, 0755);
    EXPECT_EQ(EnergyLogFile::content(), "no database at all");
    EXPECT_TRUE(file.others().isEmpty());
    EXPECT_TRUE(isDamaged());
}

// The scope guard

TEST_F(SQLiteDB, ATransactionThatIsNotCommittedIsRolledBack)
{
    file.run({createTable});
    open();

    onQueue(
        [](QSqlDatabase& database)
        {
            const Transaction transaction(database);
            QSqlQuery(database).exec(QStringLiteral("INSERT INTO numbers VALUES (1, 'one')"));
        });

    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM numbers")), 0);
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(SQLiteDB, ACommittedTransactionStays)
{
    file.run({createTable});
    open();

    onQueue(
        [](QSqlDatabase& database)
        {
            Transaction transaction(database);
            QSqlQuery(database).exec(QStringLiteral("INSERT INTO numbers VALUES (1, 'one')"));
            transaction.commit();
        });

    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM numbers")), 1);
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(SQLiteDB, AFailedStartIsTracedAndTheStatementsRunWithoutATransaction)
{
    file.run({createTable});

    onQueue(
        [](QSqlDatabase& database)
        {
            Transaction transaction(database); // not open yet
            database.setDatabaseName(QString::fromLatin1(EnergyLogFile::path));
            database.open();
            QSqlQuery(database).exec(QStringLiteral("INSERT INTO numbers VALUES (1, 'one')"));
        });

    EXPECT_EQ(platform.traceCount("Main", 5, "Transaction", "transaction start failed"), 1);
    EXPECT_EQ(platform.traceCount("Main", 5, "~Transaction", "transaction rollback failed"), 1) << "still active";
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM numbers")), 1);
}

TEST_F(SQLiteDB, AFailedCommitIsTracedAndNotRolledBack)
{
    open();

    onQueue(
        [](QSqlDatabase& database)
        {
            Transaction transaction(database);
            QSqlQuery(database).exec(QStringLiteral("ROLLBACK"));
            transaction.commit();
        });

    EXPECT_EQ(platform.traceCount("Main", 5, "commit", "transaction commit failed"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
}

TEST_F(SQLiteDB, AFailedRollbackIsTracedOnly)
{
    open();

    EXPECT_NO_THROW(onQueue(
        [](QSqlDatabase& database)
        {
            const Transaction transaction(database);
            QSqlQuery(database).exec(QStringLiteral("ROLLBACK"));
        }));

    EXPECT_EQ(platform.traceCount("Main", 5, "~Transaction", "transaction rollback failed"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
}
