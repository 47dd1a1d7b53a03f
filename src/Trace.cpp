#include "Trace.h"

namespace
{
p7zemo_trace_t objS_traceHandle = nullptr;
p7zemo_module_t objS_defaultModule = nullptr;
} // namespace

p7zemo_trace_t traceHandle()
{
    return objS_traceHandle;
}

p7zemo_module_t p7zemo_getDefaultTraceModule()
{
    return objS_defaultModule;
}

p7zemo_thread_t openTrace()
{
    p7zemo_init("zemologd");
    objS_traceHandle = p7zemo_traceCreate("zemologd");
    p7zemo_thread_t pL_mainThread = p7zemo_traceRegisterThread(objS_traceHandle, "Main", 0);
    objS_defaultModule = p7zemo_traceRegisterModule(objS_traceHandle, "Main");
    return pL_mainThread;
}

void closeTrace(p7zemo_thread_t pL_mainThread)
{
    p7zemo_traceUnRegisterThread(pL_mainThread);
    p7zemo_traceFree(objS_traceHandle);
    p7zemo_deInit();
}
