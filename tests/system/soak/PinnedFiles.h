#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>

/// Keeps the programs and libraries that run below this process in memory for as long as it lives. A machine may take
/// pages of them back at any time, and whoever needs such a page then waits for a disk that others keep busy: many
/// milliseconds, which a quick clock turns into seconds.
class PinnedFiles
{
public:
    PinnedFiles() = default;
    ~PinnedFiles();

    PinnedFiles(const PinnedFiles&) = delete;
    PinnedFiles& operator=(const PinnedFiles&) = delete;

    /// Adds what the processes below this one, and it itself, have mapped by now. False where not all of it can be
    /// kept or known; what failed is tried again the next time.
    bool pin();

private:
    bool pinFile(const QByteArray& identity, const QString& path);

    struct Mapping
    {
        void* memory;
        size_t size;
    };
    QSet<QByteArray> pinned; ///< device and number of each file
    QList<Mapping> mappings;
};
