#pragma once

#include <QMetaObject>
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
    // Runs `changed` after each change of the text, for as long as `context` lives.
    virtual QMetaObject::Connection followRowFilter(QObject *context,
                                                    std::function<void()> changed) const = 0;

protected:
    RowFilter() = default;
    RowFilter(const RowFilter &) = default;
    RowFilter &operator=(const RowFilter &) = default;
};
