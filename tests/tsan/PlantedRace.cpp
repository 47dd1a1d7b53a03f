// Counts on two threads at once. usage: PlantedRace guarded|bare
//
// Bare it is a data race, which the thread sanitizer has to find through all that stands between it and Qt. Guarded as
// the daemon guards its state, it has to be silent.

#include "FakePlatform.h"

#include <zemo/ExecutionQueue.h>
#include <zemo/ZemoApplication.h>

#include <QMutexLocker>
#include <QRecursiveMutex>

#include <cstring>
#include <optional>

namespace
{

constexpr int Counts = 100000;

class Counter
{
public:
    explicit Counter(bool guarded)
        : isGuarded(guarded)
    {
    }

    void count()
    {
        for (int i = 0; i < Counts; ++i)
        {
            std::optional<QMutexLocker<QRecursiveMutex>> locker;
            if (isGuarded)
            {
                locker.emplace(&mutex);
            }
            ++value;
        }
    }

private:
    QRecursiveMutex mutex;
    bool isGuarded;
    int value = 0;
};

} // namespace

int main(int argc, char** argv)
{
    const FakePlatform platform;
    const zemo::ZemoApplication application(argc, argv);
    Counter counter(argc > 1 && strcmp(argv[1], "guarded") == 0);
    const zemo::ExecutionQueue queue;
    QMetaObject::invokeMethod(
        queue.context(), [&] { counter.count(); }, Qt::QueuedConnection);
    counter.count();
    QMetaObject::invokeMethod(
        queue.context(), [] {}, Qt::BlockingQueuedConnection);
}
