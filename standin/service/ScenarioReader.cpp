#include "Drives.h"
#include "JsonNode.h"
#include "Scenario.h"
#include "SignalReader.h"

#include <zemo/DataValue.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace platformd
{

namespace
{

constexpr int noId = -1;
constexpr qint64 farthestTime = 253402300799; // the end of the year 9999

LocalText readLocalText(const JsonNode& node)
{
    if (node.isAbsent() || node.isString())
    {
        return LocalText(node.string({}));
    }
    LocalText result;
    JsonObject object(node);
    for (const QString& locale : object.keys())
    {
        const JsonNode text = object.at(locale);
        if (!isLocaleName(locale))
        {
            text.refuse(QStringLiteral("\"%1\" is no locale name such as \"en_GB\"").arg(locale));
        }
        result.insert(locale, text.string({}));
    }
    return result;
}

QDateTime readTime(const JsonNode& node)
{
    const QString text = node.string({});
    const QDateTime result = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
    if (!node.isAbsent() && !result.isValid())
    {
        node.refuse(QStringLiteral("must be a local time such as \"2024-03-05T14:07:09\""));
    }
    return result.isValid() ? result : QDateTime(QDate(2024, 1, 1), QTime(0, 0));
}

quint8 readByte(const JsonNode& node, quint8 fallback)
{
    return static_cast<quint8>(node.integer(fallback, 0, UINT8_MAX));
}

void readAttributes(const JsonNode& node, qint32 (&attributes)[3])
{
    const QList<JsonNode> items = node.items();
    if (node.isArray() && items.size() != 3)
    {
        node.refuse(QStringLiteral("must hold three integers"));
        return;
    }
    for (qsizetype place = 0; place < items.size(); ++place)
    {
        attributes[place] = static_cast<qint32>(items[place].integer(0, INT32_MIN, INT32_MAX));
    }
}

void readTraits(JsonObject& object, Parameter& parameter)
{
    // A string has no width, a number is taken for a signed 32-bit one.
    parameter.type = readByte(object.at(QStringLiteral("type")), zemo::data::VarTypeInteger);
    parameter.size =
        readByte(object.at(QStringLiteral("size")), parameter.hasText() ? quint8{0} : quint8{zemo::data::VarSizeInt32});
    parameter.decimals = static_cast<quint8>(object.at(QStringLiteral("decimals")).integer(0, 0, 9));
    parameter.aux = readByte(object.at(QStringLiteral("aux")), 0);
    parameter.registerKind = readByte(object.at(QStringLiteral("register")), 0);
    parameter.address = static_cast<quint16>(object.at(QStringLiteral("address")).integer(0, 0, UINT16_MAX));
    readAttributes(object.at(QStringLiteral("attributes")), parameter.attributes);
}

// The contract's records carry the number of a parameter in 16 bits. Answers noId for what is none.
int readId(const JsonNode& node)
{
    return static_cast<int>(node.integer(noId, 0, UINT16_MAX));
}

Parameter readParameter(const JsonNode& node, const QMap<int, Parameter>& before)
{
    JsonObject object(node);
    Parameter parameter;
    const JsonNode id = object.required(QStringLiteral("id"));
    parameter.id = readId(id);
    if (parameter.id != noId && before.contains(parameter.id))
    {
        id.refuse(QStringLiteral("%1 is the id of another parameter").arg(parameter.id));
    }
    parameter.name = readLocalText(object.required(QStringLiteral("name")));
    readTraits(object, parameter);
    parameter.panel = static_cast<int>(object.at(QStringLiteral("panel")).integer(1, 0, INT32_MAX));
    parameter.unit = object.at(QStringLiteral("unit")).string({});
    for (const JsonNode& text : object.at(QStringLiteral("texts")).items())
    {
        parameter.texts.append(readLocalText(text));
    }
    parameter.inDefaultLog = object.at(QStringLiteral("default")).boolean(false);
    const JsonNode signal = object.at(QStringLiteral("signal"));
    parameter.signal = parameter.hasText()
                           ? readTextSignal(signal)
                           : readParameterSignal(signal, {parameter.size, parameter.registerKind, parameter.address});
    return parameter;
}

QMap<int, Parameter> readParameters(const JsonNode& node)
{
    QMap<int, Parameter> result;
    for (const JsonNode& item : node.items())
    {
        const Parameter parameter = readParameter(item, result);
        result.insert(parameter.id, parameter);
    }
    return result;
}

QHash<quint32, LocalText> readTexts(const JsonNode& node)
{
    QHash<quint32, LocalText> result;
    JsonObject object(node);
    for (const QString& key : object.keys())
    {
        const JsonNode text = object.at(key);
        bool isNumber = false;
        const quint32 id = key.toUInt(&isNumber);
        if (!isNumber || QString::number(id) != key)
        {
            text.refuse(QStringLiteral("\"%1\" is no text number").arg(key));
        }
        result.insert(id, readLocalText(text));
    }
    return result;
}

void readChangedValue(const JsonNode& node, const Parameter& parameter, Change& change)
{
    if (parameter.hasText())
    {
        change.text = node.string({});
        return;
    }
    const NumberRange range = rangeOfSize(parameter.size);
    change.number = node.integer(0, range.least, range.most);
}

Change readChange(const JsonNode& node, const QMap<int, Parameter>& parameters)
{
    JsonObject object(node);
    Change change;
    const JsonNode id = object.required(QStringLiteral("id"));
    change.id = readId(id);
    change.time = readTime(object.at(QStringLiteral("time")));
    const JsonNode value = object.at(QStringLiteral("value"));
    const auto parameter = parameters.constFind(change.id);
    if (parameter != parameters.constEnd())
    {
        readChangedValue(value, *parameter, change);
    }
    else if (change.id != noId)
    {
        id.refuse(QStringLiteral("there is no parameter %1").arg(change.id));
    }
    return change;
}

AlarmNote readAlarmNote(const JsonNode& node)
{
    const QList<JsonNode> items = node.items();
    if (items.size() != 2)
    {
        node.refuse(QStringLiteral("must hold a label and a value"));
        return {};
    }
    return {readLocalText(items[0]), readLocalText(items[1])};
}

Alarm readAlarm(const JsonNode& node)
{
    JsonObject object(node);
    Alarm alarm;
    alarm.time = readTime(object.at(QStringLiteral("time")));
    alarm.number = static_cast<quint32>(object.at(QStringLiteral("number")).integer(0, 0, UINT32_MAX));
    alarm.name = readLocalText(object.required(QStringLiteral("name")));
    alarm.source = readLocalText(object.at(QStringLiteral("source")));
    for (const JsonNode& note : object.at(QStringLiteral("extra")).items())
    {
        alarm.extra.append(readAlarmNote(note));
    }
    return alarm;
}

template <typename Record> void putNewestFirst(QList<Record>& records)
{
    std::stable_sort(records.begin(), records.end(),
                     [](const Record& left, const Record& right) { return left.time > right.time; });
}

zemo::data::PowerLogRecord readPowerRow(const JsonNode& node)
{
    const QList<JsonNode> cells = node.items();
    if (cells.size() != 4)
    {
        node.refuse(QStringLiteral("must hold a time and three values"));
        return {};
    }
    const auto value = [](const JsonNode& cell)
    {
        constexpr double most = std::numeric_limits<double>::max();
        return cell.isNull() ? std::nan("") : cell.number(0, -most, most);
    };
    return {cells[0].integer(0, -farthestTime, farthestTime), value(cells[1]), value(cells[2]), value(cells[3])};
}

PowerGenerator readPowerGenerator(const JsonNode& node)
{
    JsonObject object(node);
    PowerGenerator generator;
    generator.days = object.at(QStringLiteral("days")).integer(generator.days, 1, 36500);
    const JsonNode end = object.at(QStringLiteral("end"));
    if (!end.isAbsent())
    {
        generator.end = end.integer(0, 0, farthestTime);
    }
    generator.decimals = static_cast<int>(object.at(QStringLiteral("decimals")).integer(0, 0, 9));
    generator.missing = object.at(QStringLiteral("missing")).integer(0, 0, INT32_MAX);
    const JsonNode columns = object.at(QStringLiteral("columns"));
    const QList<JsonNode> items = columns.items();
    if (columns.isArray() && items.size() != 3)
    {
        columns.refuse(QStringLiteral("must hold three signals"));
        return generator;
    }
    for (qsizetype place = 0; place < items.size(); ++place)
    {
        generator.columns[place] = readNumberSignal(items[place], rangeOfSize(0));
    }
    return generator;
}

PowerLog readPowerLog(const JsonNode& node, qint64 interval)
{
    PowerLog log;
    log.interval = interval;
    if (!node.isAbsent() && !node.isArray())
    {
        log.generator = readPowerGenerator(node);
        return log;
    }
    for (const JsonNode& row : node.items())
    {
        log.rows.append(readPowerRow(row));
    }
    return log;
}

QByteArray readBase64(const JsonNode& node)
{
    const auto decoded =
        QByteArray::fromBase64Encoding(node.string({}).toUtf8(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
    {
        node.refuse(QStringLiteral("is not base64"));
    }
    return *decoded;
}

QString readLanguage(const JsonNode& node)
{
    QString language = node.string(QStringLiteral("en_GB"));
    if (!isLocaleName(language))
    {
        node.refuse(QStringLiteral("\"%1\" is no locale name such as \"en_GB\"").arg(language));
    }
    return language;
}

QStringList readDrives(const JsonNode& node)
{
    QStringList result;
    for (const JsonNode& item : node.items())
    {
        const QString path = item.string({});
        if (!isDrivePath(path))
        {
            item.refuse(drivePathRule());
        }
        else if (result.contains(path))
        {
            item.refuse(QStringLiteral("the drive is listed twice"));
        }
        result.append(path);
    }
    return result;
}

void readRecords(JsonObject& root, Scenario& scenario)
{
    for (const JsonNode& item : root.at(QStringLiteral("changeLog")).items())
    {
        scenario.changeLog.append(readChange(item, scenario.parameters));
    }
    putNewestFirst(scenario.changeLog);
    for (const JsonNode& item : root.at(QStringLiteral("alarms")).items())
    {
        scenario.alarms.append(readAlarm(item));
    }
    putNewestFirst(scenario.alarms);
    JsonObject power(root.at(QStringLiteral("powerLog")));
    scenario.hourlyPower = readPowerLog(power.at(QStringLiteral("hourly")), 3600);
    scenario.quarterlyPower = readPowerLog(power.at(QStringLiteral("quarterly")), 900);
}

Scenario readScenario(const JsonNode& node)
{
    JsonObject root(node);
    Scenario scenario;
    scenario.serial = root.at(QStringLiteral("serial")).string(QStringLiteral("000000"));
    scenario.deviceName = root.at(QStringLiteral("deviceName")).string(QStringLiteral("Controller"));
    scenario.language = readLanguage(root.at(QStringLiteral("language")));
    scenario.parameters = readParameters(root.at(QStringLiteral("parameters")));
    scenario.texts = readTexts(root.at(QStringLiteral("texts")));
    readRecords(root, scenario);
    scenario.settings = readBase64(root.at(QStringLiteral("settings")));
    scenario.acceptRestore = root.at(QStringLiteral("acceptRestore")).boolean(true);
    scenario.drives = readDrives(root.at(QStringLiteral("drives")));
    return scenario;
}

QString syntaxMistake(const QByteArray& json, const QJsonParseError& error)
{
    const QByteArray before = json.left(error.offset);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = QString::fromUtf8(before.mid(before.lastIndexOf('\n') + 1)).size() + 1;
    return QStringLiteral("line %1, column %2: %3").arg(line).arg(column).arg(error.errorString());
}

QStringList inFile(const QString& fileName, QStringList mistakes)
{
    for (QString& mistake : mistakes)
    {
        mistake.prepend(fileName + QStringLiteral(": "));
    }
    return mistakes;
}

} // namespace

ScenarioResult parseScenario(const QByteArray& json, const QString& fileName)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
    {
        return {nullptr, inFile(fileName, {syntaxMistake(json, error)})};
    }
    QStringList mistakes;
    const QJsonValue root = document.isArray() ? QJsonValue(QJsonValue::Array) : QJsonValue(document.object());
    auto scenario = std::make_shared<const Scenario>(readScenario({root, QStringLiteral("$"), &mistakes}));
    return {mistakes.isEmpty() ? scenario : nullptr, inFile(fileName, mistakes)};
}

ScenarioResult loadScenario(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
    {
        return {nullptr, inFile(fileName, {QStringLiteral("cannot be read: ") + file.errorString()})};
    }
    return parseScenario(file.readAll(), fileName);
}

} // namespace platformd
