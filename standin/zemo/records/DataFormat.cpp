#include <zemo/DataFormat.h>

#include <array>

namespace
{

// The most digits of 64 bits, the most decimals of a byte, a point, a sign.
constexpr int LongestNumber = 20 + 255 + 2;

// By integer arithmetic throughout: a double would lose digits of a large value. Written from the last digit to the
// first, because every cell of a log comes through here and a string is worth making once.
QString decimalText(long long value, int decimals)
{
    std::array<char16_t, LongestNumber> text;
    char16_t* const end = text.data() + text.size();
    char16_t* first = end;
    auto rest = value < 0 ? 0ULL - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
    for (int digits = 0; rest != 0 || digits <= decimals; ++digits)
    {
        if (digits == decimals && digits > 0)
        {
            *--first = u'.';
        }
        *--first = static_cast<char16_t>(u'0' + rest % 10);
        rest /= 10;
    }
    if (value < 0)
    {
        *--first = u'-';
    }
    return QStringView(first, end).toString();
}

} // namespace

namespace zemo::data
{

QString getStringValue(const DataValue& value, const Metadata& metadata, unsigned int /*format*/)
{
    if (!value.isOk())
    {
        return QStringLiteral("-");
    }
    if (metadata.varType == VarTypeString || metadata.varType == VarTypeLongString)
    {
        return value.getStringValue();
    }
    const long long number = value.getIntValue();
    if (number >= 0 && number < metadata.valueTexts.size())
    {
        return metadata.valueTexts[number].text;
    }
    return decimalText(number, metadata.decimals);
}

} // namespace zemo::data

const char* datamgmt_integerSizeToString(unsigned char varSize)
{
    switch (varSize)
    {
    case zemo::data::VarSizeInt8:
        return "INT8";
    case zemo::data::VarSizeInt16:
        return "INT16";
    case zemo::data::VarSizeInt32:
        return "INT32";
    case zemo::data::VarSizeUint8:
        return "UINT8";
    case zemo::data::VarSizeUint16:
        return "UINT16";
    case zemo::data::VarSizeUint32:
        return "UINT32";
    default:
        return "UNKNOWN";
    }
}
