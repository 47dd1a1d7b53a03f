// What the daemon costs as a process, on the real bus, beside the barest Qt programs. Runs inside the sandbox, where
// the daemon's fixed paths are free, and prints what the other benchmarks print.
#include "ChildProcess.h"
#include "Platform.h"
#include "PrivateBus.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace
{

const QString daemonName = QStringLiteral("com.tarn.zemo.logd");
const QString bareName = QStringLiteral("com.tarn.zemo.bench");
const QString daemonProgram = QStringLiteral(ZEMO_DAEMON);
const QString bareProgram = QStringLiteral(ZEMO_BENCH_BARE);
const QString valuesProgram = QStringLiteral(ZEMO_BENCH_VALUES);
const QString workFolder = QStringLiteral("/var/tmp");

QJsonArray results;

void note(const QString& work, const QString& side, int parameters, double value, const QString& unit)
{
    results.append(QJsonObject{{"run_name", QStringLiteral("%1/%2/%3").arg(work, side).arg(parameters)},
                               {"real_time", value},
                               {"time_unit", unit}});
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
    {
        qFatal("can't write %s", qPrintable(path));
    }
}

/// Nanoseconds on a processor, all threads together, as the scheduler counts them.
double processorTime(qint64 process)
{
    double sum = 0;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(process);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
    {
        sum += readAll(tasks + u'/' + task + QStringLiteral("/schedstat")).split(' ').value(0).toDouble();
    }
    if (sum <= 0)
    {
        qFatal("process %lld has ended, or this kernel doesn't count processor time", process);
    }
    return sum;
}

double residentMebibytes(qint64 process)
{
    const QByteArray status = readAll(QStringLiteral("/proc/%1/status").arg(process));
    const qsizetype begin = status.indexOf("VmRSS:") + 6;
    return status.mid(begin, status.indexOf("kB", begin) - begin).trimmed().toDouble() / 1024;
}

void begin(ChildProcess& process, const QString& program, const QStringList& arguments,
           const QProcessEnvironment& environment)
{
    if (!process.start(program, arguments, environment))
    {
        qFatal("can't start %s", qPrintable(program));
    }
}

void pass(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Without it the daemon's history holds no more than 101 parameters.
void configure(int parameters, const QByteArray& more = {})
{
    writeAll(QStringLiteral("/etc/zemologd.conf"),
             "[ram]\nmax-default=" + QByteArray::number(parameters) + '\n' + more);
}

/// A scenario whose parameters all count, or of whose parameters 65 of 100 do.
QString scenario(int parameters, bool allChange)
{
    QJsonArray list;
    for (int i = 0; i < parameters; ++i)
    {
        const bool changes = allChange || i % 20 < 13;
        list.append(QJsonObject{{"id", 1000 + i},
                                {"size", 3},
                                {"default", true},
                                {"name", QJsonObject{{"en_GB", QStringLiteral("Parameter %1").arg(i)}}},
                                {"signal", changes ? QJsonObject{{"kind", "counter"}, {"start", i}, {"step", 1}}
                                                   : QJsonObject{{"kind", "constant"}, {"value", i}}}});
    }
    const QString path = QStringLiteral("%1/scenario-%2.json").arg(workFolder).arg(parameters);
    writeAll(path, QJsonDocument(QJsonObject{{"parameters", list}}).toJson());
    return path;
}

/// A bus of its own with the platform's service on it, and the daemon set to hold all parameters.
class Stage
{
public:
    explicit Stage(int parameters)
    {
        configure(parameters);
        if (!bus.start(workFolder) || !platform.start(bus.address(), bus.connection(), scenario(parameters, false)))
        {
            qFatal("bus or platform didn't start");
        }
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
        result.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), bus.address());
        return result;
    }

    /// Starts a program; the nanoseconds until its name is on the bus.
    qint64 launch(ChildProcess& process, const QString& program, const QStringList& arguments, const QString& name,
                  const QProcessEnvironment& environment) const
    {
        QDBusServiceWatcher watcher(name, bus.connection(), QDBusServiceWatcher::WatchForRegistration);
        QEventLoop loop;
        QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, &loop, &QEventLoop::quit);
        QTimer::singleShot(patience, &loop, [&] { qFatal("%s didn't come up", qPrintable(program)); });
        QElapsedTimer timer;
        timer.start();
        begin(process, program, arguments, environment);
        loop.exec();
        return timer.nsecsElapsed();
    }

    qint64 launchDaemon(ChildProcess& process) const
    {
        return launch(process, daemonProgram, {}, daemonName, environment());
    }

    qint64 launchBare(ChildProcess& process, const QString& mode) const
    {
        return launch(process, bareProgram, {mode}, bareName, environment());
    }

    PrivateBus bus;
    Platform platform;
};

void measureStart(int parameters)
{
    const Stage stage(parameters);
    for (int i = 0; i < 10; ++i)
    {
        ChildProcess daemon;
        note("start", "ours", parameters, static_cast<double>(stage.launchDaemon(daemon)), "ns");
        daemon.terminate();
        ChildProcess bare;
        note("start", "baseline", parameters, static_cast<double>(stage.launchBare(bare, "service")), "ns");
        bare.terminate();
    }
}

void measureResidentAtStart(int parameters)
{
    const Stage stage(parameters);
    ChildProcess daemon;
    stage.launchDaemon(daemon);
    ChildProcess bare;
    stage.launchBare(bare, "loaded");
    pass(3000);
    note("resident_at_start", "ours", parameters, residentMebibytes(daemon.processId()), "MiB");
    note("resident_at_start", "baseline", parameters, residentMebibytes(bare.processId()), "MiB");
}

/// Runs a program that prints the processor time of one call, and notes it for each of `count` values.
void noteCallTime(const Stage& stage, const QString& side, const QString& program, QStringList arguments, int count)
{
    ChildProcess process;
    arguments << QString::number(count) << QString::number(std::max(100, 200000 / count));
    begin(process, program, arguments, stage.environment());
    if (process.waitForEnd() != 0)
    {
        qFatal("%s failed", qPrintable(program));
    }
    note("get_values_cpu", side, count, process.outputLines().value(0).toDouble() / count, "ns");
}

void measureGetValues(int count)
{
    const Stage stage(count);
    ChildProcess service;
    stage.launchBare(service, "service");
    for (int i = 0; i < 4; ++i)
    {
        noteCallTime(stage, "ours", valuesProgram, {}, count);
        noteCallTime(stage, "baseline", bareProgram, {QStringLiteral("values")}, count);
    }
}

QString emptyStick()
{
    const QString path = workFolder + QStringLiteral("/stick");
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

bool startUsbLog(const PrivateBus& bus)
{
    QDBusMessage request = QDBusMessage::createMethodCall(daemonName, QStringLiteral("/Logging"), daemonName,
                                                          QStringLiteral("startLogUsb"));
    request.setArguments({1, false, QStringLiteral("default")});
    return bus.connection().call(request).arguments().value(0).toBool();
}

// Both at the same time, so that the machine is as busy for one as for the other.
void measureTick(int parameters)
{
    constexpr int Seconds = 30;
    const QString stick = emptyStick();
    Stage stage(parameters);
    stage.platform.insertDrive(stick);
    ChildProcess service;
    stage.launchBare(service, "service");
    ChildProcess daemon;
    stage.launchDaemon(daemon);
    ChildProcess bare;
    begin(bare, bareProgram, {QStringLiteral("tick"), QString::number(parameters)}, stage.environment());
    if (!waitUntil([&] { return startUsbLog(stage.bus); }))
    {
        qFatal("no USB log runs");
    }
    pass(3000);
    const double daemonBegin = processorTime(daemon.processId());
    const double bareBegin = processorTime(bare.processId());
    pass(Seconds * 1000);
    note("tick_cpu", "ours", parameters, (processorTime(daemon.processId()) - daemonBegin) / Seconds, "ns");
    note("tick_cpu", "baseline", parameters, (processorTime(bare.processId()) - bareBegin) / Seconds, "ns");
}

QProcessEnvironment withClock(QProcessEnvironment environment, const QString& clock)
{
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(ZEMO_FAKETIME));
    environment.insert(QStringLiteral("FAKETIME"), clock);
    environment.insert(QStringLiteral("NO_FAKE_STAT"), QStringLiteral("1"));
    return environment;
}

// A daemon with as many samples as a full history has, all in the zone of one second: three days would take too long
// even with a quick clock. The platform's clock runs quicker still, so that every tick finds new values.
class FullHistory
{
public:
    explicit FullHistory(int parameters)
    {
        configure(parameters, "interval-minute=259200\ninterval-10sec=259200\ninterval-1sec=259200\n");
        if (!bus.start(workFolder))
        {
            qFatal("no bus");
        }
        const QString clock = QStringLiteral("@2026-01-01 00:00:00 x");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), bus.address());
        begin(platform, QStringLiteral(ZEMO_PLATFORMD), {"--scenario", scenario(parameters, true)},
              withClock(environment, clock + "5000"));
        // The daemon asks it for its parameters at once, and only a minute later again.
        if (!bus.waitForName("com.tarn.zemo.platform"))
        {
            qFatal("the platform didn't come up");
        }
        begin(bare, bareProgram, {QStringLiteral("loaded")}, withClock(environment, clock + "1"));
        // As quick as it can still tick.
        begin(daemon, daemonProgram, {}, withClock(environment, clock + (parameters > 101 ? "50" : "100")));
        while (ticks() < Samples)
        {
            wait(100);
        }
    }

    /// Lets the daemon go on for a while; there is nothing to measure once it has ended.
    void wait(int milliseconds) const
    {
        pass(milliseconds);
        if (!daemon.isRunning())
        {
            qFatal("the daemon has ended");
        }
    }

    /// Ticks so far.
    uint ticks() const
    {
        return control(QStringLiteral("callCount"), {QStringLiteral("getValues")}).arguments().value(0).toUInt();
    }

    QDBusMessage control(const QString& method, const QVariantList& arguments) const
    {
        QDBusMessage request = QDBusMessage::createMethodCall("com.tarn.zemo.platform", "/Control",
                                                              "com.tarn.zemo.platform.Control", method);
        request.setArguments(arguments);
        return bus.connection().call(request);
    }

    PrivateBus bus;
    ChildProcess platform;
    ChildProcess bare;
    ChildProcess daemon;

    static constexpr uint Samples = 5161;
};

/// The longest time without a tick while `lasts` is true, in nanoseconds.
template <class Lasts> double longestGap(const FullHistory& history, Lasts lasts)
{
    qint64 longest = 0;
    QElapsedTimer sinceTick;
    sinceTick.start();
    uint before = history.ticks();
    while (lasts() || history.ticks() == before)
    {
        if (const uint now = history.ticks(); now != before)
        {
            before = now;
            longest = std::max(longest, sinceTick.nsecsElapsed());
            sinceTick.restart();
        }
        history.wait(1);
    }
    return static_cast<double>(std::max(longest, sinceTick.nsecsElapsed()));
}

// The samples that a snapshot shows: on a quick clock the answer to a tick may come too late, and then the row is that
// of the second before.
uint differentRows(const QString& path)
{
    QFile file(path);
    QByteArray before;
    uint count = 0;
    for (bool opened = file.open(QIODevice::ReadOnly); opened && !file.atEnd();)
    {
        const QByteArray row = file.readLine();
        const QByteArray values = row.mid(row.indexOf('\t'));
        count += values != before ? 1 : 0;
        before = values;
    }
    return count;
}

// Long enough for what the daemon does once a minute, also on its slower clock.
void noteIdleGap(const FullHistory& history, int parameters)
{
    QElapsedTimer timer;
    timer.start();
    note("tick_gap", "idle", parameters, longestGap(history, [&] { return timer.elapsed() < 1500; }), "ns");
}

// A snapshot holds the history while it is written, and the tick waits for it. Ticks are due as often as the clock
// says.
void noteSnapshotGap(const FullHistory& history, int parameters)
{
    QDBusMessage request = QDBusMessage::createMethodCall(daemonName, QStringLiteral("/Logging"), daemonName,
                                                          QStringLiteral("saveRamLogToUsb"));
    request.setArguments({QString()});
    const QDBusPendingCall snapshot = history.bus.connection().asyncCall(request, 600000);
    note("tick_gap", "ours", parameters, longestGap(history, [&] { return !snapshot.isFinished(); }), "ns");
}

// The samples in the snapshot on the stick. One that goes on into no future is answered with false, so the file is
// asked.
uint writtenSamples(const QString& stick)
{
    const QStringList files = QDir(stick).entryList(QDir::Files);
    const uint rows = files.size() == 1 ? differentRows(stick + u'/' + files[0]) : 0;
    if (rows < FullHistory::Samples * 9 / 10)
    {
        qFatal("the history is not full or the snapshot not whole: %u rows", rows);
    }
    return rows;
}

// A history takes its time to fill, so it serves for both.
void measureFullHistory(int parameters)
{
    const FullHistory history(parameters);
    const QString stick = emptyStick();
    history.control(QStringLiteral("insertDrive"), {stick});
    noteIdleGap(history, parameters);
    const double ours = residentMebibytes(history.daemon.processId());
    const double bare = residentMebibytes(history.bare.processId());
    noteSnapshotGap(history, parameters);
    const double samples = static_cast<double>(writtenSamples(stick)) * parameters;
    note("resident_full_history", "ours", parameters, ours, "MiB");
    note("resident_full_history", "baseline", parameters, bare + samples * 64 / 1024 / 1024, "MiB");
}

} // namespace

// usage: zemologd-bench-processes [WORK/PARAMETERS]; without arguments it names what can be measured. Each is measured
// by a run of its own, so that none costs the others their results.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QString wanted = QCoreApplication::arguments().value(1);
    if (!wanted.isEmpty() && !qEnvironmentVariableIsSet("ZEMO_IN_SANDBOX"))
    {
        qFatal("this writes the daemon's configuration: run it inside the sandbox");
    }
    struct Work
    {
        QString name;
        void (*measure)(int parameters);
        QList<int> sizes;
    };
    const Work works[] = {{"start", measureStart, {10, 101, 1000, 10000}},
                          {"resident_at_start", measureResidentAtStart, {10, 101, 1000, 10000}},
                          {"get_values_cpu", measureGetValues, {10, 100, 1000, 10000}},
                          {"tick_cpu", measureTick, {10, 101, 1000, 10000}},
                          {"resident_full_history+tick_gap", measureFullHistory, {10, 101, 1000}}};
    for (const Work& work : works)
    {
        for (const int size : work.sizes)
        {
            const QString name = QStringLiteral("%1/%2").arg(work.name).arg(size);
            if (wanted.isEmpty())
            {
                puts(qPrintable(name));
            }
            else if (wanted == name)
            {
                work.measure(size);
            }
        }
    }
    if (!wanted.isEmpty())
    {
        fputs(QJsonDocument(QJsonObject{{"benchmarks", results}}).toJson().constData(), stdout);
    }
    return 0;
}
