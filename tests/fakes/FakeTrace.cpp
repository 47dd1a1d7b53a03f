#include "FakePlatform.h"

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

struct p7zemo_trace_s
{
};

struct p7zemo_thread_s
{
};

struct p7zemo_module_s
{
    std::string name;
};

namespace
{

p7zemo_trace_s theTrace;
p7zemo_thread_s theThread;
std::mutex modulesMutex;
std::map<std::string, std::unique_ptr<p7zemo_module_s>> modules;

std::string nameOf(p7zemo_trace_t trace)
{
    return trace == &theTrace ? "trace" : "?";
}

std::string formatted(const char* format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    const int length = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(static_cast<size_t>(length), '\0');
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

} // namespace

int p7zemo_init(const char* name)
{
    FakePlatform::addHistory(std::string("p7zemo_init ") + name);
    return 1;
}

void p7zemo_deInit()
{
    FakePlatform::addHistory("p7zemo_deInit");
}

p7zemo_trace_t p7zemo_traceCreate(const char* name)
{
    FakePlatform::addHistory(std::string("p7zemo_traceCreate ") + name);
    return &theTrace;
}

void p7zemo_traceFree(p7zemo_trace_t trace)
{
    FakePlatform::addHistory("p7zemo_traceFree " + nameOf(trace));
}

p7zemo_thread_t p7zemo_traceRegisterThread(p7zemo_trace_t trace, const char* name, uint32_t reserved)
{
    FakePlatform::addHistory("p7zemo_traceRegisterThread " + nameOf(trace) + " " + name + " " +
                             std::to_string(reserved));
    return &theThread;
}

void p7zemo_traceUnRegisterThread(p7zemo_thread_t thread)
{
    FakePlatform::addHistory(std::string("p7zemo_traceUnRegisterThread ") + (thread == &theThread ? "thread" : "?"));
}

p7zemo_module_t p7zemo_traceRegisterModule(p7zemo_trace_t trace, const char* name)
{
    FakePlatform::addHistory("p7zemo_traceRegisterModule " + nameOf(trace) + " " + name);
    const std::lock_guard guard(modulesMutex);
    std::unique_ptr<p7zemo_module_s>& module = modules[name];
    if (!module)
    {
        module = std::make_unique<p7zemo_module_s>(p7zemo_module_s{name});
    }
    return module.get();
}

int p7zemo_traceAdd(p7zemo_module_t module, uint32_t level, uint32_t line, const char* file, const char* function,
                    const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    FakePlatform::instance().addTrace({module ? module->name : std::string(), level, line, file, function, text});
    return 1;
}
