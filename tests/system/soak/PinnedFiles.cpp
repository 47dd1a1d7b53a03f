#include "PinnedFiles.h"

#include "Scratch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/mman.h>
#include <unistd.h>

namespace
{

QStringList processesFrom(const QString& process)
{
    QStringList found{process};
    const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
    for (const QString& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        for (const QByteArray& child : contentOf(threads.filePath(thread + QLatin1String("/children"))).split(' '))
            if (!child.isEmpty())
                found += processesFrom(QString::fromLatin1(child));
    return found;
}

QSet<QString> filesOf(const QString& process)
{
    QSet<QString> found;
    for (const QByteArray& line : contentOf(QStringLiteral("/proc/%1/maps").arg(process)).split('\n'))
        if (const qsizetype path = line.indexOf('/'); path > 0)
            found += QString::fromLocal8Bit(line.mid(path));
    return found;
}

} // namespace

PinnedFiles::~PinnedFiles()
{
    for (const Mapping& mapping : mappings)
        munmap(mapping.memory, mapping.size);
}

bool PinnedFiles::pin()
{
    bool pinned = true;
    for (const QString& process : processesFrom(QString::number(getpid())))
    {
        const QSet<QString> files = filesOf(process) - known;
        known += files;
        for (const QString& path : files)
            pinned = pinFile(path) && pinned;
    }
    return pinned;
}

bool PinnedFiles::pinFile(const QString& path)
{
    QFile file(path);
    // What is not there under its name by now has only been used for a while.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() == 0)
        return true;
    const auto size = static_cast<size_t>(file.size());
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, file.handle(), 0);
    if (memory == MAP_FAILED)
        return false;
    mappings.append({memory, size});
    return mlock(memory, size) == 0;
}
