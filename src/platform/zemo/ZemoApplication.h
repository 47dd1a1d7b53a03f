#pragma once

#include <QCoreApplication>

namespace zemo
{

/// The process's application object. SIGTERM and SIGINT end its event loop with 0, the loss of the system bus with 1;
/// a system bus that was never there is no loss. Qt's own messages go to the trace while it lives.
class ZemoApplication : public QCoreApplication
{
    Q_OBJECT

public:
    ZemoApplication(int& argc, char** argv);
    ~ZemoApplication() override;

    /// Brings up the client singletons named by `mask`. Called once, before any client is used.
    void startFunctionality(unsigned long long mask);

    /// Stops a database error (SQLiteDB::sql_error) that reached the event loop: it is traced at level 5, and whoever
    /// called over the bus gets an error reply.
    bool notify(QObject* receiver, QEvent* event) override;
};

} // namespace zemo
