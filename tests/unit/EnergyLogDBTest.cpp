#include "energylog/energylogdb.h"

#include "EnergyLogFile.h"
#include "FakePlatform.h"
#include "FullMedium.h"
#include "RunOnQueue.h"
#include "TimeZone.h"
#include "Trace.h"

#include <QDateTime>
#include <QProcess>
#include <QSet>

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int invalid = -32768;
const ushort year = comingYear();
const QString allHourly = QStringLiteral("SELECT * FROM hourly ORDER BY hour");
const QString allMonthly = QStringLiteral("SELECT * FROM monthly ORDER BY month");

class EnergyLogDBTest : public testing::Test
{
protected:
    EnergyLogDBTest()
    {
        openTrace();
    }

    /// What a new run of the daemon would have.
    void restart()
    {
        db.reset();
        db = std::make_unique<EnergyLogDB>(nullptr);
        platform.clearTrace();
    }

    QStringList hours(ushort ofYear = year)
    {
        return shown(db->getHourly(ofYear, 1, 1, 0, ofYear, 12, 31, 23));
    }

    QStringList months(ushort ofYear = year)
    {
        return shown(db->getMonthly(ofYear, 1, ofYear, 12));
    }

    FakePlatform platform;
    EnergyLogFile file;
    std::unique_ptr<EnergyLogDB> db = std::make_unique<EnergyLogDB>(nullptr);
};

/// The log gives up at once where it would wait five seconds for another program.
void waitForNoLock()
{
    runOnQueue(zemo::SQLiteDB::executor(),
               []
               {
                   QSqlQuery(QSqlDatabase::database(QStringLiteral("zemologd-energylog"), false))
                       .exec(QStringLiteral("PRAGMA busy_timeout = 0"));
               });
}

/// Another program within a transaction that has read the file.
class LastingReader
{
public:
    LastingReader()
    {
        m_connection.execute(QStringLiteral("PRAGMA busy_timeout = 0"));
        m_connection.execute(QStringLiteral("BEGIN"));
        m_connection.execute(allHourly);
    }

private:
    EnergyLogFile::Connection m_connection;
};

/// A plain SQLite table of the log's shape with the named value columns.
QString plainTable(const char* name, const char* key, const char* columns)
{
    return QStringLiteral("CREATE TABLE %1 (%2 INTEGER NOT NULL PRIMARY KEY ON CONFLICT REPLACE, %3)")
        .arg(QLatin1String(name), QLatin1String(key), QLatin1String(columns));
}

/// A file made by another program, with both tables at the same columns.
void makePlainFile(const EnergyLogFile& file, const char* columns)
{
    file.run({plainTable("hourly", "hour", columns), plainTable("monthly", "month", columns)});
}

/// The key of a local time by the C library, not by Qt.
qint64 keyOf(int ofYear, int month, int day, int hour)
{
    tm local{};
    local.tm_year = ofYear - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_isdst = -1;
    return mktime(&local);
}

/// The day on which central Europe changes its clocks.
QDate lastSunday(int ofYear, int month)
{
    const QDate last = QDate(ofYear, month, 1).addMonths(1).addDays(-1);
    return last.addDays(-(last.dayOfWeek() % 7));
}

/// Counts the messages of one kind whose text starts so.
int traced(FakePlatform& platform, const std::string& module, uint32_t level, const std::string& function,
           const std::string& start)
{
    int count = 0;
    for (const FakeTraceLine& line : platform.trace())
    {
        count += line.module == module && line.level == level && line.function == function &&
                 line.text.compare(0, start.size(), start) == 0;
    }
    return count;
}

/// The text of the sql_error that `action` throws, empty for none.
template <class Action> std::string sqlErrorOf(Action action)
{
    try
    {
        action();
    }
    catch (const zemo::SQLiteDB::sql_error& error)
    {
        return error.what();
    }
    return {};
}

} // namespace

// Before init

TEST_F(EnergyLogDBTest, BeforeInitEveryOperationAnswersNothingAndTheQueueIsLeftAlone)
{
    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {})));
    EXPECT_FALSE(db->addHourlyEntries({}));
    EXPECT_FALSE(db->addMonthlyEntry(entry(year, 3, 1, 0, {})));
    EXPECT_FALSE(db->summarizeMonth(year, 3, {}));
    EXPECT_TRUE(hours().isEmpty());
    EXPECT_TRUE(months().isEmpty());

    EXPECT_FALSE(QSqlDatabase::contains(QStringLiteral("zemologd-energylog")));
}

TEST_F(EnergyLogDBTest, NoColumnsAreRefusedAndNotEvenTheDirectoryIsMade)
{
    file.removeDirectory();

    EXPECT_FALSE(db->init(0, invalid));

    EXPECT_FALSE(file.directoryExists());
}

TEST_F(EnergyLogDBTest, FiftyOneColumnsAreRefusedButTheDirectoryIsMade)
{
    file.removeDirectory();

    EXPECT_FALSE(db->init(51, invalid));

    EXPECT_TRUE(file.directoryExists());
    EXPECT_TRUE(file.others().isEmpty());
    EXPECT_FALSE(QFile::exists(EnergyLogFile::path));
}

TEST_F(EnergyLogDBTest, FiftyColumnsAreAccepted)
{
    EXPECT_TRUE(db->init(50, invalid));

    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM pragma_table_info('hourly')")), 51);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, QList<int>(50, 3))));
}

TEST_F(EnergyLogDBTest, TheDirectoryIsMadeOneLevelDeepOnly)
{
    QDir(QStringLiteral("/var/zemo/var")).removeRecursively();

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }), "");

    EXPECT_FALSE(QFile::exists(QStringLiteral("/var/zemo/var")));
}

// Init and the shape of the file

TEST_F(EnergyLogDBTest, ANewFileHasTheTwoTables)
{
    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_EQ(file.rows(QStringLiteral("SELECT sql FROM sqlite_master ORDER BY name")),
              (QStringList{QStringLiteral("CREATE TABLE hourly (hour INTEGER NOT NULL PRIMARY KEY ON CONFLICT REPLACE, "
                                          "value1 INTEGER, value2 INTEGER)"),
                           QStringLiteral("CREATE TABLE monthly (month INTEGER NOT NULL PRIMARY KEY ON CONFLICT "
                                          "REPLACE, value1 INTEGER, value2 INTEGER)")}));
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, InitMakesAConnectionWithTheNameOfTheLog)
{
    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_TRUE(QSqlDatabase::contains(QStringLiteral("zemologd-energylog")));
}

TEST_F(EnergyLogDBTest, ALaterObjectRegistersNoTraceModuleOfItsOwn)
{
    const std::vector<std::string> before = platform.history();

    const EnergyLogDB later(nullptr);

    EXPECT_EQ(platform.history(), before);
}

TEST_F(EnergyLogDBTest, ASecondInitAnswersFalseAndTheFirstCountAndInvalidValueStay)
{
    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_FALSE(db->init(2, invalid));
    EXPECT_FALSE(db->init(3, 99));

    EXPECT_EQ(db->invalidValue(), invalid);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 8, {1, 2, 3})));
}

TEST_F(EnergyLogDBTest, AnEmptyFileBecomesALog)
{
    file.write({});

    EXPECT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {5})));
    EXPECT_TRUE(platform.trace().empty());
    EXPECT_TRUE(file.others().isEmpty());
}

TEST_F(EnergyLogDBTest, AFileWithFourColumnsOpenedWithSixIsWidenedByTwo)
{
    makePlainFile(file, "value1 INTEGER, value2 INTEGER, value3 INTEGER, value4 INTEGER");
    file.run({QStringLiteral("INSERT INTO hourly VALUES (%1, 1, 2, 3, 4)").arg(keyOf(year, 3, 5, 7)),
              QStringLiteral("INSERT INTO monthly VALUES (%1, 5, 6, 7, 8)").arg(keyOf(year, 3, 1, 0))});

    EXPECT_TRUE(db->init(6, invalid));

    EXPECT_EQ(platform.traceCount("EnergyLogDB", 2, "expandTable", "Adding new columns, diff: 2"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
    EXPECT_EQ(file.rows(allHourly), QStringList{QStringLiteral("%1|1|2|3|4|NULL|NULL").arg(keyOf(year, 3, 5, 7))});
    EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("%1|5|6|7|8|NULL|NULL").arg(keyOf(year, 3, 1, 0))});
    EXPECT_EQ(file.rows(QStringLiteral("SELECT name FROM pragma_table_info('monthly') WHERE cid > 4")),
              (QStringList{QStringLiteral("value5"), QStringLiteral("value6")}));
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|1|2|3|4|-32768|-32768").arg(year)});
}

TEST_F(EnergyLogDBTest, AFileWithSixColumnsOpenedWithFourIsLeftAsItIs)
{
    makePlainFile(file,
                  "value1 INTEGER, value2 INTEGER, value3 INTEGER, value4 INTEGER, value5 INTEGER, value6 INTEGER");
    const qint64 seven = keyOf(year, 3, 5, 7);
    const qint64 eight = keyOf(year, 3, 5, 8);
    file.run({QStringLiteral("INSERT INTO hourly VALUES (%1, 1, 2, 3, 4, 5, 6), (%2, 1, 2, 3, 4, 5, 6)")
                  .arg(seven)
                  .arg(eight)});

    EXPECT_TRUE(db->init(4, invalid));
    EXPECT_TRUE(platform.trace().empty());
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 8, {9, 9, 9, 9})));

    EXPECT_EQ(file.rows(allHourly), (QStringList{QStringLiteral("%1|1|2|3|4|5|6").arg(seven),
                                                 QStringLiteral("%1|9|9|9|9|NULL|NULL").arg(eight)}));
    EXPECT_EQ(hours().value(0), QStringLiteral("%1-3-5 7|1|2|3|4").arg(year));
}

TEST_F(EnergyLogDBTest, AFileWithTheColumnsAskedForIsTakenAsItIs)
{
    ASSERT_TRUE(db->init(3, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3})));
    restart();

    EXPECT_TRUE(db->init(3, invalid));

    EXPECT_TRUE(platform.trace().empty());
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|1|2|3").arg(year)});
}

TEST_F(EnergyLogDBTest, AMonthlyTableOfAnotherShapeRollsTheWideningBackWhole)
{
    file.run({plainTable("hourly", "hour", "value1 INTEGER"),
              plainTable("monthly", "month", "value1 INTEGER, value3 INTEGER"),
              QStringLiteral("INSERT INTO hourly VALUES (1000, 1)")});

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }).find("duplicate column"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "expandTable", "Failed to add monthly column, Error :duplicate"), 1);
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM pragma_table_info('hourly')")), 2);
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM pragma_table_info('monthly')")), 3);
    EXPECT_EQ(file.rows(allHourly), QStringList{QStringLiteral("1000|1")}) << "the clean-up comes after the widening";
    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3}))) << "not initialised";
}

TEST_F(EnergyLogDBTest, ColumnsThatCannotBeCountedAreThrownWithoutATrace)
{
    file.run({QStringLiteral("CREATE TABLE pragma_table_info (x)")}); // hides the function of that name

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }), "");

    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, AnHourlyColumnThatCannotBeAddedIsTracedAndThrown)
{
    makePlainFile(file, "value1 INTEGER, value3 INTEGER");

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }).find("duplicate column"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "expandTable", "Failed to add hourly column, Error :duplicate"), 1);
}

TEST_F(EnergyLogDBTest, EachNumberIsAddedToTheHourlyTableAndThenToTheMonthlyOne)
{
    // Both second steps would fail: hourly at value3, monthly at value2. The monthly one comes first.
    file.run({plainTable("hourly", "hour", "value3 INTEGER"), plainTable("monthly", "month", "value2 INTEGER")});

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }), "");

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "expandTable", "Failed to add monthly column"), 1);
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "expandTable", "Failed to add hourly column"), 0);
}

TEST_F(EnergyLogDBTest, TheColumnsOfAFileAreCountedInEightBits)
{
    QStringList columns;
    for (int i = 1; i <= 199; ++i)
    {
        columns.append(QStringLiteral("value%1 INTEGER").arg(i));
    }
    makePlainFile(file, qPrintable(columns.join(QStringLiteral(", "))));

    EXPECT_NE(sqlErrorOf([&] { db->init(6, invalid); }), "");

    // 200 columns with the key read as -56, so 63 seem to be missing: value200 to value255, then value0, then value1.
    EXPECT_EQ(platform.traceCount("EnergyLogDB", 2, "expandTable", "Adding new columns, diff: 63"), 1);
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "expandTable",
                     "Failed to add hourly column, Error :duplicate column name: value1"),
              1);
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM pragma_table_info('hourly')")), 200);
}

TEST_F(EnergyLogDBTest, AnHourlyTableThatCannotBeMadeIsTracedAndThrown)
{
    file.run({QStringLiteral("CREATE TABLE t (x)"), QStringLiteral("CREATE INDEX hourly ON t (x)")});

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }).find("already an index"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "createTables", "Failed to create hourly table, Error :there is"), 1);
}

TEST_F(EnergyLogDBTest, AMonthlyTableThatCannotBeMadeIsTracedAndThrown)
{
    file.run({QStringLiteral("CREATE TABLE t (x)"), QStringLiteral("CREATE INDEX monthly ON t (x)")});

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }).find("already an index"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "createTables", "Failed to create monthly table, Error :there is"), 1);
}

TEST_F(EnergyLogDBTest, AFileThatCannotBeOpenedIsTracedAndThrownAndALaterInitWorks)
{
    QDir().mkdir(EnergyLogFile::path);

    EXPECT_NE(sqlErrorOf([&] { db->init(3, invalid); }), "");
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Could not open database, Error :"), 1);
    EXPECT_EQ(db->invalidValue(), invalid) << "kept as given";

    QDir().rmdir(EnergyLogFile::path);
    EXPECT_TRUE(db->init(2, 7));
    EXPECT_EQ(db->invalidValue(), 7);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
}

TEST_F(EnergyLogDBTest, InitVacuumsTheFile)
{
    makePlainFile(file, "value1 INTEGER");
    file.run({QStringLiteral("CREATE TABLE ballast (x)"),
              QStringLiteral("INSERT INTO ballast VALUES (zeroblob(200000))"), QStringLiteral("DROP TABLE ballast")});
    ASSERT_GT(QFile(EnergyLogFile::path).size(), 200000);

    EXPECT_TRUE(db->init(1, invalid));

    EXPECT_LT(QFile(EnergyLogFile::path).size(), 20000);
}

TEST_F(EnergyLogDBTest, AWriteDoesNotVacuumTheFile)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("CREATE TABLE ballast (x)"),
              QStringLiteral("INSERT INTO ballast VALUES (zeroblob(200000))"), QStringLiteral("DROP TABLE ballast")});

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1})));
    EXPECT_TRUE(db->addHourlyEntries({entry(year, 3, 5, 8, {2})}));
    EXPECT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {3})));
    EXPECT_TRUE(db->summarizeMonth(year, 3, {false}));

    EXPECT_GT(QFile(EnergyLogFile::path).size(), 200000);
}

TEST_F(EnergyLogDBTest, AVacuumWithoutRoomIsThrownWithoutATrace)
{
    makePlainFile(file, "value1 INTEGER");
    file.run(
        {QStringLiteral("CREATE TABLE ballast (x)"), QStringLiteral("INSERT INTO ballast VALUES (zeroblob(200000))")});

    {
        const FullMedium disk(20000);
        EXPECT_NE(sqlErrorOf([&] { db->init(1, invalid); }), "");
    }

    EXPECT_TRUE(platform.trace().empty());
    EXPECT_TRUE(db->init(1, invalid)) << "with room again";
}

TEST_F(EnergyLogDBTest, AReadOnlyFileIsTracedAndThrownAndALaterInitWorks)
{
    makePlainFile(file, "value1 INTEGER");
    chmod(EnergyLogFile::path, 0444);
    if (access(EnergyLogFile::path, W_OK) == 0)
    {
        GTEST_SKIP() << "rights mean nothing to this user";
    }

    EXPECT_NE(sqlErrorOf([&] { db->init(1, invalid); }).find("readonly"), std::string::npos);
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "cleanupOld", "Failed delete hourly, Error :attempt to write"), 1);
    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {1})));
    EXPECT_TRUE(file.others().isEmpty()) << "nothing says that the file is damaged";

    chmod(EnergyLogFile::path, 0644);
    EXPECT_TRUE(db->init(1, invalid));
}

// Recovery

TEST_F(EnergyLogDBTest, AFileOfRandomBytesLiesBesideANewLogAfterwards)
{
    QByteArray noise;
    for (quint32 state = 12345; noise.size() < 20000; state = state * 1664525 + 1013904223)
    {
        noise.append(static_cast<char>(state >> 24));
    }
    file.write(noise);

    EXPECT_TRUE(db->init(2, invalid));

    EXPECT_EQ(platform.traceCount("Main", 5, "operator()", "Energylog db appears to be corrupt, attempt to recover"),
              1);
    EXPECT_EQ(platform.trace().size(), 1U);
    ASSERT_EQ(file.others().size(), 1);
    EXPECT_EQ(EnergyLogFile::content(QDir(EnergyLogFile::directory).filePath(file.others()[0])), noise);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|1|2").arg(year)});
}

TEST_F(EnergyLogDBTest, ALogWithADamagedPageLiesBesideANewLogAfterwards)
{
    ASSERT_TRUE(db->init(2, invalid));
    QListEnergyLogEntry entries;
    for (int i = 0; i < 28 * 24; ++i)
    {
        entries.append(entry(year, 2, static_cast<uchar>(1 + i / 24), static_cast<uchar>(i % 24), {i, -i}));
    }
    ASSERT_TRUE(db->addHourlyEntries(entries));
    restart();
    QByteArray content = EnergyLogFile::content();
    ASSERT_GE(content.size(), 5 * 4096);
    content.replace(4 * 4096, 4096, QByteArray(4096, '\xa5'));
    file.write(content);

    EXPECT_TRUE(db->init(2, invalid));

    EXPECT_EQ(platform.traceCount("Main", 5, "operator()", "Energylog db appears to be corrupt, attempt to recover"),
              1);
    ASSERT_EQ(file.others().size(), 1);
    EXPECT_EQ(EnergyLogFile::content(QDir(EnergyLogFile::directory).filePath(file.others()[0])), content);
    EXPECT_TRUE(hours().isEmpty());
}

TEST_F(EnergyLogDBTest, AFailedBackupIsTracedAndWhatFollowsIsTriedAllTheSame)
{
    file.write("no database at all");
    chmod(EnergyLogFile::directory, 0555);
    if (access(EnergyLogFile::directory, W_OK) == 0)
    {
        chmod(EnergyLogFile::directory, 0755);
        GTEST_SKIP() << "rights mean nothing to this user";
    }

    EXPECT_NE(sqlErrorOf([&] { db->init(2, invalid); }).find("file is not a database"), std::string::npos);

    chmod(EnergyLogFile::directory, 0755);
    EXPECT_EQ(platform.traceCount("Main", 5, "operator()", "Energylog db appears to be corrupt, attempt to recover"),
              1);
    EXPECT_EQ(traced(platform, "Main", 5, "operator()", "Failed to backup & reset database; cannot move"), 1);
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "createTables", "Failed to create hourly table, Error :file is not"),
              1);
    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
    EXPECT_EQ(EnergyLogFile::content(), "no database at all");
}

// Adding rows

TEST_F(EnergyLogDBTest, AnHourIsStoredUnderItsLocalTime)
{
    const TimeZone zone("Asia/Kolkata");
    ASSERT_TRUE(db->init(3, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, -2, 2147483647})));

    EXPECT_EQ(file.rows(allHourly), QStringList{QStringLiteral("%1|1|-2|2147483647").arg(keyOf(year, 3, 5, 7))});
    EXPECT_EQ(keyOf(year, 3, 5, 7) % 3600, 1800) << "half an hour off UTC";
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, AMonthIsStoredUnderItsFirstMidnightWhateverDayAndHourAre)
{
    const TimeZone zone("Europe/Berlin");
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addMonthlyEntry(entry(year, 7, 19, 13, {5})));

    EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("%1|5").arg(keyOf(year, 7, 1, 0))});
    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-7-1 0|5").arg(year)});
}

TEST_F(EnergyLogDBTest, TheKeyOfAMonthIsStoredInThirtyTwoBitsWithoutASign)
{
    const TimeZone zone("UTC");
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addMonthlyEntry(entry(1960, 1, 1, 0, {5})));

    EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("3979348096|5")}) << "2^32 - 315619200";
}

TEST_F(EnergyLogDBTest, TheInvalidValueIsStoredAsNull)
{
    ASSERT_TRUE(db->init(3, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, invalid, 0})));
    EXPECT_TRUE(db->addHourlyEntries({entry(year, 3, 5, 8, {invalid, 2, 0})}));
    EXPECT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {1, 2, invalid})));

    EXPECT_EQ(file.rows(QStringLiteral("SELECT value1, value2, value3 FROM hourly ORDER BY hour")),
              (QStringList{QStringLiteral("1|NULL|0"), QStringLiteral("NULL|2|0")}));
    EXPECT_EQ(file.rows(QStringLiteral("SELECT value1, value2, value3 FROM monthly")),
              QStringList{QStringLiteral("1|2|NULL")});
}

TEST_F(EnergyLogDBTest, ARowOfInvalidValuesOnlyIsAStoredRow)
{
    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {invalid, invalid})));

    EXPECT_EQ(file.rows(allHourly), QStringList{QStringLiteral("%1|NULL|NULL").arg(keyOf(year, 3, 5, 7))});
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|-32768|-32768").arg(year)});
}

TEST_F(EnergyLogDBTest, AnEntryThatIsTooShortIsRefusedAndNothingWritten)
{
    ASSERT_TRUE(db->init(3, invalid));

    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
    EXPECT_FALSE(db->addMonthlyEntry(entry(year, 3, 1, 0, {1, 2})));

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
    EXPECT_TRUE(file.rows(allMonthly).isEmpty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, AnEntryThatIsTooLongIsRefusedAndNothingWritten)
{
    ASSERT_TRUE(db->init(3, invalid));

    EXPECT_FALSE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3, 4})));
    EXPECT_FALSE(db->addMonthlyEntry(entry(year, 3, 1, 0, {1, 2, 3, 4})));

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
    EXPECT_TRUE(file.rows(allMonthly).isEmpty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, ABatchWithOneEntryOfAnotherLengthWritesNothing)
{
    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_FALSE(db->addHourlyEntries(
        {entry(year, 3, 5, 7, {1, 2}), entry(year, 3, 5, 8, {1, 2, 3}), entry(year, 3, 5, 9, {1, 2})}));

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, ABatchIsStoredInItsOrder)
{
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(
        db->addHourlyEntries({entry(year, 3, 5, 9, {1}), entry(year, 3, 5, 7, {2}), entry(year, 3, 5, 9, {3})}));

    EXPECT_EQ(hours(), (QStringList{QStringLiteral("%1-3-5 7|2").arg(year), QStringLiteral("%1-3-5 9|3").arg(year)}));
}

TEST_F(EnergyLogDBTest, AnEmptyBatchAnswersTrueAndCleansUp)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (1000, 1)")});

    EXPECT_TRUE(db->addHourlyEntries({}));

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
}

TEST_F(EnergyLogDBTest, ABatchOfAYearOfHoursIsStored)
{
    ASSERT_TRUE(db->init(20, invalid));
    QListEnergyLogEntry entries;
    for (QDate day(year, 1, 1); day.year() == year; day = day.addDays(1))
    {
        for (uchar hour = 0; hour < 24; ++hour)
        {
            entries.append(entry(year, static_cast<uchar>(day.month()), static_cast<uchar>(day.day()), hour,
                                 QList<int>(20, day.dayOfYear() * 24 + hour)));
        }
    }
    const TimeZone zone("UTC");

    EXPECT_TRUE(db->addHourlyEntries(entries));

    EXPECT_EQ(hours(), shown(entries));
}

TEST_F(EnergyLogDBTest, AnEntryForAnHourThatExistsReplacesTheRowWhole)
{
    ASSERT_TRUE(db->init(3, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3})));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {4, invalid, 6})));

    EXPECT_EQ(file.rows(allHourly), QStringList{QStringLiteral("%1|4|NULL|6").arg(keyOf(year, 3, 5, 7))});
}

TEST_F(EnergyLogDBTest, TheTwoHoursAtTheEndOfDaylightSavingTimeShareOneKeyAndTheLaterWriteStays)
{
    const TimeZone zone("Europe/Berlin");
    const QDate change = lastSunday(year, 10);
    ASSERT_EQ(keyOf(year, 10, change.day(), 4) - keyOf(year, 10, change.day(), 1), 4 * 3600) << "clocks go back";
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 10, static_cast<uchar>(change.day()), 2, {1})));
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 10, static_cast<uchar>(change.day()), 2, {2})));

    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-10-%2 2|2").arg(year).arg(change.day())});
}

TEST_F(EnergyLogDBTest, TheRepeatedHourHasOneKeyWhateverTheLibraryConvertedBefore)
{
    // The C library tells the two hours apart by what it converted last, so hours of all seasons come in between.
    const TimeZone zone("Europe/Berlin");
    const auto change = static_cast<uchar>(lastSunday(year, 10).day());
    ASSERT_TRUE(db->init(1, invalid));

    for (uchar month = 1; month <= 12; ++month)
    {
        EXPECT_TRUE(db->addHourlyEntries({entry(year, month, 15, 5, {0}), entry(year, 10, change, 2, {month})}));
    }

    EXPECT_EQ(file.rows(QStringLiteral("SELECT value1 FROM hourly WHERE value1 > 0")),
              QStringList{QStringLiteral("12")});
    EXPECT_EQ(shown(db->getHourly(year, 10, change, 2, year, 10, change, 2)),
              QStringList{QStringLiteral("%1-10-%2 2|12").arg(year).arg(change)});
}

TEST_F(EnergyLogDBTest, AnHourSkippedByDaylightSavingTimeGetsTheKeyOfItsQDateTime)
{
    const TimeZone zone("Europe/Berlin");
    const QDate change = lastSunday(year, 3);
    ASSERT_EQ(keyOf(year, 3, change.day(), 4) - keyOf(year, 3, change.day(), 1), 2 * 3600) << "clocks go forward";
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, static_cast<uchar>(change.day()), 2, {1})));

    EXPECT_EQ(file.number(QStringLiteral("SELECT hour FROM hourly")),
              QDateTime(change, QTime(2, 0)).toSecsSinceEpoch());
}

TEST_F(EnergyLogDBTest, AnHourThatIsNoneGetsTheKeyOfItsQDateTime)
{
    ASSERT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 24, {7})));

    EXPECT_EQ(file.rows(allHourly),
              QStringList{QStringLiteral("%1|7").arg(QDateTime(QDate(year, 3, 5), QTime()).toSecsSinceEpoch())});
}

TEST_F(EnergyLogDBTest, ADayThatIsNoneGetsTheKeyOfItsQDateTime)
{
    ASSERT_TRUE(db->init(1, invalid));
    const qint64 key = QDateTime(QDate(year, 2, 30), QTime(5, 0)).toSecsSinceEpoch();
    file.run(
        {QStringLiteral("CREATE TABLE seen (hour)"),
         QStringLiteral("CREATE TRIGGER see AFTER INSERT ON hourly BEGIN INSERT INTO seen VALUES (new.hour); END")});

    EXPECT_TRUE(db->addHourlyEntry(entry(year, 2, 30, 5, {7})));

    EXPECT_EQ(file.rows(QStringLiteral("SELECT hour FROM seen")), QStringList{QString::number(key)});
}

TEST_F(EnergyLogDBTest, AnEntryOfMoreThanAYearAgoIsDeletedAgainAndTheAnswerIsTrue)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run(
        {QStringLiteral("CREATE TABLE seen (hour)"),
         QStringLiteral("CREATE TRIGGER see AFTER INSERT ON hourly BEGIN INSERT INTO seen VALUES (new.hour); END")});
    const QDate longAgo = QDate::currentDate().addDays(-368);

    EXPECT_TRUE(db->addHourlyEntry(entry(static_cast<ushort>(longAgo.year()), static_cast<uchar>(longAgo.month()),
                                         static_cast<uchar>(longAgo.day()), 12, {7})));

    EXPECT_EQ(file.rows(QStringLiteral("SELECT hour FROM seen")).size(), 1) << "it was inserted";
    EXPECT_TRUE(file.rows(allHourly).isEmpty());
}

TEST_F(EnergyLogDBTest, ARefusedRowIsTracedThrownAndRolledBack)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON hourly WHEN new.value1 = 13 BEGIN SELECT "
                             "RAISE(FAIL, 'thirteen'); END")});

    EXPECT_NE(sqlErrorOf([&] { db->addHourlyEntry(entry(year, 3, 5, 7, {13})); }).find("thirteen"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :thirteen"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 8, {14}))) << "the next call works";
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 8|14").arg(year)});
}

TEST_F(EnergyLogDBTest, ARefusedRowTakesItsBatchWithIt)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON hourly WHEN new.value1 = 13 BEGIN SELECT "
                             "RAISE(FAIL, 'thirteen'); END")});

    EXPECT_NE(sqlErrorOf(
                  [&] {
                      db->addHourlyEntries(
                          {entry(year, 3, 5, 7, {12}), entry(year, 3, 5, 8, {13}), entry(year, 3, 5, 9, {14})});
                  }),
              "");

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :thirteen"), 1);
}

TEST_F(EnergyLogDBTest, ARefusedMonthIsTracedAndThrown)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("DROP TABLE monthly")});

    EXPECT_NE(sqlErrorOf([&] { db->addMonthlyEntry(entry(year, 3, 1, 0, {13})); }), "");

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :"), 1);
}

TEST_F(EnergyLogDBTest, AFailedCommitIsTracedOnlyAndTheCleanUpStillRuns)
{
    ASSERT_TRUE(db->init(50, invalid));
    file.run({QStringLiteral("INSERT INTO hourly (hour) VALUES (1000)")});
    QListEnergyLogEntry entries;
    for (int i = 0; i < 28 * 24; ++i)
    {
        entries.append(entry(year, 2, static_cast<uchar>(1 + i / 24), static_cast<uchar>(i % 24), QList<int>(50, i)));
    }

    {
        const FullMedium disk(QFile(EnergyLogFile::path).size() + 8192);
        EXPECT_TRUE(db->addHourlyEntries(entries));
    }

    EXPECT_EQ(platform.traceCount("Main", 5, "commit", "transaction commit failed"), 1);
    EXPECT_EQ(platform.trace().size(), 1U);
    EXPECT_TRUE(file.rows(allHourly).isEmpty()) << "the new rows are lost, the old one is cleaned up";
    EXPECT_TRUE(db->addHourlyEntries(entries)) << "with room again";
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM hourly")), entries.size());
}

// A program that reads the file in one transaction for longer than a commit waits.
TEST_F(EnergyLogDBTest, ACommitThatAReaderKeepsOffIsMadeUpForByTheNextOne)
{
    ASSERT_TRUE(db->init(1, invalid));
    waitForNoLock();
    {
        const LastingReader reader;
        EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1})));
    }

    EXPECT_EQ(platform.traceCount("Main", 5, "commit", "transaction commit failed"), 1);
    EXPECT_EQ(hours().size(), 1) << "to the log itself it is there";
    EXPECT_THROW(LastingReader(), std::runtime_error) << "the lock is half taken";
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 8, {2})));
    EXPECT_EQ(platform.traceCount("Main", 5, "Transaction", "transaction start failed"), 1);
    EXPECT_EQ(file.number(QStringLiteral("SELECT COUNT(*) FROM hourly")), 2);
}

TEST_F(EnergyLogDBTest, ARowOfACommitThatAReaderKeptOffIsLostWhenTheProcessEndsBeforeTheNextOne)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1})));
    waitForNoLock();
    {
        const LastingReader reader;
        EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 8, {2})));
    }

    restart();

    ASSERT_TRUE(db->init(1, invalid));
    EXPECT_EQ(hours(), QStringList(QStringLiteral("%1-3-5 7|1").arg(year)));
}

TEST_F(EnergyLogDBTest, AFullDiskUnderAnAddIsTracedAndThrownAndTheNextAddWorks)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {1})));

    {
        const FullMedium disk(0);
        EXPECT_NE(sqlErrorOf([&] { db->addHourlyEntry(entry(year, 3, 5, 8, {2})); }), "");
    }

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :"), 1);
    EXPECT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 9, {3})));
    EXPECT_EQ(hours(), (QStringList{QStringLiteral("%1-3-5 7|1").arg(year), QStringLiteral("%1-3-5 9|3").arg(year)}));
}

TEST_F(EnergyLogDBTest, WorkFromTheQueueItselfRunsInPlace)
{
    ASSERT_TRUE(db->init(1, invalid));

    bool added = false;
    runOnQueue(zemo::SQLiteDB::executor(), [&] { added = db->addHourlyEntry(entry(year, 3, 5, 7, {1})); });

    EXPECT_TRUE(added);
    EXPECT_EQ(hours().size(), 1);
}

// The clean-up

TEST_F(EnergyLogDBTest, TheHourOf366DaysAgoStaysAndTheOneBeforeGoes)
{
    ASSERT_TRUE(db->init(1, invalid));
    QDateTime now;
    QStringList left;
    qint64 limit = 0;
    do // once more if the hour ends in between
    {
        now = QDateTime::currentDateTime();
        const QDate day = now.date().addDays(-366);
        limit = keyOf(day.year(), day.month(), day.day(), now.time().hour());
        file.run({QStringLiteral("DELETE FROM hourly"),
                  QStringLiteral("INSERT INTO hourly VALUES (%1, 1), (%2, 2)").arg(limit).arg(limit - 1)});
        ASSERT_TRUE(db->addHourlyEntries({}));
        left = file.rows(allHourly);
    } while (now.time().hour() != QTime::currentTime().hour());

    EXPECT_EQ(left, QStringList{QStringLiteral("%1|1").arg(limit)});
}

TEST_F(EnergyLogDBTest, TheMonthOfTenYearsAgoStaysAndTheOneBeforeGoes)
{
    ASSERT_TRUE(db->init(1, invalid));
    const QDate tenYearsAgo = QDate::currentDate().addYears(-10);
    const qint64 limit = keyOf(tenYearsAgo.year(), tenYearsAgo.month(), 1, 0);
    file.run({QStringLiteral("INSERT INTO monthly VALUES (%1, 1), (%2, 2)").arg(limit).arg(limit - 1)});

    EXPECT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {3})));

    EXPECT_EQ(file.rows(allMonthly),
              (QStringList{QStringLiteral("%1|1").arg(limit), QStringLiteral("%1|3").arg(keyOf(year, 3, 1, 0))}));
}

TEST_F(EnergyLogDBTest, InitCleansUp)
{
    makePlainFile(file, "value1 INTEGER");
    file.run(
        {QStringLiteral("INSERT INTO hourly VALUES (1000, 1)"), QStringLiteral("INSERT INTO monthly VALUES (0, 1)")});

    EXPECT_TRUE(db->init(1, invalid));

    EXPECT_TRUE(file.rows(allHourly).isEmpty());
    EXPECT_TRUE(file.rows(allMonthly).isEmpty());
}

TEST_F(EnergyLogDBTest, AnHourThatCannotBeDeletedIsTracedAndThrownAndTheNewRowStays)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (1000, 1)"),
              QStringLiteral("CREATE TRIGGER keep BEFORE DELETE ON hourly BEGIN SELECT RAISE(FAIL, 'kept'); END")});

    EXPECT_NE(sqlErrorOf([&] { db->addHourlyEntry(entry(year, 3, 5, 7, {2})); }).find("kept"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "cleanupOld", "Failed delete hourly, Error :kept"), 1);
    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|2").arg(year)});
}

TEST_F(EnergyLogDBTest, AMonthThatCannotBeDeletedIsTracedAndThrownAndTheHoursBeforeItAreGone)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (1000, 1)"),
              QStringLiteral("INSERT INTO monthly VALUES (1000, 1)"),
              QStringLiteral("CREATE TRIGGER keep BEFORE DELETE ON monthly BEGIN SELECT RAISE(FAIL, 'kept'); END")});

    EXPECT_NE(sqlErrorOf([&] { db->addHourlyEntries({}); }).find("kept"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "cleanupOld", "Failed delete monthly, Error :kept"), 1);
    EXPECT_TRUE(file.rows(allHourly).isEmpty()) << "each delete stands by itself";
}

// Reading

TEST_F(EnergyLogDBTest, BothEndsOfARangeBelongToIt)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntries(
        {entry(year, 3, 5, 6, {6}), entry(year, 3, 5, 7, {7}), entry(year, 3, 5, 8, {8}), entry(year, 3, 5, 9, {9})}));

    EXPECT_EQ(shown(db->getHourly(year, 3, 5, 7, year, 3, 5, 8)),
              (QStringList{QStringLiteral("%1-3-5 7|7").arg(year), QStringLiteral("%1-3-5 8|8").arg(year)}));
    EXPECT_EQ(shown(db->getHourly(year, 3, 5, 7, year, 3, 5, 7)), QStringList{QStringLiteral("%1-3-5 7|7").arg(year)});
}

TEST_F(EnergyLogDBTest, BothMonthsOfARangeBelongToIt)
{
    ASSERT_TRUE(db->init(1, invalid));
    for (uchar month : {2, 3, 4, 5})
    {
        ASSERT_TRUE(db->addMonthlyEntry(entry(year, month, 1, 0, {month})));
    }

    EXPECT_EQ(shown(db->getMonthly(year, 3, year, 4)),
              (QStringList{QStringLiteral("%1-3-1 0|3").arg(year), QStringLiteral("%1-4-1 0|4").arg(year)}));
}

TEST_F(EnergyLogDBTest, ARangeThatEndsAnHourBeforeItsStartIsEmptyAndRunsNoStatement)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("DROP TABLE hourly"), QStringLiteral("DROP TABLE monthly")});

    EXPECT_TRUE(db->getHourly(year, 3, 5, 7, year, 3, 5, 6).isEmpty());
    EXPECT_TRUE(db->getMonthly(year, 3, year, 2).isEmpty());

    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, ARangeWithoutRowsIsEmpty)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {7})));

    EXPECT_TRUE(db->getHourly(year, 3, 5, 8, year, 3, 6, 0).isEmpty());
    EXPECT_TRUE(db->getMonthly(year, 1, year, 12).isEmpty());

    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, AGapGivesNoRow)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntries({entry(year, 3, 5, 7, {7}), entry(year, 3, 5, 9, {9})}));

    EXPECT_EQ(shown(db->getHourly(year, 3, 5, 7, year, 3, 5, 9)),
              (QStringList{QStringLiteral("%1-3-5 7|7").arg(year), QStringLiteral("%1-3-5 9|9").arg(year)}));
}

TEST_F(EnergyLogDBTest, AStoredNullReadsAsTheInvalidValueOfThisRun)
{
    ASSERT_TRUE(db->init(2, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {invalid, 2})));
    restart();

    ASSERT_TRUE(db->init(2, 99));

    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|99|2").arg(year)});
}

TEST_F(EnergyLogDBTest, ColumnsAreReadByPlaceWhateverTheirNames)
{
    makePlainFile(file, "value2 INTEGER, value1 INTEGER");
    file.run({QStringLiteral("INSERT INTO hourly VALUES (%1, 22, 11)").arg(keyOf(year, 3, 5, 7))});

    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|22|11").arg(year)});
}

TEST_F(EnergyLogDBTest, AMonthlyTableWithFewerColumnsReadsAsInvalidBeyondItsLast)
{
    file.run({plainTable("hourly", "hour", "value1 INTEGER, value2 INTEGER"),
              plainTable("monthly", "month", "value1 INTEGER"),
              QStringLiteral("INSERT INTO monthly VALUES (%1, 5)").arg(keyOf(year, 3, 1, 0))});

    ASSERT_TRUE(db->init(2, invalid));

    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-3-1 0|5|-32768").arg(year)});
}

TEST_F(EnergyLogDBTest, WhatIsNoIntegerReadsAsQtConvertsIt)
{
    ASSERT_TRUE(db->init(4, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (%1, 'text', 2.75, x'3432', 4294967297)")
                  .arg(keyOf(year, 3, 5, 7))});

    EXPECT_EQ(hours(), QStringList{QStringLiteral("%1-3-5 7|0|3|42|1").arg(year)});
}

TEST_F(EnergyLogDBTest, ARefusedReadIsTracedAndThrown)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("DROP TABLE hourly"), QStringLiteral("DROP TABLE monthly")});

    EXPECT_NE(sqlErrorOf([&] { hours(); }), "");
    EXPECT_NE(sqlErrorOf([&] { months(); }), "");

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :"), 2);
}

TEST_F(EnergyLogDBTest, AReadThatFailsOnALaterRowIsThrownTooAndNotTakenForTheWhole)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("DROP TABLE hourly"),
              QStringLiteral("CREATE VIEW hourly AS SELECT %1 AS hour, 5 AS value1 UNION ALL SELECT %1 + 3600, "
                             "abs(-9223372036854775807 - 1)")
                  .arg(keyOf(year, 3, 5, 7))});

    EXPECT_NE(sqlErrorOf([&] { hours(); }).find("overflow"), std::string::npos);

    EXPECT_EQ(traced(platform, "EnergyLogDB", 4, "operator()", "Failed to execute, Error :integer overflow"), 1);
}

// Month summaries

TEST_F(EnergyLogDBTest, AMonthIsSummedAndAveragedColumnByColumn)
{
    ASSERT_TRUE(db->init(3, invalid));
    ASSERT_TRUE(db->addHourlyEntries({entry(year, 3, 5, 7, {10, 10, -3}), entry(year, 3, 5, 8, {20, 21, -4})}));

    EXPECT_TRUE(db->summarizeMonth(year, 3, {false, true, true}));

    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-3-1 0|30|15|-3").arg(year)})
        << "means are cut toward zero: 15.5 and -3.5";
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(EnergyLogDBTest, AMissingValueIsLeftOutOfSumAndMean)
{
    ASSERT_TRUE(db->init(3, invalid));
    ASSERT_TRUE(
        db->addHourlyEntries({entry(year, 3, 5, 7, {10, 10, invalid}), entry(year, 3, 5, 8, {invalid, 20, invalid}),
                              entry(year, 3, 5, 9, {5, invalid, invalid})}));

    EXPECT_TRUE(db->summarizeMonth(year, 3, {false, true, true}));

    EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("%1|15|15|NULL").arg(keyOf(year, 3, 1, 0))});
}

TEST_F(EnergyLogDBTest, ASummaryOfAMonthWithoutHoursStoresARowOfNulls)
{
    ASSERT_TRUE(db->init(2, invalid));
    ASSERT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {1, 2})));

    EXPECT_TRUE(db->summarizeMonth(year, 3, {false, true}));

    EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("%1|NULL|NULL").arg(keyOf(year, 3, 1, 0))});
}

TEST_F(EnergyLogDBTest, ASummaryTakesExactlyTheHoursOfAFebruaryWithALeapDay)
{
    const ushort leapYear = comingLeapYear();
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntries({entry(leapYear, 1, 31, 23, {1}), entry(leapYear, 2, 1, 0, {10}),
                                      entry(leapYear, 2, 29, 23, {100}), entry(leapYear, 3, 1, 0, {1000})}));

    EXPECT_TRUE(db->summarizeMonth(leapYear, 2, {false}));

    EXPECT_EQ(months(leapYear), QStringList{QStringLiteral("%1-2-1 0|110").arg(leapYear)});
}

TEST_F(EnergyLogDBTest, ASummaryTakesExactlyTheHoursOfAFebruaryWithoutALeapDay)
{
    const auto plainYear = static_cast<ushort>(comingLeapYear() + 1);
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntries({entry(plainYear, 1, 31, 23, {1}), entry(plainYear, 2, 1, 0, {10}),
                                      entry(plainYear, 2, 28, 23, {100}), entry(plainYear, 3, 1, 0, {1000})}));

    EXPECT_TRUE(db->summarizeMonth(plainYear, 2, {false}));

    EXPECT_EQ(months(plainYear), QStringList{QStringLiteral("%1-2-1 0|110").arg(plainYear)});
}

TEST_F(EnergyLogDBTest, AMonthThatIsNoneIsNotCheckedAndTheStatementRuns)
{
    for (uchar month : {0, 13})
    {
        restart();
        ASSERT_TRUE(db->init(1, invalid));
        file.run({QStringLiteral("DELETE FROM monthly")});

        EXPECT_TRUE(db->summarizeMonth(year, month, {false}));

        EXPECT_EQ(file.rows(allMonthly), QStringList{QStringLiteral("%1|NULL").arg(
                                             QDateTime(QDate(year, month, 1), QTime(0, 0)).toSecsSinceEpoch())});
    }
}

TEST_F(EnergyLogDBTest, ASummaryWithTooFewTooManyOrNoMembersIsThrownWithoutATraceAndChangesNothing)
{
    ASSERT_TRUE(db->init(2, invalid));
    ASSERT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {1, 2})));

    EXPECT_NE(sqlErrorOf([&] { db->summarizeMonth(year, 3, {true}); }).find("values for"), std::string::npos);
    EXPECT_NE(sqlErrorOf([&] { db->summarizeMonth(year, 3, {true, true, true}); }), "");
    EXPECT_NE(sqlErrorOf([&] { db->summarizeMonth(year, 3, {}); }).find("syntax error"), std::string::npos);

    EXPECT_TRUE(platform.trace().empty());
    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-3-1 0|1|2").arg(year)});
    EXPECT_TRUE(db->summarizeMonth(year, 3, {true, true})) << "the next call works";
}

TEST_F(EnergyLogDBTest, AnEntryAddedAfterASummaryReplacesIt)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {10})));
    ASSERT_TRUE(db->summarizeMonth(year, 3, {false}));

    EXPECT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {77})));

    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-3-1 0|77").arg(year)});
}

TEST_F(EnergyLogDBTest, ASummaryAfterAnAddedEntryReplacesIt)
{
    ASSERT_TRUE(db->init(1, invalid));
    ASSERT_TRUE(db->addHourlyEntry(entry(year, 3, 5, 7, {10})));
    ASSERT_TRUE(db->addMonthlyEntry(entry(year, 3, 1, 0, {77})));

    EXPECT_TRUE(db->summarizeMonth(year, 3, {false}));

    EXPECT_EQ(months(), QStringList{QStringLiteral("%1-3-1 0|10").arg(year)});
}

TEST_F(EnergyLogDBTest, ASummaryDoesNotCleanUp)
{
    ASSERT_TRUE(db->init(1, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (1000, 1)")});

    EXPECT_TRUE(db->summarizeMonth(year, 3, {false}));

    EXPECT_EQ(file.rows(allHourly).size(), 1);
}

// Against a computation that shares nothing with the daemon

namespace
{

class EnergyLogInZone : public EnergyLogDBTest, public testing::WithParamInterface<const char*>
{
protected:
    struct Hour
    {
        int month;
        int day;
        int hour;
    };

    /// Every full local hour that the year has in the zone, from the C library's clock. One that comes twice is listed
    /// once, one that is skipped not at all.
    static std::vector<Hour> hoursOf(int ofYear)
    {
        std::vector<Hour> found;
        QSet<int> seen;
        const time_t start = keyOf(ofYear, 1, 1, 0);
        for (time_t moment = start; moment < start + 367 * 86400; moment += 1800)
        {
            tm local{};
            localtime_r(&moment, &local);
            const int name = local.tm_yday * 24 + local.tm_hour;
            if (local.tm_year == ofYear - 1900 && local.tm_min == 0 && !seen.contains(name))
            {
                seen.insert(name);
                found.push_back({local.tm_mon + 1, local.tm_mday, local.tm_hour});
            }
        }
        return found;
    }
};

} // namespace

TEST_P(EnergyLogInZone, KeysAndSummariesOfALeapYearAgreeWithAnIndependentComputation)
{
    const TimeZone zone(GetParam());
    const ushort leapYear = comingLeapYear();
    ASSERT_TRUE(db->init(2, invalid));
    QListEnergyLogEntry entries;
    QByteArray lines;
    for (const Hour& hour : hoursOf(leapYear))
    {
        const int number = static_cast<int>(entries.size()) + 1;
        entries.append(entry(leapYear, static_cast<uchar>(hour.month), static_cast<uchar>(hour.day),
                             static_cast<uchar>(hour.hour), {number, number % 7 == 0 ? invalid : -number}));
        lines += QStringLiteral("%1 %2 %3 %4\n").arg(leapYear).arg(hour.month).arg(hour.day).arg(hour.hour).toUtf8();
    }

    ASSERT_TRUE(db->addHourlyEntries(entries));
    for (uchar month = 1; month <= 12; ++month)
    {
        ASSERT_TRUE(db->summarizeMonth(leapYear, month, {false, true}));
    }

    QProcess python;
    python.setProcessChannelMode(QProcess::MergedChannels);
    python.start(QStringLiteral("python3"),
                 {QStringLiteral(QT_TESTCASE_SOURCEDIR "/check_energylog.py"), QString::fromLatin1(EnergyLogFile::path),
                  QString::fromLatin1(GetParam()), QString::number(leapYear)});
    ASSERT_TRUE(python.waitForStarted());
    python.write(lines);
    python.closeWriteChannel();
    ASSERT_TRUE(python.waitForFinished());
    EXPECT_EQ(python.readAll().toStdString(), QStringLiteral("checked %1 12\n").arg(entries.size()).toStdString());
    EXPECT_EQ(hours(leapYear), shown(entries)) << "each hour reads back under the name that it was written with";
}

INSTANTIATE_TEST_SUITE_P(Zones, EnergyLogInZone,
                         testing::Values("UTC", "Europe/Berlin", "Asia/Kolkata", "Australia/Adelaide",
                                         "Australia/Lord_Howe", "America/St_Johns", "Antarctica/Troll"),
                         [](const testing::TestParamInfo<const char*>& zone)
                         { return QString::fromLatin1(zone.param).remove('/').remove('_').toStdString(); });
