// Callers that send far more than can be served. FloodTest --seconds=30 goes on for longer than the usual 5.
#include "ProcessFigures.h"
#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <array>

namespace
{

constexpr int senders = 4;

int seconds()
{
    const QStringList given = QCoreApplication::arguments().filter(QStringLiteral("--seconds="));
    return given.isEmpty() ? 5 : given.first().section('=', 1).toInt();
}

QDateTime timeOf(const QString& row)
{
    return QDateTime::fromString(row.section('\t', 0, 0), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

/// How many seconds lie between the first and the last row, and how many of them have no row.
struct Ticks
{
    qint64 span = 0;
    qint64 missed = 0;
};

Ticks ticksOf(const QString& file)
{
    const QStringList lines = linesOf(file);
    const qint64 rows = lines.size() - 1;
    const qint64 span = timeOf(lines.value(1)).secsTo(timeOf(lines.last()));
    return {span, span + 1 - rows};
}

class Flood : public SystemTest
{
protected:
    Flood()
    {
        rig.setScenario(smallPlatform);
        rig.scratch.writeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\n");
    }

    void fillEnergyLog()
    {
        ASSERT_TRUE(rig.logd().initEnergyLog(8, -1).value());
        QList<zemo::data::EnergyLogEntry> hours;
        const QDateTime first = QDateTime::currentDateTime().addDays(-60);
        for (int hour = 0; hour < 50 * 24; ++hour)
        {
            const QDateTime time = first.addSecs(hour * 3600);
            hours.append({static_cast<uint16_t>(time.date().year()), static_cast<uint8_t>(time.date().month()),
                          static_cast<uint8_t>(time.date().day()), static_cast<uint8_t>(time.time().hour()),
                          QList<int>(8, hour)});
        }
        ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntries(hours).value());
    }

    /// The number of calls that all senders together got rid of.
    qint64 flood(int duration)
    {
        const QStringList arguments = {rig.bus.address(), QString::number(duration)};
        std::array<ChildProcess, senders> flooders;
        for (ChildProcess& flooder : flooders)
            EXPECT_TRUE(flooder.start(QStringLiteral(ZEMO_FLOODER), arguments));
        qint64 count = 0;
        for (ChildProcess& flooder : flooders)
        {
            EXPECT_EQ(flooder.waitForEnd(std::chrono::seconds(duration) + patience), 0);
            count += flooder.outputLines().value(0).toLongLong();
        }
        return count;
    }

    /// Milliseconds until a client that wasn't there before has its answer, nothing without one.
    std::optional<qint64> answerToANewClient()
    {
        const QString name = QStringLiteral("new client");
        QElapsedTimer timer;
        timer.start();
        QDBusMessage call =
            QDBusMessage::createMethodCall("com.tarn.zemo.logd", "/Logging", "com.tarn.zemo.logd", "getLogParameters");
        // With the event loop running, as nobody else reads what the daemon traces.
        const QDBusPendingCall pending = QDBusConnection::connectToBus(rig.bus.address(), name).asyncCall(call);
        const bool answered = waitUntil([&] { return pending.isFinished(); }) && !pending.isError();
        const qint64 elapsed = timer.elapsed();
        QDBusConnection::disconnectFromBus(name);
        return answered ? std::optional(elapsed) : std::nullopt;
    }
};

} // namespace

TEST_F(Flood, OfCallsWithoutReplyCostsAtMostOneTickAndLittleMemoryAndANewClientIsAnsweredAtOnce)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    fillEnergyLog();
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")).value());
    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(file, 2));

    const qint64 sent = flood(seconds());

    const std::optional<qint64> answered = answerToANewClient();
    const ProcessFigures figures = ProcessFigures::of(rig.daemon.processId());
    ASSERT_TRUE(waitForLines(file, linesOf(file).size() + 2));
    const Ticks ticks = ticksOf(file);
    std::cout << sent << " calls; " << ticks.missed << " of " << ticks.span << " ticks missed; at most "
              << figures.peakResidentMebibytes << " MiB; a new client answered after " << answered.value_or(-1)
              << " ms\n";
    EXPECT_GT(sent, 1000 * seconds());
    EXPECT_GE(ticks.span, seconds());
    EXPECT_LE(ticks.missed, 1);
    EXPECT_LT(figures.peakResidentMebibytes, 100);
    ASSERT_TRUE(answered);
    EXPECT_LT(*answered, 1000);
}

TEST_F(Flood, ACallBeyondTheThousandThatWaitIsRefusedAtOnce)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));
    rig.platform.freeze();
    QDBusPendingReply<bool> blocking = rig.logd().startLogUsb(1, false, QStringLiteral("default"));
    // One of them is in hand behind the one that blocks. The bus itself sees to it that few want an answer.
    for (int i = 0; i < 1001; ++i)
        rig.bus.connection().send(
            QDBusMessage::createMethodCall("com.tarn.zemo.logd", "/Logging", "com.tarn.zemo.logd", "isUsbLogActive"));

    QDBusPendingReply<bool> oneTooMany = rig.logd().isUsbLogActive();

    ASSERT_TRUE(waitUntil([&] { return oneTooMany.isFinished(); }));
    EXPECT_FALSE(blocking.isFinished());
    EXPECT_EQ(oneTooMany.error().type(), QDBusError::LimitsExceeded);
    EXPECT_EQ(oneTooMany.error().message(), QStringLiteral("Too many calls are waiting already"));
    rig.platform.thaw();
    ASSERT_TRUE(waitUntil([&] { return blocking.isFinished(); }));
    EXPECT_TRUE(blocking.value());
    EXPECT_TRUE(rig.daemon.waitForTrace("Calls are served again as they come; 1 were refused"));
    EXPECT_TRUE(rig.logd().isUsbLogActive().value());
}

TEST_F(Flood, ANewCallerIsServedBeforeTheManyCallsOfAnother)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));
    rig.platform.freeze();
    QList<QDBusPendingReply<bool>> many = {rig.logd().startLogUsb(1, false, QStringLiteral("default"))};
    for (int i = 0; i < 100; ++i)
        many.append(rig.logd().saveSysInfoToUsb());
    QDBusConnection newcomer = QDBusConnection::connectToBus(rig.bus.address(), QStringLiteral("newcomer"));
    LogDaemonProxy proxy(QStringLiteral("com.tarn.zemo.logd"), QStringLiteral("/Logging"), newcomer);

    const QDBusPendingReply<bool> one = proxy.isUsbLogActive();
    rig.platform.thaw();

    ASSERT_TRUE(waitUntil([&] { return one.isFinished(); }));
    EXPECT_LT(std::count_if(many.begin(), many.end(), [](const auto& call) { return call.isFinished(); }), 50);
    EXPECT_TRUE(one.isValid());
    EXPECT_TRUE(waitUntil([&] { return many.last().isFinished(); }));
    QDBusConnection::disconnectFromBus(newcomer.name());
}
