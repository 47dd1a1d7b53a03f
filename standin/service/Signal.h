#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace platformd
{

/// A register of a device that is reached by Modbus over TCP.
struct ModbusSource
{
    QString host; ///< a name or an address
    quint16 port = 502;
    quint8 unit = 1;
    bool isInput = false;   ///< an input register, otherwise a holding register
    quint16 address = 0;    ///< as on the wire, counted from 0
    unsigned char size = 0; ///< var size; 32 bits take two registers, the first one with the upper half
};

/// How a parameter's value moves. A value is a function of id and time alone: nothing is kept between two readings, and
/// two services with the same scenario agree at every second. Only what is read from a device is not.
struct Signal
{
    enum class Kind
    {
        Constant, ///< `value` for ever
        Sine,     ///< between `low` and `high`, upwards through the middle at the start of a period
        Ramp,     ///< climbs from `low` towards `high` over a period and falls back
        Square,   ///< `low` for the first half of a period, `high` for the second
        Counter,  ///< `start` at the beginning of 2024 (UTC), `step` more each second
        Walk,     ///< wanders between `low` and `high`; `seed` and the id choose the way
        Text,     ///< the strings of `texts` in turn, each for a period
        Modbus    ///< what `source` holds; see ModbusReadings
    };

    Kind kind = Kind::Constant;
    qint64 value = 0;
    qint64 low = 0;
    qint64 high = 100;
    double period = 60; ///< seconds, more than 0; periods are counted from 1970-01-01 UTC
    qint64 start = 0;
    double step = 1; ///< may be a fraction; the count is rounded down
    qint64 seed = 0;
    QStringList texts;
    ModbusSource source;
};

/// The number that the parameter `id` has at `time`, in seconds since 1970-01-01 UTC; 0 for texts
/// and for what is read from a device.
qint64 numberAt(const Signal& signal, int id, qint64 time);

/// The string at `time`; empty for a signal without texts.
QString textAt(const Signal& signal, qint64 time);

/// What is left of `value` in an integer of this var size, as the controller's own register would hold it. A code that
/// is no var size leaves it as it is.
qint64 wrapToSize(qint64 value, unsigned char varSize);

} // namespace platformd
