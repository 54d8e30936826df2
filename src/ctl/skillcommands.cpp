// skills: the Skills & Features page, the per-bot skills sheet and the Skill Registry page.
#include "ctl/command.h"

#include "config/configdocument.h"
#include "model/settingsmodel.h"
#include "ctl/views.h"
#include "skills/registrylisting.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"
#include "skills/skillpreview.h"
#include "skills/skillupdates.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

QString onOff(bool on)
{
    return on ? u"on"_s : u"off"_s;
}

// The model with the skills folder listed, as the window shows it once it is on screen: for
// the commands that look at the installed skills.
SettingsModel &listedModel(CommandContext &context)
{
    SettingsModel &model = context.model();
    model.loadSkillsAndFeatures();
    return model;
}

std::optional<int> botOption(CommandContext &context)
{
    return context.botIndex(context.value(u"bot"_s));
}

bool isListed(const SettingsModel &model, const QString &name)
{
    return std::any_of(model.skills().begin(), model.skills().end(),
                       [&](const SkillInfo &skill) { return skill.name == name; });
}

// ---- list, enable, disable, reset ---------------------------------------------------------

int runList(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = listedModel(context);
    std::optional<int> bot;
    if (context.isSet(u"bot"_s)) {
        bot = botOption(context);
        if (!bot)
            return ExitCode::badInput;
    }
    auto enabled = [&](const SkillInfo &skill) {
        return bot ? model.effectiveEnabled(*bot, skill.name) : skill.enabled;
    };

    if (out.json()) {
        QJsonArray array;
        for (const QString &group : SkillCatalog::skillGroups()) {
            for (const SkillInfo &skill : model.skills()) {
                if (skill.group != group)
                    continue;
                const std::optional<QString> example = SkillCatalog::exampleOf(skill.name);
                array.append(QJsonObject{{u"name"_s, skill.name},
                                         {u"title"_s, skill.title},
                                         {u"description"_s, skill.description},
                                         {u"group"_s, skill.group},
                                         {u"origin"_s, skill.origin},
                                         {u"enabled"_s, enabled(skill)},
                                         {u"example"_s, example.value_or(QString())}});
            }
        }
        out.json(array);
        return ExitCode::ok;
    }

    if (model.skills().isEmpty())
        out.line(u"No skills in "_s + Output::plain(model.skillsFolder()));
    // One table for all groups, so that the columns line up; each group under its name.
    QList<QStringList> rows;
    QList<qsizetype> groupStarts;
    QStringList groupNames;
    for (const QString &group : SkillCatalog::skillGroups()) {
        bool first = true;
        for (const SkillInfo &skill : model.skills()) {
            if (skill.group != group)
                continue;
            if (first) {
                groupStarts.append(rows.size());
                groupNames.append(group);
                first = false;
            }
            rows.append(
                {onOff(enabled(skill)), Output::plain(skill.name), Output::plain(skill.title)});
        }
    }
    const QStringList lines = CtlViews::table(rows);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (const qsizetype g = groupStarts.indexOf(i); g >= 0)
            out.line(groupNames.at(g));
        out.line(u"  "_s + lines.at(i));
    }
    if (bot)
        out.line(SkillCatalog::botSkillsSheetFooter(model.botOverrideCount(*bot)));
    return ExitCode::ok;
}

int runSwitch(CommandContext &context, bool on)
{
    Output &out = context.out();
    if (context.isSet(u"group"_s) && context.isSet(u"bot"_s))
        return out.fail(ExitCode::badInput,
                        u"--group switches skills for every bot; leave out --bot"_s);
    SettingsModel &model = listedModel(context);
    const QString name = context.argument(0);

    if (context.isSet(u"group"_s)) {
        const bool known = std::any_of(model.skills().begin(), model.skills().end(),
                                       [&](const SkillInfo &s) { return s.group == name; });
        if (!known) {
            return out.fail(ExitCode::badInput, u"no installed skill is in the group \""_s
                                                    + Output::plain(name) + u"\""_s);
        }
        if (const int code = context.prepareWrite())
            return code;
        // The group's master switch: every skill of the group, one after the other.
        model.setGroupEnabled(name, on);
        return context.session().checkSaved();
    }

    if (context.isSet(u"bot"_s)) {
        const std::optional<int> bot = botOption(context);
        if (!bot)
            return ExitCode::badInput;
        if (!isListed(model, name) && !model.botProfiles().at(*bot).disabledSkills.contains(name))
            return out.fail(ExitCode::badInput, u"no installed skill is called \""_s
                                                    + Output::plain(name)
                                                    + u"\"; varnookctl skills list shows them"_s);
        if (const int code = context.prepareWrite())
            return code;
        model.setBotSkill(*bot, name, on);
        return context.session().checkSaved();
    }

    // A name without a file may still be on the list of skills switched off; it can be taken
    // off, but nothing new is switched off by a typo.
    if (!isListed(model, name) && !(on && model.globallyDisabledSkills().contains(name)))
        return out.fail(ExitCode::badInput, u"no installed skill is called \""_s
                                                + Output::plain(name)
                                                + u"\"; varnookctl skills list shows them"_s);
    if (const int code = context.prepareWrite())
        return code;
    model.setSkillEnabled(name, on);
    return context.session().checkSaved();
}

int runReset(CommandContext &context)
{
    const std::optional<int> bot = context.botIndex(context.argument(0));
    if (!bot)
        return ExitCode::badInput;
    if (const int code = context.prepareWrite())
        return code;
    context.model().resetBotSkills(*bot);
    return context.session().checkSaved();
}

// ---- registry ------------------------------------------------------------------------------

int runSearch(CommandContext &context)
{
    Output &out = context.out();
    const QString query = context.argument(0);
    if (ConfigDocument::trimBlanks(query).isEmpty())
        return out.fail(ExitCode::badInput, u"the search needs some words"_s);
    int page = 0;
    if (context.isSet(u"page"_s)) {
        bool ok = false;
        page = context.value(u"page"_s).toInt(&ok) - 1;
        if (!ok || page < 0) {
            return out.fail(ExitCode::badInput, u"--page takes a page number from 1, not \""_s
                                                    + Output::plain(context.value(u"page"_s))
                                                    + u"\""_s);
        }
    }
    SettingsModel &model = listedModel(context);
    model.setGithubQuery(query);
    model.search(page);
    context.session().waitUntil(&SettingsModel::githubSearchingChanged,
                                [&] { return !model.githubSearching(); });

    const QList<RegistryEntry> &results = model.githubResults();
    if (out.json()) {
        QJsonArray array;
        for (const RegistryEntry &entry : results) {
            array.append(
                QJsonObject{{u"name"_s, entry.name},
                            {u"repository"_s, RegistryEntry::withoutSearchPrefix(entry.name)},
                            {u"title"_s, entry.title},
                            {u"description"_s, entry.description},
                            {u"installed"_s, model.isInstalled(entry.name)}});
        }
        out.json(QJsonObject{
            {u"page"_s, page + 1}, {u"has_more"_s, model.githubHasMore()}, {u"results"_s, array}});
        return ExitCode::ok;
    }
    if (results.isEmpty()) {
        out.line(u"No GitHub repositories found."_s);
        return ExitCode::ok;
    }
    QList<QStringList> rows;
    QList<bool> installed;
    for (const RegistryEntry &entry : results) {
        rows.append({Output::plain(RegistryEntry::withoutSearchPrefix(entry.name)),
                     Output::plain(entry.description)});
        installed.append(model.isInstalled(entry.name));
    }
    for (const QString &line : CtlViews::table(CtlViews::markedRows(rows, installed)))
        out.line(line);
    if (model.githubHasMore()) {
        out.line(u"More results: varnookctl skills search \""_s + Output::plain(query)
                 + u"\" --page "_s + QString::number(page + 2));
    }
    return ExitCode::ok;
}

// Loads the full catalogue from GitHub; prints the error of the last source that failed.
bool loadFullCatalog(CommandContext &context)
{
    SettingsModel &model = context.model();
    model.loadFullCatalog();
    context.session().waitUntil(&SettingsModel::catalogLoadingChanged,
                                [&] { return !model.catalogLoading(); });
    if (model.catalogError()) {
        context.out().warn(*model.catalogError());
        return false;
    }
    return true;
}

int runCatalog(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = listedModel(context);
    QList<RegistryEntry> entries = SkillCatalog::skillRegistry(model.githubRawBase());
    bool complete = true;
    if (context.isSet(u"full"_s)) {
        complete = loadFullCatalog(context);
        entries = SkillCatalog::withLoadedEntries(model.githubRawBase(), model.catalogEntries());
    }
    // The Registry page's list: filtered by the search text, in title order.
    entries = RegistryListing::filtered(entries, context.argument(0));
    if (out.json()) {
        QJsonArray array;
        for (const RegistryEntry &entry : entries) {
            array.append(QJsonObject{{u"name"_s, entry.name},
                                     {u"title"_s, entry.title},
                                     {u"description"_s, entry.description},
                                     {u"installed"_s, model.isInstalled(entry.name)}});
        }
        out.json(array);
    } else {
        QList<QStringList> rows;
        QList<bool> installed;
        for (const RegistryEntry &entry : entries) {
            rows.append({Output::plain(entry.name), Output::plain(entry.title),
                         Output::plain(entry.description)});
            installed.append(model.isInstalled(entry.name));
        }
        for (const QString &line : CtlViews::table(CtlViews::markedRows(rows, installed)))
            out.line(line);
    }
    return complete ? ExitCode::ok : ExitCode::failed;
}

// The entry NAME stands for: a name `skills catalog --full` prints (the fixed catalogue first,
// then the skills folders of the sources, nested names such as a/b included), or a GitHub
// repository as owner/repo or github:owner/repo. An owner/repo that is also a name of the
// loaded catalogue is the catalogue's entry; github:owner/repo always means the repository.
// Prints the reason and gives the exit code when there is no such entry.
struct Resolved {
    std::optional<RegistryEntry> entry;
    bool repository = false;
    int exitCode = ExitCode::ok;
};

Resolved resolve(CommandContext &context, const QString &name)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    auto findIn = [&](const QList<RegistryEntry> &entries) -> std::optional<RegistryEntry> {
        for (const RegistryEntry &e : entries) {
            if (e.name == name)
                return e;
        }
        return std::nullopt;
    };
    auto repository = [&](const QString &fullName) -> Resolved {
        const QStringList parts = fullName.split(u'/');
        if (parts.size() != 2 || !SkillFile::installStem(fullName)) {
            out.fail(ExitCode::badInput, u"\""_s + Output::plain(name)
                                             + u"\" is not a GitHub repository (owner/repo)"_s);
            return {std::nullopt, false, ExitCode::badInput};
        }
        return {RegistryEntry{RegistryEntry::searchResultName(fullName), parts.last(), QString(),
                              QString()},
                true, ExitCode::ok};
    };

    if (RegistryEntry::isSearchResultName(name))
        return repository(RegistryEntry::withoutSearchPrefix(name));
    if (context.isSet(u"catalog"_s)) {
        if (!loadFullCatalog(context))
            return {std::nullopt, false, ExitCode::failed};
        if (auto entry = findIn(
                SkillCatalog::withLoadedEntries(model.githubRawBase(), model.catalogEntries())))
            return {entry, false, ExitCode::ok};
    } else if (auto entry = findIn(SkillCatalog::skillRegistry(model.githubRawBase()))) {
        return {entry, false, ExitCode::ok};
    } else if (name.contains(u'/')) {
        // Nested catalogue names hold "/" like repositories do: the loaded catalogue decides.
        // A source that cannot be read only matters when the name is found nowhere.
        model.loadFullCatalog();
        context.session().waitUntil(&SettingsModel::catalogLoadingChanged,
                                    [&] { return !model.catalogLoading(); });
        if (auto found = findIn(model.catalogEntries()))
            return {found, false, ExitCode::ok};
        return repository(name);
    }
    out.fail(ExitCode::badInput, u"no skill called \""_s + Output::plain(name)
                                     + u"\" in the catalogue; varnookctl skills catalog lists it, "
                                       "owner/repo installs from a GitHub repository"_s);
    return {std::nullopt, false, ExitCode::badInput};
}

int runInstall(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QString name = context.argument(0);
    const Resolved resolved = resolve(context, name);
    if (!resolved.entry)
        return resolved.exitCode;
    const RegistryEntry &entry = *resolved.entry;

    bool finished = false;
    bool written = false;
    QObject::connect(&model, &SettingsModel::installFinished, &model,
                     [&](const QString &installed, bool ok) {
                         if (installed != entry.name)
                             return;
                         finished = true;
                         written = ok;
                     });
    if (resolved.repository)
        model.installSearchResult(entry);
    else
        model.install(entry);
    context.session().waitUntil(&SettingsModel::installFinished, [&] { return finished; });
    if (!written) {
        // The download worked but the file could not be written: say why, in the system's words.
        const QString writeError = model.registry().lastWriteError();
        if (!writeError.isEmpty())
            return out.fail(ExitCode::failed, u"could not write "_s + Output::plain(name)
                                                  + u" into "_s
                                                  + Output::plain(model.installFolder()) + u": "_s
                                                  + Output::plain(writeError));
        return out.fail(ExitCode::failed, u"could not download "_s + Output::plain(name));
    }
    const QString stem
        = SkillFile::installStem(RegistryEntry::withoutSearchPrefix(entry.name)).value_or(name);
    out.line(u"Installed "_s + Output::plain(stem) + u".md in "_s
             + Output::plain(model.installFolder()));
    return ExitCode::ok;
}

// What the Registry page's Preview sheet shows, for the same names install takes.
int runShow(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QString name = context.argument(0);
    const Resolved resolved = resolve(context, name);
    if (!resolved.entry)
        return resolved.exitCode;

    QString source;
    QByteArray bytes;
    // The download always answers later, from the event loop.
    QEventLoop loop;
    model.download(*resolved.entry, &loop, [&](const QString &from, const QByteArray &body) {
        source = from;
        bytes = body;
        loop.quit();
    });
    loop.exec();
    if (source.isEmpty())
        return out.fail(ExitCode::failed, u"could not download "_s + Output::plain(name));

    // download() answers only for names that have a file name to install under.
    const QString stem
        = SkillFile::installStem(RegistryEntry::withoutSearchPrefix(resolved.entry->name))
              .value_or(QString());
    const SkillPreview::Preview preview = SkillPreview::make(stem, source, bytes);
    if (out.json()) {
        out.json(QJsonObject{{u"name"_s, resolved.entry->name},
                             {u"file"_s, preview.fileName},
                             {u"title"_s, preview.title},
                             {u"description"_s, preview.description},
                             {u"source"_s, preview.source},
                             {u"size"_s, preview.size},
                             {u"line_count"_s, preview.lineCount},
                             {u"lines"_s, QJsonArray::fromStringList(preview.lines)}});
        return ExitCode::ok;
    }
    out.line(u"Title:        "_s + Output::plain(preview.title));
    out.line(u"Description:  "_s + Output::plain(preview.description));
    out.line(u"Source:       "_s + Output::plain(preview.source));
    out.line(u"Size:         "_s + SkillPreview::sizeText(preview.size));
    out.line(u"Installs as:  "_s + Output::plain(preview.fileName));
    out.line(QString());
    out.line(SkillPreview::linesCaption(preview));
    for (const QString &line : preview.lines)
        out.line(u"  "_s + Output::plain(line));
    return ExitCode::ok;
}

int runDelete(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QString name = context.argument(0);
    const QString file = model.installFolder() + u'/' + name + u".md"_s;
    if (!SkillFile::isPlainName(name) || !QFileInfo(file).isFile()) {
        return out.fail(ExitCode::badInput, u"no skill file "_s + Output::plain(name) + u".md in "_s
                                                + Output::plain(model.installFolder()));
    }
    // The window offers delete for registry skills only; the others ship with the service.
    if (SkillCatalog::originOf(name) != "registry"_L1 && !context.isSet(u"force"_s)) {
        return out.fail(ExitCode::badInput, u"\""_s + Output::plain(name)
                                                + u"\" is not a registry skill; --force deletes "
                                                  "it anyway"_s);
    }
    if (const int code = context.prepareWrite())
        return code;
    if (!model.deleteSkill(name))
        return out.fail(ExitCode::failed, u"could not delete "_s + Output::plain(file));
    return context.session().checkSaved();
}

int runAddSource(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QString source = context.argument(0).trimmed();
    if (source.isEmpty())
        return out.fail(ExitCode::badInput, u"the source needs a repository name (owner/repo)"_s);
    if (model.skillSources().contains(source)) {
        out.line(Output::plain(source) + u" is already a source"_s);
        return ExitCode::ok;
    }
    if (const int code = context.prepareWrite())
        return code;
    model.setNewSource(source);
    model.addSource();
    return context.session().checkSaved();
}

// ---- updates ------------------------------------------------------------------------------

QString stateText(const SkillUpdates::Result &result)
{
    switch (result.state) {
    case SkillUpdates::State::Outdated: return u"update available"_s;
    case SkillUpdates::State::Current: return u"up to date"_s;
    case SkillUpdates::State::Failed: return u"couldn't check: "_s + Output::plain(result.problem);
    case SkillUpdates::State::Checking: break;
    }
    return u"checking"_s;
}

QString stateKey(SkillUpdates::State state)
{
    switch (state) {
    case SkillUpdates::State::Outdated: return u"outdated"_s;
    case SkillUpdates::State::Current: return u"current"_s;
    case SkillUpdates::State::Failed: return u"failed"_s;
    case SkillUpdates::State::Checking: break;
    }
    return u"checking"_s;
}

// Runs the check of `name` (every installed catalogue skill when empty) to its end.
void runCheck(SkillUpdates &updates, const QString &name)
{
    QEventLoop loop;
    QObject::connect(&updates, &SkillUpdates::finished, &loop, &QEventLoop::quit);
    updates.check(name);
    loop.exec();
}

// An installed skill of the fixed catalogue called `name`, or the exit code after saying why
// not.
int checkUpdatable(CommandContext &context, const QString &name)
{
    SettingsModel &model = context.model();
    const QString file = model.installFolder() + u'/' + name + u".md"_s;
    if (!SkillCatalog::isRegistry(name)) {
        return context.out().fail(ExitCode::badInput,
                                  u"\""_s + Output::plain(name)
                                      + u"\" is not a skill of the catalogue; varnookctl skills "
                                        "outdated lists the ones that can be updated"_s);
    }
    if (!QFileInfo(file).isFile()) {
        return context.out().fail(ExitCode::badInput, u"no skill file "_s + Output::plain(name)
                                                          + u".md in "_s
                                                          + Output::plain(model.installFolder()));
    }
    return ExitCode::ok;
}

int runOutdated(CommandContext &context)
{
    Output &out = context.out();
    SkillUpdates updates(&context.model().registry());
    runCheck(updates, {});
    const int code
        = updates.count(SkillUpdates::State::Failed) > 0 ? ExitCode::failed : ExitCode::ok;
    if (out.json()) {
        QJsonArray array;
        for (const SkillUpdates::Result &result : updates.results()) {
            array.append(QJsonObject{{u"name"_s, result.name},
                                     {u"state"_s, stateKey(result.state)},
                                     {u"problem"_s, result.problem}});
        }
        out.json(array);
        return code;
    }
    QList<QStringList> rows;
    for (const SkillUpdates::Result &result : updates.results())
        rows.append({Output::plain(result.name), stateText(result)});
    for (const QString &line : CtlViews::table(rows))
        out.line(line);
    out.line(updates.summary());
    return code;
}

int runUpdate(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    const QString name = context.argument(0);
    if (!name.isEmpty()) {
        if (const int code = checkUpdatable(context, name))
            return code;
    }
    SkillUpdates updates(&model.registry());
    runCheck(updates, name);
    int code = ExitCode::ok;
    qsizetype updated = 0;
    // A copy: update() changes the results it walks.
    const QList<SkillUpdates::Result> results = updates.results();
    for (const SkillUpdates::Result &result : results) {
        if (result.state == SkillUpdates::State::Failed) {
            out.warn(u"couldn't check "_s + Output::plain(result.name) + u": "_s
                     + Output::plain(result.problem));
            code = ExitCode::failed;
        } else if (result.state == SkillUpdates::State::Outdated) {
            if (!updates.update(result.name)) {
                out.warn(Output::plain(updates.problem()));
                code = ExitCode::failed;
                continue;
            }
            ++updated;
            out.line(u"Updated "_s + Output::plain(result.name) + u".md in "_s
                     + Output::plain(model.installFolder()));
        }
    }
    if (results.isEmpty())
        out.line(updates.summary());
    else if (updated == 0 && code == ExitCode::ok)
        out.line(name.isEmpty() ? u"All catalogue skills are up to date."_s
                                : Output::plain(name) + u" is up to date."_s);
    return code;
}

QCommandLineOption botOptionFor(const QString &description)
{
    return QCommandLineOption(u"bot"_s, description, u"N"_s);
}

} // namespace

QList<Command> skillCommands()
{
    using A = Command::Access;
    const CommandArgument name{u"NAME"_s, u"The skill's name: its file name without .md."_s};
    return {
        {{u"skills"_s, u"list"_s},
         u"List the installed skills by group, with their switches"_s,
         u"With --bot, shows what that bot may use: a skill is on when it is on for every "
         "bot and the bot does not switch it off."_s,
         {},
         {botOptionFor(u"Show the skills as bot N (from 1) has them."_s)},
         A::Reads,
         true,
         runList},
        {{u"skills"_s, u"enable"_s},
         u"Switch a skill on (for every bot, or with --bot for one)"_s,
         u"A bot can only switch off more skills than the defaults; it cannot switch on one "
         "that is off for every bot."_s,
         {name},
         {botOptionFor(u"Only for bot N (from 1)."_s),
          QCommandLineOption(u"group"_s, u"NAME is a group: switch all of its skills."_s)},
         A::Writes,
         false,
         [](CommandContext &c) { return runSwitch(c, true); }},
        {{u"skills"_s, u"disable"_s},
         u"Switch a skill off (for every bot, or with --bot for one)"_s,
         {},
         {name},
         {botOptionFor(u"Only for bot N (from 1)."_s),
          QCommandLineOption(u"group"_s, u"NAME is a group: switch all of its skills."_s)},
         A::Writes,
         false,
         [](CommandContext &c) { return runSwitch(c, false); }},
        {{u"skills"_s, u"reset"_s},
         u"Let a bot follow the default skills exactly"_s,
         {},
         {{u"BOT"_s, u"The bot's number, from 1."_s}},
         {},
         A::Writes,
         false,
         runReset},
        {{u"skills"_s, u"search"_s},
         u"Search GitHub for skill repositories"_s,
         u"Ten results a page; install one with varnookctl skills install owner/repo."_s,
         {{u"QUERY"_s, u"What to look for."_s}},
         {QCommandLineOption(u"page"_s, u"Show page N (from 1)."_s, u"N"_s)},
         A::None,
         true,
         runSearch},
        {{u"skills"_s, u"catalog"_s},
         u"List the skills that can be installed by name"_s,
         u"The fixed catalogue; with --full also the skills folders of anthropics/skills and "
         "of the sources in skill_sources, read from GitHub. In title order, as on the "
         "Registry page; FILTER keeps the entries whose title and description hold it."_s,
         {{u"FILTER"_s, u"Text to look for in titles and descriptions."_s, true}},
         {QCommandLineOption(u"full"_s, u"Load the full catalogue from GitHub too."_s)},
         A::Reads,
         true,
         runCatalog},
        {{u"skills"_s, u"install"_s},
         u"Install a skill from the catalogue, or a GitHub repository's SKILL.md"_s,
         u"NAME is any name varnookctl skills catalog --full prints, or owner/repo; a name "
         "with \"/\" is looked up in the full catalogue first, and github:owner/repo always "
         "means the repository. The skill is written to the folder \"skills\" beside the "
         "configuration file."_s,
         {{u"NAME"_s, u"A catalogue name, or owner/repo."_s}},
         {QCommandLineOption(u"catalog"_s,
                             u"Look NAME up in the full catalogue loaded from GitHub."_s)},
         A::Reads,
         false,
         runInstall},
        {{u"skills"_s, u"show"_s},
         u"Download a skill and show it without installing it"_s,
         u"Takes the names install takes and prints what the Registry page's Preview shows: "
         "the title and description as the Skills page will read them, the address, the size "
         "and the first 40 lines."_s,
         {{u"NAME"_s, u"A catalogue name, or owner/repo."_s}},
         {QCommandLineOption(u"catalog"_s,
                             u"Look NAME up in the full catalogue loaded from GitHub."_s)},
         A::Reads,
         true,
         runShow},
        {{u"skills"_s, u"delete"_s},
         u"Delete an installed registry skill"_s,
         {},
         {name},
         {QCommandLineOption(u"force"_s, u"Delete a skill that is not from the registry too."_s)},
         A::Writes,
         false,
         runDelete},
        {{u"skills"_s, u"add-source"_s},
         u"Add a GitHub repository (owner/repo) to the full catalogue's sources"_s,
         {},
         {{u"REPO"_s, u"owner/repo"_s}},
         {},
         A::Writes,
         false,
         runAddSource},
        {{u"skills"_s, u"outdated"_s},
         u"Check the installed catalogue skills for updates"_s,
         u"Downloads the source of every installed skill of the fixed catalogue and compares "
         "it with the installed file, as \"Check for updates\" on the Skills & Features page "
         "does. Exit code 0 when every source could be checked (whether or not updates are "
         "available), 1 when one could not."_s,
         {},
         {},
         A::Reads,
         true,
         runOutdated},
        {{u"skills"_s, u"update"_s},
         u"Install the changed sources of catalogue skills"_s,
         u"Checks like varnookctl skills outdated, then writes each changed source over the "
         "installed file (a temporary file renamed over it, as install writes). Without NAME "
         "every installed catalogue skill is updated. Exit code 0 when every check and write "
         "worked, 1 when one did not."_s,
         {{u"NAME"_s, u"An installed skill of the catalogue."_s, true}},
         {},
         A::Reads,
         false,
         runUpdate},
    };
}
