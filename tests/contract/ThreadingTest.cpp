#include <zemo/ExecutionQueue.h>
#include <zemo/Lock.h>

#include <QCoreApplication>
#include <QSemaphore>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <thread>

using namespace zemo;

namespace
{

constexpr int deadline = 10000;

bool otherThreadGets(threading::Lock& lock)
{
    return std::async(std::launch::async,
                      [&]
                      {
                          const bool had = lock.lock(false);
                          if (had)
                          {
                              lock.unlock();
                          }
                          return had;
                      })
        .get();
}

} // namespace

TEST(Lock, OneThreadMayTakeItAgainAndGivesItBackAsOften)
{
    threading::Lock lock("test");

    EXPECT_TRUE(lock.lock(true));
    EXPECT_TRUE(lock.lock(true));
    lock.unlock();

    EXPECT_FALSE(otherThreadGets(lock));
    lock.unlock();
    EXPECT_TRUE(otherThreadGets(lock));
}

TEST(Lock, WaitingLastsUntilTheLockIsHad)
{
    threading::Lock lock("test");
    lock.lock(true);
    QSemaphore waiting;
    std::atomic<bool> released = false;

    auto waiter = std::async(std::launch::async,
                             [&]
                             {
                                 waiting.release();
                                 const bool had = lock.lock(true);
                                 const bool afterRelease = released;
                                 lock.unlock();
                                 return had && afterRelease;
                             });
    ASSERT_TRUE(waiting.tryAcquire(1, deadline));
    EXPECT_FALSE(otherThreadGets(lock));
    released = true;
    lock.unlock();

    EXPECT_TRUE(waiter.get());
}

TEST(Lock, ItsHolderMayDestroyIt)
{
    static QStringList messages;
    const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& text) { messages.append(text); });
    {
        threading::Lock lock("test");
        lock.lock(true);
        lock.lock(true);
    }
    qInstallMessageHandler(previous);

    EXPECT_EQ(messages, QStringList());
}

TEST(ExecutionQueue, RunsFromConstructionWithItsContextOnItsThread)
{
    ExecutionQueue queue;
    QThread* where = nullptr;

    QMetaObject::invokeMethod(
        queue.context(), [&] { where = QThread::currentThread(); }, Qt::BlockingQueuedConnection);

    EXPECT_TRUE(queue.isRunning());
    EXPECT_EQ(where, &queue);
    EXPECT_EQ(queue.context()->thread(), &queue);
}

TEST(ExecutionQueue, WorkIsDoneInTheOrderInWhichItCame)
{
    ExecutionQueue queue;
    QList<int> order;

    for (int number = 0; number < 100; ++number)
    {
        QMetaObject::invokeMethod(
            queue.context(), [&order, number] { order.append(number); }, Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(
        queue.context(), [] {}, Qt::BlockingQueuedConnection);

    ASSERT_EQ(order.size(), 100);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ExecutionQueue, ItsEndWaitsForTheWorkUnderWay)
{
    QSemaphore started;
    QSemaphore proceed;
    std::atomic<bool> done = false;
    auto queue = std::make_unique<ExecutionQueue>();
    QMetaObject::invokeMethod(
        queue->context(),
        [&]
        {
            started.release();
            proceed.acquire();
            done = true;
        },
        Qt::QueuedConnection);
    ASSERT_TRUE(started.tryAcquire(1, deadline));

    std::thread ender([&] { queue.reset(); });
    proceed.release();
    ender.join();

    EXPECT_TRUE(done);
}

TEST(ExecutionQueue, ItsEndDeletesTheObjectsThatAskedForIt)
{
    QThread* deletedOn = nullptr;
    QThread* queueThread = nullptr;
    {
        ExecutionQueue queue;
        queueThread = &queue;
        auto* object = new QObject;
        object->moveToThread(&queue);
        QObject::connect(
            object, &QObject::destroyed, object, [&] { deletedOn = QThread::currentThread(); }, Qt::DirectConnection);

        object->deleteLater();
    }

    EXPECT_EQ(deletedOn, queueThread);
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
