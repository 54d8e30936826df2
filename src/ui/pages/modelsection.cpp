#include "ui/pages/modelsection.h"

#include "ui/controls/binding.h"
#include "ui/controls/field.h"
#include "ui/controls/iconbutton.h"
#include "ui/controls/icons.h"
#include "ui/controls/modelpicker.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/pages/testallview.h"
#include "model/settingsmodel.h"
#include "providers/providertargets.h"
#include "service/statusinfo.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString testingText = u"Testing connection…"_s;

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

// "Testing connection…" while a test runs, then the outcome's message in green or red; the
// caller decides whether the label shows.
void showOutcome(QLabel *label, bool testing, const std::optional<TestOutcome> &outcome)
{
    if (testing) {
        label->setPalette(QPalette());
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setText(testingText);
    } else if (outcome) {
        QPalette palette;
        palette.setColor(QPalette::WindowText,
                         outcome->ok ? StatusColors::good() : StatusColors::bad());
        label->setPalette(palette);
        label->setForegroundRole(QPalette::WindowText);
        label->setText(outcome->message);
    } else {
        label->clear();
    }
}

// A line of its own under the test button, aligned with the controls: transport errors can be
// long and wrap there instead of squeezing the button or widening the page.
QLabel *outcomeLabel(const QString &name)
{
    QLabel *label = new WrapLabel; // an address in a message may be one long word
    label->setObjectName(name);
    label->setAlignment(Qt::AlignRight | Qt::AlignTop);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setContentsMargins(0, 0, 0, 4);
    label->hide();
    return label;
}

QWidget *line(QHBoxLayout **layout, const QString &name)
{
    auto *widget = new QWidget;
    widget->setObjectName(name);
    *layout = new QHBoxLayout(widget);
    (*layout)->setContentsMargins(0, 4, 0, 4);
    (*layout)->setSpacing(8);
    return widget;
}

} // namespace

ModelSection::ModelSection(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_page(new SettingsPage(model, u"Model"_s))
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

    auto *running = new StatusRow(model, u"Status"_s);
    auto *provider = new StatusRow(model, u"Primary provider"_s);
    auto *backups = new StatusRow(model, u"Backup models"_s);
    auto *requests = new StatusRow(model, u"Requests"_s);
    QLabel *perBot = new WrapLabel; // nicknames may be long words
    perBot->setObjectName(u"requestsByBot"_s);
    perBot->setFont(breakdownFont(perBot->font()));
    perBot->setForegroundRole(QPalette::PlaceholderText);
    perBot->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *tokens = new StatusRow(model, u"Tokens used"_s);
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
    QWidget *controls = line(&buttons, u"serverControls"_s);
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
    url->bind(model,
              Bind::text(model, &SettingsModel::baseURL, &SettingsModel::setBaseURL,
                         &SettingsModel::baseURLChanged),
              save);
    group->addWidget(
        new SettingRow(model, u"Server URL (required)"_s,
                       u"Any OpenAI-compatible endpoint — e.g. https://api.openai.com/v1, "
                       u"https://openrouter.ai/api/v1, http://127.0.0.1:11234/v1 for local"_s,
                       url));

    auto *key = new SecretField(SecretField::keyHelp());
    key->setObjectName(u"primaryKey"_s);
    key->bind(model,
              Bind::text(model, &SettingsModel::apiKey, &SettingsModel::setApiKey,
                         &SettingsModel::apiKeyChanged),
              save, Bind::shownApiKey(model));
    group->addWidget(
        new SettingRow(model, u"API key"_s,
                       u"Empty for local servers. Keys stay in your config file only."_s, key));

    auto *modelId = new Field;
    modelId->setObjectName(u"primaryModel"_s);
    modelId->bind(model,
                  Bind::text(model, &SettingsModel::model, &SettingsModel::setModel,
                             &SettingsModel::modelChanged),
                  save);
    auto *picker = new ModelPicker(model, modelId,
                                   [model] { return Providers::primaryTarget(model->values()); });
    auto *modelRow = new SettingRow(
        model, u"Model name (required)"_s,
        u"e.g. claude-sonnet-4-5, gpt-5, deepseek-v4-flash-free, or a local model id."_s, picker);
    group->addWidget(modelRow);
    group->addWidget(picker->messageLabel());
    picker->followRow(modelRow);

    auto *nickname = new Field;
    nickname->setObjectName(u"primaryNickname"_s);
    nickname->bind(model,
                   Bind::text(model, &SettingsModel::modelName, &SettingsModel::setModelName,
                              &SettingsModel::modelNameChanged),
                   save);
    group->addWidget(new SettingRow(
        model, u"Nickname"_s,
        u"A friendly name so you can tell models apart (shows in the menu bar picker)."_s,
        nickname));

    auto *testButton = new QPushButton(u"Test"_s);
    testButton->setObjectName(u"primaryTest"_s);
    auto *testRow = new SettingRow(model, u"Connection test"_s, {}, testButton);
    group->addWidget(testRow);
    QLabel *outcome = outcomeLabel(u"primaryTestOutcome"_s);
    group->addWidget(outcome);
    connect(testButton, &QPushButton::clicked, this, [model] {
        if (!model->testing())
            model->testPrimary();
    });
    auto refresh = [model, outcome, testButton, testRow] {
        testButton->setEnabled(!model->testing());
        showOutcome(outcome, model->testing(), model->testState());
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

    auto build = [model](QVBoxLayout *layout) {
        auto save = [model] { model->saveAndNotify(); };
        const int count = int(model->fallbacks().size());
        for (int i = 0; i < count; ++i) {
            if (i > 0) {
                auto *separator = new QFrame;
                separator->setFrameShape(QFrame::HLine);
                separator->setFrameShadow(QFrame::Plain);
                separator->setForegroundRole(QPalette::Midlight);
                layout->addSpacing(4);
                layout->addWidget(separator);
            }

            QHBoxLayout *headerLayout = nullptr;
            QWidget *header = line(&headerLayout, u"fallback%1Header"_s.arg(i));
            headerLayout->setContentsMargins(0, 8, 0, 0);
            headerLayout->setSpacing(4);
            QLabel *title = plainLabel(u"Backup model "_s + QString::number(i + 1));
            title->setObjectName(u"fallback%1Title"_s.arg(i));
            title->setFont(groupTitleFont(title->font()));
            headerLayout->addWidget(title);
            headerLayout->addSpacing(6);
            QToolButton *up = iconButton(u"fallback%1Up"_s.arg(i), u"chevron.up"_s,
                                         u"Higher priority"_s, IconButtonSize::Compact);
            QToolButton *down = iconButton(u"fallback%1Down"_s.arg(i), u"chevron.down"_s,
                                           u"Lower priority"_s, IconButtonSize::Compact);
            QToolButton *remove
                = iconButton(u"fallback%1Remove"_s.arg(i), u"minus.circle"_s,
                             u"Remove this backup model"_s, IconButtonSize::Compact);
            headerLayout->addWidget(up);
            headerLayout->addWidget(down);
            headerLayout->addWidget(remove);
            headerLayout->addStretch(1);
            layout->addWidget(header);
            // Up on the first backup makes it the primary model; the model decides.
            QObject::connect(up, &QToolButton::clicked, up,
                             [model, i] { model->moveFallback(i, true); });
            QObject::connect(down, &QToolButton::clicked, down,
                             [model, i] { model->moveFallback(i, false); });
            QObject::connect(remove, &QToolButton::clicked, remove,
                             [model, i] { model->removeFallback(i); });

            auto *url = new Field;
            url->setObjectName(u"fallback%1Url"_s.arg(i));
            url->bind(model, Bind::fallbackText(model, i, &Fallback::base_url), save);
            auto *key = new SecretField(SecretField::keyHelp());
            key->setObjectName(u"fallback%1Key"_s.arg(i));
            key->bind(model, Bind::fallbackText(model, i, &Fallback::api_key), save,
                      Bind::shownFallbackKey(model, i));
            auto *modelId = new Field;
            modelId->setObjectName(u"fallback%1Model"_s.arg(i));
            modelId->bind(model, Bind::fallbackText(model, i, &Fallback::model), save);
            auto *picker = new ModelPicker(model, modelId, [model, i] {
                return Providers::backupTarget(model->values(), i)
                    .value_or(Providers::ProviderTarget{});
            });
            auto *name = new Field;
            name->setObjectName(u"fallback%1Name"_s.arg(i));
            name->bind(model, Bind::fallbackText(model, i, &Fallback::name), save);

            auto *modelRow = new SettingRow(model, u"Model name (required)"_s,
                                            u"e.g. deepseek-v4-flash-free."_s, picker);
            const QList<SettingRow *> rows{
                new SettingRow(model, u"Server URL (required)"_s,
                               u"Tried after the primary model fails."_s, url),
                new SettingRow(model, u"API key"_s, u"Empty for local servers."_s, key),
                modelRow,
                new SettingRow(model, u"Nickname"_s, {}, name),
            };
            for (SettingRow *row : rows) {
                row->setObjectName(u"fallback%1"_s.arg(i) + row->objectName().at(0).toUpper()
                                   + row->objectName().mid(1));
                layout->addWidget(row);
                if (row == modelRow)
                    layout->addWidget(picker->messageLabel());
            }
            picker->followRow(modelRow);

            QHBoxLayout *testLayout = nullptr;
            QWidget *testLine = line(&testLayout, u"fallback%1TestLine"_s.arg(i));
            auto *test = new QPushButton(u"Test"_s);
            test->setObjectName(u"fallback%1Test"_s.arg(i));
            test->setToolTip(u"Test this provider with its current values"_s);
            testLayout->addStretch(1);
            testLayout->addWidget(test);
            layout->addWidget(testLine);
            QLabel *outcome = outcomeLabel(u"fallback%1TestOutcome"_s.arg(i));
            layout->addWidget(outcome);
            QObject::connect(test, &QPushButton::clicked, test,
                             [model, i] { model->testBackup(i); });

            // In a search the header, the test button and the outcome stay with the rows they
            // belong to.
            auto blockShown = [model, rows] {
                return model->filter().isEmpty()
                       || std::any_of(rows.cbegin(), rows.cend(),
                                      [](SettingRow *row) { return row->matchesFilter(); });
            };
            auto updateExtras = [blockShown, header, testLine, outcome] {
                const bool show = blockShown();
                setShownWithParent(header, show);
                setShownWithParent(testLine, show);
                setShownWithParent(outcome, show && !outcome->text().isEmpty());
            };
            for (SettingRow *row : rows)
                QObject::connect(row, &FilteredRow::filterMatchChanged, header, updateExtras);
            QObject::connect(model, &SettingsModel::filterChanged, header, updateExtras);

            Bind::watch(
                model, outcome,
                {&SettingsModel::backupTestingChanged, &SettingsModel::backupTestStateChanged},
                [model, outcome, test, i, updateExtras] {
                    const bool testing = model->backupTesting() == qint64(i);
                    test->setEnabled(!testing);
                    const auto &outcomes = model->backupTestState();
                    const auto found = outcomes.constFind(i);
                    showOutcome(outcome, testing,
                                found == outcomes.constEnd() ? std::nullopt
                                                             : std::optional<TestOutcome>(*found));
                    updateExtras();
                });
        }

        QHBoxLayout *addLayout = nullptr;
        QWidget *addLine = line(&addLayout, u"addFallbackLine"_s);
        addLayout->setContentsMargins(0, 8, 0, 4);
        auto *add = new QPushButton(u"Add model"_s);
        add->setObjectName(u"addFallback"_s);
        Icons::setIcon(add, u"plus.circle"_s);
        add->setToolTip(u"Complete the last row first"_s);
        addLayout->addWidget(add);
        addLayout->addStretch(1);
        layout->addWidget(addLine);
        QObject::connect(add, &QPushButton::clicked, add, [model] {
            if (model->canAddFallback())
                model->addFallback();
        });
        // Enabling follows every keystroke in the last row, not only added or removed rows.
        Bind::watch(model, add, {&SettingsModel::fallbacksChanged},
                    [model, add] { add->setEnabled(model->canAddFallback()); });
    };

    group->addWidget(new DynamicBlock(
        model, {&SettingsModel::fallbacksChanged},
        [model] { return QString::number(model->fallbacks().size()); }, build));
}

QWidget *createModelSection(SettingsModel *model, QWidget *parent)
{
    return new ModelSection(model, parent);
}
