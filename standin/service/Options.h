#pragma once

#include <QString>
#include <QStringList>

namespace platformd
{

/// What the command line asks for.
struct Options
{
    enum class Action
    {
        Run,
        Print, ///< `text` to standard output, then end well
        Refuse ///< `text` to standard error, then end with the code for a wrong command line
    };

    Action action = Action::Run;
    QString text;
    QString scenario; ///< file name
    QString media;    ///< folder whose mounts are drives; empty for none
};

/// `arguments` begin with the program's own name.
Options readOptions(const QStringList& arguments);

/// The scenario that ships with the program: in its data folder beside the installed program, or beside the program in
/// a build tree.
QString defaultScenario();

} // namespace platformd
