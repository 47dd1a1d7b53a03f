#include <zemo/PowerLogClient.h>

#include "Call.h"

namespace zemo::data
{

using namespace clients;

PowerLogClient* PowerLogClient::instance_ = nullptr;

QList<PowerLogRecord> PowerLogClient::GetHourly()
{
    return askRecords<wire::PowerRecords>(usualPatience, "GetHourly");
}

QList<PowerLogRecord> PowerLogClient::GetQuarterly()
{
    return askRecords<wire::PowerRecords>(usualPatience, "GetQuarterly");
}

QList<PowerLogRecord> PowerLogClient::GetHourlyForPeriod(long long start, long long end)
{
    return askRecords<wire::PowerRecords>(usualPatience, "GetHourlyForPeriod", start, end);
}

QList<PowerLogRecord> PowerLogClient::GetQuarterlyForPeriod(long long start, long long end)
{
    return askRecords<wire::PowerRecords>(usualPatience, "GetQuarterlyForPeriod", start, end);
}

} // namespace zemo::data
