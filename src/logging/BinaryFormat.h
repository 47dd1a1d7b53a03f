#pragma once

#include <zemo/DataValue.h>

#include <cstdint>

/// The constants of the binary log format. All numbers in a file are big-endian two's complement without padding.
namespace BinaryFormat
{

/// The first four bytes: "Zbl" and 1.
constexpr uint32_t Magic = 0x5A626C01;

/// More parameters than this in a head are taken for damage.
constexpr uint32_t MaximumParameters = 10000;

/// Magic and number of parameters; then the table.
constexpr int64_t HeadSize = 8;

/// Id (2 bytes), var type, var size.
constexpr int64_t TableEntrySize = 4;

/// The time that begins a row.
constexpr int TimeSize = 4;

/// Bytes that a value of this var size takes in a row; a code without a meaning takes one byte of 0.
constexpr int valueWidth(uint8_t u8L_varSize)
{
    switch (u8L_varSize)
    {
    case zemo::data::VarSizeInt16:
    case zemo::data::VarSizeUint16:
        return 2;
    case zemo::data::VarSizeInt32:
    case zemo::data::VarSizeUint32:
        return 4;
    default:
        return 1;
    }
}

/// Whether a value of this var size is zero-extended when it is read; every other one is sign-extended.
constexpr bool isUnsigned(uint8_t u8L_varSize)
{
    return u8L_varSize >= zemo::data::VarSizeUint8 && u8L_varSize <= zemo::data::VarSizeUint32;
}

} // namespace BinaryFormat
