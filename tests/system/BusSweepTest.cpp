#include "SystemTest.h"

#include <QDate>
#include <QDir>
#include <QXmlStreamReader>

#include <algorithm>

namespace
{

/// The names of all elements of that kind in the description of the interface.
QStringList namesInXml(const QString& element)
{
    QFile file(QStringLiteral(ZEMO_INTERFACE));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QStringList names;
    while (!xml.atEnd())
    {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == element)
        {
            names.append(xml.attributes().value("name").toString());
        }
    }
    EXPECT_FALSE(xml.hasError());
    names.sort();
    return names;
}

/// What a method's caller has in hand: the running system, and the stick in it if there is one.
struct Call
{
    Rig& rig;
    QString stick;

    LogDaemonProxy& logd() const
    {
        return rig.logd();
    }
};

/// The method at work, and the method where it can't do anything. Both answer whether the answer was the right one.
struct MethodCase
{
    const char* name;
    std::function<bool(const Call&)> works;
    std::function<bool(const Call&)> refuses;
};

// Recent enough to be kept.
const QDate energyDay = QDate::currentDate().addDays(-1);
const auto energyYear = static_cast<ushort>(energyDay.year());
const auto energyMonth = static_cast<uchar>(energyDay.month());
const auto energyDayOfMonth = static_cast<uchar>(energyDay.day());

zemo::data::EnergyLogEntry energyEntry()
{
    return {energyYear, energyMonth, energyDayOfMonth, 14, {17, -4}};
}

QList<zemo::data::EnergyLogEntry> energyHours(LogDaemonProxy& logd)
{
    return logd
        .getEnergyLogHourly(energyYear, energyMonth, energyDayOfMonth, 0, energyYear, energyMonth, energyDayOfMonth, 23)
        .value();
}

bool endsWith(const Call& call, const QString& signal, bool outcome)
{
    SignalLog& received = call.rig.logdSignals();
    return received.waitFor(signal) && received.lastArguments(signal).value(0).toBool() == outcome;
}

/// Starts an export as soon as the guard of the last one is free, and waits for it.
bool exportsPower(const Call& call, const std::function<QDBusPendingReply<bool>()>& method)
{
    call.rig.logdSignals().clear();
    return waitUntil([&] { return method().value(); }) && endsWith(call, "PowerLogExportCompleted", true);
}

/// The method while another export is held up.
bool isRefusedByTheGuard(const Call& call, const std::function<QDBusPendingReply<bool>()>& method)
{
    call.rig.logdSignals().clear();
    bool ok = call.rig.platform.setDelay("getTexts", std::chrono::seconds(1));
    ok = waitUntil([&] { return call.logd().PowerLogExportHourlyToUsb("en_GB").value(); }) && ok;
    ok = !method().value() && ok;
    return endsWith(call, "PowerLogExportCompleted", false) && ok;
}

QList<MethodCase> methodCases()
{
    return {
        {"startLogUsb",
         // The stick is traced just before it is taken.
         [](const Call& c) { return waitUntil([&] { return c.logd().startLogUsb(1, false, "default").value(); }); },
         [](const Call& c) { return !c.logd().startLogUsb(1, false, "default").value(); }},
        {"isUsbLogActive",
         [](const Call& c)
         { return c.logd().startLogUsb(1, false, "default").value() && c.logd().isUsbLogActive().value(); },
         [](const Call& c) { return !c.logd().isUsbLogActive().value(); }},
        {"stopLogUsb",
         [](const Call& c)
         {
             return c.logd().startLogUsb(1, false, "default").value() && c.logd().stopLogUsb().value() &&
                    !c.logd().isUsbLogActive().value();
         },
         // True in every case: with nothing to stop it raises nothing.
         [](const Call& c)
         {
             const bool result = c.logd().stopLogUsb().value();
             c.rig.settle();
             return result && c.rig.logdSignals().count("usbLogStopped") == 0;
         }},
        {"getLogParameters", [](const Call& c) { return c.logd().getLogParameters().value() == QStringList{"Pump"}; },
         [](const Call& c) { return c.logd().getLogParameters().value().isEmpty(); }},
        {"configureCustomLogUsb",
         [](const Call& c)
         {
             return c.logd().configureCustomLogUsb(3, "mine_", {1}).value() &&
                    c.logd().startCustomLogUsb(3, 1, false).value() && c.logd().stopCustomLogUsb(3).value();
         },
         // True in every case, and no use without a drive.
         [](const Call& c) {
             return c.logd().configureCustomLogUsb(3, "mine_", {}).value() &&
                    !c.logd().startCustomLogUsb(3, 1, false).value();
         }},
        {"startCustomLogUsb",
         [](const Call& c) {
             return c.logd().configureCustomLogUsb(4, "mine_", {1}).value() &&
                    c.logd().startCustomLogUsb(4, 1, false).value();
         },
         [](const Call& c) { return !c.logd().startCustomLogUsb(99, 1, false).value(); }},
        {"stopCustomLogUsb",
         [](const Call& c)
         {
             return c.logd().configureCustomLogUsb(5, "mine_", {1}).value() &&
                    c.logd().startCustomLogUsb(5, 1, false).value() && c.logd().stopCustomLogUsb(5).value() &&
                    !c.logd().isCustomUsbLogActive(5).value();
         },
         // True in every case, as above.
         [](const Call& c)
         {
             const bool result = c.logd().stopCustomLogUsb(99).value();
             c.rig.settle();
             return result && c.rig.logdSignals().count("customUsbLogStopped") == 0;
         }},
        {"isCustomUsbLogActive",
         [](const Call& c)
         {
             return c.logd().configureCustomLogUsb(6, "mine_", {1}).value() &&
                    c.logd().startCustomLogUsb(6, 1, false).value() && c.logd().isCustomUsbLogActive(6).value();
         },
         [](const Call& c) { return !c.logd().isCustomUsbLogActive(99).value(); }},
        {"getCustomUsbLogParameters",
         [](const Call& c)
         {
             return c.logd().configureCustomLogUsb(7, "mine_", {1}).value() &&
                    c.logd().startCustomLogUsb(7, 1, false).value() &&
                    c.logd().getCustomUsbLogParameters(7).value() == QStringList{"Pump"};
         },
         [](const Call& c) { return c.logd().getCustomUsbLogParameters(99).value().isEmpty(); }},
        {"saveRamLogToUsb", [](const Call& c) { return c.logd().saveRamLogToUsb("").value(); },
         [](const Call& c) { return !c.logd().saveRamLogToUsb("").value(); }},
        {"saveInternalLogToUsb",
         [](const Call& c)
         {
             const uint id = c.logd().saveRamLogToInternalMem().value();
             return c.logd().saveInternalLogToUsb(id, "").value();
         },
         [](const Call& c) { return !c.logd().saveInternalLogToUsb(0, "").value(); }},
        {"saveRamLogToInternalMem",
         [](const Call& c)
         {
             // The first log of all has the id 0, which tells nothing.
             const uint first = c.logd().saveRamLogToInternalMem().value();
             return c.logd().saveRamLogToInternalMem().value() == first + 1;
         },
         [](const Call& c)
         {
             QDir(c.rig.scratch.outside("/var/zemo/var/log/zemologd")).removeRecursively();
             return c.logd().saveRamLogToInternalMem().value() == 0;
         }},
        {"removeLogFromInternalMem",
         [](const Call& c)
         {
             const uint id = c.logd().saveRamLogToInternalMem().value();
             const QString file = QString("/var/zemo/var/log/zemologd/123456-%1.blf").arg(id + 1);
             const bool existed = QFile::exists(c.rig.scratch.outside(file));
             return existed && c.logd().removeLogFromInternalMem(id).value() &&
                    !QFile::exists(c.rig.scratch.outside(file));
         },
         [](const Call& c)
         {
             QDir().mkpath(c.rig.scratch.outside("/var/zemo/var/log/zemologd/123456-18.blf/in-the-way"));
             return !c.logd().removeLogFromInternalMem(17).value();
         }},
        {"saveInternalLogsToUsbRaw", [](const Call& c) { return c.logd().saveInternalLogsToUsbRaw().value(); },
         [](const Call& c) { return !c.logd().saveInternalLogsToUsbRaw().value(); }},
        {"saveModbusStateToUsb", [](const Call& c) { return c.logd().saveModbusStateToUsb().value(); },
         [](const Call& c) { return !c.logd().saveModbusStateToUsb().value(); }},
        {"saveModbusMostUsedToUsb", [](const Call& c) { return c.logd().saveModbusMostUsedToUsb().value(); },
         [](const Call& c) { return !c.logd().saveModbusMostUsedToUsb().value(); }},
        {"saveSysLogToUsb",
         [](const Call& c)
         {
             QDir().mkpath(c.rig.scratch.outside("/var/log/p7zemo"));
             return c.logd().saveSysLogToUsb().value();
         },
         [](const Call& c) { return !c.logd().saveSysLogToUsb().value(); }},
        {"saveSysInfoToUsb",
         [](const Call& c)
         {
             c.rig.scratch.writeFile("/var/code", "0\n");
             return c.logd().saveSysInfoToUsb().value();
         },
         [](const Call& c)
         {
             c.rig.scratch.writeFile("/var/code", "1\n");
             return !c.logd().saveSysInfoToUsb().value();
         }},
        {"saveCoreDumpsToUsb", [](const Call& c) { return c.logd().saveCoreDumpsToUsb().value(); },
         [](const Call& c) { return !c.logd().saveCoreDumpsToUsb().value(); }},
        {"saveChangeLogToUsb", [](const Call& c) { return c.logd().saveChangeLogToUsb("").value(); },
         [](const Call& c) { return !c.logd().saveChangeLogToUsb("").value(); }},
        {"saveAlarmLogToUsb", [](const Call& c) { return c.logd().saveAlarmLogToUsb(10, "").value(); },
         [](const Call& c) { return !c.logd().saveAlarmLogToUsb(10, "").value(); }},
        {"saveSettingsToUSB",
         [](const Call& c)
         { return c.logd().saveSettingsToUSB(0).value() && endsWith(c, "saveSettingsFinished", true); },
         [](const Call& c) { return !c.logd().saveSettingsToUSB(0).value(); }},
        {"restoreSettingsFromUSB",
         [](const Call& c)
         { return c.logd().restoreSettingsFromUSB().value() && endsWith(c, "restoreSettingsFinished", true); },
         [](const Call& c) { return !c.logd().restoreSettingsFromUSB().value(); }},
        {"hasSettingsOnUSB",
         [](const Call& c)
         { return endsWith(c, "hasSettingsOnUSBChanged", true) && c.logd().hasSettingsOnUSB().value(); },
         [](const Call& c) { return !c.logd().hasSettingsOnUSB().value(); }},
        {"createUsbFolder",
         [](const Call& c) { return c.logd().createUsbFolder("folder_", "").value().startsWith(c.stick + "/folder_"); },
         [](const Call& c) { return c.logd().createUsbFolder("folder_", "").value().isEmpty(); }},
        {"initEnergyLog", [](const Call& c) { return c.logd().initEnergyLog(2, -1).value(); },
         [](const Call& c) { return !c.logd().initEnergyLog(0, -1).value(); }},
        {"addEnergyLogHourlyEntry",
         [](const Call& c) { return c.logd().addEnergyLogHourlyEntry(energyEntry()).value(); },
         [](const Call& c) { return !c.logd().addEnergyLogHourlyEntry(energyEntry()).value(); }},
        {"addEnergyLogHourlyEntries",
         [](const Call& c) { return c.logd().addEnergyLogHourlyEntries({energyEntry()}).value(); },
         [](const Call& c) { return !c.logd().addEnergyLogHourlyEntries({energyEntry()}).value(); }},
        {"addEnergyLogMonthlyEntry",
         [](const Call& c) { return c.logd().addEnergyLogMonthlyEntry(energyEntry()).value(); },
         [](const Call& c) { return !c.logd().addEnergyLogMonthlyEntry(energyEntry()).value(); }},
        {"summarizeEnergyLogMonth",
         [](const Call& c) {
             return c.logd().summarizeEnergyLogMonth(energyYear, energyMonth, {false, true}).value();
         },
         [](const Call& c) {
             return !c.logd().summarizeEnergyLogMonth(energyYear, energyMonth, {false, true}).value();
         }},
        {"getEnergyLogHourly",
         [](const Call& c)
         {
             const auto entries = energyHours(c.logd());
             return entries.size() == 1 && entries[0].values() == QList<int>{17, -4};
         },
         [](const Call& c) { return energyHours(c.logd()).isEmpty(); }},
        {"getEnergyLogMonthly",
         [](const Call& c) { return c.logd().getEnergyLogMonthly(energyYear, 1, energyYear, 12).value().size() == 1; },
         [](const Call& c) { return c.logd().getEnergyLogMonthly(energyYear, 1, energyYear, 12).value().isEmpty(); }},
        {"exportEnergyLogToUsb",
         [](const Call& c)
         {
             return c.logd()
                        .exportEnergyLogToUsb({"A", "B"}, QByteArray(2, '\0'), energyYear, 1, energyYear, 12)
                        .value() &&
                    endsWith(c, "energyLogExportCompleted", true);
         },
         [](const Call& c) { return !c.logd().exportEnergyLogToUsb({}, {}, energyYear, 1, energyYear, 12).value(); }},
        {"PowerLogExportToUsb",
         [](const Call& c) { return exportsPower(c, [&] { return c.logd().PowerLogExportToUsb("en_GB"); }); },
         [](const Call& c) { return isRefusedByTheGuard(c, [&] { return c.logd().PowerLogExportToUsb("en_GB"); }); }},
        {"PowerLogExportHourlyToUsb",
         [](const Call& c) { return exportsPower(c, [&] { return c.logd().PowerLogExportHourlyToUsb("en_GB"); }); },
         [](const Call& c)
         { return isRefusedByTheGuard(c, [&] { return c.logd().PowerLogExportHourlyToUsb("en_GB"); }); }},
        {"PowerLogExportQuarterlyToUsb",
         [](const Call& c) { return exportsPower(c, [&] { return c.logd().PowerLogExportQuarterlyToUsb("en_GB"); }); },
         [](const Call& c)
         { return isRefusedByTheGuard(c, [&] { return c.logd().PowerLogExportQuarterlyToUsb("en_GB"); }); }},
        {"PowerLogExportForPeriodToUsb",
         [](const Call& c)
         { return exportsPower(c, [&] { return c.logd().PowerLogExportForPeriodToUsb("en_GB", 1, 2); }); },
         [](const Call& c) { return !c.logd().PowerLogExportForPeriodToUsb("en_GB", 2, 1).value(); }},
        {"PowerLogExportHourlyForPeriodToUsb",
         [](const Call& c)
         { return exportsPower(c, [&] { return c.logd().PowerLogExportHourlyForPeriodToUsb("en_GB", 1, 2); }); },
         [](const Call& c) { return !c.logd().PowerLogExportHourlyForPeriodToUsb("en_GB", 2, 1).value(); }},
        {"PowerLogExportQuarterlyForPeriodToUsb",
         [](const Call& c)
         { return exportsPower(c, [&] { return c.logd().PowerLogExportQuarterlyForPeriodToUsb("en_GB", 1, 2); }); },
         [](const Call& c) { return !c.logd().PowerLogExportQuarterlyForPeriodToUsb("en_GB", 2, 1).value(); }},
    };
}

class BusSweepTest : public SystemTest
{
protected:
    BusSweepTest()
    {
        rig.setScenario(R"({"serial": "123456", "settings": "c2V0dGluZ3M=", "texts": {"59023": "Date"},
                            "parameters": [{"id": 1, "name": "Pump", "default": true, "register": 1}]})");
        rig.setConfiguration("[usb]\nfuture=60\n");
        rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\n");
        rig.scratch.writeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\nread code </var/code\nexit $code\n");
    }
};

} // namespace

TEST(BusSweep, EveryMethodOfTheInterfaceHasItsCase)
{
    QStringList names;
    for (const MethodCase& method : methodCases())
    {
        names.append(method.name);
    }
    names.sort();

    EXPECT_EQ(names, namesInXml("method"));
    EXPECT_EQ(names.size(), 39);
}

TEST_F(BusSweepTest, EveryMethodSucceedsWhereItCanAndEverySignalIsSeen)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    QStringList seen = rig.logdSignals().names();

    for (const MethodCase& method : methodCases())
    {
        // Some clear the list while they work.
        seen += rig.logdSignals().names();
        EXPECT_TRUE(method.works({rig, stick})) << method.name;
    }

    rig.settle();
    seen += rig.logdSignals().names();
    seen.removeDuplicates();
    seen.sort();
    EXPECT_EQ(seen, namesInXml("signal"));
    EXPECT_EQ(seen.size(), 17);
    EXPECT_TRUE(rig.daemon.isRunning());
}

TEST_F(BusSweepTest, EveryMethodRefusesWhereItCannot)
{
    ASSERT_TRUE(rig.startBus());
    ASSERT_TRUE(rig.startPlatform());
    ASSERT_TRUE(rig.platform.setDefaultLog({}));
    ASSERT_TRUE(rig.startDaemon());

    for (const MethodCase& method : methodCases())
    {
        EXPECT_TRUE(method.refuses({rig, QString()})) << method.name;
    }

    EXPECT_TRUE(rig.daemon.isRunning());
}
