#include "FakePlatform.h"
#include "FuzzFile.h"

#include "settings/SettingsManager.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    prepareProcess();
    FakePlatform platform;
    static const FuzzFile file(QStringLiteral("STORE.SET"));
    file.write(data, size);
    SettingsManager manager(nullptr);
    const bool restored = manager.restoreSettings(file.path());
    if (restored && platform.restoredSettings().size() > static_cast<qsizetype>(size))
    {
        abort();
    }
    return 0;
}
