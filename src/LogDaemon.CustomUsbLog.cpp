#include "LogDaemon.h"

#include "Trace.h"
#include "logging/CSVLogger.h"

#include <zemo/DataManagementClient.h>

using zemo::data::DataManagementClient;

namespace
{

/// A logger for the daemon's own thread, where it also ends: dropping the last reference defers its deletion, and its
/// destructor closes the file.
QSharedPointer<FileLogger> makeCustomLogger(const CustomLogConfig& objL_config, const QString& objL_directory,
                                            int iL_interval, QThread* objL_thread)
{
    QSharedPointer<FileLogger> objL_logger(new CSVLogger(objL_directory, iL_interval, nullptr), &QObject::deleteLater);
    objL_logger->moveToThread(objL_thread);
    objL_logger->setBaseName(objL_config.prefix);
    return objL_logger;
}

} // namespace

bool LogDaemon::configureCustomLogUsb(int id, const QString& prefix, const QList<int>& parameters)
{
    StateLocker objL_locker(&stateMutex);
    customLogConfigs[id] = QSharedPointer<CustomLogConfig>::create(CustomLogConfig{prefix, parameters});
    if (const QSharedPointer<FileLogger> objL_logger = customLoggers.value(id))
    {
        objL_locker.unlock();
        const QMap<int32_t, Metadata> objL_metadata =
            DataManagementClient::instance->getMetadata(parameters, QStringLiteral("default"));
        objL_locker.relock();
        ZEMO_TRACE(traceModule(), 1, "Updating the parameters...");
        objL_logger->updateParameters(objL_metadata);
    }
    return true;
}

bool LogDaemon::startCustomUsbLog(int id, int interval, bool continueLog)
{
    StateLocker objL_locker(&stateMutex);
    if (const QSharedPointer<FileLogger> objL_former = customLoggers.value(id))
    {
        if (objL_former->isRunning())
        {
            ZEMO_TRACE(traceModule(), 1, "USB Logging (log: %d) already started", id);
            return true;
        }
        // What a failed start left behind. Clearing it away makes the main USB log count as stopped too, and clients
        // rely on that; its logger goes on writing, and nothing can stop it any more.
        customLoggers.remove(id);
        usbLogger = nullptr;
    }
    if (usbPath.isEmpty())
    {
        return false;
    }
    const QSharedPointer<CustomLogConfig> objL_config = customLogConfigs.value(id);
    if (!objL_config)
    {
        ZEMO_TRACE(traceModule(), 1, "USB Logging (log: %d) is missing config. Not starting.", id);
        return false;
    }
    const QSharedPointer<FileLogger> objL_logger = makeCustomLogger(*objL_config, usbPath, interval, thread());

    // Open for the slow call, and while the logger, which nobody else knows yet, comes up.
    objL_locker.unlock();
    objL_logger->updateParameters(
        DataManagementClient::instance->getMetadata(objL_config->parameters, QStringLiteral("default")));
    connect(this, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)), objL_logger.data(),
            SLOT(log(uint32_t, QMap<int32_t, DataValue>)));
    objL_logger->start(continueLog);
    objL_locker.relock();

    // A logger that failed stays as well, as the memory of its failure.
    customLoggers[id] = objL_logger;
    if (!objL_logger->isRunning())
    {
        ZEMO_TRACE(traceModule(), 1, "USB Logging (log: %d) failed to start", id);
        return false;
    }
    ZEMO_TRACE(traceModule(), 1, "USB Logging (log: %d ) started with %d sec interval", id, interval);
    objL_locker.unlock();
    emit customUsbLogStarted(id);
    return true;
}

bool LogDaemon::stopCustomUsbLog(int id)
{
    StateLocker objL_locker(&stateMutex);
    if (customLoggers.remove(id) > 0)
    {
        ZEMO_TRACE(traceModule(), 1, "USB Logging (log: %d) stopped", id);
        objL_locker.unlock();
        emit customUsbLogStopped(id);
    }
    return true;
}

bool LogDaemon::isCustomUsbLogActive(int id)
{
    const StateLocker objL_locker(&stateMutex);
    const QSharedPointer<FileLogger> objL_logger = customLoggers.value(id);
    return objL_logger && objL_logger->isRunning();
}

QStringList LogDaemon::getCustomUsbLogParameters(int id)
{
    const StateLocker objL_locker(&stateMutex);
    const QSharedPointer<FileLogger> objL_logger = customLoggers.value(id);
    return objL_logger ? objL_logger->getParameterTitles() : QStringList();
}

void LogDaemon::customLogsTick()
{
    for (const QSharedPointer<FileLogger>& objL_logger : std::as_const(customLoggers))
    {
        // No custom log asks for it so far: each runs across midnight in one file.
        if (objL_logger && objL_logger->isRunning() && objL_logger->isRestartAtDateChange() &&
            objL_logger->getCreatedAt().date() != QDate::currentDate())
        {
            objL_logger->stop();
            objL_logger->start(false);
        }
    }
}
