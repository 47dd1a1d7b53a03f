#pragma once

#include "Scenario.h"

#include <memory>
#include <optional>
#include <vector>

namespace platformd
{

/// Reads the Modbus signals of a scenario every second, each device on a thread of its own, so that one that is away
/// holds up neither the others nor who asks for a value. No device, no thread.
class ModbusReadings
{
public:
    explicit ModbusReadings(const Scenario& scenario);
    /// Waits for requests under way, a second or two for a device that doesn't answer.
    ~ModbusReadings();

    /// What the last reading of the parameter gave; nothing before the first one, and when it failed. Any thread.
    std::optional<qint64> value(int id) const;

private:
    class Device;

    std::vector<std::unique_ptr<Device>> m_devices;
    QHash<int, const Device*> m_deviceOf; ///< by parameter
};

} // namespace platformd
