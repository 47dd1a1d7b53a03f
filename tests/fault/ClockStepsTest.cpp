// A wall clock that is set forward and back while logs run, by a second or by years. What has to lie on the stick
// afterwards is told by a model of the rules alone.

#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemon.h"
#include "SteeredClock.h"
#include "logging/RAMLogger.h"

#include <QCoreApplication>
#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <cmath>
#include <gtest/gtest.h>
#include <thread>
#include <utility>

class LogDaemonInspector
{
public:
    static void stopTimers(LogDaemon& daemon)
    {
        daemon.minuteTimer.stop();
        daemon.secondTimer.stop();
    }
    static qsizetype recordingSnapshots(const LogDaemon& daemon)
    {
        return daemon.pendingSaves.size();
    }
};

namespace
{

constexpr int TicksPerStep = 3;

QDateTime now()
{
    return QDateTime::currentDateTime();
}

QString textOf(qint64 seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds).toString("yyyy-MM-dd hh:mm:ss");
}

/// What a log with a row every second writes: the times of its rows by the names of its files.
class ModelLog
{
public:
    ModelLog(QString name, bool newFileEachDay)
        : prefix(std::move(name))
        , eachDay(newFileEachDay)
    {
        begin();
    }

    void tick(qint64 time)
    {
        const bool row = last < time || last - time >= 60;
        if (row)
        {
            files[file].append(textOf(time));
            last = time;
        }
        if (eachDay && created.date() != now().date())
        {
            begin();
        }
    }

    QMap<QString, QStringList> files;

private:
    void begin()
    {
        const QString base = eachDay ? now().toString("yyyyMMdd") : prefix;
        int number = 1;
        do
        {
            file = QStringLiteral("%1-123456-%2.csv").arg(base).arg(number++);
        } while (files.contains(file));
        files[file] = {};
        created = now();
        last = 0;
    }

    QString prefix;
    bool eachDay;
    QString file;
    QDateTime created;
    qint64 last = 0;
};

/// What the history holds of a parameter whose value is another one at every tick, thinned nowhere.
class ModelHistory
{
public:
    void tick(qint64 time, int value)
    {
        constexpr int SteppedBack = 10;
        const bool advanced = samples.isEmpty() || samples.lastKey() < time;
        if (!advanced && samples.lastKey() - time < SteppedBack)
        {
            return;
        }
        if (!advanced)
        {
            samples.clear();
        }
        samples[time] = value;
    }

    /// 0 where nothing is known.
    int valueAt(qint64 time) const
    {
        const auto next = samples.upperBound(time);
        return next == samples.begin() ? 0 : *std::prev(next);
    }

private:
    QMap<qint64, int> samples;
};

/// The times of the rows on the stick, by file.
QMap<QString, QStringList> rowsOn(const QString& stick)
{
    QMap<QString, QStringList> rows;
    for (const QString& name : QDir(stick).entryList({"*.csv"}))
    {
        QFile file(stick + '/' + name);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        QStringList lines = QString::fromUtf8(file.readAll()).split('\n');
        EXPECT_TRUE(lines.takeLast().isEmpty()) << "a row without its end";
        EXPECT_TRUE(lines.value(0).startsWith('\t')) << "no heading";
        for (const QString& line : lines.mid(1))
        {
            rows[name].append(line.section('\t', 0, 0));
        }
        rows[name] += QStringList();
    }
    return rows;
}

class SteppingClock : public testing::Test
{
protected:
    SteppingClock()
    {
        qputenv("TZ", "UTC");
        setDefaults(logConfig());
        platform.addParameter(1, "Power", "kW", 1);
        platform.addParameter(2, "Starts", "", 1);
        platform.defaultLog = {1, 2};
        steeredClock::set(QDateTime(QDate(2020, 3, 5), QTime(23, 59, 50)));
        daemon = std::make_unique<LogDaemon>(nullptr);
        LogDaemonInspector::stopTimers(*daemon);
        platform.insertDrive(stick.path());
    }

    void tick()
    {
        steeredClock::advance(1);
        platform.values[1].setIntValue(++value);
        daemon->second();
        QCoreApplication::processEvents();
    }

    /// A second to ten years, all orders of magnitude alike, within what 32-bit times of the formats can tell.
    void step(QRandomGenerator& random)
    {
        constexpr double TenYears = 10 * 365.25 * 86400;
        const auto seconds = static_cast<qint64>(std::exp(random.generateDouble() * std::log(TenYears)));
        const qint64 wanted = now().toSecsSinceEpoch() + (random.bounded(2) == 0 ? seconds : -seconds);
        const bool possible = wanted > 0 && wanted < 0x7fffffffLL - 86400;
        steeredClock::advance(possible ? wanted - now().toSecsSinceEpoch() : now().toSecsSinceEpoch() - wanted);
    }

    /// Times and values of parameter 1.
    using Snapshot = QList<std::pair<qint64, QString>>;

    /// What the history of so many seconds is on the stick, which is cleared.
    Snapshot snapshot(int seconds)
    {
        Snapshot rows;
        daemon->saveRamLogToUsb(seconds, 0, "");
        for (const QString& name : QDir(stick.path()).entryList({"*.csv"}))
        {
            QFile file(stick.filePath(name));
            EXPECT_TRUE(file.open(QIODevice::ReadOnly));
            for (const QString& line : QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts).mid(1))
            {
                const QDateTime time = QDateTime::fromString(line.section('\t', 0, 0), "yyyy-MM-dd hh:mm:ss");
                rows.append({time.toSecsSinceEpoch(), line.section('\t', 1, 1)});
            }
            file.remove();
        }
        return rows;
    }

    /// Each row of a snapshot shows what was in force at its time, to the grid of its age; how many show a value.
    int compareSnapshot(const ModelHistory& history)
    {
        constexpr int ThreeDays = 3 * 86400;
        constexpr qint64 EachSecond = 600;
        constexpr qint64 CoarsestGrid = 60;
        int values = 0;
        qint64 last = 0;
        for (const auto& [time, text] : snapshot(ThreeDays))
        {
            const bool thinned = now().toSecsSinceEpoch() - time > EachSecond;
            const int shown = text == "-" ? 0 : text.toInt();
            EXPECT_LT(std::exchange(last, time), time);
            EXPECT_LE(shown, history.valueAt(time)) << qPrintable(textOf(time));
            EXPECT_GE(shown, history.valueAt(thinned ? time - CoarsestGrid : time)) << qPrintable(textOf(time));
            values += shown == 0 ? 0 : 1;
        }
        return values;
    }

    FakePlatform platform;
    QTemporaryDir stick;
    std::unique_ptr<LogDaemon> daemon;
    int value = 1;
};

class ClockSteps : public SteppingClock, public testing::WithParamInterface<quint32>
{
};

} // namespace

TEST_P(ClockSteps, LeaveTheRowsThatTheRulesOfTheLogsTellAndStopNothing)
{
    QRandomGenerator random(GetParam());
    ASSERT_TRUE(daemon->startUsbLog(1, false, "default"));
    ASSERT_TRUE(daemon->configureCustomLogUsb(7, "pump", {1}));
    ASSERT_TRUE(daemon->startCustomUsbLog(7, 1, false));
    ModelLog mainLog(QString(), true);
    ModelLog customLog("pump", false);

    for (int number = 0; number < 200; ++number)
    {
        step(random);
        for (int second = 0; second < TicksPerStep; ++second)
        {
            tick();
            mainLog.tick(now().toSecsSinceEpoch());
            customLog.tick(now().toSecsSinceEpoch());
        }
        if (number % 10 == 0)
        {
            daemon->minute();
        }
    }

    EXPECT_TRUE(daemon->isUsbLogActive());
    EXPECT_TRUE(daemon->isCustomUsbLogActive(7));
    QMap<QString, QStringList> expected = mainLog.files;
    expected.insert(customLog.files);
    EXPECT_EQ(rowsOn(stick.path()), expected);
    EXPECT_GT(expected.size(), 50) << "hardly a step changed the date";
}

TEST_P(ClockSteps, LeaveAHistoryOfTheValuesInForce)
{
    constexpr int StepsPerSnapshot = 10;
    QRandomGenerator random(GetParam());
    ModelHistory history;
    int values = 0;
    for (int number = 1; number <= 200 && !HasFailure(); ++number)
    {
        step(random);
        for (int second = 0; second < TicksPerStep; ++second)
        {
            tick();
            history.tick(now().toSecsSinceEpoch(), value);
        }
        values += number % StepsPerSnapshot == 0 ? compareSnapshot(history) : 0;
    }

    EXPECT_GT(values, 1000) << "hardly a history was left";
}

INSTANTIATE_TEST_SUITE_P(Fault, ClockSteps, testing::Values(1U, 2U, 3U));

TEST_F(SteppingClock, ASnapshotEndsWhenTheClockReachesItsEndHoweverItGetsThere)
{
    daemon->saveRamLogToUsb(0, 10, "");
    tick();
    steeredClock::advance(-86400);
    tick();
    EXPECT_EQ(LogDaemonInspector::recordingSnapshots(*daemon), 1) << "a day and some seconds to go";

    steeredClock::advance(86400 + 10);
    tick();

    EXPECT_EQ(LogDaemonInspector::recordingSnapshots(*daemon), 0);
}

TEST_F(SteppingClock, ASnapshotThatHadToWaitForTheHistoryReachesToTheMomentInWhichItGotIt)
{
    constexpr int Waited = 5;
    auto* const ram = daemon->findChild<RAMLogger*>();
    tick();
    std::thread call;
    QObject::connect(ram, &RAMLogger::valuesUpdated,
                     [&]
                     {
                         call = std::thread([&] { daemon->saveRamLogToUsb(60, 0, ""); });
                         // Time enough for a replay that looks at the clock before it waits.
                         QThread::msleep(200);
                         steeredClock::advance(Waited);
                     });

    ram->log(static_cast<uint32_t>(now().toSecsSinceEpoch()), platform.values);
    call.join();

    const QMap<QString, QStringList> rows = rowsOn(stick.path());
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows.first().size(), Waited);
}

TEST_F(SteppingClock, ALogThatBeginsBehindTheEndOf32BitTimesHasNoRows)
{
    steeredClock::set(QDateTime(QDate(2038, 1, 20), QTime(12, 0)));
    ASSERT_TRUE(daemon->startUsbLog(1, false, "default"));

    tick();
    tick();

    EXPECT_EQ(rowsOn(stick.path()), (QMap<QString, QStringList>{{"20380120-123456-1.csv", {}}}));
}
