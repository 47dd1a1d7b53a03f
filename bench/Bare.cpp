// The barest programs on Qt that do what has to be done on the bus; each is the measure of one of the daemon's costs.
#include "ProcessorTime.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QSqlDatabase>
#include <QTimer>

#include <cstdio>

namespace
{

const QString serviceName = QStringLiteral("com.tarn.zemo.bench");

/// Answers as many numbers as it is asked for, twice: once of 32 bits and once of 64.
class Service : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.tarn.zemo.bench")

public slots:
    QList<int> two(const QList<int>& ids, QList<qlonglong>& numbers)
    {
        numbers = QList<qlonglong>(ids.begin(), ids.end());
        return ids;
    }
};

qsizetype callOnce(const QList<int>& ids)
{
    QDBusMessage request =
        QDBusMessage::createMethodCall(serviceName, QStringLiteral("/Bench"), serviceName, QStringLiteral("two"));
    request.setArguments({QVariant::fromValue(ids)});
    const QDBusMessage reply = QDBusConnection::systemBus().call(request);
    if (reply.arguments().size() != 2)
    {
        qFatal("no answer: %s", qPrintable(reply.errorMessage()));
    }
    return qdbus_cast<QList<int>>(reply.arguments().at(0)).size() +
           qdbus_cast<QList<qlonglong>>(reply.arguments().at(1)).size();
}

QList<int> idsFrom(int count)
{
    QList<int> ids;
    for (int i = 0; i < count; ++i)
    {
        ids.append(1000 + i);
    }
    return ids;
}

int serve(QCoreApplication& application)
{
    Service service;
    QDBusConnection bus = QDBusConnection::systemBus();
    bus.registerService(serviceName);
    bus.registerObject(QStringLiteral("/Bench"), &service, QDBusConnection::ExportAllSlots);
    return application.exec();
}

int callEverySecond(QCoreApplication& application, int count)
{
    const QList<int> ids = idsFrom(count);
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&ids] { callOnce(ids); });
    timer.start(1000);
    return application.exec();
}

int waitWithEverythingLoaded(QCoreApplication& application)
{
    QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
    return serve(application);
}

} // namespace

// bare service | loaded | tick COUNT | values COUNT CALLS
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<QList<qlonglong>>();
    const QStringList arguments = application.arguments();
    const QString mode = arguments.value(1);
    const int count = arguments.value(2).toInt();
    if (mode == QLatin1String("tick"))
    {
        return callEverySecond(application, count);
    }
    if (mode == QLatin1String("loaded"))
    {
        return waitWithEverythingLoaded(application);
    }
    if (mode == QLatin1String("values"))
    {
        const QList<int> ids = idsFrom(count);
        printProcessorTime(arguments.value(3).toInt(), [&ids] { callOnce(ids); });
        return 0;
    }
    return serve(application);
}

#include "Bare.moc"
