#include "skills/registrylisting.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace RegistryListing {

QList<RegistryEntry> filtered(const QList<RegistryEntry> &entries, const QString &filter)
{
    QList<RegistryEntry> shown;
    if (filter.isEmpty()) {
        shown = entries;
    } else {
        const QString needle = filter.toLower();
        for (const RegistryEntry &entry : entries) {
            const QString haystack = entry.title + u' ' + entry.description;
            if (haystack.toLower().contains(needle))
                shown.append(entry);
        }
    }
    // Plain UTF-16 order, not locale collation: "MCP server builder" sorts before "Markdown".
    std::stable_sort(
        shown.begin(), shown.end(),
        [](const RegistryEntry &a, const RegistryEntry &b) { return a.title < b.title; });
    return shown;
}

int pageCount(qsizetype count)
{
    if (count <= 0)
        return 1;
    return int((count + pageSize - 1) / pageSize);
}

QString Page::indicator() const
{
    return QString::number(page + 1) + u" / "_s + QString::number(pageCount);
}

Page page(const QList<RegistryEntry> &entries, const QString &filter, int page)
{
    const QList<RegistryEntry> shown = filtered(entries, filter);
    Page result;
    result.matchCount = shown.size();
    result.pageCount = pageCount(shown.size());
    result.page = std::clamp(page, 0, result.pageCount - 1);
    const qsizetype from = qsizetype(result.page) * pageSize;
    const qsizetype to = std::min(from + pageSize, shown.size());
    if (from < to)
        result.entries = shown.mid(from, to - from);
    return result;
}

} // namespace RegistryListing
