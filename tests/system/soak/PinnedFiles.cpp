#include "PinnedFiles.h"

#include "Scratch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <sys/mman.h>
#include <unistd.h>

namespace
{

QString folderOf(const QString& process)
{
    return QStringLiteral("/proc/") + process;
}

QStringList processesFrom(const QString& process)
{
    QStringList found{process};
    const QDir threads(folderOf(process) + QLatin1String("/task"));
    for (const QString& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        for (const QByteArray& child : contentOf(threads.filePath(thread + QLatin1String("/children"))).split(' '))
            if (!child.isEmpty())
                found += processesFrom(QString::fromLatin1(child));
    return found;
}

/// The files that a process has mapped: device and number, and the path by which they are reached from here, as the
/// process may have a root of its own.
QMap<QByteArray, QString> filesOf(const QString& process)
{
    QMap<QByteArray, QString> found;
    for (const QByteArray& line : contentOf(folderOf(process) + QLatin1String("/maps")).split('\n'))
        if (const qsizetype path = line.indexOf('/'); path > 0)
            found[line.left(path).simplified().split(' ').mid(3).join(' ')] =
                folderOf(process) + QLatin1String("/root") + QString::fromLocal8Bit(line.mid(path));
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
    const QString self = QString::number(getpid());
    // Not every kernel tells what was started.
    bool all = QFile::exists(folderOf(self) + QStringLiteral("/task/%1/children").arg(self));
    for (const QString& process : processesFrom(self))
    {
        const QMap<QByteArray, QString> files = filesOf(process);
        // Some processes don't let themselves be looked at.
        all = all && (!files.isEmpty() || !QFile::exists(folderOf(process)));
        for (auto file = files.begin(); file != files.end(); ++file)
            all = (pinned.contains(file.key()) || pinFile(file.key(), file.value())) && all;
    }
    return all;
}

bool PinnedFiles::pinFile(const QByteArray& identity, const QString& path)
{
    QFile file(path);
    // What has no name any more, or none at all, is left out.
    if (!QFileInfo(path).isFile() || file.size() == 0)
        return true;
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const auto size = static_cast<size_t>(file.size());
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, file.handle(), 0);
    if (memory == MAP_FAILED)
        return false;
    // `mlock` does nothing where the address sanitizer is linked in.
    if (mlock2(memory, size, 0) != 0)
    {
        munmap(memory, size);
        return false;
    }
    mappings.append({memory, size});
    pinned += identity;
    return true;
}
