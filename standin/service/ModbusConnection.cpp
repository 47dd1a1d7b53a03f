#include "ModbusConnection.h"

#include <modbus.h>

#include <array>
#include <cerrno>

namespace platformd
{

namespace
{

void closeAndFree(modbus_t* connection)
{
    modbus_close(connection);
    modbus_free(connection);
}

// A name for people.
QString nameOf(const ModbusSource& device)
{
    return QStringLiteral("%1:%2 unit %3").arg(device.host).arg(device.port).arg(device.unit);
}

// The device's own answer, other than a connection that failed.
bool isRefusal(int error)
{
    return error >= EMBXILFUN && error <= EMBXMEMPAR;
}

} // namespace

ModbusConnection::ModbusConnection(const QList<ModbusItem>& items)
    : m_device(items.first().source)
    , m_blocks(blocksOf(items))
    , m_connection(nullptr, closeAndFree)
{
}

QHash<int, qint64> ModbusConnection::read()
{
    QHash<int, qint64> values;
    if (!m_connection && !connect())
    {
        return values;
    }
    for (const ModbusBlock& block : m_blocks)
    {
        Outcome outcome = readBlock(block, values);
        if (outcome == Outcome::Refused)
        {
            outcome = readOneByOne(block, values);
        }
        if (outcome == Outcome::Lost)
        {
            lose();
            break;
        }
    }
    return values;
}

bool ModbusConnection::connect()
{
    m_connection.reset(
        modbus_new_tcp_pi(m_device.host.toUtf8().constData(), QByteArray::number(m_device.port).constData()));
    if (!m_connection || modbus_set_response_timeout(m_connection.get(), 1, 0) != 0 ||
        modbus_set_slave(m_connection.get(), m_device.unit) != 0 || modbus_connect(m_connection.get()) != 0)
    {
        lose();
        return false;
    }
    return true;
}

// Nothing that comes late over the old connection may be taken for an answer to the next request.
void ModbusConnection::lose()
{
    const QString reason = QString::fromUtf8(modbus_strerror(errno));
    m_connection.reset();
    if (!m_isAway)
    {
        qWarning("the Modbus device %s is away: %s", qUtf8Printable(nameOf(m_device)), qUtf8Printable(reason));
    }
    m_isAway = true;
}

ModbusConnection::Outcome ModbusConnection::readBlock(const ModbusBlock& block, QHash<int, qint64>& values)
{
    std::array<quint16, MODBUS_MAX_READ_REGISTERS> words{};
    const auto request = block.isInput ? modbus_read_input_registers : modbus_read_registers;
    const int count = request(m_connection.get(), block.first, block.count, words.data());
    if (count != block.count)
    {
        return count < 0 && isRefusal(errno) ? Outcome::Refused : Outcome::Lost;
    }
    if (m_isAway)
    {
        qWarning("the Modbus device %s is back", qUtf8Printable(nameOf(m_device)));
        m_isAway = false;
    }
    for (const ModbusItem& item : block.items)
    {
        values.insert(item.id, valueOf(words.data() + (item.source.address - block.first), item.source.size));
    }
    return Outcome::Done;
}

ModbusConnection::Outcome ModbusConnection::readOneByOne(const ModbusBlock& block, QHash<int, qint64>& values)
{
    for (const ModbusItem& item : block.items)
    {
        const ModbusBlock alone = blocksOf({item}).first();
        const Outcome outcome = readBlock(alone, values);
        if (outcome == Outcome::Lost)
        {
            return outcome;
        }
        if (outcome == Outcome::Refused)
        {
            tellRefused(item);
        }
    }
    return Outcome::Done;
}

void ModbusConnection::tellRefused(const ModbusItem& item)
{
    const QString reason = QString::fromUtf8(modbus_strerror(errno));
    if (!m_toldRefused.contains(item.id))
    {
        m_toldRefused.insert(item.id);
        qWarning("the Modbus device %s refuses parameter %d at %s register %d: %s", qUtf8Printable(nameOf(m_device)),
                 item.id, item.source.isInput ? "input" : "holding", item.source.address, qUtf8Printable(reason));
    }
}

} // namespace platformd
