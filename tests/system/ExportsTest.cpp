#include "SystemTest.h"

#include <QDate>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>

namespace
{

const char* const Scenario = R"({
  "serial": "123456", "language": "de_DE",
  "parameters": [
    {"id": 1000, "size": 2, "panel": 12, "unit": "k\u00adW", "aux": 255, "register": 1, "address": 40001,
     "attributes": [-5, 1000, 1], "default": true,
     "name": {"en_GB": "Pump po\u00adwer", "de_DE": "Pum\u00adpen\u00adleistung"}},
    {"id": 7, "type": 1, "register": 2, "address": 30001, "unit": "text", "name": "Station",
     "signal": {"kind": "text", "texts": ["North"]}},
    {"id": 8, "size": 6, "panel": 0, "register": 9, "default": true, "name": "Größe"},
    {"id": 9, "size": 1, "default": true, "name": "No register"},
    {"id": 10, "register": 1, "default": true, "name": "id:10"}
  ],
  "texts": {"59005": {"en_GB": "Name", "de_DE": "Be\u00adnennung"}, "59006": "Register", "59007": "Address",
            "59008": "Aux", "59009": "Unit", "59010": "Size", "59011": "One", "59013": "Three",
            "59014": "Id", "59015": {"en_GB": "Time", "de_DE": "Zeit"}, "59016": "Value"},
  "changeLog": [{"id": 1000, "time": "2024-03-05T14:07:09", "value": -17},
                {"id": 7, "time": "2024-03-05T14:07:08", "value": "a \u00adtext"},
                {"id": 8, "time": "2023-12-31T23:59:59", "value": 4294967295}],
  "alarms": [{"time": "2024-05-05T14:07:09", "number": 4294967295, "name": {"en_GB": "x", "de_DE": "Fil\u00adter"},
              "source": "Pump 1", "extra": [["Pressure", "4.2 bar"], ["", "Größe"]]},
             {"time": "2024-05-04T00:00:00", "number": 0, "name": "Off", "source": ""}]
})";

/// A system whose "sync" only counts.
class ExportsTest : public SystemTest
{
protected:
    ExportsTest()
    {
        rig.setScenario(Scenario);
        rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\necho run >>/var/syncs\n");
    }

    /// The system with a stick in it.
    void startWithStick()
    {
        ASSERT_TRUE(rig.start());
        stick = rig.insertStick();
        ASSERT_TRUE(rig.waitForStick(stick));
    }

    void makeFile(const QString& daemonPath, const QByteArray& content) const
    {
        rig.scratch.writeFile(daemonPath, content);
    }

    qsizetype syncs() const
    {
        return linesOf(rig.scratch.outside("/var/syncs")).size();
    }

    QString stick;
};

QString dated(const QString& prefix, int number, const QString& suffix)
{
    return prefix + QDate::currentDate().toString("yyyyMMdd") + "-123456-" + QString::number(number) + suffix;
}

QStringList everythingIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name);
}

/// The one folder of that tag, whatever its time.
QString timedFolder(const QString& stick, const QString& tag)
{
    const QStringList names = QDir(stick).entryList({tag + "-*"}, QDir::Dirs);
    return names.size() == 1 ? stick + "/" + names.first() : QString();
}

} // namespace

TEST_F(ExportsTest, TheTableOfAllRegistersIsThisFile)
{
    startWithStick();

    const bool result = rig.logd().saveModbusStateToUsb().value();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stick + "/" + dated("modbus_addresses_all_", 1, ".csv")),
              "Be\u00adnennung\tRegister\tAddress\tAux\tUnit\tSize\tOne\t\tThree\t\n"
              "Station\tMODBUS_INPUT_REGISTER\t30001\t0\ttext\t-\t-\t-\t-\n"
              "Größe\tERR_UNKNOWN\t0\t0\t\tUINT32\t0\t0\t0\n"
              "Pumpenleistung\tMODBUS_HOLDING_REGISTER\t40001\t255\tk\u00adW\tINT16\t-5\t1000\t1\n");
    EXPECT_EQ(syncs(), 1);
}

TEST_F(ExportsTest, TheTableOfTheMostUsedRegistersIsThisFile)
{
    startWithStick();

    const bool result = rig.logd().saveModbusMostUsedToUsb().value();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stick + "/" + dated("modbus_addresses_default_", 1, ".csv")),
              "Be\u00adnennung\tRegister\tAddress\tAux\tUnit\tSize\tOne\t\tThree\t\n"
              "Größe\tERR_UNKNOWN\t0\t0\t\tUINT32\t0\t0\t0\n"
              "Pumpenleistung\tMODBUS_HOLDING_REGISTER\t40001\t255\tk\u00adW\tINT16\t-5\t1000\t1\n");
}

TEST_F(ExportsTest, TheChangeLogHasTitlesOfTheCurrentLanguageAndEnglishRows)
{
    startWithStick();

    const bool result = rig.logd().saveChangeLogToUsb("").value();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stick + "/" + dated("changeLog_", 1, ".csv")),
              "Zeit\t\tId\tValue\n"
              "05 March 2024 14:07:09\tPump power\t1000\t-17\t\n"
              "05 March 2024 14:07:08\tStation\t7\ta \u00adtext\t\n"
              "31 December 2023 23:59:59\t-\t8\t4294967295\t\n");
    EXPECT_EQ(syncs(), 1);
}

TEST_F(ExportsTest, TheAlarmLogIsThisFile)
{
    startWithStick();

    const bool result = rig.logd().saveAlarmLogToUsb(10, "").value();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stick + "/" + dated("alarms_", 1, ".txt")),
              "05 May 2024 14:07:09\tFil\u00adter(4294967295)\tPump 1\n"
              "\tPressure: 4.2 bar\n"
              "\t: Größe\n"
              "04 May 2024 00:00:00\tOff(0)\t\n");
    EXPECT_EQ(syncs(), 1);
}

TEST_F(ExportsTest, TheAlarmLogHasAsManyAlarmsAsWereAskedFor)
{
    startWithStick();

    rig.logd().saveAlarmLogToUsb(1, "").waitForFinished();

    EXPECT_EQ(linesOf(stick + "/" + dated("alarms_", 1, ".txt")).size(), 3);
}

TEST_F(ExportsTest, TenThousandChangesAndAThousandAlarmsArriveWhole)
{
    QJsonObject scenario = QJsonDocument::fromJson(Scenario).object();
    QJsonArray changes;
    for (int i = 0; i < 10000; ++i)
    {
        changes.append(QJsonObject{{"id", 1000}, {"value", i}});
    }
    scenario["changeLog"] = changes;
    QJsonArray alarms;
    for (int i = 0; i < 1000; ++i)
    {
        const QJsonArray extra{QJsonArray{"Place", QString::number(i)}};
        alarms.append(QJsonObject{{"number", i}, {"name", "Alarm"}, {"source", "Pump"}, {"extra", extra}});
    }
    scenario["alarms"] = alarms;
    rig.setScenario(QJsonDocument(scenario).toJson());
    startWithStick();

    EXPECT_TRUE(rig.logd().saveChangeLogToUsb("").value());
    EXPECT_TRUE(rig.logd().saveAlarmLogToUsb(1000, "").value());

    const QStringList changeLines = linesOf(stick + "/" + dated("changeLog_", 1, ".csv"));
    ASSERT_EQ(changeLines.size(), 10001);
    EXPECT_EQ(changeLines.last().section('\t', 3, 3), "9999");
    const QStringList alarmLines = linesOf(stick + "/" + dated("alarms_", 1, ".txt"));
    ASSERT_EQ(alarmLines.size(), 2000);
    EXPECT_EQ(alarmLines.last(), "\tPlace: 999");
}

TEST_F(ExportsTest, AFolderMadeOverTheBusTakesTheLogs)
{
    startWithStick();

    const QString folder = rig.logd().createUsbFolder("service_", "deep/down").value();

    EXPECT_EQ(folder, stick + "/deep/down/" + dated("service_", 1, ""));
    EXPECT_EQ(syncs(), 0);
    EXPECT_TRUE(rig.logd().saveChangeLogToUsb("deep/down/" + dated("service_", 1, "")).value());
    EXPECT_TRUE(QFile::exists(folder + "/" + dated("changeLog_", 1, ".csv")));
}

TEST_F(ExportsTest, APathThatLeavesTheStickIsRefusedAndTraced)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().saveChangeLogToUsb("../..").value());
    EXPECT_FALSE(rig.logd().saveAlarmLogToUsb(1, "/var/log").value());
    EXPECT_EQ(rig.logd().createUsbFolder("p_", "..").value(), "");

    const auto refusals = [&]
    { return rig.daemon.summaries("LogDaemon").filter("err LogDaemon: Path should be relative to USB root: ").size(); };
    EXPECT_TRUE(waitUntil([&] { return refusals() == 3; }));
    EXPECT_TRUE(everythingIn(stick).isEmpty());
}

TEST_F(ExportsTest, WithNoStickAllAnswerFalseAtOnceAndNothingIsSynced)
{
    ASSERT_TRUE(rig.start());

    EXPECT_FALSE(rig.logd().saveModbusStateToUsb().value());
    EXPECT_FALSE(rig.logd().saveModbusMostUsedToUsb().value());
    EXPECT_FALSE(rig.logd().saveChangeLogToUsb("").value());
    EXPECT_FALSE(rig.logd().saveAlarmLogToUsb(1, "").value());
    EXPECT_FALSE(rig.logd().saveSysLogToUsb().value());
    EXPECT_FALSE(rig.logd().saveCoreDumpsToUsb().value());
    EXPECT_FALSE(rig.logd().saveInternalLogsToUsbRaw().value());
    EXPECT_EQ(rig.logd().createUsbFolder("p_", "").value(), "");
    EXPECT_EQ(syncs(), 0);
}

TEST_F(ExportsTest, AFailingSyncIsTracedAndChangesNoResult)
{
    rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\nexit 5\n");
    startWithStick();

    EXPECT_TRUE(rig.logd().saveAlarmLogToUsb(1, "").value());
    EXPECT_TRUE(rig.daemon.waitForTrace("Unable to sync to file system (retval=1280)..."));
}

TEST_F(ExportsTest, TheScriptForTheSystemInformationGetsTheMountPath)
{
    makeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" >/var/arguments\nsleep 0.2\n"
                                         "echo done >>/var/arguments\n");
    ASSERT_TRUE(rig.start());
    stick = rig.insertStick("usb1", {{"STORE.SET", "settings"}});
    // Tells that the stick has been taken; the trace comes a little before that.
    ASSERT_TRUE(rig.logdSignals().waitFor("hasSettingsOnUSBChanged"));

    const bool result = rig.logd().saveSysInfoToUsb().value();

    EXPECT_TRUE(result);
    EXPECT_EQ(linesOf(rig.scratch.outside("/var/arguments")), (QStringList{"3", "USB", stick, "sys_info", "done"}));
    EXPECT_EQ(syncs(), 0);
}

TEST_F(ExportsTest, TheScriptsExitCodesHaveTheirWords)
{
    makeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\nread code </var/code\nexit $code\n");
    ASSERT_TRUE(rig.start());
    const QStringList words{"Error removing files in shell script.", "Error copying files in shell script.",
                            "Error compressing files in shell script.", "Unknown error in shell script."};

    makeFile("/var/code", "0\n");
    EXPECT_TRUE(rig.logd().saveSysInfoToUsb().value());
    for (int code = 1; code <= 4; ++code)
    {
        makeFile("/var/code", QByteArray::number(code) + "\n");
        EXPECT_FALSE(rig.logd().saveSysInfoToUsb().value());
        EXPECT_TRUE(rig.daemon.waitForTrace(words[code - 1]));
    }
}

TEST_F(ExportsTest, SystemLogsComeWithTheWholeTreeOfThePlatformsTrace)
{
    makeFile("/var/log/messages", "messages");
    makeFile("/var/log/it's a \"log\"\nof two lines", "odd");
    makeFile("/var/log/apt/history", "not copied");
    makeFile("/var/log/p7zemo/trace", "trace");
    makeFile("/var/log/p7zemo/old/older/trace.9", "oldest");
    const QString log = rig.scratch.outside("/var/log");
    QFile::link("/etc/passwd", log + "/link");
    QFile::link("/etc", log + "/p7zemo/out");
    QFile::link("nowhere", log + "/p7zemo/dangling");
    mkfifo(QFile::encodeName(log + "/pipe").constData(), 0666);
    mkfifo(QFile::encodeName(log + "/p7zemo/pipe").constData(), 0666);
    QDir(log).mkdir("p7zemo/empty");
    startWithStick();

    const bool result = rig.logd().saveSysLogToUsb().value();

    EXPECT_TRUE(result);
    EXPECT_EQ(everythingIn(stick).size(), 2);
    EXPECT_EQ(everythingIn(timedFolder(stick, "syslog")), (QStringList{"it's a \"log\"\nof two lines", "messages"}));
    const QString tree = timedFolder(stick, "p7zemo");
    EXPECT_EQ(everythingIn(tree), (QStringList{"empty", "old", "trace"}));
    EXPECT_EQ(contentOf(tree + "/old/older/trace.9"), "oldest");
    EXPECT_EQ(syncs(), 2);
}

TEST_F(ExportsTest, AFileThatTheDaemonMayNotReadIsMissingFromTheCopyAndTheAnswerIsFalse)
{
    REQUIRE_BUBBLEWRAP(); // proot lets a privileged user read everything
    makeFile("/var/zemo/crash/core.1", "one");
    makeFile("/var/zemo/crash/core.2", "two");
    chmod(QFile::encodeName(rig.scratch.outside("/var/zemo/crash/core.1")).constData(), 0);
    startWithStick();

    const bool result = rig.logd().saveCoreDumpsToUsb().value();

    EXPECT_FALSE(result);
    EXPECT_EQ(everythingIn(timedFolder(stick, "crash")), QStringList{"core.2"});
    EXPECT_EQ(syncs(), 1);
}

TEST_F(ExportsTest, RawLogsAreTheFilesOfTheConfiguredFolder)
{
    rig.setConfiguration("[internal]\npath=/var/mylogs\n");
    makeFile("/var/mylogs/123456-1.blf", QByteArray("\0\1\2", 3));
    startWithStick();

    const bool result = rig.logd().saveInternalLogsToUsbRaw().value();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(timedFolder(stick, "rawlogs") + "/123456-1.blf"), QByteArray("\0\1\2", 3));
    EXPECT_EQ(syncs(), 1);
}

TEST_F(ExportsTest, AStickThatFillsUpIsToldByTheCopiesAndTheTablesButNotByTheAlarmLog)
{
    REQUIRE_BUBBLEWRAP();
    QJsonObject scenario = QJsonDocument::fromJson(Scenario).object();
    QJsonArray changes;
    for (int i = 0; i < 10000; ++i)
    {
        changes.append(QJsonObject{{"id", 1000}, {"value", i}});
    }
    scenario["changeLog"] = changes;
    rig.setScenario(QJsonDocument(scenario).toJson());
    makeFile("/var/zemo/crash/big", QByteArray(200000, 'x'));
    makeFile("/var/zemo/crash/small", "small");
    const QString path = rig.daemon.addSizedStick("full", 65536);
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.platform.insertDrive(path));
    ASSERT_TRUE(rig.waitForStick(path));
    const QString seen = rig.daemon.seen(path);

    EXPECT_FALSE(rig.logd().saveCoreDumpsToUsb().value());
    EXPECT_EQ(contentOf(timedFolder(seen, "crash") + "/small"), "small");
    EXPECT_EQ(everythingIn(timedFolder(seen, "crash")), QStringList{"small"});
    EXPECT_FALSE(rig.logd().saveChangeLogToUsb("").value());
    EXPECT_TRUE(rig.logd().saveAlarmLogToUsb(10, "").value());
    const QFileInfo alarms(seen + "/" + dated("alarms_", 1, ".txt"));
    EXPECT_TRUE(alarms.isFile() && alarms.size() == 0);
    EXPECT_TRUE(rig.daemon.isRunning());
}
