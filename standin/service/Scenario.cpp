#include "Scenario.h"

#include <zemo/DataValue.h>

namespace platformd
{

bool Parameter::hasText() const
{
    return type == zemo::data::VarTypeString || type == zemo::data::VarTypeLongString;
}

} // namespace platformd
