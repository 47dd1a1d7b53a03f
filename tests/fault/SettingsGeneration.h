#pragma once

#include <QByteArray>

/// Settings that tell their generation at the begin and in every line, so that a mixture of two is noticed.
inline QByteArray settingsOfGeneration(int generation, qsizetype size)
{
    const QByteArray line = "generation " + QByteArray::number(generation) + "\n";
    return line.repeated(size / line.size() + 1).left(size);
}

/// The generation of complete settings, 0 when they are none.
inline int generationOf(const QByteArray& settings)
{
    const int generation = settings.mid(11, settings.indexOf('\n') - 11).toInt();
    return settings == settingsOfGeneration(generation, settings.size()) ? generation : 0;
}
