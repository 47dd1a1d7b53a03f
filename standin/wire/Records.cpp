#include "Records.h"

#include <QDBusMetaType>

#include <algorithm>
#include <numeric>

namespace zemo::wire
{

namespace
{

constexpr qsizetype numbersPerParameter = 12;
constexpr qsizetype textsPerParameter = 3;
constexpr qsizetype numbersPerTime = 6;
constexpr qsizetype valuesPerPowerRecord = 3;

// True if the counts are those of slices that make up exactly `total` places.
bool sliceUp(const QList<int>& counts, qsizetype total)
{
    return std::all_of(counts.begin(), counts.end(), [](int count) { return count >= 0; }) &&
           std::accumulate(counts.begin(), counts.end(), qsizetype(0)) == total;
}

void append(PanelTexts& column, const localization::PanelText& text)
{
    column.texts.append(text.text());
    column.panelNumbers.append(text.panelNbr());
}

localization::PanelText panelText(const PanelTexts& column, qsizetype place)
{
    return {column.texts[place], column.panelNumbers[place]};
}

bool fits(const PanelTexts& column, qsizetype count)
{
    return column.texts.size() == count && column.panelNumbers.size() == count;
}

void append(QList<int>& times, int year, int month, int day, int hour, int minute, int second)
{
    times << year << month << day << hour << minute << second;
}

zdatetime_t dateTime(const QList<int>& times, qsizetype place)
{
    const int* time = times.constData() + place * numbersPerTime;
    return {static_cast<uint16_t>(time[0]), static_cast<uint8_t>(time[1]), static_cast<uint8_t>(time[2]),
            static_cast<uint8_t>(time[3]),  static_cast<uint8_t>(time[4]), static_cast<uint8_t>(time[5])};
}

void append(Values& columns, int id, const data::DataValue& value)
{
    if (!value.getStringValue().isEmpty())
    {
        columns.strings.insert(static_cast<int>(columns.ids.size()), value.getStringValue());
    }
    columns.ids.append(id);
    columns.numbers.append(value.getIntValue());
    columns.types.append(static_cast<char>(value.getVarType()));
    columns.sizes.append(static_cast<char>(value.getVarSize()));
    columns.ok.append(value.isOk() ? '\1' : '\0');
}

bool fits(const Values& columns)
{
    const qsizetype count = columns.ids.size();
    return columns.numbers.size() == count && columns.types.size() == count && columns.sizes.size() == count &&
           columns.ok.size() == count;
}

data::DataValue dataValue(const Values& columns, qsizetype place)
{
    data::DataValue value;
    value.setVarId(static_cast<unsigned short>(columns.ids[place]));
    value.setIntValue(columns.numbers[place]);
    value.setVarType(static_cast<unsigned char>(columns.types[place]));
    value.setVarSize(static_cast<unsigned char>(columns.sizes[place]));
    value.setIsOk(columns.ok[place] != '\0');
    return value;
}

void append(Parameters& columns, int id, const data::Metadata& parameter)
{
    columns.ids.append(id);
    columns.numbers << parameter.varId << parameter.varType << parameter.varSize << parameter.decimals
                    << parameter.reserved1 << parameter.auxByte << parameter.reserved2 << parameter.registerKind
                    << parameter.modbusAddress << parameter.numericAttr1 << parameter.numericAttr2
                    << parameter.numericAttr3;
    append(columns.names, parameter.name);
    append(columns.secondTexts, parameter.secondText);
    columns.texts << parameter.text1 << parameter.unit << parameter.text2;
    columns.valueTextCounts.append(static_cast<int>(parameter.valueTexts.size()));
    for (const data::ValueText& text : parameter.valueTexts)
    {
        columns.valueTexts.append(text.text);
    }
}

bool fits(const Parameters& columns)
{
    const qsizetype count = columns.ids.size();
    return columns.numbers.size() == count * numbersPerParameter && fits(columns.names, count) &&
           fits(columns.secondTexts, count) && columns.texts.size() == count * textsPerParameter &&
           columns.valueTextCounts.size() == count && sliceUp(columns.valueTextCounts, columns.valueTexts.size());
}

void setNumbers(data::Metadata& parameter, const int* numbers)
{
    parameter.varId = static_cast<uint16_t>(numbers[0]);
    parameter.varType = static_cast<uint8_t>(numbers[1]);
    parameter.varSize = static_cast<uint8_t>(numbers[2]);
    parameter.decimals = static_cast<uint8_t>(numbers[3]);
    parameter.reserved1 = static_cast<uint8_t>(numbers[4]);
    parameter.auxByte = static_cast<uint8_t>(numbers[5]);
    parameter.reserved2 = static_cast<uint8_t>(numbers[6]);
    parameter.registerKind = static_cast<uint8_t>(numbers[7]);
    parameter.modbusAddress = static_cast<uint16_t>(numbers[8]);
    parameter.numericAttr1 = numbers[9];
    parameter.numericAttr2 = numbers[10];
    parameter.numericAttr3 = numbers[11];
}

// The description at `place`, without its value texts.
data::Metadata metadata(const Parameters& columns, qsizetype place)
{
    data::Metadata parameter;
    setNumbers(parameter, columns.numbers.constData() + place * numbersPerParameter);
    parameter.name = panelText(columns.names, place);
    parameter.secondText = panelText(columns.secondTexts, place);
    const QString* texts = columns.texts.constData() + place * textsPerParameter;
    parameter.text1 = texts[0];
    parameter.unit = texts[1];
    parameter.text2 = texts[2];
    return parameter;
}

bool fits(const Alarms& columns)
{
    const qsizetype count = columns.numbers.size();
    const qsizetype extras = columns.extraLabels.texts.size();
    return columns.times.size() == count * numbersPerTime && fits(columns.names, count) &&
           fits(columns.sources, count) && columns.extraCounts.size() == count && fits(columns.extraLabels, extras) &&
           fits(columns.extraValues, extras) && sliceUp(columns.extraCounts, extras);
}

} // namespace

void registerTypes()
{
    qDBusRegisterMetaType<QMap<int, QString>>();
    qDBusRegisterMetaType<Values>();
    qDBusRegisterMetaType<PanelTexts>();
    qDBusRegisterMetaType<Parameters>();
    qDBusRegisterMetaType<Changes>();
    qDBusRegisterMetaType<PowerRecords>();
    qDBusRegisterMetaType<Texts>();
    qDBusRegisterMetaType<Alarms>();
}

Values toWire(const QMap<int, data::DataValue>& values)
{
    Values columns;
    for (auto value = values.cbegin(); value != values.cend(); ++value)
    {
        append(columns, value.key(), value.value());
    }
    return columns;
}

std::optional<QMap<int, data::DataValue>> fromWire(const Values& columns)
{
    if (!fits(columns))
    {
        return std::nullopt;
    }
    QMap<int, data::DataValue> values;
    for (qsizetype place = 0; place < columns.ids.size(); ++place)
    {
        values.insert(values.cend(), columns.ids[place], dataValue(columns, place));
    }
    for (auto string = columns.strings.cbegin(); string != columns.strings.cend(); ++string)
    {
        if (string.key() < 0 || string.key() >= columns.ids.size())
        {
            return std::nullopt;
        }
        values[columns.ids[string.key()]].setStringValue(string.value());
    }
    return values;
}

Parameters toWire(const QMap<int, data::Metadata>& parameters)
{
    Parameters columns;
    for (auto parameter = parameters.cbegin(); parameter != parameters.cend(); ++parameter)
    {
        append(columns, parameter.key(), parameter.value());
    }
    return columns;
}

std::optional<QMap<int, data::Metadata>> fromWire(const Parameters& columns)
{
    if (!fits(columns))
    {
        return std::nullopt;
    }
    QMap<int, data::Metadata> parameters;
    auto valueText = columns.valueTexts.cbegin();
    for (qsizetype place = 0; place < columns.ids.size(); ++place)
    {
        data::Metadata parameter = metadata(columns, place);
        for (int count = columns.valueTextCounts[place]; count > 0; --count)
        {
            parameter.valueTexts.append({*valueText++});
        }
        parameters.insert(parameters.cend(), columns.ids[place], parameter);
    }
    return parameters;
}

Changes toWire(const QList<data::ChangeLogEntry>& changes)
{
    Changes columns;
    for (qsizetype place = 0; place < changes.size(); ++place)
    {
        const data::ChangeLogEntry& change = changes[place];
        append(columns.values, static_cast<int>(place), change.value);
        append(columns.parameters, static_cast<int>(place), change.metadata);
        const zdatetime_t& time = change.timestamp;
        append(columns.times, time.year, time.month, time.day, time.hour, time.minute, time.second);
    }
    return columns;
}

std::optional<QList<data::ChangeLogEntry>> fromWire(const Changes& columns)
{
    const auto values = fromWire(columns.values);
    const auto parameters = fromWire(columns.parameters);
    const qsizetype count = columns.times.size() / numbersPerTime;
    if (!values || !parameters || values->size() != count || parameters->size() != count ||
        columns.times.size() != count * numbersPerTime)
    {
        return std::nullopt;
    }
    QList<data::ChangeLogEntry> changes;
    for (int place = 0; place < count; ++place)
    {
        data::ChangeLogEntry change{(*values)[place], (*parameters)[place], dateTime(columns.times, place)};
        change.value.setVarId(change.metadata.varId);
        changes.append(change);
    }
    return changes;
}

PowerRecords toWire(const QList<data::PowerLogRecord>& records)
{
    PowerRecords columns;
    for (const data::PowerLogRecord& record : records)
    {
        columns.timestamps.append(record.timestamp);
        columns.values << record.valueA << record.valueB << record.valueC;
    }
    return columns;
}

std::optional<QList<data::PowerLogRecord>> fromWire(const PowerRecords& columns)
{
    if (columns.values.size() != columns.timestamps.size() * valuesPerPowerRecord)
    {
        return std::nullopt;
    }
    QList<data::PowerLogRecord> records;
    const double* value = columns.values.constData();
    for (qlonglong timestamp : columns.timestamps)
    {
        records.append({timestamp, value[0], value[1], value[2]});
        value += valuesPerPowerRecord;
    }
    return records;
}

Texts toWire(const QMap<unsigned int, localization::PanelText>& texts)
{
    Texts columns;
    for (auto text = texts.cbegin(); text != texts.cend(); ++text)
    {
        columns.ids.append(text.key());
        append(columns.texts, text.value());
    }
    return columns;
}

std::optional<QMap<unsigned int, localization::PanelText>> fromWire(const Texts& columns)
{
    if (!fits(columns.texts, columns.ids.size()))
    {
        return std::nullopt;
    }
    QMap<unsigned int, localization::PanelText> texts;
    for (qsizetype place = 0; place < columns.ids.size(); ++place)
    {
        texts.insert(texts.cend(), columns.ids[place], panelText(columns.texts, place));
    }
    return texts;
}

Alarms toWire(const QList<system::AlarmInfo>& alarms)
{
    Alarms columns;
    for (const system::AlarmInfo& alarm : alarms)
    {
        const time::DateTime& time = alarm.getTime();
        append(columns.times, time.year(), time.month(), time.day(), time.hour(), time.minute(), time.second());
        columns.numbers.append(alarm.getNumber());
        append(columns.names, alarm.getName());
        append(columns.sources, alarm.getSource());
        columns.extraCounts.append(static_cast<int>(alarm.getExtraInfo().size()));
        for (const system::AlarmExtraInfo& extra : alarm.getExtraInfo())
        {
            append(columns.extraLabels, extra.label);
            append(columns.extraValues, extra.value);
        }
    }
    return columns;
}

std::optional<QList<system::AlarmInfo>> fromWire(const Alarms& columns)
{
    if (!fits(columns))
    {
        return std::nullopt;
    }
    QList<system::AlarmInfo> alarms;
    qsizetype extraPlace = 0;
    for (qsizetype place = 0; place < columns.numbers.size(); ++place)
    {
        QList<system::AlarmExtraInfo> extras;
        for (int count = columns.extraCounts[place]; count > 0; --count, ++extraPlace)
        {
            extras.append({panelText(columns.extraLabels, extraPlace), panelText(columns.extraValues, extraPlace)});
        }
        const zdatetime_t time = dateTime(columns.times, place);
        alarms.append({time::DateTime(&time), panelText(columns.names, place), columns.numbers[place],
                       panelText(columns.sources, place), extras});
    }
    return alarms;
}

} // namespace zemo::wire
