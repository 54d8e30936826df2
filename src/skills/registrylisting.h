#pragma once

#include "skills/skilltypes.h"

#include <QList>
#include <QString>

// What the Registry page lists: the installable entries that match its search text, in title
// order, cut into pages of ten. Pure functions, so the page and its tests agree on every row
// without a window.
namespace RegistryListing {

constexpr qsizetype pageSize = 10;

// The entries whose title, a blank and description, lower-cased, contain the lower-cased
// filter (an empty filter keeps every entry; neither side is trimmed, so a filter may span the
// end of the title and the start of the description). Then sorted by title in plain text order,
// case-sensitive (capitals before small letters); equal titles keep their order.
QList<RegistryEntry> filtered(const QList<RegistryEntry> &entries, const QString &filter);

// Number of pages for `count` entries; one page even when there is nothing to show, so the
// indicator never reads "1 / 0".
int pageCount(qsizetype count);

struct Page {
    QList<RegistryEntry> entries; // the rows on this page
    int page = 0;                 // zero-based, within 0 … pageCount − 1
    int pageCount = 1;
    qsizetype matchCount = 0; // entries that match the filter, on all pages
    bool hasPrevious() const { return page > 0; }
    bool hasNext() const { return page + 1 < pageCount; }
    QString indicator() const; // "1 / 3"
};

// Page `page` of the filtered entries. A page number out of range (the catalogue shrank under
// it, or a stale model value) shows the nearest page that exists.
Page page(const QList<RegistryEntry> &entries, const QString &filter, int page);

} // namespace RegistryListing
