#include "ModbusStation.h"
#include "SystemTest.h"

namespace
{

constexpr int number = 40;

class ModbusDeviceLog : public SystemTest
{
protected:
    ModbusDeviceLog()
    {
        EXPECT_TRUE(station.start());
        station.fill(number);
        rig.setScenario(station.scenario());
    }

    /// Waits for a row with these values that is written from now on.
    bool waitForRow(const QStringList& values)
    {
        const QString wanted = QLatin1Char('\t') + values.join(QLatin1Char('\t'));
        const qsizetype known = linesOf(file).size();
        return waitUntil([&] { return !linesOf(file).mid(known).filter(wanted).isEmpty(); });
    }

    ModbusStation station;
    QString file;
};

} // namespace

TEST_F(ModbusDeviceLog, ItsRegistersOfEverySizeAreInTheRowsAndDashesWhileItIsAway)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
    file = waitForFile(stick, QStringLiteral("*.csv"));

    EXPECT_TRUE(waitForRow(ModbusStation::cells(number)));
    station.fill(number + 60);
    EXPECT_TRUE(waitForRow(ModbusStation::cells(number + 60)));
    station.stop();
    EXPECT_TRUE(waitForRow(ModbusStation::emptyCells()));
    ASSERT_TRUE(station.start());
    EXPECT_TRUE(waitForRow(ModbusStation::cells(number + 60)));

    EXPECT_TRUE(rig.logd().stopLogUsb());
}
