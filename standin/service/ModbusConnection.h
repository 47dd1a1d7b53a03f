#pragma once

#include "ModbusBlocks.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <memory>

struct _modbus;

namespace platformd
{

/// The connection to one device, that is to one unit behind a host and a port. For one thread.
class ModbusConnection
{
public:
    /// `items` are those of one device, at least one.
    explicit ModbusConnection(const QList<ModbusItem>& items);

    /// Reads every register once and answers the values by the parameters' ids. A register that the device refuses is
    /// missing; of a device that is away or falls silent all that is left is, and the next call tries again. Blocks
    /// for a second at most for each answer. Tells on standard error when the device goes and when it comes back.
    QHash<int, qint64> read();

private:
    enum class Outcome
    {
        Done,
        Refused, ///< by the device, which is well
        Lost
    };

    bool connect();
    void lose();
    /// Adds the values of the block to `values`.
    Outcome readBlock(const ModbusBlock& block, QHash<int, qint64>& values);
    Outcome readOneByOne(const ModbusBlock& block, QHash<int, qint64>& values);
    void tellRefused(const ModbusItem& item);

    ModbusSource m_device;
    QList<ModbusBlock> m_blocks;
    std::unique_ptr<_modbus, void (*)(_modbus*)> m_connection;
    bool m_isAway = false;   ///< and that has been told
    QSet<int> m_toldRefused; ///< ids
};

} // namespace platformd
