#include "Commands.h"

#include <QDBusMetaType>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QSet>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace
{

struct Method
{
    QStringList in;
    QString out;
};

struct Interface
{
    QMap<QString, Method> methods;
    QSet<QString> signalNames;
};

Interface readInterface()
{
    QFile file(QStringLiteral(INTERFACE_XML));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    Interface result;
    QString method;
    while (!xml.atEnd())
    {
        if (xml.readNext() != QXmlStreamReader::StartElement)
        {
            continue;
        }
        const QXmlStreamAttributes attributes = xml.attributes();
        const QString name = attributes.value(QStringLiteral("name")).toString();
        if (xml.name() == u"method")
        {
            method = name;
            result.methods[method];
        }
        else if (xml.name() == u"signal")
        {
            method.clear();
            result.signalNames.insert(name);
        }
        else if (xml.name() == u"arg" && !method.isEmpty())
        {
            const QString type = attributes.value(QStringLiteral("type")).toString();
            if (attributes.value(QStringLiteral("direction")) == u"out")
            {
                result.methods[method].out = type;
            }
            else
            {
                result.methods[method].in.append(type);
            }
        }
    }
    return result;
}

Given sampleFor(const Command& command)
{
    static const Given samples = {{"HOUR", {"2024-03-05T07"}}, {"MONTH", {"2024-03"}},   {"RULE", {"sum", "average"}},
                                  {"COLUMNS", {"3"}},          {"INVALID", {"-1"}},      {"VALUE", {"1", "-2", "3"}},
                                  {"--decimals", {"0,1"}},     {"--titles", {"a,b"}},    {"ID", {"7"}},
                                  {"COUNT", {"10"}},           {"PARAMETER", {"1", "2"}}};
    Given given;
    for (const Argument& argument : command.arguments)
    {
        const auto sample = samples.find(argument.name);
        given[argument.name] = sample != samples.end() ? sample->second : std::vector<std::string>{argument.preset};
    }
    if (given.contains("FROM"))
    {
        const bool hours = command.name == "hourly";
        given["FROM"] = {hours ? "2024-03-05T07" : "2024-03"};
        given["TO"] = {hours ? "2024-03-06T08" : "2024-04"};
    }
    if (given.contains("FILE"))
    {
        given["FILE"] = {"/dev/null"};
    }
    return given;
}

QString signatureOf(const QVariant& value)
{
    return QString::fromLatin1(QDBusMetaType::typeToSignature(value.metaType()));
}

struct Outcome
{
    int exitCode;
    QByteArray out;
    QByteArray err;
};

Outcome runTool(const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(ZEMOLOGCTL), arguments);
    EXPECT_TRUE(process.waitForFinished(20000));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

TEST(Zemologctl, EveryMethodOfTheInterfaceIsACommandAndNoCommandCallsAnythingElse)
{
    QSet<QString> called;
    for (const Command& command : commands())
    {
        for (const std::string& method : {command.method, command.periodMethod})
        {
            if (!method.empty())
            {
                EXPECT_FALSE(called.contains(QString::fromStdString(method))) << method;
                called.insert(QString::fromStdString(method));
            }
        }
    }

    const QStringList names = readInterface().methods.keys();

    EXPECT_EQ(called, QSet<QString>(names.begin(), names.end()));
}

TEST(Zemologctl, EveryCommandSendsTheTypesOfItsMethod)
{
    const Interface interface = readInterface();
    for (const Command& command : commands())
    {
        QStringList types;
        for (const QVariant& argument :
             command.method.empty() ? QVariantList() : busArguments(command, sampleFor(command)))
        {
            types.append(signatureOf(argument));
        }
        QStringList wanted = interface.methods.value(QString::fromStdString(command.method)).in;
        if (command.method == "addEnergyLogHourlyEntries")
        {
            wanted = QStringList{QStringLiteral("aai")}; // a list of entries, whatever the text of the interface says
        }
        EXPECT_EQ(types, wanted) << command.method;
    }
}

TEST(Zemologctl, EverySignalThatACommandWaitsForIsInTheInterface)
{
    const Interface interface = readInterface();
    for (const Command& command : commands())
    {
        if (!command.finishedSignal.empty())
        {
            EXPECT_TRUE(interface.signalNames.contains(QString::fromStdString(command.finishedSignal))) << command.name;
        }
    }
}

TEST(Zemologctl, AMissingBusIsOneJsonValueAndExitCode69)
{
    const Outcome outcome = runTool({QStringLiteral("--json"), QStringLiteral("usb-log"), QStringLiteral("status")});

    EXPECT_EQ(outcome.exitCode, 69);
    EXPECT_EQ(QJsonDocument::fromJson(outcome.out).object()["error"].toObject()["name"].toString(), "NoBus");
    EXPECT_EQ(outcome.out.count('\n'), 1);
}

TEST(Zemologctl, AMistakeOfUsageIsOneJsonValueWhereverJsonIsAskedFor)
{
    const QString json = QStringLiteral("--json");
    const QStringList lines[] = {{json},
                                 {json, "usb-log", "begin"},
                                 {"usb-log", "begin", json},
                                 {"--timeout", "soon", "usb-log", "status", json},
                                 {"usb-log", "start", "--interval", "fast", json},
                                 {"energy", "hourly", json, "2024-03-05T07"}};
    for (const QStringList& line : lines)
    {
        const Outcome outcome = runTool(line);

        EXPECT_EQ(outcome.exitCode, 64) << line.join(' ').toStdString();
        const QJsonObject error = QJsonDocument::fromJson(outcome.out).object()["error"].toObject();
        EXPECT_FALSE(error["message"].toString().isEmpty()) << outcome.out.toStdString();
        EXPECT_EQ(outcome.out.count('\n'), 1);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(Zemologctl, AMistakeOfUsageWithoutJsonIsTheParsersText)
{
    const Outcome outcome = runTool({"usb-log", "begin"});

    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.contains("--help")) << outcome.err.toStdString();
}

TEST(Zemologctl, AnUnknownCommandIsAUsageError)
{
    EXPECT_EQ(runTool({QStringLiteral("usb-log"), QStringLiteral("begin")}).exitCode, 64);
}

TEST(Zemologctl, TheManPageNamesEveryCommandAndEveryOptionOfTheHelp)
{
    const QByteArray page = runTool({QStringLiteral("--generate"), QStringLiteral("man")}).out;

    for (const Command& command : commands())
    {
        std::string title = command.group.empty() ? command.name : command.group + " " + command.name;
        EXPECT_TRUE(page.contains(".SS " + QByteArray::fromStdString(title).replace('-', "\\-"))) << title;
        for (const Argument& argument : command.arguments)
        {
            EXPECT_TRUE(page.contains(QByteArray::fromStdString(argument.name).replace('-', "\\-"))) << argument.name;
        }
    }
}

TEST(Zemologctl, CompletionAfterAGroupOffersItsCommands)
{
    const QByteArray script = runTool({QStringLiteral("--generate"), QStringLiteral("bash")}).out;
    QProcess bash;
    bash.start(
        QStringLiteral("bash"),
        {QStringLiteral("-c"),
         QString::fromUtf8(script) +
             QStringLiteral("\nCOMP_WORDS=(zemologctl usb-log st); COMP_CWORD=2; _zemologctl; echo ${COMPREPLY[@]}")});
    ASSERT_TRUE(bash.waitForFinished(20000));

    EXPECT_EQ(bash.readAllStandardOutput().trimmed(), "start stop status");
}

TEST(Zemologctl, AHourThatIsNoneIsRefusedWithItsText)
{
    const auto command =
        std::find_if(commands().begin(), commands().end(), [](const Command& c) { return c.name == "add-hour"; });

    try
    {
        busArguments(*command, {{"HOUR", {"2024-02-30T07"}}, {"VALUE", {"1"}}});
        FAIL() << "accepted";
    }
    catch (const BadArgument& error)
    {
        EXPECT_STREQ(error.what(), "'2024-02-30T07' is no hour such as 2024-03-05T07");
    }
}

TEST(Zemologctl, AnEntryTravelsAsItsDateAndItsValues)
{
    const auto command =
        std::find_if(commands().begin(), commands().end(), [](const Command& c) { return c.name == "add-hour"; });

    const QVariantList arguments = busArguments(*command, {{"HOUR", {"2024-03-05T07"}}, {"VALUE", {"17", "-5"}}});

    EXPECT_EQ(arguments.value(0).value<QList<int>>(), (QList<int>{2024, 3, 5, 7, 17, -5}));
}

TEST(Zemologctl, APeriodOfThePowerLogGoesToTheMethodThatTakesIt)
{
    const Interface interface = readInterface();
    for (const Command& command : commands())
    {
        if (command.periodMethod.empty())
        {
            continue;
        }
        Given given = {{"--locale", {"en_GB"}}, {"--from", {"@1709624400"}}, {"--to", {"@1709628000"}}};

        EXPECT_EQ(busMethod(command, given), command.periodMethod);
        EXPECT_EQ(busArguments(command, given), (QVariantList{"en_GB", 1709624400LL, 1709628000LL}));
        EXPECT_EQ(interface.methods[QString::fromStdString(command.periodMethod)].in, (QStringList{"s", "x", "x"}));
        given.erase("--to");
        EXPECT_THROW(busMethod(command, given), BadArgument);
        EXPECT_THROW(busArguments(command, given), BadArgument);
        given.erase("--from");
        EXPECT_EQ(busMethod(command, given), command.method);
    }
}

TEST(Zemologctl, ANegativeValueOnTheCommandLineIsAValue)
{
    const Outcome outcome = runTool(
        {QStringLiteral("energy"), QStringLiteral("add-hour"), QStringLiteral("2024-03-05T07"), QStringLiteral("-5")});

    EXPECT_EQ(outcome.exitCode, 69) << outcome.err.toStdString(); // as far as the bus, which is not there
}
