#include "ExportStage.h"
#include "TimeZone.h"

#include <QLocale>

#include <gtest/gtest.h>

namespace
{

const std::string Module = "LogDaemon";

zemo::time::DateTime makeTime(uint16_t year, uint8_t month, uint8_t day, uint8_t hour, uint8_t minute, uint8_t second)
{
    const zdatetime_t plain{year, month, day, hour, minute, second};
    return {&plain};
}

int refusals(FakePlatform& platform, const std::string& function, const QString& path)
{
    return platform.traceCount(Module, 4, function, "Path should be relative to USB root: " + path.toStdString());
}

std::vector<std::string> searches(FakePlatform& platform)
{
    return platform.traceTexts("FileLogger", 1);
}

} // namespace

TEST(SyncFileSystem, RunsTheCommandSyncAndTracesNothing)
{
    ExportStage stage;

    syncFileSystem();

    EXPECT_EQ(stage.sync.runs(), 1);
    EXPECT_TRUE(stage.platform.traceTexts(Module, 1).empty());
}

TEST(SyncFileSystem, TracesTheRawResultOfAFailure)
{
    ExportStage stage;
    const FakeSync failing("exit 3");

    syncFileSystem();

    EXPECT_EQ(stage.platform.traceCount(Module, 1, "syncFileSystem", "Unable to sync to file system (retval=768)..."),
              1);
}

TEST(SyncFileSystem, TracesAShellThatASignalEnded)
{
    ExportStage stage;
    const FakeSync killed("kill -9 $PPID");

    syncFileSystem();

    EXPECT_EQ(stage.platform.traceCount(Module, 1, "syncFileSystem", "Unable to sync to file system (retval=9)..."), 1);
}

TEST(SyncFileSystem, AFailureDoesNotChangeTheResultOfTheExport)
{
    ExportStage stage;
    const FakeSync failing("exit 1");

    const bool result = stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_TRUE(result);
    EXPECT_EQ(failing.runs(), 1);
}

TEST(DateTimeText, ShowsDayMonthInFullYearAndTimePadded)
{
    EXPECT_EQ(dateTimeText(makeTime(2024, 3, 5, 14, 7, 9)), "05 March 2024 14:07:09");
}

TEST(DateTimeText, MonthNamesAreEnglishWhateverTheLocale)
{
    QLocale::setDefault(QLocale(QLocale::German));
    const QStringList months{"January", "February", "March",     "April",   "May",      "June",
                             "July",    "August",   "September", "October", "November", "December"};

    for (int month = 1; month <= 12; ++month)
    {
        EXPECT_EQ(dateTimeText(makeTime(2023, static_cast<uint8_t>(month), 28, 0, 0, 0)),
                  "28 " + months[month - 1] + " 2023 00:00:00");
    }
    QLocale::setDefault(QLocale::c());
}

TEST(DateTimeText, ADateThatDoesNotExistHasNoText)
{
    EXPECT_EQ(dateTimeText(makeTime(2023, 2, 30, 1, 2, 3)), QString());
}

// Qt has no text for a time that the local clock skips, in its later versions that of an hour beside it; taken as one
// of UTC it would stand unchanged.
TEST(DateTimeText, ATimeThatTheLocalClockLeavesOutIsNotShownAsIfItHadBeen)
{
    const TimeZone berlin("Europe/Berlin");

    EXPECT_NE(dateTimeText(makeTime(2024, 3, 31, 2, 30, 9)), "31 March 2024 02:30:09");
    EXPECT_EQ(dateTimeText(makeTime(2024, 3, 31, 3, 30, 9)), "31 March 2024 03:30:09");
}

TEST(DatedBaseName, PutsTodayBehindThePrefix)
{
    EXPECT_EQ(datedBaseName("p_"), "p_" + QDate::currentDate().toString("yyyyMMdd"));
}

TEST(DatedBaseName, TakesTheDayOfTheLocalTime)
{
    // At every hour it is another day than in UTC in one of the two.
    for (const char* name : {"<-12>12", "<+14>-14"})
    {
        const TimeZone zone(name);

        EXPECT_EQ(datedBaseName("p_"), "p_" + ExportStage::today()) << name;
    }
}

TEST(ColumnTitles, FollowTheOrderOfTheIdsWithEmptyOnesForMissingTexts)
{
    const QMap<unsigned int, zemo::localization::PanelText> texts{{1, QString("one")}, {3, QString("three")}};

    EXPECT_EQ(columnTitles(texts, {3, 2, 1}), (QStringList{"three", "", "one"}));
}

TEST(OpenLogFile, NamesTheFileAfterPrefixDateSerialAndNumber)
{
    ExportStage stage;

    const LogFilePtr file = stage.inspector.openLogFile("alarms_", ".txt", QString());

    ASSERT_TRUE(file);
    EXPECT_EQ(file->fileName(), stage.path("alarms_", 1, ".txt"));
    EXPECT_EQ(stage.onStick(), QStringList{stage.name("alarms_", 1, ".txt")});
}

TEST(OpenLogFile, OpensForWritingOnlyTruncatedAndNotAsText)
{
    ExportStage stage;

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_EQ(file->openMode(), QIODevice::WriteOnly | QIODevice::Truncate);
}

TEST(OpenLogFile, TakesTheFirstNumberThatIsFree)
{
    ExportStage stage;
    writeFile(stage.path("a_", 1, ".txt"), "first");
    writeFile(stage.path("a_", 3, ".txt"), "third");

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_EQ(file->fileName(), stage.path("a_", 2, ".txt"));
    EXPECT_EQ(contentOf(stage.path("a_", 1, ".txt")), "first");
}

TEST(OpenLogFile, AnEmptyPrefixStillGetsTheDate)
{
    ExportStage stage;

    const LogFilePtr file = stage.inspector.openLogFile(QString(), ".txt", QString());

    EXPECT_EQ(file->fileName(), stage.stick.filePath(stage.today() + "-123456-1.txt"));
}

TEST(OpenLogFile, UsesTheFirstDriveOfTheList)
{
    ExportStage stage;
    const QTemporaryDir second;
    stage.platform.drives.append(second.path());

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_EQ(file->fileName(), stage.path("a_", 1, ".txt"));
}

TEST(OpenLogFile, AsksForTheDriveAfreshAtEachCall)
{
    ExportStage stage;
    const QTemporaryDir other;
    stage.inspector.openLogFile("a_", ".txt", QString());
    stage.platform.drives = QStringList{other.path()};

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_EQ(file->fileName(), other.filePath(stage.name("a_", 1, ".txt")));
}

TEST(OpenLogFile, PutsTheFileIntoASubfolder)
{
    ExportStage stage;
    QDir(stage.stick.path()).mkpath("one/two");

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "one/two");

    EXPECT_EQ(file->fileName(), stage.stick.filePath("one/two/" + stage.name("a_", 1, ".txt")));
}

TEST(OpenLogFile, ASubfolderThatDoesNotExistIsRefusedAfterASearchInTheWorkingDirectory)
{
    ExportStage stage;

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "missing");

    EXPECT_FALSE(file);
    EXPECT_EQ(refusals(stage.platform, "openLogFile", "missing"), 1);
    const std::string searched = QDir::current().filePath(stage.name("a_", 1, ".txt")).toStdString();
    EXPECT_EQ(searches(stage.platform), std::vector<std::string>{"Trying " + searched});
    EXPECT_TRUE(stage.onStick().isEmpty());
}

TEST(OpenLogFile, AnAbsoluteSubfolderIsRefused)
{
    ExportStage stage;
    const QTemporaryDir outside;

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", outside.path());

    EXPECT_FALSE(file);
    EXPECT_EQ(refusals(stage.platform, "openLogFile", outside.path()), 1);
}

TEST(OpenLogFile, ASubfolderThatLeavesTheDriveIsRefused)
{
    ExportStage stage;

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "..");

    EXPECT_FALSE(file);
    EXPECT_EQ(refusals(stage.platform, "openLogFile", ".."), 1);
    EXPECT_EQ(stage.sync.runs(), 0);
}

TEST(OpenLogFile, ASubfolderThatComesBackToTheDriveIsTaken)
{
    ExportStage stage;
    QDir(stage.stick.path()).mkpath("one");

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "one/..");

    ASSERT_TRUE(file);
    EXPECT_EQ(file->fileName(), stage.path("a_", 1, ".txt"));
}

TEST(OpenLogFile, ALinkOutOfTheDriveIsRefused)
{
    ExportStage stage;
    const QTemporaryDir outside;
    QFile::link(outside.path(), stage.stick.filePath("link"));

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "link");

    EXPECT_FALSE(file);
    EXPECT_EQ(refusals(stage.platform, "openLogFile", "link"), 1);
    EXPECT_TRUE(QDir(outside.path()).isEmpty());
}

TEST(OpenLogFile, ALinkWithinTheDriveIsFollowed)
{
    ExportStage stage;
    QDir(stage.stick.path()).mkpath("real");
    QFile::link(stage.stick.filePath("real"), stage.stick.filePath("link"));

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "link");

    EXPECT_EQ(file->fileName(), stage.stick.filePath("real/" + stage.name("a_", 1, ".txt")));
}

TEST(OpenLogFile, ADriveBehindALinkIsTaken)
{
    ExportStage stage;
    const QTemporaryDir elsewhere;
    QFile::link(stage.stick.path(), elsewhere.filePath("mount"));
    stage.platform.drives = QStringList{elsewhere.filePath("mount")};

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    ASSERT_TRUE(file);
    EXPECT_EQ(file->fileName(), stage.path("a_", 1, ".txt"));
}

TEST(OpenLogFile, ASiblingWhoseNameBeginsWithTheDrivesPassesTheTest)
{
    ExportStage stage;
    const QDir media(stage.stick.path());
    media.mkpath("usb");
    media.mkpath("usb2");
    stage.platform.drives = QStringList{media.filePath("usb")};

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "../usb2");

    ASSERT_TRUE(file);
    EXPECT_EQ(file->fileName(), media.filePath("usb2/" + stage.name("a_", 1, ".txt")));
}

TEST(OpenLogFile, ThePrefixTestLooksAtUpperAndLowerCase)
{
    ExportStage stage;
    const QDir media(stage.stick.path());
    media.mkpath("usb");
    media.mkpath("USB");
    stage.platform.drives = QStringList{media.filePath("usb")};

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", "../USB");

    EXPECT_FALSE(file);
}

TEST(OpenLogFile, WithNoDriveItFailsAtOnceAndSearchesNoName)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_FALSE(file);
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "openLogFile", "No USB drive"), 1);
    EXPECT_TRUE(searches(stage.platform).empty());
    EXPECT_EQ(stage.sync.runs(), 0);
}

TEST(OpenLogFile, AFileThatCannotBeOpenedIsTracedAndSynced)
{
    ExportStage stage;
    stage.makeNamesTooLong();

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    EXPECT_FALSE(file);
    const std::string path = stage.path("a_", 1, ".txt").toStdString();
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "openLogFile", "Failed to open file: " + path), 1);
    EXPECT_EQ(stage.sync.runs(), 1);
}

// Nothing is resolved to an empty path then, and every path begins with that.
TEST(OpenLogFile, AMountPointThatIsGoneLetsTheFileGoToTheWorkingDirectory)
{
    ExportStage stage;
    const QTemporaryDir working;
    QDir::setCurrent(working.path());
    stage.platform.drives = QStringList{stage.stick.filePath("gone")};

    const LogFilePtr file = stage.inspector.openLogFile("a_", ".txt", QString());

    ASSERT_TRUE(file);
    EXPECT_EQ(file->fileName(), working.filePath(stage.name("a_", 1, ".txt")));
}

TEST(OpenLogFile, TakesNoLock)
{
    ExportStage stage;

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.inspector.openLogFile("a_", ".txt", QString())); }));
}

TEST(CreateUsbFolder, MakesANumberedFolderAndAnswersItsPath)
{
    ExportStage stage;

    const QString folder = stage.daemon.createUsbFolder("photos_", QString());

    EXPECT_EQ(folder, stage.path("photos_", 1, QString()));
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

TEST(CreateUsbFolder, TakesTheNextNumberForASecondFolder)
{
    ExportStage stage;
    stage.daemon.createUsbFolder("photos_", QString());

    const QString folder = stage.daemon.createUsbFolder("photos_", QString());

    EXPECT_EQ(folder, stage.path("photos_", 2, QString()));
}

TEST(CreateUsbFolder, AnEmptyPrefixStillGetsTheDate)
{
    ExportStage stage;

    const QString folder = stage.daemon.createUsbFolder(QString(), QString());

    EXPECT_EQ(folder, stage.stick.filePath(stage.today() + "-123456-1"));
}

TEST(CreateUsbFolder, MakesTheFoldersAboveToo)
{
    ExportStage stage;

    const QString folder = stage.daemon.createUsbFolder("p_", "one/two");

    EXPECT_EQ(folder, stage.stick.filePath("one/two/" + stage.name("p_", 1, QString())));
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

TEST(CreateUsbFolder, AnAbsolutePathIsRefused)
{
    ExportStage stage;
    const QTemporaryDir outside;

    const QString folder = stage.daemon.createUsbFolder("p_", outside.path());

    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(refusals(stage.platform, "createUsbFolder", outside.path()), 1);
    EXPECT_TRUE(QDir(outside.path()).isEmpty());
}

TEST(CreateUsbFolder, APathThatLeavesTheDriveIsRefusedAfterTheSearch)
{
    ExportStage stage;

    const QString folder = stage.daemon.createUsbFolder("p_", "one/../..");

    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(refusals(stage.platform, "createUsbFolder", "one/../.."), 1);
    EXPECT_EQ(searches(stage.platform).size(), 1U);
}

TEST(CreateUsbFolder, ASiblingWhoseNameBeginsWithTheDrivesPassesTheTest)
{
    ExportStage stage;
    const QDir media(stage.stick.path());
    media.mkpath("usb");
    stage.platform.drives = QStringList{media.filePath("usb")};

    const QString folder = stage.daemon.createUsbFolder("p_", "../usb2");

    EXPECT_EQ(folder, media.filePath("usb2/" + stage.name("p_", 1, QString())));
    EXPECT_TRUE(QFileInfo(folder).isDir());
}

TEST(CreateUsbFolder, ThePrefixTestLooksAtUpperAndLowerCase)
{
    ExportStage stage;
    const QDir media(stage.stick.path());
    media.mkpath("usb");
    stage.platform.drives = QStringList{media.filePath("usb")};

    const QString folder = stage.daemon.createUsbFolder("p_", "../USB");

    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(refusals(stage.platform, "createUsbFolder", "../USB"), 1);
    EXPECT_FALSE(media.exists("USB"));
}

TEST(CreateUsbFolder, UsesTheFirstDriveOfTheListAndAsksForItAfreshAtEachCall)
{
    ExportStage stage;
    const QTemporaryDir other;
    stage.daemon.createUsbFolder("p_", QString());
    stage.platform.drives = QStringList{other.path(), stage.stick.path()};

    const QString folder = stage.daemon.createUsbFolder("p_", QString());

    EXPECT_EQ(folder, other.filePath(stage.name("p_", 1, QString())));
}

TEST(CreateUsbFolder, LinksAreNotResolvedBeforeThePathIsJudged)
{
    ExportStage stage;
    const QTemporaryDir outside;
    QFile::link(outside.path(), stage.stick.filePath("link"));

    const QString folder = stage.daemon.createUsbFolder("p_", "link");

    EXPECT_EQ(folder, stage.stick.filePath("link/" + stage.name("p_", 1, QString())));
    EXPECT_TRUE(QFileInfo(outside.filePath(stage.name("p_", 1, QString()))).isDir());
}

TEST(CreateUsbFolder, ADriveBehindALinkIsTakenUnderTheNameOfTheLink)
{
    ExportStage stage;
    const QTemporaryDir elsewhere;
    QFile::link(stage.stick.path(), elsewhere.filePath("mount"));
    stage.platform.drives = QStringList{elsewhere.filePath("mount")};

    const QString folder = stage.daemon.createUsbFolder("p_", QString());

    EXPECT_EQ(folder, elsewhere.filePath("mount/" + stage.name("p_", 1, QString())));
    EXPECT_TRUE(QFileInfo(stage.path("p_", 1, QString())).isDir());
}

TEST(CreateUsbFolder, TakesNoLock)
{
    ExportStage stage;

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_NE(stage.daemon.createUsbFolder("p_", QString()), ""); }));
}

TEST(CreateUsbFolder, WithNoDriveItFailsAtOnceAndSearchesNoName)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const QString folder = stage.daemon.createUsbFolder("p_", QString());

    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "createUsbFolder", "No USB drive"), 1);
    EXPECT_TRUE(searches(stage.platform).empty());
}

TEST(CreateUsbFolder, AFolderThatCannotBeMadeIsTraced)
{
    ExportStage stage;
    writeFile(stage.stick.filePath("file"), "in the way");

    const QString folder = stage.daemon.createUsbFolder("p_", "file");

    EXPECT_TRUE(folder.isEmpty());
    const QString path = stage.stick.filePath("file/" + stage.name("p_", 1, QString()));
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "createUsbFolder", "Failed to create " + path.toStdString()), 1);
}

TEST(CreateUsbFolder, DoesNotSync)
{
    ExportStage stage;

    stage.daemon.createUsbFolder("p_", QString());

    EXPECT_EQ(stage.sync.runs(), 0);
}
