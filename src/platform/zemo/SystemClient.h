#pragma once

#include <QString>

namespace zemo::system
{

/// The unit itself. Blocking, from any thread; empty when the answer cannot be had.
class SystemClient
{
public:
    /// Set up by ZemoApplication::startFunctionality; good until the process ends.
    static SystemClient* instance;

    QString getSerial();
    QString getDeviceName();
};

} // namespace zemo::system
