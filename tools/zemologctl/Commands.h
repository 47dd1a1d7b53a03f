#pragma once

#include "Values.h"

#include <functional>

/// One argument of a command. Options have a name that begins with "--".
struct Argument
{
    enum Kind
    {
        Text,
        Number,  ///< int32 on the bus
        Natural, ///< uint32 on the bus
        Flag,
        Numbers, ///< the rest of the line, an array of int32
        Texts    ///< the rest of the line, read by the command's own builder
    };

    std::string name;
    Kind kind;
    std::string help;
    std::string preset{}; ///< what it is when left out
    /// A positional argument may be left out.
    bool optional = false;
};

/// One sub-command: one method of the bus.
struct Command
{
    /// What an answer means: decides text and exit code.
    enum Answer
    {
        Done,    ///< bool, false is a failure
        State,   ///< bool, both are answers
        Text,    ///< a string, empty is a failure
        Texts,   ///< a list of strings
        Id,      ///< a number
        Entries, ///< rows of the energy log
        Nothing  ///< no call: the command listens
    };

    std::string group{}; ///< none for a command of its own
    std::string name;
    std::string method{};
    /// Called in place of `method` when --from and --to are given.
    std::string periodMethod{};
    std::string help;
    std::vector<Argument> arguments{};
    /// Makes the bus arguments; when not set they are the command's arguments in their order.
    std::function<QVariantList(const Given&)> build{};
    Answer answer = Done;
    /// The signal that tells of the end of what the call began; empty when the answer does.
    std::string finishedSignal{};
    /// What a refusal can mean, for people.
    std::string refusal{};
};

/// All commands, in the order of the manual.
const std::vector<Command>& commands();

/// The method and the arguments for what was given. Both throw BadArgument.
std::string busMethod(const Command& command, const Given& given);
QVariantList busArguments(const Command& command, const Given& given);
