#include "PacedClock.h"

#include "ClockPage.h"
#include "Pace.h"

#include <QFile>

#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>

namespace
{

std::chrono::milliseconds milliseconds(std::int64_t nanoseconds)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::nanoseconds(nanoseconds));
}

void unmap(ClockPage* page)
{
    munmap(page, sizeof(ClockPage));
}

ClockPage* newPage(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::NewOnly) || !file.resize(sizeof(ClockPage)))
        qFatal("can't make the clock's page");
    void* const memory = mmap(nullptr, sizeof(ClockPage), PROT_READ | PROT_WRITE, MAP_SHARED, file.handle(), 0);
    if (memory == MAP_FAILED)
        qFatal("can't map the clock's page");
    return new (memory) ClockPage;
}

bool hasPriority()
{
    return sched_getscheduler(0) == SCHED_RR;
}

// Those that run by the clock have the priority of the process, and they shall not keep it back. Whoever claims a
// real-time priority sees to it that the next one may be had.
void goBeforeOthers()
{
    sched_param priority{};
    if (!hasPriority() || sched_getparam(0, &priority) != 0)
        return;
    ++priority.sched_priority;
    pthread_setschedparam(pthread_self(), SCHED_RR, &priority);
}

} // namespace

PacedClock::PacedClock(const QString& pageFile, const QDateTime& start, int speed)
    : path(pageFile)
    , page(newPage(pageFile), unmap)
    , wantedSpeed(speed)
{
    page->start = start.toMSecsSinceEpoch() * 1'000'000;
    page->quickest = speed;
    page->longestRun = (hasPriority() ? patienceWithPriority : patience).count();
    page->since = ClockPage::machineTime();
    thread = std::thread([this] { drive(); });
}

PacedClock::~PacedClock()
{
    ending = true;
    thread.join();
}

void PacedClock::runFor(Daemon& daemon) const
{
    daemon.setEnvironment(QStringLiteral("LD_PRELOAD"), QStringLiteral(ZEMO_CLOCK_LIBRARY));
    daemon.setEnvironment(QStringLiteral("ZEMO_CLOCK"), path);
}

void PacedClock::setSpeed(int speed)
{
    wantedSpeed = speed;
}

QDateTime PacedClock::now() const
{
    return QDateTime::fromMSecsSinceEpoch((page->start + page->now()) / 1'000'000);
}

std::chrono::milliseconds PacedClock::stoodStill() const
{
    return milliseconds(stood);
}

std::chrono::milliseconds PacedClock::longestStop() const
{
    return milliseconds(longest);
}

void PacedClock::drive()
{
    goBeforeOthers();
    const std::chrono::nanoseconds step(page->longestRun / 2);
    Pace pace(page->longestRun);
    std::int64_t stop = 0;
    while (!ending)
    {
        page->goOn([&](std::int64_t passed) { return pace.after(passed, wantedSpeed); });
        stood += pace.stop();
        stop = pace.stop() > 0 ? stop + pace.stop() : 0;
        longest = std::max<std::int64_t>(longest, stop);
        std::this_thread::sleep_for(step);
    }
}
