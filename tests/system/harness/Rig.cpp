#include "Rig.h"

#include <QCoreApplication>
#include <QDBusMetaType>
#include <QFile>

namespace
{
const QString daemonName = QStringLiteral("com.tarn.zemo.logd");
const QString daemonPath = QStringLiteral("/Logging");
constexpr int callTimeout = 60'000;
} // namespace

Rig::Rig(const QString& folder)
    : scratch(folder)
    , daemon(scratch)
    , scenario(QStringLiteral(ZEMO_SHIPPED_SCENARIO))
{
    qDBusRegisterMetaType<zemo::data::EnergyLogEntry>();
    qDBusRegisterMetaType<QListEnergyLogEntry>();
}

Rig::~Rig() = default;

void Rig::setScenarioFile(const QString& path)
{
    scenario = path;
}

void Rig::setScenario(const QByteArray& json)
{
    scenario = scratch.root() + QLatin1String("/scenario.json");
    scratch.writeFile(scenario, json);
}

void Rig::setConfiguration(const QByteArray& text)
{
    scratch.writeFile(QStringLiteral("/etc/zemologd.conf"), text);
}

bool Rig::start()
{
    return startBus() && startPlatform() && startDaemon();
}

bool Rig::startBus()
{
    proxy.reset();
    daemonSignals.reset();
    if (!bus.start(scratch.root() + QLatin1String("/run")))
        return false;
    proxy = std::make_unique<LogDaemonProxy>(daemonName, daemonPath, bus.connection());
    proxy->setTimeout(callTimeout);
    daemonSignals = std::make_unique<SignalLog>(bus.connection(), daemonPath, daemonName);
    return true;
}

bool Rig::startPlatform()
{
    return platform.start(bus.address(), bus.connection(), scenario);
}

bool Rig::startDaemon()
{
    return daemon.start(bus.address()) &&
           waitUntil([this] { return !daemon.isRunning() || bus.hasName(daemonName); }) && daemon.isRunning();
}

QString Rig::insertStick(const QString& name, const QMap<QString, QByteArray>& files)
{
    const QString path = scratch.makeStick(name);
    for (auto file = files.begin(); file != files.end(); ++file)
        scratch.writeFile(path + QLatin1Char('/') + file.key(), file.value());
    return platform.insertDrive(path) ? path : QString();
}

bool Rig::waitForStick(const QString& path)
{
    return daemon.waitForTrace(QLatin1String("USB Drive Inserted ") + path) && waitForTick();
}

bool Rig::waitForTick()
{
    const QString readings = QStringLiteral("getValues");
    const uint before = platform.callCount(readings);
    return waitUntil([&] { return platform.callCount(readings) > before; });
}

LogDaemonProxy& Rig::logd()
{
    return *proxy;
}

SignalLog& Rig::logdSignals()
{
    return *daemonSignals;
}

void Rig::settle()
{
    // A call that the daemon's main thread serves, behind what it has still to relay. A ping is answered without it.
    logd().isUsbLogActive().waitForFinished();
    QCoreApplication::processEvents();
}

QString Rig::sandboxKind()
{
    static const QString kind = []
    {
        ChildProcess process;
        const bool ended = process.start(QStringLiteral(ZEMO_TOOLS "/sandbox"), {QStringLiteral("--kind")}) &&
                           process.waitForEnd().has_value();
        return ended ? process.outputLines().value(0) : QStringLiteral("none");
    }();
    return kind;
}
