#include "SystemTest.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace
{

constexpr int Speed = 10;
const QDateTime Start(QDate(2024, 3, 5), QTime(14, 7, 9));
const QString TextLog = "20240305-123456-1.csv";

struct Rows
{
    QString heading;
    QList<qint64> times;
    QStringList values;
};

Rows rowsIn(const QString& path)
{
    Rows rows;
    QStringList lines = linesOf(path);
    rows.heading = lines.isEmpty() ? QString() : lines.takeFirst();
    for (const QString& line : std::as_const(lines))
    {
        rows.times << QDateTime::fromString(line.left(19), "yyyy-MM-dd hh:mm:ss").toSecsSinceEpoch();
        rows.values << line.mid(19);
    }
    return rows;
}

// Each row one second behind the one before.
bool areConsecutive(const QList<qint64>& times)
{
    return std::adjacent_find(times.begin(), times.end(),
                              [](qint64 left, qint64 right) { return right != left + 1; }) == times.end();
}

QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// The daemon's clock runs ten times as fast, and the parameters' values never change.
class Snapshots : public SystemTest
{
protected:
    QString startWithStick(const QByteArray& configuration = "")
    {
        stick = rig.scratch.makeStick("usb1");
        start(configuration, R"(, "drives": [")" + stick.toUtf8() + "\"]");
        return stick;
    }
    void start(const QByteArray& configuration = "", const QByteArray& more = "")
    {
        rig.setConfiguration(configuration);
        rig.setScenario(R"({"serial": "123456", "parameters": [
            {"id": 10, "unit": "l/s", "name": "Flow", "signal": {"kind": "constant", "value": 3}, "default": true},
            {"id": 20, "name": "Level", "signal": {"kind": "constant", "value": -4}, "default": true}])" +
                        more + "}");
        rig.scratch.writeFile("/var/zemo/var/log/zemologd/.keep", "");
        QFile::remove(internal(".keep"));
        fakeClock::runFrom(rig.daemon, Start, Speed);
        ASSERT_TRUE(rig.start());
    }
    QString internal(const QString& name = QString()) const
    {
        return rig.scratch.outside("/var/zemo/var/log/zemologd") + (name.isEmpty() ? "" : "/" + name);
    }
    // Until the daemon has sampled that often.
    void gatherHistory(uint samples)
    {
        const uint before = rig.platform.callCount("getValues");
        ASSERT_TRUE(waitUntil([&] { return rig.platform.callCount("getValues") >= before + samples; }));
    }
    // Writes each sample to a file that snapshots can be held against.
    QString startReference()
    {
        rig.logd().configureCustomLogUsb(1, "reference", {10});
        EXPECT_TRUE(rig.logd().startCustomLogUsb(1, 1, false));
        return stick + "/reference-123456-1.csv";
    }
    bool waitForSampleAfter(const QString& reference, qint64 time)
    {
        return waitUntil([&] { return rowsIn(reference).times.value(rowsIn(reference).times.size() - 1) > time; });
    }

    // Every sample up to the snapshot's last row is in it once. That of the second in which the history was read may be
    // missing: it can have come before the snapshot listened, and the history ends a second earlier.
    static void expectOnceEach(const QList<qint64>& samples, const QList<qint64>& rows)
    {
        qsizetype missing = 0;
        for (const qint64 sample : samples)
        {
            if (sample <= rows.last())
            {
                missing += rows.contains(sample) ? 0 : 1;
                EXPECT_LE(rows.count(sample), 1) << sample;
            }
        }
        EXPECT_LE(missing, 1);
    }

    QString stick;
};

} // namespace

// To the stick

TEST_F(Snapshots, WithTheDefaultsTheFileIsCompleteWhenTheCallHasReturnedFalse)
{
    startWithStick();
    gatherHistory(10);

    EXPECT_FALSE(rig.logd().saveRamLogToUsb(""));

    const Rows rows = rowsIn(stick + "/" + TextLog);
    EXPECT_EQ(rows.heading, "\tFlow [l/s]\tLevel");
    EXPECT_GE(rows.times.size(), 8);
    EXPECT_TRUE(areConsecutive(rows.times));
    EXPECT_EQ(rows.values.count("\t3\t-4"), rows.values.size());
    gatherHistory(3);
    EXPECT_EQ(rowsIn(stick + "/" + TextLog).times, rows.times);
}

TEST_F(Snapshots, AHistoryLongerThanTheLogBeginsWithTheFirstSample)
{
    startWithStick();
    const QString reference = startReference();
    gatherHistory(5);

    rig.logd().saveRamLogToUsb("").waitForFinished();

    EXPECT_GE(rowsIn(stick + "/" + TextLog).times.value(0), Start.toSecsSinceEpoch());
    EXPECT_LE(rowsIn(stick + "/" + TextLog).times.value(0), rowsIn(reference).times.value(0));
}

TEST_F(Snapshots, AShorterHistoryBeginsThatManySecondsAgo)
{
    startWithStick("[usb]\nhistory = 5\n");
    gatherHistory(20);

    rig.logd().saveRamLogToUsb("").waitForFinished();

    EXPECT_EQ(rowsIn(stick + "/" + TextLog).times.size(), 5);
}

TEST_F(Snapshots, AFutureIsRecordedUntilItsEndWithNoSampleTwiceAndAtMostOneMissing)
{
    startWithStick("[usb]\nfuture = 5\n");
    const QString reference = startReference();
    gatherHistory(10);

    EXPECT_TRUE(rig.logd().saveRamLogToUsb(""));
    const qint64 atReturn = rowsIn(stick + "/" + TextLog).times.last();
    ASSERT_TRUE(waitForSampleAfter(reference, atReturn + 10));

    const Rows rows = rowsIn(stick + "/" + TextLog);
    expectOnceEach(rowsIn(reference).times, rows.times);
    EXPECT_GE(rows.times.last(), atReturn + 3);
    EXPECT_LE(rows.times.last(), atReturn + 8);
}

TEST_F(Snapshots, APathThatClimbsOutOfTheStickIsRefused)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().saveRamLogToUsb("../"));

    EXPECT_TRUE(rig.daemon.waitForTrace("Path should be relative to USB root: ../"));
    EXPECT_EQ(namesIn(stick), QStringList());
}

TEST_F(Snapshots, ALinkOnTheStickThatLeadsOutOfItIsRefused)
{
    startWithStick();
    const QString outside = rig.scratch.makeStick("elsewhere");
    ASSERT_TRUE(QFile::link(outside, stick + "/link"));

    EXPECT_FALSE(rig.logd().saveRamLogToUsb("link"));

    EXPECT_TRUE(rig.daemon.waitForTrace("Path should be relative to USB root: link"));
    EXPECT_EQ(namesIn(outside), QStringList());
}

TEST_F(Snapshots, AnAbsentFolderIsRefusedAndNotMade)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().saveRamLogToUsb("absent"));

    EXPECT_TRUE(rig.daemon.waitForTrace("Path should be relative to USB root: absent"));
    EXPECT_EQ(namesIn(stick), QStringList());
}

TEST_F(Snapshots, AFolderOnTheStickIsTaken)
{
    startWithStick();
    ASSERT_TRUE(QDir(stick).mkdir("logs"));

    rig.logd().saveRamLogToUsb("logs").waitForFinished();

    EXPECT_EQ(namesIn(stick + "/logs"), QStringList(TextLog));
}

TEST_F(Snapshots, WithoutAStickThereIsACriticalMessageAndNoFile)
{
    start("[usb]\nfuture = 5\n");

    EXPECT_FALSE(rig.logd().saveRamLogToUsb(""));
    EXPECT_FALSE(rig.logd().saveInternalLogToUsb(0, ""));

    EXPECT_TRUE(rig.daemon.waitForTrace("no USB stick"));
}

// To internal memory

TEST_F(Snapshots, TheFirstInternalLogHasIdZeroAndGrowsUntilItsEnd)
{
    startWithStick("[internal]\nfuture = 5\n");
    const QString reference = startReference();
    gatherHistory(3);

    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 0u);
    const qint64 atReturn = QFileInfo(internal("123456-1.blf")).size();
    ASSERT_TRUE(waitForSampleAfter(reference, rowsIn(reference).times.last() + 10));
    const qint64 atEnd = QFileInfo(internal("123456-1.blf")).size();
    gatherHistory(3);

    EXPECT_GT(atEnd, atReturn);
    EXPECT_EQ(QFileInfo(internal("123456-1.blf")).size(), atEnd);
}

TEST_F(Snapshots, TheQueuedLivePartLosesNoRowAndGetsNoneAfterTheStop)
{
    constexpr int Future = 30;
    startWithStick("[internal]\nfuture = 30\n");
    const QString reference = startReference();
    gatherHistory(5);

    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 0u);
    const qint64 begin = rowsIn(reference).times.last();
    ASSERT_TRUE(waitForSampleAfter(reference, begin + Future + 5));
    ASSERT_TRUE(rig.logd().saveInternalLogToUsb(0, ""));

    const QDateTime written = QFileInfo(internal("123456-1.blf")).lastModified();
    const Rows converted = rowsIn(stick + "/" + written.toString("yyyyMMdd") + "-123456-1.csv");
    EXPECT_EQ(converted.heading, "\tFlow [l/s]\tLevel");
    EXPECT_EQ(converted.values.count("\t3\t-4"), converted.values.size());
    EXPECT_GE(converted.times.last(), begin + Future - 2);
    EXPECT_LE(converted.times.last(), begin + Future + 3);
    expectOnceEach(rowsIn(reference).times, converted.times);
}

TEST_F(Snapshots, TheNumberingGoesOnBehindARestartOfTheDaemon)
{
    startWithStick();
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 0u);
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 1u);

    rig.daemon.stop();
    ASSERT_TRUE(rig.startDaemon());

    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 2u);
    EXPECT_TRUE(rig.logd().removeLogFromInternalMem(1));
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 1u);
    EXPECT_EQ(namesIn(internal()), QStringList({"123456-1.blf", "123456-2.blf", "123456-3.blf"}));
}

TEST_F(Snapshots, OneThatIsTakenWithoutThePlatformHasAnIdOfItsOwn)
{
    startWithStick();
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 0u);

    rig.platform.stop();
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 1u);
    ASSERT_TRUE(rig.startPlatform());
    EXPECT_EQ(namesIn(internal()), QStringList({"123456-1.blf", "123456-2.blf"}));
    EXPECT_TRUE(rig.logd().removeLogFromInternalMem(1));

    EXPECT_EQ(namesIn(internal()), QStringList("123456-1.blf"));
}

TEST_F(Snapshots, ARemovalDuringTheFutureEndsTheSnapshotAndFreesItsId)
{
    startWithStick();
    rig.logd().saveRamLogToInternalMem().waitForFinished();

    EXPECT_TRUE(rig.logd().removeLogFromInternalMem(0));
    gatherHistory(3);

    EXPECT_EQ(namesIn(internal()), QStringList());
    EXPECT_TRUE(rig.logd().removeLogFromInternalMem(0));
    EXPECT_EQ(rig.logd().saveRamLogToInternalMem().value(), 0u);
}

TEST_F(Snapshots, TwoSnapshotsAtOnceBothGrow)
{
    startWithStick();
    gatherHistory(3);
    rig.logd().saveRamLogToInternalMem().waitForFinished();
    rig.logd().saveRamLogToInternalMem().waitForFinished();
    const qint64 first = QFileInfo(internal("123456-1.blf")).size();
    const qint64 second = QFileInfo(internal("123456-2.blf")).size();

    EXPECT_TRUE(waitUntil([&] { return QFileInfo(internal("123456-1.blf")).size() > first; }));
    EXPECT_TRUE(waitUntil([&] { return QFileInfo(internal("123456-2.blf")).size() > second; }));
}

TEST_F(Snapshots, AnInternalLogWithoutAFileIsNotConverted)
{
    startWithStick();

    EXPECT_FALSE(rig.logd().saveInternalLogToUsb(7, ""));

    EXPECT_EQ(namesIn(stick), QStringList());
}

TEST_F(Snapshots, TheMainLogGoesOnBesideSnapshotsOfEachKind)
{
    startWithStick("[usb]\nfuture = 5\n");
    ASSERT_TRUE(rig.logd().startLogUsb(1, false, "default"));
    gatherHistory(3);

    EXPECT_TRUE(rig.logd().saveRamLogToUsb(""));
    rig.logd().saveRamLogToInternalMem().waitForFinished();
    EXPECT_TRUE(rig.logd().isUsbLogActive());
    const qsizetype lines = linesOf(stick + "/" + TextLog).size();

    EXPECT_TRUE(waitForLines(stick + "/" + TextLog, lines + 5));
}
