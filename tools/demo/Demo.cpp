#include "Demo.h"

#include <QDate>
#include <QDirIterator>
#include <QFileInfo>
#include <QLocale>

namespace
{

constexpr int secondsBetweenRows = 1;
constexpr int rowsToShow = 10;
constexpr int firstCustomLog = 1;
constexpr int secondCustomLog = 2;
constexpr int energyColumns = 3;
constexpr int noValue = -1;

// The answer of a call; one that didn't come counts as a refusal, with its reason in the open.
template <class Answer> Answer answer(QDBusPendingReply<Answer> reply)
{
    reply.waitForFinished();
    if (!reply.isError())
        return reply.value();
    qWarning("%s", qUtf8Printable(reply.error().message()));
    return {};
}

QListEnergyLogEntry energyOfYesterday()
{
    const QDate day = QDate::currentDate().addDays(-1);
    QListEnergyLogEntry entries;
    for (int hour = 0; hour < 24; ++hour)
    {
        entries += zemo::data::EnergyLogEntry(static_cast<ushort>(day.year()), static_cast<uchar>(day.month()),
                                              static_cast<uchar>(day.day()), static_cast<uchar>(hour),
                                              {40 + hour, 1250 - 10 * hour, hour == 3 ? noValue : 7});
    }
    return entries;
}

} // namespace

Demo::Demo(Rig& theRig, Console& theConsole)
    : rig(theRig)
    , console(theConsole)
{
    // What a controller has lying about for the diagnostic exports.
    const Scratch& scratch = rig.scratch;
    scratch.writeFile(QStringLiteral("/var/log/messages"), "a line of the system log\n");
    scratch.writeFile(QStringLiteral("/var/log/p7zemo/trace.0"), "a line of the trace\n");
    scratch.writeFile(QStringLiteral("/var/zemo/crash/core.panel.gz"), "what is left of a crash\n");
    scratch.writeFile(QStringLiteral("/usr/bin/getdebugfile.sh"),
                      "#!/bin/sh\nuname -a >\"$2/sysinfo.txt\" || exit 2\n");
}

bool Demo::start()
{
    console.heading(QStringLiteral("A bus, the platform and the daemon"));
    console.line(QStringLiteral("scratch directory: %1").arg(rig.scratch.root()));
    if (Rig::sandboxKind() != QLatin1String("bwrap"))
        console.line(
            QStringLiteral("new namespaces are refused here, so %1 stands in for bubblewrap").arg(Rig::sandboxKind()));
    const bool started = console.step(QStringLiteral("private bus"), [this] { return rig.startBus(); }) &&
                         console.step(QStringLiteral("zemo-platformd"), [this] { return rig.startPlatform(); }) &&
                         console.step(QStringLiteral("zemologd"), [this] { return rig.startDaemon(); });
    if (started)
        return true;
    for (const QString& text : rig.platform.errorLines() + rig.daemon.errorLines())
        console.line(text);
    return false;
}

void Demo::show()
{
    insertStick();
    logToStick();
    saveHistory();
    exportEnergyLog();
    exportPowerLog();
    saveSettings();
    exportDiagnostics();
}

void Demo::showDevice(ModbusStation& device)
{
    constexpr int before = 40;
    constexpr int after = 100;
    device.fill(before);
    insertStick();
    console.heading(QStringLiteral("A log of the Modbus device at 127.0.0.1:%1").arg(device.port()));
    step(QStringLiteral("startLogUsb"),
         [this] { return answer(rig.logd().startLogUsb(secondsBetweenRows, false, QStringLiteral("default"))); });
    const QString log = waitForFile(stick, QStringLiteral("*.csv"));
    expectRow(QStringLiteral("its registers, of every size, stand in a row"), log, ModbusStation::cells(before));
    device.fill(after);
    expectRow(QStringLiteral("they change"), log, ModbusStation::cells(after));
    device.stop();
    expectRow(QStringLiteral("the device goes away"), log, ModbusStation::emptyCells());
    step(QStringLiteral("it comes back"), [&] { return device.start(); });
    expectRow(QStringLiteral("and is read again"), log, ModbusStation::cells(after));
    step(QStringLiteral("stopLogUsb"), [this] { return answer(rig.logd().stopLogUsb()); });
}

void Demo::expectRow(const QString& text, const QString& log, const QStringList& values)
{
    const QString wanted = QLatin1Char('\t') + values.join(QLatin1Char('\t'));
    const qsizetype known = linesOf(log).size();
    QString row;
    const auto find = [&]
    {
        for (const QString& line : linesOf(log).mid(known))
            if (line.endsWith(wanted))
                row = line;
        return !row.isEmpty();
    };
    if (console.step(text, [&] { return waitUntil(find); }))
        console.row(QStringLiteral("    "), row.split(QLatin1Char('\t')));
}

void Demo::explain()
{
    console.heading(QStringLiteral("It all stays up until Ctrl-C"));
    console.line(QStringLiteral("export DBUS_SYSTEM_BUS_ADDRESS='%1'").arg(rig.bus.address()));
    console.line(QStringLiteral("%1 --help").arg(QLatin1String(ZEMOLOGCTL)));
    console.line(QStringLiteral("%1 monitor").arg(QLatin1String(ZEMOLOGCTL)));
    console.line(
        QStringLiteral("busctl --address=\"$DBUS_SYSTEM_BUS_ADDRESS\" introspect com.tarn.zemo.logd /Logging"));
    console.line(QStringLiteral("busctl --address=\"$DBUS_SYSTEM_BUS_ADDRESS\" call com.tarn.zemo.logd /Logging "
                                "com.tarn.zemo.logd startLogUsb ibs 1 false default"));
    console.line(QStringLiteral("busctl --address=\"$DBUS_SYSTEM_BUS_ADDRESS\" call com.tarn.zemo.platform /Control "
                                "com.tarn.zemo.platform.Control removeDrive s %1")
                     .arg(stick));
}

void Demo::stop()
{
    console.heading(QStringLiteral("The end"));
    console.step(QStringLiteral("zemologd ends with exit code 0"), [this] { return rig.daemon.stop() == 0; });
    console.step(QStringLiteral("zemo-platformd ends with exit code 0"), [this] { return rig.platform.stop() == 0; });
}

void Demo::listStick()
{
    console.heading(QStringLiteral("On the stick, %1").arg(stick));
    const QLocale locale = QLocale::c();
    const QStringList files = filesOnStick();
    for (const QString& name : files)
    {
        const QString size = locale.formattedDataSize(QFileInfo(stick + QLatin1Char('/') + name).size());
        console.line(QStringLiteral("%1  %2").arg(size, 11).arg(name));
    }
    explainLog();
}

void Demo::explainLog()
{
    const QString log = QDir(stick).entryInfoList({QStringLiteral("2*.csv")}).value(0).filePath();
    if (log.isEmpty())
        return;
    const QString title = linesOf(log).value(0).section(QLatin1Char('\t'), 1, 1).section(QStringLiteral(" ["), 0, 0);
    console.heading(QStringLiteral("To read and to draw the log"));
    console.line(QStringLiteral("%1 info %2").arg(QLatin1String(ZEMOLOG), log));
    console.line(QStringLiteral("%1 plot %2 -o log.png --column '%3*'").arg(QLatin1String(ZEMOLOG), log, title));
}

void Demo::insertStick()
{
    console.heading(QStringLiteral("A stick is inserted"));
    step(QStringLiteral("the daemon has seen it"),
         [this]
         {
             stick = rig.insertStick();
             return !stick.isEmpty() && rig.waitForStick(stick);
         });
    console.line(QStringLiteral("%1 parameters are sampled").arg(answer(rig.logd().getLogParameters()).size()));
}

void Demo::logToStick()
{
    console.heading(QStringLiteral("USB logs: one of everything, and two of what the client chose"));
    const QList<int> ids = rig.platform.lastIds();
    step(QStringLiteral("startLogUsb"),
         [this] { return answer(rig.logd().startLogUsb(secondsBetweenRows, false, QStringLiteral("default"))); });
    const QString log = waitForFile(stick, QStringLiteral("*.csv"));
    const auto startCustom = [&](int id, const QString& prefix, const QList<int>& parameters)
    {
        return answer(rig.logd().configureCustomLogUsb(id, prefix, parameters)) &&
               answer(rig.logd().startCustomLogUsb(id, secondsBetweenRows, false));
    };
    step(QStringLiteral("startCustomLogUsb 1"),
         [&] { return startCustom(firstCustomLog, QStringLiteral("first"), ids.mid(0, 3)); });
    step(QStringLiteral("startCustomLogUsb 2"),
         [&] { return startCustom(secondCustomLog, QStringLiteral("second"), ids.mid(3, 3)); });
    showRows(log);
    step(QStringLiteral("stopLogUsb"), [this] { return answer(rig.logd().stopLogUsb()); });
    for (const int id : {firstCustomLog, secondCustomLog})
        step(QStringLiteral("stopCustomLogUsb %1").arg(id), [&] { return answer(rig.logd().stopCustomLogUsb(id)); });
}

void Demo::showRows(const QString& path)
{
    for (int row = 0; row <= rowsToShow; ++row)
    {
        if (!waitForLines(path, row + 1))
        {
            console.step(QStringLiteral("row %1 of the log").arg(row), [] { return false; });
            return;
        }
        const QString label = row == 0 ? QString() : QStringLiteral("%1/%2").arg(row).arg(rowsToShow);
        console.row(label.leftJustified(7), linesOf(path).value(row).split(QLatin1Char('\t')));
    }
}

void Demo::saveHistory()
{
    console.heading(QStringLiteral("Snapshots of the history in memory"));
    // Its answer tells whether the snapshot is still open, and one without a future part never is.
    step(QStringLiteral("saveRamLogToUsb"),
         [this]
         {
             const qsizetype before = filesOnStick().size();
             answer(rig.logd().saveRamLogToUsb(QString()));
             return filesOnStick().size() > before;
         });
    uint id = 0;
    step(QStringLiteral("saveRamLogToInternalMem"),
         [&]
         {
             id = answer(rig.logd().saveRamLogToInternalMem());
             const QString folder = rig.scratch.outside(QStringLiteral("/var/zemo/var/log/zemologd"));
             return !QDir(folder).entryList({QStringLiteral("*-%1.blf").arg(id + 1)}).isEmpty();
         });
    step(QStringLiteral("saveInternalLogToUsb %1").arg(id),
         [&] { return answer(rig.logd().saveInternalLogToUsb(id, QString())); });
    step(QStringLiteral("saveInternalLogsToUsbRaw"), [this] { return answer(rig.logd().saveInternalLogsToUsbRaw()); });
    step(QStringLiteral("removeLogFromInternalMem %1").arg(id),
         [&] { return answer(rig.logd().removeLogFromInternalMem(id)); });
}

void Demo::exportEnergyLog()
{
    console.heading(QStringLiteral("The energy log of a day"));
    const QDate day = QDate::currentDate().addDays(-1);
    const auto year = static_cast<ushort>(day.year());
    const auto month = static_cast<uchar>(day.month());
    step(QStringLiteral("initEnergyLog"), [this] { return answer(rig.logd().initEnergyLog(energyColumns, noValue)); });
    step(QStringLiteral("addEnergyLogHourlyEntries"),
         [this] { return answer(rig.logd().addEnergyLogHourlyEntries(energyOfYesterday())); });
    step(QStringLiteral("summarizeEnergyLogMonth"),
         [&] {
             return answer(rig.logd().summarizeEnergyLogMonth(year, month, {false, true, false}));
         });
    step(QStringLiteral("exportEnergyLogToUsb"),
         [&]
         {
             const QStringList titles = {QStringLiteral("Energy"), QStringLiteral("Power"), QStringLiteral("Starts")};
             const bool started = answer(rig.logd().exportEnergyLogToUsb(titles, QByteArray("\1\2\0", energyColumns),
                                                                         year, month, year, month));
             const QString completed = QStringLiteral("energyLogExportCompleted");
             return started && rig.logdSignals().waitFor(completed) &&
                    rig.logdSignals().lastArguments(completed) == QVariantList{true};
         });
}

void Demo::exportPowerLog()
{
    console.heading(QStringLiteral("The power log"));
    step(QStringLiteral("PowerLogExportToUsb"),
         [this]
         {
             const QString completed = QStringLiteral("PowerLogExportCompleted");
             return answer(rig.logd().PowerLogExportToUsb(QStringLiteral("default"))) &&
                    rig.logdSignals().waitFor(completed) &&
                    rig.logdSignals().lastArguments(completed) == QVariantList{true};
         });
}

void Demo::saveSettings()
{
    console.heading(QStringLiteral("The controller's settings"));
    const auto finished = [this](const QString& name)
    { return rig.logdSignals().waitFor(name) && rig.logdSignals().lastArguments(name) == QVariantList{true}; };
    step(QStringLiteral("saveSettingsToUSB"),
         [&] { return answer(rig.logd().saveSettingsToUSB(0)) && finished(QStringLiteral("saveSettingsFinished")); });
    step(QStringLiteral("restoreSettingsFromUSB"),
         [&] {
             return answer(rig.logd().restoreSettingsFromUSB()) && finished(QStringLiteral("restoreSettingsFinished"));
         });
}

void Demo::exportDiagnostics()
{
    console.heading(QStringLiteral("Diagnostic material"));
    constexpr int alarms = 100;
    LogDaemonProxy& logd = rig.logd();
    step(QStringLiteral("saveModbusStateToUsb"), [&] { return answer(logd.saveModbusStateToUsb()); });
    step(QStringLiteral("saveModbusMostUsedToUsb"), [&] { return answer(logd.saveModbusMostUsedToUsb()); });
    step(QStringLiteral("saveChangeLogToUsb"), [&] { return answer(logd.saveChangeLogToUsb(QString())); });
    step(QStringLiteral("saveAlarmLogToUsb"), [&] { return answer(logd.saveAlarmLogToUsb(alarms, QString())); });
    step(QStringLiteral("saveSysLogToUsb"), [&] { return answer(logd.saveSysLogToUsb()); });
    step(QStringLiteral("saveCoreDumpsToUsb"), [&] { return answer(logd.saveCoreDumpsToUsb()); });
    step(QStringLiteral("saveSysInfoToUsb"), [&] { return answer(logd.saveSysInfoToUsb()); });
}

bool Demo::step(const QString& text, const std::function<bool()>& action)
{
    const QStringList before = filesOnStick();
    const bool ok = console.step(text, action);
    const QStringList after = filesOnStick();
    for (const QString& name : after)
        if (!before.contains(name))
            console.line(QStringLiteral("    %1").arg(name));
    return ok;
}

QStringList Demo::filesOnStick() const
{
    QStringList names;
    QDirIterator files(stick, QDir::Files, QDirIterator::Subdirectories);
    while (!stick.isEmpty() && files.hasNext())
        names += QDir(stick).relativeFilePath(files.next());
    names.sort();
    return names;
}
