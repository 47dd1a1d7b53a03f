#include "ModbusBlocks.h"
#include "ModbusConnection.h"
#include "ModbusDevice.h"
#include "Platform.h"
#include "Text.h"

#include <zemo/DataValue.h>

#include <QDeadlineTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using platformd::blocksOf;
using platformd::ModbusBlock;
using platformd::ModbusConnection;
using platformd::ModbusItem;
using platformd::Platform;
using platformd::valueOf;
using Kind = ModbusDevice::Kind;

namespace
{

ModbusItem item(int id, quint16 address, unsigned char size = zemo::data::VarSizeUint16, bool isInput = false)
{
    ModbusItem result;
    result.id = id;
    result.source.address = address;
    result.source.size = size;
    result.source.isInput = isInput;
    return result;
}

/// A device that is up, and items that point to it.
struct ModbusTest : testing::Test
{
    ModbusTest()
    {
        EXPECT_TRUE(device.start());
    }

    ModbusItem at(int id, quint16 address, unsigned char size = zemo::data::VarSizeUint16, bool isInput = false) const
    {
        ModbusItem result = item(id, address, size, isInput);
        result.source.host = QStringLiteral("127.0.0.1");
        result.source.port = device.port();
        result.source.unit = 5;
        return result;
    }

    /// A platform of parameters at the device; `members` beside id, name and signal are those of each.
    QByteArray scenario(const QByteArray& members) const
    {
        return R"({"parameters": [{"id": 7, "name": "n", )" + members +
               R"(, "signal": {"kind": "modbus", "host": "127.0.0.1", "unit": 5, "port": )" +
               QByteArray::number(device.port()) + "}}]}";
    }

    ModbusDevice device{5};
};

std::unique_ptr<Platform> play(const QByteArray& json)
{
    const platformd::ScenarioResult result = platformd::parseScenario(json, QStringLiteral("a.json"));
    EXPECT_EQ(result.mistakes, QStringList());
    return std::make_unique<Platform>(result.scenario, [] { return 0; });
}

template <typename Condition> bool soon(Condition condition)
{
    const QDeadlineTimer deadline(30000);
    while (!condition() && !deadline.hasExpired())
    {
        std::this_thread::yield();
    }
    return condition();
}

bool hasValue(const Platform& platform, qint64 number)
{
    const QMap<int, zemo::data::DataValue> values = platform.values({7});
    return values.contains(7) && values[7].isOk() && values[7].getIntValue() == number;
}

} // namespace

TEST(ModbusBlocks, NeighboursAreReadInOneRequestInWhateverOrderTheyAreListed)
{
    const QList<ModbusBlock> blocks =
        blocksOf({item(3, 13), item(1, 10), item(2, 11, zemo::data::VarSizeInt32), item(4, 13)});

    ASSERT_EQ(blocks.size(), 1);
    EXPECT_EQ(blocks[0].first, 10);
    EXPECT_EQ(blocks[0].count, 4);
    EXPECT_EQ(blocks[0].items.size(), 4);
}

TEST(ModbusBlocks, ARegisterThatNobodyAskedForIsNeverRead)
{
    const QList<ModbusBlock> blocks = blocksOf({item(1, 10), item(2, 12)});

    ASSERT_EQ(blocks.size(), 2);
    EXPECT_EQ(blocks[0].count, 1);
    EXPECT_EQ(blocks[1].first, 12);
}

TEST(ModbusBlocks, HoldingAndInputRegistersOfTheSameAddressAreApart)
{
    const QList<ModbusBlock> blocks = blocksOf(
        {item(1, 10, zemo::data::VarSizeUint16, true), item(2, 10), item(3, 11, zemo::data::VarSizeUint16, true)});

    ASSERT_EQ(blocks.size(), 2);
    EXPECT_FALSE(blocks[0].isInput);
    EXPECT_TRUE(blocks[1].isInput);
    EXPECT_EQ(blocks[1].count, 2);
}

TEST(ModbusBlocks, ARequestHoldsAtMostWhatTheProtocolAllowsAndTearsNoValue)
{
    QList<ModbusItem> items;
    for (int place = 0; place < 100; ++place)
    {
        items.append(item(place, static_cast<quint16>(2 * place), zemo::data::VarSizeInt32));
    }

    const QList<ModbusBlock> blocks = blocksOf(items);

    ASSERT_EQ(blocks.size(), 2);
    EXPECT_EQ(blocks[0].count, 124);
    EXPECT_EQ(blocks[1].first, 124);
    EXPECT_EQ(blocks[1].count, 76);
}

TEST(ModbusBlocks, TheLastRegistersOfADeviceFitIntoARequest)
{
    const QList<ModbusBlock> blocks = blocksOf({item(1, 65534, zemo::data::VarSizeUint32)});

    ASSERT_EQ(blocks.size(), 1);
    EXPECT_EQ(blocks[0].first, 65534);
    EXPECT_EQ(blocks[0].count, 2);
}

TEST(ModbusBlocks, WordsBecomeTheNumberOfEverySize)
{
    const quint16 words[] = {0xfffe, 0x8001};

    EXPECT_EQ(valueOf(words, zemo::data::VarSizeInt8), -2);
    EXPECT_EQ(valueOf(words, zemo::data::VarSizeUint8), 254);
    EXPECT_EQ(valueOf(words, zemo::data::VarSizeInt16), -2);
    EXPECT_EQ(valueOf(words, zemo::data::VarSizeUint16), 65534);
    EXPECT_EQ(valueOf(words, zemo::data::VarSizeInt32), -98303);
    EXPECT_EQ(valueOf(words, zemo::data::VarSizeUint32), 4294868993);
}

TEST_F(ModbusTest, HoldingAndInputRegistersOfEverySizeAreReadInARequestEach)
{
    device.set(Kind::Holding, 100, {0x00ff, 0xfffe, 0xffff, 0xfffd});
    device.set(Kind::Input, 100, {0x01ff, 0xfffe, 0xffff, 0xfffd});
    ModbusConnection connection({at(1, 100, zemo::data::VarSizeInt8), at(2, 101, zemo::data::VarSizeInt16),
                                 at(3, 102, zemo::data::VarSizeInt32), at(4, 100, zemo::data::VarSizeUint8, true),
                                 at(5, 101, zemo::data::VarSizeUint16, true),
                                 at(6, 102, zemo::data::VarSizeUint32, true)});

    const QHash<int, qint64> values = connection.read();

    EXPECT_EQ(values, (QHash<int, qint64>{{1, -1}, {2, -2}, {3, -3}, {4, 255}, {5, 65534}, {6, 4294967293}}));
    EXPECT_EQ(device.takeRequests(), (std::vector<unsigned>{4, 4}));
}

TEST_F(ModbusTest, ARegisterThatTheDeviceRefusesIsMissingAndTakesNoNeighbourAlong)
{
    device.set(Kind::Holding, 10, {11, 12, 13});
    device.refuse(11);
    ModbusConnection connection({at(1, 10), at(2, 11), at(3, 12)});

    EXPECT_EQ(connection.read(), (QHash<int, qint64>{{1, 11}, {3, 13}}));
    EXPECT_EQ(connection.read(), (QHash<int, qint64>{{1, 11}, {3, 13}}));
}

TEST_F(ModbusTest, AnotherUnitThanThatOfTheDeviceGivesNothing)
{
    ModbusItem elsewhere = at(1, 10);
    elsewhere.source.unit = 6;

    EXPECT_TRUE(ModbusConnection({elsewhere}).read().isEmpty());
    EXPECT_FALSE(ModbusConnection({at(1, 10)}).read().isEmpty());
}

TEST_F(ModbusTest, ADeviceThatGoesGivesNothingUntilItIsBack)
{
    device.set(Kind::Holding, 10, {1234});
    ModbusConnection connection({at(1, 10)});
    ASSERT_EQ(connection.read().value(1), 1234);

    device.stop();
    EXPECT_TRUE(connection.read().isEmpty());
    EXPECT_TRUE(connection.read().isEmpty());

    ASSERT_TRUE(device.start());
    EXPECT_EQ(connection.read().value(1), 1234);
}

TEST_F(ModbusTest, ADeviceThatFallsSilentGivesNothingUntilItAnswersAgain)
{
    device.set(Kind::Holding, 10, {1});
    ModbusConnection connection({at(1, 10)});
    device.setSilent(true);
    EXPECT_TRUE(connection.read().isEmpty());

    device.setSilent(false);
    device.set(Kind::Holding, 10, {2});
    EXPECT_EQ(connection.read(), (QHash<int, qint64>{{1, 2}}));
}

TEST_F(ModbusTest, ThePlatformHasTheValueOfTheDeviceAsItChanges)
{
    device.set(Kind::Input, 42, {0xfff6});

    const std::unique_ptr<Platform> platform = play(scenario(R"("size": 2, "register": 2, "address": 42)"));

    EXPECT_TRUE(soon([&] { return hasValue(*platform, -10); }));
    device.set(Kind::Input, 42, {17});
    EXPECT_TRUE(soon([&] { return hasValue(*platform, 17); }));
}

TEST_F(ModbusTest, OnThePlatformADeviceThatIsAwayHasNoValueAndIsTriedAgain)
{
    device.set(Kind::Holding, 42, {5});
    const std::unique_ptr<Platform> platform = play(scenario(R"("size": 5, "register": 1, "address": 42)"));
    ASSERT_TRUE(soon([&] { return hasValue(*platform, 5); }));

    device.stop();
    EXPECT_TRUE(soon([&] { return platform->values({7}).isEmpty(); }));

    ASSERT_TRUE(device.start());
    EXPECT_TRUE(soon([&] { return hasValue(*platform, 5); }));
}

TEST_F(ModbusTest, AHeldValueStandsInPlaceOfTheDevices)
{
    device.stop();
    const std::unique_ptr<Platform> platform = play(scenario(R"("size": 5, "register": 1, "address": 42)"));

    EXPECT_EQ(platform->setValue(7, 99), QString());

    EXPECT_TRUE(hasValue(*platform, 99));
}

TEST_F(ModbusTest, AReplacedScenarioReadsItsOwnRegistersAlone)
{
    const std::unique_ptr<Platform> platform = play(scenario(R"("size": 5, "register": 1)"));
    ASSERT_TRUE(soon([&] { return hasValue(*platform, 0); }));

    platform->replaceScenario(
        platformd::parseScenario(scenario(R"("size": 6, "register": 1)"), QStringLiteral("b.json")).scenario);
    (void)device.takeRequests();

    std::vector<unsigned> requests;
    const auto collect = [&]
    {
        const std::vector<unsigned> more = device.takeRequests();
        requests.insert(requests.end(), more.begin(), more.end());
        return requests.size() >= 3;
    };
    EXPECT_TRUE(soon(collect));
    EXPECT_EQ(std::count(requests.begin(), requests.end(), 2U), static_cast<long>(requests.size()));
}
