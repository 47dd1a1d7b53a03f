#include "Shell.h"

#include "Trace.h"
#include "clients/Bus.h"

#include <zemo/AlarmsClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>

#include <wire/BusLoss.h>

namespace zemo::shell
{

Shell::Shell(QCoreApplication* application)
    : QObject(application)
{
    connect(&m_endSignals, &EndSignals::received, application, [] { QCoreApplication::exit(0); });
}

Shell::~Shell()
{
    data::DataManagementClient::instance = nullptr;
}

void Shell::startClients()
{
    m_gate = gate::BusGate::open();
    wire::watchForLoss(QDBusConnection::systemBus(), this, SLOT(busLost()));
    wire::watchForLoss(clients::bus(), this, SLOT(busLost()));
    m_dataManagement = std::make_unique<data::DataManagementClient>();
    data::DataManagementClient::instance = m_dataManagement.get();
    // These hold nothing and stay until the process ends: export threads that nobody joins may be inside one of them.
    static data::PowerLogClient powerLog;
    static menus::MenusClient menus;
    static system::SystemClient system;
    static system::AlarmsClient alarms;
    data::PowerLogClient::instance_ = &powerLog;
    menus::MenusClient::instance = &menus;
    system::SystemClient::instance = &system;
    system::AlarmsClient::instance = &alarms;
}

// A lost connection never comes back, and with it every client or the daemon's own name is gone: only a new process
// helps, and the exit code asks the service manager for one.
void Shell::busLost()
{
    if (!m_busLost)
    {
        m_busLost = true;
        ZEMO_LIBRARY_TRACE(5, "The system bus is gone");
        QCoreApplication::exit(1);
    }
}

} // namespace zemo::shell
