#include "PlatformSignal.h"

#include "Bus.h"
#include "Call.h"

#include <wire/Names.h>

namespace zemo::clients
{

namespace
{

QString serviceOwner()
{
    QDBusMessage question =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetNameOwner"));
    question << wire::serviceName;
    return QDBusReply<QString>(send(question, shortPatience)).value();
}

} // namespace

PlatformSignal::PlatformSignal(const char* name, const char* signature, QObject* parent)
    : QObject(parent)
{
    bus().connect(QString(), wire::objectPath, wire::interfaceName, QString::fromLatin1(name),
                  QString::fromLatin1(signature), this, SLOT(check(QDBusMessage)));
}

void PlatformSignal::check(const QDBusMessage& message)
{
    if (message.service() == serviceOwner())
    {
        emit received(message.arguments().value(0));
    }
}

} // namespace zemo::clients
