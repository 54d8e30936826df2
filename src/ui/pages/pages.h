#pragma once

class QWidget;
class SettingsModel;

// One factory per page. Each page is a view of the model: it reads it, writes it and redraws
// when the model announces a change; it keeps no state of its own.
QWidget *createModelSection(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createTelegramDefaultsSection(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createAppSection(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createSkillsView(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createRegistryView(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createAboutView(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createUpdatesView(SettingsModel *model, QWidget *parent = nullptr);
QWidget *createBotPage(SettingsModel *model, int bot, QWidget *parent = nullptr);
