#include <p7zemo.h>

#include <cstdio>

struct p7zemo_module_s
{
};

static p7zemo_module_s theModule;

int p7zemo_init(const char* /*name*/)
{
    return 1;
}

void p7zemo_deInit()
{
}

p7zemo_trace_t p7zemo_traceCreate(const char* /*name*/)
{
    return nullptr;
}

void p7zemo_traceFree(p7zemo_trace_t /*trace*/)
{
}

p7zemo_thread_t p7zemo_traceRegisterThread(p7zemo_trace_t /*trace*/, const char* /*name*/, uint32_t /*reserved*/)
{
    return nullptr;
}

void p7zemo_traceUnRegisterThread(p7zemo_thread_t /*thread*/)
{
}

p7zemo_module_t p7zemo_traceRegisterModule(p7zemo_trace_t /*trace*/, const char* /*name*/)
{
    return &theModule;
}

int p7zemo_traceAdd(p7zemo_module_t module, uint32_t level, uint32_t /*line*/, const char* /*file*/,
                    const char* /*function*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::printf("vendor %s %u ", module == &theModule ? "module" : "nothing", level);
    std::vprintf(format, arguments);
    std::puts("");
    va_end(arguments);
    return std::fflush(stdout);
}
