#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QRegularExpression>

namespace
{

/// The time of a row.
QDateTime timeOf(const QString& row)
{
    return QDateTime::fromString(row.section('\t', 0, 0), QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

class WholeRun : public SystemTest
{
protected:
    WholeRun()
    {
        rig.setScenario(smallPlatform);
    }
};

} // namespace

TEST_F(WholeRun, TheTraceIsThisLineByLine)
{
    rig.setConfiguration("[usb]\nfuture = 60\n");
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(file, 3));
    ASSERT_TRUE(rig.logd().stopLogUsb());
    ASSERT_EQ(rig.daemon.stop(), 0);

    QStringList summaries;
    QStringList functions;
    for (const TraceLine& line : rig.daemon.trace())
    {
        summaries.append(line.summary());
        functions.append(line.function);
    }
    const QStringList expected = {
        "notice Main: loaded /etc/zemologd.conf",
        "notice Main: Current configuration:  RAM\n"
        "    Max default parameters\t100\n"
        "    Max manual parameters\t20\n"
        "    Interval 1min\t\t259200 secs\n"
        "    Interval 10sec\t\t3600 secs\n"
        "    Interval 1sec\t\t600 secs\n"
        "  USB\n"
        "    History secs\t\t259200 secs\n"
        "    Future secs\t\t\t60 secs\n"
        "  INT\n"
        "    History secs\t\t3300 secs\n"
        "    Future secs\t\t\t300 secs\n"
        "    Path\t\t\t/var/zemo/var/log/zemologd",
        "notice Main: Starting app",
        "info LogDaemon: USB Drive Inserted " + stick,
        "info FileLogger: Not running",
        "info FileLogger: Trying " + file,
        "info LogDaemon: USB Logging started with interval 1 sec",
        "info LogDaemon: USB Logging stopped...",
        "notice Main: App finished",
    };
    EXPECT_EQ(summaries, expected);
    EXPECT_EQ(functions, QStringList({"main", "main", "main", "usbDriveInserted", "updateParameters", "getLogFileName",
                                      "startUsbLog", "stopUsbLog", "main"}));
}

TEST_F(WholeRun, TheSignalsComeInTheOrderOfTheEvents)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
    ASSERT_TRUE(rig.logd().stopLogUsb());
    rig.settle();

    EXPECT_EQ(rig.logdSignals().names(), QStringList({"logDaemonStarted", "usbLogStarted", "usbLogStopped"}));
}

TEST_F(WholeRun, TheStickHoldsAHeadingAndARowForEachSecond)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));

    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(file, 6));
    const QStringList lines = linesOf(file);
    EXPECT_EQ(lines[0], QStringLiteral("\tPump power [kW]\tStarts"));
    for (int row = 1; row <= 5; ++row)
    {
        EXPECT_TRUE(timeOf(lines[row]).isValid()) << qUtf8Printable(lines[row]);
        EXPECT_EQ(lines[row].mid(19), QStringLiteral("\t55\t1200"));
    }
    EXPECT_LE(timeOf(lines[1]).secsTo(timeOf(lines[5])), 5);
}

TEST_F(WholeRun, TheNameOfTheFileIsDateSerialAndNumber)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));

    static const QRegularExpression form(QStringLiteral("^\\d{8}-123456-1\\.csv$"));
    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    EXPECT_TRUE(form.match(QFileInfo(file).fileName()).hasMatch()) << qUtf8Printable(file);
}

TEST_F(WholeRun, TheHeadingIsInTheLocaleOfTheStartAndSoAreTheLogParameters)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("de_DE")));

    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(file, 1));
    EXPECT_EQ(linesOf(file)[0], QStringLiteral("\tLeistung [kW]\tAnläufe"));
    EXPECT_EQ(rig.logd().getLogParameters().value(), QStringList({"Leistung", QStringLiteral("Anläufe")}));
}

TEST_F(WholeRun, AnIntervalOfThreeSecondsGivesEveryThirdRow)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(3, false, QStringLiteral("default")));

    const QString file = waitForFile(stick, QStringLiteral("*.csv"));
    ASSERT_TRUE(waitForLines(file, 4));
    const QStringList lines = linesOf(file);
    for (int row = 2; row <= 3; ++row)
    {
        EXPECT_GE(timeOf(lines[row - 1]).secsTo(timeOf(lines[row])), 3);
    }
}
