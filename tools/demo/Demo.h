#pragma once

#include "Console.h"
#include "ModbusStation.h"
#include "Rig.h"

/// Shows the daemon at work: everything that a client can ask for, one thing after the other, on one stick.
class Demo
{
public:
    Demo(Rig& rig, Console& console);

    /// Bus, platform and daemon. False, with the reason printed, when one of them doesn't come up.
    [[nodiscard]] bool start();

    void show();

    /// Shows how a device is logged that goes away and comes back, on the platform of its scenario.
    void showDevice(ModbusStation& device);

    /// Tells how to talk to what runs.
    void explain();

    /// Ends daemon and platform.
    void stop();

    /// Prints what lies on the stick, where that is, and how the first log is read.
    void listStick();

private:
    void insertStick();
    void logToStick();
    void explainLog();
    void showRows(const QString& path);
    /// Waits for a new row of the log with these values, and prints it.
    void expectRow(const QString& text, const QString& log, const QStringList& values);
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
