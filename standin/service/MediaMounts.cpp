#include "MediaMounts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <libmount.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace platformd
{

namespace
{

using Table = std::unique_ptr<libmnt_table, void (*)(libmnt_table*)>;
using Place = std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)>;

constexpr std::chrono::seconds patience(1);

// As the mount table writes it: without links.
QString prefixOf(const QString& folder)
{
    const QString real = QFileInfo(folder).canonicalFilePath();
    const QString path = real.isEmpty() ? QDir::cleanPath(QDir::current().absoluteFilePath(folder)) : real;
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

bool fail(int error)
{
    qWarning("the mount table cannot be followed: %s", std::strerror(error));
    return false;
}

} // namespace

MediaMounts::MediaMounts(const QString& folder, QObject* parent)
    : QObject(parent)
    , m_prefix(prefixOf(folder))
    , m_monitor(mnt_new_monitor(), mnt_unref_monitor)
{
    m_nextTry.setSingleShot(true);
    m_nextTry.setInterval(patience);
    connect(&m_nextTry, &QTimer::timeout, this, &MediaMounts::followTable);
}

bool MediaMounts::watch()
{
    if (!m_monitor)
    {
        return fail(ENOMEM);
    }
    const int enabled = mnt_monitor_enable_kernel(m_monitor.get(), 1);
    if (enabled < 0)
    {
        return fail(-enabled);
    }
    const int descriptor = mnt_monitor_get_fd(m_monitor.get());
    if (descriptor < 0)
    {
        return fail(-descriptor);
    }
    auto* notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &MediaMounts::followTable);
    return true;
}

// What changes while the table is read must wake this again, so the events are cleared first.
void MediaMounts::followTable()
{
    mnt_monitor_event_cleanup(m_monitor.get());
    if (const std::optional<QStringList> present = mountPoints())
    {
        emit changed(*present);
    }
    else
    {
        m_nextTry.start();
    }
}

std::optional<QStringList> MediaMounts::mountPoints() const
{
    const Table table(mnt_new_table(), mnt_unref_table);
    const Place place(mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
    const int read = table && place ? mnt_table_parse_file(table.get(), "/proc/self/mountinfo") : -ENOMEM;
    if (read < 0)
    {
        fail(-read);
        return std::nullopt;
    }
    QStringList result;
    libmnt_fs* mount = nullptr;
    while (mnt_table_next_fs(table.get(), place.get(), &mount) == 0)
    {
        const QString path = QFile::decodeName(mnt_fs_get_target(mount));
        if (path.startsWith(m_prefix) && !result.contains(path))
        {
            result.append(path);
        }
    }
    return result;
}

} // namespace platformd
