// What the clients do when their services are absent, fail, say nothing, come back or talk nonsense.
#include "ServiceDouble.h"
#include "TraceRecorder.h"

#include <clients/Call.h>
#include <wire/Names.h>
#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>

#include <QElapsedTimer>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace zemo;

namespace
{

constexpr int deadline = 10000;
const QString locale = QStringLiteral("en_GB");
const QString stick = QStringLiteral("/media/stick");

const QStringList operations = {
    QStringLiteral("getValues"),
    QStringLiteral("getMetadata"),
    QStringLiteral("getDefaultLog"),
    QStringLiteral("getModbusParams"),
    QStringLiteral("getChangeLog"),
    QStringLiteral("saveSettings"),
    QStringLiteral("restoreSettings"),
    QStringLiteral("GetHourly"),
    QStringLiteral("GetQuarterly"),
    QStringLiteral("GetHourlyForPeriod"),
    QStringLiteral("GetQuarterlyForPeriod"),
    QStringLiteral("getUsbDrives"),
    QStringLiteral("getTexts"),
    QStringLiteral("getSerial"),
    QStringLiteral("getDeviceName"),
    QStringLiteral("getAlarms"),
};

// What stays known when nobody answers any more.
const QStringList lasting = {QStringLiteral("getSerial")};

// The operations, in the order of the list above, that answered with something.
QStringList answering(hardware::UsbClient& usb)
{
    data::DataManagementClient& dataManagement = *data::DataManagementClient::instance;
    data::PowerLogClient& power = *data::PowerLogClient::instance_;
    const QList<bool> answered = {
        !dataManagement.getValues({1}).isEmpty(),
        !dataManagement.getMetadata({1}, locale).isEmpty(),
        !dataManagement.getDefaultLog(locale).isEmpty(),
        !dataManagement.getModbusParams(locale).isEmpty(),
        !dataManagement.getChangeLog(1, locale).isEmpty(),
        !dataManagement.saveSettings(1).isEmpty(),
        dataManagement.restoreSettings("blob"),
        !power.GetHourly().isEmpty(),
        !power.GetQuarterly().isEmpty(),
        !power.GetHourlyForPeriod(0, 9).isEmpty(),
        !power.GetQuarterlyForPeriod(0, 9).isEmpty(),
        !usb.getUsbDrives().isEmpty(),
        !menus::MenusClient::instance->getTexts({1}, locale).isEmpty(),
        !system::SystemClient::instance->getSerial().isEmpty(),
        !system::SystemClient::instance->getDeviceName().isEmpty(),
        !system::AlarmsClient::instance->getAlarms(1, 0, locale).isEmpty(),
    };
    QStringList found;
    for (qsizetype place = 0; place < answered.size(); ++place)
    {
        if (answered[place])
        {
            found.append(operations[place]);
        }
    }
    return found;
}

// Has an answer for every operation before anybody asks.
class AnsweringService : public ServiceDouble
{
public:
    AnsweringService()
    {
        const zdatetime_t time{2024, 3, 5, 14, 7, 9};
        values = {{1, {}}};
        metadata = {{1, {}}};
        defaultLog = {1};
        modbusParams = {1};
        changeLog = {{{}, {}, time}};
        settings = "settings";
        hourlyPower = {{1, 1, 1, 1}};
        quarterlyPower = {{1, 1, 1, 1}};
        drives = {QStringLiteral("/media/first")};
        texts = {{1, QStringLiteral("one")}};
        alarms = {{time::DateTime(&time), {}, 1, {}, {}}};
    }
};

class StandinClients : public testing::Test
{
protected:
    StandinClients()
    {
        EXPECT_EQ(answering(usb), operations);
        forgetTrace();
    }

    AnsweringService services;
    hardware::UsbClient usb{nullptr};
};

bool waitFor(QSignalSpy& spy)
{
    return !spy.isEmpty() || spy.wait(deadline);
}

// A round trip behind which everything that was sent before has arrived.
bool waitForRestoreSignal(ServiceDouble& services)
{
    QSignalSpy restore(data::DataManagementClient::instance, SIGNAL(restoreSettingsStarted()));
    services.emitRestoreStarted();
    return waitFor(restore);
}

} // namespace

TEST_F(StandinClients, AnAbsentServiceGivesEmptyResultsAtOnce)
{
    services.vanish();
    QElapsedTimer timer;
    timer.start();

    const QStringList answered = answering(usb);

    EXPECT_EQ(answered, lasting);
    EXPECT_LT(timer.elapsed(), 2000);
}

TEST_F(StandinClients, TheSerialNumberIsThatOfTheLastAnswer)
{
    services.vanish();
    const QString absent = system::SystemClient::instance->getSerial();
    services.lock();
    services.serial = QStringLiteral("777");
    services.unlock();
    services.appear();
    const QString present = system::SystemClient::instance->getSerial();
    services.fail(QStringLiteral("getSerial"));

    EXPECT_EQ(absent, QStringLiteral("123456"));
    EXPECT_EQ(present, QStringLiteral("777"));
    EXPECT_EQ(system::SystemClient::instance->getSerial(), QStringLiteral("777"));
}

TEST_F(StandinClients, AFailingServiceGivesEmptyResultsAtOnce)
{
    for (const QString& operation : operations)
    {
        services.fail(operation);
    }
    QElapsedTimer timer;
    timer.start();

    const QStringList answered = answering(usb);

    EXPECT_EQ(answered, lasting);
    EXPECT_LT(timer.elapsed(), 2000);
}

TEST_F(StandinClients, OneFailingOperationLeavesTheOthersAlone)
{
    services.fail(QStringLiteral("getTexts"));
    QStringList others = operations;
    others.removeAll(QStringLiteral("getTexts"));

    EXPECT_EQ(answering(usb), others);
}

TEST_F(StandinClients, ASilentServiceIsWaitedForFiveSecondsForValuesAndTwentyFiveForTheRest)
{
    services.beSilent(QStringLiteral("getValues"));
    services.beSilent(QStringLiteral("getDeviceName"));
    qint64 forValues = 0;
    qint64 forName = 0;
    QElapsedTimer timer;
    timer.start();

    std::thread values(
        [&]
        {
            EXPECT_TRUE(data::DataManagementClient::instance->getValues({1}).isEmpty());
            forValues = timer.elapsed();
        });
    EXPECT_TRUE(system::SystemClient::instance->getDeviceName().isEmpty());
    forName = timer.elapsed();
    values.join();

    // Qt may end a wait a twentieth early.
    EXPECT_GE(forValues, 4700);
    EXPECT_LT(forValues, 9000);
    EXPECT_GE(forName, 23700);
    EXPECT_LT(forName, 29000);
}

TEST_F(StandinClients, ACallStartsNoService)
{
    EXPECT_FALSE(clients::request("getValues", {}).autoStartService());
}

TEST_F(StandinClients, AServiceThatGoesAndComesBackIsTracedOnceEach)
{
    services.vanish();
    answering(usb);
    answering(usb);
    const std::vector<TraceLine> gone = tracedLines();
    forgetTrace();

    services.appear();
    answering(usb);
    answering(usb);

    ASSERT_EQ(gone.size(), 1U);
    EXPECT_EQ(gone[0].module, "zemo");
    EXPECT_EQ(gone[0].level, 4U);
    EXPECT_EQ(gone[0].text.rfind("The platform's services are gone: org.freedesktop.DBus.Error.NameHasNoOwner: ", 0),
              0U)
        << gone[0].text;
    EXPECT_EQ(tracedLines(), (std::vector<TraceLine>{{"zemo", 1, "The platform's services are back"}}));
}

TEST_F(StandinClients, AnOperationThatFailsAndIsAnsweredAgainIsTracedOnceEach)
{
    services.fail(QStringLiteral("getAlarms"));
    answering(usb);
    answering(usb);
    services.recover(QStringLiteral("getAlarms"));
    answering(usb);
    answering(usb);

    EXPECT_EQ(tracedLines(), (std::vector<TraceLine>{
                                 {"zemo", 4, "getAlarms is not answered: org.freedesktop.DBus.Error.Failed: as asked"},
                                 {"zemo", 1, "getAlarms is answered again"}}));
}

TEST_F(StandinClients, AServiceThatComesBackFailingIsBackAllTheSame)
{
    services.vanish();
    EXPECT_EQ(system::SystemClient::instance->getDeviceName(), QString());
    forgetTrace();

    services.fail(QStringLiteral("getDeviceName"));
    services.appear();
    EXPECT_EQ(system::SystemClient::instance->getDeviceName(), QString());

    EXPECT_EQ(tracedLines(),
              (std::vector<TraceLine>{
                  {"zemo", 1, "The platform's services are back"},
                  {"zemo", 4, "getDeviceName is not answered: org.freedesktop.DBus.Error.Failed: as asked"}}));
    services.recover(QStringLiteral("getDeviceName"));
    EXPECT_EQ(system::SystemClient::instance->getDeviceName(), services.deviceName);
}

TEST_F(StandinClients, WhatTheBusDoesNotCarryIsNotAskedAndCostsNoConnection)
{
    constexpr qsizetype most = 31LL * 1024 * 1024;
    data::DataManagementClient& dataManagement = *data::DataManagementClient::instance;
    const size_t before = services.calls().size();
    const QChar ofThreeBytes(0x4E00);

    EXPECT_TRUE(dataManagement.getValues(QList<int>(most / 4 + 1, 1)).isEmpty());
    EXPECT_TRUE(dataManagement.getDefaultLog(QString(most / 3 + 1, ofThreeBytes)).isEmpty());
    EXPECT_FALSE(dataManagement.restoreSettings(QByteArray(most + 1, 'x')));

    EXPECT_EQ(services.calls().size(), before);
    const std::string reason = " is not answered: com.tarn.zemo.platform.Error.NotAsked: too much for one message";
    EXPECT_EQ(tracedLines(), (std::vector<TraceLine>{{"zemo", 4, "getValues" + reason},
                                                     {"zemo", 4, "getDefaultLog" + reason},
                                                     {"zemo", 4, "restoreSettings" + reason}}));
    EXPECT_TRUE(dataManagement.restoreSettings(QByteArray(most, 'x')));
    dataManagement.getValues(QList<int>(most / 4, 1));
    dataManagement.getDefaultLog(QString(most / 3, ofThreeBytes));
    EXPECT_EQ(services.calls().size(), before + 3);
}

TEST_F(StandinClients, WhatWasNotAskedTellsNothingOfTheServices)
{
    services.vanish();
    EXPECT_EQ(system::SystemClient::instance->getDeviceName(), QString());
    forgetTrace();

    data::DataManagementClient::instance->getValues(QList<int>(8LL * 1024 * 1024, 1));
    EXPECT_EQ(system::SystemClient::instance->getDeviceName(), QString());

    EXPECT_EQ(tracedLines(), (std::vector<TraceLine>{{"zemo", 4,
                                                      "getValues is not answered: "
                                                      "com.tarn.zemo.platform.Error.NotAsked: too much for one "
                                                      "message"}}));
}

TEST_F(StandinClients, AnAnswerOfAnotherTypeIsNoAnswer)
{
    for (const QString& operation : operations)
    {
        services.answerOddly(operation, 4.5);
    }

    EXPECT_EQ(answering(usb), lasting);
    EXPECT_EQ(tracedLines().size(), static_cast<size_t>(operations.size()));
}

TEST_F(StandinClients, ColumnsThatDoNotFitTogetherAreNoAnswer)
{
    wire::Values columns = wire::toWire(services.values);
    columns.numbers.clear();
    services.answerOddly(QStringLiteral("getValues"), QVariant::fromValue(columns));

    const QMap<int, data::DataValue> found = data::DataManagementClient::instance->getValues({1});

    EXPECT_TRUE(found.isEmpty());
    EXPECT_EQ(tracedLines(),
              (std::vector<TraceLine>{{"zemo", 4,
                                       "getValues is not answered: org.freedesktop.DBus.Error.InvalidArgs: the columns "
                                       "of the answer don't fit together"}}));
}

TEST_F(StandinClients, AServiceThatDiesOverACallEndsTheWaiting)
{
    services.beSilent(QStringLiteral("getDeviceName"));
    QElapsedTimer timer;
    timer.start();

    std::thread caller([] { EXPECT_TRUE(system::SystemClient::instance->getDeviceName().isEmpty()); });
    const auto asked = [&]
    {
        const auto calls = services.calls();
        return std::count_if(calls.begin(), calls.end(),
                             [](const auto& call) { return call.operation == "getDeviceName"; });
    };
    while (asked() < 2 && timer.elapsed() < deadline)
    {
        std::this_thread::yield();
    }
    services.die();
    caller.join();

    EXPECT_LT(timer.elapsed(), deadline);
}

TEST_F(StandinClients, SignalsOfARestartedServiceArrive)
{
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));
    services.die();
    services.live();

    const bool restoreArrived = waitForRestoreSignal(services);
    // Answered behind the question that the client asks when the service appears, which must not see the new drive.
    const QStringList before = usb.getUsbDrives();
    services.insertDrive(stick);

    EXPECT_TRUE(restoreArrived);
    EXPECT_EQ(before, QStringList("/media/first"));
    EXPECT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{stick}});
}

TEST_F(StandinClients, ASignalOfSomebodyElseIsNotTheServices)
{
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));
    QDBusMessage forged =
        QDBusMessage::createSignal(wire::objectPath, wire::interfaceName, QStringLiteral("driveInserted"));
    forged << QStringLiteral("/media/forged");
    QDBusConnection::systemBus().send(forged);
    // On the same connection as the forged signal, so the bus has passed that on when this is answered.
    EXPECT_EQ(system::SystemClient::instance->getSerial(), services.serial);

    services.insertDrive(stick);

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{stick}});
}

TEST_F(StandinClients, ADriveThatIsPresentAtFirstIsNotReported)
{
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));

    services.insertDrive(stick);

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{stick}});
}

TEST_F(StandinClients, ADriveThatIsPresentWhenTheServiceAppearsLaterIsReported)
{
    services.vanish();
    hardware::UsbClient early(nullptr);
    QSignalSpy inserted(&early, SIGNAL(driveInserted(QString)));
    EXPECT_TRUE(early.getUsbDrives().isEmpty());

    services.appear();

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{QStringLiteral("/media/first")}});
}

TEST_F(StandinClients, WhatChangedWhileTheServiceWasAwayIsReported)
{
    // The client has to know of the first drive; a signal behind its question is also behind the answer.
    ASSERT_TRUE(waitForRestoreSignal(services));
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));
    QSignalSpy removed(&usb, SIGNAL(driveRemoved(QString)));
    services.vanish();
    {
        const std::lock_guard guard(services);
        services.drives = {stick};
    }

    services.appear();

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(removed, QList<QVariantList>{{QStringLiteral("/media/first")}});
    EXPECT_EQ(inserted, QList<QVariantList>{{stick}});
}

TEST_F(StandinClients, ADriveThatStayedWhileTheServiceWasAwayIsNotReportedAgain)
{
    ASSERT_TRUE(waitForRestoreSignal(services));
    QSignalSpy inserted(&usb, SIGNAL(driveInserted(QString)));
    services.vanish();
    {
        const std::lock_guard guard(services);
        services.drives.append(stick);
    }

    services.appear();

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{stick}});
}

TEST_F(StandinClients, ADriveIsFoundAlthoughTheServiceFailedWhenItAppeared)
{
    services.vanish();
    hardware::UsbClient early(nullptr);
    QSignalSpy inserted(&early, SIGNAL(driveInserted(QString)));
    services.fail(QStringLiteral("getUsbDrives"));
    services.appear();
    ASSERT_TRUE(waitForRestoreSignal(services));

    services.recover(QStringLiteral("getUsbDrives"));

    ASSERT_TRUE(waitFor(inserted));
    EXPECT_EQ(inserted, QList<QVariantList>{{QStringLiteral("/media/first")}});
}
