#pragma once

#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QRecursiveMutex>

#include <cstdint>

using zemo::data::DataValue;
using zemo::data::Metadata;

/// Makes the argument types of the loggers' signals known to queued connections under the names that they use.
void registerLoggerMetaTypes();

/// Receives parameter values. Times are seconds since the epoch, UTC; map keys are parameter ids.
class Logger : public QObject
{
    Q_OBJECT

public:
    enum Type
    {
        RamLog = 1,
        CsvLog = 2,
        BinaryLog = 3
    };

    Logger(int iL_type, uint32_t u32L_logIndex, QObject* parent);

    int getType() const;
    /// Number of the log file minus one.
    uint32_t getLogIndex() const;
    void setLogIndex(uint32_t u32L_logIndex);
    bool isRestartAtDateChange() const;
    void setRestartAtDateChange(bool bL_restart);
    /// Local time of construction.
    QDateTime getCreatedAt() const;

    /// Begins a log; true when it can take rows.
    virtual bool start(bool continueLog) = 0;
    /// Ends the log, if one runs; always true. The history in memory has no end.
    virtual bool stop() = 0;
    /// Hands to the system what is still buffered. Any thread; a logger without a file does nothing.
    virtual void flush();

public slots:
    /// Takes one set of values; true when it was not skipped.
    virtual bool log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values) = 0;
    /// Names the parameters that are to be kept.
    virtual void updateParameters(QMap<int32_t, Metadata> objL_logParameters) = 0;

private:
    friend class LoggerInspector; // tests make a logger look older than it is

    int32_t type;
    uint32_t logIndex;
    QDateTime createdAt;
    bool restartAtDateChange = false;

protected:
    QRecursiveMutex logMutex; // rank 3
};
