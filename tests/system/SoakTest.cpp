#include "Soak.h"
#include "ClockPage.h"
#include "Pace.h"
#include "SystemTest.h"

#include <QRegularExpression>

#include <random>
#include <sys/mman.h>
#include <unistd.h>

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace
{

/// How many bytes of a file this process keeps in memory, in whole pages.
qint64 keptOf(const QString& path)
{
    const QString maps = QString::fromLocal8Bit(contentOf(QStringLiteral("/proc/self/smaps")));
    static const QRegularExpression present(QStringLiteral("\nRss: +(\\d+) kB"));
    static const QRegularExpression locked(QStringLiteral("\nLocked: +[1-9]"));
    const QString name = QLatin1Char(' ') + path + QLatin1Char('\n');
    qint64 kept = 0;
    for (qsizetype place = maps.indexOf(name); place >= 0; place = maps.indexOf(name, place + 1))
    {
        const QString mapping = maps.mid(place, maps.indexOf(QStringLiteral("\nVmFlags:"), place) - place);
        if (mapping.contains(locked))
            kept += present.match(mapping).captured(1).toLongLong() * 1024;
    }
    return kept;
}

/// Whether this process has the right to keep more in memory than all programs of a test take.
bool mayKeepMuch()
{
    constexpr size_t much = 256 * 1024 * 1024;
    void* const memory = mmap(nullptr, much, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED)
        return false;
    const bool may = mlock2(memory, much, MLOCK_ONFAULT) == 0;
    munmap(memory, much);
    return may;
}

} // namespace

TEST(ClockPage, StandsStillSoonWhenNobodyDrivesIt)
{
    ClockPage page;
    page.longestRun = 2'000'000;
    page.since = ClockPage::machineTime();
    page.goOn([](std::int64_t) { return 60; });
    const std::int64_t furthest = page.reached + 60 * page.longestRun;

    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(page.now(), furthest);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(page.now(), furthest);
}

TEST(ClockPage, GoesOnFromWhereItStoodAndTellsTheTimeThatHasPassed)
{
    ClockPage page;
    page.longestRun = 2'000'000;
    page.since = ClockPage::machineTime();
    page.goOn([](std::int64_t) { return 60; });
    const std::int64_t furthest = page.reached + 60 * page.longestRun;
    const std::int64_t begun = page.since;
    std::this_thread::sleep_for(20ms);

    std::int64_t passed = 0;
    page.goOn(
        [&](std::int64_t time)
        {
            passed = time;
            return 1;
        });
    EXPECT_EQ(page.reached, furthest);
    EXPECT_EQ(passed, page.since - begun);
    EXPECT_GE(page.now(), furthest);
    EXPECT_LE(page.now(), furthest + page.longestRun);
}

TEST(Pace, IsTheWantedOneWhileStepsComeInTime)
{
    Pace pace(500);
    EXPECT_EQ(pace.after(0, 60), 60);
    EXPECT_EQ(pace.after(260, 60), 60);
    EXPECT_EQ(pace.after(500, 1), 1);
    EXPECT_EQ(pace.stop(), 0);
}

TEST(Pace, StandsStillBehindALateStepUntilOneComesInTime)
{
    Pace pace(500);
    pace.after(0, 60);
    EXPECT_EQ(pace.after(5000, 60), 0);
    EXPECT_EQ(pace.stop(), 4500);
    EXPECT_EQ(pace.after(2000, 60), 0);
    EXPECT_EQ(pace.stop(), 2000);
    EXPECT_EQ(pace.after(260, 60), 60);
    EXPECT_EQ(pace.stop(), 260);
    EXPECT_EQ(pace.after(260, 60), 60);
    EXPECT_EQ(pace.stop(), 0);
}

TEST(Pace, GoesOnAtOnceWhereItWasToStandStill)
{
    Pace pace(500);
    pace.after(0, 0);
    EXPECT_EQ(pace.after(5000, 60), 60);
    EXPECT_EQ(pace.stop(), 0);
}

// Times in microseconds. The machine is away for two milliseconds three hundred times a second.
TEST(Pace, KeepsTheClockToTheTimeInWhichTheMachineIsThere)
{
    constexpr int away = 2000;
    constexpr int step = 255;
    constexpr int longestRun = 500;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> present(0, 2667);
    Pace pace(longestRun);
    std::int64_t clock = 0;
    std::int64_t there = 0;
    std::int64_t speed = pace.after(0, 1);
    int rest = present(random);
    for (int steps = 0; steps < 100'000; ++steps)
    {
        int passed = 0;
        for (int missing = step; missing > 0;)
        {
            if (rest == 0)
            {
                // What became due meanwhile runs first.
                passed += away;
                missing -= away;
                rest = present(random);
                continue;
            }
            const int piece = std::min(rest, missing);
            passed += piece;
            there += piece;
            missing -= piece;
            rest -= piece;
        }
        clock += speed * std::min(passed, longestRun);
        speed = pace.after(passed, 1);
    }
    EXPECT_LE(clock, there * 11 / 10);
    EXPECT_GE(clock, there * 8 / 10);
}

TEST(PinnedFiles, KeepTheProgramsBelowThisProcessInMemoryWhileTheyLive)
{
    ChildProcess child;
    ASSERT_TRUE(
        child.start(QStringLiteral("/bin/sh"),
                    {QStringLiteral("-c"), QStringLiteral("trap 'kill $! 2>/dev/null; exit' TERM; sleep 60 & wait")}));
    const QString program = QFileInfo(QStringLiteral("/bin/sleep")).canonicalFilePath();
    const qint64 pageSize = sysconf(_SC_PAGESIZE);
    {
        PinnedFiles pinned;
        bool mayBeKept = true;
        EXPECT_TRUE(waitUntil(
            [&]
            {
                mayBeKept = pinned.pin();
                return !mayBeKept || keptOf(program) > 0;
            }));
        if (!mayBeKept && !mayKeepMuch())
            GTEST_SKIP() << "so much memory may not be kept here";
        ASSERT_TRUE(mayBeKept);
        EXPECT_GT(keptOf(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()), 0);
        ASSERT_TRUE(pinned.pin());
        const qint64 pages = (QFileInfo(program).size() + pageSize - 1) / pageSize;
        EXPECT_EQ(keptOf(program), pages * pageSize);
    }
    EXPECT_EQ(keptOf(program), 0);
}

TEST(PacedClock, RunsAsFastAsItIsToldButForWhenItStoodStill)
{
    const Scratch scratch;
    const QDateTime start(QDate(2026, 3, 5), QTime(21, 0));
    const auto before = steady_clock::now();
    const PacedClock clock(scratch.root() + QLatin1String("/run/clock"), start, 60);
    const auto begun = steady_clock::now();
    std::this_thread::sleep_for(200ms);

    // Of its last steps it may not know yet whether it stood still.
    EXPECT_TRUE(waitUntil(
        [&]
        {
            const auto ran = std::chrono::floor<std::chrono::milliseconds>(steady_clock::now() - begun);
            return start.msecsTo(clock.now()) >= 60 * (ran - clock.stoodStill() - 10ms).count();
        }));
    const qint64 reached = start.msecsTo(clock.now());
    EXPECT_LE(reached, std::chrono::ceil<std::chrono::milliseconds>(steady_clock::now() - before).count() * 60);
}

TEST(PacedClock, NeverGoesBackWhenItsSpeedChanges)
{
    const Scratch scratch;
    PacedClock clock(scratch.root() + QLatin1String("/run/clock"), QDateTime::currentDateTime(), 60);
    QDateTime last = clock.now();
    const auto end = steady_clock::now() + 200ms;
    for (int round = 0; steady_clock::now() < end; ++round)
    {
        clock.setSpeed(round / 1000 % 2 == 0 ? 1 : 60);
        const QDateTime now = clock.now();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(PacedClock, StopsAtSpeedZeroAndGoesOnFromThere)
{
    const Scratch scratch;
    PacedClock clock(scratch.root() + QLatin1String("/run/clock"), QDateTime::currentDateTime(), 60);
    clock.setSpeed(0);
    QDateTime stopped;
    EXPECT_TRUE(waitUntil(
        [&]
        {
            stopped = clock.now();
            std::this_thread::sleep_for(50ms);
            return clock.now() == stopped;
        }));

    const auto before = steady_clock::now();
    clock.setSpeed(60);
    EXPECT_TRUE(waitUntil([&] { return clock.now() > stopped; }));
    const qint64 wentOn = stopped.msecsTo(clock.now());
    EXPECT_LE(wentOn, std::chrono::ceil<std::chrono::milliseconds>(steady_clock::now() - before).count() * 60);
}

TEST(Soak, TwentyMinutesAroundMidnightAtThirtyTimesTheSpeedLeaveNothingBehind)
{
    const SoakReport report = Soak({QDateTime(QDate(2026, 3, 5), QTime(23, 50)), 20 * 60, 30}).run();

    EXPECT_EQ(report.problems, QStringList());
    EXPECT_EQ(report.runs, 1);
    EXPECT_EQ(report.midnights, 1);
    EXPECT_EQ(report.snapshots, 2);
    EXPECT_EQ(report.energyHours, 1);
    // The log runs from soon after the start.
    EXPECT_GT(report.seconds, 15 * 60);
}
