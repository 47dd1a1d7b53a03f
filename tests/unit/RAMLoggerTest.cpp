#include "FakePlatform.h"
#include "Mutexes.h"
#include "RecordingLogger.h"

#include "LogConfig.h"
#include "logging/RAMLogger.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace
{

struct Sample
{
    uint32_t time;
    long long value;

    bool operator==(const Sample&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Sample& sample)
{
    return stream << sample.time << ':' << sample.value;
}

using Samples = std::vector<Sample>;

} // namespace

/// Looks at what a RAMLogger has stored.
class RAMLoggerInspector
{
public:
    static std::vector<uint32_t> ids(const RAMLogger& logger)
    {
        std::vector<uint32_t> found;
        for (const RamParameter* each = logger.parameterList.get(); each; each = each->next.get())
        {
            found.push_back(each->id);
        }
        return found;
    }

    static const RamParameter* parameter(const RAMLogger& logger, int32_t id)
    {
        const RamParameter* each = logger.parameterList.get();
        while (each && each->id != static_cast<uint32_t>(id))
        {
            each = each->next.get();
        }
        return each;
    }

    static Samples samples(const RAMLogger& logger, int32_t id)
    {
        Samples found;
        const RamParameter* const list = parameter(logger, id);
        for (const RamSample* each = list ? list->first : nullptr; each; each = each->next)
        {
            found.push_back({each->time, each->value.getIntValue()});
        }
        return found;
    }

    /// Whether another thread finds the lock of the list taken.
    static bool isLocked(RAMLogger& logger)
    {
        bool had = false;
        std::thread(
            [&]
            {
                had = logger.listLock.lock(false);
                if (had)
                {
                    logger.listLock.unlock();
                }
            })
            .join();
        return !had;
    }

    /// What is wrong with the memory of one parameter; empty when nothing is.
    static std::string memoryFault(const RamParameter& parameter)
    {
        size_t places = 0;
        std::vector<const RamSample*> order;
        for (const RamParameter::Slab& slab : parameter.slabs)
        {
            places += slab.capacity;
            for (const RamSample* place = slab.begin(); place != slab.end(); ++place)
            {
                order.push_back(place);
            }
        }
        size_t count = 0;
        auto at = order.begin();
        const RamSample* last = nullptr;
        for (const RamSample* each = parameter.first; each; each = each->next)
        {
            at = std::find(at, order.end(), each);
            if (at == order.end())
            {
                return "a sample lies outside the slabs or before its predecessor";
            }
            last = each;
            ++count;
        }
        if (last != parameter.last || count != parameter.count)
        {
            return "last or count is wrong";
        }
        // A slab at either end that is not full, and the gaps that are not worth closing.
        const size_t allowed = count + 2 * std::clamp<size_t>(count, 1, 64) + count / 32 + 64;
        return places <= allowed ? "" : "too much memory for " + std::to_string(count) + ": " + std::to_string(places);
    }
};

namespace
{

using Inspector = RAMLoggerInspector;

DataValue integer(long long value)
{
    DataValue result;
    result.setVarSize(zemo::data::VarSizeInt32);
    result.setIntValue(value);
    result.setIsOk(true);
    return result;
}

QMap<int32_t, Metadata> keys(std::initializer_list<int32_t> ids)
{
    QMap<int32_t, Metadata> result;
    for (const int32_t id : ids)
    {
        result.insert(id, Metadata());
    }
    return result;
}

QMap<int32_t, DataValue> row(std::initializer_list<std::pair<int32_t, long long>> values)
{
    QMap<int32_t, DataValue> result;
    for (const auto& [id, value] : values)
    {
        result.insert(id, integer(value));
    }
    return result;
}

class RAMLoggerTest : public testing::Test
{
protected:
    RAMLoggerTest()
    {
        setDefaults(logConfig());
    }

    ~RAMLoggerTest() override
    {
        setDefaults(logConfig());
    }

    static void setLimits(int32_t minute, int32_t tenSeconds, int32_t second)
    {
        logConfig().intervalMinute = minute;
        logConfig().interval10Sec = tenSeconds;
        logConfig().interval1Sec = second;
    }

    /// Stores these as parameter 1 and thins them at the time 6000, with the limits at 1000, 4000 and 5000.
    Samples thinned(std::initializer_list<Sample> samples)
    {
        setLimits(5000, 2000, 1000);
        ram.updateParameters(keys({1}));
        for (const Sample& sample : samples)
        {
            EXPECT_NE(sample.time % 60, 0U) << "this would thin already";
            ram.log(sample.time, row({{1, sample.value}}));
        }
        EXPECT_EQ(Inspector::samples(ram, 1), Samples(samples));
        ram.log(6000, {});
        return Inspector::samples(ram, 1);
    }

    /// Replays and does it again if the second changed meanwhile. `make` gets the present time and fills the logger.
    int64_t replayAtKnownTime(RecordingLogger& target, const std::function<QDateTime(int64_t now)>& make)
    {
        constexpr int Attempts = 100;
        for (int attempt = 0; attempt < Attempts; ++attempt)
        {
            target.times.clear();
            target.rows.clear();
            ram.updateParameters({});
            const int64_t now = QDateTime::currentSecsSinceEpoch();
            const QDateTime from = make(now);
            ram.replayTo(&target, from, false);
            if (QDateTime::currentSecsSinceEpoch() == now)
            {
                return now;
            }
        }
        ADD_FAILURE() << "no replay was through within a second";
        return 0;
    }

    /// Replays a value that is older than all limits, from the time that `beginOf` finds for the present one.
    int64_t replayOldValue(RecordingLogger& target, const std::function<int64_t(int64_t now)>& beginOf)
    {
        return replayAtKnownTime(target,
                                 [&](int64_t present)
                                 {
                                     ram.updateParameters(keys({1}));
                                     ram.log(static_cast<uint32_t>(present - 1000000), row({{1, 5}}));
                                     return QDateTime::fromSecsSinceEpoch(beginOf(present));
                                 });
    }

    struct FirstRow
    {
        int64_t begin;
        int64_t time;
    };

    FirstRow firstRowBehind(const std::function<int64_t(int64_t now)>& beginOf)
    {
        RecordingLogger target;
        const int64_t now = replayOldValue(target, beginOf);
        return {beginOf(now), target.times.empty() ? 0 : target.times[0]};
    }

    /// How old each row of a full replay is.
    std::vector<int64_t> agesOfRows()
    {
        RecordingLogger target;
        const int64_t now = replayOldValue(target, [](int64_t) { return 0; });
        std::vector<int64_t> ages;
        for (const uint32_t time : target.times)
        {
            ages.push_back(now - time);
        }
        return ages;
    }

    FakePlatform platform;
    RAMLogger ram{nullptr};
};

QDateTime at(int64_t seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds);
}

// Construction and the operations that do nothing

TEST_F(RAMLoggerTest, IsOfTypeOneWithIndexZero)
{
    EXPECT_EQ(ram.getType(), 1);
    EXPECT_EQ(ram.getLogIndex(), 0U);
}

TEST_F(RAMLoggerTest, StartAndStopAnswerTrueAndKeepTheHistory)
{
    ram.updateParameters(keys({1}));
    ram.log(101, row({{1, 5}}));

    EXPECT_TRUE(ram.start(false));
    EXPECT_TRUE(ram.stop());

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}}));
}

TEST_F(RAMLoggerTest, BelongsToItsParent)
{
    QObject parent;

    EXPECT_EQ((new RAMLogger(&parent))->parent(), &parent);
}

// log

TEST_F(RAMLoggerTest, LogBeforeAnyParametersStoresNothingAndAnswersTrue)
{
    EXPECT_TRUE(ram.log(101, row({{1, 5}})));

    ram.updateParameters(keys({1}));
    EXPECT_EQ(Inspector::samples(ram, 1), Samples{});
}

TEST_F(RAMLoggerTest, AnUnchangedValueStoresNothingAndMovesNothing)
{
    ram.updateParameters(keys({1}));

    ram.log(101, row({{1, 5}}));
    ram.log(102, row({{1, 5}}));
    ram.log(103, row({{1, 6}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}, {103, 6}}));
}

TEST_F(RAMLoggerTest, AValueThatOnlyStopsBeingOkIsAChange)
{
    ram.updateParameters(keys({1}));
    DataValue bad = integer(5);
    bad.setIsOk(false);

    ram.log(101, row({{1, 5}}));
    ram.log(102, {{1, bad}});

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}, {102, 5}}));
}

TEST_F(RAMLoggerTest, ValuesOfOtherIdsAreIgnored)
{
    ram.updateParameters(keys({2}));

    ram.log(101, row({{1, 5}, {2, 6}, {3, 7}}));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{2}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 6}}));
}

TEST_F(RAMLoggerTest, AParameterWithoutAValueKeepsItsLastSample)
{
    ram.updateParameters(keys({1, 2}));
    ram.log(101, row({{1, 5}, {2, 6}}));

    ram.log(102, row({{2, 7}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 6}, {102, 7}}));
}

TEST_F(RAMLoggerTest, TheSecondLogOfOneSecondIsDroppedEvenWhenItDiffers)
{
    ram.updateParameters(keys({1}));

    ram.log(101, row({{1, 5}}));
    ram.log(101, row({{1, 6}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}}));
}

TEST_F(RAMLoggerTest, ATimeNineSecondsBehindIsDropped)
{
    ram.updateParameters(keys({1}));
    ram.log(90, row({{1, 4}}));
    ram.log(101, row({{1, 5}}));

    ram.log(92, row({{1, 6}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{90, 4}, {101, 5}}));
}

TEST_F(RAMLoggerTest, ATimeTenSecondsBehindWipesTheSamplesAndStoresThisOne)
{
    ram.updateParameters(keys({1}));
    ram.log(70, row({{1, 4}}));
    ram.log(101, row({{1, 5}}));

    ram.log(91, row({{1, 6}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{91, 6}}));
}

TEST_F(RAMLoggerTest, ATimeTenSecondsBehindStoresThisOneAlsoWhenTheValueIsTheSame)
{
    ram.updateParameters(keys({1}));
    ram.log(101, row({{1, 5}}));

    ram.log(91, row({{1, 5}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{91, 5}}));
}

TEST_F(RAMLoggerTest, AClockThatStepsBackWipesOnlyTheParametersThatGetAValue)
{
    ram.updateParameters(keys({1, 2}));
    ram.log(101, row({{1, 5}, {2, 5}}));

    ram.log(31, row({{1, 6}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{31, 6}}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 5}}));
}

TEST_F(RAMLoggerTest, EveryLogRaisesValuesUpdatedOnceWithItsArguments)
{
    QSignalSpy spy(&ram, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)));
    ram.updateParameters(keys({1}));

    ram.log(101, row({{1, 5}, {9, 1}}));
    ram.log(101, {});

    ASSERT_EQ(spy.count(), 2);
    EXPECT_EQ(spy[0][0].value<uint32_t>(), 101U);
    EXPECT_EQ((spy[0][1].value<QMap<int32_t, DataValue>>()), row({{1, 5}, {9, 1}}));
    EXPECT_TRUE((spy[1][1].value<QMap<int32_t, DataValue>>().isEmpty()));
}

TEST_F(RAMLoggerTest, ValuesUpdatedIsRaisedWithTheListLockedAndTheValuesStored)
{
    bool locked = false;
    Samples stored;
    ram.updateParameters(keys({1}));
    QObject::connect(&ram, &RAMLogger::valuesUpdated,
                     [&]
                     {
                         locked = Inspector::isLocked(ram);
                         stored = Inspector::samples(ram, 1);
                     });

    ram.log(101, row({{1, 5}}));

    EXPECT_TRUE(locked);
    EXPECT_EQ(stored, (Samples{{101, 5}}));
    EXPECT_FALSE(Inspector::isLocked(ram));
}

TEST_F(RAMLoggerTest, TracesNothing)
{
    ram.updateParameters(keys({1}));
    ram.log(120, row({{1, 5}}));
    ram.log(60, row({{1, 5}}));

    EXPECT_TRUE(platform.trace().empty());
}

// The set of parameters

TEST_F(RAMLoggerTest, TheListAscendsByIdAsAnUnsignedNumber)
{
    ram.updateParameters(keys({5, -1, 0x7fffffff, 0, std::numeric_limits<int32_t>::min(), 1}));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{0, 1, 5, 0x7fffffffU, 0x80000000U, 0xffffffffU}));
}

TEST_F(RAMLoggerTest, NegativeIdsGetTheirOwnValues)
{
    ram.updateParameters(keys({-2, -1, 1, 2}));

    ram.log(101, row({{-2, 12}, {-1, 11}, {1, 21}, {2, 22}}));

    EXPECT_EQ(Inspector::samples(ram, -2), (Samples{{101, 12}}));
    EXPECT_EQ(Inspector::samples(ram, -1), (Samples{{101, 11}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 21}}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 22}}));
}

TEST_F(RAMLoggerTest, TheSameKeysLeaveAllHistoryUntouched)
{
    ram.updateParameters(keys({-1, 1, 2}));
    ram.log(101, row({{-1, 4}, {1, 5}, {2, 6}}));
    ram.log(102, row({{-1, 4}, {1, 7}, {2, 6}}));

    ram.updateParameters(keys({-1, 1, 2}));

    EXPECT_EQ(Inspector::samples(ram, -1), (Samples{{101, 4}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{101, 5}, {102, 7}}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 6}}));
}

TEST_F(RAMLoggerTest, AnEmptyMapDeletesAllHistory)
{
    ram.updateParameters(keys({-1, 1}));
    ram.log(101, row({{-1, 4}, {1, 5}}));

    ram.updateParameters({});
    EXPECT_TRUE(Inspector::ids(ram).empty());

    ram.updateParameters(keys({-1, 1}));
    EXPECT_EQ(Inspector::samples(ram, 1), Samples{});
    EXPECT_EQ(Inspector::samples(ram, -1), Samples{});
}

TEST_F(RAMLoggerTest, AParameterThatStaysKeepsItsHistoryAmongThoseThatComeAndGo)
{
    ram.updateParameters(keys({-3, 1, 3, 5}));
    ram.log(101, row({{-3, 1}, {1, 2}, {3, 3}, {5, 4}}));

    ram.updateParameters(keys({-3, -2, 2, 3, 6}));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{2, 3, 6, 0xfffffffdU, 0xfffffffeU}));
    EXPECT_EQ(Inspector::samples(ram, 3), (Samples{{101, 3}}));
    EXPECT_EQ(Inspector::samples(ram, -3), (Samples{{101, 1}}));
    EXPECT_EQ(Inspector::samples(ram, 2), Samples{});
}

TEST_F(RAMLoggerTest, ASetOfTheSameSizeWithAnotherParameterInAnyPlaceIsAnotherSet)
{
    for (const int size : {1, 2, 3, 4, 5})
    {
        for (int other = 1; other <= size; ++other)
        {
            std::vector<uint32_t> expected;
            QMap<int32_t, Metadata> before;
            QMap<int32_t, Metadata> after;
            for (int place = 1; place <= size; ++place)
            {
                const int id = place == other ? 10 * place + 1 : 10 * place;
                before.insert(10 * place, {});
                after.insert(id, {});
                expected.push_back(static_cast<uint32_t>(id));
            }
            ram.updateParameters(before);
            ram.updateParameters(after);
            EXPECT_EQ(Inspector::ids(ram), expected);
        }
    }
}

TEST_F(RAMLoggerTest, RemoveParameterDropsItWithItsSamples)
{
    ram.updateParameters(keys({-1, 1, 2}));
    ram.log(101, row({{-1, 3}, {1, 5}, {2, 6}}));

    ram.removeParameter(1);
    ram.removeParameter(-1);

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{2}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 6}}));
    EXPECT_FALSE(Inspector::isLocked(ram));
}

TEST_F(RAMLoggerTest, ARemovedParameterComesBackEmptyWithTheNextSet)
{
    ram.updateParameters(keys({-1, 1, 2}));
    ram.log(101, row({{-1, 3}, {1, 5}, {2, 6}}));
    ram.removeParameter(1);

    ram.updateParameters(keys({-1, 1, 2}));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{1, 2, 0xffffffffU}));
    EXPECT_EQ(Inspector::samples(ram, 1), Samples{});
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{101, 6}}));
}

TEST_F(RAMLoggerTest, RemoveParameterOfAnUnknownIdChangesNothing)
{
    ram.updateParameters(keys({1, 3}));

    ram.removeParameter(2);
    ram.removeParameter(4);
    ram.removeParameter(-1);

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{1, 3}));
}

// Thinning

TEST_F(RAMLoggerTest, ASampleBeyondTheLimitMovesToTheLimit)
{
    EXPECT_EQ(thinned({{950, 1}, {1100, 2}}), (Samples{{1000, 1}, {1140, 2}}));
}

TEST_F(RAMLoggerTest, ASampleBeyondTheLimitThatIsOvertakenThereIsDeleted)
{
    EXPECT_EQ(thinned({{950, 1}, {990, 2}}), (Samples{{1000, 2}}));
}

TEST_F(RAMLoggerTest, ASampleBeyondTheLimitIsOvertakenByOneAtTheLimit)
{
    EXPECT_EQ(thinned({{950, 1}, {1000, 2}, {1100, 3}}), (Samples{{1020, 2}, {1140, 3}}));
}

TEST_F(RAMLoggerTest, ASampleOfTheMinuteZoneMovesUpToTheNextMinute)
{
    EXPECT_EQ(thinned({{1001, 1}, {1100, 2}}), (Samples{{1020, 1}, {1140, 2}}));
}

TEST_F(RAMLoggerTest, ASampleOfTheMinuteZoneIsOvertakenByOneAtItsGridPoint)
{
    EXPECT_EQ(thinned({{1001, 1}, {1019, 2}, {1021, 3}}), (Samples{{1020, 2}, {1080, 3}}));
}

TEST_F(RAMLoggerTest, ASampleOfTheTenSecondZoneThatIsOvertakenIsDeleted)
{
    EXPECT_EQ(thinned({{4207, 1}, {4209, 2}}), (Samples{{4210, 2}}));
}

TEST_F(RAMLoggerTest, ASampleOfTheTenSecondZoneMovesUpToTheNextTen)
{
    EXPECT_EQ(thinned({{4207, 1}, {4211, 2}}), (Samples{{4210, 1}, {4220, 2}}));
}

TEST_F(RAMLoggerTest, ASampleOfTheOneSecondZoneStays)
{
    EXPECT_EQ(thinned({{5003, 1}, {5004, 2}}), (Samples{{5003, 1}, {5004, 2}}));
}

TEST_F(RAMLoggerTest, TheZonesBeginAtTheirLimits)
{
    EXPECT_EQ(thinned({{999, 1}, {3999, 2}}), (Samples{{1000, 1}, {4020, 2}}));
    EXPECT_EQ(thinned({{4001, 3}, {4999, 4}, {5001, 5}}), (Samples{{4010, 3}, {5000, 4}, {5001, 5}}));
}

TEST_F(RAMLoggerTest, ASampleOnTheGridOfItsZoneIsNotTouched)
{
    EXPECT_EQ(thinned({{4210, 1}, {4211, 2}, {4219, 3}}), (Samples{{4210, 1}, {4220, 3}}));
}

TEST_F(RAMLoggerTest, AMinuteThatReachesIntoTheTenSecondZoneIsOvertakenThere)
{
    // 3999 would move to 4020, and 4001 comes before that.
    EXPECT_EQ(thinned({{3999, 1}, {4001, 2}}), (Samples{{4010, 2}}));
}

TEST_F(RAMLoggerTest, NeighboursThatADeletionMadeEqualAreMerged)
{
    EXPECT_EQ(thinned({{4201, 1}, {4212, 2}, {4213, 1}, {4225, 3}}), (Samples{{4210, 1}, {4230, 3}}));
}

TEST_F(RAMLoggerTest, AnEqualSampleAtTheEndIsMergedToo)
{
    EXPECT_EQ(thinned({{4201, 1}, {4212, 2}, {4213, 1}}), (Samples{{4210, 1}}));

    ram.log(6001, row({{1, 1}}));
    ram.log(6002, row({{1, 2}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{4210, 1}, {6002, 2}}));
}

TEST_F(RAMLoggerTest, TheNewestSampleIsNeverDeletedByAge)
{
    EXPECT_EQ(thinned({{101, 1}}), (Samples{{1000, 1}}));
}

TEST_F(RAMLoggerTest, OnlyASecondDivisibleBySixtyThins)
{
    setLimits(5000, 2000, 1000);
    ram.updateParameters(keys({1}));
    ram.log(4207, row({{1, 1}}));

    ram.log(6059, {});
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{4207, 1}}));

    ram.log(6060, {});
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{4210, 1}}));
}

TEST_F(RAMLoggerTest, ThinningRunsOnParametersWithAndWithoutAValueInTheRow)
{
    setLimits(5000, 2000, 1000);
    ram.updateParameters(keys({1, 2}));
    ram.log(4207, row({{1, 1}, {2, 1}}));

    ram.log(6000, row({{2, 2}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{4210, 1}}));
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{4210, 1}, {6000, 2}}));
}

TEST_F(RAMLoggerTest, TheLimitsAreReadAtEveryUse)
{
    EXPECT_EQ(thinned({{4207, 1}, {4211, 2}}), (Samples{{4210, 1}, {4220, 2}}));

    setLimits(1790, 1000, 1000);
    ram.log(6000, {});

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{4260, 2}}));
}

TEST_F(RAMLoggerTest, AnEarlierTimeThanTheLimitsWrapsAndMovesEverythingToTheLimit)
{
    setLimits(259200, 3600, 600);
    ram.updateParameters(keys({1}));
    ram.log(61, row({{1, 1}}));
    ram.log(62, row({{1, 2}}));

    ram.log(120, {});

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{static_cast<uint32_t>(120 - 259200), 2}}));
}

TEST_F(RAMLoggerTest, AListThatThinningFindsOutOfOrderIsDroppedWhole)
{
    setLimits(5000, 2000, 1000);
    ram.updateParameters(keys({1, 2}));
    ram.log(5101, row({{1, 1}, {2, 1}}));
    ram.log(5102, row({{1, 2}, {2, 2}}));
    ram.log(5103, row({{1, 3}, {2, 3}}));
    Inspector::parameter(ram, 1)->first->next->time = 5100;

    ram.log(6000, {});

    EXPECT_EQ(Inspector::samples(ram, 1), Samples{});
    EXPECT_EQ(Inspector::samples(ram, 2), (Samples{{5101, 1}, {5102, 2}, {5103, 3}}));
    ram.log(6001, row({{1, 3}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{6001, 3}}));
}

TEST_F(RAMLoggerTest, AConstantParameterHoldsOneSampleThatMovesUpWithTheLimit)
{
    const uint32_t begin = 1699999980; // a whole minute
    ASSERT_EQ(begin % 60, 0U);
    ram.updateParameters(keys({1}));

    for (uint32_t time = begin; time <= begin + 259200; time += 60)
    {
        ram.log(time, row({{1, 5}}));
    }
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{begin, 5}}));

    ram.log(begin + 259260, row({{1, 5}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{begin + 60, 5}}));

    ram.log(begin + 259320, row({{1, 5}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{begin + 120, 5}}));
}

TEST_F(RAMLoggerTest, ABriefChangeIsStoredAndVanishesBetweenTwoGridPoints)
{
    setLimits(5000, 2000, 60);
    ram.updateParameters(keys({1}));
    ram.log(5890, row({{1, 1}}));
    ram.log(5903, row({{1, 2}}));
    ram.log(5905, row({{1, 1}}));
    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{5890, 1}, {5903, 2}, {5905, 1}}));

    ram.log(6000, {});

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{5890, 1}}));
}

TEST_F(RAMLoggerTest, ABriefChangeOverAGridPointStays)
{
    setLimits(5000, 2000, 60);
    ram.updateParameters(keys({1}));
    ram.log(5890, row({{1, 1}}));
    ram.log(5909, row({{1, 2}}));
    ram.log(5911, row({{1, 1}}));

    ram.log(6000, {});

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{{5890, 1}, {5910, 2}, {5920, 1}}));
}

TEST_F(RAMLoggerTest, AFullHistoryIsAsLongAsTheGridsAllow)
{
    const uint32_t end = 1700000040; // a whole minute
    ASSERT_EQ(end % 60, 0U);
    setLimits(7200, 3600, 600);
    ram.updateParameters(keys({1}));

    for (uint32_t time = end - 3 * 7200; time <= end; ++time)
    {
        ram.log(time, row({{1, time}}));
    }

    const Samples samples = Inspector::samples(ram, 1);
    Samples expected;
    for (uint32_t time = end - 7200; time <= end; time += time < end - 3600 ? 60 : (time < end - 600 ? 10 : 1))
    {
        expected.push_back({time, time});
    }
    EXPECT_EQ(samples, expected);
    EXPECT_EQ(samples.size(), 60U + 300U + 601U);
}

// Replay

TEST_F(RAMLoggerTest, ReplayOfAnEmptyLoggerOnlyAttachesAndThenFlushes)
{
    RecordingLogger target;
    target.onFlush = [&] { ram.log(101, row({{1, 5}})); }; // reaches the target only if it is attached by now

    ram.replayTo(&target, at(0), true);

    EXPECT_EQ(target.flushes, 1);
    EXPECT_EQ(target.times, (std::vector<uint32_t>{101}));
}

TEST_F(RAMLoggerTest, ReplayOfParametersWithoutASampleHasNoRows)
{
    RecordingLogger target;
    ram.updateParameters(keys({1, 2}));

    ram.replayTo(&target, at(0), false);

    EXPECT_TRUE(target.times.empty());
    EXPECT_EQ(target.flushes, 1);
}

TEST_F(RAMLoggerTest, ReplayWithoutAttachLeavesTheTargetAlone)
{
    RecordingLogger target;

    ram.replayTo(&target, at(0), false);
    ram.log(101, row({{1, 5}}));

    EXPECT_TRUE(target.times.empty());
}

TEST_F(RAMLoggerTest, AFullHistoryReplaysInItsExactNumberOfRows)
{
    RecordingLogger target;
    ram.updateParameters(keys({1}));

    const int64_t now = replayAtKnownTime(target,
                                          [&](int64_t present)
                                          {
                                              ram.updateParameters(keys({1}));
                                              ram.log(static_cast<uint32_t>(present - 259200 - 61), row({{1, 5}}));
                                              return at(0);
                                          });

    ASSERT_EQ(target.times.size(), 5146U);
    std::map<uint32_t, int> distances;
    for (size_t i = 1; i < target.times.size(); ++i)
    {
        ++distances[target.times[i] - target.times[i - 1]];
    }
    EXPECT_EQ(distances, (std::map<uint32_t, int>{{60, 4261}, {10, 295}, {1, 589}}));
    EXPECT_EQ(target.times.front(), now - 259200);
    EXPECT_EQ(target.times[4260], now - 3600);
    EXPECT_EQ(target.times[4261], now - 3540);
    EXPECT_EQ(target.times[4261 + 294], now - 600);
    EXPECT_EQ(target.times[4261 + 295], now - 590);
    EXPECT_EQ(target.times.back(), now - 1);
    EXPECT_TRUE(std::all_of(target.rows.begin(), target.rows.end(),
                            [](const QMap<int32_t, DataValue>& each) {
                                return each == row({{1, 5}});
                            }));
}

TEST_F(RAMLoggerTest, AReplayThatBeginsInTheMinuteZoneStartsAtTheNextMinute)
{
    RecordingLogger target;
    int64_t begin = 0;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          begin = present - 7000;
                          begin += 47 - begin % 60; // 47 seconds into a minute
                          ram.log(static_cast<uint32_t>(begin), row({{1, 5}}));
                          return at(0);
                      });

    ASSERT_FALSE(target.times.empty());
    EXPECT_EQ(target.times[0], begin + 13);
    EXPECT_EQ(target.times[1], begin + 73);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsOnAMinuteOfTheMinuteZoneMovesUpAFullStep)
{
    RecordingLogger target;
    int64_t begin = 0;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          begin = present - 7000 - (present - 7000) % 60;
                          ram.log(static_cast<uint32_t>(begin - 500), row({{1, 5}}));
                          return at(begin);
                      });

    ASSERT_FALSE(target.times.empty());
    EXPECT_EQ(target.times[0], begin + 60);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsInTheTenSecondZoneStartsAtTheNextTen)
{
    RecordingLogger target;
    int64_t begin = 0;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          begin = present - 2000 - (present - 2000) % 10 + 3;
                          ram.log(static_cast<uint32_t>(begin), row({{1, 5}}));
                          return at(0);
                      });

    ASSERT_FALSE(target.times.empty());
    EXPECT_EQ(target.times[0], begin + 7);
    EXPECT_EQ(target.times[1], begin + 17);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsOnTheGridOfTheTenSecondZoneMovesUpAFullStep)
{
    RecordingLogger target;
    int64_t begin = 0;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          begin = present - 2000 - (present - 2000) % 10;
                          ram.log(static_cast<uint32_t>(begin), row({{1, 5}}));
                          return at(0);
                      });

    ASSERT_FALSE(target.times.empty());
    EXPECT_EQ(target.times[0], begin + 10);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsInTheOneSecondZoneStartsAtOnce)
{
    RecordingLogger target;

    const int64_t now = replayAtKnownTime(target,
                                          [&](int64_t present)
                                          {
                                              ram.updateParameters(keys({1}));
                                              ram.log(static_cast<uint32_t>(present - 1000), row({{1, 5}}));
                                              return at(present - 20);
                                          });

    ASSERT_EQ(target.times.size(), 20U);
    EXPECT_EQ(target.times.front(), now - 20);
    EXPECT_EQ(target.times.back(), now - 1);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsOnTheLimitOfTheHistoryStartsAtTheNextMinute)
{
    const FirstRow first = firstRowBehind([](int64_t now) { return now - 259200; });

    EXPECT_EQ(first.time, first.begin + 60 - first.begin % 60);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsOnTheLimitOfTheMinuteZoneStartsAtTheNextTen)
{
    const FirstRow first = firstRowBehind(
        [](int64_t now)
        {
            // On a minute, so that the next ten and the next minute are not the same.
            logConfig().interval10Sec = static_cast<int32_t>(3600 + (now - 3600) % 60);
            return now - logConfig().interval10Sec;
        });

    EXPECT_EQ(first.time, first.begin + 10);
}

TEST_F(RAMLoggerTest, AReplayThatBeginsOnTheLimitOfTheTenSecondZoneStartsAtOnce)
{
    const FirstRow first = firstRowBehind([](int64_t now) { return now - 600; });

    EXPECT_EQ(first.time, first.begin);
}

TEST_F(RAMLoggerTest, AReplayReadsTheLimitsAtEveryUse)
{
    setLimits(300, 120, 12);
    EXPECT_EQ(agesOfRows(),
              (std::vector<int64_t>{300, 240, 180, 120, 60, 50, 40, 30, 20, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1}));

    setLimits(130, 40, 12);
    EXPECT_EQ(agesOfRows(), (std::vector<int64_t>{130, 70, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(RAMLoggerTest, AReplayFromNowHasNoRows)
{
    RecordingLogger target;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          ram.log(static_cast<uint32_t>(present - 100), row({{1, 5}}));
                          return at(present);
                      });

    EXPECT_TRUE(target.times.empty());
}

TEST_F(RAMLoggerTest, AReplayFromTheFutureHasNoRows)
{
    RecordingLogger target;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          ram.log(static_cast<uint32_t>(present - 100), row({{1, 5}}));
                          return at(present + 86400);
                      });

    EXPECT_TRUE(target.times.empty());
}

TEST_F(RAMLoggerTest, AReplayFromBefore1970HasNoRowsSinceItsBeginIsCutToATimeInTheFuture)
{
    RecordingLogger target;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({1}));
                          ram.log(static_cast<uint32_t>(present - 100), row({{1, 5}}));
                          return at(-1);
                      });

    EXPECT_TRUE(target.times.empty());
}

TEST_F(RAMLoggerTest, EveryRowHasEveryParameterWithADefaultValueBeforeItsFirstSample)
{
    RecordingLogger target;

    replayAtKnownTime(target,
                      [&](int64_t present)
                      {
                          ram.updateParameters(keys({-1, 1, 2, 3}));
                          ram.log(static_cast<uint32_t>(present - 5), row({{1, 5}}));
                          ram.log(static_cast<uint32_t>(present - 3), row({{-1, 9}, {2, 7}}));
                          ram.log(static_cast<uint32_t>(present - 2), row({{1, 6}}));
                          return at(0);
                      });

    const DataValue none;
    ASSERT_EQ(target.rows.size(), 5U);
    EXPECT_EQ(target.rows[0], (QMap<int32_t, DataValue>{{-1, none}, {1, integer(5)}, {2, none}, {3, none}}));
    EXPECT_EQ(target.rows[1], target.rows[0]);
    EXPECT_EQ(target.rows[2],
              (QMap<int32_t, DataValue>{{-1, integer(9)}, {1, integer(5)}, {2, integer(7)}, {3, none}}));
    EXPECT_EQ(target.rows[3],
              (QMap<int32_t, DataValue>{{-1, integer(9)}, {1, integer(6)}, {2, integer(7)}, {3, none}}));
    EXPECT_EQ(target.rows[4], target.rows[3]);
}

TEST_F(RAMLoggerTest, AReplayedRowLooksTheSameWhetherTheTargetKeepsItOrNot)
{
    RecordingLogger keeping;
    RecordingLogger forgetting;
    std::vector<QMap<int32_t, DataValue>> seen;
    forgetting.onLog = [&]
    {
        QMap<int32_t, DataValue> copy;
        for (auto it = forgetting.rows[0].cbegin(); it != forgetting.rows[0].cend(); ++it)
        {
            copy.insert(it.key(), it.value());
        }
        seen.push_back(copy);
        forgetting.rows.clear();
    };
    const auto history = [&](int64_t present)
    {
        ram.updateParameters(keys({1, 2}));
        for (int64_t time = present - 50; time < present; ++time)
        {
            ram.log(static_cast<uint32_t>(time), row({{1, time - present}, {2, (time - present) / 7}}));
        }
        return at(0);
    };

    replayAtKnownTime(keeping, history);
    replayAtKnownTime(forgetting, [&](int64_t present) { return seen.clear(), history(present); });

    EXPECT_EQ(keeping.rows.size(), 50U);
    EXPECT_EQ(keeping.rows, seen);
}

TEST_F(RAMLoggerTest, AReplayLeavesTheHistoryAsItWas)
{
    RecordingLogger target;
    ram.updateParameters(keys({1}));
    const auto now = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
    ram.log(now - 500, row({{1, 5}}));
    ram.log(now - 400, row({{1, 6}}));
    const Samples before = Inspector::samples(ram, 1);

    ram.replayTo(&target, at(0), false);
    ram.log(now, row({{1, 7}}));

    EXPECT_EQ(Inspector::samples(ram, 1), (Samples{before[0], before[1], {now, 7}}));
}

TEST_F(RAMLoggerTest, AReplayHoldsTheLockForItsRowsAndReleasesItBeforeTheFlush)
{
    RecordingLogger target;
    std::vector<bool> locked;
    target.onLog = [&]
    {
        if (locked.empty())
        {
            locked.push_back(Inspector::isLocked(ram));
        }
    };
    target.onFlush = [&] { locked.push_back(Inspector::isLocked(ram)); };
    ram.updateParameters(keys({1}));
    ram.log(static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch() - 10), row({{1, 5}}));

    ram.replayTo(&target, at(0), false);

    EXPECT_EQ(locked, (std::vector<bool>{true, false}));
}

/// Whether that work on another thread, begun while `logger` replays, waits until it is through.
bool waitsForTheReplay(RAMLogger& logger, const std::function<void()>& work)
{
    RecordingLogger target;
    std::future<void> end;
    bool waits = false;
    target.onLog = [&]
    {
        if (!end.valid())
        {
            end = beginAndWait(work);
            waits = !isThrough(end);
        }
    };
    logger.log(static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch() - 10), row({{1, 5}}));

    logger.replayTo(&target, at(0), false);
    end.get();

    return waits;
}

TEST_F(RAMLoggerTest, ADestructionWaitsForTheReplayThatIsUnderWay)
{
    auto doomed = std::make_unique<RAMLogger>(nullptr);
    doomed->updateParameters(keys({1}));

    EXPECT_TRUE(waitsForTheReplay(*doomed, [&] { doomed.reset(); }));
}

TEST_F(RAMLoggerTest, ANewSetOfParametersWaitsForTheReplayThatIsUnderWay)
{
    ram.updateParameters(keys({1}));

    EXPECT_TRUE(waitsForTheReplay(ram, [&] { ram.updateParameters(keys({1, 2})); }));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{1, 2}));
}

TEST_F(RAMLoggerTest, ARemovalOfAParameterWaitsForTheReplayThatIsUnderWay)
{
    ram.updateParameters(keys({1, 2}));

    EXPECT_TRUE(waitsForTheReplay(ram, [&] { ram.removeParameter(2); }));

    EXPECT_EQ(Inspector::ids(ram), (std::vector<uint32_t>{1}));
}

/// Tells whether the list is locked when somebody connects.
class NotifyingRAMLogger : public RAMLogger
{
public:
    using RAMLogger::RAMLogger;

    std::vector<bool> lockedAtConnect;

protected:
    void connectNotify(const QMetaMethod& /*signal*/) override
    {
        lockedAtConnect.push_back(Inspector::isLocked(*this));
    }
};

TEST_F(RAMLoggerTest, TheTargetIsAttachedBeforeAnotherRowCanSlipIn)
{
    NotifyingRAMLogger notifying(nullptr);
    RecordingLogger target;

    notifying.replayTo(&target, at(0), true);

    EXPECT_EQ(notifying.lockedAtConnect, std::vector<bool>{true});
}

TEST_F(RAMLoggerTest, ARowThatWaitsForTheReplayReachesTheAttachedTargetOnce)
{
    registerLoggerMetaTypes();
    RecordingLogger target;
    ram.updateParameters(keys({1}));
    const auto now = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
    ram.log(now - 10, row({{1, 5}}));
    std::thread tick;
    target.onLog = [&]
    {
        if (target.times.size() == 1)
        {
            tick = std::thread([&] { ram.log(now + 100, row({{1, 6}})); });
        }
    };

    ram.replayTo(&target, at(0), true);
    tick.join();
    QCoreApplication::processEvents();

    EXPECT_EQ(std::count(target.times.begin(), target.times.end(), now + 100), 1);
    EXPECT_EQ(target.times.back(), now + 100);
    EXPECT_EQ(target.rows.back(), row({{1, 6}}));
}

TEST_F(RAMLoggerTest, ATargetOnAnotherThreadGetsItsRowsQueuedThere)
{
    registerLoggerMetaTypes();
    QThread thread;
    RecordingLogger target;
    Qt::HANDLE ranOn = nullptr;
    target.onLog = [&]
    {
        ranOn = QThread::currentThreadId();
        thread.quit();
    };
    target.moveToThread(&thread);
    ram.replayTo(&target, at(0), true);

    ram.log(101, row({{1, 5}}));
    EXPECT_TRUE(target.times.empty());
    thread.start();
    ASSERT_TRUE(thread.wait(10000));

    EXPECT_EQ(target.times, (std::vector<uint32_t>{101}));
    EXPECT_EQ(target.rows[0], row({{1, 5}}));
    EXPECT_NE(ranOn, QThread::currentThreadId());
}

// Against a plain model

/// What the history is: a plain list of changes, thinned by going over it from its definition.
class Model
{
public:
    void add(uint32_t time, long long value)
    {
        if (!m_samples.empty() && m_samples.back().time >= time)
        {
            if (m_samples.back().time - time <= 9)
            {
                return;
            }
            m_samples.clear();
        }
        if (m_samples.empty() || m_samples.back().value != value)
        {
            m_samples.push_back({time, value});
        }
    }

    void thin(uint32_t now)
    {
        // Each change takes effect at its grid point, unless another came up to then.
        Samples moved;
        for (size_t i = 0; i < m_samples.size(); ++i)
        {
            const uint32_t grid = gridPoint(now, m_samples[i].time);
            const bool stays = grid == m_samples[i].time || i + 1 == m_samples.size() || m_samples[i + 1].time > grid;
            if (stays)
            {
                moved.push_back({grid, m_samples[i].value});
            }
        }
        // What is no change any more goes.
        m_samples.clear();
        for (const Sample& sample : moved)
        {
            if (m_samples.empty() || m_samples.back().value != sample.value)
            {
                m_samples.push_back(sample);
            }
        }
    }

    const Samples& samples() const
    {
        return m_samples;
    }

    /// The value in force, default-constructed when there is none yet.
    DataValue valueAt(uint32_t time) const
    {
        DataValue found;
        for (const Sample& sample : m_samples)
        {
            if (sample.time <= time)
            {
                found = integer(sample.value);
            }
        }
        return found;
    }

private:
    static uint32_t gridPoint(uint32_t now, uint32_t time)
    {
        const LogConfig& config = logConfig();
        uint32_t grid = time;
        if (time < now - static_cast<uint32_t>(config.intervalMinute))
        {
            return now - static_cast<uint32_t>(config.intervalMinute);
        }
        const uint32_t distance = time < now - static_cast<uint32_t>(config.interval10Sec)  ? 60
                                  : time < now - static_cast<uint32_t>(config.interval1Sec) ? 10
                                                                                            : 1;
        while (grid % distance != 0)
        {
            ++grid;
        }
        return grid;
    }

    Samples m_samples;
};

/// Runs one random history through a RAMLogger and the model, comparing all the way.
class RandomHistory
{
public:
    explicit RandomHistory(uint32_t seed)
        : m_random(seed)
    {
        LogConfig& config = logConfig();
        config.interval1Sec = number(1, 120);
        config.interval10Sec = config.interval1Sec + number(0, 300);
        config.intervalMinute = config.interval10Sec + number(0, 900);
        m_time = static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch()) - 2000;
        m_values = number(2, 5);
    }

    void run(RAMLogger& ram)
    {
        changeParameters(ram);
        for (int step = number(50, 400); step > 0; --step)
        {
            if (number(0, 99) == 0)
            {
                changeParameters(ram);
            }
            moveClock();
            logOnce(ram);
            ASSERT_NO_FATAL_FAILURE(compare(ram));
        }
        checkMemory(ram);
        compareReplay(ram);
    }

private:
    int number(int low, int high)
    {
        return std::uniform_int_distribution<int>(low, high)(m_random);
    }

    void changeParameters(RAMLogger& ram)
    {
        QMap<int32_t, Metadata> parameters;
        std::map<uint32_t, Model> models;
        for (int32_t id = -3; id < 4; ++id)
        {
            if (number(0, 3) != 0)
            {
                parameters.insert(id, Metadata());
                models[static_cast<uint32_t>(id)] = m_models[static_cast<uint32_t>(id)];
            }
        }
        ram.updateParameters(parameters);
        m_models = models;
    }

    void moveClock()
    {
        const int kind = number(0, 199);
        if (kind == 0)
        {
            m_time -= static_cast<uint32_t>(number(1, 20));
        }
        else if (kind == 1)
        {
            m_time += static_cast<uint32_t>(number(60, 700));
        }
        else if (kind == 2)
        {
            m_time -= static_cast<uint32_t>(number(60, 400));
        }
        else if (kind < 20)
        {
            m_time += static_cast<uint32_t>(number(2, 12));
        }
        else
        {
            m_time += kind < 25 ? 0 : 1;
        }
    }

    void logOnce(RAMLogger& ram)
    {
        QMap<int32_t, DataValue> values;
        for (int32_t id = -4; id < 5; ++id)
        {
            if (number(0, 9) != 0)
            {
                values.insert(id, integer(number(1, m_values)));
            }
        }
        ram.log(m_time, values);
        for (auto& [id, model] : m_models)
        {
            if (const auto value = values.constFind(static_cast<int32_t>(id)); value != values.constEnd())
            {
                model.add(m_time, value->getIntValue());
            }
            if (m_time % 60 == 0)
            {
                model.thin(m_time);
            }
        }
    }

    void compare(const RAMLogger& ram)
    {
        std::vector<uint32_t> ids;
        for (const auto& [id, model] : m_models)
        {
            ids.push_back(id);
            ASSERT_EQ(Inspector::samples(ram, static_cast<int32_t>(id)), model.samples()) << "at " << m_time;
        }
        ASSERT_EQ(Inspector::ids(ram), ids);
        if (m_time % 60 == 0)
        {
            checkMemory(ram);
        }
    }

    void checkMemory(const RAMLogger& ram)
    {
        for (const auto& [id, model] : m_models)
        {
            ASSERT_EQ(Inspector::memoryFault(*Inspector::parameter(ram, static_cast<int32_t>(id))), "");
        }
    }

    void compareReplay(RAMLogger& ram)
    {
        RecordingLogger target;
        ram.replayTo(&target, at(m_time - static_cast<uint32_t>(number(0, 2000))), false);
        for (size_t i = 0; i < target.times.size(); ++i)
        {
            QMap<int32_t, DataValue> expected;
            for (const auto& [id, model] : m_models)
            {
                expected.insert(static_cast<int32_t>(id), model.valueAt(target.times[i]));
            }
            ASSERT_EQ(target.rows[i], expected) << "at " << target.times[i];
        }
    }

    std::mt19937 m_random;
    uint32_t m_time;
    int m_values;
    std::map<uint32_t, Model> m_models;
};

TEST_F(RAMLoggerTest, ThousandsOfRandomHistoriesAgreeWithAPlainStepFunction)
{
    for (uint32_t seed = 0; seed < 2000; ++seed)
    {
        RAMLogger logger(nullptr);
        RandomHistory(seed).run(logger);
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

} // namespace
