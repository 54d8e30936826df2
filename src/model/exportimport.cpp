#include "model/exportimport.h"

#include "model/settingsmodel.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>

namespace ExportImport {

namespace {

// A configuration document is a few kilobytes. Anything far beyond that is not one, and a
// cap keeps a mistaken pick (a disk image, a video) from being read into memory whole.
constexpr qint64 importSizeLimit = 64 * 1024 * 1024;

} // namespace

bool exportConfigTo(const SettingsModel &model, const QString &destination)
{
    // QFile::copy refuses to overwrite: a file already at the destination stays as it is.
    if (destination.isEmpty() || !QFile::copy(model.path(), destination))
        return false;
    // The copy takes the source's permissions; keys and tokens inside are in clear.
    QFile::setPermissions(destination, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    return true;
}

bool importConfigFrom(SettingsModel &model, const QString &source)
{
    // Only regular files: reading a pipe or a device could block or never end.
    const QFileInfo info(source);
    if (!info.isFile() || info.size() > importSizeLimit)
        return false;
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.read(importSizeLimit + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > importSizeLimit)
        return false;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;

    // A configuration file that is there but cannot be used is not written over, not even by an
    // import: it may be the only copy of the user's keys.
    if (model.fileProblem())
        return false;
    model.replaceDocument(document.object());
    // The recorded modification time is left alone on purpose: the config-changed that
    // follows makes the model read the written file back once.
    const bool written = !model.writeDocument().has_value();
    if (written)
        model.postConfigChanged();
    model.loadSkillsAndFeatures();
    model.refreshStatus();
    return written;
}

} // namespace ExportImport
