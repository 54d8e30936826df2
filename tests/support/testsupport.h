#pragma once

#include "support/waits.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace TestSupport {
// Path of a fixture file under tests/fixtures.
QString fixture(const QString &name);
QByteArray readFile(const QString &path);
// False when the file could not be written in full.
bool writeFile(const QString &path, const QByteArray &bytes);
// The strings of a JSON array (an empty list for anything else).
QStringList jsonStrings(const QJsonValue &value);
} // namespace TestSupport
