// What a daemon needs of the records to be linked: each kept as simple as it may be.
#include <zemo/AlarmInfo.h>
#include <zemo/DataFormat.h>
#include <zemo/DataValue.h>
#include <zemo/DateTime.h>
#include <zemo/EnergyLogEntry.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>

namespace zemo::localization
{

PanelText::PanelText() = default;
PanelText::PanelText(const QString& text)
    : m_text(text)
{
}

PanelText::PanelText(const PanelText&) = default;
PanelText& PanelText::operator=(const PanelText&) = default;
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
DataValue::DataValue(const DataValue&) = default;
DataValue& DataValue::operator=(const DataValue&) = default;
DataValue::~DataValue() = default;
bool DataValue::operator==(const DataValue& other) const
{
    return m_intValue == other.m_intValue;
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

void DataValue::setIsOk(bool ok)
{
    m_isOk = ok;
}

Metadata::Metadata() = default;
Metadata::Metadata(const Metadata&) = default;
Metadata& Metadata::operator=(const Metadata&) = default;
Metadata::~Metadata() = default;
void Metadata::copy(const Metadata& other)
{
    *this = other;
}

EnergyLogEntry::EnergyLogEntry() = default;
EnergyLogEntry::EnergyLogEntry(unsigned short, unsigned char, unsigned char, unsigned char, QList<int>)
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
    return argument << entry.values();
}

const QDBusArgument& operator>>(const QDBusArgument& argument, EnergyLogEntry&)
{
    QList<int> numbers;
    return argument >> numbers;
}

QString getStringValue(const DataValue& value, const Metadata&, unsigned int)
{
    return QString::number(value.getIntValue());
}

} // namespace zemo::data

namespace zemo::system
{

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

namespace zemo::time
{

DateTime::DateTime(const zdatetime_t* dateTime)
    : m_value(*dateTime)
{
}

int DateTime::year() const
{
    return m_value.year;
}

int DateTime::month() const
{
    return m_value.month;
}

int DateTime::day() const
{
    return m_value.day;
}

int DateTime::hour() const
{
    return m_value.hour;
}

int DateTime::minute() const
{
    return m_value.minute;
}

int DateTime::second() const
{
    return m_value.second;
}

} // namespace zemo::time

zdatetime_t* datetimeclient_getDateTime(int)
{
    return new zdatetime_t{2024, 1, 1, 0, 0, 0};
}

void zdatetime_free(zdatetime_t* dateTime)
{
    delete dateTime;
}

void zdatetime_addDays(zdatetime_t*, int)
{
}

void zdatetime_addYears(zdatetime_t*, int)
{
}

const char* datamgmt_integerSizeToString(unsigned char)
{
    return "";
}
