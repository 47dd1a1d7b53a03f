#include "SystemTest.h"

#include <QDBusMessage>
#include <QDate>
#include <QDir>
#include <QElapsedTimer>

#include <sys/stat.h>

namespace
{

using zemo::data::EnergyLogEntry;

constexpr int Invalid = -32768;
const char* const Database = "/var/zemo/var/data/energylog.db3";
const auto Year = static_cast<ushort>(QDate::currentDate().year() + 1);

class EnergyLogTest : public SystemTest
{
protected:
    EnergyLogTest()
    {
        rig.setScenario(R"({"serial": "123456"})");
        rig.daemon.setEnvironment("TZ", "UTC");
        rig.scratch.writeFile("/usr/bin/sync", "#!/bin/sh\necho run >>/var/syncs\n");
    }

    void startWithLog(uchar columns)
    {
        ASSERT_TRUE(rig.start());
        ASSERT_TRUE(rig.logd().initEnergyLog(columns, Invalid).value());
    }

    QList<EnergyLogEntry> hours()
    {
        return rig.logd().getEnergyLogHourly(Year, 1, 1, 0, Year, 12, 31, 23).value();
    }

    QList<EnergyLogEntry> months()
    {
        return rig.logd().getEnergyLogMonthly(Year, 1, Year, 12).value();
    }

    QDir folder() const
    {
        return QFileInfo(rig.scratch.outside(Database)).dir();
    }

    QStringList backups() const
    {
        return folder().entryList({"energylog.db3.*"});
    }

    /// Calls a method with arguments as they stand, whatever its signature says.
    QDBusMessage callRaw(const QString& method, const QVariantList& arguments)
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(rig.logd().service(), rig.logd().path(), rig.logd().interface(), method);
        call.setArguments(arguments);
        return rig.logd().connection().call(call);
    }

    /// Runs the export of a span of months and waits until its two files are closed; its outcome.
    bool exports(const QStringList& titles, const QByteArray& decimals, uchar first, uchar last)
    {
        const qsizetype before = syncs();
        if (!rig.logd().exportEnergyLogToUsb(titles, decimals, Year, first, Year, last).value())
        {
            return false;
        }
        return waitUntil([&] { return syncs() == before + 2; }) &&
               rig.logdSignals().waitFor("energyLogExportCompleted") &&
               rig.logdSignals().lastArguments("energyLogExportCompleted").value(0).toBool();
    }

    qsizetype syncs() const
    {
        return linesOf(rig.scratch.outside("/var/syncs")).size();
    }

    QByteArray exported(const QString& kind, int number = 1) const
    {
        QFile file(QStringLiteral("%1/energylog_%2_%3-123456-%4.csv")
                       .arg(stick, kind, QDate::currentDate().toString("yyyyMMdd"))
                       .arg(number));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<no such file>");
    }

    QString stick;
};

QString shown(const EnergyLogEntry& row)
{
    QString text = QStringLiteral("%1-%2-%3 %4").arg(row.year()).arg(row.month()).arg(row.day()).arg(row.hour());
    for (int value : row.values())
    {
        text += QStringLiteral(" | %1").arg(value);
    }
    return text;
}

QStringList shown(const QList<EnergyLogEntry>& rows)
{
    QStringList lines;
    for (const EnergyLogEntry& row : rows)
    {
        lines.append(shown(row));
    }
    return lines;
}

/// Every hour of a year of 366 days, as the last ones of them may lie in the year after.
QList<EnergyLogEntry> yearOfHours(int columns)
{
    QList<EnergyLogEntry> entries;
    for (int i = 0; i < 8784; ++i)
    {
        const QDate day = QDate(Year, 1, 1).addDays(i / 24);
        QList<int> values;
        for (int column = 0; column < columns; ++column)
        {
            values.append((i + column) % 11 == 0 ? Invalid : i * 17 - column * 100000);
        }
        entries.append(EnergyLogEntry(static_cast<ushort>(day.year()), static_cast<uchar>(day.month()),
                                      static_cast<uchar>(day.day()), static_cast<uchar>(i % 24), values));
    }
    return entries;
}

EnergyLogEntry at(uchar day, uchar hour, const QList<int>& values)
{
    return {Year, 3, day, hour, values};
}

} // namespace

TEST_F(EnergyLogTest, AYearOfTwentyColumnsComesBackAsItWasSent)
{
    startWithLog(20);
    const QList<EnergyLogEntry> entries = yearOfHours(20);

    EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntries(entries).value());

    const QList<EnergyLogEntry> read =
        rig.logd().getEnergyLogHourly(Year, 1, 1, 0, static_cast<ushort>(Year + 1), 12, 31, 23).value();
    EXPECT_EQ(shown(read), shown(entries));
    rig.settle();
    EXPECT_TRUE(rig.logdSignals().names().filter("energyLog").isEmpty()) << "a batch is not announced";
}

TEST_F(EnergyLogTest, AMonthIsFilledSummedUpReadAndExported)
{
    startWithLog(3);
    stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {17, -5, 1234})).value());
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 8, {18, Invalid, 1})).value());
    ASSERT_TRUE(rig.logd().summarizeEnergyLogMonth(Year, 3, {false, true, true}).value());

    EXPECT_TRUE(exports({"Kettle", "Fl\u00e4che", "c"}, QByteArray("\0\1\2", 3), 1, 12));

    EXPECT_EQ(shown(months()), QStringList{QStringLiteral("%1-3-1 0 | 35 | -5 | 617").arg(Year)});
    const QByteArray year = QByteArray::number(Year);
    EXPECT_EQ(exported("hourly"), "\tKettle\tFl\u00e4che\tc\n" + year + "-03-05 07:00\t17\t-0.5\t12.34\n" + year +
                                      "-03-05 08:00\t18\t-\t0.01\n");
    EXPECT_EQ(exported("monthly"), "\tKettle\tFl\u00e4che\tc\n" + year + "-03\t35\t-0.5\t6.17\n");
    EXPECT_EQ(rig.logdSignals().names().filter("energyLog"),
              (QStringList{"energyLogEntryHourlyAdded", "energyLogEntryHourlyAdded", "energyLogMonthSummarized",
                           "energyLogExportStarted", "energyLogExportCompleted"}));
    EXPECT_EQ(rig.logdSignals().lastArguments("energyLogMonthSummarized"),
              (QVariantList{QVariant::fromValue(Year), QVariant::fromValue<uchar>(3)}));
}

TEST_F(EnergyLogTest, NineAndTwoHundredDecimalsArePrintedInFull)
{
    startWithLog(2);
    stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().addEnergyLogMonthlyEntry(EnergyLogEntry(Year, 3, 1, 0, {1234567890, -17})).value());

    EXPECT_TRUE(exports({"a", "b"}, QByteArray("\x09\xc8"), 3, 3));

    EXPECT_EQ(exported("monthly"),
              "\ta\tb\n" + QByteArray::number(Year) + "-03\t1.234567890\t-0." + QByteArray(198, '0') + "17\n");
}

TEST_F(EnergyLogTest, TitlesAndDecimalsThatDoNotFitGiveEmptyFilesAndFalse)
{
    startWithLog(2);
    stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());
    ASSERT_TRUE(rig.logd().addEnergyLogMonthlyEntry(at(1, 0, {1, 2})).value());

    EXPECT_FALSE(exports({"a"}, QByteArray(2, '\0'), 3, 3));
    EXPECT_FALSE(exports({"a", "b"}, QByteArray(3, '\0'), 3, 3));

    EXPECT_EQ(exported("hourly", 1) + exported("monthly", 1) + exported("hourly", 2) + exported("monthly", 2), "");
}

TEST_F(EnergyLogTest, AnExportAndRowsAddedMeanwhileDoNotDisturbEachOther)
{
    startWithLog(20);
    stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));
    const QList<EnergyLogEntry> entries = yearOfHours(20);
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntries(entries.mid(0, 8000)).value());
    ASSERT_TRUE(rig.logd().exportEnergyLogToUsb(QStringList(20, "t"), QByteArray(20, '\1'), Year, 1, Year, 12).value());

    for (const EnergyLogEntry& entry : entries.mid(8000, 50))
    {
        EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntry(entry).value());
    }

    ASSERT_TRUE(rig.logdSignals().waitFor("energyLogExportCompleted"));
    EXPECT_TRUE(rig.logdSignals().lastArguments("energyLogExportCompleted").value(0).toBool());
    ASSERT_TRUE(waitUntil([&] { return syncs() == 2; }));
    const QList<QByteArray> lines = exported("hourly").split('\n');
    EXPECT_GE(lines.size(), 8002);
    for (const QByteArray& line : lines.mid(1, lines.size() - 2))
    {
        ASSERT_EQ(line.count('\t'), 20) << line.toStdString();
    }
    EXPECT_EQ(hours().size(), 8050);
}

TEST_F(EnergyLogTest, TwoExportsAtOnceBothEndAndTheDaemonLives)
{
    startWithLog(1);
    stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    QDBusPendingReply<bool> first = rig.logd().exportEnergyLogToUsb({"a"}, QByteArray(1, '\0'), Year, 1, Year, 12);
    QDBusPendingReply<bool> second = rig.logd().exportEnergyLogToUsb({"a"}, QByteArray(1, '\0'), Year, 1, Year, 12);

    EXPECT_TRUE(first.value());
    EXPECT_TRUE(second.value());
    EXPECT_TRUE(rig.logdSignals().waitFor("energyLogExportCompleted", 2));
    EXPECT_TRUE(waitUntil([&] { return syncs() == 4; }));
    EXPECT_TRUE(hours().isEmpty());
}

TEST_F(EnergyLogTest, AnEntryThatIsTooShortOrTooLongIsRefused)
{
    startWithLog(2);

    EXPECT_FALSE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1})).value());
    EXPECT_FALSE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2, 3})).value());
    for (const QList<int>& numbers : {QList<int>{}, QList<int>{Year, 3, 5}, QList<int>{Year, 3, 5, 7}})
    {
        const QDBusMessage reply = callRaw("addEnergyLogHourlyEntry", {QVariant::fromValue(numbers)});
        EXPECT_EQ(reply.arguments().value(0), QVariant(false)) << numbers.size() << " numbers";
    }

    EXPECT_TRUE(hours().isEmpty());
}

TEST_F(EnergyLogTest, AnArgumentThatIsNoListIsAnErrorAndTheNextCallWorks)
{
    startWithLog(2);

    for (const char* method : {"addEnergyLogHourlyEntry", "addEnergyLogHourlyEntries", "addEnergyLogMonthlyEntry"})
    {
        EXPECT_EQ(callRaw(method, {QStringLiteral("text")}).type(), QDBusMessage::ErrorMessage) << method;
        EXPECT_EQ(callRaw(method, {QStringList{"a", "b"}}).type(), QDBusMessage::ErrorMessage) << method;
    }

    EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());
}

TEST_F(EnergyLogTest, ABatchWithOneBadRowIsRefusedWhole)
{
    startWithLog(2);

    EXPECT_FALSE(rig.logd().addEnergyLogHourlyEntries({at(5, 7, {1, 2}), at(5, 8, {1}), at(5, 9, {1, 2})}).value());

    EXPECT_TRUE(hours().isEmpty());
}

TEST_F(EnergyLogTest, AStatementThatIsRefusedIsAnErrorAtOnceToldInTheTraceAndTheNextCallWorks)
{
    startWithLog(2);
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());

    for (const QList<bool>& members : {QList<bool>{true}, QList<bool>{true, true, true}, QList<bool>{}})
    {
        QElapsedTimer time;
        time.start();
        QDBusPendingReply<bool> reply = rig.logd().summarizeEnergyLogMonth(Year, 3, members);
        reply.waitForFinished();
        EXPECT_TRUE(reply.isError()) << members.size();
        EXPECT_LT(time.elapsed(), 5000) << "an answer, not a time-out";
    }

    EXPECT_TRUE(rig.daemon.waitForTrace("2 values for 3 columns"));
    EXPECT_TRUE(rig.daemon.waitForTrace("no such column: value3"));
    EXPECT_TRUE(rig.daemon.waitForTrace("syntax error"));
    EXPECT_EQ(rig.logdSignals().count("energyLogMonthSummarized"), 0);
    EXPECT_TRUE(rig.logd().summarizeEnergyLogMonth(Year, 3, {true, true}).value());
    EXPECT_EQ(shown(months()), QStringList{QStringLiteral("%1-3-1 0 | 1 | 2").arg(Year)});
}

TEST_F(EnergyLogTest, WhatWasAnsweredWithTrueIsThereAfterTheDaemonWasKilled)
{
    startWithLog(2);
    QStringList sent;
    for (uchar hour = 0; hour < 20; ++hour)
    {
        ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, hour, {hour, -hour})).value());
        sent.append(shown(at(5, hour, {hour, -hour})));
    }

    rig.daemon.kill();

    ASSERT_TRUE(rig.startDaemon());
    EXPECT_TRUE(hours().isEmpty()) << "closed until init";
    ASSERT_TRUE(rig.logd().initEnergyLog(2, Invalid).value());
    EXPECT_EQ(shown(hours()), sent);
    EXPECT_TRUE(backups().isEmpty());
}

TEST_F(EnergyLogTest, AFileOfNoiseLiesBesideTheNewLogWhole)
{
    QByteArray noise;
    for (quint32 state = 7; noise.size() < 30000; state = state * 1664525 + 1013904223)
    {
        noise.append(static_cast<char>(state >> 24));
    }
    rig.scratch.writeFile(Database, noise);

    startWithLog(2);

    EXPECT_TRUE(rig.daemon.waitForTrace("Energylog db appears to be corrupt, attempt to recover"));
    ASSERT_EQ(backups().size(), 1);
    QFile backup(folder().filePath(backups()[0]));
    ASSERT_TRUE(backup.open(QIODevice::ReadOnly));
    EXPECT_EQ(backup.readAll(), noise);
    EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());
}

TEST_F(EnergyLogTest, AReadOnlyFileIsAnErrorAndTheLogOpensOnceItCanBeWritten)
{
    REQUIRE_BUBBLEWRAP();
    startWithLog(2);
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());
    ASSERT_EQ(rig.daemon.stop(), 0);
    const QByteArray path = rig.scratch.outside(Database).toUtf8();
    chmod(path.constData(), 0444);
    ASSERT_TRUE(rig.startDaemon());

    QDBusPendingReply<bool> reply = rig.logd().initEnergyLog(2, Invalid);
    reply.waitForFinished();

    EXPECT_TRUE(reply.isError());
    EXPECT_TRUE(rig.daemon.waitForTrace("readonly"));
    chmod(path.constData(), 0644);
    EXPECT_TRUE(rig.logd().initEnergyLog(2, Invalid).value());
    EXPECT_EQ(hours().size(), 1);
}

TEST_F(EnergyLogTest, AFullDiskIsAnErrorToldInTheTraceAndAddsWorkOnceThereIsRoom)
{
    REQUIRE_BUBBLEWRAP();
    const QString disk = rig.daemon.addSizedStick("disk", 1 << 20);
    folder().removeRecursively();
    ASSERT_TRUE(QFile::link(disk, rig.scratch.outside("/var/zemo/var/data")));
    startWithLog(2);
    ASSERT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 7, {1, 2})).value());
    QFile ballast(rig.daemon.seen(disk + "/ballast"));
    ASSERT_TRUE(ballast.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    while (ballast.write(QByteArray(4096, 'x')) > 0)
    {
    }

    QDBusPendingReply<bool> reply = rig.logd().addEnergyLogHourlyEntry(at(5, 8, {3, 4}));
    reply.waitForFinished();

    EXPECT_TRUE(reply.isError());
    EXPECT_TRUE(rig.daemon.waitForTrace("disk is full"));
    ballast.resize(0);
    EXPECT_TRUE(rig.logd().addEnergyLogHourlyEntry(at(5, 9, {5, 6})).value());
    EXPECT_EQ(shown(hours()), (QStringList{QStringLiteral("%1-3-5 7 | 1 | 2").arg(Year),
                                           QStringLiteral("%1-3-5 9 | 5 | 6").arg(Year)}));
}
