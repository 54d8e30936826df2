#pragma once

#include "ctl/output.h"
#include "ctl/session.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// What a command is handed when it runs: the session, its positional arguments (the command
// words taken off) and its parsed options.
class CommandContext final {
public:
    CommandContext(Session &session, QStringList arguments, const QCommandLineParser &parser,
                   std::function<QString(const QString &)> unescape);

    Session &session() { return m_session; }
    Output &out() { return m_session.out(); }
    SettingsModel &model() { return m_session.model(); }

    const QStringList &arguments() const { return m_arguments; }
    QString argument(qsizetype i) const { return m_arguments.value(i); }
    bool isSet(const QString &option) const { return m_parser.isSet(option); }
    QString value(const QString &option) const { return m_unescape(m_parser.value(option)); }

    // A value as the user gave it: `text` itself, or for "-" one line read from standard input
    // (without its line break, at most stdinValueLimit bytes), so that a secret never has to
    // appear among the process's arguments. Prints the problem and gives nothing when the
    // line cannot be read, is too long, or a second value asks for standard input.
    std::optional<QString> givenValue(const QString &text);
    static constexpr qint64 stdinValueLimit = 64 * 1024;

    // Checks, before anything is changed, that the configuration file can be written. Returns
    // ExitCode::ok, or prints why not and returns ExitCode::failed.
    int prepareWrite();

    // A 1-based number as the user typed it ("Bot 1", "Backup model 1"), checked against
    // `count`; prints the problem and gives nothing when it is not one of 1 … count.
    // `suffix` follows the number in the message ("backup model 3 of bot 1").
    std::optional<int> index(const QString &text, qsizetype count, const QString &what,
                             const QString &suffix = {});
    // index() for a bot's number, and for the number of a backup model of the defaults.
    std::optional<int> botIndex(const QString &text);
    std::optional<int> backupIndex(const QString &text);

    // Whether --show-secrets was given (see showSecretsOption).
    bool showSecrets() const;

private:
    Session &m_session;
    QStringList m_arguments;
    const QCommandLineParser &m_parser;
    std::function<QString(const QString &)> m_unescape;
    bool m_stdinTaken = false;
};

// --show-secrets, for the commands that print API keys or tokens; `description` says which.
QCommandLineOption showSecretsOption(const QString &description);

struct CommandArgument {
    QString name;
    QString description;
    bool optional = false;
};

// One command of varnookctl, such as "bot set". Commands declare what they touch, so that the
// checks on the configuration file are made once, before the command runs.
struct Command {
    enum class Access {
        None,   // does not touch the configuration file
        Reads,  // needs a usable configuration file (a missing one means the defaults)
        Writes, // as Reads, and will write it
    };

    QStringList words;
    QString summary;
    QString details;
    QList<CommandArgument> arguments;
    QList<QCommandLineOption> options;
    Access access = Access::None;
    bool json = false; // takes --json
    std::function<int(CommandContext &)> run;
};

// The command tables, one per area.
QList<Command> configCommands();  // keys, get, set, unset, bot …
QList<Command> backupCommands();  // backup …, bot backup …
QList<Command> serviceCommands(); // status, start, stop, restart, test
QList<Command> skillCommands();   // skills …
QList<Command> fileCommands();    // export, import, personas

// models, and test --all (which the test command hands on): every provider of the
// configuration, a few at a time, as a table.
QList<Command> providerCommands();
int runTestAll(CommandContext &context);
