#include "Call.h"

#include "Bus.h"
#include "Trace.h"

#include <wire/Names.h>

#include <QMutex>
#include <QSet>

namespace zemo::clients
{

namespace
{

// What was last known of the services. The mutex is held for a few instructions and a trace, and nothing is taken
// under it.
class ServiceState
{
public:
    void answered(const QByteArray& operation)
    {
        const QMutexLocker guard(&m_mutex);
        notePresence();
        if (m_failing.remove(operation))
        {
            ZEMO_LIBRARY_TRACE(1, "%s is answered again", operation.constData());
        }
    }

    void failed(const QByteArray& operation, const QByteArray& reason)
    {
        const QMutexLocker guard(&m_mutex);
        notePresence();
        noteFailing(operation, reason);
    }

    void notAsked(const QByteArray& operation, const QByteArray& reason)
    {
        const QMutexLocker guard(&m_mutex);
        noteFailing(operation, reason);
    }

    void absent(const QByteArray& reason)
    {
        const QMutexLocker guard(&m_mutex);
        if (m_present)
        {
            m_present = false;
            ZEMO_LIBRARY_TRACE(4, "The platform's services are gone: %s", reason.constData());
        }
    }

private:
    void notePresence()
    {
        if (!m_present)
        {
            m_present = true;
            ZEMO_LIBRARY_TRACE(1, "The platform's services are back");
        }
    }

    void noteFailing(const QByteArray& operation, const QByteArray& reason)
    {
        if (!m_failing.contains(operation))
        {
            m_failing.insert(operation);
            ZEMO_LIBRARY_TRACE(4, "%s is not answered: %s", operation.constData(), reason.constData());
        }
    }

    QMutex m_mutex;
    bool m_present = true;
    QSet<QByteArray> m_failing;
};

// Lives for ever, since threads that nobody joins may still ask while the process ends.
ServiceState& serviceState()
{
    static auto& everlasting = *new ServiceState;
    return everlasting;
}

} // namespace

bool meansAbsence(const QDBusError& error)
{
    return error.type() == QDBusError::ServiceUnknown || error.type() == QDBusError::Disconnected ||
           error.name() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
}

QDBusMessage request(const char* operation, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(wire::serviceName, wire::objectPath, wire::interfaceName,
                                                          QString::fromLatin1(operation));
    // Starting the service through the bus would make an absent one a silent one.
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return message;
}

QDBusMessage send(const QDBusMessage& request, Patience patience)
{
    return bus().call(request, QDBus::Block, static_cast<int>(patience.count()));
}

void noteOutcome(const char* operation, const QDBusError& error)
{
    const QByteArray reason = (error.name() + QLatin1String(": ") + error.message()).toUtf8();
    if (!error.isValid())
    {
        serviceState().answered(operation);
    }
    else if (meansAbsence(error))
    {
        serviceState().absent(reason);
    }
    else if (error.name() == QLatin1String(refusal))
    {
        serviceState().notAsked(operation, reason);
    }
    else
    {
        serviceState().failed(operation, reason);
    }
}

} // namespace zemo::clients
