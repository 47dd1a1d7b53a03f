#pragma once

#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QString>

namespace zemo::data
{

/// The text that a log shows for `value`. "-" for a value that is not ok; a string parameter's string; the value text
/// at the place of the value; otherwise the integer with the metadata's number of decimals. `format` is 0.
QString getStringValue(const DataValue& value, const Metadata& metadata, unsigned int format);

} // namespace zemo::data

/// The name of a var size code, static storage; "UNKNOWN" for a code that has none.
const char* datamgmt_integerSizeToString(unsigned char varSize);
