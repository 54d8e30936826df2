// backup and bot backup: the backup models of the defaults (Model page) and of one bot (bot
// page), with the window's operations: add, edit, reorder, promote, remove.
#include "ctl/command.h"

#include "model/settingsmodel.h"
#include "ctl/views.h"

#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

struct ProviderField {
    QStringList names; // the JSON key first, then what a user may type instead
    QString Fallback::*member;
};

const QList<ProviderField> &providerFields()
{
    static const QList<ProviderField> fields = {
        {{u"base_url"_s, u"url"_s}, &Fallback::base_url},
        {{u"api_key"_s, u"key"_s}, &Fallback::api_key},
        {{u"model"_s}, &Fallback::model},
        {{u"name"_s, u"nickname"_s}, &Fallback::name},
    };
    return fields;
}

// The options of "add", in the order of the fields above.
const QStringList addOptionNames{u"url"_s, u"key"_s, u"model"_s, u"name"_s};

QList<QCommandLineOption> addOptions()
{
    return {
        QCommandLineOption(u"url"_s, u"Server URL (OpenAI-compatible)."_s, u"url"_s),
        QCommandLineOption(
            u"key"_s, u"API key (leave out for local servers); - reads it from standard input."_s,
            u"key"_s),
        QCommandLineOption(u"model"_s, u"Model id."_s, u"model"_s),
        QCommandLineOption(u"name"_s, u"Nickname."_s, u"name"_s),
    };
}

std::optional<QString Fallback::*> findField(CommandContext &context, const QString &name)
{
    for (const ProviderField &field : providerFields()) {
        if (field.names.contains(name))
            return field.member;
    }
    context.out().fail(ExitCode::badInput,
                       u"unknown field \""_s + Output::plain(name)
                           + u"\"; a backup model has base_url, api_key, model and name"_s);
    return std::nullopt;
}

using GivenFields = QList<std::pair<QString Fallback::*, QString>>;

// The fields given as options to "add", with their values (read from standard input for
// "-"), taken before anything is changed. Nothing when a value could not be read.
std::optional<GivenFields> givenFields(CommandContext &context)
{
    GivenFields fields;
    for (qsizetype i = 0; i < addOptionNames.size(); ++i) {
        if (!context.isSet(addOptionNames.at(i)))
            continue;
        std::optional<QString> value = context.givenValue(context.value(addOptionNames.at(i)));
        if (!value)
            return std::nullopt;
        fields.append({providerFields().at(i).member, std::move(*value)});
    }
    return fields;
}

// After "add" made an empty row: gives the row the fields given as options, through `set`,
// and saves when there were any. ExitCode::ok, or what the save gave.
int fillGivenFields(CommandContext &context, const GivenFields &fields,
                    const std::function<void(QString Fallback::*, const QString &)> &set)
{
    for (const auto &[member, value] : fields)
        set(member, value);
    return fields.isEmpty() ? ExitCode::ok : context.session().save();
}

int printProviders(CommandContext &context, const QList<Fallback> &providers, const QString &none)
{
    Output &out = context.out();
    const bool show = context.showSecrets();
    if (out.json()) {
        out.json(CtlViews::providersJson(providers, show));
        return ExitCode::ok;
    }
    if (providers.isEmpty()) {
        out.line(none);
        return ExitCode::ok;
    }
    for (const QString &line : CtlViews::providerLines(providers, show))
        out.line(line);
    return ExitCode::ok;
}

// ---- backup models of the defaults -------------------------------------------------------------

int runList(CommandContext &context)
{
    return printProviders(context, context.model().fallbacks(), u"No backup models."_s);
}

int runAdd(CommandContext &context)
{
    SettingsModel &model = context.model();
    if (!model.canAddFallback()) {
        return context.out().fail(
            ExitCode::badInput,
            u"complete the last row first: backup model "_s
                + QString::number(model.fallbacks().size())
                + u" needs a server URL and a model name (varnookctl backup set)"_s);
    }
    const std::optional<GivenFields> fields = givenFields(context);
    if (!fields)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    model.addFallback();
    if (const int code = context.session().checkSaved())
        return code;
    const int index = int(model.fallbacks().size()) - 1;
    const int filled
        = fillGivenFields(context, *fields, [&](QString Fallback::*field, const QString &text) {
              model.setFallbackText(index, field, text);
          });
    if (filled != ExitCode::ok)
        return filled;
    context.out().line(u"Added backup model "_s + QString::number(index + 1));
    return ExitCode::ok;
}

int runSet(CommandContext &context)
{
    const std::optional<int> index = context.backupIndex(context.argument(0));
    if (!index)
        return ExitCode::badInput;
    const auto field = findField(context, context.argument(1));
    if (!field)
        return ExitCode::badInput;
    const std::optional<QString> value = context.givenValue(context.argument(2));
    if (!value)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().setFallbackText(*index, *field, *value);
    return context.session().save();
}

int runRemove(CommandContext &context)
{
    const std::optional<int> index = context.backupIndex(context.argument(0));
    if (!index)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().removeFallback(*index);
    return context.session().checkSaved();
}

int runMove(CommandContext &context, bool up)
{
    SettingsModel &model = context.model();
    const std::optional<int> index = context.backupIndex(context.argument(0));
    if (!index)
        return ExitCode::badInput;
    if (!up && *index + 1 == model.fallbacks().size()) {
        return context.out().fail(ExitCode::badInput, u"backup model "_s
                                                          + QString::number(*index + 1)
                                                          + u" is already the last"_s);
    }
    if (const int code = context.prepareWrite())
        return code;
    // Up on the first backup model trades places with the primary model, as in the window.
    model.moveFallback(*index, up);
    if (const int code = context.session().checkSaved())
        return code;
    if (up && *index == 0)
        context.out().line(u"Backup model 1 is now the primary model; the former primary is "
                           "backup model 1."_s);
    return ExitCode::ok;
}

// ---- a bot's own backup models -----------------------------------------------------------------

struct BotRow {
    int bot;
    int row;
};

// The bot (first argument) and the number of one of its own backup models (second argument),
// both from 0; prints the problem and gives nothing when either is not there.
std::optional<BotRow> botRow(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return std::nullopt;
    const std::optional<int> row = context.index(
        context.argument(1), context.model().botProfiles().at(*bot).fallbacks.size(),
        u"backup model"_s, u" of bot "_s + QString::number(*bot + 1));
    if (!row)
        return std::nullopt;
    return BotRow{*bot, *row};
}

int runBotList(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    return printProviders(context, context.model().botProfiles().at(*bot).fallbacks,
                          u"Inherits the default (no backup models)."_s);
}

int runBotAdd(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    const std::optional<GivenFields> fields = givenFields(context);
    if (!fields)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    SettingsModel &model = context.model();
    // Never refused, unlike the defaults' list: the bot page's button is always enabled.
    model.addBotFallback(*bot);
    if (const int code = context.session().checkSaved())
        return code;
    const int row = int(model.botProfiles().at(*bot).fallbacks.size()) - 1;
    const int filled
        = fillGivenFields(context, *fields, [&](QString Fallback::*field, const QString &text) {
              model.setBotFallbackText(*bot, row, field, text);
          });
    if (filled != ExitCode::ok)
        return filled;
    context.out().line(u"Added backup model "_s + QString::number(row + 1) + u" of bot "_s
                       + QString::number(*bot + 1));
    return ExitCode::ok;
}

int runBotSet(CommandContext &context)
{
    const std::optional<BotRow> at = botRow(context);
    if (!at)
        return ExitCode::badInput;
    const auto field = findField(context, context.argument(2));
    if (!field)
        return ExitCode::badInput;
    const std::optional<QString> value = context.givenValue(context.argument(3));
    if (!value)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().setBotFallbackText(at->bot, at->row, *field, *value);
    return context.session().save();
}

int runBotRemove(CommandContext &context)
{
    const std::optional<BotRow> at = botRow(context);
    if (!at)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().removeBotFallback(at->bot, at->row);
    return context.session().checkSaved();
}

int runBotMove(CommandContext &context, bool up)
{
    const std::optional<BotRow> at = botRow(context);
    if (!at)
        return ExitCode::badInput;
    // A bot's first backup model is never promoted: the bot's primary may be inherited.
    const qsizetype count = context.model().botProfiles().at(at->bot).fallbacks.size();
    if ((up && at->row == 0) || (!up && at->row + 1 == count)) {
        return context.out().fail(ExitCode::badInput,
                                  u"backup model "_s + QString::number(at->row + 1) + u" of bot "_s
                                      + QString::number(at->bot + 1) + u" is already the "_s
                                      + (up ? u"first"_s : u"last"_s));
    }
    if (const int code = context.prepareWrite())
        return code;
    context.model().moveBotFallback(at->bot, at->row, up);
    return context.session().checkSaved();
}

QCommandLineOption showSecrets()
{
    return showSecretsOption(u"Show API keys in clear."_s);
}

} // namespace

QList<Command> backupCommands()
{
    using A = Command::Access;
    const CommandArgument number{u"N"_s,
                                 u"The backup model's number, from 1 (\"Backup model 1\")."_s};
    const CommandArgument bot{u"BOT"_s, u"The bot's number, from 1."_s};
    const CommandArgument row{u"N"_s, u"The number of the bot's backup model, from 1."_s};
    const CommandArgument field{u"FIELD"_s, u"base_url (url), api_key (key), model or name."_s};
    const CommandArgument value{
        u"VALUE"_s,
        u"The new value; - reads it from standard input (one line), which keeps API keys and "
        "tokens out of the process list."_s};
    const QString addDetails = u"Fields left out stay empty, as after \"Add model\" in the "
                               "window; fill them in with set."_s;

    return {
        {{u"backup"_s, u"list"_s},
         u"List the backup models, in the order they are tried"_s,
         {},
         {},
         {showSecrets()},
         A::Reads,
         true,
         runList},
        {{u"backup"_s, u"add"_s},
         u"Add a backup model (after the last one has a URL and a model)"_s,
         addDetails,
         {},
         addOptions(),
         A::Writes,
         false,
         runAdd},
        {{u"backup"_s, u"set"_s},
         u"Change one field of a backup model"_s,
         {},
         {number, field, value},
         {},
         A::Writes,
         false,
         runSet},
        {{u"backup"_s, u"remove"_s},
         u"Remove a backup model"_s,
         {},
         {number},
         {},
         A::Writes,
         false,
         runRemove},
        {{u"backup"_s, u"up"_s},
         u"Try a backup model earlier; up on the first makes it the primary model"_s,
         u"Up on backup model 1 exchanges it with the primary model: the backup becomes the "
         "primary and the former primary becomes backup model 1."_s,
         {number},
         {},
         A::Writes,
         false,
         [](CommandContext &c) { return runMove(c, true); }},
        {{u"backup"_s, u"down"_s},
         u"Try a backup model later"_s,
         {},
         {number},
         {},
         A::Writes,
         false,
         [](CommandContext &c) { return runMove(c, false); }},
        {{u"bot"_s, u"backup"_s, u"list"_s},
         u"List a bot's own backup models"_s,
         {},
         {bot},
         {showSecrets()},
         A::Reads,
         true,
         runBotList},
        {{u"bot"_s, u"backup"_s, u"add"_s},
         u"Add a backup model of a bot's own"_s,
         addDetails,
         {bot},
         addOptions(),
         A::Writes,
         false,
         runBotAdd},
        {{u"bot"_s, u"backup"_s, u"set"_s},
         u"Change one field of a bot's backup model"_s,
         {},
         {bot, row, field, value},
         {},
         A::Writes,
         false,
         runBotSet},
        {{u"bot"_s, u"backup"_s, u"remove"_s},
         u"Remove a bot's backup model"_s,
         {},
         {bot, row},
         {},
         A::Writes,
         false,
         runBotRemove},
        {{u"bot"_s, u"backup"_s, u"up"_s},
         u"Try a bot's backup model earlier"_s,
         {},
         {bot, row},
         {},
         A::Writes,
         false,
         [](CommandContext &c) { return runBotMove(c, true); }},
        {{u"bot"_s, u"backup"_s, u"down"_s},
         u"Try a bot's backup model later"_s,
         {},
         {bot, row},
         {},
         A::Writes,
         false,
         [](CommandContext &c) { return runBotMove(c, false); }},
    };
}
