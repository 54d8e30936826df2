#include "ui/commandline.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QTextStream>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace Shell {

namespace {

const QString program = u"varnook-settings"_s;
const QString helpName = u"help"_s;
const QString versionName = u"version"_s;
const QString renderName = u"render-pages"_s;
const QString paletteName = u"palette"_s;

// The options QGuiApplication, QApplication and the X11 platform plugin take from the command
// line (Qt's "Command-line options" of QGuiApplication and QApplication). They are read before
// the QApplication exists only to be stepped over; Qt acts on them itself.
QList<QCommandLineOption> qtOwnOptions()
{
    QList<QCommandLineOption> options;
    for (const char *name :
         {"platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry",
          "qwindowicon", "qwindowtitle", "session", "style", "stylesheet", "display", "geometry",
          "title", "icon", "name", "visual", "qmljsdebugger"}) {
        QCommandLineOption option(QString::fromLatin1(name), QString(), u"value"_s);
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        options.append(option);
    }
    for (const char *name : {"reverse", "widgetcount", "testability", "nograb", "dograb", "sync"}) {
        QCommandLineOption option(QString::fromLatin1(name));
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        options.append(option);
    }
    return options;
}

CommandLine refuse(const QString &error)
{
    CommandLine result;
    result.action = CommandLine::Action::Refuse;
    result.error = error;
    return result;
}

} // namespace

QStringList CommandLine::launchArguments(const QString &programName) const
{
    QStringList arguments{programName};
    if (hasConfigPath)
        arguments.append(configPath);
    return arguments;
}

CommandLine parseCommandLine(const QStringList &arguments, QtOptions qtOptions)
{
    QCommandLineParser parser;
    // Qt's own options are single-dash words ("-platform"); read that way "-h" and "-v" are
    // still the one-letter options.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOption(QCommandLineOption(QStringList{u"h"_s, helpName}));
    parser.addOption(QCommandLineOption(QStringList{u"v"_s, versionName}));
    parser.addOption(QCommandLineOption(renderName, QString(), u"folder"_s));
    parser.addOption(QCommandLineOption(paletteName, QString(), u"name"_s));
    if (qtOptions == QtOptions::Skipped)
        parser.addOptions(qtOwnOptions());

    // Nothing on the command line but the program: the normal start.
    if (!parser.parse(arguments.isEmpty() ? QStringList{program} : arguments))
        return refuse(parser.errorText());
    if (parser.isSet(helpName)) {
        CommandLine result;
        result.action = CommandLine::Action::ShowHelp;
        return result;
    }
    if (parser.isSet(versionName)) {
        CommandLine result;
        result.action = CommandLine::Action::ShowVersion;
        return result;
    }

    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1) {
        return refuse(u"One configuration file at most; \""_s + positional.at(1)
                      + u"\" is one too many."_s);
    }
    CommandLine result;
    if (!positional.isEmpty()) {
        result.configPath = positional.constFirst();
        result.hasConfigPath = true;
    }
    if (parser.isSet(paletteName)) {
        const QString palette = parser.value(paletteName);
        if (palette != u"dark"_s && palette != u"light"_s)
            return refuse(u"Unknown palette '"_s + palette + u"': dark or light."_s);
        if (!parser.isSet(renderName))
            return refuse(u"--palette goes with --render-pages."_s);
        result.darkPalette = palette == u"dark"_s;
    }
    if (parser.isSet(renderName)) {
        result.action = CommandLine::Action::RenderPages;
        result.renderFolder = parser.value(renderName);
    }
    return result;
}

QString versionText()
{
    return program + u' ' + QStringLiteral(VARNOOK_VERSION);
}

QString helpText()
{
    return u"Usage: varnook-settings [OPTIONS] [--] [CONFIG]\n"
           "\n"
           "The settings window of the Varnook AI Telegram bot service. Every edit is saved to\n"
           "the configuration file at once and announced to the service.\n"
           "\n"
           "Arguments:\n"
           "  CONFIG                 The configuration file to edit, taken exactly as written\n"
           "                         (relative to the working directory; \"~\" is not expanded).\n"
           "                         Default: ~/.zandrel/bot-config.json. A file that does not\n"
           "                         exist yet is created by the first edit.\n"
           "\n"
           "Options:\n"
           "  -h, --help             Show this help and exit.\n"
           "  -v, --version          Show the version and exit.\n"
           "  --render-pages FOLDER  Draw the window once per page into PNG files in FOLDER\n"
           "                         instead of opening it (no display, bus or network needed).\n"
           "  --palette dark|light   With --render-pages: the palette to draw in.\n"
           "  --                     End of the options: what follows is CONFIG, even when it\n"
           "                         begins with \"-\".\n"
           "\n"
           "Qt's own options (-platform NAME, -style NAME, -reverse, ...) are accepted too.\n"
           "A second launch for the same file brings the running window back and exits.\n"
           "Exit status: 0 done, 1 the pages could not be drawn, 2 the command line was refused\n"
           "(nothing opened, nothing written).\n"_s;
}

int answer(const CommandLine &commandLine)
{
    switch (commandLine.action) {
    case CommandLine::Action::ShowHelp: QTextStream(stdout) << helpText(); return 0;
    case CommandLine::Action::ShowVersion: QTextStream(stdout) << versionText() << '\n'; return 0;
    case CommandLine::Action::Refuse:
        QTextStream(stderr) << program << u": "_s << commandLine.error << u" See "_s << program
                            << u" --help."_s << '\n';
        return 2;
    case CommandLine::Action::OpenWindow:
    case CommandLine::Action::RenderPages: break;
    }
    return 0;
}

QStringList argumentsOf(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    return arguments;
}

} // namespace Shell
