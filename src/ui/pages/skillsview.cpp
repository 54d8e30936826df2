#include "ui/pages/skillsview.h"

#include "ui/controls/binding.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/pages/skillupdatesview.h"
#include "model/settingsmodel.h"
#include "skills/skillcatalog.h"
#include "skills/skillupdates.h"
#include "ui/state/windowstate.h"

#include <QFrame>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

struct Feature {
    QString key; // the configuration key, as setFeature takes it
    QString objectName;
    QString title;
    QString help;
    Bind::Flag (*value)(ConfigStore *store);
};

const QList<Feature> &features()
{
    static const QList<Feature> list{
        {u"backfill_missed"_s, u"backfillMissed"_s, u"Backfill missed messages"_s,
         u"Answer messages sent while the bot was offline."_s,
         &Bind::config<ConfigKey::BackfillMissed>},
        {u"briefing_crypto"_s, u"briefingCrypto"_s, u"BTC/ETH in morning briefing"_s,
         u"Include crypto quotes in the daily briefing."_s,
         &Bind::config<ConfigKey::BriefingCrypto>},
        {u"auto_memory"_s, u"autoMemory"_s, u"Auto-memory"_s,
         u"Write a past-day summary to long-term memory each night."_s,
         &Bind::config<ConfigKey::AutoMemory>},
    };
    return list;
}

// What decides the rows of the skill sections: which skills there are and what their rows
// say. The enabled flags are left out: the switches follow those by themselves, so a switch
// flip never rebuilds the page under the user's pointer.
QString skillsShape(const QList<SkillInfo> &skills)
{
    QString shape;
    for (const SkillInfo &skill : skills) {
        shape += skill.name + u'\x1f' + skill.title + u'\x1f' + skill.description + u'\x1f'
                 + skill.group + u'\x1f' + skill.origin + u'\x1e';
    }
    return shape;
}

bool skillEnabled(const SettingsModel *model, const QString &name)
{
    for (const SkillInfo &skill : model->skills()) {
        if (skill.name == name)
            return skill.enabled;
    }
    return false;
}

QToolButton *deleteButton(SettingsModel *model, const QString &name)
{
    auto *trash = new QToolButton;
    trash->setObjectName(u"deleteSkill:"_s + name);
    trash->setAutoRaise(true); // borderless until hovered
    Icons::setIcon(trash, u"trash"_s);
    trash->setToolTip(u"Delete this skill"_s);
    trash->setAccessibleName(trash->toolTip());
    QObject::connect(trash, &QToolButton::clicked, model, [model, name] {
        // The model lists the folder again; this button goes away with its row.
        model->deleteSkill(name);
    });
    return trash;
}

void buildSkillSections(SettingsModel *model, SkillUpdates *updates, QVBoxLayout *layout)
{
    const QList<SkillInfo> skills = model->skills();
    if (skills.isEmpty()) {
        QLabel *none = secondaryLabel(u"No skills in "_s + model->skillsFolder()
                                      + u" yet. Add some from the Skill Registry."_s);
        none->setObjectName(u"noSkills"_s);
        layout->addWidget(none);
        return;
    }
    for (const QString &group : SkillCatalog::skillGroups()) {
        QList<SkillInfo> members;
        for (const SkillInfo &skill : skills) {
            if (skill.group == group)
                members.append(skill);
        }
        if (members.isEmpty())
            continue;

        auto *section = new SettingsGroup(WindowState::of(model), group);
        layout->addWidget(section);
        layout->addSpacing(12);

        auto *master = new ToggleRow(WindowState::of(model), u"All "_s + group + u" skills"_s,
                                     u"Master switch for this group."_s);
        master->toggle()->setObjectName(objectNameForTitle(group) + u"Master"_s);
        master->bind(
            Bind::Flag{[model, group] { return model->groupEnabled(group); },
                       [model, group](const bool &on) { model->setGroupEnabled(group, on); },
                       {Bind::Change(model, &SettingsModel::skillsChanged)}},
            {}); // setGroupEnabled writes the file itself, once per skill
        section->addWidget(master);
        // A hairline sets the group's own switch apart from the skills it governs.
        auto *rule = new QFrame;
        rule->setObjectName(u"masterRule"_s);
        rule->setFrameShape(QFrame::HLine);
        rule->setFrameShadow(QFrame::Plain);
        rule->setForegroundRole(QPalette::Midlight);
        section->addWidget(rule);
        // Skills of the catalogue can be compared with their sources.
        if (group == SkillCatalog::registryGroup())
            section->addWidget(SkillUpdatesView::checkRow(model, updates));

        for (const SkillInfo &skill : std::as_const(members)) {
            const QString caption = SkillsView::caption(skill);
            auto *row = new ToggleRow(WindowState::of(model), skill.title, caption);
            row->setObjectName(u"skillRow:"_s + skill.name);
            // A long description is cut; the "Try: …" after it stays.
            row->setExplainerElided(caption.size() - skill.description.size());
            row->toggle()->setObjectName(u"skill:"_s + skill.name);
            const QString name = skill.name;
            row->bind(
                Bind::Flag{[model, name] { return skillEnabled(model, name); },
                           [model, name](const bool &on) { model->setSkillEnabled(name, on); },
                           {Bind::Change(model, &SettingsModel::skillsChanged)}},
                {});
            if (skill.origin == u"registry")
                row->setTrailing(SkillUpdatesView::mark(updates, skill, deleteButton(model, name)));
            section->addWidget(row);
        }
    }
}

} // namespace

QString SkillsView::caption(const SkillInfo &skill)
{
    const QString example = SkillCatalog::exampleOf(skill.name).value_or(u"ask me to use it"_s);
    const QString tryLine = u"Try: \""_s + example + u'"';
    if (skill.description.isEmpty())
        return tryLine;
    return skill.description + u"  ·  "_s + tryLine;
}

SkillsView::SkillsView(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_page(new SettingsPage(WindowState::of(model), u"Skills & Features"_s))
{
    setObjectName(u"skillsPage"_s);
    m_page->setObjectName(u"skillsScroll"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    SettingsGroup *featureGroup = m_page->addGroup(u"Features"_s);
    for (const Feature &feature : features()) {
        auto *row = new ToggleRow(WindowState::of(model), feature.title, feature.help);
        row->toggle()->setObjectName(feature.objectName);
        Bind::Flag value = feature.value(&model->store());
        value.set = [model, key = feature.key](const bool &on) { model->setFeature(key, on); };
        row->bind(value, {}); // setFeature saves and notifies
        featureGroup->addWidget(row);
    }

    auto *updates = new SkillUpdates(&model->registry(), this);
    updates->setObjectName(u"skillUpdates"_s);
    auto *sections = new DynamicBlock(
        model, {&SettingsModel::skillsChanged}, [model] { return skillsShape(model->skills()); },
        [model, updates](QVBoxLayout *blockLayout) {
            buildSkillSections(model, updates, blockLayout);
        });
    sections->setObjectName(u"skillSections"_s);
    m_page->addWidget(sections);
}

QWidget *createSkillsView(SettingsModel *model, QWidget *parent)
{
    return new SkillsView(model, parent);
}
