#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonInspector.h"
#include "LoggerTestSupport.h"
#include "RunOnQueue.h"
#include "logging/BinaryLogger.h"
#include "logging/RAMLogger.h"

#include <QCoreApplication>
#include <QDir>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <optional>

namespace
{

constexpr int Head = 8;   // of a binary log, without its table
constexpr int Column = 4; // of the table
constexpr int Row = 8;    // with one 32-bit column

QDateTime now()
{
    return QDateTime::currentDateTimeUtc();
}

uint32_t nowSecs()
{
    return static_cast<uint32_t>(QDateTime::currentSecsSinceEpoch());
}

QStringList filesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// Whether this process holds a descriptor of the file.
bool isOpen(const QString& path)
{
    const QFileInfoList descriptors = QDir("/proc/self/fd").entryInfoList(QDir::System | QDir::Files);
    return std::any_of(descriptors.begin(), descriptors.end(),
                       [&](const QFileInfo& descriptor) { return descriptor.symLinkTarget() == path; });
}

struct TextRow
{
    uint32_t time;
    QByteArray values;
};

// The rows behind the heading, which is checked.
QList<TextRow> rowsOf(const QString& path, const QByteArray& heading)
{
    QByteArrayList lines = contentOf(path).split('\n');
    EXPECT_EQ(lines.takeLast(), "");
    EXPECT_EQ(lines.takeFirst(), heading);
    QList<TextRow> rows;
    for (const QByteArray& line : lines)
    {
        const QDateTime time = QDateTime::fromString(QString::fromLatin1(line.left(19)), "yyyy-MM-dd hh:mm:ss");
        rows.append({static_cast<uint32_t>(time.toSecsSinceEpoch()), line.mid(19)});
    }
    return rows;
}

QList<uint32_t> timesIn(const QByteArray& binaryLog, int columns = 1)
{
    QList<uint32_t> times;
    for (qsizetype at = Head + Column * columns; at + Row <= binaryLog.size(); at += Row)
    {
        times.append(qFromBigEndian<uint32_t>(binaryLog.constData() + at));
    }
    return times;
}

// 0 for a log without rows.
uint32_t lastTimeIn(const QString& path)
{
    const QList<uint32_t> times = timesIn(contentOf(path));
    return times.value(times.size() - 1);
}

// Counts how often it was stopped.
class CountingLogger : public Logger
{
public:
    CountingLogger(int kind, uint32_t index)
        : Logger(kind, index, nullptr)
    {
    }
    bool start(bool /*continueLog*/) override
    {
        return true;
    }
    bool stop() override
    {
        ++stops;
        return true;
    }
    bool log(uint32_t /*time*/, QMap<int32_t, DataValue> /*values*/) override
    {
        return true;
    }
    void updateParameters(QMap<int32_t, Metadata> /*parameters*/) override
    {
    }

    int stops = 0;
};

QStringList criticalMessages;

void keepCritical(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtCriticalMsg)
    {
        criticalMessages << text;
    }
}

class CriticalMessages
{
public:
    CriticalMessages()
        : before(qInstallMessageHandler(keepCritical))
    {
        criticalMessages.clear();
    }
    ~CriticalMessages()
    {
        qInstallMessageHandler(before);
    }
    CriticalMessages(const CriticalMessages&) = delete;
    CriticalMessages& operator=(const CriticalMessages&) = delete;

private:
    QtMessageHandler before;
};

// A daemon on this thread with a stick in, internal memory, and the one parameter 10 in the RAM log. It ticks only when
// told to.
class LogDaemonRamLog : public testing::Test
{
protected:
    LogDaemonRamLog()
    {
        setDefaults(logConfig());
        useInternalPath(memory.path());
        platform.addParameter(10, "Flow", "l/s", 7);
        platform.defaultLog = {10};
        daemon.emplace(nullptr);
        inspector.emplace(*daemon);
        inspector->secondTimer().stop();
        inspector->minuteTimer().stop();
        inspector->usbPath() = stick.path();
        platform.clearTrace();
    }
    ~LogDaemonRamLog() override
    {
        for (Logger* logger : inspector->pendingSaves())
        {
            logger->stop();
            delete logger;
        }
        daemon.reset();
        deleteDeferred();
    }

    static void useInternalPath(const QString& path)
    {
        const QByteArray bytes = path.toUtf8();
        ASSERT_LT(bytes.size(), qsizetype(LogConfig::PathSize));
        std::copy(bytes.cbegin(), bytes.cend() + 1, logConfig().internalPath);
    }
    QString usbLog(int number = 1, const QString& folder = QString()) const
    {
        return QDir(stick.path())
            .filePath(folder + QDate::currentDate().toString("yyyyMMdd") + "-123456-" + QString::number(number) +
                      ".csv");
    }
    QString internalLog(uint32_t id) const
    {
        return memory.filePath("123456-" + QString::number(id + 1) + ".blf");
    }
    QMap<int32_t, DataValue> valuesOf(long long value)
    {
        platform.values[10].setIntValue(value);
        return platform.values;
    }
    // What the tick hands out.
    void sample(uint32_t time, long long value = 7)
    {
        emit daemon->valuesUpdated(time, valuesOf(value));
    }
    // The folder's name has a letter that takes two bytes in UTF-8.
    QString useInternalFolderWithUmlaut()
    {
        const QString folder = memory.filePath(QString::fromUtf8("Speicher f\xc3\xbcr Logs"));
        QDir().mkpath(folder);
        useInternalPath(folder);
        return folder;
    }
    // Whether `act` asks the platform something, and leaves the state open each time.
    template <class Act> bool leavesTheStateOpen(Act act)
    {
        QList<bool> open;
        platform.onCall = [&](const char*) { open.append(inspector->isStateMutexFree()); };
        act();
        platform.onCall = nullptr;
        return !open.isEmpty() && !open.contains(false);
    }
    // As if the snapshot's end had come.
    void bringToItsEnd(Logger* logger)
    {
        inspector->pendingSaves().remove(inspector->pendingSaves().key(logger));
        inspector->pendingSaves().insert(now().addMSecs(-1), logger);
    }
    Logger* onlyPending()
    {
        EXPECT_EQ(inspector->pendingSaves().size(), 1);
        return inspector->pendingSaves().first();
    }
    void expectPathRefused(const QString& path)
    {
        EXPECT_EQ(inspector->getUsbPath(stick.path(), path), QString());
        EXPECT_EQ(platform.traceCount("LogDaemon", 4, "getUsbPath",
                                      "Path should be relative to USB root: " + path.toStdString()),
                  1);
    }

    FakePlatform platform;
    QTemporaryDir stick;
    QTemporaryDir memory;
    std::optional<LogDaemon> daemon;
    std::optional<LogDaemonInspector> inspector;
};

} // namespace

// getUsbPath

TEST_F(LogDaemonRamLog, AnEmptyRelativePathGivesTheRootOfTheStick)
{
    EXPECT_EQ(inspector->getUsbPath(stick.path(), ""), QDir(stick.path()).canonicalPath());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(LogDaemonRamLog, AFolderOnTheStickIsGivenInCanonicalForm)
{
    QDir(stick.path()).mkpath("logs/pump");

    EXPECT_EQ(inspector->getUsbPath(stick.path(), "logs/./pump/../pump"),
              QDir(stick.path()).canonicalPath() + "/logs/pump");
}

TEST_F(LogDaemonRamLog, AnAbsolutePathOnTheStickIsTaken)
{
    QDir(stick.path()).mkpath("logs");

    EXPECT_EQ(inspector->getUsbPath(stick.path(), stick.filePath("logs")), stick.filePath("logs"));
}

TEST_F(LogDaemonRamLog, AnAbsolutePathElsewhereIsRefused)
{
    expectPathRefused("/etc");
}

TEST_F(LogDaemonRamLog, APathThatClimbsOutOfTheStickIsRefused)
{
    expectPathRefused("..");
}

TEST_F(LogDaemonRamLog, AFolderThatIsNotThereIsRefusedWithTheSameMessage)
{
    expectPathRefused("absent");
    EXPECT_TRUE(filesIn(stick.path()).isEmpty());
}

TEST_F(LogDaemonRamLog, ALinkThatLeadsOutOfTheStickIsRefused)
{
    QFile::link("/etc", stick.filePath("link"));

    expectPathRefused("link");
}

TEST_F(LogDaemonRamLog, ALinkWithinTheStickIsResolved)
{
    QDir(stick.path()).mkpath("logs");
    QFile::link(stick.filePath("logs"), stick.filePath("link"));

    EXPECT_EQ(inspector->getUsbPath(stick.path(), "link"), stick.filePath("logs"));
}

TEST_F(LogDaemonRamLog, ASiblingWhoseNameBeginsWithTheNameOfTheMountPointPasses)
{
    QDir(stick.path()).mkpath("usb");
    QDir(stick.path()).mkpath("usb2");

    EXPECT_EQ(inspector->getUsbPath(stick.filePath("usb"), "../usb2"), stick.filePath("usb2"));
}

TEST_F(LogDaemonRamLog, ASiblingWhoseNameDiffersInUpperAndLowerCaseOnlyIsRefused)
{
    QDir(stick.path()).mkpath("usb");
    QDir(stick.path()).mkpath("USB");

    EXPECT_EQ(inspector->getUsbPath(stick.filePath("usb"), "../USB"), QString());
}

TEST_F(LogDaemonRamLog, AMountPointReachedThroughALinkIsTheStickAllTheSame)
{
    QDir(stick.path()).mkpath("usb/logs");
    QFile::link(stick.filePath("usb"), stick.filePath("link"));

    EXPECT_EQ(inspector->getUsbPath(stick.filePath("link"), "logs"), stick.filePath("usb/logs"));
}

TEST_F(LogDaemonRamLog, AMountPointThatIsGoneRefusesEveryPath)
{
    EXPECT_EQ(inspector->getUsbPath(stick.filePath("gone"), "/etc"), QString());
    EXPECT_EQ(inspector->getUsbPath(stick.filePath("gone"), ""), QString());

    EXPECT_EQ(platform.traceTexts("LogDaemon", 4).size(), 2u);
}

TEST_F(LogDaemonRamLog, WithoutAStickThereIsACriticalMessageAndNoPath)
{
    const CriticalMessages messages;

    EXPECT_EQ(inspector->getUsbPath("", "logs"), QString());

    EXPECT_EQ(criticalMessages, QStringList("no USB stick"));
    EXPECT_TRUE(platform.trace().empty());
}

// Pending snapshots

TEST_F(LogDaemonRamLog, ASnapshotWhoseEndHasPassedIsStoppedAndDeletedAtOnce)
{
    auto* logger = new CountingLogger(Logger::CsvLog, 0);
    const QPointer<Logger> alive = logger;

    EXPECT_FALSE(inspector->addPendingSave(logger, now()));

    EXPECT_EQ(logger->stops, 1);
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    deleteDeferred();
    EXPECT_TRUE(alive.isNull());
}

TEST_F(LogDaemonRamLog, ASnapshotWithAFutureIsKeptUnderItsEnd)
{
    auto* logger = new CountingLogger(Logger::CsvLog, 0);
    const QDateTime end = now().addSecs(60);

    EXPECT_TRUE(inspector->addPendingSave(logger, end));

    EXPECT_EQ(logger->stops, 0);
    EXPECT_EQ(inspector->pendingSaves(), (QMap<QDateTime, Logger*>{{end, logger}}));
}

TEST_F(LogDaemonRamLog, OfTwoSnapshotsWithTheSameEndTheSecondTakesThePlaceAndTheFirstIsLeftAlone)
{
    CountingLogger first(Logger::CsvLog, 0);
    auto* second = new CountingLogger(Logger::CsvLog, 1);
    const QPointer<Logger> alive = &first;
    const QDateTime end = now().addSecs(60);
    inspector->addPendingSave(&first, end);

    EXPECT_TRUE(inspector->addPendingSave(second, end));

    deleteDeferred();
    EXPECT_EQ(inspector->pendingSaves().value(end), second);
    EXPECT_EQ(first.stops, 0);
    EXPECT_FALSE(alive.isNull());
}

TEST_F(LogDaemonRamLog, SnapshotsWhoseEndsAreAMillisecondApartAreBothKept)
{
    const QDateTime end = now().addSecs(60);

    inspector->addPendingSave(new CountingLogger(Logger::CsvLog, 0), end);
    inspector->addPendingSave(new CountingLogger(Logger::CsvLog, 1), end.addMSecs(1));

    EXPECT_EQ(inspector->pendingSaves().size(), 2);
}

TEST_F(LogDaemonRamLog, TheCheckFinishesEverySnapshotThatIsDueAndNoOther)
{
    auto* longDue = new CountingLogger(Logger::CsvLog, 0);
    auto* due = new CountingLogger(Logger::BinaryLog, 1);
    auto* open = new CountingLogger(Logger::CsvLog, 2);
    const QPointer<Logger> longDueAlive = longDue;
    const QPointer<Logger> dueAlive = due;
    inspector->pendingSaves() = {{now().addSecs(60), open}, {now().addMSecs(-1), due}, {now().addSecs(-3600), longDue}};

    inspector->checkPendingSaves();

    EXPECT_EQ(longDue->stops, 1);
    EXPECT_EQ(due->stops, 1);
    EXPECT_EQ(open->stops, 0);
    EXPECT_EQ(inspector->pendingSaves().values(), QList<Logger*>{open});
    deleteDeferred();
    EXPECT_TRUE(longDueAlive.isNull());
    EXPECT_TRUE(dueAlive.isNull());
}

TEST_F(LogDaemonRamLog, TheTickFinishesASnapshotThatIsDue)
{
    auto* logger = new CountingLogger(Logger::CsvLog, 0);
    const QPointer<Logger> alive = logger;
    inspector->pendingSaves().insert(now(), logger);

    daemon->second();

    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    deleteDeferred();
    EXPECT_TRUE(alive.isNull());
}

// Snapshots to the stick

TEST_F(LogDaemonRamLog, ASnapshotToTheStickWithTheDefaultsIsCompleteAndClosedWhenTheCallReturnsFalse)
{
    const uint32_t start = nowSecs();
    for (uint32_t age = 10; age > 0; --age)
    {
        sample(start - age, 100 - age);
    }

    EXPECT_FALSE(daemon->saveRamLogToUsb(logConfig().usbHistory, logConfig().usbFuture, ""));

    ASSERT_EQ(filesIn(stick.path()), QStringList(QFileInfo(usbLog()).fileName()));
    EXPECT_FALSE(isOpen(usbLog()));
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    const QList<TextRow> rows = rowsOf(usbLog(), "\tFlow [l/s]");
    ASSERT_GE(rows.size(), 10);
    for (uint32_t row = 0; row < 10; ++row)
    {
        EXPECT_EQ(rows[row].time, start - 10 + row);
        EXPECT_EQ(rows[row].values, "\t" + QByteArray::number(90 + row));
    }
}

TEST_F(LogDaemonRamLog, AHistoryShorterThanTheLogBeginsThatManySecondsAgo)
{
    sample(nowSecs() - 100, 1);
    const uint32_t before = nowSecs();

    daemon->saveRamLogToUsb(30, 0, "");

    const uint32_t after = nowSecs();
    const QList<TextRow> rows = rowsOf(usbLog(), "\tFlow [l/s]");
    ASSERT_FALSE(rows.isEmpty());
    EXPECT_GE(rows.first().time, before - 30);
    EXPECT_LE(rows.first().time, after - 30);
    EXPECT_LT(rows.last().time, after);
}

TEST_F(LogDaemonRamLog, AHistoryLongerThanTheLogBeginsAtTheOldestSample)
{
    const uint32_t oldest = nowSecs() - 20;
    sample(oldest, 1);

    daemon->saveRamLogToUsb(259200, 0, "");

    const QList<TextRow> rows = rowsOf(usbLog(), "\tFlow [l/s]");
    ASSERT_FALSE(rows.isEmpty());
    EXPECT_EQ(rows.first().time, oldest);
}

TEST_F(LogDaemonRamLog, ASnapshotGoesToTheFolderThatItWasAskedFor)
{
    QDir(stick.path()).mkpath("logs");

    daemon->saveRamLogToUsb(60, 0, "logs");

    EXPECT_TRUE(QFile::exists(usbLog(1, "logs/")));
    EXPECT_EQ(filesIn(stick.path()), QStringList("logs"));
}

TEST_F(LogDaemonRamLog, ASnapshotOutsideTheStickIsRefusedAndMakesNoFile)
{
    QDir(stick.path()).mkpath("usb");
    inspector->usbPath() = stick.filePath("usb");

    EXPECT_FALSE(daemon->saveRamLogToUsb(60, 60, ".."));

    EXPECT_EQ(filesIn(stick.path()), QStringList("usb"));
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "getUsbPath", "Path should be relative to USB root: .."), 1);
}

TEST_F(LogDaemonRamLog, ASnapshotWithoutAStickIsRefused)
{
    const CriticalMessages messages;
    inspector->usbPath().clear();

    EXPECT_FALSE(daemon->saveRamLogToUsb(60, 60, ""));

    EXPECT_EQ(criticalMessages, QStringList("no USB stick"));
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
}

TEST_F(LogDaemonRamLog, ASnapshotWithAFutureGoesOnUntilTheFirstTickAfterItsEnd)
{
    const uint32_t start = nowSecs();
    sample(start - 2);

    EXPECT_TRUE(daemon->saveRamLogToUsb(60, 5, ""));
    sample(start + 1, 41);
    sample(start + 2, 42);
    inspector->checkPendingSaves();
    sample(start + 3, 43);
    bringToItsEnd(onlyPending());
    inspector->checkPendingSaves();
    sample(start + 4, 44);

    const QList<TextRow> rows = rowsOf(usbLog(), "\tFlow [l/s]");
    ASSERT_GE(rows.size(), 3);
    EXPECT_EQ(rows.last().time, start + 3);
    EXPECT_EQ(rows.last().values, "\t43");
    EXPECT_FALSE(isOpen(usbLog()));
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
}

TEST_F(LogDaemonRamLog, TheEndOfASnapshotIsItsFutureFromNowInUtc)
{
    const QDateTime before = now();

    daemon->saveRamLogToUsb(60, 100, "");

    const QDateTime end = inspector->pendingSaves().firstKey();
    EXPECT_EQ(end.timeSpec(), Qt::UTC);
    EXPECT_GE(end, before.addSecs(100));
    EXPECT_LE(end, now().addSecs(100));
}

TEST_F(LogDaemonRamLog, TheColumnsAreThoseOfTheRamLogAndStayWhenItsSetGrows)
{
    platform.addParameter(20, "Level");
    platform.addParameter(30, "Only on the stick");
    inspector->manual() = {{30, platform.metadata[30]}};
    inspector->refreshParameters("default");
    sample(nowSecs() - 1);

    daemon->saveRamLogToUsb(60, 60, "");
    platform.defaultLog = {10, 20};
    inspector->refreshParameters("default");
    sample(nowSecs() + 1);

    EXPECT_EQ(filesIn(stick.path()).size(), 1);
    EXPECT_EQ(rowsOf(usbLog(), "\tFlow [l/s]").last().values, "\t7");
}

TEST_F(LogDaemonRamLog, TwoSnapshotsToTheStickAtOnceBothRun)
{
    const uint32_t start = nowSecs();

    EXPECT_TRUE(daemon->saveRamLogToUsb(60, 60, ""));
    EXPECT_TRUE(daemon->saveRamLogToUsb(60, 61, ""));
    sample(start + 1, 9);

    EXPECT_EQ(inspector->pendingSaves().size(), 2);
    EXPECT_EQ(rowsOf(usbLog(1), "\tFlow [l/s]").last().values, "\t9");
    EXPECT_EQ(rowsOf(usbLog(2), "\tFlow [l/s]").last().values, "\t9");
}

// Snapshots to internal memory

TEST_F(LogDaemonRamLog, TheFirstSnapshotToInternalMemoryEverGetsIdZeroAndGrowsForThreeHundredSeconds)
{
    const QDateTime before = now();

    EXPECT_EQ(daemon->saveRamLogToInternalMem(logConfig().internalHistory, logConfig().internalFuture), 0u);
    const qsizetype atFirst = contentOf(internalLog(0)).size();
    sample(nowSecs() + 1);
    sample(nowSecs() + 2);

    EXPECT_EQ(contentOf(internalLog(0)).size(), atFirst + 2 * Row);
    EXPECT_GE(inspector->pendingSaves().firstKey(), before.addSecs(300));
    EXPECT_LE(inspector->pendingSaves().firstKey(), now().addSecs(300));
}

TEST_F(LogDaemonRamLog, ASnapshotInInternalMemoryIsClosedByTheFirstTickAfterItsEnd)
{
    daemon->saveRamLogToInternalMem(60, 300);

    bringToItsEnd(onlyPending());
    inspector->checkPendingSaves();
    const QByteArray atEnd = contentOf(internalLog(0));
    sample(nowSecs() + 1);

    EXPECT_TRUE(QFile::exists(internalLog(0)));
    EXPECT_FALSE(isOpen(internalLog(0)));
    EXPECT_EQ(contentOf(internalLog(0)), atEnd);
}

TEST_F(LogDaemonRamLog, ASnapshotInInternalMemoryHoldsTheHistory)
{
    const uint32_t start = nowSecs();
    sample(start - 3);

    daemon->saveRamLogToInternalMem(60, 300);

    const QList<uint32_t> times = timesIn(contentOf(internalLog(0)));
    ASSERT_GE(times.size(), 3);
    EXPECT_EQ(times.mid(0, 3), QList<uint32_t>({start - 3, start - 2, start - 1}));
}

// In a binary log, which would show a row that came twice.
TEST_F(LogDaemonRamLog, EachLiveRowIsWrittenOnceBehindTheHistory)
{
    const uint32_t start = nowSecs();
    for (uint32_t age = 5; age > 0; --age)
    {
        sample(start - age);
    }

    daemon->saveRamLogToInternalMem(60, 60);
    const uint32_t live = lastTimeIn(internalLog(0)) + 1;
    ASSERT_GE(live, start);
    for (uint32_t step = 0; step < 5; ++step)
    {
        sample(live + step);
    }

    QList<uint32_t> expected;
    for (uint32_t time = start - 5; time < live + 5; ++time)
    {
        expected.append(time);
    }
    EXPECT_EQ(timesIn(contentOf(internalLog(0))), expected);
}

TEST_F(LogDaemonRamLog, WithoutAFutureTheResultIsZeroInsteadOfTheId)
{
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 0), 0u);

    EXPECT_EQ(filesIn(memory.path()), QStringList({"123456-1.blf", "123456-2.blf"}));
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
}

TEST_F(LogDaemonRamLog, TwoSnapshotsInInternalMemoryAtOnceHaveIdsOfTheirOwnAndBothGrow)
{
    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 300), 0u);
    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 301), 1u);
    const uint32_t live = nowSecs() + 1;
    sample(live);

    EXPECT_EQ(lastTimeIn(internalLog(0)), live);
    EXPECT_EQ(lastTimeIn(internalLog(1)), live);
}

TEST_F(LogDaemonRamLog, TheNumberingSurvivesARestartOfTheDaemon)
{
    daemon->saveRamLogToInternalMem(60, 0);
    daemon->saveRamLogToInternalMem(60, 0);
    daemon.reset();
    daemon.emplace(nullptr);

    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 300), 2u);
}

TEST_F(LogDaemonRamLog, AnInternalPathIsReadAsUtf8)
{
    const QString folder = useInternalFolderWithUmlaut();

    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_EQ(filesIn(folder), QStringList("123456-1.blf"));
}

TEST_F(LogDaemonRamLog, AnInternalFolderThatIsNotThereIsNotMadeAndTheSnapshotRunsOnWritingNothing)
{
    useInternalPath(memory.filePath("absent"));
    sample(nowSecs() - 1);

    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 300), 0u);
    sample(nowSecs() + 1);
    bringToItsEnd(onlyPending());
    inspector->checkPendingSaves();

    EXPECT_TRUE(filesIn(memory.path()).isEmpty());
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
}

// Conversion

TEST_F(LogDaemonRamLog, AnIdThatHasNoFileIsNotConvertedAndLeavesNothingOnTheStick)
{
    EXPECT_FALSE(daemon->saveInternalLogToUsb(0, ""));

    EXPECT_TRUE(filesIn(stick.path()).isEmpty());
}

TEST_F(LogDaemonRamLog, AnInternalLogIsConvertedToAFileOfItsRowsOnTheStick)
{
    const uint32_t start = nowSecs();
    sample(start - 3, 71);
    sample(start - 2, 72);
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_TRUE(daemon->saveInternalLogToUsb(0, ""));

    const QList<TextRow> rows = rowsOf(usbLog(), "\tFlow [l/s]");
    ASSERT_GE(rows.size(), 2);
    EXPECT_EQ(rows[0].time, start - 3);
    EXPECT_EQ(rows[0].values, "\t71");
    EXPECT_EQ(rows[1].values, "\t72");
    EXPECT_FALSE(isOpen(usbLog()));
    EXPECT_TRUE(QFile::exists(internalLog(0)));
}

TEST_F(LogDaemonRamLog, AConvertedLogHasTheDateOfTheLastModificationAndNamesInBritishEnglish)
{
    daemon->saveRamLogToInternalMem(60, 0);
    {
        QFile file(internalLog(0));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(QDateTime(QDate(2024, 3, 5), QTime(12, 0)), QFileDevice::FileModificationTime));
    }

    EXPECT_TRUE(daemon->saveInternalLogToUsb(0, ""));

    EXPECT_EQ(filesIn(stick.path()), QStringList("20240305-123456-1.csv"));
    EXPECT_EQ(platform.lastCall("getMetadata").locale, "en_GB");
}

TEST_F(LogDaemonRamLog, ALogThatIsStillBeingWrittenIsConvertedUpToItsLastRow)
{
    daemon->saveRamLogToInternalMem(60, 300);
    const uint32_t live = nowSecs() + 1;
    sample(live, 55);

    EXPECT_TRUE(daemon->saveInternalLogToUsb(0, ""));
    sample(live + 1, 56);

    EXPECT_EQ(rowsOf(usbLog(), "\tFlow [l/s]").last().values, "\t55");
    EXPECT_EQ(lastTimeIn(internalLog(0)), live + 1);
}

TEST_F(LogDaemonRamLog, AConversionGoesToTheFolderThatItWasAskedFor)
{
    QDir(stick.path()).mkpath("logs");
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_TRUE(daemon->saveInternalLogToUsb(0, "logs"));

    EXPECT_EQ(filesIn(stick.filePath("logs")).size(), 1);
}

TEST_F(LogDaemonRamLog, ALogBelowAPathWithAnUmlautIsConverted)
{
    useInternalFolderWithUmlaut();
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_TRUE(daemon->saveInternalLogToUsb(0, ""));

    EXPECT_EQ(filesIn(stick.path()).size(), 1);
}

TEST_F(LogDaemonRamLog, AConversionToAPathOutsideTheStickIsRefused)
{
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_FALSE(daemon->saveInternalLogToUsb(0, ".."));

    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "getUsbPath", "Path should be relative to USB root: .."), 1);
}

TEST_F(LogDaemonRamLog, AConversionWithoutAStickIsRefused)
{
    const CriticalMessages messages;
    daemon->saveRamLogToInternalMem(60, 0);
    inspector->usbPath().clear();

    EXPECT_FALSE(daemon->saveInternalLogToUsb(0, ""));

    EXPECT_EQ(criticalMessages, QStringList("no USB stick"));
}

TEST_F(LogDaemonRamLog, AFileThatIsNoBinaryLogIsNotConverted)
{
    writeFile(internalLog(0), "not a log at all");

    EXPECT_FALSE(daemon->saveInternalLogToUsb(0, ""));

    EXPECT_TRUE(filesIn(stick.path()).isEmpty());
}

// Removal

TEST_F(LogDaemonRamLog, ARemovedLogIsGoneAndRemovingItAgainIsFineToo)
{
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_TRUE(daemon->removeLogFromInternalMem(0));
    EXPECT_TRUE(daemon->removeLogFromInternalMem(0));

    EXPECT_TRUE(filesIn(memory.path()).isEmpty());
}

TEST_F(LogDaemonRamLog, ALogBelowAPathWithAnUmlautIsRemoved)
{
    const QString folder = useInternalFolderWithUmlaut();
    daemon->saveRamLogToInternalMem(60, 0);
    ASSERT_EQ(filesIn(folder).size(), 1);

    EXPECT_TRUE(daemon->removeLogFromInternalMem(0));

    EXPECT_TRUE(filesIn(folder).isEmpty());
}

TEST_F(LogDaemonRamLog, ARemovalDuringTheFutureStopsTheSnapshotAndDeletesItsFile)
{
    daemon->saveRamLogToInternalMem(60, 300);
    const QPointer<Logger> logger = onlyPending();

    EXPECT_TRUE(daemon->removeLogFromInternalMem(0));
    sample(nowSecs() + 1);

    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    EXPECT_TRUE(filesIn(memory.path()).isEmpty());
    deleteDeferred();
    EXPECT_TRUE(logger.isNull());
    EXPECT_TRUE(daemon->removeLogFromInternalMem(0));
}

TEST_F(LogDaemonRamLog, ARemovalLeavesTheOtherSnapshotsRunning)
{
    daemon->saveRamLogToInternalMem(60, 300);
    daemon->saveRamLogToInternalMem(60, 301);

    daemon->removeLogFromInternalMem(0);
    const uint32_t live = nowSecs() + 1;
    sample(live);

    EXPECT_EQ(inspector->pendingSaves().size(), 1);
    EXPECT_EQ(lastTimeIn(internalLog(1)), live);
}

TEST_F(LogDaemonRamLog, ARemovalLeavesASnapshotToTheStickOfTheSameNumberRunning)
{
    daemon->saveRamLogToUsb(60, 300, "");
    ASSERT_EQ(onlyPending()->getLogIndex(), 0u);

    daemon->removeLogFromInternalMem(0);

    EXPECT_EQ(inspector->pendingSaves().size(), 1);
}

TEST_F(LogDaemonRamLog, AfterARemovalTheNextSnapshotGetsTheFreeIdAgain)
{
    daemon->saveRamLogToInternalMem(60, 0);
    daemon->saveRamLogToInternalMem(60, 0);
    daemon->removeLogFromInternalMem(0);

    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 300), 0u);
    EXPECT_EQ(daemon->saveRamLogToInternalMem(60, 301), 2u);
}

TEST_F(LogDaemonRamLog, AFileThatCannotBeRemovedGivesFalseAndItsSnapshotIsStoppedAllTheSame)
{
    QDir().mkpath(internalLog(4) + "/inside");
    auto* logger = new CountingLogger(Logger::BinaryLog, 4);
    const QPointer<Logger> alive = logger;
    inspector->addPendingSave(logger, now().addSecs(60));

    EXPECT_FALSE(daemon->removeLogFromInternalMem(4));

    EXPECT_EQ(logger->stops, 1);
    EXPECT_TRUE(inspector->pendingSaves().isEmpty());
    deleteDeferred();
    EXPECT_TRUE(alive.isNull());
}

TEST_F(LogDaemonRamLog, EverySnapshotOfARemovedIdIsStopped)
{
    auto* first = new CountingLogger(Logger::BinaryLog, 4);
    auto* other = new CountingLogger(Logger::BinaryLog, 5);
    auto* second = new CountingLogger(Logger::BinaryLog, 4);
    inspector->addPendingSave(first, now().addSecs(60));
    inspector->addPendingSave(other, now().addSecs(61));
    inspector->addPendingSave(second, now().addSecs(62));

    EXPECT_TRUE(daemon->removeLogFromInternalMem(4));

    EXPECT_EQ(first->stops, 1);
    EXPECT_EQ(second->stops, 1);
    EXPECT_EQ(other->stops, 0);
    EXPECT_EQ(inspector->pendingSaves().values(), QList<Logger*>{other});
}

// Locks

TEST_F(LogDaemonRamLog, TheStateIsOpenWhileTheFileOfASnapshotIsMadeOnTheStick)
{
    EXPECT_TRUE(leavesTheStateOpen([&] { daemon->saveRamLogToUsb(60, 0, ""); }));
}

TEST_F(LogDaemonRamLog, TheStateIsOpenWhileTheFileOfASnapshotIsMadeInInternalMemory)
{
    EXPECT_TRUE(leavesTheStateOpen([&] { daemon->saveRamLogToInternalMem(60, 0); }));
}

TEST_F(LogDaemonRamLog, TheStateIsOpenWhileAnInternalLogIsConverted)
{
    daemon->saveRamLogToInternalMem(60, 0);

    EXPECT_TRUE(leavesTheStateOpen([&] { EXPECT_TRUE(daemon->saveInternalLogToUsb(0, "")); }));
}

TEST_F(LogDaemonRamLog, TheStateIsOpenWhileASnapshotWaitsForTheHistory)
{
    std::promise<void> started;
    platform.onCall = [&](const char* operation)
    {
        if (operation == std::string("getSerial"))
        {
            started.set_value();
        }
    };
    std::future<bool> saved;
    bool wasOpen = false;
    bool waited = false;
    // Runs with the lock of the history held, so that the replay of the other thread has to wait for its end.
    const QMetaObject::Connection connection = QObject::connect(
        inspector->ramLogger(), &RAMLogger::valuesUpdated, inspector->ramLogger(),
        [&]
        {
            saved = std::async(std::launch::async, [&] { return daemon->saveRamLogToUsb(60, 0, ""); });
            started.get_future().wait();
            waited = saved.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
            wasOpen = inspector->isStateMutexFree();
        },
        Qt::DirectConnection);
    sample(nowSecs() - 1);
    QObject::disconnect(connection);

    EXPECT_FALSE(saved.get());
    EXPECT_TRUE(waited);
    EXPECT_TRUE(wasOpen);
}

// Threads

namespace
{

// The daemon on a thread of its own, as in the process; this thread is the one that serves the bus.
class LogDaemonRamLogThreads : public testing::Test
{
protected:
    LogDaemonRamLogThreads()
    {
        setDefaults(logConfig());
        const QByteArray path = memory.path().toUtf8();
        std::copy(path.cbegin(), path.cend() + 1, logConfig().internalPath);
        platform.addParameter(10, "Flow", "l/s", 7);
        platform.defaultLog = {10};
        platform.drives = QStringList(stick.path());
        runOnQueue(queue,
                   [&]
                   {
                       daemon = std::make_unique<LogDaemon>(nullptr);
                       LogDaemonInspector(*daemon).secondTimer().stop();
                       LogDaemonInspector(*daemon).minuteTimer().stop();
                   });
        inspector.emplace(*daemon);
    }
    ~LogDaemonRamLogThreads() override
    {
        runOnQueue(queue,
                   [&]
                   {
                       finishAll();
                       daemon.reset();
                   });
        runOnQueue(queue, [] {});
        deleteDeferred();
    }

    void sampleOnQueue(uint32_t time)
    {
        runOnQueue(queue, [&] { emit daemon->valuesUpdated(time, platform.values); });
    }
    void finishAll()
    {
        QMap<QDateTime, Logger*>& pending = inspector->pendingSaves();
        const QList<Logger*> loggers = pending.values();
        pending.clear();
        for (int age = 1; Logger * logger : loggers)
        {
            pending.insert(now().addSecs(-age++), logger);
        }
        inspector->checkPendingSaves();
    }
    QString internalLog() const
    {
        return memory.filePath("123456-1.blf");
    }

    FakePlatform platform;
    QTemporaryDir stick;
    QTemporaryDir memory;
    zemo::ExecutionQueue queue;
    std::unique_ptr<LogDaemon> daemon;
    std::optional<LogDaemonInspector> inspector;
};

} // namespace

TEST_F(LogDaemonRamLogThreads, ASnapshotToTheStickLivesOnTheDaemonsThreadAndGetsItsRowsThere)
{
    daemon->saveRamLogToUsb(60, 300, "");
    Logger* logger = inspector->pendingSaves().first();
    const QString path = stick.filePath(QDate::currentDate().toString("yyyyMMdd") + "-123456-1.csv");
    const qsizetype before = contentOf(path).size();

    sampleOnQueue(nowSecs() + 1);

    EXPECT_EQ(logger->thread(), &queue);
    EXPECT_GT(contentOf(path).size(), before);
}

TEST_F(LogDaemonRamLogThreads, ASnapshotInInternalMemoryStaysOnTheCallersThreadAndGetsItsRowsQueued)
{
    daemon->saveRamLogToInternalMem(60, 300);
    const uint32_t live = nowSecs() + 1;
    const qsizetype before = contentOf(internalLog()).size();

    for (uint32_t step = 0; step < 100; ++step)
    {
        sampleOnQueue(live + step);
    }

    EXPECT_EQ(inspector->pendingSaves().first()->thread(), QThread::currentThread());
    EXPECT_EQ(contentOf(internalLog()).size(), before);
    QCoreApplication::sendPostedEvents();
    const QList<uint32_t> times = timesIn(contentOf(internalLog()));
    ASSERT_GE(times.size(), 100);
    for (uint32_t step = 0; step < 100; ++step)
    {
        EXPECT_EQ(times[times.size() - 100 + step], live + step);
    }
}

TEST_F(LogDaemonRamLogThreads, RowsStillQueuedWhenTheTickEndsASnapshotAreNotWritten)
{
    daemon->saveRamLogToInternalMem(60, 300);
    const QPointer<Logger> logger = inspector->pendingSaves().first();
    const QByteArray before = contentOf(internalLog());

    sampleOnQueue(nowSecs() + 1);
    runOnQueue(queue, [&] { finishAll(); });
    QCoreApplication::sendPostedEvents();

    EXPECT_TRUE(QFile::exists(internalLog()));
    EXPECT_EQ(contentOf(internalLog()), before);
    deleteDeferred();
    EXPECT_TRUE(logger.isNull());
}

TEST_F(LogDaemonRamLogThreads, ASnapshotToTheStickIsDeletedOnTheDaemonsThread)
{
    daemon->saveRamLogToUsb(60, 300, "");
    QThread* deletedOn = nullptr;
    QObject::connect(inspector->pendingSaves().first(), &QObject::destroyed,
                     [&] { deletedOn = QThread::currentThread(); });

    runOnQueue(queue, [&] { finishAll(); });
    runOnQueue(queue, [] {});

    EXPECT_EQ(deletedOn, &queue);
}
