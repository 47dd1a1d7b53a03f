#include "FuzzFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

namespace
{

const QTemporaryDir& processFolder()
{
    // In memory where the machine has such a place.
    static const QTemporaryDir folder(QFile::exists(QStringLiteral("/dev/shm"))
                                          ? QStringLiteral("/dev/shm/zemologd-fuzz-XXXXXX")
                                          : QStringLiteral("/tmp/zemologd-fuzz-XXXXXX"));
    return folder;
}

} // namespace

FuzzFile::FuzzFile(const QString& name)
    : m_path(processFolder().filePath(name))
{
}

void FuzzFile::write(const uint8_t* data, size_t size) const
{
    QFile file(m_path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) != static_cast<qint64>(size))
    {
        qFatal("cannot write %s", qUtf8Printable(m_path));
    }
}

QString FuzzFile::folder() const
{
    return processFolder().path();
}

QString FuzzFile::path() const
{
    return m_path;
}

void prepareProcess()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
}
