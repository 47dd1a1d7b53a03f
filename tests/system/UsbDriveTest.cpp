#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QDir>

namespace
{

const QDateTime evening(QDate(2026, 3, 5), QTime(23, 59, 30));
const QDateTime nextDay(QDate(2026, 3, 6), QTime(0, 0, 2));

class UsbDrive : public SystemTest
{
protected:
    UsbDrive()
    {
        rig.setScenario(smallPlatform);
    }

    /// Starts a log on a new stick and waits for its first row; the path of its file.
    QString startLog(const QString& stick, const QString& locale = QStringLiteral("default"))
    {
        EXPECT_TRUE(rig.waitForStick(stick));
        EXPECT_TRUE(rig.logd().startLogUsb(1, false, locale));
        QString file = waitForFile(stick, QStringLiteral("*.csv"));
        EXPECT_TRUE(waitForLines(file, 2));
        return file;
    }

    bool isActive()
    {
        return rig.logd().isUsbLogActive().value();
    }
};

} // namespace

TEST_F(UsbDrive, OfTwoDrivesAtTheStartTheFirstIsUsed)
{
    ASSERT_TRUE(rig.startBus() && rig.startPlatform());
    const QString first = rig.insertStick(QStringLiteral("usb1"));
    const QString second = rig.insertStick(QStringLiteral("usb2"), {{"LOG.SET", "[ZEMOLOG;20240305]\n77\n"}});

    ASSERT_TRUE(rig.startDaemon());

    EXPECT_EQ(rig.daemon.summaries("LogDaemon"), QStringList({"info LogDaemon: USB Drive Inserted " + first}));
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
    EXPECT_FALSE(waitForFile(first, QStringLiteral("*.csv")).isEmpty());
    EXPECT_TRUE(QDir(second).entryList({"*.csv"}).isEmpty());
    EXPECT_EQ(rig.logd().getLogParameters().value().size(), 2);
}

TEST_F(UsbDrive, ADriveThatIsPulledWhileALogRunsDoesNotEndTheLog)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    const QString file = startLog(stick);

    ASSERT_TRUE(rig.platform.removeDrive(stick));
    const qsizetype rows = linesOf(file).size();

    EXPECT_TRUE(waitForLines(file, rows + 2)); // the folder is still there, as under a lazy unmount
    EXPECT_TRUE(isActive());
    rig.settle();
    EXPECT_EQ(rig.logdSignals().count("usbLogStopped"), 0);
    EXPECT_EQ(rig.logd().stopLogUsb().value(), true);
    EXPECT_FALSE(rig.logd().startLogUsb(1, false, QStringLiteral("default")).value());
}

TEST_F(UsbDrive, ALogSetThatComesInWhileALogRunsChangesTheColumnsInANewFile)
{
    ASSERT_TRUE(rig.start());
    const QString first = rig.insertStick(QStringLiteral("usb1"));
    const QString file = startLog(first);

    const QString second = rig.insertStick(QStringLiteral("usb2"), {{"LOG.SET", "[ZEMOLOG;20240305]\r\n77\r\n30\r\n"}});

    ASSERT_TRUE(rig.waitForStick(second));
    const QString next = waitForFile(first, QStringLiteral("*-2.csv"));
    ASSERT_TRUE(waitForLines(next, 2));
    EXPECT_EQ(linesOf(next)[0], QStringLiteral("\tPump power [kW]\tStarts\tPressure [bar]\tVoltage [V]"));
    EXPECT_EQ(linesOf(next)[1].mid(19), QStringLiteral("\t55\t1200\t30.5\t7700"));
    EXPECT_EQ(linesOf(file)[0], QStringLiteral("\tPump power [kW]\tStarts"));
    EXPECT_TRUE(rig.daemon.hasTraced("Restarting"));
    EXPECT_EQ(rig.logdSignals().count("usbLogStarted"), 1);
}

TEST_F(UsbDrive, ALogSetOnAStickThatIsThereAtTheStartNamesColumnsAndStartsNoLog)
{
    ASSERT_TRUE(rig.startBus() && rig.startPlatform());
    const QString stick = rig.insertStick(QStringLiteral("usb1"), {{"log.set", "[ZEMOLOG;20240305]\n77\n"}});

    ASSERT_TRUE(rig.startDaemon());

    EXPECT_FALSE(isActive());
    EXPECT_EQ(rig.logd().getLogParameters().value(),
              QStringList({QStringLiteral("Pump po\u00adwer"), "Starts", "Voltage"}));
    EXPECT_TRUE(waitUntil([&] { return rig.platform.lastIds() == QList<int>({5, 12, 77}); }));
    rig.settle();
    EXPECT_EQ(rig.logdSignals().names(), QStringList("logDaemonStarted"));
}

TEST_F(UsbDrive, AtMidnightTheLogGoesOnInANewFileWithoutASignalAndInTheDefaultLocale)
{
    fakeClock::steer(rig.daemon, rig.scratch);
    fakeClock::set(rig.scratch, evening);
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    const QString file = startLog(stick, QStringLiteral("de_DE"));
    ASSERT_TRUE(file.endsWith("/20260305-123456-1.csv")) << qUtf8Printable(file);

    fakeClock::set(rig.scratch, nextDay);

    const QString next = waitForFile(stick, QStringLiteral("20260306-123456-1.csv"));
    ASSERT_TRUE(waitForLines(next, 2));
    EXPECT_EQ(linesOf(file)[0], QStringLiteral("\tLeistung [kW]\tAnläufe"));
    EXPECT_EQ(linesOf(next)[0], QStringLiteral("\tPump power [kW]\tStarts"));
    EXPECT_TRUE(linesOf(next)[1].startsWith("2026-03-06 00:00:"));
    EXPECT_TRUE(isActive());
    rig.settle();
    EXPECT_EQ(rig.logdSignals().count("usbLogStarted"), 1);
    EXPECT_EQ(rig.logdSignals().count("usbLogStopped"), 0);
}

TEST_F(UsbDrive, AtMidnightWithTheStickAwayTheLogEndsWithoutASignal)
{
    fakeClock::steer(rig.daemon, rig.scratch);
    fakeClock::set(rig.scratch, evening);
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    startLog(stick);
    ASSERT_TRUE(rig.platform.removeDrive(stick));
    ASSERT_TRUE(isActive());

    fakeClock::set(rig.scratch, nextDay);

    EXPECT_TRUE(waitUntil([&] { return !isActive(); }));
    rig.settle();
    EXPECT_EQ(rig.logdSignals().count("usbLogStopped"), 0);
    EXPECT_EQ(QDir(stick).entryList({"*.csv"}).size(), 1);
}

TEST_F(UsbDrive, AClockThatGoesBackADayMakesANewFileToo)
{
    fakeClock::steer(rig.daemon, rig.scratch);
    fakeClock::set(rig.scratch, nextDay);
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    startLog(stick);

    fakeClock::set(rig.scratch, evening);

    const QString next = waitForFile(stick, QStringLiteral("20260305-123456-1.csv"));
    EXPECT_TRUE(waitForLines(next, 2));
}

TEST_F(UsbDrive, ASettingsFileOnTheStickIsReportedOnInsertionAndRemoval)
{
    ASSERT_TRUE(rig.start());
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB().value());

    const QString stick = rig.insertStick(QStringLiteral("usb1"), {{"STORE.SET", "x"}});
    ASSERT_TRUE(rig.logdSignals().waitFor("hasSettingsOnUSBChanged", 1));
    EXPECT_EQ(rig.logdSignals().lastArguments("hasSettingsOnUSBChanged"), QVariantList({true}));
    EXPECT_TRUE(rig.logd().hasSettingsOnUSB().value());

    ASSERT_TRUE(rig.platform.removeDrive(stick));
    ASSERT_TRUE(rig.logdSignals().waitFor("hasSettingsOnUSBChanged", 2));
    EXPECT_EQ(rig.logdSignals().lastArguments("hasSettingsOnUSBChanged"), QVariantList({false}));
}
