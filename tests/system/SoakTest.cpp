#include "Soak.h"
#include "Pulse.h"
#include "SystemTest.h"

using namespace std::chrono_literals;
using std::chrono::steady_clock;

TEST(Pulse, MissesNoBeatOfAPaceThatIsKept)
{
    const auto before = steady_clock::now();
    const Pulse pulse(1s);
    std::this_thread::sleep_for(1100ms);
    const long long missed = pulse.missed();
    // What is missed beyond the beat that comes in this time is the machine's.
    EXPECT_LE(missed, (steady_clock::now() - before) / 1s - 1);
}

TEST(Pulse, MissesNearlyEveryBeatOfAPaceThatNoThreadKeeps)
{
    const auto before = steady_clock::now();
    const Pulse pulse(1ns);
    const auto begun = steady_clock::now();
    std::this_thread::sleep_for(50ms);
    // Its last wake-up may lie a while behind.
    EXPECT_TRUE(waitUntil([&] { return pulse.missed() > (steady_clock::now() - begun) / 2ns; }));
    const long long missed = pulse.missed();
    EXPECT_LT(missed, (steady_clock::now() - before) / 1ns);
}

TEST(Soak, TwentyMinutesAroundMidnightAtThirtyTimesTheSpeedLeaveNothingBehind)
{
    const SoakReport report = Soak({QDateTime(QDate(2026, 3, 5), QTime(23, 50)), 20 * 60, 30}).run();

    EXPECT_EQ(report.problems, QStringList());
    EXPECT_EQ(report.runs, 1);
    EXPECT_EQ(report.midnights, 1);
    EXPECT_EQ(report.snapshots, 2);
    EXPECT_EQ(report.energyHours, 1);
    // The log runs from soon after the start.
    EXPECT_GT(report.seconds, 15 * 60);
}
