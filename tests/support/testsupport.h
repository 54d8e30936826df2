#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace TestSupport {
// Path of a fixture file under tests/fixtures.
QString fixture(const QString &name);
QByteArray readFile(const QString &path);
void writeFile(const QString &path, const QByteArray &bytes);
} // namespace TestSupport
