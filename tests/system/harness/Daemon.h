#pragma once

#include "ChildProcess.h"
#include "Scratch.h"
#include "TraceLine.h"

#include <QMap>

/// The daemon in the sandbox. Set up first, then start; a stopped one can be started again, and two can run side by
/// side on one bus.
class Daemon
{
public:
    explicit Daemon(const Scratch& scratch);

    /// A variable for the daemon alone, such as TZ or LD_PRELOAD.
    void setEnvironment(const QString& name, const QString& value);

    /// Puts a command in front of the daemon's own, inside the sandbox, such as strace with its options. The process id
    /// is then that of this command.
    void setWrapper(const QStringList& command);

    /// A stick of that many bytes, which only the daemon sees: look into it under seen(). Needs bubblewrap. Answers its
    /// path.
    QString addSizedStick(const QString& name, qint64 bytes);

    /// Starts the process; false when there is none. It knows no bus when `busAddress` is empty.
    [[nodiscard]] bool start(const QString& busAddress);

    bool isRunning() const;

    /// The id of the daemon itself, 0 before it is known.
    qint64 processId() const;

    /// The path on this side of a path as the daemon sees it, valid while it runs.
    QString seen(const QString& path) const;

    /// SIGTERM, or another signal, to the daemon; the exit code, 128 and the signal's number when a signal ended it,
    /// nothing when it still runs at the deadline.
    std::optional<int> stop(int signal = 15);
    std::optional<int> waitForEnd(std::chrono::milliseconds deadline = patience);

    /// Ends it as a crash would, with no chance to tidy up.
    void kill();

    /// Everything traced since the start, in order; the further lines of a message belong to its text.
    QList<TraceLine> trace() const;

    /// The messages of one module, as summaries.
    QStringList summaries(const QString& module) const;

    bool hasTraced(const QString& text) const;

    /// Waits for a message that contains `text`.
    [[nodiscard]] bool waitForTrace(const QString& text) const;

    /// Standard error as it came.
    QStringList errorLines() const;

    /// Drops what it has written up to now, for runs that write more than memory should hold.
    void forgetTrace();

private:
    QString pidFile() const;
    QStringList arguments(const QString& busAddress) const;

    const Scratch& scratch;
    ChildProcess process;
    QMap<QString, QString> environment;
    QMap<QString, qint64> sizedSticks;
    QStringList wrapper;
    QString runName;
};
