#include "FakePlatform.h"
#include "LoggerTestSupport.h"
#include "Refusal.h"

#include "logging/BinaryLogger.h"
#include "logging/RAMLogger.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

bool readsFail = false;

void setLastWrite(const QString& path, qint64 seconds)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::fromSecsSinceEpoch(seconds), QFileDevice::FileModificationTime));
}

} // namespace

// In place of the operating system's own: a medium that fails under the reader.
extern "C" ssize_t read(int descriptor, void* buffer, size_t size)
{
    if (readsFail)
    {
        errno = EIO;
        return -1;
    }
    return syscall(SYS_read, descriptor, buffer, size);
}

namespace
{

using namespace zemo::data;

const QByteArray WorkedExample = QByteArray::fromHex("5A626C01 00000002 03E80002 03E90004 6553F100 FFFB C8");
const QByteArray EmptyLog = QByteArray::fromHex("5A626C01 00000000");

/// Notes what it is told, in order.
class RecordingFileLogger : public FileLogger
{
public:
    RecordingFileLogger()
        : FileLogger("/nowhere", CsvLog, nullptr)
    {
    }

    bool start(bool continueLog) override
    {
        happened.emplace_back(continueLog ? "start true" : "start false");
        return false;
    }
    bool stop() override
    {
        happened.emplace_back("stop");
        return false;
    }
    QString getFileExtension() override
    {
        return {};
    }
    QString getBaseName() override
    {
        return {};
    }
    void setBaseName(const QString& name) override
    {
        happened.emplace_back("setBaseName");
        baseName = name;
    }
    void updateParameters(QMap<int32_t, Metadata> set) override
    {
        happened.emplace_back("updateParameters");
        columns = set.keys();
    }
    bool log(uint32_t time, QMap<int32_t, DataValue> values) override
    {
        if (throwAtRow == static_cast<int>(rows.size()))
        {
            throw std::runtime_error("no more rows");
        }
        if (rows.empty() && onFirstRow)
        {
            onFirstRow();
        }
        happened.emplace_back("log");
        rows.push_back({time, values});
        return false;
    }

    struct Row
    {
        uint32_t time;
        QMap<int32_t, DataValue> values;

        bool operator==(const Row&) const = default;
    };

    std::vector<std::string> happened;
    QString baseName;
    QList<int32_t> columns;
    std::vector<Row> rows;
    std::function<void()> onFirstRow;
    int throwAtRow = -1;
};

/// Opens what a test has to look at, and can be made to throw.
class OpenedBinaryLogger : public BinaryLogger
{
public:
    using BinaryLogger::BinaryLogger;
    using BinaryLogger::fileMutex;
    using BinaryLogger::fileName;
    using BinaryLogger::logMutex;

    bool isRunning() override
    {
        onLook();
        return throwing ? throw std::runtime_error("a broken logger") : BinaryLogger::isRunning();
    }

    int descriptor() const
    {
        return file->handle();
    }

    bool throwing = false;
    std::function<void()> onLook = [] {}; ///< runs whenever an operation asks for the state
};

/// Notes, whenever an operation asks for the logger's state, which of its two mutexes are held.
class HeldMutexes
{
public:
    explicit HeldMutexes(OpenedBinaryLogger& logger)
        : m_logger(logger)
    {
        m_logger.onLook = [this] { m_seen.insert({isTaken(m_logger.logMutex), isTaken(m_logger.fileMutex)}); };
    }
    ~HeldMutexes()
    {
        m_logger.onLook = [] {};
    }
    HeldMutexes(const HeldMutexes&) = delete;
    HeldMutexes& operator=(const HeldMutexes&) = delete;

    /// Whether it was these each time.
    bool were(bool logMutex, bool fileMutex) const
    {
        return m_seen == std::set<std::pair<bool, bool>>{{logMutex, fileMutex}};
    }

private:
    OpenedBinaryLogger& m_logger;
    std::set<std::pair<bool, bool>> m_seen;
};

/// A plain second reader of the format, number by number.
struct PlainReader
{
    explicit PlainReader(const QByteArray& bytes)
    {
        QDataStream stream(bytes);
        quint32 magic = 0;
        quint32 count = 0;
        stream >> magic;
        if (magic != 0x5A626C01 || stream.atEnd())
        {
            return;
        }
        stream >> count;
        if (count > 10000)
        {
            return;
        }
        accepted = true;
        QMap<int32_t, DataValue> map;
        for (quint32 n = 0; n < count; ++n)
        {
            quint16 id = 0;
            quint8 type = 0;
            quint8 size = 0;
            stream >> id >> type >> size;
            ids.append(id);
            map[id] = DataValue();
            map[id].setVarId(id);
            map[id].setVarType(type);
            map[id].setVarSize(size);
            map[id].setIsOk(true);
        }
        while (!stream.atEnd())
        {
            quint32 time = 0;
            stream >> time;
            for (const int id : std::as_const(ids))
            {
                readValue(stream, map[id]);
            }
            rows.push_back({time, map});
        }
    }

    static void readValue(QDataStream& stream, DataValue& value)
    {
        if (value.getVarType() != 0)
        {
            return;
        }
        switch (value.getVarSize())
        {
        case 2:
            return value.setIntValue(next<qint16>(stream));
        case 3:
            return value.setIntValue(next<qint32>(stream));
        case 4:
            return value.setIntValue(next<quint8>(stream));
        case 5:
            return value.setIntValue(next<quint16>(stream));
        case 6:
            return value.setIntValue(next<quint32>(stream));
        default:
            return value.setIntValue(next<qint8>(stream));
        }
    }

    template <class Number> static Number next(QDataStream& stream)
    {
        Number number = 0;
        stream >> number;
        return number;
    }

    bool accepted = false;
    QList<int> ids;
    std::vector<RecordingFileLogger::Row> rows;
};

class BinaryLoggerTest : public testing::Test
{
protected:
    ~BinaryLoggerTest() override
    {
        logger.throwing = false;
        logger.stop();
    }

    QString path(const QString& name) const
    {
        return directory.filePath(name);
    }

    QByteArray content(const QString& name = "123456-1.blf") const
    {
        return contentOf(path(name));
    }

    void begin(std::initializer_list<Metadata> parameters)
    {
        logger.updateParameters(parameterSet(parameters));
        ASSERT_TRUE(logger.start(false));
    }

    /// Has the reader play these bytes into `target`.
    bool readBytes(const QByteArray& bytes)
    {
        writeFile(path("read.blf"), bytes);
        return BinaryLogger::read(path("read.blf"), &target);
    }

    /// The values of one parameter, as read.
    std::vector<long long> readValues(int32_t id) const
    {
        std::vector<long long> values;
        for (const RecordingFileLogger::Row& row : target.rows)
        {
            values.push_back(row.values[id].getIntValue());
        }
        return values;
    }

    std::vector<uint32_t> readTimes() const
    {
        std::vector<uint32_t> times;
        for (const RecordingFileLogger::Row& row : target.rows)
        {
            times.push_back(row.time);
        }
        return times;
    }

    /// Writes these values as parameter 7 of that size, and reads them back.
    std::vector<long long> roundTrip(uint8_t varSize, std::initializer_list<long long> values)
    {
        OpenedBinaryLogger writer(directory.path(), 0, nullptr);
        writer.setBaseName("trip");
        writer.updateParameters(parameterSet({parameter(7, varSize)}));
        EXPECT_TRUE(writer.start(false));
        const QString name = writer.fileName;
        uint32_t time = 1700000000;
        for (const long long value : values)
        {
            EXPECT_TRUE(writer.log(time++, integerValues({{7, value}})));
        }
        writer.stop();
        target.rows.clear();
        EXPECT_TRUE(BinaryLogger::read(name, &target));
        return readValues(7);
    }

    /// What the values of parameter 7 of that size look like in a row.
    QByteArray valueBytes(uint8_t varSize, long long value)
    {
        OpenedBinaryLogger writer(directory.path(), 0, nullptr);
        writer.setBaseName("bytes");
        writer.updateParameters(parameterSet({parameter(7, varSize)}));
        EXPECT_TRUE(writer.start(false));
        writer.log(1700000000, integerValues({{7, value}}));
        const QByteArray bytes = contentOf(writer.fileName);
        writer.stop();
        return bytes.mid(8 + 4 + 4).toHex();
    }

    FakePlatform platform;
    QTemporaryDir directory;
    OpenedBinaryLogger logger{directory.path(), 1, nullptr};
    RecordingFileLogger target;
};

// What it is

// First in the file: later ones of the same process find the module registered.
TEST_F(BinaryLoggerTest, TheFirstOneRegistersItsModuleForAll)
{
    const BinaryLogger second(directory.path(), 1, nullptr);

    // The trace itself is the process's to open.
    const std::vector<std::string> history = platform.history();
    EXPECT_EQ(std::count(history.begin(), history.end(), "p7zemo_traceRegisterModule ? BinaryLogger"), 1);
}

TEST_F(BinaryLoggerTest, IsOfTypeThreeWithIndexZero)
{
    EXPECT_EQ(logger.getType(), 3);
    EXPECT_EQ(logger.getLogIndex(), 0U);
}

TEST_F(BinaryLoggerTest, ItsFilesEndInBlfAndHaveNoBaseNameUnlessOneIsSet)
{
    EXPECT_EQ(logger.getFileExtension(), ".blf");
    EXPECT_EQ(logger.getBaseName(), "");

    logger.setBaseName("pump");

    EXPECT_EQ(logger.getBaseName(), "pump");
}

TEST_F(BinaryLoggerTest, TheFileNameOfAnIndexHasTheNumberAfterIt)
{
    EXPECT_EQ(BinaryLogger::fileNameForIndex(0, ""), "123456-1.blf");
    EXPECT_EQ(BinaryLogger::fileNameForIndex(41, "pump"), "pump-123456-42.blf");
}

// Writing

TEST_F(BinaryLoggerTest, WritesTheWorkedExampleByteForByte)
{
    begin({parameter(1000, VarSizeInt16), parameter(1001, VarSizeUint8)});

    EXPECT_TRUE(logger.log(1700000000, integerValues({{1000, -5}, {1001, 200}})));

    EXPECT_EQ(content().toHex(), WorkedExample.toHex());
}

TEST_F(BinaryLoggerTest, NoParametersGiveAHeadOfEightBytesAndRowsOfTheTime)
{
    begin({});
    EXPECT_EQ(content().toHex(), EmptyLog.toHex());

    logger.log(1700000000, integerValues({{1, 5}}));

    EXPECT_EQ(content().toHex(), EmptyLog.toHex() + "6553f100");
}

TEST_F(BinaryLoggerTest, ASetOfStringsAloneGivesTheSameHead)
{
    begin({parameter(1, VarSizeInt16, VarTypeString), parameter(2, VarSizeInt16, VarTypeLongString)});
    EXPECT_EQ(content().toHex(), EmptyLog.toHex());

    logger.log(1700000000, integerValues({{1, 5}, {2, 6}}));

    EXPECT_EQ(content().toHex(), EmptyLog.toHex() + "6553f100");
}

TEST_F(BinaryLoggerTest, OtherTypesAreLeftOutOfHeadAndRows)
{
    begin({parameter(1, VarSizeUint8), parameter(2, VarSizeUint8, 77), parameter(3, VarSizeUint8)});

    logger.log(1700000000, integerValues({{1, 0x11}, {2, 0x22}, {3, 0x33}}));

    EXPECT_EQ(content().toHex(), "5a626c0100000002"
                                 "00010004"
                                 "00030004"
                                 "6553f100"
                                 "11"
                                 "33");
}

TEST_F(BinaryLoggerTest, AMissingValueIsAZero)
{
    begin({parameter(1, VarSizeInt16), parameter(2, VarSizeUint8)});

    logger.log(1700000000, integerValues({{2, 1}}));
    logger.log(1700000001, integerValues({{1, 1}}));

    EXPECT_EQ(content().mid(16).toHex(), "6553f100"
                                         "0000"
                                         "01"
                                         "6553f101"
                                         "0001"
                                         "00");
}

TEST_F(BinaryLoggerTest, ADefaultConstructedValueIsAZero)
{
    begin({parameter(1, VarSizeInt16)});

    logger.log(1700000000, {{1, DataValue()}});

    EXPECT_EQ(content().mid(12).toHex(), "6553f1000000");
}

TEST_F(BinaryLoggerTest, TheValuesOwnSizeAndOkFlagAreNotLookedAt)
{
    begin({parameter(1, VarSizeInt16)});
    DataValue value = integerValue(0x1234);
    value.setVarSize(VarSizeUint32);
    value.setVarType(VarTypeString);
    value.setIsOk(false);

    logger.log(1700000000, {{1, value}});

    EXPECT_EQ(content().mid(12).toHex(), "6553f1001234");
}

TEST_F(BinaryLoggerTest, AColumnTakesTheValueOfItsVarIdNotOfItsKey)
{
    Metadata one = parameter(2, VarSizeUint8);
    Metadata two = parameter(1, VarSizeUint8);
    logger.updateParameters({{1, one}, {2, two}});
    ASSERT_TRUE(logger.start(false));

    logger.log(1700000000, integerValues({{1, 0x11}, {2, 0x22}}));

    EXPECT_EQ(content().mid(8).toHex(), "00020004"
                                        "00010004"
                                        "6553f100"
                                        "22"
                                        "11");
}

TEST_F(BinaryLoggerTest, VarIdsFrom0x8000AreWrittenIn16BitsAndReadBackUnsigned)
{
    begin({parameter(0x7fff, VarSizeUint8), parameter(0x8000, VarSizeUint8), parameter(0xffff, VarSizeUint8)});
    logger.log(1700000000, integerValues({{0x7fff, 1}, {0x8000, 2}, {0xffff, 3}}));
    EXPECT_EQ(content().mid(8, 12).toHex(), "7fff0004"
                                            "80000004"
                                            "ffff0004");

    ASSERT_TRUE(BinaryLogger::read(path("123456-1.blf"), &target));

    EXPECT_EQ(platform.calls().back().ids, (QList<int>{0x7fff, 0x8000, 0xffff}));
    EXPECT_EQ(target.rows[0].values.keys(), (QList<int32_t>{0x7fff, 0x8000, 0xffff}));
    EXPECT_EQ(readValues(0x8000), std::vector<long long>{2});
}

TEST_F(BinaryLoggerTest, EveryVarSizeIsWrittenInItsWidth)
{
    EXPECT_EQ(valueBytes(VarSizeInt8, 0x123456789aLL), "9a");
    EXPECT_EQ(valueBytes(VarSizeInt16, 0x123456789aLL), "789a");
    EXPECT_EQ(valueBytes(VarSizeInt32, 0x123456789aLL), "3456789a");
    EXPECT_EQ(valueBytes(VarSizeUint8, 0x123456789aLL), "9a");
    EXPECT_EQ(valueBytes(VarSizeUint16, 0x123456789aLL), "789a");
    EXPECT_EQ(valueBytes(VarSizeUint32, 0x123456789aLL), "3456789a");
    EXPECT_EQ(valueBytes(VarSizeInt32, -2), "fffffffe");
}

TEST_F(BinaryLoggerTest, AnUnknownVarSizeIsAlwaysOneZeroByte)
{
    for (const uint8_t size : {0, 7, 8, 127, 128, 255})
    {
        EXPECT_EQ(valueBytes(size, 0x55), "00") << int(size);
        EXPECT_EQ(roundTrip(size, {0x55, -1}), (std::vector<long long>{0, 0})) << int(size);
    }
}

TEST_F(BinaryLoggerTest, SignedExtremesComeBack)
{
    EXPECT_EQ(roundTrip(VarSizeInt8, {-128, -1, 0, 127}), (std::vector<long long>{-128, -1, 0, 127}));
    EXPECT_EQ(roundTrip(VarSizeInt16, {-32768, -1, 0, 32767}), (std::vector<long long>{-32768, -1, 0, 32767}));
    EXPECT_EQ(roundTrip(VarSizeInt32, {-2147483648LL, -1, 0, 2147483647}),
              (std::vector<long long>{-2147483648LL, -1, 0, 2147483647}));
}

TEST_F(BinaryLoggerTest, UnsignedExtremesComeBack)
{
    EXPECT_EQ(roundTrip(VarSizeUint8, {0, 128, 255}), (std::vector<long long>{0, 128, 255}));
    EXPECT_EQ(roundTrip(VarSizeUint16, {0, 32768, 65535}), (std::vector<long long>{0, 32768, 65535}));
    EXPECT_EQ(roundTrip(VarSizeUint32, {0, 2147483648LL, 4294967295LL}),
              (std::vector<long long>{0, 2147483648LL, 4294967295LL}));
}

TEST_F(BinaryLoggerTest, AValueOf300In8BitsIsTheByte2CAndReadsBackAs44)
{
    EXPECT_EQ(valueBytes(VarSizeInt8, 300), "2c");
    EXPECT_EQ(roundTrip(VarSizeInt8, {300}), std::vector<long long>{44});
}

TEST_F(BinaryLoggerTest, A64BitValueLosesItsUpperHalf)
{
    EXPECT_EQ(roundTrip(VarSizeInt32, {0x100000005LL}), std::vector<long long>{5});
    EXPECT_EQ(roundTrip(VarSizeUint32, {-1, std::numeric_limits<long long>::min()}),
              (std::vector<long long>{4294967295LL, 0}));
}

TEST_F(BinaryLoggerTest, TheIntervalHoldsForwardOnly)
{
    OpenedBinaryLogger slow(directory.path(), 10, nullptr);
    ASSERT_TRUE(slow.start(false));

    EXPECT_TRUE(slow.log(100, {}));
    EXPECT_FALSE(slow.log(105, {}));
    EXPECT_TRUE(slow.log(110, {}));
    EXPECT_TRUE(slow.log(110, {}));
    EXPECT_TRUE(slow.log(50, {}));
    EXPECT_FALSE(slow.log(59, {}));
    EXPECT_TRUE(slow.log(60, {}));

    EXPECT_EQ(content().mid(8).toHex(), "000000640000006e0000006e000000320000003c");
    slow.stop();
}

TEST_F(BinaryLoggerTest, ATimeMoreThanHalfThe32BitsAheadIsTakenForOneBeforeItsInterval)
{
    begin({});

    EXPECT_FALSE(logger.log(0x80000000U, {}));
}

TEST_F(BinaryLoggerTest, TheIntervalHoldsAcrossTheMiddleOfThe32Bits)
{
    OpenedBinaryLogger slow(directory.path(), 10, nullptr);
    ASSERT_TRUE(slow.start(false));

    EXPECT_TRUE(slow.log(0x7ffffffbU, {}));
    EXPECT_FALSE(slow.log(0x80000000U, {}));
    EXPECT_TRUE(slow.log(0x80000005U, {}));
}

TEST_F(BinaryLoggerTest, ANewIdRestartsInANewFileWithTheNewColumnsInHeadAndRows)
{
    begin({parameter(1, VarSizeUint8), parameter(2, VarSizeInt16)});
    logger.log(1700000000, integerValues({{1, 0x11}, {2, 0x22}}));

    logger.updateParameters(parameterSet({parameter(2, VarSizeInt16), parameter(3, VarSizeInt32)}));
    logger.log(1700000001, integerValues({{1, 0x11}, {2, 0x22}, {3, 0x33}}));

    EXPECT_EQ(content().toHex(), "5a626c0100000002"
                                 "00010004"
                                 "00020002"
                                 "6553f100"
                                 "11"
                                 "0022");
    EXPECT_EQ(content("123456-2.blf").toHex(), "5a626c0100000002"
                                               "00020002"
                                               "00030003"
                                               "6553f101"
                                               "0022"
                                               "00000033");
}

TEST_F(BinaryLoggerTest, FewerParametersOrOtherSizesDoNotTouchTheRowsOfARunningLog)
{
    begin({parameter(1, VarSizeUint8), parameter(2, VarSizeInt16)});

    logger.updateParameters(parameterSet({parameter(2, VarSizeInt32)}));
    logger.log(1700000000, integerValues({{2, 0x22}}));

    EXPECT_EQ(content().mid(16).toHex(), "6553f100"
                                         "00"
                                         "0022");
    EXPECT_FALSE(QFile::exists(path("123456-2.blf")));
}

TEST_F(BinaryLoggerTest, LogOnAnIdleLoggerAnswersFalse)
{
    EXPECT_FALSE(logger.log(1700000000, {}));
}

TEST_F(BinaryLoggerTest, EveryRowIsInTheFileWhenLogReturns)
{
    begin({parameter(1, VarSizeUint8)});

    for (int n = 1; n <= 3; ++n)
    {
        logger.log(1700000000 + n, {});
        EXPECT_EQ(content().size(), 12 + 5 * n);
    }
}

TEST_F(BinaryLoggerTest, StartFalseOnARunningLoggerWritesASecondHead)
{
    begin({parameter(1, VarSizeUint8)});
    const QByteArray head = content();

    EXPECT_TRUE(logger.start(false));

    EXPECT_EQ(content().toHex(), (head + head).toHex());
}

TEST_F(BinaryLoggerTest, ASecondHeadReadsAsRowsWithoutAnError)
{
    begin({parameter(1, VarSizeUint8)});
    logger.start(false);

    EXPECT_TRUE(BinaryLogger::read(path("123456-1.blf"), &target));

    EXPECT_EQ(readTimes(), (std::vector<uint32_t>{0x5a626c01, 0x100, 0}));
}

TEST_F(BinaryLoggerTest, StartTrueOnARunningLoggerKeepsTheHeadItHas)
{
    begin({parameter(1, VarSizeUint8)});
    const QByteArray head = content();

    EXPECT_TRUE(logger.start(true));

    EXPECT_EQ(content(), head);
}

TEST_F(BinaryLoggerTest, StartTrueOnAFileThatAFailedOpenLeftBehindAddsRowsThatDoNotFitItsHead)
{
    OpenedBinaryLogger late(path("later"), 1, nullptr);
    late.updateParameters(parameterSet({parameter(1, VarSizeUint32)}));
    EXPECT_FALSE(late.start(false));
    QDir(directory.path()).mkdir("later");
    writeFile(path("later/123456-1.blf"), WorkedExample);

    EXPECT_TRUE(late.start(true));
    late.log(1700000001, integerValues({{1, 7}}));

    EXPECT_EQ(content("later/123456-1.blf").toHex(), WorkedExample.toHex() + "6553f10100000007");
    late.stop();
}

TEST_F(BinaryLoggerTest, StartTrueOnANewFileWritesTheHead)
{
    EXPECT_TRUE(logger.start(true));

    EXPECT_EQ(content().toHex(), EmptyLog.toHex());
}

TEST_F(BinaryLoggerTest, StopDisconnectsItselfAsASender)
{
    begin({});
    int calls = 0;
    QObject::connect(&logger, &QObject::objectNameChanged, [&] { ++calls; });

    EXPECT_TRUE(logger.stop());
    logger.setObjectName("renamed");

    EXPECT_EQ(calls, 0);
}

TEST_F(BinaryLoggerTest, QueuedRowsThatArriveAfterStopAreNotWritten)
{
    registerLoggerMetaTypes();
    begin({parameter(1, VarSizeUint8)});
    RAMLogger ram(nullptr);
    ASSERT_TRUE(QObject::connect(&ram, SIGNAL(valuesUpdated(uint32_t, QMap<int32_t, DataValue>)), &logger,
                                 SLOT(log(uint32_t, QMap<int32_t, DataValue>)), Qt::QueuedConnection));
    ram.log(1700000000, integerValues({{1, 9}}));
    ram.log(1700000001, integerValues({{1, 9}}));
    QCoreApplication::processEvents();
    EXPECT_EQ(content().size(), 12 + 2 * 5);

    ram.log(1700000002, integerValues({{1, 9}}));
    logger.stop();
    QCoreApplication::processEvents();

    EXPECT_EQ(content().size(), 12 + 2 * 5);
}

TEST_F(BinaryLoggerTest, AnExceptionInStartIsTracedAndAnswersFalse)
{
    logger.throwing = true;

    EXPECT_FALSE(logger.start(false));

    EXPECT_EQ(platform.traceCount("BinaryLogger", 4, "start", "Got exception: a broken logger"), 1);
}

TEST_F(BinaryLoggerTest, AnExceptionInLogIsTracedAndAnswersFalse)
{
    begin({});
    logger.throwing = true;

    EXPECT_FALSE(logger.log(1700000000, {}));

    EXPECT_EQ(platform.traceCount("BinaryLogger", 4, "log", "Got exception: a broken logger"), 1);
}

TEST_F(BinaryLoggerTest, AnExceptionLeavesNoMutexLocked)
{
    begin({});
    logger.throwing = true;
    logger.log(1700000000, {});
    logger.start(false);
    logger.throwing = false;

    std::thread([&] { EXPECT_TRUE(logger.log(1700000001, {})); }).join();
}

// Locks

TEST_F(BinaryLoggerTest, StartHoldsTheFileMutexAlone)
{
    const HeldMutexes held(logger);

    logger.start(false);

    EXPECT_TRUE(held.were(false, true));
}

TEST_F(BinaryLoggerTest, LogHoldsTheLogMutexAndTheFileMutex)
{
    begin({});
    const HeldMutexes held(logger);

    logger.log(1700000000, {});

    EXPECT_TRUE(held.were(true, true));
}

TEST_F(BinaryLoggerTest, LogTakesTheLogMutexBeforeTheFileMutex)
{
    begin({});
    logger.fileMutex.lock();

    std::thread row([&] { logger.log(1700000000, {}); });

    EXPECT_TRUE(getsTaken(logger.logMutex));
    logger.fileMutex.unlock();
    row.join();
}

TEST_F(BinaryLoggerTest, StopHoldsTheLogMutexAlone)
{
    begin({});
    const HeldMutexes held(logger);

    logger.stop();

    EXPECT_TRUE(held.were(true, false));
}

// Reading

TEST_F(BinaryLoggerTest, ReadsTheWorkedExample)
{
    EXPECT_TRUE(readBytes(WorkedExample));

    DataValue first = integerValue(-5);
    first.setVarSize(VarSizeInt16);
    DataValue second = integerValue(200);
    second.setVarSize(VarSizeUint8);
    ASSERT_EQ(target.rows.size(), 1U);
    EXPECT_EQ(target.rows[0].time, 1700000000U);
    EXPECT_EQ(target.rows[0].values, (QMap<int32_t, DataValue>{{1000, first}, {1001, second}}));
    EXPECT_TRUE(target.rows[0].values[1000].isOk());
}

TEST_F(BinaryLoggerTest, TellsItsTargetInOrder)
{
    readBytes(WorkedExample + WorkedExample.right(7));

    EXPECT_EQ(target.happened,
              (std::vector<std::string>{"updateParameters", "setBaseName", "start false", "log", "log", "stop"}));
}

TEST_F(BinaryLoggerTest, AsksForTheColumnsInTheEnglishOfToday)
{
    platform.addParameter(1000, "A");
    platform.addParameter(1001, "B");

    readBytes(WorkedExample);

    ASSERT_EQ(platform.callCount("getMetadata"), 1);
    EXPECT_EQ(platform.calls().back().ids, (QList<int>{1000, 1001}));
    EXPECT_EQ(platform.calls().back().locale, "en_GB");
    EXPECT_EQ(target.columns, (QList<int32_t>{1000, 1001}));
}

TEST_F(BinaryLoggerTest, AnIdThatThePlatformDoesNotKnowIsNoColumnButItsValueIsRead)
{
    platform.addParameter(1001, "B");

    EXPECT_TRUE(readBytes(WorkedExample));

    EXPECT_EQ(target.columns, QList<int32_t>{1001});
    EXPECT_EQ(readValues(1000), std::vector<long long>{-5});
    EXPECT_EQ(readValues(1001), std::vector<long long>{200});
}

TEST_F(BinaryLoggerTest, TheTargetsBaseNameIsTheLocalDateOfTheLastWrite)
{
    const TimeZone tokyo("Asia/Tokyo");
    writeFile(path("old.blf"), EmptyLog);
    setLastWrite(path("old.blf"), 1700000000);

    EXPECT_TRUE(BinaryLogger::read(path("old.blf"), &target));

    EXPECT_EQ(target.baseName, "20231115");
}

TEST_F(BinaryLoggerTest, AWriteWhileTheDescriptionsAreFetchedStillCountsForTheBaseName)
{
    const TimeZone tokyo("Asia/Tokyo");
    writeFile(path("old.blf"), EmptyLog);
    setLastWrite(path("old.blf"), 1700000000);
    platform.onCall = [&](const char*) { setLastWrite(path("old.blf"), 1700100000); };

    EXPECT_TRUE(BinaryLogger::read(path("old.blf"), &target));

    EXPECT_EQ(target.baseName, "20231116");
}

TEST_F(BinaryLoggerTest, AFileOfAHeadWithoutParametersGivesATargetThatStartsAndStops)
{
    EXPECT_TRUE(readBytes(EmptyLog));

    EXPECT_EQ(target.happened, (std::vector<std::string>{"updateParameters", "setBaseName", "start false", "stop"}));
    EXPECT_TRUE(target.columns.isEmpty());
}

TEST_F(BinaryLoggerTest, RowsWithoutParametersHaveAnEmptyMap)
{
    EXPECT_TRUE(readBytes(EmptyLog + QByteArray::fromHex("6553f1006553f101")));

    EXPECT_EQ(readTimes(), (std::vector<uint32_t>{1700000000, 1700000001}));
    EXPECT_TRUE(target.rows[0].values.isEmpty());
}

TEST_F(BinaryLoggerTest, AColumnOfAnotherTypeHasNoBytesInARow)
{
    EXPECT_TRUE(readBytes(QByteArray::fromHex("5a626c0100000003"
                                              "00010004"
                                              "00020103"
                                              "00030004"
                                              "6553f100"
                                              "11"
                                              "33")));

    EXPECT_EQ(readValues(1), std::vector<long long>{0x11});
    EXPECT_EQ(readValues(2), std::vector<long long>{0});
    EXPECT_EQ(readValues(3), std::vector<long long>{0x33});
    EXPECT_EQ(target.rows[0].values[2].getVarType(), 1);
    EXPECT_EQ(target.rows[0].values[2].getVarSize(), 3);
}

TEST_F(BinaryLoggerTest, OfTwoEntriesWithOneIdTheSecondCountsForBoth)
{
    EXPECT_TRUE(readBytes(QByteArray::fromHex("5a626c0100000002"
                                              "00010003"
                                              "00010005"
                                              "6553f100"
                                              "1111"
                                              "f222"
                                              "6553f101"
                                              "3333"
                                              "4444")));

    EXPECT_EQ(platform.calls().back().ids, (QList<int>{1, 1}));
    EXPECT_EQ(readTimes(), (std::vector<uint32_t>{1700000000, 1700000001}));
    EXPECT_EQ(readValues(1), (std::vector<long long>{0xf222, 0x4444}));
}

TEST_F(BinaryLoggerTest, ARowThatTheTargetKeepsIsNotAltered)
{
    readBytes(WorkedExample + QByteArray::fromHex("6553f101 0007 08"));

    EXPECT_EQ(readValues(1000), (std::vector<long long>{-5, 7}));
    EXPECT_EQ(readValues(1001), (std::vector<long long>{200, 8}));
}

TEST_F(BinaryLoggerTest, AMissingFileAnswersFalseWithoutATrace)
{
    EXPECT_FALSE(BinaryLogger::read(path("missing.blf"), &target));

    EXPECT_TRUE(target.happened.empty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(BinaryLoggerTest, AnythingButAFileAnswersFalse)
{
    ASSERT_EQ(mkfifo(path("pipe.blf").toUtf8().constData(), 0600), 0);

    EXPECT_FALSE(BinaryLogger::read(directory.path(), &target));
    EXPECT_FALSE(BinaryLogger::read(path("pipe.blf"), &target));
    EXPECT_FALSE(BinaryLogger::read("/dev/zero", &target));

    EXPECT_TRUE(target.happened.empty());
}

TEST_F(BinaryLoggerTest, AFileWithoutTheRightToReadItAnswersFalseWithoutATrace)
{
    writeFile(path("other.blf"), WorkedExample);
    NEEDS_REFUSAL(path("other.blf"));

    EXPECT_FALSE(BinaryLogger::read(path("other.blf"), &target));

    EXPECT_TRUE(target.happened.empty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(BinaryLoggerTest, AnEmptyFileAnswersFalse)
{
    EXPECT_FALSE(readBytes(""));

    EXPECT_TRUE(target.happened.empty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(BinaryLoggerTest, AMagicWithAnotherLastByteAnswersFalseWithoutATrace)
{
    EXPECT_FALSE(readBytes(QByteArray::fromHex("5A626C02 00000000")));
    EXPECT_FALSE(readBytes(QByteArray::fromHex("016C625A 00000000")));

    EXPECT_TRUE(target.happened.empty());
    EXPECT_TRUE(platform.trace().empty());
}

TEST_F(BinaryLoggerTest, AFileOfTheMagicAloneAnswersFalse)
{
    EXPECT_FALSE(readBytes(QByteArray::fromHex("5A626C01")));

    EXPECT_TRUE(target.happened.empty());
}

TEST_F(BinaryLoggerTest, ACountAbove10000IsTracedAndAnswersFalse)
{
    EXPECT_FALSE(readBytes(QByteArray::fromHex("5A626C01 00002711") + QByteArray(50000, '\0')));
    EXPECT_FALSE(readBytes(QByteArray::fromHex("5A626C01 FFFFFFFF")));

    EXPECT_EQ(platform.traceCount("BinaryLogger", 4, "read", "Got unusual high number of parameters: 10001"), 1);
    EXPECT_EQ(platform.traceCount("BinaryLogger", 4, "read", "Got unusual high number of parameters: 4294967295"), 1);
    EXPECT_TRUE(target.happened.empty());
}

TEST_F(BinaryLoggerTest, ACountOf10000IsRead)
{
    QByteArray bytes = QByteArray::fromHex("5A626C01 00002710");
    for (int id = 0; id < 10000; ++id)
    {
        bytes += QByteArray::fromHex(QByteArray::number(0x10000 + id, 16).mid(1) + "0001");
    }
    bytes += QByteArray::fromHex("6553f100") + QByteArray(10000, '\x07');

    EXPECT_TRUE(readBytes(bytes));

    ASSERT_EQ(target.rows.size(), 1U);
    EXPECT_EQ(target.rows[0].values.size(), 10000);
    EXPECT_EQ(target.rows[0].values[9999].getIntValue(), 7);
}

TEST_F(BinaryLoggerTest, ACutRowIsDeliveredWithZeros)
{
    EXPECT_TRUE(readBytes(WorkedExample.chopped(1)));
    EXPECT_TRUE(readBytes(WorkedExample.chopped(2)));
    EXPECT_TRUE(readBytes(WorkedExample.chopped(4)));

    EXPECT_EQ(readTimes(), (std::vector<uint32_t>{1700000000, 1700000000, 0}));
    EXPECT_EQ(readValues(1000), (std::vector<long long>{-5, 0, 0}));
    EXPECT_EQ(readValues(1001), (std::vector<long long>{0, 0, 0}));
}

TEST_F(BinaryLoggerTest, AnExceptionInTheRowsIsTracedAndLeavesTheTargetRunning)
{
    target.throwAtRow = 1;

    EXPECT_FALSE(readBytes(WorkedExample + WorkedExample.right(7)));

    EXPECT_EQ(platform.traceCount("BinaryLogger", 4, "read", "Got exception: no more rows"), 1);
    EXPECT_EQ(target.happened.back(), "log");
}

TEST_F(BinaryLoggerTest, AFileThatCanBeReadNoFurtherEndsWithARowOfZerosAndItsTargetIsStopped)
{
    constexpr int Rows = 20000;
    writeFile(path("other.blf"), EmptyLog + QByteArray(4 * Rows, 'x'));
    target.onFirstRow = [] { readsFail = true; };
    target.throwAtRow = 2 * Rows; // for a reader that never comes to an end

    EXPECT_TRUE(BinaryLogger::read(path("other.blf"), &target));
    readsFail = false;

    EXPECT_LT(target.rows.size(), Rows);
    EXPECT_EQ(target.rows.back().time, 0U);
    EXPECT_EQ(target.happened.back(), "stop");
}

TEST_F(BinaryLoggerTest, ReadLeaksNoDescriptor)
{
    const int before = openDescriptors();

    readBytes(WorkedExample);
    readBytes("Zbl");
    readBytes(QByteArray::fromHex("5A626C01 FFFFFFFF"));
    target.throwAtRow = static_cast<int>(target.rows.size());
    readBytes(WorkedExample);

    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(BinaryLoggerTest, EveryLengthOfACutFileReadsAsAPlainReaderReadsIt)
{
    begin({parameter(1, 1), parameter(2, 2), parameter(3, 3), parameter(4, 4), parameter(5, 5), parameter(6, 6),
           parameter(7, 7), parameter(0xfffe, 0)});
    for (int n = 0; n < 4; ++n)
    {
        const long long value = -0x0102030405060708LL * (n + 1);
        logger.log(1700000000 + n,
                   integerValues({{1, value}, {2, value}, {3, value}, {4, value}, {5, value}, {6, value}, {7, value}}));
    }
    const QByteArray whole = content();
    ASSERT_EQ(whole.size(), 8 + 8 * 4 + 4 * (4 + 1 + 2 + 4 + 1 + 2 + 4 + 1 + 1));

    for (qsizetype length = 0; length <= whole.size(); ++length)
    {
        target.rows.clear();
        const PlainReader expected(whole.left(length));

        EXPECT_EQ(readBytes(whole.left(length)), expected.accepted) << length;
        EXPECT_EQ(expected.accepted, length > 4) << length;
        EXPECT_EQ(target.rows, expected.rows) << length;
        if (expected.accepted)
        {
            EXPECT_EQ(platform.calls().back().ids, expected.ids) << length;
        }
    }
}

TEST_F(BinaryLoggerTest, RandomBytesReadAsAPlainReaderReadsThem)
{
    std::mt19937 random(1);
    for (int n = 0; n < 3000; ++n)
    {
        const auto length = static_cast<int>(random() % 300);
        QByteArray bytes = QByteArray::fromHex("5A626C01") +
                           QByteArray::fromHex(QByteArray::number(0x100000000LL + random() % 12, 16).mid(1));
        for (int i = 0; i < length; ++i)
        {
            bytes += static_cast<char>(random() % (random() % 2 == 0 ? 8 : 256));
        }
        target.rows.clear();
        const PlainReader expected(bytes);

        ASSERT_EQ(readBytes(bytes), expected.accepted) << bytes.toHex().constData();
        ASSERT_EQ(target.rows, expected.rows) << bytes.toHex().constData();
    }
}

TEST_F(BinaryLoggerTest, RandomLogsComeBackWithinTheirWidths)
{
    std::mt19937_64 random(2);
    const auto within = [](uint8_t size, long long value) -> long long
    {
        switch (size)
        {
        case 1:
            return static_cast<int8_t>(value);
        case 2:
            return static_cast<int16_t>(value);
        case 3:
            return static_cast<int32_t>(value);
        case 4:
            return static_cast<uint8_t>(value);
        case 5:
            return static_cast<uint16_t>(value);
        case 6:
            return static_cast<uint32_t>(value);
        default:
            return 0;
        }
    };
    for (int n = 0; n < 300; ++n)
    {
        QMap<int32_t, Metadata> set;
        for (uint64_t i = random() % 40; i > 0; --i)
        {
            const auto id = static_cast<uint16_t>(random());
            set.insert(id, parameter(id, random() % 9, random() % 5 == 0 ? VarTypeString : VarTypeInteger));
        }
        OpenedBinaryLogger writer(directory.path(), 1, nullptr);
        writer.setBaseName("random");
        writer.updateParameters(set);
        ASSERT_TRUE(writer.start(false));
        const QString name = writer.fileName;
        std::vector<std::pair<uint32_t, QMap<int32_t, long long>>> expected;
        for (uint32_t time = 1700000000; time < 1700000020; ++time)
        {
            QMap<int32_t, DataValue> values;
            QMap<int32_t, long long> row;
            for (const Metadata& each : std::as_const(set))
            {
                const bool missing = random() % 10 == 0;
                const auto value = static_cast<long long>(random() >> (random() % 64));
                if (!missing)
                {
                    values.insert(each.varId, integerValue(value));
                }
                if (each.varType == VarTypeInteger)
                {
                    row.insert(each.varId, missing ? 0 : within(each.varSize, value));
                }
            }
            ASSERT_TRUE(writer.log(time, values));
            expected.emplace_back(time, row);
        }
        writer.stop();

        target.rows.clear();
        ASSERT_TRUE(BinaryLogger::read(name, &target));

        std::vector<std::pair<uint32_t, QMap<int32_t, long long>>> found;
        for (const RecordingFileLogger::Row& row : target.rows)
        {
            QMap<int32_t, long long> numbers;
            for (auto it = row.values.cbegin(); it != row.values.cend(); ++it)
            {
                numbers.insert(it.key(), it->getIntValue());
            }
            found.emplace_back(row.time, numbers);
        }
        ASSERT_EQ(found, expected);
        QFile::remove(name);
    }
}

TEST_F(BinaryLoggerTest, TheCommittedFileReadsAsEver)
{
    ASSERT_TRUE(BinaryLogger::read(ZEMO_SOURCE_DIR "/tests/golden/allsizes.blf", &target));

    EXPECT_EQ(platform.calls().back().ids, (QList<int>{1, 2, 3, 4, 5, 6, 7, 0x8000, 0xffff}));
    EXPECT_EQ(readTimes(), (std::vector<uint32_t>{1700000000, 1700000001, 1700000060, 3700000000U}));
    EXPECT_EQ(readValues(1), (std::vector<long long>{-128, 127, -1, 0}));
    EXPECT_EQ(readValues(2), (std::vector<long long>{-32768, 32767, -1, 0}));
    EXPECT_EQ(readValues(3), (std::vector<long long>{-2147483648LL, 2147483647, -1, 0}));
    EXPECT_EQ(readValues(4), (std::vector<long long>{255, 127, 128, 0}));
    EXPECT_EQ(readValues(5), (std::vector<long long>{65535, 32767, 32768, 0}));
    EXPECT_EQ(readValues(6), (std::vector<long long>{4294967295LL, 2147483647, 2147483648LL, 0}));
    EXPECT_EQ(readValues(7), (std::vector<long long>{0, 0, 0, 0}));
    EXPECT_EQ(readValues(0x8000), (std::vector<long long>{1, 2, 3, 4}));
    EXPECT_EQ(readValues(0xffff), (std::vector<long long>{-1, -2, -3, -4}));
}

TEST_F(BinaryLoggerTest, TheCommittedFileIsWrittenAsEver)
{
    begin({parameter(1, 1), parameter(2, 2), parameter(3, 3), parameter(4, 4), parameter(5, 5), parameter(6, 6),
           parameter(7, 7), parameter(0x8000, 4), parameter(0xffff, 2)});
    ASSERT_TRUE(BinaryLogger::read(ZEMO_SOURCE_DIR "/tests/golden/allsizes.blf", &target));

    for (const RecordingFileLogger::Row& row : target.rows)
    {
        EXPECT_TRUE(logger.log(row.time, row.values));
    }

    EXPECT_EQ(content(), contentOf(ZEMO_SOURCE_DIR "/tests/golden/allsizes.blf"));
}

// A medium that takes no more

TEST_F(BinaryLoggerTest, RowsThatAFullMediumDoesNotTakeAreLostWholeAndTheRestStaysInStep)
{
    logger.updateParameters(parameterSet({parameter(1, VarSizeInt32), parameter(2, VarSizeUint8)}));
    const QByteArray head = QByteArray::fromHex("5a626c0100000002"
                                                "00010003"
                                                "00020004");
    for (uint64_t room = 0; room < 4096; room += room < 200 ? 1 : 7)
    {
        ASSERT_TRUE(logger.start(false));
        const QString name = logger.fileName;
        const uint64_t fitting = room < 16 ? 0 : (room - 16) / 9;
        uint32_t time = 1700000000 + static_cast<uint32_t>(room) * 1000;
        {
            const FullMedium full(room);
            for (uint64_t n = 0; n < fitting + 3; ++n)
            {
                ASSERT_TRUE(logger.log(time++, integerValues({{1, time}, {2, 0xee}})));
            }
        }
        ASSERT_TRUE(logger.log(0x11223344, integerValues({{1, 0x55667788}, {2, 0x99}})));
        logger.stop();

        const QByteArray bytes = contentOf(name);
        ASSERT_EQ(bytes.size(), static_cast<qsizetype>(16 + 9 * fitting + 9)) << "room for " << room;
        ASSERT_EQ(bytes.left(16), head) << "room for " << room;
        ASSERT_EQ(bytes.right(9).toHex(), "112233445566778899") << "room for " << room;
        QFile::remove(name);
    }
}

TEST_F(BinaryLoggerTest, AFullMediumIsTracedOnceWhenItBeginsAndOnceWhenItEnds)
{
    begin({});
    platform.clearTrace();
    {
        const FullMedium full(1);
        for (uint32_t second = 0; second < 50; ++second)
        {
            logger.log(1700000000 + second, {});
        }
    }
    logger.log(1700000050, {});
    logger.log(1700000051, {});

    const std::string name = path("123456-1.blf").toStdString();
    EXPECT_EQ(platform.traceTexts("FileLogger", 4), std::vector<std::string>{"Writing to '" + name + "' failed"});
    EXPECT_EQ(platform.traceTexts("FileLogger", 1), std::vector<std::string>{"Writing to '" + name + "' works again"});
    EXPECT_EQ(platform.trace().size(), 2U);
}

TEST_F(BinaryLoggerTest, AMediumThatCannotBeCutEitherGetsItsNextRowsInStep)
{
    begin({});
    logger.log(1700000000, {});
    const int real = dup(logger.descriptor());
    const int broken = open("/dev/full", O_WRONLY);
    dup2(broken, logger.descriptor());
    logger.log(1700000001, {});
    logger.log(1700000002, {});
    dup2(real, logger.descriptor());

    logger.log(1700000003, {});

    EXPECT_EQ(content().mid(8).toHex(), "6553f1006553f103");
    close(real);
    close(broken);
}

} // namespace
