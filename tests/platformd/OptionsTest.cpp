#include "Options.h"
#include "Text.h"

#include <gtest/gtest.h>

using platformd::Options;
using platformd::readOptions;

namespace
{

Options read(const QStringList& arguments)
{
    return readOptions(QStringList{QStringLiteral("zemo-platformd")} + arguments);
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

TEST(Options, HelpTellsEveryOption)
{
    const Options options = read({"--help"});

    EXPECT_EQ(options.action, Options::Action::Print);
    for (const QString& option : {QStringLiteral("--help"), QStringLiteral("--version"), QStringLiteral("--scenario")})
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
