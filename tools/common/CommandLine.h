#pragma once

#include "ExitCode.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

// Everything that is said about a command line outside the program is made from the same tree of commands that parses
// it: completion and man page can't disagree with it.

/// One line of the exit code table of a man page.
struct ExitCodeText
{
    int code;
    std::string meaning;
};

/// Adds the hidden option --generate bash|zsh|man; when it is given, what it asks for is printed and the program ends.
/// Call it last, when the tree is complete.
void addGenerators(CLI::App& app, const std::string& description, const std::vector<ExitCodeText>& exitCodes);

std::string bashCompletion(const CLI::App& app);
std::string zshCompletion(const CLI::App& app);
/// In the man macros, section 1.
std::string manPage(const CLI::App& app, const std::string& description, const std::vector<ExitCodeText>& exitCodes);

/// Parses; on --help, --version or a mistake prints what is due and gives the exit code to end with, or -1 to go on.
/// A mistake goes to `refuse` alone where there is one.
int parseCommandLine(CLI::App& app, int argc, char** argv,
                     const std::function<void(const std::string& mistake)>& refuse = {});
