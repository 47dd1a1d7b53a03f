#pragma once

#include "Signal.h"

#include <zemo/PowerLogRecord.h>

#include <QList>

#include <array>
#include <optional>

namespace platformd
{

/// Power records by rule, one at each full hour or quarter (UTC) of the days up to `end`.
struct PowerGenerator
{
    qint64 days = 365;
    std::optional<qint64> end; ///< seconds since 1970-01-01 UTC, inclusive; absent means the time of asking
    int decimals = 0;          ///< a column's number is divided by ten to this power
    qint64 missing = 0;        ///< about one value in so many is missing; 0 means none
    std::array<Signal, 3> columns;
};

/// The power log of one resolution: rows as given, then what a generator makes.
class PowerLog
{
public:
    QList<zemo::data::PowerLogRecord> rows;
    std::optional<PowerGenerator> generator;
    qint64 interval = 3600; ///< seconds from one generated record to the next

    /// Every record there is at `now`.
    QList<zemo::data::PowerLogRecord> all(qint64 now) const;
    /// The records from `start` to `end`, both included.
    QList<zemo::data::PowerLogRecord> period(qint64 now, qint64 start, qint64 end) const;
};

} // namespace platformd
