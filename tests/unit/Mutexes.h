#pragma once

#include "Files.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QRecursiveMutex>
#include <QString>

#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

/// Whether another thread finds the mutex taken.
inline bool isTaken(QRecursiveMutex& mutex)
{
    bool had = false;
    std::thread(
        [&]
        {
            had = mutex.tryLock();
            if (had)
            {
                mutex.unlock();
            }
        })
        .join();
    return !had;
}

/// Whether another thread has the mutex by the time that this one has waited long enough.
inline bool getsTaken(QRecursiveMutex& mutex)
{
    constexpr int PatienceMs = 5000;
    QElapsedTimer timer;
    timer.start();
    while (!isTaken(mutex) && timer.elapsed() < PatienceMs)
    {
        std::this_thread::yield();
    }
    return isTaken(mutex);
}

/// Whether that thread of this process sleeps, as one does that waits for a mutex.
inline bool isAsleep(pid_t thread)
{
    const QByteArray state = contentOf(QStringLiteral("/proc/self/task/%1/stat").arg(thread));
    return state.mid(state.lastIndexOf(')') + 2).startsWith('S');
}

template <class Result> bool isThrough(const std::future<Result>& result)
{
    return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

/// Begins `work` on another thread, and comes back when that sleeps, as behind a mutex, or is through.
template <class Work> auto beginAndWait(Work work)
{
    constexpr int PatienceMs = 5000;
    const auto beginning = std::make_shared<std::promise<pid_t>>();
    auto result = std::async(std::launch::async,
                             [beginning, work]
                             {
                                 beginning->set_value(gettid());
                                 return work();
                             });
    const pid_t thread = beginning->get_future().get();
    QElapsedTimer timer;
    timer.start();
    while (!isAsleep(thread) && !isThrough(result) && timer.elapsed() < PatienceMs)
    {
        std::this_thread::yield();
    }
    return result;
}

/// What `ask` answers on another thread that began when the mutex was held here, with `change` made before it was let
/// go. Who takes the mutex sees the change; who doesn't has answered before it.
template <class Change, class Ask> auto answerBehind(QRecursiveMutex& mutex, Change change, Ask ask)
{
    mutex.lock();
    auto answer = beginAndWait(ask);
    change();
    mutex.unlock();
    return answer.get();
}
