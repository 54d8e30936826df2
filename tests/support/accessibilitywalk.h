#pragma once

// Walks the accessibility tree of a window the way a screen reader does: Qt's own
// QAccessibleInterface objects, from the window down through child(), skipping what is not on
// screen. Header only: the support library itself links no widgets.

#include "ui/controls/settingrow.h"
#include "ui/pages/aboutview.h"

#include <QAccessible>
#include <QAccessibleInterface>
#include <QLabel>
#include <QSet>
#include <QStringList>
#include <QWidget>

namespace AccessibilityWalk {

// Every interface a screen reader can reach from `root`, parents before children. Subtrees of
// invisible elements (a closed menu's list, a hidden row) are left out.
inline QList<QAccessibleInterface *> reachable(QWidget *root)
{
    QList<QAccessibleInterface *> found;
    QSet<QAccessibleInterface *> seen;
    QList<QAccessibleInterface *> pending{QAccessible::queryAccessibleInterface(root)};
    while (!pending.isEmpty()) {
        QAccessibleInterface *iface = pending.takeFirst();
        if (!iface || !iface->isValid() || seen.contains(iface) || iface->state().invisible)
            continue;
        seen.insert(iface);
        found.append(iface);
        for (int i = 0; i < iface->childCount(); ++i)
            pending.append(iface->child(i));
    }
    return found;
}

// Roles a user operates: these must say what they are.
inline bool isInteractive(QAccessible::Role role)
{
    switch (role) {
    case QAccessible::Button:
    case QAccessible::CheckBox:
    case QAccessible::RadioButton:
    case QAccessible::ComboBox:
    case QAccessible::EditableText:
    case QAccessible::SpinBox:
    case QAccessible::Slider:
    case QAccessible::ButtonMenu:
    case QAccessible::ButtonDropDown:
    case QAccessible::Link:
    case QAccessible::PageTab:
    case QAccessible::MenuItem:
    case QAccessible::ListItem:
    case QAccessible::TreeItem:
    case QAccessible::Cell: return true;
    default: return false;
    }
}

inline QString describe(QAccessibleInterface *iface)
{
    QString text = QString::number(int(iface->role()), 16);
    if (QObject *object = iface->object()) {
        text += QLatin1Char(' ') + QString::fromLatin1(object->metaObject()->className())
                + QLatin1Char(' ') + object->objectName();
    }
    return text;
}

// Interactive elements a screen reader would announce without a name.
inline QStringList unnamedInteractive(QWidget *root)
{
    QStringList problems;
    for (QAccessibleInterface *iface : reachable(root)) {
        if (isInteractive(iface->role()) && iface->text(QAccessible::Name).trimmed().isEmpty())
            problems.append(describe(iface));
    }
    return problems;
}

// The interface of `object` if a screen reader can reach it from `root`.
inline QAccessibleInterface *reachableInterfaceOf(QWidget *root, const QObject *object)
{
    for (QAccessibleInterface *iface : reachable(root)) {
        if (iface->object() == object)
            return iface;
    }
    return nullptr;
}

// Whether `iface` or an element under it reads `text` as its name, value or description.
inline bool reads(QAccessibleInterface *iface, const QString &text)
{
    if (!iface || iface->state().invisible)
        return false;
    for (const auto kind : {QAccessible::Name, QAccessible::Value, QAccessible::Description}) {
        if (iface->text(kind) == text)
            return true;
    }
    for (int i = 0; i < iface->childCount(); ++i) {
        if (reads(iface->child(i), text))
            return true;
    }
    return false;
}

// Whether `iface` is labelled by an element named `title`.
inline bool labelledBy(QAccessibleInterface *iface, const QString &title)
{
    const auto labels = iface->relations(QAccessible::Label);
    return std::any_of(labels.cbegin(), labels.cend(), [&](const auto &relation) {
        return relation.first && relation.first->text(QAccessible::Name) == title;
    });
}

struct ValueRow {
    QString title;
    QWidget *value;
    QString text; // what the row shows as its value
};

// The read-only value rows under `root` that are on screen: status rows and the information
// rows of About and Updates (a "title" label whose buddy is the value).
inline QList<ValueRow> valueRows(QWidget *root)
{
    QList<ValueRow> rows;
    for (StatusRow *row : root->findChildren<StatusRow *>()) {
        if (row->isVisible())
            rows.append({row->label(), row->valueLabel(), row->value()});
    }
    for (InfoSection *section : root->findChildren<InfoSection *>()) {
        for (QLabel *title : section->findChildren<QLabel *>(QStringLiteral("title"))) {
            QWidget *value = title->buddy();
            if (!title->isVisible())
                continue;
            QString text;
            if (auto *label = qobject_cast<QLabel *>(value)) {
                text = label->text();
            } else if (value) {
                // A value made of an icon and a text: the text.
                for (QLabel *part : value->findChildren<QLabel *>()) {
                    if (!part->text().isEmpty())
                        text = part->text();
                }
            }
            rows.append({title->text(), value, text});
        }
    }
    return rows;
}

// Value rows whose value a screen reader cannot reach: the value must be in the tree, read as
// its text, and labelled by the row's title.
inline QStringList unreachableValues(QWidget *root)
{
    QStringList problems;
    for (const ValueRow &row : valueRows(root)) {
        QAccessibleInterface *iface = row.value ? reachableInterfaceOf(root, row.value) : nullptr;
        if (!iface)
            problems.append(row.title + QStringLiteral(": value not in the tree"));
        else if (!reads(iface, row.text))
            problems.append(row.title + QStringLiteral(": value not read: ") + row.text);
        else if (!labelledBy(iface, row.title))
            problems.append(row.title + QStringLiteral(": value not labelled by its title"));
    }
    return problems;
}

} // namespace AccessibilityWalk
