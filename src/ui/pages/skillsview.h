#pragma once

#include "skills/skilltypes.h"

#include <QString>
#include <QWidget>

class SettingsModel;
class SettingsPage;

// The Skills & Features page: the three feature switches, then one section per skill group in
// the fixed group order, each with its master switch and one switch per installed skill.
// Skills that came from the registry catalogue can be deleted here.
//
// Object names: the feature switches "backfillMissed", "briefingCrypto", "autoMemory"; per
// group the section "<group>Group" (e.g. "fromRegistryGroup") and its master switch
// "<group>Master" ("researchMaster"); per skill the row "skillRow:<name>", its switch
// "skill:<name>" and, for registry skills, the trash button "deleteSkill:<name>". The
// "From registry" section also has the "Check for updates" button "checkSkillUpdates" (its row
// "skillUpdatesRow"), and a skill whose source has changed shows the mark
// "skillUpdate:<name>" ("Update available") and the button "updateSkill:<name>".
class SkillsView final : public QWidget {
    Q_OBJECT
public:
    explicit SkillsView(SettingsModel *model, QWidget *parent = nullptr);

    // The line under a skill's title: its description, then where to start, e.g.
    // "Research a stock  ·  Try: "research TSLA"". Without a description the line is only
    // the "Try: …" part, so it never starts with a dangling separator.
    static QString caption(const SkillInfo &skill);

    SettingsPage *page() const { return m_page; }

private:
    SettingsPage *m_page;
};
