#include "FakePlatform.h"
#include "LogConfig.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const FakePlatform platform;
    setDefaults(logConfig());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
