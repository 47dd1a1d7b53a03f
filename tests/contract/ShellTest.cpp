// The application shell, each case in a process of its own: what ends it, with which code and which words.
#include "PrivateBus.h"

#include <helpers/sqlitedb.h>
#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/ExecutionQueue.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>
#include <zemo/UsbClient.h>
#include <zemo/Watchdog.h>
#include <zemo/ZemoApplication.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QSqlError>
#include <QTemporaryDir>
#include <QTimer>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace zemo;

namespace
{

constexpr unsigned long long mask = 0x40800801092;

// Runs an application to its end, with `act` as the first thing in its event loop, and ends the process with its code,
// or as an exception would that nobody catches.
[[noreturn]] void runApplication(const std::function<void()>& act) noexcept
{
    int code = 0;
    {
        std::array<char, 5> name = {"test"};
        char* arguments = name.data();
        int count = 1;
        ZemoApplication application(count, &arguments);
        application.startFunctionality(mask);
        QTimer::singleShot(0, &application, act);
        QTimer::singleShot(20000, &application, [] { QCoreApplication::exit(99); });
        code = QCoreApplication::exec();
    }
    _Exit(code);
}

[[noreturn]] void runOnBus(const std::function<void(PrivateBus&)>& act)
{
    PrivateBus bus;
    runApplication([&] { act(bus); });
}

// Runs `act` on a thread beside the event loop and ends that with what it answers.
void runBeside(const std::function<int()>& act)
{
    std::thread(
        [act]
        {
            const int code = act();
            QMetaObject::invokeMethod(
                qApp, [code] { QCoreApplication::exit(code); }, Qt::QueuedConnection);
        })
        .detach();
}

class Thrower : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "test.Thrower")

public slots:
    int answer() // NOLINT(readability-convert-member-functions-to-static): a slot
    {
        return 42;
    }

    int failInDatabase() // NOLINT(readability-convert-member-functions-to-static): a slot
    {
        throwSqlError(QSqlError(QStringLiteral("driver"), QStringLiteral("disk"), QSqlError::StatementError));
    }

    int failOtherwise() // NOLINT(readability-convert-member-functions-to-static): a slot
    {
        throw std::logic_error("not of the database");
    }
};

QDBusMessage callThrower(const char* method)
{
    static const QDBusConnection caller =
        QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS"), QStringLiteral("caller"));
    return caller.call(QDBusMessage::createMethodCall(QStringLiteral("test.Service"), QStringLiteral("/"),
                                                      QStringLiteral("test.Thrower"), QString::fromLatin1(method)));
}

void offerThrower()
{
    auto* thrower = new Thrower;
    thrower->setParent(qApp);
    QDBusConnection::systemBus().registerObject(QStringLiteral("/"), thrower, QDBusConnection::ExportAllSlots);
    QDBusConnection::systemBus().registerService(QStringLiteral("test.Service"));
}

int callAroundADatabaseError()
{
    QElapsedTimer timer;
    timer.start();
    const QDBusMessage failed = callThrower("failInDatabase");
    const QDBusMessage again = callThrower("failInDatabase");
    const QDBusMessage good = callThrower("answer");
    const bool asExpected = failed.type() == QDBusMessage::ErrorMessage && again.type() == QDBusMessage::ErrorMessage &&
                            good.arguments().value(0).toInt() == 42 && timer.elapsed() < 5000;
    return asExpected ? 7 : 1;
}

// The end of the socket on which the service manager would listen.
class ServiceManager
{
public:
    ServiceManager()
        : m_socket(socket(AF_UNIX, SOCK_DGRAM, 0))
    {
        const QByteArray path = m_folder.filePath(QStringLiteral("notify")).toLocal8Bit();
        sockaddr_un address = {AF_UNIX, {}};
        path.toStdString().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        qputenv("NOTIFY_SOCKET", path);
    }

    ~ServiceManager()
    {
        qunsetenv("NOTIFY_SOCKET");
        qunsetenv("WATCHDOG_USEC");
        close(m_socket);
    }

    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    QByteArray received() const
    {
        std::array<char, 100> buffer = {};
        const ssize_t length = recv(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
        return {buffer.data(), std::max<ssize_t>(0, length)};
    }

    // The next message, waited for in the event loop.
    QByteArray awaited() const
    {
        QElapsedTimer timer;
        timer.start();
        QByteArray message = received();
        while (message.isEmpty() && timer.elapsed() < 10000)
        {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            message = received();
        }
        return message;
    }

private:
    QTemporaryDir m_folder;
    int m_socket;
};

class Shell : public testing::Test
{
protected:
    Shell()
    {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }
};

} // namespace

TEST_F(Shell, SigtermEndsTheEventLoopWithZero)
{
    EXPECT_EXIT(runOnBus([](PrivateBus&) { raise(SIGTERM); }), testing::ExitedWithCode(0), "");
}

TEST_F(Shell, SigintEndsTheEventLoopWithZero)
{
    EXPECT_EXIT(runOnBus([](PrivateBus&) { raise(SIGINT); }), testing::ExitedWithCode(0), "");
}

TEST_F(Shell, ASignalThatComesBeforeTheEventLoopRunsEndsItAtOnce)
{
    const auto signalledEarly = []
    {
        std::array<char, 5> name = {"test"};
        char* arguments = name.data();
        int count = 1;
        ZemoApplication application(count, &arguments);
        raise(SIGTERM);
        QTimer::singleShot(20000, &application, [] { QCoreApplication::exit(99); });
        _Exit(QCoreApplication::exec());
    };

    EXPECT_EXIT(signalledEarly(), testing::ExitedWithCode(0), "");
}

TEST_F(Shell, AProgramThatTheProcessStartsCanBeEndedAsUsual)
{
    const auto endChild = []
    {
        const int status = std::system("kill -TERM $$; exit 5");
        QCoreApplication::exit(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM ? 7 : 1);
    };

    EXPECT_EXIT(runApplication(endChild), testing::ExitedWithCode(7), "");
}

TEST_F(Shell, AfterTheApplicationTheSignalsDoWhatTheyDidBefore)
{
    const auto afterwards = []
    {
        {
            std::array<char, 5> name = {"test"};
            char* arguments = name.data();
            int count = 1;
            const ZemoApplication application(count, &arguments);
        }
        raise(SIGTERM);
        _Exit(1);
    };

    EXPECT_EXIT(afterwards(), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(Shell, TheLossOfTheBusEndsTheEventLoopWithOneAndIsTraced)
{
    EXPECT_EXIT(runOnBus([](PrivateBus& bus) { bus.kill(); }), testing::ExitedWithCode(1),
                "crit zemo: The system bus is gone");
}

TEST_F(Shell, ABusThatNeverWasIsNoLoss)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");

    EXPECT_EXIT(runApplication(
                    []
                    {
                        const bool empty = system::SystemClient::instance->getSerial().isEmpty() &&
                                           hardware::UsbClient(nullptr).getUsbDrives().isEmpty();
                        QCoreApplication::exit(empty ? 7 : 1);
                    }),
                testing::ExitedWithCode(7), "err zemo: The platform's services are gone: ");
}

TEST_F(Shell, WithoutABusEveryAnswerIsEmptyAtOnce)
{
    const auto askAfterLoss = [](PrivateBus& bus)
    {
        bus.kill();
        QElapsedTimer timer;
        timer.start();
        const bool empty = system::SystemClient::instance->getSerial().isEmpty() &&
                           data::DataManagementClient::instance->getValues({1}).isEmpty();
        QCoreApplication::exit(empty && timer.elapsed() < 2000 ? 7 : 2);
    };

    EXPECT_EXIT(runOnBus(askAfterLoss), testing::ExitedWithCode(7), "");
}

TEST_F(Shell, ADatabaseErrorBehindABusCallIsAnErrorToItsCallerAtOnceAndNothingMore)
{
    const auto act = [](PrivateBus&)
    {
        offerThrower();
        runBeside(callAroundADatabaseError);
    };

    EXPECT_EXIT(runOnBus(act), testing::ExitedWithCode(7), "crit zemo: Database error: .*disk.* notify\\)");
}

TEST_F(Shell, ADatabaseErrorOnAnotherThreadsEventLoopIsStoppedToo)
{
    const auto act = []
    {
        ExecutionQueue queue;
        QMetaObject::invokeMethod(
            queue.context(), [] { throwSqlError(QSqlError({}, QStringLiteral("disk"), QSqlError::StatementError)); },
            Qt::QueuedConnection);
        QMetaObject::invokeMethod(
            queue.context(), [] { QCoreApplication::exit(7); }, Qt::BlockingQueuedConnection);
    };

    EXPECT_EXIT(runApplication(act), testing::ExitedWithCode(7), "crit zemo: Database error: .*disk");
}

TEST_F(Shell, AnyOtherExceptionEndsTheProcess)
{
    const auto act = [](PrivateBus&)
    {
        offerThrower();
        runBeside(
            []
            {
                callThrower("failOtherwise");
                return 1;
            });
    };

    EXPECT_EXIT(runOnBus(act), testing::KilledBySignal(SIGABRT), "not of the database");
}

TEST_F(Shell, QtsMessagesGoToTheTrace)
{
    const auto act = []
    {
        qInfo("plain");
        qWarning("odd");
        qCritical("bad");
        QCoreApplication::exit(7);
    };

    EXPECT_EXIT(runApplication(act), testing::ExitedWithCode(7),
                "info Qt: plain[^\n]*\n[^\n]*warning Qt: odd[^\n]*\n[^\n]*err Qt: bad");
}

TEST_F(Shell, TheClientsAreThereFromTheStartOfTheFunctions)
{
    std::array<char, 5> name = {"test"};
    char* arguments = name.data();
    int count = 1;
    {
        ZemoApplication application(count, &arguments);
        application.startFunctionality(mask);

        EXPECT_NE(data::DataManagementClient::instance, nullptr);
        EXPECT_NE(data::PowerLogClient::instance_, nullptr);
        EXPECT_NE(menus::MenusClient::instance, nullptr);
        EXPECT_NE(system::SystemClient::instance, nullptr);
        EXPECT_NE(system::AlarmsClient::instance, nullptr);
    }
    EXPECT_EQ(data::DataManagementClient::instance, nullptr);
}

TEST_F(Shell, TheWatchdogReportsReadinessAndIsServedInTime)
{
    const ServiceManager manager;
    qputenv("WATCHDOG_USEC", "200000");
    std::array<char, 5> name = {"test"};
    char* arguments = name.data();
    int count = 1;
    ZemoApplication application(count, &arguments);

    const system::Watchdog watchdog(true, &application);

    EXPECT_EQ(manager.received(), "READY=1");
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(manager.awaited(), "WATCHDOG=1");
    EXPECT_EQ(manager.awaited(), "WATCHDOG=1");
    EXPECT_GE(timer.elapsed(), 150);
}

TEST_F(Shell, AWatchdogThatTheServiceManagerDoesNotKeepIsNotServed)
{
    const ServiceManager manager;
    std::array<char, 5> name = {"test"};
    char* arguments = name.data();
    int count = 1;
    ZemoApplication application(count, &arguments);

    const system::Watchdog watchdog(true, &application);

    EXPECT_EQ(manager.received(), "READY=1");
    EXPECT_TRUE(watchdog.findChildren<QTimer*>().isEmpty());
}

#include "ShellTest.moc"
