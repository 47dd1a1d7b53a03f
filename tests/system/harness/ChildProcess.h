#pragma once

#include "Waiting.h"

#include <QProcess>
#include <QStringList>

#include <optional>

/// A program of the run. It dies with this process, however that ends, and with the object, which sends SIGTERM and two
/// seconds later SIGKILL; what it writes is kept by lines.
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    explicit ChildProcess(QObject* parent = nullptr);
    ~ChildProcess() override;

    /// False when the program can't be started at all.
    [[nodiscard]] bool start(const QString& program, const QStringList& arguments,
                             const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

    bool isRunning() const;
    qint64 processId() const;

    /// Waits for the end. The exit code, 128 and the signal's number when a signal ended it, nothing when it still
    /// runs.
    std::optional<int> waitForEnd(std::chrono::milliseconds deadline = patience);

    /// SIGTERM, then waitForEnd.
    std::optional<int> terminate(std::chrono::milliseconds deadline = patience);

    /// SIGKILL, then waits.
    void kill();

    QStringList outputLines() const;
    QStringList errorLines() const;

    /// Drops the lines of standard error up to now, for runs that write more than memory should hold.
    void forgetErrorLines();

signals:
    /// A complete line of standard error, without its end.
    void errorLine(const QString& line);

private:
    void readErrors();

    QProcess process;
    QByteArray output;
    QByteArray unfinishedError;
    QStringList errors;
};
