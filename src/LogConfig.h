#pragma once

#include <cstddef>
#include <cstdint>

/// The configuration of the process. Complete before any other thread exists and read-only from then on, so it is read
/// without a lock. Times are seconds.
struct LogConfig
{
    static constexpr size_t PathSize = 100;

    int32_t maxDefault;          ///< limit on how many parameters of the default list enter the RAM log
    int32_t maxManual;           ///< limit in the pass over the manual parameters
    int32_t intervalMinute;      ///< total age of the RAM history
    int32_t interval10Sec;       ///< age beyond which the RAM history keeps one-minute resolution
    int32_t interval1Sec;        ///< age beyond which the RAM history keeps ten-second resolution
    int32_t usbHistory;          ///< past that a snapshot to USB holds
    int32_t usbFuture;           ///< how long a snapshot to USB goes on recording
    int32_t internalHistory;     ///< the same for a snapshot in internal memory
    int32_t internalFuture;      ///< the same for a snapshot in internal memory
    char internalPath[PathSize]; ///< directory of the logs in internal memory, NUL-terminated
};

/// The one record of the process.
LogConfig& logConfig();

/// Puts the default into every field.
void setDefaults(LogConfig& objL_config);

/// Handler for inih's ini_parse; `pL_user` is a LogConfig. 1 when the pair was taken, 0 when it was not, which makes
/// ini_parse report the line as a syntax error. A value that is no number counts as taken and stores what strtol makes
/// of it; a path is cut to what the field holds.
int configIniHandler(void* pL_user, const char* pL_section, const char* pL_key, const char* pL_value);
