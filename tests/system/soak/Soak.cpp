#include "Soak.h"

#include <QDBusPendingReply>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>

namespace
{

constexpr int stepSeconds = 600;
constexpr int stepsInAnHour = 3600 / stepSeconds;
constexpr int customLog = 7;
constexpr double memoryLimit = 100;
constexpr double mayGrowMebibytes = 0.5;

QDateTime timeOf(const QByteArray& row)
{
    return QDateTime::fromString(QString::fromLatin1(row.first(qMin<qsizetype>(row.size(), 19))),
                                 QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QList<QDateTime> rowsOf(const QString& path)
{
    QList<QDateTime> rows;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return rows;
    file.readLine();
    while (!file.atEnd())
        rows.append(timeOf(file.readLine()));
    return rows;
}

QDate dateInName(const QString& path)
{
    return QDate::fromString(QFileInfo(path).fileName().left(8), QStringLiteral("yyyyMMdd"));
}

// The main log's files on a stick, the oldest first.
QStringList mainLogsOn(const QString& stick)
{
    QStringList paths;
    const QDir folder(stick);
    for (const QFileInfo& file : folder.entryInfoList({QStringLiteral("2*.csv")}, QDir::Files, QDir::Name))
        paths.append(file.filePath());
    return paths;
}

/// For how long so far the host of a virtual machine has kept the processor from running on which this thread runs.
std::chrono::milliseconds takenByHost()
{
    const QByteArray name = "\ncpu" + QByteArray::number(sched_getcpu()) + ' ';
    const QByteArray all = contentOf(QStringLiteral("/proc/stat"));
    const QByteArray own = all.mid(all.indexOf(name) + name.size());
    constexpr int steal = 7;
    return std::chrono::milliseconds(own.split(' ').value(steal).toLongLong() * 1000 / sysconf(_SC_CLK_TCK));
}

} // namespace

QString SoakReport::ticksText() const
{
    return QStringLiteral(
               "%1 of %2 ticks missed; %3 of %4 seconds without a row, at most %5 in a row; the clock stood still "
               "for %6 s, at most %7 ms at once, the host was away for %8 s")
        .arg(missed)
        .arg(ticks)
        .arg(withoutRow)
        .arg(seconds)
        .arg(longestGap)
        .arg(static_cast<double>(stoodStill.count()) / 1000, 0, 'f', 1)
        .arg(longestStop.count())
        .arg(static_cast<double>(takenByHost.count()) / 1000, 0, 'f', 1);
}

Soak::Soak(const SoakPlan& soakPlan)
    : plan(soakPlan)
    , clock(rig.scratch.root() + QLatin1String("/run/clock"), plan.start, plan.speed)
{
}

SoakReport Soak::run()
{
    if (begin())
        live();
    return report;
}

bool Soak::begin()
{
    clock.runFor(rig.daemon);
    rig.setConfiguration("[ram]\ninterval-minute=" + QByteArray::number(plan.historyHours * 3600) + '\n');
    demand(rig.startBus() && rig.startPlatform(), QStringLiteral("bus and platform start"));
    demand(rig.startDaemon(), QStringLiteral("the daemon starts"));
    demand(answer(rig.logd().initEnergyLog(4, -1)), QStringLiteral("the energy log starts"));
    return report.problems.isEmpty();
}

void Soak::live()
{
    const auto steps = static_cast<int>(plan.seconds / stepSeconds);
    for (int step = 0; step < steps && rig.daemon.isRunning(); ++step)
    {
        if (!waitFor(plan.start.addSecs(qint64{step} * stepSeconds)))
            return;
        act(step);
    }
    waitFor(plan.start.addSecs(plan.seconds));
    noteTicksToTheOne();
    endLogs();
    countEnergyHours();
    noteFigures();
    demand(rig.daemon.isRunning(), QStringLiteral("the daemon is still there"));
    demand(rig.daemon.stop() == 0, QStringLiteral("the daemon ends as it should"));
    judgeFigures();
}

bool Soak::waitFor(const QDateTime& due)
{
    const bool came = waitUntil([&] { return now() >= due || !rig.daemon.isRunning(); }, std::chrono::hours(1));
    demand(came, QStringLiteral("time goes on"));
    return came;
}

void Soak::act(int step)
{
    if (step % (2 * stepsInAnHour) == 0)
        changeStick();
    if (step % stepsInAnHour == 0)
        addEnergyHour();
    if (step % (6 * stepsInAnHour) == 1)
        takeSnapshots();
    if (step == 0)
    {
        pinFiles();
        noteTicksToTheOne();
    }
    noteTicks();
    noteFigures();
    if (step % stepsInAnHour == 0)
        printProgress();
    rig.daemon.forgetTrace();
}

// Once all programs run that stay. That takes the time of some ticks.
void Soak::pinFiles()
{
    if (!plan.everyTick)
        return;
    clock.setSpeed(0);
    plan.everyTick = waitUntil([this] { return pinned.pin(); });
    if (!plan.everyTick)
        std::printf("without the right to keep the programs in memory: up to a fifth of the ticks may be missed\n");
    clock.setSpeed(plan.speed);
}

void Soak::changeStick()
{
    endLogs();
    demand(stick.isEmpty() || rig.platform.removeDrive(stick), QStringLiteral("the stick goes"));
    rig.daemon.forgetTrace();
    stick = rig.insertStick(QStringLiteral("usb%1").arg(++sticks));
    demand(!stick.isEmpty(), QStringLiteral("the platform takes the stick"));
    if (stick.isEmpty())
        return;
    QDir(stick).mkdir(QStringLiteral("snapshots"));
    demand(rig.daemon.waitForTrace(QLatin1String("USB Drive Inserted ") + stick), QStringLiteral("the stick is seen"));
    beginLogs();
}

void Soak::beginLogs()
{
    // The stick is traced just before it is taken.
    demand(waitUntil([&] { return answer(rig.logd().startLogUsb(1, false, QStringLiteral("default"))); }),
           QStringLiteral("the main log starts"));
    demand(answer(rig.logd().configureCustomLogUsb(customLog, QStringLiteral("custom"), {1000, 1001, 1002})) &&
               answer(rig.logd().startCustomLogUsb(customLog, 10, false)),
           QStringLiteral("the custom log starts"));
    ++report.runs;
    if (report.runs == 1)
        report.first = ProcessFigures::of(rig.daemon.processId());
}

void Soak::endLogs()
{
    // A folder without a name is the one that the soak was started in, and what lies on the stick is removed.
    if (stick.isEmpty())
        return;
    demand(answer(rig.logd().stopLogUsb()) && answer(rig.logd().stopCustomLogUsb(customLog)),
           QStringLiteral("the logs end"));
    // To read all of its rows takes the time of many ticks, and the daemon may have to share the processor.
    clock.setSpeed(0);
    judgeStick();
    clock.setSpeed(plan.speed);
}

void Soak::judgeStick()
{
    judgeMainLog(mainLogsOn(stick));
    demand(rowsOf(stick + QStringLiteral("/custom-123456-1.csv")).size() > 1,
           QStringLiteral("the custom log has rows"));
    QDir(stick).removeRecursively();
}

void Soak::judgeMainLog(const QStringList& files)
{
    QList<QDateTime> rows;
    for (const QString& file : files)
        rows += rowsOf(file);
    judgeRows(rows);
    for (qsizetype place = 1; place < files.size(); ++place)
        judgeMidnight(files[place - 1], files[place]);
    if (!rows.isEmpty())
        demand(files.size() == rows.first().date().daysTo(rows.last().date()) + 1,
               QStringLiteral("each day has its file: %1 of them").arg(files.size()));
}

void Soak::judgeRows(const QList<QDateTime>& rows)
{
    demand(rows.size() > 1, QStringLiteral("the main log has rows"));
    for (qsizetype place = 1; place < rows.size(); ++place)
    {
        const qint64 step = rows[place - 1].secsTo(rows[place]);
        demand(step > 0, QStringLiteral("rows follow each other, also at %1").arg(rows[place].toString(Qt::ISODate)));
        report.seconds += step;
        report.withoutRow += step - 1;
        report.longestGap = std::max(report.longestGap, step - 1);
    }
}

// The tick that finds the new date still writes its row to the old file.
void Soak::judgeMidnight(const QString& before, const QString& after)
{
    ++report.midnights;
    const QList<QDateTime> newRows = rowsOf(after);
    const QList<QDateTime> oldRows = rowsOf(before);
    const QString where = QStringLiteral(" at the midnight before ") + dateInName(after).toString(Qt::ISODate);
    const bool filled = !newRows.isEmpty() && !oldRows.isEmpty();
    demand(filled && dateInName(before).addDays(1) == dateInName(after),
           QStringLiteral("the file of the new date") + where);
    // Other work may keep the daemon back for some seconds of ours.
    const qint64 tolerance = plan.everyTick ? 2 : 5 * plan.speed;
    const QDateTime midnight = dateInName(after).startOfDay();
    const QDateTime limit = midnight.addSecs(tolerance);
    demand(filled && oldRows.last() >= midnight.addSecs(-tolerance) && oldRows.last() <= limit &&
               newRows.first() > oldRows.last() && newRows.first() <= limit,
           QStringLiteral("rows on both sides") + where);
}

// A snapshot holds up the ticks while it is written, for as long as that takes by our clock.
void Soak::takeSnapshots()
{
    clock.setSpeed(1);
    takeSnapshot();
    takeInternalSnapshot();
    clock.setSpeed(plan.speed);
    report.snapshots += 2;
}

void Soak::takeSnapshot()
{
    const int before = static_cast<int>(QDir(stick + QStringLiteral("/snapshots")).count());
    // Complete when the call returns, and false then, as nothing goes on being recorded.
    answer(rig.logd().saveRamLogToUsb(QStringLiteral("snapshots")));
    demand(static_cast<int>(QDir(stick + QStringLiteral("/snapshots")).count()) == before + 1,
           QStringLiteral("a snapshot lies on the stick"));
}

void Soak::takeInternalSnapshot()
{
    if (internalLog)
        demand(answer(rig.logd().removeLogFromInternalMem(*internalLog)), QStringLiteral("an internal log goes"));
    const QDBusPendingReply<uint> id = rig.logd().saveRamLogToInternalMem();
    demand(waitUntil([&] { return id.isFinished(); }) && id.isValid(), QStringLiteral("an internal log is made"));
    internalLog = id.value();
}

void Soak::addEnergyHour()
{
    const QDateTime hour = now();
    const zemo::data::EnergyLogEntry entry(
        static_cast<unsigned short>(hour.date().year()), static_cast<unsigned char>(hour.date().month()),
        static_cast<unsigned char>(hour.date().day()), static_cast<unsigned char>(hour.time().hour()), {1, 2, 3, 4});
    demand(answer(rig.logd().addEnergyLogHourlyEntry(entry)), QStringLiteral("an hour of energy is taken"));
    demand(answer(rig.logd().summarizeEnergyLogMonth(entry.year(), entry.month(), {true, false, true, false})),
           QStringLiteral("a month is summed up"));
    energyHours.append(hour);
}

void Soak::countEnergyHours()
{
    if (energyHours.isEmpty())
        return;
    const QDate from = energyHours.first().date();
    const QDate to = energyHours.last().date();
    const QDBusPendingReply<QListEnergyLogEntry> entries = rig.logd().getEnergyLogHourly(
        static_cast<ushort>(from.year()), static_cast<uchar>(from.month()), static_cast<uchar>(from.day()), 0,
        static_cast<ushort>(to.year()), static_cast<uchar>(to.month()), static_cast<uchar>(to.day()), 23);
    demand(waitUntil([&] { return entries.isFinished(); }) && entries.isValid(), QStringLiteral("the hours are read"));
    report.energyHours = static_cast<int>(entries.value().size());
    demand(report.energyHours == energyHours.size(),
           QStringLiteral("%1 of %2 hours of energy are kept").arg(report.energyHours).arg(energyHours.size()));
}

// One tick more or less may lie between two readings, but not just behind ticks that were due at our own pace. The
// first one that is seen may still be one of the quick clock.
void Soak::noteTicksToTheOne()
{
    clock.setSpeed(1);
    demand(rig.waitForTick() && rig.waitForTick(), QStringLiteral("values are read"));
    noteTicks();
    clock.setSpeed(plan.speed);
}

// From the first stick on, so that the start of the daemon doesn't count.
void Soak::noteTicks()
{
    const QDateTime due = now();
    const qint64 asked = rig.platform.callCount(QStringLiteral("getValues"));
    if (!firstDue.isValid())
    {
        firstDue = due;
        firstAsked = asked;
        begun = std::chrono::steady_clock::now();
        takenAtFirst = takenByHost();
    }
    // The first reading may lie somewhat further behind its tick than this one.
    report.ticks = firstDue.msecsTo(due.addMSecs(100)) / 1000;
    report.missed = report.ticks - (asked - firstAsked);
    report.stoodStill = clock.stoodStill();
    report.longestStop = clock.longestStop();
    report.takenByHost = takenByHost() - takenAtFirst;
}

void Soak::noteFigures()
{
    report.last = ProcessFigures::of(rig.daemon.processId());
    ProcessFigures& highest = report.highest;
    highest.residentMebibytes = std::max(highest.residentMebibytes, report.last.residentMebibytes);
    highest.peakResidentMebibytes = std::max(highest.peakResidentMebibytes, report.last.peakResidentMebibytes);
    highest.threads = std::max(highest.threads, report.last.threads);
    highest.descriptors = std::max(highest.descriptors, report.last.descriptors);
    noteSettledMemory();
}

// A history that is full goes on growing a little until it was replaced once: the memory that its oldest part gives
// back lies in small pieces, which the larger ones of a long history don't fit into.
void Soak::noteSettledMemory()
{
    if (now() < plan.start.addSecs(qint64{2} * 3600 * plan.historyHours))
        return;
    if (report.settledMebibytes == 0)
        report.settledMebibytes = report.last.residentMebibytes;
    report.highestSettledMebibytes = std::max(report.highestSettledMebibytes, report.last.residentMebibytes);
}

void Soak::printProgress()
{
    std::printf("%s  %.2f MiB, %d descriptors, %d threads; %s\n",
                qUtf8Printable(now().toString(QStringLiteral("yyyy-MM-dd hh:mm"))), report.last.residentMebibytes,
                report.last.descriptors, report.last.threads, qUtf8Printable(report.ticksText()));
    std::fflush(stdout);
}

// Both logs are closed at the end, and nothing else may be left open.
void Soak::judgeFigures()
{
    demand(report.highest.peakResidentMebibytes < memoryLimit, QStringLiteral("memory stays below 100 MiB"));
    demand(report.highestSettledMebibytes <= report.settledMebibytes + mayGrowMebibytes,
           QStringLiteral("memory: %1 MiB when the history had been replaced once, %2 after that at most")
               .arg(report.settledMebibytes, 0, 'f', 2)
               .arg(report.highestSettledMebibytes, 0, 'f', 2));
    demand(report.last.descriptors <= report.first.descriptors + 2,
           QStringLiteral("descriptors: %1 at first, %2 at the end")
               .arg(report.first.descriptors)
               .arg(report.last.descriptors));
    demand(report.last.threads <= report.first.threads + 1,
           QStringLiteral("threads: %1 at first, %2 at the end").arg(report.first.threads).arg(report.last.threads));
    if (plan.everyTick)
    {
        demand(report.missed == 0 && report.longestGap <= 1 && report.withoutRow * 20 <= report.seconds,
               report.ticksText());
        // A daemon that stays in the kernel for long stops the clock too, which would hide what it misses then.
        const auto lasted = std::chrono::steady_clock::now() - begun;
        demand(report.stoodStill <= 3 * report.takenByHost / 2 + lasted / 100,
               QStringLiteral("the clock stands still only for the host"));
    }
    else
        // At this speed a tick is some milliseconds of a machine that has other work as well.
        demand(report.missed >= -1 && report.missed * 5 <= report.ticks && report.withoutRow * 5 <= report.seconds,
               report.ticksText());
}

// With the event loop running, as nobody else reads what the daemon traces.
bool Soak::answer(const QDBusPendingReply<bool>& call)
{
    return waitUntil([&] { return call.isFinished(); }) && call.isValid() && call.value();
}

void Soak::demand(bool held, const QString& what)
{
    if (!held)
        report.problems.append(now().toString(QStringLiteral("yyyy-MM-dd hh:mm")) + QLatin1String(": not so: ") + what);
}

QDateTime Soak::now() const
{
    return clock.now();
}
