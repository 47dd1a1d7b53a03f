#include "Operations.h"
#include "PlatformService.h"
#include "Text.h"

#include <gtest/gtest.h>

using platformd::Operations;

namespace
{
const QString values = QStringLiteral("getValues");
const QString serial = QStringLiteral("getSerial");
} // namespace

TEST(Operations, CallsAreCountedForEachOperationAlone)
{
    Operations operations({values, serial});

    operations.countCall(values);
    operations.countCall(values);
    operations.countCall(serial);

    EXPECT_EQ(operations.callCount(values), 2U);
    EXPECT_EQ(operations.callCount(serial), 1U);
}

TEST(Operations, ADelayIsThatOfOneOperationAndCanBeTakenBack)
{
    Operations operations({values, serial});

    operations.setDelay(values, 300);

    EXPECT_EQ(operations.delay(values), 300U);
    EXPECT_EQ(operations.delay(serial), 0U);
    operations.setDelay(values, 0);
    EXPECT_EQ(operations.delay(values), 0U);
}

TEST(Operations, AFailureIsThatOfOneOperationAndCanBeTakenBack)
{
    Operations operations({values, serial});

    operations.setFailure(serial, true);

    EXPECT_TRUE(operations.fails(serial));
    EXPECT_FALSE(operations.fails(values));
    operations.setFailure(serial, false);
    EXPECT_FALSE(operations.fails(serial));
}

TEST(Operations, AllSixteenOperationsOfTheContractAreKnown)
{
    const Operations operations(platformd::PlatformService::operationNames());

    const QStringList expected = {"GetHourly",    "GetHourlyForPeriod", "GetQuarterly",    "GetQuarterlyForPeriod",
                                  "getAlarms",    "getChangeLog",       "getDefaultLog",   "getDeviceName",
                                  "getMetadata",  "getModbusParams",    "getSerial",       "getTexts",
                                  "getUsbDrives", "getValues",          "restoreSettings", "saveSettings"};
    EXPECT_EQ(operations.names(), expected);
    EXPECT_FALSE(operations.contains(QStringLiteral("getvalues")));
}
