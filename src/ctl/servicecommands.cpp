// status, start, stop, restart and test: the service side of the Model page.
#include "ctl/command.h"

#include "model/settingsmodel.h"
#include "ctl/views.h"
#include "service/statusinfo.h"

#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

int runStatus(CommandContext &context)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    model.refreshStatus();
    const StatusInfo &status = model.status();
    if (out.json()) {
        // The texts of the Model page's rows, and the record they were made from under the
        // status file's own key names.
        out.json(QJsonObject{
            {u"status"_s, statusLineText(status)},
            {u"primary_provider"_s, primaryProviderText(status)},
            {u"backup_models"_s, backupModelsText(status)},
            {u"requests"_s, requestsText(status)},
            {u"requests_by_bot"_s, requestsByBotLabel(status)},
            {u"tokens_used"_s, tokensUsedText(status)},
            {u"record"_s, statusRecord(status)},
        });
        return ExitCode::ok;
    }
    QList<QStringList> rows{
        {u"Status"_s, statusLineText(status)},
        {u"Primary provider"_s, primaryProviderText(status)},
        {u"Backup models"_s, backupModelsText(status)},
        {u"Requests"_s, requestsText(status)},
    };
    const QString byBot = requestsByBotLabel(status);
    if (!byBot.isEmpty())
        rows.append({QString(), byBot});
    rows.append({u"Tokens used"_s, tokensUsedText(status)});
    for (QStringList &row : rows)
        row.last() = Output::plain(row.last());
    for (const QString &line : CtlViews::table(rows))
        out.line(line);
    return ExitCode::ok;
}

// Start, stop or restart: the same request and wait as the window's server buttons. The
// window always ends on its completion message; here the exit code says whether the service
// really got there, judged from the status file once the wait is over.
int runControl(CommandContext &context, const QString &action)
{
    Output &out = context.out();
    SettingsModel &model = context.model();
    // The window has been reading the status file all along; the terminal reads it once now,
    // so that a restart is told by a pid other than the one running before.
    model.refreshStatus();
    const qint64 pidBefore = model.status().pid;

    bool finished = false;
    QObject::connect(&model, &SettingsModel::controlMsgChanged, &model, [&] {
        if (finished || !model.controlMsg())
            return;
        out.line(*model.controlMsg());
        finished = model.controlMsg()->startsWith(u"✓ "_s);
    });
    model.sendBotControl(action);
    context.session().waitUntil(&SettingsModel::controlMsgChanged, [&] { return finished; });

    model.refreshStatus();
    const StatusInfo &status = model.status();
    if (controlReached(action, status, pidBefore))
        return ExitCode::ok;

    const QString wanted = action == "start"_L1  ? u"report running"_s
                           : action == "stop"_L1 ? u"report stopped"_s
                                                 : u"come back with a new pid"_s;
    return out.fail(ExitCode::failed, u"the bot service did not "_s + wanted + u" after "_s
                                          + QString::number(SettingsModel::controlMaxPolls)
                                          + u" checks (status: "_s + statusLineText(status)
                                          + u")"_s);
}

int runTest(CommandContext &context)
{
    if (context.isSet(u"all"_s)) {
        if (context.isSet(u"backup"_s))
            return context.out().fail(ExitCode::badInput,
                                      u"--all and --backup cannot be used together"_s);
        return runTestAll(context);
    }
    Output &out = context.out();
    SettingsModel &model = context.model();
    std::optional<TestOutcome> outcome;
    QJsonObject object;
    if (context.isSet(u"backup"_s)) {
        const std::optional<int> index = context.backupIndex(context.value(u"backup"_s));
        if (!index)
            return ExitCode::badInput;
        model.testBackup(*index);
        context.session().waitUntil(&SettingsModel::backupTestingChanged,
                                    [&] { return !model.backupTesting(); });
        outcome = model.backupTestState().value(*index);
        object.insert(u"backup"_s, *index + 1);
    } else {
        model.testPrimary();
        context.session().waitUntil(&SettingsModel::testingChanged,
                                    [&] { return !model.testing(); });
        outcome = model.testState();
    }
    if (!outcome)
        return out.fail(ExitCode::failed, u"the connection test gave no outcome"_s);

    if (out.json()) {
        object.insert(u"ok"_s, outcome->ok);
        object.insert(u"message"_s, outcome->message);
        out.json(object);
    } else {
        out.line(Output::plain(outcome->message));
    }
    return outcome->ok ? ExitCode::ok : ExitCode::failed;
}

Command control(const QString &action, const QString &summary)
{
    return {{action},
            summary,
            u"Asks the bot service over the session bus and follows the status file, once a "
            "second, at most 31 times, as the window's server buttons do. Prints the pending "
            "text and the completion text. Exit code 0 when the service got there, 1 when the "
            "wait ran out."_s,
            {},
            {},
            Command::Access::None,
            false,
            [action](CommandContext &c) { return runControl(c, action); }};
}

} // namespace

QList<Command> serviceCommands()
{
    using A = Command::Access;
    return {
        {{u"status"_s},
         u"Show the bot service's status, as on the Model page"_s,
         u"Read from varnook-status.json beside the configuration file."_s,
         {},
         {},
         A::None,
         true,
         runStatus},
        control(u"start"_s, u"Ask the bot service to start and wait for it"_s),
        control(u"stop"_s, u"Ask the bot service to stop and wait for it"_s),
        control(u"restart"_s, u"Ask the bot service to restart and wait for its new process"_s),
        {{u"test"_s},
         u"Test the primary provider, a backup model or all of them with one \"ping\" request"_s,
         u"Prints the same message as the window. Exit code 0 only when the provider "
         "answered with a success status. With --all, tests the primary model, every backup "
         "model and every bot's own provider and backup models, four at a time, and prints a "
         "table of outcomes and milliseconds (never a key); exit code 0 only when every one "
         "answered with a success status."_s,
         {},
         {QCommandLineOption(u"backup"_s, u"Test backup model N (from 1) instead."_s, u"N"_s),
          QCommandLineOption(u"all"_s, u"Test every provider of the configuration."_s)},
         A::Reads,
         true,
         runTest},
    };
}
