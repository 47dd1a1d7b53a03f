#include "SystemTest.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <csignal>

namespace
{

const QString sandboxProgram = QStringLiteral(ZEMO_TOOLS "/sandbox");

/// What a shell line did inside.
struct Outcome
{
    std::optional<int> code;
    QStringList output;
};

QProcessEnvironment environmentFor(const QString& kind)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ZEMO_SANDBOX"), kind);
    return environment;
}

} // namespace

/// The sandbox by itself, once for each of the two programs that can make it.
class SandboxTest : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        if (Rig::sandboxKind() != QLatin1String("bwrap") && GetParam() != std::string("proot"))
            GTEST_SKIP() << "no bubblewrap here";
    }

    QStringList arguments(const QStringList& options, const QString& line) const
    {
        return QStringList{"--quiet", "--root", scratch.root()} + options + QStringList{"--", "sh", "-c", line};
    }

    Outcome run(const QString& line, const QStringList& options = {})
    {
        ChildProcess process;
        Outcome outcome;
        if (process.start(sandboxProgram, arguments(options, line), environmentFor(GetParam())))
            outcome.code = process.waitForEnd();
        outcome.output = process.outputLines();
        return outcome;
    }

    Scratch scratch;
};

TEST_P(SandboxTest, TheExitCodeIsTheOneOfTheCommand)
{
    EXPECT_EQ(run("exit 7").code, 7);
}

TEST_P(SandboxTest, WhatIsWrittenToTheFixedPathsLandsInTheScratchDirectory)
{
    run("echo a >/etc/zemologd.conf; echo b >/var/zemo/var/data/x; echo c >/var/log/y");

    EXPECT_EQ(linesOf(scratch.root() + "/etc/zemologd.conf"), QStringList{"a"});
    EXPECT_EQ(linesOf(scratch.root() + "/var/zemo/var/data/x"), QStringList{"b"});
    EXPECT_EQ(linesOf(scratch.root() + "/var/log/y"), QStringList{"c"});
    EXPECT_FALSE(QFile::exists("/etc/zemologd.conf"));
    EXPECT_FALSE(QFile::exists("/var/zemo/var/data/x"));
}

TEST_P(SandboxTest, AProgramOfTheScratchDirectoryStandsInUsrBinAndTheOthersStay)
{
    const bool existedHere = QFile::exists("/usr/bin/getdebugfile.sh");
    scratch.writeFile("/usr/bin/getdebugfile.sh", "#!/bin/sh\necho \"$@\"\n");

    const Outcome outcome = run("/usr/bin/getdebugfile.sh USB x sys_info && test -x /usr/bin/env");

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output, QStringList{"USB x sys_info"});
    EXPECT_EQ(QFile::exists("/usr/bin/getdebugfile.sh"), existedHere);
}

TEST_P(SandboxTest, AStickHasTheSamePathOnBothSides)
{
    const QString stick = scratch.makeStick("usb1");

    EXPECT_EQ(run("mkdir " + stick + "/folder && mv " + stick + "/folder " + stick + "/moved").code, 0);

    EXPECT_EQ(QDir(stick).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList{"moved"});
}

TEST_P(SandboxTest, TheBusIsTheOneThatWasAskedForAndNoOther)
{
    EXPECT_EQ(run("echo $DBUS_SYSTEM_BUS_ADDRESS").output, QStringList{""});
    EXPECT_EQ(run("echo $DBUS_SYSTEM_BUS_ADDRESS", {"--bus", "unix:path=/x"}).output, QStringList{"unix:path=/x"});
    EXPECT_NE(run("test -e /run/dbus/system_bus_socket").code, 0);
}

TEST_P(SandboxTest, AVariableIsSetForTheCommandWithItsSpaces)
{
    EXPECT_EQ(run("echo \"$FAKETIME\"", {"--setenv", "FAKETIME", "@2024-03-05 14:07:09 x2"}).output,
              QStringList{"@2024-03-05 14:07:09 x2"});
}

TEST_P(SandboxTest, ATerminationReachesTheCommandWhichEndsAsItLikes)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(sandboxProgram,
                              arguments({}, "trap 'exit 3' TERM; echo ready; while :; do read line; done <>/dev/ptmx"),
                              environmentFor(GetParam())));
    ASSERT_TRUE(waitUntil([&] { return !process.outputLines().isEmpty(); }));

    EXPECT_EQ(process.terminate(), 3);
}

TEST_P(SandboxTest, TheCommandDiesWithTheSandbox)
{
    const QString pidFile = scratch.root() + "/run/pid";
    ChildProcess process;
    ASSERT_TRUE(process.start(sandboxProgram, arguments({"--pid-file", pidFile}, "exec sleep 1000"),
                              environmentFor(GetParam())));
    ASSERT_TRUE(waitForLines(pidFile, 1));
    const auto pid = static_cast<pid_t>(linesOf(pidFile).first().toInt());
    ASSERT_EQ(::kill(pid, 0), 0);

    process.kill();

    // A zombie of another parent still takes signals, but has no command line any more.
    const QString commandLine = QStringLiteral("/proc/%1/cmdline").arg(pid);
    EXPECT_TRUE(waitUntil([&] { return linesOf(commandLine).isEmpty(); }));
}

TEST_P(SandboxTest, ACallerMayTakeAwayAFolderThatHisCaseMustNotHave)
{
    ASSERT_TRUE(QDir(scratch.outside("/var/zemo/crash")).removeRecursively());

    EXPECT_EQ(run("test -e /var/zemo/crash").code, 1);
}

TEST_P(SandboxTest, AFileForTheProcessIdThatCannotBeWrittenIsToldWithTheCodeOfTheSandbox)
{
    EXPECT_EQ(run("true", {"--pid-file", scratch.root() + "/missing/pid"}).code, 125);
}

TEST(SandboxOptionsTest, AMistakeIsToldByItsNameAndWithACodeOfItsOwn)
{
    const std::pair<QStringList, QString> mistakes[] = {
        {{"--root"}, "sandbox: --root lacks a value (try --help)"},
        {{"--root", "", "--prepare"}, "sandbox: --root is empty (try --help)"},
        {{"--setenv", "NAME"}, "sandbox: --setenv lacks a value (try --help)"},
        {{"--size", "5", "--tmpfs"}, "sandbox: --tmpfs lacks a value (try --help)"},
        {{"--size", "5", "--", "true"}, "sandbox: --size needs --tmpfs behind it"},
        {{"--quiet"}, "sandbox: no command given (try --help)"},
    };
    for (const auto& [options, message] : mistakes)
    {
        ChildProcess process;
        ASSERT_TRUE(process.start(sandboxProgram, options));

        EXPECT_EQ(process.waitForEnd(), 125);
        EXPECT_EQ(process.errorLines(), QStringList{message});
    }
}

TEST(SandboxOptionsTest, ARootThatCannotBeMadeOrFilledIsToldWithTheCodeOfTheSandbox)
{
    const QTemporaryDir folder;
    const QString file = folder.filePath("bin");
    QFile plain(file);
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), file);
    const std::pair<QStringList, QString> mistakes[] = {
        {{"--root", file + "/x"}, "sandbox: " + file + "/x can't be made"},
        {{"--root", folder.path()}, "sandbox: " + folder.path() + " can't be filled"},
        {{}, "sandbox: no folder can be made for ROOT"},
    };
    for (const auto& [options, message] : mistakes)
    {
        ChildProcess process;
        ASSERT_TRUE(process.start(sandboxProgram, options + QStringList{"--prepare"}, environment));

        EXPECT_EQ(process.waitForEnd(), 125);
        EXPECT_EQ(process.errorLines().value(process.errorLines().size() - 1), message);
    }
}

TEST(SandboxOptionsTest, AnUnknownKindOfSandboxIsToldAsSuchAndNothingIsLeftBehind)
{
    const QTemporaryDir temporary;
    QProcessEnvironment environment = environmentFor("chroot");
    environment.insert(QStringLiteral("TMPDIR"), temporary.path());
    for (const QStringList& options : {QStringList{"--kind"}, QStringList{"--", "true"}})
    {
        ChildProcess process;
        ASSERT_TRUE(process.start(sandboxProgram, options, environment));

        EXPECT_EQ(process.waitForEnd(), 125);
        EXPECT_EQ(process.errorLines(), QStringList{"sandbox: ZEMO_SANDBOX=chroot is none of bwrap, proot and none"});
        EXPECT_EQ(process.outputLines(), QStringList());
    }
    EXPECT_TRUE(QDir(temporary.path()).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, SandboxTest, testing::Values("bwrap", "proot"),
                         [](const auto& parameter) { return std::string(parameter.param); });

using BubblewrapTest = SystemTest;

TEST_F(BubblewrapTest, NothingOutsideTheScratchDirectoryCanBeWritten)
{
    REQUIRE_BUBBLEWRAP();
    const QString line =
        "for d in / /usr /usr/bin /tmp /home " ZEMO_TOOLS "; do touch $d/zemo-probe && exit 1; done; exit 0";
    ChildProcess process;

    ASSERT_TRUE(process.start(sandboxProgram, {"--root", rig.scratch.root(), "--", "sh", "-c", line}));

    EXPECT_EQ(process.waitForEnd(), 0);
}

TEST_F(BubblewrapTest, ASizedStickFillsUpAndIsSeenThroughTheProcessAlone)
{
    REQUIRE_BUBBLEWRAP();
    const QString stick = rig.scratch.makeStick("small");
    const QString line = QStringLiteral("head -c 300000 /dev/zero >%1/f; echo $?; stat -c %s %1/f").arg(stick);
    ChildProcess process;

    ASSERT_TRUE(process.start(
        sandboxProgram, {"--root", rig.scratch.root(), "--size", "100000", "--tmpfs", stick, "--", "sh", "-c", line}));
    process.waitForEnd();

    EXPECT_EQ(process.outputLines(), (QStringList{"1", "102400"}));
    EXPECT_TRUE(QDir(stick).isEmpty());
}
