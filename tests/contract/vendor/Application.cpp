#include <helpers/sqlitedb.h>
#include <p7zemo.h>
#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/ExecutionQueue.h>
#include <zemo/Lock.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/Watchdog.h>
#include <zemo/ZemoApplication.h>

#include <QTimer>

#include <mutex>

namespace zemo
{

ZemoApplication::ZemoApplication(int& argc, char** argv)
    : QCoreApplication(argc, argv)
{
}

ZemoApplication::~ZemoApplication() = default;

void ZemoApplication::startFunctionality(unsigned long long mask)
{
    static data::PowerLogClient powerLog;
    static menus::MenusClient menus;
    static system::SystemClient system;
    static system::AlarmsClient alarms;
    data::DataManagementClient::instance = new data::DataManagementClient(this);
    data::PowerLogClient::instance_ = &powerLog;
    menus::MenusClient::instance = &menus;
    system::SystemClient::instance = &system;
    system::AlarmsClient::instance = &alarms;
    p7zemo_traceAdd(p7zemo_getDefaultTraceModule(), 1, 0, "", "", "functions %llx", mask);
    // A run that ends by itself, with a code that nothing else gives.
    QTimer::singleShot(0, this, [] { QCoreApplication::exit(42); });
}

bool ZemoApplication::notify(QObject* receiver, QEvent* event)
{
    return QCoreApplication::notify(receiver, event);
}

ExecutionQueue::ExecutionQueue()
    : m_context(new QObject)
{
    m_context->moveToThread(this);
    start();
}

ExecutionQueue::~ExecutionQueue()
{
    m_context->deleteLater();
    exit();
    wait();
}

QObject* ExecutionQueue::context() const
{
    return m_context;
}

struct threading::Lock::Private : std::recursive_mutex
{
};

threading::Lock::Lock(const char* /*name*/)
    : d(new Private)
{
}

threading::Lock::~Lock()
{
    delete d;
}

bool threading::Lock::lock(bool /*wait*/)
{
    d->lock();
    return true;
}

void threading::Lock::unlock()
{
    d->unlock();
}

system::Watchdog::Watchdog(bool /*enabled*/, QObject* parent)
    : QObject(parent)
{
}

system::Watchdog::~Watchdog() = default;

SQLiteDB::SQLiteDB(const QString& connectionName)
    : m_connectionName(connectionName)
{
}

SQLiteDB::~SQLiteDB() = default;

QSqlDatabase SQLiteDB::db()
{
    return QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
}

bool SQLiteDB::checkForCorruption(QSqlDatabase& /*database*/)
{
    return false;
}

void SQLiteDB::backupAndReset(QSqlDatabase& database)
{
    throwSqlError(database.lastError());
}

} // namespace zemo
