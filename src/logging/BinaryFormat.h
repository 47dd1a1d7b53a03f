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

/// Whether parameters of this var type have a place in the rows.
constexpr bool isStored(uint8_t u8L_varType)
{
    return u8L_varType == zemo::data::VarTypeInteger;
}

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

/// The number that stands in that many bytes, without a sign. `Byte` is any type of one byte.
template <class Byte> constexpr uint64_t number(const Byte* pL_bytes, int iL_width)
{
    uint64_t u64L_number = 0;
    for (int i = 0; i < iL_width; ++i)
    {
        u64L_number = u64L_number << 8 | static_cast<uint8_t>(pL_bytes[i]);
    }
    return u64L_number;
}

/// The value of this var size that stands at `pL_bytes`.
template <class Byte> constexpr int64_t decode(uint8_t u8L_varSize, const Byte* pL_bytes)
{
    const int iL_width = valueWidth(u8L_varSize);
    const auto s64L_number = static_cast<int64_t>(number(pL_bytes, iL_width));
    const int iL_shift = 64 - 8 * iL_width;
    return isUnsigned(u8L_varSize) ? s64L_number : s64L_number << iL_shift >> iL_shift;
}

} // namespace BinaryFormat
