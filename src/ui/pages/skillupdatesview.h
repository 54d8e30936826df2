#pragma once

#include "skills/skilltypes.h"

class QWidget;
class SettingRow;
class SettingsModel;
class SkillUpdates;

// The Skills & Features page's side of SkillUpdates.
namespace SkillUpdatesView {

// "Skill updates": the "Check for updates" button, with the check's summary as the row's
// explainer ("1 update available.").
SettingRow *checkRow(SettingsModel *model, SkillUpdates *updates);

// What follows a catalogue skill's title: "Update available" and an Update button while the
// last check found its source changed, "Couldn't check" when the check failed, then `trash`.
QWidget *mark(SkillUpdates *updates, const SkillInfo &skill, QWidget *trash);

} // namespace SkillUpdatesView
