#include "BusGate.h"

#include "Trace.h"
#include "clients/Bus.h"

#include <QDBusConnection>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace zemo::gate
{

namespace
{

constexpr const char* addressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

// How much may wait to be written to one side before the other is left alone.
constexpr qsizetype enoughOutput = 4LL * 1024 * 1024;
constexpr int farewellMs = 2000;

// The bus library looks the address up once in a process, so that nobody else gets to see this one.
void openConnection(const QString& address)
{
    const bool wasSet = qEnvironmentVariableIsSet(addressVariable);
    const QByteArray before = qgetenv(addressVariable);
    qputenv(addressVariable, address.toLatin1());
    QDBusConnection::systemBus();
    if (wasSet)
    {
        qputenv(addressVariable, before);
    }
    else
    {
        qunsetenv(addressVariable);
    }
}

bool has(const pollfd& entry, short event)
{
    return (entry.revents & event) != 0;
}

// False when the other side is gone.
bool receiveFrom(Endpoint& side, const pollfd& entry)
{
    if (!has(entry, POLLIN | POLLHUP | POLLERR))
    {
        return true;
    }
    return side.receive();
}

// False when the other side is gone.
bool sendTo(Endpoint& side)
{
    if (side.output.isEmpty())
    {
        return true;
    }
    return side.send();
}

std::unique_ptr<BusGate> noGate(const char* reason)
{
    ZEMO_LIBRARY_TRACE(3, "No gate before the system bus, so no flood of calls is held back: %s", reason);
    return nullptr;
}

// The first message of `bytes`, taken off them; empty when it isn't complete.
QByteArray takeMessage(QByteArray& bytes)
{
    const std::optional<qsizetype> size = messageSize(bytes);
    if (!size || *size > bytes.size())
    {
        return {};
    }
    QByteArray message = bytes.first(*size);
    bytes.remove(0, *size);
    return message;
}

} // namespace

std::unique_ptr<BusGate> BusGate::open()
{
    Descriptor bus = connectTo(clients::systemBusAddress());
    if (!bus.isOpen())
    {
        return noGate("no bus can be reached on a socket of this machine");
    }
    Listener listener = gate::listen();
    if (!listener.socket.isOpen())
    {
        return noGate(std::strerror(errno));
    }
    std::array<int, 2> stop = {-1, -1};
    if (pipe2(stop.data(), O_CLOEXEC) != 0)
    {
        return noGate(std::strerror(errno));
    }
    const QString address = listener.address;
    std::unique_ptr<BusGate> gate(
        new BusGate(std::move(bus), std::move(listener), Descriptor(stop[0]), Descriptor(stop[1])));
    openConnection(address);
    return gate->m_joined ? std::move(gate) : noGate("the connection was open already");
}

BusGate::BusGate(Descriptor bus, Listener listener, Descriptor stopReader, Descriptor stopWriter)
    : m_bus(std::move(bus))
    , m_process(Descriptor())
    , m_listener(std::move(listener))
    , m_stopReader(std::move(stopReader))
    , m_stopWriter(std::move(stopWriter))
    , m_thread([this] { run(); })
{
}

BusGate::~BusGate()
{
    m_stopWriter.close();
    m_thread.join();
}

void BusGate::run()
{
    if (waitForProcess())
    {
        m_joined = true;
        while (turn())
        {
        }
        finish();
    }
}

bool BusGate::waitForProcess()
{
    Descriptor process;
    std::array<pollfd, 2> entries = {pollfd{m_stopReader.number(), POLLIN, 0},
                                     pollfd{m_listener.socket.number(), POLLIN, 0}};
    while (!process.isOpen())
    {
        poll(entries.data(), entries.size(), -1);
        if (entries[0].revents != 0)
        {
            return false;
        }
        if (has(entries[1], POLLIN))
        {
            process = acceptOwn(m_listener);
        }
    }
    m_listener.socket.close();
    m_process = Endpoint(std::move(process));
    return true;
}

// Waits for something to do and does it. False when there will be nothing more.
bool BusGate::turn()
{
    std::array<pollfd, 3> entries = {
        pollfd{m_stopReader.number(), POLLIN, 0},
        pollfd{m_process.number(), m_process.events(m_bus.output.size() < enoughOutput), 0},
        pollfd{m_bus.number(), m_bus.events(m_process.output.size() < enoughOutput), 0}};
    poll(entries.data(), entries.size(), pollTimeout());
    bool bothThere = receiveFrom(m_process, entries[1]);
    if (bothThere)
    {
        bothThere = receiveFrom(m_bus, entries[2]);
    }
    passFromProcess();
    passFromBus();
    deliverCalls();
    if (!bothThere || entries[0].revents != 0)
    {
        return false;
    }
    if (!sendTo(m_process))
    {
        return false;
    }
    return sendTo(m_bus);
}

int BusGate::pollTimeout() const
{
    const std::optional<CallQueue::Time> chance = m_calls.nextChance();
    if (!chance)
    {
        return -1;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*chance - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<long long>(left.count() + 1, 0));
}

// What the process has sent up to now goes out; then both sides see the end.
void BusGate::finish()
{
    qsizetype had = 0;
    do
    {
        had = m_process.input.size();
    } while (m_process.receive() && m_process.input.size() > had);
    passFromProcess();
    pollfd entry = {m_bus.number(), POLLOUT, 0};
    while (!m_bus.output.isEmpty() && poll(&entry, 1, farewellMs) == 1 && m_bus.send())
    {
    }
    m_process = Endpoint(Descriptor());
    m_bus = Endpoint(Descriptor());
}

void BusGate::passFromProcess()
{
    if (!m_negotiated)
    {
        negotiate();
    }
    while (m_negotiated)
    {
        const QByteArray message = takeMessage(m_process.input);
        if (message.isEmpty())
        {
            return;
        }
        const Header header = readHeader(message);
        const bool answers = header.kind == Kind::Return || header.kind == Kind::Error;
        if (!answers || !m_calls.isUnwanted(header))
        {
            m_bus.output.append(message);
        }
    }
}

// Before the messages both sides speak in lines, and the process' BEGIN is the last of them.
void BusGate::negotiate()
{
    qsizetype end = 0;
    while (!m_negotiated && (end = m_process.input.indexOf("\r\n")) >= 0)
    {
        const QByteArray line = m_process.input.first(end + 2);
        m_process.input.remove(0, end + 2);
        if (line == "NEGOTIATE_UNIX_FD\r\n")
        {
            m_process.output.append("ERROR\r\n");
            continue;
        }
        m_bus.output.append(line);
        m_negotiated = line == "BEGIN\r\n";
    }
}

void BusGate::passFromBus()
{
    if (!m_negotiated)
    {
        m_process.output.append(m_bus.input);
        m_bus.input.clear();
        return;
    }
    for (QByteArray message = takeMessage(m_bus.input); !message.isEmpty(); message = takeMessage(m_bus.input))
    {
        passMessage(message);
    }
}

void BusGate::passMessage(const QByteArray& message)
{
    const Header header = readHeader(message);
    if (header.kind == Kind::Call)
    {
        admit(message, header);
    }
    else
    {
        m_process.output.append(message);
    }
}

void BusGate::admit(const QByteArray& call, const Header& header)
{
    if (!m_calls.add(call, header))
    {
        refuse(header);
    }
}

void BusGate::refuse(const Header& header)
{
    if (m_refused++ == 0)
    {
        ZEMO_LIBRARY_TRACE(3, "More calls come in than can be served: refusing some, the first from %s",
                           header.sender.constData());
    }
    if (header.wantsReply)
    {
        m_bus.output.append(refusalOf(header));
    }
}

void BusGate::deliverCalls()
{
    const auto now = std::chrono::steady_clock::now();
    while (std::optional<QByteArray> call = m_calls.take(now))
    {
        m_process.output.append(*call);
    }
    noteEndOfRefusals();
}

void BusGate::noteEndOfRefusals()
{
    if (m_refused > 0 && m_calls.isEmpty())
    {
        ZEMO_LIBRARY_TRACE(3, "Calls are served again as they come; %llu were refused", m_refused);
        m_refused = 0;
    }
}

} // namespace zemo::gate
