// The stand-in's trace library, seen from outside: what a call writes, and where.
#include <p7zemo.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <regex>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

// Standard error leads into a file in memory as long as it lives.
class CapturedError
{
public:
    CapturedError()
        : m_file(memfd_create("stderr", 0))
        , m_original(dup(STDERR_FILENO))
    {
        dup2(m_file, STDERR_FILENO);
    }

    ~CapturedError()
    {
        dup2(m_original, STDERR_FILENO);
        close(m_original);
        close(m_file);
    }

    CapturedError(const CapturedError&) = delete;
    CapturedError& operator=(const CapturedError&) = delete;

    std::string text() const
    {
        struct stat status = {};
        fstat(m_file, &status);
        std::string content(static_cast<size_t>(status.st_size), '\0');
        EXPECT_EQ(pread(m_file, content.data(), content.size(), 0), status.st_size);
        return content;
    }

private:
    int m_file;
    int m_original;
};

// What stands behind the time of day, which is checked for its form here.
std::string afterTime(const std::string& line)
{
    const std::string time = line.substr(0, 13);
    EXPECT_TRUE(std::regex_match(time, std::regex(R"(\d\d:\d\d:\d\d\.\d\d\d )"))) << time;
    return line.substr(time.size());
}

p7zemo_module_t module(const char* name)
{
    return p7zemo_traceRegisterModule(nullptr, name);
}

} // namespace

TEST(Trace, AMessageIsOneReadableLine)
{
    const CapturedError error;

    p7zemo_traceAdd(module("LogDaemon"), 4, 42, "src/LogDaemon.cpp", "second", "%s: %d", "No USB drive", 7);

    EXPECT_EQ(afterTime(error.text()), "err LogDaemon: No USB drive: 7 (src/LogDaemon.cpp:42 second)\n");
}

TEST(Trace, EveryLevelHasItsName)
{
    const std::array<const char*, 7> names = {"info", "info", "notice", "warning", "err", "crit", "crit"};
    for (uint32_t level = 0; level < names.size(); ++level)
    {
        const CapturedError error;

        p7zemo_traceAdd(module("M"), level, 1, "f", "g", "t");

        EXPECT_EQ(afterTime(error.text()), std::string(names[level]) + " M: t (f:1 g)\n");
    }
}

TEST(Trace, AMessageOfSeveralLinesStaysReadableBelowItsFirst)
{
    const CapturedError error;

    p7zemo_traceAdd(module("Main"), 2, 9, "src/main.cpp", "main", "Configuration:  RAM\n    Max\t\t%d\n  USB\n", 100);

    EXPECT_EQ(afterTime(error.text()),
              "notice Main: Configuration:  RAM (src/main.cpp:9 main)\n      Max\t\t100\n    USB\n");
}

TEST(Trace, ControlCharactersInATextDoNotReachTheTerminal)
{
    const CapturedError error;

    p7zemo_traceAdd(module("M"), 1, 1, "f", "g", "%s", "\x1b[2J\rname\x7f µ");

    EXPECT_EQ(afterTime(error.text()), "info M: ?[2J?name? µ (f:1 g)\n");
}

TEST(Trace, WhatIsMissingIsADash)
{
    const CapturedError error;

    p7zemo_traceAdd(nullptr, 1, 0, nullptr, nullptr, "text");

    EXPECT_EQ(afterTime(error.text()), "info -: text (-:0 -)\n");
}

TEST(Trace, ALongTextArrivesWhole)
{
    const std::string text(1 << 20, 'x');
    const CapturedError error;

    p7zemo_traceAdd(module("M"), 1, 1, "f", "g", "%s", text.c_str());

    EXPECT_EQ(afterTime(error.text()), "info M: " + text + " (f:1 g)\n");
}

TEST(Trace, LinesOfSeveralThreadsDoNotMix)
{
    constexpr int count = 200;
    std::array<int, 2> ends = {};
    // A socket that keeps the bounds of every write tells whether a line was one.
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);
    const int original = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);

    std::thread writer(
        []
        {
            for (int number = 0; number < count; ++number)
            {
                p7zemo_traceAdd(module("A"), 1, 1, "f", "g", "text\nmore");
            }
        });
    std::vector<std::string> writes;
    for (int number = 0; number < count; ++number)
    {
        std::array<char, 1000> buffer = {};
        writes.emplace_back(buffer.data(),
                            static_cast<size_t>(std::max<ssize_t>(0, read(ends[0], buffer.data(), 1000))));
    }
    writer.join();
    dup2(original, STDERR_FILENO);

    for (const std::string& line : writes)
    {
        EXPECT_EQ(afterTime(line), "info A: text (f:1 g)\n  more\n");
    }
}

TEST(Trace, TheSameNameIsTheSameModuleAlsoWithoutATrace)
{
    p7zemo_trace_t trace = p7zemo_traceCreate("zemologd");

    EXPECT_NE(trace, nullptr);
    EXPECT_EQ(module("EnergyLogDB"), p7zemo_traceRegisterModule(trace, "EnergyLogDB"));
    EXPECT_NE(module("EnergyLogDB"), module("Main"));
}

TEST(Trace, DestructorsMayTraceAfterTheLibraryHasEnded)
{
    p7zemo_module_t own = module("Late");
    p7zemo_init("zemologd");
    p7zemo_trace_t trace = p7zemo_traceCreate("zemologd");
    p7zemo_thread_t thread = p7zemo_traceRegisterThread(trace, "Main", 0);
    p7zemo_traceUnRegisterThread(thread);
    p7zemo_traceFree(trace);
    p7zemo_deInit();
    const CapturedError error;

    p7zemo_traceAdd(own, 1, 1, "f", "g", "late");

    EXPECT_EQ(afterTime(error.text()), "info Late: late (f:1 g)\n");
}

TEST(Trace, AReaderThatHasGoneDoesNotEndTheProcess)
{
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    const int original = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);

    p7zemo_traceAdd(module("M"), 1, 1, "f", "g", "to nobody");
    dup2(original, STDERR_FILENO);

    sigset_t pending = {};
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    sigset_t blocked = {};
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

TEST(Trace, ErrnoOfTheCallerIsKept)
{
    const CapturedError error;
    errno = ENOSPC;

    p7zemo_traceAdd(module("M"), 1, 1, "f", "g", "text");

    EXPECT_EQ(errno, ENOSPC);
}

TEST(Trace, AVariableThatNamesAnotherStreamThanStandardErrorMeansNothing)
{
    const CapturedError error;
    setenv("JOURNAL_STREAM", "1:2", 1);

    p7zemo_traceAdd(module("M"), 1, 1, "f", "g", "text");
    unsetenv("JOURNAL_STREAM");

    EXPECT_EQ(afterTime(error.text()), "info M: text (f:1 g)\n");
}
