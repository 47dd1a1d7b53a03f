#pragma once

#include <QMap>
#include <QMetaType>
#include <QString>

#include <cstdint>

namespace zemo::data
{

/// What a parameter's value is made of.
enum VarType : uint8_t
{
    VarTypeInteger = 0,
    VarTypeString = 1,
    VarTypeLongString = 6
};

/// How an integer is laid out. Codes beside these have no width of their own.
enum VarSize : uint8_t
{
    VarSizeInt8 = 1,
    VarSizeInt16 = 2,
    VarSizeInt32 = 3,
    VarSizeUint8 = 4,
    VarSizeUint16 = 5,
    VarSizeUint32 = 6
};

/// One sampled parameter value. A default-constructed one holds zeros, an empty string and is not ok.
class DataValue
{
public:
    DataValue();
    DataValue(const DataValue& other);
    DataValue& operator=(const DataValue& other);
    virtual ~DataValue();

    /// Equal var type, var size, int value, string value and ok flag; the var id is not compared.
    bool operator==(const DataValue& other) const;

    void setVarId(unsigned short varId);
    unsigned char getVarType() const;
    void setVarType(unsigned char varType);
    unsigned char getVarSize() const;
    void setVarSize(unsigned char varSize);
    long long getIntValue() const;
    void setIntValue(long long value);
    const QString& getStringValue() const;
    void setStringValue(const QString& value);
    void setIsOk(bool ok);
    bool isOk() const;

private:
    // Ordered so that nothing is padded: the history keeps one of these per stored change.
    long long m_intValue = 0;
    QString m_stringValue;
    unsigned short m_varId = 0;
    unsigned char m_varType = 0;
    unsigned char m_varSize = 0;
    bool m_isOk = false;
};

static_assert(sizeof(void*) != 8 || sizeof(DataValue) <= 48, "a sample of the history must fit in 64 bytes");

} // namespace zemo::data

using QMapIntDataValue = QMap<int, zemo::data::DataValue>;
Q_DECLARE_METATYPE(zemo::data::DataValue)
