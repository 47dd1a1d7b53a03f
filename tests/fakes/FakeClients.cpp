#include "FakePlatform.h"
#include "FakeUsbClients.h"

#include <helpers/sqlitedb.h>
#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>
#include <zemo/Watchdog.h>
#include <zemo/ZemoApplication.h>

#include <mutex>
#include <set>

namespace
{

// Notes the call, then answers from the platform's state under its lock.
template <class Answer> auto serve(const FakePlatform::Call& call, Answer answer)
{
    FakePlatform& platform = FakePlatform::instance();
    platform.record(call);
    const std::lock_guard guard(platform);
    return answer(platform);
}

QMap<int, zemo::data::Metadata> pick(const FakePlatform& platform, const QList<int>& ids)
{
    QMap<int, zemo::data::Metadata> result;
    for (int id : ids)
    {
        if (platform.metadata.contains(id))
        {
            result.insert(id, platform.metadata[id]);
        }
    }
    return result;
}

QList<zemo::data::PowerLogRecord> pickPeriod(const QList<zemo::data::PowerLogRecord>& records, long long start,
                                             long long end)
{
    QList<zemo::data::PowerLogRecord> result;
    for (const zemo::data::PowerLogRecord& record : records)
    {
        if (record.timestamp >= start && record.timestamp <= end)
        {
            result.append(record);
        }
    }
    return result;
}

std::recursive_mutex usbClientsMutex;
std::set<zemo::hardware::UsbClient*> usbClients;

} // namespace

void emitDriveInserted(const QString& path)
{
    const std::lock_guard guard(usbClientsMutex);
    for (zemo::hardware::UsbClient* client : usbClients)
    {
        emit client->driveInserted(path);
    }
}

void emitDriveRemoved(const QString& path)
{
    const std::lock_guard guard(usbClientsMutex);
    for (zemo::hardware::UsbClient* client : usbClients)
    {
        emit client->driveRemoved(path);
    }
}

namespace zemo::data
{

DataManagementClient* DataManagementClient::instance = nullptr;
PowerLogClient* PowerLogClient::instance_ = nullptr;

DataManagementClient::DataManagementClient(QObject* parent)
    : QObject(parent)
{
}

QMap<int, DataValue> DataManagementClient::getValues(const QList<int>& ids) const
{
    return serve({"getValues", ids, {}},
                 [&](FakePlatform& platform)
                 {
                     QMap<int, DataValue> result;
                     for (int id : ids)
                     {
                         if (platform.values.contains(id))
                         {
                             result.insert(id, platform.values[id]);
                         }
                     }
                     return result;
                 });
}

QMap<int, Metadata> DataManagementClient::getMetadata(const QList<int>& ids, const QString& locale) const
{
    return serve({"getMetadata", ids, locale}, [&](FakePlatform& platform) { return pick(platform, ids); });
}

QMap<int, Metadata> DataManagementClient::getDefaultLog(const QString& locale) const
{
    return serve({"getDefaultLog", {}, locale},
                 [&](FakePlatform& platform) { return pick(platform, platform.defaultLog); });
}

QMap<int, Metadata> DataManagementClient::getModbusParams(const QString& locale) const
{
    return serve({"getModbusParams", {}, locale},
                 [&](FakePlatform& platform) { return pick(platform, platform.modbusParams); });
}

QList<ChangeLogEntry> DataManagementClient::getChangeLog(int count, const QString& locale) const
{
    return serve({"getChangeLog", {}, locale, count},
                 [&](FakePlatform& platform) { return platform.changeLog.mid(0, count); });
}

QByteArray DataManagementClient::saveSettings(unsigned int saveType) const
{
    return serve({"saveSettings", {}, {}, saveType}, [](FakePlatform& platform) { return platform.settings; });
}

bool DataManagementClient::restoreSettings(const QByteArray& settings)
{
    return serve({"restoreSettings", {}, {}},
                 [&](FakePlatform& platform)
                 {
                     platform.setRestored(settings);
                     return platform.acceptRestore;
                 });
}

QList<PowerLogRecord> PowerLogClient::GetHourly()
{
    return serve({"GetHourly", {}, {}}, [](FakePlatform& platform) { return platform.hourlyPower; });
}

QList<PowerLogRecord> PowerLogClient::GetQuarterly()
{
    return serve({"GetQuarterly", {}, {}}, [](FakePlatform& platform) { return platform.quarterlyPower; });
}

QList<PowerLogRecord> PowerLogClient::GetHourlyForPeriod(long long start, long long end)
{
    return serve({"GetHourlyForPeriod", {}, {}, start, end},
                 [&](FakePlatform& platform) { return pickPeriod(platform.hourlyPower, start, end); });
}

QList<PowerLogRecord> PowerLogClient::GetQuarterlyForPeriod(long long start, long long end)
{
    return serve({"GetQuarterlyForPeriod", {}, {}, start, end},
                 [&](FakePlatform& platform) { return pickPeriod(platform.quarterlyPower, start, end); });
}

} // namespace zemo::data

namespace zemo::hardware
{

UsbClient::UsbClient(QObject* parent)
    : QObject(parent)
{
    const std::lock_guard guard(usbClientsMutex);
    usbClients.insert(this);
}

UsbClient::~UsbClient()
{
    const std::lock_guard guard(usbClientsMutex);
    usbClients.erase(this);
}

QStringList UsbClient::getUsbDrives()
{
    return serve({"getUsbDrives", {}, {}}, [](FakePlatform& platform) { return platform.drives; });
}

} // namespace zemo::hardware

namespace zemo::menus
{

MenusClient* MenusClient::instance = nullptr;

QMap<unsigned int, localization::PanelText> MenusClient::getTexts(const QList<unsigned int>& ids, const QString& locale)
{
    QList<int> asked;
    for (unsigned int id : ids)
    {
        asked.append(static_cast<int>(id));
    }
    return serve({"getTexts", asked, locale},
                 [&](FakePlatform& platform)
                 {
                     QMap<unsigned int, localization::PanelText> result;
                     for (unsigned int id : ids)
                     {
                         if (platform.texts.contains(id))
                         {
                             result.insert(id, localization::PanelText(platform.texts[id]));
                         }
                     }
                     return result;
                 });
}

} // namespace zemo::menus

namespace zemo::system
{

SystemClient* SystemClient::instance = nullptr;
AlarmsClient* AlarmsClient::instance = nullptr;

QString SystemClient::getSerial()
{
    return serve({"getSerial", {}, {}}, [](FakePlatform& platform) { return platform.serial; });
}

QString SystemClient::getDeviceName()
{
    return serve({"getDeviceName", {}, {}}, [](FakePlatform& platform) { return platform.deviceName; });
}

QList<AlarmInfo> AlarmsClient::getAlarms(int count, int kind, const QString& locale)
{
    return serve({"getAlarms", {}, locale, count, kind},
                 [&](FakePlatform& platform) { return platform.alarms.mid(0, count); });
}

Watchdog::Watchdog(bool enabled, QObject* parent)
    : QObject(parent)
{
    FakePlatform::addHistory(std::string("Watchdog ") + (enabled ? "true " : "false ") +
                             (parent && parent == QCoreApplication::instance() ? "application" : "?"));
}

Watchdog::~Watchdog()
{
    FakePlatform::addHistory("~Watchdog");
}

} // namespace zemo::system

namespace zemo
{

ZemoApplication::ZemoApplication(int& argc, char** argv)
    : QCoreApplication(argc, argv)
{
    FakePlatform::addHistory("ZemoApplication " + arguments().join(' ').toStdString());
}

ZemoApplication::~ZemoApplication()
{
    FakePlatform::addHistory("~ZemoApplication");
}

void ZemoApplication::startFunctionality(unsigned long long mask)
{
    FakePlatform::addHistory("startFunctionality " + QString::number(mask, 16).toStdString());
}

bool ZemoApplication::notify(QObject* receiver, QEvent* event)
{
    return QCoreApplication::notify(receiver, event);
}

} // namespace zemo
