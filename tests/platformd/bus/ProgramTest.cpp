#include "../Text.h"
#include "ChildProcess.h"
#include "Surroundings.h"

#include <gtest/gtest.h>

namespace
{

/// The program, run on the bus at `address`.
struct Program
{
    explicit Program(const QStringList& arguments, const QString& address = theBus().address())
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
        EXPECT_TRUE(process.start(QStringLiteral(ZEMO_PLATFORMD), arguments, environment));
    }

    [[nodiscard]] bool waitForName() const
    {
        return theBus().waitForName(QStringLiteral("com.tarn.zemo.platform"));
    }

    QString errors() const
    {
        return process.errorLines().join(QLatin1Char('\n'));
    }

    ChildProcess process;
};

} // namespace

TEST(Program, ItPlaysTheShippedStationWithoutAnyOptionAndEndsWellOnSigterm)
{
    Program program({});

    ASSERT_TRUE(program.waitForName());

    EXPECT_EQ(program.process.terminate(), 0);
}

TEST(Program, ANameThatIsTakenEndsItWithOneAndAMessage)
{
    Program first({});
    ASSERT_TRUE(first.waitForName());

    Program second({});

    EXPECT_EQ(second.process.waitForEnd(), 1);
    EXPECT_TRUE(second.errors().contains(QStringLiteral("com.tarn.zemo.platform"))) << second.errors().toStdString();
    EXPECT_TRUE(first.process.isRunning());
    EXPECT_EQ(first.process.terminate(), 0);
}

TEST(Program, ABusThatIsNotThereEndsItWithOneAndAMessage)
{
    Program program({}, QStringLiteral("unix:path=/nonexistent/bus"));

    EXPECT_EQ(program.process.waitForEnd(), 1);
    EXPECT_FALSE(program.errors().isEmpty());
}

TEST(Program, ABusThatGoesAwayEndsItWithOne)
{
    PrivateBus bus;
    ASSERT_TRUE(bus.start(scratchFolder()));
    Program program({}, bus.address());
    ASSERT_TRUE(bus.waitForName(QStringLiteral("com.tarn.zemo.platform")));

    bus.stop();

    EXPECT_EQ(program.process.waitForEnd(), 1);
}

TEST(Program, AScenarioWithMistakesEndsItWith78AndALineForEach)
{
    const QString file = writeScenario(R"({"serial": 5, "drive": []})");

    Program program({QStringLiteral("--scenario"), file});

    EXPECT_EQ(program.process.waitForEnd(), 78);
    EXPECT_EQ(program.process.errorLines(),
              (QStringList{QStringLiteral("zemo-platformd: %1: $.serial: must be a string").arg(file),
                           QStringLiteral("zemo-platformd: %1: $.drive: unknown key").arg(file)}));
}

TEST(Program, AWrongCommandLineEndsItWith64AndAMessage)
{
    Program program({QStringLiteral("--scene"), QStringLiteral("x")});

    EXPECT_EQ(program.process.waitForEnd(), 64);
    EXPECT_EQ(program.errors(), QStringLiteral("zemo-platformd: Unknown option 'scene'; --help tells the options"));
}

TEST(Program, HelpGoesToStandardOutputAndEndsItWell)
{
    Program program({QStringLiteral("--help")});

    EXPECT_EQ(program.process.waitForEnd(), 0);
    EXPECT_FALSE(program.process.outputLines().isEmpty());
    EXPECT_EQ(program.errors(), QString());
}
