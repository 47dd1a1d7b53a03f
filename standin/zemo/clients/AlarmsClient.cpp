#include <zemo/AlarmsClient.h>

#include "Call.h"

namespace zemo::system
{

AlarmsClient* AlarmsClient::instance = nullptr;

QList<AlarmInfo> AlarmsClient::getAlarms(int count, int kind, const QString& locale)
{
    return clients::askRecords<wire::Alarms>(clients::usualPatience, "getAlarms", count, kind, locale);
}

} // namespace zemo::system
