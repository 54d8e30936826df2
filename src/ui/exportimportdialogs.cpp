#include "ui/exportimportdialogs.h"

#include "model/exportimport.h"
#include "model/settingsmodel.h"

#include <QFileDialog>

using namespace Qt::Literals::StringLiterals;

QString SystemFileDialogs::saveFileName(QWidget *parent, const QString &title,
                                        const QString &proposedName, const QString &nameFilter)
{
    // No starting folder of our own: the dialog opens where the desktop chooses.
    return QFileDialog::getSaveFileName(parent, title, proposedName, nameFilter);
}

QString SystemFileDialogs::openFileName(QWidget *parent, const QString &title,
                                        const QString &nameFilter)
{
    return QFileDialog::getOpenFileName(parent, title, QString(), nameFilter);
}

namespace ExportImportDialogs {

QString exportTitle()
{
    return u"Export settings"_s;
}

QString importTitle()
{
    return u"Import settings"_s;
}

QString jsonNameFilter()
{
    return u"JSON (*.json)"_s;
}

void exportConfig(SettingsModel *model, FileDialogs &dialogs, QWidget *parent)
{
    const QString destination = dialogs.saveFileName(
        parent, exportTitle(), ExportImport::proposedFileName(), jsonNameFilter());
    if (destination.isEmpty())
        return;
    ExportImport::exportConfigTo(*model, destination);
}

void importConfig(SettingsModel *model, FileDialogs &dialogs, QWidget *parent)
{
    const QString source = dialogs.openFileName(parent, importTitle(), jsonNameFilter());
    if (source.isEmpty())
        return;
    ExportImport::importConfigFrom(*model, source);
}

} // namespace ExportImportDialogs
