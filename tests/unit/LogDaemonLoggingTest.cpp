#include "LogDaemon.Logging.h"

#include "ExportStage.h"

#include <zemo/DataManagementClient.h>

#include <QBuffer>
#include <QLocale>

#include <gtest/gtest.h>

using zemo::data::ChangeLogEntry;
using zemo::localization::PanelText;

namespace
{

const std::string Module = "LogDaemon";
const QString AllPrefix = "modbus_addresses_all_";
const QString DefaultPrefix = "modbus_addresses_default_";

Metadata& addRegister(FakePlatform& platform, int id, const QString& name, uint8_t registerKind = 1)
{
    Metadata& parameter = platform.addParameter(id, name);
    parameter.registerKind = registerKind;
    platform.modbusParams.append(id);
    platform.defaultLog.append(id);
    return parameter;
}

/// The rows of the table that a parameter alone makes, without the titles.
QByteArray onlyRow(ExportStage& stage)
{
    EXPECT_TRUE(stage.daemon.saveModbusStateToUsb());
    const QByteArray table = contentOf(stage.path(AllPrefix, 1, ".csv"));
    return table.mid(table.indexOf('\n') + 1);
}

std::vector<FakePlatform::Call> callsOf(FakePlatform& platform, const std::string& operation)
{
    std::vector<FakePlatform::Call> found;
    for (const FakePlatform::Call& call : platform.calls())
    {
        if (call.operation == operation)
        {
            found.push_back(call);
        }
    }
    return found;
}

ChangeLogEntry makeChange(int varId, const PanelText& name, long long value)
{
    ChangeLogEntry entry;
    entry.metadata.varId = static_cast<uint16_t>(varId);
    entry.metadata.name = name;
    entry.value.setIntValue(value);
    entry.value.setIsOk(true);
    entry.timestamp = {2024, 3, 5, 14, 7, 9};
    return entry;
}

zemo::system::AlarmInfo makeAlarm(const QString& name, unsigned int number, const QString& source,
                                  const QList<zemo::system::AlarmExtraInfo>& extra = {})
{
    const zdatetime_t time{2024, 3, 5, 14, 7, 9};
    return {zemo::time::DateTime(&time), PanelText(name), number, PanelText(source), extra};
}

/// A device that takes nothing.
class FullDevice : public QIODevice
{
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

// More text than a stream holds back.
QString longText()
{
    return QString(20000, 'x');
}

} // namespace

TEST(ModbusTable, IsThisFileByteForByte)
{
    ExportStage stage;
    stage.platform.texts = {{59005, "Name"},        {59006, "Register"},     {59007, "Adr\u00adesse"},
                            {59008, "Aux"},         {59009, "Unit"},         {59010, "Size"},
                            {59011, "Attribute 1"}, {59012, "Attribute\t2"}, {59013, "Größe"}};
    Metadata& power = addRegister(stage.platform, 1000, "Pump po\u00adwer", 1);
    power.modbusAddress = 65535;
    power.auxByte = 255;
    power.unit = "k\u00adW";
    power.varSize = zemo::data::VarSizeInt16;
    power.numericAttr1 = -2147483647 - 1;
    power.numericAttr2 = 0;
    power.numericAttr3 = 2147483647;
    Metadata& name = addRegister(stage.platform, 7, "Name \"of\" it", 2);
    name.varType = zemo::data::VarTypeString;
    name.modbusAddress = 30001;
    name.auxByte = 3;
    name.unit = "text";
    name.numericAttr1 = 17;
    Metadata& other = addRegister(stage.platform, 40000, "Sonstiges", 9);
    other.varSize = 77;

    const bool result = stage.daemon.saveModbusStateToUsb();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path(AllPrefix, 1, ".csv")),
              "Name\tRegister\tAdr\u00adesse\tAux\tUnit\tSize\tAttribute 1\tAttribute\t2\tGröße\t\n"
              "Name \"of\" it\tMODBUS_INPUT_REGISTER\t30001\t3\ttext\t-\t-\t-\t-\n"
              "Pump power\tMODBUS_HOLDING_REGISTER\t65535\t255\tk\u00adW\tINT16\t-2147483648\t0\t2147483647\n"
              "Sonstiges\tERR_UNKNOWN\t0\t0\t\tUNKNOWN\t0\t0\t0\n");
}

struct RegisterKindRow
{
    const char* name;
    uint8_t kind;
    const char* text;
};

class ModbusRegisterKind : public testing::TestWithParam<RegisterKindRow>
{
};

TEST_P(ModbusRegisterKind, HasThisWord)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Pump", GetParam().kind);

    EXPECT_EQ(onlyRow(stage).split('\t').value(1), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ModbusRegisterKind,
                         testing::Values(RegisterKindRow{"None", 0, "MODBUS_NO_REGISTER"},
                                         RegisterKindRow{"Holding", 1, "MODBUS_HOLDING_REGISTER"},
                                         RegisterKindRow{"Input", 2, "MODBUS_INPUT_REGISTER"},
                                         RegisterKindRow{"JustUnknown", 3, "ERR_UNKNOWN"},
                                         RegisterKindRow{"FarUnknown", 255, "ERR_UNKNOWN"}),
                         [](const auto& row) { return std::string(row.param.name); });

struct VarSizeRow
{
    uint8_t size;
    const char* text;
};

class ModbusVarSize : public testing::TestWithParam<VarSizeRow>
{
};

TEST_P(ModbusVarSize, HasThisName)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Pump").varSize = GetParam().size;

    EXPECT_EQ(onlyRow(stage).split('\t').value(5), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ModbusVarSize,
                         testing::Values(VarSizeRow{0, "UNKNOWN"}, VarSizeRow{1, "INT8"}, VarSizeRow{2, "INT16"},
                                         VarSizeRow{3, "INT32"}, VarSizeRow{4, "UINT8"}, VarSizeRow{5, "UINT16"},
                                         VarSizeRow{6, "UINT32"}, VarSizeRow{7, "UNKNOWN"}));

class ModbusOtherVarType : public testing::TestWithParam<uint8_t>
{
};

TEST_P(ModbusOtherVarType, HasDashesInTheLastFourFieldsWithUnitAndAddressInPlace)
{
    ExportStage stage;
    Metadata& parameter = addRegister(stage.platform, 1, "Pump");
    parameter.varType = GetParam();
    parameter.modbusAddress = 40001;
    parameter.auxByte = 12;
    parameter.unit = "m";
    parameter.numericAttr2 = 4;

    EXPECT_EQ(onlyRow(stage), "Pump\tMODBUS_HOLDING_REGISTER\t40001\t12\tm\t-\t-\t-\t-\n");
}

INSTANTIATE_TEST_SUITE_P(Types, ModbusOtherVarType, testing::Values(1, 2, 6, 255));

TEST(ModbusTable, WithNoDriveTheServiceIsAskedForTheWholeListBeforeTheAnswerIsFalse)
{
    ExportStage stage;
    stage.platform.drives.clear();
    const int askedBefore = stage.platform.callCount("getModbusParams");

    const bool result = stage.daemon.saveModbusStateToUsb();

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.callCount("getModbusParams"), askedBefore + 1);
}

TEST(ModbusTable, WithNoDriveTheWriterAnswersOneWithoutTraceAndSync)
{
    ExportStage stage;
    stage.platform.drives.clear();
    zemo::hardware::UsbClient client(nullptr);

    const int result = writeModbusLogToCSV(&client, "p_", {});

    EXPECT_EQ(result, 1);
    EXPECT_TRUE(stage.platform.traceTexts(Module, 4).empty());
    EXPECT_EQ(stage.sync.runs(), 0);
}

TEST(ModbusTable, AParameterCalledByItsIdDoesNotAppear)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "id:1");
    addRegister(stage.platform, 2, "ID:2");

    EXPECT_EQ(onlyRow(stage), "ID:2\tMODBUS_HOLDING_REGISTER\t0\t0\t\tINT32\t0\t0\t0\n");
}

TEST(ModbusTable, AParameterWithoutANameDoesNotAppear)
{
    ExportStage stage;
    addRegister(stage.platform, 1, QString());

    EXPECT_EQ(onlyRow(stage), "");
}

TEST(ModbusTable, ANameThatIsALoneSoftHyphenGivesAnEmptyFirstField)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "\u00ad");

    EXPECT_EQ(onlyRow(stage), "\tMODBUS_HOLDING_REGISTER\t0\t0\t\tINT32\t0\t0\t0\n");
}

TEST(ModbusTable, TheNameIsJudgedBeforeItsSoftHyphensAreRemoved)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "i\u00add:1");

    EXPECT_TRUE(onlyRow(stage).startsWith("id:1\t"));
}

TEST(ModbusTable, AMissingTitleIsEmptyWithItsTab)
{
    ExportStage stage;
    stage.platform.texts = {{59006, "Register"}};

    stage.daemon.saveModbusStateToUsb();

    EXPECT_EQ(contentOf(stage.path(AllPrefix, 1, ".csv")), "\tRegister\t\t\t\t\t\t\t\t\n");
}

TEST(ModbusTable, AnEmptyListGivesTheTitleLineAlone)
{
    ExportStage stage;
    stage.platform.texts = {{59005, "Name"}, {59013, "Last"}};

    const bool result = stage.daemon.saveModbusStateToUsb();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path(AllPrefix, 1, ".csv")), "Name\t\t\t\t\t\t\t\tLast\t\n");
}

TEST(ModbusTable, TheTitlesAreAskedForInOneCallInTheCurrentLanguage)
{
    ExportStage stage;

    stage.daemon.saveModbusStateToUsb();

    const auto calls = callsOf(stage.platform, "getTexts");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].locale, "default");
    EXPECT_EQ(calls[0].ids, (QList<int>{59005, 59006, 59007, 59008, 59009, 59010, 59011, 59012, 59013}));
}

TEST(ModbusTable, TheParametersAreAskedForInTheCurrentLanguage)
{
    ExportStage stage;

    stage.daemon.saveModbusStateToUsb();

    EXPECT_EQ(callsOf(stage.platform, "getModbusParams").back().locale, "default");
}

TEST(ModbusTable, ASecondExportTakesTheNextNumberAndLeavesTheFirstAlone)
{
    ExportStage stage;
    stage.daemon.saveModbusStateToUsb();
    const QByteArray first = contentOf(stage.path(AllPrefix, 1, ".csv"));
    addRegister(stage.platform, 1, "Pump");

    stage.daemon.saveModbusStateToUsb();

    EXPECT_EQ(contentOf(stage.path(AllPrefix, 1, ".csv")), first);
    EXPECT_TRUE(contentOf(stage.path(AllPrefix, 2, ".csv")).contains("Pump"));
    EXPECT_EQ(stage.onStick().size(), 2);
}

TEST(ModbusTable, IsSyncedOnceCompleteAndStillOpen)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Pump");
    const QString path = stage.path(AllPrefix, 1, ".csv");
    const QByteArray seen = stage.stick.filePath("seen").toUtf8();
    const FakeSync sync("cp " + path.toUtf8() + " " + seen);

    stage.daemon.saveModbusStateToUsb();

    EXPECT_EQ(sync.runs(), 1);
    EXPECT_TRUE(sync.sawOpen(path));
    EXPECT_EQ(contentOf(seen), contentOf(path));
    EXPECT_TRUE(contentOf(seen).contains("Pump"));
}

TEST(ModbusTable, AFileThatCannotBeOpenedIsTracedSyncedAndAnswers21)
{
    ExportStage stage;
    stage.makeNamesTooLong();
    zemo::hardware::UsbClient client(nullptr);

    const int result = writeModbusLogToCSV(&client, "p_", {});

    EXPECT_EQ(result, 21);
    const std::string path = stage.path("p_", 1, ".csv").toStdString();
    EXPECT_EQ(stage.platform.traceCount(Module, 4, "writeModbusLogToCSV", "Writing to '" + path + "' failed"), 1);
    EXPECT_EQ(stage.sync.runs(), 1);
    EXPECT_EQ(stage.platform.callCount("getTexts"), 0) << "titles for no file";
}

TEST(ModbusTable, AFileThatCannotBeOpenedMakesTheBusCallFalse)
{
    ExportStage stage;
    stage.makeNamesTooLong();

    EXPECT_FALSE(stage.daemon.saveModbusStateToUsb());
    EXPECT_FALSE(stage.daemon.saveModbusMostUsedToUsb());
}

TEST(ModbusTable, AWriteThatFailsOnTheWayAnswers21AndLeavesThePartialFile)
{
    ExportStage stage;
    addRegister(stage.platform, 1, longText());
    addRegister(stage.platform, 2, longText());
    const QString path = stage.path(AllPrefix, 1, ".csv");
    bool result = true;

    {
        const FullMedium limit(1000);
        result = stage.daemon.saveModbusStateToUsb();
    }

    EXPECT_FALSE(result);
    EXPECT_EQ(
        stage.platform.traceCount(Module, 4, "writeModbusLogToCSV", "Writing to '" + path.toStdString() + "' failed"),
        1);
    EXPECT_EQ(stage.sync.runs(), 1);
    EXPECT_EQ(QFileInfo(path).size(), 1000);
}

TEST(ModbusTable, AWriteThatFailsOnlyAtTheLastFlushGoesUnnoticed)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Pump");
    const QString path = stage.path(AllPrefix, 1, ".csv");
    bool result = false;

    {
        const FullMedium limit(20);
        result = stage.daemon.saveModbusStateToUsb();
    }

    EXPECT_TRUE(result);
    EXPECT_EQ(QFileInfo(path).size(), 20);
    EXPECT_TRUE(stage.platform.traceTexts(Module, 4).empty());
}

TEST(ModbusTable, AMountPointThatIsGoneIsAFileThatCannotBeOpened)
{
    ExportStage stage;
    stage.platform.drives = QStringList{stage.stick.filePath("gone")};
    zemo::hardware::UsbClient client(nullptr);

    EXPECT_EQ(writeModbusLogToCSV(&client, "p_", {}), 21);
}

TEST(ModbusMostUsed, LeavesOutParametersWithoutARegisterAndKeepsUnknownKinds)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "None", 0);
    addRegister(stage.platform, 2, "Holding", 1);
    addRegister(stage.platform, 3, "Input", 2);
    addRegister(stage.platform, 4, "Unknown", 200);

    const bool result = stage.daemon.saveModbusMostUsedToUsb();

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path(DefaultPrefix, 1, ".csv")),
              "\t\t\t\t\t\t\t\t\t\n"
              "Holding\tMODBUS_HOLDING_REGISTER\t0\t0\t\tINT32\t0\t0\t0\n"
              "Input\tMODBUS_INPUT_REGISTER\t0\t0\t\tINT32\t0\t0\t0\n"
              "Unknown\tERR_UNKNOWN\t0\t0\t\tINT32\t0\t0\t0\n");
}

TEST(ModbusMostUsed, ComesFromTheDefaultLogInTheCurrentLanguage)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Reachable");
    addRegister(stage.platform, 2, "Logged");
    stage.platform.modbusParams = {1};
    stage.platform.defaultLog = {2};

    stage.daemon.saveModbusMostUsedToUsb();

    const QByteArray table = contentOf(stage.path(DefaultPrefix, 1, ".csv"));
    EXPECT_TRUE(table.contains("Logged"));
    EXPECT_FALSE(table.contains("Reachable"));
    EXPECT_EQ(callsOf(stage.platform, "getDefaultLog").back().locale, "default");
}

TEST(ModbusMostUsed, AndTheWholeTableTakeNoLock)
{
    ExportStage stage;
    addRegister(stage.platform, 1, "Flow");

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveModbusMostUsedToUsb()); }));
    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveModbusStateToUsb()); }));
}

TEST(ModbusMostUsed, WithNoDriveIsFalse)
{
    ExportStage stage;
    stage.platform.drives.clear();

    EXPECT_FALSE(stage.daemon.saveModbusMostUsedToUsb());
}

TEST(ChangeLog, IsThisFileByteForByte)
{
    ExportStage stage;
    stage.platform.texts = {{59014, "Para\u00admeter id"}, {59015, "Time"}, {59016, "Wert"}, {59017, "Name"}};
    ChangeLogEntry integer = makeChange(65535, PanelText("Set\u00adpoint", 4), -9007199254740993LL);
    integer.metadata.unit = "kW";
    integer.metadata.decimals = 2;
    ChangeLogEntry text = makeChange(8, PanelText("Größe", 1), 5);
    text.metadata.varType = zemo::data::VarTypeString;
    text.value.setStringValue("some \u00adtext");
    text.timestamp = {1999, 12, 31, 23, 59, 59};
    ChangeLogEntry longTextEntry = makeChange(7, PanelText("Long", 1), 5);
    longTextEntry.metadata.varType = zemo::data::VarTypeLongString;
    longTextEntry.value.setStringValue("long text");
    ChangeLogEntry unknownType = makeChange(9, PanelText("Other", 1), 42);
    unknownType.metadata.varType = 5;
    unknownType.value.setStringValue("not shown");
    stage.platform.changeLog = {integer, text, longTextEntry, unknownType};

    const bool result = stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path("changeLog_", 1, ".csv")),
              "Time\tName\tPara\u00admeter id\tWert\n"
              "05 March 2024 14:07:09\tSetpoint\t65535\t-9007199254740993\t\n"
              "31 December 1999 23:59:59\tGröße\t8\tsome \u00adtext\t\n"
              "05 March 2024 14:07:09\tLong\t7\tlong text\t\n"
              "05 March 2024 14:07:09\tOther\t9\t42\t\n");
}

TEST(ChangeLog, TheTypeOfTheDescriptionDecidesNotThatOfTheValue)
{
    ExportStage stage;
    ChangeLogEntry entry = makeChange(1, PanelText("Pump", 1), 17);
    entry.value.setVarType(zemo::data::VarTypeString);
    entry.value.setStringValue("not shown");
    stage.platform.changeLog = {entry};

    stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_TRUE(contentOf(stage.path("changeLog_", 1, ".csv")).endsWith("\t1\t17\t\n"));
}

TEST(ChangeLog, AnEmptyOneGivesTheTitleLineAloneAndTrue)
{
    ExportStage stage;
    stage.platform.texts = {{59015, "Time"}, {59017, "Name"}, {59014, "Id"}, {59016, "Value"}};

    const bool result = stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path("changeLog_", 1, ".csv")), "Time\tName\tId\tValue\n");
}

TEST(ChangeLog, MissingTitlesAreEmptyWithTheirTabs)
{
    ExportStage stage;

    stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_EQ(contentOf(stage.path("changeLog_", 1, ".csv")), "\t\t\t\n");
}

TEST(ChangeLog, AParameterWithPanelNumberZeroHasADashForItsName)
{
    ExportStage stage;
    stage.platform.changeLog = {makeChange(12, PanelText("Hidden", 0), 99)};

    stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_EQ(contentOf(stage.path("changeLog_", 1, ".csv")), "\t\t\t\n05 March 2024 14:07:09\t-\t12\t99\t\n");
}

TEST(ChangeLog, MonthNamesAreEnglishInFullWhateverTheLocale)
{
    ExportStage stage;
    QLocale::setDefault(QLocale(QLocale::German));
    stage.platform.changeLog = {makeChange(1, PanelText("Pump", 1), 1)};

    stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_TRUE(contentOf(stage.path("changeLog_", 1, ".csv")).contains("05 March 2024"));
    QLocale::setDefault(QLocale::c());
}

TEST(ChangeLog, AsksFor10000EnglishEntriesAndTitlesInTheCurrentLanguage)
{
    ExportStage stage;

    stage.daemon.saveChangeLogToUsb(QString());

    const auto changes = callsOf(stage.platform, "getChangeLog");
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].first, 10000);
    EXPECT_EQ(changes[0].locale, "en_GB");
    const auto texts = callsOf(stage.platform, "getTexts");
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].locale, "default");
    EXPECT_EQ(texts[0].ids, (QList<int>{59015, 59017, 59014, 59016}));
}

TEST(ChangeLog, TenThousandEntriesKeepTheirOrder)
{
    ExportStage stage;
    for (int i = 0; i < 10000; ++i)
    {
        stage.platform.changeLog.append(makeChange(1, PanelText("Pump", 1), 10000 - i));
    }

    const bool result = stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_TRUE(result);
    const QList<QByteArray> lines = contentOf(stage.path("changeLog_", 1, ".csv")).split('\n');
    ASSERT_EQ(lines.size(), 10002);
    for (int i = 0; i < 10000; ++i)
    {
        ASSERT_EQ(lines[i + 1].split('\t').value(3), QByteArray::number(10000 - i));
    }
}

TEST(ChangeLog, WithoutTheServiceItIsFalseAndNoFileIsMade)
{
    ExportStage stage;
    zemo::data::DataManagementClient::instance = nullptr;

    const bool result = stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_FALSE(result);
    EXPECT_TRUE(stage.onStick().isEmpty());
    EXPECT_TRUE(stage.platform.traceTexts(Module, 4).empty());
}

TEST(ChangeLog, WithNoDriveItIsFalseAfterTheTraceOfTheOpeningAlone)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const bool result = stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceTexts(Module, 4), std::vector<std::string>{"No USB drive"});
    EXPECT_EQ(stage.platform.callCount("getChangeLog"), 0);
}

TEST(ChangeLog, AFolderOutsideTheDriveIsRefused)
{
    ExportStage stage;

    const bool result = stage.daemon.saveChangeLogToUsb("..");

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceTexts(Module, 4),
              std::vector<std::string>{"Path should be relative to USB root: .."});
}

TEST(ChangeLog, GoesIntoTheFolderThatWasNamed)
{
    ExportStage stage;
    QDir(stage.stick.path()).mkdir("logs");

    const bool result = stage.daemon.saveChangeLogToUsb("logs");

    EXPECT_TRUE(result);
    EXPECT_TRUE(QFile::exists(stage.stick.filePath("logs/" + stage.name("changeLog_", 1, ".csv"))));
}

TEST(ChangeLog, IsClosedAndThenSyncedOnce)
{
    ExportStage stage;

    stage.daemon.saveChangeLogToUsb(QString());

    EXPECT_EQ(stage.sync.runs(), 1);
    EXPECT_FALSE(stage.sync.sawOpen(stage.path("changeLog_", 1, ".csv")));
}

TEST(ChangeLog, TakesNoLock)
{
    ExportStage stage;
    stage.platform.changeLog = {makeChange(1, PanelText("Flow", 1), 1)};

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveChangeLogToUsb(QString())); }));
}

TEST(ChangeLog, AWriteThatFailsOnTheWayMakesItFalseWithoutATrace)
{
    ExportStage stage;
    stage.platform.changeLog = {makeChange(1, PanelText(longText(), 1), 1), makeChange(2, PanelText(longText(), 1), 2)};
    bool result = true;

    {
        const FullMedium limit(1000);
        result = stage.daemon.saveChangeLogToUsb(QString());
    }

    EXPECT_FALSE(result);
    EXPECT_EQ(QFileInfo(stage.path("changeLog_", 1, ".csv")).size(), 1000);
    EXPECT_TRUE(stage.platform.traceTexts(Module, 4).empty());
}

TEST(WriteChangeLog, ADeviceThatTakesNothingAnswers21)
{
    const FakePlatform platform;
    FullDevice device;
    device.open(QIODevice::WriteOnly);

    EXPECT_EQ(writeChangeLog(&device, {makeChange(1, PanelText(longText(), 1), 1)}), 21);
}

TEST(WriteChangeLog, AFailureOfTheLastFlushAloneAnswersZero)
{
    const FakePlatform platform;
    FullDevice device;
    device.open(QIODevice::WriteOnly);

    EXPECT_EQ(writeChangeLog(&device, {makeChange(1, PanelText("Pump", 1), 1)}), 0);
}

TEST(WriteChangeLog, LeavesTheDeviceOpen)
{
    const FakePlatform platform;
    QBuffer device;
    device.open(QIODevice::WriteOnly);

    const int result = writeChangeLog(&device, {});

    EXPECT_EQ(result, 0);
    EXPECT_TRUE(device.isOpen());
    EXPECT_EQ(device.data(), "\t\t\t\n");
}

TEST(AlarmLog, IsThisFileByteForByte)
{
    ExportStage stage;
    stage.platform.alarms = {
        makeAlarm("Filter blo\u00adcked", 4294967295U, "Pump\u00ad 1",
                  {{PanelText("Druck"), PanelText("4.2 bar")}, {PanelText("La\u00adbel"), PanelText("Größe")}}),
        makeAlarm("", 0, "")};

    const bool result = stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path("alarms_", 1, ".txt")),
              "05 March 2024 14:07:09\tFilter blo\u00adcked(4294967295)\tPump\u00ad 1\n"
              "\tDruck: 4.2 bar\n"
              "\tLa\u00adbel: Größe\n"
              "05 March 2024 14:07:09\t(0)\t\n");
}

TEST(AlarmLog, AnAlarmWithoutExtraInformationIsOneLine)
{
    ExportStage stage;
    stage.platform.alarms = {makeAlarm("Filter blocked", 12, "Pump 1")};

    stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_EQ(contentOf(stage.path("alarms_", 1, ".txt")), "05 March 2024 14:07:09\tFilter blocked(12)\tPump 1\n");
}

TEST(AlarmLog, AnAlarmWithTwoPairsIsThreeLinesTheLastTwoBeginningWithATab)
{
    ExportStage stage;
    stage.platform.alarms = {
        makeAlarm("Filter blocked", 12, "Pump 1",
                  {{PanelText("Pressure"), PanelText("4.2 bar")}, {PanelText("Level"), PanelText("3 m")}})};

    stage.daemon.saveAlarmLogToUsb(10, QString());

    const QList<QByteArray> lines = contentOf(stage.path("alarms_", 1, ".txt")).split('\n');
    EXPECT_EQ(lines.mid(1), (QList<QByteArray>{"\tPressure: 4.2 bar", "\tLevel: 3 m", ""}));
}

TEST(AlarmLog, AnEmptyListGivesAnEmptyFileAndTrue)
{
    ExportStage stage;

    const bool result = stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_TRUE(result);
    EXPECT_EQ(contentOf(stage.path("alarms_", 1, ".txt")), "");
}

TEST(AlarmLog, HandsTheCountThroughUnreadInTheCurrentLanguage)
{
    ExportStage stage;

    const bool result = stage.daemon.saveAlarmLogToUsb(-5, QString());

    EXPECT_TRUE(result);
    const auto calls = callsOf(stage.platform, "getAlarms");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].first, -5);
    EXPECT_EQ(calls[0].second, 0);
    EXPECT_EQ(calls[0].locale, "default");
}

TEST(AlarmLog, AThousandAlarmsWithExtraInformationKeepTheirOrder)
{
    ExportStage stage;
    for (unsigned int i = 0; i < 1000; ++i)
    {
        stage.platform.alarms.append(
            makeAlarm("Alarm", 1000 - i, "Pump", {{PanelText("Place"), PanelText(QString::number(i))}}));
    }

    stage.daemon.saveAlarmLogToUsb(1000, QString());

    const QList<QByteArray> lines = contentOf(stage.path("alarms_", 1, ".txt")).split('\n');
    ASSERT_EQ(lines.size(), 2001);
    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_EQ(lines[2LL * i].split('\t').value(1), "Alarm(" + QByteArray::number(1000 - i) + ")");
        ASSERT_EQ(lines[2LL * i + 1], "\tPlace: " + QByteArray::number(i));
    }
}

TEST(AlarmLog, WithNoDriveItIsFalseAfterTheTraceOfTheOpeningAlone)
{
    ExportStage stage;
    stage.platform.drives.clear();

    const bool result = stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceTexts(Module, 4), std::vector<std::string>{"No USB drive"});
    EXPECT_EQ(stage.platform.callCount("getAlarms"), 0);
}

TEST(AlarmLog, AFolderThatDoesNotExistIsRefused)
{
    ExportStage stage;

    const bool result = stage.daemon.saveAlarmLogToUsb(10, "missing");

    EXPECT_FALSE(result);
    EXPECT_EQ(stage.platform.traceTexts(Module, 4),
              std::vector<std::string>{"Path should be relative to USB root: missing"});
}

TEST(AlarmLog, GoesIntoTheFolderThatWasNamed)
{
    ExportStage stage;
    QDir(stage.stick.path()).mkdir("logs");

    const bool result = stage.daemon.saveAlarmLogToUsb(10, "logs");

    EXPECT_TRUE(result);
    EXPECT_TRUE(QFile::exists(stage.stick.filePath("logs/" + stage.name("alarms_", 1, ".txt"))));
}

TEST(AlarmLog, IsClosedAndThenSyncedOnce)
{
    ExportStage stage;
    stage.platform.alarms = {makeAlarm("Filter blocked", 12, "Pump 1")};

    stage.daemon.saveAlarmLogToUsb(10, QString());

    EXPECT_EQ(stage.sync.runs(), 1);
    EXPECT_FALSE(stage.sync.sawOpen(stage.path("alarms_", 1, ".txt")));
}

TEST(AlarmLog, TakesNoLock)
{
    ExportStage stage;
    stage.platform.alarms = {makeAlarm("Too hot", 12, "Pump 1")};

    EXPECT_TRUE(stage.runsWithoutTheMutex([&] { EXPECT_TRUE(stage.daemon.saveAlarmLogToUsb(10, QString())); }));
}

TEST(AlarmLog, AWriteThatFailsStillAnswersTrue)
{
    ExportStage stage;
    stage.platform.alarms = {makeAlarm(longText(), 12, "Pump 1"), makeAlarm("Second", 13, "Pump 2")};
    bool result = false;

    {
        const FullMedium limit(1000);
        result = stage.daemon.saveAlarmLogToUsb(10, QString());
    }

    EXPECT_TRUE(result);
    EXPECT_EQ(QFileInfo(stage.path("alarms_", 1, ".txt")).size(), 1000);
}
