#include "ChildProcess.h"

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace
{

constexpr std::chrono::milliseconds politeness{2000};

} // namespace

ChildProcess::ChildProcess(QObject* parent)
    : QObject(parent)
{
    // A group of its own: a Ctrl-C at the terminal is for whoever steers the run, who then ends it in order.
    process.setChildProcessModifier(
        []
        {
            setpgid(0, 0);
            prctl(PR_SET_PDEATHSIG, SIGKILL);
        });
    connect(&process, &QProcess::readyReadStandardError, this, &ChildProcess::readErrors);
    connect(&process, &QProcess::readyReadStandardOutput, this, [this] { output += process.readAllStandardOutput(); });
}

// In order where it can: what a process does at its end belongs to the run, and only then does one with counters write
// them.
ChildProcess::~ChildProcess()
{
    process.terminate();
    process.waitForFinished(static_cast<int>(politeness.count()));
    kill();
}

bool ChildProcess::start(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment)
{
    output.clear();
    unfinishedError.clear();
    errors.clear();
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    return process.waitForStarted(static_cast<int>(patience.count()));
}

bool ChildProcess::isRunning() const
{
    return process.state() != QProcess::NotRunning;
}

qint64 ChildProcess::processId() const
{
    return process.processId();
}

std::optional<int> ChildProcess::waitForEnd(std::chrono::milliseconds deadline)
{
    if (!waitUntil([this] { return !isRunning(); }, deadline))
        return std::nullopt;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : 128 + process.exitCode();
}

std::optional<int> ChildProcess::terminate(std::chrono::milliseconds deadline)
{
    process.terminate();
    return waitForEnd(deadline);
}

void ChildProcess::kill()
{
    process.kill();
    process.waitForFinished();
}

QStringList ChildProcess::outputLines() const
{
    QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
    lines.removeLast();
    return lines;
}

QStringList ChildProcess::errorLines() const
{
    return errors;
}

void ChildProcess::forgetErrorLines()
{
    errors.clear();
}

void ChildProcess::readErrors()
{
    unfinishedError += process.readAllStandardError();
    qsizetype end = 0;
    while ((end = unfinishedError.indexOf('\n')) >= 0)
    {
        errors += QString::fromUtf8(unfinishedError.left(end));
        unfinishedError.remove(0, end + 1);
        emit errorLine(errors.last());
    }
}
