#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QElapsedTimer>

using namespace std::chrono_literals;

namespace
{

class PlatformFailure : public SystemTest
{
protected:
    PlatformFailure()
    {
        rig.setScenario(smallPlatform);
    }

    /// Starts the log on a new stick; the path of its file.
    QString startLog()
    {
        const QString stick = rig.insertStick();
        EXPECT_TRUE(rig.waitForStick(stick));
        EXPECT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
        return waitForFile(stick, QStringLiteral("*.csv"));
    }

    /// Waits for a row that ends like this behind the lines that are there now.
    static bool waitForRow(const QString& file, const QString& end)
    {
        const qsizetype present = linesOf(file).size();
        return waitUntil(
            [&]
            {
                const QStringList rows = linesOf(file).mid(present);
                return std::any_of(rows.begin(), rows.end(), [&](const QString& row) { return row.endsWith(end); });
            });
    }

    /// How long the daemon takes to answer a call that needs its state, in milliseconds.
    qint64 answerTime()
    {
        QElapsedTimer time;
        time.start();
        QDBusPendingReply<bool> reply = rig.logd().isUsbLogActive();
        reply.waitForFinished();
        EXPECT_TRUE(reply.isValid());
        return time.elapsed();
    }
};

} // namespace

TEST_F(PlatformFailure, WithoutAPlatformTheDaemonStartsAnswersAndTakesUpTheServiceWhenItComes)
{
    ASSERT_TRUE(rig.startBus() && rig.startDaemon());
    EXPECT_LT(answerTime(), 1000);
    EXPECT_FALSE(rig.logd().startLogUsb(1, false, QStringLiteral("default")).value());
    EXPECT_TRUE(rig.logd().getLogParameters().value().isEmpty());

    ASSERT_TRUE(rig.startPlatform());

    const QString file = startLog();
    ASSERT_TRUE(waitForLines(file, 2));
    EXPECT_EQ(linesOf(file)[1].mid(19), QStringLiteral("\t55\t1200"));
}

TEST_F(PlatformFailure, APlatformThatAnswersAfterThreeSecondsDelaysTheStartAndTheTicksButNotTheBus)
{
    ASSERT_TRUE(rig.startBus() && rig.startPlatform());
    for (const char* operation : {"getUsbDrives", "getDefaultLog", "getValues"})
        ASSERT_TRUE(rig.platform.setDelay(operation, 3s));

    ASSERT_TRUE(rig.startDaemon());

    ASSERT_TRUE(waitUntil([&] { return rig.platform.callCount("getValues") >= 1; }));
    EXPECT_LT(answerTime(), 2000);
    const QString file = startLog();
    ASSERT_TRUE(waitForLines(file, 3));
    EXPECT_EQ(linesOf(file)[2].mid(19), QStringLiteral("\t55\t1200"));
}

TEST_F(PlatformFailure, WhileValuesFailRowsHaveNoneAndAfterwardsTheyDo)
{
    ASSERT_TRUE(rig.start());
    const QString file = startLog();
    ASSERT_TRUE(waitForRow(file, QStringLiteral("\t55\t1200")));

    ASSERT_TRUE(rig.platform.setFailure("getValues", true));
    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t-\t-")));
    EXPECT_LT(answerTime(), 1000);

    ASSERT_TRUE(rig.platform.setFailure("getValues", false));
    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t55\t1200")));
}

TEST_F(PlatformFailure, AFailureIsTracedOnceAndNotOnceASecond)
{
    ASSERT_TRUE(rig.start());
    const QString file = startLog();

    ASSERT_TRUE(rig.platform.setFailure("getValues", true));
    ASSERT_TRUE(waitForRow(file, QStringLiteral("\t-\t-")));
    ASSERT_TRUE(waitForLines(file, linesOf(file).size() + 3));

    int traced = 0;
    for (const TraceLine& line : rig.daemon.trace())
        traced += line.text.contains("getValues") ? 1 : 0;
    EXPECT_EQ(traced, 1);
}

TEST_F(PlatformFailure, AnIdWithoutAValueIsADash)
{
    ASSERT_TRUE(rig.start());
    const QString file = startLog();

    ASSERT_TRUE(rig.platform.dropValue(5));

    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t-\t1200")));
}

TEST_F(PlatformFailure, APlatformThatGoesAndComesBackIsTakenUpAgain)
{
    ASSERT_TRUE(rig.start());
    const QString file = startLog();

    ASSERT_EQ(rig.platform.stop(), 0);
    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t-\t-")));
    EXPECT_LT(answerTime(), 1000);

    ASSERT_TRUE(rig.startPlatform());
    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t55\t1200")));
}

TEST_F(PlatformFailure, ASilentPlatformDoesNotHoldUpTheBus)
{
    ASSERT_TRUE(rig.start());
    const QString file = startLog();

    rig.platform.freeze();
    ASSERT_TRUE(waitForRow(file, QStringLiteral("\t-\t-"))); // a read was given up
    EXPECT_LT(answerTime(), 2000);

    rig.platform.thaw();
    EXPECT_TRUE(waitForRow(file, QStringLiteral("\t55\t1200")));
}
