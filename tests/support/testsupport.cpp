#include "support/testsupport.h"

#include <QFile>

namespace TestSupport {

QString fixture(const QString &name)
{
    return QStringLiteral(VARNOOK_FIXTURES "/") + name;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(bytes);
}

} // namespace TestSupport
