// A stick on which one write takes ten seconds: what waits for it, and what doesn't.

#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QElapsedTimer>

namespace
{

constexpr char hangMs[] = "10000";
constexpr int rowThatHangs = 4; // the heading is the first write

class HangingStick : public SystemTest
{
protected:
    /// Starts a log on a stick and returns when the write of a row hangs; the file of the log.
    QString startLogThatHangs()
    {
        const QString stick = rig.scratch.makeStick("usb1");
        const QString calls = stick + "-calls";
        const QMap<QString, QString> fault = {{"PATH", stick + '/'},
                                              {"PROGRAM", "zemologd"},
                                              {"CALLS", "write"},
                                              {"ACTION", "delay"},
                                              {"MS", hangMs},
                                              {"LOG", calls},
                                              {"AT", QString::number(rowThatHangs)}};
        rig.daemon.setEnvironment("LD_PRELOAD", ZEMO_FAULT_LIBRARY);
        for (auto each = fault.begin(); each != fault.end(); ++each)
        {
            rig.daemon.setEnvironment("ZEMO_FAULT_" + each.key(), each.value());
        }
        rig.setScenario(smallPlatform);
        EXPECT_TRUE(rig.start());
        EXPECT_TRUE(rig.waitForStick(rig.insertStick("usb1")));
        EXPECT_TRUE(rig.logd().initEnergyLog(1, -1));
        EXPECT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
        QString file = waitForFile(stick, QStringLiteral("*.csv"));
        EXPECT_TRUE(waitForLines(calls, rowThatHangs));
        return file;
    }
};

} // namespace

TEST_F(HangingStick, KeepsTheTicksAndTheCallsThatNeedTheStateWaitingAndNothingElse)
{
    const QString file = startLogThatHangs();
    const qsizetype rows = linesOf(file).size();
    QElapsedTimer time;
    time.start();

    const zemo::data::EnergyLogEntry hour(2026, 3, 5, 7, {1});
    EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntry(hour));
    EXPECT_EQ(rig.logd().createUsbFolder("folder", "").isError(), false);
    const qint64 withoutState = time.elapsed();
    EXPECT_EQ(linesOf(file).size(), rows) << "the write is through already, so nothing was tried";
    EXPECT_TRUE(rig.logd().isUsbLogActive());
    const qint64 withState = time.elapsed();

    EXPECT_TRUE(waitForLines(file, rows + 3));
    EXPECT_TRUE(rig.logd().stopLogUsb());
    EXPECT_TRUE(rig.daemon.isRunning());
    RecordProperty("answer without the state in ms", static_cast<int>(withoutState));
    RecordProperty("answer with the state in ms", static_cast<int>(withState));
}
