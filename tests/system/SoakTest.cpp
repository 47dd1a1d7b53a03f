#include "Soak.h"
#include "SystemTest.h"

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
