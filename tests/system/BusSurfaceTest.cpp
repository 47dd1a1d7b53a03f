#include "SmallPlatform.h"
#include "SystemTest.h"

#include <QDBusUnixFileDescriptor>
#include <QDir>
#include <QXmlStreamReader>

namespace
{

/// Every element of the interface with its attributes in alphabetical order.
QStringList elementsOf(const QByteArray& xml)
{
    QStringList elements;
    QXmlStreamReader reader(xml);
    bool inside = false;
    while (!reader.atEnd())
    {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (reader.name() == QLatin1String("interface"))
            inside = token == QXmlStreamReader::StartElement &&
                     reader.attributes().value("name") == QLatin1String("com.tarn.zemo.logd");
        if (!inside || token != QXmlStreamReader::StartElement)
            continue;
        QStringList parts;
        for (const QXmlStreamAttribute& attribute : reader.attributes())
            parts.append(QStringLiteral("%1=%2").arg(attribute.name(), attribute.value()));
        parts.sort();
        elements.append(reader.name().toString() + ' ' + parts.join(' '));
    }
    EXPECT_FALSE(reader.hasError());
    return elements;
}

class BusSurface : public SystemTest
{
protected:
    BusSurface()
    {
        rig.setScenario(smallPlatform);
    }
};

} // namespace

TEST_F(BusSurface, LiveIntrospectionEqualsTheFile)
{
    ASSERT_TRUE(rig.start());
    QFile file(QStringLiteral(ZEMO_INTERFACE));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList expected = elementsOf(file.readAll());
    ASSERT_GT(expected.size(), 39 + 17);

    const QDBusMessage reply = rig.bus.connection().call(QDBusMessage::createMethodCall(
        "com.tarn.zemo.logd", "/Logging", "org.freedesktop.DBus.Introspectable", "Introspect"));

    EXPECT_EQ(elementsOf(reply.arguments().value(0).toString().toUtf8()), expected);
}

TEST_F(BusSurface, A64BitPeriodReachesThePowerLogIntact)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.waitForStick(rig.insertStick()));

    EXPECT_TRUE(rig.logd()
                    .PowerLogExportForPeriodToUsb(QStringLiteral("default"), -81985529216486895, 9141386507638288912)
                    .value());

    EXPECT_TRUE(rig.daemon.waitForTrace("Exporting power log from -81985529216486895 to 9141386507638288912"));
    EXPECT_TRUE(rig.logdSignals().waitFor("PowerLogExportCompleted"));
}

TEST_F(BusSurface, ADatabaseErrorIsAnsweredWithABusErrorAtOnceAndTheDaemonGoesOn)
{
    ASSERT_TRUE(rig.start());
    ASSERT_TRUE(rig.logd().initEnergyLog(2, -1).value());

    // One member for two columns: the statement is refused.
    QDBusPendingReply<bool> reply = rig.logd().summarizeEnergyLogMonth(2024, 3, QList<bool>{true});
    reply.waitForFinished();

    EXPECT_TRUE(reply.isError());
    EXPECT_NE(reply.error().type(), QDBusError::NoReply);
    EXPECT_NE(reply.error().type(), QDBusError::Timeout);
    EXPECT_TRUE(waitUntil(
        [&]
        {
            const QList<TraceLine> trace = rig.daemon.trace();
            return std::any_of(trace.begin(), trace.end(), [](const TraceLine& line) { return line.level == "crit"; });
        }));
    EXPECT_EQ(rig.logdSignals().count("energyLogMonthSummarized"), 0);
    EXPECT_TRUE(rig.logd().summarizeEnergyLogMonth(2024, 3, QList<bool>{true, false}).value());
    EXPECT_TRUE(rig.logdSignals().waitFor("energyLogMonthSummarized"));
}

TEST_F(BusSurface, ArgumentsOfTheWrongTypeAreRefusedByTheBusLayer)
{
    ASSERT_TRUE(rig.start());
    QDBusMessage call =
        QDBusMessage::createMethodCall("com.tarn.zemo.logd", "/Logging", "com.tarn.zemo.logd", "startLogUsb");
    call.setArguments({QStringLiteral("one"), false, QStringLiteral("default")});

    const QDBusMessage reply = rig.bus.connection().call(call);

    EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(rig.logd().isUsbLogActive().value(), false);
}

TEST_F(BusSurface, ACallWithADescriptorIsRefusedAndTheDaemonGoesOn)
{
    ASSERT_TRUE(rig.start());
    QDBusMessage call =
        QDBusMessage::createMethodCall("com.tarn.zemo.logd", "/Logging", "com.tarn.zemo.logd", "saveChangeLogToUsb");
    call.setArguments({QVariant::fromValue(QDBusUnixFileDescriptor(0))});

    const QDBusMessage reply = rig.bus.connection().call(call);

    EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(rig.logd().isUsbLogActive().value(), false);
}

TEST_F(BusSurface, ALocaleThatNobodyKnowsStartsALogAllTheSame)
{
    ASSERT_TRUE(rig.start());
    const QString stick = rig.insertStick();
    ASSERT_TRUE(rig.waitForStick(stick));

    EXPECT_TRUE(rig.logd().startLogUsb(1, false, QStringLiteral("../\u2603 %s %n")).value());

    EXPECT_TRUE(waitForLines(waitForFile(stick, QStringLiteral("*.csv")), 2));
}

TEST_F(BusSurface, AHundredThousandIdsInACustomLogAreAccepted)
{
    ASSERT_TRUE(rig.start());
    QList<int> ids;
    for (int id = -50000; id < 50000; ++id)
        ids.append(id);

    EXPECT_TRUE(rig.logd().configureCustomLogUsb(2147483647, QStringLiteral("many"), ids).value());

    EXPECT_TRUE(waitUntil([&] { return rig.platform.lastIds().size() == 100000; }));
    EXPECT_EQ(rig.logd().isUsbLogActive().value(), false);
}
