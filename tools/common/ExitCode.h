#pragma once

/// Exit codes of the command-line tools, after sysexits.h where it has one.
enum ExitCode
{
    ExitOk = 0,
    ExitNo = 1,           ///< asked and answered, and the answer is no
    ExitUsage = 64,       ///< the command line makes no sense
    ExitData = 65,        ///< a file is damaged or of another kind
    ExitNoInput = 66,     ///< a file cannot be read
    ExitUnavailable = 69, ///< nobody answers
    ExitSoftware = 70,    ///< an error reply
    ExitCantCreate = 73,  ///< a file cannot be written
    ExitTimeout = 75,     ///< no answer in time
    ExitConfig = 78       ///< a configuration file has mistakes
};
