#pragma once

#include "LocalText.h"
#include "PowerLog.h"
#include "Signal.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

namespace platformd
{

struct Parameter
{
    int id = 0;
    quint8 type = 0;
    quint8 size = 0;
    int panel = 1;
    quint8 decimals = 0;
    quint8 aux = 0;
    quint8 registerKind = 0;
    quint16 address = 0;
    qint32 attributes[3] = {0, 0, 0};
    QString unit;
    LocalText name;
    QList<LocalText> texts; ///< of its values, by place
    bool inDefaultLog = false;
    Signal signal;

    /// Whether values are strings (var types 1 and 6).
    bool hasText() const;
};

struct Change
{
    int id = 0; ///< a parameter of the scenario
    QDateTime time;
    qint64 number = 0;
    QString text;
};

struct AlarmNote
{
    LocalText label;
    LocalText value;
};

struct Alarm
{
    QDateTime time;
    quint32 number = 0;
    LocalText name;
    LocalText source;
    QList<AlarmNote> extra;
};

/// The platform that the service plays, as written in a scenario file. Read once and never changed; docs/scenario.md
/// tells the file.
struct Scenario
{
    QString serial;
    QString deviceName;
    QString language;
    QMap<int, Parameter> parameters;
    QHash<quint32, LocalText> texts;
    QList<Change> changeLog; ///< newest first
    QList<Alarm> alarms;     ///< newest first
    PowerLog hourlyPower;
    PowerLog quarterlyPower;
    QByteArray settings;
    bool acceptRestore = true;
    QStringList drives;
};

struct ScenarioResult
{
    std::shared_ptr<const Scenario> scenario; ///< null if there were mistakes
    QStringList mistakes;                     ///< each one line: file, place, reason
};

ScenarioResult loadScenario(const QString& fileName);

/// The same from the text of a file; `fileName` is only for the messages.
ScenarioResult parseScenario(const QByteArray& json, const QString& fileName);

} // namespace platformd
