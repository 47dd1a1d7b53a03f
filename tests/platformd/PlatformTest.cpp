#include "Platform.h"
#include "Text.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using platformd::parseScenario;
using platformd::Platform;

namespace
{

const QString english = QStringLiteral("en_GB");
const QString german = QStringLiteral("de_DE");
const QString present = QStringLiteral("default");

const char* const station = R"({
    "serial": "4711", "deviceName": "Station", "language": "de_DE", "settings": "c2V0",
    "drives": ["/media/a", "/media/b"],
    "parameters": [
        {"id": 10, "name": {"en_GB": "level", "de_DE": "Pegel"}, "size": 2, "panel": 12, "unit": "cm", "decimals": 1,
         "aux": 5, "register": 1, "address": 40001, "attributes": [1, 2, 3], "default": true,
         "texts": [{"en_GB": "off", "de_DE": "aus"}], "signal": {"kind": "ramp", "low": 0, "high": 100, "period": 100}},
        {"id": 11, "name": "note", "type": 1, "default": true,
         "signal": {"kind": "text", "texts": ["a", "b"], "period": 1}},
        {"id": 12, "name": "count", "size": 4, "register": 3, "signal": {"kind": "counter", "start": 250, "step": 1}}],
    "texts": {"5": {"en_GB": "Name", "de_DE": "Bezeichnung"}},
    "changeLog": [{"id": 10, "time": "2024-03-05T14:07:09", "value": 17},
                  {"id": 11, "time": "2024-03-06T01:02:03", "value": "set"}],
    "alarms": [{"time": "2024-01-01T00:00:00", "number": 1, "name": "old"},
               {"time": "2024-03-05T14:07:09", "number": 2, "name": {"en_GB": "new", "de_DE": "neu"},
                "source": "here", "extra": [["label", "value"]]}],
    "powerLog": {"hourly": [[1000, 1, 2, 3], [2000, 4, 5, 6]], "quarterly": [[900, 7, 8, 9]]}
})";

std::shared_ptr<const platformd::Scenario> scenario(const char* json)
{
    const platformd::ScenarioResult result = parseScenario(json, QStringLiteral("a.json"));
    EXPECT_EQ(result.mistakes, QStringList());
    return result.scenario;
}

struct PlatformTest : testing::Test
{
    qint64 now = 1704067200; // the beginning of 2024, where counters stand at their start
    Platform platform{scenario(station), [this] { return now; }};
};

} // namespace

TEST_F(PlatformTest, AValueIsThatOfItsSignalAtTheTimeOfTheCall)
{
    now = 1704067230;

    const QMap<int, zemo::data::DataValue> values = platform.values({10});

    ASSERT_EQ(values.keys(), QList<int>{10});
    EXPECT_EQ(values[10].getIntValue(), 30);
    EXPECT_EQ(values[10].getVarType(), 0);
    EXPECT_EQ(values[10].getVarSize(), 2);
    EXPECT_TRUE(values[10].isOk());
}

TEST_F(PlatformTest, AStringComesAsAString)
{
    now += 1;

    const zemo::data::DataValue value = platform.values({11})[11];

    EXPECT_EQ(value.getStringValue(), QStringLiteral("b"));
    EXPECT_EQ(value.getVarType(), 1);
}

TEST_F(PlatformTest, ACounterStartsAgainWhereItsSizeEnds)
{
    now += 10;

    EXPECT_EQ(platform.values({12})[12].getIntValue(), 4);
}

TEST_F(PlatformTest, AnUnknownIdHasNoValueAndNoDescription)
{
    EXPECT_EQ(platform.values({12, 99}).keys(), QList<int>{12});
    EXPECT_EQ(platform.metadata({99, 10}, english).keys(), QList<int>{10});
}

TEST_F(PlatformTest, AHeldNumberStandsUntilItIsReleased)
{
    EXPECT_EQ(platform.setValue(10, QVariant(-5)), QString());
    EXPECT_EQ(platform.values({10})[10].getIntValue(), -5);

    EXPECT_EQ(platform.releaseValue(10), QString());
    EXPECT_EQ(platform.values({10})[10].getIntValue(), 0);
}

TEST_F(PlatformTest, AHeldStringStandsInPlaceOfTheTexts)
{
    EXPECT_EQ(platform.setValue(11, QStringLiteral("held")), QString());

    EXPECT_EQ(platform.values({11})[11].getStringValue(), QStringLiteral("held"));
}

TEST_F(PlatformTest, IntegersOfEveryWidthCanBeHeld)
{
    for (const QVariant& value :
         {QVariant::fromValue<uchar>(5), QVariant::fromValue<short>(5), QVariant::fromValue<ushort>(5), QVariant(5),
          QVariant(5U), QVariant(qlonglong(5)), QVariant(qulonglong(5))})
    {
        platform.releaseValue(12);
        EXPECT_EQ(platform.setValue(12, value), QString()) << value.typeName();
        EXPECT_EQ(platform.values({12})[12].getIntValue(), 5) << value.typeName();
    }
}

TEST_F(PlatformTest, AValueOfTheWrongKindIsNotHeld)
{
    EXPECT_EQ(platform.setValue(10, QStringLiteral("5")), QStringLiteral("parameter 10 takes an integer"));
    EXPECT_EQ(platform.setValue(10, 1.5), QStringLiteral("parameter 10 takes an integer"));
    EXPECT_EQ(platform.setValue(11, 5), QStringLiteral("parameter 11 takes a string"));

    EXPECT_EQ(platform.values({10})[10].getIntValue(), 0);
    EXPECT_EQ(platform.values({11})[11].getStringValue(), QStringLiteral("a"));
}

TEST_F(PlatformTest, ADroppedValueIsMissingUntilItIsReleased)
{
    EXPECT_EQ(platform.dropValue(10), QString());
    EXPECT_EQ(platform.values({10, 12}).keys(), QList<int>{12});

    platform.releaseValue(10);
    EXPECT_EQ(platform.values({10, 12}).keys(), (QList<int>{10, 12}));
}

TEST_F(PlatformTest, HoldingADroppedValueBringsItBack)
{
    platform.dropValue(10);

    platform.setValue(10, 6);

    EXPECT_EQ(platform.values({10})[10].getIntValue(), 6);
}

TEST_F(PlatformTest, SteeringAParameterThatThereIsNotIsRefused)
{
    const QString reason = QStringLiteral("there is no parameter 99");

    EXPECT_EQ(platform.setValue(99, 1), reason);
    EXPECT_EQ(platform.releaseValue(99), reason);
    EXPECT_EQ(platform.dropValue(99), reason);
    EXPECT_EQ(platform.setDefaultLog({10, 99}), reason);
}

TEST_F(PlatformTest, ADescriptionHoldsEveryMemberOfItsParameter)
{
    const zemo::data::Metadata parameter = platform.metadata({10}, english)[10];

    EXPECT_EQ(parameter.varId, 10);
    EXPECT_EQ(parameter.varType, 0);
    EXPECT_EQ(parameter.varSize, 2);
    EXPECT_EQ(parameter.decimals, 1);
    EXPECT_EQ(parameter.auxByte, 5);
    EXPECT_EQ(parameter.registerKind, 1);
    EXPECT_EQ(parameter.modbusAddress, 40001);
    EXPECT_EQ(parameter.name.text(), QStringLiteral("level"));
    EXPECT_EQ(parameter.name.panelNbr(), 12);
    EXPECT_EQ(parameter.numericAttr1, 1);
    EXPECT_EQ(parameter.numericAttr2, 2);
    EXPECT_EQ(parameter.numericAttr3, 3);
    EXPECT_EQ(parameter.unit, QStringLiteral("cm"));
    ASSERT_EQ(parameter.valueTexts.size(), 1);
    EXPECT_EQ(parameter.valueTexts[0].text, QStringLiteral("off"));
}

TEST_F(PlatformTest, TextsComeInTheLocaleThatIsNamed)
{
    EXPECT_EQ(platform.metadata({10}, german)[10].name.text(), QStringLiteral("Pegel"));
    EXPECT_EQ(platform.metadata({10}, QStringLiteral("fr_FR"))[10].name.text(), QStringLiteral("level"));
    EXPECT_EQ(platform.metadata({10}, german)[10].valueTexts[0].text, QStringLiteral("aus"));
}

TEST_F(PlatformTest, DefaultMeansThePresentLanguage)
{
    EXPECT_EQ(platform.texts({5}, present)[5].text(), QStringLiteral("Bezeichnung"));

    EXPECT_EQ(platform.setLanguage(english), QString());

    EXPECT_EQ(platform.texts({5}, present)[5].text(), QStringLiteral("Name"));
    EXPECT_EQ(platform.texts({5}, german)[5].text(), QStringLiteral("Bezeichnung"));
}

TEST_F(PlatformTest, ALanguageThatIsNoneIsRefused)
{
    EXPECT_NE(platform.setLanguage(present), QString());

    EXPECT_EQ(platform.texts({5}, present)[5].text(), QStringLiteral("Bezeichnung"));
}

TEST_F(PlatformTest, ATextThatThereIsNotIsMissing)
{
    EXPECT_EQ(platform.texts({4, 5}, english).keys(), QList<unsigned int>{5});
}

TEST_F(PlatformTest, TheDefaultListIsThatOfTheScenarioUntilItIsReplaced)
{
    EXPECT_EQ(platform.defaultLog(english).keys(), (QList<int>{10, 11}));

    EXPECT_EQ(platform.setDefaultLog({12}), QString());

    EXPECT_EQ(platform.defaultLog(english).keys(), QList<int>{12});
}

TEST_F(PlatformTest, ADefaultListCanBeEmptied)
{
    platform.setDefaultLog({});

    EXPECT_TRUE(platform.defaultLog(english).isEmpty());
}

TEST_F(PlatformTest, EveryParameterWithARegisterIsAModbusParameterAlsoOneOfAnUnknownKind)
{
    EXPECT_EQ(platform.modbusParams(english).keys(), (QList<int>{10, 12}));
}

TEST_F(PlatformTest, TheChangeLogGivesAsManyOfTheNewestAsAreAskedFor)
{
    const QList<zemo::data::ChangeLogEntry> changes = platform.changeLog(1, english);

    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0].metadata.varId, 11);
    EXPECT_EQ(changes[0].value.getStringValue(), QStringLiteral("set"));
    EXPECT_EQ(changes[0].value.getVarType(), 1);
    EXPECT_EQ(zemo::time::DateTime(&changes[0].timestamp).month(), 3);
    EXPECT_EQ(zemo::time::DateTime(&changes[0].timestamp).second(), 3);
    EXPECT_EQ(platform.changeLog(10000, english).size(), 2);
    EXPECT_TRUE(platform.changeLog(-1, english).isEmpty());
}

TEST_F(PlatformTest, AlarmsAreAsManyOfTheNewestAsAreAskedFor)
{
    const QList<zemo::system::AlarmInfo> alarms = platform.alarms(1, german);

    ASSERT_EQ(alarms.size(), 1);
    EXPECT_EQ(alarms[0].getNumber(), 2U);
    EXPECT_EQ(alarms[0].getName().text(), QStringLiteral("neu"));
    EXPECT_EQ(alarms[0].getSource().text(), QStringLiteral("here"));
    EXPECT_EQ(alarms[0].getTime().minute(), 7);
    ASSERT_EQ(alarms[0].getExtraInfo().size(), 1);
    EXPECT_EQ(alarms[0].getExtraInfo()[0].label.text(), QStringLiteral("label"));
    EXPECT_TRUE(platform.alarms(-1, german).isEmpty());
}

TEST_F(PlatformTest, HourlyAndQuarterlyPowerAreKeptApart)
{
    EXPECT_EQ(platform.hourlyPower().size(), 2);
    EXPECT_EQ(platform.quarterlyPower().size(), 1);
    EXPECT_EQ(platform.hourlyPower(1500, 2000).first().valueA, 4);
    EXPECT_TRUE(platform.quarterlyPower(901, 2000).isEmpty());
}

TEST_F(PlatformTest, AnAcceptedRestoreIsReportedAndReplacesTheSettings)
{
    const QSignalSpy started(&platform, &Platform::restoreSettingsStarted);
    const QSignalSpy finished(&platform, &Platform::restoreSettingsFinished);

    const bool accepted = platform.restore("new");

    EXPECT_TRUE(accepted);
    EXPECT_EQ(started.size(), 1);
    ASSERT_EQ(finished.size(), 1);
    EXPECT_TRUE(finished[0][0].toBool());
    EXPECT_EQ(platform.settings(), QByteArray("new"));
}

TEST_F(PlatformTest, ARefusedRestoreIsReportedAndLeavesTheSettings)
{
    platform.replaceScenario(scenario(R"({"acceptRestore": false, "settings": "c2V0"})"));
    const QSignalSpy started(&platform, &Platform::restoreSettingsStarted);
    const QSignalSpy finished(&platform, &Platform::restoreSettingsFinished);

    const bool accepted = platform.restore("new");

    EXPECT_FALSE(accepted);
    EXPECT_EQ(started.size(), 1);
    ASSERT_EQ(finished.size(), 1);
    EXPECT_FALSE(finished[0][0].toBool());
    EXPECT_EQ(platform.settings(), QByteArray("set"));
}

TEST_F(PlatformTest, AnInsertedDriveComesLastAndIsReportedOnce)
{
    const QSignalSpy inserted(&platform, &Platform::driveInserted);

    EXPECT_EQ(platform.insertDrive(QStringLiteral("/media/0")), QString());
    EXPECT_NE(platform.insertDrive(QStringLiteral("/media/0")), QString());

    EXPECT_EQ(platform.drives(), (QStringList{"/media/a", "/media/b", "/media/0"}));
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][0].toString(), QStringLiteral("/media/0"));
}

TEST_F(PlatformTest, ADriveWithAPathForAShellIsRefusedAndNotReported)
{
    const QSignalSpy inserted(&platform, &Platform::driveInserted);

    EXPECT_NE(platform.insertDrive(QStringLiteral("/media/$HOME")), QString());

    EXPECT_EQ(platform.drives(), (QStringList{"/media/a", "/media/b"}));
    EXPECT_TRUE(inserted.isEmpty());
}

TEST_F(PlatformTest, ARemovedDriveIsGoneAndReported)
{
    const QSignalSpy removed(&platform, &Platform::driveRemoved);

    EXPECT_EQ(platform.removeDrive(QStringLiteral("/media/a")), QString());
    EXPECT_NE(platform.removeDrive(QStringLiteral("/media/a")), QString());

    EXPECT_EQ(platform.drives(), QStringList{"/media/b"});
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][0].toString(), QStringLiteral("/media/a"));
}

TEST_F(PlatformTest, AReplacedScenarioTakesEverySteeringWithIt)
{
    platform.setValue(10, 5);
    platform.dropValue(11);
    platform.setDefaultLog({12});
    platform.setLanguage(english);

    platform.replaceScenario(scenario(station));

    EXPECT_EQ(platform.values({10, 11}).size(), 2);
    EXPECT_EQ(platform.values({10})[10].getIntValue(), 0);
    EXPECT_EQ(platform.defaultLog(present).keys(), (QList<int>{10, 11}));
    EXPECT_EQ(platform.texts({5}, present)[5].text(), QStringLiteral("Bezeichnung"));
}

TEST_F(PlatformTest, AReplacedScenarioReportsTheDrivesThatComeAndGoAndNoOthers)
{
    const QSignalSpy inserted(&platform, &Platform::driveInserted);
    const QSignalSpy removed(&platform, &Platform::driveRemoved);

    platform.replaceScenario(scenario(R"({"serial": "5", "drives": ["/media/b", "/media/c"]})"));

    EXPECT_EQ(platform.drives(), (QStringList{"/media/b", "/media/c"}));
    EXPECT_EQ(platform.serial(), QStringLiteral("5"));
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][0].toString(), QStringLiteral("/media/c"));
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][0].toString(), QStringLiteral("/media/a"));
}
