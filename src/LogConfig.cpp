#include "LogConfig.h"

#include <cstdlib>
#include <cstring>

namespace
{

struct NumberKey
{
    const char* section;
    const char* key;
    int32_t LogConfig::*field;
};

constexpr NumberKey NumberKeys[] = {
    {"ram", "max-default", &LogConfig::maxDefault},
    {"ram", "max-manual", &LogConfig::maxManual},
    {"ram", "interval-minute", &LogConfig::intervalMinute},
    {"ram", "interval-10sec", &LogConfig::interval10Sec},
    {"ram", "interval-1sec", &LogConfig::interval1Sec},
    {"usb", "history", &LogConfig::usbHistory},
    {"usb", "future", &LogConfig::usbFuture},
    {"internal", "history", &LogConfig::internalHistory},
    {"internal", "future", &LogConfig::internalFuture},
};

void setPath(LogConfig& objL_config, const char* pL_path)
{
    strncpy(objL_config.internalPath, pL_path, LogConfig::PathSize - 1);
    objL_config.internalPath[LogConfig::PathSize - 1] = '\0';
}

bool takeNumber(LogConfig& objL_config, const char* pL_section, const char* pL_key, const char* pL_value)
{
    for (const NumberKey& objL_number : NumberKeys)
    {
        if (strcmp(pL_section, objL_number.section) == 0 && strcmp(pL_key, objL_number.key) == 0)
        {
            objL_config.*objL_number.field = static_cast<int32_t>(strtol(pL_value, nullptr, 10));
            return true;
        }
    }
    return false;
}

} // namespace

LogConfig& logConfig()
{
    static LogConfig objS_config;
    return objS_config;
}

void setDefaults(LogConfig& objL_config)
{
    objL_config = LogConfig{.maxDefault = 100,
                            .maxManual = 20,
                            .intervalMinute = 259200,
                            .interval10Sec = 3600,
                            .interval1Sec = 600,
                            .usbHistory = 259200,
                            .usbFuture = 0,
                            .internalHistory = 3300,
                            .internalFuture = 300,
                            .internalPath = "/var/zemo/var/log/zemologd"};
}

int configIniHandler(void* pL_user, const char* pL_section, const char* pL_key, const char* pL_value)
{
    if (!pL_user)
    {
        return 0;
    }
    auto& objL_config = *static_cast<LogConfig*>(pL_user);
    if (strcmp(pL_section, "internal") == 0 && strcmp(pL_key, "path") == 0)
    {
        setPath(objL_config, pL_value);
        return 1;
    }
    return takeNumber(objL_config, pL_section, pL_key, pL_value) ? 1 : 0;
}
