#pragma once

#include <QList>
#include <QString>

/// One message as the stand-in writes it to standard error: `HH:MM:SS.mmm LEVEL module: text (file:line function)`.
struct TraceLine
{
    /// The parts of `line`. One that isn't of that form (a sanitizer's or the loader's) is all text.
    static TraceLine parse(const QString& line);

    /// "level module: text", the part of a message that a change of the sources leaves alone.
    QString summary() const;

    QString time;
    QString level;
    QString module;
    QString text;
    QString file;
    int line = 0;
    QString function;
};
