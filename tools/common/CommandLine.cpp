#include "CommandLine.h"

#include <iostream>
#include <sstream>

namespace
{

// Names of every option of one command that a person may type.
std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
    {
        if (option->get_group().empty())
        {
            continue; // hidden
        }
        for (const std::string& name : option->get_lnames())
        {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app)
{
    return app.get_subcommands(std::function<bool(const CLI::App*)>());
}

// Calls `visit` for the command and all below it with the words that lead there.
void walk(const CLI::App& app, const std::string& words, const std::function<void(const CLI::App&, std::string)>& visit)
{
    visit(app, words);
    for (const CLI::App* command : subcommandsOf(app))
    {
        walk(*command, words.empty() ? command->get_name() : words + " " + command->get_name(), visit);
    }
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
    {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string wordsAfter(const CLI::App& app)
{
    std::vector<std::string> words;
    for (const CLI::App* command : subcommandsOf(app))
    {
        words.push_back(command->get_name());
    }
    for (const std::string& name : optionNames(app))
    {
        words.push_back(name);
    }
    return joined(words);
}

std::string identifier(const std::string& name)
{
    std::string result = "_";
    for (char letter : name)
    {
        result += isalnum(static_cast<unsigned char>(letter)) ? letter : '_';
    }
    return result;
}

// Text as troff takes it.
std::string escaped(const std::string& text)
{
    std::string result;
    for (char letter : text)
    {
        if (letter == '\\' || letter == '-')
        {
            result += '\\';
        }
        result += letter;
    }
    return !result.empty() && (result[0] == '.' || result[0] == '\'') ? "\\&" + result : result;
}

std::string optionTitle(const CLI::Option& option)
{
    if (option.nonpositional())
    {
        const std::string name = option.get_name(false, true);
        return option.get_type_size() == 0 ? name : name + " " + option.get_type_name();
    }
    return option.get_name(true);
}

void writeOptions(std::ostream& out, const CLI::App& app)
{
    for (const CLI::Option* option : app.get_options())
    {
        const bool repeated = app.get_parent() && option == app.get_help_ptr();
        if (!option->get_group().empty() && !repeated)
        {
            out << ".TP\n.B " << escaped(optionTitle(*option)) << "\n" << escaped(option->get_description());
            if (!option->get_default_str().empty())
            {
                out << " Default: " << escaped(option->get_default_str()) << ".";
            }
            out << "\n";
        }
    }
}

std::string usageOf(const CLI::App& command, const std::string& words)
{
    std::string usage = words;
    for (const CLI::Option* option : command.get_options())
    {
        if (option->nonpositional() || option->get_group().empty())
        {
            continue;
        }
        const std::string name = option->get_name(true) + (option->get_items_expected_max() > 1 ? "..." : "");
        usage += option->get_required() ? " " + name : " [" + name + "]";
    }
    return usage;
}

std::string completionFunction(const CLI::App& app, const std::string& collect)
{
    std::ostringstream out;
    out << "    local words=\"\" word\n" << collect << "    case \"$words\" in\n";
    walk(app, "",
         [&](const CLI::App& command, const std::string& words)
         { out << "        \"" << words << "\") reply=\"" << wordsAfter(command) << "\" ;;\n"; });
    out << "        *) reply=\"\" ;;\n    esac\n";
    return out.str();
}

} // namespace

std::string bashCompletion(const CLI::App& app)
{
    const std::string function = identifier(app.get_name());
    std::ostringstream out;
    out << "# Completion for " << app.get_name() << ".\n" << function << "()\n{\n    local reply=\"\"\n";
    out << completionFunction(app, "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
                                   "        [[ $word == -* ]] || words+=\"${words:+ }$word\"\n"
                                   "    done\n");
    out << "    COMPREPLY=($(compgen -W \"$reply\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n"
        << "    [ -n \"$reply\" ] || compopt -o default\n}\n"
        << "complete -F " << function << " " << app.get_name() << "\n";
    return out.str();
}

std::string zshCompletion(const CLI::App& app)
{
    const std::string function = identifier(app.get_name());
    std::ostringstream out;
    out << "#compdef " << app.get_name() << "\n"
        << function << "()\n{\n    local reply=\"\" cur=\"${words[CURRENT]}\"\n"
        << "    local -a typed=(\"${words[@]:1:CURRENT-2}\")\n";
    out << completionFunction(app, "    for word in \"${typed[@]}\"; do\n"
                                   "        [[ $word == -* ]] || words+=\"${words:+ }$word\"\n"
                                   "    done\n");
    out << "    if [ -n \"$reply\" ]; then\n        compadd -- ${=reply}\n    else\n        _files\n    fi\n}\n"
        << function << " \"$@\"\n";
    return out.str();
}

std::string manPage(const CLI::App& app, const std::string& description, const std::vector<ExitCodeText>& exitCodes)
{
    std::ostringstream out;
    std::string title = app.get_name();
    for (char& letter : title)
    {
        letter = static_cast<char>(toupper(static_cast<unsigned char>(letter)));
    }
    out << ".TH " << title << " 1\n.SH NAME\n"
        << escaped(app.get_name()) << " \\- " << escaped(app.get_description()) << "\n.SH SYNOPSIS\n.B "
        << escaped(app.get_name()) << "\n[\\fIoptions\\fR] \\fIcommand\\fR ...\n"
        << ".SH DESCRIPTION\n"
        << escaped(description) << "\n.SH OPTIONS\n";
    writeOptions(out, app);
    out << ".SH COMMANDS\n";
    walk(app, "",
         [&](const CLI::App& command, const std::string& words)
         {
             if (!words.empty() && subcommandsOf(command).empty())
             {
                 out << ".SS " << escaped(usageOf(command, words)) << "\n"
                     << escaped(command.get_description()) << "\n";
                 writeOptions(out, command);
             }
         });
    out << ".SH EXIT STATUS\n";
    for (const ExitCodeText& line : exitCodes)
    {
        out << ".TP\n.B " << line.code << "\n" << escaped(line.meaning) << "\n";
    }
    return out.str();
}

void addGenerators(CLI::App& app, const std::string& description, const std::vector<ExitCodeText>& exitCodes)
{
    const auto generate = [&app, description, exitCodes](const std::string& what)
    {
        if (what == "bash")
        {
            std::cout << bashCompletion(app);
        }
        else if (what == "zsh")
        {
            std::cout << zshCompletion(app);
        }
        else
        {
            std::cout << manPage(app, description, exitCodes);
        }
        throw CLI::Success();
    };
    app.add_option_function<std::string>("--generate", generate)
        ->check(CLI::IsMember({"bash", "zsh", "man"}))
        ->trigger_on_parse()
        ->group("");
}

int parseCommandLine(CLI::App& app, int argc, char** argv, const std::function<void(const std::string&)>& refuse)
{
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        const bool isMistake = error.get_exit_code() != 0;
        if (isMistake && refuse)
        {
            refuse(error.what());
        }
        else
        {
            app.exit(error);
        }
        return isMistake ? ExitUsage : ExitOk;
    }
    return -1;
}
