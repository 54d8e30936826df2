#pragma once

#include <QString>
#include <QStringList>

class QPalette;
class SettingsModel;

namespace Shell {

// Draws the window at 1020 x 700 once per sidebar entry (every bot, then every page in
// sidebar order) and once with the search filter "API" on the Model page, into PNG files in
// `folder`: "01-bot-1.png", …, "NN-model.png", …, "NN-search-api.png". Returns the files
// written, in that order; empty when the folder cannot be made. Uses the model's state as it
// is and puts its selection and filter back afterwards.
QStringList renderPages(SettingsModel *model, const QString &folder);

// A dark palette like the ones desktops hand to Qt applications in dark mode (window #2b2b2b,
// fields darker, light text), so that pages can be looked at dark without a desktop.
QPalette darkPalette();

// The same for a configuration file, with a model of its own that posts no notification
// outside this process. Prints each file written; returns false when nothing was written.
bool renderPages(const QString &configPath, const QString &folder);

} // namespace Shell
