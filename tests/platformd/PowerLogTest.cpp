#include "PowerLog.h"

#include <gtest/gtest.h>

#include <cmath>

using platformd::PowerGenerator;
using platformd::PowerLog;
using platformd::Signal;

namespace
{

constexpr qint64 noon = 1700006400 - 1700006400 % 86400 + 43200; // a full hour

PowerLog hourly(const PowerGenerator& generator)
{
    PowerLog log;
    log.generator = generator;
    return log;
}

PowerLog rows()
{
    PowerLog log;
    log.rows = {{3000, 1, 2, 3}, {1000, 4, 5, 6}, {2000, 7, 8, 9}};
    return log;
}

QList<qint64> times(const QList<zemo::data::PowerLogRecord>& records)
{
    QList<qint64> result;
    for (const zemo::data::PowerLogRecord& record : records)
    {
        result.append(record.timestamp);
    }
    return result;
}

} // namespace

TEST(PowerLog, RowsComeInTheOrderInWhichTheyWereGiven)
{
    EXPECT_EQ(times(rows().all(0)), (QList<qint64>{3000, 1000, 2000}));
}

TEST(PowerLog, APeriodHoldsBothItsEnds)
{
    EXPECT_EQ(times(rows().period(0, 1000, 2000)), (QList<qint64>{1000, 2000}));
    EXPECT_EQ(times(rows().period(0, 1001, 1999)), QList<qint64>());
}

TEST(PowerLog, AGeneratorMakesARecordForEachHourOfItsDaysUpToTheTimeOfAsking)
{
    PowerGenerator generator;
    generator.days = 2;

    const QList<zemo::data::PowerLogRecord> records = hourly(generator).all(noon + 600);

    ASSERT_EQ(records.size(), 48);
    EXPECT_EQ(records.first().timestamp, noon - qint64{47} * 3600);
    EXPECT_EQ(records.last().timestamp, noon);
}

TEST(PowerLog, AGeneratorOfQuartersMakesFourRecordsAnHour)
{
    PowerGenerator generator;
    generator.days = 1;
    PowerLog log = hourly(generator);
    log.interval = 900;

    const QList<zemo::data::PowerLogRecord> records = log.all(noon);

    ASSERT_EQ(records.size(), 96);
    EXPECT_EQ(records[1].timestamp - records[0].timestamp, 900);
}

TEST(PowerLog, AGeneratorWithAnEndDoesNotMoveWithTheClock)
{
    PowerGenerator generator;
    generator.days = 1;
    generator.end = noon;

    EXPECT_EQ(hourly(generator).all(noon + 999999).last().timestamp, noon);
    EXPECT_EQ(hourly(generator).all(noon + 999999).size(), 24);
}

TEST(PowerLog, APeriodOfAGeneratorIsThatPartOfAllItsRecords)
{
    PowerGenerator generator;
    generator.days = 30;
    generator.columns[0].kind = Signal::Kind::Walk;
    const PowerLog log = hourly(generator);

    const QList<zemo::data::PowerLogRecord> records = log.period(noon, noon - 7200, noon - 3600);

    ASSERT_EQ(times(records), (QList<qint64>{noon - 7200, noon - 3600}));
    EXPECT_EQ(records[1].valueA, log.all(noon)[30 * 24 - 2].valueA);
}

TEST(PowerLog, APeriodFarOutsideTheRecordsIsEmpty)
{
    PowerGenerator generator;

    EXPECT_TRUE(hourly(generator).period(noon, noon + 1, std::numeric_limits<qint64>::max()).isEmpty());
    EXPECT_TRUE(hourly(generator).period(noon, std::numeric_limits<qint64>::min(), -1).isEmpty());
}

TEST(PowerLog, AGeneratedValueIsItsColumnsNumberWithTheDecimalsCutOff)
{
    PowerGenerator generator;
    generator.decimals = 2;
    generator.columns[0].value = 150;
    generator.columns[1].value = -5;
    generator.columns[2].value = 7;

    const zemo::data::PowerLogRecord record = hourly(generator).all(noon).first();

    EXPECT_DOUBLE_EQ(record.valueA, 1.5);
    EXPECT_DOUBLE_EQ(record.valueB, -0.05);
    EXPECT_DOUBLE_EQ(record.valueC, 0.07);
}

TEST(PowerLog, AboutOneValueInSoManyIsMissing)
{
    PowerGenerator generator;
    generator.missing = 50;

    int missing = 0;
    const QList<zemo::data::PowerLogRecord> records = hourly(generator).all(noon);
    for (const zemo::data::PowerLogRecord& record : records)
    {
        missing += std::isnan(record.valueA) + std::isnan(record.valueB) + std::isnan(record.valueC);
    }

    EXPECT_EQ(records.size(), 365 * 24);
    EXPECT_NEAR(missing, 525, 100);
}

TEST(PowerLog, TheSameValuesAreMissingOnEveryCall)
{
    PowerGenerator generator;
    generator.missing = 3;
    const PowerLog log = hourly(generator);

    const QList<zemo::data::PowerLogRecord> first = log.all(noon);
    const QList<zemo::data::PowerLogRecord> later = log.period(noon + 5000, first[100].timestamp, noon);

    for (qsizetype place = 0; place < later.size(); ++place)
    {
        ASSERT_EQ(std::isnan(later[place].valueB), std::isnan(first[place + 100].valueB)) << place;
    }
}
