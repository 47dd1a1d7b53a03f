#include "FuzzFile.h"
#include "LogConfig.h"

#include <ini.h>

#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    LogConfig config;
    setDefaults(config);
    const std::string text(reinterpret_cast<const char*>(data), size);
    ini_parse_string(text.c_str(), configIniHandler, &config);
    if (strnlen(config.internalPath, LogConfig::PathSize) == LogConfig::PathSize)
    {
        abort();
    }
    return 0;
}
