#pragma once

#include "Signal.h"

#include <QList>

namespace platformd
{

/// A register and the parameter that takes its value from it.
struct ModbusItem
{
    int id = 0;
    ModbusSource source;
};

/// Registers without a gap between, read from a device in one request.
struct ModbusBlock
{
    bool isInput = false;
    quint16 first = 0;
    quint16 count = 0;
    QList<ModbusItem> items;
};

/// How many registers a value of this var size takes.
int widthOf(unsigned char varSize);

/// The items of one device, whose host, port and unit don't matter here, in as few blocks as hold no register that
/// nobody asked for: a device refuses a whole request for one register that it lacks.
QList<ModbusBlock> blocksOf(QList<ModbusItem> items);

/// The value of a register of this var size; `words` points to its first 16 bits.
qint64 valueOf(const quint16* words, unsigned char varSize);

} // namespace platformd
