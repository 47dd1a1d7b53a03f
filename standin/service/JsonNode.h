#pragma once

#include <QJsonValue>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace platformd
{

/// One value of a JSON document together with its place in it ("$.parameters[3].signal.period"). Reading never fails:
/// a value of the wrong kind or out of its range is added to the list of mistakes, with its place, and the fallback
/// stands in for it, so that one run finds every mistake. An absent value gives the fallback without a mistake.
class JsonNode
{
public:
    /// `mistakes` outlives the node.
    JsonNode(QJsonValue value, QString path, QStringList* mistakes);

    bool isAbsent() const;
    bool isString() const;
    bool isArray() const;
    bool isNull() const;

    qint64 integer(qint64 fallback, qint64 least, qint64 most) const;
    double number(double fallback, double least, double most) const;
    bool boolean(bool fallback) const;
    QString string(const QString& fallback) const;
    /// The members of a list, empty when absent.
    QList<JsonNode> items() const;

    /// Adds a mistake at this place.
    void refuse(const QString& reason) const;

private:
    friend class JsonObject;

    QJsonValue m_value;
    QString m_path;
    QStringList* m_mistakes;
};

/// An object being read. A key that nobody has asked for by the end of its scope is a mistake.
class JsonObject
{
public:
    explicit JsonObject(JsonNode node);
    ~JsonObject();
    JsonObject(const JsonObject&) = delete;
    JsonObject& operator=(const JsonObject&) = delete;

    QStringList keys() const;
    JsonNode at(const QString& key);
    /// The same; the key's absence is a mistake.
    JsonNode required(const QString& key);
    /// Leaves the keys that were not asked for without a mistake: one was made before that says enough.
    void ignoreOtherKeys();

private:
    JsonNode m_node;
    QSet<QString> m_known;
};

} // namespace platformd
