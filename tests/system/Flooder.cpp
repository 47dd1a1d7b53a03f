// Calls the daemon as fast as the bus takes it and asks for no answer. usage: zemo-flooder ADDRESS SECONDS
// Prints how many calls it sent.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDeadlineTimer>

#include <cstdio>

namespace
{

QDBusMessage call(const char* method, const QVariantList& arguments = {})
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("com.tarn.zemo.logd"), QStringLiteral("/Logging"),
                                       QStringLiteral("com.tarn.zemo.logd"), QString::fromLatin1(method));
    message.setArguments(arguments);
    return message;
}

QVariant word(uint value)
{
    return QVariant::fromValue(static_cast<ushort>(value));
}

QVariant byte(uint value)
{
    return QVariant::fromValue(static_cast<uchar>(value));
}

// Quick and slow ones: the last ones read all hours, run a program, and write to the disk.
QList<QDBusMessage> mixture()
{
    QList<QDBusMessage> calls;
    for (int i = 0; i < 5; ++i)
    {
        calls += {call("isUsbLogActive"), call("getLogParameters"), call("isCustomUsbLogActive", {i}),
                  call("startLogUsb", {1, false, QStringLiteral("default")})};
    }
    const QVariantList wholeTime = {word(2000), byte(1), byte(1), byte(0), word(2100), byte(1), byte(1), byte(0)};
    const QVariant allSums = QVariant::fromValue(QList<bool>(8, false));
    return calls + QList<QDBusMessage>{call("getEnergyLogHourly", wholeTime), call("saveSysInfoToUsb"),
                                       call("summarizeEnergyLogMonth", {word(2024), byte(1), allSums})};
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QDBusConnection bus = QDBusConnection::connectToBus(arguments.value(1), QStringLiteral("flooder"));
    const QDeadlineTimer end(arguments.value(2).toInt() * 1000);
    qDBusRegisterMetaType<QList<bool>>();
    const QList<QDBusMessage> calls = mixture();
    qint64 count = 0;
    while (!end.hasExpired())
    {
        for (int round = 0; round < 20; ++round)
        {
            for (const QDBusMessage& message : calls)
            {
                count += bus.send(message) ? 1 : 0;
            }
        }
        // The bus answers this once it has taken all of them, so that they don't pile up here.
        bus.interface()->serviceOwner(QStringLiteral("org.freedesktop.DBus"));
    }
    std::printf("%lld\n", static_cast<long long>(count));
    return 0;
}
