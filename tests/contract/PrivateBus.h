#pragma once

#include <QProcess>
#include <QString>

/// A message bus of the test's own that dies with it. The one that is made before anything asks for the system bus
/// becomes that of the process.
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();

    const QString& address() const;
    /// Ends it as if it had crashed.
    void kill();

private:
    QProcess m_process;
    QString m_address;
};
