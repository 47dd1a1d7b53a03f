#include "ControlService.h"

#include "ControlAdaptor.h"
#include "Scenario.h"

#include <QDBusError>

namespace platformd
{

ControlService::ControlService(Platform& platform, Operations& operations, PlatformService& service, QObject* parent)
    : QObject(parent)
    , m_platform(platform)
    , m_operations(operations)
    , m_service(service)
{
    new ControlAdaptor(this);
}

// An empty string is success, and the adaptor's own reply says so.
void ControlService::answer(const QString& mistake)
{
    if (!mistake.isEmpty())
    {
        qWarning("%s refused: %s", qPrintable(message().member()), qPrintable(mistake));
        sendErrorReply(QDBusError::InvalidArgs, mistake);
    }
}

bool ControlService::knows(const QString& operation)
{
    if (!m_operations.contains(operation))
    {
        answer(QStringLiteral("there is no operation \"%1\"; there are %2")
                   .arg(operation, m_operations.names().join(QStringLiteral(", "))));
        return false;
    }
    return true;
}

void ControlService::insertDrive(const QString& path)
{
    answer(m_platform.insertDrive(path));
}

void ControlService::removeDrive(const QString& path)
{
    answer(m_platform.removeDrive(path));
}

void ControlService::setValue(int id, const QDBusVariant& value)
{
    answer(m_platform.setValue(id, value.variant()));
}

void ControlService::releaseValue(int id)
{
    answer(m_platform.releaseValue(id));
}

void ControlService::dropValue(int id)
{
    answer(m_platform.dropValue(id));
}

void ControlService::setDefaultLog(const QList<int>& ids)
{
    answer(m_platform.setDefaultLog(ids));
}

void ControlService::setLanguage(const QString& locale)
{
    answer(m_platform.setLanguage(locale));
}

void ControlService::setDelay(const QString& operation, uint milliseconds)
{
    if (knows(operation))
    {
        m_operations.setDelay(operation, milliseconds);
    }
}

void ControlService::setFailure(const QString& operation, bool fails)
{
    if (knows(operation))
    {
        m_operations.setFailure(operation, fails);
    }
}

uint ControlService::callCount(const QString& operation)
{
    return knows(operation) ? m_operations.callCount(operation) : 0;
}

QList<int> ControlService::lastIds()
{
    return m_service.lastIds();
}

void ControlService::load(const QString& path)
{
    const ScenarioResult result = loadScenario(path);
    if (!result.scenario)
    {
        answer(result.mistakes.join(QLatin1Char('\n')));
        return;
    }
    m_platform.replaceScenario(result.scenario);
}

} // namespace platformd
