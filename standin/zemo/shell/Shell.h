#pragma once

#include "EndSignals.h"
#include "QtMessages.h"
#include "gate/BusGate.h"

#include <zemo/DataManagementClient.h>

#include <QCoreApplication>

#include <memory>

namespace zemo::shell
{

/// What the application object keeps beside what its contract shows. A child of the application.
class Shell : public QObject
{
    Q_OBJECT

public:
    explicit Shell(QCoreApplication* application);
    ~Shell() override;

    /// Sets the clients' instance pointers and opens the bus. Called once.
    void startClients();

private slots:
    void busLost();

private:
    QtMessages m_qtMessages;
    EndSignals m_endSignals;
    std::unique_ptr<gate::BusGate> m_gate;
    std::unique_ptr<data::DataManagementClient> m_dataManagement;
    bool m_busLost = false;
};

} // namespace zemo::shell
