#pragma once

#include "FullMedium.h"
#include "TimeZone.h"

#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QRecursiveMutex>
#include <QString>

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <initializer_list>
#include <thread>
#include <utility>

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

inline QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("<no such file>");
}

/// Whether that thread of this process sleeps, as one does that waits for a mutex.
inline bool isAsleep(pid_t thread)
{
    const QByteArray state = contentOf(QStringLiteral("/proc/self/task/%1/stat").arg(thread));
    return state.mid(state.lastIndexOf(')') + 2).startsWith('S');
}

/// What `ask` answers on another thread that began when the mutex was held here, with `change` made before it was let
/// go. Who takes the mutex sees the change; who doesn't has answered before it.
template <class Change, class Ask> auto answerBehind(QRecursiveMutex& mutex, Change change, Ask ask)
{
    constexpr int PatienceMs = 5000;
    mutex.lock();
    std::promise<pid_t> beginning;
    auto answer = std::async(std::launch::async,
                             [&]
                             {
                                 beginning.set_value(gettid());
                                 return ask();
                             });
    const pid_t asking = beginning.get_future().get();
    QElapsedTimer timer;
    timer.start();
    while (!isAsleep(asking) && answer.wait_for(std::chrono::seconds(0)) != std::future_status::ready &&
           timer.elapsed() < PatienceMs)
    {
        std::this_thread::yield();
    }
    change();
    mutex.unlock();
    return answer.get();
}

inline void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
    {
        std::abort();
    }
}

/// Carries out what this thread's objects were told by deleteLater.
inline void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

inline int openDescriptors()
{
    return static_cast<int>(QDir("/proc/self/fd").entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size());
}

/// Bytes of the heap that are in use. Sanitizers keep a heap of their own, which this knows nothing of.
inline size_t heapInUse()
{
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

inline zemo::data::DataValue integerValue(long long value)
{
    zemo::data::DataValue result;
    result.setIntValue(value);
    result.setIsOk(true);
    return result;
}

inline QMap<int32_t, zemo::data::DataValue> integerValues(std::initializer_list<std::pair<int32_t, long long>> values)
{
    QMap<int32_t, zemo::data::DataValue> result;
    for (const auto& [id, value] : values)
    {
        result.insert(id, integerValue(value));
    }
    return result;
}

inline zemo::data::Metadata parameter(uint16_t varId, uint8_t varSize, uint8_t varType = zemo::data::VarTypeInteger)
{
    zemo::data::Metadata result;
    result.varId = varId;
    result.varSize = varSize;
    result.varType = varType;
    result.name = zemo::localization::PanelText(QStringLiteral("P%1").arg(varId), 1);
    return result;
}

/// A set of parameters by their ids.
inline QMap<int32_t, zemo::data::Metadata> parameterSet(std::initializer_list<zemo::data::Metadata> entries)
{
    QMap<int32_t, zemo::data::Metadata> result;
    for (const zemo::data::Metadata& entry : entries)
    {
        result.insert(entry.varId, entry);
    }
    return result;
}
