// The records and their text forms, which the fakes and the stand-in share.
#include <zemo/AlarmInfo.h>
#include <zemo/DataFormat.h>
#include <zemo/DataValue.h>
#include <zemo/DateTime.h>
#include <zemo/Metadata.h>

#include <QDateTime>

#include <gtest/gtest.h>

#include <functional>
#include <limits>

using namespace zemo;
using data::DataValue;
using data::Metadata;

namespace
{

DataValue number(long long value)
{
    DataValue result;
    result.setIntValue(value);
    result.setVarSize(data::VarSizeInt32);
    result.setIsOk(true);
    return result;
}

Metadata withDecimals(uint8_t decimals)
{
    Metadata parameter;
    parameter.decimals = decimals;
    return parameter;
}

QString shown(long long value, uint8_t decimals)
{
    return data::getStringValue(number(value), withDecimals(decimals), 0);
}

void expectDate(const zdatetime_t& date, int year, int month, int day)
{
    EXPECT_EQ(date.year, year);
    EXPECT_EQ(date.month, month);
    EXPECT_EQ(date.day, day);
}

constexpr long long smallest = std::numeric_limits<long long>::min();
constexpr long long largest = std::numeric_limits<long long>::max();

} // namespace

TEST(DataValue, ADefaultOneHoldsZerosAndIsNotOk)
{
    const DataValue value;

    EXPECT_EQ(value.getIntValue(), 0);
    EXPECT_EQ(value.getVarType(), 0);
    EXPECT_EQ(value.getVarSize(), 0);
    EXPECT_EQ(value.getStringValue(), QString());
    EXPECT_FALSE(value.isOk());
}

TEST(DataValue, TheVarIdIsNotCompared)
{
    DataValue left = number(5);
    DataValue right = number(5);
    left.setVarId(1);
    right.setVarId(2);

    EXPECT_EQ(left, right);
}

TEST(DataValue, EveryOtherFieldIsCompared)
{
    const QList<std::function<void(DataValue&)>> changes = {
        [](DataValue& value) { value.setIntValue(6); },
        [](DataValue& value) { value.setVarType(data::VarTypeString); },
        [](DataValue& value) { value.setVarSize(data::VarSizeUint32); },
        [](DataValue& value) { value.setStringValue(QStringLiteral("x")); },
        [](DataValue& value) { value.setIsOk(false); },
    };
    for (const auto& change : changes)
    {
        DataValue changed = number(5);
        change(changed);

        EXPECT_FALSE(changed == number(5));
        EXPECT_FALSE(number(5) == changed);
    }
}

TEST(DataValue, ACopyIsOfItsOwn)
{
    DataValue original = number(5);
    const DataValue copy(original);
    DataValue assigned;
    assigned = original;

    original.setIntValue(6);
    original.setStringValue(QStringLiteral("x"));

    EXPECT_EQ(copy, number(5));
    EXPECT_EQ(assigned, number(5));
}

TEST(Metadata, CopyTakesEveryField)
{
    Metadata original;
    original.varId = 1;
    original.varType = 2;
    original.varSize = 3;
    original.decimals = 4;
    original.reserved1 = 5;
    original.auxByte = 6;
    original.reserved2 = 7;
    original.registerKind = 8;
    original.modbusAddress = 9;
    original.name = localization::PanelText(QStringLiteral("name"), 10);
    original.secondText = localization::PanelText(QStringLiteral("second"), 11);
    original.numericAttr1 = 12;
    original.numericAttr2 = 13;
    original.numericAttr3 = 14;
    original.text1 = QStringLiteral("text1");
    original.unit = QStringLiteral("unit");
    original.text2 = QStringLiteral("text2");
    original.valueTexts = {{QStringLiteral("value")}};
    Metadata copy;

    copy.copy(original);

    EXPECT_EQ(copy.varId, 1);
    EXPECT_EQ(copy.varType, 2);
    EXPECT_EQ(copy.varSize, 3);
    EXPECT_EQ(copy.decimals, 4);
    EXPECT_EQ(copy.reserved1, 5);
    EXPECT_EQ(copy.auxByte, 6);
    EXPECT_EQ(copy.reserved2, 7);
    EXPECT_EQ(copy.registerKind, 8);
    EXPECT_EQ(copy.modbusAddress, 9);
    EXPECT_EQ(copy.name.text(), QStringLiteral("name"));
    EXPECT_EQ(copy.name.panelNbr(), 10);
    EXPECT_EQ(copy.secondText.text(), QStringLiteral("second"));
    EXPECT_EQ(copy.secondText.panelNbr(), 11);
    EXPECT_EQ(copy.numericAttr1, 12);
    EXPECT_EQ(copy.numericAttr2, 13);
    EXPECT_EQ(copy.numericAttr3, 14);
    EXPECT_EQ(copy.text1, QStringLiteral("text1"));
    EXPECT_EQ(copy.unit, QStringLiteral("unit"));
    EXPECT_EQ(copy.text2, QStringLiteral("text2"));
    ASSERT_EQ(copy.valueTexts.size(), 1);
    EXPECT_EQ(copy.valueTexts[0].text, QStringLiteral("value"));
}

TEST(StringValue, AValueThatIsNotOkIsADash)
{
    DataValue value = number(5);
    value.setIsOk(false);

    EXPECT_EQ(data::getStringValue(value, {}, 0), QStringLiteral("-"));
}

TEST(StringValue, ThePointStandsBeforeTheDecimals)
{
    EXPECT_EQ(shown(12345, 0), QStringLiteral("12345"));
    EXPECT_EQ(shown(12345, 1), QStringLiteral("1234.5"));
    EXPECT_EQ(shown(12345, 4), QStringLiteral("1.2345"));
    EXPECT_EQ(shown(12345, 5), QStringLiteral("0.12345"));
    EXPECT_EQ(shown(12345, 7), QStringLiteral("0.0012345"));
}

TEST(StringValue, ZeroKeepsItsDecimals)
{
    EXPECT_EQ(shown(0, 0), QStringLiteral("0"));
    EXPECT_EQ(shown(0, 2), QStringLiteral("0.00"));
}

TEST(StringValue, ASmallNegativeNumberKeepsItsSign)
{
    EXPECT_EQ(shown(-5, 0), QStringLiteral("-5"));
    EXPECT_EQ(shown(-5, 1), QStringLiteral("-0.5"));
    EXPECT_EQ(shown(-5, 2), QStringLiteral("-0.05"));
}

TEST(StringValue, TheLargestNumbersLoseNoDigit)
{
    EXPECT_EQ(shown(largest, 0), QStringLiteral("9223372036854775807"));
    EXPECT_EQ(shown(largest, 3), QStringLiteral("9223372036854775.807"));
    EXPECT_EQ(shown(smallest, 0), QStringLiteral("-9223372036854775808"));
    EXPECT_EQ(shown(smallest, 3), QStringLiteral("-9223372036854775.808"));
    EXPECT_EQ(shown(smallest, 19), QStringLiteral("-0.9223372036854775808"));
}

TEST(StringValue, AValueTextStandsForTheNumberOfItsPlace)
{
    Metadata parameter = withDecimals(1);
    parameter.valueTexts = {{QStringLiteral("off")}, {QString()}, {QStringLiteral("on")}};

    EXPECT_EQ(data::getStringValue(number(0), parameter, 0), QStringLiteral("off"));
    EXPECT_EQ(data::getStringValue(number(1), parameter, 0), QString());
    EXPECT_EQ(data::getStringValue(number(2), parameter, 0), QStringLiteral("on"));
}

TEST(StringValue, ANumberWithoutAValueTextIsShownAsANumber)
{
    Metadata parameter = withDecimals(1);
    parameter.valueTexts = {{QStringLiteral("off")}, {QStringLiteral("on")}};

    EXPECT_EQ(data::getStringValue(number(2), parameter, 0), QStringLiteral("0.2"));
    EXPECT_EQ(data::getStringValue(number(-1), parameter, 0), QStringLiteral("-0.1"));
    EXPECT_EQ(data::getStringValue(number(smallest), parameter, 0), QStringLiteral("-922337203685477580.8"));
}

TEST(StringValue, AStringParameterShowsItsString)
{
    DataValue value = number(1);
    value.setStringValue(QStringLiteral("Tür zu"));
    Metadata parameter = withDecimals(1);
    parameter.valueTexts = {{QStringLiteral("off")}, {QStringLiteral("on")}};

    parameter.varType = data::VarTypeString;
    EXPECT_EQ(data::getStringValue(value, parameter, 0), QStringLiteral("Tür zu"));
    parameter.varType = data::VarTypeLongString;
    EXPECT_EQ(data::getStringValue(value, parameter, 0), QStringLiteral("Tür zu"));
}

TEST(StringValue, AnUnknownTypeIsShownAsANumber)
{
    Metadata parameter = withDecimals(2);
    parameter.varType = 2;

    EXPECT_EQ(data::getStringValue(number(1234), parameter, 0), QStringLiteral("12.34"));
}

TEST(IntegerSize, EveryCodeHasItsName)
{
    EXPECT_STREQ(datamgmt_integerSizeToString(1), "INT8");
    EXPECT_STREQ(datamgmt_integerSizeToString(2), "INT16");
    EXPECT_STREQ(datamgmt_integerSizeToString(3), "INT32");
    EXPECT_STREQ(datamgmt_integerSizeToString(4), "UINT8");
    EXPECT_STREQ(datamgmt_integerSizeToString(5), "UINT16");
    EXPECT_STREQ(datamgmt_integerSizeToString(6), "UINT32");
}

TEST(IntegerSize, AnyOtherCodeIsUnknown)
{
    EXPECT_STREQ(datamgmt_integerSizeToString(0), "UNKNOWN");
    EXPECT_STREQ(datamgmt_integerSizeToString(7), "UNKNOWN");
    EXPECT_STREQ(datamgmt_integerSizeToString(255), "UNKNOWN");
}

TEST(PlatformTime, DaysGoOverTheEndsOfMonthsAndYears)
{
    zdatetime_t date{2023, 12, 31, 23, 59, 58};

    zdatetime_addDays(&date, 1);
    expectDate(date, 2024, 1, 1);
    zdatetime_addDays(&date, -366);

    expectDate(date, 2022, 12, 31);
    EXPECT_EQ(date.hour, 23);
    EXPECT_EQ(date.minute, 59);
    EXPECT_EQ(date.second, 58);
}

TEST(PlatformTime, ALeapDayIsADay)
{
    zdatetime_t leap{2024, 2, 28, 0, 0, 0};
    zdatetime_t common{2023, 2, 28, 0, 0, 0};
    zdatetime_t century{2100, 3, 1, 0, 0, 0};

    zdatetime_addDays(&leap, 1);
    zdatetime_addDays(&common, 1);
    zdatetime_addDays(&century, -1);

    expectDate(leap, 2024, 2, 29);
    expectDate(common, 2023, 3, 1);
    expectDate(century, 2100, 2, 28);
}

TEST(PlatformTime, ALeapDayMovedByYearsBecomesTheLastOfFebruaryWhereThereIsNone)
{
    zdatetime_t back{2024, 2, 29, 7, 8, 9};
    zdatetime_t four{2024, 2, 29, 7, 8, 9};

    zdatetime_addYears(&back, -1);
    zdatetime_addYears(&four, 4);

    expectDate(back, 2023, 2, 28);
    EXPECT_EQ(back.hour, 7);
    expectDate(four, 2028, 2, 29);
}

TEST(PlatformTime, ThePresentTimeIsLocalTime)
{
    const QDateTime before = QDateTime::currentDateTime();
    zdatetime_t* now = datetimeclient_getDateTime(0);
    const QDateTime after = QDateTime::currentDateTime();

    const QDateTime got({now->year, now->month, now->day}, {now->hour, now->minute, now->second});
    zdatetime_free(now);
    EXPECT_GE(got.toSecsSinceEpoch(), before.toSecsSinceEpoch());
    EXPECT_LE(got.toSecsSinceEpoch(), after.toSecsSinceEpoch());
}

TEST(PlatformTime, NothingCanBeReleased)
{
    zdatetime_free(nullptr);
}

TEST(PlatformTime, TheWrapperShowsEveryField)
{
    const zdatetime_t date{2024, 3, 5, 14, 7, 9};

    const time::DateTime wrapped(&date);

    EXPECT_EQ(wrapped.year(), 2024);
    EXPECT_EQ(wrapped.month(), 3);
    EXPECT_EQ(wrapped.day(), 5);
    EXPECT_EQ(wrapped.hour(), 14);
    EXPECT_EQ(wrapped.minute(), 7);
    EXPECT_EQ(wrapped.second(), 9);
}
