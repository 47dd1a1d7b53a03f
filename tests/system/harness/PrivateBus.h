#pragma once

#include "ChildProcess.h"

#include <QDBusConnection>

/// A message bus of its own, and the connection of the test to it.
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();

    /// Starts it, with its socket in `folder`, and connects. Can be called again after stop; the address is then new.
    [[nodiscard]] bool start(const QString& folder);

    /// Ends it as a crash would.
    void stop();

    QString address() const;
    QDBusConnection connection() const;

    [[nodiscard]] bool waitForName(const QString& name) const;
    [[nodiscard]] bool waitForNoName(const QString& name) const;
    bool hasName(const QString& name) const;

private:
    void disconnect();

    ChildProcess process;
    QString connectionName;
};
