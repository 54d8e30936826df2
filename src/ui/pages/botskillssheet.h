#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class SettingsModel;

// The sheet of one bot's own skill switches, on top of the defaults: a switch per installed
// skill, grouped as on the Skills & Features page, on while the bot does not switch the skill
// off. A skill switched off for every bot shows off here and its switch cannot be used. Every
// switch saves at once; "Reset to default" empties the bot's list; "Done" closes.
//
// It is opened with open() (window-modal, never a nested event loop), so the window keeps
// running its timers and notifications while it is up.
//
// Object names: "botSkillsSheet", "sheetTitle", "sheetCaption", per group "<group>Group", per
// skill the switch "botSkill:<name>", "sheetFooter", "resetBotSkills", "sheetDone".
class BotSkillsSheet final : public QDialog {
    Q_OBJECT
public:
    BotSkillsSheet(SettingsModel *model, int bot, QWidget *parent = nullptr);

    int bot() const { return m_bot; }
    QLabel *titleLabel() const { return m_title; }
    QLabel *footerLabel() const { return m_footer; }
    QPushButton *resetButton() const { return m_reset; }
    QPushButton *doneButton() const { return m_done; }

private:
    SettingsModel *m_model;
    int m_bot;
    QLabel *m_title;
    QLabel *m_footer;
    QPushButton *m_reset;
    QPushButton *m_done;
};
