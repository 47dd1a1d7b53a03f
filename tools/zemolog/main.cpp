#include "CheckConfig.h"
#include "CommandLine.h"
#include "Convert.h"
#include "Files.h"
#include "LogReader.h"
#include "Plot.h"

#include <filesystem>
#include <fstream>
#include <iostream>

namespace
{

const char* const Description = "zemolog reads what the logging daemon of the controller wrote: binary logs, CSV logs, "
                                "energy and power exports. It "
                                "needs no daemon. A file of any size is read a row at a time.";

const std::vector<ExitCodeText> ExitCodes = {
    {ExitOk, "Done; what was checked is good."},
    {ExitUsage, "The command line makes no sense, or names a column that is not there."},
    {ExitData, "The log is damaged, or none, or the file of names has a mistake."},
    {ExitNoInput, "A file cannot be read."},
    {ExitSoftware, "The plot cannot be drawn."},
    {ExitCantCreate, "The output cannot be written."},
    {ExitConfig, "The configuration file has mistakes."},
};

struct Arguments
{
    std::string file;
    std::string names;
    std::string output;
    std::string format = "csv";
    PlotOptions plot;
};

Names namesOf(const Arguments& arguments)
{
    return arguments.names.empty() ? Names() : Names::read(arguments.names);
}

int reportDamage(const LogReader& log, const Summary& summary)
{
    if (!log.damage())
    {
        return ExitOk;
    }
    std::cerr << "zemolog: damaged at byte " << log.damage()->offset << ": " << log.damage()->reason << "; "
              << summary.rows << " rows before it are good\n";
    return ExitData;
}

int info(const Arguments& arguments)
{
    const auto log = openLog(arguments.file, namesOf(arguments));
    const Summary summary = summarize(*log);
    std::cout << "kind:    " << log->kind() << "\n";
    std::error_code unknown;
    if (const auto size = std::filesystem::file_size(arguments.file, unknown); !unknown) // a pipe has none
    {
        std::cout << "size:    " << size << " bytes\n";
    }
    std::cout << "rows:    " << summary.rows << "\n";
    if (summary.rows > 0)
    {
        std::cout << "first:   " << summary.firstTime << "\nlast:    " << summary.lastTime << "\n";
    }
    std::cout << "columns: " << log->columns().size() << "\n";
    for (const std::string& title : log->columns())
    {
        std::cout << "  " << title << "\n";
    }
    return reportDamage(*log, summary);
}

int check(const Arguments& arguments)
{
    const auto log = openLog(arguments.file, Names());
    const Summary summary = summarize(*log);
    if (!log->damage())
    {
        std::cout << arguments.file << ": " << log->kind() << ", " << summary.rows << " rows, good\n";
    }
    return reportDamage(*log, summary);
}

int convertTo(LogReader& log, const Arguments& arguments, std::ostream& out)
{
    const Summary summary = arguments.format == "csv" ? writeCsv(log, out) : writeJsonLines(log, out);
    out.flush();
    if (!out)
    {
        throw cannotWrite(arguments.output.empty() ? "standard output" : arguments.output);
    }
    return reportDamage(log, summary);
}

// The output is emptied when it is opened, and a log is read while it is written.
void refuseOwnInput(const Arguments& arguments)
{
    for (const std::string& input : {arguments.file, arguments.names})
    {
        std::error_code isNew;
        if (std::filesystem::equivalent(input, arguments.output, isNew))
        {
            throw Failure(ExitCantCreate, arguments.output + " is the same file as " + input + ", which is read");
        }
    }
}

int convert(const Arguments& arguments)
{
    const auto log = openLog(arguments.file, namesOf(arguments));
    if (arguments.output.empty())
    {
        return convertTo(*log, arguments, std::cout);
    }
    refuseOwnInput(arguments);
    std::ofstream out(arguments.output, std::ios::binary);
    if (!out)
    {
        throw cannotWrite(arguments.output);
    }
    return convertTo(*log, arguments, out);
}

int plotFile(const Arguments& arguments)
{
    const auto log = openLog(arguments.file, namesOf(arguments));
    refuseOwnInput(arguments);
    PlotOptions options = arguments.plot;
    options.output = arguments.output;
    return reportDamage(*log, plot(*log, options));
}

int checkConfigFile(const Arguments& arguments)
{
    return checkConfig(arguments.file, std::cout) ? ExitOk : ExitConfig;
}

CLI::App* addCommand(CLI::App& app, const char* name, const char* help, Arguments& arguments, const char* file)
{
    CLI::App* command = app.add_subcommand(name, help);
    command->add_option("FILE", arguments.file, file)->required()->type_name("TEXT");
    return command;
}

void addNames(CLI::App* command, Arguments& arguments)
{
    command->add_option("--names", arguments.names, "File with names for a binary log: lines of an id, a tab, a name.");
}

// What is wrong with the name of a picture; nothing when it is right.
std::string pictureMistake(const std::string& path)
{
    const std::filesystem::path suffix = std::filesystem::path(path).extension();
    return suffix == ".png" || suffix == ".svg" ? "" : path + " ends neither in .png nor in .svg";
}

int guarded(int (*work)(const Arguments&), const Arguments& arguments)
{
    try
    {
        return work(arguments);
    }
    catch (const Failure& failure)
    {
        std::cerr << "zemolog: " << failure.what() << "\n";
        return failure.code;
    }
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("reader of the controller's logs", "zemolog");
    app.set_version_flag("--version", ZEMO_VERSION);
    app.require_subcommand(1);
    Arguments arguments;
    const char* const log = "The log.";

    CLI::App* infoCommand = addCommand(app, "info", "Tells what a log holds.", arguments, log);
    addNames(infoCommand, arguments);
    CLI::App* checkCommand =
        addCommand(app, "check", "Tells whether a log is whole, and where it is not.", arguments, log);
    CLI::App* convertCommand = addCommand(app, "convert", "Writes a log as CSV or as JSON lines.", arguments, log);
    convertCommand->add_option("--to", arguments.format, "csv or jsonl.")
        ->check(CLI::IsMember({"csv", "jsonl"}))
        ->default_str("csv");
    convertCommand->add_option("-o,--output", arguments.output, "Where to write; standard output when left out.");
    addNames(convertCommand, arguments);
    CLI::App* plotCommand = addCommand(app, "plot", "Draws a log over time.", arguments, log);
    plotCommand->add_option("-o,--output", arguments.output, "The picture, ending in .png or .svg.")
        ->required()
        ->check(pictureMistake);
    plotCommand->add_option("--column", arguments.plot.patterns,
                            "Title of a column, or a shell pattern such as 'Pump*'; all when left out.");
    plotCommand->add_option("--width", arguments.plot.width, "Width in pixels.")
        ->check(CLI::PositiveNumber)
        ->default_str("1200");
    plotCommand->add_option("--height", arguments.plot.height, "Height in pixels.")
        ->check(CLI::PositiveNumber)
        ->default_str("700");
    addNames(plotCommand, arguments);
    CLI::App* configCommand = addCommand(app, "check-config", "Tells what the daemon makes of a configuration file.",
                                         arguments, "The configuration file.");
    addGenerators(app, Description, ExitCodes);

    if (const int code = parseCommandLine(app, argc, argv); code >= 0)
    {
        return code;
    }
    const std::pair<CLI::App*, int (*)(const Arguments&)> works[] = {{infoCommand, info},
                                                                     {checkCommand, check},
                                                                     {convertCommand, convert},
                                                                     {plotCommand, plotFile},
                                                                     {configCommand, checkConfigFile}};
    for (const auto& [command, work] : works)
    {
        if (command->parsed())
        {
            return guarded(work, arguments);
        }
    }
    return ExitUsage;
}
