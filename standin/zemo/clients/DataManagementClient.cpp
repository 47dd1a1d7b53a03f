#include <zemo/DataManagementClient.h>

#include "Call.h"
#include "PlatformSignal.h"

namespace zemo::data
{

using namespace clients;

DataManagementClient* DataManagementClient::instance = nullptr;

DataManagementClient::DataManagementClient(QObject* parent)
    : QObject(parent)
{
    connect(new PlatformSignal("restoreSettingsStarted", "", this), &PlatformSignal::received, this,
            &DataManagementClient::restoreSettingsStarted);
    connect(new PlatformSignal("restoreSettingsFinished", "b", this), &PlatformSignal::received, this,
            [this](const QVariant& ok) { emit restoreSettingsFinished(ok.toBool()); });
}

QMap<int, DataValue> DataManagementClient::getValues(const QList<int>& ids) const
{
    return askRecords<wire::Values>(shortPatience, "getValues", ids);
}

QMap<int, Metadata> DataManagementClient::getMetadata(const QList<int>& ids, const QString& locale) const
{
    return askRecords<wire::Parameters>(usualPatience, "getMetadata", ids, locale);
}

QMap<int, Metadata> DataManagementClient::getDefaultLog(const QString& locale) const
{
    return askRecords<wire::Parameters>(usualPatience, "getDefaultLog", locale);
}

QMap<int, Metadata> DataManagementClient::getModbusParams(const QString& locale) const
{
    return askRecords<wire::Parameters>(usualPatience, "getModbusParams", locale);
}

QList<ChangeLogEntry> DataManagementClient::getChangeLog(int count, const QString& locale) const
{
    return askRecords<wire::Changes>(usualPatience, "getChangeLog", count, locale);
}

QByteArray DataManagementClient::saveSettings(unsigned int saveType) const
{
    return ask<QByteArray>(usualPatience, "saveSettings", saveType);
}

bool DataManagementClient::restoreSettings(const QByteArray& settings)
{
    return ask<bool>(usualPatience, "restoreSettings", settings);
}

} // namespace zemo::data
