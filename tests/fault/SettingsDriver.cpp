// Saves or restores a settings file by the daemon's own code on the fakes, in a process that may be killed, and tells
// what happened line by line. usage: SettingsDriver save FILE GENERATION SIZE | SettingsDriver restore FILE

#include "FakePlatform.h"
#include "SettingsGeneration.h"
#include "settings/SettingsManager.h"

#include <cstdio>
#include <cstring>

namespace
{

void tellSignals(SettingsManager& manager)
{
    QObject::connect(&manager, &SettingsManager::saveSettingsStarted, [] { puts("saveStarted"); });
    QObject::connect(&manager, &SettingsManager::saveSettingsFinished,
                     [](bool ok) { printf("saveFinished(%d)\n", ok); });
    QObject::connect(&manager, &SettingsManager::restoreSettingsStarted, [] { puts("restoreStarted"); });
    QObject::connect(&manager, &SettingsManager::restoreSettingsFinished,
                     [](bool ok) { printf("restoreFinished(%d)\n", ok); });
}

void tellErrors(FakePlatform& platform)
{
    for (const std::string& text : platform.traceTexts("SettingsManager", 4))
    {
        puts(text.c_str());
    }
}

} // namespace

int main(int argc, char** argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    FakePlatform platform;
    SettingsManager manager(nullptr);
    tellSignals(manager);
    if (argc == 5 && strcmp(argv[1], "save") == 0)
    {
        platform.settings = settingsOfGeneration(atoi(argv[3]), atoi(argv[4]));
        manager.saveSettings(argv[2], 0);
    }
    else if (argc == 3 && strcmp(argv[1], "restore") == 0)
    {
        manager.restoreSettings(argv[2]);
        printf("generation %d\n", generationOf(platform.restoredSettings()));
    }
    else
    {
        return 2;
    }
    tellErrors(platform);
    return 0;
}
