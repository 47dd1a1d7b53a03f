#include "ModbusStation.h"

namespace
{

constexpr int parameterCount = 6;

// The first three parameters are holding registers with 8, 16 and 32 bits, the others input registers.
QByteArray parameter(int place, quint16 port)
{
    return QStringLiteral(R"({"id": %1, "name": "Register %2", "default": true, "size": %3, "register": %4,
                              "address": %5,
                              "signal": {"kind": "modbus", "host": "127.0.0.1", "port": %6, "unit": 1}})")
        .arg(1000 + place)
        .arg(place + 1)
        .arg(place + 1)
        .arg(place / 3 + 1)
        .arg(place % 3)
        .arg(port)
        .toUtf8();
}

} // namespace

bool ModbusStation::start()
{
    return device.start();
}

void ModbusStation::stop()
{
    device.stop();
}

quint16 ModbusStation::port() const
{
    return device.port();
}

QByteArray ModbusStation::scenario() const
{
    QByteArrayList parameters;
    for (int place = 0; place < parameterCount; ++place)
        parameters.append(parameter(place, port()));
    return R"({"serial": "123456", "deviceName": "Modbus station", "parameters": [)" + parameters.join(',') + "]}";
}

// The 32 bits begin at the third register, with their upper half.
void ModbusStation::fill(int number)
{
    const auto word = [number](int place) { return static_cast<uint16_t>(number + place); };
    device.set(ModbusDevice::Kind::Holding, 0, {word(0), word(1), 0, word(2)});
    device.set(ModbusDevice::Kind::Input, 0, {word(3), word(4), 0, word(5)});
}

QStringList ModbusStation::cells(int number)
{
    QStringList result;
    for (int place = 0; place < parameterCount; ++place)
        result.append(QString::number(number + place));
    return result;
}

QStringList ModbusStation::emptyCells()
{
    return QStringList(parameterCount, QStringLiteral("-"));
}
