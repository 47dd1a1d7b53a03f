#include "Options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace platformd
{

namespace
{

const QString shippedScenario = QStringLiteral("pumping-station.json");

const QCommandLineOption& scenarioOption()
{
    static const QCommandLineOption option(
        QStringLiteral("scenario"), QStringLiteral("The platform to play; a small pumping station if not given."),
        QStringLiteral("FILE"));
    return option;
}

const QCommandLineOption& mediaOption()
{
    static const QCommandLineOption option(
        QStringLiteral("media"), QStringLiteral("What is mounted below this folder is a drive, as it comes and goes."),
        QStringLiteral("DIR"));
    return option;
}

void describe(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("The controller's platform services on the system bus, played from a scenario file."));
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Tells the options.")});
    parser.addOption({{QStringLiteral("v"), QStringLiteral("version")}, QStringLiteral("Tells the version.")});
    parser.addOption(scenarioOption());
    parser.addOption(mediaOption());
}

Options refuse(const QString& mistake)
{
    return {Options::Action::Refuse, mistake + QStringLiteral("; --help tells the options"), {}, {}};
}

} // namespace

Options readOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments))
    {
        // Some of the parser's texts end in a full stop.
        const QString mistake = parser.errorText();
        return refuse(mistake.endsWith(QLatin1Char('.')) ? mistake.chopped(1) : mistake);
    }
    if (parser.isSet(QStringLiteral("help")))
    {
        return {Options::Action::Print, parser.helpText(), {}, {}};
    }
    if (parser.isSet(QStringLiteral("version")))
    {
        return {Options::Action::Print, QStringLiteral("zemo-platformd " ZEMO_VERSION "\n"), {}, {}};
    }
    if (!parser.positionalArguments().isEmpty())
    {
        return refuse(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst()));
    }
    const QString scenario = parser.value(scenarioOption());
    if (parser.isSet(scenarioOption()) && scenario.isEmpty())
    {
        return refuse(QStringLiteral("--scenario needs a file name"));
    }
    const QString media = parser.value(mediaOption());
    if (parser.isSet(mediaOption()) && media.isEmpty())
    {
        return refuse(QStringLiteral("--media needs a folder"));
    }
    return {Options::Action::Run, {}, scenario.isEmpty() ? defaultScenario() : scenario, media};
}

QString defaultScenario()
{
    const QDir programs(QCoreApplication::applicationDirPath());
    const QString built = programs.filePath(shippedScenario);
    return QFileInfo::exists(built)
               ? built
               : QDir::cleanPath(programs.filePath(QStringLiteral(ZEMO_SCENARIOS "/") + shippedScenario));
}

} // namespace platformd
