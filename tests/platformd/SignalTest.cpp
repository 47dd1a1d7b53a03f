#include "Signal.h"

#include <zemo/DataValue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using platformd::numberAt;
using platformd::Signal;
using platformd::textAt;
using platformd::wrapToSize;

namespace
{

constexpr qint64 startOf2024 = 1704067200;

Signal moving(Signal::Kind kind, qint64 low, qint64 high, double period)
{
    Signal signal;
    signal.kind = kind;
    signal.low = low;
    signal.high = high;
    signal.period = period;
    return signal;
}

Signal walk(qint64 low, qint64 high, qint64 seed)
{
    Signal signal = moving(Signal::Kind::Walk, low, high, 60);
    signal.seed = seed;
    return signal;
}

Signal texts(const QStringList& strings, double period)
{
    Signal signal = moving(Signal::Kind::Text, 0, 0, period);
    signal.texts = strings;
    return signal;
}

} // namespace

TEST(Signal, AConstantIsItsValueAtEveryTime)
{
    Signal signal;
    signal.value = -17;

    EXPECT_EQ(numberAt(signal, 1, 0), -17);
    EXPECT_EQ(numberAt(signal, 1, 1700000000), -17);
}

TEST(Signal, ASineStandsInTheMiddleAtTheStartOfAPeriodAndReachesBothEnds)
{
    const Signal signal = moving(Signal::Kind::Sine, -100, 900, 120);

    EXPECT_EQ(numberAt(signal, 1, 1200), 400);
    EXPECT_EQ(numberAt(signal, 1, 1230), 900);
    EXPECT_EQ(numberAt(signal, 1, 1260), 400);
    EXPECT_EQ(numberAt(signal, 1, 1290), -100);
}

TEST(Signal, ARampClimbsFromLowAndFallsBackAfterAPeriod)
{
    const Signal signal = moving(Signal::Kind::Ramp, 10, 110, 50);

    EXPECT_EQ(numberAt(signal, 1, 100), 10);
    EXPECT_EQ(numberAt(signal, 1, 101), 12);
    EXPECT_EQ(numberAt(signal, 1, 149), 108);
    EXPECT_EQ(numberAt(signal, 1, 150), 10);
}

TEST(Signal, ASquareIsLowForTheFirstHalfOfAPeriodAndHighForTheSecond)
{
    const Signal signal = moving(Signal::Kind::Square, 3, 8, 10);

    EXPECT_EQ(numberAt(signal, 1, 20), 3);
    EXPECT_EQ(numberAt(signal, 1, 24), 3);
    EXPECT_EQ(numberAt(signal, 1, 25), 8);
    EXPECT_EQ(numberAt(signal, 1, 29), 8);
}

TEST(Signal, ACounterStandsAtItsStartAtTheBeginningOf2024)
{
    Signal signal;
    signal.kind = Signal::Kind::Counter;
    signal.start = 500;
    signal.step = 3;

    EXPECT_EQ(numberAt(signal, 1, startOf2024), 500);
    EXPECT_EQ(numberAt(signal, 1, startOf2024 + 7), 521);
}

TEST(Signal, ACounterOfPartStepsIsRoundedDown)
{
    Signal signal;
    signal.kind = Signal::Kind::Counter;
    signal.step = 0.25;

    EXPECT_EQ(numberAt(signal, 1, startOf2024 + 3), 0);
    EXPECT_EQ(numberAt(signal, 1, startOf2024 + 4), 1);
    EXPECT_EQ(numberAt(signal, 1, startOf2024 - 1), -1);
}

TEST(Signal, AWalkStaysBetweenItsBounds)
{
    const Signal signal = walk(-5, 5, 42);

    for (qint64 time = 1700000000; time < 1700020000; ++time)
    {
        ASSERT_GE(numberAt(signal, 7, time), -5);
        ASSERT_LE(numberAt(signal, 7, time), 5);
    }
}

TEST(Signal, AWalkMovesInSmallSteps)
{
    const Signal signal = walk(0, 100000, 42);

    qint64 widest = 0;
    qint64 lowest = 100000;
    qint64 highest = 0;
    for (qint64 time = 1700000000; time < 1700020000; ++time)
    {
        const qint64 value = numberAt(signal, 7, time);
        widest = std::max<qint64>(widest, std::llabs(numberAt(signal, 7, time + 1) - value));
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }

    EXPECT_LT(widest, 4000);
    EXPECT_GT(highest - lowest, 30000);
}

TEST(Signal, AWalkTakesAnotherWayForAnotherSeedAndForAnotherParameter)
{
    EXPECT_NE(numberAt(walk(0, 1000000, 1), 7, 1700000000), numberAt(walk(0, 1000000, 2), 7, 1700000000));
    EXPECT_NE(numberAt(walk(0, 1000000, 1), 7, 1700000000), numberAt(walk(0, 1000000, 1), 8, 1700000000));
}

// The numbers were noted from a first run: they may never change, because recorded runs are compared with new ones.
TEST(Signal, AWalkIsTheSameInEveryRun)
{
    const Signal signal = walk(0, 1000000, 5);

    EXPECT_EQ(numberAt(signal, 1000, 1700000000), 499131);
    EXPECT_EQ(numberAt(signal, 1000, 1700000001), 499489);
}

TEST(Signal, TextsComeInTurnEachForAPeriod)
{
    const Signal signal = texts({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}, 10);

    EXPECT_EQ(textAt(signal, 300), QStringLiteral("a"));
    EXPECT_EQ(textAt(signal, 309), QStringLiteral("a"));
    EXPECT_EQ(textAt(signal, 310), QStringLiteral("b"));
    EXPECT_EQ(textAt(signal, 329), QStringLiteral("c"));
    EXPECT_EQ(textAt(signal, 330), QStringLiteral("a"));
}

TEST(Signal, ATextSignalWithoutTextsIsEmpty)
{
    EXPECT_EQ(textAt(texts({}, 10), 300), QString());
}

TEST(Signal, ANumberIsCutToTheWidthOfItsSize)
{
    EXPECT_EQ(wrapToSize(200, zemo::data::VarSizeInt8), -56);
    EXPECT_EQ(wrapToSize(40000, zemo::data::VarSizeInt16), -25536);
    EXPECT_EQ(wrapToSize(3000000000, zemo::data::VarSizeInt32), -1294967296);
    EXPECT_EQ(wrapToSize(-1, zemo::data::VarSizeUint8), 255);
    EXPECT_EQ(wrapToSize(65537, zemo::data::VarSizeUint16), 1);
    EXPECT_EQ(wrapToSize(-1, zemo::data::VarSizeUint32), 4294967295);
}

TEST(Signal, ANumberOfAnUnknownSizeIsLeftAsItIs)
{
    EXPECT_EQ(wrapToSize(3000000000, 0), 3000000000);
}
