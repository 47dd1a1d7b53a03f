#include "SystemTest.h"

TEST(Demo, AMistakeOnTheCommandLineIsToldWithACodeOfItsOwn)
{
    const std::pair<QStringList, QString> mistakes[] = {
        {{"--speed"}, "zemo-demo: Unknown option 'speed'."},
        {{"now"}, "zemo-demo: unexpected argument now"},
        {{"--modbus", "--scenario", "x"}, "zemo-demo: --modbus comes with a scenario of its own"},
        {{"--dir", "/a b"}, "zemo-demo: --dir /a b: only letters, digits and / . _ - can be in a stick's path"},
    };
    for (const auto& [arguments, message] : mistakes)
    {
        ChildProcess demo;
        ASSERT_TRUE(demo.start(QStringLiteral(ZEMO_DEMO), arguments));

        EXPECT_EQ(demo.waitForEnd(), 64);
        EXPECT_EQ(demo.errorLines(), QStringList{message});
    }
}

TEST(Demo, HelpIsNoMistake)
{
    ChildProcess demo;
    ASSERT_TRUE(demo.start(QStringLiteral(ZEMO_DEMO), {"--help"}));

    EXPECT_EQ(demo.waitForEnd(), 0);
    EXPECT_TRUE(demo.outputLines().join('\n').contains("--scenario <FILE>"));
}
