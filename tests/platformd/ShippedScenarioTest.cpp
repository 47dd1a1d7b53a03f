#include "Scenario.h"
#include "Text.h"

#include <gtest/gtest.h>

#include <algorithm>

using platformd::Parameter;
using platformd::Scenario;

namespace
{

const Scenario& station()
{
    static const platformd::ScenarioResult result = platformd::loadScenario(QStringLiteral(ZEMO_SHIPPED_SCENARIO));
    EXPECT_EQ(result.mistakes, QStringList());
    static const Scenario none;
    return result.scenario ? *result.scenario : none;
}

template <typename Test> auto countOf(Test test)
{
    return std::count_if(station().parameters.begin(), station().parameters.end(), test);
}

} // namespace

TEST(ShippedScenario, ItHasNoMistakeAndAboutAHundredAndTwentyParameters)
{
    EXPECT_GE(station().parameters.size(), 115);
    EXPECT_LE(station().parameters.size(), 125);
}

TEST(ShippedScenario, ItsDefaultListIsLongerThanTheHundredParametersThatAreKeptInMemory)
{
    EXPECT_GT(countOf([](const Parameter& parameter) { return parameter.inDefaultLog; }), 101);
}

TEST(ShippedScenario, EveryTypeSizeAndRegisterKindOccurs)
{
    for (const int type : {0, 1, 6})
    {
        EXPECT_GT(countOf([type](const Parameter& parameter) { return parameter.type == type; }), 0) << type;
    }
    for (const int size : {1, 2, 3, 4, 5, 6})
    {
        EXPECT_GT(countOf([size](const Parameter& parameter) { return parameter.size == size; }), 0) << size;
    }
    for (const int kind : {0, 1, 2, 3})
    {
        EXPECT_GT(countOf([kind](const Parameter& parameter) { return parameter.registerKind == kind; }), 0) << kind;
    }
}

TEST(ShippedScenario, EveryNameComesInEnglishAndGerman)
{
    const QString nowhere = QStringLiteral("xx");
    for (const Parameter& parameter : station().parameters)
    {
        EXPECT_FALSE(parameter.name.in(QStringLiteral("en_GB")).isEmpty()) << parameter.id;
        EXPECT_EQ(parameter.name.in(nowhere), parameter.name.in(QStringLiteral("en_GB"))) << parameter.id;
    }
    EXPECT_EQ(station().parameters.value(1000).name.in(QStringLiteral("de_DE")),
              QStringLiteral("Pumpen\u00adsumpf Pegel"));
}

TEST(ShippedScenario, ItHoldsEveryTitleOfTheExports)
{
    const QList<QPair<quint32, quint32>> ranges = {{59005, 59017}, {59023, 59027}};
    for (const auto& [first, last] : ranges)
    {
        for (quint32 id = first; id <= last; ++id)
        {
            EXPECT_FALSE(station().texts.value(id).in(QStringLiteral("de_DE")).isEmpty()) << id;
        }
    }
}

TEST(ShippedScenario, ItsPowerLogIsAYearOfHoursAndQuarters)
{
    constexpr qint64 now = 1700000000;

    EXPECT_EQ(station().hourlyPower.all(now).size(), 365 * 24);
    EXPECT_EQ(station().quarterlyPower.all(now).size(), 365 * 96);
}

TEST(ShippedScenario, ItHasAlarmsChangesAndSettings)
{
    EXPECT_GE(station().alarms.size(), 5);
    EXPECT_GE(station().changeLog.size(), 10);
    EXPECT_FALSE(station().settings.isEmpty());
}
