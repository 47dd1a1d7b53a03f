#include "PacedClock.h"

#include "ClockPage.h"

#include <QFile>

#include <chrono>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>

namespace
{

constexpr std::chrono::milliseconds betweenSteps{2};

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

// Those that run by the clock have the priority of the process, and they shall not keep it back.
void goBeforeOthers()
{
    sched_param priority{};
    const int policy = sched_getscheduler(0);
    if (policy != SCHED_RR || sched_getparam(0, &priority) != 0)
        return;
    ++priority.sched_priority;
    pthread_setschedparam(pthread_self(), policy, &priority);
}

} // namespace

PacedClock::PacedClock(const QString& pageFile, const QDateTime& start, int speed)
    : path(pageFile)
    , page(newPage(pageFile), unmap)
    , wantedSpeed(speed)
{
    page->start = start.toMSecsSinceEpoch() * 1'000'000;
    page->quickest = speed;
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
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::nanoseconds(stood));
}

void PacedClock::drive()
{
    goBeforeOthers();
    while (!ending)
    {
        stood += page->goOn(wantedSpeed);
        std::this_thread::sleep_for(betweenSteps);
    }
}
