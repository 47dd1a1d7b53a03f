#include "SystemTest.h"

#include <QDir>

using RigTest = SystemTest;

TEST(TraceLine, EveryPartOfAMessageIsTakenApart)
{
    const TraceLine line =
        TraceLine::parse("14:07:09.250 err LogDaemon: No (good) drive: /a:b (src/LogDaemon.cpp:42 second)");

    EXPECT_EQ(line.time, "14:07:09.250");
    EXPECT_EQ(line.level, "err");
    EXPECT_EQ(line.module, "LogDaemon");
    EXPECT_EQ(line.text, "No (good) drive: /a:b");
    EXPECT_EQ(line.file, "src/LogDaemon.cpp");
    EXPECT_EQ(line.line, 42);
    EXPECT_EQ(line.function, "second");
    EXPECT_EQ(line.summary(), "err LogDaemon: No (good) drive: /a:b");
}

TEST(TraceLine, WhatIsNoMessageIsAllText)
{
    const TraceLine line = TraceLine::parse("ld.so: cannot be preloaded: ignored.");

    EXPECT_EQ(line.module, "");
    EXPECT_EQ(line.summary(), "ld.so: cannot be preloaded: ignored.");
}

TEST(ScratchTest, LiesInTheFolderThatIsChosen)
{
    const QByteArray before = qgetenv("ZEMO_SCRATCH");
    const auto restore = qScopeGuard([&] { qputenv("ZEMO_SCRATCH", before); });
    const QTemporaryDir chosen;
    qputenv("ZEMO_SCRATCH", chosen.path().toUtf8());
    EXPECT_EQ(QFileInfo(Scratch().root()).path(), QFileInfo(chosen.path()).canonicalFilePath());
    qputenv("ZEMO_SCRATCH", "");
    EXPECT_EQ(QFileInfo(Scratch().root()).path(), QFileInfo("/tmp").canonicalFilePath());
}

// Else the machine's own files would be written.
TEST(ScratchDeathTest, ThatCannotBeMadeEndsTheRun)
{
    EXPECT_DEATH(
        {
            qputenv("ZEMO_SCRATCH", "/nonexistent");
            const Scratch scratch;
        },
        "can't make a scratch directory");
}

TEST_F(RigTest, AMessageOfSeveralLinesIsOne)
{
    ASSERT_TRUE(rig.start());

    const QStringList messages = rig.daemon.summaries("Main");

    EXPECT_EQ(messages.filter("Current configuration").value(0).count('\n'), 12);
}

TEST_F(RigTest, SignalsAreCountedFromBeforeTheDaemonsFirst)
{
    ASSERT_TRUE(rig.start());
    rig.settle();

    EXPECT_EQ(rig.logdSignals().names(), QStringList{"logDaemonStarted"});
}

TEST_F(RigTest, ThePlatformIsSteeredAndCountsItsCalls)
{
    ASSERT_TRUE(rig.start());
    const uint before = rig.platform.callCount("getSerial");

    ASSERT_TRUE(rig.platform.setDefaultLog({1001, 1000}));

    EXPECT_EQ(rig.platform.callCount("getSerial"), before);
    EXPECT_TRUE(waitUntil([&] { return rig.platform.callCount("getValues") >= 2; }));
    EXPECT_FALSE(rig.platform.lastIds().isEmpty());
}

TEST_F(RigTest, AFakeClockRunsAtItsOwnSpeed)
{
    fakeClock::runFrom(rig.daemon, QDateTime(QDate(2024, 3, 5), QTime(23, 56, 0)), 30);
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, "default").value());

    EXPECT_FALSE(waitForFile(stick, "20240305-*.csv").isEmpty());
    EXPECT_FALSE(waitForFile(stick, "20240306-*.csv").isEmpty());
}

TEST_F(RigTest, ASteeredClockCanBeSetWhileTheDaemonRuns)
{
    fakeClock::steer(rig.daemon, rig.scratch);
    fakeClock::set(rig.scratch, QDateTime(QDate(2024, 3, 5), QTime(12, 0)));
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, "default").value());
    ASSERT_FALSE(waitForFile(stick, "20240305-*.csv").isEmpty());

    fakeClock::set(rig.scratch, QDateTime(QDate(2024, 7, 1), QTime(12, 0)));

    EXPECT_FALSE(waitForFile(stick, "20240701-*.csv").isEmpty());
}

TEST_F(RigTest, ASizedStickIsSeenThroughTheDaemon)
{
    REQUIRE_BUBBLEWRAP();
    const QString stick = rig.daemon.addSizedStick("small", 200'000);
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.platform.insertDrive(stick));
    ASSERT_TRUE(rig.waitForStick(stick));

    ASSERT_TRUE(rig.logd().startLogUsb(1, false, "default").value());

    const QString log = waitForFile(rig.daemon.seen(stick), "*.csv");
    EXPECT_TRUE(waitForLines(log, 2));
    EXPECT_TRUE(QDir(stick).isEmpty());
}

TEST_F(RigTest, ADeadBusCanBeReplacedByAnother)
{
    ASSERT_TRUE(rig.startBus());
    const QString first = rig.bus.address();

    rig.bus.stop();

    ASSERT_TRUE(rig.startBus());
    EXPECT_NE(rig.bus.address(), first);
    EXPECT_FALSE(rig.bus.hasName("com.tarn.zemo.logd"));
}
