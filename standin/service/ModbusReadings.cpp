#include "ModbusReadings.h"

#include "ModbusConnection.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>

namespace platformd
{

/// One device and the thread that reads it.
class ModbusReadings::Device
{
public:
    explicit Device(const QList<ModbusItem>& items)
        : m_connection(items)
        , m_thread([this](const std::stop_token& stop) { run(stop); })
    {
    }

    std::optional<qint64> value(int id) const
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_values.constFind(id);
        return found == m_values.constEnd() ? std::nullopt : std::optional(*found);
    }

private:
    void run(const std::stop_token& stop)
    {
        constexpr std::chrono::seconds interval(1);
        auto next = std::chrono::steady_clock::now();
        while (!stop.stop_requested())
        {
            QHash<int, qint64> values = m_connection.read();
            std::unique_lock lock(m_mutex);
            m_values.swap(values);
            next += interval;
            m_wake.wait_until(lock, stop, next, [] { return false; });
            // After a slow answer the missed readings are not made up for.
            next = std::max(next, std::chrono::steady_clock::now());
        }
    }

    ModbusConnection m_connection; ///< belongs to the thread
    mutable std::mutex m_mutex;    ///< guards m_values; nothing else is taken under it
    std::condition_variable_any m_wake;
    QHash<int, qint64> m_values;
    std::jthread m_thread; ///< last, for it uses the others
};

ModbusReadings::ModbusReadings(const Scenario& scenario)
{
    std::map<std::tuple<QString, quint16, quint8>, QList<ModbusItem>> items;
    for (const Parameter& parameter : scenario.parameters)
    {
        if (parameter.signal.kind == Signal::Kind::Modbus)
        {
            const ModbusSource& source = parameter.signal.source;
            items[{source.host, source.port, source.unit}].append({parameter.id, source});
        }
    }
    for (const auto& [place, itemsOfDevice] : items)
    {
        m_devices.push_back(std::make_unique<Device>(itemsOfDevice));
        for (const ModbusItem& item : itemsOfDevice)
        {
            m_deviceOf.insert(item.id, m_devices.back().get());
        }
    }
}

ModbusReadings::~ModbusReadings() = default;

std::optional<qint64> ModbusReadings::value(int id) const
{
    const Device* device = m_deviceOf.value(id);
    return device ? device->value(id) : std::nullopt;
}

} // namespace platformd
