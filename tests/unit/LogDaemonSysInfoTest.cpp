#include "ExportStage.h"
#include "LogConfig.h"
#include "Refusal.h"
#include "TimeZone.h"

#include <QDateTime>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const std::string Module = "LogDaemon";
const QString ScriptPath = "/usr/bin/getdebugfile.sh";

bool inSandbox()
{
    return qEnvironmentVariableIsSet("ZEMO_IN_SANDBOX");
}

// The daemon's paths are fixed, and outside the sandbox they would be this machine's.
#define NEEDS_SANDBOX()                                                                                                \
    if (!inSandbox())                                                                                                  \
    GTEST_SKIP() << "runs in the sandbox only"

void makeScript(const QByteArray& body)
{
    writeFile(ScriptPath, "#!/bin/sh\n" + body + "\n");
    chmod(QFile::encodeName(ScriptPath).constData(), 0755);
}

/// Without a script, as far as the sandbox lets it go: proot keeps a file of that name, which then can't be run.
void removeScript()
{
    if (!QFile::remove("/.bin/getdebugfile.sh") && QFile::exists(ScriptPath))
    {
        chmod(QFile::encodeName(ScriptPath).constData(), 0);
    }
}

/// A script that leaves its arguments in `path`, one a line.
void makeArgumentsScript(const QString& path)
{
    makeScript("printf '%s\\n' \"$@\" >" + path.toUtf8());
}

void makeSocket(const QString& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof(address.sun_path) - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(descriptor);
}

/// The one folder on the stick, empty for any other number of them.
QString onlyFolder(const ExportStage& stage)
{
    const QStringList names = stage.onStick();
    return names.size() == 1 ? stage.stick.filePath(names.first()) : QString();
}

QStringList everythingIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name);
}

bool isTimed(const QString& name, const QString& tag)
{
    return QRegularExpression("^" + tag + "-\\d{8}-\\d{6}$").match(name).hasMatch();
}

/// The signal that ends a copy of this process in `work`; 0 when it returns. (GoogleTest's own way needs a /tmp that
/// can be written.)
int endOf(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0)
    {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

int syncsOf(const ExportStage& stage)
{
    return stage.sync.runs();
}

} // namespace

TEST(SysInfo, HandsTheScriptTheWordUsbTheMountPathAndTheWordSysInfo)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    stage.inspector.usbPath() = "/media/usb";
    makeArgumentsScript(stage.stick.filePath("arguments"));

    const bool result = stage.daemon.saveSysInfoToUsb();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.stick.filePath("arguments")), "USB\n/media/usb\nsys_info\n");
}

TEST(SysInfo, WithNoDriveTheScriptStillRuns)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    stage.platform.drives.clear();
    stage.inspector.usbPath().clear();
    makeArgumentsScript(stage.stick.filePath("arguments"));

    const bool result = stage.daemon.saveSysInfoToUsb();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.stick.filePath("arguments")), "USB\nsys_info\n");
}

TEST(SysInfo, TheMountPathIsNotQuoted)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    stage.inspector.usbPath() = "/media/my stick";
    makeArgumentsScript(stage.stick.filePath("arguments"));

    stage.daemon.saveSysInfoToUsb();

    EXPECT_EQ(contentOf(stage.stick.filePath("arguments")), "USB\n/media/my\nstick\nsys_info\n");
}

TEST(SysInfo, WaitsForTheScript)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript("sleep 0.3; echo done >" + stage.stick.filePath("done").toUtf8());

    stage.daemon.saveSysInfoToUsb();

    EXPECT_EQ(contentOf(stage.stick.filePath("done")), "done\n");
}

TEST(SysInfo, TakesNoLock)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript("exit 0");

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveSysInfoToUsb()); }));
}

struct ScriptEnd
{
    const char* name;
    const char* ending;
    bool result;
    const char* trace; ///< null for none
};

class SysInfoScript : public testing::TestWithParam<ScriptEnd>
{
};

TEST_P(SysInfoScript, HasThisResultAndTrace)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript(GetParam().ending);

    const bool result = stage.daemon.saveSysInfoToUsb();

    EXPECT_EQ(result, GetParam().result);
    const std::vector<std::string> expected =
        GetParam().trace ? std::vector<std::string>{GetParam().trace} : std::vector<std::string>{};
    EXPECT_EQ(stage.platform.traceTexts(Module, 4), expected);
    for (const std::string& text : expected)
    {
        EXPECT_EQ(stage.platform.traceCount(Module, 4, "saveSysInfoToUsb", text), 1);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ends, SysInfoScript,
    testing::Values(ScriptEnd{"ExitZero", "exit 0", true, nullptr},
                    ScriptEnd{"ExitOne", "exit 1", false, "Error removing files in shell script."},
                    ScriptEnd{"ExitTwo", "exit 2", false, "Error copying files in shell script."},
                    ScriptEnd{"ExitThree", "exit 3", false, "Error compressing files in shell script."},
                    ScriptEnd{"ExitFour", "exit 4", false, "Unknown error in shell script."},
                    ScriptEnd{"Exit255", "exit 255", false, "Unknown error in shell script."},
                    ScriptEnd{"KilledBySignalCountsAsSuccess", "kill -9 $PPID; kill -9 $$", true, nullptr}),
    [](const auto& end) { return std::string(end.param.name); });

TEST(SysInfo, AMissingScriptIsAnUnknownError)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    removeScript();

    const bool result = stage.daemon.saveSysInfoToUsb();

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "saveSysInfoToUsb", "Unknown error in shell script."), 1);
}

TEST(SysInfo, DoesNotSync)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript("exit 0");

    stage.daemon.saveSysInfoToUsb();

    EXPECT_EQ(syncsOf(stage), 0);
}

TEST(SysInfo, ALineOf199BytesFits)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    const QString path = "/" + QString(160, 'x');
    stage.inspector.usbPath() = path;
    makeArgumentsScript(stage.stick.filePath("arguments"));

    stage.daemon.saveSysInfoToUsb();

    EXPECT_EQ(contentOf(stage.stick.filePath("arguments")), "USB\n" + path.toUtf8() + "\nsys_info\n");
}

TEST(SysInfo, ALongerLineEndsTheProcess)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript("exit 0");
    stage.inspector.usbPath() = "/" + QString(161, 'x');

    EXPECT_EQ(endOf([&] { stage.daemon.saveSysInfoToUsb(); }), SIGABRT);
}

TEST(SysInfo, TheLineIsCountedInBytesOfUtf8)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    makeScript("exit 0");
    stage.inspector.usbPath() = QString(81, QChar(0xe4));

    EXPECT_EQ(endOf([&] { stage.daemon.saveSysInfoToUsb(); }), SIGABRT);
}

TEST(CopyFolder, CopiesThePlainFilesIntoAFolderOfTagAndTime)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath("one.blf"), "first\0and more");
    writeFile(source.filePath("two.log"), QByteArray(100000, '\xff'));
    const QString before = QDateTime::currentDateTime().toString("yyyyMMdd-hhmmss");

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    const QString after = QDateTime::currentDateTime().toString("yyyyMMdd-hhmmss");
    EXPECT_TRUE(result);
    const QString folder = onlyFolder(stage);
    EXPECT_GE(QFileInfo(folder).fileName(), "tag-" + before);
    EXPECT_LE(QFileInfo(folder).fileName(), "tag-" + after);
    EXPECT_EQ(everythingIn(folder), (QStringList{"one.blf", "two.log"}));
    EXPECT_EQ(contentOf(folder + "/one.blf"), contentOf(source.filePath("one.blf")));
    EXPECT_EQ(contentOf(folder + "/two.log"), QByteArray(100000, '\xff'));
}

TEST(CopyFolder, NamesTheFolderByTheLocalTime)
{
    const TimeZone farFromUtc("<+14>-14");
    ExportStage stage;
    const QString before = QDateTime::currentDateTime().toString("yyyyMMdd-hhmmss");

    stage.inspector.copyFolderToUsb("/nowhere/at/all", "tag");

    const QString after = QDateTime::currentDateTime().toString("yyyyMMdd-hhmmss");
    EXPECT_GE(QFileInfo(onlyFolder(stage)).fileName(), "tag-" + before);
    EXPECT_LE(QFileInfo(onlyFolder(stage)).fileName(), "tag-" + after);
}

TEST(CopyFolder, LeavesSubfoldersOut)
{
    ExportStage stage;
    const QTemporaryDir source;
    QDir(source.path()).mkpath("sub/sub");
    writeFile(source.filePath("sub/file"), "below");

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_TRUE(everythingIn(onlyFolder(stage)).isEmpty());
}

TEST(CopyFolder, LeavesHiddenFilesOut)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath(".hidden"), "hidden");

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_TRUE(everythingIn(onlyFolder(stage)).isEmpty());
}

TEST(CopyFolder, SkipsLinksOfEveryKindWithoutAFailure)
{
    ExportStage stage;
    const QTemporaryDir source;
    const QTemporaryDir outside;
    writeFile(source.filePath("file"), "plain");
    writeFile(outside.filePath("secret"), "secret");
    QFile::link(source.filePath("file"), source.filePath("to-file"));
    QFile::link(outside.path(), source.filePath("to-folder"));
    QFile::link(outside.filePath("secret"), source.filePath("out"));
    QFile::link(source.filePath("nothing"), source.filePath("dangling"));

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_EQ(everythingIn(onlyFolder(stage)), QStringList{"file"});
}

TEST(CopyFolder, DoesNotOpenPipesSocketsAndDevices)
{
    ExportStage stage;
    const QTemporaryDir source;
    mkfifo(source.filePath("pipe").toUtf8().constData(), 0600);
    makeSocket(source.filePath("socket"));
    writeFile(source.filePath("file"), "plain");

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_EQ(everythingIn(onlyFolder(stage)), QStringList{"file"});
}

TEST(CopyFolder, AFileThatCannotBeReadMakesItFalseAndTheOthersAreStillCopied)
{
    ExportStage stage;
    const QTemporaryDir source;
    for (const char* name : {"a", "b", "c"})
    {
        writeFile(source.filePath(name), "contents");
    }
    NEEDS_REFUSAL(source.filePath("b"));

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_FALSE(result);
    EXPECT_EQ(everythingIn(onlyFolder(stage)), (QStringList{"a", "c"}));
    EXPECT_EQ(syncsOf(stage), 1);
}

TEST(CopyFolder, AFileThatDoesNotFitMakesItFalseAndTheOthersAreStillCopied)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath("a"), "contents");
    writeFile(source.filePath("b"), QByteArray(100000, 'x'));
    writeFile(source.filePath("c"), "contents");
    bool result = true;

    {
        const FullMedium limit(10000);
        result = stage.inspector.copyFolderToUsb(source.path(), "tag");
    }

    EXPECT_FALSE(result);
    EXPECT_EQ(everythingIn(onlyFolder(stage)), (QStringList{"a", "c"}));
}

TEST(CopyFolder, NamesWithBlanksQuotesPercentsAndLineFeedsAreKept)
{
    ExportStage stage;
    const QTemporaryDir source;
    const QStringList names{"%1 %2 %L3", "a b", "it's \"quoted\"", "line\nfeed", "über"};
    for (const QString& name : names)
    {
        writeFile(source.filePath(name), name.toUtf8());
    }

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    const QString folder = onlyFolder(stage);
    EXPECT_EQ(everythingIn(folder).size(), names.size());
    for (const QString& name : names)
    {
        EXPECT_EQ(contentOf(folder + "/" + name), name.toUtf8());
    }
}

// The listing leaves such a name out, so it never comes to a copy.
TEST(CopyFolder, ANameThatIsNotUtf8IsNotSeen)
{
    ExportStage stage;
    const QTemporaryDir source;
    const QByteArray path = source.path().toUtf8() + "/bad\xff\xfe";
    FILE* file = std::fopen(path.constData(), "w");
    ASSERT_TRUE(file);
    std::fclose(file);
    writeFile(source.filePath("good"), "contents");

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_EQ(everythingIn(onlyFolder(stage)), QStringList{"good"});
    std::remove(path.constData());
}

TEST(CopyFolder, AnEmptySourceGivesAnEmptyFolder)
{
    ExportStage stage;
    const QTemporaryDir source;

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_TRUE(result);
    EXPECT_TRUE(QFileInfo(onlyFolder(stage)).isDir());
    EXPECT_EQ(syncsOf(stage), 1);
}

TEST(CopyFolder, AMissingSourceGivesAnEmptyFolder)
{
    ExportStage stage;

    const bool result = stage.inspector.copyFolderToUsb("/nowhere/at/all", "tag");

    EXPECT_TRUE(result);
    EXPECT_TRUE(QFileInfo(onlyFolder(stage)).isDir());
    EXPECT_EQ(syncsOf(stage), 1);
}

TEST(CopyFolder, WithNoDriveItIsFalseAtOnceWithoutTraceAndSync)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const bool result = stage.inspector.copyFolderToUsb("/nowhere", "tag");

    EXPECT_FALSE(result);
    EXPECT_TRUE(stage.platform.traceTexts(Module, 4).empty());
    EXPECT_EQ(syncsOf(stage), 0);
}

TEST(CopyFolder, ASecondExportWithinTheSameSecondIsFalseAndTouchesNothing)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath("file"), "contents");
    const QDateTime now = QDateTime::currentDateTime();
    for (int second = 0; second < 60; ++second)
    {
        QDir(stage.stick.path()).mkdir("tag-" + now.addSecs(second).toString("yyyyMMdd-hhmmss"));
    }

    const bool result = stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.onStick().size(), 60);
    for (const QString& name : stage.onStick())
    {
        EXPECT_TRUE(QDir(stage.stick.filePath(name)).isEmpty());
    }
    EXPECT_EQ(syncsOf(stage), 0);
}

TEST(CopyFolder, AFolderThatCannotBeMadeIsFalseWithoutSync)
{
    ExportStage stage;
    stage.platform.drives = QStringList{stage.stick.filePath("gone")};

    const bool result = stage.inspector.copyFolderToUsb("/nowhere", "tag");

    EXPECT_FALSE(result);
    EXPECT_EQ(syncsOf(stage), 0);
}

TEST(CopyFolder, SyncsOnceAfterTheLastFile)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath("a"), "contents");
    writeFile(source.filePath("b"), "contents");
    const FakeSync sync("cat " + stage.stick.path().toUtf8() + "/*/* >" + source.path().toUtf8() + "/seen");

    stage.inspector.copyFolderToUsb(source.path(), "tag");

    EXPECT_EQ(sync.runs(), 1);
    EXPECT_EQ(contentOf(source.filePath("seen")), "contentscontents");
}

TEST(CopyTree, CopiesFilesAndFoldersOfEveryDepth)
{
    ExportStage stage;
    const QTemporaryDir source;
    QDir(source.path()).mkpath("one/two/three");
    QDir(source.path()).mkpath("empty");
    writeFile(source.filePath("top"), "top");
    writeFile(source.filePath("one/two/three/deep"), "deep");
    const QString target = stage.stick.filePath("made/too");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), target);

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(target + "/top"), "top");
    EXPECT_EQ(contentOf(target + "/one/two/three/deep"), "deep");
    EXPECT_TRUE(QFileInfo(target + "/empty").isDir());
}

TEST(CopyTree, SkipsLinksOfEveryKindWithoutAFailure)
{
    ExportStage stage;
    const QTemporaryDir source;
    const QTemporaryDir outside;
    QDir(source.path()).mkpath("sub");
    writeFile(source.filePath("sub/file"), "plain");
    writeFile(outside.filePath("secret"), "secret");
    QFile::link(source.filePath("sub/file"), source.filePath("to-file"));
    QFile::link(source.path(), source.filePath("sub/to-itself"));
    QFile::link(outside.path(), source.filePath("out"));
    QFile::link(source.filePath("nothing"), source.filePath("dangling"));
    const QString target = stage.stick.filePath("copy");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), target);

    EXPECT_TRUE(result);
    EXPECT_EQ(everythingIn(target), QStringList{"sub"});
    EXPECT_EQ(everythingIn(target + "/sub"), QStringList{"file"});
}

TEST(CopyTree, DoesNotOpenPipesAndSockets)
{
    ExportStage stage;
    const QTemporaryDir source;
    mkfifo(source.filePath("pipe").toUtf8().constData(), 0600);
    makeSocket(source.filePath("socket"));
    const QString target = stage.stick.filePath("copy");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), target);

    EXPECT_TRUE(result);
    EXPECT_TRUE(everythingIn(target).isEmpty());
}

TEST(CopyTree, AMissingSourceIsFalseAndMakesNoTarget)
{
    ExportStage stage;

    const bool result = stage.inspector.copyDirectoryTree("/nowhere/at/all", stage.stick.filePath("copy"));

    EXPECT_FALSE(result);
    EXPECT_TRUE(stage.onStick().isEmpty());
}

TEST(CopyTree, ATargetThatCannotBeMadeIsFalse)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(stage.stick.filePath("file"), "in the way");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), stage.stick.filePath("file/copy"));

    EXPECT_FALSE(result);
}

TEST(CopyTree, AnExistingTargetIsFilledAndItsFilesAreNotReplaced)
{
    ExportStage stage;
    const QTemporaryDir source;
    writeFile(source.filePath("file"), "new");
    writeFile(stage.stick.filePath("file"), "old");
    writeFile(source.filePath("other"), "other");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), stage.stick.path());

    EXPECT_FALSE(result);
    EXPECT_EQ(contentOf(stage.stick.filePath("file")), "old");
    EXPECT_EQ(contentOf(stage.stick.filePath("other")), "other");
}

TEST(CopyTree, DoesNotSync)
{
    ExportStage stage;
    const QTemporaryDir source;
    QDir(source.path()).mkdir("sub");

    stage.inspector.copyDirectoryTree(source.path(), stage.stick.filePath("copy"));

    EXPECT_EQ(syncsOf(stage), 0);
}

namespace
{

/// A source with a folder that copies well among files that do; `bad` is then made to fail by a file that lies in the
/// way. The listing isn't sorted, so what comes before and after the folder is looked up.
struct AsymmetricTree
{
    AsymmetricTree()
    {
        makeFiles("before-");
        QDir(source.path()).mkdir("folder");
        writeFile(source.filePath("folder/inside"), "inside");
        makeFiles("after-");
        listing = QDir(source.path()).entryList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::Unsorted);
    }

    void makeFiles(const QString& prefix) const
    {
        for (int i = 0; i < 20; ++i)
        {
            writeFile(source.filePath(prefix + QString::number(i)), "contents");
        }
    }

    bool copiesWithObstacleAt(const QString& name)
    {
        const QString target = stage.stick.filePath("copy");
        QDir().mkpath(target);
        writeFile(target + "/" + name, "in the way");
        return stage.inspector.copyDirectoryTree(source.path(), target);
    }

    ExportStage stage;
    QTemporaryDir source;
    QStringList listing;
};

} // namespace

TEST(CopyTree, AFileThatFailsBeforeAFolderThatCopiesWellIsForgotten)
{
    AsymmetricTree tree;
    ASSERT_GT(tree.listing.indexOf("folder"), 0);

    EXPECT_TRUE(tree.copiesWithObstacleAt(tree.listing.first()));
}

TEST(CopyTree, AFileThatFailsAfterAFolderThatCopiesWellCounts)
{
    AsymmetricTree tree;
    ASSERT_LT(tree.listing.indexOf("folder"), tree.listing.size() - 1);

    EXPECT_FALSE(tree.copiesWithObstacleAt(tree.listing.last()));
}

TEST(CopyTree, AFolderThatFailsIsNotForgottenByFilesThatCopyWell)
{
    ExportStage stage;
    const QTemporaryDir source;
    QDir(source.path()).mkdir("folder");
    writeFile(source.filePath("folder/file"), "contents");
    for (int i = 0; i < 20; ++i)
    {
        writeFile(source.filePath(QString::number(i)), "contents");
    }
    QDir(stage.stick.path()).mkpath("copy/folder");
    writeFile(stage.stick.filePath("copy/folder/file"), "in the way");

    const bool result = stage.inspector.copyDirectoryTree(source.path(), stage.stick.filePath("copy"));

    EXPECT_FALSE(result);
    EXPECT_EQ(everythingIn(stage.stick.filePath("copy")).size(), 21);
}

TEST(InternalLogsRaw, CopiesTheConfiguredFolder)
{
    ExportStage stage;
    const QTemporaryDir internal;
    writeFile(internal.filePath("123456-1.blf"), "binary");
    qstrncpy(logConfig().internalPath, internal.path().toUtf8().constData(), LogConfig::PathSize);

    const bool result = stage.daemon.saveInternalLogsToUsbRaw();

    EXPECT_TRUE(result);
    EXPECT_TRUE(isTimed(QFileInfo(onlyFolder(stage)).fileName(), "rawlogs"));
    EXPECT_EQ(contentOf(onlyFolder(stage) + "/123456-1.blf"), "binary");
}

TEST(InternalLogsRaw, TakesNoLock)
{
    ExportStage stage;
    const QTemporaryDir internal;
    writeFile(internal.filePath("123456-1.blf"), "binary");
    qstrncpy(logConfig().internalPath, internal.path().toUtf8().constData(), LogConfig::PathSize);

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveInternalLogsToUsbRaw()); }));
}

TEST(InternalLogsRaw, WithNoDriveIsFalse)
{
    ExportStage stage;
    stage.platform.drives.clear();

    EXPECT_FALSE(stage.daemon.saveInternalLogsToUsbRaw());
}

TEST(CoreDumps, CopiesTheCrashFolder)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/zemo/crash");
    writeFile("/var/zemo/crash/core.17", "dump");

    const bool result = stage.daemon.saveCoreDumpsToUsb();

    EXPECT_TRUE(result);
    EXPECT_TRUE(isTimed(QFileInfo(onlyFolder(stage)).fileName(), "crash"));
    EXPECT_EQ(contentOf(onlyFolder(stage) + "/core.17"), "dump");
}

TEST(CoreDumps, AMissingCrashFolderGivesAnEmptyOneOnTheStickAndTrue)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir("/var/zemo/crash").removeRecursively();

    const bool result = stage.daemon.saveCoreDumpsToUsb();

    EXPECT_TRUE(result);
    EXPECT_TRUE(isTimed(QFileInfo(onlyFolder(stage)).fileName(), "crash"));
    EXPECT_TRUE(QDir(onlyFolder(stage)).isEmpty());
}

TEST(CoreDumps, TakesNoLock)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/zemo/crash");
    writeFile("/var/zemo/crash/core.17", "dump");

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveCoreDumpsToUsb()); }));
}

TEST(CoreDumps, WithNoDriveIsFalse)
{
    ExportStage stage;
    stage.platform.drives.clear();

    EXPECT_FALSE(stage.daemon.saveCoreDumpsToUsb());
}

TEST(SysLog, CopiesPlainFilesOfTheLogFolderAndTheWholeTreeOfThePlatformsTraceLessLinks)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/log/p7zemo/old");
    QDir().mkpath("/var/log/apt");
    writeFile("/var/log/messages", "messages");
    writeFile("/var/log/apt/history", "history");
    writeFile("/var/log/p7zemo/trace", "trace");
    writeFile("/var/log/p7zemo/old/trace.1", "older");
    QFile::link("/var/log/messages", "/var/log/p7zemo/link");

    const bool result = stage.daemon.saveSysLogToUsb();

    EXPECT_TRUE(result);
    const QStringList names = everythingIn(stage.stick.path());
    ASSERT_EQ(names.size(), 2);
    EXPECT_TRUE(isTimed(names[0], "p7zemo"));
    EXPECT_TRUE(isTimed(names[1], "syslog"));
    EXPECT_EQ(everythingIn(stage.stick.filePath(names[1])), QStringList{"messages"});
    EXPECT_EQ(everythingIn(stage.stick.filePath(names[0])), (QStringList{"old", "trace"}));
    EXPECT_EQ(contentOf(stage.stick.filePath(names[0] + "/old/trace.1")), "older");
    EXPECT_EQ(syncsOf(stage), 2);
}

TEST(SysLog, TheLastSyncComesBehindTheWholeTree)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    const QTemporaryDir elsewhere;
    QDir().mkpath("/var/log/p7zemo/old");
    writeFile("/var/log/p7zemo/trace", "trace");
    writeFile("/var/log/p7zemo/old/trace.1", "older");
    const FakeSync sync("cd " + stage.stick.path().toUtf8() + "; cat p7zemo-*/trace p7zemo-*/old/trace.1 >" +
                        elsewhere.path().toUtf8() + "/seen; exit 0");

    stage.daemon.saveSysLogToUsb();

    EXPECT_EQ(sync.runs(), 2);
    EXPECT_EQ(contentOf(elsewhere.filePath("seen")), "traceolder");
}

TEST(SysLog, TheTreeIsNamedByATimeOfItsOwn)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/log/p7zemo");
    const FakeSync untilTheNextSecond("now=$(date +%S); while [ $(date +%S) = $now ]; do sleep 0.05; done");

    stage.daemon.saveSysLogToUsb();

    const QStringList names = everythingIn(stage.stick.path());
    ASSERT_EQ(names.size(), 2);
    ASSERT_TRUE(isTimed(names[0], "p7zemo"));
    ASSERT_TRUE(isTimed(names[1], "syslog"));
    EXPECT_NE(names[0].mid(7), names[1].mid(7));
}

TEST(SysLog, TakesNoLock)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/log/p7zemo");
    writeFile("/var/log/messages", "messages");
    writeFile("/var/log/p7zemo/trace", "trace");

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveSysLogToUsb()); }));
}

TEST(SysLog, AMissingTreeOfThePlatformsTraceIsFalseWithTheLogFilesCopied)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir("/var/log/p7zemo").removeRecursively();
    writeFile("/var/log/messages", "messages");

    const bool result = stage.daemon.saveSysLogToUsb();

    EXPECT_FALSE(result);
    EXPECT_TRUE(isTimed(QFileInfo(onlyFolder(stage)).fileName(), "syslog"));
    EXPECT_EQ(contentOf(onlyFolder(stage) + "/messages"), "messages");
    EXPECT_EQ(syncsOf(stage), 2);
}

TEST(SysLog, TheSecondCopyRunsWhateverTheFirstGave)
{
    NEEDS_SANDBOX();
    ExportStage stage;
    QDir().mkpath("/var/log/p7zemo");
    writeFile("/var/log/p7zemo/trace", "trace");
    const QDateTime now = QDateTime::currentDateTime();
    for (int second = 0; second < 60; ++second)
    {
        QDir(stage.stick.path()).mkdir("syslog-" + now.addSecs(second).toString("yyyyMMdd-hhmmss"));
    }

    const bool result = stage.daemon.saveSysLogToUsb();

    EXPECT_FALSE(result);
    const QString first = everythingIn(stage.stick.path()).first();
    EXPECT_TRUE(isTimed(first, "p7zemo"));
    EXPECT_EQ(contentOf(stage.stick.filePath(first + "/trace")), "trace");
    EXPECT_EQ(syncsOf(stage), 1);
}

TEST(SysLog, WithNoDriveIsFalseAtOnceWithoutSync)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const bool result = stage.daemon.saveSysLogToUsb();

    EXPECT_FALSE(result);
    EXPECT_EQ(syncsOf(stage), 0);
}
