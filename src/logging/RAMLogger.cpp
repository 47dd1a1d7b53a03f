#include "logging/RAMLogger.h"

#include "LogConfig.h"
#include "logging/ReusedRow.h"
#include "logging/ValueLookup.h"

#include <algorithm>
#include <limits>

namespace
{

constexpr uint32_t Minute = 60;
constexpr uint32_t TenSeconds = 10;
// A clock that is this much behind the newest sample, in seconds, was set back for good.
constexpr uint32_t SteppedBack = 10;

class ListLocker
{
public:
    explicit ListLocker(zemo::threading::Lock& objL_lock)
        : lock(objL_lock)
    {
        lock.lock(true);
    }
    ~ListLocker()
    {
        lock.unlock();
    }
    ListLocker(const ListLocker&) = delete;
    ListLocker& operator=(const ListLocker&) = delete;

private:
    zemo::threading::Lock& lock;
};

/// The times at which the resolution of the history changes, seen from `now`.
template <class Time> struct Zones
{
    explicit Zones(Time now)
        : limitMinute(now - static_cast<Time>(logConfig().intervalMinute))
        , limit10(now - static_cast<Time>(logConfig().interval10Sec))
        , limit1(now - static_cast<Time>(logConfig().interval1Sec))
    {
    }

    Time limitMinute; ///< older data is cut
    Time limit10;     ///< older data has one value a minute
    Time limit1;      ///< older data has one value in ten seconds
};

uint32_t roundedUp(uint32_t u32L_time, uint32_t u32L_grid)
{
    const uint32_t u32L_over = u32L_time % u32L_grid;
    return u32L_over == 0 ? u32L_time : u32L_time + u32L_grid - u32L_over;
}

/// Where a sample of that time belongs.
uint32_t thinnedTime(const Zones<uint32_t>& objL_zones, uint32_t u32L_time)
{
    if (u32L_time < objL_zones.limitMinute)
    {
        return objL_zones.limitMinute;
    }
    if (u32L_time < objL_zones.limit10)
    {
        return roundedUp(u32L_time, Minute);
    }
    return u32L_time < objL_zones.limit1 ? roundedUp(u32L_time, TenSeconds) : u32L_time;
}

/// The time of the first row. It moves up a full step also from the grid, so that the first row is behind `begin`.
int64_t firstRowTime(const Zones<int64_t>& objL_zones, int64_t begin)
{
    if (begin < objL_zones.limitMinute)
    {
        return objL_zones.limitMinute;
    }
    if (begin < objL_zones.limit10)
    {
        return begin + Minute - begin % Minute;
    }
    return begin < objL_zones.limit1 ? begin + TenSeconds - begin % TenSeconds : begin;
}

int64_t rowDistance(const Zones<int64_t>& objL_zones, int64_t time)
{
    if (objL_zones.limit1 < time)
    {
        return 1;
    }
    return objL_zones.limit10 < time ? TenSeconds : Minute;
}

/// Reads the whole list along the time, forward only, one row after the other. Its parameters must not change
/// meanwhile.
class Replay
{
public:
    explicit Replay(const RamParameter* objL_list)
    {
        for (const RamParameter* objL_each = objL_list; objL_each; objL_each = objL_each->next.get())
        {
            cursors.push_back({nullptr, objL_each->first});
            row.addColumn(static_cast<int32_t>(objL_each->id));
        }
    }

    /// The time of the oldest sample; the largest number when there is none.
    uint32_t oldest() const
    {
        uint32_t u32L_oldest = std::numeric_limits<uint32_t>::max();
        for (const Cursor& objL_cursor : cursors)
        {
            u32L_oldest = objL_cursor.next ? std::min(u32L_oldest, objL_cursor.next->time) : u32L_oldest;
        }
        return u32L_oldest;
    }

    /// The values in force at `time`, which never goes back; a parameter without one has a default-constructed value.
    const QMap<int32_t, DataValue>& rowAt(uint32_t u32L_time)
    {
        row.beginChanges();
        for (size_t iL_column = 0; iL_column < cursors.size(); ++iL_column)
        {
            if (cursors[iL_column].advance(u32L_time))
            {
                row.at(iL_column) = cursors[iL_column].inForce->value;
            }
        }
        return row.values();
    }

private:
    struct Cursor
    {
        const RamSample* inForce; ///< null before the first sample's time
        const RamSample* next;

        bool advance(uint32_t u32L_time)
        {
            const RamSample* const objL_before = inForce;
            while (next && next->time <= u32L_time)
            {
                inForce = next;
                next = next->next;
            }
            return inForce != objL_before;
        }
    };

    std::vector<Cursor> cursors;
    ReusedRow row;
};

} // namespace

RAMLogger::RAMLogger(QObject* parent)
    : Logger(RamLog, 0, parent)
    , listLock("Data Recorder List Lock")
{
}

// The lock goes while it is held: whoever waits for it would come back to a list that is gone.
RAMLogger::~RAMLogger()
{
    listLock.lock(true);
    while (parameterList)
    {
        unlink(&parameterList);
    }
}

bool RAMLogger::start(bool /*continueLog*/)
{
    return true;
}

bool RAMLogger::stop()
{
    return true;
}

// Most values are as they were, so the rest of the work stands apart and this goes into the loop.
inline void RAMLogger::addSample(RamParameter& objL_parameter, uint32_t u32L_time, const DataValue& objL_value)
{
    const RamSample* const objL_last = objL_parameter.last;
    if (!objL_last || objL_last->time >= u32L_time || !(objL_last->value == objL_value))
    {
        addChange(objL_parameter, u32L_time, objL_value);
    }
}

bool RAMLogger::log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values)
{
    const ListLocker objL_locker(listLock);
    ValueLookup objL_lookup(objL_values);
    for (RamParameter* objL_each = parameterList.get(); objL_each; objL_each = objL_each->next.get())
    {
        const DataValue* const objL_value = objL_lookup.find(static_cast<int32_t>(objL_each->id));
        if (objL_value)
        {
            addSample(*objL_each, u32L_timestamp, *objL_value);
        }
        if (u32L_timestamp % Minute == 0)
        {
            compactParameter(*objL_each, u32L_timestamp);
        }
    }
    emit valuesUpdated(u32L_timestamp, objL_values);
    return true;
}

void RAMLogger::addChange(RamParameter& objL_parameter, uint32_t u32L_time, const DataValue& objL_value)
{
    const RamSample* const objL_last = objL_parameter.last;
    if (objL_last && objL_last->time >= u32L_time)
    {
        if (objL_last->time - u32L_time < SteppedBack)
        {
            return;
        }
        objL_parameter.clear();
    }
    objL_parameter.append(u32L_time, objL_value);
}

void RAMLogger::compactParameter(RamParameter& objL_parameter, uint32_t u32L_now)
{
    const Zones<uint32_t> objL_zones(u32L_now);
    RamSample* objL_kept = nullptr;
    // Neighbours differ as they are stored, so only a removal between two can have made them equal.
    bool bL_newNeighbours = false;
    RamSample* objL_sample = objL_parameter.first;
    while (objL_sample)
    {
        if (objL_kept && objL_sample->time < objL_kept->time)
        {
            objL_parameter.clear();
            return;
        }
        const RamSample* const objL_next = objL_sample->next;
        const uint32_t u32L_thinned = thinnedTime(objL_zones, objL_sample->time);
        const bool bL_merged = bL_newNeighbours && objL_kept && objL_sample->value == objL_kept->value;
        const bool bL_overtaken = u32L_thinned != objL_sample->time && objL_next && objL_next->time <= u32L_thinned;
        if (bL_merged || bL_overtaken)
        {
            objL_sample = objL_parameter.removeAfter(objL_kept);
            bL_newNeighbours = true;
            continue;
        }
        objL_sample->time = u32L_thinned;
        objL_kept = objL_sample;
        bL_newNeighbours = false;
        objL_sample = objL_sample->next;
    }
    objL_parameter.last = objL_kept;
    objL_parameter.tidy();
}

void RAMLogger::updateParameters(QMap<int32_t, Metadata> objL_logParametersConstrained)
{
    const ListLocker objL_locker(listLock);
    const QMap<int32_t, Metadata>& objL_parameters = objL_logParametersConstrained;
    // Once a minute the same set comes again; the list then stays out of the cache.
    if (hasKeys(objL_parameters))
    {
        return;
    }
    keys.assign(objL_parameters.keyBegin(), objL_parameters.keyEnd());
    // The map counts negative ids first, the list last.
    const Keys objL_notNegative = objL_parameters.lowerBound(0);
    Link objL_link = mergeParameters(&parameterList, objL_notNegative, objL_parameters.constEnd());
    objL_link = mergeParameters(objL_link, objL_parameters.constBegin(), objL_notNegative);
    while (*objL_link)
    {
        unlink(objL_link);
    }
}

bool RAMLogger::hasKeys(const QMap<int32_t, Metadata>& objL_parameters) const
{
    if (static_cast<size_t>(objL_parameters.size()) != keys.size())
    {
        return false;
    }
    // From both ends at once, since the map's nodes lie apart and the processor can wait for two of them at a time.
    auto objL_first = objL_parameters.cbegin();
    auto objL_last = objL_parameters.cend();
    for (size_t iL_first = 0, iL_last = keys.size(); iL_first < iL_last; ++iL_first, ++objL_first)
    {
        --iL_last;
        --objL_last;
        if (objL_first.key() != keys[iL_first] || objL_last.key() != keys[iL_last])
        {
            return false;
        }
    }
    return true;
}

RAMLogger::Link RAMLogger::mergeParameters(Link objL_link, Keys objL_begin, Keys objL_end)
{
    for (Keys objL_key = objL_begin; objL_key != objL_end; ++objL_key)
    {
        const auto u32L_id = static_cast<uint32_t>(objL_key.key());
        while (*objL_link && (*objL_link)->id < u32L_id)
        {
            unlink(objL_link);
        }
        objL_link = addParameter(objL_link, u32L_id);
    }
    return objL_link;
}

RAMLogger::Link RAMLogger::addParameter(Link objL_link, uint32_t u32L_id)
{
    if (!*objL_link || (*objL_link)->id != u32L_id)
    {
        auto objL_parameter = std::make_unique<RamParameter>(u32L_id);
        objL_parameter->next = std::move(*objL_link);
        *objL_link = std::move(objL_parameter);
    }
    return &(*objL_link)->next;
}

void RAMLogger::removeParameter(int32_t id)
{
    const ListLocker objL_locker(listLock);
    Link objL_link = &parameterList;
    while (*objL_link && (*objL_link)->id < static_cast<uint32_t>(id))
    {
        objL_link = &(*objL_link)->next;
    }
    if (*objL_link && (*objL_link)->id == static_cast<uint32_t>(id))
    {
        unlink(objL_link);
        std::erase(keys, id);
    }
}

void RAMLogger::unlink(Link objL_link)
{
    const std::unique_ptr<RamParameter> objL_removed = std::move(*objL_link);
    *objL_link = std::move(objL_removed->next);
}

void RAMLogger::replayTo(Logger* target, const QDateTime& from, bool attach)
{
    {
        const ListLocker objL_locker(listLock);
        replayRows(target, static_cast<uint32_t>(from.toSecsSinceEpoch()));
        if (attach)
        {
            connect(this, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)), target,
                    SLOT(log(uint32_t, QMap<int32_t, DataValue>)), Qt::AutoConnection);
        }
    }
    target->flush();
}

void RAMLogger::replayRows(Logger* target, uint32_t u32L_from)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const Zones<int64_t> objL_zones(now);
    if (!parameterList)
    {
        return;
    }
    Replay objL_replay(parameterList.get());
    const uint32_t u32L_begin = std::max(u32L_from, objL_replay.oldest());
    for (int64_t time = firstRowTime(objL_zones, u32L_begin); time < now; time += rowDistance(objL_zones, time))
    {
        const auto u32L_time = static_cast<uint32_t>(time);
        target->log(u32L_time, objL_replay.rowAt(u32L_time));
    }
}
