#include "SmallPlatform.h"
#include "SystemTest.h"

#include <csignal>

namespace
{

class Process : public SystemTest
{
protected:
    Process()
    {
        rig.setScenario(smallPlatform);
    }
};

} // namespace

TEST_F(Process, SigtermEndsTheDaemonWithZero)
{
    ASSERT_TRUE(rig.start());

    EXPECT_EQ(rig.daemon.stop(SIGTERM), 0);

    EXPECT_EQ(rig.daemon.summaries("Main").last(), "notice Main: App finished");
    EXPECT_TRUE(rig.bus.waitForNoName("com.tarn.zemo.logd"));
}

TEST_F(Process, SigintEndsTheDaemonWithZero)
{
    ASSERT_TRUE(rig.start());

    EXPECT_EQ(rig.daemon.stop(SIGINT), 0);
}

TEST_F(Process, ALogThatRunsAtTheEndIsLeftWithWholeRows)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
    const QString path = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(path, 3));

    EXPECT_EQ(rig.daemon.stop(), 0);

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().endsWith("\t55\t1200\n"));
}

TEST_F(Process, TheLossOfTheBusEndsTheDaemonWithOne)
{
    ASSERT_TRUE(rig.start());

    rig.bus.stop();

    EXPECT_EQ(rig.daemon.waitForEnd(), 1);
    const QList<TraceLine> trace = rig.daemon.trace();
    EXPECT_TRUE(std::any_of(trace.begin(), trace.end(), [](const TraceLine& line) { return line.level == "crit"; }));
    EXPECT_EQ(rig.daemon.summaries("Main").last(), "notice Main: App finished");
}

TEST_F(Process, WithoutABusTheDaemonStillComesUpAndTracesTheRegistrationOfTheNameAndThenOfTheObject)
{
    ASSERT_TRUE(rig.daemon.start({}));

    ASSERT_TRUE(rig.daemon.waitForTrace("Starting app"));

    EXPECT_EQ(rig.daemon.summaries("LogDaemonCtrl"),
              QStringList({"err LogDaemonCtrl: error registering com.tarn.zemo.logd service",
                           "err LogDaemonCtrl: error registering /Logging object"}));
}

TEST_F(Process, ASecondInstanceWithoutTheNameServesItsObjectAndRunsOn)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.logdSignals().waitFor("logDaemonStarted"));
    rig.logdSignals().clear();
    Daemon second(rig.scratch);

    ASSERT_TRUE(second.start(rig.bus.address()));

    ASSERT_TRUE(second.waitForTrace("Starting app"));
    EXPECT_EQ(second.summaries("LogDaemonCtrl"),
              QStringList({"err LogDaemonCtrl: error registering com.tarn.zemo.logd service"}));
    ASSERT_TRUE(rig.logdSignals().waitFor("logDaemonStarted"));
    const QString address = rig.logdSignals().all().last().sender;
    LogDaemonProxy proxy(address, "/Logging", rig.bus.connection());
    EXPECT_EQ(proxy.getLogParameters().value(), QStringList({QStringLiteral("Pump po\u00adwer"), "Starts"}));
    EXPECT_NE(address, rig.bus.connection().interface()->serviceOwner("com.tarn.zemo.logd").value());
    EXPECT_EQ(second.stop(), 0);
    EXPECT_TRUE(second.summaries("LogDaemonCtrl")
                    .contains("err LogDaemonCtrl: error unregistering com.tarn.zemo.logd service"));
    EXPECT_TRUE(rig.daemon.isRunning());
}

TEST_F(Process, ADaemonThatIsKilledCanBeStartedAgain)
{
    ASSERT_TRUE(rig.start());
    rig.daemon.kill();
    ASSERT_TRUE(rig.bus.waitForNoName("com.tarn.zemo.logd"));

    ASSERT_TRUE(rig.startDaemon());

    EXPECT_EQ(rig.logd().isUsbLogActive().value(), false);
}
