#pragma once

#include <zemo/ExecutionQueue.h>

#include <QMetaObject>

#include <exception>

/// Runs `objL_work` on the thread of `objL_queue` and returns when it is done: in place if this is that thread. An
/// exception of the work is thrown here.
template <class Work> void runOnQueue(zemo::ExecutionQueue& objL_queue, Work&& objL_work)
{
    if (QThread::currentThread() == &objL_queue)
    {
        objL_work();
        return;
    }
    std::exception_ptr objL_error;
    auto objL_guarded = [&objL_work, &objL_error]
    {
        try
        {
            objL_work();
        }
        catch (...)
        {
            objL_error = std::current_exception();
        }
    };
    QMetaObject::invokeMethod(objL_queue.context(), objL_guarded, Qt::BlockingQueuedConnection);
    if (objL_error)
    {
        std::rethrow_exception(objL_error);
    }
}
