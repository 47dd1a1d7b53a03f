#include <zemo/UsbClient.h>

#include "Call.h"
#include "DriveWatcher.h"

namespace zemo::hardware
{

UsbClient::UsbClient(QObject* parent)
    : QObject(parent)
{
    const auto* watcher = new clients::DriveWatcher(this);
    connect(watcher, &clients::DriveWatcher::inserted, this, &UsbClient::driveInserted);
    connect(watcher, &clients::DriveWatcher::removed, this, &UsbClient::driveRemoved);
}

UsbClient::~UsbClient() = default;

QStringList UsbClient::getUsbDrives()
{
    return clients::ask<QStringList>(clients::usualPatience, "getUsbDrives");
}

} // namespace zemo::hardware
