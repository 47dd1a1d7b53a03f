#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The scratch directory of a run: what the daemon sees as /etc, /var and its own programs, and the sticks, which have
/// the same path on both sides of the sandbox. Removed with the object, unless it was given from outside.
class Scratch
{
public:
    /// A new directory under /tmp or under what ZEMO_SCRATCH names, or `folder`, which is made if it is missing and
    /// stays.
    explicit Scratch(const QString& folder = {});

    QString root() const;

    /// The place on this side of a path that the daemon uses, for example of "/var/zemo/crash".
    QString outside(const QString& daemonPath) const;

    /// Writes a file under its path inside, such as "/etc/zemologd.conf" or "/usr/bin/getdebugfile.sh" (made
    /// executable), with the folders above it.
    void writeFile(const QString& daemonPath, const QByteArray& content) const;

    /// Makes the folder of a stick and answers its path. Its name has only letters and digits.
    QString makeStick(const QString& name) const;

private:
    QTemporaryDir temporary;
    QString folder;
};

/// What a file holds; nothing when it can't be read.
QByteArray contentOf(const QString& path);

/// The lines of a text file as it stands, a last one without its end included; none when it can't be read.
QStringList linesOf(const QString& path);

/// Waits for a file whose name matches the wildcard and answers its path, empty when none came in time.
QString waitForFile(const QString& folder, const QString& wildcard);

/// Waits until a file has that many complete lines.
[[nodiscard]] bool waitForLines(const QString& path, qsizetype count);
