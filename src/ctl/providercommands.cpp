// models and test --all: the provider side of the Model page that needs no single backup.

#include "ctl/command.h"
#include "ctl/views.h"

#include "model/settingsmodel.h"
#include "providers/modellist.h"
#include "providers/providerbatch.h"
#include "providers/providertargets.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

// The provider `models` asks: the primary model, a backup model of the defaults, a bot's own
// provider (with what it inherits) or a bot's own backup model. Prints why not and gives nothing
// when a number is out of range.
std::optional<Providers::ProviderTarget> chosenTarget(CommandContext &context)
{
    const ConfigValues &values = context.model().values();
    const bool backup = context.isSet(u"backup"_s);
    if (!context.isSet(u"bot"_s)) {
        if (!backup)
            return Providers::primaryTarget(values);
        const std::optional<int> index = context.backupIndex(context.value(u"backup"_s));
        return index ? Providers::backupTarget(values, *index) : std::nullopt;
    }
    const std::optional<int> bot = context.botIndex(context.value(u"bot"_s));
    if (!bot)
        return std::nullopt;
    if (!backup)
        return Providers::botTarget(values, *bot);
    const qsizetype own = values.botProfiles.value(*bot).fallbacks.size();
    const std::optional<int> index
        = context.index(context.value(u"backup"_s), own, u"backup model"_s,
                        u" of bot "_s + QString::number(*bot + 1));
    return index ? Providers::botBackupTarget(values, *bot, *index) : std::nullopt;
}

int runModels(CommandContext &context)
{
    Output &out = context.out();
    const std::optional<Providers::ProviderTarget> target = chosenTarget(context);
    if (!target)
        return ExitCode::badInput;

    SettingsModel &model = context.model();
    Providers::ModelList list;
    QEventLoop loop;
    Providers::fetchModels(model.network(), model.providerTestTimeout(), &loop, *target,
                           [&](const Providers::ModelList &fetched) {
                               list = fetched;
                               loop.quit();
                           });
    loop.exec();
    if (!list.ok)
        return out.fail(ExitCode::failed, Output::plain(list.message));

    if (out.json()) {
        out.json(QJsonObject{{u"name"_s, target->name},
                             {u"address"_s, target->baseURL},
                             {u"models"_s, QJsonArray::fromStringList(list.ids)}});
        return ExitCode::ok;
    }
    if (list.ids.isEmpty())
        out.warn(u"the provider lists no models"_s);
    for (const QString &id : std::as_const(list.ids))
        out.line(Output::plain(id));
    return ExitCode::ok;
}

QString msText(const Providers::ProviderBatch::Row &row)
{
    return row.ms < 0 ? QString() : QString::number(row.ms);
}

} // namespace

int runTestAll(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    Providers::ProviderBatch batch;
    batch.setTimeout(model.providerTestTimeout());
    QEventLoop loop;
    QObject::connect(&batch, &Providers::ProviderBatch::finished, &loop, &QEventLoop::quit);
    batch.start(model.network(), Providers::allTargets(model.values()));
    loop.exec();

    if (out.json()) {
        QJsonArray rows;
        for (const Providers::ProviderBatch::Row &row : batch.rows()) {
            rows.append(QJsonObject{{u"name"_s, row.target.name},
                                    {u"address"_s, row.target.baseURL},
                                    {u"model"_s, row.target.model},
                                    {u"ok"_s, row.outcome.ok},
                                    {u"outcome"_s, row.outcomeText()},
                                    {u"message"_s, row.outcome.message},
                                    {u"ms"_s, row.ms}});
        }
        out.json(QJsonObject{{u"providers"_s, rows}, {u"ok"_s, batch.allAnswered()}});
    } else {
        QList<QStringList> table{{u"NAME"_s, u"ADDRESS"_s, u"MODEL"_s, u"MS"_s, u"OUTCOME"_s}};
        for (const Providers::ProviderBatch::Row &row : batch.rows()) {
            table.append({Output::plain(row.target.name), Output::plain(row.target.baseURL),
                          Output::plain(row.target.model), msText(row),
                          Output::plain(row.outcomeText())});
        }
        for (const QString &line : CtlViews::table(table))
            out.line(line);
        out.line(QString::number(batch.answeredCount()) + u" of "_s
                 + QString::number(batch.rows().size()) + u" answered"_s);
    }
    return batch.allAnswered() ? ExitCode::ok : ExitCode::failed;
}

QList<Command> providerCommands()
{
    return {
        {{u"models"_s},
         u"List the models a provider offers (GET <server URL>/models)"_s,
         u"Asks the primary provider, or with --backup a backup model's, with --bot a bot's own "
         "provider (what it inherits included), with --bot and --backup one of the bot's own "
         "backup models. Prints one model id a line, sorted, as the window's \"Fetch models\" "
         "offers them. Exit code 0 when the provider answered with a list, 1 otherwise, with "
         "the connection test's message."_s,
         {},
         {QCommandLineOption(u"backup"_s, u"Backup model N (from 1)."_s, u"N"_s),
          QCommandLineOption(u"bot"_s, u"Bot N (from 1): its own provider."_s, u"N"_s)},
         Command::Access::Reads,
         true,
         runModels},
    };
}
