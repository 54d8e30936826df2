#pragma once

#include <QString>
#include <QWidget>

class SettingsModel;
class SettingsPage;

// The Updates page. There is no release channel yet, so it states the installed version and
// that checking is disabled; its button stays disabled.
//
// This page shows the fixed version "0.1.0" rather than the application's own version: the
// About page may say otherwise, and that stays so until there is a release channel to compare
// against.
//
// Widgets are named "installedVersion", "releaseChannelNote", "checkingDisabledNote" and
// "checkForUpdates".
class UpdatesView final : public QWidget {
    Q_OBJECT
public:
    static QString installedVersion() { return QStringLiteral("0.1.0"); }

    explicit UpdatesView(SettingsModel *model, QWidget *parent = nullptr);

    SettingsPage *page() const { return m_page; }

private:
    SettingsPage *m_page;
};
