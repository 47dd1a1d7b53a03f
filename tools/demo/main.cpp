#include "Demo.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace
{

volatile std::sig_atomic_t interrupted = 0;

void waitForInterrupt()
{
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
    constexpr std::chrono::hours aLongTime(24);
    while (interrupted == 0)
        (void)waitUntil([] { return interrupted != 0; }, aLongTime);
}

QString newFolder()
{
    QByteArray pattern("/tmp/zemologd-run.XXXXXX");
    const char* path = mkdtemp(pattern.data());
    return path ? QString::fromLatin1(path) : QString();
}

// A mount path reaches a shell line, so the platform takes no other.
bool isUsable(const QString& folder)
{
    static const QRegularExpression form(QStringLiteral("\\A/[A-Za-z0-9/._-]+\\z"));
    return form.match(folder).hasMatch();
}

int refuse(const QString& reason)
{
    std::fprintf(stderr, "zemo-demo: %s\n", qUtf8Printable(reason));
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows the daemon at work on the stand-in platform."));
    parser.addHelpOption();
    const QCommandLineOption stay(QStringLiteral("stay"), QStringLiteral("Keep everything up until Ctrl-C."));
    const QCommandLineOption scenario(QStringLiteral("scenario"), QStringLiteral("The platform's scenario."),
                                      QStringLiteral("FILE"));
    const QCommandLineOption folder(QStringLiteral("dir"), QStringLiteral("The scratch directory, which stays."),
                                    QStringLiteral("DIR"));
    const QCommandLineOption modbus(QStringLiteral("modbus"),
                                    QStringLiteral("Log a Modbus device on this machine in place of the scenario."));
    parser.addOptions({stay, scenario, folder, modbus});
    parser.process(application);
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("unexpected argument %1").arg(parser.positionalArguments().first()));

    if (parser.isSet(scenario) && parser.isSet(modbus))
        return refuse(QStringLiteral("--modbus comes with a scenario of its own"));

    const QString root = parser.isSet(folder) ? QDir().absoluteFilePath(parser.value(folder)) : newFolder();
    if (!isUsable(root))
        return refuse(QStringLiteral("--dir %1: only letters, digits and / . _ - can be in a stick's path").arg(root));

    Console console;
    Rig rig(root);
    if (parser.isSet(scenario))
        rig.setScenarioFile(QDir().absoluteFilePath(parser.value(scenario)));
    ModbusStation device;
    if (parser.isSet(modbus))
    {
        if (!device.start())
            return refuse(QStringLiteral("no port of the loopback interface can be had"));
        rig.setScenario(device.scenario());
    }
    Demo demo(rig, console);
    if (!demo.start())
        return EXIT_FAILURE;
    if (parser.isSet(modbus))
        demo.showDevice(device);
    else
        demo.show();
    if (parser.isSet(stay))
    {
        demo.explain();
        waitForInterrupt();
    }
    demo.stop();
    demo.listStick();
    return console.failures() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
