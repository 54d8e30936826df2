#pragma once

#include <QString>
#include <QStringList>

namespace Shell {

// What the command line of varnook-settings asks for:
//
//   varnook-settings [-h|--help] [-v|--version] [--render-pages DIR [--palette dark]] [--] [CONFIG]
//
// CONFIG is taken exactly as written (no "~" expansion; relative to the working directory);
// without it the window edits ~/.zandrel/bot-config.json. "--" ends the options, so a file whose
// name begins with "-" can still be given.
struct CommandLine {
    enum class Action {
        OpenWindow,  // the normal start
        RenderPages, // draw every page into renderFolder and exit
        ShowHelp,
        ShowVersion,
        Refuse, // a mistyped option, a missing value, a second file: `error` says which
    };

    Action action = Action::OpenWindow;
    // The configuration file as given, or empty for the default one.
    QString configPath;
    bool hasConfigPath = false;
    QString renderFolder;
    bool darkPalette = false;
    QString error;

    // The program name followed by the configuration file when one was given: the arguments
    // the launch sequence chooses its path from.
    QStringList launchArguments(const QString &program) const;
};

// Whether the arguments may still hold Qt's own options (-platform NAME, -style NAME, …).
// Before the QApplication exists they do, and are skipped; QApplication removes the ones it
// knows from the arguments it keeps, so afterwards anything unknown is a mistake.
enum class QtOptions { Skipped, AlreadyRemoved };

CommandLine parseCommandLine(const QStringList &arguments, QtOptions qtOptions);

// "varnook-settings 0.1.0".
QString versionText();
// The usage text of -h/--help: every option, the argument and its default.
QString helpText();

// Prints what a command line that opens no window asks for: the help or the version on
// standard output (status 0), or one line with the problem and where to find the usage on
// standard error (status 2).
int answer(const CommandLine &commandLine);

// The arguments of main() as Qt would read them.
QStringList argumentsOf(int argc, char **argv);

} // namespace Shell
