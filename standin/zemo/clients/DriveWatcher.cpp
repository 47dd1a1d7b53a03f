#include "DriveWatcher.h"

#include "Bus.h"
#include "Call.h"
#include "PlatformSignal.h"

#include <wire/Names.h>

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace zemo::clients
{

namespace
{

constexpr std::chrono::seconds retryInterval(1);

} // namespace

DriveWatcher::DriveWatcher(QObject* parent)
    : QObject(parent)
    , m_service(wire::serviceName, bus(), QDBusServiceWatcher::WatchForRegistration)
{
    connect(new PlatformSignal("driveInserted", "s", this), &PlatformSignal::received, this,
            [this](const QVariant& path) { noteInserted(path.toString()); });
    connect(new PlatformSignal("driveRemoved", "s", this), &PlatformSignal::received, this,
            [this](const QVariant& path) { noteRemoved(path.toString()); });
    const auto compare = [this] { askForDrives(&DriveWatcher::reportDifference); };
    connect(&m_service, &QDBusServiceWatcher::serviceRegistered, this, compare);
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryInterval);
    connect(&m_retry, &QTimer::timeout, this, compare);
    askForDrives(&DriveWatcher::takeAsKnown);
}

// A service that is there and fails is asked again, or a drive would be missed for good; one that is absent is waited
// for.
void DriveWatcher::askForDrives(Answer answer)
{
    const QDBusPendingCall call = bus().asyncCall(request("getUsbDrives", {}));
    auto* pending = new QDBusPendingCallWatcher(call, this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, answer, pending]
            {
                const QDBusPendingReply<QStringList> reply = *pending;
                pending->deleteLater();
                noteOutcome("getUsbDrives", reply.error());
                if (reply.isValid())
                {
                    (this->*answer)(reply.value());
                }
                else if (!meansAbsence(reply.error()))
                {
                    m_retry.start();
                }
            });
}

void DriveWatcher::takeAsKnown(const QStringList& drives)
{
    m_known = drives;
}

void DriveWatcher::reportDifference(const QStringList& drives)
{
    const QStringList before = m_known;
    for (const QString& path : before)
    {
        if (!drives.contains(path))
        {
            noteRemoved(path);
        }
    }
    for (const QString& path : drives)
    {
        if (!before.contains(path))
        {
            noteInserted(path);
        }
    }
}

void DriveWatcher::noteInserted(const QString& path)
{
    if (!m_known.contains(path))
    {
        m_known.append(path);
    }
    emit inserted(path);
}

void DriveWatcher::noteRemoved(const QString& path)
{
    m_known.removeAll(path);
    emit removed(path);
}

} // namespace zemo::clients
