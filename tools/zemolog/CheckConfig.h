#pragma once

#include <ostream>
#include <string>

/// Reads a configuration file as the daemon would, and says what the daemon does not: every unknown key, every value
/// that is no number, each with its line. Prints the values in effect. False when there was anything to say. Throws
/// Failure.
bool checkConfig(const std::string& path, std::ostream& out);
