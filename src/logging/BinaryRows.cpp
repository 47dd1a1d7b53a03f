#include "logging/BinaryRows.h"

#include "logging/BinaryFormat.h"

using zemo::data::DataValue;

BinaryRows::BinaryRows(QDataStream& objL_stream, quint32 u32L_count)
    : stream(objL_stream)
{
    for (quint32 u32L_entry = 0; u32L_entry < u32L_count; ++u32L_entry)
    {
        addColumn();
    }
    findLayout();
}

void BinaryRows::addColumn()
{
    quint16 u16L_varId = 0;
    quint8 u8L_varType = 0;
    quint8 u8L_varSize = 0;
    stream >> u16L_varId >> u8L_varType >> u8L_varSize;
    DataValue objL_value;
    objL_value.setVarId(u16L_varId);
    objL_value.setVarType(u8L_varType);
    objL_value.setVarSize(u8L_varSize);
    objL_value.setIsOk(true);
    columnIds.append(u16L_varId);
    row.addColumn(u16L_varId, objL_value);
}

// Of two entries with one id the last one tells for both how the value is stored.
void BinaryRows::findLayout()
{
    row.beginChanges();
    int iL_offset = BinaryFormat::TimeSize;
    for (size_t iL_column = 0; iL_column < static_cast<size_t>(columnIds.size()); ++iL_column)
    {
        const DataValue& objL_value = row.at(iL_column);
        if (BinaryFormat::isStored(objL_value.getVarType()))
        {
            fields.push_back({iL_column, iL_offset, objL_value.getVarSize()});
            iL_offset += BinaryFormat::valueWidth(objL_value.getVarSize());
        }
    }
    bytes.resize(iL_offset);
}

const QList<int>& BinaryRows::ids() const
{
    return columnIds;
}

bool BinaryRows::next()
{
    // A stream that can't be read is never at its end, so its status counts too.
    if (stream.atEnd() || stream.status() != QDataStream::Ok)
    {
        return false;
    }
    available = stream.readRawData(bytes.data(), static_cast<int>(bytes.size()));
    row.beginChanges();
    for (const Field& objL_field : fields)
    {
        const bool bL_whole = isAvailable(objL_field.offset, BinaryFormat::valueWidth(objL_field.varSize));
        row.at(objL_field.column)
            .setIntValue(bL_whole ? BinaryFormat::decode(objL_field.varSize, bytes.constData() + objL_field.offset)
                                  : 0);
    }
    return true;
}

uint32_t BinaryRows::time() const
{
    return isAvailable(0, BinaryFormat::TimeSize)
               ? static_cast<uint32_t>(BinaryFormat::number(bytes.constData(), BinaryFormat::TimeSize))
               : 0;
}

const QMap<int32_t, DataValue>& BinaryRows::values() const
{
    return row.values();
}

bool BinaryRows::isAvailable(int iL_offset, int iL_width) const
{
    return iL_offset + iL_width <= available;
}
