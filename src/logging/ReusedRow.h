#pragma once

#include <zemo/DataValue.h>

#include <QMap>

#include <cstddef>
#include <cstdint>
#include <vector>

/// One row that is handed out again and again with the same ids and other values. A receiver may keep a copy of what it
/// got (a queued call does): the copy is never altered.
class ReusedRow
{
public:
    /// Adds a column with a value to begin with. An id that is there already gets this value, and both columns share
    /// it.
    void addColumn(int32_t s32L_id, const zemo::data::DataValue& objL_value = {})
    {
        ids.push_back(s32L_id);
        row.insert(s32L_id, objL_value);
        places.clear();
    }

    /// To be called before each round of changes.
    void beginChanges()
    {
        if (!row.isDetached() || places.empty())
        {
            findPlaces();
        }
    }

    /// The value of the column that was added as number `column`, from 0.
    zemo::data::DataValue& at(size_t column)
    {
        return *places[column];
    }

    const QMap<int32_t, zemo::data::DataValue>& values() const
    {
        return row;
    }

private:
    void findPlaces()
    {
        places.clear();
        for (const int32_t s32L_id : ids)
        {
            places.push_back(&row[s32L_id]);
        }
    }

    QMap<int32_t, zemo::data::DataValue> row;
    std::vector<int32_t> ids;
    std::vector<zemo::data::DataValue*> places; ///< by column, good while no other copy of the row exists
};
