#pragma once

#include <zemo/DateTime.h>
#include <zemo/PanelText.h>

#include <QFile>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

/// Brings what was written to the drives, by the command "sync". Blocks until it is through, which on a slow stick
/// takes seconds. A failure is traced only. Any thread.
void syncFileSystem();

/// Date and time as the logs for people show them ("05 March 2024 14:07:09"), with English month names.
QString dateTimeText(const zemo::time::DateTime& objL_time);

/// The first part of an export's name: `prefix` and today's local date as "yyyyMMdd".
QString datedBaseName(const QString& prefix);

/// The texts of `ids` in the order of `ids`, empty where `texts` has none: the titles of a table's columns.
QStringList columnTitles(const QMap<unsigned int, zemo::localization::PanelText>& texts,
                         const QList<unsigned int>& ids);

/// Closes a finished file and then syncs.
struct LogFileDeleter
{
    void operator()(QFile* objL_file) const noexcept;
};

/// An output file on the stick. Letting it go finishes the file: closed first, then synced.
using LogFilePtr = std::unique_ptr<QFile, LogFileDeleter>;
