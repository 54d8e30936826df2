#pragma once

#include <QString>
#include <QStringList>

class SettingsModel;

namespace Shell {

// Draws the window at 1020 x 700 once per sidebar entry (every bot, then every page in
// sidebar order) and once with the search filter "API" on the Model page, into PNG files in
// `folder`: "01-bot-1.png", …, "NN-model.png", …, "NN-search-api.png". Returns the files
// written, in that order; empty when the folder cannot be made. Uses the model's state as it
// is and puts its selection and filter back afterwards.
QStringList renderPages(SettingsModel *model, const QString &folder);

// The same for a configuration file, with a model of its own that posts no notification
// outside this process. Prints each file written; returns false when nothing was written.
bool renderPages(const QString &configPath, const QString &folder);

} // namespace Shell
