#pragma once

#include <p7zemo.h>

/// Traces one printf-style message with the place and plain function name of the call.
#define ZEMO_TRACE(module, level, ...) p7zemo_traceAdd(module, level, __LINE__, __FILE__, __func__, __VA_ARGS__)

/// The trace of the process, null before openTrace. Set once at start and read without a lock.
p7zemo_trace_t traceHandle();

/// Opens the trace, names the calling thread "Main" in it and registers the default module "Main". Called once by main,
/// before any other thread exists. The result is for closeTrace.
p7zemo_thread_t openTrace();

/// Ends the trace library. Nothing may be traced from then on.
void closeTrace(p7zemo_thread_t pL_mainThread);
