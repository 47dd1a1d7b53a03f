#pragma once

#include "Daemon.h"
#include "LogDaemonProxy.h"
#include "Platform.h"
#include "PrivateBus.h"
#include "Scratch.h"
#include "SignalLog.h"

#include <memory>

/// All of a run: a scratch directory, a private bus, the platform's service and the daemon in the sandbox. Nothing runs
/// before it is started, and all of it ends with the object.
class Rig
{
public:
    /// The scratch directory is a new one, or `folder`, which then stays.
    explicit Rig(const QString& folder = {});
    ~Rig();

    /// The platform's scenario: a file, or the text of one. The shipped one if neither is called.
    void setScenarioFile(const QString& path);
    void setScenario(const QByteArray& json);

    /// The text of the daemon's configuration file. There is none if this isn't called.
    void setConfiguration(const QByteArray& text);

    /// Bus, platform and daemon, in this order; the daemon's name is on the bus when it returns true. Each can be left
    /// out by starting the others one by one.
    [[nodiscard]] bool start();

    [[nodiscard]] bool startBus();
    [[nodiscard]] bool startPlatform();

    /// Starts the daemon and waits for its name.
    [[nodiscard]] bool startDaemon();

    /// Makes the folder of a stick, puts `files` (name and content) on it and inserts it. Answers its path, empty when
    /// the platform refused it.
    QString insertStick(const QString& name = QStringLiteral("usb1"), const QMap<QString, QByteArray>& files = {});

    /// Waits until the daemon has done all that an inserted stick makes it do.
    [[nodiscard]] bool waitForStick(const QString& path);

    /// Waits for the next reading of the values, up to a second. It is done by the thread that also sees to the drives,
    /// so what that thread had begun before is through.
    [[nodiscard]] bool waitForTick();

    /// The daemon's interface on the bus, generated from its description.
    LogDaemonProxy& logd();

    /// The daemon's signals since the bus came up. A count of zero is only telling after settle().
    SignalLog& logdSignals();

    /// Goes to the daemon and back, so that every signal it sent before has arrived here.
    void settle();

    /// What makes the sandbox on this machine: "bwrap", "proot" or "none".
    static QString sandboxKind();

    Scratch scratch;
    PrivateBus bus;
    Platform platform;
    Daemon daemon;

private:
    QString scenario;
    std::unique_ptr<LogDaemonProxy> proxy;
    std::unique_ptr<SignalLog> daemonSignals;
};
