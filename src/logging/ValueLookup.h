#pragma once

#include <zemo/DataValue.h>

#include <QMap>

#include <cstdint>

/// Finds the values of one row by id. Ids asked for in the map's order cost one forward walk over the whole row; any
/// other order is as right and only slower. The map must outlive the look-up unchanged.
class ValueLookup
{
public:
    explicit ValueLookup(const QMap<int32_t, zemo::data::DataValue>& objL_values)
        : values(objL_values)
        , next(objL_values.constBegin())
    {
    }

    /// Null when the row has no value of that id.
    const zemo::data::DataValue* find(int32_t s32L_id)
    {
        if (!isAt(s32L_id))
        {
            next = values.lowerBound(s32L_id);
        }
        return isAt(s32L_id) ? &*next++ : nullptr;
    }

private:
    bool isAt(int32_t s32L_id) const
    {
        return next != values.constEnd() && next.key() == s32L_id;
    }

    const QMap<int32_t, zemo::data::DataValue>& values;
    QMap<int32_t, zemo::data::DataValue>::const_iterator next;
};
