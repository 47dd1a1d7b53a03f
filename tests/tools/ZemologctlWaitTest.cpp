#include "SystemTest.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>

namespace
{

const QString service = QStringLiteral("com.tarn.zemo.logd");

// Some blob for settings to save.
constexpr char platformWithSettings[] = R"({"settings": "c2V0"})";

/// Takes calls and answers none.
class SilentObject : public QDBusVirtualObject
{
public:
    QString introspect(const QString& /*path*/) const override
    {
        return {};
    }

    bool handleMessage(const QDBusMessage& /*message*/, const QDBusConnection& /*connection*/) override
    {
        ++calls;
        return true;
    }

    int calls = 0;
};

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

TEST_F(ZemologctlWait, ADaemonThatGoesBeforeItAnswersIsToldAtOnce)
{
    ASSERT_TRUE(rig.startBus());
    SilentObject silent;
    {
        QDBusConnection daemon = QDBusConnection::connectToBus(rig.bus.address(), QStringLiteral("silent"));
        ASSERT_TRUE(daemon.registerVirtualObject(QStringLiteral("/Logging"), &silent) &&
                    daemon.registerService(service));
        start({"settings", "save"});
        ASSERT_TRUE(waitUntil([&] { return silent.calls == 1; }));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("silent"));

    EXPECT_EQ(client.waitForEnd(), 69);
    EXPECT_EQ(client.errorLines(), QStringList{"zemologctl: the daemon went away before it answered"});
}

TEST_F(ZemologctlWait, ABusThatGoesEndsTheWait)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));
    ASSERT_TRUE(rig.platform.setDelay(QStringLiteral("saveSettings"), std::chrono::minutes(5)));
    start({"--wait", "settings", "save"});
    ASSERT_TRUE(waitUntil([this] { return rig.platform.callCount(QStringLiteral("saveSettings")) == 1; }));

    rig.bus.stop();

    EXPECT_EQ(client.waitForEnd(), 69);
    EXPECT_EQ(client.errorLines(), QStringList{"zemologctl: the bus went away"});
}

TEST_F(ZemologctlWait, AJobThatTakesTooLongEndsTheWaitWithACodeOfItsOwn)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));
    ASSERT_TRUE(rig.platform.setDelay(QStringLiteral("saveSettings"), std::chrono::minutes(5)));

    start({"--wait", "--timeout", "10", "settings", "save"});

    EXPECT_EQ(client.waitForEnd(), 75);
    EXPECT_EQ(client.errorLines(), QStringList{"zemologctl: not finished in time"});
}

using ZemologctlJson = ZemologctlWait;

TEST_F(ZemologctlJson, NamesTheMethodThatWasCalled)
{
    ASSERT_TRUE(rig.start());

    start({"--json", "power", "hourly", "--from", "@1709624400", "--to", "@1709628000"});

    EXPECT_EQ(client.waitForEnd(), 0);
    EXPECT_EQ(client.outputLines(), QStringList{R"({"method":"PowerLogExportHourlyForPeriodToUsb","result":true})"});
}

TEST_F(ZemologctlWait, ABusThatGoesEndsTheMonitorAndADaemonThatGoesDoesNot)
{
    ASSERT_TRUE(rig.startBus());
    QDBusConnection bus = rig.bus.connection();
    const auto signalComes = [&](const QString& name)
    {
        bus.send(QDBusMessage::createSignal(QStringLiteral("/Logging"), service, name));
        return client.outputLines().contains(name);
    };
    ASSERT_TRUE(bus.registerService(service));
    start({"monitor"});
    ASSERT_TRUE(waitUntil([&] { return signalComes("logDaemonStarted"); }));
    ASSERT_TRUE(bus.unregisterService(service));
    ASSERT_TRUE(bus.registerService(service));
    ASSERT_TRUE(waitUntil([&] { return signalComes("usbLogStarted"); }));

    rig.bus.stop();

    EXPECT_EQ(client.waitForEnd(), 69);
    EXPECT_EQ(client.errorLines(), QStringList{"zemologctl: the bus went away"});
}
