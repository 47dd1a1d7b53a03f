#pragma once

#include <QString>

namespace platformd
{

/// Whether the service may report a drive at `path`: absolute, no separator at the end, and nothing in it but letters,
/// digits and "/ . _ -". Those who are told of the drive put its path into a shell line.
bool isDrivePath(const QString& path);

/// The rule in words, for messages.
QString drivePathRule();

} // namespace platformd
