#include "SignalReader.h"

#include <zemo/DataValue.h>

#include <QMap>

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
        {QStringLiteral("text"), Signal::Kind::Text}};
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
        break;
    }
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
    JsonObject object(node);
    const JsonNode kind = object.at(QStringLiteral("kind"));
    Signal signal;
    signal.kind = readKind(kind);
    if (signal.kind == Signal::Kind::Text)
    {
        kind.refuse(QStringLiteral("\"text\" is for parameters of type 1 and 6"));
        object.ignoreOtherKeys();
    }
    readNumberFields(object, range, signal);
    return signal;
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
