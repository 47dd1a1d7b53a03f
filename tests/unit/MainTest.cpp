// The process entry under another name, so that tests can call it. It makes its own application object.
#define main zemologdMain
#include "main.cpp"
#undef main

#include "FakePlatform.h"
#include "InSandbox.h"

#include <QFile>
#include <QMetaObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace
{

constexpr char DefaultConfiguration[] = "Current configuration:  RAM\n"
                                        "    Max default parameters\t100\n"
                                        "    Max manual parameters\t20\n"
                                        "    Interval 1min\t\t259200 secs\n"
                                        "    Interval 10sec\t\t3600 secs\n"
                                        "    Interval 1sec\t\t600 secs\n"
                                        "  USB\n"
                                        "    History secs\t\t259200 secs\n"
                                        "    Future secs\t\t\t0 secs\n"
                                        "  INT\n"
                                        "    History secs\t\t3300 secs\n"
                                        "    Future secs\t\t\t300 secs\n"
                                        "    Path\t\t\t/var/zemo/var/log/zemologd\n";

/// Runs main with no bus to be had. The event loop ends with 7 as soon as it runs.
class Main : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!qEnvironmentVariableIsSet("ZEMO_IN_SANDBOX"))
        {
            GTEST_SKIP() << "writes /etc/zemologd.conf, so it needs the sandbox";
        }
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        QFile::remove(ConfigFile);
        platform.onCall = [](const char* operation)
        {
            if (qstrcmp(operation, "getUsbDrives") == 0)
            {
                QMetaObject::invokeMethod(
                    qApp, [] { QCoreApplication::exit(7); }, Qt::QueuedConnection);
            }
        };
    }

    static void configure(const QByteArray& text)
    {
        QFile file(ConfigFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(text);
    }

    static int run()
    {
        char name[] = "zemologd";
        char option[] = "--help";
        char* arguments[] = {name, option, nullptr};
        return zemologdMain(2, arguments);
    }

    std::vector<std::string> mainTraces(uint32_t level)
    {
        return platform.traceTexts("Main", level);
    }

    /// The history without what the daemon itself does.
    std::vector<std::string> processHistory()
    {
        std::vector<std::string> kept;
        for (const std::string& entry : platform.history())
        {
            if (entry.find("LogDaemon:") == std::string::npos && entry.find("Module ") == std::string::npos)
            {
                kept.push_back(entry);
            }
        }
        return kept;
    }

    FakePlatform platform;
};

} // namespace

// First in the file: a second run in one process finds the modules registered.
TEST_F(Main, RegistersEachModuleOfTheDaemonOnce)
{
    platform.drives = {QStringLiteral("/nonexistent/stick")}; // what the daemon traces of it uses its module again

    run();

    const std::vector<std::string> history = platform.history();
    for (const char* module : {"Main", "LogDaemon", "LogDaemonCtrl", "SettingsManager", "EnergyLogDB"})
    {
        EXPECT_EQ(std::count(history.begin(), history.end(), std::string("p7zemo_traceRegisterModule trace ") + module),
                  1)
            << module;
    }
}

TEST_F(Main, ComesUpAndGoesDownInItsOrder)
{
    configure("");

    run();

    const std::vector<std::string> expected = {
        "p7zemo_init zemologd",
        "p7zemo_traceCreate zemologd",
        "p7zemo_traceRegisterThread trace Main 0",
        "2 Main: loaded /etc/zemologd.conf",
        std::string("2 Main: ") + DefaultConfiguration,
        "ZemoApplication zemologd --help",
        "startFunctionality 40800801092",
        "getUsbDrives",
        "getDefaultLog",
        "4 LogDaemonCtrl: error registering com.tarn.zemo.logd service",
        "4 LogDaemonCtrl: error registering /Logging object",
        "Watchdog true application",
        "2 Main: Starting app",
        "4 LogDaemonCtrl: error unregistering com.tarn.zemo.logd service",
        "2 Main: App finished",
        "p7zemo_traceUnRegisterThread thread",
        "p7zemo_traceFree trace",
        "p7zemo_deInit",
        "~Watchdog",
        "~ZemoApplication",
    };
    EXPECT_EQ(processHistory(), expected);
}

TEST_F(Main, RegistersTheModuleMainRightAfterItsThread)
{
    run();

    const std::vector<std::string> history = platform.history();
    ASSERT_GE(history.size(), 4U);
    EXPECT_EQ(history[2], "p7zemo_traceRegisterThread trace Main 0");
    EXPECT_EQ(history[3], "p7zemo_traceRegisterModule trace Main");
}

TEST_F(Main, ReturnsWhatTheEventLoopReturnedAlsoAfterAFailedRegistration)
{
    EXPECT_EQ(run(), 7);
    EXPECT_EQ(platform.traceTexts("LogDaemonCtrl", 4).front(), "error registering com.tarn.zemo.logd service");
}

TEST_F(Main, WithoutAConfigurationFileNeitherLoadingNorASyntaxErrorIsTracedAndTheDefaultsHold)
{
    run();

    EXPECT_EQ(mainTraces(2), (std::vector<std::string>{DefaultConfiguration, "Starting app", "App finished"}));
    EXPECT_TRUE(mainTraces(4).empty());
}

TEST_F(Main, AnEmptyConfigurationFileIsLoadedAndTheDefaultsHold)
{
    configure("");

    run();

    EXPECT_EQ(mainTraces(2), (std::vector<std::string>{"loaded /etc/zemologd.conf", DefaultConfiguration,
                                                       "Starting app", "App finished"}));
    EXPECT_TRUE(mainTraces(4).empty());
}

TEST_F(Main, TracesTheConfigurationInTheOrderOfItsFields)
{
    configure("[ram]\ninterval-1sec = 5\ninterval-10sec = 4\ninterval-minute = 3\nmax-manual = 2\nmax-default = 1\n"
              "[internal]\npath = /logs\nfuture = 9\nhistory = 8\n[usb]\nfuture = 7\nhistory = 6\n");

    run();

    EXPECT_EQ(mainTraces(2)[1], "Current configuration:  RAM\n"
                                "    Max default parameters\t1\n"
                                "    Max manual parameters\t2\n"
                                "    Interval 1min\t\t3 secs\n"
                                "    Interval 10sec\t\t4 secs\n"
                                "    Interval 1sec\t\t5 secs\n"
                                "  USB\n"
                                "    History secs\t\t6 secs\n"
                                "    Future secs\t\t\t7 secs\n"
                                "  INT\n"
                                "    History secs\t\t8 secs\n"
                                "    Future secs\t\t\t9 secs\n"
                                "    Path\t\t\t/logs\n");
}

TEST_F(Main, AMisspeltKeyIsASyntaxErrorOfItsLineAndTheOthersStayInEffect)
{
    configure("[ram]\nmax-default = 7\nmax-manuel = 8\nmax-manual = 9\n[nothing]\nx = 1\n");

    run();

    EXPECT_EQ(mainTraces(4), (std::vector<std::string>{"syntax error: /etc/zemologd.conf:3"}));
    EXPECT_NE(mainTraces(2)[0].find("Max default parameters\t7\n    Max manual parameters\t9\n"), std::string::npos);
    EXPECT_EQ(mainTraces(2).size(), 3U);
}

TEST_F(Main, APathInTheUsbSectionIsASyntaxErrorOfItsLine)
{
    configure("[usb]\npath = /x\n");

    run();

    EXPECT_EQ(mainTraces(4), (std::vector<std::string>{"syntax error: /etc/zemologd.conf:2"}));
    EXPECT_EQ(mainTraces(2)[0], DefaultConfiguration);
}

TEST_F(Main, AHistoryInTheRamSectionIsASyntaxErrorOfItsLine)
{
    configure("; comment\n[ram]\nhistory = 1\n");

    run();

    EXPECT_EQ(mainTraces(4), (std::vector<std::string>{"syntax error: /etc/zemologd.conf:3"}));
    EXPECT_EQ(mainTraces(2)[0], DefaultConfiguration);
}

TEST_F(Main, ALineThatIsNoPairIsASyntaxErrorAndThePairsBehindItCount)
{
    configure("[ram]\nnonsense\nmax-default = 7\n");

    run();

    EXPECT_EQ(mainTraces(4), (std::vector<std::string>{"syntax error: /etc/zemologd.conf:2"}));
    EXPECT_NE(mainTraces(2)[0].find("Max default parameters\t7\n"), std::string::npos);
}

TEST_F(Main, AWordForMaxDefaultIsTakenAsZeroWithNoReport)
{
    configure("[ram]\nmax-default = plenty\n");

    run();

    EXPECT_TRUE(mainTraces(4).empty());
    EXPECT_EQ(mainTraces(2)[0], "loaded /etc/zemologd.conf");
    EXPECT_NE(mainTraces(2)[1].find("Max default parameters\t0\n"), std::string::npos);
}

TEST_F(Main, APathOf150CharactersIsCutTo99WithNoReport)
{
    const std::string path = "/" + std::string(98, 'a') + std::string(51, 'b');
    configure(QByteArray("[internal]\npath = ") + path.c_str() + "\n");

    run();

    EXPECT_TRUE(mainTraces(4).empty());
    EXPECT_NE(mainTraces(2)[1].find("Path\t\t\t" + path.substr(0, 99) + "\n"), std::string::npos);
}

TEST_F(Main, TheDefaultModuleAndTheHandleOfTheTraceAreThere)
{
    run();

    EXPECT_EQ(p7zemo_getDefaultTraceModule(), p7zemo_traceRegisterModule(traceHandle(), "Main"));
    EXPECT_NE(traceHandle(), nullptr);
}

int main(int argc, char** argv)
{
    moveIntoSandbox(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
