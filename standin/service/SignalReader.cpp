#include "SignalReader.h"

#include "ModbusBlocks.h"

#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QMap>
#include <QRegularExpression>

#include <cstdint>
#include <limits>

namespace platformd
{

namespace
{

constexpr double longestPeriod = 1e9;
constexpr double steepestStep = 1e9;

const QMap<QString, Signal::Kind>& kinds()
{
    static const QMap<QString, Signal::Kind> names = {
        {QStringLiteral("constant"), Signal::Kind::Constant}, {QStringLiteral("sine"), Signal::Kind::Sine},
        {QStringLiteral("ramp"), Signal::Kind::Ramp},         {QStringLiteral("square"), Signal::Kind::Square},
        {QStringLiteral("counter"), Signal::Kind::Counter},   {QStringLiteral("walk"), Signal::Kind::Walk},
        {QStringLiteral("text"), Signal::Kind::Text},         {QStringLiteral("modbus"), Signal::Kind::Modbus}};
    return names;
}

Signal::Kind readKind(const JsonNode& node)
{
    const QString name = node.string(QStringLiteral("constant"));
    if (!kinds().contains(name))
    {
        node.refuse(QStringLiteral("\"%1\" is no kind of signal; there are %2")
                        .arg(name, kinds().keys().join(QStringLiteral(", "))));
    }
    return kinds().value(name, Signal::Kind::Constant);
}

double readPeriod(const JsonNode& node)
{
    const double period = node.number(Signal().period, 0, longestPeriod);
    if (period <= 0)
    {
        node.refuse(QStringLiteral("must be more than 0"));
        return Signal().period;
    }
    return period;
}

void readBounds(JsonObject& object, const NumberRange& range, Signal& signal)
{
    const JsonNode low = object.at(QStringLiteral("low"));
    signal.low = low.integer(signal.low, range.least, range.most);
    signal.high = object.at(QStringLiteral("high")).integer(signal.high, range.least, range.most);
    if (signal.low > signal.high)
    {
        low.refuse(QStringLiteral("is above \"high\" (%1 > %2)").arg(signal.low).arg(signal.high));
    }
}

void readNumberFields(JsonObject& object, const NumberRange& range, Signal& signal)
{
    switch (signal.kind)
    {
    case Signal::Kind::Constant:
        signal.value = object.at(QStringLiteral("value")).integer(signal.value, range.least, range.most);
        break;
    case Signal::Kind::Sine:
    case Signal::Kind::Ramp:
    case Signal::Kind::Square:
        readBounds(object, range, signal);
        signal.period = readPeriod(object.at(QStringLiteral("period")));
        break;
    case Signal::Kind::Counter:
        signal.start = object.at(QStringLiteral("start")).integer(signal.start, range.least, range.most);
        signal.step = object.at(QStringLiteral("step")).number(signal.step, -steepestStep, steepestStep);
        break;
    case Signal::Kind::Walk:
        readBounds(object, range, signal);
        signal.seed = object.at(QStringLiteral("seed")).integer(0, 0, std::numeric_limits<int32_t>::max());
        break;
    case Signal::Kind::Text:
    case Signal::Kind::Modbus:
        break;
    }
}

QString readHost(const JsonNode& node)
{
    QString host = node.string({});
    if (node.isString() && (host.isEmpty() || host.contains(QRegularExpression(QStringLiteral("\\s")))))
    {
        node.refuse(QStringLiteral("must be the name or the address of a device"));
    }
    return host;
}

quint8 readUnit(const JsonNode& node)
{
    constexpr int lastUnit = 247;
    constexpr int deviceItself = 255;
    const auto unit = node.integer(ModbusSource().unit, 0, deviceItself);
    if (unit > lastUnit && unit != deviceItself)
    {
        node.refuse(QStringLiteral("must be a unit from 0 to %1, or %2").arg(lastUnit).arg(deviceItself));
    }
    return static_cast<quint8>(unit);
}

ModbusSource readSource(JsonObject& object, const ParameterRegister& place)
{
    ModbusSource source;
    source.host = readHost(object.required(QStringLiteral("host")));
    source.port = static_cast<quint16>(object.at(QStringLiteral("port")).integer(source.port, 1, UINT16_MAX));
    source.unit = readUnit(object.at(QStringLiteral("unit")));
    source.isInput = place.kind == zemo::data::ModbusInputRegister;
    const JsonNode address = object.at(QStringLiteral("address"));
    source.address = static_cast<quint16>(address.integer(place.address, 0, UINT16_MAX));
    source.size = place.size;
    if (widthOf(place.size) == 2 && source.address == UINT16_MAX)
    {
        address.refuse(QStringLiteral("leaves no room for the second register of 32 bits"));
    }
    return source;
}

// Empty for a place that a device can be asked for.
QString whyNoModbus(const ParameterRegister* place)
{
    if (place == nullptr)
    {
        return QStringLiteral("\"modbus\" is for parameters");
    }
    if (place->kind != zemo::data::ModbusHoldingRegister && place->kind != zemo::data::ModbusInputRegister)
    {
        return QStringLiteral("\"modbus\" takes a parameter with \"register\" 1 or 2");
    }
    const bool hasWidth = place->size >= zemo::data::VarSizeInt8 && place->size <= zemo::data::VarSizeUint32;
    return hasWidth ? QString() : QStringLiteral("\"modbus\" takes a parameter with \"size\" 1 to 6");
}

QString whyNoNumber(Signal::Kind kind, const ParameterRegister* place)
{
    switch (kind)
    {
    case Signal::Kind::Text:
        return QStringLiteral("\"text\" is for parameters of type 1 and 6");
    case Signal::Kind::Modbus:
        return whyNoModbus(place);
    default:
        return {};
    }
}

// `place` is null for what is no parameter.
Signal readNumbers(const JsonNode& node, const NumberRange& range, const ParameterRegister* place)
{
    JsonObject object(node);
    const JsonNode kind = object.at(QStringLiteral("kind"));
    Signal signal;
    signal.kind = readKind(kind);
    const QString mistake = whyNoNumber(signal.kind, place);
    if (!mistake.isEmpty())
    {
        kind.refuse(mistake);
        object.ignoreOtherKeys();
    }
    else if (signal.kind == Signal::Kind::Modbus && place)
    {
        signal.source = readSource(object, *place);
    }
    readNumberFields(object, range, signal);
    return signal;
}

QStringList readStrings(const JsonNode& node)
{
    QStringList result;
    for (const JsonNode& item : node.items())
    {
        result.append(item.string({}));
    }
    return result;
}

} // namespace

NumberRange rangeOfSize(unsigned char varSize)
{
    switch (varSize)
    {
    case zemo::data::VarSizeInt8:
        return {INT8_MIN, INT8_MAX};
    case zemo::data::VarSizeInt16:
        return {INT16_MIN, INT16_MAX};
    case zemo::data::VarSizeInt32:
        return {INT32_MIN, INT32_MAX};
    case zemo::data::VarSizeUint8:
        return {0, UINT8_MAX};
    case zemo::data::VarSizeUint16:
        return {0, UINT16_MAX};
    case zemo::data::VarSizeUint32:
        return {0, UINT32_MAX};
    default:
        return {-(1LL << 53), 1LL << 53};
    }
}

Signal readNumberSignal(const JsonNode& node, const NumberRange& range)
{
    return readNumbers(node, range, nullptr);
}

Signal readParameterSignal(const JsonNode& node, const ParameterRegister& place)
{
    return readNumbers(node, rangeOfSize(place.size), &place);
}

Signal readTextSignal(const JsonNode& node)
{
    JsonObject object(node);
    const JsonNode kind = object.at(QStringLiteral("kind"));
    Signal signal;
    signal.kind = Signal::Kind::Text;
    switch (readKind(kind))
    {
    case Signal::Kind::Constant:
        signal.texts = {object.at(QStringLiteral("value")).string({})};
        break;
    case Signal::Kind::Text:
        signal.texts = readStrings(object.at(QStringLiteral("texts")));
        signal.period = readPeriod(object.at(QStringLiteral("period")));
        break;
    default:
        kind.refuse(QStringLiteral("a parameter of type 1 or 6 takes \"constant\" or \"text\""));
        object.ignoreOtherKeys();
    }
    return signal;
}

} // namespace platformd
