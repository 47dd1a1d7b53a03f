#include <zemo/SystemClient.h>

#include "Call.h"

#include <QMutex>

namespace zemo::system
{

namespace
{

// The last serial number that was answered. A unit's never changes, and files are found again by it: without it the
// logs of a time without the services would belong to no unit.
class KnownSerial
{
public:
    QString updated(const QString& answer)
    {
        const QMutexLocker guard(&m_mutex);
        if (!answer.isEmpty())
        {
            m_serial = answer;
        }
        return m_serial;
    }

private:
    QMutex m_mutex;
    QString m_serial;
};

// Lives for ever, since threads that nobody joins may still ask while the process ends.
KnownSerial& knownSerial()
{
    static auto& everlasting = *new KnownSerial;
    return everlasting;
}

} // namespace

SystemClient* SystemClient::instance = nullptr;

QString SystemClient::getSerial()
{
    return knownSerial().updated(clients::ask<QString>(clients::usualPatience, "getSerial"));
}

QString SystemClient::getDeviceName()
{
    return clients::ask<QString>(clients::usualPatience, "getDeviceName");
}

} // namespace zemo::system
