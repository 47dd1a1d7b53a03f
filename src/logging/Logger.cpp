#include "logging/Logger.h"

#include <QMetaType>

Logger::Logger(int iL_type, uint32_t u32L_logIndex, QObject* parent)
    : QObject(parent)
    , type(iL_type)
    , logIndex(u32L_logIndex)
    , createdAt(QDateTime::currentDateTime())
{
}

int Logger::getType() const
{
    return type;
}

uint32_t Logger::getLogIndex() const
{
    return logIndex;
}

void Logger::setLogIndex(uint32_t u32L_logIndex)
{
    logIndex = u32L_logIndex;
}

bool Logger::isRestartAtDateChange() const
{
    return restartAtDateChange;
}

void Logger::setRestartAtDateChange(bool bL_restart)
{
    restartAtDateChange = bL_restart;
}

QDateTime Logger::getCreatedAt() const
{
    return createdAt;
}

void Logger::flush()
{
}

void registerLoggerMetaTypes()
{
    qRegisterMetaType<uint32_t>("uint32_t");
    qRegisterMetaType<QMap<int32_t, DataValue>>("QMap<int32_t,DataValue>");
    qRegisterMetaType<QMap<int32_t, Metadata>>("QMap<int32_t,Metadata>");
}
