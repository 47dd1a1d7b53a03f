#include "ModbusDevice.h"

#include <algorithm>
#include <array>
#include <modbus.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr int pollMilliseconds = 20;
constexpr size_t registerCount = 65536;

// Where things lie in a request for registers.
constexpr int unitPlace = 6;
constexpr int addressPlace = 8;
constexpr int countPlace = 10;

unsigned wordAt(const uint8_t* request, int place)
{
    return (unsigned{request[place]} << 8) | request[place + 1];
}

uint16_t portOf(int socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port) : 0;
}

} // namespace

ModbusDevice::ModbusDevice(uint8_t theUnit)
    : unit(theUnit)
    , context(nullptr, modbus_free)
    , registers{{Kind::Holding, std::vector<uint16_t>(registerCount)},
                {Kind::Input, std::vector<uint16_t>(registerCount)}}
{
}

ModbusDevice::~ModbusDevice()
{
    stop();
}

bool ModbusDevice::start()
{
    context.reset(modbus_new_tcp("127.0.0.1", portInUse));
    listener = context ? modbus_tcp_listen(context.get(), 4) : -1;
    if (listener < 0)
        return false;
    portInUse = portOf(listener);
    stopping = false;
    thread = std::thread([this] { serve(); });
    return true;
}

void ModbusDevice::stop()
{
    stopping = true;
    if (thread.joinable())
        thread.join();
}

uint16_t ModbusDevice::port() const
{
    return portInUse;
}

void ModbusDevice::set(Kind kind, uint16_t address, const std::vector<uint16_t>& words)
{
    const std::lock_guard lock(mutex);
    std::copy(words.begin(), words.end(), registers[kind].begin() + address);
}

void ModbusDevice::refuse(uint16_t address)
{
    const std::lock_guard lock(mutex);
    refused.push_back(address);
}

void ModbusDevice::setSilent(bool isSilent)
{
    silent = isSilent;
}

std::vector<unsigned> ModbusDevice::takeRequests()
{
    const std::lock_guard lock(mutex);
    return std::exchange(requests, {});
}

void ModbusDevice::serve()
{
    std::vector<int> connections;
    while (!stopping)
    {
        std::vector<pollfd> waiting{{listener, POLLIN, 0}};
        for (const int connection : connections)
            waiting.push_back({connection, POLLIN, 0});
        poll(waiting.data(), waiting.size(), pollMilliseconds);
        if ((waiting.front().revents & POLLIN) != 0)
            connections.push_back(::accept(listener, nullptr, nullptr));
        for (size_t i = 1; i < waiting.size(); ++i)
        {
            if (waiting[i].revents != 0 && !answer(waiting[i].fd))
            {
                close(waiting[i].fd);
                std::erase(connections, waiting[i].fd);
            }
        }
    }
    for (const int connection : connections)
        close(connection);
    close(listener);
}

bool ModbusDevice::answer(int connection)
{
    std::array<uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> request{};
    modbus_set_socket(context.get(), connection);
    const int length = modbus_receive(context.get(), request.data());
    if (length > countPlace && !silent)
        reply(request.data(), length);
    return length >= 0;
}

void ModbusDevice::reply(const uint8_t* request, int length)
{
    const unsigned first = wordAt(request, addressPlace);
    const unsigned count = wordAt(request, countPlace);
    const std::lock_guard lock(mutex);
    requests.push_back(count);
    if (request[unitPlace] != unit)
    {
        modbus_reply_exception(context.get(), request, MODBUS_EXCEPTION_GATEWAY_TARGET);
        return;
    }
    if (isRefused(first, count))
    {
        modbus_reply_exception(context.get(), request, MODBUS_EXCEPTION_ILLEGAL_DATA_ADDRESS);
        return;
    }
    modbus_mapping_t mapping{};
    mapping.nb_registers = registerCount;
    mapping.tab_registers = registers[Kind::Holding].data();
    mapping.nb_input_registers = registerCount;
    mapping.tab_input_registers = registers[Kind::Input].data();
    modbus_reply(context.get(), request, length, &mapping);
}

bool ModbusDevice::isRefused(unsigned first, unsigned count) const
{
    return std::any_of(refused.begin(), refused.end(),
                       [&](unsigned address) { return address >= first && address < first + count; });
}
