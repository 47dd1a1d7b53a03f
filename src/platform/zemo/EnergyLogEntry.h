#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>

namespace zemo::data
{

/// One row of the energy log: an hour of local time, or a month with day 1 and hour 0, and its values.
class EnergyLogEntry
{
public:
    EnergyLogEntry();
    EnergyLogEntry(unsigned short year, unsigned char month, unsigned char day, unsigned char hour, QList<int> values);

    unsigned short year() const;
    unsigned char month() const;
    unsigned char day() const;
    unsigned char hour() const;
    const QList<int>& values() const;

private:
    QList<int> m_values;
    unsigned short m_year = 0;
    unsigned char m_month = 0;
    unsigned char m_day = 0;
    unsigned char m_hour = 0;
};

/// On the wire an entry is an array of int32: year, month, day, hour, then the values. Fewer than four numbers read as
/// a default-constructed entry.
QDBusArgument& operator<<(QDBusArgument& argument, const EnergyLogEntry& entry);
const QDBusArgument& operator>>(const QDBusArgument& argument, EnergyLogEntry& entry);

} // namespace zemo::data

using QListEnergyLogEntry = QList<zemo::data::EnergyLogEntry>;
Q_DECLARE_METATYPE(zemo::data::EnergyLogEntry)
