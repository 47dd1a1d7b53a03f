#include "SystemTest.h"

#include <QDate>
#include <QDir>

#include <algorithm>

namespace
{

const char* const Scenario = R"({
  "serial": "123456",
  "parameters": [{"id": 1, "name": "Pump", "default": true}],
  "texts": {"59023": {"en_GB": "Date", "de_DE": "Datum"}, "59024": "A", "59025": "B",
            "59027": {"en_GB": "Total", "de_DE": "Sum\u00adme"}},
  "powerLog": {
    "hourly": [[1700003600, 1e300, 0, -1e20], [1700000000, 1.5, null, 2.25], [1700000000, null, null, null]],
    "quarterly": [[1700000900, -3, 0.125, 1000000], [1700001800, 0.0004, 0.0004, 0.0004]]}
})";

class PowerLogExportTest : public SystemTest
{
protected:
    PowerLogExportTest()
    {
        rig.setScenario(Scenario);
        rig.daemon.setEnvironment("TZ", "UTC");
        rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\necho run >>/var/syncs\n");
    }

    void startWithStick()
    {
        ASSERT_TRUE(rig.start());
        stick = rig.insertStick();
        ASSERT_TRUE(rig.waitForStick(stick));
    }

    /// Waits for the end of the export of that number; its outcome.
    bool completed(int number = 1)
    {
        return rig.logdSignals().waitFor("PowerLogExportCompleted", number) &&
               rig.logdSignals().lastArguments("PowerLogExportCompleted").value(0).toBool();
    }

    QStringList powerSignals()
    {
        rig.settle();
        return rig.logdSignals().names().filter("PowerLog");
    }

    QString hourly(int number = 1) const
    {
        return file("powerlog_hourly_", number);
    }

    QString quarterly(int number = 1) const
    {
        return file("powerlog_15_min_", number);
    }

    QString stick;

private:
    QString file(const QString& prefix, int number) const
    {
        return stick + "/" + prefix + QDate::currentDate().toString("yyyyMMdd") + "-123456-" + QString::number(number) +
               ".csv";
    }
};

} // namespace

TEST_F(PowerLogExportTest, BothFilesAreTheseByteForByte)
{
    startWithStick();

    const bool result = rig.logd().PowerLogExportToUsb("de_DE").value();

    EXPECT_TRUE(result);
    EXPECT_TRUE(completed());
    EXPECT_EQ(powerSignals(), (QStringList{"PowerLogExportStarted", "PowerLogExportCompleted"}));
    const QByteArray huge = QByteArray::number(1e300, 'f', 3);
    EXPECT_EQ(contentOf(hourly()), "Datum\tA\tB\t\tSum\u00adme\n"
                                   "2023-11-14 23:13:20\t" +
                                       huge + "\t0.000\t-100000000000000000000.000\t" + huge +
                                       "\n"
                                       "2023-11-14 22:13:20\t1.500\t-\t2.250\t3.750\n"
                                       "2023-11-14 22:13:20\t-\t-\t-\t0.000\n");
    EXPECT_EQ(contentOf(quarterly()), "Datum\tA\tB\t\tSum\u00adme\n"
                                      "2023-11-14 22:28:20\t-3.000\t0.125\t1000000.000\t999997.125\n"
                                      "2023-11-14 22:43:20\t0.000\t0.000\t0.000\t0.001\n");
    EXPECT_EQ(linesOf(rig.scratch.outside("/var/syncs")).size(), 2);
}

TEST_F(PowerLogExportTest, APeriodReachesTheServiceWithAllItsBits)
{
    startWithStick();

    ASSERT_TRUE(rig.logd().PowerLogExportHourlyForPeriodToUsb("en_GB", 1700000001, 9000000000000000000).value());

    EXPECT_TRUE(completed());
    EXPECT_EQ(linesOf(hourly()).size(), 2);
    EXPECT_TRUE(linesOf(hourly()).value(1).startsWith("2023-11-14 23:13:20\t"));
    EXPECT_TRUE(rig.daemon.waitForTrace("Exporting power log from 1700000001 to 9000000000000000000"));
}

TEST_F(PowerLogExportTest, EachMethodWritesItsFilesAndNoOther)
{
    startWithStick();
    int number = 0;
    const auto exported = [&](const QDBusPendingReply<bool>& reply)
    {
        const bool accepted = reply.value() && completed(++number);
        const QStringList names = QDir(stick).entryList(QDir::Files, QDir::Name);
        for (const QString& name : names)
        {
            QFile::remove(stick + "/" + name);
        }
        // The guard goes back just after the signal.
        EXPECT_TRUE(accepted);
        QStringList kinds;
        std::transform(names.begin(), names.end(), std::back_inserter(kinds),
                       [](const QString& name) { return name.section('_', 1, 1); });
        return kinds;
    };
    const auto call = [&](const std::function<QDBusPendingReply<bool>()>& method)
    {
        QDBusPendingReply<bool> reply;
        EXPECT_TRUE(waitUntil(
            [&]
            {
                reply = method();
                return reply.value();
            }));
        return exported(reply);
    };
    LogDaemonProxy& logd = rig.logd();

    EXPECT_EQ(call([&] { return logd.PowerLogExportToUsb("en_GB"); }), (QStringList{"15", "hourly"}));
    EXPECT_EQ(call([&] { return logd.PowerLogExportHourlyToUsb("en_GB"); }), QStringList{"hourly"});
    EXPECT_EQ(call([&] { return logd.PowerLogExportQuarterlyToUsb("en_GB"); }), QStringList{"15"});
    EXPECT_EQ(call([&] { return logd.PowerLogExportForPeriodToUsb("en_GB", 1, 2); }), (QStringList{"15", "hourly"}));
    EXPECT_EQ(call([&] { return logd.PowerLogExportHourlyForPeriodToUsb("en_GB", 1, 2); }), QStringList{"hourly"});
    EXPECT_EQ(call([&] { return logd.PowerLogExportQuarterlyForPeriodToUsb("en_GB", 1, 2); }), QStringList{"15"});
}

TEST_F(PowerLogExportTest, ASecondCallWhileOneRunsIsRefusedAndLeavesItAlone)
{
    startWithStick();
    ASSERT_TRUE(rig.platform.setDelay("GetHourly", std::chrono::seconds(1)));
    ASSERT_TRUE(rig.logd().PowerLogExportHourlyToUsb("en_GB").value());

    const bool result = rig.logd().PowerLogExportQuarterlyToUsb("en_GB").value();

    EXPECT_FALSE(result);
    EXPECT_TRUE(rig.daemon.waitForTrace("Export is already active"));
    EXPECT_TRUE(completed());
    EXPECT_EQ(powerSignals(), (QStringList{"PowerLogExportStarted", "PowerLogExportCompleted"}));
    EXPECT_FALSE(QFile::exists(quarterly()));
}

TEST_F(PowerLogExportTest, ExportsStartedAsSoonAsTheLastOneCompletesAreEitherRunOrRefused)
{
    startWithStick();
    int accepted = 0;

    for (int round = 0; round < 20; ++round)
    {
        if (rig.logd().PowerLogExportHourlyToUsb("en_GB").value())
        {
            ++accepted;
            ASSERT_TRUE(completed(accepted));
        }
    }

    rig.settle();
    EXPECT_EQ(rig.logdSignals().count("PowerLogExportStarted"), accepted);
    EXPECT_EQ(rig.logdSignals().count("PowerLogExportCompleted"), accepted);
    const auto refusals = [&] { return rig.daemon.summaries("LogDaemon").filter("Export is already active").size(); };
    EXPECT_TRUE(waitUntil([&] { return refusals() == 20 - accepted; }));
    EXPECT_GE(accepted, 1);
}

TEST_F(PowerLogExportTest, APeriodThatEndsBeforeItStartsIsRefusedWithoutASignal)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().PowerLogExportForPeriodToUsb("en_GB", 5, 5).value());
    EXPECT_FALSE(rig.logd().PowerLogExportHourlyForPeriodToUsb("en_GB", 6, 5).value());
    EXPECT_FALSE(rig.logd().PowerLogExportQuarterlyForPeriodToUsb("en_GB", 0, -9000000000).value());

    EXPECT_TRUE(powerSignals().isEmpty());
    EXPECT_TRUE(rig.daemon.waitForTrace("Invalid export period: 0 >= -9000000000"));
    EXPECT_TRUE(rig.logd().PowerLogExportHourlyToUsb("en_GB").value());
    EXPECT_TRUE(completed());
}

TEST_F(PowerLogExportTest, WithNoStickTheCallIsTrueAndTheExportCompletesWithFalse)
{
    ASSERT_TRUE(rig.start());

    const bool result = rig.logd().PowerLogExportToUsb("en_GB").value();

    EXPECT_TRUE(result);
    EXPECT_FALSE(completed());
    EXPECT_EQ(powerSignals(), (QStringList{"PowerLogExportStarted", "PowerLogExportCompleted"}));
    EXPECT_EQ(rig.platform.callCount("GetHourly"), 0U);
}

TEST_F(PowerLogExportTest, AStickPulledDuringTheFirstFileEndsTheExportWithFalse)
{
    startWithStick();
    ASSERT_TRUE(rig.platform.setDelay("GetHourly", std::chrono::seconds(1)));
    ASSERT_TRUE(rig.logd().PowerLogExportToUsb("en_GB").value());
    ASSERT_FALSE(waitForFile(stick, "powerlog_hourly_*").isEmpty());

    ASSERT_TRUE(rig.platform.removeDrive(stick));

    EXPECT_FALSE(completed());
    EXPECT_TRUE(rig.daemon.waitForTrace("Failed to export quarterly power log"));
    EXPECT_EQ(linesOf(hourly()).size(), 4);
    EXPECT_FALSE(QFile::exists(quarterly()));
}

TEST_F(PowerLogExportTest, AServiceThatFailsGivesNoTitlesAndNoFile)
{
    startWithStick();
    ASSERT_TRUE(rig.platform.setFailure("getTexts", true));

    ASSERT_TRUE(rig.logd().PowerLogExportToUsb("en_GB").value());

    EXPECT_FALSE(completed());
    EXPECT_TRUE(rig.daemon.waitForTrace("Failed to retrieve header texts (even empty ones)"));
    EXPECT_TRUE(QDir(stick).isEmpty());
}

TEST_F(PowerLogExportTest, RecordsThatCannotBeHadGiveTheHeaderLineAlone)
{
    startWithStick();
    ASSERT_TRUE(rig.platform.setFailure("GetHourly", true));

    ASSERT_TRUE(rig.logd().PowerLogExportHourlyToUsb("en_GB").value());

    EXPECT_TRUE(completed());
    EXPECT_EQ(contentOf(hourly()), "Date\tA\tB\t\tTotal\n");
}

TEST_F(PowerLogExportTest, AYearOfQuarterHoursIsComplete)
{
    rig.setScenario(R"({"serial": "123456", "texts": {"59023": "Date"},
                        "powerLog": {"quarterly": {"days": 365, "end": 1700000000}}})");
    startWithStick();

    ASSERT_TRUE(rig.logd().PowerLogExportQuarterlyToUsb("en_GB").value());

    EXPECT_TRUE(completed());
    const QStringList lines = linesOf(quarterly());
    ASSERT_EQ(lines.size(), 1 + 365 * 96);
    EXPECT_EQ(lines.last(), "2023-11-14 22:00:00\t0.000\t0.000\t0.000\t0.000");
    EXPECT_TRUE(rig.daemon.waitForTrace("Retrieved 35040 power log entries in "));
}

TEST_F(PowerLogExportTest, AStickThatFillsUpIsNotNoticed)
{
    REQUIRE_BUBBLEWRAP();
    rig.setScenario(R"({"serial": "123456", "texts": {"59023": "Date"},
                        "powerLog": {"quarterly": {"days": 365, "end": 1700000000}}})");
    stick = rig.daemon.addSizedStick("full", 65536);
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.platform.insertDrive(stick));
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().PowerLogExportQuarterlyToUsb("en_GB").value());

    EXPECT_TRUE(completed());
    EXPECT_EQ(QFileInfo(rig.daemon.seen(quarterly())).size(), 65536);
    EXPECT_TRUE(rig.daemon.isRunning());
}
