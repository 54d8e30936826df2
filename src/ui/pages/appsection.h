#pragma once

#include <QString>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>

class FileDialogs;
class SettingsModel;
class SettingsPage;

// The App page: the two switches the bot service acts on ("Show in Dock", "Launch at Login"),
// the data folder setting, quick ways into the service's log and data folder, and backup and
// restore of the configuration file.
//
// The outside world is reached through two seams that tests replace: the dialogs that pick the
// export and import files, and the opener that hands a file or folder to the desktop.
//
// Controls are named "showInDock", "launchAtLogin", "dataDir", "openLog", "openDataFolder",
// "exportSettings" and "importSettings".
class AppSection final : public QWidget {
    Q_OBJECT
public:
    using UrlOpener = std::function<bool(const QUrl &)>;

    struct Services {
        std::shared_ptr<FileDialogs> dialogs; // none: the system's QFileDialog
        UrlOpener openUrl;                    // none: QDesktopServices::openUrl
    };

    // The bot service's log and data folder in the home folder. These stay fixed whatever
    // "Data dir" says: the service writes its log there in any case.
    static QString logFilePath();
    static QString dataFolderPath();

    explicit AppSection(SettingsModel *model, Services services = {}, QWidget *parent = nullptr);

    SettingsPage *page() const { return m_page; }

private:
    SettingsModel *m_model;
    SettingsPage *m_page;
    std::shared_ptr<FileDialogs> m_dialogs;
    UrlOpener m_openUrl;
};
