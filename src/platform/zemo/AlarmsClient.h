#pragma once

#include <zemo/AlarmInfo.h>

#include <QList>
#include <QString>

namespace zemo::system
{

/// The alarm log. Blocking, from any thread; empty when the answer cannot be had.
class AlarmsClient
{
public:
    /// Set up by ZemoApplication::startFunctionality; good until the process ends.
    static AlarmsClient* instance;

    /// At most `count` alarms, newest first; `kind` 0 is all of them.
    QList<AlarmInfo> getAlarms(int count, int kind, const QString& locale);
};

} // namespace zemo::system
