#pragma once

#include "JsonNode.h"
#include "Signal.h"

namespace platformd
{

/// The numbers that a signal may take.
struct NumberRange
{
    qint64 least = 0;
    qint64 most = 0;
};

/// What a parameter tells of its register.
struct ParameterRegister
{
    unsigned char size = 0;
    quint8 kind = 0;
    quint16 address = 0;
};

/// What an integer of this var size can hold; for a code that is no var size, what a JSON number can.
NumberRange rangeOfSize(unsigned char varSize);

/// Reads the signal of a column of numbers. An absent node is the constant 0.
Signal readNumberSignal(const JsonNode& node, const NumberRange& range);

/// The same for a parameter with numbers, which can be read from a device as well.
Signal readParameterSignal(const JsonNode& node, const ParameterRegister& place);

/// Reads the signal of a parameter with strings. An absent node is the empty string for ever.
Signal readTextSignal(const JsonNode& node);

} // namespace platformd
