#pragma once

#include <QMetaObject>
#include <QtGlobal>
#include <QString>

#include <functional>

class QObject;

// What a row needs to follow the window's search: the text typed there, and word when it
// changes. Rows, groups and pages are given one of these instead of the whole model; the
// window's state is one (WindowState), and a test or a page shown on its own may hand in its own.
class RowFilter {
public:
    virtual ~RowFilter() = default;

    // The search text; an empty text matches every row.
    virtual QString rowFilter() const = 0;
    // Runs `changed` after each change of the text, for as long as `context` lives; queued
    // when `type` says so (a group that looks at its rows after they applied the new text).
    virtual QMetaObject::Connection followRowFilter(QObject *context, std::function<void()> changed,
                                                    Qt::ConnectionType type
                                                    = Qt::AutoConnection) const = 0;

protected:
    RowFilter() = default;
    RowFilter(const RowFilter &) = default;
    RowFilter &operator=(const RowFilter &) = default;
};
