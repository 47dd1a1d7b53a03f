#pragma once

#include <QString>
#include <QStringList>

#include <ostream>

// GoogleTest prints Qt's texts readably with these.
inline void PrintTo(const QString& text, std::ostream* stream)
{
    *stream << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList& texts, std::ostream* stream)
{
    *stream << '[' << texts.join(QStringLiteral(" | ")).toStdString() << ']';
}
