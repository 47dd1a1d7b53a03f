#include "settings/SettingsManager.h"
#include "ExpectedMethods.h"
#include "FakePlatform.h"
#include "LoggerTestSupport.h"
#include "Refusal.h"

#include <QCryptographicHash>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

std::function<void()> onSync;
std::function<bool(const QString& from, const QString& to)> refuseRename;

} // namespace

// In place of the operating system's own: a test sees when the drives are told to write, and keeps the machine's alone.
extern "C" void sync() noexcept
{
    if (onSync)
    {
        onSync();
    }
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    if (refuseRename && refuseRename(QFile::decodeName(from), QFile::decodeName(to)))
    {
        errno = EIO;
        return -1;
    }
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace
{

QByteArray digestText(const QByteArray& payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha1).toHex();
}

QByteArray settingsFile(const QByteArray& deviceName, const QByteArray& payload)
{
    const QByteArray today = QDate::currentDate().toString("yyyyMMdd").toLatin1();
    return "[ZEMOSET;" + today + ";" + deviceName + ";" + digestText(payload) + "]\n" + payload;
}

QByteArray everyByte()
{
    QByteArray bytes;
    for (int value = 0; value < 256; ++value)
    {
        bytes.append(static_cast<char>(value));
    }
    return bytes;
}

// Bytes without a carriage return, in no period that a buffer size divides.
QByteArray blobOf(qsizetype size)
{
    QByteArray blob(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
    {
        const char value = static_cast<char>(i % 251);
        blob[i] = value == '\r' ? 'r' : value;
    }
    return blob;
}

// A stick with a settings manager at work on it. `events` tells in order what went on: signals, syncs and calls.
struct Stick
{
    FakePlatform platform;
    QTemporaryDir folder;
    SettingsManager manager{nullptr};
    QStringList events;
    std::vector<std::string> errorsAtFinish; ///< traced when the last save raised its end

    Stick()
    {
        platform.settings = "new settings";
        QObject::connect(&manager, &SettingsManager::saveSettingsStarted, [this] { events << "saveStarted"; });
        QObject::connect(&manager, &SettingsManager::saveSettingsFinished,
                         [this](bool ok)
                         {
                             events << (ok ? "saveFinished(true)" : "saveFinished(false)");
                             errorsAtFinish = platform.traceTexts("SettingsManager", 4);
                         });
        QObject::connect(&manager, &SettingsManager::restoreSettingsStarted, [this] { events << "restoreStarted"; });
        QObject::connect(&manager, &SettingsManager::restoreSettingsFinished,
                         [this](bool ok) { events << (ok ? "restoreFinished(true)" : "restoreFinished(false)"); });
        platform.onCall = [this](const char* operation) { events << operation; };
        onSync = [this] { events << "sync: " + names().join(' '); };
    }
    ~Stick()
    {
        onSync = nullptr;
        refuseRename = nullptr;
    }

    QString path(const QString& name = "STORE.SET") const
    {
        return folder.filePath(name);
    }
    QStringList names() const
    {
        return QDir(folder.path())
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }
    QStringList signalsOnly() const
    {
        return events.filter(QRegularExpression("^(save|restore)(Started|Finished)"));
    }
    bool save(uint saveType = 0)
    {
        return manager.saveSettings(path(), saveType);
    }
    bool restore()
    {
        return manager.restoreSettings(path());
    }
    int errorsTraced(const std::string& function, const std::string& text)
    {
        return platform.traceCount("SettingsManager", 4, function, text);
    }
    // All that the class traced at level 4 is this one message.
    void expectOnlyError(const std::string& function, const std::string& text)
    {
        EXPECT_EQ(errorsTraced(function, text), 1) << text;
        EXPECT_EQ(platform.traceTexts("SettingsManager", 4).size(), 1u);
    }
    // And whoever hears of the end finds it there.
    void expectFailedSave(const std::string& text)
    {
        expectOnlyError("saveSettings", text);
        EXPECT_EQ(errorsAtFinish, std::vector<std::string>{text});
    }
    void expectRefusedRestore(const std::string& what)
    {
        EXPECT_FALSE(restore());
        EXPECT_EQ(signalsOnly(), QStringList({"restoreStarted", "restoreFinished(false)"}));
        expectOnlyError("restoreSettings", "Error " + what);
        EXPECT_EQ(platform.callCount("restoreSettings"), 0);
    }
};

} // namespace

TEST(SettingsManager, MetaObjectHoldsTheMethodsInTheirOrder)
{
    expectMethods(SettingsManager::staticMetaObject,
                  {
                      {QMetaMethod::Signal, "void", "saveSettingsStarted()", ""},
                      {QMetaMethod::Signal, "void", "saveSettingsFinished(bool)", "bL_result"},
                      {QMetaMethod::Signal, "void", "restoreSettingsStarted()", ""},
                      {QMetaMethod::Signal, "void", "restoreSettingsFinished(bool)", "bL_result"},
                      {QMetaMethod::Slot, "bool", "saveSettings(QString,uint)", "objL_path u32L_saveType"},
                      {QMetaMethod::Slot, "bool", "restoreSettings(QString)", "objL_path"},
                  });
}

// Save: the file

TEST(SettingsManager, ASavedFileIsHeaderWithDateNameAndDigestThenTheBlob)
{
    Stick stick;
    stick.platform.deviceName = "Pump station 7";
    stick.platform.settings = "abc";

    EXPECT_TRUE(stick.save());

    const QByteArray today = QDate::currentDate().toString("yyyyMMdd").toLatin1();
    EXPECT_EQ(contentOf(stick.path()),
              "[ZEMOSET;" + today + ";Pump station 7;a9993e364706816aba3e25717850c26c9cd0d89d]\nabc");
}

TEST(SettingsManager, TheDateOfTheHeaderIsThatOfTheLocalTime)
{
    // At every hour it is another day than in UTC in one of the two.
    for (const char* name : {"<-12>12", "<+14>-14"})
    {
        const TimeZone zone(name);
        Stick stick;

        stick.save();

        EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "new settings")) << name;
    }
}

TEST(SettingsManager, TheSaveTypeReachesTheServiceUnread)
{
    Stick stick;

    stick.save(4000000000u);

    ASSERT_FALSE(stick.platform.calls().empty());
    EXPECT_EQ(stick.platform.calls().front().operation, "saveSettings");
    EXPECT_EQ(stick.platform.calls().front().first, 4000000000LL);
}

TEST(SettingsManager, ABlobOfEveryByteIsWrittenUnchanged)
{
    Stick stick;
    stick.platform.settings = everyByte() + "\r\n\n\r" + QByteArray(2, '\0');

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", stick.platform.settings));
}

class BlobSize : public testing::TestWithParam<qsizetype>
{
};

TEST_P(BlobSize, IsWrittenByteForByteAndRestored)
{
    Stick stick;
    stick.platform.settings = blobOf(GetParam());

    EXPECT_TRUE(stick.save());
    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", stick.platform.settings));
    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), stick.platform.settings);
}

INSTANTIATE_TEST_SUITE_P(SettingsManager, BlobSize, testing::Values(1, 16383, 16384, 16385, 10 * 1024 * 1024));

TEST(SettingsManager, ABlobOfEveryByteButCarriageReturnComesBack)
{
    Stick stick;
    stick.platform.settings = everyByte().replace('\r', QByteArray());
    stick.save();

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), stick.platform.settings);
}

TEST(SettingsManager, ASavedPayloadWithACarriageReturnFailsItsDigestOnRestore)
{
    Stick stick;
    stick.platform.settings = "a\rb";
    stick.save();
    stick.events.clear();

    stick.expectRefusedRestore("data integrity check failed");
}

// Save: device names

TEST(SettingsManager, APlaceMarkInTheDeviceNameStaysAsItIsAndRestores)
{
    Stick stick;
    stick.platform.deviceName = "Unit %3 of %1";
    stick.platform.settings = "blob";

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(contentOf(stick.path()), settingsFile("Unit %3 of %1", "blob"));
    EXPECT_TRUE(stick.restore());
}

TEST(SettingsManager, AnUmlautInTheDeviceNameIsWrittenAsUtf8AndRestores)
{
    Stick stick;
    stick.platform.deviceName = QString::fromUtf8("M\xc3\xbchle");
    stick.platform.settings = "blob";

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(contentOf(stick.path()), settingsFile("M\xc3\xbchle", "blob"));
    EXPECT_TRUE(stick.restore());
}

TEST(SettingsManager, AFileSavedWithAnEmptyDeviceNameCannotBeRestored)
{
    Stick stick;
    stick.platform.deviceName.clear();
    EXPECT_TRUE(stick.save());
    const QByteArray file = contentOf(stick.path());
    stick.events.clear();

    EXPECT_EQ(file, settingsFile("", stick.platform.settings));
    stick.expectRefusedRestore("failed to parse header: " + file.left(file.indexOf('\n') + 1).toStdString());
}

TEST(SettingsManager, AFileSavedWithASemicolonInTheDeviceNameCannotBeRestored)
{
    Stick stick;
    stick.platform.deviceName = "Pump;7";
    EXPECT_TRUE(stick.save());
    const QByteArray file = contentOf(stick.path());
    stick.events.clear();

    EXPECT_EQ(file, settingsFile("Pump;7", stick.platform.settings));
    stick.expectRefusedRestore("failed to parse header: " + file.left(file.indexOf('\n') + 1).toStdString());
}

TEST(SettingsManager, AFileSavedWithALineFeedInTheDeviceNameCannotBeRestored)
{
    Stick stick;
    stick.platform.deviceName = "Pump\n7";
    EXPECT_TRUE(stick.save());
    const QByteArray file = contentOf(stick.path());
    stick.events.clear();

    EXPECT_EQ(file, settingsFile("Pump\n7", stick.platform.settings));
    stick.expectRefusedRestore("failed to parse header: " + file.left(file.indexOf('\n') + 1).toStdString());
}

TEST(SettingsManager, ABracketAndALineFeedInTheDeviceNamePassForTheOlderFormWithTheRestAsPayload)
{
    Stick stick;
    stick.platform.deviceName = "Pump]\n7";
    stick.platform.settings = "blob";
    stick.save();

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "7;" + digestText("blob") + "]\nblob");
}

TEST(SettingsManager, ADeviceNameOfHalfAMebibyteIsSavedAndRestored)
{
    Stick stick;
    stick.platform.deviceName = QString(512LL * 1024, 'n');

    EXPECT_TRUE(stick.save());

    EXPECT_TRUE(stick.restore());
    EXPECT_EQ(stick.platform.restoredSettings(), stick.platform.settings);
}

// Save: order

TEST(SettingsManager, AFirstSaveSyncsAfterWritingAndAfterTheRename)
{
    Stick stick;

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(stick.events, QStringList({"saveStarted", "saveSettings", "getDeviceName", "sync: STORE.SET.TMP",
                                         "sync: STORE.SET", "saveFinished(true)"}));
}

TEST(SettingsManager, ASaveOverTwoGenerationsAndALeftoverSyncsAfterEachRemovalTheWriteAndTheRename)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    writeFile(stick.path("STORE.SET.OLD"), "oldest");
    writeFile(stick.path("STORE.SET.TMP"), "leftover");

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(stick.events,
              QStringList({"sync: STORE.SET STORE.SET.OLD", "saveStarted", "saveSettings", "getDeviceName",
                           "sync: STORE.SET STORE.SET.OLD STORE.SET.TMP", "sync: STORE.SET STORE.SET.TMP",
                           "sync: STORE.SET STORE.SET.OLD", "saveFinished(true)"}));
}

TEST(SettingsManager, TheTemporaryFileIsCompleteAtTheSyncThatFollowsItsWriting)
{
    Stick stick;
    stick.platform.settings = blobOf(20000);
    QByteArray atFirstSync;
    onSync = [&]
    {
        atFirstSync = contentOf(stick.path("STORE.SET.TMP"));
        onSync = nullptr;
    };

    stick.save();

    EXPECT_EQ(atFirstSync, settingsFile("Pump station 7", stick.platform.settings));
}

TEST(SettingsManager, ASaveTracesItsStartBeforeTheSignalAndItsEndBetweenTheLastSyncAndTheSignal)
{
    Stick stick;
    const auto traced = [&stick] { return stick.platform.traceTexts("SettingsManager", 1); };
    std::vector<std::string> atStart;
    std::vector<std::string> atLastSync;
    std::vector<std::string> atFinish;
    QObject::connect(&stick.manager, &SettingsManager::saveSettingsStarted, [&] { atStart = traced(); });
    onSync = [&] { atLastSync = traced(); };
    QObject::connect(&stick.manager, &SettingsManager::saveSettingsFinished, [&](bool) { atFinish = traced(); });

    stick.save();

    EXPECT_EQ(atStart, std::vector<std::string>({"Save started"}));
    EXPECT_EQ(atLastSync, std::vector<std::string>({"Save started"}));
    EXPECT_EQ(atFinish, std::vector<std::string>({"Save started", "Save finished"}));
    EXPECT_EQ(traced(), atFinish);
    EXPECT_EQ(stick.platform.traceCount("SettingsManager", 1, "saveSettings", "Save started"), 1);
    EXPECT_EQ(stick.platform.traceCount("SettingsManager", 1, "saveSettings", "Save finished"), 1);
}

TEST(SettingsManager, AFirstSaveLeavesNothingButTheFile)
{
    Stick stick;

    stick.save();

    EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
}

TEST(SettingsManager, ASecondSaveKeepsThePreviousGeneration)
{
    Stick stick;
    stick.platform.settings = "first";
    stick.save();
    stick.platform.settings = "second";

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(stick.names(), QStringList({"STORE.SET", "STORE.SET.OLD"}));
    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "second"));
    EXPECT_EQ(contentOf(stick.path("STORE.SET.OLD")), settingsFile("Pump station 7", "first"));
}

TEST(SettingsManager, AThirdSaveDropsTheFirstGeneration)
{
    Stick stick;
    for (const char* blob : {"first", "second", "third"})
    {
        stick.platform.settings = blob;
        stick.save();
    }

    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "third"));
    EXPECT_EQ(contentOf(stick.path("STORE.SET.OLD")), settingsFile("Pump station 7", "second"));
}

TEST(SettingsManager, AStaleTemporaryFileIsRemovedBeforeAnythingElseHappens)
{
    Stick stick;
    writeFile(stick.path("STORE.SET.TMP"), "leftover of an interrupted save, longer than the new file would be"
                                           "..................................................................");
    QStringList namesAtStart{"unset"};
    QObject::connect(&stick.manager, &SettingsManager::saveSettingsStarted, [&] { namesAtStart = stick.names(); });

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(namesAtStart, QStringList());
    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "new settings"));
}

// Whatever it holds: an interrupted first save can have left all there is under that name, complete.
TEST(SettingsManager, SettingsThatOnlyTheTemporaryFileHoldsAreGivenUpBeforeTheServiceIsAsked)
{
    Stick stick;
    writeFile(stick.path("STORE.SET.TMP"), settingsFile("Pump station 7", "complete"));
    stick.platform.settings.clear();

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.events, QStringList({"sync: ", "saveStarted", "saveSettings", "saveFinished(false)"}));
    EXPECT_EQ(stick.names(), QStringList());
}

// Save: failures

TEST(SettingsManager, ATemporaryFileThatCannotBeRemovedFinishesTheSaveWithoutAStart)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    QDir(stick.folder.path()).mkpath("STORE.SET.TMP/inside");

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.events, QStringList("saveFinished(false)"));
    stick.expectFailedSave("Save failed - cannot remove old TMP file");
    EXPECT_TRUE(stick.platform.traceTexts("SettingsManager", 1).empty());
    EXPECT_EQ(contentOf(stick.path()), "previous");
}

TEST(SettingsManager, AServiceWithoutSettingsFailsTheSaveAndLeavesNoFile)
{
    Stick stick;
    stick.platform.settings.clear();
    writeFile(stick.path(), "previous");

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.events, QStringList({"saveStarted", "saveSettings", "saveFinished(false)"}));
    stick.expectFailedSave("DataManagementClient::saveSettings failed");
    EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
    EXPECT_EQ(contentOf(stick.path()), "previous");
}

TEST(SettingsManager, AFileThatCannotBeOpenedFailsTheSave)
{
    Stick stick;

    EXPECT_FALSE(stick.manager.saveSettings(stick.path("absent/STORE.SET"), 0));

    EXPECT_EQ(stick.events, QStringList({"saveStarted", "saveSettings", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - unable to open file");
}

TEST(SettingsManager, ADriveTooSmallForABlobBeyondTheBufferFailsTheWriteAndClearsTheTemporaryFile)
{
    Stick stick;
    stick.platform.settings = blobOf(100000);
    writeFile(stick.path(), "previous");

    {
        const FullMedium drive(50000);
        EXPECT_FALSE(stick.save());
    }

    EXPECT_EQ(stick.events,
              QStringList({"saveStarted", "saveSettings", "getDeviceName", "sync: STORE.SET", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - not enough space");
    EXPECT_EQ(contentOf(stick.path()), "previous");
}

TEST(SettingsManager, ADriveTooSmallForABlobWithinTheBufferFailsTheFlushAndClearsTheTemporaryFile)
{
    Stick stick;
    stick.platform.settings = blobOf(1000);
    writeFile(stick.path(), "previous");

    {
        const FullMedium drive(500);
        EXPECT_FALSE(stick.save());
    }

    EXPECT_EQ(stick.events,
              QStringList({"saveStarted", "saveSettings", "getDeviceName", "sync: STORE.SET", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - cannot close file");
    EXPECT_EQ(contentOf(stick.path()), "previous");
}

TEST(SettingsManager, ADriveThatFillsUpAtAnyByteOfAnEightKibibyteFileLeavesThePreviousFileAlone)
{
    Stick stick;
    stick.platform.settings = blobOf(8192 - settingsFile("Pump station 7", {}).size());
    writeFile(stick.path(), "previous");

    for (uint64_t space = 0; space < 8192; ++space)
    {
        stick.events.clear();
        stick.platform.clearTrace();
        {
            const FullMedium drive(space);
            ASSERT_FALSE(stick.save()) << space;
        }
        ASSERT_EQ(stick.signalsOnly(), QStringList({"saveStarted", "saveFinished(false)"})) << space;
        ASSERT_EQ(stick.errorsTraced("saveSettings", "Save failed - cannot close file"), 1) << space;
        ASSERT_EQ(stick.names(), QStringList("STORE.SET")) << space;
        ASSERT_EQ(contentOf(stick.path()), "previous") << space;
    }

    const FullMedium justEnough(8192);
    EXPECT_TRUE(stick.save());
    EXPECT_EQ(contentOf(stick.path()).size(), 8192);
}

TEST(SettingsManager, AnOldGenerationThatCannotBeRemovedFailsTheSaveAndLeavesTheTemporaryFile)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    QDir(stick.folder.path()).mkpath("STORE.SET.OLD/inside");

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.events, QStringList({"saveStarted", "saveSettings", "getDeviceName",
                                         "sync: STORE.SET STORE.SET.OLD STORE.SET.TMP", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - cannot remove old settings file");
    EXPECT_EQ(contentOf(stick.path()), "previous");
    EXPECT_EQ(contentOf(stick.path("STORE.SET.TMP")), settingsFile("Pump station 7", "new settings"));
}

TEST(SettingsManager, APreviousFileThatCannotBeRenamedFailsTheSaveAndLeavesTheTemporaryFile)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    refuseRename = [](const QString& from, const QString&) { return from.endsWith("STORE.SET"); };

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.signalsOnly(), QStringList({"saveStarted", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - cannot rename old file");
    EXPECT_EQ(stick.names(), QStringList({"STORE.SET", "STORE.SET.TMP"}));
    EXPECT_EQ(contentOf(stick.path()), "previous");
    EXPECT_EQ(contentOf(stick.path("STORE.SET.TMP")), settingsFile("Pump station 7", "new settings"));
}

TEST(SettingsManager, ATemporaryFileThatCannotBeRenamedLeavesThePreviousFileAsTheOldOneAndNoneUnderTheProperName)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    refuseRename = [](const QString& from, const QString&) { return from.endsWith("STORE.SET.TMP"); };

    EXPECT_FALSE(stick.save());

    EXPECT_EQ(stick.signalsOnly(), QStringList({"saveStarted", "saveFinished(false)"}));
    stick.expectFailedSave("Save failed - cannot rename temporary file");
    EXPECT_EQ(stick.names(), QStringList({"STORE.SET.OLD", "STORE.SET.TMP"}));
    EXPECT_EQ(contentOf(stick.path("STORE.SET.OLD")), "previous");
    EXPECT_EQ(contentOf(stick.path("STORE.SET.TMP")), settingsFile("Pump station 7", "new settings"));
}

TEST(SettingsManager, ASaveAfterAFailedRenameClearsAwayWhatThatOneLeft)
{
    Stick stick;
    writeFile(stick.path(), "previous");
    refuseRename = [](const QString& from, const QString&) { return from.endsWith("STORE.SET.TMP"); };
    stick.save();
    refuseRename = nullptr;

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "new settings"));
}

TEST(SettingsManager, ASaveWritesThroughNoLinkInThePlaceOfTheTemporaryFile)
{
    Stick stick;
    QTemporaryDir elsewhere;
    QFile::link(elsewhere.filePath("created"), stick.path("STORE.SET.TMP"));

    EXPECT_TRUE(stick.save());

    EXPECT_FALSE(QFile::exists(elsewhere.filePath("created")));
    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "new settings"));
}

TEST(SettingsManager, ASaveDoesNotHangOnPipesInThePlaceOfItsFiles)
{
    Stick stick;
    for (const char* name : {"STORE.SET", "STORE.SET.TMP", "STORE.SET.OLD"})
    {
        ASSERT_EQ(mkfifo(stick.path(name).toLocal8Bit().constData(), 0600), 0);
    }

    EXPECT_TRUE(stick.save());

    EXPECT_EQ(contentOf(stick.path()), settingsFile("Pump station 7", "new settings"));
}

// Restore

TEST(SettingsManager, ASavedFileIsVerifiedAndHandedToTheServiceWithoutASignalOrATraceOfItsOwn)
{
    Stick stick;
    writeFile(stick.path(), settingsFile("Pump station 7", "payload\nof two lines"));

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "payload\nof two lines");
    EXPECT_EQ(stick.events, QStringList("restoreSettings"));
    EXPECT_TRUE(stick.platform.trace().empty());
}

TEST(SettingsManager, ARestoreChangesNoFile)
{
    Stick stick;
    const QByteArray file = settingsFile("Pump station 7", "payload");
    writeFile(stick.path(), file);
    writeFile(stick.path("STORE.SET.TMP"), "temporary");
    writeFile(stick.path("STORE.SET.OLD"), "old");

    stick.restore();

    EXPECT_EQ(contentOf(stick.path()), file);
    EXPECT_EQ(contentOf(stick.path("STORE.SET.TMP")), "temporary");
    EXPECT_EQ(contentOf(stick.path("STORE.SET.OLD")), "old");
    EXPECT_EQ(stick.names().size(), 3);
}

TEST(SettingsManager, AServiceThatRefusesARestoreIsOnlyReturned)
{
    Stick stick;
    stick.platform.acceptRestore = false;
    writeFile(stick.path(), settingsFile("Pump station 7", "payload"));

    EXPECT_FALSE(stick.restore());

    EXPECT_EQ(stick.events, QStringList("restoreSettings"));
    EXPECT_TRUE(stick.platform.trace().empty());
}

TEST(SettingsManager, AnExceptionOfTheServiceIsNoRefusalAndComesThroughWithoutASignalOrATrace)
{
    Stick stick;
    stick.platform.onCall = [](const char*) { throw std::runtime_error("out of the service"); };
    writeFile(stick.path(), settingsFile("Pump station 7", "payload"));

    EXPECT_THROW(stick.restore(), std::runtime_error);

    EXPECT_EQ(stick.platform.callCount("restoreSettings"), 1);
    EXPECT_EQ(stick.events, QStringList());
    EXPECT_TRUE(stick.platform.trace().empty());
}

TEST(SettingsManager, WhatTheServiceReportsOfARestoreIsRelayed)
{
    Stick stick;

    stick.platform.emitRestoreStarted();
    stick.platform.emitRestoreFinished(false);
    stick.platform.emitRestoreFinished(true);

    EXPECT_EQ(stick.events, QStringList({"restoreStarted", "restoreFinished(false)", "restoreFinished(true)"}));
}

TEST(SettingsManager, ARestoreWithoutADigestHandsThePayloadOnUnverified)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20150102;Pump station 7]\nanything at all");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "anything at all");
}

TEST(SettingsManager, ADigestInUpperCaseFailsToParse)
{
    Stick stick;
    const QByteArray header = "[ZEMOSET;20240305;Pump;" + digestText("payload").toUpper() + "]\n";
    writeFile(stick.path(), header + "payload");

    stick.expectRefusedRestore("failed to parse header: " + header.toStdString());
}

TEST(SettingsManager, AWellFormedWrongDigestFailsTheIntegrityCheckAndTheServiceIsNotCalled)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;" + digestText("another payload") + "]\npayload");

    stick.expectRefusedRestore("data integrity check failed");
}

TEST(SettingsManager, AHeaderWithTextBeforeAndBehindItOnTheFirstLineIsAccepted)
{
    Stick stick;
    writeFile(stick.path(), "some text [ZEMOSET;20240305;Pump;" + digestText("payload") + "] and more\npayload");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "payload");
}

TEST(SettingsManager, AHeaderOnTheSecondLineFailsToParse)
{
    Stick stick;
    writeFile(stick.path(), "\n[ZEMOSET;20240305;Pump]\npayload");

    stick.expectRefusedRestore("failed to parse header: \n");
}

TEST(SettingsManager, ADateOfSevenDigitsFailsToParse)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;2024030;Pump]\npayload");

    stick.expectRefusedRestore("failed to parse header: [ZEMOSET;2024030;Pump]\n");
}

TEST(SettingsManager, ADigestOfThirtyNineDigitsFailsToParse)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;" + QByteArray(39, 'a') + "]\npayload");

    stick.expectRefusedRestore("failed to parse header: [ZEMOSET;20240305;Pump;" + std::string(39, 'a') + "]\n");
}

TEST(SettingsManager, ASemicolonBehindTheNameWithNoDigestPassesUnverified)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;]\npayload");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "payload");
}

TEST(SettingsManager, AnEmptyFileFailsToParse)
{
    Stick stick;
    writeFile(stick.path(), "");

    stick.expectRefusedRestore("failed to parse header: ");
}

TEST(SettingsManager, AnAbsentFileCannotBeOpened)
{
    Stick stick;

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, APathWithAnUmlautIsTracedAsUtf8)
{
    Stick stick;
    const QString path = stick.path(QString::fromUtf8("M\xc3\xbchle.SET"));

    EXPECT_FALSE(stick.manager.restoreSettings(path));

    stick.expectOnlyError("restoreSettings", "Error Settings: Restore failed - unable to open file: " +
                                                 stick.path().chopped(9).toStdString() + "M\xc3\xbchle.SET");
}

TEST(SettingsManager, ARefusedRestoreRaisesItsSignalsBeforeTheTrace)
{
    Stick stick;
    size_t tracedAtFinish = 99;
    QObject::connect(&stick.manager, &SettingsManager::restoreSettingsFinished,
                     [&](bool) { tracedAtFinish = stick.platform.trace().size(); });

    stick.restore();

    EXPECT_EQ(tracedAtFinish, 0u);
    EXPECT_EQ(stick.platform.trace().size(), 1u);
}

TEST(SettingsManager, CarriageReturnsOnTheDriveAreGoneBeforeTheDigestIsTaken)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;" + digestText("one\ntwo") + "]\r\none\r\ntwo");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "one\ntwo");
}

TEST(SettingsManager, APayloadHoldingCarriageReturnsFailsTheDigestOfItsBytesOnTheDrive)
{
    Stick stick;
    writeFile(stick.path(), settingsFile("Pump", "one\r\ntwo"));

    stick.expectRefusedRestore("data integrity check failed");
}

TEST(SettingsManager, AnEmptyPayloadWithoutADigestIsHandedOn)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump]\n");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.callCount("restoreSettings"), 1);
    EXPECT_EQ(stick.platform.restoredSettings(), "");
}

TEST(SettingsManager, AnEmptyPayloadWithItsDigestIsHandedOn)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;da39a3ee5e6b4b0d3255bfef95601890afd80709]\n");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.callCount("restoreSettings"), 1);
}

TEST(SettingsManager, AnEmptyPayloadWithAnotherDigestFailsTheIntegrityCheck)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump;" + digestText("x") + "]\n");

    stick.expectRefusedRestore("data integrity check failed");
}

TEST(SettingsManager, AHeaderWithoutALineFeedAtTheEndOfTheFileHasAnEmptyPayload)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump]");

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "");
}

// Restore: hostile sticks

TEST(SettingsManager, APipeInThePlaceOfTheFileCannotBeOpened)
{
    Stick stick;
    ASSERT_EQ(mkfifo(stick.path().toLocal8Bit().constData(), 0600), 0);

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, AFolderInThePlaceOfTheFileCannotBeOpened)
{
    Stick stick;
    QDir(stick.folder.path()).mkpath("STORE.SET");

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, AFileWithoutTheRightToReadItCannotBeOpened)
{
    Stick stick;
    writeFile(stick.path(), settingsFile("Pump", "payload"));
    NEEDS_REFUSAL(stick.path());

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, ALinkToADeviceCannotBeOpened)
{
    Stick stick;
    QFile::link("/dev/zero", stick.path());

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, ALinkOutOfTheStickCannotBeOpened)
{
    Stick stick;
    QTemporaryDir elsewhere;
    writeFile(elsewhere.filePath("file"), settingsFile("Pump", "payload"));
    QFile::link(elsewhere.filePath("file"), stick.path());

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}

TEST(SettingsManager, ALinkWithinTheStickIsFollowed)
{
    Stick stick;
    writeFile(stick.path("backup"), settingsFile("Pump", "payload"));
    QFile::link(stick.path("backup"), stick.path());

    EXPECT_TRUE(stick.restore());

    EXPECT_EQ(stick.platform.restoredSettings(), "payload");
}

TEST(SettingsManager, AStickMountedThroughALinkIsReadAllTheSame)
{
    Stick stick;
    QTemporaryDir elsewhere;
    writeFile(stick.path(), settingsFile("Pump", "payload"));
    QFile::link(stick.folder.path(), elsewhere.filePath("usb"));

    EXPECT_TRUE(stick.manager.restoreSettings(elsewhere.filePath("usb/STORE.SET")));
}

TEST(SettingsManager, AHeaderBeyondTheLimitFailsToParseThoughItBeginsWellAndItsTraceIsBounded)
{
    Stick stick;
    const std::string begin = "Error failed to parse header: [ZEMOSET;20240305;Pump]xxx";
    writeFile(stick.path(), "[ZEMOSET;20240305;Pump]" + QByteArray(SettingsManager::MaxHeaderBytes, 'x') + "\npayload");

    EXPECT_FALSE(stick.restore());

    const std::vector<std::string> errors = stick.platform.traceTexts("SettingsManager", 4);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].substr(0, begin.size()), begin);
    EXPECT_LE(errors[0].size(), size_t(SettingsManager::MaxHeaderBytes) + 100);
}

TEST(SettingsManager, AFileAsLargeAsAMessageMayBeIsHandedOn)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20150102;Pump]\n");
    ASSERT_TRUE(QFile::resize(stick.path(), SettingsManager::MaxFileBytes));

    EXPECT_TRUE(stick.restore());
    EXPECT_EQ(stick.platform.restoredSettings().size(), SettingsManager::MaxFileBytes - 24);
}

TEST(SettingsManager, AFileOfOneByteMoreCannotBeOpened)
{
    Stick stick;
    writeFile(stick.path(), "[ZEMOSET;20150102;Pump]\n");
    ASSERT_TRUE(QFile::resize(stick.path(), SettingsManager::MaxFileBytes + 1));

    stick.expectRefusedRestore("Settings: Restore failed - unable to open file: " + stick.path().toStdString());
}
