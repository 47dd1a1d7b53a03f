#pragma once

#include <p7zemo.h>
#include <zemo/ExecutionQueue.h>

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

#include <stdexcept>

namespace zemo
{

/// A connection to a SQLite file. It is made on first use of db() and belongs to the executor's thread.
class SQLiteDB
{
public:
    /// What a failed statement throws; what() is the error's text in UTF-8.
    class sql_error : public std::runtime_error
    {
    public:
        explicit sql_error(const QSqlError& error)
            : std::runtime_error(error.text().toUtf8().constData())
            , m_error(error)
        {
        }

        const QSqlError& error() const
        {
            return m_error;
        }

    private:
        QSqlError m_error;
    };

    explicit SQLiteDB(const QString& connectionName);
    ~SQLiteDB();

    /// Call on the executor's thread only.
    QSqlDatabase db();

    /// True if the open database is damaged; a file that is no database counts as damaged.
    static bool checkForCorruption(QSqlDatabase& database);
    /// Sets the file of the open `database` aside, under its name with the time, and leaves the handle open on an empty
    /// one. Throws an exception derived from std::exception on failure.
    static void backupAndReset(QSqlDatabase& database);

    /// The one thread of the process on which all database work runs.
    static ExecutionQueue& executor()
    {
        static ExecutionQueue objS_executor;
        return objS_executor;
    }

private:
    QString m_connectionName;
};

[[noreturn]] inline void throwSqlError(const QSqlError& error)
{
    throw SQLiteDB::sql_error(error);
}

} // namespace zemo

/// Scope guard: a transaction that is rolled back unless commit() was called. Nothing here throws; a failure is traced.
class Transaction
{
public:
    explicit Transaction(const QSqlDatabase& objL_database)
        : database(objL_database)
    {
        if (!database.transaction())
        {
            trace(__LINE__, __func__, "transaction start failed");
        }
    }

    ~Transaction()
    {
        if (active && !database.rollback())
        {
            trace(__LINE__, __func__, "transaction rollback failed");
        }
    }

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit()
    {
        active = false;
        if (!database.commit())
        {
            trace(__LINE__, __func__, "transaction commit failed");
        }
    }

private:
    static void trace(int line, const char* function, const char* text)
    {
        p7zemo_traceAdd(p7zemo_getDefaultTraceModule(), 5, static_cast<uint32_t>(line), __FILE__, function, "%s", text);
    }

    QSqlDatabase database;
    bool active = true;
};
