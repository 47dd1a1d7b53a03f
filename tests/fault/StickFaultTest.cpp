// A stick that is pulled at every call that a job makes on it: from there on all calls under it fail. Runs in the
// sandbox, as the folders that are copied to the stick have fixed places.

#include "FaultyRun.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

void put(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(content);
}

/// Two sticks in the state in which people bring them.
class Sticks
{
public:
    Sticks()
    {
        for (const QString& stick : {first(), next()})
        {
            QDir().mkdir(stick);
            put(stick + "/LOG.SET", "[ZEMOLOG;20240305]\n3\n");
            put(stick + "/STORE.SET", "[ZEMOSET;20240305;Pump]\nsettings\n");
        }
    }

    QString first() const
    {
        return folder.filePath("first");
    }
    QString next() const
    {
        return folder.filePath("next");
    }
    /// Every file of the next stick with its content.
    QMap<QString, QByteArray> onNext() const
    {
        QMap<QString, QByteArray> found;
        collect(next(), found);
        return found;
    }

private:
    static void collect(const QString& path, QMap<QString, QByteArray>& found)
    {
        for (const QFileInfo& each : QDir(path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden))
        {
            QFile file(each.filePath());
            found[each.fileName()] = each.isFile() && file.open(QIODevice::ReadOnly) ? file.readAll() : "a folder";
            if (each.isDir())
            {
                collect(each.filePath(), found);
            }
        }
    }

    QTemporaryDir folder;
};

/// What the raw copies have to take.
void fillFixedFolders()
{
    QDir().mkpath("/var/log/p7zemo/older");
    QDir().mkpath("/var/zemo/crash");
    QDir().mkpath("/var/zemo/var/data");
    put("/var/log/messages", QByteArray(40000, 'm'));
    put("/var/log/p7zemo/trace", QByteArray(40000, 't'));
    put("/var/log/p7zemo/older/trace", QByteArray(100, 'o'));
    put("/var/zemo/crash/core", QByteArray(40000, 'c'));
}

/// In place of the platform's own, which collects more, and tells by its exit code at which of the same steps it
/// failed.
void makeDebugScript()
{
    const QString script = "/usr/bin/getdebugfile.sh";
    put(script, "#!/bin/sh\n"
                "rm -rf \"$2/$3\" || exit 1\n"
                "mkdir \"$2/$3\" && cp -r /var/log \"$2/$3\" || exit 2\n"
                "gzip -n \"$2/$3/log/messages\" || exit 3\n");
    QFile::setPermissions(script, QFile::permissions(script) | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
}

/// The log in internal memory that a run before left would change the numbers of the next.
void clearEnergyLog()
{
    QFile::remove("/var/zemo/var/data/energylog.db3");
}

class JobRun : public FaultyRun
{
public:
    JobRun(const Sticks& sticks, const QString& job, const QString& further = {})
        : FaultyRun(sticks.first() + further)
        , arguments({job, sticks.first(), sticks.next()})
    {
        countTogether();
        clearEnergyLog();
    }
    bool run()
    {
        return FaultyRun::run(STICK_DRIVER, arguments);
    }
    /// The rest of the line that begins so.
    QString told(const QString& what) const
    {
        const QStringList found = output().filter(QRegularExpression('^' + what + ' '));
        return found.value(0).mid(what.size() + 1);
    }

private:
    QStringList arguments;
};

class PulledStick : public testing::TestWithParam<const char*>
{
protected:
    PulledStick()
    {
        fillFixedFolders();
        makeDebugScript();
    }
};

} // namespace

TEST_P(PulledStick, AtAnyCallEndsTheJobLeavesNothingOpenAndTheNextStickWorks)
{
    const Sticks whole;
    JobRun counting(whole, GetParam());
    ASSERT_TRUE(counting.run());
    ASSERT_EQ(counting.output().filter(QRegularExpression("^(first|left|next)")),
              QStringList({"first 1", "left open 0", "next 1"}))
        << qPrintable(counting.output().join('\n'));
    const QStringList calls = counting.calls();
    ASSERT_GT(calls.size(), 5);
    RecordProperty("calls", static_cast<int>(calls.size()));
    for (int call = 1; call <= calls.size(); ++call)
    {
        SCOPED_TRACE(testing::Message() << "pulled at call " << call << " " << qPrintable(calls[call - 1]));
        const Sticks sticks;
        JobRun run(sticks, GetParam());
        run.at(call).action("fail").set("SPAN", "0");

        ASSERT_TRUE(run.run()) << qPrintable(run.output().join('\n'));

        EXPECT_EQ(run.output().filter("hangs"), QStringList());
        EXPECT_EQ(run.told("left open"), "0");
        EXPECT_LE(run.told("traced").toInt(), 20);
        EXPECT_EQ(run.told("next"), "1") << qPrintable(run.output().join('\n'));
        EXPECT_EQ(sticks.onNext(), whole.onNext());
    }
}

INSTANTIATE_TEST_SUITE_P(Fault, PulledStick,
                         testing::Values("MainLog", "CustomLog", "Snapshot", "InternalSnapshotOnTheStick",
                                         "InternalLogToUsb", "SettingsSave", "SettingsRestore", "PowerLogExport",
                                         "EnergyLogExport", "ModbusState", "ModbusMostUsed", "ChangeLog", "AlarmLog",
                                         "SysLog", "SysInfo", "InternalLogsRaw", "CoreDumps", "Folder"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(PulledStickOfAScript, FailsTheScriptAndTheJobTellsSo)
{
    fillFixedFolders();
    makeDebugScript();
    const Sticks sticks;
    JobRun run(sticks, "SysInfo");
    run.at(1).action("fail").set("SPAN", "0");

    ASSERT_TRUE(run.run());

    EXPECT_EQ(run.told("first"), "0") << qPrintable(run.output().join('\n'));
    EXPECT_EQ(run.told("next"), "1");
}

TEST(PulledStickOfCopies, CostsInternalStorageNothing)
{
    fillFixedFolders();
    const QByteArray usual = qgetenv("TMPDIR");
    for (const char* job : {"SysLog", "InternalLogsRaw", "CoreDumps"})
    {
        SCOPED_TRACE(job);
        const Sticks whole;
        const Sticks sticks;
        const QTemporaryDir internal;
        qputenv("TMPDIR", internal.path().toUtf8());
        JobRun counting(whole, job, ':' + internal.path());
        JobRun run(sticks, job, ':' + internal.path());
        qputenv("TMPDIR", usual);
        ASSERT_TRUE(counting.run());
        const QStringList calls = counting.calls();
        const qsizetype folderMade = calls.indexOf(QRegularExpression("^mkdir " + whole.first() + "/.*"));
        ASSERT_GE(folderMade, 0);
        run.at(static_cast<int>(folderMade) + 2).action("fail").set("SPAN", "0");

        ASSERT_TRUE(run.run());

        EXPECT_EQ(run.told("first"), "0") << qPrintable(run.output().join('\n'));
        const QRegularExpression temporary("^open " + internal.path() + "(/qt_temp.*)?$");
        EXPECT_EQ(run.calls().filter(temporary).size(), 0) << qPrintable(run.calls().join('\n'));
    }
}

// A stick that is pulled on the way keeps the alarms up to there, with what belongs to each.
TEST(StickJobs, TheAlarmLogGoesToTheStickLineByLine)
{
    const Sticks sticks;
    JobRun run(sticks, "AlarmLog");

    ASSERT_TRUE(run.run());

    const qsizetype writes = run.calls().filter(QRegularExpression("^write ")).size();
    EXPECT_EQ(writes, 102) << "an alarm of two lines, and 100 of one";
}

TEST(StickJobs, AreAllPulledAt)
{
    FaultyRun run("/nowhere");
    ASSERT_TRUE(run.run(STICK_DRIVER, {"jobs"}));

    const auto* const info = testing::UnitTest::GetInstance();
    QStringList pulled;
    for (int suite = 0; suite < info->total_test_suite_count(); ++suite)
    {
        const auto* const each = info->GetTestSuite(suite);
        for (int test = 0; test < each->total_test_count(); ++test)
        {
            if (const char* const job = each->GetTestInfo(test)->name(); strchr(job, '/'))
            {
                pulled.append(strchr(job, '/') + 1);
            }
        }
    }
    EXPECT_EQ(pulled, run.output());
}

namespace
{

constexpr int Mebibyte = 1024 * 1024;
constexpr int FewLines = 20;

} // namespace

TEST(StickForThreeDays, ThatIsFullKeepsMemoryAndTraceSmall)
{
    fillFixedFolders();
    const Sticks sticks;
    JobRun run(sticks, "three-days");
    run.set("SPACE", "2000");

    ASSERT_TRUE(run.FaultyRun::run(STICK_DRIVER, {"three-days", sticks.first()}));

    EXPECT_EQ(run.told("started"), "1");
    EXPECT_LT(run.told("grown").toInt(), Mebibyte);
    EXPECT_LT(run.told("traced").toInt(), FewLines);
    EXPECT_EQ(run.told("main"), "1 custom 1");
    RecordProperty("grown", run.told("grown").toInt());
    RecordProperty("traced", run.told("traced").toInt());
}

TEST(StickForThreeDays, ThatIsPulledKeepsMemoryAndTraceSmall)
{
    fillFixedFolders();
    const Sticks sticks;
    JobRun run(sticks, "three-days");
    run.set("CALLS", "open,write,truncate,stat,access").action("fail").at(60).set("SPAN", "0");

    ASSERT_TRUE(run.FaultyRun::run(STICK_DRIVER, {"three-days", sticks.first()}));

    EXPECT_EQ(run.told("started"), "1");
    EXPECT_LT(run.told("grown").toInt(), Mebibyte);
    EXPECT_LT(run.told("traced").toInt(), FewLines);
    EXPECT_EQ(run.told("main"), "0 custom 1") << "at midnight the main log wants a new file";
    RecordProperty("grown", run.told("grown").toInt());
    RecordProperty("traced", run.told("traced").toInt());
}
