#pragma once

#include <zemo/PanelText.h>

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>

#include <cstdint>

namespace zemo::data
{

enum ModbusRegister : uint8_t
{
    ModbusNoRegister = 0,
    ModbusHoldingRegister = 1,
    ModbusInputRegister = 2
};

/// The text of one value of an enumerated parameter; its place in the list is the value.
struct ValueText
{
    QString text;
};

/// One parameter's description, its texts in the locale that it was asked for in.
class Metadata
{
public:
    Metadata();
    Metadata(const Metadata& other);
    Metadata& operator=(const Metadata& other);
    virtual ~Metadata();

    /// Makes this a copy of `other`, all fields included.
    void copy(const Metadata& other);

    uint16_t varId = 0;
    uint8_t varType = 0;
    uint8_t varSize = 0;
    uint8_t decimals = 0; ///< read by getStringValue alone
    uint8_t reserved1 = 0;
    uint8_t auxByte = 0;
    uint8_t reserved2 = 0;
    uint8_t registerKind = 0; ///< a ModbusRegister, or a code unknown here
    uint16_t modbusAddress = 0;
    localization::PanelText name;
    localization::PanelText secondText;
    int32_t numericAttr1 = 0;
    int32_t numericAttr2 = 0;
    int32_t numericAttr3 = 0;
    QString text1;
    QString unit; ///< empty for none
    QString text2;
    QList<ValueText> valueTexts;
};

} // namespace zemo::data

using QMapIntMetadata = QMap<int, zemo::data::Metadata>;
Q_DECLARE_METATYPE(zemo::data::Metadata)
