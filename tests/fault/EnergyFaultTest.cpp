// The energy log's file under faults of the storage, at every call that opening it and twenty adds make. Runs in the
// sandbox, as the file's place is fixed.

#include "../unit/EnergyLogFile.h"
#include "FaultyRun.h"

#include <QSet>

#include <gtest/gtest.h>

namespace
{

constexpr int Before = 300; // rows that are there already, on several pages of the file
constexpr int Adds = 20;
constexpr int After = Before + Adds;

QStringList addArguments(int first, int count)
{
    return {QString::number(first), QString::number(count)};
}

/// A log of `Before` rows, as the daemon itself made it.
QByteArray prepared()
{
    static const QByteArray content = []
    {
        const EnergyLogFile file;
        FaultyRun run(EnergyLogFile::directory);
        EXPECT_TRUE(run.run(ENERGY_DRIVER, addArguments(0, Before)));
        return EnergyLogFile::content();
    }();
    return content;
}

QSet<int> numbersOf(const QStringList& output, const QString& outcome)
{
    QSet<int> numbers;
    for (const QString& line : output)
    {
        if (line.startsWith(outcome + ' '))
        {
            numbers += line.section(' ', 1, 1).remove(':').toInt();
        }
    }
    return numbers;
}

/// The rows that stand in the file, each of which has to be whole.
QSet<int> storedNumbers(const EnergyLogFile& file)
{
    QSet<int> numbers;
    for (const QString& row : file.rows("SELECT value1, value2 FROM hourly WHERE value3 IS NULL"))
    {
        const int number = row.section('|', 0, 0).toInt();
        EXPECT_EQ(row, QStringLiteral("%1|%2").arg(number).arg(2 * number));
        numbers += number;
    }
    return numbers;
}

void expectNothingLost(const EnergyLogFile& file, const QStringList& output)
{
    EXPECT_EQ(file.rows("PRAGMA integrity_check"), QStringList("ok"));
    EXPECT_EQ(file.others(), QStringList()) << "set aside, or a journal that nothing needs any more";
    const QSet<int> stored = storedNumbers(file);
    for (int number = 0; number < Before; ++number)
    {
        EXPECT_TRUE(stored.contains(number)) << "row " << number << " of an earlier run is lost";
    }
    for (const int number : numbersOf(output, "added"))
    {
        EXPECT_TRUE(stored.contains(number)) << "row " << number << " was acknowledged and is lost";
    }
    const bool opened = output.filter("no log:").isEmpty();
    EXPECT_TRUE(!opened || numbersOf(output, "refused").isEmpty());
}

/// Every call under the file's folder of a run without a fault, or those of the kinds named.
QStringList callsOfAdds(const QString& kinds)
{
    const QByteArray content = prepared();
    const EnergyLogFile file;
    file.write(content);
    FaultyRun run(EnergyLogFile::directory);
    EXPECT_TRUE(run.set("CALLS", kinds).run(ENERGY_DRIVER, addArguments(Before, Adds)));
    EXPECT_EQ(numbersOf(run.output(), "added").size(), Adds);
    expectNothingLost(file, run.output());
    return run.calls();
}

// Only a write can be torn, and only what takes space finds none.
constexpr char EveryKind[] = "";
constexpr char Writes[] = "write";
constexpr char TakingSpace[] = "open,write,truncate,allocate,fdatasync,fsync,close";

struct Fault
{
    const char* name;
    const char* action;
    const char* kinds;
    int error;
    const char* span;
};

void PrintTo(const Fault& fault, std::ostream* out)
{
    *out << fault.name;
}

std::string nameOf(const testing::TestParamInfo<Fault>& instance)
{
    return instance.param.name;
}

class EnergyLogKilled : public testing::TestWithParam<Fault>
{
};

class EnergyLogFailing : public testing::TestWithParam<Fault>
{
};

} // namespace

TEST_P(EnergyLogKilled, AtAnyCallOfTwentyAddsLosesNoAcknowledgedRow)
{
    const qsizetype calls = callsOfAdds(GetParam().kinds).size();
    ASSERT_GT(calls, 10 * Adds);
    RecordProperty("calls", static_cast<int>(calls));
    for (int call = 1; call <= calls && !HasFailure(); ++call)
    {
        SCOPED_TRACE(testing::Message() << GetParam().action << " at call " << call);
        const EnergyLogFile file;
        file.write(prepared());
        FaultyRun run(EnergyLogFile::directory);
        run.set("CALLS", GetParam().kinds)
            .at(call)
            .action(GetParam().action)
            .run(ENERGY_DRIVER, addArguments(Before, Adds));
        EXPECT_TRUE(run.wasKilled());

        FaultyRun next(EnergyLogFile::directory);
        ASSERT_TRUE(next.run(ENERGY_DRIVER, addArguments(After, 1)));

        EXPECT_EQ(next.output(), QStringList(QStringLiteral("added %1").arg(After)));
        expectNothingLost(file, run.output() + next.output());
    }
}

INSTANTIATE_TEST_SUITE_P(Fault, EnergyLogKilled,
                         testing::Values(Fault{"Before", "kill", EveryKind, 0, "1"},
                                         Fault{"Torn", "torn", Writes, 0, "1"}),
                         nameOf);

TEST_P(EnergyLogFailing, FromAnyCallOfTwentyAddsOnLosesNoAcknowledgedRowAndAddsWorkAfterwards)
{
    const QStringList calls = callsOfAdds(GetParam().kinds);
    qsizetype refusedCommits = 0;
    ASSERT_GT(calls.size(), 10 * Adds);
    RecordProperty("calls", static_cast<int>(calls.size()));
    QTemporaryDir folder;
    const QString cause = folder.filePath("cause");
    for (int call = 1; call <= calls.size() && !HasFailure(); ++call)
    {
        SCOPED_TRACE(testing::Message() << "call " << call << " " << qPrintable(calls[call - 1]));
        const EnergyLogFile file;
        file.write(prepared());
        ASSERT_TRUE(QFile(cause).open(QIODevice::WriteOnly));
        FaultyRun run(EnergyLogFile::directory);
        run.at(call).action("fail").set("SPAN", GetParam().span).set("WHILE", cause);
        run.set("CALLS", GetParam().kinds).set("ERRNO", QString::number(GetParam().error));

        ASSERT_TRUE(run.run(ENERGY_DRIVER, addArguments(Before, Adds) << cause));

        EXPECT_EQ(run.exitCode(), 0) << qPrintable(run.output().join('\n'));
        EXPECT_EQ(run.output().last(), QStringLiteral("added %1").arg(After));
        expectNothingLost(file, run.output());
        refusedCommits += numbersOf(run.output(), "uncommitted").size();
    }
    // The one way to lose a row that was answered with true. The clean-up behind it has to work again.
    EXPECT_TRUE(refusedCommits > 0 || QLatin1String(GetParam().span) == "0");
}

INSTANTIATE_TEST_SUITE_P(Fault, EnergyLogFailing,
                         testing::Values(Fault{"OnceUnreadable", "fail", EveryKind, EIO, "1"},
                                         Fault{"Unreadable", "fail", EveryKind, EIO, "0"},
                                         Fault{"OnceFull", "fail", TakingSpace, ENOSPC, "1"},
                                         Fault{"Full", "fail", TakingSpace, ENOSPC, "0"}),
                         nameOf);
