#include "Data.h"

namespace
{

// A hash, so that any sample can be had at once and in every run alike.
uint64_t mixed(uint64_t number)
{
    number += 0x9E3779B97F4A7C15ULL;
    number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9ULL;
    number = (number ^ number >> 27) * 0x94D049BB133111EBULL;
    return number ^ number >> 31;
}

constexpr uint8_t Sizes[] = {zemo::data::VarSizeInt16,  zemo::data::VarSizeUint8, zemo::data::VarSizeInt32,
                             zemo::data::VarSizeUint16, zemo::data::VarSizeInt8,  zemo::data::VarSizeUint32};

} // namespace

Data::Data(int parameters, double changing)
    : m_parameters(parameters)
    , m_changing(changing)
{
}

int Data::parameters() const
{
    return m_parameters;
}

uint8_t Data::varSize(int parameter) const
{
    return parameter == 0 ? uint8_t(zemo::data::VarSizeUint32) : Sizes[parameter % std::size(Sizes)];
}

QMap<int32_t, Metadata> Data::metadata() const
{
    QMap<int32_t, Metadata> result;
    for (int i = 0; i < m_parameters; ++i)
    {
        Metadata entry;
        entry.varId = static_cast<uint16_t>(FirstId + i);
        entry.varSize = varSize(i);
        entry.decimals = static_cast<uint8_t>(i % 3);
        entry.name = zemo::localization::PanelText(QStringLiteral("Parameter %1").arg(i), 1);
        entry.unit = i % 2 ? QStringLiteral("kW") : QString();
        result.insert(FirstId + i, entry);
    }
    return result;
}

bool Data::changes(int parameter, uint32_t sample) const
{
    return mixed(uint64_t(parameter) << 32 | sample) % 1000 < static_cast<uint64_t>(m_changing * 1000);
}

int64_t Data::value(int parameter, uint32_t sample) const
{
    if (parameter == 0)
    {
        return 1700000000 + int64_t(sample);
    }
    // The value is that of the last sample in which it changed.
    uint32_t changed = sample;
    while (changed > 0 && !changes(parameter, changed))
    {
        --changed;
    }
    return parameter % 20 + int64_t(changed % 100);
}

QMap<int32_t, DataValue> Data::sample(uint32_t sample) const
{
    QMap<int32_t, DataValue> result;
    for (int i = 0; i < m_parameters; ++i)
    {
        DataValue entry;
        entry.setVarId(static_cast<unsigned short>(FirstId + i));
        entry.setVarSize(varSize(i));
        entry.setIntValue(value(i, sample));
        entry.setIsOk(true);
        result.insert(result.constEnd(), FirstId + i, entry);
    }
    return result;
}

std::vector<int64_t> Data::numbers(uint32_t sample) const
{
    std::vector<int64_t> result;
    for (int i = 0; i < m_parameters; ++i)
    {
        result.push_back(value(i, sample));
    }
    return result;
}

std::vector<uint32_t> fullHistoryTimes(uint32_t now)
{
    std::vector<uint32_t> times;
    const uint32_t limitMinute = now - 259200;
    const uint32_t limit10 = now - 3600;
    const uint32_t limit1 = now - 600;
    for (uint32_t time = limitMinute; time < now; time += time < limit10 ? 60 : time < limit1 ? 10 : 1)
    {
        times.push_back(time);
    }
    return times;
}
