#pragma once

#include <zemo/AlarmInfo.h>
#include <zemo/ChangeLogEntry.h>
#include <zemo/DataValue.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>
#include <zemo/PowerLogRecord.h>

#include <QByteArray>
#include <QDBusArgument>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <optional>
#include <tuple>

/// The forms in which the contract's records travel between the clients and the platform's services, and the way
/// there (toWire) and back (fromWire) that both sides share. Everything travels as columns, not as a list of
/// structures: a structure costs its receiver about a microsecond, a number in an array a small fraction of that.
///
/// fromWire gives nothing when the columns don't fit together: their sender is broken.
namespace zemo::wire
{

/// Makes the types below known to the bus. Call before the first message, as often as you like, from any thread.
void registerTypes();

/// Values of parameters, one place of each column for each value.
struct Values
{
    QList<int> ids;
    QList<qlonglong> numbers;
    QByteArray types;
    QByteArray sizes;
    QByteArray ok;              ///< 1 or 0
    QMap<int, QString> strings; ///< by place in the columns; a value that is missing here has an empty string

    auto fields()
    {
        return std::tie(ids, numbers, types, sizes, ok, strings);
    }
};

struct PanelTexts
{
    QStringList texts;
    QList<int> panelNumbers;

    auto fields()
    {
        return std::tie(texts, panelNumbers);
    }
};

/// Descriptions of parameters.
struct Parameters
{
    QList<int> ids;
    QList<int> numbers; ///< for each parameter in turn the fields of Metadata that are numbers, in their order there
    PanelTexts names;
    PanelTexts secondTexts;
    QStringList texts;          ///< for each parameter in turn text1, unit, text2
    QList<int> valueTextCounts; ///< how many of the value texts are each parameter's
    QStringList valueTexts;

    auto fields()
    {
        return std::tie(ids, numbers, names, secondTexts, texts, valueTextCounts, valueTexts);
    }
};

/// Changes of parameters. The ids of the values and of the parameters are places here, 0 for the first change.
struct Changes
{
    Values values;
    Parameters parameters;
    QList<int> times; ///< for each change in turn year, month, day, hour, minute, second

    auto fields()
    {
        return std::tie(values, parameters, times);
    }
};

struct PowerRecords
{
    QList<qlonglong> timestamps;
    QList<double> values; ///< for each record in turn valueA, valueB, valueC

    auto fields()
    {
        return std::tie(timestamps, values);
    }
};

struct Texts
{
    QList<uint> ids;
    PanelTexts texts;

    auto fields()
    {
        return std::tie(ids, texts);
    }
};

struct Alarms
{
    QList<int> times; ///< for each alarm in turn year, month, day, hour, minute, second
    QList<uint> numbers;
    PanelTexts names;
    PanelTexts sources;
    QList<int> extraCounts; ///< how many of the labels and values are each alarm's
    PanelTexts extraLabels;
    PanelTexts extraValues;

    auto fields()
    {
        return std::tie(times, numbers, names, sources, extraCounts, extraLabels, extraValues);
    }
};

Values toWire(const QMap<int, data::DataValue>& values);
Parameters toWire(const QMap<int, data::Metadata>& parameters);
Changes toWire(const QList<data::ChangeLogEntry>& changes);
PowerRecords toWire(const QList<data::PowerLogRecord>& records);
Texts toWire(const QMap<unsigned int, localization::PanelText>& texts);
Alarms toWire(const QList<system::AlarmInfo>& alarms);

std::optional<QMap<int, data::DataValue>> fromWire(const Values& values);
std::optional<QMap<int, data::Metadata>> fromWire(const Parameters& parameters);
std::optional<QList<data::ChangeLogEntry>> fromWire(const Changes& changes);
std::optional<QList<data::PowerLogRecord>> fromWire(const PowerRecords& records);
std::optional<QMap<unsigned int, localization::PanelText>> fromWire(const Texts& texts);
std::optional<QList<system::AlarmInfo>> fromWire(const Alarms& alarms);

/// A structure of columns.
template <class Record>
concept Columns = requires(Record record)
{
    record.fields();
};

template <Columns Record> QDBusArgument& operator<<(QDBusArgument& argument, const Record& record)
{
    argument.beginStructure();
    // fields() gives references for reading and writing alike; nothing is written here.
    std::apply([&](const auto&... field) { (argument << ... << field); }, const_cast<Record&>(record).fields());
    argument.endStructure();
    return argument;
}

template <Columns Record> const QDBusArgument& operator>>(const QDBusArgument& argument, Record& record)
{
    argument.beginStructure();
    std::apply([&](auto&... field) { (argument >> ... >> field); }, record.fields());
    argument.endStructure();
    return argument;
}

} // namespace zemo::wire

Q_DECLARE_METATYPE(zemo::wire::Values)
Q_DECLARE_METATYPE(zemo::wire::Parameters)
Q_DECLARE_METATYPE(zemo::wire::Changes)
Q_DECLARE_METATYPE(zemo::wire::PowerRecords)
Q_DECLARE_METATYPE(zemo::wire::Texts)
Q_DECLARE_METATYPE(zemo::wire::Alarms)
