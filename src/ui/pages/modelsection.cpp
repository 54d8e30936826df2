#include "ui/pages/modelbindings.h"
#include "ui/pages/modelsection.h"

#include "ui/controls/binding.h"
#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/modelpicker.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/backuplisteditor.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/pages/testallview.h"
#include "model/settingsmodel.h"
#include "providers/providertargets.h"
#include "service/statusinfo.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

// The per-bot breakdown names this many bots and counts the rest: a wrapped label lays its
// whole text out several times per size request, so a status file listing thousands of bots
// would otherwise hold up the window for seconds.
constexpr qsizetype breakdownBots = 20;

// The smallest caption style, for the per-bot breakdown under the request count.
QFont breakdownFont(const QFont &base)
{
    QFont font = base;
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 0.8);
    return font;
}

} // namespace

ModelSection::ModelSection(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_page(new SettingsPage(WindowState::of(model), u"Model"_s))
{
    setObjectName(u"modelPage"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    buildStatus();
    buildPrimary();
    buildBackups();
    addTestAll(model, m_page->addGroup(u"All providers"_s));
}

void ModelSection::buildStatus()
{
    SettingsModel *model = m_model;
    SettingsGroup *group = m_page->addGroup(u"Status"_s);

    auto *running = new StatusRow(WindowState::of(model), u"Status"_s);
    auto *provider = new StatusRow(WindowState::of(model), u"Primary provider"_s);
    auto *backups = new StatusRow(WindowState::of(model), u"Backup models"_s);
    auto *requests = new StatusRow(WindowState::of(model), u"Requests"_s);
    QLabel *perBot = new WrapLabel; // nicknames may be long words
    perBot->setObjectName(u"requestsByBot"_s);
    perBot->setFont(breakdownFont(perBot->font()));
    perBot->setForegroundRole(QPalette::PlaceholderText);
    perBot->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *tokens = new StatusRow(WindowState::of(model), u"Tokens used"_s);
    for (QWidget *widget : {static_cast<QWidget *>(running), static_cast<QWidget *>(provider),
                            static_cast<QWidget *>(backups), static_cast<QWidget *>(requests),
                            static_cast<QWidget *>(perBot), static_cast<QWidget *>(tokens)}) {
        group->addWidget(widget);
    }

    // The breakdown belongs to the request count: it goes away with that row in a search.
    auto updatePerBot = [requests, perBot] {
        setShownWithParent(perBot, requests->matchesFilter() && !perBot->text().isEmpty());
    };
    connect(requests, &FilteredRow::filterMatchChanged, perBot, updatePerBot);

    Bind::watch(model, this, {&SettingsModel::statusChanged},
                [model, running, provider, backups, requests, perBot, tokens, updatePerBot] {
                    const StatusInfo &status = model->status();
                    const QColor colour
                        = status.botRunning ? StatusColors::good() : StatusColors::bad();
                    running->setValue(statusLineText(status), colour);
                    running->setDot(colour);
                    provider->setValue(primaryProviderText(status));
                    backups->setValue(backupModelsText(status));
                    requests->setValue(requestsText(status));
                    perBot->setText(requestsByBotLabel(status, breakdownBots));
                    tokens->setValue(tokensUsedText(status));
                    updatePerBot();
                });

    // The buttons are always enabled: the service may be in any state the status file has
    // not caught up with yet.
    QHBoxLayout *buttons = nullptr;
    QWidget *controls = buttonLine(&buttons, u"serverControls"_s);
    buttons->setContentsMargins(0, 8, 0, 4);
    const struct {
        QString text;
        QString symbol;
        QString name;
        QString action;
    } actions[] = {
        {u"Start server"_s, u"play.fill"_s, u"startServer"_s, u"start"_s},
        {u"Stop server"_s, u"stop.fill"_s, u"stopServer"_s, u"stop"_s},
        {u"Restart server"_s, u"arrow.clockwise"_s, u"restartServer"_s, u"restart"_s},
    };
    for (const auto &entry : actions) {
        auto *button = new QPushButton(entry.text);
        button->setObjectName(entry.name);
        Icons::setIcon(button, entry.symbol);
        connect(button, &QPushButton::clicked, this,
                [model, action = entry.action] { model->sendBotControl(action); });
        buttons->addWidget(button);
    }
    QLabel *message = plainLabel();
    message->setObjectName(u"controlMessage"_s);
    buttons->addSpacing(4);
    buttons->addWidget(message, 1);
    group->addWidget(controls);
    Bind::watch(model, message, {&SettingsModel::controlMsgChanged},
                [model, message] { message->setText(model->controlMsg().value_or(QString())); });
}

void ModelSection::buildPrimary()
{
    SettingsModel *model = m_model;
    auto save = [model] { model->saveAndNotify(); };
    SettingsGroup *group = m_page->addGroup(u"Primary model"_s);

    auto *url = new Field;
    url->setObjectName(u"primaryUrl"_s);
    url->bind(model, Bind::config<ConfigKey::BaseURL>(&model->store()), save);
    group->addWidget(
        new SettingRow(WindowState::of(model), u"Server URL (required)"_s,
                       u"Any OpenAI-compatible endpoint — e.g. https://api.openai.com/v1, "
                       u"https://openrouter.ai/api/v1, http://127.0.0.1:11234/v1 for local"_s,
                       url));

    auto *key = new SecretField(SecretField::keyHelp());
    key->setObjectName(u"primaryKey"_s);
    key->bind(model, Bind::config<ConfigKey::ApiKey>(&model->store()), save,
              Bind::shownApiKey(WindowState::of(model)));
    group->addWidget(
        new SettingRow(WindowState::of(model), u"API key"_s,
                       u"Empty for local servers. Keys stay in your config file only."_s, key));

    auto *modelId = new Field;
    modelId->setObjectName(u"primaryModel"_s);
    modelId->bind(model, Bind::config<ConfigKey::Model>(&model->store()), save);
    auto *picker = new ModelPicker(&model->providerTests(), modelId,
                                   [model] { return Providers::primaryTarget(model->values()); });
    auto *modelRow = new SettingRow(
        WindowState::of(model), u"Model name (required)"_s,
        u"e.g. claude-sonnet-4-5, gpt-5, deepseek-v4-flash-free, or a local model id."_s, picker);
    group->addWidget(modelRow);
    group->addWidget(picker->messageLabel());
    picker->followRow(modelRow);

    auto *nickname = new Field;
    nickname->setObjectName(u"primaryNickname"_s);
    nickname->bind(model, Bind::config<ConfigKey::ModelName>(&model->store()), save);
    group->addWidget(new SettingRow(
        WindowState::of(model), u"Nickname"_s,
        u"A friendly name so you can tell models apart (shows in the menu bar picker)."_s,
        nickname));

    auto *testButton = new QPushButton(u"Test"_s);
    testButton->setObjectName(u"primaryTest"_s);
    auto *testRow = new SettingRow(WindowState::of(model), u"Connection test"_s, {}, testButton);
    group->addWidget(testRow);
    QLabel *outcome = testOutcomeLabel(u"primaryTestOutcome"_s);
    group->addWidget(outcome);
    connect(testButton, &QPushButton::clicked, this, [model] {
        if (!model->testing())
            model->testPrimary();
    });
    auto refresh = [model, outcome, testButton, testRow] {
        testButton->setEnabled(!model->testing());
        showTestOutcome(outcome, model->testing(), model->testState());
        setShownWithParent(outcome, testRow->matchesFilter() && !outcome->text().isEmpty());
    };
    connect(testRow, &FilteredRow::filterMatchChanged, outcome, refresh);
    Bind::watch(model, outcome, {&SettingsModel::testingChanged, &SettingsModel::testStateChanged},
                refresh);
}

void ModelSection::buildBackups()
{
    SettingsModel *model = m_model;
    SettingsGroup *group = m_page->addGroup(
        u"Backup models"_s, u"Tried in order when the primary fails or throttles. Complete the "
                            u"last row before adding another."_s);

    BackupList list;
    list.count = [model] { return int(model->fallbacks().size()); };
    list.text = [model](int row, QString Fallback::*field) {
        return Bind::fallbackText(model, row, field);
    };
    list.shownKey
        = [model](int row) { return Bind::shownFallbackKey(WindowState::of(model), row); };
    list.target = [model](int row) {
        return Providers::backupTarget(model->values(), row).value_or(Providers::ProviderTarget{});
    };
    // Up on the first backup makes it the primary model; the model decides.
    list.move = [model](int row, bool up) { model->moveFallback(row, up); };
    list.remove = [model](int row) { model->removeFallback(row); };
    list.add = [model] { model->addFallback(); };
    list.canAdd = [model] { return model->canAddFallback(); };
    list.changes = {&SettingsModel::fallbacksChanged};
    list.tests = BackupList::Tests{
        [model](int row) { model->testBackup(row); },
        [model](int row) { return model->backupTesting() == qint64(row); },
        [model](int row) -> std::optional<TestOutcome> {
            const auto &outcomes = model->backupTestState();
            const auto found = outcomes.constFind(row);
            return found == outcomes.constEnd() ? std::nullopt : std::optional(*found);
        },
        {&SettingsModel::backupTestingChanged, &SettingsModel::backupTestStateChanged}};

    list.look = BackupList::Look::Sections;
    list.prefix = u"fallback"_s;
    list.iconSize = IconButtonSize::Compact;
    list.movesPastEnds = true;
    list.removeSymbol = u"minus.circle"_s;
    list.removeHelp = u"Remove this backup model"_s;
    list.url = {u"Server URL (required)"_s, u"Tried after the primary model fails."_s, {}};
    list.key = {u"API key"_s, u"Empty for local servers."_s, {}};
    list.model = {u"Model name (required)"_s, u"e.g. deepseek-v4-flash-free."_s, {}};
    list.nickname = {u"Nickname"_s, {}, {}};
    list.addText = u"Add model"_s;
    list.addName = u"addFallback"_s;
    list.addToolTip = u"Complete the last row first"_s;
    group->addWidget(backupListEditor(model, std::move(list)));
}

QWidget *createModelSection(SettingsModel *model, QWidget *parent)
{
    return new ModelSection(model, parent);
}
