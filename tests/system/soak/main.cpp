// usage: zemo-soak [DAYS] [--speed N] [--history HOURS]
#include "Soak.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <sched.h>

namespace
{

// One processor for all of the soak, so that the machine keeps all of it waiting or nothing, and a priority with which
// no other work does. False where that is not allowed.
bool claimProcessor()
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &processors);
    // The clock is driven at the higher one.
    const sched_param higher{2};
    const sched_param lower{1};
    return sched_setaffinity(0, sizeof processors, &processors) == 0 && sched_setscheduler(0, SCHED_RR, &higher) == 0 &&
           sched_setscheduler(0, SCHED_RR, &lower) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.addHelpOption();
    options.addPositionalArgument(QStringLiteral("DAYS"), QStringLiteral("of the daemon's clock, 1 if not given"));
    options.addOption({QStringLiteral("speed"), QStringLiteral("times as fast as ours, 60 if not given"),
                       QStringLiteral("N"), QStringLiteral("60")});
    options.addOption({QStringLiteral("history"), QStringLiteral("that the daemon keeps in memory, 72 if not given"),
                       QStringLiteral("HOURS"), QStringLiteral("72")});
    options.process(application);
    const double days = options.positionalArguments().value(0, QStringLiteral("1")).toDouble();
    const int speed = options.value(QStringLiteral("speed")).toInt();
    const int history = options.value(QStringLiteral("history")).toInt();
    if (days <= 0 || speed <= 0 || history <= 0)
        options.showHelp(2);

    // A disk that others keep busy would be so many times as slow by the quick clock.
    if (qEnvironmentVariableIsEmpty("ZEMO_SCRATCH") && QFileInfo(QStringLiteral("/dev/shm")).isWritable())
        qputenv("ZEMO_SCRATCH", "/dev/shm");
    // Sticks change at odd hours, so that there is one in at midnight.
    const QDateTime start(QDate(2026, 3, 5), QTime(21, 0));
    const bool alone = claimProcessor();
    if (!alone)
        std::printf("without the right to a real-time priority: up to a fifth of the ticks may be missed\n");
    const SoakReport report = Soak({start, static_cast<qint64>(days * 86400), speed, history, alone}).run();

    std::printf("%s\n%d sticks, %d midnights, %d snapshots, %d hours of energy\n%.1f MiB at most, %.1f at first, %.1f "
                "at the end; descriptors %d, %d, %d; threads %d, %d, %d\n",
                qUtf8Printable(report.ticksText()), report.runs, report.midnights, report.snapshots, report.energyHours,
                report.highest.peakResidentMebibytes, report.first.residentMebibytes, report.last.residentMebibytes,
                report.highest.descriptors, report.first.descriptors, report.last.descriptors, report.highest.threads,
                report.first.threads, report.last.threads);
    if (report.settledMebibytes > 0)
        std::printf("%.2f MiB when the history had been replaced once, %.2f at most after that\n",
                    report.settledMebibytes, report.highestSettledMebibytes);
    for (const QString& problem : report.problems)
        std::printf("%s\n", qUtf8Printable(problem));
    return report.problems.isEmpty() ? 0 : 1;
}
