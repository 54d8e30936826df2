#pragma once

#include <QWidget>

class SettingsModel;
class SettingsPage;

// The Model page: the bot service's status with the server buttons, the primary model with its
// connection test, and the ordered backup models. A view of the model: every edit goes into the
// model at once and is saved when committed; the page keeps nothing of its own.
//
// Widgets are named for tests and tools: "startServer", "stopServer", "restartServer",
// "controlMessage"; "primaryUrl", "primaryKey", "primaryModel", "primaryNickname",
// "primaryTest", "primaryTestOutcome"; per backup i "fallback<i>Title", "fallback<i>Up",
// "fallback<i>Down", "fallback<i>Remove", "fallback<i>Url", "fallback<i>Key",
// "fallback<i>Model", "fallback<i>Name", "fallback<i>Test", "fallback<i>TestOutcome"; and
// "addFallback".
class ModelSection final : public QWidget {
    Q_OBJECT
public:
    explicit ModelSection(SettingsModel *model, QWidget *parent = nullptr);

    SettingsPage *page() const { return m_page; }

private:
    void buildStatus();
    void buildPrimary();
    void buildBackups();

    SettingsModel *m_model;
    SettingsPage *m_page;
};
