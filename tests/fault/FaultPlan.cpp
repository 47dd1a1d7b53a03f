#include "FaultPlan.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

// Only system calls by number are used here: what libc offers by name is watched itself.

namespace
{

std::atomic<long long> spaceLeft = 0;

std::string text(const char* name)
{
    const char* value = getenv(name);
    return value ? value : "";
}

long number(const char* name, long otherwise)
{
    const char* value = getenv(name);
    return value ? strtol(value, nullptr, 10) : otherwise;
}

std::vector<std::string> split(const std::string& list, char separator)
{
    std::vector<std::string> parts;
    for (size_t begin = 0; begin < list.size();)
    {
        const size_t end = std::min(list.find(separator, begin), list.size());
        if (end > begin)
        {
            parts.push_back(list.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return parts;
}

FaultPlan::Action actionOf(const std::string& name)
{
    using Action = FaultPlan::Action;
    constexpr std::pair<const char*, Action> Names[] = {{"kill", Action::Kill},   {"kill-after", Action::KillAfter},
                                                        {"torn", Action::Torn},   {"fail", Action::Fail},
                                                        {"short", Action::Short}, {"delay", Action::Delay}};
    for (const auto& [known, action] : Names)
    {
        if (name == known)
        {
            return action;
        }
    }
    return Action::None;
}

std::vector<std::string> watchedPaths()
{
    const std::string program = text("ZEMO_FAULT_PROGRAM");
    return program.empty() || program == program_invocation_short_name ? split(text("ZEMO_FAULT_PATH"), ':')
                                                                       : std::vector<std::string>();
}

int openLog(const std::string& path)
{
    constexpr int Mode = 0644;
    return path.empty() ? -1
                        : static_cast<int>(syscall(SYS_openat, AT_FDCWD, path.c_str(),
                                                   O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Mode));
}

// In a file when several processes count together, each its calls as they come.
std::atomic<long>& counterIn(const std::string& path)
{
    static std::atomic<long> own = 0;
    if (path.empty())
    {
        return own;
    }
    constexpr int Mode = 0644;
    const long file = syscall(SYS_openat, AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, Mode);
    syscall(SYS_ftruncate, file, sizeof own);
    void* const shared = mmap(nullptr, sizeof own, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(file), 0);
    syscall(SYS_close, file);
    return shared == MAP_FAILED ? own : *static_cast<std::atomic<long>*>(shared);
}

void waitFor(long ms)
{
    constexpr long MsPerSecond = 1000;
    constexpr long NsPerMs = 1000000;
    timespec left = {ms / MsPerSecond, ms % MsPerSecond * NsPerMs};
    while (syscall(SYS_nanosleep, &left, &left) == -1)
    {
    }
}

} // namespace

// Never destroyed: calls come until the very end of the process.
FaultPlan& FaultPlan::instance()
{
    static FaultPlan& plan = *new FaultPlan;
    return plan;
}

FaultPlan::FaultPlan()
    : paths(watchedPaths())
    , calls(text("ZEMO_FAULT_CALLS"))
    , counted(counterIn(paths.empty() ? std::string() : text("ZEMO_FAULT_COUNTER")))
    , whileFile(text("ZEMO_FAULT_WHILE"))
    , at(number("ZEMO_FAULT_AT", 0))
    , span(number("ZEMO_FAULT_SPAN", 1))
    , action(actionOf(text("ZEMO_FAULT_ACTION")))
    , errorNumber(static_cast<int>(number("ZEMO_FAULT_ERRNO", EIO)))
    , delayMs(number("ZEMO_FAULT_MS", 0))
    , spaceLimited(getenv("ZEMO_FAULT_SPACE") != nullptr)
    , logFile(openLog(paths.empty() ? std::string() : text("ZEMO_FAULT_LOG")))
{
    spaceLeft = number("ZEMO_FAULT_SPACE", 0);
}

bool FaultPlan::isActive() const
{
    return !paths.empty();
}

bool FaultPlan::concerns(const char* path) const
{
    return path && std::any_of(paths.begin(), paths.end(),
                               [path](const std::string& watched)
                               { return strncmp(path, watched.c_str(), watched.size()) == 0; });
}

bool FaultPlan::watches(const char* call) const
{
    return calls.empty() || ("," + calls + ",").find("," + std::string(call) + ",") != std::string::npos;
}

bool FaultPlan::isOn() const
{
    return whileFile.empty() || syscall(SYS_faccessat, AT_FDCWD, whileFile.c_str(), F_OK) == 0;
}

bool FaultPlan::isHit(long number) const
{
    return at > 0 && number >= at && (span == 0 || number < at + span) && isOn();
}

void FaultPlan::log(long number, const char* call, const char* path) const
{
    if (logFile >= 0)
    {
        const std::string line = std::to_string(number) + " " + call + " " + (path ? path : "-") + "\n";
        syscall(SYS_write, logFile, line.c_str(), line.size());
    }
}

FaultPlan::Action FaultPlan::enter(const char* call, const char* path)
{
    if (!watches(call))
    {
        return Action::None;
    }
    const long number = ++counted;
    log(number, call, path);
    if (!isHit(number))
    {
        return Action::None;
    }
    if (action == Action::Kill || (action == Action::Torn && strcmp(call, "write") != 0))
    {
        die();
    }
    if (action == Action::Delay)
    {
        waitFor(delayMs);
    }
    return action;
}

int FaultPlan::error() const
{
    return errorNumber;
}

size_t FaultPlan::takeSpace(size_t size)
{
    if (!spaceLimited || !isOn())
    {
        return size;
    }
    long long left = spaceLeft;
    long long taken = 0;
    do
    {
        taken = std::min(std::max(left, 0LL), static_cast<long long>(size));
    } while (!spaceLeft.compare_exchange_weak(left, left - taken));
    return static_cast<size_t>(taken);
}

void FaultPlan::giveSpaceBack(size_t size)
{
    spaceLeft += static_cast<long long>(size);
}

void FaultPlan::die()
{
    syscall(SYS_kill, getpid(), SIGKILL);
    _exit(1);
}
