#pragma once

#include <p7zemo.h>

/// The module under which this library traces.
inline p7zemo_module_t traceModule()
{
    static p7zemo_module_t module = p7zemo_traceRegisterModule(nullptr, "zemo");
    return module;
}

#define ZEMO_LIBRARY_TRACE(level, ...) p7zemo_traceAdd(traceModule(), level, __LINE__, __FILE__, __func__, __VA_ARGS__)
