// The parts of the gate between the process and the bus: what it reads on the wire, whose call is next, and when there
// is no gate.
#include "PrivateBus.h"

#include <clients/Bus.h>
#include <gate/BusGate.h>
#include <gate/CallQueue.h>
#include <gate/Endpoint.h>
#include <gate/Message.h>

#include <QDBusConnection>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

using namespace zemo::gate;

namespace
{

constexpr CallQueue::Time start{};

Header from(const char* sender, uint32_t serial, bool wantsReply = true)
{
    Header header;
    header.kind = Kind::Call;
    header.sender = sender;
    header.serial = serial;
    header.wantsReply = wantsReply;
    return header;
}

Header answerTo(const char* sender, uint32_t serial)
{
    Header header;
    header.kind = Kind::Return;
    header.destination = sender;
    header.replySerial = serial;
    return header;
}

// Its text is all that is ever looked at, but for the four bytes in front.
QByteArray callNamed(const QByteArray& name)
{
    return QByteArray("l\1\1\1", 4) + name;
}

QByteArray nameOf(const std::optional<QByteArray>& call)
{
    return call ? call->mid(4) : QByteArray("none");
}

// A signal with a sender, as a machine of the other byte order writes it, behind a field of an unheard-of code.
QByteArray foreignCall(char fieldType = 's')
{
    QByteArray fields("\x63\1s\0\0\0\0\1x\0\0\0\0\0\0\0", 16);
    fields[2] = fieldType;
    fields += QByteArray("\7\1s\0\0\0\0\4:1.7\0", 13);
    QByteArray message("B\1\1\1\0\0\0\2\0\0\1\2\0\0\0\x1d", 16);
    message += fields;
    message += QByteArray(3, '\0');
    return message + "hi";
}

} // namespace

TEST(GateMessage, ItsSizeIsKnownAsSoonAsTheFixedPartIsThere)
{
    const QByteArray message = foreignCall();

    EXPECT_EQ(messageSize(message), message.size());
    EXPECT_EQ(messageSize(message + "and the next one"), message.size());
    EXPECT_EQ(messageSize(message.first(16)), message.size());
    EXPECT_EQ(messageSize(message.first(15)), std::nullopt);
}

TEST(GateMessage, AHeaderIsReadInTheByteOrderOfItsSender)
{
    const Header header = readHeader(foreignCall());

    EXPECT_EQ(header.kind, Kind::Call);
    EXPECT_EQ(header.serial, 258U);
    EXPECT_FALSE(header.wantsReply);
    EXPECT_EQ(header.sender, ":1.7");
}

TEST(GateMessage, WhatStandsBehindAFieldOfAnUnknownTypeIsNotFound)
{
    EXPECT_EQ(readHeader(foreignCall('v')).sender, "");
}

TEST(GateMessage, AHeaderThatPromisesMoreThanThereIsIsReadWithoutGoingBeyond)
{
    const QByteArray message = foreignCall();
    for (qsizetype size = 0; size < message.size(); ++size)
    {
        // A copy of its own, so that a sanitizer sees the end of it.
        QByteArray cut(message.constData(), size);
        cut.squeeze();
        readHeader(cut);
        messageSize(cut);
    }
}

TEST(GateMessage, ARefusalIsAnErrorForTheCallerThatNamesItsCall)
{
    const QByteArray refusal = refusalOf(from(":1.42", 77));

    const Header header = readHeader(refusal);
    EXPECT_EQ(messageSize(refusal), refusal.size());
    EXPECT_EQ(header.kind, Kind::Error);
    EXPECT_EQ(header.destination, ":1.42");
    EXPECT_EQ(header.replySerial, 77U);
    EXPECT_FALSE(header.wantsReply);
    EXPECT_TRUE(refusal.contains("org.freedesktop.DBus.Error.LimitsExceeded"));
}

TEST(GateQueue, TheCallsOfOneSenderKeepTheirOrder)
{
    CallQueue calls;
    ASSERT_TRUE(calls.add(callNamed("first"), from("a", 1)));
    ASSERT_TRUE(calls.add(callNamed("second"), from("a", 2)));

    EXPECT_EQ(nameOf(calls.take(start)), "first");
    EXPECT_EQ(nameOf(calls.take(start)), "second");
    EXPECT_TRUE(calls.isEmpty());
}

TEST(GateQueue, NoMoreThanTwoCallsAreInHandUntilOneIsAnswered)
{
    CallQueue calls;
    for (uint32_t serial = 1; serial <= 4; ++serial)
        ASSERT_TRUE(calls.add(callNamed(QByteArray::number(serial)), from("a", serial)));
    EXPECT_EQ(nameOf(calls.take(start)), "1");
    EXPECT_EQ(nameOf(calls.take(start)), "2");
    EXPECT_EQ(nameOf(calls.take(start)), "none");

    calls.isUnwanted(answerTo("b", 1));
    calls.isUnwanted(answerTo("a", 9));
    EXPECT_EQ(nameOf(calls.take(start)), "none");
    calls.isUnwanted(answerTo("a", 2));

    EXPECT_EQ(nameOf(calls.take(start)), "3");
    EXPECT_EQ(nameOf(calls.take(start)), "none");
}

TEST(GateQueue, ANewSenderWaitsForOneCallOfEachOther)
{
    CallQueue calls;
    for (uint32_t serial = 1; serial <= 500; ++serial)
    {
        ASSERT_TRUE(calls.add(callNamed("a"), from("a", serial)));
        ASSERT_TRUE(calls.add(callNamed("b"), from("b", serial)));
    }
    ASSERT_TRUE(calls.add(callNamed("new"), from("c", 1)));
    ASSERT_TRUE(calls.add(callNamed("new"), from("c", 2)));

    QByteArrayList order;
    for (int i = 0; i < 6; ++i)
    {
        order += nameOf(calls.take(start + CallQueue::patience * i)); // so long that there is always room
    }

    EXPECT_EQ(order, QByteArrayList({"a", "b", "new", "a", "b", "new"}));
}

TEST(GateQueue, EveryCallIsHandedOnAsOneThatWantsAReply)
{
    CallQueue calls;
    ASSERT_TRUE(calls.add(callNamed("quiet"), from("a", 1, false)));

    const QByteArray taken = calls.take(start).value();

    EXPECT_TRUE(readHeader(taken).wantsReply);
    EXPECT_EQ(taken.mid(4), "quiet");
}

TEST(GateQueue, OnlyTheAnswerToACallThatWantedNoneIsUnwanted)
{
    CallQueue calls;
    ASSERT_TRUE(calls.add(callNamed("quiet"), from("a", 1, false)));
    ASSERT_TRUE(calls.add(callNamed("asking"), from("a", 2)));
    calls.take(start);
    calls.take(start);

    EXPECT_FALSE(calls.isUnwanted(answerTo("b", 1)));
    EXPECT_TRUE(calls.isUnwanted(answerTo("a", 1)));
    EXPECT_FALSE(calls.isUnwanted(answerTo("a", 1)));
    EXPECT_FALSE(calls.isUnwanted(answerTo("a", 2)));
}

TEST(GateQueue, AThousandCallsOfOneSenderWaitAndOthersStillFind)
{
    CallQueue calls;
    for (uint32_t serial = 1; serial <= 1000; ++serial)
        ASSERT_TRUE(calls.add(callNamed("call"), from("a", serial)));

    EXPECT_FALSE(calls.add(callNamed("call"), from("a", 1001)));

    EXPECT_TRUE(calls.add(callNamed("call"), from("b", 1)));
    calls.take(start);
    EXPECT_TRUE(calls.add(callNamed("call"), from("a", 1001)));
}

TEST(GateQueue, OneCallMayBeOfAnySizeAndThenThereIsRoomForNoMoreOfItsSender)
{
    CallQueue calls;

    EXPECT_TRUE(calls.add(QByteArray(100 * 1024 * 1024, '\0'), from("a", 1)));

    EXPECT_FALSE(calls.add(callNamed("small"), from("a", 2)));
}

TEST(GateQueue, WhenAllTogetherHoldTooMuchOnlyASmallFirstCallFindsRoom)
{
    CallQueue calls;
    ASSERT_TRUE(calls.add(QByteArray(10 * 1024 * 1024, '\0'), from("a", 1)));

    EXPECT_FALSE(calls.add(QByteArray(7 * 1024 * 1024, '\0'), from("b", 1)));
    ASSERT_TRUE(calls.add(QByteArray(6 * 1024 * 1024, '\0'), from("c", 1)));

    EXPECT_FALSE(calls.add(QByteArray(20 * 1024, '\0'), from("d", 1)));
    EXPECT_TRUE(calls.add(callNamed("small"), from("d", 1)));
    EXPECT_FALSE(calls.add(callNamed("small"), from("d", 2)));
}

TEST(GateQueue, RoomThatATakenCallLeavesCanBeUsedAgain)
{
    CallQueue calls;
    for (uint32_t serial = 1; serial <= 100; ++serial)
    {
        ASSERT_TRUE(calls.add(QByteArray(10 * 1024 * 1024, '\0'), from("a", serial)));
        ASSERT_TRUE(calls.take(start));
        calls.isUnwanted(answerTo("a", serial));
    }
}

TEST(GateQueue, ACallWithoutAnAnswerKeepsOthersWaitingForHalfAMinute)
{
    CallQueue calls;
    for (uint32_t serial = 1; serial <= 3; ++serial)
        ASSERT_TRUE(calls.add(callNamed("call"), from("a", serial)));
    EXPECT_EQ(calls.nextChance(), std::nullopt);
    calls.take(start);
    calls.take(start);

    EXPECT_EQ(calls.nextChance(), start + std::chrono::seconds(30));
    EXPECT_FALSE(calls.take(start + std::chrono::milliseconds(29999)));
    EXPECT_TRUE(calls.take(start + std::chrono::seconds(30)));
    EXPECT_EQ(calls.nextChance(), std::nullopt);
}

namespace
{

/// A socket that listens at a path, or under a name in the abstract space.
Descriptor listenAt(const QByteArray& place)
{
    Descriptor server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, place.constData(), static_cast<size_t>(place.size()));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(place.size()));
    EXPECT_EQ(bind(server.number(), reinterpret_cast<const sockaddr*>(&name), length), 0);
    EXPECT_EQ(::listen(server.number(), 1), 0);
    return server;
}

} // namespace

TEST(GateEndpoint, ABusIsFoundByThePathOfItsSocket)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a bus,with=all"));
    const Descriptor server = listenAt(path.toLatin1());
    const QString escaped = folder.path() + QStringLiteral("/a%20bus%2cwith%3dall");

    EXPECT_TRUE(connectTo(QStringLiteral("unix:path=%1,guid=0123").arg(escaped)).isOpen());
    EXPECT_TRUE(connectTo(QStringLiteral("unix:guid=0123,path=%1").arg(escaped)).isOpen());
    EXPECT_FALSE(connectTo(QStringLiteral("unix:path=%1").arg(folder.path())).isOpen());
}

TEST(GateEndpoint, TheFirstAddressThatAnswersIsTaken)
{
    const QTemporaryDir folder;
    const Descriptor server = listenAt(folder.filePath(QStringLiteral("bus")).toLatin1());

    EXPECT_TRUE(connectTo(QStringLiteral("tcp:host=localhost,port=1;unix:path=%1/none;unix:path=%1/bus;unix:path=/")
                              .arg(folder.path()))
                    .isOpen());
}

TEST(GateEndpoint, AnAddressThatIsNoSocketOfThisMachineIsNotConnectedTo)
{
    for (const char* address : {"", "unix:", "unix:path=", "unix:runtime=yes", "tcp:host=localhost", "autolaunch:"})
        EXPECT_FALSE(connectTo(QString::fromLatin1(address)).isOpen()) << address;
    EXPECT_FALSE(connectTo(QStringLiteral("unix:path=/%1").arg(QString(200, QLatin1Char('x')))).isOpen());
}

TEST(GateEndpoint, ItsOwnListenerIsFoundByItsAddressAndLetsThisProcessIn)
{
    const Listener listener = zemo::gate::listen();

    const Descriptor there = connectTo(listener.address);

    ASSERT_TRUE(there.isOpen());
    EXPECT_TRUE(acceptOwn(listener).isOpen());
    EXPECT_FALSE(acceptOwn(listener).isOpen());
}

TEST(GateEndpoint, WithoutAVariableTheSystemBusIsWhereEverybodyHasIt)
{
    const QByteArray before = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");

    EXPECT_EQ(zemo::clients::systemBusAddress(), QStringLiteral("unix:path=/run/dbus/system_bus_socket"));

    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/x");
    EXPECT_EQ(zemo::clients::systemBusAddress(), QStringLiteral("unix:path=/x"));
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", before);
}

namespace
{

/// Tries to open the gate after `prepare` and ends the process: with 7 when there is none.
[[noreturn]] void openGate(const std::function<void()>& prepare)
{
    prepare();
    _Exit(BusGate::open() ? 1 : 7);
}

/// Lets the process have so many descriptors more.
void leaveDescriptors(int count)
{
    std::vector<Descriptor> free;
    while (count-- > 0)
        free.emplace_back(open("/", O_PATH));
    const rlim_t end = static_cast<rlim_t>(free.back().number()) + 1;
    const rlimit limit = {end, end};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

/// Each case has a process of its own.
struct GateOpening : testing::Test
{
    GateOpening()
    {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }

    PrivateBus bus;
};

} // namespace

TEST_F(GateOpening, WithoutABusThereIsNoGateAndATraceSaysWhy)
{
    EXPECT_EXIT(openGate([] { qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent"); }),
                testing::ExitedWithCode(7),
                "warning zemo: No gate [^\n]*: no bus can be reached on a socket of this machine");
}

TEST_F(GateOpening, WithoutADescriptorForTheListenerThereIsNoGateAndATraceSaysWhy)
{
    EXPECT_EXIT(openGate([] { leaveDescriptors(1); }), testing::ExitedWithCode(7),
                "warning zemo: No gate [^\n]*: Too many open files");
}

TEST_F(GateOpening, WithoutDescriptorsForThePipeThereIsNoGateAndATraceSaysWhy)
{
    EXPECT_EXIT(openGate([] { leaveDescriptors(3); }), testing::ExitedWithCode(7),
                "warning zemo: No gate [^\n]*: Too many open files");
}

TEST_F(GateOpening, WhenTheConnectionIsOpenAlreadyThereIsNoGateAndATraceSaysWhy)
{
    const auto connectBefore = [] { QDBusConnection::systemBus(); };

    EXPECT_EXIT(openGate(connectBefore), testing::ExitedWithCode(7),
                "warning zemo: No gate [^\n]*: the connection was open already");
}
