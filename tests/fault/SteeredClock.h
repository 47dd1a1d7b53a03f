#pragma once

#include <QDateTime>

/// The wall clock of a program that is linked with it: it stands still where it was last set, and runs as it is until
/// then. Clocks that only measure time are left alone.
namespace steeredClock
{

void set(const QDateTime& now);
void advance(qint64 seconds);

} // namespace steeredClock
