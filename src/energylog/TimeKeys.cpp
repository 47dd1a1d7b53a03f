#include "energylog/TimeKeys.h"

#include <QDateTime>

namespace
{

constexpr qint64 secondsPerHour = 3600;
constexpr qint64 hoursPerDay = 24;
constexpr qint64 secondsPerDay = hoursPerDay * secondsPerHour;

/// How far the local clock is ahead of UTC. From what the clock shows: QDateTime::offsetFromUtc goes wrong in an hour
/// that comes twice without daylight saving time.
qint64 offsetAt(qint64 s64L_moment)
{
    const QDateTime objL_local = QDateTime::fromSecsSinceEpoch(s64L_moment);
    return QDateTime(objL_local.date(), objL_local.time(), Qt::UTC).toSecsSinceEpoch() - s64L_moment;
}

HourKeys::LocalHour localHour(const QDate& objL_day, qint64 s64L_hour)
{
    return {static_cast<ushort>(objL_day.year()), static_cast<uchar>(objL_day.month()),
            static_cast<uchar>(objL_day.day()), static_cast<uchar>(s64L_hour)};
}

qint64 startOf(const QDate& objL_day)
{
    const HourKeys::LocalHour objL_hour = localHour(objL_day, 0);
    return dateToSeconds(objL_hour.year, objL_hour.month, objL_hour.day, objL_hour.hour);
}

} // namespace

qint64 dateToSeconds(ushort year, uchar month, uchar day, uchar hour)
{
    const QDateTime objL_time(QDate(year, month, day), QTime(hour, 0, 0, 0));
    const qint64 s64L_key = objL_time.toSecsSinceEpoch();
    // When the clock goes back, hours come twice, and which of the two QDateTime takes depends on what the C library
    // converted last. Always the first, which has the offset of the day before, or else one hour could have two rows.
    const qint64 s64L_offsetBefore = offsetAt(s64L_key - secondsPerDay);
    const qint64 s64L_back = s64L_offsetBefore - offsetAt(s64L_key);
    const bool bL_second = s64L_back != 0 && offsetAt(s64L_key - s64L_back) == s64L_offsetBefore;
    return bL_second ? s64L_key - s64L_back : s64L_key;
}

qint64 HourKeys::keyOf(const LocalHour& objL_hour)
{
    enterDay(QDate(objL_hour.year, objL_hour.month, objL_hour.day));
    if (!isRegular || objL_hour.hour >= hoursPerDay)
    {
        return dateToSeconds(objL_hour.year, objL_hour.month, objL_hour.day, objL_hour.hour);
    }
    return dayStart + objL_hour.hour * secondsPerHour;
}

HourKeys::LocalHour HourKeys::hourOf(qint64 s64L_key)
{
    if (isRegular && s64L_key >= dayStart && s64L_key < nextDayStart)
    {
        return localHour(day, (s64L_key - dayStart) / secondsPerHour);
    }
    const QDateTime objL_time = QDateTime::fromSecsSinceEpoch(s64L_key);
    enterDay(objL_time.date());
    return localHour(objL_time.date(), objL_time.time().hour());
}

void HourKeys::enterDay(const QDate& objL_day)
{
    if (objL_day == day)
    {
        return;
    }
    dayStart = objL_day == nextDay ? nextDayStart : startOf(objL_day);
    day = objL_day;
    nextDay = day.addDays(1);
    nextDayStart = startOf(nextDay);
    isRegular = nextDayStart == dayStart + secondsPerDay;
}
