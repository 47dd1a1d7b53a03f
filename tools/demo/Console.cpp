#include "Console.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
constexpr int cellWidth = 21;
constexpr int defaultWidth = 110;
constexpr int stepWidth = 60;

int terminalWidth()
{
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : defaultWidth;
}

QString cell(const QString& text)
{
    return text.size() < cellWidth ? text.leftJustified(cellWidth) : text.left(cellWidth - 2) + QStringLiteral("… ");
}

void print(const QString& text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    std::fflush(stdout);
}
} // namespace

Console::Console()
    : terminal(isatty(STDOUT_FILENO) != 0)
    , width(terminalWidth())
{
}

void Console::heading(const QString& text)
{
    print(QLatin1Char('\n') + emphasized(text, "1") + QLatin1Char('\n'));
}

void Console::line(const QString& text)
{
    print(QStringLiteral("  %1\n").arg(text));
}

bool Console::step(const QString& text, const std::function<bool()>& action)
{
    print(QStringLiteral("  %1 ").arg(text.leftJustified(stepWidth, QLatin1Char('.'))));
    QElapsedTimer time;
    time.start();
    const bool ok = action();
    failed += ok ? 0 : 1;
    print(QStringLiteral("%1 %2 ms\n")
              .arg(ok ? QStringLiteral("ok") : emphasized(QStringLiteral("FAILED"), "31"))
              .arg(time.elapsed()));
    return ok;
}

void Console::row(const QString& label, const QStringList& cells)
{
    QString text = label;
    const qsizetype room = std::max(1, (width - static_cast<int>(label.size()) - 14) / cellWidth);
    for (const QString& part : cells.mid(0, room))
        text += cell(part);
    if (cells.size() > room)
        text += QStringLiteral("and %1 more").arg(cells.size() - room);
    line(text);
}

int Console::failures() const
{
    return failed;
}

QString Console::emphasized(const QString& text, const char* code) const
{
    return terminal ? QStringLiteral("\033[%1m%2\033[0m").arg(QLatin1String(code), text) : text;
}
