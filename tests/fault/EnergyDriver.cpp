// Fills the energy log by the daemon's own code on the fakes, in a process that may be killed, and tells line by line
// what was acknowledged. usage: EnergyDriver FIRST COUNT [FAULT]
//
// COUNT rows from the number FIRST on are added. Each comes with a row that has outlived its time, so that every
// clean-up has something to clear. Once they are through, the file FAULT is removed, and with it the cause of the
// failures, and one more row is added.

#include "EnergyRow.h"
#include "FakePlatform.h"
#include "Trace.h"
#include "energylog/energylogdb.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace
{

bool isOpen(EnergyLogDB& log)
{
    try
    {
        return log.init(energyColumns, energyInvalid);
    }
    catch (const std::exception& error)
    {
        printf("no log: %s\n", error.what());
        return false;
    }
}

void add(EnergyLogDB& log, FakePlatform& platform, int number)
{
    platform.clearTrace();
    try
    {
        const bool taken = log.addHourlyEntries({energyRow(number), outdatedEnergyRow()});
        const bool committed = platform.traceTexts("Main", 5).empty();
        printf("%s %d\n", !taken ? "refused" : committed ? "added" : "uncommitted", number);
    }
    catch (const std::exception& error)
    {
        printf("failed %d: %s\n", number, error.what());
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
    {
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const QCoreApplication application(argc, argv);
    FakePlatform platform;
    openTrace();
    EnergyLogDB log(nullptr);
    const int first = atoi(argv[1]);
    const int end = first + atoi(argv[2]);
    bool open = isOpen(log);
    for (int number = first; number < end; ++number)
    {
        add(log, platform, number);
    }
    if (argc > 3)
    {
        remove(argv[3]);
        open = open || isOpen(log);
        add(log, platform, end);
    }
    return open ? 0 : 1;
}
