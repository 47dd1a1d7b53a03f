#include "ControlService.h"
#include "MediaMounts.h"
#include "Operations.h"
#include "Options.h"
#include "Platform.h"
#include "PlatformService.h"
#include "Scenario.h"
#include "Termination.h"

#include <wire/Names.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDateTime>

#include <cstdio>
#include <optional>
#include <sysexits.h>
#include <systemd/sd-daemon.h>

namespace
{

constexpr int exitNoBus = 1;
constexpr int exitNoMounts = EX_OSERR;

void print(FILE* stream, const QString& text)
{
    std::fputs(qPrintable(text), stream);
}

void complain(const QString& text)
{
    print(stderr, QStringLiteral("zemo-platformd: %1\n").arg(text));
}

// The objects first: who sees the name must find them.
bool goPublic(QDBusConnection bus, platformd::PlatformService& service, platformd::ControlService& control)
{
    return bus.isConnected() && bus.registerObject(zemo::wire::objectPath, &service) &&
           bus.registerObject(zemo::wire::controlPath, &control) && bus.registerService(zemo::wire::serviceName);
}

// What is mounted already is there before anybody can ask.
bool follow(platformd::MediaMounts& mounts, platformd::Platform& platform)
{
    QObject::connect(&mounts, &platformd::MediaMounts::changed, &platform, &platformd::Platform::setMounted);
    const std::optional<QStringList> present = mounts.watch() ? mounts.mountPoints() : std::nullopt;
    if (present)
    {
        platform.setMounted(*present);
    }
    return present.has_value();
}

int serve(const std::shared_ptr<const platformd::Scenario>& scenario, const QString& media)
{
    // Before there are the threads that ask devices.
    const platformd::Termination termination;
    platformd::Platform platform(scenario, [] { return QDateTime::currentSecsSinceEpoch(); });
    platformd::MediaMounts mounts(media);
    if (!media.isEmpty() && !follow(mounts, platform))
    {
        return exitNoMounts;
    }
    platformd::Operations operations(platformd::PlatformService::operationNames());
    platformd::PlatformService service(platform, operations);
    platformd::ControlService control(platform, operations, service);
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!goPublic(bus, service, control))
    {
        const QString reason = bus.lastError().message();
        complain(QStringLiteral("cannot have the name %1 on the system bus: %2")
                     .arg(zemo::wire::serviceName, reason.isEmpty() ? QStringLiteral("it is taken") : reason));
        return exitNoBus;
    }
    (void)sd_notify(0, "READY=1");
    return QCoreApplication::exec();
}

int run(const platformd::Options& options)
{
    const platformd::ScenarioResult result = platformd::loadScenario(options.scenario);
    for (const QString& mistake : result.mistakes)
    {
        complain(mistake);
    }
    return result.scenario ? serve(result.scenario, options.media) : EX_CONFIG;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const platformd::Options options = platformd::readOptions(QCoreApplication::arguments());
    switch (options.action)
    {
    case platformd::Options::Action::Print:
        print(stdout, options.text);
        return EX_OK;
    case platformd::Options::Action::Refuse:
        complain(options.text);
        return EX_USAGE;
    case platformd::Options::Action::Run:
        break;
    }
    return run(options);
}
