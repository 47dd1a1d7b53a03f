#pragma once

#include <zemo/EnergyLogEntry.h>

#include <QDate>
#include <QList>

constexpr unsigned char energyColumns = 3;
constexpr int energyInvalid = -1;

/// The year of the rows: all of it outlives every clean-up.
inline ushort energyYear()
{
    return static_cast<ushort>(QDate::currentDate().year() + 1);
}

/// A row that tells its number, each for an hour of its own: the numbers go up to 24 * 28.
inline zemo::data::EnergyLogEntry energyRow(int number)
{
    const auto day = static_cast<uchar>(1 + number / 24);
    const auto hour = static_cast<uchar>(number % 24);
    return {energyYear(), 2, day, hour, {number, number * 2, energyInvalid}};
}

/// A row that the clean-up behind its write takes away again.
inline zemo::data::EnergyLogEntry outdatedEnergyRow()
{
    return {static_cast<ushort>(energyYear() - 5), 2, 3, 4, {1, 2, 3}};
}
