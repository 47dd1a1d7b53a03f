#include "LogConfig.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>

namespace
{

LogConfig defaults()
{
    LogConfig config;
    setDefaults(config);
    return config;
}

auto numbersOf(const LogConfig& config)
{
    return std::make_tuple(config.maxDefault, config.maxManual, config.intervalMinute, config.interval10Sec,
                           config.interval1Sec, config.usbHistory, config.usbFuture, config.internalHistory,
                           config.internalFuture);
}

bool isUntouched(const LogConfig& config)
{
    const LogConfig fresh = defaults();
    return numbersOf(config) == numbersOf(fresh) && strcmp(config.internalPath, fresh.internalPath) == 0;
}

struct KeyCase
{
    const char* section;
    const char* key;
    int32_t LogConfig::*field;
};

class LogConfigKey : public testing::TestWithParam<KeyCase>
{
};

/// Section and key; with texts of their own, not pointers, the tests have the same names in every run.
using Pair = std::pair<std::string, std::string>;

class LogConfigRefusedPair : public testing::TestWithParam<Pair>
{
};

} // namespace

TEST(LogConfig, AFreshRecordHoldsTheDefaults)
{
    LogConfig config;
    memset(&config, 0x5a, sizeof config);

    setDefaults(config);

    EXPECT_EQ(config.maxDefault, 100);
    EXPECT_EQ(config.maxManual, 20);
    EXPECT_EQ(config.intervalMinute, 259200);
    EXPECT_EQ(config.interval10Sec, 3600);
    EXPECT_EQ(config.interval1Sec, 600);
    EXPECT_EQ(config.usbHistory, 259200);
    EXPECT_EQ(config.usbFuture, 0);
    EXPECT_EQ(config.internalHistory, 3300);
    EXPECT_EQ(config.internalFuture, 300);
    EXPECT_STREQ(config.internalPath, "/var/zemo/var/log/zemologd");
}

TEST_P(LogConfigKey, IsStoredInItsFieldAndInNoOther)
{
    const KeyCase& pair = GetParam();
    LogConfig config = defaults();
    LogConfig expected = defaults();
    expected.*pair.field = 4711;

    const int taken = configIniHandler(&config, pair.section, pair.key, "4711");

    EXPECT_EQ(taken, 1);
    EXPECT_EQ(numbersOf(config), numbersOf(expected));
    EXPECT_STREQ(config.internalPath, expected.internalPath);
}

INSTANTIATE_TEST_SUITE_P(All, LogConfigKey,
                         testing::Values(KeyCase{"ram", "max-default", &LogConfig::maxDefault},
                                         KeyCase{"ram", "max-manual", &LogConfig::maxManual},
                                         KeyCase{"ram", "interval-minute", &LogConfig::intervalMinute},
                                         KeyCase{"ram", "interval-10sec", &LogConfig::interval10Sec},
                                         KeyCase{"ram", "interval-1sec", &LogConfig::interval1Sec},
                                         KeyCase{"usb", "history", &LogConfig::usbHistory},
                                         KeyCase{"usb", "future", &LogConfig::usbFuture},
                                         KeyCase{"internal", "history", &LogConfig::internalHistory},
                                         KeyCase{"internal", "future", &LogConfig::internalFuture}));

TEST_P(LogConfigRefusedPair, GivesZeroAndLeavesTheDefaults)
{
    LogConfig config = defaults();

    const int taken = configIniHandler(&config, GetParam().first.c_str(), GetParam().second.c_str(), "1");

    EXPECT_EQ(taken, 0);
    EXPECT_TRUE(isUntouched(config));
}

INSTANTIATE_TEST_SUITE_P(All, LogConfigRefusedPair,
                         testing::Values(Pair("ram", "history"), Pair("ram", "future"), Pair("ram", "path"),
                                         Pair("ram", "max_default"), Pair("ram", "max-defaults"),
                                         Pair("ram", "Max-default"), Pair("RAM", "max-default"), Pair("ram", ""),
                                         Pair("usb", "path"), Pair("usb", "max-default"), Pair("usb", "interval-1sec"),
                                         Pair("Usb", "history"), Pair("internal", "Path"), Pair("Internal", "path"),
                                         Pair("internal", "max-manual"), Pair("", "history"),
                                         Pair("logging", "history")));

TEST(LogConfig, APathInTheUsbSectionIsRefused)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "usb", "path", "/x"), 0);
    EXPECT_TRUE(isUntouched(config));
}

TEST(LogConfig, AHistoryInTheRamSectionIsRefused)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "ram", "history", "1"), 0);
    EXPECT_TRUE(isUntouched(config));
}

TEST(LogConfig, WithoutARecordNoPairIsTaken)
{
    EXPECT_EQ(configIniHandler(nullptr, "ram", "max-default", "1"), 0);
    EXPECT_EQ(configIniHandler(nullptr, "internal", "path", "/x"), 0);
}

TEST(LogConfig, AMaxDefaultThatIsAWordIsTakenAsZero)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "ram", "max-default", "many"), 1);
    EXPECT_EQ(config.maxDefault, 0);
}

TEST(LogConfig, ANumberEndsAtTheFirstLetter)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "usb", "future", "12abc"), 1);
    EXPECT_EQ(config.usbFuture, 12);
}

TEST(LogConfig, ALeadingZeroDoesNotMakeANumberOctal)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "usb", "history", "010"), 1);
    EXPECT_EQ(config.usbHistory, 10);
}

TEST(LogConfig, AHexadecimalNumberIsReadAsZero)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "usb", "history", "0x10"), 1);
    EXPECT_EQ(config.usbHistory, 0);
}

TEST(LogConfig, ANegativeNumberIsStored)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "ram", "max-default", "-1"), 1);
    EXPECT_EQ(config.maxDefault, -1);
}

TEST(LogConfig, AnEmptyNumberIsTakenAsZero)
{
    LogConfig config = defaults();

    EXPECT_EQ(configIniHandler(&config, "internal", "history", ""), 1);
    EXPECT_EQ(config.internalHistory, 0);
}

TEST(LogConfig, APathOf99CharactersFits)
{
    LogConfig config = defaults();
    const std::string path = "/" + std::string(97, 'a') + "b";

    EXPECT_EQ(configIniHandler(&config, "internal", "path", path.c_str()), 1);
    EXPECT_EQ(config.internalPath, path);
}

TEST(LogConfig, APathOf150CharactersIsCutTo99)
{
    LogConfig config = defaults();
    const std::string path = "/" + std::string(97, 'a') + "bc" + std::string(50, 'd');

    EXPECT_EQ(configIniHandler(&config, "internal", "path", path.c_str()), 1);
    EXPECT_EQ(config.internalPath, "/" + std::string(97, 'a') + "b");
}

TEST(LogConfig, AShorterPathLeavesNothingOfALongerOne)
{
    LogConfig config = defaults();

    configIniHandler(&config, "internal", "path", "/a/long/path/to/the/logs");
    configIniHandler(&config, "internal", "path", "/b");

    EXPECT_STREQ(config.internalPath, "/b");
}

TEST(LogConfig, TheLaterOfTwoPairsCounts)
{
    LogConfig config = defaults();

    configIniHandler(&config, "ram", "max-manual", "3");
    configIniHandler(&config, "ram", "max-manual", "7");

    EXPECT_EQ(config.maxManual, 7);
}
