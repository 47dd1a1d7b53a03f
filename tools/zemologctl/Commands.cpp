#include "Commands.h"

#include <QDBusMetaType>
#include <QDateTime>
#include <QFile>
#include <QTextStream>

#include <limits>

namespace
{

const std::string& single(const Given& given, const std::string& name)
{
    static const std::string nothing;
    const auto found = given.find(name);
    return found == given.end() || found->second.empty() ? nothing : found->second.front();
}

const std::vector<std::string>& all(const Given& given, const std::string& name)
{
    static const std::vector<std::string> nothing;
    const auto found = given.find(name);
    return found == given.end() ? nothing : found->second;
}

template <class Number> Number numberFrom(const std::string& text, const char* what)
{
    bool ok = false;
    const qlonglong number = QString::fromStdString(text).toLongLong(&ok);
    if (!ok || number < qlonglong(std::numeric_limits<Number>::min()) ||
        number > qlonglong(std::numeric_limits<Number>::max()))
    {
        throw BadArgument("'" + text + "' is no " + what);
    }
    return static_cast<Number>(number);
}

QList<int> numbersFrom(const std::vector<std::string>& texts)
{
    QList<int> numbers;
    for (const std::string& text : texts)
    {
        numbers.append(numberFrom<int>(text, "32-bit number"));
    }
    return numbers;
}

QDateTime momentFrom(const std::string& text, std::initializer_list<const char*> formats, const char* what)
{
    for (const char* format : formats)
    {
        const QDateTime moment = QDateTime::fromString(QString::fromStdString(text), QLatin1String(format));
        if (moment.isValid())
        {
            return moment;
        }
    }
    throw BadArgument("'" + text + "' is no " + what);
}

QDateTime hourFrom(const std::string& text)
{
    return momentFrom(text,
                      {"yyyy-MM-dd'T'HH", "yyyy-MM-dd'T'HH:mm", "yyyy-MM-dd HH:mm", "yyyy-MM-dd HH", "yyyy-MM-dd"},
                      "hour such as 2024-03-05T07");
}

QDateTime monthFrom(const std::string& text)
{
    return momentFrom(text, {"yyyy-MM"}, "month such as 2024-03");
}

qlonglong secondsFrom(const std::string& text)
{
    if (!text.empty() && text.front() == '@')
    {
        return numberFrom<qlonglong>(text.substr(1), "number of seconds");
    }
    return momentFrom(
               text,
               {"yyyy-MM-dd", "yyyy-MM-dd'T'HH:mm", "yyyy-MM-dd'T'HH:mm:ss", "yyyy-MM-dd HH:mm", "yyyy-MM-dd HH:mm:ss"},
               "time such as 2024-03-05T07:30 or @1709624400")
        .toSecsSinceEpoch();
}

void appendHour(QVariantList& list, const QDateTime& hour)
{
    list << QVariant::fromValue(ushort(hour.date().year())) << QVariant::fromValue(uchar(hour.date().month()))
         << QVariant::fromValue(uchar(hour.date().day())) << QVariant::fromValue(uchar(hour.time().hour()));
}

void appendMonth(QVariantList& list, const QDateTime& month)
{
    list << QVariant::fromValue(ushort(month.date().year())) << QVariant::fromValue(uchar(month.date().month()));
}

// On the bus an entry is an array: year, month, day, hour, values.
QList<int> entryFrom(const QDateTime& time, const std::vector<std::string>& values)
{
    return QList<int>{time.date().year(), time.date().month(), time.date().day(), time.time().hour()} +
           numbersFrom(values);
}

// Lines of an hour and its values, with blanks, tabs or commas between; empty lines and lines from "#" on are skipped.
QList<QList<int>> entriesFrom(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    const bool opened = path == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!opened)
    {
        throw BadArgument("cannot read '" + path + "': " + file.errorString().toStdString());
    }
    QList<QList<int>> entries;
    for (int number = 1; !file.atEnd(); ++number)
    {
        const QString line = QString::fromUtf8(file.readLine()).section(QLatin1Char('#'), 0, 0).replace(u',', u' ');
        const QStringList fields = line.simplified().split(u' ', Qt::SkipEmptyParts);
        if (fields.isEmpty())
        {
            continue;
        }
        try
        {
            std::vector<std::string> values;
            for (const QString& field : fields.mid(1))
            {
                values.push_back(field.toStdString());
            }
            entries.append(entryFrom(hourFrom(fields[0].toStdString()), values));
        }
        catch (const BadArgument& error)
        {
            throw BadArgument(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return entries;
}

QList<bool> averagesFrom(const std::vector<std::string>& words)
{
    QList<bool> averages;
    for (const std::string& word : words)
    {
        if (word != "sum" && word != "average")
        {
            throw BadArgument("'" + word + "' is neither sum nor average");
        }
        averages.append(word == "average");
    }
    return averages;
}

QStringList titlesFrom(const std::string& text)
{
    return text.empty() ? QStringList() : QString::fromStdString(text).split(u',');
}

QByteArray decimalsFrom(const std::string& text)
{
    QByteArray decimals;
    for (const QString& number : titlesFrom(text))
    {
        decimals.append(char(numberFrom<uchar>(number.toStdString(), "number of decimals")));
    }
    return decimals;
}

QVariant plainArgument(const Argument& argument, const Given& given)
{
    const std::string& text = single(given, argument.name);
    switch (argument.kind)
    {
    case Argument::Number:
        return numberFrom<int>(text, "32-bit number");
    case Argument::Natural:
        return numberFrom<uint>(text, "number from 0 to 4294967295");
    case Argument::Flag:
        return text == "true";
    case Argument::Numbers:
        return QVariant::fromValue(numbersFrom(all(given, argument.name)));
    default:
        return QString::fromStdString(text);
    }
}

const Argument Interval{"--interval", Argument::Number, "Smallest distance of two rows in seconds.", "1"};
const Argument Continue{"--continue", Argument::Flag, "Go on in the file of the last run, where that is possible.", ""};
const Argument Folder{"FOLDER", Argument::Text, "Folder on the stick, relative to its root; it must exist.", "", true};
const Argument Locale{"--locale", Argument::Text, "Language of the texts, such as en_GB.", "default"};
const Argument CustomId{"ID", Argument::Number, "The log's number, any that the client likes.", ""};
const Argument LogId{"ID", Argument::Natural, "Number of the log in internal memory.", ""};

std::vector<Command> usbLogCommands()
{
    return {
        {"usb-log",
         "start",
         "startLogUsb",
         "Starts the main log on the stick.",
         {Interval, Continue, Locale},
         Command::Done,
         "",
         "",
         {},
         "no stick, or the file can't be made on it"},
        {"usb-log", "stop", "stopLogUsb", "Stops the main log."},
        {"usb-log", "status", "isUsbLogActive", "Tells whether the main log runs.", {}, Command::State},
        {"usb-log", "parameters", "getLogParameters", "Names the parameters of the main log.", {}, Command::Texts},
    };
}

std::vector<Command> customCommands()
{
    return {
        {"custom",
         "configure",
         "configureCustomLogUsb",
         "Stores what a custom log is to hold.",
         {CustomId,
          {"PREFIX", Argument::Text, "First part of the file's name.", ""},
          {"PARAMETER", Argument::Numbers, "Ids of the parameters.", "", true}}},
        {"custom",
         "start",
         "startCustomLogUsb",
         "Starts a custom log on the stick.",
         {CustomId, Interval, Continue},
         Command::Done,
         "",
         "",
         {},
         "no stick, no configuration of that number, or the file can't be made"},
        {"custom", "stop", "stopCustomLogUsb", "Stops a custom log.", {CustomId}},
        {"custom", "status", "isCustomUsbLogActive", "Tells whether a custom log runs.", {CustomId}, Command::State},
        {"custom",
         "parameters",
         "getCustomUsbLogParameters",
         "Names the parameters of a custom log that exists.",
         {CustomId},
         Command::Texts},
    };
}

std::vector<Command> snapshotCommands()
{
    return {
        {"snapshot",
         "usb",
         "saveRamLogToUsb",
         "Writes the history in memory to the stick.",
         {Folder},
         Command::Done,
         "",
         "",
         {},
         "no stick or no such folder; a snapshot that records no future is finished at once and answers this too"},
        {"snapshot",
         "internal",
         "saveRamLogToInternalMem",
         "Writes the history to internal memory and tells its number.",
         {},
         Command::Id},
        {"snapshot",
         "convert",
         "saveInternalLogToUsb",
         "Writes a log in internal memory to the stick as CSV.",
         {LogId, Folder},
         Command::Done,
         "",
         "",
         {},
         "no stick, no such folder, or no such log"},
        {"snapshot", "remove", "removeLogFromInternalMem", "Removes a log from internal memory.", {LogId}},
        {"snapshot", "raw", "saveInternalLogsToUsbRaw", "Copies all logs in internal memory to the stick as they are."},
    };
}

QVariantList hourRange(const Given& given)
{
    QVariantList list;
    appendHour(list, hourFrom(single(given, "FROM")));
    appendHour(list, hourFrom(single(given, "TO")));
    return list;
}

QVariantList monthRange(const Given& given)
{
    QVariantList list;
    appendMonth(list, monthFrom(single(given, "FROM")));
    appendMonth(list, monthFrom(single(given, "TO")));
    return list;
}

QVariantList initArguments(const Given& given)
{
    return {QVariant::fromValue(numberFrom<uchar>(single(given, "COLUMNS"), "number of columns")),
            numberFrom<int>(single(given, "INVALID"), "32-bit number")};
}

QVariantList summaryArguments(const Given& given)
{
    QVariantList list;
    appendMonth(list, monthFrom(single(given, "MONTH")));
    return list << QVariant::fromValue(averagesFrom(all(given, "RULE")));
}

QVariantList exportArguments(const Given& given)
{
    return QVariantList{titlesFrom(single(given, "--titles")), decimalsFrom(single(given, "--decimals"))} +
           monthRange(given);
}

std::vector<Command> energyCommands()
{
    const Argument values{"VALUE", Argument::Texts, "The values, one for each column.", ""};
    const Argument fromHour{"FROM", Argument::Text, "First hour, such as 2024-03-05T07, in local time.", ""};
    const Argument toHour{"TO", Argument::Text, "Last hour, itself included.", ""};
    const Argument fromMonth{"FROM", Argument::Text, "First month, such as 2024-03.", ""};
    const Argument toMonth{"TO", Argument::Text, "Last month, itself included.", ""};
    const std::string closed = "the energy log is not initialised, or the number of values is not that of its columns";
    return {
        {"energy",
         "init",
         "initEnergyLog",
         "Opens the energy log.",
         {{"COLUMNS", Argument::Number, "Values in each row, 1 to 50.", ""},
          {"INVALID", Argument::Number, "The number that stands for a missing value.", ""}},
         Command::Done,
         "",
         "",
         initArguments,
         "it is open already, or the number of columns is not 1 to 50"},
        {"energy",
         "add-hour",
         "addEnergyLogHourlyEntry",
         "Adds or replaces the row of an hour.",
         {{"HOUR", Argument::Text, "The hour, such as 2024-03-05T07, in local time.", ""}, values},
         Command::Done,
         "",
         "",
         [](const Given& given)
         { return QVariantList{QVariant::fromValue(entryFrom(hourFrom(single(given, "HOUR")), all(given, "VALUE")))}; },
         closed},
        {"energy",
         "add-hours",
         "addEnergyLogHourlyEntries",
         "Adds the rows of a file, all or none.",
         {{"FILE", Argument::Text, "Lines of an hour and its values; - is standard input.", ""}},
         Command::Done,
         "",
         "",
         [](const Given& given) { return QVariantList{QVariant::fromValue(entriesFrom(single(given, "FILE")))}; },
         closed},
        {"energy",
         "add-month",
         "addEnergyLogMonthlyEntry",
         "Adds or replaces the row of a month.",
         {{"MONTH", Argument::Text, "The month, such as 2024-03.", ""}, values},
         Command::Done,
         "",
         "",
         [](const Given& given) {
             return QVariantList{
                 QVariant::fromValue(entryFrom(monthFrom(single(given, "MONTH")), all(given, "VALUE")))};
         },
         closed},
        {"energy",
         "summarize",
         "summarizeEnergyLogMonth",
         "Folds the hours of a month into its row.",
         {{"MONTH", Argument::Text, "The month, such as 2024-03.", ""},
          {"RULE", Argument::Texts, "sum or average, one for each column.", ""}},
         Command::Done,
         "",
         "",
         summaryArguments,
         "the energy log is not initialised"},
        {"energy",
         "hourly",
         "getEnergyLogHourly",
         "Prints the rows of a range of hours.",
         {fromHour, toHour},
         Command::Entries,
         "",
         "",
         hourRange},
        {"energy",
         "monthly",
         "getEnergyLogMonthly",
         "Prints the rows of a range of months.",
         {fromMonth, toMonth},
         Command::Entries,
         "",
         "",
         monthRange},
        {"energy",
         "export",
         "exportEnergyLogToUsb",
         "Writes a range of months to the stick, hours and months.",
         {fromMonth,
          toMonth,
          {"--titles", Argument::Text, "Titles of the columns, with commas between.", ""},
          {"--decimals", Argument::Text, "Decimals of the columns, with commas between.", ""}},
         Command::Done,
         "energyLogExportCompleted",
         "",
         exportArguments,
         "no stick"},
    };
}

QVariantList powerArguments(const Given& given)
{
    QVariantList list{QString::fromStdString(single(given, "--locale"))};
    const std::string& from = single(given, "--from");
    const std::string& to = single(given, "--to");
    if (from.empty() != to.empty())
    {
        throw BadArgument("--from and --to go together");
    }
    return from.empty() ? list : list << secondsFrom(from) << secondsFrom(to);
}

Command powerCommand(const std::string& name, const std::string& kind, const std::string& help)
{
    return {"power",
            name,
            "PowerLogExport" + kind + "ToUsb",
            help,
            {Locale,
             {"--from", Argument::Text,
              "Begin of a period: 2024-03-05T07:30 in local time, or @ and seconds since 1970.", ""},
             {"--to", Argument::Text, "End of the period.", ""}},
            Command::Done,
            "PowerLogExportCompleted",
            "PowerLogExport" + kind + "ForPeriodToUsb",
            powerArguments,
            "an export is running, or the period ends before it begins"};
}

std::vector<Command> settingsCommands()
{
    return {
        {"settings",
         "save",
         "saveSettingsToUSB",
         "Saves the controller's settings to the stick.",
         {{"TYPE", Argument::Natural, "What to save, by the controller's own numbers.", "0", true}},
         Command::Done,
         "saveSettingsFinished",
         "",
         {},
         "no stick"},
        {"settings",
         "restore",
         "restoreSettingsFromUSB",
         "Restores the settings from the stick.",
         {},
         Command::Done,
         "restoreSettingsFinished",
         "",
         {},
         "no stick"},
        {"settings", "status", "hasSettingsOnUSB", "Tells whether the stick holds settings.", {}, Command::State},
    };
}

std::vector<Command> exportCommands()
{
    const std::string stick = "no stick, or it can't be written";
    return {
        {"export",
         "modbus",
         "saveModbusStateToUsb",
         "Writes the table of all Modbus registers.",
         {},
         Command::Done,
         "",
         "",
         {},
         stick},
        {"export",
         "modbus-default",
         "saveModbusMostUsedToUsb",
         "Writes the table of the registers of the default log.",
         {},
         Command::Done,
         "",
         "",
         {},
         stick},
        {"export",
         "changes",
         "saveChangeLogToUsb",
         "Writes the parameter changes on record.",
         {Folder},
         Command::Done,
         "",
         "",
         {},
         stick},
        {"export",
         "alarms",
         "saveAlarmLogToUsb",
         "Writes the latest alarms.",
         {{"COUNT", Argument::Number, "How many.", ""}, Folder},
         Command::Done,
         "",
         "",
         {},
         stick},
        {"export",
         "system-information",
         "saveSysInfoToUsb",
         "Collects the system information bundle.",
         {},
         Command::Done,
         "",
         "",
         {},
         "the platform's script failed"},
        {"export", "system-logs", "saveSysLogToUsb", "Copies the system's logs.", {}, Command::Done, "", "", {}, stick},
        {"export",
         "crash-dumps",
         "saveCoreDumpsToUsb",
         "Copies the crash dumps.",
         {},
         Command::Done,
         "",
         "",
         {},
         stick},
        {"export",
         "folder",
         "createUsbFolder",
         "Makes a new folder on the stick and prints its path.",
         {{"PREFIX", Argument::Text, "First part of its name.", ""},
          {"FOLDER", Argument::Text, "Where, relative to the root; made if missing.", "", true}},
         Command::Text,
         "",
         "",
         {},
         stick},
    };
}

std::vector<Command> allCommands()
{
    qDBusRegisterMetaType<QList<QList<int>>>();
    std::vector<Command> list;
    const auto add = [&list](std::vector<Command> more) { list.insert(list.end(), more.begin(), more.end()); };
    add(usbLogCommands());
    add(customCommands());
    add(snapshotCommands());
    add(energyCommands());
    add({powerCommand("all", "", "Writes the hourly and the quarter-hourly power log to the stick."),
         powerCommand("hourly", "Hourly", "Writes the hourly power log to the stick."),
         powerCommand("quarterly", "Quarterly", "Writes the quarter-hourly power log to the stick.")});
    add(settingsCommands());
    add(exportCommands());
    add({{"",
          "monitor",
          "",
          "Prints the daemon's signals as they come, until it is interrupted.",
          {},
          Command::Nothing}});
    return list;
}

} // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> list = allCommands();
    return list;
}

QVariantList busArguments(const Command& command, const Given& given)
{
    if (command.build)
    {
        return command.build(given);
    }
    QVariantList list;
    for (const Argument& argument : command.arguments)
    {
        list << plainArgument(argument, given);
    }
    return list;
}
