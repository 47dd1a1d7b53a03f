#include "EnergyLogFile.h"
#include "FakePlatform.h"
#include "LogDaemonInspector.h"
#include "LoggerTestSupport.h"
#include "NoThreads.h"
#include "RunOnQueue.h"
#include "Termination.h"
#include "Trace.h"

#include <QBuffer>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <mutex>
#include <unistd.h>

namespace
{

constexpr int invalid = -32768;
constexpr int deadlineMs = 20000;
const ushort year = comingYear();

/// Stands in for the command "sync": writes down the exported files that this process still has open, one line a call.
class SyncCommand
{
public:
    SyncCommand()
        : m_path(qgetenv("PATH"))
    {
        QFile script(m_folder.filePath(QStringLiteral("sync")));
        if (!script.open(QIODevice::WriteOnly))
        {
            throw std::runtime_error("cannot write the command");
        }
        script.write(
            QStringLiteral(
                "#!/bin/sh\n"
                "echo open: $(find /proc/%1/fd -type l -printf '%l\\n' | grep -o 'energylog_[a-z]*' | sort) >> %2\n")
                .arg(getpid())
                .arg(log())
                .toUtf8());
        script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        qputenv("PATH", m_folder.path().toUtf8() + ':' + m_path);
    }

    ~SyncCommand()
    {
        qputenv("PATH", m_path);
    }

    SyncCommand(const SyncCommand&) = delete;
    SyncCommand& operator=(const SyncCommand&) = delete;

    QStringList calls() const
    {
        QFile file(log());
        const bool opened = file.open(QIODevice::ReadOnly);
        return opened ? QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts) : QStringList();
    }

private:
    QString log() const
    {
        return m_folder.filePath(QStringLiteral("calls"));
    }

    QTemporaryDir m_folder;
    QByteArray m_path;
};

class LogDaemonEnergyLogTest : public testing::Test
{
protected:
    LogDaemonEnergyLogTest()
    {
        openTrace();
        zemo::SQLiteDB::executor(); // so that it counts among the threads that were there before
        platform.drives = QStringList{stick.path()};
        daemon = std::make_unique<LogDaemon>(nullptr);
        QObject::connect(daemon.get(), &LogDaemon::energyLogExportStarted, [this] { note(QStringLiteral("started")); });
        QObject::connect(daemon.get(), &LogDaemon::energyLogExportCompleted,
                         [this](bool ok)
                         { note(ok ? QStringLiteral("completed true") : QStringLiteral("completed false")); });
        QObject::connect(daemon.get(), &LogDaemon::energyLogEntryHourlyAdded,
                         [this](ushort y, uchar m, uchar d, uchar h)
                         { note(QStringLiteral("hour %1 %2 %3 %4").arg(y).arg(m).arg(d).arg(h)); });
        QObject::connect(daemon.get(), &LogDaemon::energyLogEntryMonthlyAdded,
                         [this](ushort y, uchar m) { note(QStringLiteral("month %1 %2").arg(y).arg(m)); });
        QObject::connect(daemon.get(), &LogDaemon::energyLogMonthSummarized,
                         [this](ushort y, uchar m) { note(QStringLiteral("summary %1 %2").arg(y).arg(m)); });
        platform.clearTrace();
        threadsBefore = threads();
    }

    struct Signal
    {
        QString text;
        std::thread::id thread;
        qsizetype filesOnStick; ///< when it was raised
        qsizetype openFiles;
        qsizetype syncs;
    };

    /// Called on the thread that raises the signal.
    void note(const QString& text)
    {
        const Signal signal{text, std::this_thread::get_id(), filesOnStick().size(), openFiles(), sync.calls().size()};
        const std::lock_guard guard(mutex);
        noted.push_back(signal);
    }

    std::vector<Signal> noticed()
    {
        const std::lock_guard guard(mutex);
        return noted;
    }

    QStringList noticedTexts()
    {
        QStringList texts;
        for (const Signal& signal : noticed())
        {
            texts.append(signal.text);
        }
        return texts;
    }

    QStringList filesOnStick() const
    {
        QStringList files;
        const QFileInfoList infos = QDir(stick.path()).entryInfoList(QDir::Files, QDir::Name);
        for (const QFileInfo& info : infos)
        {
            files.append(info.fileName() + QLatin1Char(' ') + QString::number(info.size()));
        }
        return files;
    }

    /// How many of the exported files this process has open.
    qsizetype openFiles() const
    {
        qsizetype count = 0;
        const QFileInfoList links = QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::Files | QDir::System);
        for (const QFileInfo& link : links)
        {
            count += link.symLinkTarget().contains(QStringLiteral("energylog_"));
        }
        return count;
    }

    static qsizetype threads()
    {
        return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    }

    /// Waits until no thread is left that an export started.
    bool waitForThreads() const
    {
        return QTest::qWaitFor([&] { return threads() <= threadsBefore; }, deadlineMs);
    }

    /// Waits until `count` files have been closed and synced, which is the last thing that an export does.
    bool waitForSyncs(int count)
    {
        return QTest::qWaitFor([&] { return sync.calls().size() >= count; }, deadlineMs);
    }

    QByteArray exported(const char* kind, int number = 1) const
    {
        return EnergyLogFile::content(stick.filePath(
            QStringLiteral("energylog_%1_%2-%3-%4.csv")
                .arg(QLatin1String(kind), QDate::currentDate().toString(QStringLiteral("yyyyMMdd")), platform.serial)
                .arg(number)));
    }

    bool exportMonths(const QList<QString>& headers, const QByteArray& decimals, uchar first = 3, uchar last = 3,
                      ushort ofYear = year)
    {
        return daemon->exportEnergyLogToUsb(headers, decimals, ofYear, first, ofYear, last);
    }

    FakePlatform platform;
    EnergyLogFile file;
    QTemporaryDir stick;
    SyncCommand sync;
    std::mutex mutex;
    std::vector<Signal> noted;
    qsizetype threadsBefore = 0;
    std::unique_ptr<LogDaemon> daemon;
};

const QList<QString> threeTitles{QStringLiteral("Pump"), QStringLiteral("Fl\u00e4che [m\u00b2]"), QStringLiteral("c")};
const QByteArray decimals012 = QByteArrayLiteral("\0\1\2");

/// What a QTextStream prints for the value by floating-point division.
QString streamed(int value, uchar decimals)
{
    QString text;
    QTextStream stream(&text);
    stream.setRealNumberNotation(QTextStream::FixedNotation);
    stream.setRealNumberPrecision(decimals);
    stream << value / std::pow(10.0, decimals);
    return text;
}

/// Runs `onWork` on the database queue before each piece of work that is handed to it, while the caller waits.
class QueueWatch : public QObject
{
public:
    explicit QueueWatch(std::function<void()> onWork)
        : m_onWork(std::move(onWork))
    {
        moveToThread(&zemo::SQLiteDB::executor());
        runOnQueue(zemo::SQLiteDB::executor(),
                   [this] { zemo::SQLiteDB::executor().context()->installEventFilter(this); });
    }

    ~QueueWatch() override
    {
        runOnQueue(zemo::SQLiteDB::executor(),
                   [this] { zemo::SQLiteDB::executor().context()->removeEventFilter(this); });
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() == QEvent::MetaCall)
        {
            m_onWork();
        }
        return false;
    }

private:
    std::function<void()> m_onWork;
};

/// Refuses everything written to it.
class FullDevice : public QIODevice
{
public:
    FullDevice()
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char* /*data*/, qint64 /*size*/) override
    {
        return -1;
    }
    qint64 writeData(const char* /*data*/, qint64 /*size*/) override
    {
        return -1;
    }
};

} // namespace

// The bus face

TEST_F(LogDaemonEnergyLogTest, InitAnswersWhatTheDatabaseAnswers)
{
    EXPECT_FALSE(daemon->initEnergyLog(0, invalid));
    EXPECT_TRUE(daemon->initEnergyLog(2, invalid));
    EXPECT_FALSE(daemon->initEnergyLog(2, invalid));

    EXPECT_TRUE(noticed().empty());
}

TEST_F(LogDaemonEnergyLogTest, AnAddedHourIsAnnouncedOnTheCallingThreadAfterCommitAndCleanUp)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    file.run({QStringLiteral("INSERT INTO hourly VALUES (1000, 1)")});
    QStringList stored;
    QObject::connect(daemon.get(), &LogDaemon::energyLogEntryHourlyAdded,
                     [&] { stored = file.rows(QStringLiteral("SELECT value1 FROM hourly")); });

    EXPECT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {42})));

    EXPECT_EQ(noticedTexts(), QStringList{QStringLiteral("hour %1 3 5 7").arg(year)});
    EXPECT_EQ(noticed()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(stored, QStringList{QStringLiteral("42")});
}

TEST_F(LogDaemonEnergyLogTest, AnAnnouncementCarriesTheFieldsAsTheCallerGaveThem)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 13, 32, 25, {42})));

    EXPECT_EQ(noticedTexts(), QStringList{QStringLiteral("hour %1 13 32 25").arg(year)});
}

TEST_F(LogDaemonEnergyLogTest, ABatchIsNotAnnounced)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_TRUE(daemon->addEnergyLogHourlyEntries({entry(year, 3, 5, 7, {1}), entry(year, 3, 5, 8, {2})}));

    EXPECT_TRUE(noticed().empty());
    EXPECT_EQ(shown(daemon->getEnergyLogHourly(year, 3, 5, 0, year, 3, 5, 23)).size(), 2);
}

TEST_F(LogDaemonEnergyLogTest, AnAddedMonthIsAnnouncedOnTheCallingThread)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 5, 7, {42})));

    EXPECT_EQ(noticedTexts(), QStringList{QStringLiteral("month %1 3").arg(year)});
    EXPECT_EQ(noticed()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(shown(daemon->getEnergyLogMonthly(year, 3, year, 3)),
              QStringList{QStringLiteral("%1-3-1 0|42").arg(year)});
}

TEST_F(LogDaemonEnergyLogTest, ASummaryIsAnnouncedAlsoForAMonthWithoutHours)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_TRUE(daemon->summarizeEnergyLogMonth(year, 3, {true}));

    EXPECT_EQ(noticedTexts(), QStringList{QStringLiteral("summary %1 3").arg(year)});
}

TEST_F(LogDaemonEnergyLogTest, ARefusalIsNotAnnounced)
{
    EXPECT_FALSE(daemon->summarizeEnergyLogMonth(year, 3, {true}));
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_FALSE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1, 2})));
    EXPECT_FALSE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 5, 7, {})));

    EXPECT_TRUE(noticed().empty());
}

TEST_F(LogDaemonEnergyLogTest, AFailedStatementPassesThroughAndIsNotAnnounced)
{
    ASSERT_TRUE(daemon->initEnergyLog(2, invalid));
    file.run({QStringLiteral("DROP TABLE hourly")});

    EXPECT_THROW(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1, 2})), zemo::SQLiteDB::sql_error);
    EXPECT_THROW(daemon->getEnergyLogHourly(year, 3, 5, 0, year, 3, 5, 23), zemo::SQLiteDB::sql_error);
    EXPECT_THROW(daemon->summarizeEnergyLogMonth(year, 3, {true}), zemo::SQLiteDB::sql_error);

    EXPECT_TRUE(noticed().empty());
}

TEST_F(LogDaemonEnergyLogTest, ARangeOfHoursRunsFromItsFirstToItsLastAcrossTheEndOfAYear)
{
    const auto next = static_cast<ushort>(year + 1);
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntries({entry(year, 11, 23, 4, {1}), entry(year, 11, 23, 5, {2}),
                                                   entry(next, 2, 7, 19, {3}), entry(next, 2, 7, 20, {4})}));

    EXPECT_EQ(shown(daemon->getEnergyLogHourly(year, 11, 23, 5, next, 2, 7, 19)),
              (QStringList{QStringLiteral("%1-11-23 5|2").arg(year), QStringLiteral("%1-2-7 19|3").arg(next)}));
}

TEST_F(LogDaemonEnergyLogTest, ARangeOfMonthsRunsFromItsFirstToItsLastAcrossTheEndOfAYear)
{
    const auto next = static_cast<ushort>(year + 1);
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    for (const auto& row :
         {entry(year, 10, 1, 0, {1}), entry(year, 11, 1, 0, {2}), entry(next, 2, 1, 0, {3}), entry(next, 3, 1, 0, {4})})
    {
        ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(row));
    }

    EXPECT_EQ(shown(daemon->getEnergyLogMonthly(year, 11, next, 2)),
              (QStringList{QStringLiteral("%1-11-1 0|2").arg(year), QStringLiteral("%1-2-1 0|3").arg(next)}));
}

TEST_F(LogDaemonEnergyLogTest, NoCallHoldsStateMutexWhileItWaitsForTheDatabase)
{
    struct Call
    {
        const char* name;
        std::function<void()> make;
    };
    LogDaemonInspector inspector(*daemon);
    QList<bool> free;
    const QueueWatch watch([&] { free.append(inspector.isStateMutexFree()); });

    for (const Call& call :
         {Call{"initEnergyLog", [&] { daemon->initEnergyLog(1, invalid); }},
          Call{"addEnergyLogHourlyEntry", [&] { daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1})); }},
          Call{"addEnergyLogHourlyEntries", [&] { daemon->addEnergyLogHourlyEntries({entry(year, 3, 5, 8, {2})}); }},
          Call{"addEnergyLogMonthlyEntry", [&] { daemon->addEnergyLogMonthlyEntry(entry(year, 2, 1, 0, {3})); }},
          Call{"summarizeEnergyLogMonth", [&] { daemon->summarizeEnergyLogMonth(year, 3, {true}); }},
          Call{"getEnergyLogHourly", [&] { daemon->getEnergyLogHourly(year, 3, 5, 0, year, 3, 5, 23); }},
          Call{"getEnergyLogMonthly", [&] { daemon->getEnergyLogMonthly(year, 2, year, 3); }}})
    {
        free.clear();
        call.make();
        EXPECT_EQ(free, QList<bool>{true}) << call.name;
    }
}

// The export

TEST_F(LogDaemonEnergyLogTest, TheExportWritesBothFilesToTheLetter)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntries(
        {entry(year, 3, 5, 7, {17, -5, 1234}), entry(year, 12, 15, 23, {invalid, 0, 0}),
         entry(year, 3, 5, 8, {-2147483647, invalid, -7}), entry(year, 2, 28, 23, {1, 1, 1})}));
    ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 1, 0, {1, 20, 300})));

    EXPECT_TRUE(exportMonths(threeTitles, decimals012, 3, 12));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), QStringLiteral("\tPump\tFl\u00e4che [m\u00b2]\tc\n"
                                                 "%1-03-05 07:00\t17\t-0.5\t12.34\n"
                                                 "%1-03-05 08:00\t-2147483647\t-\t-0.07\n"
                                                 "%1-12-15 23:00\t-\t0.0\t0.00\n")
                                      .arg(year)
                                      .toUtf8());
    EXPECT_EQ(exported("monthly"),
              QStringLiteral("\tPump\tFl\u00e4che [m\u00b2]\tc\n%1-03\t1\t2.0\t3.00\n").arg(year).toUtf8());
    EXPECT_EQ(noticedTexts().mid(1), (QStringList{QStringLiteral("started"), QStringLiteral("completed true")}));
    EXPECT_TRUE(platform.traceTexts("EnergyLogDB", 4).empty());
}

TEST_F(LogDaemonEnergyLogTest, BothSignalsComeFromTheExportsOwnThread)
{
    ASSERT_TRUE(exportMonths({}, {}));

    ASSERT_TRUE(waitForSyncs(2));
    const std::vector<Signal> raised = noticed();
    ASSERT_EQ(raised.size(), 2U);
    EXPECT_EQ(raised[0].thread, raised[1].thread);
    EXPECT_NE(raised[0].thread, std::this_thread::get_id());
}

TEST_F(LogDaemonEnergyLogTest, TheExportIsStartedBeforeTheFilesAreOpenedAndCompletedBeforeTheyAreClosed)
{
    ASSERT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    ASSERT_TRUE(waitForSyncs(2));
    const std::vector<Signal> raised = noticed();
    ASSERT_EQ(raised.size(), 2U);
    EXPECT_EQ(raised[0].filesOnStick, 0);
    EXPECT_EQ(raised[1].filesOnStick, 2);
    EXPECT_EQ(raised[1].openFiles, 2);
    EXPECT_EQ(raised[1].syncs, 0);
}

TEST_F(LogDaemonEnergyLogTest, TheMonthlyFileIsClosedAndSyncedBeforeTheHourlyOne)
{
    ASSERT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(sync.calls(), (QStringList{QStringLiteral("open: energylog_hourly"), QStringLiteral("open:")}));
}

TEST_F(LogDaemonEnergyLogTest, WithoutADriveTheExportIsRefusedAndNothingIsAnnounced)
{
    LogDaemonInspector(*daemon).usbPath().clear();

    EXPECT_FALSE(exportMonths({}, {}));

    ASSERT_TRUE(waitForThreads());
    EXPECT_TRUE(noticed().empty());
    EXPECT_TRUE(filesOnStick().isEmpty());
}

TEST_F(LogDaemonEnergyLogTest, WithoutAThreadToBeHadTheExportIsRefusedAndNothingIsAnnounced)
{
    {
        const NoThreads none;
        EXPECT_FALSE(exportMonths(threeTitles, decimals012));
    }
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "exportEnergyLogToUsb",
                                  "Failed to start a thread: " + std::generic_category().message(EAGAIN)),
              1);
    EXPECT_TRUE(noticed().empty());

    EXPECT_TRUE(exportMonths(threeTitles, decimals012));
    EXPECT_TRUE(waitForSyncs(2));
}

TEST_F(LogDaemonEnergyLogTest, TheCallLooksForTheDriveUnderStateMutex)
{
    LogDaemonInspector inspector(*daemon);

    EXPECT_FALSE(answerBehind(
        inspector.stateMutex(), [&] { inspector.usbPath().clear(); }, [&] { return exportMonths({}, {}); }))
        << "the drive went while another had the lock";
    ASSERT_TRUE(waitForThreads());
}

TEST_F(LogDaemonEnergyLogTest, ADriveThatIsGoneWhenTheFilesAreOpenedEndsTheExport)
{
    platform.drives.clear();

    EXPECT_TRUE(exportMonths({}, {}));

    ASSERT_TRUE(waitForThreads());
    EXPECT_EQ(noticedTexts(), (QStringList{QStringLiteral("started"), QStringLiteral("completed false")}));
    EXPECT_EQ(platform.traceCount("LogDaemon", 4, "openLogFile", "No USB drive"), 1);
    EXPECT_EQ(platform.trace().size(), 1U) << "the second file isn't tried";
}

TEST_F(LogDaemonEnergyLogTest, ADriveThatGoesBetweenTheFilesLeavesTheHourlyOneEmpty)
{
    int asked = 0;
    platform.onCall = [&](const char* operation)
    {
        if (std::string(operation) == "getUsbDrives" && ++asked == 2)
        {
            const std::lock_guard guard(platform);
            platform.drives.clear();
        }
    };

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    ASSERT_TRUE(waitForSyncs(1));
    EXPECT_EQ(noticedTexts(), (QStringList{QStringLiteral("started"), QStringLiteral("completed false")}));
    EXPECT_EQ(noticed()[1].syncs, 0) << "the answer comes before the file is closed";
    ASSERT_EQ(filesOnStick().size(), 1);
    EXPECT_TRUE(filesOnStick()[0].startsWith(QStringLiteral("energylog_hourly_")));
    EXPECT_TRUE(filesOnStick()[0].endsWith(QStringLiteral(" 0")));
}

TEST_F(LogDaemonEnergyLogTest, TheCallReturnsAtOnceAndLeavesStateMutexFree)
{
    QSemaphore mayGoOn;
    QSemaphore reached;
    platform.onCall = [&](const char* operation)
    {
        if (std::string(operation) == "getUsbDrives")
        {
            reached.release();
            mayGoOn.acquire();
        }
    };

    EXPECT_TRUE(exportMonths({}, {}));
    const bool isRunning = reached.tryAcquire(1, deadlineMs);
    const bool isFree = LogDaemonInspector(*daemon).isStateMutexFree();

    EXPECT_TRUE(isRunning);
    EXPECT_TRUE(isFree);
    mayGoOn.release(2);
    ASSERT_TRUE(waitForSyncs(2));
}

TEST_F(LogDaemonEnergyLogTest, BeforeInitTheExportWritesTheTwoHeaderLines)
{
    EXPECT_TRUE(exportMonths(threeTitles, {}));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), QStringLiteral("\tPump\tFl\u00e4che [m\u00b2]\tc\n").toUtf8());
    EXPECT_EQ(exported("monthly"), exported("hourly"));
    EXPECT_EQ(noticedTexts().value(1), QStringLiteral("completed true"));
}

TEST_F(LogDaemonEnergyLogTest, ASpanThatStopsBeforeItStartsGivesTheTwoHeaderLines)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1})));

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0"), 4, 2));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "\ta\n");
    EXPECT_EQ(exported("monthly"), "\ta\n");
    EXPECT_EQ(noticedTexts().last(), QStringLiteral("completed true"));
}

TEST_F(LogDaemonEnergyLogTest, NoTitlesGiveAnEmptyHeaderLine)
{
    EXPECT_TRUE(exportMonths({}, {}));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "\n");
}

TEST_F(LogDaemonEnergyLogTest, TitlesOfAnotherCountLeaveBothFilesEmptyWhenThereAreRows)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3})));
    ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 1, 0, {1, 2, 3})));

    EXPECT_TRUE(exportMonths(threeTitles.mid(1), decimals012));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "");
    EXPECT_EQ(exported("monthly"), "");
    EXPECT_EQ(noticedTexts().last(), QStringLiteral("completed false"));
}

TEST_F(LogDaemonEnergyLogTest, DecimalsOfAnotherCountLeaveBothFilesEmptyWhenThereAreRows)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3})));
    ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 1, 0, {1, 2, 3})));

    EXPECT_TRUE(exportMonths(threeTitles, decimals012.first(2)));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "");
    EXPECT_EQ(exported("monthly"), "");
    EXPECT_EQ(noticedTexts().last(), QStringLiteral("completed false"));
}

TEST_F(LogDaemonEnergyLogTest, AFailedHourlyFileDoesNotStopTheMonthlyOne)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 5, 7, {1, 2, 3})));

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, decimals012));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "");
    EXPECT_EQ(exported("monthly"), "\ta\n") << "no rows, nothing compared";
    EXPECT_EQ(noticedTexts().last(), QStringLiteral("completed false"));
}

TEST_F(LogDaemonEnergyLogTest, AFailedMonthlyFileFailsTheExportThoughTheHourlyOneIsWritten)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(year, 3, 1, 0, {1, 2, 3})));

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, decimals012));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), "\ta\n") << "no rows, nothing compared";
    EXPECT_EQ(exported("monthly"), "");
    EXPECT_EQ(noticedTexts().last(), QStringLiteral("completed false"));
}

TEST_F(LogDaemonEnergyLogTest, JanuaryToFebruaryOfALeapYearRunsToTheLastHourOfTheLeapDay)
{
    const ushort leapYear = comingLeapYear();
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntries({entry(static_cast<ushort>(leapYear - 1), 12, 31, 23, {1}),
                                                   entry(leapYear, 1, 1, 0, {2}), entry(leapYear, 2, 29, 23, {3}),
                                                   entry(leapYear, 3, 1, 0, {4})}));
    for (uchar month : {1, 2, 3})
    {
        ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(entry(leapYear, month, 1, 0, {month * 10})));
    }

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0"), 1, 2, leapYear));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), QStringLiteral("\ta\n%1-01-01 00:00\t2\n%1-02-29 23:00\t3\n").arg(leapYear).toUtf8());
    EXPECT_EQ(exported("monthly"), QStringLiteral("\ta\n%1-01\t10\n%1-02\t20\n").arg(leapYear).toUtf8());
}

TEST_F(LogDaemonEnergyLogTest, ASpanAcrossTheEndOfAYearRunsFromTheFirstMonthOfOneToTheLastHourOfTheOther)
{
    const ushort leapYear = comingLeapYear();
    const auto before = static_cast<ushort>(leapYear - 1);
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntries({entry(before, 11, 30, 23, {1}), entry(before, 12, 1, 0, {2}),
                                                   entry(leapYear, 2, 29, 23, {3}), entry(leapYear, 3, 1, 0, {4})}));
    for (const auto& row : {entry(before, 11, 1, 0, {10}), entry(before, 12, 1, 0, {20}),
                            entry(leapYear, 2, 1, 0, {30}), entry(leapYear, 3, 1, 0, {40})})
    {
        ASSERT_TRUE(daemon->addEnergyLogMonthlyEntry(row));
    }

    EXPECT_TRUE(daemon->exportEnergyLogToUsb({QStringLiteral("a")}, QByteArrayLiteral("\0"), before, 12, leapYear, 2));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"),
              QStringLiteral("\ta\n%1-12-01 00:00\t2\n%2-02-29 23:00\t3\n").arg(before).arg(leapYear).toUtf8());
    EXPECT_EQ(exported("monthly"), QStringLiteral("\ta\n%1-12\t20\n%2-02\t30\n").arg(before).arg(leapYear).toUtf8());
}

TEST_F(LogDaemonEnergyLogTest, MissingHoursGiveNoLines)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntries({entry(year, 3, 5, 7, {1}), entry(year, 3, 9, 7, {2})}));

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_EQ(exported("hourly"), QStringLiteral("\ta\n%1-03-05 07:00\t1\n%1-03-09 07:00\t2\n").arg(year).toUtf8());
}

TEST_F(LogDaemonEnergyLogTest, AMonthSummedUpFromNothingPrintsADashInEachColumn)
{
    ASSERT_TRUE(daemon->initEnergyLog(3, invalid));
    ASSERT_TRUE(daemon->summarizeEnergyLogMonth(year, 3, {true, false, true}));

    EXPECT_TRUE(exportMonths(threeTitles, decimals012));

    ASSERT_TRUE(waitForSyncs(2));
    EXPECT_TRUE(exported("monthly").endsWith(QStringLiteral("\n%1-03\t-\t-\t-\n").arg(year).toUtf8()));
}

TEST_F(LogDaemonEnergyLogTest, AnEarlierExportIsNotOverwritten)
{
    EXPECT_TRUE(exportMonths({QStringLiteral("first")}, {}));
    ASSERT_TRUE(waitForSyncs(2));

    EXPECT_TRUE(exportMonths({QStringLiteral("second")}, {}));

    ASSERT_TRUE(waitForSyncs(4));
    EXPECT_EQ(exported("hourly", 1), "\tfirst\n");
    EXPECT_EQ(exported("hourly", 2), "\tsecond\n");
}

TEST_F(LogDaemonEnergyLogTest, TwoExportsAtOnceBothRunToTheirEnd)
{
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));
    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    ASSERT_TRUE(waitForSyncs(4));
    EXPECT_EQ(noticedTexts().count(QStringLiteral("started")), 2);
    EXPECT_EQ(noticedTexts().count(QStringLiteral("completed true")), 2);
    EXPECT_EQ(exported("hourly"), "\ta\n");
}

TEST_F(LogDaemonEnergyLogTest, RowsAddedDuringAnExportDisturbNeither)
{
    ASSERT_TRUE(daemon->initEnergyLog(2, invalid));
    ASSERT_TRUE(daemon->addEnergyLogHourlyEntry(entry(year, 3, 1, 0, {0, 0})));
    EXPECT_TRUE(exportMonths({QStringLiteral("a"), QStringLiteral("b")}, QByteArrayLiteral("\0\0")));

    for (int i = 1; i < 48; ++i)
    {
        EXPECT_TRUE(daemon->addEnergyLogHourlyEntry(
            entry(year, 3, static_cast<uchar>(1 + i / 24), static_cast<uchar>(i % 24), {i, i})));
    }

    ASSERT_TRUE(waitForSyncs(2));
    const QList<QByteArray> lines = exported("hourly").split('\n');
    for (int i = 0; i < lines.size() - 2; ++i)
    {
        EXPECT_EQ(lines[i + 1], QStringLiteral("%1-03-%2 %3:00\t%4\t%4")
                                    .arg(year)
                                    .arg(1 + i / 24, 2, 10, QLatin1Char('0'))
                                    .arg(i % 24, 2, 10, QLatin1Char('0'))
                                    .arg(i)
                                    .toUtf8());
    }
    EXPECT_EQ(daemon->getEnergyLogHourly(year, 3, 1, 0, year, 3, 31, 23).size(), 48);
}

TEST_F(LogDaemonEnergyLogTest, AStatementRefusedOnTheExportsThreadEndsTheProcess)
{
    const Termination termination;
    ASSERT_TRUE(daemon->initEnergyLog(1, invalid));
    file.run({QStringLiteral("DROP TABLE hourly")});

    EXPECT_TRUE(exportMonths({QStringLiteral("a")}, QByteArrayLiteral("\0")));

    EXPECT_TRUE(termination.isBroughtAboutBy<zemo::SQLiteDB::sql_error>());
    EXPECT_EQ(noticedTexts(), QStringList{QStringLiteral("started")});
}

// One file

TEST_F(LogDaemonEnergyLogTest, AnyNumberOfDecimalsPrintsWhatTheDivisionPrints)
{
    for (int decimals = 1; decimals < 256; ++decimals)
    {
        for (int value : {0, 1, -1, 5, 9, 10, -10, 99, 100, 1234, -5000, 123456789, 999999999, 1000000000, INT_MAX,
                          -INT_MAX, INT_MIN})
        {
            QBuffer buffer;
            buffer.open(QIODevice::WriteOnly);
            LogDaemonInspector(*daemon).writeEnergyLogCsv(&buffer, {QString()},
                                                          QByteArray(1, static_cast<char>(decimals)),
                                                          {entry(2024, 3, 5, 7, {value})}, 0, invalid);
            ASSERT_EQ(buffer.data().toStdString(),
                      "\t\n2024-03-05 07:00\t" + streamed(value, static_cast<uchar>(decimals)).toStdString() + "\n");
        }
    }
}

TEST_F(LogDaemonEnergyLogTest, TwoHundredDecimalsAreTwoHundredDigits)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);

    EXPECT_TRUE(LogDaemonInspector(*daemon).writeEnergyLogCsv(
        &buffer, {QString()}, QByteArray(1, static_cast<char>(200)), {entry(2024, 3, 1, 0, {-17})}, 1, invalid));

    EXPECT_EQ(buffer.data(), "\t\n2024-03\t-0." + QByteArray(198, '0') + "17\n");
}

TEST_F(LogDaemonEnergyLogTest, AMissingValueIsADashWhateverItsDecimals)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);

    EXPECT_TRUE(LogDaemonInspector(*daemon).writeEnergyLogCsv(&buffer, threeTitles, decimals012,
                                                              {entry(987, 12, 31, 0, {7, 7, 7})}, 0, 7));

    EXPECT_TRUE(buffer.data().endsWith("\n987-12-31 00:00\t-\t-\t-\n"));
}

TEST_F(LogDaemonEnergyLogTest, RowsOfOtherLengthsAfterTheFirstAreWrittenAsTheyAre)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);

    EXPECT_TRUE(LogDaemonInspector(*daemon).writeEnergyLogCsv(
        &buffer, {QStringLiteral("a")}, QByteArrayLiteral("\1"),
        {entry(2024, 3, 1, 0, {10}), entry(2024, 4, 1, 0, {}), entry(2024, 5, 1, 0, {10, 20})}, 1, invalid));

    EXPECT_EQ(buffer.data(), "\ta\n2024-03\t1.0\n2024-04\n2024-05\t1.0\t20\n");
}

TEST_F(LogDaemonEnergyLogTest, AFailedWriteBeforeTheLastFlushGivesFalse)
{
    FullDevice device;
    const QListEnergyLogEntry entries(2000, entry(2024, 3, 5, 7, {123456789}));

    EXPECT_FALSE(LogDaemonInspector(*daemon).writeEnergyLogCsv(&device, {QString()}, QByteArrayLiteral("\0"), entries,
                                                               0, invalid));
}

TEST_F(LogDaemonEnergyLogTest, AFailureOfTheLastFlushIsNotSeen)
{
    FullDevice device;

    EXPECT_TRUE(LogDaemonInspector(*daemon).writeEnergyLogCsv(&device, {QString()}, QByteArrayLiteral("\0"),
                                                              {entry(2024, 3, 5, 7, {1})}, 0, invalid));
}
