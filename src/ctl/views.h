#pragma once

#include "config/configtypes.h"

#include <QJsonArray>
#include <QString>

// How varnookctl shows records on the terminal. Lists never print secrets unless asked to:
// like the window's masked fields, a key shows only that it is there.
namespace CtlViews {

QString masked(const QString &secret, bool show);

// A table of providers, numbered from 1, with a header line.
QStringList providerLines(const QList<Fallback> &providers, bool showSecrets);
QJsonArray providersJson(const QList<Fallback> &providers, bool showSecrets);

// Columns padded to the widest cell, two blanks apart; the last column is not padded.
QStringList table(const QList<QStringList> &rows);

// `rows` with a first column "installed" for the marked ones, when any is marked.
QList<QStringList> markedRows(QList<QStringList> rows, const QList<bool> &marked);

} // namespace CtlViews
