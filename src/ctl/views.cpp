#include "ctl/views.h"

#include "ctl/output.h"

#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace CtlViews {

QString masked(const QString &secret, bool show)
{
    if (show || secret.isEmpty())
        return secret;
    return QString(8, QChar(0x2022));
}

QStringList providerLines(const QList<Fallback> &providers, bool showSecrets)
{
    QList<QStringList> rows;
    rows.append({u"#"_s, u"NICKNAME"_s, u"MODEL"_s, u"SERVER URL"_s, u"API KEY"_s});
    for (qsizetype i = 0; i < providers.size(); ++i) {
        const Fallback &f = providers.at(i);
        rows.append(
            {QString::number(i + 1), Output::plain(f.name), Output::plain(f.model),
             Output::plain(f.base_url),
             f.api_key.isEmpty() ? u"(none)"_s : Output::plain(masked(f.api_key, showSecrets))});
    }
    return table(rows);
}

QJsonArray providersJson(const QList<Fallback> &providers, bool showSecrets)
{
    QJsonArray array;
    for (qsizetype i = 0; i < providers.size(); ++i) {
        const Fallback &f = providers.at(i);
        array.append(QJsonObject{
            {u"number"_s, i + 1},
            {u"name"_s, f.name},
            {u"base_url"_s, f.base_url},
            {u"model"_s, f.model},
            {u"api_key"_s, masked(f.api_key, showSecrets)},
        });
    }
    return array;
}

QStringList table(const QList<QStringList> &rows)
{
    QList<qsizetype> widths;
    for (const QStringList &row : rows) {
        for (qsizetype c = 0; c < row.size(); ++c) {
            if (widths.size() <= c)
                widths.append(0);
            widths[c] = std::max(widths.at(c), row.at(c).size());
        }
    }
    QStringList lines;
    for (const QStringList &row : rows) {
        QString line;
        for (qsizetype c = 0; c < row.size(); ++c)
            line += c + 1 < row.size() ? row.at(c).leftJustified(widths.at(c) + 2) : row.at(c);
        lines.append(line);
    }
    return lines;
}

QList<QStringList> markedRows(QList<QStringList> rows, const QList<bool> &marked)
{
    if (!marked.contains(true))
        return rows;
    for (qsizetype i = 0; i < rows.size(); ++i)
        rows[i].prepend(marked.value(i) ? u"installed"_s : QString());
    return rows;
}

} // namespace CtlViews
