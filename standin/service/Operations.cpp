#include "Operations.h"

namespace platformd
{

Operations::Operations(const QStringList& names)
{
    for (const QString& name : names)
    {
        m_operations.insert(name, {});
    }
}

bool Operations::contains(const QString& name) const
{
    return m_operations.contains(name);
}

QStringList Operations::names() const
{
    QStringList result = m_operations.keys();
    result.sort();
    return result;
}

void Operations::countCall(const QString& name)
{
    ++m_operations[name].calls;
}

quint32 Operations::callCount(const QString& name) const
{
    return m_operations.value(name).calls;
}

void Operations::setDelay(const QString& name, quint32 milliseconds)
{
    m_operations[name].delay = milliseconds;
}

quint32 Operations::delay(const QString& name) const
{
    return m_operations.value(name).delay;
}

void Operations::setFailure(const QString& name, bool fails)
{
    m_operations[name].fails = fails;
}

bool Operations::fails(const QString& name) const
{
    return m_operations.value(name).fails;
}

} // namespace platformd
