#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

/// A message bus that this process takes for the system bus, with a client of its own. Qt connects to the system bus
/// once in a process, so there is one of these, made before that and never ended: the bus dies with its parent.
class UnitBus
{
public:
    static UnitBus& instance()
    {
        static auto* bus = new UnitBus;
        return *bus;
    }

    QDBusConnection client() const
    {
        return QDBusConnection(QStringLiteral("client"));
    }

    /// Calls the daemon's object as a client does, with the event loop running for both sides.
    QDBusMessage call(const QString& method, const QVariantList& arguments = {},
                      const QString& service = QStringLiteral("com.tarn.zemo.logd"),
                      const QString& interface = QStringLiteral("com.tarn.zemo.logd"))
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, QStringLiteral("/Logging"), interface, method);
        message.setArguments(arguments);
        const QDBusPendingCall pending = client().asyncCall(message);
        if (!QTest::qWaitFor([&] { return pending.isFinished(); }, 20000))
        {
            return QDBusMessage::createError(QStringLiteral("test.Timeout"), method);
        }
        return pending.reply();
    }

    bool hasName(const QString& name)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
        message.setArguments({name});
        return client().call(message).arguments().value(0).toBool();
    }

private:
    UnitBus()
    {
        process.start(QStringLiteral(ZEMO_SOURCE_DIR "/tools/private-bus"), {folder.path()});
        while (!process.canReadLine() && process.waitForReadyRead(20000))
        {
        }
        const QByteArray address = process.readLine().trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        QDBusConnection::connectToBus(QString::fromLocal8Bit(address), QStringLiteral("client"));
    }

    QTemporaryDir folder;
    QProcess process;
};
