#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// Runs a program under the fault library, once for each object's lifetime.
class FaultyRun
{
public:
    /// Watches the calls that concern `path`.
    explicit FaultyRun(const QString& path);

    FaultyRun& at(int number);
    FaultyRun& action(const QString& name);
    /// The processes that the program starts count with it, so a number is a call of any of them.
    FaultyRun& countTogether();
    /// Any other variable of the fault library, without its prefix.
    FaultyRun& set(const QString& name, const QString& value);

    /// True when the program ended by itself within the deadline.
    bool run(const QString& program, const QStringList& arguments);
    /// The same, but kills it after that many microseconds.
    bool runAndKill(const QString& program, const QStringList& arguments, int microseconds);

    bool wasKilled() const;
    int exitCode() const;
    QStringList output() const;
    /// The calls that counted, "name path", in order.
    QStringList calls() const;

private:
    void start(const QString& program, const QStringList& arguments);
    bool finish();

    QTemporaryDir folder;
    QProcessEnvironment environment;
    QProcess process;
    QStringList lines;
};
