#include "PowerLog.h"

#include "Noise.h"

#include <QtNumeric>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace platformd
{

namespace
{

constexpr qint64 secondsOfDay = 86400;

bool isMissing(const PowerGenerator& generator, int column, qint64 time)
{
    return generator.missing > 0 && noise({column, time}) % static_cast<quint64>(generator.missing) == 0;
}

double valueAt(const PowerGenerator& generator, int column, qint64 time)
{
    if (isMissing(generator, column, time))
    {
        return qQNaN();
    }
    const auto number = static_cast<double>(numberAt(generator.columns[column], column, time));
    return number / std::pow(10.0, generator.decimals);
}

QList<zemo::data::PowerLogRecord> generate(const PowerGenerator& generator, qint64 interval, qint64 now, qint64 start,
                                           qint64 end)
{
    const qint64 newest = generator.end.value_or(now);
    const qint64 last = std::min(end, newest);
    const qint64 first = std::max({start, newest - generator.days * secondsOfDay + 1, qint64{0}});
    QList<zemo::data::PowerLogRecord> result;
    if (first > last)
    {
        return result;
    }
    for (qint64 time = (first + interval - 1) / interval * interval; time <= last; time += interval)
    {
        result.append({time, valueAt(generator, 0, time), valueAt(generator, 1, time), valueAt(generator, 2, time)});
    }
    return result;
}

} // namespace

QList<zemo::data::PowerLogRecord> PowerLog::all(qint64 now) const
{
    return period(now, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max());
}

QList<zemo::data::PowerLogRecord> PowerLog::period(qint64 now, qint64 start, qint64 end) const
{
    QList<zemo::data::PowerLogRecord> result;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(result),
                 [=](const zemo::data::PowerLogRecord& record)
                 { return record.timestamp >= start && record.timestamp <= end; });
    if (generator)
    {
        result.append(generate(*generator, interval, now, start, end));
    }
    return result;
}

} // namespace platformd
