#pragma once

#include "logging/Logger.h"
#include "logging/RamParameter.h"

#include <zemo/Lock.h>

#include <memory>
#include <vector>

/// The history of every parameter of its set, as step functions whose resolution coarsens with age: one second, then
/// ten, then a minute, by the limits of LogConfig. Needs no start; accepts values from construction on.
///
/// A parameter's samples stand in ascending order of time, and no two neighbours have equal values.
class RAMLogger : public Logger
{
    Q_OBJECT

public:
    explicit RAMLogger(QObject* parent);
    ~RAMLogger() override;

    bool start(bool continueLog) override;
    bool stop() override;

    /// Feeds the history from `from` up to the second before now to `target`, oldest row first, at the resolution that
    /// each age still has, then, if `attach`, connects `target` to the live values, and flushes it. A `from` in the
    /// decades before 1970 becomes a 32-bit time in the future and gives no rows.
    ///
    /// The seam to the live values is one second wide. A sample already stored for the current second is not delivered;
    /// one that was timed before the replay and is stored after it arrives live and can repeat a row's time.
    ///
    /// Holds listLock for the whole replay, the target's file writes included: sampling waits meanwhile. Call on any
    /// thread, without stateMutex. What target->log returns is ignored.
    void replayTo(Logger* target, const QDateTime& from, bool attach);

    /// Drops the parameter and its history, if it is there.
    void removeParameter(int32_t id);

public slots:
    /// Stores what changed; always true. Emits valuesUpdated with listLock held. A time divisible by 60 thins the
    /// history too.
    bool log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values) override;
    /// Makes the set equal to the map's keys. A parameter that stays keeps its history.
    void updateParameters(QMap<int32_t, Metadata> objL_logParametersConstrained) override;

signals:
    void valuesUpdated(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values);

private:
    friend class RAMLoggerInspector; // tests look at the stored samples

    using Link = std::unique_ptr<RamParameter>*;
    using Keys = QMap<int32_t, Metadata>::const_iterator;

    static void addSample(RamParameter& objL_parameter, uint32_t u32L_time, const DataValue& objL_value);
    static void addChange(RamParameter& objL_parameter, uint32_t u32L_time, const DataValue& objL_value);
    static void compactParameter(RamParameter& objL_parameter, uint32_t u32L_now);
    bool hasKeys(const QMap<int32_t, Metadata>& objL_parameters) const;
    static Link mergeParameters(Link objL_link, Keys objL_begin, Keys objL_end);
    static Link addParameter(Link objL_link, uint32_t u32L_id);
    static void unlink(Link objL_link);
    void replayRows(Logger* target, uint32_t u32L_from);

    std::unique_ptr<RamParameter> parameterList; ///< ascending by id as an unsigned number, no id twice
    std::vector<int32_t> keys;                   ///< the same ids in the order of a map of parameters
    zemo::threading::Lock listLock;              // rank 2
};
