#pragma once

#include <zemo/ChangeLogEntry.h>
#include <zemo/Metadata.h>

#include <QList>
#include <QMap>
#include <QString>

class QIODevice;

namespace zemo::hardware
{
class UsbClient;
}

/// What the table writers answer.
constexpr int ExportDone = 0;
constexpr int ExportNoDrive = 1;
constexpr int ExportFileFailed = 21;

/// Writes the table of Modbus registers to a new file in the root of the first drive of `client`, named `prefix`, date,
/// serial number, number, and syncs. Parameters without a name of their own are left out. ExportFileFailed is traced
/// and leaves the partial file; a failure that shows only when the last text is flushed goes unnoticed. No locks.
int writeModbusLogToCSV(zemo::hardware::UsbClient* client, const QString& prefix,
                        const QMap<int32_t, zemo::data::Metadata>& parameters);

/// Writes the change log to `device`, which is open for writing and stays open. ExportDone or ExportFileFailed, the
/// latter with the same blind spot at the last flush.
int writeChangeLog(QIODevice* device, const QList<zemo::data::ChangeLogEntry>& entries);
