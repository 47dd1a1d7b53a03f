// All that can go on at the same time, going on at the same time: ticks on the daemon's thread, bus calls on the main
// thread, exports on theirs. Says little by itself; it is there for the thread sanitizer to watch.

#include "EnergyLogFile.h"
#include "FakePlatform.h"
#include "FakeSync.h"
#include "Files.h"
#include "LogConfig.h"
#include "LogDaemon.h"

#include <zemo/ExecutionQueue.h>

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <atomic>
#include <gtest/gtest.h>

namespace
{

constexpr int Rounds = 30;
constexpr int TicksPerRound = 3;

class MixedRun : public testing::Test
{
protected:
    MixedRun()
    {
        setDefaults(logConfig());
        QDir().mkpath(QString::fromUtf8(logConfig().internalPath));
        for (int id = 1; id <= 20; ++id)
        {
            platform.addParameter(id, QStringLiteral("Parameter %1").arg(id), "kW", id);
            platform.defaultLog.append(id);
        }
        platform.modbusParams = platform.defaultLog;
        platform.settings = QByteArray(20000, 's');
        platform.texts[59023] = "Date";
        platform.hourlyPower.append({1700000000, 1.5, 2.5, 3.5});
        onQueue([this] { daemon = new LogDaemon(nullptr); });
        // Raised on the threads of the exports.
        QObject::connect(
            daemon, &LogDaemon::energyLogExportCompleted, daemon, [this] { ++exports; }, Qt::DirectConnection);
        QObject::connect(
            daemon, &LogDaemon::PowerLogExportCompleted, daemon, [this] { ++exports; }, Qt::DirectConnection);
        platform.insertDrive(stick.path());
    }

    ~MixedRun() override
    {
        onQueue([this] { delete daemon; });
    }

    template <class Work> void onQueue(Work work)
    {
        QMetaObject::invokeMethod(queue.context(), work, Qt::BlockingQueuedConnection);
    }

    void postTicks()
    {
        for (int tick = 0; tick < TicksPerRound; ++tick)
        {
            QMetaObject::invokeMethod(daemon, "second", Qt::QueuedConnection);
        }
        QMetaObject::invokeMethod(daemon, "minute", Qt::QueuedConnection);
    }

    int callAll(int round)
    {
        daemon->startUsbLog(1, false, "default");
        daemon->configureCustomLogUsb(1, "pump", {1, 2, round});
        daemon->startCustomUsbLog(1, 1, false);
        daemon->getLogParameters();
        daemon->getCustomUsbLogParameters(1);
        daemon->saveRamLogToUsb(10, round % 2, "");
        const uint32_t id = daemon->saveRamLogToInternalMem(10, 1);
        daemon->saveInternalLogToUsb(id, "");
        daemon->removeLogFromInternalMem(id);
        daemon->saveSettingsToUSB(0);
        daemon->restoreSettingsFromUSB();
        daemon->saveModbusStateToUsb();
        daemon->saveChangeLogToUsb("");
        daemon->addEnergyLogHourlyEntry(entry(comingYear(), 2, 3, static_cast<uchar>(round % 24), {round, 1}));
        daemon->getEnergyLogHourly(comingYear(), 2, 1, 0, comingYear(), 2, 28, 23);
        int started = daemon->exportEnergyLogToUsb({"A", "B"}, QByteArray(2, 0), comingYear(), 2, comingYear(), 2);
        started += daemon->PowerLogExportToUsb("default");
        daemon->stopCustomUsbLog(1);
        daemon->stopUsbLog();
        return started;
    }

    bool allExportsEnd(int started)
    {
        QElapsedTimer timer;
        timer.start();
        while (exports < started && timer.elapsed() < 60000)
        {
            QThread::msleep(5);
        }
        // Behind the signal the power log's guard is given back.
        while (!daemon->PowerLogExportToUsb("default") && timer.elapsed() < 60000)
        {
            QThread::msleep(5);
        }
        while (exports < started + 1 && timer.elapsed() < 60000)
        {
            QThread::msleep(5);
        }
        return exports == started + 1;
    }

    bool comesToAnswer(bool has)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 60000)
        {
            if (daemon->hasSettingsOnUSB() == has)
            {
                return true;
            }
            QThread::yieldCurrentThread();
        }
        return false;
    }

    FakePlatform platform;
    FakeSync sync;
    EnergyLogFile file;
    QTemporaryDir stick;
    zemo::ExecutionQueue queue;
    LogDaemon* daemon = nullptr;
    std::atomic<int> exports = 0;
};

} // namespace

TEST_F(MixedRun, OfTicksCallsAndExportsComesToItsEnd)
{
    ASSERT_TRUE(daemon->initEnergyLog(2, -1));
    int started = 0;
    for (int round = 0; round < Rounds; ++round)
    {
        postTicks();
        started += callAll(round);
        if (round % 5 == 4)
        {
            platform.removeDrive(stick.path());
            platform.insertDrive(stick.path());
        }
    }

    EXPECT_TRUE(allExportsEnd(started));
    EXPECT_FALSE(daemon->isUsbLogActive());
    EXPECT_EQ(file.number("SELECT COUNT(*) FROM hourly"), 24);
}

// Even without the lock the answer would nearly always be right; the thread sanitizer sees the rest.
TEST_F(MixedRun, OfDrivesThatComeAndGoAndQuestionsForSettingsFollowsTheDrive)
{
    onQueue([] {}); // the insertion at the beginning is done then, and doesn't mix with these
    writeFile(stick.filePath("STORE.SET"), "settings");
    for (int round = 0; round < Rounds; ++round)
    {
        platform.removeDrive(stick.path());
        ASSERT_TRUE(comesToAnswer(false));
        platform.insertDrive(stick.path());
        ASSERT_TRUE(comesToAnswer(true));
    }
}
