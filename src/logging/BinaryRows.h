#pragma once

#include "logging/ReusedRow.h"

#include <QByteArray>
#include <QDataStream>
#include <QList>

#include <vector>

/// The rows of a binary log, one after the other. What the file does not hold reads as zeros.
class BinaryRows
{
public:
    /// Reads the table of `u32L_count` parameters, where `objL_stream` stands. The stream must outlive this.
    BinaryRows(QDataStream& objL_stream, quint32 u32L_count);

    /// Of the parameters, in the order of the table.
    const QList<int>& ids() const;

    /// Goes to the next row, which may be cut off: a number of it that the file does not hold whole is 0. False at the
    /// end and when the file can't be read.
    bool next();
    uint32_t time() const;
    /// By id. A parameter that has no place in the rows keeps a value without content.
    const QMap<int32_t, zemo::data::DataValue>& values() const;

private:
    /// A number in a row.
    struct Field
    {
        size_t column;
        int offset;
        uint8_t varSize;
    };

    void addColumn();
    void findLayout();
    bool isAvailable(int iL_offset, int iL_width) const;

    QDataStream& stream;
    QList<int> columnIds;
    std::vector<Field> fields;
    ReusedRow row;
    QByteArray bytes;  ///< of one row
    int available = 0; ///< how many of them the file held
};
