#pragma once

#include <cstdint>

namespace zemo::data
{

/// One record of the power log. A value that is missing is NaN.
struct PowerLogRecord
{
    int64_t timestamp = 0; ///< seconds since the epoch
    double valueA = 0;
    double valueB = 0;
    double valueC = 0;
};

} // namespace zemo::data
