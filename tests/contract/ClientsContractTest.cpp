// What every implementation of the clients must keep. Built once over the fakes and once over the real clients with
// services on a bus behind them.
#include "PlatformUnderTest.h"

#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/ExecutionQueue.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>

#include <QSemaphore>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

using namespace zemo;

namespace
{

constexpr int deadline = 10000;

class ClientsContract : public testing::Test
{
protected:
    PlatformUnderTest platform;
    data::DataManagementClient& dataManagement = *data::DataManagementClient::instance;
    data::PowerLogClient& powerLog = *data::PowerLogClient::instance_;
    menus::MenusClient& menus = *menus::MenusClient::instance;
    system::SystemClient& system = *system::SystemClient::instance;
    system::AlarmsClient& alarms = *system::AlarmsClient::instance;
};

data::DataValue value(long long number, unsigned char size)
{
    data::DataValue result;
    result.setIntValue(number);
    result.setVarSize(size);
    result.setIsOk(true);
    return result;
}

data::DataValue text(const QString& string, unsigned char type)
{
    data::DataValue result;
    result.setStringValue(string);
    result.setVarType(type);
    result.setIsOk(true);
    return result;
}

data::Metadata named(const QString& name, uint8_t registerKind = 0)
{
    data::Metadata parameter;
    parameter.name = localization::PanelText(name, 3);
    parameter.registerKind = registerKind;
    return parameter;
}

system::AlarmInfo alarmOf(unsigned int number)
{
    const zdatetime_t time{2024, 3, 5, 14, 7, 9};
    return {time::DateTime(&time),
            localization::PanelText(QStringLiteral("Filter blocked"), 8),
            number,
            localization::PanelText(QStringLiteral("Pump 1"), 9),
            {{localization::PanelText(QStringLiteral("Pressure")), localization::PanelText(QStringLiteral("4 bar"))}}};
}

} // namespace

TEST_F(ClientsContract, AParameterIdThatTheServiceDoesNotKnowHasNoValue)
{
    platform.values = {{1000, value(17, data::VarSizeInt16)}, {1001, value(18, data::VarSizeInt16)}};

    const QMap<int, data::DataValue> found = dataManagement.getValues({1001, 999});

    EXPECT_EQ(found.keys(), QList<int>{1001});
    EXPECT_EQ(found[1001], value(18, data::VarSizeInt16));
}

TEST_F(ClientsContract, NoIdsHaveNoValues)
{
    platform.values = {{1000, value(17, data::VarSizeInt16)}};

    EXPECT_TRUE(dataManagement.getValues({}).isEmpty());
}

TEST_F(ClientsContract, ValuesOfEveryKindArriveUnchanged)
{
    data::DataValue failed = value(5, data::VarSizeUint8);
    failed.setIsOk(false);
    platform.values = {{-1, value(std::numeric_limits<long long>::min(), data::VarSizeInt32)},
                       {2, value(std::numeric_limits<long long>::max(), data::VarSizeUint32)},
                       {3, text(QStringLiteral("zu\u00ad \U0001F6B0"), data::VarTypeString)},
                       {4, text(QString(), data::VarTypeLongString)},
                       {5, failed},
                       {6, text(QStringLiteral("odd"), 200)}};

    const QMap<int, data::DataValue> found = dataManagement.getValues({6, 5, 4, 3, 2, -1});

    EXPECT_EQ(found, platform.values);
}

TEST_F(ClientsContract, TenThousandValuesArriveInOneCall)
{
    QList<int> ids;
    for (int id = 0; id < 10000; ++id)
    {
        ids.append(id);
        platform.values.insert(id, value(id * 3LL - 7, data::VarSizeInt32));
    }

    const QMap<int, data::DataValue> found = dataManagement.getValues(ids);

    EXPECT_EQ(found, platform.values);
    EXPECT_EQ(platform.calls().size(), 1U);
}

TEST_F(ClientsContract, AParameterIdThatTheServiceDoesNotKnowHasNoDescription)
{
    platform.metadata = {{1000, named(QStringLiteral("one"))}, {1001, named(QStringLiteral("two"))}};

    const QMap<int, data::Metadata> found = dataManagement.getMetadata({1001, 999}, QStringLiteral("de_DE"));

    EXPECT_EQ(found.keys(), QList<int>{1001});
    EXPECT_EQ(found[1001].name.text(), QStringLiteral("two"));
    EXPECT_EQ(found[1001].name.panelNbr(), 3);
    EXPECT_EQ(platform.calls().back().locale, QStringLiteral("de_DE"));
}

TEST_F(ClientsContract, ARegisterKindOfNoneOfTheKnownOnesIsKept)
{
    platform.metadata = {{1, named(QStringLiteral("odd"), 77)}};
    platform.modbusParams = {1};

    EXPECT_EQ(dataManagement.getModbusParams(QStringLiteral("default"))[1].registerKind, 77);
}

TEST_F(ClientsContract, TheDefaultLogIsASetOfDescriptionsById)
{
    platform.metadata = {{7, named(QStringLiteral("seven"))}, {8, named({})}, {9, named(QStringLiteral("nine"))}};
    platform.defaultLog = {9, 7};

    const QMap<int, data::Metadata> found = dataManagement.getDefaultLog(QStringLiteral("en_GB"));

    EXPECT_EQ(found.keys(), (QList<int>{7, 9}));
    EXPECT_EQ(found[9].name.text(), QStringLiteral("nine"));
    EXPECT_EQ(platform.calls().back().locale, QStringLiteral("en_GB"));
}

TEST_F(ClientsContract, AnEmptyDefaultLogIsAnEmptyMap)
{
    platform.metadata = {{7, named(QStringLiteral("seven"))}};

    EXPECT_TRUE(dataManagement.getDefaultLog(QStringLiteral("default")).isEmpty());
}

TEST_F(ClientsContract, TheChangeLogComesInItsOrderAndCutToTheCount)
{
    data::Metadata parameter = named(QStringLiteral("Level"));
    parameter.varId = 65535;
    platform.changeLog = {{value(2, 1), parameter, {2024, 12, 31, 23, 59, 58}},
                          {value(1, 1), parameter, {2023, 1, 2, 3, 4, 5}},
                          {value(9, 1), parameter, {2025, 1, 2, 3, 4, 5}}};

    const QList<data::ChangeLogEntry> found = dataManagement.getChangeLog(2, QStringLiteral("en_GB"));

    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0].value, value(2, 1));
    EXPECT_EQ(found[0].metadata.varId, 65535);
    EXPECT_EQ(found[0].timestamp.year, 2024);
    EXPECT_EQ(found[0].timestamp.minute, 59);
    EXPECT_EQ(found[1].value, value(1, 1));
    EXPECT_EQ(platform.calls().back().locale, QStringLiteral("en_GB"));
}

TEST_F(ClientsContract, SettingsAreAnOpaqueBlobAndTheSaveTypeIsHandedThrough)
{
    platform.settings = QByteArray("a\0b\xff", 4);

    const QByteArray blob = dataManagement.saveSettings(4294967295U);

    EXPECT_EQ(blob, platform.settings);
    EXPECT_EQ(platform.calls().back().first, 4294967295);
}

TEST_F(ClientsContract, ARestoreHandsTheBlobBackAndAnswersWhetherItWasAccepted)
{
    const QByteArray blob("x\0y", 3);

    const bool accepted = dataManagement.restoreSettings(blob);
    platform.acceptRestore = false;
    const bool refused = !dataManagement.restoreSettings("z");

    EXPECT_TRUE(accepted);
    EXPECT_TRUE(refused);
    EXPECT_EQ(platform.restoredSettings(), "z");
}

TEST_F(ClientsContract, PowerRecordsOfAPeriodIncludeItsEndsAndKeepWhatIsMissing)
{
    platform.hourlyPower = {{99, 0, 0, 0}, {100, 1.5, std::nan(""), -2.25}, {200, 3, 4, 5}, {201, 0, 0, 0}};
    platform.quarterlyPower = {{150, 7, 8, 9}};

    const QList<data::PowerLogRecord> found = powerLog.GetHourlyForPeriod(100, 200);

    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0].timestamp, 100);
    EXPECT_EQ(found[0].valueA, 1.5);
    EXPECT_TRUE(std::isnan(found[0].valueB));
    EXPECT_EQ(found[0].valueC, -2.25);
    EXPECT_EQ(found[1].valueC, 5);
}

TEST_F(ClientsContract, HourlyAndQuarterlyPowerAreNotMixedUp)
{
    platform.hourlyPower = {{1, 1, 1, 1}};
    platform.quarterlyPower = {{2, 2, 2, 2}, {3, 3, 3, 3}};

    EXPECT_EQ(powerLog.GetHourly().size(), 1);
    EXPECT_EQ(powerLog.GetQuarterly().size(), 2);
    EXPECT_EQ(powerLog.GetQuarterlyForPeriod(3, 1LL << 40)[0].timestamp, 3);
}

TEST_F(ClientsContract, GetTextsMayReturnFewerTextsThanWereAskedFor)
{
    platform.texts = {{59005, QStringLiteral("Na\u00adme")}, {1, QStringLiteral("one")}};

    const auto found = menus.getTexts({59005, 4294967295U}, QStringLiteral("de_DE"));

    EXPECT_EQ(found.keys(), QList<unsigned int>{59005});
    EXPECT_EQ(found[59005].text(), QStringLiteral("Na\u00adme"));
    EXPECT_EQ(platform.calls().back().locale, QStringLiteral("de_DE"));
}

TEST_F(ClientsContract, TheUnitHasASerialNumberAndAName)
{
    platform.serial = QStringLiteral("0042");
    platform.deviceName = QStringLiteral("Pumpwerk Süd");

    EXPECT_EQ(system.getSerial(), QStringLiteral("0042"));
    EXPECT_EQ(system.getDeviceName(), QStringLiteral("Pumpwerk Süd"));
}

TEST_F(ClientsContract, AlarmsComeCutToTheCountWithTheirExtraInformation)
{
    platform.alarms = {alarmOf(12), alarmOf(4294967295U), alarmOf(14)};

    const QList<system::AlarmInfo> found = alarms.getAlarms(2, 0, QStringLiteral("en_GB"));

    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[1].getNumber(), 4294967295U);
    EXPECT_EQ(found[1].getTime().second(), 9);
    EXPECT_EQ(found[1].getSource().text(), QStringLiteral("Pump 1"));
    ASSERT_EQ(found[1].getExtraInfo().size(), 1);
    EXPECT_EQ(found[1].getExtraInfo()[0].value.text(), QStringLiteral("4 bar"));
    EXPECT_EQ(platform.calls().back().locale, QStringLiteral("en_GB"));
}

TEST_F(ClientsContract, NoStickInIsTheNormalState)
{
    hardware::UsbClient usb(nullptr);

    EXPECT_TRUE(usb.getUsbDrives().isEmpty());
}

TEST_F(ClientsContract, DrivesThatArePresentAreListedInTheirOrder)
{
    hardware::UsbClient usb(nullptr);
    platform.drives = {QStringLiteral("/media/b"), QStringLiteral("/media/a")};

    EXPECT_EQ(usb.getUsbDrives(), platform.drives);
}

TEST_F(ClientsContract, DrivesThatComeAndGoAreReported)
{
    hardware::UsbClient usb(nullptr);
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));
    QSignalSpy removed(&usb, SIGNAL(driveRemoved(QString)));

    platform.insertDrive(QStringLiteral("/media/stick"));
    ASSERT_TRUE(!inserted.isEmpty() || inserted.wait(deadline));
    platform.removeDrive(QStringLiteral("/media/stick"));
    ASSERT_TRUE(!removed.isEmpty() || removed.wait(deadline));

    EXPECT_EQ(inserted, QList<QVariantList>{{QStringLiteral("/media/stick")}});
    EXPECT_EQ(removed, QList<QVariantList>{{QStringLiteral("/media/stick")}});
}

TEST_F(ClientsContract, ARestoreIsReportedWithItsOutcome)
{
    QSignalSpy started(&dataManagement, SIGNAL(restoreSettingsStarted()));
    QSignalSpy finished(&dataManagement, SIGNAL(restoreSettingsFinished(bool)));

    platform.emitRestoreStarted();
    platform.emitRestoreFinished(true);
    platform.emitRestoreFinished(false);
    while (finished.size() < 2 && finished.wait(deadline))
    {
    }

    EXPECT_EQ(started.size(), 1);
    EXPECT_EQ(finished, (QList<QVariantList>{{true}, {false}}));
}

TEST_F(ClientsContract, ASignalReachesAReceiverOnItsOwnThread)
{
    ExecutionQueue queue;
    std::atomic<QThread*> where = nullptr;
    QSemaphore arrived;
    const auto connection =
        QObject::connect(&dataManagement, &data::DataManagementClient::restoreSettingsStarted, queue.context(),
                         [&]
                         {
                             where = QThread::currentThread();
                             arrived.release();
                         });
    QSignalSpy here(&dataManagement, SIGNAL(restoreSettingsStarted()));

    platform.emitRestoreStarted();
    ASSERT_TRUE(!here.isEmpty() || here.wait(deadline));

    ASSERT_TRUE(arrived.tryAcquire(1, deadline));
    EXPECT_EQ(where, &queue);
    QObject::disconnect(connection);
}

TEST_F(ClientsContract, CallsOfManyThreadsAtOnceEachGetTheirOwnAnswer)
{
    for (int id = 0; id < 400; ++id)
    {
        platform.values.insert(id, value(id + 1000, data::VarSizeInt32));
    }
    std::atomic<int> wrong = 0;
    const auto ask = [&](int first)
    {
        for (int id = first; id < first + 50; ++id)
        {
            const QMap<int, data::DataValue> found = dataManagement.getValues({id});
            wrong += found.size() != 1 || found.value(id).getIntValue() != id + 1000;
        }
    };

    // The main thread does nothing but wait, as while it is inside a bus call.
    std::vector<std::thread> threads;
    for (int first = 0; first < 400; first += 50)
    {
        threads.emplace_back(ask, first);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    EXPECT_EQ(wrong, 0);
}
