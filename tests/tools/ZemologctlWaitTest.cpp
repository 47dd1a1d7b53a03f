#include "SystemTest.h"

namespace
{

// Some blob for settings to save.
constexpr char platformWithSettings[] = R"({"settings": "c2V0"})";

class ZemologctlWait : public SystemTest
{
protected:
    ZemologctlWait()
    {
        rig.setScenario(platformWithSettings);
    }

    void start(const QStringList& arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), rig.bus.address());
        EXPECT_TRUE(client.start(QStringLiteral(ZEMOLOGCTL), arguments, environment));
    }

    ChildProcess client;
};

} // namespace

TEST_F(ZemologctlWait, AJobIsWaitedForAndNothingElseIsSaid)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));

    start({"--wait", "settings", "save"});

    EXPECT_EQ(client.waitForEnd(), 0);
    EXPECT_EQ(client.outputLines(), QStringList{"finished"});
    EXPECT_EQ(client.errorLines(), QStringList());
}

TEST_F(ZemologctlWait, ADaemonThatGoesEndsTheWaitWithACodeOfItsOwn)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));
    ASSERT_TRUE(rig.platform.setDelay(QStringLiteral("saveSettings"), std::chrono::minutes(5)));
    start({"--wait", "settings", "save"});
    ASSERT_TRUE(waitUntil([this] { return rig.platform.callCount(QStringLiteral("saveSettings")) == 1; }));

    rig.daemon.kill();

    EXPECT_EQ(client.waitForEnd(), 69);
}
