// The place in the journal is that of the message, not of the call below.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "Message.h"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

namespace
{

struct Level
{
    const char* name;
    int priority;
};

constexpr std::array<Level, 5> levels = {
    {{"info", LOG_INFO}, {"notice", LOG_NOTICE}, {"warning", LOG_WARNING}, {"err", LOG_ERR}, {"crit", LOG_CRIT}}};

const Level& levelOf(const Message& message)
{
    return levels[std::clamp<uint32_t>(message.level, 1, levels.size()) - 1];
}

std::string_view orElse(const char* text, std::string_view missing)
{
    return text && *text ? std::string_view(text) : missing;
}

// systemd names the device and inode of the stream that it made standard error, since the variable is inherited by
// programs whose standard error leads elsewhere.
bool isJournalStream(int descriptor)
{
    const char* stream = getenv("JOURNAL_STREAM");
    unsigned long device = 0;
    unsigned long inode = 0;
    struct stat status = {};
    return stream && sscanf(stream, "%lu:%lu", &device, &inode) == 2 && fstat(descriptor, &status) == 0 &&
           status.st_dev == device && status.st_ino == inode;
}

std::string_view withoutLastLineEnds(std::string_view text)
{
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

bool writeToJournal(const Message& message)
{
    std::array<std::string, 7> fields = {
        "MESSAGE=" + std::string(withoutLastLineEnds(message.text)),
        "PRIORITY=" + std::to_string(levelOf(message).priority),
        "ZEMO_MODULE=" + std::string(orElse(message.module, "")),
        "ZEMO_THREAD=" + std::string(orElse(message.thread, "")),
        "CODE_FILE=" + std::string(orElse(message.file, "")),
        "CODE_LINE=" + std::to_string(message.line),
        "CODE_FUNC=" + std::string(orElse(message.function, "")),
    };
    std::array<iovec, fields.size()> parts = {};
    std::transform(fields.begin(), fields.end(), parts.begin(),
                   [](std::string& field) {
                       return iovec{field.data(), field.size()};
                   });
    return sd_journal_sendv(parts.data(), static_cast<int>(parts.size())) >= 0;
}

std::string timeOfDay()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local = {};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 32> text = {};
    const int length = snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min,
                                local.tm_sec, now.tv_nsec / 1000000);
    return {text.data(), static_cast<size_t>(length)};
}

// Further lines are set in, so that only a message's first line begins with a time, whatever its text holds.
std::string readable(std::string_view text)
{
    std::string result;
    for (char character : text)
    {
        const bool control = (static_cast<unsigned char>(character) < 0x20 && character != '\t') || character == 0x7f;
        result += control && character != '\n' ? '?' : character;
        result += character == '\n' ? "  " : "";
    }
    return result;
}

std::string lineOf(const Message& message)
{
    const std::string_view text = withoutLastLineEnds(message.text);
    const std::string_view first = text.substr(0, text.find('\n'));
    std::string line = timeOfDay() + ' ' + levelOf(message).name + ' ';
    line.append(orElse(message.module, "-")).append(": ").append(readable(first)).append(" (");
    line.append(orElse(message.file, "-")).append(":").append(std::to_string(message.line)).append(" ");
    line.append(orElse(message.function, "-")).append(")").append(readable(text.substr(first.size()))).append("\n");
    return line;
}

// Holds back the SIGPIPE of a write in this thread: a reader of the trace that has gone is no reason to end.
class PipeSignalGuard
{
public:
    PipeSignalGuard()
    {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending = {};
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_previous);
    }

    ~PipeSignalGuard()
    {
        const timespec now = {};
        if (!m_wasPending)
        {
            sigtimedwait(&m_pipe, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }

    PipeSignalGuard(const PipeSignalGuard&) = delete;
    PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;

private:
    sigset_t m_pipe = {};
    sigset_t m_previous = {};
    bool m_wasPending = false;
};

// One write, so that lines of several threads don't mix; more than one only if the first was cut short.
void writeToStandardError(std::string_view line)
{
    const PipeSignalGuard guard;
    while (!line.empty())
    {
        const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        if (written < 0 && errno != EINTR)
        {
            return;
        }
        line.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
}

} // namespace

void writeMessage(const Message& message)
{
    const int kept = errno;
    if (!isJournalStream(STDERR_FILENO) || !writeToJournal(message))
    {
        writeToStandardError(lineOf(message));
    }
    errno = kept;
}
