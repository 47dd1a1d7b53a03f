#include "FakePlatform.h"
#include "FuzzFile.h"
#include "LogConfig.h"
#include "LogDaemon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    prepareProcess();
    setDefaults(logConfig());
    const FakePlatform platform;
    static const FuzzFile file(QStringLiteral("log.set"));
    file.write(data, size);
    LogDaemon daemon(nullptr);
    daemon.usbDriveInserted(file.folder());
    return 0;
}
