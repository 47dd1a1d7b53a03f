#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct _modbus;

/// A device that speaks Modbus over TCP on this machine: 65536 holding and as many input registers, all 0 at first. It
/// answers from a thread of its own. All but start and stop may be called while it runs.
class ModbusDevice
{
public:
    enum class Kind
    {
        Holding,
        Input
    };

    /// Other units get the answer of a gateway that can't reach them.
    explicit ModbusDevice(uint8_t unit = 1);
    ~ModbusDevice();

    /// Listens on loopback, on a free port the first time and on the same one after that.
    [[nodiscard]] bool start();

    /// Closes every connection and the port.
    void stop();

    uint16_t port() const;

    void set(Kind kind, uint16_t address, const std::vector<uint16_t>& words);

    /// The device has no such holding or input register any more.
    void refuse(uint16_t address);

    /// Requests are taken and never answered.
    void setSilent(bool isSilent);

    /// How many registers each request since the last call asked for, oldest first.
    std::vector<unsigned> takeRequests();

private:
    void serve();
    /// False when the connection is at its end.
    bool answer(int connection);
    void reply(const uint8_t* request, int length);
    bool isRefused(unsigned first, unsigned count) const;

    const uint8_t unit;
    uint16_t portInUse = 0;
    int listener = -1;
    std::atomic<bool> silent = false;
    std::atomic<bool> stopping = false;
    std::unique_ptr<_modbus, void (*)(_modbus*)> context;
    std::mutex mutex; ///< guards what follows
    std::map<Kind, std::vector<uint16_t>> registers;
    std::vector<uint16_t> refused;
    std::vector<unsigned> requests;
    std::thread thread;
};
