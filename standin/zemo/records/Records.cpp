#include <zemo/AlarmInfo.h>
#include <zemo/DataValue.h>
#include <zemo/EnergyLogEntry.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>

#include <utility>

namespace zemo::localization
{

PanelText::PanelText() = default;
PanelText::PanelText(const QString& text)
    : m_text(text)
{
}
PanelText::PanelText(const QString& text, int panelNbr)
    : m_text(text)
    , m_panelNbr(panelNbr)
{
}
PanelText::PanelText(const PanelText& other) = default;
PanelText& PanelText::operator=(const PanelText& other) = default;
PanelText::~PanelText() = default;

const QString& PanelText::text() const
{
    return m_text;
}

int PanelText::panelNbr() const
{
    return m_panelNbr;
}

} // namespace zemo::localization

namespace zemo::data
{

DataValue::DataValue() = default;
DataValue::DataValue(const DataValue& other) = default;
DataValue& DataValue::operator=(const DataValue& other) = default;
DataValue::~DataValue() = default;

bool DataValue::operator==(const DataValue& other) const
{
    // Nearly all values are integers, so two empty strings are not worth a call.
    return m_intValue == other.m_intValue && m_varType == other.m_varType && m_varSize == other.m_varSize &&
           m_isOk == other.m_isOk && m_stringValue.size() == other.m_stringValue.size() &&
           (m_stringValue.isEmpty() || m_stringValue == other.m_stringValue);
}

void DataValue::setVarId(unsigned short varId)
{
    m_varId = varId;
}

unsigned char DataValue::getVarType() const
{
    return m_varType;
}

void DataValue::setVarType(unsigned char varType)
{
    m_varType = varType;
}

unsigned char DataValue::getVarSize() const
{
    return m_varSize;
}

void DataValue::setVarSize(unsigned char varSize)
{
    m_varSize = varSize;
}

long long DataValue::getIntValue() const
{
    return m_intValue;
}

void DataValue::setIntValue(long long value)
{
    m_intValue = value;
}

const QString& DataValue::getStringValue() const
{
    return m_stringValue;
}

void DataValue::setStringValue(const QString& value)
{
    m_stringValue = value;
}

void DataValue::setIsOk(bool ok)
{
    m_isOk = ok;
}

bool DataValue::isOk() const
{
    return m_isOk;
}

Metadata::Metadata() = default;
Metadata::Metadata(const Metadata& other) = default;
Metadata& Metadata::operator=(const Metadata& other) = default;
Metadata::~Metadata() = default;

void Metadata::copy(const Metadata& other)
{
    *this = other;
}

EnergyLogEntry::EnergyLogEntry() = default;

EnergyLogEntry::EnergyLogEntry(unsigned short year, unsigned char month, unsigned char day, unsigned char hour,
                               QList<int> values)
    : m_values(std::move(values))
    , m_year(year)
    , m_month(month)
    , m_day(day)
    , m_hour(hour)
{
}

unsigned short EnergyLogEntry::year() const
{
    return m_year;
}

unsigned char EnergyLogEntry::month() const
{
    return m_month;
}

unsigned char EnergyLogEntry::day() const
{
    return m_day;
}

unsigned char EnergyLogEntry::hour() const
{
    return m_hour;
}

const QList<int>& EnergyLogEntry::values() const
{
    return m_values;
}

QDBusArgument& operator<<(QDBusArgument& argument, const EnergyLogEntry& entry)
{
    argument.beginArray(QMetaType::fromType<int>());
    argument << int(entry.year()) << int(entry.month()) << int(entry.day()) << int(entry.hour());
    for (int value : entry.values())
    {
        argument << value;
    }
    argument.endArray();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, EnergyLogEntry& entry)
{
    QList<int> numbers;
    argument.beginArray();
    while (!argument.atEnd())
    {
        int number = 0;
        argument >> number;
        numbers.append(number);
    }
    argument.endArray();
    if (numbers.size() < 4)
    {
        entry = EnergyLogEntry();
        return argument;
    }
    entry =
        EnergyLogEntry(static_cast<unsigned short>(numbers[0]), static_cast<unsigned char>(numbers[1]),
                       static_cast<unsigned char>(numbers[2]), static_cast<unsigned char>(numbers[3]), numbers.mid(4));
    return argument;
}

} // namespace zemo::data

namespace zemo::system
{

AlarmInfo::AlarmInfo(const time::DateTime& time, const localization::PanelText& name, unsigned int number,
                     const localization::PanelText& source, const QList<AlarmExtraInfo>& extraInfo)
    : m_time(time)
    , m_name(name)
    , m_number(number)
    , m_source(source)
    , m_extraInfo(extraInfo)
{
}

const time::DateTime& AlarmInfo::getTime() const
{
    return m_time;
}

const localization::PanelText& AlarmInfo::getName() const
{
    return m_name;
}

unsigned int AlarmInfo::getNumber() const
{
    return m_number;
}

const localization::PanelText& AlarmInfo::getSource() const
{
    return m_source;
}

const QList<AlarmExtraInfo>& AlarmInfo::getExtraInfo() const
{
    return m_extraInfo;
}

} // namespace zemo::system
