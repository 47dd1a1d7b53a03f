#include "Demo.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sysexits.h>

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

// Empty, with the reason in errno, when there can be none.
QString newFolder()
{
    QByteArray pattern("/tmp/zemologd-run.XXXXXX");
    return QString::fromLatin1(mkdtemp(pattern.data()));
}

// A mount path reaches a shell line, so the platform takes no other.
bool isUsable(const QString& folder)
{
    static const QRegularExpression form(QStringLiteral("\\A/[A-Za-z0-9/._-]+\\z"));
    return form.match(folder).hasMatch();
}

int fail(const QString& reason, int exitCode = EXIT_FAILURE)
{
    std::fprintf(stderr, "zemo-demo: %s\n", qUtf8Printable(reason));
    return exitCode;
}

int refuse(const QString& reason)
{
    return fail(reason, EX_USAGE);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows the daemon at work on the stand-in platform."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption stay(QStringLiteral("stay"), QStringLiteral("Keep everything up until Ctrl-C."));
    const QCommandLineOption scenario(QStringLiteral("scenario"), QStringLiteral("The platform's scenario."),
                                      QStringLiteral("FILE"));
    const QCommandLineOption folder(QStringLiteral("dir"), QStringLiteral("The scratch directory, which stays."),
                                    QStringLiteral("DIR"));
    const QCommandLineOption modbus(QStringLiteral("modbus"),
                                    QStringLiteral("Log a Modbus device on this machine in place of the scenario."));
    parser.addOptions({stay, scenario, folder, modbus});
    if (!parser.parse(QCoreApplication::arguments()))
        return refuse(parser.errorText());

    if (parser.isSet(help))
        parser.showHelp();

    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("unexpected argument %1").arg(parser.positionalArguments().first()));

    if (parser.isSet(scenario) && parser.isSet(modbus))
        return refuse(QStringLiteral("--modbus comes with a scenario of its own"));

    const QString root = parser.isSet(folder) ? QDir().absoluteFilePath(parser.value(folder)) : newFolder();
    if (root.isEmpty())
        return fail(QStringLiteral("no folder can be made in /tmp: %1").arg(QString::fromLocal8Bit(strerror(errno))));

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
            return fail(QStringLiteral("no port of the loopback interface can be had"));
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
