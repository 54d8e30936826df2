#include "ui/pages/skillupdatesview.h"

#include "ui/controls/elidedlabel.h"
#include "ui/controls/settingrow.h"
#include "model/settingsmodel.h"
#include "skills/skillupdates.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

namespace SkillUpdatesView {

namespace {

QString idleExplainer()
{
    return u"Compare the skills installed from the catalogue with their sources."_s;
}

} // namespace

SettingRow *checkRow(SettingsModel *model, SkillUpdates *updates)
{
    auto *button = new QPushButton(u"Check for updates"_s);
    button->setObjectName(u"checkSkillUpdates"_s);
    auto *row = new SettingRow(WindowState::of(model), u"Skill updates"_s, idleExplainer(), button);
    row->setObjectName(u"skillUpdatesRow"_s);
    // The button stays enabled while a check runs, so that the keyboard focus stays on it; a
    // press then changes nothing.
    QObject::connect(button, &QPushButton::clicked, updates, [updates] {
        if (!updates->checking())
            updates->check();
    });
    auto refresh = [updates, row] {
        const bool checked = updates->checking() || !updates->results().isEmpty();
        row->setExplainer(checked ? updates->summary() : idleExplainer());
    };
    QObject::connect(updates, &SkillUpdates::changed, row, refresh);
    QObject::connect(updates, &SkillUpdates::finished, row, refresh);
    refresh();
    return row;
}

QWidget *mark(SkillUpdates *updates, const SkillInfo &skill, QWidget *trash)
{
    auto *box = new QWidget;
    box->setObjectName(u"skillTrailing:"_s + skill.name);
    auto *line = new QHBoxLayout(box);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);

    QLabel *label = plainLabel(QString());
    label->setObjectName(u"skillUpdate:"_s + skill.name);
    auto *update = new QPushButton(u"Update"_s);
    update->setObjectName(u"updateSkill:"_s + skill.name);
    // Every outdated skill has an Update button: the name says which one this is.
    update->setAccessibleName(u"Update "_s + skill.title);
    update->setToolTip(plainToolTip(u"Install the new version of "_s + skill.title));
    line->addWidget(label);
    line->addWidget(update);
    if (trash)
        line->addWidget(trash);

    const QString name = skill.name;
    QObject::connect(update, &QPushButton::clicked, label, [updates, name, label] {
        // On success the folder is listed again; the row follows with its new title and mark.
        if (updates->update(name))
            return;
        // The old file is still there, whole; the button stays for another try.
        label->setText(u"Couldn't update"_s);
        QPalette palette;
        palette.setColor(QPalette::WindowText, StatusColors::bad());
        label->setPalette(palette);
        label->setToolTip(plainToolTip(updates->problem()));
        label->setAccessibleDescription(updates->problem());
    });
    auto refresh = [updates, name, label, update] {
        const SkillUpdates::Result *result = updates->result(name);
        const SkillUpdates::State state = result ? result->state : SkillUpdates::State::Current;
        const bool outdated = result && state == SkillUpdates::State::Outdated;
        const bool failed = result && state == SkillUpdates::State::Failed;
        const QString text = outdated ? u"Update available"_s
                             : failed ? u"Couldn't check"_s
                                      : QString();
        // Every answer of a check comes here for every mark: only what changed is touched, as
        // a new palette makes the label look itself up again.
        if (label->text() != text) {
            label->setText(text);
            QPalette palette;
            if (failed)
                palette.setColor(QPalette::WindowText, StatusColors::bad());
            label->setPalette(palette);
        }
        const QString problem = failed ? result->problem : QString();
        if (label->accessibleDescription() != problem) {
            label->setToolTip(problem.isEmpty() ? QString() : plainToolTip(problem));
            label->setAccessibleDescription(problem);
        }
        if (label->isHidden() == (outdated || failed))
            setShownWithParent(label, outdated || failed);
        if (update->isHidden() == outdated)
            setShownWithParent(update, outdated);
    };
    QObject::connect(updates, &SkillUpdates::changed, box, refresh);
    refresh();
    return box;
}

} // namespace SkillUpdatesView
