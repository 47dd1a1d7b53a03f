#include "Commands.h"

#include <QDBusMetaType>

namespace
{

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
const Argument Continue{"--continue", Argument::Flag,
                        "Accepted and without effect: each start begins a file of its own."};
const Argument Folder{.name = "FOLDER",
                      .kind = Argument::Text,
                      .help = "Folder on the stick, relative to its root; it must exist.",
                      .optional = true};
const Argument Locale{"--locale", Argument::Text, "Language of the texts, such as en_GB.", "default"};
const Argument CustomId{"ID", Argument::Number, "The log's number, any that the client likes."};
const Argument LogId{"ID", Argument::Natural, "Number of the log in internal memory."};

std::vector<Command> usbLogCommands()
{
    return {
        {.group = "usb-log",
         .name = "start",
         .method = "startLogUsb",
         .help = "Starts the main log on the stick.",
         .arguments = {Interval, Continue, Locale},
         .refusal = "no stick, or the file can't be made on it"},
        {.group = "usb-log", .name = "stop", .method = "stopLogUsb", .help = "Stops the main log."},
        {.group = "usb-log",
         .name = "status",
         .method = "isUsbLogActive",
         .help = "Tells whether the main log runs.",
         .answer = Command::State},
        {.group = "usb-log",
         .name = "parameters",
         .method = "getLogParameters",
         .help = "Names the parameters of the main log.",
         .answer = Command::Texts},
    };
}

std::vector<Command> customCommands()
{
    return {
        {.group = "custom",
         .name = "configure",
         .method = "configureCustomLogUsb",
         .help = "Stores what a custom log is to hold.",
         .arguments =
             {CustomId,
              {"PREFIX", Argument::Text, "First part of the file's name."},
              {.name = "PARAMETER", .kind = Argument::Numbers, .help = "Ids of the parameters.", .optional = true}}},
        {.group = "custom",
         .name = "start",
         .method = "startCustomLogUsb",
         .help = "Starts a custom log on the stick.",
         .arguments = {CustomId, Interval, Continue},
         .refusal = "no stick, no configuration of that number, or the file can't be made"},
        {.group = "custom",
         .name = "stop",
         .method = "stopCustomLogUsb",
         .help = "Stops a custom log.",
         .arguments = {CustomId}},
        {.group = "custom",
         .name = "status",
         .method = "isCustomUsbLogActive",
         .help = "Tells whether a custom log runs.",
         .arguments = {CustomId},
         .answer = Command::State},
        {.group = "custom",
         .name = "parameters",
         .method = "getCustomUsbLogParameters",
         .help = "Names the parameters of a custom log that exists.",
         .arguments = {CustomId},
         .answer = Command::Texts},
    };
}

std::vector<Command> snapshotCommands()
{
    return {
        {.group = "snapshot",
         .name = "usb",
         .method = "saveRamLogToUsb",
         .help = "Writes the history in memory to the stick. With [usb] future = 0, the default, the answer is no "
                 "although all is written.",
         .arguments = {Folder},
         .refusal =
             "no stick or no such folder; a snapshot that records no future is finished at once and answers this too"},
        {.group = "snapshot",
         .name = "internal",
         .method = "saveRamLogToInternalMem",
         .help = "Writes the history to internal memory and tells its number. With [internal] future = 0 it tells 0, "
                 "whatever the number.",
         .answer = Command::Id},
        {.group = "snapshot",
         .name = "convert",
         .method = "saveInternalLogToUsb",
         .help = "Writes a log in internal memory to the stick as CSV.",
         .arguments = {LogId, Folder},
         .refusal = "no stick, no such folder, or no such log"},
        {.group = "snapshot",
         .name = "remove",
         .method = "removeLogFromInternalMem",
         .help = "Removes a log from internal memory.",
         .arguments = {LogId}},
        {.group = "snapshot",
         .name = "raw",
         .method = "saveInternalLogsToUsbRaw",
         .help = "Copies all logs in internal memory to the stick as they are."},
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

QVariantList hourEntry(const Given& given)
{
    return {QVariant::fromValue(entryFrom(hourFrom(single(given, "HOUR")), all(given, "VALUE")))};
}

QVariantList hourEntries(const Given& given)
{
    return {QVariant::fromValue(entriesFrom(single(given, "FILE")))};
}

QVariantList monthEntry(const Given& given)
{
    return {QVariant::fromValue(entryFrom(monthFrom(single(given, "MONTH")), all(given, "VALUE")))};
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
    const Argument values{"VALUE", Argument::Texts, "The values, one for each column."};
    const Argument month{"MONTH", Argument::Text, "The month, such as 2024-03."};
    const Argument fromHour{"FROM", Argument::Text, "First hour, such as 2024-03-05T07, in local time."};
    const Argument toHour{"TO", Argument::Text, "Last hour, itself included."};
    const Argument fromMonth{"FROM", Argument::Text, "First month, such as 2024-03."};
    const Argument toMonth{"TO", Argument::Text, "Last month, itself included."};
    const std::string closed = "the energy log is not initialised, or the number of values is not that of its columns";
    return {
        {.group = "energy",
         .name = "init",
         .method = "initEnergyLog",
         .help = "Opens the energy log.",
         .arguments = {{"COLUMNS", Argument::Number, "Values in each row, 1 to 50."},
                       {"INVALID", Argument::Number, "The number that stands for a missing value."}},
         .build = initArguments,
         .refusal = "it is open already, or the number of columns is not 1 to 50"},
        {.group = "energy",
         .name = "add-hour",
         .method = "addEnergyLogHourlyEntry",
         .help = "Adds or replaces the row of an hour.",
         .arguments = {{"HOUR", Argument::Text, "The hour, such as 2024-03-05T07, in local time."}, values},
         .build = hourEntry,
         .refusal = closed},
        {.group = "energy",
         .name = "add-hours",
         .method = "addEnergyLogHourlyEntries",
         .help = "Adds the rows of a file, all or none.",
         .arguments = {{"FILE", Argument::Text, "Lines of an hour and its values; - is standard input."}},
         .build = hourEntries,
         .refusal = closed},
        {.group = "energy",
         .name = "add-month",
         .method = "addEnergyLogMonthlyEntry",
         .help = "Adds or replaces the row of a month.",
         .arguments = {month, values},
         .build = monthEntry,
         .refusal = closed},
        {.group = "energy",
         .name = "summarize",
         .method = "summarizeEnergyLogMonth",
         .help = "Folds the hours of a month into its row.",
         .arguments = {month, {"RULE", Argument::Texts, "sum or average, one for each column."}},
         .build = summaryArguments,
         .refusal = "the energy log is not initialised"},
        {.group = "energy",
         .name = "hourly",
         .method = "getEnergyLogHourly",
         .help = "Prints the rows of a range of hours.",
         .arguments = {fromHour, toHour},
         .build = hourRange,
         .answer = Command::Entries},
        {.group = "energy",
         .name = "monthly",
         .method = "getEnergyLogMonthly",
         .help = "Prints the rows of a range of months.",
         .arguments = {fromMonth, toMonth},
         .build = monthRange,
         .answer = Command::Entries},
        {.group = "energy",
         .name = "export",
         .method = "exportEnergyLogToUsb",
         .help = "Writes a range of months to the stick, hours and months.",
         .arguments = {fromMonth,
                       toMonth,
                       {"--titles", Argument::Text, "Titles of the columns, with commas between."},
                       {"--decimals", Argument::Text, "Decimals of the columns, with commas between."}},
         .build = exportArguments,
         .finishedSignal = "energyLogExportCompleted",
         .refusal = "no stick"},
    };
}

bool hasPeriod(const Given& given)
{
    const bool begins = !single(given, "--from").empty();
    if (begins == single(given, "--to").empty())
    {
        throw BadArgument("--from and --to go together");
    }
    return begins;
}

QVariantList powerArguments(const Given& given)
{
    QVariantList list{QString::fromStdString(single(given, "--locale"))};
    return hasPeriod(given) ? list << secondsFrom(single(given, "--from")) << secondsFrom(single(given, "--to")) : list;
}

Command powerCommand(const std::string& name, const std::string& kind, const std::string& help)
{
    return {.group = "power",
            .name = name,
            .method = "PowerLogExport" + kind + "ToUsb",
            .periodMethod = "PowerLogExport" + kind + "ForPeriodToUsb",
            .help = help,
            .arguments = {Locale,
                          {"--from", Argument::Text,
                           "Begin of a period: 2024-03-05T07:30 in local time, or @ and seconds since 1970."},
                          {"--to", Argument::Text, "End of the period."}},
            .build = powerArguments,
            .finishedSignal = "PowerLogExportCompleted",
            .refusal = "an export is running, or the period ends before it begins"};
}

std::vector<Command> powerCommands()
{
    return {powerCommand("all", "", "Writes the hourly and the quarter-hourly power log to the stick."),
            powerCommand("hourly", "Hourly", "Writes the hourly power log to the stick."),
            powerCommand("quarterly", "Quarterly", "Writes the quarter-hourly power log to the stick.")};
}

std::vector<Command> settingsCommands()
{
    return {
        {.group = "settings",
         .name = "save",
         .method = "saveSettingsToUSB",
         .help = "Saves the controller's settings to the stick.",
         .arguments = {{.name = "TYPE",
                        .kind = Argument::Natural,
                        .help = "What to save, by the controller's own numbers.",
                        .preset = "0",
                        .optional = true}},
         .finishedSignal = "saveSettingsFinished",
         .refusal = "no stick"},
        {.group = "settings",
         .name = "restore",
         .method = "restoreSettingsFromUSB",
         .help = "Restores the settings from the stick.",
         .finishedSignal = "restoreSettingsFinished",
         .refusal = "no stick"},
        {.group = "settings",
         .name = "status",
         .method = "hasSettingsOnUSB",
         .help = "Tells whether the stick holds settings.",
         .answer = Command::State},
    };
}

std::vector<Command> exportCommands()
{
    const std::string stick = "no stick, or it can't be written";
    return {
        {.group = "export",
         .name = "modbus",
         .method = "saveModbusStateToUsb",
         .help = "Writes the table of all Modbus registers.",
         .refusal = stick},
        {.group = "export",
         .name = "modbus-default",
         .method = "saveModbusMostUsedToUsb",
         .help = "Writes the table of the registers of the default log.",
         .refusal = stick},
        {.group = "export",
         .name = "changes",
         .method = "saveChangeLogToUsb",
         .help = "Writes the parameter changes on record.",
         .arguments = {Folder},
         .refusal = stick},
        {.group = "export",
         .name = "alarms",
         .method = "saveAlarmLogToUsb",
         .help = "Writes the latest alarms.",
         .arguments = {{"COUNT", Argument::Number, "How many."}, Folder},
         .refusal = stick},
        {.group = "export",
         .name = "system-information",
         .method = "saveSysInfoToUsb",
         .help = "Collects the system information bundle.",
         .refusal = "the platform's script failed"},
        {.group = "export",
         .name = "system-logs",
         .method = "saveSysLogToUsb",
         .help = "Copies the system's logs.",
         .refusal = stick},
        {.group = "export",
         .name = "crash-dumps",
         .method = "saveCoreDumpsToUsb",
         .help = "Copies the crash dumps.",
         .refusal = stick},
        {.group = "export",
         .name = "folder",
         .method = "createUsbFolder",
         .help = "Makes a new folder on the stick and prints its path.",
         .arguments = {{"PREFIX", Argument::Text, "First part of its name."},
                       {.name = "FOLDER",
                        .kind = Argument::Text,
                        .help = "Where, relative to the root; made if missing.",
                        .optional = true}},
         .answer = Command::Text,
         .refusal = stick},
    };
}

std::vector<Command> monitorCommands()
{
    return {{.name = "monitor",
             .help = "Prints the daemon's signals as they come, until it is interrupted.",
             .answer = Command::Nothing}};
}

std::vector<Command> allCommands()
{
    qDBusRegisterMetaType<QList<QList<int>>>();
    std::vector<Command> list;
    for (const auto& group : {usbLogCommands, customCommands, snapshotCommands, energyCommands, powerCommands,
                              settingsCommands, exportCommands, monitorCommands})
    {
        const std::vector<Command> more = group();
        list.insert(list.end(), more.begin(), more.end());
    }
    return list;
}

} // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> list = allCommands();
    return list;
}

std::string busMethod(const Command& command, const Given& given)
{
    return !command.periodMethod.empty() && hasPeriod(given) ? command.periodMethod : command.method;
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
