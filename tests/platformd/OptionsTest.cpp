#include "Options.h"
#include "Text.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

using platformd::Options;
using platformd::readOptions;

namespace
{

Options read(const QStringList& arguments)
{
    return readOptions(QStringList{QStringLiteral("zemo-platformd")} + arguments);
}

QSet<QString> longOptions(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("--[a-z-]+"));
    QSet<QString> result;
    for (QRegularExpressionMatchIterator matches = form.globalMatch(text); matches.hasNext();)
    {
        result.insert(matches.next().captured());
    }
    return result;
}

} // namespace

TEST(Options, TheScenarioIsTheFileThatIsNamed)
{
    const Options options = read({"--scenario", "station.json"});

    EXPECT_EQ(options.action, Options::Action::Run);
    EXPECT_EQ(options.scenario, QStringLiteral("station.json"));
}

TEST(Options, WithoutAFileTheShippedScenarioIsTaken)
{
    const Options options = read({});

    EXPECT_EQ(options.action, Options::Action::Run);
    EXPECT_TRUE(options.scenario.endsWith(QStringLiteral("/share/zemologd/pumping-station.json")))
        << options.scenario.toStdString();
}

TEST(Options, AnUnknownOptionIsRefusedByName)
{
    const Options options = read({"--scenery", "station.json"});

    EXPECT_EQ(options.action, Options::Action::Refuse);
    EXPECT_TRUE(options.text.contains(QStringLiteral("scenery"))) << options.text.toStdString();
}

TEST(Options, AnArgumentThatIsNoOptionIsRefused)
{
    const Options options = read({"station.json"});

    EXPECT_EQ(options.action, Options::Action::Refuse);
    EXPECT_TRUE(options.text.contains(QStringLiteral("\"station.json\""))) << options.text.toStdString();
}

TEST(Options, AScenarioWithoutAFileNameIsRefused)
{
    EXPECT_EQ(read({"--scenario"}).action, Options::Action::Refuse);
    EXPECT_EQ(read({"--scenario="}).action, Options::Action::Refuse);
}

TEST(Options, DrivesAreThoseOfAFolderOnlyIfOneIsNamed)
{
    EXPECT_EQ(read({}).media, QString());
    EXPECT_EQ(read({"--media", "/media"}).media, QStringLiteral("/media"));
    EXPECT_EQ(read({"--media="}).action, Options::Action::Refuse);
}

TEST(Options, TheManualPageTellsTheOptionsOfTheHelpAndNoOthers)
{
    QFile page(QStringLiteral(ZEMO_MAN_PAGE));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const QString manual = QString::fromUtf8(page.readAll());
    const QString options = manual.section(QStringLiteral("\n# OPTIONS\n"), 1).section(QStringLiteral("\n# "), 0, 0);
    const QString synopsis = manual.section(QStringLiteral("\n# SYNOPSIS\n"), 1).section(QStringLiteral("\n# "), 0, 0);

    EXPECT_EQ(longOptions(options), longOptions(read({"--help"}).text));
    // Help and version stand for themselves.
    EXPECT_EQ(longOptions(synopsis) + QSet<QString>({"--help", "--version"}), longOptions(options));
}

TEST(Options, HelpTellsEveryOption)
{
    const Options options = read({"--help"});

    EXPECT_EQ(options.action, Options::Action::Print);
    for (const QString& option : {QStringLiteral("--help"), QStringLiteral("--version"), QStringLiteral("--scenario"),
                                  QStringLiteral("--media")})
    {
        EXPECT_TRUE(options.text.contains(option)) << option.toStdString();
    }
}

TEST(Options, TheVersionIsOneLineWithTheNameOfTheProgram)
{
    const Options options = read({"--version"});

    EXPECT_EQ(options.action, Options::Action::Print);
    EXPECT_TRUE(options.text.startsWith(QStringLiteral("zemo-platformd ")));
    EXPECT_EQ(options.text.count(QLatin1Char('\n')), 1);
}
