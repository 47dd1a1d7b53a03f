#include "FuzzFile.h"
#include "Scenario.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    prepareProcess();
    const QByteArray json(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const platformd::ScenarioResult result = platformd::parseScenario(json, QStringLiteral("fuzz.json"));
    // Refused with a reason, or taken.
    if ((result.scenario == nullptr) != !result.mistakes.isEmpty())
    {
        abort();
    }
    return 0;
}
