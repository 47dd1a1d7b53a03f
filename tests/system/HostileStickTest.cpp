// What somebody may have put on a stick: it costs the daemon no hang, no memory to speak of, and nothing outside of the
// stick.

#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>

#include <csignal>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

constexpr char names[][12] = {"log.set", "LOG.SET", "STORE.SET"};
constexpr char outsideText[] = "[ZEMOSET;20240305;Pump]\n77\n";
constexpr qint64 hundredMegabytes = 100'000'000;
constexpr qint64 memoryBound = 96 * 1024; // KiB over what the daemon needs anyway

using Make = bool (*)(const QString& path, const QString& outside);

struct Trap
{
    const char* name;
    Make make;
};

void PrintTo(const Trap& trap, std::ostream* stream)
{
    *stream << trap.name;
}

bool makeSocket(const QString& path, const QString& /*outside*/)
{
    sockaddr_un address{AF_UNIX, {}};
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool made = bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return made;
}

constexpr Trap traps[] = {
    {"Pipe",
     [](const QString& path, const QString&) { return mkfifo(QFile::encodeName(path).constData(), 0600) == 0; }},
    {"Socket", makeSocket},
    {"Folder", [](const QString& path, const QString&) { return QDir().mkpath(path + "/within"); }},
    {"LinkToADeviceThatNeverEnds", [](const QString& path, const QString&) { return QFile::link("/dev/zero", path); }},
    {"LinkToADeviceThatWaits", [](const QString& path, const QString&) { return QFile::link("/dev/tty", path); }},
    {"LinkToItself", [](const QString& path, const QString&) { return QFile::link(path, path); }},
    {"LinkToNothing", [](const QString& path, const QString& outside) { return QFile::link(outside + "/new", path); }},
    {"LinkToAFileOutside",
     [](const QString& path, const QString& outside) { return QFile::link(outside + "/file", path); }},
    {"LinkToAPipeOutside",
     [](const QString& path, const QString& outside)
     {
         mkfifo(QFile::encodeName(outside + "/pipe").constData(), 0600);
         return QFile::link(outside + "/pipe", path);
     }},
};

/// KiB at most since the start.
qint64 peakMemory(qint64 process)
{
    for (const QString& line : linesOf(QStringLiteral("/proc/%1/status").arg(process)))
    {
        if (line.startsWith("VmHWM:"))
        {
            return line.mid(6).trimmed().section(' ', 0, 0).toLongLong();
        }
    }
    return 0;
}

class HostileStick : public SystemTest
{
protected:
    void SetUp() override
    {
        rig.setScenario(smallPlatform);
        ASSERT_TRUE(rig.start());
        ASSERT_TRUE(rig.waitForTick());
    }

    /// Calls the daemon until `condition` holds; the longest time that it took to answer, in milliseconds.
    qint64 longestAnswerUntil(const std::function<bool()>& condition)
    {
        qint64 longest = 0;
        QElapsedTimer whole;
        whole.start();
        while (!condition() && whole.elapsed() < patience.count())
        {
            QElapsedTimer answer;
            answer.start();
            auto call = rig.logd().isUsbLogActive();
            call.waitForFinished();
            if (call.isError())
            {
                ADD_FAILURE() << qPrintable(call.error().message());
                break;
            }
            longest = std::max(longest, answer.elapsed());
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        EXPECT_TRUE(condition());
        return longest;
    }

    /// All that a stick is asked for still works.
    void expectServing(const QString& stick)
    {
        EXPECT_TRUE(rig.waitForTick());
        EXPECT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("default")));
        EXPECT_TRUE(waitForLines(waitForFile(stick, QStringLiteral("*.csv")), 2));
        EXPECT_TRUE(rig.logd().stopLogUsb());
        EXPECT_TRUE(rig.logd().saveModbusStateToUsb());
    }
};

class HostileStickTrap : public HostileStick, public testing::WithParamInterface<Trap>
{
};

} // namespace

TEST_P(HostileStickTrap, InThePlaceOfEveryFileTheDaemonReadsHoldsUpNothingAndLeadsNowhere)
{
    const QString outside = rig.scratch.makeStick("outside");
    rig.scratch.writeFile(outside + "/file", outsideText);
    const QString stick = rig.scratch.makeStick("usb1");
    for (const char* name : names)
    {
        ASSERT_TRUE(GetParam().make(stick + '/' + name, outside)) << name;
    }
    const QStringList before = QDir(outside).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);

    ASSERT_TRUE(rig.platform.insertDrive(stick));
    ASSERT_TRUE(rig.waitForStick(stick));
    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    EXPECT_TRUE(rig.logdSignals().waitFor("restoreSettingsFinished"));
    EXPECT_TRUE(rig.logd().saveSettingsToUSB(0));
    EXPECT_TRUE(rig.logdSignals().waitFor("saveSettingsFinished"));

    EXPECT_EQ(rig.logdSignals().lastArguments("restoreSettingsFinished"), QVariantList({false}));
    expectServing(stick);
    EXPECT_EQ(linesOf(outside + "/file").join('\n') + '\n', QString(outsideText));
    EXPECT_EQ(QDir(outside).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), before);
}

INSTANTIATE_TEST_SUITE_P(HostileStick, HostileStickTrap, testing::ValuesIn(traps),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(HostileStick, ALogSetOfAHundredMegabytesOfIdsIsReadUpToItsLimit)
{
    QByteArray content = "[ZEMOLOG;20240305]\n";
    content += QByteArray("7\n").repeated((hundredMegabytes - content.size()) / 2);
    const qint64 before = peakMemory(rig.daemon.processId());

    const QString stick = rig.insertStick("usb1", {{"LOG.SET", content}});
    const qint64 longest =
        longestAnswerUntil([&] { return rig.platform.callCount("getMetadata") > 0 && rig.waitForTick(); });

    EXPECT_TRUE(rig.daemon.isRunning());
    expectServing(stick);
    const qint64 grown = peakMemory(rig.daemon.processId()) - before;
    EXPECT_LT(grown, memoryBound);
    RecordProperty("longest answer in ms", static_cast<int>(longest));
    RecordProperty("grown by KiB", static_cast<int>(grown));
}

TEST_F(HostileStick, ALogSetOfAMillionDifferentIdsIsRead)
{
    QByteArray content = "[ZEMOLOG;20240305]\n";
    for (int id = 0; id < 1'000'000; ++id)
    {
        content += QByteArray::number(id) + '\n';
    }
    const qint64 before = peakMemory(rig.daemon.processId());

    const QString stick = rig.insertStick("usb1", {{"LOG.SET", content}});
    const qint64 longest =
        longestAnswerUntil([&] { return rig.platform.callCount("getMetadata") > 0 && rig.waitForTick(); });

    EXPECT_TRUE(waitUntil([&] { return rig.platform.lastIds() == QList<int>({5, 12, 30, 77}); }));
    expectServing(stick);
    const qint64 grown = peakMemory(rig.daemon.processId()) - before;
    EXPECT_LT(grown, memoryBound);
    RecordProperty("longest answer in ms", static_cast<int>(longest));
    RecordProperty("grown by KiB", static_cast<int>(grown));
}

TEST_F(HostileStick, ASettingsHeaderOfAHundredMegabytesIsRefusedUnread)
{
    const qint64 before = peakMemory(rig.daemon.processId());
    const QString stick = rig.insertStick(
        "usb1", {{"STORE.SET", "[ZEMOSET;20240305;" + QByteArray(static_cast<qsizetype>(hundredMegabytes), 'P')}});
    ASSERT_TRUE(rig.waitForStick(stick));

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    const qint64 longest = longestAnswerUntil([&] { return rig.logdSignals().count("restoreSettingsFinished") > 0; });

    EXPECT_EQ(rig.logdSignals().lastArguments("restoreSettingsFinished"), QVariantList({false}));
    expectServing(stick);
    const qint64 grown = peakMemory(rig.daemon.processId()) - before;
    EXPECT_LT(grown, 16 * 1024);
    RecordProperty("longest answer in ms", static_cast<int>(longest));
    RecordProperty("grown by KiB", static_cast<int>(grown));
}

TEST_F(HostileStick, SettingsAreHandedOverUpToWhatTheBusCarriesAndNoFurther)
{
    QByteArray content = "[ZEMOSET;20150102;Pump]\n";
    content += QByteArray(31 * 1024 * 1024 - content.size(), 's');
    const QString stick = rig.insertStick("usb1", {{"STORE.SET", content}});
    ASSERT_TRUE(rig.waitForStick(stick));

    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    EXPECT_TRUE(rig.logdSignals().waitFor("restoreSettingsFinished"));
    EXPECT_EQ(rig.logdSignals().lastArguments("restoreSettingsFinished"), QVariantList({true}));
    content += QByteArray(9 * 1024 * 1024, 's');
    rig.scratch.writeFile(stick + "/STORE.SET", content);
    EXPECT_TRUE(rig.logd().restoreSettingsFromUSB());
    EXPECT_TRUE(rig.logdSignals().waitFor("restoreSettingsFinished", 2));

    EXPECT_EQ(rig.logdSignals().lastArguments("restoreSettingsFinished"), QVariantList({false}));
    EXPECT_EQ(rig.platform.callCount("restoreSettings"), 1u);
    expectServing(stick);
}

TEST_F(HostileStick, NamesOfAnyBytesAreLeftAlone)
{
    const QString stick = rig.scratch.makeStick("usb1");
    QRandomGenerator random(1); // the same names every time
    for (int number = 0; number < 2000; ++number)
    {
        QByteArray name;
        for (int length = random.bounded(1, 256); name.size() < length;)
        {
            const char byte = static_cast<char>(random.bounded(1, 256));
            name += byte == '/' ? '\n' : byte;
        }
        const QByteArray path = QFile::encodeName(stick) + '/' + name;
        const bool folder = number % 2 == 0;
        ASSERT_TRUE(name == "." || name == ".." || (folder ? mkdir(path, 0700) : mknod(path, S_IFREG | 0600, 0)) == 0 ||
                    errno == EEXIST);
    }

    ASSERT_TRUE(rig.platform.insertDrive(stick));

    ASSERT_TRUE(rig.waitForStick(stick));
    expectServing(stick);
    EXPECT_FALSE(rig.logd().saveRamLogToUsb(QString()).isError());
    EXPECT_FALSE(rig.logd().createUsbFolder("\n\t*?\u00e9\U0001F600", "").value().isEmpty());
}
