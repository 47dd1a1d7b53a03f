#pragma once

#include "logging/Logger.h"

/// Makes a logger look older than it is.
class LoggerInspector
{
public:
    static void setCreatedAt(Logger& logger, const QDateTime& time)
    {
        logger.createdAt = time;
    }
};
