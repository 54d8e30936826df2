#pragma once

#include <QToolButton>
#include <QWidget>

// The sidebar's "Add bot" row is a button drawn inside the list. Qt presents a list to screen
// readers as its cells only, so a widget placed in a row is not in the accessibility tree; these
// two classes put the button there, as a child of the sidebar column right after the list.

// The sidebar column: the search field, the list and its separator. Its accessible children are
// its widgets followed by the list's "Add bot" button.
class SidebarColumn final : public QWidget {
    Q_OBJECT
public:
    explicit SidebarColumn(QWidget *parent = nullptr);

    QToolButton *addBotButton() const { return m_addBot; }
    void setAddBotButton(QToolButton *button) { m_addBot = button; }

private:
    QToolButton *m_addBot = nullptr;
};

// "Add bot": a pressable button with its name, its help text as description and its enabled
// state, whose accessible parent is the sidebar column.
class AddBotButton final : public QToolButton {
    Q_OBJECT
public:
    explicit AddBotButton(QWidget *parent = nullptr);

    SidebarColumn *column() const { return m_column; }
    void setColumn(SidebarColumn *column) { m_column = column; }

private:
    SidebarColumn *m_column = nullptr;
};
