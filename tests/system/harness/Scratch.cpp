#include "Scratch.h"

#include "Waiting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace
{

QString parentOfAll()
{
    const QString chosen = qEnvironmentVariable("ZEMO_SCRATCH");
    return chosen.isEmpty() ? QStringLiteral("/tmp") : chosen;
}

} // namespace

Scratch::Scratch(const QString& given)
    : temporary(parentOfAll() + QLatin1String("/zemologd.XXXXXX"))
{
    // Without a folder of its own all would be written to the machine's.
    if (given.isEmpty() && !temporary.isValid())
        qFatal("can't make a scratch directory: %s", qUtf8Printable(temporary.errorString()));
    const QString path = given.isEmpty() ? temporary.path() : given;
    const QStringList arguments = {QStringLiteral("--root"), path, QStringLiteral("--prepare")};
    if (QProcess::execute(QStringLiteral(ZEMO_TOOLS "/sandbox"), arguments) != 0)
        qFatal("can't make the scratch directory %s", qUtf8Printable(path));
    folder = QFileInfo(path).canonicalFilePath();
}

QString Scratch::root() const
{
    return folder;
}

QString Scratch::outside(const QString& daemonPath) const
{
    const QLatin1String programs("/usr/bin/");
    if (daemonPath.startsWith(programs))
        return folder + QLatin1String("/bin/") + daemonPath.mid(programs.size());
    return daemonPath.startsWith(folder) ? daemonPath : folder + daemonPath;
}

void Scratch::writeFile(const QString& daemonPath, const QByteArray& content) const
{
    QFile file(outside(daemonPath));
    QDir().mkpath(QFileInfo(file).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qUtf8Printable(file.fileName()));
    if (daemonPath.startsWith(QLatin1String("/usr/bin/")))
        file.setPermissions(file.permissions() | QFile::ExeOwner | QFile::ExeUser | QFile::ExeGroup | QFile::ExeOther);
}

QString Scratch::makeStick(const QString& name) const
{
    const QString path = folder + QLatin1String("/stick/") + name;
    QDir().mkpath(path);
    return path;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList linesOf(const QString& path)
{
    QStringList lines = QString::fromUtf8(contentOf(path)).split(QLatin1Char('\n'));
    if (lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QString waitForFile(const QString& folder, const QString& wildcard)
{
    QStringList names;
    const auto found = [&]
    {
        names = QDir(folder).entryList({wildcard}, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        return !names.isEmpty();
    };
    return waitUntil(found) ? folder + QLatin1Char('/') + names.first() : QString();
}

bool waitForLines(const QString& path, qsizetype count)
{
    return waitUntil([&] { return contentOf(path).count('\n') >= count; });
}
