#include <zemo/ZemoApplication.h>

#include "Shell.h"
#include "Trace.h"

#include <helpers/sqlitedb.h>

namespace zemo
{

ZemoApplication::ZemoApplication(int& argc, char** argv)
    : QCoreApplication(argc, argv)
{
    new shell::Shell(this);
}

ZemoApplication::~ZemoApplication()
{
    // While there is still an application: the clients and the signals' notifier belong to its event loop.
    delete findChild<shell::Shell*>();
}

void ZemoApplication::startFunctionality(unsigned long long /*mask*/)
{
    findChild<shell::Shell*>()->startClients();
}

bool ZemoApplication::notify(QObject* receiver, QEvent* event)
{
    try
    {
        return QCoreApplication::notify(receiver, event);
    }
    catch (const SQLiteDB::sql_error& error)
    {
        ZEMO_LIBRARY_TRACE(5, "Database error: %s", error.what());
        return true;
    }
}

} // namespace zemo
