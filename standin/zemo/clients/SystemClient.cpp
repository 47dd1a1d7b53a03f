#include <zemo/SystemClient.h>

#include "Call.h"

namespace zemo::system
{

SystemClient* SystemClient::instance = nullptr;

QString SystemClient::getSerial()
{
    return clients::ask<QString>(clients::usualPatience, "getSerial");
}

QString SystemClient::getDeviceName()
{
    return clients::ask<QString>(clients::usualPatience, "getDeviceName");
}

} // namespace zemo::system
