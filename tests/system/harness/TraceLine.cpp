#include "TraceLine.h"

#include <QRegularExpression>

TraceLine TraceLine::parse(const QString& line)
{
    static const QRegularExpression form(QStringLiteral(
        R"(^(\d\d:\d\d:\d\d\.\d{3}) (info|notice|warning|err|crit) ([^:]+): (.*?)(?: \(([^():]*):(\d+) ([^()]*)\))?$)"));
    const QRegularExpressionMatch match = form.match(line);
    TraceLine result;
    if (!match.hasMatch())
    {
        result.text = line;
        return result;
    }
    result.time = match.captured(1);
    result.level = match.captured(2);
    result.module = match.captured(3);
    result.text = match.captured(4);
    result.file = match.captured(5);
    result.line = match.captured(6).toInt();
    result.function = match.captured(7);
    return result;
}

QString TraceLine::summary() const
{
    return level.isEmpty() ? text : QStringLiteral("%1 %2: %3").arg(level, module, text);
}
