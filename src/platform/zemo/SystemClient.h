#pragma once

#include <QString>

namespace zemo::system
{

/// The unit itself. Blocking, from any thread. An answer that cannot be had is empty, or the
/// serial number that was answered last.
class SystemClient
{
public:
    /// Set up by ZemoApplication::startFunctionality; good until the process ends.
    static SystemClient* instance;

    QString getSerial();
    QString getDeviceName();
};

} // namespace zemo::system
