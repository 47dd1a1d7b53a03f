#include "../Text.h"
#include "Surroundings.h"

#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>

#include <QDBusReply>
#include <QElapsedTimer>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

using zemo::data::DataManagementClient;
using zemo::data::PowerLogClient;
using zemo::hardware::UsbClient;
using zemo::menus::MenusClient;
using zemo::system::AlarmsClient;
using zemo::system::SystemClient;

namespace
{

const QString english = QStringLiteral("en_GB");
const QString german = QStringLiteral("de_DE");

const char* const station = R"({
    "serial": "4711", "deviceName": "Station 9", "language": "de_DE", "settings": "AAH/", "drives": ["/media/a"],
    "parameters": [
        {"id": 10, "name": {"en_GB": "po\u00adwer", "de_DE": "Leis\u00adtung"}, "size": 2, "panel": 12, "unit": "kW",
         "decimals": 1, "aux": 5, "register": 1, "address": 40001, "attributes": [-1, 2, 3], "default": true,
         "texts": ["off", "on"], "signal": {"kind": "constant", "value": -250}},
        {"id": 11, "name": "note", "type": 6, "default": true, "signal": {"kind": "constant", "value": "ready"}},
        {"id": 12, "name": "state", "size": 6, "register": 2, "signal": {"kind": "constant", "value": 4000000000}}],
    "texts": {"5": {"en_GB": "Name", "de_DE": "Bezeichnung"}},
    "changeLog": [{"id": 10, "time": "2024-03-05T14:07:09", "value": 17},
                  {"id": 11, "time": "2024-03-06T01:02:03", "value": "set"}],
    "alarms": [{"time": "2024-03-05T14:07:09", "number": 12, "name": "blocked", "source": "Pump 1",
                "extra": [["Pressure", "4.2 bar"]]},
               {"time": "2023-03-05T14:07:09", "number": 13, "name": "old"}],
    "powerLog": {"hourly": [[1000, 1.5, null, 2.25], [2000, 4, 5, 6]], "quarterly": [[900, 7, 8, 9]]}
})";

/// The service with the small station above, and the clients that ask it.
struct ServiceTest : testing::Test
{
    ServiceTest()
    {
        EXPECT_TRUE(platform.start(theBus().address(), theBus().connection(), writeScenario(station)));
    }

    ~ServiceTest() override
    {
        EXPECT_EQ(platform.stop(), 0);
        EXPECT_TRUE(theBus().waitForNoName(QStringLiteral("com.tarn.zemo.platform")));
    }

    Platform platform;
    DataManagementClient& data = *DataManagementClient::instance;
};

} // namespace

TEST_F(ServiceTest, ValuesComeWithTypeSizeAndIdAndUnknownIdsAreMissing)
{
    const QMap<int, zemo::data::DataValue> values = data.getValues({12, 10, 99, 11});

    ASSERT_EQ(values.keys(), (QList<int>{10, 11, 12}));
    EXPECT_EQ(values[10].getIntValue(), -250);
    EXPECT_EQ(values[10].getVarSize(), 2);
    EXPECT_EQ(values[11].getStringValue(), QStringLiteral("ready"));
    EXPECT_EQ(values[11].getVarType(), 6);
    EXPECT_EQ(values[12].getIntValue(), 4000000000);
    EXPECT_TRUE(values[12].isOk());
}

TEST_F(ServiceTest, DescriptionsComeInTheLocaleAskedForAndUnknownIdsAreMissing)
{
    const QMap<int, zemo::data::Metadata> parameters = data.getMetadata({10, 99}, german);

    ASSERT_EQ(parameters.keys(), QList<int>{10});
    EXPECT_EQ(parameters[10].varId, 10);
    EXPECT_EQ(parameters[10].name.text(), QStringLiteral("Leis\u00adtung"));
    EXPECT_EQ(parameters[10].name.panelNbr(), 12);
    EXPECT_EQ(parameters[10].unit, QStringLiteral("kW"));
    EXPECT_EQ(parameters[10].decimals, 1);
    EXPECT_EQ(parameters[10].auxByte, 5);
    EXPECT_EQ(parameters[10].modbusAddress, 40001);
    EXPECT_EQ(parameters[10].numericAttr1, -1);
    ASSERT_EQ(parameters[10].valueTexts.size(), 2);
    EXPECT_EQ(parameters[10].valueTexts[1].text, QStringLiteral("on"));
}

TEST_F(ServiceTest, TheDefaultLogHoldsTheParametersMarkedForIt)
{
    EXPECT_EQ(data.getDefaultLog(english).keys(), (QList<int>{10, 11}));
    EXPECT_EQ(data.getDefaultLog(QStringLiteral("default"))[10].name.text(), QStringLiteral("Leis\u00adtung"));
}

TEST_F(ServiceTest, ModbusParametersAreThoseWithARegister)
{
    EXPECT_EQ(data.getModbusParams(english).keys(), (QList<int>{10, 12}));
}

TEST_F(ServiceTest, TheChangeLogComesNewestFirst)
{
    const QList<zemo::data::ChangeLogEntry> changes = data.getChangeLog(10000, english);

    ASSERT_EQ(changes.size(), 2);
    EXPECT_EQ(changes[0].value.getStringValue(), QStringLiteral("set"));
    EXPECT_EQ(changes[0].metadata.varId, 11);
    EXPECT_EQ(changes[1].value.getIntValue(), 17);
    EXPECT_EQ(zemo::time::DateTime(&changes[1].timestamp).year(), 2024);
    EXPECT_EQ(zemo::time::DateTime(&changes[1].timestamp).hour(), 14);
    EXPECT_EQ(data.getChangeLog(1, english).size(), 1);
}

TEST_F(ServiceTest, SettingsAreTheBytesOfTheScenario)
{
    EXPECT_EQ(data.saveSettings(3), QByteArray("\x00\x01\xff", 3));
}

TEST_F(ServiceTest, ARestoreIsAnsweredReportedAndKept)
{
    QSignalSpy finished(&data, &DataManagementClient::restoreSettingsFinished);
    const QSignalSpy started(&data, &DataManagementClient::restoreSettingsStarted);

    EXPECT_TRUE(data.restoreSettings(QByteArray("\x00new", 4)));

    ASSERT_TRUE(finished.size() == 1 || finished.wait());
    EXPECT_TRUE(finished[0][0].toBool());
    EXPECT_EQ(started.size(), 1);
    EXPECT_EQ(data.saveSettings(0), QByteArray("\x00new", 4));
}

TEST_F(ServiceTest, PowerRecordsComeWithTheirGaps)
{
    const QList<zemo::data::PowerLogRecord> records = PowerLogClient::instance_->GetHourly();

    ASSERT_EQ(records.size(), 2);
    EXPECT_EQ(records[0].timestamp, 1000);
    EXPECT_EQ(records[0].valueA, 1.5);
    EXPECT_TRUE(std::isnan(records[0].valueB));
    EXPECT_EQ(records[0].valueC, 2.25);
    ASSERT_EQ(PowerLogClient::instance_->GetQuarterly().size(), 1);
    EXPECT_EQ(PowerLogClient::instance_->GetQuarterly()[0].valueA, 7);
}

TEST_F(ServiceTest, PowerRecordsOfAPeriodIncludeBothEnds)
{
    EXPECT_EQ(PowerLogClient::instance_->GetHourlyForPeriod(1001, 2000).size(), 1);
    EXPECT_EQ(PowerLogClient::instance_->GetHourlyForPeriod(1000, 1999).size(), 1);
    EXPECT_EQ(PowerLogClient::instance_->GetQuarterlyForPeriod(900, 900).size(), 1);
    EXPECT_EQ(PowerLogClient::instance_->GetQuarterlyForPeriod(901, 99999).size(), 0);
}

TEST_F(ServiceTest, TextsComeInTheLocaleAskedForAndUnknownOnesAreMissing)
{
    const QMap<unsigned int, zemo::localization::PanelText> texts = MenusClient::instance->getTexts({5, 6}, german);

    ASSERT_EQ(texts.keys(), QList<unsigned int>{5});
    EXPECT_EQ(texts[5].text(), QStringLiteral("Bezeichnung"));
}

TEST_F(ServiceTest, TheUnitTellsItsSerialNumberAndName)
{
    EXPECT_EQ(SystemClient::instance->getSerial(), QStringLiteral("4711"));
    EXPECT_EQ(SystemClient::instance->getDeviceName(), QStringLiteral("Station 9"));
}

TEST_F(ServiceTest, AlarmsComeNewestFirstWithTheirNotes)
{
    const QList<zemo::system::AlarmInfo> alarms = AlarmsClient::instance->getAlarms(1, 0, english);

    ASSERT_EQ(alarms.size(), 1);
    EXPECT_EQ(alarms[0].getNumber(), 12U);
    EXPECT_EQ(alarms[0].getName().text(), QStringLiteral("blocked"));
    ASSERT_EQ(alarms[0].getExtraInfo().size(), 1);
    EXPECT_EQ(alarms[0].getExtraInfo()[0].value.text(), QStringLiteral("4.2 bar"));
}

TEST_F(ServiceTest, ADriveIsPresentAndReportedWhenItsInsertionIsAnswered)
{
    UsbClient usb(nullptr);
    QSignalSpy inserted(&usb, &UsbClient::driveInserted);

    ASSERT_TRUE(platform.insertDrive(QStringLiteral("/media/b")));

    EXPECT_EQ(usb.getUsbDrives(), (QStringList{"/media/a", "/media/b"}));
    ASSERT_TRUE(inserted.size() == 1 || inserted.wait());
    EXPECT_EQ(inserted[0][0].toString(), QStringLiteral("/media/b"));
}

TEST_F(ServiceTest, ADriveIsGoneAndReportedWhenItsRemovalIsAnswered)
{
    UsbClient usb(nullptr);
    QSignalSpy removed(&usb, &UsbClient::driveRemoved);

    ASSERT_TRUE(platform.removeDrive(QStringLiteral("/media/a")));

    EXPECT_TRUE(usb.getUsbDrives().isEmpty());
    ASSERT_TRUE(removed.size() == 1 || removed.wait());
    EXPECT_EQ(removed[0][0].toString(), QStringLiteral("/media/a"));
}

TEST_F(ServiceTest, ADriveWithAPathForAShellIsAnsweredWithAnErrorAndTraced)
{
    EXPECT_FALSE(platform.insertDrive(QStringLiteral("/media/a b")));

    EXPECT_EQ(UsbClient(nullptr).getUsbDrives(), QStringList{"/media/a"});
    EXPECT_TRUE(waitUntil([this] { return platform.errorLines().join(QString()).contains("/media/a b"); }));
}

TEST_F(ServiceTest, ValuesAreHeldDroppedAndReleased)
{
    ASSERT_TRUE(platform.setValue(10, 77));
    ASSERT_TRUE(platform.setValue(11, QStringLiteral("held")));
    ASSERT_TRUE(platform.dropValue(12));

    QMap<int, zemo::data::DataValue> values = data.getValues({10, 11, 12});
    EXPECT_EQ(values.keys(), (QList<int>{10, 11}));
    EXPECT_EQ(values[10].getIntValue(), 77);
    EXPECT_EQ(values[11].getStringValue(), QStringLiteral("held"));

    ASSERT_TRUE(platform.releaseValue(10));
    ASSERT_TRUE(platform.releaseValue(12));
    values = data.getValues({10, 11, 12});
    EXPECT_EQ(values[10].getIntValue(), -250);
    EXPECT_EQ(values[12].getIntValue(), 4000000000);
}

TEST_F(ServiceTest, SteeringWhatThereIsNotIsAnsweredWithAnError)
{
    EXPECT_FALSE(platform.setValue(99, 1));
    EXPECT_FALSE(platform.removeDrive(QStringLiteral("/media/z")));
    EXPECT_FALSE(platform.setDefaultLog({99}));
    EXPECT_FALSE(platform.setLanguage(QStringLiteral("german")));
    EXPECT_FALSE(platform.setDelay(QStringLiteral("getvalues"), std::chrono::milliseconds(1)));
    EXPECT_FALSE(platform.setFailure(QStringLiteral("Control"), true));
}

TEST_F(ServiceTest, TheDefaultListAndTheLanguageCanBeReplaced)
{
    ASSERT_TRUE(platform.setDefaultLog({12, 10}));
    ASSERT_TRUE(platform.setLanguage(english));

    const QMap<int, zemo::data::Metadata> parameters = data.getDefaultLog(QStringLiteral("default"));
    EXPECT_EQ(parameters.keys(), (QList<int>{10, 12}));
    EXPECT_EQ(parameters[10].name.text(), QStringLiteral("po\u00adwer"));
}

TEST_F(ServiceTest, ADelayedOperationIsAnsweredLateAndHoldsUpNoOther)
{
    ASSERT_TRUE(platform.setDelay(QStringLiteral("getSerial"), std::chrono::milliseconds(2500)));
    QElapsedTimer clock;
    clock.start();
    qint64 serialAfter = 0;
    QString serial;
    std::thread asking(
        [&]
        {
            serial = SystemClient::instance->getSerial();
            serialAfter = clock.elapsed();
        });
    EXPECT_TRUE(waitUntil([this] { return platform.callCount(QStringLiteral("getSerial")) == 1; }));

    const QString name = SystemClient::instance->getDeviceName();
    const qint64 nameAfter = clock.elapsed();
    asking.join();

    EXPECT_EQ(name, QStringLiteral("Station 9"));
    EXPECT_EQ(serial, QStringLiteral("4711"));
    EXPECT_GE(serialAfter, 2500);
    EXPECT_LT(nameAfter, 2500);
}

TEST_F(ServiceTest, TwoDelayedCallsEachGetTheirOwnAnswer)
{
    ASSERT_TRUE(platform.setDelay(QStringLiteral("getValues"), std::chrono::milliseconds(200)));
    QMap<int, zemo::data::DataValue> first;
    std::thread asking([&] { first = data.getValues({10}); });

    const QMap<int, zemo::data::DataValue> second = data.getValues({11});
    asking.join();

    EXPECT_EQ(first.keys(), QList<int>{10});
    EXPECT_EQ(second.keys(), QList<int>{11});
}

TEST_F(ServiceTest, AFailingOperationHasNoResultAndNoEffectUntilItIsMended)
{
    QSignalSpy finished(&data, &DataManagementClient::restoreSettingsFinished);
    ASSERT_TRUE(platform.setFailure(QStringLiteral("restoreSettings"), true));

    EXPECT_FALSE(data.restoreSettings("new"));
    EXPECT_EQ(data.saveSettings(0), QByteArray("\x00\x01\xff", 3));

    ASSERT_TRUE(platform.setFailure(QStringLiteral("restoreSettings"), false));
    EXPECT_TRUE(data.restoreSettings("newer"));
    ASSERT_TRUE(finished.size() == 1 || finished.wait());
    EXPECT_EQ(finished.size(), 1);
}

TEST_F(ServiceTest, AFailureIsAnErrorOnTheBusAndNotAnEmptyAnswer)
{
    ASSERT_TRUE(platform.setFailure(QStringLiteral("getSerial"), true));

    const QDBusReply<QString> reply = theBus().connection().call(
        QDBusMessage::createMethodCall(QStringLiteral("com.tarn.zemo.platform"), QStringLiteral("/Platform"),
                                       QStringLiteral("com.tarn.zemo.platform"), QStringLiteral("getSerial")));

    EXPECT_EQ(reply.error().type(), QDBusError::Failed);
}

TEST_F(ServiceTest, CallsAreCountedAndTheLastIdsAreKept)
{
    data.getValues({10});
    data.getValues({12, 99, 11});

    EXPECT_EQ(platform.callCount(QStringLiteral("getValues")), 2U);
    EXPECT_EQ(platform.callCount(QStringLiteral("getMetadata")), 0U);
    EXPECT_EQ(platform.lastIds(), (QList<int>{12, 99, 11}));
}

TEST_F(ServiceTest, AFailedCallIsCountedToo)
{
    ASSERT_TRUE(platform.setFailure(QStringLiteral("getValues"), true));

    data.getValues({10});

    EXPECT_EQ(platform.callCount(QStringLiteral("getValues")), 1U);
}

TEST_F(ServiceTest, ALoadedScenarioReplacesTheOld)
{
    UsbClient usb(nullptr);
    QSignalSpy removed(&usb, &UsbClient::driveRemoved);

    ASSERT_TRUE(platform.load(writeScenario(R"({"serial": "5", "parameters": [{"id": 3, "name": "n"}]})")));

    EXPECT_EQ(SystemClient::instance->getSerial(), QStringLiteral("5"));
    EXPECT_EQ(data.getValues({3, 10}).keys(), QList<int>{3});
    EXPECT_TRUE(usb.getUsbDrives().isEmpty());
    EXPECT_TRUE(removed.size() == 1 || removed.wait());
}

TEST_F(ServiceTest, AScenarioWithAMistakeIsNotLoadedAndTheAnswerTellsItsPlace)
{
    QDBusMessage load =
        QDBusMessage::createMethodCall(QStringLiteral("com.tarn.zemo.platform"), QStringLiteral("/Control"),
                                       QStringLiteral("com.tarn.zemo.platform.Control"), QStringLiteral("load"));
    load << writeScenario(R"({"serial": 5})");

    const QDBusMessage reply = theBus().connection().call(load);

    EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_TRUE(reply.errorMessage().contains(QStringLiteral("scenario.json: $.serial: must be a string")))
        << reply.errorMessage().toStdString();
    EXPECT_EQ(SystemClient::instance->getSerial(), QStringLiteral("4711"));
}

TEST_F(ServiceTest, TenThousandValuesComeInOneCall)
{
    QByteArray parameters;
    QList<int> ids;
    for (int id = 1; id <= 10000; ++id)
    {
        ids.append(id);
        parameters += QByteArray(id > 1 ? "," : "") + R"({"id": )" + QByteArray::number(id) +
                      R"(, "name": "n", "signal": {"value": )" + QByteArray::number(id * 7) + "}}";
    }
    ASSERT_TRUE(platform.load(writeScenario(R"({"parameters": [)" + parameters + "]}")));

    const QMap<int, zemo::data::DataValue> values = data.getValues(ids);

    EXPECT_EQ(values.keys(), ids);
    EXPECT_EQ(values[10000].getIntValue(), 70000);
}
