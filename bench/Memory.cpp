// How much the resident set grows with each stored sample, over three days of wholly changing values at one sample a
// second, thinned as they age; over one day with more than 101 parameters. Prints what the other benchmarks print.
// usage: zemologd-bench-memory [memory_per_sample/PARAMETERS]; without arguments it names what can be measured.
#include "Data.h"

#include "LogConfig.h"
#include "logging/RAMLogger.h"

#include <QByteArray>

#include <cstdio>
#include <unistd.h>
#include <vector>

class RAMLoggerInspector
{
public:
    static size_t samples(const RAMLogger& logger)
    {
        size_t count = 0;
        for (const RamParameter* each = logger.parameterList.get(); each; each = each->next.get())
        {
            for (const RamSample* sample = each->first; sample; sample = sample->next)
            {
                ++count;
            }
        }
        return count;
    }
};

namespace
{

constexpr uint32_t Begin = 1700000041;
constexpr int Day = 86400;

double residentBytes()
{
    long pages = 0;
    FILE* const file = fopen("/proc/self/statm", "re");
    if (!file || fscanf(file, "%*d %ld", &pages) != 1)
    {
        perror("/proc/self/statm");
    }
    fclose(file);
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

} // namespace

int main(int argc, char** argv)
{
    const QByteArray work = "memory_per_sample/";
    if (argc < 2)
    {
        for (const char* const size : {"10", "101", "1000"})
        {
            puts((work + size).constData());
        }
        return 0;
    }
    const QByteArray wanted = argv[1];
    const int parameters = wanted.startsWith(work) ? wanted.mid(work.size()).toInt() : 0;
    if (parameters <= 0)
    {
        std::fprintf(stderr, "usage: %s [%sPARAMETERS]\n", argv[0], work.constData());
        return 2;
    }
    setDefaults(logConfig());
    if (parameters > 101)
    {
        // Three days of thinning as many would take minutes.
        logConfig().intervalMinute = Day;
    }
    const Data data(parameters, 1.0);
    // Seven, so that what stands ten or sixty seconds apart still differs.
    std::vector<QMap<int32_t, DataValue>> rows;
    for (uint32_t i = 0; i < 7; ++i)
    {
        rows.push_back(data.sample(i));
    }
    RAMLogger logger(nullptr);
    logger.updateParameters(data.metadata());
    logger.log(Begin, rows[6]);
    const double before = residentBytes();
    const auto end = static_cast<uint32_t>(logConfig().intervalMinute + 3600);
    for (uint32_t second = 1; second <= end; ++second)
    {
        logger.log(Begin + second, rows[second % rows.size()]);
    }
    const double bytes = (residentBytes() - before) / static_cast<double>(RAMLoggerInspector::samples(logger));
    std::printf(R"({"benchmarks": [
{"run_name": "memory_per_sample/ours/%d", "real_time": %f, "time_unit": "B"},
{"run_name": "memory_per_sample/baseline/%d", "real_time": 64, "time_unit": "B"}]}
)",
                parameters, bytes, parameters);
    return 0;
}
