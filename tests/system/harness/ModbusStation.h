#pragma once

#include "ModbusDevice.h"

#include <QByteArray>
#include <QStringList>

/// A device on this machine with a register of each size, half of them holding and half input registers.
class ModbusStation
{
public:
    /// False when it can't listen on loopback. It does so again after it was stopped.
    [[nodiscard]] bool start();
    void stop();
    quint16 port() const;

    /// A platform that takes all its parameters from the device.
    QByteArray scenario() const;

    /// Puts `number` into every register, counted up from one to the next.
    void fill(int number);

    /// What the cells of a row then hold.
    static QStringList cells(int number);
    /// The same while the device is away.
    static QStringList emptyCells();

private:
    ModbusDevice device;
};
