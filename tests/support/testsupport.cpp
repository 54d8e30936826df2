#include "support/testsupport.h"

#include <QFile>
#include <QJsonArray>

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

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
           && file.write(bytes) == bytes.size() && file.flush();
}

QStringList jsonStrings(const QJsonValue &value)
{
    QStringList list;
    for (const QJsonValue &item : value.toArray())
        list.append(item.toString());
    return list;
}

} // namespace TestSupport
