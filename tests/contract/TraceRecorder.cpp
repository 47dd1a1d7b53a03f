#include "TraceRecorder.h"

#include <p7zemo.h>

#include <array>
#include <cstdio>
#include <mutex>
#include <set>

struct p7zemo_module_s
{
    std::string name;
    bool operator<(const p7zemo_module_s& other) const
    {
        return name < other.name;
    }
};

namespace
{

std::mutex mutex;
std::set<p7zemo_module_s> modules;
std::vector<TraceLine> lines;

} // namespace

std::vector<TraceLine> tracedLines()
{
    const std::lock_guard guard(mutex);
    return lines;
}

void forgetTrace()
{
    const std::lock_guard guard(mutex);
    lines.clear();
}

p7zemo_module_t p7zemo_traceRegisterModule(p7zemo_trace_t /*trace*/, const char* name)
{
    const std::lock_guard guard(mutex);
    return const_cast<p7zemo_module_t>(&*modules.insert({name}).first);
}

int p7zemo_traceAdd(p7zemo_module_t module, uint32_t level, uint32_t /*line*/, const char* /*file*/,
                    const char* /*function*/, const char* format, ...)
{
    std::array<char, 1000> text = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    const std::lock_guard guard(mutex);
    lines.push_back({module->name, level, text.data()});
    return 1;
}
