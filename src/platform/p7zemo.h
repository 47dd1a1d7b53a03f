#pragma once

#include <cstdarg>
#include <cstdint>

/// The trace library. Every function may be called from any thread once p7zemo_init has returned, and none fails
/// visibly: a message that cannot be written is dropped.

extern "C"
{

    typedef struct p7zemo_trace_s* p7zemo_trace_t;
    typedef struct p7zemo_thread_s* p7zemo_thread_t;
    typedef struct p7zemo_module_s* p7zemo_module_t;

    /// Starts the library for the process called `name`. Called once, before anything else here.
    int p7zemo_init(const char* name);

    /// Ends the library; handles are void from then on.
    void p7zemo_deInit(void);

    /// Opens the trace `name`. The handle lives until p7zemo_traceFree.
    p7zemo_trace_t p7zemo_traceCreate(const char* name);
    void p7zemo_traceFree(p7zemo_trace_t trace);

    /// Gives the calling thread a name in the trace until p7zemo_traceUnRegisterThread.
    p7zemo_thread_t p7zemo_traceRegisterThread(p7zemo_trace_t trace, const char* name, uint32_t reserved);
    void p7zemo_traceUnRegisterThread(p7zemo_thread_t thread);

    /// Gives the handle of the module `name`, the same one for the same name. It lives as long as the trace.
    /// `trace` may be null (a unit that traces before the trace is open); such a module is valid all the same.
    p7zemo_module_t p7zemo_traceRegisterModule(p7zemo_trace_t trace, const char* name);

    /// Writes one message: printf format and arguments, level 1 (progress) to 5 (data at risk), and the place of the
    /// call. `function` is the plain function name. `module` may be null.
    int p7zemo_traceAdd(p7zemo_module_t module, uint32_t level, uint32_t line, const char* file, const char* function,
                        const char* format, ...) __attribute__((format(printf, 6, 7)));

    /// The module that library code without one of its own traces to. Defined by the program, not by this library, and
    /// exported from the executable.
    p7zemo_module_t p7zemo_getDefaultTraceModule(void);
}
