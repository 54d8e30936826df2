// keys, get, set, unset and the bot commands: the configuration values, edited through the
// settings model exactly as the window's pages edit them.
#include "ctl/command.h"

#include "config/configdocument.h"
#include "config/inheritance.h"
#include "model/settingsmodel.h"
#include "ctl/keys.h"
#include "ctl/views.h"
#include "network/addresses.h"
#include "skills/skillcatalog.h"
#include "telegram/botapi.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;
using CtlKeys::Kind;

namespace {

QCommandLineOption showSecrets()
{
    return showSecretsOption(u"Show API keys and tokens in clear."_s);
}

bool isScalar(Kind kind)
{
    switch (kind) {
    case Kind::Text:
    case Kind::Words:
    case Kind::Ids:
    case Kind::Time:
    case Kind::Number:
    case Kind::Flag:
    case Kind::Sources:
    case Kind::Folder: return true;
    case Kind::Providers:
    case Kind::Bots:
    case Kind::Skills: return false;
    }
    return false;
}

bool isSecret(QLatin1StringView key)
{
    return key == "api_key"_L1 || key == "token"_L1;
}

// Where a key that `set` cannot take a value for is edited instead.
QString editedElsewhere(const CtlKeys::TopLevelKey &key)
{
    switch (key.kind) {
    case Kind::Providers:
        return key.json
               + u" is a list of backup models; use varnookctl backup add|set|remove|up|down"_s;
    case Kind::Bots:
        return key.json + u" belongs to the bot list; use varnookctl bot add|set|remove"_s;
    case Kind::Skills:
        return key.json
               + u" is the list of skills switched off; use varnookctl skills enable|disable"_s;
    case Kind::Folder:
        return key.json
               + u" is read but never written by the settings program; change it in the file itself"_s;
    default: return {};
    }
}

QString flagText(bool on)
{
    return on ? u"true"_s : u"false"_s;
}

// ---- reading values ----------------------------------------------------------------------------

QString topLevelText(const CtlKeys::TopLevelKey &key, SettingsModel &model)
{
    const ConfigValues &values = model.values();
    switch (key.kind) {
    case Kind::Flag: return flagText(values.*key.flag);
    case Kind::Sources: return model.skillSources().join(u", "_s);
    case Kind::Folder: return model.skillsFolder();
    case Kind::Skills: return model.globallyDisabledSkills().join(u'\n');
    case Kind::Providers:
        if (model.fallbacks().isEmpty())
            return {};
        return CtlViews::providerLines(model.fallbacks(), true).join(u'\n');
    case Kind::Bots:
        if (key.json == "bot_tokens"_L1)
            return model.botTokens().join(u'\n');
        if (key.json == "bot_token"_L1)
            return model.botTokens().value(0);
        if (key.json == "bot_nicknames"_L1)
            return model.botNicknames().join(u'\n');
        return QString::fromUtf8(
                   QJsonDocument(model.rawDocument().value(key.json).toArray()).toJson())
            .trimmed();
    default: return values.*key.text;
    }
}

QJsonValue topLevelJson(const CtlKeys::TopLevelKey &key, SettingsModel &model)
{
    const ConfigValues &values = model.values();
    switch (key.kind) {
    case Kind::Flag: return values.*key.flag;
    case Kind::Number: {
        const std::optional<qint64> n = ConfigDocument::parseWholeInteger(values.*key.text);
        return n ? QJsonValue(*n) : QJsonValue(values.*key.text);
    }
    case Kind::Sources: return QJsonArray::fromStringList(model.skillSources());
    case Kind::Folder: return model.skillsFolder();
    case Kind::Skills: return QJsonArray::fromStringList(model.globallyDisabledSkills());
    case Kind::Providers: return CtlViews::providersJson(model.fallbacks(), true);
    case Kind::Bots:
        if (key.json == "bot_tokens"_L1)
            return QJsonArray::fromStringList(model.botTokens());
        if (key.json == "bot_token"_L1)
            return model.botTokens().value(0);
        if (key.json == "bot_nicknames"_L1)
            return QJsonArray::fromStringList(model.botNicknames());
        return model.rawDocument().value(key.json).toArray();
    default: return values.*key.text;
    }
}

// What "unset" writes, in words, for the keys table; `defaults` are CtlKeys::readingDefaults().
QString unsetText(const CtlKeys::TopLevelKey &key, const ConfigValues &defaults)
{
    switch (key.kind) {
    case Kind::Flag: return flagText(defaults.*key.flag);
    case Kind::Sources: return u"(no extra sources)"_s;
    case Kind::Providers: return u"(no backup models)"_s;
    case Kind::Skills: return u"(every skill on)"_s;
    case Kind::Bots:
    case Kind::Folder: return u"(cannot be unset)"_s;
    default: {
        const QString text = defaults.*key.text;
        return text.isEmpty() ? u"(empty)"_s : text;
    }
    }
}

const CtlKeys::TopLevelKey *knownKey(CommandContext &context, const QString &name)
{
    const CtlKeys::TopLevelKey *key = CtlKeys::findTopLevel(name);
    if (!key) {
        context.out().fail(ExitCode::badInput, u"unknown key \""_s + Output::plain(name)
                                                   + u"\"; varnookctl keys lists them"_s);
    }
    return key;
}

// ---- keys --------------------------------------------------------------------------------------

int runKeys(CommandContext &context)
{
    Output &out = context.out();
    const bool bot = context.isSet(u"bot"_s);
    QJsonArray array;
    QList<QStringList> rows;
    if (bot) {
        for (const CtlKeys::BotKey &key : CtlKeys::botKeys()) {
            const QString kind = CtlKeys::kindName(key.kind);
            array.append(QJsonObject{{u"key"_s, key.json},
                                     {u"kind"_s, kind},
                                     {u"meaning"_s, key.meaning},
                                     {u"inherits"_s, key.defaultValue != nullptr}});
            rows.append({key.json, kind, key.meaning});
        }
    } else {
        const ConfigValues defaults = CtlKeys::readingDefaults();
        for (const CtlKeys::TopLevelKey &key : CtlKeys::topLevelKeys()) {
            const QString kind = CtlKeys::kindName(key.kind);
            const QString unset = unsetText(key, defaults);
            array.append(QJsonObject{{u"key"_s, key.json},
                                     {u"kind"_s, kind},
                                     {u"meaning"_s, key.meaning},
                                     {u"unset"_s, unset}});
            rows.append({key.json, kind, unset, key.meaning});
        }
    }
    if (out.json()) {
        out.json(array);
        return ExitCode::ok;
    }
    for (const QString &line : CtlViews::table(rows))
        out.line(line);
    return ExitCode::ok;
}

// ---- get, set, unset ---------------------------------------------------------------------------

int runGetAll(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const bool show = context.showSecrets();
    QJsonObject object;
    QList<QStringList> rows;
    for (const CtlKeys::TopLevelKey &key : CtlKeys::topLevelKeys()) {
        if (!isScalar(key.kind))
            continue;
        QJsonValue value = topLevelJson(key, model);
        QString text = topLevelText(key, model);
        if (isSecret(key.json)) {
            text = CtlViews::masked(text, show);
            value = text;
        }
        object.insert(key.json, value);
        rows.append({key.json, Output::plain(text)});
    }
    if (out.json()) {
        out.json(object);
        return ExitCode::ok;
    }
    for (const QString &line : CtlViews::table(rows))
        out.line(line.trimmed());
    return ExitCode::ok;
}

int runGet(CommandContext &context)
{
    if (context.arguments().isEmpty())
        return runGetAll(context);
    const CtlKeys::TopLevelKey *key = knownKey(context, context.argument(0));
    if (!key)
        return ExitCode::badInput;
    Output &out = context.out();
    SettingsModel &model = context.model();
    if (out.json()) {
        out.json(QJsonObject{{u"key"_s, key->json}, {u"value"_s, topLevelJson(*key, model)}});
        return ExitCode::ok;
    }
    const QString text = topLevelText(*key, model);
    // An empty value of its own is an empty line; an empty list is no lines at all.
    if (!text.isEmpty() || isScalar(key->kind))
        out.line(Output::plain(text, true));
    return ExitCode::ok;
}

int runSet(CommandContext &context)
{
    const CtlKeys::TopLevelKey *key = knownKey(context, context.argument(0));
    if (!key)
        return ExitCode::badInput;
    Output &out = context.out();
    if (!isScalar(key->kind) || key->kind == Kind::Folder)
        return out.fail(ExitCode::badInput, editedElsewhere(*key));
    const std::optional<QString> given = context.givenValue(context.argument(1));
    if (!given)
        return ExitCode::badInput;
    const QString &value = *given;
    if (const std::optional<QString> problem = CtlKeys::checkValue(key->kind, key->json, value))
        return out.fail(ExitCode::badInput, Output::plain(*problem));
    if (const int code = context.prepareWrite())
        return code;

    // The property as the page's control would set it; the save normalises it by the same
    // rules as the window's (number texts, comma lists, ID lists, trimmed URLs).
    SettingsModel &model = context.model();
    if (key->kind == Kind::Flag)
        (model.*key->setFlag)(*CtlKeys::parseFlag(value));
    else if (key->kind == Kind::Sources)
        model.setSkillSources(ConfigDocument::commaList(value));
    else
        (model.*key->setText)(value);
    return context.session().save();
}

int runUnset(CommandContext &context)
{
    const CtlKeys::TopLevelKey *key = knownKey(context, context.argument(0));
    if (!key)
        return ExitCode::badInput;
    Output &out = context.out();
    if (key->kind == Kind::Bots || key->kind == Kind::Folder)
        return out.fail(ExitCode::badInput, editedElsewhere(*key));
    if (const int code = context.prepareWrite())
        return code;

    SettingsModel &model = context.model();
    const ConfigValues defaults = CtlKeys::readingDefaults();
    switch (key->kind) {
    case Kind::Flag: (model.*key->setFlag)(defaults.*key->flag); break;
    case Kind::Sources: model.setSkillSources({}); break;
    case Kind::Providers: model.setFallbacks({}); break;
    case Kind::Skills: {
        // Each switch writes the file and tells the service, as the Skills page's do.
        const QStringList disabled = model.globallyDisabledSkills();
        if (disabled.isEmpty())
            return ExitCode::ok;
        for (const QString &name : disabled)
            model.setSkillEnabled(name, true);
        return context.session().checkSaved();
    }
    default: (model.*key->setText)(defaults.*key->text); break;
    }
    return context.session().save();
}

// ---- bots --------------------------------------------------------------------------------------

const CtlKeys::BotKey *knownBotKey(CommandContext &context, const QString &name)
{
    const CtlKeys::BotKey *key = CtlKeys::findBotKey(name);
    if (!key) {
        context.out().fail(ExitCode::badInput, u"unknown bot key \""_s + Output::plain(name)
                                                   + u"\"; varnookctl keys --bot lists them"_s);
    }
    return key;
}

int runBotList(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const bool show = context.showSecrets();
    QJsonArray array;
    QList<QStringList> rows{{u"#"_s, u"BOT"_s, u"TOKEN"_s, u"SKILLS"_s}};
    for (int i = 0; i < model.botTokens().size(); ++i) {
        const QString token = model.botTokens().at(i);
        const QString skills = SkillCatalog::botSkillsSummary(model.botOverrideCount(i));
        array.append(QJsonObject{{u"number"_s, i + 1},
                                 {u"label"_s, model.botLabel(i)},
                                 {u"nickname"_s, model.botNicknames().value(i)},
                                 {u"token"_s, CtlViews::masked(token, show)},
                                 {u"skills"_s, skills}});
        rows.append({QString::number(i + 1), Output::plain(model.botLabel(i)),
                     token.isEmpty() ? u"(none)"_s : Output::plain(CtlViews::masked(token, show)),
                     skills});
    }
    if (out.json()) {
        out.json(array);
        return ExitCode::ok;
    }
    if (array.isEmpty()) {
        out.line(u"No bots. Add one with: varnookctl bot add --token TOKEN"_s);
        return ExitCode::ok;
    }
    for (const QString &line : CtlViews::table(rows))
        out.line(line);
    return ExitCode::ok;
}

int runBotAdd(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    if (!model.canAddBot()) {
        return out.fail(ExitCode::badInput, u"complete the last bot first: bot "_s
                                                + QString::number(model.botTokens().size())
                                                + u" has no token"_s);
    }
    // Read before anything changes, so that a value that cannot be read adds no bot.
    std::optional<QString> token;
    std::optional<QString> nickname;
    if (context.isSet(u"token"_s) && !(token = context.givenValue(context.value(u"token"_s))))
        return ExitCode::badInput;
    if (context.isSet(u"nickname"_s)
        && !(nickname = context.givenValue(context.value(u"nickname"_s))))
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    model.addBot();
    if (const int code = context.session().checkSaved())
        return code;
    const int bot = int(model.botTokens().size()) - 1;
    if (token || nickname) {
        if (token)
            model.setBotToken(bot, *token);
        if (nickname)
            model.setBotNickname(bot, *nickname);
        if (const int code = context.session().save())
            return code;
    }
    out.line(u"Added bot "_s + QString::number(bot + 1));
    return ExitCode::ok;
}

int runBotRemove(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().removeBot(*bot);
    return context.session().checkSaved();
}

int runBotGet(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    const CtlKeys::BotKey *key = knownBotKey(context, context.argument(1));
    if (!key)
        return ExitCode::badInput;
    Output &out = context.out();
    SettingsModel &model = context.model();
    const BotProfile &profile = model.botProfiles().at(*bot);
    QJsonObject object{{u"bot"_s, *bot + 1}, {u"key"_s, key->json}};

    if (key->json == "fallbacks"_L1) {
        const QString explainer = profile.fallbacks.isEmpty()
                                      ? u"Inherits the default (no backup models)."_s
                                      : u"Tried after this bot's primary model fails."_s;
        if (out.json()) {
            object.insert(u"value"_s, CtlViews::providersJson(profile.fallbacks, true));
            object.insert(u"explainer"_s, explainer);
            out.json(object);
            return ExitCode::ok;
        }
        if (!profile.fallbacks.isEmpty()) {
            for (const QString &line : CtlViews::providerLines(profile.fallbacks, true))
                out.line(line);
        }
        out.line(explainer);
        return ExitCode::ok;
    }
    if (key->json == "enabled_skills"_L1) {
        const QString summary = SkillCatalog::botSkillsSummary(profile.disabledSkills.size());
        if (out.json()) {
            object.insert(u"value"_s, QJsonArray::fromStringList(profile.disabledSkills));
            object.insert(u"summary"_s, summary);
            out.json(object);
            return ExitCode::ok;
        }
        for (const QString &name : profile.disabledSkills)
            out.line(Output::plain(name));
        out.line(summary);
        return ExitCode::ok;
    }

    QString value;
    if (key->json == "token"_L1)
        value = model.botTokens().value(*bot);
    else if (key->json == "nickname"_L1)
        value = model.botNicknames().value(*bot);
    else
        value = profile.*key->field;
    object.insert(u"value"_s, value);

    std::optional<QString> inheritance;
    if (key->defaultValue) {
        // The value asked for is printed; the inherited key beside it stays masked, as on the
        // bot page, unless secrets are asked for too.
        QString fallback = model.values().*key->defaultValue;
        if (isSecret(key->json))
            fallback = CtlViews::masked(fallback, context.showSecrets());
        inheritance = inheritanceText(value, fallback);
        object.insert(u"default"_s, fallback);
        object.insert(u"inheritance"_s, *inheritance);
    }
    if (out.json()) {
        out.json(object);
        return ExitCode::ok;
    }
    out.line(Output::plain(value, true));
    if (inheritance)
        out.line(Output::plain(*inheritance));
    return ExitCode::ok;
}

int runBotSet(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    const CtlKeys::BotKey *key = knownBotKey(context, context.argument(1));
    if (!key)
        return ExitCode::badInput;
    Output &out = context.out();
    if (key->json == "fallbacks"_L1) {
        return out.fail(
            ExitCode::badInput,
            u"a bot's backup models are edited with varnookctl bot backup add|set|remove|up|down"_s);
    }
    if (key->json == "enabled_skills"_L1) {
        return out.fail(
            ExitCode::badInput,
            u"a bot's skills are switched with varnookctl skills enable|disable NAME --bot "_s
                + QString::number(*bot + 1));
    }
    const std::optional<QString> given = context.givenValue(context.argument(2));
    if (!given)
        return ExitCode::badInput;
    const QString &value = *given;
    if (const std::optional<QString> problem
        = CtlKeys::checkValue(key->kind, key->json, value, true))
        return out.fail(ExitCode::badInput, Output::plain(*problem));
    if (const int code = context.prepareWrite())
        return code;

    SettingsModel &model = context.model();
    if (key->json == "token"_L1)
        model.setBotToken(*bot, value);
    else if (key->json == "nickname"_L1)
        model.setBotNickname(*bot, value);
    else
        model.setBotProfileText(*bot, key->field, value);
    return context.session().save();
}

int runBotUnset(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    const CtlKeys::BotKey *key = knownBotKey(context, context.argument(1));
    if (!key)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;

    SettingsModel &model = context.model();
    if (key->json == "enabled_skills"_L1) {
        model.resetBotSkills(*bot);
        return context.session().checkSaved();
    }
    if (key->json == "fallbacks"_L1) {
        QList<BotProfile> profiles = model.botProfiles();
        profiles[*bot].fallbacks.clear();
        model.setBotProfiles(profiles);
    } else if (key->json == "token"_L1) {
        model.setBotToken(*bot, QString());
    } else if (key->json == "nickname"_L1) {
        model.setBotNickname(*bot, QString());
    } else {
        // Empty means "inherits the default".
        model.setBotProfileText(*bot, key->field, QString());
    }
    return context.session().save();
}

// Asks Telegram whether the bot's token works, as the bot page's "Check token" does. The token
// itself is never printed: the texts that come back have it scrubbed out.
int runBotCheck(CommandContext &context)
{
    Output &out = context.out();
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    SettingsModel &model = context.model();
    BotApi::TokenCheck check;
    // The answer always comes later, from the event loop.
    QEventLoop loop;
    BotApi::checkToken(model.network(), &loop, OutsideAddresses::fromEnvironment().telegramApiBase,
                       model.botTokens().value(*bot), [&](const BotApi::TokenCheck &answer) {
                           check = answer;
                           loop.quit();
                       });
    loop.exec();
    const QString label = model.botLabel(*bot);
    if (out.json()) {
        out.json(QJsonObject{{u"number"_s, *bot + 1},
                             {u"label"_s, label},
                             {u"valid"_s, check.valid},
                             {u"text"_s, check.text}});
        return check.valid ? ExitCode::ok : ExitCode::failed;
    }
    if (!check.valid)
        return out.fail(ExitCode::failed,
                        Output::plain(label) + u": "_s + Output::plain(check.text));
    out.line(Output::plain(label) + u": "_s + Output::plain(check.text));
    return ExitCode::ok;
}

QCommandLineOption valueOption(const QString &name, const QString &description,
                               const QString &valueName)
{
    return QCommandLineOption(name, description, valueName);
}

} // namespace

QList<Command> configCommands()
{
    using A = Command::Access;
    const CommandArgument key{u"KEY"_s, u"A configuration key, as in the file (max_tokens …)."_s};
    const CommandArgument value{
        u"VALUE"_s,
        u"The new value; - reads it from standard input (one line), which keeps API keys and "
        "tokens out of the process list."_s};
    const CommandArgument bot{u"N"_s, u"The bot's number, from 1 (as \"Bot 1\" in the window)."_s};
    const CommandArgument botKey{
        u"KEY"_s, u"token, nickname, or a key the bot can override (varnookctl keys --bot)."_s};

    return {
        {{u"keys"_s},
         u"List the configuration keys, their kinds and what unset writes"_s,
         u"Kinds: text, words (comma-separated), ids (comma-separated whole numbers), time "
         "(HH:MM), number (whole), boolean (true/false, yes/no, on/off, 1/0). Keys of the "
         "kinds providers, bots and skills are edited with their own commands."_s,
         {},
         {QCommandLineOption(u"bot"_s, u"List the keys a bot can override instead."_s)},
         A::None,
         true,
         runKeys},
        {{u"get"_s},
         u"Print a setting (every plain setting without KEY)"_s,
         u"Prints the value as the window shows it. Without a configuration file the window's "
         "first values are shown. Without KEY, API keys are masked unless --show-secrets."_s,
         {{u"KEY"_s, key.description, true}},
         {showSecrets()},
         A::Reads,
         true,
         runGet},
        {{u"set"_s},
         u"Change a setting, save it and tell the service"_s,
         u"The value is saved by the same rules as in the window: comma lists are trimmed, "
         "URLs trimmed, numbers written as integers. Unlike the window, a value of the wrong "
         "kind is refused (exit code 2) instead of being replaced. Negative numbers need no "
         "\"--\"; other values that begin with \"-\" do: varnookctl set briefing_prompt -- "
         "\"-x\"."_s,
         {key, value},
         {},
         A::Writes,
         false,
         runSet},
        {{u"unset"_s},
         u"Give a setting back the value it has when the file lacks it"_s,
         u"Texts become empty, numbers and the others their defaults (varnookctl keys shows "
         "them). fallbacks removes every backup model, skill_sources every extra source, "
         "enabled_skills switches every skill back on."_s,
         {key},
         {},
         A::Writes,
         false,
         runUnset},
        {{u"bot"_s, u"list"_s},
         u"List the bots"_s,
         {},
         {},
         {showSecrets()},
         A::Reads,
         true,
         runBotList},
        {{u"bot"_s, u"add"_s},
         u"Add a bot (after the last one has a token)"_s,
         {},
         {},
         {valueOption(u"token"_s,
                      u"The new bot's Telegram token; - reads it from standard input."_s,
                      u"token"_s),
          valueOption(u"nickname"_s, u"The new bot's nickname."_s, u"name"_s)},
         A::Writes,
         false,
         runBotAdd},
        {{u"bot"_s, u"remove"_s},
         u"Remove a bot with its token, nickname and settings"_s,
         u"The bots after it move up one number."_s,
         {bot},
         {},
         A::Writes,
         false,
         runBotRemove},
        {{u"bot"_s, u"get"_s},
         u"Print a bot's own value and what it inherits"_s,
         u"The first line is the bot's own value (empty when it follows the default), the "
         "second the same text as under the row on the bot's page: \"Inherits the default: "
         "…\" or \"Overrides the default (…)\"."_s,
         {bot, botKey},
         {showSecrets()},
         A::Reads,
         true,
         runBotGet},
        {{u"bot"_s, u"set"_s},
         u"Give a bot its own value for a key"_s,
         u"A value equal to the default is not stored: the bot goes on following the "
         "default."_s,
         {bot, botKey, value},
         {},
         A::Writes,
         false,
         runBotSet},
        {{u"bot"_s, u"unset"_s},
         u"Let a bot follow the default again"_s,
         u"For token and nickname the value becomes empty; fallbacks removes the bot's own "
         "backup models, enabled_skills its skill overrides."_s,
         {bot, botKey},
         {},
         A::Writes,
         false,
         runBotUnset},
        {{u"bot"_s, u"check"_s},
         u"Ask Telegram whether a bot's token works"_s,
         u"Sends getMe with the bot's token to Telegram's Bot API (VARNOOK_TELEGRAM_API_BASE "
         "replaces https://api.telegram.org) and prints \"@username · Name\" of the bot, or "
         "Telegram's reason (\"Unauthorized\") or the network's. Exit code 0 only for a valid "
         "token. The token is never printed."_s,
         {bot},
         {},
         A::Reads,
         true,
         runBotCheck},
    };
}
