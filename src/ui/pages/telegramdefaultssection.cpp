#include "ui/pages/telegramdefaultssection.h"

#include "ui/controls/binding.h"
#include "ui/controls/choicecontrol.h"
#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/controls/timepicker.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "config/configdocument.h"
#include "config/personafiles.h"
#include "model/settingsmodel.h"
#include "ui/state/windowstate.h"

#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

struct TextRow {
    QString title;
    QString explainer;
    QString name;
    Bind::Text value;
};

Field *textField(SettingsModel *model, const TextRow &row)
{
    auto *field = new Field;
    field->setObjectName(row.name);
    field->bind(model, row.value, [model] { model->saveAndNotify(); });
    return field;
}

void addTextRows(SettingsModel *model, SettingsGroup *group, const QList<TextRow> &rows,
                 bool numbers)
{
    for (const TextRow &row : rows) {
        Field *field = textField(model, row);
        if (numbers) {
            // Numbers are short; the model keeps them as text, so any text can be typed.
            field->setFixedWidth(field->fontMetrics().averageCharWidth() * 12);
            field->setAlignment(Qt::AlignRight);
        }
        group->addWidget(new SettingRow(WindowState::of(model), row.title, row.explainer, field));
    }
}

} // namespace

TelegramDefaultsSection::TelegramDefaultsSection(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_page(new SettingsPage(WindowState::of(model), u"Defaults"_s))
{
    setObjectName(u"telegramPage"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);
    m_page->setIntro(u"Default values every bot inherits. Open a bot in the sidebar to give it "
                     u"settings of its own."_s);
    auto save = [model] { model->saveAndNotify(); };
    ConfigStore *store = &model->store();

    // ---- Chats & briefing
    SettingsGroup *chats = m_page->addGroup(u"Chats & briefing"_s);
    addTextRows(model, chats,
                {{u"Allowed chat IDs"_s,
                  u"Comma-separated user/group IDs that may talk to the bot (e.g. 512807364, "
                  u"-1002718305964)."_s,
                  u"allowedIds"_s, Bind::config<ConfigKey::AllowedIDs>(store)}},
                false);

    auto *time = new TimePickerView;
    time->setObjectName(u"briefingTime"_s);
    // The defaults inherit from nothing: an empty time reads as 08:00.
    time->bind(
        model, Bind::config<ConfigKey::BriefingTime>(store), [] { return QString(); }, {}, save);
    chats->addWidget(new SettingRow(WindowState::of(model), u"Daily briefing time"_s,
                                    u"24-hour HH:MM (e.g. 08:00)."_s, time));

    addTextRows(model, chats,
                {{u"Briefing prompt"_s,
                  u"What the daily briefing should cover — e.g. \"weather, my reminders for "
                  u"today, and any price alerts\"."_s,
                  u"briefingPrompt"_s, Bind::config<ConfigKey::BriefingPrompt>(store)}},
                false);

    // ---- Behaviour
    SettingsGroup *behaviour = m_page->addGroup(u"Behaviour"_s);
    addTextRows(
        model, behaviour,
        {
            {u"Max reply tokens"_s,
             u"Safety ceiling for model replies — long answers split into multiple messages "
             u"(e.g. 4000)."_s,
             u"maxTokens"_s, Bind::config<ConfigKey::MaxTokens>(store)},
            {u"Context per chat"_s,
             u"How many recent messages the bot holds per chat for context (e.g. 40)."_s,
             u"chatBufferMax"_s, Bind::config<ConfigKey::ChatBufferMax>(store)},
            {u"Memories per user"_s,
             u"Long-term memories recalled per user PER MESSAGE the bot answers (e.g. 15)."_s,
             u"recallLimit"_s, Bind::config<ConfigKey::RecallLimit>(store)},
            {u"Memory database size (per user)"_s,
             u"Max long-term memories stored per user; each user's oldest are evicted beyond "
             u"this (e.g. 5000)."_s,
             u"factCap"_s, Bind::config<ConfigKey::FactCap>(store)},
            {u"Research report tokens"_s,
             u"Budget for /research and /insiders reports (e.g. 1200)."_s, u"researchMaxTokens"_s,
             Bind::config<ConfigKey::ResearchMaxTokens>(store)},
            {u"API timeout (s)"_s,
             u"Seconds before a slow provider is abandoned (e.g. 90 — free-tier queues can stall "
             u"for a minute+)."_s,
             u"apiTimeout"_s, Bind::config<ConfigKey::ApiTimeout>(store)},
        },
        true);

    auto *soul = new ChoiceControl;
    soul->setObjectName(u"soulFile"_s);
    // The catalogue follows the persona file: its folder is where the other personas live.
    soul->bind(
        model, [] { return ConfigDocument::defaultSoulFile(); },
        [model] { return personaFiles(model->soulFile()); },
        Bind::customMode(WindowState::of(model), soulCustomKey()),
        Bind::config<ConfigKey::SoulFile>(store), save);
    behaviour->addWidget(new SettingRow(
        WindowState::of(model), u"Soul file"_s,
        u"Persona the bots run with. .md files in this folder (soul*.md, *persona*.md) appear in "
        u"every bot's Soul dropdown."_s,
        soul));

    // ---- Trigger words
    SettingsGroup *triggers = m_page->addGroup(u"Trigger words"_s);
    addTextRows(model, triggers,
                {
                    {u"Bot trigger words"_s,
                     u"Comma-separated words that make the bot answer in groups (besides "
                     u"@mention, reply or command) — e.g. \"momo, jarvis, hey bot\". Empty = "
                     u"default behaviour."_s,
                     u"triggerWords"_s, Bind::config<ConfigKey::TriggerWords>(store)},
                    {u"Video/audio clip trigger words"_s,
                     u"Words that make the bot grab an attached video or audio as a clip — e.g. "
                     u"\"clip this, save this\". Empty = only replies/mentions trigger clips."_s,
                     u"clipTriggerWords"_s, Bind::config<ConfigKey::ClipTriggerWords>(store)},
                },
                false);
}

QWidget *createTelegramDefaultsSection(SettingsModel *model, QWidget *parent)
{
    return new TelegramDefaultsSection(model, parent);
}
