#pragma once

#include <QString>

class QWidget;
class SettingsModel;

// The modal save and open dialogs of backup and restore, behind an interface so that tests
// choose the file without a dialog on screen.
class FileDialogs {
public:
    virtual ~FileDialogs() = default;

    // The chosen location, or empty when the user cancelled. `nameFilter` is a QFileDialog
    // filter such as "JSON (*.json)".
    virtual QString saveFileName(QWidget *parent, const QString &title, const QString &proposedName,
                                 const QString &nameFilter)
        = 0;
    virtual QString openFileName(QWidget *parent, const QString &title, const QString &nameFilter)
        = 0;
};

// QFileDialog's own modal dialogs (the desktop's native ones where the platform offers them).
// The save dialog asks before replacing an existing file.
class SystemFileDialogs final : public FileDialogs {
public:
    QString saveFileName(QWidget *parent, const QString &title, const QString &proposedName,
                         const QString &nameFilter) override;
    QString openFileName(QWidget *parent, const QString &title, const QString &nameFilter) override;
};

namespace ExportImportDialogs {

QString exportTitle();    // "Export settings"
QString importTitle();    // "Import settings"
QString jsonNameFilter(); // the JSON type, the only one offered

// Asks where to save a copy and copies the configuration file there. Cancelling, an existing
// file at the destination and a failed copy all end silently.
void exportConfig(SettingsModel *model, FileDialogs &dialogs, QWidget *parent = nullptr);
// Asks for a configuration file and applies it at once. Cancelling and unreadable or
// malformed files end silently, changing nothing.
void importConfig(SettingsModel *model, FileDialogs &dialogs, QWidget *parent = nullptr);

} // namespace ExportImportDialogs
