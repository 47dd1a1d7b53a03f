#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QVariant>

namespace zemo::clients
{

/// One signal of the platform's services, over any number of restarts of theirs. Lives on the thread that made it.
///
/// Qt's own way to follow a service by its name loses what the service sends right after it appears, when Qt doesn't
/// know the new owner yet. So this takes the signal from anybody, and asks the bus whether it was the service: nobody
/// else may say where a drive is.
class PlatformSignal : public QObject
{
    Q_OBJECT

public:
    PlatformSignal(const char* name, const char* signature, QObject* parent);

signals:
    /// The signal's argument, if it has one.
    void received(const QVariant& argument);

private slots:
    void check(const QDBusMessage& message);
};

} // namespace zemo::clients
