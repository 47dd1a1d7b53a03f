#include "ModbusBlocks.h"

#include <zemo/DataValue.h>

#include <algorithm>
#include <tuple>

namespace platformd
{

namespace
{

// What the protocol lets one request ask for.
constexpr int mostRegisters = 125;

int endOf(const ModbusSource& source)
{
    return source.address + widthOf(source.size);
}

bool fits(const ModbusBlock& block, const ModbusSource& source)
{
    return block.isInput == source.isInput && source.address <= block.first + block.count &&
           endOf(source) - block.first <= mostRegisters;
}

void add(ModbusBlock& block, const ModbusItem& item)
{
    block.count = static_cast<quint16>(std::max<int>(block.count, endOf(item.source) - block.first));
    block.items.append(item);
}

} // namespace

int widthOf(unsigned char varSize)
{
    return varSize == zemo::data::VarSizeInt32 || varSize == zemo::data::VarSizeUint32 ? 2 : 1;
}

QList<ModbusBlock> blocksOf(QList<ModbusItem> items)
{
    std::sort(items.begin(), items.end(),
              [](const ModbusItem& left, const ModbusItem& right)
              {
                  return std::tuple(left.source.isInput, left.source.address) <
                         std::tuple(right.source.isInput, right.source.address);
              });
    QList<ModbusBlock> blocks;
    for (const ModbusItem& item : items)
    {
        if (blocks.isEmpty() || !fits(blocks.last(), item.source))
        {
            blocks.append({item.source.isInput, item.source.address, 0, {}});
        }
        add(blocks.last(), item);
    }
    return blocks;
}

qint64 valueOf(const quint16* words, unsigned char varSize)
{
    const qint64 whole = widthOf(varSize) == 2 ? (qint64{words[0]} << 16) | words[1] : words[0];
    return wrapToSize(whole, varSize);
}

} // namespace platformd
