#include <p7zemo.h>

#include "Message.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>

// Handles stay good for as long as the process lives: destructors that run after p7zemo_deInit, and threads that nobody
// joins, trace with what they hold. So nothing here is ever taken down, and there is nothing to start.

struct p7zemo_trace_s
{
};

struct p7zemo_thread_s
{
    std::string name;
};

struct p7zemo_module_s
{
    std::string name;
};

namespace
{

p7zemo_trace_s theTrace;

// The name under which the thread traces; owned by whoever registered it.
thread_local p7zemo_thread_t presentThread = nullptr;

struct Modules
{
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<p7zemo_module_s>> byName;
};

Modules& modules()
{
    static auto& everlasting = *new Modules;
    return everlasting;
}

// A text that can't be formatted shows its format at least.
std::string formatted(const char* format, va_list arguments)
{
    char* text = nullptr;
    if (vasprintf(&text, format, arguments) < 0)
    {
        return format;
    }
    const std::unique_ptr<char, decltype(&free)> owner(text, free);
    return text;
}

} // namespace

int p7zemo_init(const char* /*name*/)
{
    return 1;
}

void p7zemo_deInit(void)
{
}

p7zemo_trace_t p7zemo_traceCreate(const char* /*name*/)
{
    return &theTrace;
}

void p7zemo_traceFree(p7zemo_trace_t /*trace*/)
{
}

p7zemo_thread_t p7zemo_traceRegisterThread(p7zemo_trace_t /*trace*/, const char* name, uint32_t /*reserved*/)
{
    presentThread = new p7zemo_thread_s{name ? name : ""};
    return presentThread;
}

void p7zemo_traceUnRegisterThread(p7zemo_thread_t thread)
{
    if (thread == presentThread)
    {
        presentThread = nullptr;
    }
    delete thread;
}

p7zemo_module_t p7zemo_traceRegisterModule(p7zemo_trace_t /*trace*/, const char* name)
{
    Modules& known = modules();
    const std::lock_guard guard(known.mutex);
    std::unique_ptr<p7zemo_module_s>& module = known.byName[name ? name : ""];
    if (!module)
    {
        module.reset(new p7zemo_module_s{name ? name : ""});
    }
    return module.get();
}

int p7zemo_traceAdd(p7zemo_module_t module, uint32_t level, uint32_t line, const char* file, const char* function,
                    const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatted(format, arguments);
    va_end(arguments);
    writeMessage({module ? module->name.c_str() : nullptr, presentThread ? presentThread->name.c_str() : nullptr, level,
                  line, file, function, std::move(text)});
    return 1;
}
