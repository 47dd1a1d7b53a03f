#include "Signal.h"

#include "Noise.h"

#include <zemo/DataValue.h>

#include <cmath>
#include <cstdint>
#include <numbers>

namespace platformd
{

namespace
{

// 2024-01-01T00:00:00Z: near enough that a counter of seconds still fits in 32 bits for decades.
constexpr qint64 counterOrigin = 1704067200;

double phaseAt(const Signal& signal, qint64 time)
{
    const double periods = static_cast<double>(time) / signal.period;
    return periods - std::floor(periods);
}

// `share` from 0 to 1 of the way from low to high.
qint64 between(const Signal& signal, double share)
{
    const double span = static_cast<double>(signal.high) - static_cast<double>(signal.low);
    return signal.low + std::llround(span * share);
}

// A height from 0 to 1 that belongs to one point of one walk.
double heightAt(const Signal& signal, int id, qint64 grid, qint64 point)
{
    return static_cast<double>(noise({signal.seed, id, grid, point}) >> 11) * 0x1.0p-53;
}

// Smooth between heights that stand `grid` seconds apart.
double waveAt(const Signal& signal, int id, qint64 grid, qint64 time)
{
    const auto point = static_cast<qint64>(std::floor(static_cast<double>(time) / static_cast<double>(grid)));
    const double part = static_cast<double>(time - point * grid) / static_cast<double>(grid);
    const double ease = part * part * (3 - 2 * part);
    const double from = heightAt(signal, id, grid, point);
    return from + (heightAt(signal, id, grid, point + 1) - from) * ease;
}

// A walk that can be entered at any time: long waves with shorter, lower ones on top. The weights add up to 1.
double walkAt(const Signal& signal, int id, qint64 time)
{
    return 0.6 * waveAt(signal, id, 1800, time) + 0.3 * waveAt(signal, id, 120, time) +
           0.1 * waveAt(signal, id, 7, time);
}

qint64 countAt(const Signal& signal, qint64 time)
{
    return signal.start + static_cast<qint64>(std::floor(signal.step * static_cast<double>(time - counterOrigin)));
}

} // namespace

qint64 numberAt(const Signal& signal, int id, qint64 time)
{
    switch (signal.kind)
    {
    case Signal::Kind::Constant:
        return signal.value;
    case Signal::Kind::Sine:
        return between(signal, (1 + std::sin(2 * std::numbers::pi * phaseAt(signal, time))) / 2);
    case Signal::Kind::Ramp:
        return between(signal, phaseAt(signal, time));
    case Signal::Kind::Square:
        return phaseAt(signal, time) < 0.5 ? signal.low : signal.high;
    case Signal::Kind::Counter:
        return countAt(signal, time);
    case Signal::Kind::Walk:
        return between(signal, walkAt(signal, id, time));
    case Signal::Kind::Text:
    case Signal::Kind::Modbus:
        break;
    }
    return 0;
}

QString textAt(const Signal& signal, qint64 time)
{
    if (signal.texts.isEmpty())
    {
        return {};
    }
    const auto turn = static_cast<qint64>(std::floor(static_cast<double>(time) / signal.period));
    const qint64 count = signal.texts.size();
    return signal.texts[(turn % count + count) % count];
}

qint64 wrapToSize(qint64 value, unsigned char varSize)
{
    switch (varSize)
    {
    case zemo::data::VarSizeInt8:
        return static_cast<int8_t>(value);
    case zemo::data::VarSizeInt16:
        return static_cast<int16_t>(value);
    case zemo::data::VarSizeInt32:
        return static_cast<int32_t>(value);
    case zemo::data::VarSizeUint8:
        return static_cast<uint8_t>(value);
    case zemo::data::VarSizeUint16:
        return static_cast<uint16_t>(value);
    case zemo::data::VarSizeUint32:
        return static_cast<uint32_t>(value);
    default:
        return value;
    }
}

} // namespace platformd
