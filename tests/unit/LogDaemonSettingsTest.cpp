#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonInspector.h"
#include "settings/SettingsManager.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace
{

class LogDaemonSettings : public testing::Test
{
protected:
    LogDaemonSettings()
    {
        setDefaults(logConfig());
    }

    void putSettingsFile()
    {
        QFile file(stick.filePath("STORE.SET"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    FakePlatform platform;
    QTemporaryDir stick;
    LogDaemon daemon{nullptr};
    LogDaemonInspector inspector{daemon};
};

} // namespace

TEST_F(LogDaemonSettings, WithoutADriveASaveIsRefusedAndRaisesNothing)
{
    QSignalSpy asked(&daemon, &LogDaemon::saveSettings);
    QSignalSpy started(&daemon, &LogDaemon::saveSettingsStarted);
    QSignalSpy finished(&daemon, &LogDaemon::saveSettingsFinished);

    EXPECT_FALSE(daemon.saveSettingsToUSB(3));

    QCoreApplication::processEvents();
    EXPECT_EQ(asked.count() + started.count() + finished.count(), 0);
}

TEST_F(LogDaemonSettings, WithoutADriveARestoreIsRefusedAndRaisesNothing)
{
    QSignalSpy asked(&daemon, &LogDaemon::restoreSettings);
    QSignalSpy started(&daemon, &LogDaemon::restoreSettingsStarted);
    QSignalSpy finished(&daemon, &LogDaemon::restoreSettingsFinished);

    EXPECT_FALSE(daemon.restoreSettingsFromUSB());

    QCoreApplication::processEvents();
    EXPECT_EQ(asked.count() + started.count() + finished.count(), 0);
}

TEST_F(LogDaemonSettings, ASaveIsAskedForWithThePathOnTheDriveAndTheType)
{
    platform.insertDrive(stick.path());
    QSignalSpy asked(&daemon, &LogDaemon::saveSettings);

    EXPECT_TRUE(daemon.saveSettingsToUSB(4000000001U));

    ASSERT_EQ(asked.count(), 1);
    EXPECT_EQ(asked[0][0].toString(), stick.path() + "/STORE.SET");
    EXPECT_EQ(asked[0][1].toUInt(), 4000000001U);
}

TEST_F(LogDaemonSettings, ARestoreIsAskedForEvenIfThereIsNoFile)
{
    platform.insertDrive(stick.path());
    QSignalSpy asked(&daemon, &LogDaemon::restoreSettings);

    EXPECT_TRUE(daemon.restoreSettingsFromUSB());

    ASSERT_EQ(asked.count(), 1);
    EXPECT_EQ(asked[0][0].toString(), stick.path() + "/STORE.SET");
}

TEST_F(LogDaemonSettings, TheMutexIsHeldWhileASaveOrARestoreIsAskedFor)
{
    platform.insertDrive(stick.path());
    QList<bool> free;
    const auto look = [&] { free.append(inspector.isStateMutexFree()); };
    QObject::connect(&daemon, &LogDaemon::saveSettings, &daemon, look, Qt::DirectConnection);
    QObject::connect(&daemon, &LogDaemon::restoreSettings, &daemon, look, Qt::DirectConnection);

    daemon.saveSettingsToUSB(1);
    daemon.restoreSettingsFromUSB();

    EXPECT_EQ(free, QList<bool>({false, false}));
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(LogDaemonSettings, TheSaveRunsOnlyAfterTheCallHasReturned)
{
    platform.insertDrive(stick.path());
    platform.settings = "blob";

    daemon.saveSettingsToUSB(1);

    EXPECT_EQ(platform.callCount("saveSettings"), 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(platform.callCount("saveSettings"), 1);
}

TEST_F(LogDaemonSettings, TheRestoreRunsOnlyAfterTheCallHasReturned)
{
    platform.insertDrive(stick.path());
    QSignalSpy finished(&daemon, &LogDaemon::restoreSettingsFinished);

    daemon.restoreSettingsFromUSB();

    EXPECT_EQ(finished.count(), 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(finished.count(), 1); // there is no file
}

TEST_F(LogDaemonSettings, TheSignalsOfTheManagerAreRelayed)
{
    QStringList raised;
    QObject::connect(&daemon, &LogDaemon::saveSettingsStarted, &daemon, [&] { raised.append("save started"); });
    QObject::connect(&daemon, &LogDaemon::saveSettingsFinished, &daemon,
                     [&](bool ok) { raised.append(QStringLiteral("save finished %1").arg(ok)); });
    QObject::connect(&daemon, &LogDaemon::restoreSettingsStarted, &daemon, [&] { raised.append("restore started"); });
    QObject::connect(&daemon, &LogDaemon::restoreSettingsFinished, &daemon,
                     [&](bool ok) { raised.append(QStringLiteral("restore finished %1").arg(ok)); });

    emit inspector.settingsManager()->saveSettingsStarted();
    emit inspector.settingsManager()->saveSettingsFinished(false);
    emit inspector.settingsManager()->restoreSettingsStarted();
    emit inspector.settingsManager()->restoreSettingsFinished(true);

    EXPECT_EQ(raised, QStringList({"save started", "save finished 0", "restore started", "restore finished 1"}));
}

TEST_F(LogDaemonSettings, NoFileIsKnownAtTheStart)
{
    EXPECT_FALSE(daemon.hasSettingsOnUSB());
}

TEST_F(LogDaemonSettings, ADriveWithAFileRaisesTheChangeOnce)
{
    putSettingsFile();
    QSignalSpy changed(&daemon, &LogDaemon::hasSettingsOnUSBChanged);

    platform.insertDrive(stick.path());
    platform.insertDrive(stick.path());

    EXPECT_TRUE(daemon.hasSettingsOnUSB());
    ASSERT_EQ(changed.count(), 1);
    EXPECT_TRUE(changed[0][0].toBool());
}

TEST_F(LogDaemonSettings, ADriveWithoutAFileRaisesNothing)
{
    QSignalSpy changed(&daemon, &LogDaemon::hasSettingsOnUSBChanged);

    platform.insertDrive(stick.path());

    EXPECT_FALSE(daemon.hasSettingsOnUSB());
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(LogDaemonSettings, ASmallLetterNameDoesNotCount)
{
    QFile file(stick.filePath("store.set"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));

    platform.insertDrive(stick.path());

    EXPECT_FALSE(daemon.hasSettingsOnUSB());
}

TEST_F(LogDaemonSettings, TheRemovalOfTheDriveTakesTheAnswerBack)
{
    putSettingsFile();
    platform.insertDrive(stick.path());
    QSignalSpy changed(&daemon, &LogDaemon::hasSettingsOnUSBChanged);

    platform.removeDrive(stick.path());

    EXPECT_FALSE(daemon.hasSettingsOnUSB());
    ASSERT_EQ(changed.count(), 1);
    EXPECT_FALSE(changed[0][0].toBool());
}

TEST_F(LogDaemonSettings, TheMutexIsOpenAndTheAnswerStoredWhileTheChangeIsRaised)
{
    putSettingsFile();
    bool free = false;
    bool answer = false;
    QObject::connect(&daemon, &LogDaemon::hasSettingsOnUSBChanged, &daemon,
                     [&]
                     {
                         free = inspector.isStateMutexFree();
                         answer = daemon.hasSettingsOnUSB();
                     });

    platform.insertDrive(stick.path());

    EXPECT_TRUE(free);
    EXPECT_TRUE(answer);
    EXPECT_TRUE(inspector.isStateMutexFree());
}

TEST_F(LogDaemonSettings, AfterASuccessfulSaveTheChangeComesBehindTheFinish)
{
    platform.insertDrive(stick.path());
    QStringList raised;
    QObject::connect(&daemon, &LogDaemon::saveSettingsFinished, &daemon, [&] { raised.append("finished"); });
    QObject::connect(&daemon, &LogDaemon::hasSettingsOnUSBChanged, &daemon, [&] { raised.append("changed"); });
    putSettingsFile();

    emit inspector.settingsManager()->saveSettingsFinished(true);

    EXPECT_EQ(raised, QStringList({"finished", "changed"}));
}

TEST_F(LogDaemonSettings, ASecondSuccessfulSaveRaisesNoChange)
{
    putSettingsFile();
    platform.insertDrive(stick.path());
    QSignalSpy changed(&daemon, &LogDaemon::hasSettingsOnUSBChanged);

    emit inspector.settingsManager()->saveSettingsFinished(true);

    EXPECT_EQ(changed.count(), 0);
}

TEST_F(LogDaemonSettings, AFailedSaveDoesNotLookForTheFile)
{
    platform.insertDrive(stick.path());
    QSignalSpy changed(&daemon, &LogDaemon::hasSettingsOnUSBChanged);
    putSettingsFile();

    emit inspector.settingsManager()->saveSettingsFinished(false);

    EXPECT_EQ(changed.count(), 0);
    EXPECT_FALSE(daemon.hasSettingsOnUSB());
}

TEST_F(LogDaemonSettings, AFileThatGoesByOtherMeansStaysReportedUntilTheNextEvent)
{
    putSettingsFile();
    platform.insertDrive(stick.path());

    QFile::remove(stick.filePath("STORE.SET"));
    daemon.minute();
    daemon.second();

    EXPECT_TRUE(daemon.hasSettingsOnUSB());
}
