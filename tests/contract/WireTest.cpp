#include <wire/Names.h>
#include <wire/Records.h>

#include <QDBusMetaType>
#include <QFile>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace zemo;

namespace
{

// The signature of every argument of the description that has a type of our own, by the name of that type.
QMap<QString, QString> describedSignatures()
{
    QFile file(QStringLiteral(ZEMO_WIRE_XML));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QMap<QString, QString> signatures;
    QString lastOut;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd())
    {
        xml.readNext();
        const auto attribute = [&](const char* name) { return xml.attributes().value(QLatin1String(name)).toString(); };
        if (xml.isStartElement() && attribute("direction") == QLatin1String("out"))
        {
            lastOut = attribute("type");
        }
        if (xml.isStartElement() && attribute("value").startsWith(QLatin1String("zemo::wire::")))
        {
            signatures.insert(attribute("value"), lastOut);
        }
    }
    return signatures;
}

template <class Record> QString signature()
{
    return QString::fromLatin1(QDBusMetaType::typeToSignature(QMetaType::fromType<Record>()));
}

data::Metadata fullMetadata()
{
    data::Metadata parameter;
    parameter.varId = 65535;
    parameter.varType = 6;
    parameter.varSize = 255;
    parameter.decimals = 3;
    parameter.reserved1 = 4;
    parameter.auxByte = 200;
    parameter.reserved2 = 5;
    parameter.registerKind = 77;
    parameter.modbusAddress = 40001;
    parameter.name = localization::PanelText(QStringLiteral("Pump po\u00adwer"), 12);
    parameter.secondText = localization::PanelText(QStringLiteral("second"), -1);
    parameter.numericAttr1 = std::numeric_limits<int32_t>::min();
    parameter.numericAttr2 = 0;
    parameter.numericAttr3 = std::numeric_limits<int32_t>::max();
    parameter.text1 = QStringLiteral("one");
    parameter.unit = QStringLiteral("m³/h");
    parameter.text2 = QStringLiteral("two");
    parameter.valueTexts = {{QStringLiteral("off")}, {QString()}, {QStringLiteral("on")}};
    return parameter;
}

void expectSame(const localization::PanelText& left, const localization::PanelText& right)
{
    EXPECT_EQ(left.text(), right.text());
    EXPECT_EQ(left.panelNbr(), right.panelNbr());
}

void expectSame(const data::Metadata& left, const data::Metadata& right)
{
    EXPECT_EQ(left.varId, right.varId);
    EXPECT_EQ(left.varType, right.varType);
    EXPECT_EQ(left.varSize, right.varSize);
    EXPECT_EQ(left.decimals, right.decimals);
    EXPECT_EQ(left.reserved1, right.reserved1);
    EXPECT_EQ(left.auxByte, right.auxByte);
    EXPECT_EQ(left.reserved2, right.reserved2);
    EXPECT_EQ(left.registerKind, right.registerKind);
    EXPECT_EQ(left.modbusAddress, right.modbusAddress);
    expectSame(left.name, right.name);
    expectSame(left.secondText, right.secondText);
    EXPECT_EQ(left.numericAttr1, right.numericAttr1);
    EXPECT_EQ(left.numericAttr2, right.numericAttr2);
    EXPECT_EQ(left.numericAttr3, right.numericAttr3);
    EXPECT_EQ(left.text1, right.text1);
    EXPECT_EQ(left.unit, right.unit);
    EXPECT_EQ(left.text2, right.text2);
    ASSERT_EQ(left.valueTexts.size(), right.valueTexts.size());
    for (qsizetype place = 0; place < left.valueTexts.size(); ++place)
    {
        EXPECT_EQ(left.valueTexts[place].text, right.valueTexts[place].text);
    }
}

data::DataValue value(long long number, const QString& string, unsigned char type, unsigned char size, bool ok)
{
    data::DataValue result;
    result.setIntValue(number);
    result.setStringValue(string);
    result.setVarType(type);
    result.setVarSize(size);
    result.setIsOk(ok);
    return result;
}

} // namespace

TEST(Wire, EveryRecordHasTheSignatureOfTheDescription)
{
    wire::registerTypes();

    const QMap<QString, QString> described = describedSignatures();

    const QMap<QString, QString> actual{{QStringLiteral("zemo::wire::Values"), signature<wire::Values>()},
                                        {QStringLiteral("zemo::wire::Parameters"), signature<wire::Parameters>()},
                                        {QStringLiteral("zemo::wire::Changes"), signature<wire::Changes>()},
                                        {QStringLiteral("zemo::wire::PowerRecords"), signature<wire::PowerRecords>()},
                                        {QStringLiteral("zemo::wire::Texts"), signature<wire::Texts>()},
                                        {QStringLiteral("zemo::wire::Alarms"), signature<wire::Alarms>()}};
    EXPECT_EQ(described, actual);
}

TEST(Wire, ValuesOfEveryKindComeBackAsTheyWere)
{
    const QMap<int, data::DataValue> values{
        {-5, value(std::numeric_limits<long long>::min(), {}, 0, 3, true)},
        {1000, value(std::numeric_limits<long long>::max(), {}, 0, 6, false)},
        {1001, value(0, QStringLiteral("Tür \u00ad zu"), 1, 0, true)},
        {70000, value(7, QStringLiteral("both"), 200, 255, true)},
    };

    const auto back = wire::fromWire(wire::toWire(values));

    ASSERT_TRUE(back);
    EXPECT_EQ(*back, values);
}

TEST(Wire, ColumnsOfValuesThatDoNotFitTogetherGiveNothing)
{
    const wire::Values good = wire::toWire(QMap<int, data::DataValue>{{1, value(1, QStringLiteral("s"), 1, 0, true)}});
    wire::Values number = good;
    number.numbers.clear();
    wire::Values flag = good;
    flag.ok.append('\1');
    wire::Values type = good;
    type.types.clear();
    wire::Values size = good;
    size.sizes.clear();
    wire::Values string = good;
    string.strings.insert(1, QStringLiteral("of nobody"));

    EXPECT_TRUE(wire::fromWire(good));
    EXPECT_FALSE(wire::fromWire(number));
    EXPECT_FALSE(wire::fromWire(flag));
    EXPECT_FALSE(wire::fromWire(type));
    EXPECT_FALSE(wire::fromWire(size));
    EXPECT_FALSE(wire::fromWire(string));
}

TEST(Wire, EveryFieldOfADescriptionComesBack)
{
    data::Metadata plain;
    plain.unit = QStringLiteral("kW");
    const QMap<int, data::Metadata> parameters{{3, plain}, {1000, fullMetadata()}, {1001, plain}};

    const auto back = wire::fromWire(wire::toWire(parameters));

    ASSERT_TRUE(back);
    ASSERT_EQ(back->keys(), parameters.keys());
    expectSame((*back)[3], plain);
    expectSame((*back)[1000], fullMetadata());
    expectSame((*back)[1001], plain);
}

TEST(Wire, ColumnsOfDescriptionsThatDoNotFitTogetherGiveNothing)
{
    const wire::Parameters good = wire::toWire(QMap<int, data::Metadata>{{1, fullMetadata()}});
    wire::Parameters numbers = good;
    numbers.numbers.removeLast();
    wire::Parameters names = good;
    names.names.panelNumbers.clear();
    wire::Parameters seconds = good;
    seconds.secondTexts.texts.clear();
    wire::Parameters texts = good;
    texts.texts.removeLast();
    wire::Parameters counts = good;
    counts.valueTextCounts = {4};
    wire::Parameters negative = wire::toWire(QMap<int, data::Metadata>{{1, {}}, {2, {}}});
    negative.valueTextCounts = {1, -1};

    EXPECT_TRUE(wire::fromWire(good));
    EXPECT_FALSE(wire::fromWire(numbers));
    EXPECT_FALSE(wire::fromWire(names));
    EXPECT_FALSE(wire::fromWire(seconds));
    EXPECT_FALSE(wire::fromWire(texts));
    EXPECT_FALSE(wire::fromWire(counts));
    EXPECT_FALSE(wire::fromWire(negative));
}

TEST(Wire, ChangesComeBackInTheirOrder)
{
    const data::ChangeLogEntry first{value(17, {}, 0, 2, true), fullMetadata(), {2024, 3, 5, 14, 7, 9}};
    const data::ChangeLogEntry second{value(-1, QStringLiteral("x"), 1, 0, false), {}, {1999, 12, 31, 23, 59, 58}};

    const auto back = wire::fromWire(wire::toWire(QList<data::ChangeLogEntry>{first, second}));

    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), 2);
    EXPECT_EQ((*back)[0].value, first.value);
    expectSame((*back)[0].metadata, first.metadata);
    EXPECT_EQ((*back)[0].timestamp.year, 2024);
    EXPECT_EQ((*back)[0].timestamp.second, 9);
    EXPECT_EQ((*back)[1].value, second.value);
    EXPECT_EQ((*back)[1].timestamp.month, 12);
    EXPECT_EQ((*back)[1].timestamp.day, 31);
    EXPECT_EQ((*back)[1].timestamp.hour, 23);
    EXPECT_EQ((*back)[1].timestamp.minute, 59);
}

TEST(Wire, ChangesWithATimeTooFewGiveNothing)
{
    wire::Changes columns = wire::toWire(QList<data::ChangeLogEntry>{{{}, {}, {2024, 3, 5, 14, 7, 9}}});
    columns.times.removeLast();

    EXPECT_FALSE(wire::fromWire(columns));
}

TEST(Wire, APowerRecordKeepsAMissingValueMissing)
{
    const QList<data::PowerLogRecord> records{{1700000000, 1.5, std::nan(""), 2.25}, {-1, 0, 0, 1e300}};

    const auto back = wire::fromWire(wire::toWire(records));

    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), 2);
    EXPECT_EQ((*back)[0].timestamp, 1700000000);
    EXPECT_EQ((*back)[0].valueA, 1.5);
    EXPECT_TRUE(std::isnan((*back)[0].valueB));
    EXPECT_EQ((*back)[0].valueC, 2.25);
    EXPECT_EQ((*back)[1].timestamp, -1);
    EXPECT_EQ((*back)[1].valueC, 1e300);
}

TEST(Wire, PowerRecordsWithAValueTooManyGiveNothing)
{
    wire::PowerRecords columns = wire::toWire(QList<data::PowerLogRecord>{{1, 2, 3, 4}});
    columns.values.append(5);

    EXPECT_FALSE(wire::fromWire(columns));
}

TEST(Wire, TextsComeBackUnderTheirIds)
{
    const QMap<unsigned int, localization::PanelText> texts{{59005, {QStringLiteral("Name"), 7}},
                                                            {4294967295U, {QString(), 0}}};

    const auto back = wire::fromWire(wire::toWire(texts));

    ASSERT_TRUE(back);
    ASSERT_EQ(back->keys(), texts.keys());
    expectSame((*back)[59005], texts[59005]);
    expectSame((*back)[4294967295U], texts[4294967295U]);
}

TEST(Wire, TextsWithoutAnIdGiveNothing)
{
    wire::Texts columns = wire::toWire(QMap<unsigned int, localization::PanelText>{{1, {QStringLiteral("one")}}});
    columns.ids.clear();

    EXPECT_FALSE(wire::fromWire(columns));
}

TEST(Wire, AlarmsKeepTheirExtraInformation)
{
    const zdatetime_t time{2024, 3, 5, 14, 7, 9};
    const system::AlarmInfo bare(time::DateTime(&time), {QStringLiteral("A"), 1}, 4294967295U, {QString(), 0}, {});
    const system::AlarmInfo rich(time::DateTime(&time), {QStringLiteral("Filter blocked"), 2}, 12,
                                 {QStringLiteral("Pump 1"), 3},
                                 {{{QStringLiteral("Pressure"), 4}, {QStringLiteral("4.2 bar"), 5}},
                                  {{QStringLiteral("Flow"), 6}, {QStringLiteral("0"), 7}}});

    const auto back = wire::fromWire(wire::toWire(QList<system::AlarmInfo>{bare, rich, bare}));

    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), 3);
    EXPECT_EQ((*back)[0].getNumber(), 4294967295U);
    EXPECT_TRUE((*back)[0].getExtraInfo().isEmpty());
    EXPECT_EQ((*back)[1].getTime().minute(), 7);
    expectSame((*back)[1].getName(), rich.getName());
    expectSame((*back)[1].getSource(), rich.getSource());
    ASSERT_EQ((*back)[1].getExtraInfo().size(), 2);
    expectSame((*back)[1].getExtraInfo()[1].label, rich.getExtraInfo()[1].label);
    expectSame((*back)[1].getExtraInfo()[1].value, rich.getExtraInfo()[1].value);
    EXPECT_TRUE((*back)[2].getExtraInfo().isEmpty());
}

TEST(Wire, AlarmsWhoseExtraInformationIsMiscountedGiveNothing)
{
    const zdatetime_t time{2024, 3, 5, 14, 7, 9};
    wire::Alarms columns = wire::toWire(QList<system::AlarmInfo>{{time::DateTime(&time), {}, 1, {}, {}}});
    columns.extraCounts = {1};

    EXPECT_FALSE(wire::fromWire(columns));
}
