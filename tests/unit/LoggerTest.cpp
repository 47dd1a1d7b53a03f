#include "FakePlatform.h"

#include "logging/Logger.h"

#include <QMetaMethod>
#include <QMetaType>

#include <gtest/gtest.h>

namespace
{

/// A logger with nothing of its own.
class PlainLogger : public Logger
{
public:
    using Logger::Logger;

    bool start(bool /*continueLog*/) override
    {
        return true;
    }
    bool stop() override
    {
        return true;
    }
    bool log(uint32_t /*time*/, QMap<int32_t, DataValue> /*values*/) override
    {
        return true;
    }
    void updateParameters(QMap<int32_t, Metadata> /*parameters*/) override
    {
    }
};

TEST(Logger, KeepsTheTypeAndIndexOfItsConstruction)
{
    const PlainLogger logger(Logger::BinaryLog, 41, nullptr);

    EXPECT_EQ(logger.getType(), 3);
    EXPECT_EQ(logger.getLogIndex(), 41U);
}

TEST(Logger, NumbersItsTypesFromOne)
{
    EXPECT_EQ(Logger::RamLog, 1);
    EXPECT_EQ(Logger::CsvLog, 2);
    EXPECT_EQ(Logger::BinaryLog, 3);
}

TEST(Logger, TakesANewIndex)
{
    PlainLogger logger(Logger::CsvLog, 0, nullptr);

    logger.setLogIndex(4000000000U);

    EXPECT_EQ(logger.getLogIndex(), 4000000000U);
}

TEST(Logger, IsNotRestartedAtADateChangeUnlessTold)
{
    PlainLogger logger(Logger::CsvLog, 0, nullptr);
    EXPECT_FALSE(logger.isRestartAtDateChange());

    logger.setRestartAtDateChange(true);

    EXPECT_TRUE(logger.isRestartAtDateChange());
}

TEST(Logger, RemembersItsConstructionInLocalTime)
{
    const QDateTime before = QDateTime::currentDateTime();
    const PlainLogger logger(Logger::CsvLog, 0, nullptr);
    const QDateTime after = QDateTime::currentDateTime();

    EXPECT_GE(logger.getCreatedAt(), before);
    EXPECT_LE(logger.getCreatedAt(), after);
    EXPECT_EQ(logger.getCreatedAt().timeSpec(), Qt::LocalTime);
}

TEST(Logger, BelongsToItsParent)
{
    QObject parent;
    const auto* logger = new PlainLogger(Logger::CsvLog, 0, &parent);

    EXPECT_EQ(logger->parent(), &parent);
}

TEST(Logger, MakesTheArgumentsOfItsSlotsKnownByTheNamesThatSignalsUse)
{
    registerLoggerMetaTypes();

    EXPECT_EQ(QMetaType::fromName("uint32_t"), QMetaType::fromType<uint32_t>());
    EXPECT_EQ((QMetaType::fromName("QMap<int32_t,DataValue>")), (QMetaType::fromType<QMap<int, DataValue>>()));
    EXPECT_EQ((QMetaType::fromName("QMap<int32_t,Metadata>")), (QMetaType::fromType<QMap<int, Metadata>>()));
}

TEST(Logger, HasItsTwoSlotsUnderTheSignaturesThatConnectionsName)
{
    const QMetaObject& meta = Logger::staticMetaObject;

    EXPECT_GE(meta.indexOfSlot("log(uint32_t,QMap<int32_t,DataValue>)"), 0);
    EXPECT_GE(meta.indexOfSlot("updateParameters(QMap<int32_t,Metadata>)"), 0);
}

} // namespace
