#pragma once

#include <QtGlobal>

#include <initializer_list>

namespace platformd
{

/// A number that looks random and is always the same for the same key.
quint64 noise(std::initializer_list<qint64> key);

} // namespace platformd
