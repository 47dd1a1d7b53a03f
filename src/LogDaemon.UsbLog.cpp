#include "LogDaemon.h"

#include "Trace.h"
#include "logging/CSVLogger.h"

#include <zemo/DataManagementClient.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QTextStream>

namespace
{

// A stick is not to be trusted. A line of this length or more is no number, and a file is read up to this many
// characters, which is room for millions of ids: nothing else limits their count. Six million, as ids of one digit,
// still fit into one message: the bus cuts off whoever sends it more than 32 MiB.
constexpr qint64 LogSetLineLength = 4096;
constexpr qint64 LogSetTotalLength = 12LL * 1024 * 1024;

/// Reads one line and adds the characters that it took to `s64L_total`; the line is empty when it was too long. Only
/// the limit's worth of it is ever held. False at the end, and on a stick that was pulled: such a file never comes to
/// its end.
bool readLimitedLine(QTextStream& objL_stream, QString& objL_line, qint64& s64L_total)
{
    if (!objL_stream.readLineInto(&objL_line, LogSetLineLength))
    {
        return false;
    }
    s64L_total += objL_line.size() + 1;
    qint64 s64L_taken = objL_line.size();
    while (s64L_taken == LogSetLineLength && s64L_total < LogSetTotalLength)
    {
        objL_line.clear();
        s64L_taken = objL_stream.readLine(LogSetLineLength).size();
        s64L_total += s64L_taken;
    }
    return true;
}

QList<int> readLogSetIds(QTextStream& objL_stream)
{
    static const QRegularExpression objS_header(QStringLiteral("\\[ZEMOLOG;\\d{8}\\]"));

    QList<int> objL_ids;
    QString objL_line;
    qint64 s64L_total = 0;
    // isValid asks about the expression and not about the line, so every first line passes as a header. It is wanted.
    if (!readLimitedLine(objL_stream, objL_line, s64L_total) || !objS_header.match(objL_line).isValid())
    {
        return objL_ids;
    }
    while (s64L_total < LogSetTotalLength && readLimitedLine(objL_stream, objL_line, s64L_total))
    {
        bool bL_isNumber = false;
        const int iL_id = objL_line.toInt(&bL_isNumber, 10);
        if (bL_isNumber)
        {
            objL_ids.append(iL_id);
        }
    }
    return objL_ids;
}

QList<int> readLogSetFile(QFile& objL_file)
{
    // Opening a pipe would wait for a writer, and a device need not end: neither is a file that can be read.
    if (!QFileInfo(objL_file).isFile() || !objL_file.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        return {};
    }
    QTextStream objL_stream(&objL_file);
    return readLogSetIds(objL_stream);
}

} // namespace

bool LogDaemon::startUsbLog(int interval, bool continueLog, const QString& objL_locale)
{
    StateLocker objL_locker(&stateMutex);
    return startUsbLog(objL_locker, interval, true, continueLog, objL_locale);
}

bool LogDaemon::stopUsbLog()
{
    StateLocker objL_locker(&stateMutex);
    return stopUsbLog(objL_locker, true);
}

bool LogDaemon::isUsbLogActive()
{
    const StateLocker objL_locker(&stateMutex);
    return usbLogger != nullptr;
}

QStringList LogDaemon::getLogParameters()
{
    const StateLocker objL_locker(&stateMutex);
    QStringList objL_titles;
    for (const Metadata& objL_parameter : std::as_const(logParametersAll))
    {
        objL_titles.append(objL_parameter.name.text());
    }
    return objL_titles;
}

bool LogDaemon::startUsbLog(StateLocker& locker, int interval, bool raiseSignal, bool continueLog,
                            const QString& locale)
{
    if (usbLogger)
    {
        ZEMO_TRACE(traceModule(), 4, "Logging has already been started");
        return true;
    }
    if (usbPath.isEmpty())
    {
        return false;
    }
    // This opens the mutex. Two starts that overlap here both go on, and the later logger replaces the earlier one.
    refreshParameters(locker, locale);
    usbLogger = new CSVLogger(usbPath, interval, nullptr);
    // A bus call arrives on the main thread, and rows are to be written on this object's.
    usbLogger->moveToThread(thread());
    connect(this, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)), usbLogger,
            SLOT(log(uint32_t, QMap<int32_t, DataValue>)));
    usbLogger->setRestartAtDateChange(true);
    usbLogger->updateParameters(logParametersAll);
    usbLogger->start(continueLog);
    if (!usbLogger->isRunning())
    {
        usbLogger->deleteLater();
        usbLogger = nullptr;
        ZEMO_TRACE(traceModule(), 4, "USB Logging failed to start");
        return false;
    }
    ZEMO_TRACE(traceModule(), 1, "USB Logging started with interval %d sec", interval);
    if (raiseSignal)
    {
        locker.unlock();
        emit usbLogStarted();
        locker.relock();
    }
    return true;
}

bool LogDaemon::stopUsbLog(StateLocker& locker, bool raiseSignal)
{
    if (!usbLogger)
    {
        return true;
    }
    usbLogger->stop();
    usbLogger->deleteLater();
    usbLogger = nullptr;
    ZEMO_TRACE(traceModule(), 1, "USB Logging stopped...");
    if (raiseSignal)
    {
        locker.unlock();
        emit usbLogStopped();
        locker.relock();
    }
    return true;
}

void LogDaemon::checkUsbLogDate(StateLocker& locker)
{
    // Inequality, so that a clock that is set back counts too.
    if (!usbLogger || usbLogger->getCreatedAt().date() == QDate::currentDate())
    {
        return;
    }
    const int iL_interval = static_cast<CSVLogger*>(usbLogger)->getInterval();
    // Without the signals: to a client it is one unbroken log.
    stopUsbLog(locker, false);
    startUsbLog(locker, iL_interval, false, false, QStringLiteral("default"));
}

void LogDaemon::readLogSet(const QString& objL_path)
{
    QFile objL_file(QStringLiteral("%1/log.set").arg(objL_path));
    if (!objL_file.exists())
    {
        objL_file.setFileName(QStringLiteral("%1/LOG.SET").arg(objL_path));
    }
    if (!objL_file.exists())
    {
        return;
    }
    const QList<int> objL_ids = readLogSetFile(objL_file);
    objL_file.close();
    const QMap<int32_t, Metadata> objL_parameters =
        zemo::data::DataManagementClient::instance->getMetadata(objL_ids, QStringLiteral("default"));
    StateLocker objL_locker(&stateMutex);
    logParametersManual = objL_parameters;
    refreshParameters(objL_locker, QStringLiteral("default"));
}
