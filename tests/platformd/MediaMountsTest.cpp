#include "MediaMounts.h"
#include "NothingCanBeOpened.h"
#include "Platform.h"
#include "Text.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using platformd::MediaMounts;
using platformd::Platform;

namespace
{

void writeFile(const char* path, const QByteArray& text)
{
    QFile file(QString::fromLatin1(path));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path;
    EXPECT_EQ(file.write(text), text.size()) << path;
}

/// Gives this process mounts of its own. Who isn't root becomes root of a user namespace for that.
bool leaveTheMountsOfTheMachine()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    if (getuid() == 0 ? unshare(CLONE_NEWNS) != 0 : unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
    {
        return false;
    }
    if (user != "0")
    {
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + user + " 1");
        writeFile("/proc/self/gid_map", "0 " + group + " 1");
    }
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

int messages = 0;

void countMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& /*text*/)
{
    ++messages;
}

/// A folder for mounts that this process alone sees, and a platform whose drives follow them.
struct MediaMountsTest : testing::Test
{
    void SetUp() override
    {
        if (!leaveTheMountsOfTheMachine())
        {
            GTEST_SKIP() << "new mount namespaces are refused here";
        }
        mounts = std::make_unique<MediaMounts>(media);
        QObject::connect(mounts.get(), &MediaMounts::changed, &platform, &Platform::setMounted);
        ASSERT_TRUE(mounts->watch());
    }

    ~MediaMountsTest() override
    {
        while (!mounted.isEmpty())
        {
            detach(mounted.last());
        }
    }

    QString attach(const QString& name)
    {
        const QString path = media + QLatin1Char('/') + name;
        EXPECT_TRUE(QDir().mkpath(path));
        EXPECT_EQ(mount("none", path.toLocal8Bit().constData(), "tmpfs", 0, nullptr), 0);
        mounted.append(path);
        return path;
    }

    void detach(const QString& path)
    {
        EXPECT_EQ(umount2(path.toLocal8Bit().constData(), MNT_DETACH), 0);
        mounted.removeOne(path);
    }

    bool soon(const QStringList& drives)
    {
        return QTest::qWaitFor([&] { return platform.drives() == drives; }, 30000);
    }

    QTemporaryDir folder;
    QString media = folder.path();
    QStringList mounted;
    Platform platform{platformd::parseScenario(R"({"drives": ["/stick"]})", {}).scenario, [] { return 0; }};
    std::unique_ptr<MediaMounts> mounts;
};

} // namespace

TEST_F(MediaMountsTest, WhatIsMountedBelowTheFolderIsADriveUntilItIsUnmounted)
{
    QSignalSpy inserted(&platform, &Platform::driveInserted);
    QSignalSpy removed(&platform, &Platform::driveRemoved);

    const QString first = attach(QStringLiteral("usb1"));
    EXPECT_TRUE(soon({"/stick", first}));
    const QString second = attach(QStringLiteral("user/usb2"));
    EXPECT_TRUE(soon({"/stick", first, second}));
    detach(first);
    EXPECT_TRUE(soon({"/stick", second}));

    EXPECT_EQ(inserted.size(), 2);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed.first().first().toString(), first);
}

TEST_F(MediaMountsTest, TheFolderItselfAndItsNeighboursAreNoDrives)
{
    media = folder.path() + QStringLiteral("/media");
    mounts = std::make_unique<MediaMounts>(media);

    attach(QStringLiteral("."));
    attach(QStringLiteral("../media2"));
    const QString drive = attach(QStringLiteral("usb1"));

    EXPECT_EQ(mounts->mountPoints(), QStringList{drive});
}

TEST_F(MediaMountsTest, AFolderThatIsALinkIsFollowedAndTheDriveHasItsRealPath)
{
    const QString link = folder.path() + QStringLiteral("-link");
    ASSERT_TRUE(QFile::link(media, link));

    const MediaMounts throughLink(link);
    const QString drive = attach(QStringLiteral("usb1"));

    EXPECT_EQ(throughLink.mountPoints(), QStringList{drive});
    QFile::remove(link);
}

TEST_F(MediaMountsTest, ADriveWithAPathForAShellIsNotReported)
{
    attach(QStringLiteral("my stick"));
    const QString drive = attach(QStringLiteral("usb1"));

    EXPECT_TRUE(soon({"/stick", drive}));
    EXPECT_EQ(mounts->mountPoints().value().size(), 2);
}

TEST_F(MediaMountsTest, AMountOverAMountIsTheSameDriveUntilBothAreGone)
{
    QSignalSpy inserted(&platform, &Platform::driveInserted);
    QSignalSpy changed(mounts.get(), &MediaMounts::changed);
    const QString drive = attach(QStringLiteral("usb1"));
    EXPECT_TRUE(soon({"/stick", drive}));
    attach(QStringLiteral("usb1"));
    detach(drive);
    EXPECT_TRUE(changed.wait(30000));

    EXPECT_EQ(platform.drives(), (QStringList{"/stick", drive}));
    EXPECT_EQ(inserted.size(), 1);
    detach(drive);
    EXPECT_TRUE(soon({"/stick"}));
}

TEST_F(MediaMountsTest, AReplacedScenarioLeavesTheMountedDrives)
{
    const QString drive = attach(QStringLiteral("usb1"));
    ASSERT_TRUE(soon({"/stick", drive}));
    QSignalSpy removed(&platform, &Platform::driveRemoved);

    platform.replaceScenario(platformd::parseScenario(R"({"drives": ["/other"]})", {}).scenario);

    EXPECT_EQ(platform.drives(), (QStringList{"/other", drive}));
    EXPECT_EQ(removed.size(), 1);
    detach(drive);
    EXPECT_TRUE(soon({"/other"}));
}

TEST_F(MediaMountsTest, AMountTableThatCannotBeReadPullsNoStickAndIsReadLater)
{
    const QString first = attach(QStringLiteral("usb1"));
    ASSERT_TRUE(soon({"/stick", first}));
    QSignalSpy removed(&platform, &Platform::driveRemoved);
    const QtMessageHandler before = qInstallMessageHandler(countMessage);
    QString second;
    {
        const NothingCanBeOpened guard;
        EXPECT_EQ(mounts->mountPoints(), std::nullopt);
        second = attach(QStringLiteral("usb2"));
        EXPECT_TRUE(QTest::qWaitFor([] { return messages > 1; }, 30000));
        EXPECT_EQ(platform.drives(), (QStringList{"/stick", first}));
    }
    qInstallMessageHandler(before);

    EXPECT_TRUE(soon({"/stick", first, second}));
    EXPECT_EQ(removed.size(), 0);
}

TEST_F(MediaMountsTest, AStickWithAFatFileSystemIsADriveThatKeepsWhatIsWrittenToIt)
{
    const QString image = folder.path() + QStringLiteral("/stick.img");
    QFile file(image);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(4 << 20));
    if (QProcess::execute(QStringLiteral("/sbin/mkfs.vfat"), {image}) != 0)
    {
        GTEST_SKIP() << "no mkfs.vfat here (package dosfstools)";
    }
    const QString drive = media + QStringLiteral("/usb1");
    ASSERT_TRUE(QDir().mkpath(drive));
    if (QProcess::execute(QStringLiteral("mount"), {"-t", "vfat", "-o", "loop", image, drive}) != 0)
    {
        GTEST_SKIP() << "FAT images cannot be mounted here: no right to, no loop devices, or a kernel without FAT";
    }
    mounted.append(drive);

    EXPECT_TRUE(soon({"/stick", drive}));
    QFile written(drive + QStringLiteral("/file"));
    EXPECT_TRUE(written.open(QIODevice::WriteOnly) && written.write("1234") == 4);
    written.close();
    EXPECT_EQ(umount(drive.toLocal8Bit().constData()), 0);
    mounted.clear();
    EXPECT_TRUE(soon({"/stick"}));
}
