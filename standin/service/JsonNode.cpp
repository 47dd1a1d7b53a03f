#include "JsonNode.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <cmath>
#include <utility>

namespace
{

QString memberPath(const QString& path, const QString& key)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return plain.match(key).hasMatch() ? path + QLatin1Char('.') + key : QStringLiteral("%1[\"%2\"]").arg(path, key);
}

// A double holds every integer up to here exactly; beyond, only a value that the parser kept as an integer counts.
constexpr double exactIntegers = 9007199254740992.0;

bool isInteger(const QJsonValue& value)
{
    const double number = value.toDouble();
    return value.isDouble() && std::floor(number) == number &&
           (std::fabs(number) <= exactIntegers || value.toInteger(0) != 0);
}

} // namespace

namespace platformd
{

JsonNode::JsonNode(QJsonValue value, QString path, QStringList* mistakes)
    : m_value(std::move(value))
    , m_path(std::move(path))
    , m_mistakes(mistakes)
{
}

bool JsonNode::isAbsent() const
{
    return m_value.isUndefined();
}

bool JsonNode::isString() const
{
    return m_value.isString();
}

bool JsonNode::isArray() const
{
    return m_value.isArray();
}

bool JsonNode::isNull() const
{
    return m_value.isNull();
}

qint64 JsonNode::integer(qint64 fallback, qint64 least, qint64 most) const
{
    if (isAbsent())
    {
        return fallback;
    }
    const qint64 value = m_value.toInteger();
    if (!isInteger(m_value) || value < least || value > most)
    {
        refuse(QStringLiteral("must be an integer from %1 to %2").arg(least).arg(most));
        return fallback;
    }
    return value;
}

double JsonNode::number(double fallback, double least, double most) const
{
    if (isAbsent())
    {
        return fallback;
    }
    const double value = m_value.toDouble();
    if (!m_value.isDouble() || value < least || value > most)
    {
        refuse(QStringLiteral("must be a number from %1 to %2").arg(least).arg(most));
        return fallback;
    }
    return value;
}

bool JsonNode::boolean(bool fallback) const
{
    if (!isAbsent() && !m_value.isBool())
    {
        refuse(QStringLiteral("must be true or false"));
    }
    return m_value.toBool(fallback);
}

QString JsonNode::string(const QString& fallback) const
{
    if (!isAbsent() && !m_value.isString())
    {
        refuse(QStringLiteral("must be a string"));
    }
    return m_value.toString(fallback);
}

QList<JsonNode> JsonNode::items() const
{
    if (!isAbsent() && !m_value.isArray())
    {
        refuse(QStringLiteral("must be a list"));
    }
    QList<JsonNode> result;
    const QJsonArray array = m_value.toArray();
    for (qsizetype place = 0; place < array.size(); ++place)
    {
        result.append(JsonNode(array[place], QStringLiteral("%1[%2]").arg(m_path).arg(place), m_mistakes));
    }
    return result;
}

void JsonNode::refuse(const QString& reason) const
{
    m_mistakes->append(m_path + QStringLiteral(": ") + reason);
}

JsonObject::JsonObject(JsonNode node)
    : m_node(std::move(node))
{
    if (!m_node.isAbsent() && !m_node.m_value.isObject())
    {
        m_node.refuse(QStringLiteral("must be an object"));
    }
}

JsonObject::~JsonObject()
{
    for (const QString& key : keys())
    {
        if (!m_known.contains(key))
        {
            at(key).refuse(QStringLiteral("unknown key"));
        }
    }
}

QStringList JsonObject::keys() const
{
    return m_node.m_value.toObject().keys();
}

JsonNode JsonObject::at(const QString& key)
{
    m_known.insert(key);
    return {m_node.m_value.toObject().value(key), memberPath(m_node.m_path, key), m_node.m_mistakes};
}

void JsonObject::ignoreOtherKeys()
{
    const QStringList all = keys();
    m_known.unite(QSet<QString>(all.begin(), all.end()));
}

JsonNode JsonObject::required(const QString& key)
{
    JsonNode node = at(key);
    if (node.isAbsent() && m_node.m_value.isObject())
    {
        node.refuse(QStringLiteral("is missing"));
    }
    return node;
}

} // namespace platformd
