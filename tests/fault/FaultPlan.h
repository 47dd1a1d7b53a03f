#pragma once

#include <atomic>
#include <string>
#include <sys/types.h>
#include <vector>

/// What to do to which file system call of the process, read from the environment once. See README.md.
class FaultPlan
{
public:
    enum class Action
    {
        None,
        Kill,
        KillAfter,
        Torn,
        Fail,
        Short,
        Delay
    };

    static FaultPlan& instance();

    /// Whether calls on this path are watched.
    bool concerns(const char* path) const;
    bool isActive() const;

    /// Counts a watched call. Kills or delays the process if that is the plan; otherwise tells what the caller has to
    /// do.
    Action enter(const char* call, const char* path);
    int error() const;

    /// How many of `size` bytes there is still space for, and takes them.
    size_t takeSpace(size_t size);
    void giveSpaceBack(size_t size);

    [[noreturn]] static void die();

private:
    FaultPlan();
    bool watches(const char* call) const;
    bool isOn() const;
    bool isHit(long number) const;
    void log(long number, const char* call, const char* path) const;

    std::vector<std::string> paths;
    std::string calls;
    std::atomic<long>& counted;
    std::string whileFile;
    long at;
    long span;
    Action action;
    int errorNumber;
    long delayMs;
    bool spaceLimited;
    int logFile;
};
