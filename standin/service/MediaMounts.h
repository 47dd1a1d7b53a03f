#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <memory>
#include <optional>

struct libmnt_monitor;

namespace platformd
{

/// Follows the kernel's mount table and tells what is mounted below one folder.
class MediaMounts : public QObject
{
    Q_OBJECT

public:
    /// The folder need not be there yet.
    explicit MediaMounts(const QString& folder, QObject* parent = nullptr);

    /// Begins to emit `changed`. False, with a message on standard error, where the table can't be followed.
    [[nodiscard]] bool watch();

    /// The mount points below the folder, each once, in the order of the table, which is that of mounting. Nothing,
    /// with a message on standard error, where the table can't be read.
    std::optional<QStringList> mountPoints() const;

signals:
    /// The mount table has changed; the mount points may be the same as before. While the table can't be read nothing
    /// is known to have changed, and it is tried again each second.
    void changed(const QStringList& mountPoints);

private:
    void followTable();

    QString m_prefix; ///< of the paths below the folder
    std::unique_ptr<libmnt_monitor, void (*)(libmnt_monitor*)> m_monitor;
    QTimer m_nextTry; ///< runs while the last change could not be read
};

} // namespace platformd
