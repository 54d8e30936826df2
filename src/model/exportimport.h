#pragma once

#include <QString>

class SettingsModel;

// Backup and restore of the whole configuration file. Neither operation reports anything to
// the user: failed copies, unreadable or malformed files and failed writes all end silently.
// The results are for callers that want to know (tests, the terminal tool).
namespace ExportImport {

// The name the save dialog proposes for an export.
inline QString proposedFileName()
{
    return QStringLiteral("varnook-config.json");
}

// Copies the configuration file at model.path() byte for byte to `destination`. An existing
// file at the destination is never replaced. The copy holds API keys and bot tokens in clear,
// so it is made readable and writable by its owner only. True when the copy was made.
bool exportConfigTo(const SettingsModel &model, const QString &destination);

// Applies the JSON object in `source` as the whole configuration: it becomes the model's
// document (keys of the old configuration that it lacks are gone), is written to the model's
// path by the usual writing rules and announced to the bot service when the write worked.
// Then the skills and the status are read again either way. A file that cannot be read or
// is not a JSON object changes nothing. True when the imported configuration was written.
bool importConfigFrom(SettingsModel &model, const QString &source);

} // namespace ExportImport
