#include <zemo/ExecutionQueue.h>
#include <zemo/Lock.h>

#include <QRecursiveMutex>

namespace zemo
{

ExecutionQueue::ExecutionQueue()
    : m_context(new QObject)
{
    m_context->moveToThread(this);
    // The context goes on its own thread when that ends, whoever ended it.
    connect(this, &QThread::finished, m_context, &QObject::deleteLater);
    start();
}

ExecutionQueue::~ExecutionQueue()
{
    quit();
    wait();
}

QObject* ExecutionQueue::context() const
{
    return m_context;
}

namespace threading
{

struct Lock::Private
{
    QRecursiveMutex mutex;
    int depth = 0; // guarded by the mutex
};

Lock::Lock(const char* /*name*/)
    : d(new Private)
{
}

// A mutex must be free when it goes. Nobody else can want it any more, so trying means: if it is free or our own.
Lock::~Lock()
{
    if (lock(false))
    {
        while (d->depth > 0)
        {
            unlock();
        }
    }
    delete d;
}

bool Lock::lock(bool wait)
{
    const bool had = d->mutex.tryLock(wait ? -1 : 0);
    d->depth += had ? 1 : 0;
    return had;
}

void Lock::unlock()
{
    --d->depth;
    d->mutex.unlock();
}

} // namespace threading

} // namespace zemo
