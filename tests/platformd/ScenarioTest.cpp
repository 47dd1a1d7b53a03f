#include "Scenario.h"
#include "Text.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using platformd::parseScenario;
using platformd::Scenario;
using platformd::ScenarioResult;
using platformd::Signal;

namespace
{

QStringList mistakes(const char* json)
{
    const ScenarioResult result = parseScenario(json, QStringLiteral("a.json"));
    EXPECT_EQ(result.scenario == nullptr, !result.mistakes.isEmpty());
    return result.mistakes;
}

/// Reads a scenario that must have no mistake.
Scenario read(const char* json)
{
    const ScenarioResult result = parseScenario(json, QStringLiteral("a.json"));
    EXPECT_EQ(result.mistakes, QStringList());
    return result.scenario ? *result.scenario : Scenario();
}

/// A scenario with one parameter that has these members beside its id, 7, and its name.
QByteArray withParameter(const char* members)
{
    return QByteArray(R"({"parameters": [{"id": 7, "name": "n", )") + members + "}]}";
}

QStringList parameterMistakes(const char* members)
{
    return mistakes(withParameter(members));
}

platformd::Parameter readParameter(const char* members)
{
    return read(withParameter(members)).parameters.value(7);
}

} // namespace

TEST(Scenario, AnEmptyObjectIsAPlatformOfDefaults)
{
    const Scenario scenario = read("{}");

    EXPECT_EQ(scenario.serial, QStringLiteral("000000"));
    EXPECT_EQ(scenario.deviceName, QStringLiteral("Controller"));
    EXPECT_EQ(scenario.language, QStringLiteral("en_GB"));
    EXPECT_TRUE(scenario.acceptRestore);
    EXPECT_TRUE(scenario.parameters.isEmpty());
    EXPECT_TRUE(scenario.drives.isEmpty());
    EXPECT_TRUE(scenario.settings.isEmpty());
}

TEST(Scenario, TheUnitIsReadAsWritten)
{
    const Scenario scenario = read(R"({"serial": "4711", "deviceName": "Pumpwerk", "language": "de_DE",
        "settings": "AAH/", "acceptRestore": false, "drives": ["/media/usb1", "/media/usb0"]})");

    EXPECT_EQ(scenario.serial, QStringLiteral("4711"));
    EXPECT_EQ(scenario.deviceName, QStringLiteral("Pumpwerk"));
    EXPECT_EQ(scenario.language, QStringLiteral("de_DE"));
    EXPECT_EQ(scenario.settings, QByteArray("\x00\x01\xff", 3));
    EXPECT_FALSE(scenario.acceptRestore);
    EXPECT_EQ(scenario.drives, (QStringList{"/media/usb1", "/media/usb0"}));
}

TEST(Scenario, AParameterNeedsNoMoreThanIdAndName)
{
    const Scenario scenario = read(R"({"parameters": [{"id": 7, "name": {"en_GB": "n"}}]})");

    const platformd::Parameter parameter = scenario.parameters.value(7);
    EXPECT_EQ(parameter.type, 0);
    EXPECT_EQ(parameter.size, 3);
    EXPECT_EQ(parameter.panel, 1);
    EXPECT_EQ(parameter.decimals, 0);
    EXPECT_EQ(parameter.registerKind, 0);
    EXPECT_EQ(parameter.unit, QString());
    EXPECT_FALSE(parameter.inDefaultLog);
    EXPECT_EQ(parameter.signal.kind, Signal::Kind::Constant);
    EXPECT_EQ(parameter.signal.value, 0);
}

TEST(Scenario, AParameterIsReadWithAllItsMembers)
{
    const platformd::Parameter parameter = readParameter(
        R"("type": 0, "size": 2, "panel": 12, "unit": "kW", "decimals": 1, "aux": 5, "register": 1, "address": 40001,
           "attributes": [-3, 1000, 2], "texts": ["zero", {"de_DE": "eins"}], "default": true)");

    EXPECT_EQ(parameter.size, 2);
    EXPECT_EQ(parameter.panel, 12);
    EXPECT_EQ(parameter.unit, QStringLiteral("kW"));
    EXPECT_EQ(parameter.decimals, 1);
    EXPECT_EQ(parameter.aux, 5);
    EXPECT_EQ(parameter.registerKind, 1);
    EXPECT_EQ(parameter.address, 40001);
    EXPECT_EQ(parameter.attributes[0], -3);
    EXPECT_EQ(parameter.attributes[1], 1000);
    EXPECT_EQ(parameter.attributes[2], 2);
    ASSERT_EQ(parameter.texts.size(), 2);
    EXPECT_EQ(parameter.texts[1].in(QStringLiteral("de_DE")), QStringLiteral("eins"));
    EXPECT_TRUE(parameter.inDefaultLog);
}

TEST(Scenario, ASoftHyphenInANameIsKept)
{
    const Scenario scenario = read(R"({"parameters": [{"id": 7, "name": {"en_GB": "po\u00adwer"}}]})");

    EXPECT_EQ(scenario.parameters.value(7).name.in(QStringLiteral("en_GB")), QStringLiteral("po\u00adwer"));
}

TEST(Scenario, CodesThatThePlatformGivesNoMeaningAreAllowed)
{
    const platformd::Parameter parameter = readParameter(R"("type": 2, "size": 9, "register": 3)");

    EXPECT_EQ(parameter.type, 2);
    EXPECT_EQ(parameter.size, 9);
    EXPECT_EQ(parameter.registerKind, 3);
}

TEST(Scenario, EachKindOfSignalTakesItsFields)
{
    const Signal sine = readParameter(R"("signal": {"kind": "sine", "low": -9, "high": 9, "period": 2.5})").signal;
    const Signal counter = readParameter(R"("signal": {"kind": "counter", "start": 4, "step": 0.5})").signal;
    const Signal walk = readParameter(R"("signal": {"kind": "walk", "low": 1, "high": 2, "seed": 3})").signal;

    EXPECT_EQ(sine.kind, Signal::Kind::Sine);
    EXPECT_EQ(sine.low, -9);
    EXPECT_EQ(sine.high, 9);
    EXPECT_EQ(sine.period, 2.5);
    EXPECT_EQ(counter.kind, Signal::Kind::Counter);
    EXPECT_EQ(counter.start, 4);
    EXPECT_EQ(counter.step, 0.5);
    EXPECT_EQ(walk.kind, Signal::Kind::Walk);
    EXPECT_EQ(walk.seed, 3);
}

TEST(Scenario, AParameterOfStringsTakesTextsOrOneString)
{
    const Signal texts =
        readParameter(R"("type": 1, "signal": {"kind": "text", "texts": ["a", "b"], "period": 5})").signal;
    const Signal constant = readParameter(R"("type": 6, "signal": {"kind": "constant", "value": "v"})").signal;

    EXPECT_EQ(texts.texts, (QStringList{"a", "b"}));
    EXPECT_EQ(texts.period, 5);
    EXPECT_EQ(constant.kind, Signal::Kind::Text);
    EXPECT_EQ(constant.texts, QStringList{"v"});
}

TEST(Scenario, TextsAreKeptByTheirNumber)
{
    const Scenario scenario = read(R"({"texts": {"59005": {"en_GB": "Name", "de_DE": "Bezeichnung"}}})");

    EXPECT_EQ(scenario.texts.value(59005).in(QStringLiteral("de_DE")), QStringLiteral("Bezeichnung"));
}

TEST(Scenario, TheChangeLogIsPutNewestFirst)
{
    const Scenario scenario = read(R"({"parameters": [{"id": 7, "name": "n"}, {"id": 8, "name": "s", "type": 1}],
        "changeLog": [{"id": 7, "time": "2024-03-05T14:07:09", "value": 17},
                      {"id": 8, "time": "2024-03-06T00:00:00", "value": "set"},
                      {"id": 7, "time": "2024-03-05T14:07:09", "value": 18}]})");

    ASSERT_EQ(scenario.changeLog.size(), 3);
    EXPECT_EQ(scenario.changeLog[0].text, QStringLiteral("set"));
    EXPECT_EQ(scenario.changeLog[1].number, 17);
    EXPECT_EQ(scenario.changeLog[1].time, QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9)));
    EXPECT_EQ(scenario.changeLog[2].number, 18);
}

TEST(Scenario, AnAlarmIsReadWithItsNotes)
{
    const Scenario scenario = read(R"({"alarms": [{"time": "2024-03-05T14:07:09", "number": 4294967295,
        "name": "Filter blocked", "source": "Pump 1", "extra": [["Pressure", "4.2 bar"]]}]})");

    ASSERT_EQ(scenario.alarms.size(), 1);
    const platformd::Alarm& alarm = scenario.alarms.first();
    EXPECT_EQ(alarm.number, 4294967295U);
    EXPECT_EQ(alarm.name.in(QStringLiteral("en_GB")), QStringLiteral("Filter blocked"));
    EXPECT_EQ(alarm.source.in(QStringLiteral("en_GB")), QStringLiteral("Pump 1"));
    ASSERT_EQ(alarm.extra.size(), 1);
    EXPECT_EQ(alarm.extra[0].value.in(QStringLiteral("en_GB")), QStringLiteral("4.2 bar"));
}

TEST(Scenario, ANullInAPowerRowIsAMissingValue)
{
    const Scenario scenario = read(R"({"powerLog": {"hourly": [[1700000000, 1.5, null, -2.25]]}})");

    ASSERT_EQ(scenario.hourlyPower.rows.size(), 1);
    const zemo::data::PowerLogRecord& row = scenario.hourlyPower.rows.first();
    EXPECT_EQ(row.timestamp, 1700000000);
    EXPECT_EQ(row.valueA, 1.5);
    EXPECT_TRUE(std::isnan(row.valueB));
    EXPECT_EQ(row.valueC, -2.25);
}

TEST(Scenario, APowerLogCanBeAGenerator)
{
    const Scenario scenario = read(R"({"powerLog": {"quarterly": {"days": 10, "end": 1700000000, "decimals": 3,
        "missing": 6, "columns": [{"value": 1}, {"kind": "walk", "seed": 5}, {"value": 3}]}}})");

    ASSERT_TRUE(scenario.quarterlyPower.generator);
    EXPECT_FALSE(scenario.hourlyPower.generator);
    EXPECT_EQ(scenario.quarterlyPower.interval, 900);
    EXPECT_EQ(scenario.quarterlyPower.generator->days, 10);
    EXPECT_EQ(scenario.quarterlyPower.generator->end, 1700000000);
    EXPECT_EQ(scenario.quarterlyPower.generator->decimals, 3);
    EXPECT_EQ(scenario.quarterlyPower.generator->missing, 6);
    EXPECT_EQ(scenario.quarterlyPower.generator->columns[2].value, 3);
}

// The column is where the parser stands: just behind what it could not use.
TEST(Scenario, ASyntaxErrorIsToldWithLineAndColumn)
{
    const QStringList found = mistakes("{\n  \"serial\": \"1\",\n  \"texts\": {]\n}");

    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found.first().startsWith(QStringLiteral("a.json: line 3, column 14: "))) << found.first().toStdString();
}

TEST(Scenario, AFileThatIsNoObjectIsRefused)
{
    EXPECT_EQ(mistakes("[]"), QStringList{"a.json: $: must be an object"});
}

TEST(Scenario, AnEmptyFileIsRefused)
{
    ASSERT_EQ(mistakes("").size(), 1);
}

TEST(Scenario, AFileThatIsNotThereIsRefusedByName)
{
    const ScenarioResult result = platformd::loadScenario(QStringLiteral("/nonexistent/a.json"));

    EXPECT_EQ(result.scenario, nullptr);
    EXPECT_EQ(result.mistakes, QStringList{"/nonexistent/a.json: cannot be read: No such file or directory"});
}

TEST(Scenario, AFileIsReadFromItsPath)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("a.json")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"serial": "98"})");
    file.close();

    const ScenarioResult result = platformd::loadScenario(file.fileName());

    ASSERT_NE(result.scenario, nullptr);
    EXPECT_EQ(result.scenario->serial, QStringLiteral("98"));
}

TEST(Scenario, EveryMistakeOfAFileIsToldAtOnce)
{
    const QStringList found =
        mistakes(R"({"serial": 5, "parameters": [{"id": 7}, {"id": 8, "name": "n", "size": -1}]})");

    EXPECT_EQ(found, (QStringList{"a.json: $.serial: must be a string", "a.json: $.parameters[0].name: is missing",
                                  "a.json: $.parameters[1].size: must be an integer from 0 to 255"}));
}

TEST(Scenario, AnUnknownKeyIsAMistakeAtEveryLevel)
{
    EXPECT_EQ(mistakes(R"({"serail": "5"})"), QStringList{"a.json: $.serail: unknown key"});
    EXPECT_EQ(mistakes(R"({"a key": "5"})"), QStringList{"a.json: $[\"a key\"]: unknown key"});
    EXPECT_EQ(parameterMistakes(R"("nmae": 1)"), QStringList{"a.json: $.parameters[0].nmae: unknown key"});
    EXPECT_EQ(mistakes(R"({"alarms": [{"name": "a", "text": 1}]})"),
              QStringList{"a.json: $.alarms[0].text: unknown key"});
    EXPECT_EQ(mistakes(R"({"powerLog": {"daily": []}})"), QStringList{"a.json: $.powerLog.daily: unknown key"});
}

TEST(Scenario, AFieldOfAnotherKindOfSignalIsAnUnknownKey)
{
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "walk", "period": 5})"),
              QStringList{"a.json: $.parameters[0].signal.period: unknown key"});
}

TEST(Scenario, AnUnknownKindOfSignalIsRefused)
{
    const QStringList found = parameterMistakes(R"("signal": {"kind": "sinus"})");

    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found.first().startsWith(QStringLiteral("a.json: $.parameters[0].signal.kind: \"sinus\" is no kind")));
}

TEST(Scenario, APeriodMustBeMoreThanNothing)
{
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "sine", "period": 0})"),
              QStringList{"a.json: $.parameters[0].signal.period: must be more than 0"});
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "sine", "period": -5})").size(), 1);
}

TEST(Scenario, LowMustNotBeAboveHigh)
{
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "ramp", "low": 11, "high": 10})"),
              QStringList{"a.json: $.parameters[0].signal.low: is above \"high\" (11 > 10)"});
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "ramp", "low": 10, "high": 10})"), QStringList());
}

TEST(Scenario, ANumberMustFitTheSizeOfItsParameter)
{
    EXPECT_EQ(parameterMistakes(R"("size": 1, "signal": {"kind": "constant", "value": 128})"),
              QStringList{"a.json: $.parameters[0].signal.value: must be an integer from -128 to 127"});
    EXPECT_EQ(parameterMistakes(R"("size": 4, "signal": {"kind": "sine", "low": -1, "high": 255})"),
              QStringList{"a.json: $.parameters[0].signal.low: must be an integer from 0 to 255"});
    EXPECT_EQ(parameterMistakes(R"("size": 6, "signal": {"kind": "constant", "value": 4294967295})"), QStringList());
}

TEST(Scenario, StringsAndNumbersAreNotMixed)
{
    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "text", "texts": ["a"]})"),
              QStringList{"a.json: $.parameters[0].signal.kind: \"text\" is for parameters of type 1 and 6"});
    EXPECT_EQ(
        parameterMistakes(R"("type": 1, "signal": {"kind": "sine", "low": 1})"),
        QStringList{"a.json: $.parameters[0].signal.kind: a parameter of type 1 or 6 takes \"constant\" or \"text\""});
    EXPECT_EQ(parameterMistakes(R"("signal": {"value": "a"})").size(), 1);
    EXPECT_EQ(parameterMistakes(R"("type": 1, "signal": {"value": 1})"),
              QStringList{"a.json: $.parameters[0].signal.value: must be a string"});
}

TEST(Scenario, AModbusSignalTakesItsRegisterFromTheParameterAndTheRestFromItsFields)
{
    const platformd::ModbusSource plain =
        readParameter(R"("size": 5, "register": 1, "address": 300, "signal": {"kind": "modbus", "host": "plc"})")
            .signal.source;
    const platformd::ModbusSource full = readParameter(R"("size": 6, "register": 2, "address": 30001,
                         "signal": {"kind": "modbus", "host": "192.0.2.7", "port": 1502, "unit": 255, "address": 0})")
                                             .signal.source;

    EXPECT_EQ(plain.host, QStringLiteral("plc"));
    EXPECT_EQ(plain.port, 502);
    EXPECT_EQ(plain.unit, 1);
    EXPECT_EQ(plain.address, 300);
    EXPECT_EQ(plain.size, 5);
    EXPECT_FALSE(plain.isInput);
    EXPECT_EQ(full.host, QStringLiteral("192.0.2.7"));
    EXPECT_EQ(full.port, 1502);
    EXPECT_EQ(full.unit, 255);
    EXPECT_EQ(full.address, 0);
    EXPECT_EQ(full.size, 6);
    EXPECT_TRUE(full.isInput);
}

TEST(Scenario, AModbusSignalNeedsARegisterWithAWidth)
{
    const QString kind = QStringLiteral("a.json: $.parameters[0].signal.kind: ");

    EXPECT_EQ(parameterMistakes(R"("signal": {"kind": "modbus", "host": "plc"})"),
              QStringList{kind + "\"modbus\" takes a parameter with \"register\" 1 or 2"});
    EXPECT_EQ(parameterMistakes(R"("register": 3, "signal": {"kind": "modbus", "host": "plc"})"),
              QStringList{kind + "\"modbus\" takes a parameter with \"register\" 1 or 2"});
    EXPECT_EQ(parameterMistakes(R"("register": 1, "size": 7, "signal": {"kind": "modbus", "host": "plc"})"),
              QStringList{kind + "\"modbus\" takes a parameter with \"size\" 1 to 6"});
    EXPECT_EQ(parameterMistakes(R"("register": 1, "type": 1, "signal": {"kind": "modbus", "host": "plc"})"),
              QStringList{kind + "a parameter of type 1 or 6 takes \"constant\" or \"text\""});
    EXPECT_EQ(mistakes(R"({"powerLog": {"hourly": {"columns": [{"kind": "modbus", "host": "plc"}, {}, {}]}}})"),
              QStringList{"a.json: $.powerLog.hourly.columns[0].kind: \"modbus\" is for parameters"});
}

TEST(Scenario, EachFieldOfAModbusSignalIsChecked)
{
    const auto found = [](const char* fields, const char* members = R"("size": 5, "register": 1)") {
        return parameterMistakes(
            (QByteArray(members) + R"(, "signal": {"kind": "modbus", )" + fields + "}").constData());
    };
    const QString place = QStringLiteral("a.json: $.parameters[0].signal.");

    EXPECT_EQ(found(R"("port": 502)"), QStringList{place + "host: is missing"});
    EXPECT_EQ(found(R"("host": "")"), QStringList{place + "host: must be the name or the address of a device"});
    EXPECT_EQ(found(R"("host": "a b")"), QStringList{place + "host: must be the name or the address of a device"});
    EXPECT_EQ(found(R"("host": 5)"), QStringList{place + "host: must be a string"});
    EXPECT_EQ(found(R"("host": "plc", "port": 0)"), QStringList{place + "port: must be an integer from 1 to 65535"});
    EXPECT_EQ(found(R"("host": "plc", "port": 65536)"),
              QStringList{place + "port: must be an integer from 1 to 65535"});
    EXPECT_EQ(found(R"("host": "plc", "unit": 248)"),
              QStringList{place + "unit: must be a unit from 0 to 247, or 255"});
    EXPECT_EQ(found(R"("host": "plc", "unit": 256)"), QStringList{place + "unit: must be an integer from 0 to 255"});
    EXPECT_EQ(found(R"("host": "plc", "address": -1)"),
              QStringList{place + "address: must be an integer from 0 to 65535"});
    EXPECT_EQ(found(R"("host": "plc", "address": 65535)", R"("size": 3, "register": 1)"),
              QStringList{place + "address: leaves no room for the second register of 32 bits"});
    EXPECT_EQ(found(R"("host": "plc", "low": 1)"), QStringList{place + "low: unknown key"});
}

TEST(Scenario, APartOfAnIntegerIsNoInteger)
{
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": 1.5, "name": "n"}]})"),
              QStringList{"a.json: $.parameters[0].id: must be an integer from 0 to 65535"});
}

TEST(Scenario, AnIdMustFitTheRecordsOfTheContract)
{
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": 65536, "name": "n"}]})").size(), 1);
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": -1, "name": "n"}]})").size(), 1);
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": 65535, "name": "n"}, {"id": 0, "name": "n"}]})"), QStringList());
}

TEST(Scenario, AnIdMayBeUsedOnlyOnce)
{
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": 7, "name": "n"}, {"id": 7, "name": "m"}]})"),
              QStringList{"a.json: $.parameters[1].id: 7 is the id of another parameter"});
}

TEST(Scenario, TwoIdsThatAreNoneAreNotTakenForTheSame)
{
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": "a", "name": "n"}, {"id": "b", "name": "m"}]})").size(), 2);
}

TEST(Scenario, AttributesAreThree)
{
    EXPECT_EQ(parameterMistakes(R"("attributes": [1, 2])"),
              QStringList{"a.json: $.parameters[0].attributes: must hold three integers"});
}

TEST(Scenario, ALocaleMustLookLikeOne)
{
    EXPECT_EQ(mistakes(R"({"language": "english"})"),
              QStringList{"a.json: $.language: \"english\" is no locale name such as \"en_GB\""});
    EXPECT_EQ(mistakes(R"({"parameters": [{"id": 1, "name": {"en-GB": "n"}}]})"),
              QStringList{"a.json: $.parameters[0].name[\"en-GB\"]: \"en-GB\" is no locale name such as \"en_GB\""});
}

TEST(Scenario, ATextsKeyMustBeANumber)
{
    EXPECT_EQ(mistakes(R"({"texts": {"title": "x"}})"),
              QStringList{"a.json: $.texts.title: \"title\" is no text number"});
    EXPECT_EQ(mistakes(R"({"texts": {"-1": "x"}})"), QStringList{"a.json: $.texts[\"-1\"]: \"-1\" is no text number"});
}

TEST(Scenario, AChangeMustBeThatOfAParameterThatThereIs)
{
    EXPECT_EQ(mistakes(R"({"changeLog": [{"id": 9, "value": 1}]})"),
              QStringList{"a.json: $.changeLog[0].id: there is no parameter 9"});
}

TEST(Scenario, ATimeMustBeOneOfTheCalendar)
{
    EXPECT_EQ(mistakes(R"({"alarms": [{"name": "a", "time": "2024-02-30T00:00:00"}]})"),
              QStringList{"a.json: $.alarms[0].time: must be a local time such as \"2024-03-05T14:07:09\""});
    EXPECT_EQ(mistakes(R"({"alarms": [{"name": "a", "time": "2024-02-20"}]})").size(), 1);
}

TEST(Scenario, APowerRowHasATimeAndThreeValues)
{
    EXPECT_EQ(mistakes(R"({"powerLog": {"hourly": [[1700000000, 1, 2]]}})"),
              QStringList{"a.json: $.powerLog.hourly[0]: must hold a time and three values"});
    EXPECT_EQ(mistakes(R"({"powerLog": {"hourly": [[1700000000, 1, 2, "x"]]}})").size(), 1);
}

TEST(Scenario, AGeneratorHasThreeColumns)
{
    EXPECT_EQ(mistakes(R"({"powerLog": {"hourly": {"columns": []}}})"),
              QStringList{"a.json: $.powerLog.hourly.columns: must hold three signals"});
}

TEST(Scenario, SettingsMustBeBase64)
{
    EXPECT_EQ(mistakes(R"({"settings": "not base64!"})"), QStringList{"a.json: $.settings: is not base64"});
}

TEST(Scenario, ADriveMustHaveAHarmlessPathAndBeListedOnce)
{
    EXPECT_EQ(mistakes(R"({"drives": ["/media/usb0/"]})").size(), 1);
    EXPECT_EQ(mistakes(R"({"drives": ["/a", "/a"]})"), QStringList{"a.json: $.drives[1]: the drive is listed twice"});
}

TEST(Scenario, WrongKindsOfJsonAreToldByTheirPlace)
{
    EXPECT_EQ(mistakes(R"({"parameters": {}})"), QStringList{"a.json: $.parameters: must be a list"});
    EXPECT_EQ(mistakes(R"({"parameters": [5]})"), QStringList{"a.json: $.parameters[0]: must be an object"});
    EXPECT_EQ(mistakes(R"({"acceptRestore": 1})"), QStringList{"a.json: $.acceptRestore: must be true or false"});
    EXPECT_EQ(parameterMistakes(R"("signal": 5)"), QStringList{"a.json: $.parameters[0].signal: must be an object"});
}
