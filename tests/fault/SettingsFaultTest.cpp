#include "FaultyRun.h"
#include "SettingsGeneration.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

constexpr int Oldest = 1;
constexpr int Previous = 2;
constexpr int New = 3;
constexpr int Next = 4;
constexpr int Size = 40000; // more than the buffer of a file

QString driver()
{
    return SETTINGS_DRIVER;
}

QStringList saveArguments(const QString& path, int generation, int size = Size)
{
    return {"save", path, QString::number(generation), QString::number(size)};
}

QByteArray completeFile(int generation)
{
    const QByteArray payload = settingsOfGeneration(generation, Size);
    return "[ZEMOSET;20240305;Pump;" + QCryptographicHash::hash(payload, QCryptographicHash::Sha1).toHex() + "]\n" +
           payload;
}

// A save that was killed early leaves a cut temporary file, one that ended before its last rename a complete one.
enum class Temporary
{
    None,
    Cut,
    Complete
};

// What lies on the stick before a save.
struct Beginning
{
    const char* name;
    bool previous;
    bool old;
    Temporary temporary;
};

void PrintTo(const Beginning& beginning, std::ostream* out)
{
    *out << beginning.name;
}

constexpr Beginning Beginnings[] = {{"Nothing", false, false, Temporary::None},
                                    {"APreviousFile", true, false, Temporary::None},
                                    {"TwoGenerations", true, true, Temporary::None},
                                    {"TwoGenerationsAndALeftover", true, true, Temporary::Cut},
                                    {"OnlyWhatAFailedRenameLeft", false, true, Temporary::Complete},
                                    {"OnlyACompleteTemporaryFile", false, false, Temporary::Complete}};

class Stick
{
public:
    explicit Stick(const Beginning& beginning)
    {
        put("STORE.SET", beginning.previous, completeFile(Previous));
        put("STORE.SET.OLD", beginning.old, completeFile(Oldest));
        put("STORE.SET.TMP", beginning.temporary != Temporary::None,
            beginning.temporary == Temporary::Cut ? completeFile(Previous).left(100) : completeFile(Previous));
    }

    QString root() const
    {
        return folder.path();
    }
    QString path(const QString& name = "STORE.SET") const
    {
        return folder.filePath(name);
    }
    QStringList names() const
    {
        return QDir(root()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                      QDir::Name);
    }
    // The generation that stands complete under that name, 0 for none.
    int generationAt(const QString& name) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::ReadOnly))
        {
            return 0;
        }
        const QByteArray header = file.readLine();
        const QByteArray payload = file.readAll();
        const QByteArray digest = QCryptographicHash::hash(payload, QCryptographicHash::Sha1).toHex();
        return header.startsWith("[ZEMOSET;") && header.endsWith(";" + digest + "]\n") ? generationOf(payload) : 0;
    }
    bool holds(int generation) const
    {
        return generationAt("STORE.SET") == generation || generationAt("STORE.SET.OLD") == generation ||
               generationAt("STORE.SET.TMP") == generation;
    }

private:
    void put(const QString& name, bool wanted, const QByteArray& content) const
    {
        QFile file(path(name));
        if (wanted && file.open(QIODevice::WriteOnly))
        {
            file.write(content);
        }
    }

    QTemporaryDir folder;
};

// Old or new settings are there in full, and nothing but the three names of the format.
void expectOldOrNew(const Stick& stick, const Beginning& beginning)
{
    if (QFile::exists(stick.path()))
    {
        EXPECT_NE(stick.generationAt("STORE.SET"), 0) << "half a file under the proper name";
    }
    if (beginning.previous)
    {
        EXPECT_TRUE(stick.holds(Previous) || stick.holds(New)) << "both the old settings and the new ones are lost";
    }
    else if (beginning.old)
    {
        EXPECT_TRUE(stick.holds(Oldest) || stick.holds(New)) << "the only settings are lost";
    }
    // Nothing is promised for settings that only a temporary file holds: the save gives it up before it has new ones.
    for (const QString& name : stick.names())
    {
        EXPECT_TRUE(QStringList({"STORE.SET", "STORE.SET.OLD", "STORE.SET.TMP"}).contains(name)) << qPrintable(name);
    }
}

// The next save works and clears away what was left.
void expectNextSaveWorks(const Stick& stick)
{
    FaultyRun run(stick.root());
    ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), Next)));
    EXPECT_EQ(run.output(), QStringList({"saveStarted", "saveFinished(1)"}));
    EXPECT_EQ(stick.generationAt("STORE.SET"), Next);
    EXPECT_FALSE(stick.names().contains("STORE.SET.TMP"));
    if (stick.names().contains("STORE.SET.OLD"))
    {
        EXPECT_NE(stick.generationAt("STORE.SET.OLD"), 0);
    }
}

QStringList callsOfASave(const Beginning& beginning)
{
    const Stick stick(beginning);
    FaultyRun run(stick.root());
    EXPECT_TRUE(run.run(driver(), saveArguments(stick.path(), New)));
    EXPECT_EQ(run.output(), QStringList({"saveStarted", "saveFinished(1)"}));
    return run.calls();
}

class SettingsSave : public testing::TestWithParam<Beginning>
{
};

} // namespace

TEST_P(SettingsSave, KilledAtAnyCallLeavesOldOrNewSettings)
{
    const qsizetype calls = callsOfASave(GetParam()).size();
    ASSERT_GT(calls, 5);
    for (int call = 1; call <= calls; ++call)
    {
        for (const char* action : {"kill", "kill-after", "torn"})
        {
            SCOPED_TRACE(testing::Message() << action << " at call " << call);
            const Stick stick(GetParam());
            FaultyRun run(stick.root());
            run.at(call).action(action).run(driver(), saveArguments(stick.path(), New));

            EXPECT_TRUE(run.wasKilled());
            expectOldOrNew(stick, GetParam());
            expectNextSaveWorks(stick);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Fault, SettingsSave, testing::ValuesIn(Beginnings),
                         [](const auto& instance) { return std::string(instance.param.name); });

namespace
{

// What a save tells when that call fails once; empty when it can do without the call.
QString failureOf(const QString& call)
{
    if (call.startsWith("open "))
    {
        return "Save failed - unable to open file";
    }
    if (call.startsWith("write "))
    {
        return "Save failed - not enough space";
    }
    if (call.startsWith("unlink "))
    {
        return call.endsWith(".TMP") ? "Save failed - cannot remove old TMP file"
                                     : "Save failed - cannot remove old settings file";
    }
    if (call.startsWith("rename "))
    {
        return call.endsWith(".TMP") ? "Save failed - cannot rename temporary file"
                                     : "Save failed - cannot rename old file";
    }
    return {};
}

QStringList outputOf(const QString& failure)
{
    if (failure.isEmpty())
    {
        return {"saveStarted", "saveFinished(1)"};
    }
    const QStringList finished = {"saveFinished(0)", failure};
    return failure.endsWith("TMP file") ? finished : QStringList("saveStarted") + finished;
}

} // namespace

TEST(SettingsSaveFaults, EveryCallFailingOnceIsToldOrDoneWithoutAndTheSettingsStayWhole)
{
    const Beginning beginning = Beginnings[3];
    const QStringList calls = callsOfASave(beginning);
    for (const int error : {EIO, ENOSPC, EROFS})
    {
        for (int call = 1; call <= calls.size(); ++call)
        {
            SCOPED_TRACE(testing::Message()
                         << "error " << error << " of call " << call << " " << qPrintable(calls[call - 1]));
            const Stick stick(beginning);
            FaultyRun run(stick.root());
            run.at(call).action("fail").set("ERRNO", QString::number(error));

            ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), New)));

            const QString failure = failureOf(calls[call - 1]);
            EXPECT_EQ(run.output(), outputOf(failure));
            EXPECT_EQ(stick.generationAt("STORE.SET"), failure.isEmpty()                           ? New
                                                       : failure.endsWith("rename temporary file") ? 0
                                                                                                   : Previous);
            expectOldOrNew(stick, beginning);
            expectNextSaveWorks(stick);
        }
    }
}

TEST(SettingsSaveFaults, EveryWriteCutShortOnceIsFinishedByAnother)
{
    const Beginning beginning = Beginnings[1];
    const qsizetype calls = callsOfASave(beginning).filter(QRegularExpression("^write ")).size();
    ASSERT_GT(calls, 0);
    for (int call = 1; call <= calls; ++call)
    {
        const Stick stick(beginning);
        FaultyRun run(stick.root());
        run.at(call).action("short").set("CALLS", "write");

        ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), New)));

        EXPECT_EQ(run.output(), QStringList({"saveStarted", "saveFinished(1)"}));
        EXPECT_EQ(stick.generationAt("STORE.SET"), New);
    }
}

TEST(SettingsSaveFaults, AStickThatFillsUpFailsTheSaveAndKeepsThePreviousFile)
{
    const Beginning beginning = Beginnings[1];
    for (const int space : {0, 1, 70, 75, 4095, 4096, 16383, 16384, 16385, Size - 1, Size})
    {
        SCOPED_TRACE(testing::Message() << space << " bytes");
        const Stick stick(beginning);
        FaultyRun run(stick.root());
        run.set("SPACE", QString::number(space));

        ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), New)));

        EXPECT_EQ(run.output(), outputOf("Save failed - not enough space"));
        EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
        EXPECT_EQ(stick.generationAt("STORE.SET"), Previous);
    }
}

TEST(SettingsSaveFaults, ASmallFileOnAFullStickFailsAtItsFlush)
{
    const Stick stick(Beginnings[1]);
    FaultyRun run(stick.root());
    run.set("SPACE", "50");

    ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), New, 1000)));

    EXPECT_EQ(run.output(), outputOf("Save failed - cannot close file"));
    EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
    EXPECT_EQ(stick.generationAt("STORE.SET"), Previous);
}

TEST(SettingsSaveFaults, AStickPulledAtAnyCallEndsTheSaveWithOldOrNewSettingsOnIt)
{
    const Beginning beginning = Beginnings[2];
    const qsizetype calls = callsOfASave(beginning).size();
    for (int call = 1; call <= calls; ++call)
    {
        SCOPED_TRACE(testing::Message() << "pulled at call " << call);
        const Stick stick(beginning);
        FaultyRun run(stick.root());
        run.at(call).action("fail").set("SPAN", "0");

        ASSERT_TRUE(run.run(driver(), saveArguments(stick.path(), New)));

        ASSERT_FALSE(run.output().isEmpty());
        expectOldOrNew(stick, beginning);
        expectNextSaveWorks(stick);
    }
}

// 200 at every run of the tests; ZEMO_FAULT_RUNS asks for more.
TEST(SettingsSaveFaults, KilledAtARandomMomentLeavesOldOrNewSettings)
{
    constexpr int Longest = 6000; // microseconds, somewhat more than a run takes
    const int runs =
        qEnvironmentVariableIsSet("ZEMO_FAULT_RUNS") ? qEnvironmentVariableIntValue("ZEMO_FAULT_RUNS") : 200;
    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    for (int number = 0; number < runs; ++number)
    {
        const Beginning& beginning = Beginnings[random.bounded(static_cast<int>(std::size(Beginnings)))];
        const int moment = random.bounded(Longest);
        SCOPED_TRACE(testing::Message() << "run " << number << " of seed " << seed << ", " << beginning.name
                                        << ", after " << moment << " us");
        const Stick stick(beginning);
        FaultyRun run(stick.root());

        ASSERT_TRUE(run.runAndKill(driver(), saveArguments(stick.path(), New), moment));

        expectOldOrNew(stick, beginning);
        if (HasFailure())
        {
            return;
        }
    }
}

TEST(SettingsRestoreFaults, EveryCallFailingOnceIsToldOrRestoresTheSettingsWhole)
{
    const Beginning beginning = Beginnings[1];
    const Stick whole(beginning);
    FaultyRun counting(whole.root());
    ASSERT_TRUE(counting.run(driver(), {"restore", whole.path()}));
    ASSERT_EQ(counting.output(), QStringList("generation 2"));
    const qsizetype calls = counting.calls().size();
    ASSERT_GT(calls, 2);
    for (int call = 1; call <= calls; ++call)
    {
        SCOPED_TRACE(testing::Message() << "call " << call << " " << qPrintable(counting.calls()[call - 1]));
        const Stick stick(beginning);
        FaultyRun run(stick.root());
        run.at(call).action("fail");

        ASSERT_TRUE(run.run(driver(), {"restore", stick.path()}));

        const bool restored = run.output() == QStringList("generation 2");
        const bool refused =
            run.output().mid(0, 3) == QStringList({"restoreStarted", "restoreFinished(0)", "generation 0"});
        EXPECT_TRUE(restored || refused) << qPrintable(run.output().join('\n'));
        EXPECT_EQ(stick.names(), QStringList("STORE.SET"));
    }
}
