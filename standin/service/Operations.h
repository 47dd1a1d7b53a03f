#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

namespace platformd
{

/// The client operations by their names in the contract: how often each was called, and how each is made to misbehave.
class Operations
{
public:
    explicit Operations(const QStringList& names);

    bool contains(const QString& name) const;
    QStringList names() const;

    /// Each of the following takes the name of an operation that there is.
    void countCall(const QString& name);
    quint32 callCount(const QString& name) const;
    /// Milliseconds by which answers come late; 0 is at once.
    void setDelay(const QString& name, quint32 milliseconds);
    quint32 delay(const QString& name) const;
    void setFailure(const QString& name, bool fails);
    bool fails(const QString& name) const;

private:
    struct Operation
    {
        quint32 calls = 0;
        quint32 delay = 0;
        bool fails = false;
    };

    QHash<QString, Operation> m_operations;
};

} // namespace platformd
