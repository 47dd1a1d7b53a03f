#pragma once

#include "ChildProcess.h"

#include <QDBusConnection>
#include <QDBusVariant>
#include <QMap>

/// The platform's service and the object that steers it. A call answers true when its effect stands; for one that fails
/// the bus error is printed, and the answer is false or empty.
class Platform
{
public:
    /// Starts the service on the bus and waits for its name. A mistake in the scenario ends it: see errorLines().
    [[nodiscard]] bool start(const QString& busAddress, const QDBusConnection& connection, const QString& scenario);

    bool isRunning() const;

    /// SIGTERM and its exit code.
    std::optional<int> stop();

    /// Stops the process where it is, so that it is silent while it owns its name, and lets it go on.
    void freeze();
    void thaw();

    bool insertDrive(const QString& path);
    bool removeDrive(const QString& path);
    bool setValue(int id, const QVariant& value);
    bool releaseValue(int id);
    bool dropValue(int id);
    bool setDefaultLog(const QList<int>& ids);
    bool setLanguage(const QString& locale);
    bool setDelay(const QString& operation, std::chrono::milliseconds delay);
    bool setFailure(const QString& operation, bool fails);
    bool load(const QString& scenario);

    uint callCount(const QString& operation);
    QList<int> lastIds();

    QStringList errorLines() const;

private:
    QVariantList call(const QString& method, const QVariantList& arguments, bool* ok = nullptr);
    bool steer(const QString& method, const QVariantList& arguments);

    ChildProcess process;
    QString connectionName;
};
