#pragma once

#include "ExitCode.h"

#include <stdexcept>
#include <string>

/// Ends the program: a message for people, and the exit code.
struct Failure : std::runtime_error
{
    Failure(ExitCode exitCode, const std::string& message)
        : std::runtime_error(message)
        , code(exitCode)
    {
    }

    ExitCode code;
};
