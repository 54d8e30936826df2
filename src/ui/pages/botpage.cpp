#include "ui/pages/modelbindings.h"
#include "ui/pages/botpage.h"

#include "ui/controls/binding.h"
#include "ui/controls/choicecontrol.h"
#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/modelpicker.h"
#include "ui/controls/settingrow.h"
#include "ui/controls/timepicker.h"
#include "ui/pages/botskillssheet.h"
#include "ui/pages/backuplisteditor.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/pages/tokencheck.h"
#include "config/inheritance.h"
#include "config/personafiles.h"
#include "model/settingsmodel.h"
#include "providers/providertargets.h"
#include "skills/skillcatalog.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

QString ownText(const SettingsModel *model, int bot, QString BotProfile::*field)
{
    const QList<BotProfile> &profiles = model->botProfiles();
    return bot >= 0 && bot < profiles.size() ? profiles.at(bot).*field : QString();
}

qsizetype ownFallbackCount(const SettingsModel *model, int bot)
{
    const QList<BotProfile> &profiles = model->botProfiles();
    return bot >= 0 && bot < profiles.size() ? profiles.at(bot).fallbacks.size() : 0;
}

// A row whose explainer says what the bot inherits or overrides, followed by the row's own
// help, and follows both the bot's value and the default.
SettingRow *inheritingRow(SettingsModel *model, int bot, const QString &title, QWidget *control,
                          QString BotProfile::*field, const Bind::Text &inherited,
                          const QString &help = {})
{
    auto *row = new SettingRow(WindowState::of(model), title, {}, control);
    Bind::watch(
        model, row, inherited.changed + QList<Bind::Change>{&SettingsModel::botProfilesChanged},
        [model, bot, row, field, defaultValue = inherited.get, help] {
            row->setExplainer(inheritanceText(ownText(model, bot, field), defaultValue()) + help);
        });
    return row;
}

Field *textField(SettingsModel *model, int bot, const QString &objectName,
                 QString BotProfile::*field)
{
    auto *edit = new Field;
    edit->setObjectName(objectName);
    edit->bind(model, Bind::botProfileText(model, bot, field), [model] { model->saveAndNotify(); });
    return edit;
}

// The bot's own backup models, in the rows of its Provider group.
QWidget *ownFallbacksEditor(SettingsModel *model, int bot)
{
    BackupList list;
    list.count = [model, bot] { return int(ownFallbackCount(model, bot)); };
    list.text = [model, bot](int row, QString Fallback::*field) {
        return Bind::botFallbackText(model, bot, row, field);
    };
    list.shownKey = [model, bot](int row) {
        return Bind::shownProfileKey(WindowState::of(model),
                                     BotPage::fallbackKeyIdentity(bot, row));
    };
    list.target = [model, bot](int row) {
        return Providers::botBackupTarget(model->values(), bot, row)
            .value_or(Providers::ProviderTarget{});
    };
    list.move = [model, bot](int row, bool up) { model->moveBotFallback(bot, row, up); };
    list.remove = [model, bot](int row) { model->removeBotFallback(bot, row); };
    // Unlike the defaults' list, a bot may add rows before finishing the last one.
    list.add = [model, bot] { model->addBotFallback(bot); };
    list.changes = {&SettingsModel::botProfilesChanged};

    list.look = BackupList::Look::Rows;
    list.prefix = u"botFallback"_s;
    list.removeSymbol = u"trash"_s;
    list.removeHelp = u"Remove this fallback"_s;
    list.url = {u"Fallback URL"_s, {}, u"UrlRow"_s};
    list.key = {u"Fallback API key"_s, u"Empty for local servers."_s, u"KeyRow"_s};
    list.model = {u"Fallback model"_s, u"e.g. deepseek-v4-flash-free."_s, u"ModelRow"_s};
    list.addText = u"Add fallback provider"_s;
    list.addName = u"addBotFallback"_s;
    // The page offers the first one with its own button.
    list.addWhenEmpty = false;
    return backupListEditor(model, std::move(list));
}

} // namespace

QString BotPage::introText(const QString &label)
{
    return u"Settings on this page belong to "_s + label + u" only. "_s
           + u"Empty fields follow the defaults — each row shows "_s + u"what "_s + label
           + u" actually uses."_s;
}

QString BotPage::fallbackKeyIdentity(int bot, int row)
{
    return QString::number(bot) + u'-' + QString::number(row);
}

QString BotPage::primaryKeyIdentity(int bot)
{
    return QString::number(bot) + u"-key"_s;
}

QString BotPage::modeCustomKey()
{
    return u"\\(i):mode"_s;
}

QString BotPage::soulCustomKey(int bot)
{
    return QString::number(bot) + u":soul"_s;
}

BotPage::BotPage(SettingsModel *model, int bot, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_bot(bot)
    , m_page(new SettingsPage(WindowState::of(model), {}))
{
    setObjectName(u"botPage"_s);
    m_page->setObjectName(u"botScroll"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    QLabel *intro = m_page->setIntro({});
    Bind::watch(model, this,
                {&SettingsModel::botNicknamesChanged, &SettingsModel::botTokensChanged},
                [this, intro] {
                    const QString label = m_model->botLabel(m_bot);
                    m_page->setHeading(label);
                    intro->setText(introText(label));
                });

    buildAbout();
    buildTelegram();
    buildProvider();
    buildSkills();
    buildRemove();

    connect(WindowState::of(model), &WindowState::skillsBotChanged, this, &BotPage::syncSheet);
    // After construction, so that a sheet asked for before this page existed opens on top of
    // the page rather than before it.
    QTimer::singleShot(0, this, &BotPage::syncSheet);
}

BotPage::~BotPage()
{
    // The sheet belongs to this page; when the page goes (another page is chosen, the bots
    // change shape) the sheet goes with it, and the model must not say it is still open. The
    // window deletes pages later, so the model may already be gone.
    if (!m_sheet)
        return;
    m_sheet->disconnect(this);
    delete m_sheet;
    if (m_model) {
        disconnect(m_model, nullptr, this, nullptr);
        if (WindowState::of(m_model)->skillsBot() == m_bot)
            WindowState::of(m_model)->setSkillsBot(std::nullopt);
    }
}

void BotPage::syncSheet()
{
    if (!m_model)
        return;
    const bool wanted = WindowState::of(m_model)->skillsBot() == m_bot;
    if (wanted && !m_sheet) {
        m_sheet = new BotSkillsSheet(m_model, m_bot, this);
        m_sheet->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_sheet, &QDialog::finished, this, [this] {
            if (WindowState::of(m_model)->skillsBot() == m_bot)
                WindowState::of(m_model)->setSkillsBot(std::nullopt);
        });
        m_sheet->open();
    } else if (!wanted && m_sheet) {
        m_sheet->reject();
    }
}

void BotPage::buildAbout()
{
    auto save = [this] { m_model->saveAndNotify(); };
    SettingsGroup *group = m_page->addGroup(u"About this bot"_s);

    auto *token = new SecretField(SecretField::tokenHelp());
    token->setObjectName(u"botToken"_s);
    token->bind(m_model, Bind::botToken(m_model, m_bot), save,
                Bind::shownToken(WindowState::of(m_model), m_bot));
    auto *check = new TokenCheck(m_model, m_bot, u"botToken"_s, this);
    auto *control = new QWidget;
    control->setObjectName(u"botTokenControl"_s);
    auto *line = new QHBoxLayout(control);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    line->addWidget(token);
    line->addWidget(check->button());
    auto *row = new SettingRow(
        WindowState::of(m_model), u"Bot token"_s,
        u"From @BotFather after /newbot (e.g. 123456:ABC-DEF…). Stored in your config file only."_s,
        control);
    group->addWidget(row);
    group->addWidget(check->outcome());
    connect(row, &FilteredRow::filterMatchChanged, check, &TokenCheck::setRowShown);

    auto *nickname = new Field;
    nickname->setObjectName(u"botNickname"_s);
    nickname->bind(m_model, Bind::botNickname(m_model, m_bot), save);
    group->addWidget(new SettingRow(WindowState::of(m_model), u"Nickname"_s,
                                    u"Used in status, logs and the sidebar (e.g. \"Trading\")."_s,
                                    nickname));
}

void BotPage::buildTelegram()
{
    SettingsModel *model = m_model;
    const int bot = m_bot;
    auto save = [model] { model->saveAndNotify(); };
    ConfigStore *store = &model->store();
    SettingsGroup *group = m_page->addGroup(u"Telegram"_s);

    group->addWidget(
        inheritingRow(model, bot, u"Allowed chat IDs"_s,
                      textField(model, bot, u"botAllowedIds"_s, &BotProfile::allowedIDs),
                      &BotProfile::allowedIDs, Bind::config<ConfigKey::AllowedIDs>(store)));
    group->addWidget(
        inheritingRow(model, bot, u"Trigger words"_s,
                      textField(model, bot, u"botTriggerWords"_s, &BotProfile::triggerWords),
                      &BotProfile::triggerWords, Bind::config<ConfigKey::TriggerWords>(store),
                      u" Words that make the bot answer in groups (besides @mention/reply)."_s));
    group->addWidget(inheritingRow(
        model, bot, u"Clip words"_s,
        textField(model, bot, u"botClipWords"_s, &BotProfile::clipTriggerWords),
        &BotProfile::clipTriggerWords, Bind::config<ConfigKey::ClipTriggerWords>(store),
        u" Words that grab an attached video/audio as a clip."_s));

    auto *time = new TimePickerView;
    time->setObjectName(u"botBriefingTime"_s);
    const Bind::Text globalTime = Bind::config<ConfigKey::BriefingTime>(store);
    time->bind(model, Bind::botProfileText(model, bot, &BotProfile::briefingTime), globalTime.get,
               globalTime.changed, save);
    time->setUseGlobal([model, bot] {
        model->setBotProfileText(bot, &BotProfile::briefingTime, QString());
        model->saveAndNotify();
    });
    group->addWidget(inheritingRow(model, bot, u"Daily briefing time"_s, time,
                                   &BotProfile::briefingTime,
                                   Bind::config<ConfigKey::BriefingTime>(store)));

    group->addWidget(
        inheritingRow(model, bot, u"Briefing prompt"_s,
                      textField(model, bot, u"botBriefingPrompt"_s, &BotProfile::briefingPrompt),
                      &BotProfile::briefingPrompt, Bind::config<ConfigKey::BriefingPrompt>(store)));

    auto *mode = new ModeControl;
    mode->setObjectName(u"botMode"_s);
    const Bind::Text globalMode = Bind::config<ConfigKey::BotMode>(store);
    mode->bind(model, globalMode.get, Bind::customMode(WindowState::of(model), modeCustomKey()),
               Bind::botProfileText(model, bot, &BotProfile::botMode), save, globalMode.changed);
    group->addWidget(
        new SettingRow(WindowState::of(model), u"Mode"_s, u"Empty uses the default mode."_s, mode));

    auto *persona = new ChoiceControl;
    persona->setObjectName(u"botPersona"_s);
    const Bind::Text globalSoul = Bind::config<ConfigKey::SoulFile>(store);
    persona->bind(
        model, globalSoul.get, [model] { return personaFiles(model->soulFile()); },
        Bind::customMode(WindowState::of(model), soulCustomKey(bot)),
        Bind::botProfileText(model, bot, &BotProfile::soulFile), save, globalSoul.changed);
    group->addWidget(inheritingRow(model, bot, u"Persona"_s, persona, &BotProfile::soulFile,
                                   Bind::config<ConfigKey::SoulFile>(store)));
}

void BotPage::buildProvider()
{
    SettingsModel *model = m_model;
    const int bot = m_bot;
    auto save = [model] { model->saveAndNotify(); };
    ConfigStore *store = &model->store();
    SettingsGroup *group = m_page->addGroup(u"Provider"_s);

    group->addWidget(inheritingRow(model, bot, u"Server URL"_s,
                                   textField(model, bot, u"botBaseUrl"_s, &BotProfile::baseURL),
                                   &BotProfile::baseURL, Bind::config<ConfigKey::BaseURL>(store)));

    auto *key = new SecretField(SecretField::keyHelp());
    key->setObjectName(u"botApiKey"_s);
    const QString keyIdentity = primaryKeyIdentity(bot);
    key->bind(model, Bind::botProfileText(model, bot, &BotProfile::apiKey), save,
              Bind::shownProfileKey(WindowState::of(model), keyIdentity));
    auto *keyRow = new SettingRow(WindowState::of(model), u"API key"_s, {}, key);
    // The inherited key is named like any default, but masked like the field above it until
    // this row's eye shows keys in clear.
    Bind::watch(
        model, keyRow,
        {&SettingsModel::botProfilesChanged, &SettingsModel::apiKeyChanged,
         Bind::Change(WindowState::of(model), &WindowState::showProfileKeysChanged)},
        [model, bot, keyRow, keyIdentity] {
            const QString &defaultKey = model->apiKey();
            const bool shown = WindowState::of(model)->showProfileKeys().contains(keyIdentity);
            const QString named
                = shown || defaultKey.isEmpty() ? defaultKey : QString(8, QChar(0x2022));
            keyRow->setExplainer(inheritanceText(ownText(model, bot, &BotProfile::apiKey), named));
        });
    group->addWidget(keyRow);

    // The bot's own provider, or what it inherits where it has none of its own.
    auto *picker = new ModelPicker(
        &model->providerTests(), textField(model, bot, u"botModel"_s, &BotProfile::model),
        [model, bot] {
            return Providers::botTarget(model->values(), bot).value_or(Providers::ProviderTarget{});
        });
    SettingRow *modelRow = inheritingRow(model, bot, u"Model name"_s, picker, &BotProfile::model,
                                         Bind::config<ConfigKey::Model>(store));
    group->addWidget(modelRow);
    group->addWidget(picker->messageLabel());
    picker->followRow(modelRow);

    auto *addFirst = new QPushButton(u"Add this bot's own backup models"_s);
    addFirst->setObjectName(u"addOwnFallbacks"_s);
    connect(addFirst, &QPushButton::clicked, this, [model, bot] { model->addBotFallback(bot); });
    auto *backups = new SettingRow(WindowState::of(model), u"Backup models"_s, {}, addFirst);
    Bind::watch(model, backups, {&SettingsModel::botProfilesChanged},
                [model, bot, backups, addFirst] {
                    const bool none = ownFallbackCount(model, bot) == 0;
                    backups->setExplainer(none ? u"Inherits the default (no backup models)."_s
                                               : u"Tried after this bot's primary model fails."_s);
                    setShownWithParent(addFirst, none);
                });
    group->addWidget(backups);

    group->addWidget(ownFallbacksEditor(model, bot));
}

void BotPage::buildSkills()
{
    SettingsGroup *group = m_page->addGroup(u"Skills"_s);

    auto *control = new QWidget;
    auto *line = new QHBoxLayout(control);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(10);
    QLabel *summary = secondaryLabel();
    summary->setObjectName(u"botSkillsSummary"_s);
    summary->setWordWrap(false);
    auto *open = new QPushButton(u"Choose skills…"_s);
    open->setObjectName(u"botSkillsOpen"_s);
    open->setToolTip(u"Switch skills off for this bot only"_s);
    line->addWidget(summary);
    line->addWidget(open);

    auto *row = new SettingRow(WindowState::of(m_model), u"Skill overrides"_s,
                               u"This bot's skill overrides, on top of the defaults."_s, control);
    group->addWidget(row);
    Bind::watch(m_model, summary, {&SettingsModel::botProfilesChanged}, [this, summary] {
        summary->setText(SkillCatalog::botSkillsSummary(m_model->botOverrideCount(m_bot)));
    });
    connect(open, &QPushButton::clicked, this,
            [this] { WindowState::of(m_model)->setSkillsBot(m_bot); });
}

void BotPage::buildRemove()
{
    auto *box = new QWidget;
    box->setObjectName(u"removeBotBox"_s);
    auto *line = new QHBoxLayout(box);
    line->setContentsMargins(0, 4, 0, 0);
    auto *remove = new QPushButton(u"Remove this bot"_s);
    remove->setObjectName(u"removeBot"_s);
    Icons::setIcon(remove, u"trash"_s);
    remove->setToolTip(u"Remove this bot's token, nickname and own settings"_s);
    line->addWidget(remove);
    line->addStretch(1);
    m_page->addWidget(box);
    // Removing the bot replaces this page; the window deletes it later, once this click is
    // over.
    connect(remove, &QPushButton::clicked, this,
            [model = m_model.data(), bot = m_bot] { model->removeBot(bot); });
}

QWidget *createBotPage(SettingsModel *model, int bot, QWidget *parent)
{
    return new BotPage(model, bot, parent);
}
