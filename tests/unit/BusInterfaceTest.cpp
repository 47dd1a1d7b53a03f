#include "FakePlatform.h"
#include "LogConfig.h"
#include "LogDaemonAdaptor.h"
#include "LogDaemonCtrl.h"
#include "LoggerTestSupport.h"
#include "SignalRecorder.h"

#include <QDBusMetaType>
#include <QDir>
#include <QFile>
#include <QMetaClassInfo>
#include <QMetaMethod>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

// One row a line.
// clang-format off
const char* const InterfaceTable[] = {
    "signal logDaemonStarted()",
    "async method startLogUsb(i interval, b continueLog, s objL_locale) -> b result",
    "async method isUsbLogActive() -> b result",
    "async method stopLogUsb() -> b result",
    "async method getLogParameters() -> as parameters",
    "signal usbLogStarted()",
    "signal usbLogStopped()",
    "async method configureCustomLogUsb(i id, s prefix, ai parameters) -> b ok [In2: QList<int>]",
    "async method startCustomLogUsb(i id, i interval, b continueLog) -> b result",
    "async method stopCustomLogUsb(i id) -> b result",
    "async method isCustomUsbLogActive(i id) -> b result",
    "async method getCustomUsbLogParameters(i id) -> as parameters",
    "signal customUsbLogStarted(i id)",
    "signal customUsbLogStopped(i id)",
    "async method saveRamLogToUsb(s objL_path) -> b result",
    "async method saveInternalLogToUsb(u id, s objL_path) -> b result",
    "async method saveRamLogToInternalMem() -> u id",
    "async method removeLogFromInternalMem(u id) -> b result",
    "async method saveInternalLogsToUsbRaw() -> b result",
    "async method saveModbusStateToUsb() -> b result",
    "async method saveModbusMostUsedToUsb() -> b result",
    "async method saveSysLogToUsb() -> b result",
    "async method saveSysInfoToUsb() -> b result",
    "async method saveCoreDumpsToUsb() -> b result",
    "async method saveChangeLogToUsb(s objL_path) -> b result",
    "async method saveAlarmLogToUsb(i iL_count, s objL_path) -> b result",
    "async method saveSettingsToUSB(u saveType) -> b started",
    "async method restoreSettingsFromUSB() -> b started",
    "async method hasSettingsOnUSB() -> b result",
    "async method createUsbFolder(s objL_prefix, s objL_path) -> s result",
    "signal saveSettingsStarted()",
    "signal saveSettingsFinished(b ok)",
    "signal restoreSettingsStarted()",
    "signal restoreSettingsFinished(b ok)",
    "signal hasSettingsOnUSBChanged(b result)",
    "async method initEnergyLog(y u8L_columns, i s32L_invalid_value) -> b bL_result",
    "async method addEnergyLogHourlyEntry(ai objL_logEntry) -> b bL_result [In0: zemo::data::EnergyLogEntry]",
    "async method addEnergyLogHourlyEntries(ai objL_logEntries) -> b bL_result [In0: QListEnergyLogEntry]",
    "async method addEnergyLogMonthlyEntry(ai objL_logEntry) -> b bL_result [In0: zemo::data::EnergyLogEntry]",
    "async method summarizeEnergyLogMonth(q u16L_year, y u8L_month, ab objL_shouldAverage) -> b bL_result [In2: QList<bool>]",
    "async method getEnergyLogHourly(q u16L_startYear, y u8L_startMonth, y u8L_startDay, y u8L_startHour, q u16L_endYear, y u8L_endMonth, y u8L_endDay, y u8L_endHour) -> ai objL_entries [Out0: QListEnergyLogEntry]",
    "async method getEnergyLogMonthly(q u16L_startYear, y u8L_startMonth, q u16L_endYear, y u8L_endMonth) -> ai objL_entries [Out0: QListEnergyLogEntry]",
    "async method exportEnergyLogToUsb(as objL_headers, ay objL_decimals, q u16L_startYear, y u8L_startMonth, q u16L_stopYear, y u8L_stopMonth) -> b bL_result",
    "signal energyLogEntryHourlyAdded(q u16L_year, y u8L_month, y u8L_day, y u8L_hour)",
    "signal energyLogEntryMonthlyAdded(q u16L_year, y u8L_month)",
    "signal energyLogMonthSummarized(q u16L_year, y u8L_month)",
    "signal energyLogExportStarted()",
    "signal energyLogExportCompleted(b bL_result)",
    "async method PowerLogExportToUsb(s locale) -> b result",
    "async method PowerLogExportHourlyToUsb(s locale) -> b result",
    "async method PowerLogExportQuarterlyToUsb(s locale) -> b result",
    "async method PowerLogExportForPeriodToUsb(s locale, x start_timestamp, x end_timestamp) -> b result",
    "async method PowerLogExportHourlyForPeriodToUsb(s locale, x start_timestamp, x end_timestamp) -> b result",
    "async method PowerLogExportQuarterlyForPeriodToUsb(s locale, x start_timestamp, x end_timestamp) -> b result",
    "signal PowerLogExportStarted()",
    "signal PowerLogExportCompleted(b result)",
};
// clang-format on

/// One line for each method and signal of the interface, as in the table above: arguments are type and name in their
/// order, in front of the arrow those that go in; type annotations stand in brackets.
class InterfaceReader
{
public:
    static std::vector<std::string> read(const QByteArray& xml)
    {
        return InterfaceReader(xml).lines;
    }

private:
    explicit InterfaceReader(const QByteArray& xml)
        : reader(xml)
    {
        while (!reader.atEnd())
        {
            if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == QLatin1String("interface") &&
                attribute("name") == QLatin1String("com.tarn.zemo.logd"))
            {
                readInterface();
            }
        }
        EXPECT_FALSE(reader.hasError()) << reader.errorString().toStdString();
    }

    QString attribute(const char* name) const
    {
        return reader.attributes().value(QLatin1String(name)).toString();
    }

    void readInterface()
    {
        while (reader.readNextStartElement())
        {
            readMember(reader.name().toString(), attribute("name"));
        }
    }

    void readMember(const QString& kind, const QString& name)
    {
        QStringList in;
        QStringList out;
        QString annotations;
        QString prefix;
        while (reader.readNextStartElement())
        {
            if (reader.name() == QLatin1String("arg"))
            {
                const bool isOut = attribute("direction") == QLatin1String("out");
                (isOut ? out : in).append(attribute("type") + ' ' + attribute("name"));
            }
            else
            {
                readAnnotation(prefix, annotations);
            }
            reader.skipCurrentElement();
        }
        const QString result = kind == QLatin1String("method") ? " -> " + out.join(", ") : QString();
        lines.push_back((prefix + kind + ' ' + name + '(' + in.join(", ") + ')' + result + annotations).toStdString());
    }

    void readAnnotation(QString& prefix, QString& annotations) const
    {
        const QString name = attribute("name");
        if (name == QLatin1String("org.freedesktop.DBus.GLib.Async") && attribute("value") == QLatin1String("true"))
        {
            prefix = QStringLiteral("async ");
            return;
        }
        QString shortName = name;
        shortName.remove(QStringLiteral("org.qtproject.QtDBus.QtTypeName."));
        annotations += QStringLiteral(" [%1: %2]").arg(shortName, attribute("value"));
    }

    QXmlStreamReader reader;
    std::vector<std::string> lines;
};

std::vector<std::string> table()
{
    return {std::begin(InterfaceTable), std::end(InterfaceTable)};
}

QByteArray sourceFile(const char* path)
{
    const QString file = QStringLiteral(ZEMO_SOURCE_DIR "/") + path;
    EXPECT_TRUE(QFileInfo(file).isReadable()) << path;
    return contentOf(file);
}

std::vector<std::string> adaptorNames(QMetaMethod::MethodType type)
{
    const QMetaObject& meta = LogDaemonAdaptor::staticMetaObject;
    std::vector<std::string> names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
    {
        if (meta.method(i).methodType() == type)
        {
            names.push_back(meta.method(i).name().toStdString());
        }
    }
    return names;
}

QStringList warnings;

void keepWarning(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& text)
{
    warnings.append(text);
}

/// A value for an argument of that bus type.
QVariant sample(const QString& type)
{
    static const QMap<QString, QVariant> samples = {
        {"b", true},
        {"i", 1},
        {"u", 1U},
        {"s", QStringLiteral("text")},
        {"x", QVariant::fromValue(qlonglong(1))},
        {"y", QVariant::fromValue(uchar(1))},
        {"q", QVariant::fromValue(ushort(1))},
        {"as", QStringList{"text"}},
        {"ay", QByteArray("1")},
        {"ai", QVariant::fromValue(QList<int>{1})},
        {"ab", QVariant::fromValue(QList<bool>{true})},
        {"aai", QVariant::fromValue(QListEnergyLogEntry{zemo::data::EnergyLogEntry(2024, 3, 5, 7, {1})})},
    };
    return samples.value(type);
}

/// The daemon on the bus of the test, with a stick.
class BusInterface : public testing::Test
{
protected:
    BusInterface()
    {
        setDefaults(logConfig());
        logConfig().internalFuture = 0; // the daemon leaves snapshots open when it goes
        platform.drives = {stick.path()};
        LogDaemonCtrl::start();
    }

    ~BusInterface() override
    {
        bus.call(QStringLiteral("stopLogUsb")); // the daemon leaves it open when it goes
        LogDaemonCtrl::stop();
    }

    /// Exports run on threads of their own, and the daemon must outlive them.
    bool waitForExports(int count)
    {
        return QTest::qWaitFor([&] { return recorder.seen.filter("ExportCompleted").size() >= count; }, 20000);
    }

    /// The introspection text of the object that is on the bus.
    QByteArray introspection()
    {
        const QDBusMessage reply = bus.call(QStringLiteral("Introspect"), {}, QStringLiteral("com.tarn.zemo.logd"),
                                            QStringLiteral("org.freedesktop.DBus.Introspectable"));
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage);
        return reply.arguments().value(0).toString().toUtf8();
    }

    UnitBus& bus = UnitBus::instance();
    SignalRecorder recorder;
    QTemporaryDir stick;
    FakePlatform platform;
};

} // namespace

TEST(BusInterfaceFile, HoldsTheWholeTable)
{
    EXPECT_EQ(InterfaceReader::read(sourceFile("dbus/com.tarn.zemo.logd.xml")), table());
}

TEST(BusInterfaceFile, HoldsThirtyNineMethodsAndSeventeenSignals)
{
    const std::vector<std::string> lines = InterfaceReader::read(sourceFile("dbus/com.tarn.zemo.logd.xml"));

    const auto isSignal = [](const std::string& line) { return line.rfind("signal ", 0) == 0; };
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isSignal), 17);
    EXPECT_EQ(lines.size(), 39U + 17U);
}

TEST(BusInterfaceFile, IsWhatTheManualDescribes)
{
    std::vector<std::string> described;
    static const QRegularExpression entry(QStringLiteral("^### `(.+)`$"), QRegularExpression::MultilineOption);
    QRegularExpressionMatchIterator matches = entry.globalMatch(QString::fromUtf8(sourceFile("docs/bus.md")));
    while (matches.hasNext())
    {
        described.push_back(matches.next().captured(1).toStdString());
    }
    std::vector<std::string> expected;
    for (std::string line : table())
    {
        line = line.substr(0, line.find(" ["));
        expected.push_back(line.substr(line.rfind("async ", 0) == 0 ? 6 : 0));
    }

    std::sort(described.begin(), described.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(described, expected);
}

TEST(LogDaemonAdaptorClass, HasItsSlotsAndItsSignalsInAlphabeticalOrder)
{
    for (QMetaMethod::MethodType type : {QMetaMethod::Slot, QMetaMethod::Signal})
    {
        const std::vector<std::string> names = adaptorNames(type);
        EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    }
    EXPECT_EQ(adaptorNames(QMetaMethod::Slot).size(), 39U);
    EXPECT_EQ(adaptorNames(QMetaMethod::Signal).size(), 17U);
}

TEST(LogDaemonAdaptorClass, CarriesInterfaceNameAndText)
{
    const QMetaObject& meta = LogDaemonAdaptor::staticMetaObject;

    EXPECT_EQ(meta.classInfoCount() - meta.classInfoOffset(), 2);
    EXPECT_STREQ(meta.classInfo(meta.indexOfClassInfo("D-Bus Interface")).value(), "com.tarn.zemo.logd");
    EXPECT_EQ(InterfaceReader::read(meta.classInfo(meta.indexOfClassInfo("D-Bus Introspection")).value()), table());
}

TEST_F(BusInterface, LiveIntrospectionEqualsTheFile)
{
    EXPECT_EQ(InterfaceReader::read(introspection()), InterfaceReader::read(sourceFile("dbus/com.tarn.zemo.logd.xml")));
}

TEST_F(BusInterface, EachMethodReachesItsSlotAndAnswersWithTheTypeOfTheTable)
{
    const QtMessageHandler previous = qInstallMessageHandler(keepWarning);
    static const QRegularExpression method(QStringLiteral("^async method (\\w+)\\((.*)\\) -> (\\w+) "));

    int called = 0;
    int exports = 0;
    for (const std::string& line : table())
    {
        const QRegularExpressionMatch match = method.match(QString::fromStdString(line));
        if (!match.hasMatch())
        {
            continue;
        }
        QVariantList arguments;
        for (const QString& argument : match.captured(2).split(", ", Qt::SkipEmptyParts))
        {
            // A list of entries is an array of arrays on the wire, whatever the text says.
            const bool isList = argument.endsWith("objL_logEntries");
            arguments.append(sample(isList ? QStringLiteral("aai") : argument.section(' ', 0, 0)));
        }
        const QDBusMessage reply = bus.call(match.captured(1), arguments);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << line << ": " << reply.errorMessage().toStdString();
        const bool isList = match.captured(1).startsWith("getEnergyLog");
        EXPECT_EQ(reply.signature(), isList ? QStringLiteral("aai") : match.captured(3)) << line;
        ++called;
        exports += match.captured(1).contains("xport") && reply.arguments().value(0).toBool() ? 1 : 0;
    }

    EXPECT_TRUE(waitForExports(exports));
    qInstallMessageHandler(previous);
    EXPECT_EQ(called, 39);
    EXPECT_TRUE(warnings.filter("No such method").isEmpty()) << warnings.join('\n').toStdString();
}

TEST_F(BusInterface, BothNumbersOfAPowerLogPeriodArriveWithAll64Bits)
{
    const qlonglong start = -0x123456789abcdefLL;
    const qlonglong end = 0x7edcba9876543210LL;
    platform.texts = {{59023, QStringLiteral("Date")}};

    const QDBusMessage reply =
        bus.call(QStringLiteral("PowerLogExportForPeriodToUsb"),
                 {QStringLiteral("en_GB"), QVariant::fromValue(start), QVariant::fromValue(end)});

    EXPECT_EQ(reply.arguments(), QVariantList({true}));
    ASSERT_TRUE(waitForExports(1));
    EXPECT_EQ(platform.lastCall("GetHourlyForPeriod").first, start);
    EXPECT_EQ(platform.lastCall("GetHourlyForPeriod").second, end);
    EXPECT_EQ(platform.lastCall("GetQuarterlyForPeriod").first, start);
    EXPECT_EQ(platform.lastCall("GetQuarterlyForPeriod").second, end);
}

TEST_F(BusInterface, ArgumentsKeepTheirOrderThoughTheResultStandsFirstInTheText)
{
    platform.addParameter(77, QStringLiteral("Name 77"));

    EXPECT_EQ(bus.call(QStringLiteral("configureCustomLogUsb"),
                       {9, QStringLiteral("own"), QVariant::fromValue(QList<int>{77})})
                  .arguments(),
              QVariantList({true}));
    EXPECT_EQ(bus.call(QStringLiteral("startCustomLogUsb"), {9, 5, false}).arguments(), QVariantList({true}));

    EXPECT_EQ(bus.call(QStringLiteral("getCustomUsbLogParameters"), {9}).arguments(),
              QVariantList({QStringList{"Name 77"}}));
    EXPECT_EQ(QDir(stick.path()).entryList({"own-*.csv"}).size(), 1);
}

TEST_F(BusInterface, SaveInternalLogToUsbTakesTheIdFirstAndThenThePath)
{
    const QTemporaryDir memory;
    qstrncpy(logConfig().internalPath, QFile::encodeName(memory.path()).constData(), LogConfig::PathSize);
    platform.addParameter(10, QStringLiteral("Flow"));
    const QByteArray headAndTime = QByteArray::fromHex("5a626c01 00000001 000a0003 6553f100");
    writeFile(memory.filePath("123456-1.blf"), headAndTime + QByteArray::fromHex("0000000b"));
    writeFile(memory.filePath("123456-2.blf"), headAndTime + QByteArray::fromHex("00000016"));
    const QDir folder(stick.filePath("logs"));
    ASSERT_TRUE(folder.mkpath("."));

    const QDBusMessage right = bus.call(QStringLiteral("saveInternalLogToUsb"), {1U, QStringLiteral("logs")});
    const QDBusMessage wrong = bus.call(QStringLiteral("saveInternalLogToUsb"), {QStringLiteral("logs"), 1U});

    EXPECT_EQ(right.arguments(), QVariantList({true}));
    EXPECT_EQ(wrong.type(), QDBusMessage::ErrorMessage);
    const QStringList names = folder.entryList(QDir::Files);
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(contentOf(folder.filePath(names.first())).endsWith("\t22\n")); // the second log, whose id is 1
}

TEST_F(BusInterface, SamplesAndParameterSetsAreNotOnTheBusUnderAnyInterface)
{
    QStringList interfaces;
    QStringList signalNames;
    QXmlStreamReader xml(introspection());
    while (!xml.atEnd())
    {
        const bool begins = xml.readNext() == QXmlStreamReader::StartElement;
        if (begins && xml.name() == QLatin1String("interface"))
        {
            interfaces.append(xml.attributes().value(QLatin1String("name")).toString());
        }
        if (begins && xml.name() == QLatin1String("signal"))
        {
            signalNames.append(xml.attributes().value(QLatin1String("name")).toString());
        }
    }

    for (const char* name : {"valuesUpdated", "parametersUpdated", "saveSettings", "restoreSettings"})
    {
        EXPECT_FALSE(signalNames.contains(QLatin1String(name))) << name;
    }
    interfaces.removeIf([](const QString& name) { return name.startsWith("org.freedesktop.DBus."); });
    EXPECT_EQ(interfaces, QStringList("com.tarn.zemo.logd"));
}

TEST_F(BusInterface, TheLocaleOfAStartReachesThePlatform)
{
    bus.call(QStringLiteral("startLogUsb"), {3, false, QStringLiteral("de_DE")});

    // The tick on its own thread may have refreshed since, in the default locale.
    const std::vector<FakePlatform::Call> calls = platform.calls();
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(),
                            [](const FakePlatform::Call& call)
                            { return call.operation == "getDefaultLog" && call.locale == "de_DE"; }));
}
