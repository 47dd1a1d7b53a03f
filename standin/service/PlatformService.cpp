#include "PlatformService.h"

#include "PlatformAdaptor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QMetaMethod>
#include <QTimer>

namespace platformd
{

PlatformService::PlatformService(Platform& platform, Operations& operations, QObject* parent)
    : QObject(parent)
    , m_platform(platform)
    , m_operations(operations)
{
    zemo::wire::registerTypes();
    new PlatformAdaptor(this);
    connect(&platform, &Platform::restoreSettingsStarted, this, &PlatformService::restoreSettingsStarted);
    connect(&platform, &Platform::restoreSettingsFinished, this, &PlatformService::restoreSettingsFinished);
    connect(&platform, &Platform::driveInserted, this, &PlatformService::driveInserted);
    connect(&platform, &Platform::driveRemoved, this, &PlatformService::driveRemoved);
}

QStringList PlatformService::operationNames()
{
    QStringList result;
    const QMetaObject& adaptor = PlatformAdaptor::staticMetaObject;
    for (int index = adaptor.methodOffset(); index < adaptor.methodCount(); ++index)
    {
        if (adaptor.method(index).methodType() == QMetaMethod::Slot)
        {
            result.append(QString::fromLatin1(adaptor.method(index).name()));
        }
    }
    return result;
}

const QList<int>& PlatformService::lastIds() const
{
    return m_lastIds;
}

template <typename Answer> auto PlatformService::serve(const char* operation, Answer answer) -> decltype(answer())
{
    const QString name = QString::fromLatin1(operation);
    m_operations.countCall(name);
    if (m_operations.fails(name))
    {
        sendErrorReply(QDBusError::Failed, QStringLiteral("%1 was told to fail").arg(name));
        return {};
    }
    auto result = answer();
    if (m_operations.delay(name) > 0)
    {
        answerLater(QVariant::fromValue(result), m_operations.delay(name));
    }
    return result;
}

void PlatformService::answerLater(const QVariant& result, quint32 milliseconds)
{
    setDelayedReply(true);
    const auto send = [bus = connection(), reply = message().createReply(result)] { bus.send(reply); };
    QTimer::singleShot(std::chrono::milliseconds(milliseconds), Qt::PreciseTimer, this, send);
}

zemo::wire::Values PlatformService::getValues(const QList<int>& ids)
{
    m_lastIds = ids;
    return serve("getValues", [&] { return zemo::wire::toWire(m_platform.values(ids)); });
}

zemo::wire::Parameters PlatformService::getMetadata(const QList<int>& ids, const QString& locale)
{
    return serve("getMetadata", [&] { return zemo::wire::toWire(m_platform.metadata(ids, locale)); });
}

zemo::wire::Parameters PlatformService::getDefaultLog(const QString& locale)
{
    return serve("getDefaultLog", [&] { return zemo::wire::toWire(m_platform.defaultLog(locale)); });
}

zemo::wire::Parameters PlatformService::getModbusParams(const QString& locale)
{
    return serve("getModbusParams", [&] { return zemo::wire::toWire(m_platform.modbusParams(locale)); });
}

zemo::wire::Changes PlatformService::getChangeLog(int count, const QString& locale)
{
    return serve("getChangeLog", [&] { return zemo::wire::toWire(m_platform.changeLog(count, locale)); });
}

QByteArray PlatformService::saveSettings(uint /*saveType*/)
{
    return serve("saveSettings", [&] { return m_platform.settings(); });
}

bool PlatformService::restoreSettings(const QByteArray& settings)
{
    return serve("restoreSettings", [&] { return m_platform.restore(settings); });
}

zemo::wire::PowerRecords PlatformService::GetHourly()
{
    return serve("GetHourly", [&] { return zemo::wire::toWire(m_platform.hourlyPower()); });
}

zemo::wire::PowerRecords PlatformService::GetQuarterly()
{
    return serve("GetQuarterly", [&] { return zemo::wire::toWire(m_platform.quarterlyPower()); });
}

zemo::wire::PowerRecords PlatformService::GetHourlyForPeriod(qlonglong start, qlonglong end)
{
    return serve("GetHourlyForPeriod", [&] { return zemo::wire::toWire(m_platform.hourlyPower(start, end)); });
}

zemo::wire::PowerRecords PlatformService::GetQuarterlyForPeriod(qlonglong start, qlonglong end)
{
    return serve("GetQuarterlyForPeriod", [&] { return zemo::wire::toWire(m_platform.quarterlyPower(start, end)); });
}

QStringList PlatformService::getUsbDrives()
{
    return serve("getUsbDrives", [&] { return m_platform.drives(); });
}

zemo::wire::Texts PlatformService::getTexts(const QList<uint>& ids, const QString& locale)
{
    return serve("getTexts", [&] { return zemo::wire::toWire(m_platform.texts(ids, locale)); });
}

QString PlatformService::getSerial()
{
    return serve("getSerial", [&] { return m_platform.serial(); });
}

QString PlatformService::getDeviceName()
{
    return serve("getDeviceName", [&] { return m_platform.deviceName(); });
}

zemo::wire::Alarms PlatformService::getAlarms(int count, int /*kind*/, const QString& locale)
{
    return serve("getAlarms", [&] { return zemo::wire::toWire(m_platform.alarms(count, locale)); });
}

} // namespace platformd
