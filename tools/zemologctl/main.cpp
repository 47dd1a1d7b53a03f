#include "Client.h"
#include "CommandLine.h"
#include "Commands.h"
#include "Output.h"

#include <QCoreApplication>

#include <algorithm>
#include <deque>
#include <string_view>

namespace
{

const char* const Description = "zemologctl asks the logging daemon of the controller over the system bus. Every "
                                "method of the daemon is a command. "
                                "Without a wait, a command of a long job ends when the daemon has taken the job on.";

const std::vector<ExitCodeText> ExitCodes = {
    {ExitOk, "Done, or the answer is yes."},
    {ExitNo, "The daemon answers no, or a job that was waited for failed."},
    {ExitUsage, "The command line makes no sense."},
    {ExitUnavailable, "No bus, or the daemon is not on it."},
    {ExitSoftware, "The daemon or the bus answered with an error."},
    {ExitTimeout, "No answer, or no end of the job, in time."},
};

// Where the parser puts what belongs to one command.
struct Slot
{
    const Command* command;
    CLI::App* app;
    std::map<std::string, std::string> single{};
    std::map<std::string, std::vector<std::string>> many{};
    std::map<std::string, bool> flags{};

    Given given() const
    {
        Given result = many;
        for (const auto& [name, value] : single)
        {
            result[name] = {value};
        }
        for (const auto& [name, isSet] : flags)
        {
            result[name] = {isSet ? "true" : "false"};
        }
        return result;
    }
};

CLI::Option* addValue(Slot& slot, const Argument& argument)
{
    if (argument.kind == Argument::Numbers || argument.kind == Argument::Texts)
    {
        return slot.app->add_option(argument.name, slot.many[argument.name], argument.help);
    }
    CLI::Option* option = slot.app->add_option(argument.name, slot.single[argument.name], argument.help);
    return option->type_name(argument.kind == Argument::Text ? "TEXT" : "NUMBER");
}

void addArgument(Slot& slot, const Argument& argument)
{
    if (argument.kind == Argument::Flag)
    {
        slot.app->add_flag(argument.name, slot.flags[argument.name], argument.help);
        return;
    }
    CLI::Option* option = addValue(slot, argument);
    option->required(argument.name.front() != '-' && !argument.optional);
    if (!argument.preset.empty())
    {
        slot.single[argument.name] = argument.preset;
        option->default_str(argument.preset);
    }
}

CLI::App* groupOf(CLI::App& app, const std::string& name)
{
    static const std::map<std::string, std::string> titles = {
        {"usb-log", "The main log on the stick"},
        {"custom", "Logs of the client's own choice on the stick"},
        {"snapshot", "Saves of the history in memory"},
        {"energy", "The energy log"},
        {"power", "The power log"},
        {"settings", "The controller's settings"},
        {"export", "Diagnostic material"}};
    if (name.empty())
    {
        return &app;
    }
    for (CLI::App* group : app.get_subcommands(std::function<bool(CLI::App*)>()))
    {
        if (group->get_name() == name)
        {
            return group;
        }
    }
    return app.add_subcommand(name, titles.at(name))->require_subcommand(1);
}

void addCommands(CLI::App& app, std::deque<Slot>& slots_)
{
    for (const Command& command : commands())
    {
        Slot& slot = slots_.emplace_back(
            Slot{&command, groupOf(app, command.group)->add_subcommand(command.name, command.help)});
        for (const Argument& argument : command.arguments)
        {
            addArgument(slot, argument);
        }
    }
}

// Looks for --json itself, as the parser may have given up on its way there. The parser's own text is for people.
std::function<void(const std::string&)> refusal(int argc, char** argv)
{
    if (std::find(argv, argv + argc, std::string_view("--json")) == argv + argc)
    {
        return {};
    }
    return [](const std::string& mistake) { Output(true).error(ExitUsage, "Usage", mistake); };
}

int runCommand(const Slot& slot, bool json, const Client::Options& options)
{
    const Output output(json);
    Client client(output, options);
    try
    {
        return client.run(*slot.command, slot.given());
    }
    catch (const BadArgument& error)
    {
        return output.error(ExitUsage, "BadArgument", error.what());
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    CLI::App app("client of the controller's logging daemon", "zemologctl");
    bool json = false;
    Client::Options options;
    int timeout = 600;
    app.add_flag("--json", json, "Print exactly one JSON value, errors included (monitor: one a line).");
    app.add_flag("--wait", options.wait, "Wait for the end of a long job, with progress on a terminal.");
    app.add_option("--timeout", timeout, "Seconds to wait for an answer and for the end of a job.")
        ->check(CLI::Range(1, 86400))
        ->default_str("600");
    app.set_version_flag("--version", ZEMO_VERSION);
    app.fallthrough();
    app.require_subcommand(1);
    std::deque<Slot> slots_;
    addCommands(app, slots_);
    addGenerators(app, Description, ExitCodes);
    if (const int code = parseCommandLine(app, argc, argv, refusal(argc, argv)); code >= 0)
    {
        return code;
    }
    options.timeoutMs = timeout * 1000;
    const auto chosen = std::find_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.app->parsed(); });
    return runCommand(*chosen, json, options);
}
