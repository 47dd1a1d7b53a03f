#include "SystemTest.h"

#include <QDate>
#include <QDir>
#include <QFile>

namespace
{

// The parameters' values never change, so that a row's text tells of its parameter alone.
constexpr const char* Parameters = R"("parameters": [
    {"id": 10, "unit": "l/s", "name": "Flow", "signal": {"kind": "constant", "value": 3}, "default": true},
    {"id": 20, "name": "Level", "signal": {"kind": "constant", "value": 4}},
    {"id": 30, "unit": "kW", "name": "Power", "signal": {"kind": "constant", "value": 5}}])";

class CustomLogs : public SystemTest
{
protected:
    QString startWithStick()
    {
        const QString stick = rig.scratch.makeStick("usb1");
        start(stick);
        return stick;
    }
    void start(const QString& stick = {})
    {
        rig.setScenario(QByteArray(R"({"serial": "123456", )") + Parameters +
                        (stick.isEmpty() ? "" : R"(, "drives": [")" + stick.toUtf8() + "\"]") + "}");
        ASSERT_TRUE(rig.start());
    }
    // The signals of custom logs and of the main log so far, with the id.
    QStringList signalsSoFar()
    {
        rig.settle();
        QStringList list;
        for (const BusSignal& signal : rig.logdSignals().all())
        {
            if (signal.name.startsWith("customUsbLog") || signal.name.startsWith("usbLog"))
            {
                list << signal.name + (signal.arguments.isEmpty() ? "" : " " + signal.arguments[0].toString());
            }
        }
        return list;
    }
    // A configured log whose start has failed, as the stick's folder was gone for the moment.
    void failToStart(const QString& stick, int id)
    {
        rig.logd().configureCustomLogUsb(id, "boiler", {10});
        ASSERT_TRUE(QDir().rename(stick, stick + "gone"));
        EXPECT_FALSE(rig.logd().startCustomLogUsb(id, 1, false));
        ASSERT_TRUE(QDir().rename(stick + "gone", stick));
    }
};

QByteArrayList valuesIn(const QString& path)
{
    QByteArrayList values;
    const QStringList lines = linesOf(path).mid(1);
    for (const QString& line : lines)
    {
        values << line.mid(19).toUtf8();
    }
    return values;
}

QList<qint64> timesIn(const QString& path)
{
    QList<qint64> times;
    const QStringList lines = linesOf(path).mid(1);
    for (const QString& line : lines)
    {
        times << QDateTime::fromString(line.left(19), "yyyy-MM-dd hh:mm:ss").toSecsSinceEpoch();
    }
    return times;
}

} // namespace

// One test for each row of the states of a log

TEST_F(CustomLogs, UnknownConfiguredIsConfigured)
{
    startWithStick();

    EXPECT_TRUE(rig.logd().configureCustomLogUsb(1, "boiler", {10}));

    EXPECT_FALSE(rig.logd().isCustomUsbLogActive(1));
    EXPECT_EQ(rig.logd().getCustomUsbLogParameters(1).value(), QStringList());
    EXPECT_EQ(signalsSoFar(), QStringList());
}

TEST_F(CustomLogs, UnknownStartedStaysUnknown)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().startCustomLogUsb(1, 1, false));

    EXPECT_TRUE(rig.daemon.waitForTrace("USB Logging (log: 1) is missing config. Not starting."));
    EXPECT_EQ(signalsSoFar(), QStringList());
}

TEST_F(CustomLogs, ConfiguredStartedWithADriveIsRunning)
{
    const QString stick = startWithStick();
    rig.logd().configureCustomLogUsb(1, "boiler", {10, 20});

    EXPECT_TRUE(rig.logd().startCustomLogUsb(1, 1, false));

    EXPECT_TRUE(rig.logd().isCustomUsbLogActive(1));
    EXPECT_EQ(rig.logd().getCustomUsbLogParameters(1).value(), QStringList({"Flow", "Level"}));
    EXPECT_EQ(signalsSoFar(), QStringList("customUsbLogStarted 1"));
    EXPECT_TRUE(waitForLines(stick + "/boiler-123456-1.csv", 3));
    EXPECT_EQ(valuesIn(stick + "/boiler-123456-1.csv").first(), "\t3\t4");
}

TEST_F(CustomLogs, ConfiguredThatDoesNotComeUpIsFailed)
{
    const QString stick = startWithStick();

    failToStart(stick, 1);

    EXPECT_FALSE(rig.logd().isCustomUsbLogActive(1));
    EXPECT_EQ(rig.logd().getCustomUsbLogParameters(1).value(), QStringList("Flow"));
    EXPECT_TRUE(rig.daemon.waitForTrace("USB Logging (log: 1) failed to start"));
    EXPECT_EQ(signalsSoFar(), QStringList());
}

TEST_F(CustomLogs, ConfiguredStartedWithoutADriveStaysConfigured)
{
    start();
    rig.logd().configureCustomLogUsb(1, "boiler", {10});

    EXPECT_FALSE(rig.logd().startCustomLogUsb(1, 1, false));

    EXPECT_EQ(signalsSoFar(), QStringList());
    EXPECT_FALSE(rig.daemon.hasTraced("USB Logging (log: 1)"));
}

TEST_F(CustomLogs, RunningStartedAgainRunsOn)
{
    startWithStick();
    rig.logd().configureCustomLogUsb(1, "boiler", {10});
    rig.logd().startCustomLogUsb(1, 1, false);

    EXPECT_TRUE(rig.logd().startCustomLogUsb(1, 60, true));

    EXPECT_EQ(signalsSoFar(), QStringList("customUsbLogStarted 1"));
    EXPECT_TRUE(rig.daemon.waitForTrace("USB Logging (log: 1) already started"));
}

TEST_F(CustomLogs, RunningStoppedIsConfigured)
{
    const QString stick = startWithStick();
    rig.logd().configureCustomLogUsb(1, "boiler", {10});
    rig.logd().startCustomLogUsb(1, 1, false);

    EXPECT_TRUE(rig.logd().stopCustomLogUsb(1));

    EXPECT_FALSE(rig.logd().isCustomUsbLogActive(1));
    EXPECT_EQ(signalsSoFar(), QStringList({"customUsbLogStarted 1", "customUsbLogStopped 1"}));
    EXPECT_TRUE(rig.logd().startCustomLogUsb(1, 1, false));
    EXPECT_TRUE(waitForLines(stick + "/boiler-123456-2.csv", 1));
}

TEST_F(CustomLogs, RunningConfiguredAnewRunsOnWithTheNewSetAtOnce)
{
    const QString stick = startWithStick();
    rig.logd().configureCustomLogUsb(1, "boiler", {10});
    rig.logd().startCustomLogUsb(1, 1, false);

    EXPECT_TRUE(rig.logd().configureCustomLogUsb(1, "tank", {10, 30}));

    EXPECT_EQ(linesOf(stick + "/boiler-123456-2.csv").value(0), "\tFlow [l/s]\tPower [kW]");
    EXPECT_EQ(rig.logd().getCustomUsbLogParameters(1).value(), QStringList({"Flow", "Power"}));
    EXPECT_EQ(signalsSoFar(), QStringList("customUsbLogStarted 1"));
}

TEST_F(CustomLogs, FailedStartedAgainIsRunningAndTheMainLogCountsAsStoppedWhileItWritesOn)
{
    const QString stick = startWithStick();
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, "default"));
    failToStart(stick, 1);
    EXPECT_TRUE(rig.logd().isUsbLogActive());

    EXPECT_TRUE(rig.logd().startCustomLogUsb(1, 1, false));

    EXPECT_FALSE(rig.logd().isUsbLogActive());
    EXPECT_EQ(signalsSoFar(), QStringList({"usbLogStarted", "customUsbLogStarted 1"}));
    const QString mainLog = waitForFile(stick, "20*-123456-1.csv");
    EXPECT_TRUE(waitForLines(mainLog, linesOf(mainLog).size() + 2));
}

TEST_F(CustomLogs, FailedStoppedIsConfiguredAndTellsThatItStopped)
{
    const QString stick = startWithStick();
    failToStart(stick, 1);

    EXPECT_TRUE(rig.logd().stopCustomLogUsb(1));

    EXPECT_EQ(signalsSoFar(), QStringList("customUsbLogStopped 1"));
    EXPECT_EQ(rig.logd().getCustomUsbLogParameters(1).value(), QStringList());
}

TEST_F(CustomLogs, ARunningLogOutlivesTheRemovalOfItsDriveUntilItIsStopped)
{
    const QString stick = startWithStick();
    rig.logd().configureCustomLogUsb(1, "boiler", {10});
    // The removal doesn't wait behind the call.
    ASSERT_TRUE(rig.logd().startCustomLogUsb(1, 1, false).value());

    ASSERT_TRUE(rig.platform.removeDrive(stick));
    ASSERT_TRUE(waitForLines(stick + "/boiler-123456-1.csv", 4));
    EXPECT_TRUE(rig.logd().isCustomUsbLogActive(1));
    rig.logd().stopCustomLogUsb(1);

    EXPECT_EQ(signalsSoFar(), QStringList({"customUsbLogStarted 1", "customUsbLogStopped 1"}));
}

// Four logs at once

TEST_F(CustomLogs, ThreeLogsAndTheMainLogOverAMinuteEachHoldExactlyTheirRows)
{
    constexpr int Speed = 10;
    constexpr int Minute = 60;
    const QString stick = rig.scratch.makeStick("usb1");
    fakeClock::runFrom(rig.daemon, QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9)), Speed);
    start(stick);
    rig.logd().configureCustomLogUsb(1, "each", {10, 20, 30});
    rig.logd().configureCustomLogUsb(2, "third", {20});
    rig.logd().configureCustomLogUsb(3, "seventh", {30, 10});

    rig.logd().startLogUsb(2, false, "default");
    rig.logd().startCustomLogUsb(1, 1, false);
    rig.logd().startCustomLogUsb(2, 3, false);
    rig.logd().startCustomLogUsb(3, 7, false);
    const QString eachSecond = stick + "/each-123456-1.csv";
    ASSERT_TRUE(waitForLines(eachSecond, 1 + Minute + 10));
    rig.daemon.stop();

    const QList<qint64> ticks = timesIn(eachSecond);
    EXPECT_EQ(linesOf(eachSecond).first(), "\tFlow [l/s]\tLevel\tPower [kW]");
    EXPECT_EQ(valuesIn(eachSecond).count("\t3\t4\t5"), ticks.size());
    struct Log
    {
        QString name;
        int interval;
        QString heading;
        QByteArray values;
    };
    const Log logs[] = {{"20240305-123456-1.csv", 2, "\tFlow [l/s]", "\t3"},
                        {"third-123456-1.csv", 3, "\tLevel", "\t4"},
                        {"seventh-123456-1.csv", 7, "\tFlow [l/s]\tPower [kW]", "\t3\t5"}};
    for (const Log& log : logs)
    {
        SCOPED_TRACE(qPrintable(log.name));
        // The first tick that has come the interval after the row before.
        const QList<qint64> times = timesIn(stick + "/" + log.name);
        QList<qint64> expected;
        for (const qint64 tick : ticks)
        {
            if (tick == times.value(0) || (!expected.isEmpty() && tick - expected.last() >= log.interval))
            {
                expected << tick;
            }
        }
        EXPECT_EQ(linesOf(stick + "/" + log.name).first(), log.heading);
        EXPECT_EQ(valuesIn(stick + "/" + log.name).count(log.values), times.size());
        EXPECT_GE(times.size(), Minute / log.interval);
        EXPECT_EQ(times, expected);
    }
}
