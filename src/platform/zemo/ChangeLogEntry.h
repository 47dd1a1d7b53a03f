#pragma once

#include <zemo/DataValue.h>
#include <zemo/DateTime.h>
#include <zemo/Metadata.h>

namespace zemo::data
{

/// One parameter change on record.
struct ChangeLogEntry
{
    DataValue value;
    Metadata metadata;
    zdatetime_t timestamp;
};

} // namespace zemo::data
