// The trace library with its standard error connected to the journal. Runs in the sandbox, where the journal's socket
// can be made.
#include <p7zemo.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

const char* const socketPath = "/run/systemd/journal/socket";

class Journal : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!getenv("ZEMO_IN_SANDBOX"))
        {
            GTEST_SKIP() << "the journal's socket has a fixed path";
        }
        std::filesystem::create_directories(std::filesystem::path(socketPath).parent_path());
        sockaddr_un address = {AF_UNIX, {}};
        std::string(socketPath).copy(address.sun_path, sizeof address.sun_path - 1);
        m_socket = socket(AF_UNIX, SOCK_DGRAM, 0);
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        {
            GTEST_SKIP() << "this sandbox can't make a socket there";
        }
        if (!isReached(address))
        {
            GTEST_SKIP() << "this sandbox doesn't translate the path that a message is sent to";
        }
        struct stat status = {};
        fstat(STDERR_FILENO, &status);
        const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
        setenv("JOURNAL_STREAM", stream.c_str(), 1);
    }

    void TearDown() override
    {
        unsetenv("JOURNAL_STREAM");
        unlink(socketPath);
        close(m_socket);
    }

    // The fields of the next entry: a line each, or, for a text of several lines, its name, its length in eight bytes
    // and its bytes.
    std::map<std::string, std::string> entry()
    {
        std::array<char, 10000> buffer = {};
        const ssize_t length = recv(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
        std::string rest(buffer.data(), static_cast<size_t>(std::max<ssize_t>(0, length)));
        std::map<std::string, std::string> fields;
        while (!rest.empty())
        {
            const std::string line = rest.substr(0, rest.find('\n'));
            rest.erase(0, line.size() + 1);
            const size_t equals = line.find('=');
            if (equals != std::string::npos)
            {
                fields[line.substr(0, equals)] = line.substr(equals + 1);
                continue;
            }
            uint64_t size = 0;
            rest.copy(reinterpret_cast<char*>(&size), sizeof size);
            fields[line] = rest.substr(sizeof size, size);
            rest.erase(0, sizeof size + size + 1);
        }
        return fields;
    }

private:
    // Whether a message arrives that is sent like the journal's library does it, without a connection.
    bool isReached(sockaddr_un& address) const
    {
        char byte = 0;
        iovec part = {&byte, sizeof byte};
        msghdr message = {};
        message.msg_name = &address;
        message.msg_namelen = sizeof address;
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        const int sender = socket(AF_UNIX, SOCK_DGRAM, 0);
        sendmsg(sender, &message, MSG_NOSIGNAL);
        close(sender);
        return recv(m_socket, &byte, sizeof byte, MSG_DONTWAIT) == 1;
    }

    int m_socket = -1;
};

} // namespace

TEST_F(Journal, AMessageTravelsInTheJournalsOwnFields)
{
    p7zemo_thread_t thread = p7zemo_traceRegisterThread(nullptr, "Main", 0);

    p7zemo_traceAdd(p7zemo_traceRegisterModule(nullptr, "LogDaemon"), 3, 42, "src/LogDaemon.cpp", "second", "no %s",
                    "drive");
    p7zemo_traceUnRegisterThread(thread);

    std::map<std::string, std::string> fields = entry();
    EXPECT_EQ(fields["MESSAGE"], "no drive");
    EXPECT_EQ(fields["PRIORITY"], "4");
    EXPECT_EQ(fields["ZEMO_MODULE"], "LogDaemon");
    EXPECT_EQ(fields["ZEMO_THREAD"], "Main");
    EXPECT_EQ(fields["CODE_FILE"], "src/LogDaemon.cpp");
    EXPECT_EQ(fields["CODE_LINE"], "42");
    EXPECT_EQ(fields["CODE_FUNC"], "second");
}

TEST_F(Journal, EveryLevelHasItsPriority)
{
    const std::array<const char*, 5> priorities = {"6", "5", "4", "3", "2"};
    for (uint32_t level = 1; level <= priorities.size(); ++level)
    {
        p7zemo_traceAdd(nullptr, level, 1, nullptr, nullptr, "text");

        EXPECT_EQ(entry()["PRIORITY"], priorities[level - 1]);
    }
}

TEST_F(Journal, AMessageOfSeveralLinesIsOneEntry)
{
    p7zemo_traceAdd(nullptr, 2, 1, nullptr, nullptr, "first\n    second\n");

    EXPECT_EQ(entry()["MESSAGE"], "first\n    second");
    EXPECT_TRUE(entry().empty());
}
