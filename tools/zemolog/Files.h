#pragma once

#include "Failure.h"

#include <fstream>

/// Opens a file at its start. Throws Failure.
std::ifstream openInput(const std::string& path);

/// To be thrown right after what failed: the reason is that of errno.
Failure cannotRead(const std::string& path);
Failure cannotWrite(const std::string& path);
