#include "ui/pages/botskillssheet.h"

#include "ui/controls/binding.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "skills/skillcatalog.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

QString globallyOffText()
{
    return u"Switched off for every bot on the Skills & Features page."_s;
}

// The rows depend on which skills there are; the switches follow the lists by themselves.
QString skillsShape(const QList<SkillInfo> &skills)
{
    QString shape;
    for (const SkillInfo &skill : skills)
        shape += skill.name + u'\x1f' + skill.title + u'\x1f' + skill.group + u'\x1e';
    return shape;
}

bool globallyEnabled(const SettingsModel *model, const QString &name)
{
    for (const SkillInfo &skill : model->skills()) {
        if (skill.name == name)
            return skill.enabled;
    }
    return true;
}

void buildGroups(SettingsModel *model, int bot, QVBoxLayout *layout)
{
    const QList<SkillInfo> skills = model->skills();
    if (skills.isEmpty()) {
        QLabel *none = secondaryLabel(u"No skills are installed."_s);
        none->setObjectName(u"noSkills"_s);
        layout->addWidget(none);
        return;
    }
    for (const QString &group : SkillCatalog::skillGroups()) {
        SettingsGroup *section = nullptr;
        for (const SkillInfo &skill : skills) {
            if (skill.group != group)
                continue;
            if (!section) {
                section = new SettingsGroup(WindowState::of(model), group);
                layout->addWidget(section);
                layout->addSpacing(10);
            }
            const QString name = skill.name;
            auto *row = new ToggleRow(WindowState::of(model), skill.title, skill.description);
            row->setObjectName(u"botSkillRow:"_s + name);
            row->setExplainerElided();
            row->toggle()->setObjectName(u"botSkill:"_s + name);
            // On while the bot's list does not hold the name. A skill that is off for every bot
            // stays off whatever this list says: its switch shows it off and cannot be used, so
            // the sheet never suggests that a bot could switch it back on.
            row->bind(Bind::Flag{
                          [model, bot, name] { return model->effectiveEnabled(bot, name); },
                          [model, bot, name](const bool &on) { model->setBotSkill(bot, name, on); },
                          {Bind::Change(model, &SettingsModel::botProfilesChanged),
                           Bind::Change(model, &SettingsModel::skillsChanged)}},
                      {}); // setBotSkill saves and notifies
            const QString description = skill.description;
            Bind::watch(model, row, {&SettingsModel::skillsChanged},
                        [model, row, name, description] {
                            const bool everywhereOff = !globallyEnabled(model, name);
                            row->toggle()->setEnabled(!everywhereOff);
                            row->setExplainer(everywhereOff ? globallyOffText() : description);
                        });
            section->addWidget(row);
        }
    }
}

} // namespace

BotSkillsSheet::BotSkillsSheet(SettingsModel *model, int bot, QWidget *parent)
    : QDialog(parent)
    , m_model(model)
    , m_bot(bot)
    , m_title(plainLabel())
    , m_footer(plainLabel())
    , m_reset(new QPushButton(u"Reset to default"_s))
    , m_done(new QPushButton(u"Done"_s))
{
    setObjectName(u"botSkillsSheet"_s);
    setModal(true);
    resize(560, 600);

    m_title->setObjectName(u"sheetTitle"_s);
    m_title->setFont(headingFont(font()));
    QLabel *caption
        = secondaryLabel(u"This list is the bot's override; Reset to default clears it."_s);
    caption->setObjectName(u"sheetCaption"_s);
    m_done->setObjectName(u"sheetDone"_s);
    m_done->setDefault(true);
    m_reset->setObjectName(u"resetBotSkills"_s);
    m_footer->setObjectName(u"sheetFooter"_s);
    m_footer->setWordWrap(true);

    auto *header = new QHBoxLayout;
    header->addWidget(m_title, 1);
    header->addWidget(m_done, 0, Qt::AlignTop);

    auto *content = new QWidget;
    content->setObjectName(u"sheetContent"_s);
    auto *contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(0, 0, 8, 0);
    auto *groups = new DynamicBlock(
        model, {&SettingsModel::skillsChanged}, [model] { return skillsShape(model->skills()); },
        [model, bot](QVBoxLayout *layout) { buildGroups(model, bot, layout); });
    groups->setObjectName(u"sheetGroups"_s);
    contentLayout->addWidget(groups);
    contentLayout->addStretch(1);

    auto *scroll = new QScrollArea;
    scroll->setObjectName(u"sheetScroll"_s);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(content);

    auto *footer = new QHBoxLayout;
    footer->addWidget(m_footer, 1);
    footer->addWidget(m_reset);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(10);
    column->addLayout(header);
    column->addWidget(caption);
    column->addWidget(scroll, 1);
    column->addLayout(footer);

    connect(m_done, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_reset, &QPushButton::clicked, this, [this] { m_model->resetBotSkills(m_bot); });

    Bind::watch(model, this,
                {&SettingsModel::botNicknamesChanged, &SettingsModel::botTokensChanged}, [this] {
                    const QString title = u"Skills for "_s + m_model->botLabel(m_bot);
                    m_title->setText(title);
                    setWindowTitle(title);
                });
    Bind::watch(model, this, {&SettingsModel::botProfilesChanged}, [this] {
        const int n = m_model->botOverrideCount(m_bot);
        m_footer->setText(SkillCatalog::botSkillsSheetFooter(n));
        setShownWithParent(m_reset, n > 0);
    });
}
