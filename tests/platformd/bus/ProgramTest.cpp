#include "../Text.h"
#include "ChildProcess.h"
#include "Surroundings.h"

#include <zemo/UsbClient.h>

#include <QDir>

#include <gtest/gtest.h>

#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

/// The program, run on a bus.
struct Program
{
    /// `starter` is a command that becomes the program.
    explicit Program(const QStringList& arguments, const QStringList& starter = {},
                     const QMap<QString, QString>& variables = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), theBus().address());
        for (auto variable = variables.begin(); variable != variables.end(); ++variable)
        {
            environment.insert(variable.key(), variable.value());
        }
        const QStringList command = starter + QStringList{QStringLiteral(ZEMO_PLATFORMD)} + arguments;
        EXPECT_TRUE(process.start(command.first(), command.mid(1), environment));
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

TEST(Program, ItEndsWellOnSigtermWhileItAsksADeviceThatIsAway)
{
    const QString file = writeScenario(R"({"parameters": [{"id": 1, "name": "n", "register": 1, "signal":
                                           {"kind": "modbus", "host": "127.0.0.1", "port": 1}}]})");
    Program program({QStringLiteral("--scenario"), file});
    ASSERT_TRUE(program.waitForName());
    EXPECT_TRUE(waitUntil([&] { return program.errors().contains(QStringLiteral("127.0.0.1:1 unit 1 is away")); }))
        << program.errors().toStdString();

    EXPECT_EQ(program.process.terminate(), 0);
}

TEST(Program, ItTellsTheServiceManagerOfItselfWhenItsNameIsOnTheBus)
{
    const QString path = scratchFolder() + QStringLiteral("/notify");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), static_cast<qsizetype>(sizeof address.sun_path));
    std::memcpy(address.sun_path, path.toLatin1().constData(), static_cast<size_t>(path.size()));
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(manager, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const timeval deadline{30, 0};
    ASSERT_EQ(setsockopt(manager, SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline), 0);

    Program program({}, {}, {{"NOTIFY_SOCKET", path}});
    char text[64] = {};
    const ssize_t size = recv(manager, text, sizeof text - 1, 0);

    EXPECT_GT(size, 0);
    EXPECT_STREQ(text, "READY=1");
    EXPECT_TRUE(theBus().hasName(QStringLiteral("com.tarn.zemo.platform")));
    close(manager);
    EXPECT_EQ(program.process.terminate(), 0);
}

TEST(Program, WhatIsMountedBelowTheMediaFolderIsADriveToItsClients)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can mount something where the program sees it";
    }
    const QString media = scratchFolder() + QStringLiteral("/media");
    const QString drive = media + QStringLiteral("/usb1");
    ASSERT_TRUE(QDir().mkpath(drive));
    Program program({QStringLiteral("--media"), media}, {QStringLiteral("unshare"), QStringLiteral("--mount")});
    ASSERT_TRUE(program.waitForName());
    const auto inside = [&](const QStringList& command)
    {
        const QStringList enter = {"--mount", "--target", QString::number(program.process.processId())};
        return QProcess::execute(QStringLiteral("nsenter"), enter + command) == 0;
    };
    zemo::hardware::UsbClient usb(nullptr);
    EXPECT_TRUE(usb.getUsbDrives().isEmpty());

    ASSERT_TRUE(inside({"mount", "-t", "tmpfs", "none", drive}));
    EXPECT_TRUE(waitUntil([&] { return usb.getUsbDrives() == QStringList{drive}; }));
    ASSERT_TRUE(inside({"umount", drive}));
    EXPECT_TRUE(waitUntil([&] { return usb.getUsbDrives().isEmpty(); }));

    EXPECT_EQ(program.process.terminate(), 0);
}

TEST(Program, AMountTableThatCannotBeFollowedEndsItWith71AndAMessage)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can hide the mount table";
    }
    const QString hide = QStringLiteral("mount --bind /dev/null /proc/$$/mountinfo && exec \"$@\"");
    Program program({QStringLiteral("--media"), scratchFolder()}, {"unshare", "--mount", "sh", "-c", hide, "sh"});

    EXPECT_EQ(program.process.waitForEnd(), 71);
    EXPECT_TRUE(program.errors().startsWith(QStringLiteral("the mount table cannot be followed: ")))
        << program.errors().toStdString();
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
    Program program({}, {}, {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus"}});

    EXPECT_EQ(program.process.waitForEnd(), 1);
    EXPECT_FALSE(program.errors().isEmpty());
}

TEST(Program, ABusThatGoesAwayEndsItWithOne)
{
    PrivateBus bus;
    ASSERT_TRUE(bus.start(scratchFolder()));
    Program program({}, {}, {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}});
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
