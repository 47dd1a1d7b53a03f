#pragma once

#include <zemo/PowerLogRecord.h>

#include <QList>

namespace zemo::data
{

/// The platform's power log. Blocking, from any thread; empty when the answer cannot be had. Periods are seconds since
/// the epoch.
class PowerLogClient
{
public:
    /// Set up by ZemoApplication::startFunctionality; good until the process ends.
    static PowerLogClient* instance_;

    QList<PowerLogRecord> GetHourly();
    QList<PowerLogRecord> GetQuarterly();
    QList<PowerLogRecord> GetHourlyForPeriod(long long start, long long end);
    QList<PowerLogRecord> GetQuarterlyForPeriod(long long start, long long end);
};

} // namespace zemo::data
