#include "Soak.h"
#include "Pulse.h"
#include "SystemTest.h"

using namespace std::chrono_literals;

TEST(Pulse, MissesNoBeatOfAPaceThatIsKept)
{
    const Pulse pulse(1s);
    std::this_thread::sleep_for(1100ms);

    EXPECT_EQ(pulse.missed(), 0);
}

TEST(Pulse, MissesNearlyEveryBeatOfAPaceThatNoThreadKeeps)
{
    using std::chrono::steady_clock;

    const auto before = steady_clock::now();
    const Pulse pulse(1ns);
    const auto begun = steady_clock::now();
    std::this_thread::sleep_for(50ms);
    // Its last wake-up may lie a while behind.
    EXPECT_TRUE(waitUntil([&] { return pulse.missed() > (steady_clock::now() - begun) / 2ns; }));
    EXPECT_LT(pulse.missed(), (steady_clock::now() - before) / 1ns);
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
