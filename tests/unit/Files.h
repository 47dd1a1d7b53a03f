#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <stdexcept>

inline QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("<no such file>");
}

inline void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
    {
        throw std::runtime_error("cannot write " + path.toStdString());
    }
}
