#pragma once

#include <QString>
#include <QStringList>

#include <functional>

/// What the demonstration prints: headings, steps with their outcome, and rows cut to the width of the terminal.
class Console
{
public:
    Console();

    void heading(const QString& text);
    void line(const QString& text);

    /// Prints the text, does the step and prints how it went.
    bool step(const QString& text, const std::function<bool()>& action);

    /// Prints the beginning of a row: as many cells as fit, and how many there are beyond.
    void row(const QString& label, const QStringList& cells);

    /// Steps that failed so far.
    int failures() const;

private:
    QString emphasized(const QString& text, const char* code) const;

    bool terminal = false;
    int width = 0;
    int failed = 0;
};
