#pragma once

#include "Console.h"
#include "Rig.h"

/// Shows the daemon at work: everything that a client can ask for, one thing after the other, on one stick.
class Demo
{
public:
    Demo(Rig& rig, Console& console);

    /// Bus, platform and daemon. False, with the reason printed, when one of them doesn't come up.
    [[nodiscard]] bool start();

    void show();

    /// Tells how to talk to what runs.
    void explain();

    /// Ends daemon and platform.
    void stop();

    /// Prints what lies on the stick, and where that is.
    void listStick();

private:
    void insertStick();
    void logToStick();
    void showRows(const QString& path);
    void saveHistory();
    void exportEnergyLog();
    void exportPowerLog();
    void saveSettings();
    void exportDiagnostics();

    /// Does a step and names the files that it left on the stick.
    bool step(const QString& text, const std::function<bool()>& action);
    QStringList filesOnStick() const;

    Rig& rig;
    Console& console;
    QString stick;
};
