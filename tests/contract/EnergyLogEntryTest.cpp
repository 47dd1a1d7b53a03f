// The energy log's records as they travel over a bus.
#include "PrivateBus.h"

#include <zemo/EnergyLogEntry.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <gtest/gtest.h>

#include <limits>

using zemo::data::EnergyLogEntry;

namespace
{

class Echo : public QObject
{
    Q_OBJECT

public slots:
    QListEnergyLogEntry list(const QListEnergyLogEntry& entries) // NOLINT: a slot
    {
        return entries;
    }

    zemo::data::EnergyLogEntry one(const zemo::data::EnergyLogEntry& entry) // NOLINT: a slot
    {
        return entry;
    }
};

// Sends `argument` over the bus and back while the event loop serves the other end.
QDBusMessage echo(const char* method, const QVariant& argument)
{
    QDBusConnection caller =
        QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS"), QStringLiteral("caller"));
    QDBusMessage call = QDBusMessage::createMethodCall(QDBusConnection::systemBus().baseService(), QStringLiteral("/"),
                                                       {}, QString::fromLatin1(method));
    call << argument;
    return caller.call(call, QDBus::BlockWithGui);
}

QDBusArgument echoedList(const QVariant& argument)
{
    return echo("list", argument).arguments().value(0).value<QDBusArgument>();
}

class EnergyLogEntryOnTheBus : public testing::Test
{
protected:
    EnergyLogEntryOnTheBus()
    {
        qDBusRegisterMetaType<EnergyLogEntry>();
        qRegisterMetaType<QListEnergyLogEntry>("QListEnergyLogEntry");
        qDBusRegisterMetaType<QListEnergyLogEntry>();
        QDBusConnection::systemBus().registerObject(QStringLiteral("/"), &m_echo, QDBusConnection::ExportAllSlots);
    }

private:
    Echo m_echo;
};

void expectSame(const EnergyLogEntry& left, const EnergyLogEntry& right)
{
    EXPECT_EQ(left.year(), right.year());
    EXPECT_EQ(left.month(), right.month());
    EXPECT_EQ(left.day(), right.day());
    EXPECT_EQ(left.hour(), right.hour());
    EXPECT_EQ(left.values(), right.values());
}

} // namespace

TEST_F(EnergyLogEntryOnTheBus, AnEntryIsTheNumbersOfItsDateAndThenItsValues)
{
    const EnergyLogEntry entry(2024, 2, 29, 23, {7, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()});

    const QDBusArgument argument = echo("one", QVariant::fromValue(entry)).arguments().at(0).value<QDBusArgument>();

    EXPECT_EQ(argument.currentSignature(), QStringLiteral("ai"));
    EXPECT_EQ(qdbus_cast<QList<int>>(argument),
              (QList<int>{2024, 2, 29, 23, 7, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}));
}

TEST_F(EnergyLogEntryOnTheBus, AListIsAnArrayOfArraysAndComesBackAsItWas)
{
    const QListEnergyLogEntry entries{{2024, 1, 2, 3, {4, -5}}, {65535, 255, 255, 255, {}}, {2025, 12, 31, 0, {0}}};

    const QDBusArgument argument = echoedList(QVariant::fromValue(entries));
    const QString signature = argument.currentSignature();
    const auto back = qdbus_cast<QListEnergyLogEntry>(argument);

    EXPECT_EQ(signature, QStringLiteral("aai"));
    ASSERT_EQ(back.size(), 3);
    expectSame(back[0], entries[0]);
    expectSame(back[1], entries[1]);
    expectSame(back[2], entries[2]);
}

TEST_F(EnergyLogEntryOnTheBus, AnEmptyListIsAList)
{
    const auto back = qdbus_cast<QListEnergyLogEntry>(echoedList(QVariant::fromValue(QListEnergyLogEntry())));

    EXPECT_TRUE(back.isEmpty());
}

TEST_F(EnergyLogEntryOnTheBus, FewerThanFourNumbersAreADefaultEntryAndSpoilNoOther)
{
    const QList<QList<int>> numbers{{2024, 1, 2}, {2024, 1, 2, 3, 4}, {}, {2025, 1, 2, 3}};
    qDBusRegisterMetaType<QList<QList<int>>>();

    const auto back = qdbus_cast<QListEnergyLogEntry>(echoedList(QVariant::fromValue(numbers)));

    ASSERT_EQ(back.size(), 4);
    expectSame(back[0], EnergyLogEntry());
    expectSame(back[1], EnergyLogEntry(2024, 1, 2, 3, {4}));
    expectSame(back[2], EnergyLogEntry());
    expectSame(back[3], EnergyLogEntry(2025, 1, 2, 3, {}));
}

TEST_F(EnergyLogEntryOnTheBus, ReadingAListReplacesWhatWasThere)
{
    const QDBusArgument argument = echoedList(QVariant::fromValue(QListEnergyLogEntry{{2024, 1, 2, 3, {4}}}));
    QListEnergyLogEntry target{{1999, 1, 1, 1, {}}, {1998, 1, 1, 1, {}}};

    argument >> target;

    ASSERT_EQ(target.size(), 1);
    expectSame(target[0], EnergyLogEntry(2024, 1, 2, 3, {4}));
}

TEST(EnergyLogEntry, ADefaultOneHoldsNothing)
{
    expectSame(EnergyLogEntry(), EnergyLogEntry(0, 0, 0, 0, {}));
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const PrivateBus bus;
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}

#include "EnergyLogEntryTest.moc"
