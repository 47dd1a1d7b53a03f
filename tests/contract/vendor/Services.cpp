// Services of a controller with one parameter and nothing else.
#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>

namespace zemo
{

data::DataManagementClient* data::DataManagementClient::instance = nullptr;
data::PowerLogClient* data::PowerLogClient::instance_ = nullptr;
menus::MenusClient* menus::MenusClient::instance = nullptr;
system::SystemClient* system::SystemClient::instance = nullptr;
system::AlarmsClient* system::AlarmsClient::instance = nullptr;

namespace data
{

DataManagementClient::DataManagementClient(QObject* parent)
    : QObject(parent)
{
}

QMap<int, DataValue> DataManagementClient::getValues(const QList<int>& ids) const
{
    return ids.contains(1) ? QMap<int, DataValue>{{1, {}}} : QMap<int, DataValue>();
}

QMap<int, Metadata> DataManagementClient::getMetadata(const QList<int>& ids, const QString& locale) const
{
    return ids.contains(1) ? getDefaultLog(locale) : QMap<int, Metadata>();
}

QMap<int, Metadata> DataManagementClient::getDefaultLog(const QString& /*locale*/) const
{
    return {{1, {}}};
}

QMap<int, Metadata> DataManagementClient::getModbusParams(const QString& /*locale*/) const
{
    return {};
}

QList<ChangeLogEntry> DataManagementClient::getChangeLog(int /*count*/, const QString& /*locale*/) const
{
    return {};
}

QByteArray DataManagementClient::saveSettings(unsigned int /*saveType*/) const
{
    return {};
}

bool DataManagementClient::restoreSettings(const QByteArray& /*settings*/)
{
    return false;
}

QList<PowerLogRecord> PowerLogClient::GetHourly()
{
    return {};
}

QList<PowerLogRecord> PowerLogClient::GetQuarterly()
{
    return {};
}

QList<PowerLogRecord> PowerLogClient::GetHourlyForPeriod(long long /*start*/, long long /*end*/)
{
    return {};
}

QList<PowerLogRecord> PowerLogClient::GetQuarterlyForPeriod(long long /*start*/, long long /*end*/)
{
    return {};
}

} // namespace data

QMap<unsigned int, localization::PanelText> menus::MenusClient::getTexts(const QList<unsigned int>& /*ids*/,
                                                                         const QString& /*locale*/)
{
    return {};
}

QString system::SystemClient::getSerial()
{
    return {};
}

QString system::SystemClient::getDeviceName()
{
    return {};
}

QList<system::AlarmInfo> system::AlarmsClient::getAlarms(int /*count*/, int /*kind*/, const QString& /*locale*/)
{
    return {};
}

hardware::UsbClient::UsbClient(QObject* parent)
    : QObject(parent)
{
}

hardware::UsbClient::~UsbClient() = default;

QStringList hardware::UsbClient::getUsbDrives()
{
    return {};
}

} // namespace zemo
