#pragma once

#include <QString>

/// Every UsbClient of the process raises its signal.
void emitDriveInserted(const QString& path);
void emitDriveRemoved(const QString& path);
