#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <unistd.h>

/// Stands in for the command "sync" while it lives, first in the PATH of what the daemon runs: it counts its runs and
/// keeps what the process had open at the last one. `ending` is the last line of the script, in shell.
class FakeSync
{
public:
    explicit FakeSync(const QByteArray& ending = "exit 0")
        : m_oldPath(qgetenv("PATH"))
    {
        QFile script(m_folder.filePath("sync"));
        script.open(QIODevice::WriteOnly);
        const QByteArray folder = QFile::encodeName(m_folder.path());
        script.write("#!/bin/sh\necho run >>" + folder + "/runs\n" + "find /proc/" + QByteArray::number(getpid()) +
                     "/fd -type l -printf '%l\\n' >" + folder + "/open 2>/dev/null\n" + ending + "\n");
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", folder + ":" + m_oldPath);
    }

    ~FakeSync()
    {
        qputenv("PATH", m_oldPath);
    }

    FakeSync(const FakeSync&) = delete;
    FakeSync& operator=(const FakeSync&) = delete;

    /// How often it ran.
    int runs() const
    {
        return static_cast<int>(contents("runs").count('\n'));
    }

    /// Whether this process had `path` open when it ran last.
    bool sawOpen(const QString& path) const
    {
        return contents("open").split('\n').contains(QFile::encodeName(path));
    }

private:
    QByteArray contents(const QString& name) const
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
    QByteArray m_oldPath;
};
