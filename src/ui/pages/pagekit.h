#pragma once

#include "ui/controls/binding.h"

#include <QScrollArea>
#include <QString>
#include <QWidget>

#include <functional>

class QLabel;
class QHBoxLayout;
class QVBoxLayout;
class RowFilter;
class SettingRow;

// What every page needs around its rows: a scrollable page with a heading, titled groups, and
// blocks that are rebuilt when the shape of the model changes (the number of backup rows, …).

// A titled box of rows. While the window's search (`filter`) is not empty and none of its rows
// match, the whole group (title included) is hidden, so a search shows only what it found.
class SettingsGroup final : public QWidget {
    Q_OBJECT
public:
    SettingsGroup(const RowFilter *filter, const QString &title, const QString &explainer = {},
                  QWidget *parent = nullptr);

    QLabel *titleLabel() const { return m_title; }
    QLabel *explainerLabel() const { return m_explainer; }
    void setExplainer(const QString &text);

    // Rows, widgets and dynamic blocks, top to bottom inside the box.
    void addWidget(QWidget *widget);
    QVBoxLayout *boxLayout() const { return m_layout; }

    // Re-evaluates whether any row inside matches the filter.
    void updateVisibility();

private:
    const RowFilter *m_filter;
    QLabel *m_title;
    QLabel *m_explainer;
    QVBoxLayout *m_layout;
};

// A scrollable page: the heading, an optional introduction line, then groups and widgets top to
// bottom, its groups following `filter`. Its objectName is given by the page ("modelPage", …).
class SettingsPage final : public QScrollArea {
    Q_OBJECT
public:
    SettingsPage(const RowFilter *filter, const QString &heading, QWidget *parent = nullptr);

    QLabel *headingLabel() const { return m_heading; }
    void setHeading(const QString &text);
    // A secondary line under the heading; set again when its text follows the model.
    QLabel *setIntro(const QString &text);

    // A new group at the end of the page.
    SettingsGroup *addGroup(const QString &title, const QString &explainer = {});
    void addWidget(QWidget *widget);
    QVBoxLayout *contentLayout() const { return m_layout; }

private:
    const RowFilter *m_filter;
    QLabel *m_heading;
    QLabel *m_intro = nullptr;
    QVBoxLayout *m_layout;
};

// A block whose content is built by `build` and built again when `shape` gives a new value
// after one of `changes` (for example the number of backup models; bare signals are signals of
// `watched`). The widgets inside refresh themselves through their bindings in between; only
// structural changes rebuild. Pending text edits inside are committed before the old content goes
// away.
class DynamicBlock final : public QWidget {
    Q_OBJECT
public:
    using Builder = std::function<void(QVBoxLayout *layout)>;

    DynamicBlock(QObject *watched, const QList<Bind::Change> &changes,
                 std::function<QString()> shape, Builder build, QWidget *parent = nullptr);

    void rebuild();
    QWidget *content() const { return m_content; }

private:
    std::function<QString()> m_shape;
    Builder m_build;
    QString m_lastShape;
    QWidget *m_content = nullptr;
    QVBoxLayout *m_outer;
};

// The heading font of a page and the title font of a group.
QFont headingFont(const QFont &base);
QFont groupTitleFont(const QFont &base);

// A row of buttons named `name`, with the page's spacing; `layout` receives its layout.
QWidget *buttonLine(QHBoxLayout **layout, const QString &name);
