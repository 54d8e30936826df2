#include "ctl/cli.h"

#include "ctl/command.h"

#include "config/configfile.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString configOptionName = u"config"_s;
const QString jsonOptionName = u"json"_s;

QList<QCommandLineOption> globalOptions()
{
    return {
        QCommandLineOption({u"c"_s, configOptionName},
                           u"The configuration file (default ~/.zandrel/bot-config.json)."_s,
                           u"path"_s),
        QCommandLineOption({u"h"_s, u"help"_s}, u"Show help for the command."_s),
    };
}

// Only without a command: "varnookctl -v" and "varnookctl --version".
QCommandLineOption versionOption()
{
    return QCommandLineOption(QStringList{u"v"_s, u"version"_s}, u"Show the version."_s);
}

QCommandLineOption jsonOption()
{
    return QCommandLineOption(jsonOptionName, u"Print the result as JSON, for scripts."_s);
}

const QList<Command> &commands()
{
    static const QList<Command> all = [] {
        QList<Command> list;
        list += configCommands();
        list += backupCommands();
        list += serviceCommands();
        list += skillCommands();
        list += fileCommands();
        list += providerCommands();
        return list;
    }();
    return all;
}

QString usageOf(const Command &command)
{
    QStringList parts = command.words;
    for (const CommandArgument &argument : command.arguments)
        parts.append(argument.optional ? u"["_s + argument.name + u"]"_s : argument.name);
    return parts.join(u' ');
}

// Whether `words` begin longer commands: "bot" begins "bot list", "bot backup" begins
// "bot backup add".
bool isGroup(const QStringList &words)
{
    return std::any_of(commands().begin(), commands().end(), [&](const Command &c) {
        return c.words.size() > words.size() && c.words.mid(0, words.size()) == words;
    });
}

const Command *findCommand(const QStringList &words)
{
    for (const Command &command : commands()) {
        if (command.words == words)
            return &command;
    }
    return nullptr;
}

// A command line argument that begins with "-" and a digit is a negative number, never an
// option of ours, so that "set allowed_ids -1002718305964" works without "--". Such arguments
// are swapped for place-holders before parsing and put back afterwards.
class NegativeNumbers final {
public:
    QStringList escape(const QStringList &arguments)
    {
        static const QRegularExpression negative(u"^-[0-9]"_s);
        QStringList result;
        bool afterDoubleDash = false;
        for (const QString &argument : arguments) {
            if (!afterDoubleDash && argument == "--"_L1)
                afterDoubleDash = true;
            if (!afterDoubleDash && negative.match(argument).hasMatch()) {
                const QString holder = u"\x1fnegative-"_s + QString::number(m_values.size());
                m_values.insert(holder, argument);
                result.append(holder);
            } else {
                result.append(argument);
            }
        }
        return result;
    }
    QString unescape(const QString &text) const { return m_values.value(text, text); }

private:
    QHash<QString, QString> m_values;
};

// The command words of a command line: the first argument that is not an option, and for a
// group the one after it. Option values are skipped, so "--config x get" finds "get".
QStringList commandWords(const QStringList &arguments)
{
    QSet<QString> takeValues{u"-c"_s, u"--config"_s};
    for (const Command &command : commands()) {
        for (const QCommandLineOption &option : command.options) {
            if (option.valueName().isEmpty())
                continue;
            for (const QString &name : option.names())
                takeValues.insert((name.size() == 1 ? u"-"_s : u"--"_s) + name);
        }
    }
    QStringList words;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == "--"_L1) {
            if (i + 1 < arguments.size() && words.isEmpty())
                words.append(arguments.at(i + 1));
            break;
        }
        if (argument.startsWith(u'-') && argument.size() > 1) {
            if (takeValues.contains(argument))
                ++i;
            continue;
        }
        words.append(argument);
        if (!isGroup(words))
            break;
    }
    return words;
}

QString generalHelp()
{
    QString text = u"Usage: varnookctl [--config PATH] COMMAND [ARGUMENTS] [OPTIONS]\n\n"
                   "The Varnook AI settings from a terminal. Works on the same configuration "
                   "file as the settings window, with the same rules, and tells a running "
                   "window and the bot service about every change.\n\n"
                   "Commands:\n"_s;
    qsizetype width = 0;
    for (const Command &command : commands())
        width = std::max(width, usageOf(command).size());
    for (const Command &command : commands())
        text += u"  "_s + usageOf(command).leftJustified(width + 2) + command.summary + u'\n';
    text += u"\nOptions for every command:\n"
            "  -c, --config <path>  The configuration file (default "
            "~/.zandrel/bot-config.json).\n"
            "  --json               Print the result as JSON (reading commands).\n"
            "  -h, --help           Show help for a command: varnookctl bot set --help.\n"
            "  -v, --version        Show the version.\n\n"
            "Bots and backup models are numbered from 1, as the window labels them.\n"
            "Exit codes: 0 done, 1 did not work out (service, network, write), "
            "2 refused (bad input; nothing was written).\n"_s;
    return text;
}

QList<const Command *> commandsUnder(const QStringList &group)
{
    QList<const Command *> list;
    for (const Command &command : commands()) {
        if (command.words.size() > group.size() && command.words.mid(0, group.size()) == group)
            list.append(&command);
    }
    return list;
}

QString groupHelp(const QStringList &group)
{
    const QString name = group.join(u' ');
    QString text = u"Usage: varnookctl "_s + name
                   + u" SUBCOMMAND [ARGUMENTS] [OPTIONS]\n\n"
                     "Subcommands:\n"_s;
    qsizetype width = 0;
    for (const Command *command : commandsUnder(group))
        width = std::max(width, usageOf(*command).size());
    for (const Command *command : commandsUnder(group))
        text += u"  "_s + usageOf(*command).leftJustified(width + 2) + command->summary + u'\n';
    text += u"\nvarnookctl "_s + name + u" SUBCOMMAND --help shows the details.\n"_s;
    return text;
}

void setUpParser(QCommandLineParser &parser, const Command &command)
{
    parser.setApplicationDescription(command.details.isEmpty()
                                         ? command.summary
                                         : command.summary + u"\n\n"_s + command.details);
    parser.addOptions(globalOptions());
    if (command.json)
        parser.addOption(jsonOption());
    parser.addOptions(command.options);
    const QString words = command.words.join(u' ');
    parser.addPositionalArgument(words, u"The command."_s, words);
    for (const CommandArgument &argument : command.arguments) {
        parser.addPositionalArgument(argument.name, argument.description,
                                     argument.optional ? u"["_s + argument.name + u"]"_s
                                                       : argument.name);
    }
}

int runCommand(const Command &command, const QStringList &arguments, NegativeNumbers &negatives)
{
    Output out;
    QCommandLineParser parser;
    setUpParser(parser, command);
    if (!parser.parse(arguments))
        return out.fail(ExitCode::badInput, parser.errorText() + u" See varnookctl "_s
                                                + command.words.join(u' ') + u" --help."_s);
    if (parser.isSet(u"help"_s)) {
        // Qt names the program by the path it was started with.
        QString help = parser.helpText();
        const QString usage = u"Usage: "_s + QCoreApplication::arguments().value(0);
        if (help.startsWith(usage))
            help.replace(0, usage.size(), u"Usage: varnookctl"_s);
        out.print(help);
        return ExitCode::ok;
    }

    QStringList positional;
    for (const QString &argument : parser.positionalArguments())
        positional.append(negatives.unescape(argument));
    positional = positional.mid(command.words.size());
    const qsizetype required = std::count_if(command.arguments.begin(), command.arguments.end(),
                                             [](const CommandArgument &a) { return !a.optional; });
    if (positional.size() < required || positional.size() > command.arguments.size()) {
        const QString problem = positional.size() < required
                                    ? u"missing "_s + command.arguments.at(positional.size()).name
                                    : u"too many arguments"_s;
        return out.fail(ExitCode::badInput, problem + u"; usage: varnookctl "_s + usageOf(command));
    }

    out.setJson(command.json && parser.isSet(jsonOptionName));
    const QString configPath = parser.isSet(configOptionName)
                                   ? negatives.unescape(parser.value(configOptionName))
                                   : Session::defaultConfigPath();
    if (configPath.isEmpty())
        return out.fail(ExitCode::badInput, u"--config needs a file path"_s);

    // A command that writes holds the configuration's lock from before it reads the file until
    // after its save, so that no other writer that takes the lock comes in between. When the
    // lock cannot be had (a missing folder), the command goes on and its save says why.
    std::optional<ConfigFile::Lock> lock;
    const QFileInfo place(configPath);
    if (command.access == Command::Access::Writes && (!place.exists() || place.isFile()))
        lock.emplace(configPath);
    Session session(configPath, out);
    const std::optional<QString> problem
        = command.access == Command::Access::None ? session.pathProblem() : session.configProblem();
    if (problem)
        return out.fail(ExitCode::badInput, Output::plain(*problem));
    CommandContext context(session, positional, parser,
                           [&negatives](const QString &text) { return negatives.unescape(text); });
    const int code = command.run(context);
    session.finish();
    return code;
}

} // namespace

int runVarnookCtl(const QStringList &original)
{
    Output out;
    NegativeNumbers negatives;
    const QStringList arguments = negatives.escape(original);
    const QStringList words = commandWords(arguments);
    const bool wantsHelp = arguments.contains(u"--help"_s) || arguments.contains(u"-h"_s);

    if (words.isEmpty()) {
        // No command: only the options of the program itself mean anything here.
        QCommandLineParser parser;
        parser.addOptions(globalOptions());
        parser.addOption(jsonOption());
        parser.addOption(versionOption());
        if (!parser.parse(arguments))
            return out.fail(ExitCode::badInput, parser.errorText() + u" See varnookctl --help."_s);
        if (parser.isSet(u"version"_s)) {
            out.line(u"varnookctl "_s + QCoreApplication::applicationVersion());
            return ExitCode::ok;
        }
        if (wantsHelp) {
            out.print(generalHelp());
            return ExitCode::ok;
        }
        return out.fail(ExitCode::badInput, u"no command given; see varnookctl --help"_s);
    }

    // "varnookctl help bot set" is "varnookctl bot set --help".
    if (words.constFirst() == "help"_L1) {
        const QStringList rest = original.mid(original.indexOf(u"help"_s) + 1);
        if (rest.isEmpty()) {
            out.print(generalHelp());
            return ExitCode::ok;
        }
        return runVarnookCtl(QStringList{original.constFirst()} + rest + QStringList{u"--help"_s});
    }

    if (const Command *command = findCommand(words))
        return runCommand(*command, arguments, negatives);

    // A group without its subcommand, or with one it does not have.
    QStringList group = words;
    while (!group.isEmpty() && !isGroup(group))
        group.removeLast();
    if (!group.isEmpty()) {
        if (group == words && wantsHelp) {
            out.print(groupHelp(group));
            return ExitCode::ok;
        }
        QStringList subcommands;
        for (const Command *command : commandsUnder(group))
            subcommands.append(command->words.at(group.size()));
        subcommands.removeDuplicates();
        const QString name = group.join(u' ');
        QString given = name + u" needs a subcommand"_s;
        if (words.size() > group.size()) {
            given = u"unknown subcommand \""_s
                    + Output::plain(negatives.unescape(words.at(group.size()))) + u"\" of "_s
                    + name;
        }
        return out.fail(ExitCode::badInput, given + u": "_s + subcommands.join(u", "_s)
                                                + u"; see varnookctl "_s + name + u" --help"_s);
    }
    const QString first = words.constFirst();
    return out.fail(ExitCode::badInput, u"unknown command \""_s
                                            + Output::plain(negatives.unescape(first))
                                            + u"\"; see varnookctl --help"_s);
}
