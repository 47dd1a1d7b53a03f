#pragma once

#include <QDate>

/// The key of a local hour in the energy log: its beginning in seconds since the epoch, in the present time zone. An
/// hour that comes twice has the key of the first; one that is skipped, and what is no date or no hour, has the key
/// that QDateTime gives it.
qint64 dateToSeconds(ushort year, uchar month, uchar day, uchar hour);

/// dateToSeconds and its reverse for rows in the order of time. Asks for the time zone once a day instead of once an
/// hour, as that costs as much as a row in the database does. For one thread, and for as long as the zone stays.
class HourKeys
{
public:
    struct LocalHour
    {
        ushort year;
        uchar month;
        uchar day;
        uchar hour;
    };

    qint64 keyOf(const LocalHour& objL_hour);
    LocalHour hourOf(qint64 s64L_key);

private:
    void enterDay(const QDate& objL_day);

    QDate day;
    qint64 dayStart = 0;
    QDate nextDay;
    qint64 nextDayStart = 0;
    bool isRegular = false; ///< `day` has 24 hours
};
