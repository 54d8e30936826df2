#pragma once

#include "ui/sidebaraccessible.h"
#include "config/sidebaritem.h"

#include <QTimer>
#include <QWidget>

#include <optional>

class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QSplitter;
class QToolBar;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;
class QVBoxLayout;
class SettingsModel;
class WindowState;

// The window's content: a toolbar with the sidebar button, the sidebar column (the settings
// search field above the list of bots and pages) and the detail column with the page of the
// model's selection.
//
// The model owns every piece of state shown here: the selection drives the list both ways,
// columnVisibility shows or hides the sidebar, filter is what the search field edits. While
// the view is shown it refreshes the bot status at once and then every
// statusRefreshInterval() ms; the skills folder is read when it is shown for the first time.
class ContentView final : public QWidget {
    Q_OBJECT
public:
    static QSize minimumContentSize() { return {900, 600}; }

    explicit ContentView(SettingsModel *model, QWidget *parent = nullptr);

    SettingsModel *settingsModel() const { return m_model; }
    QTreeWidget *sidebar() const { return m_sidebar; }
    QWidget *sidebarColumn() const { return m_sidebarColumn; }
    QLineEdit *searchField() const { return m_search; }
    QToolButton *sidebarToggle() const { return m_toggle; }
    QToolButton *addBotButton() const { return m_addBot; }
    QWidget *detail() const { return m_detail; }
    QWidget *currentPage() const { return m_page; }
    // Above every page: why the configuration file cannot be used, with a Reload button; and
    // why the last save failed.
    QFrame *fileProblemBanner() const { return m_fileBanner; }
    QFrame *saveErrorBanner() const { return m_saveBanner; }
    bool isRefreshingStatus() const { return m_statusTimer.isActive(); }

    // The list row of a sidebar item, or none.
    QTreeWidgetItem *itemFor(const SidebarItem &item) const;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void buildSidebar();
    // Section headings and "Add bot" are drawn in the palette's placeholder colour; set again
    // when the palette changes (a switch between light and dark).
    void applySidebarColours();
    void rebuildBotRows();
    void relabelBotRows();
    void updateAddBot();
    void selectionFromModel();
    void selectionFromList();
    void showPage();
    void applyColumnVisibility();
    QFrame *makeBanner(const QString &name, QLabel *text, QPushButton *action = nullptr);
    // Shows the file problem and the save error, and lets the user edit only while the file
    // can be written.
    void applyFileState();
    // The arrow keys walk through "Add bot" like through the other rows: reaching its row moves
    // the focus to the button, and the arrows on the button move on to the rows around it.
    void focusAddBotWhenCurrent(QTreeWidgetItem *current);
    bool leaveAddBot(int key);

    SettingsModel *m_model;
    WindowState *m_state; // the model's, made by this view
    QToolBar *m_toolBar;
    QToolButton *m_toggle;
    QSplitter *m_splitter;
    SidebarColumn *m_sidebarColumn;
    QLineEdit *m_search;
    QTreeWidget *m_sidebar;
    QTreeWidgetItem *m_botsHeader = nullptr;
    QTreeWidgetItem *m_defaultsHeader = nullptr;
    QTreeWidgetItem *m_addBotItem = nullptr;
    QToolButton *m_addBot = nullptr;
    QWidget *m_detail;
    QVBoxLayout *m_detailLayout;
    QFrame *m_fileBanner = nullptr;
    QLabel *m_fileBannerText = nullptr;
    QFrame *m_saveBanner = nullptr;
    QLabel *m_saveBannerText = nullptr;
    QWidget *m_page = nullptr;
    // What the current page shows, to rebuild only when that changes.
    std::optional<SidebarItem> m_pageItem;
    qsizetype m_pageBotCount = -1;
    bool m_pageBuilt = false;
    bool m_syncing = false;
    bool m_leavingAddBot = false;
    bool m_shownOnce = false;
    QTimer m_statusTimer;
};
