#include "SystemTest.h"

#include <QCryptographicHash>
#include <QDate>
#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

const QByteArray Blob("settings\0with\nevery\xff kind of byte", 34);

QByteArray digestOf(const QByteArray& payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha1).toHex();
}

QByteArray settingsFile(const QByteArray& payload, const QDate& date = QDate::currentDate())
{
    return "[ZEMOSET;" + date.toString("yyyyMMdd").toLatin1() + ";Pump station 7;" + digestOf(payload) + "]\n" +
           payload;
}

QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

class Settings : public SystemTest
{
protected:
    // With the stick in from the start, so that the first call finds it.
    QString startWithStick(const QByteArray& settings = Blob, const QMap<QString, QByteArray>& files = {},
                           const QByteArray& more = "")
    {
        const QString stick = rig.scratch.makeStick("usb1");
        for (auto file = files.begin(); file != files.end(); ++file)
        {
            rig.scratch.writeFile(stick + "/" + file.key(), file.value());
        }
        start(settings, R"(, "drives": [")" + stick.toUtf8() + "\"]" + more);
        return stick;
    }
    void start(const QByteArray& settings, const QByteArray& more = "")
    {
        rig.setScenario(R"({"serial": "123456", "deviceName": "Pump station 7", "parameters": [], "settings": ")" +
                        settings.toBase64() + "\"" + more + "}");
        ASSERT_TRUE(rig.start());
    }
    // The signals of save and restore so far, with their argument.
    QStringList signalsSoFar()
    {
        rig.settle();
        QStringList list;
        for (const BusSignal& signal : rig.logdSignals().all())
        {
            if (signal.name.contains("Settings"))
            {
                list << signal.name + (signal.arguments.isEmpty() ? "" : signal.arguments[0].toBool() ? " 1" : " 0");
            }
        }
        return list;
    }
    bool waitForSignal(const QString& name, qsizetype count = 1)
    {
        return rig.logdSignals().waitFor(name, count);
    }
    QStringList errors()
    {
        QStringList list;
        for (const TraceLine& line : rig.daemon.trace())
        {
            if (line.module == "SettingsManager" && line.level == "err")
            {
                list << line.text;
            }
        }
        return list;
    }
};

} // namespace

TEST_F(Settings, ASaveOverTheBusWritesTheFileByteForByteAndTellsEachStep)
{
    const QString stick = startWithStick();

    EXPECT_TRUE(rig.logd().saveSettingsToUSB(7));
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged"));

    EXPECT_EQ(contentOf(stick + "/STORE.SET"), settingsFile(Blob));
    EXPECT_EQ(namesIn(stick), QStringList("STORE.SET"));
    EXPECT_EQ(signalsSoFar(),
              QStringList({"saveSettingsStarted", "saveSettingsFinished 1", "hasSettingsOnUSBChanged 1"}));
    EXPECT_TRUE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, ASecondSaveKeepsTheFirstAsTheOldGenerationAndRaisesNoChange)
{
    const QString stick = startWithStick();
    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged"));
    rig.logdSignals().clear();

    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 1"}));
    EXPECT_EQ(namesIn(stick), QStringList({"STORE.SET", "STORE.SET.OLD"}));
}

TEST_F(Settings, TwoRequestsInARowAreServedOneAfterTheOther)
{
    const QString stick = startWithStick();

    rig.logd().saveSettingsToUSB(0);
    rig.logd().restoreSettingsFromUSB();
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 1", "hasSettingsOnUSBChanged 1",
                                           "restoreSettingsStarted", "restoreSettingsFinished 1"}));
}

TEST_F(Settings, WithoutADriveBothRequestsAreRefusedWithoutASignal)
{
    start(Blob);

    EXPECT_FALSE(rig.logd().saveSettingsToUSB(0));
    EXPECT_FALSE(rig.logd().restoreSettingsFromUSB());

    EXPECT_EQ(signalsSoFar(), QStringList());
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, ARestoreHandsTheFilesPayloadToTheService)
{
    startWithStick("present settings", {{"STORE.SET", settingsFile(Blob, QDate(2020, 2, 29))}});

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"restoreSettingsStarted", "restoreSettingsFinished 1"}));
    EXPECT_EQ(rig.platform.callCount("restoreSettings"), 1u);
    EXPECT_EQ(errors(), QStringList());
}

TEST_F(Settings, RestoredSettingsAreThoseThatTheNextSaveWrites)
{
    const QString stick = startWithStick("present settings", {{"STORE.SET", settingsFile(Blob)}});
    rig.logd().restoreSettingsFromUSB();
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(contentOf(stick + "/STORE.SET"), settingsFile(Blob));
}

TEST_F(Settings, AServiceThatRefusesReportsTheRestoreItself)
{
    startWithStick(Blob, {{"STORE.SET", settingsFile(Blob)}}, R"(, "acceptRestore": false)");

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"restoreSettingsStarted", "restoreSettingsFinished 0"}));
    EXPECT_EQ(errors(), QStringList());
}

TEST_F(Settings, ADamagedFileIsReportedByTheDaemonAndTheServiceNeverHearsOfIt)
{
    startWithStick(Blob, {{"STORE.SET", settingsFile(Blob).chopped(1)}});

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"restoreSettingsStarted", "restoreSettingsFinished 0"}));
    ASSERT_TRUE(rig.daemon.waitForTrace("data integrity check failed"));
    EXPECT_EQ(errors(), QStringList("Error data integrity check failed"));
    EXPECT_EQ(rig.platform.callCount("restoreSettings"), 0u);
}

TEST_F(Settings, ARestoreIsTakenWithoutALookAtTheFileAndFailsLater)
{
    const QString stick = startWithStick();

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"restoreSettingsStarted", "restoreSettingsFinished 0"}));
    EXPECT_TRUE(rig.daemon.waitForTrace("Settings: Restore failed - unable to open file: " + stick + "/STORE.SET"));
}

TEST_F(Settings, AServiceWithoutSettingsFailsTheSave)
{
    const QString stick = startWithStick("");

    EXPECT_TRUE(rig.logd().saveSettingsToUSB(0));
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 0"}));
    EXPECT_EQ(namesIn(stick), QStringList());
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, AFailingServiceFailsTheSave)
{
    startWithStick();
    ASSERT_TRUE(rig.platform.setFailure("saveSettings", true));

    EXPECT_TRUE(rig.logd().saveSettingsToUSB(0));
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 0"}));
    EXPECT_TRUE(rig.daemon.waitForTrace("DataManagementClient::saveSettings failed"));
}

TEST_F(Settings, AStickThatGoesBetweenRequestAndWorkFailsTheSave)
{
    const QString stick = startWithStick();
    ASSERT_TRUE(rig.platform.setDelay("saveSettings", std::chrono::milliseconds(500)));

    EXPECT_TRUE(rig.logd().saveSettingsToUSB(0));
    ASSERT_TRUE(waitForSignal("saveSettingsStarted"));
    ASSERT_TRUE(QDir(stick).removeRecursively());
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 0"}));
    EXPECT_EQ(errors(), QStringList("Save failed - unable to open file"));
}

TEST_F(Settings, AStickWithSettingsRaisesTheFlagWhenItComesAndDropsItWhenItGoes)
{
    start(Blob);
    const QString stick = rig.insertStick("usb1", {{"STORE.SET", "anything"}});
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged"));
    EXPECT_TRUE(rig.logd().hasSettingsOnUSB());

    rig.platform.removeDrive(stick);
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged", 2));

    EXPECT_EQ(signalsSoFar(), QStringList({"hasSettingsOnUSBChanged 1", "hasSettingsOnUSBChanged 0"}));
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, AStickWithoutSettingsOrWithTheNameInOtherLettersLeavesTheFlagAlone)
{
    startWithStick(Blob, {{"store.set", "anything"}, {"STORE.SET.OLD", "anything"}});

    EXPECT_EQ(signalsSoFar(), QStringList());
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, AFileRemovedBesidesTheDaemonStaysReportedUntilTheDriveGoes)
{
    start(Blob);
    const QString stick = rig.insertStick("usb1", {{"STORE.SET", "anything"}});
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged"));

    ASSERT_TRUE(QFile::remove(stick + "/STORE.SET"));
    rig.logd().restoreSettingsFromUSB();
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));
    EXPECT_TRUE(rig.logd().hasSettingsOnUSB());
    rig.platform.removeDrive(stick);

    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged", 2));
    EXPECT_FALSE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, AFailedSaveMovesNoFlag)
{
    startWithStick("", {{"STORE.SET", "anything"}});

    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 0"}));
    EXPECT_TRUE(rig.logd().hasSettingsOnUSB());
}

TEST_F(Settings, AFullStickFailsTheSaveAndKeepsThePreviousFile)
{
    REQUIRE_BUBBLEWRAP();
    constexpr qint64 StickBytes = 64 * 1024;
    const QString stick = rig.daemon.addSizedStick("small", StickBytes);
    start(QByteArray(StickBytes / 2, 's'), R"(, "drives": [")" + stick.toUtf8() + "\"]");
    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("hasSettingsOnUSBChanged"));
    const QByteArray before = contentOf(rig.daemon.seen(stick) + "/STORE.SET");
    ASSERT_FALSE(before.isEmpty());
    rig.logdSignals().clear();

    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(signalsSoFar(), QStringList({"saveSettingsStarted", "saveSettingsFinished 0"}));
    EXPECT_EQ(contentOf(rig.daemon.seen(stick) + "/STORE.SET"), before);
    EXPECT_EQ(namesIn(rig.daemon.seen(stick)), QStringList("STORE.SET"));
    EXPECT_EQ(errors(), QStringList("Save failed - not enough space"));
}

TEST_F(Settings, APipeInThePlaceOfTheFileHangsNeitherRestoreNorBus)
{
    const QString stick = startWithStick();
    ASSERT_EQ(mkfifo(QFile::encodeName(stick + "/STORE.SET").constData(), 0600), 0);

    rig.logd().restoreSettingsFromUSB();
    ASSERT_TRUE(waitForSignal("restoreSettingsFinished"));
    rig.logd().saveSettingsToUSB(0);
    ASSERT_TRUE(waitForSignal("saveSettingsFinished"));

    EXPECT_EQ(contentOf(stick + "/STORE.SET"), settingsFile(Blob));
}
