#include "energylog/TimeKeys.h"

#include "TimeZone.h"

#include <QDateTime>

#include <gtest/gtest.h>

namespace
{

using LocalHour = HourKeys::LocalHour;

std::vector<LocalHour> hoursOf(ushort year)
{
    std::vector<LocalHour> hours;
    for (QDate day(year, 1, 1); day.year() == year; day = day.addDays(1))
    {
        for (uchar hour = 0; hour < 24; ++hour)
        {
            hours.push_back({year, static_cast<uchar>(day.month()), static_cast<uchar>(day.day()), hour});
        }
    }
    return hours;
}

QString named(const LocalHour& hour)
{
    return QStringLiteral("%1-%2-%3 %4").arg(hour.year).arg(hour.month).arg(hour.day).arg(hour.hour);
}

qint64 keyOf(const LocalHour& hour)
{
    return dateToSeconds(hour.year, hour.month, hour.day, hour.hour);
}

/// One with the change at midnight (Beirut, Santiago), by half an hour, by two hours, in the other half of the year.
class TimeKeysInZone : public testing::TestWithParam<const char*>
{
};

} // namespace

TEST(TimeKeys, AnHourHasTheSecondsSinceTheEpochOfItsBeginning)
{
    const TimeZone zone("Europe/Berlin");

    EXPECT_EQ(dateToSeconds(2024, 3, 5, 7), 1709618400);
    EXPECT_EQ(dateToSeconds(2024, 7, 5, 7), 1720155600);
    EXPECT_EQ(dateToSeconds(1969, 12, 31, 23), -7200);
}

TEST(TimeKeys, ASkippedHourFallsOnTheOneAfterIt)
{
    const TimeZone zone("Europe/Berlin");

    EXPECT_EQ(dateToSeconds(2024, 3, 31, 1), 1711843200);
    EXPECT_EQ(dateToSeconds(2024, 3, 31, 2), 1711846800);
    EXPECT_EQ(dateToSeconds(2024, 3, 31, 3), 1711846800);
}

TEST(TimeKeys, ARepeatedHourIsTheFirstOfTheTwo)
{
    const TimeZone zone("Europe/Berlin");

    for (uchar month = 1; month <= 12; ++month)
    {
        dateToSeconds(2024, month, 15, 5);
        EXPECT_EQ(dateToSeconds(2024, 10, 27, 2), 1729987200) << "after an hour of month " << int(month);
    }
    EXPECT_EQ(dateToSeconds(2024, 10, 27, 3), 1729994400);
}

TEST(TimeKeys, ARepeatedHourIsTheFirstHoweverFarTheClockGoesBack)
{
    struct Repeated
    {
        const char* zone;
        LocalHour hour;
        qint64 first;
    };
    // By two hours, by two without daylight saving time, by half an hour.
    for (const Repeated& repeated : {Repeated{"Antarctica/Troll", {2024, 10, 27, 1}, 1729983600},
                                     Repeated{"Antarctica/Troll", {2024, 10, 27, 2}, 1729987200},
                                     Repeated{"Asia/Magadan", {2014, 10, 26, 0}, 1414238400},
                                     Repeated{"Asia/Magadan", {2014, 10, 26, 1}, 1414242000},
                                     Repeated{"Asia/Colombo", {2006, 4, 15, 0}, 1145037600}})
    {
        const TimeZone zone(repeated.zone);
        for (uchar month = 1; month <= 12; ++month)
        {
            dateToSeconds(repeated.hour.year, month, 15, 5);
            EXPECT_EQ(keyOf(repeated.hour), repeated.first)
                << repeated.zone << ' ' << int(repeated.hour.hour) << " after an hour of month " << int(month);
        }
    }
}

TEST(TimeKeys, ADateThatIsNoneHasTheKeyOfItsQDateTime)
{
    const TimeZone zone("Europe/Berlin");

    EXPECT_EQ(dateToSeconds(2024, 2, 30, 5), QDateTime(QDate(), QTime(5, 0)).toSecsSinceEpoch());
    EXPECT_EQ(dateToSeconds(2024, 13, 1, 0), QDateTime(QDate(), QTime(0, 0)).toSecsSinceEpoch());
    EXPECT_EQ(dateToSeconds(2024, 3, 5, 24), QDateTime(QDate(2024, 3, 5), QTime()).toSecsSinceEpoch());
}

TEST_P(TimeKeysInZone, TheHoursOfAYearInOrderHaveTheSameKeysAsOneByOne)
{
    const TimeZone zone(GetParam());
    HourKeys keys;

    for (const LocalHour& hour : hoursOf(2024))
    {
        ASSERT_EQ(keys.keyOf(hour), keyOf(hour)) << named(hour).toStdString();
    }
}

TEST_P(TimeKeysInZone, TheHoursOfAYearInReverseHaveTheSameKeysAsOneByOne)
{
    const TimeZone zone(GetParam());
    HourKeys keys;
    std::vector<LocalHour> hours = hoursOf(2024);
    std::reverse(hours.begin(), hours.end());

    for (const LocalHour& hour : hours)
    {
        ASSERT_EQ(keys.keyOf(hour), keyOf(hour)) << named(hour).toStdString();
    }
}

TEST_P(TimeKeysInZone, EveryQuarterOfAnHourOfAYearReadsAsQDateTimeReadsIt)
{
    const TimeZone zone(GetParam());
    HourKeys keys;

    for (qint64 key = 1704000000; key < 1704000000 + 370 * 86400; key += 900)
    {
        const QDateTime time = QDateTime::fromSecsSinceEpoch(key);
        ASSERT_EQ(named(keys.hourOf(key)).toStdString(), time.toString(QStringLiteral("yyyy-M-d H")).toStdString())
            << key;
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, TimeKeysInZone,
                         testing::Values("UTC", "Europe/Berlin", "Asia/Kolkata", "Australia/Lord_Howe", "Asia/Beirut",
                                         "America/Santiago", "Atlantic/Azores", "Africa/Casablanca",
                                         "Antarctica/Troll"),
                         [](const testing::TestParamInfo<const char*>& zone)
                         { return QString::fromLatin1(zone.param).remove('/').remove('_').toStdString(); });

TEST(TimeKeys, HoursAndDaysThatAreNoneKeepTheirKeysAmongOthers)
{
    const TimeZone zone("Europe/Berlin");
    HourKeys keys;
    const LocalHour valid{2024, 3, 5, 7};

    for (const LocalHour& hour : {LocalHour{2024, 3, 5, 24}, LocalHour{2024, 2, 30, 5}, LocalHour{2024, 13, 1, 0},
                                  LocalHour{0, 1, 1, 3}, LocalHour{2024, 2, 30, 255}})
    {
        EXPECT_EQ(keys.keyOf(valid), keyOf(valid));
        EXPECT_EQ(keys.keyOf(hour), keyOf(hour)) << named(hour).toStdString();
    }
}

TEST(TimeKeys, AFreshOneKnowsNoDay)
{
    const TimeZone zone("Europe/Berlin");

    EXPECT_EQ(HourKeys().keyOf({0, 0, 0, 5}), dateToSeconds(0, 0, 0, 5));
    EXPECT_EQ(named(HourKeys().hourOf(0)).toStdString(), "1970-1-1 1");
}
