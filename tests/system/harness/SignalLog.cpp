#include "SignalLog.h"

#include "Waiting.h"

#include <algorithm>

SignalLog::SignalLog(const QDBusConnection& connection, const QString& path, const QString& interface)
{
    // No service: a signal that is sent before the bus has told who owns the name would be lost otherwise.
    if (!QDBusConnection(connection).connect({}, path, interface, {}, this, SLOT(record(QDBusMessage))))
        qFatal("can't listen to %s", qUtf8Printable(interface));
}

const QList<BusSignal>& SignalLog::all() const
{
    return received;
}

QStringList SignalLog::names() const
{
    QStringList names;
    for (const BusSignal& signal : received)
        names += signal.name;
    return names;
}

qsizetype SignalLog::count(const QString& name) const
{
    return names().count(name);
}

QVariantList SignalLog::lastArguments(const QString& name) const
{
    const auto found = std::find_if(received.crbegin(), received.crend(),
                                    [&](const BusSignal& signal) { return signal.name == name; });
    return found == received.crend() ? QVariantList() : found->arguments;
}

bool SignalLog::waitFor(const QString& name, qsizetype wanted) const
{
    return waitUntil([&] { return count(name) >= wanted; });
}

void SignalLog::clear()
{
    received.clear();
}

void SignalLog::record(const QDBusMessage& message)
{
    received.append({message.member(), message.arguments(), message.service()});
}
