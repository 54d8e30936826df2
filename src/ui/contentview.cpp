#include "ui/contentview.h"

#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pages.h"
#include "ui/sidebaraccessible.h"
#include "model/settingsmodel.h"
#include "ui/state/windowstate.h"

#include <QAction>
#include <QCoreApplication>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

// What a list row stands for.
constexpr int kindRole = Qt::UserRole;
constexpr int valueRole = Qt::UserRole + 1;
enum RowKind { HeaderRow = -1, BotRow = 0, DefaultsRow = 1, AddBotRow = 2 };

// The column divider is the hairline drawn by the sidebar column; the handle itself only
// offers the resize cursor, without the style's grip dots.
class PlainSplitterHandle final : public QSplitterHandle {
public:
    using QSplitterHandle::QSplitterHandle;

protected:
    void paintEvent(QPaintEvent *) override {}
};

class SplitView final : public QSplitter {
public:
    using QSplitter::QSplitter;

protected:
    QSplitterHandle *createHandle() override
    {
        return new PlainSplitterHandle(orientation(), this);
    }
};

std::optional<SidebarItem> sidebarItemOf(const QTreeWidgetItem *row)
{
    if (!row)
        return std::nullopt;
    switch (row->data(0, kindRole).toInt()) {
    case BotRow: return SidebarItem::botAt(row->data(0, valueRole).toInt());
    case DefaultsRow:
        return SidebarItem::defaults(static_cast<SectionID>(row->data(0, valueRole).toInt()));
    default: return std::nullopt;
    }
}

QWidget *createPage(SettingsModel *model, const std::optional<SidebarItem> &item)
{
    if (!item)
        return nullptr;
    if (item->isBot()) {
        if (item->bot < 0 || item->bot >= model->botTokens().size())
            return nullptr;
        return createBotPage(model, item->bot);
    }
    switch (item->section) {
    case SectionID::Model: return createModelSection(model);
    case SectionID::Telegram: return createTelegramDefaultsSection(model);
    case SectionID::App: return createAppSection(model);
    case SectionID::Skills: return createSkillsView(model);
    case SectionID::Registry: return createRegistryView(model);
    case SectionID::About: return createAboutView(model);
    case SectionID::Updates: return createUpdatesView(model);
    }
    return nullptr;
}

// What is switched off while the file cannot be written: the content of a scrolling page, so
// that the page itself still scrolls, or the whole page.
QWidget *editableArea(QWidget *page)
{
    if (auto *scroll = qobject_cast<QScrollArea *>(page); scroll && scroll->widget())
        return scroll->widget();
    return page;
}

} // namespace

ContentView::ContentView(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_state(WindowState::of(model))
    , m_toolBar(new QToolBar)
    , m_toggle(new QToolButton)
    , m_splitter(new SplitView(Qt::Horizontal))
    , m_sidebarColumn(new SidebarColumn)
    , m_search(new QLineEdit)
    , m_sidebar(new QTreeWidget)
    , m_detail(new QWidget)
    , m_detailLayout(new QVBoxLayout(m_detail))
{
    setObjectName(u"contentView"_s);
    setMinimumSize(minimumContentSize());

    // Toolbar: the sidebar button at the navigation (leading) end.
    m_toolBar->setObjectName(u"toolBar"_s);
    m_toolBar->setMovable(false);
    m_toolBar->setFloatable(false);
    m_toolBar->setIconSize(QSize(18, 18));
    m_toggle->setObjectName(u"sidebarToggle"_s);
    m_toggle->setAutoRaise(true);
    m_toggle->setFocusPolicy(Qt::StrongFocus);
    m_toggle->setToolTip(u"Show or hide the sidebar"_s);
    m_toggle->setAccessibleName(u"Show or hide the sidebar"_s);
    Icons::setIcon(m_toggle, u"sidebar.left"_s);
    m_toolBar->addWidget(m_toggle);
    connect(m_toggle, &QToolButton::clicked, this, [this] {
        m_state->setColumnVisibility(m_state->columnVisibility() == ColumnVisibility::All
                                         ? ColumnVisibility::DetailOnly
                                         : ColumnVisibility::All);
    });

    // Sidebar column: search field, then the list.
    m_search->setObjectName(u"settingsSearch"_s);
    m_search->setPlaceholderText(u"Search settings"_s);
    m_search->setAccessibleName(u"Search settings"_s);
    QAction *magnifier
        = m_search->addAction(Icons::icon(u"magnifyingglass"_s), QLineEdit::LeadingPosition);
    magnifier->setObjectName(u"searchIcon"_s);
    magnifier->setText(u"Search"_s);
    // The clear button, drawn like the other symbols (the style's own would be loaded from an
    // icon file at start-up for one small cross).
    auto *clear
        = m_search->addAction(Icons::icon(u"xmark.circle.fill"_s), QLineEdit::TrailingPosition);
    clear->setObjectName(u"clearSearch"_s);
    clear->setToolTip(u"Clear the search"_s);
    clear->setText(clear->toolTip()); // the accessible name of the button it becomes
    clear->setVisible(false);
    connect(clear, &QAction::triggered, this, [this] {
        m_search->clear();
        m_state->setFilter(QString());
    });
    connect(m_search, &QLineEdit::textChanged, clear,
            [clear](const QString &text) { clear->setVisible(!text.isEmpty()); });
    m_search->installEventFilter(this);
    connect(m_search, &QLineEdit::textEdited, m_state, &WindowState::setFilter);
    connect(m_state, &WindowState::filterChanged, this, [this] {
        if (m_search->text() != m_state->filter())
            m_search->setText(m_state->filter());
    });

    buildSidebar();

    auto *sidebarLayout = new QVBoxLayout;
    sidebarLayout->setContentsMargins(8, 8, 6, 8);
    sidebarLayout->setSpacing(6);
    sidebarLayout->addWidget(m_search);
    sidebarLayout->addWidget(m_sidebar, 1);
    // A hairline between the columns; it goes away with the sidebar.
    auto *separator = new QFrame;
    separator->setObjectName(u"columnSeparator"_s);
    separator->setFrameShape(QFrame::VLine);
    separator->setFrameShadow(QFrame::Plain);
    separator->setForegroundRole(QPalette::Mid);
    auto *columnLayout = new QHBoxLayout(m_sidebarColumn);
    columnLayout->setContentsMargins(0, 0, 0, 0);
    columnLayout->setSpacing(0);
    columnLayout->addLayout(sidebarLayout, 1);
    columnLayout->addWidget(separator);
    m_sidebarColumn->setObjectName(u"sidebarColumn"_s);
    m_sidebarColumn->setMinimumWidth(180);
    m_sidebarColumn->setMaximumWidth(260);

    m_detail->setObjectName(u"detail"_s);
    m_detailLayout->setContentsMargins(0, 0, 0, 0);
    // The banners sit above whichever page is shown.
    auto *reload = new QPushButton(u"Reload"_s);
    reload->setObjectName(u"reloadConfig"_s);
    reload->setToolTip(u"Read the configuration file again"_s);
    connect(reload, &QPushButton::clicked, m_model, &SettingsModel::reload);
    m_fileBannerText = plainLabel();
    m_fileBannerText->setObjectName(u"fileProblemText"_s);
    m_fileBanner = makeBanner(u"fileProblemBanner"_s, m_fileBannerText, reload);
    m_saveBannerText = plainLabel();
    m_saveBannerText->setObjectName(u"saveErrorText"_s);
    m_saveBanner = makeBanner(u"saveErrorBanner"_s, m_saveBannerText);

    m_splitter->setObjectName(u"splitView"_s);
    m_splitter->setChildrenCollapsible(false);
    m_splitter->setHandleWidth(2);
    m_splitter->addWidget(m_sidebarColumn);
    m_splitter->addWidget(m_detail);
    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({200, 820});

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_toolBar);
    layout->addWidget(m_splitter, 1);

    // Ctrl+F: to the search field, bringing the sidebar back if it was hidden.
    auto *find = new QShortcut(QKeySequence::Find, this);
    find->setContext(Qt::WindowShortcut);
    connect(find, &QShortcut::activated, this, [this] {
        m_state->setColumnVisibility(ColumnVisibility::All);
        m_search->setFocus(Qt::ShortcutFocusReason);
        m_search->selectAll();
    });

    m_statusTimer.setObjectName(u"statusRefresh"_s);
    connect(&m_statusTimer, &QTimer::timeout, m_model, &SettingsModel::refreshStatus);

    connect(m_model, &SettingsModel::botTokensChanged, this, [this] {
        rebuildBotRows();
        updateAddBot();
        showPage();
    });
    connect(m_model, &SettingsModel::botNicknamesChanged, this, &ContentView::relabelBotRows);
    connect(m_state, &WindowState::selectionChanged, this, [this] {
        selectionFromModel();
        showPage();
    });
    connect(m_state, &WindowState::columnVisibilityChanged, this,
            &ContentView::applyColumnVisibility);
    connect(m_sidebar, &QTreeWidget::itemSelectionChanged, this, &ContentView::selectionFromList);
    connect(m_model, &SettingsModel::fileProblemChanged, this, &ContentView::applyFileState);
    connect(m_model, &SettingsModel::lastSaveErrorChanged, this, &ContentView::applyFileState);

    // Without a readable configuration file the model selects nothing; a window that opens on
    // an empty page looks broken, so it opens on the first settings page instead.
    if (!m_state->selection())
        m_state->setSelection(SidebarItem::defaults(allSections().constFirst()));

    m_search->setText(m_state->filter());
    rebuildBotRows();
    updateAddBot();
    selectionFromModel();
    showPage();
    applyColumnVisibility();
    applyFileState();
}

QFrame *ContentView::makeBanner(const QString &name, QLabel *text, QPushButton *action)
{
    auto *banner = new QFrame;
    banner->setObjectName(name);
    banner->setFrameShape(QFrame::StyledPanel);
    banner->setAutoFillBackground(true);
    banner->setBackgroundRole(QPalette::AlternateBase);
    auto *icon = new QLabel;
    icon->setTextFormat(Qt::PlainText); // no label of the window reads markup
    icon->setPixmap(Icons::icon(u"exclamationmark.triangle"_s).pixmap(QSize(18, 18)));
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *layout = new QHBoxLayout(banner);
    layout->setContentsMargins(12, 8, 12, 8);
    layout->setSpacing(10);
    layout->addWidget(icon, 0, Qt::AlignTop);
    layout->addWidget(text, 1);
    if (action)
        layout->addWidget(action, 0, Qt::AlignVCenter);
    m_detailLayout->addWidget(banner);
    setShownWithParent(banner, false);
    return banner;
}

void ContentView::applyFileState()
{
    const std::optional<QString> &problem = m_model->fileProblem();
    if (problem) {
        m_fileBannerText->setText(
            *problem
            + u". Nothing is saved until the file is mended or removed; the window "
              "reads it again as soon as it changes."_s);
    }
    setShownWithParent(m_fileBanner, problem.has_value());
    const std::optional<QString> &saveError = m_model->lastSaveError();
    if (saveError)
        m_saveBannerText->setText(*saveError);
    setShownWithParent(m_saveBanner, saveError.has_value());
    // Every control that would save is on the page; while the file cannot be used the page can
    // be read and scrolled but not changed.
    if (m_page)
        editableArea(m_page)->setEnabled(m_model->canEdit());
    updateAddBot();
}

void ContentView::buildSidebar()
{
    m_sidebar->setObjectName(u"sidebar"_s);
    m_sidebar->setAccessibleName(u"Sidebar"_s);
    m_sidebar->setHeaderHidden(true);
    m_sidebar->setRootIsDecorated(false);
    m_sidebar->setItemsExpandable(false);
    m_sidebar->setExpandsOnDoubleClick(false);
    m_sidebar->setIndentation(0);
    m_sidebar->setSelectionMode(QAbstractItemView::SingleSelection);
    m_sidebar->setFrameShape(QFrame::NoFrame);
    m_sidebar->setIconSize(QSize(16, 16));
    m_sidebar->setTextElideMode(Qt::ElideRight);
    m_sidebar->header()->setStretchLastSection(true);
    // The list takes the window's colour, like a source list.
    m_sidebar->viewport()->setAutoFillBackground(false);

    auto header = [this](const QString &title) {
        auto *item = new QTreeWidgetItem(m_sidebar, QStringList{title});
        item->setFlags(Qt::ItemIsEnabled);
        item->setData(0, kindRole, HeaderRow);
        QFont font = m_sidebar->font();
        font.setWeight(QFont::DemiBold);
        if (font.pointSizeF() > 0)
            font.setPointSizeF(font.pointSizeF() * 0.9);
        item->setFont(0, font);
        item->setSizeHint(0, QSize(0, 26));
        return item;
    };
    m_botsHeader = header(u"Bots"_s);
    m_defaultsHeader = header(u"Defaults"_s);

    m_addBotItem = new QTreeWidgetItem(m_botsHeader);
    m_addBotItem->setFlags(Qt::ItemIsEnabled);
    m_addBotItem->setData(0, kindRole, AddBotRow);
    auto *addBot = new AddBotButton;
    addBot->setColumn(m_sidebarColumn);
    m_sidebarColumn->setAddBotButton(addBot);
    m_addBot = addBot;
    m_addBot->setObjectName(u"addBot"_s);
    m_addBot->setText(u"Add bot"_s);
    m_addBot->setAutoRaise(true);
    m_addBot->setFocusPolicy(Qt::StrongFocus);
    m_addBot->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    Icons::setIcon(m_addBot, u"plus"_s);
    m_addBot->setToolTip(u"Complete the last bot's token first"_s);
    m_addBot->setAccessibleDescription(u"Complete the last bot's token first"_s);
    m_addBot->setForegroundRole(QPalette::PlaceholderText);
    // The row itself reads as the button does, for a screen reader on the list's cells.
    m_addBotItem->setData(0, Qt::AccessibleTextRole, m_addBot->text());
    m_addBotItem->setData(0, Qt::AccessibleDescriptionRole, m_addBot->toolTip());
    m_sidebar->setItemWidget(m_addBotItem, 0, m_addBot);
    connect(m_addBot, &QToolButton::clicked, m_model, &SettingsModel::addBot);
    m_addBot->installEventFilter(this);
    connect(m_sidebar, &QTreeWidget::currentItemChanged, this,
            &ContentView::focusAddBotWhenCurrent);

    for (SectionID section : allSections()) {
        auto *item = new QTreeWidgetItem(m_defaultsHeader, QStringList{sectionTitle(section)});
        item->setIcon(0, Icons::icon(sectionIcon(section)));
        item->setData(0, kindRole, DefaultsRow);
        item->setData(0, valueRole, int(section));
        item->setData(0, Qt::AccessibleTextRole, sectionTitle(section));
    }
    m_sidebar->expandAll();
    applySidebarColours();
}

void ContentView::applySidebarColours()
{
    if (!m_addBot) // a palette change during construction, before the sidebar exists
        return;
    // This view's own palette: on a change it hears of it before its children are told.
    const QPalette palette = this->palette();
    for (QTreeWidgetItem *header : {m_botsHeader, m_defaultsHeader})
        header->setForeground(0, palette.brush(QPalette::PlaceholderText));
    // Only the text colour is the button's own; every other role keeps following the window.
    QPalette dimmed;
    dimmed.setColor(QPalette::ButtonText, palette.color(QPalette::PlaceholderText));
    m_addBot->setPalette(dimmed);
}

void ContentView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applySidebarColours();
}

void ContentView::rebuildBotRows()
{
    const qsizetype count = m_model->botTokens().size();
    const int existing = m_botsHeader->childCount() - 1; // the last child is "Add bot"
    if (existing == count) {
        relabelBotRows();
        return;
    }
    const QSignalBlocker blocker(m_sidebar);
    const bool wasSyncing = std::exchange(m_syncing, true);
    for (int i = existing; i < count; ++i) {
        auto *item = new QTreeWidgetItem;
        item->setIcon(0, Icons::icon(u"terminal"_s));
        item->setData(0, kindRole, BotRow);
        item->setData(0, valueRole, i);
        m_botsHeader->insertChild(i, item);
    }
    for (int i = existing - 1; i >= count; --i)
        delete m_botsHeader->takeChild(i);
    m_syncing = wasSyncing;
    relabelBotRows();
    selectionFromModel();
}

void ContentView::relabelBotRows()
{
    for (int i = 0; i < m_botsHeader->childCount() - 1; ++i) {
        QTreeWidgetItem *item = m_botsHeader->child(i);
        const QString label = m_model->botLabel(i);
        // Nicknames are the user's text: item views draw it as it is, never as markup. No
        // tooltip: tooltips guess from the text whether it is markup. The page heading shows
        // a name too long for the list.
        item->setText(0, label);
        item->setData(0, Qt::AccessibleTextRole, label);
    }
}

void ContentView::updateAddBot()
{
    m_addBot->setEnabled(m_model->canAddBot() && m_model->canEdit());
}

QTreeWidgetItem *ContentView::itemFor(const SidebarItem &item) const
{
    QTreeWidgetItem *parent = item.isBot() ? m_botsHeader : m_defaultsHeader;
    for (int i = 0; i < parent->childCount(); ++i) {
        QTreeWidgetItem *row = parent->child(i);
        if (sidebarItemOf(row) == item)
            return row;
    }
    return nullptr;
}

void ContentView::selectionFromModel()
{
    const bool wasSyncing = std::exchange(m_syncing, true);
    const std::optional<SidebarItem> &selection = m_state->selection();
    QTreeWidgetItem *row = selection ? itemFor(*selection) : nullptr;
    if (row) {
        m_sidebar->setCurrentItem(row);
    } else {
        m_sidebar->clearSelection();
        m_sidebar->setCurrentItem(nullptr);
    }
    m_syncing = wasSyncing;
}

void ContentView::selectionFromList()
{
    if (m_syncing)
        return;
    const QList<QTreeWidgetItem *> rows = m_sidebar->selectedItems();
    // The arrow keys stop on the headings and on "Add bot", which cannot be selected; the list
    // then drops its selection, but the page stays: the selected row is marked again.
    const QTreeWidgetItem *current = m_sidebar->currentItem();
    if (rows.isEmpty() && current && !(current->flags() & Qt::ItemIsSelectable)
        && m_state->selection()) {
        if (QTreeWidgetItem *row = itemFor(*m_state->selection())) {
            const bool wasSyncing = std::exchange(m_syncing, true);
            row->setSelected(true);
            m_syncing = wasSyncing;
            return;
        }
    }
    m_state->setSelection(rows.isEmpty() ? std::nullopt : sidebarItemOf(rows.constFirst()));
}

void ContentView::showPage()
{
    const std::optional<SidebarItem> &selection = m_state->selection();
    const qsizetype bots = m_model->botTokens().size();
    const bool isBot = selection && selection->isBot();
    if (m_pageBuilt && m_pageItem == selection && (!isBot || m_pageBotCount == bots))
        return;
    m_pageBuilt = true;
    m_pageItem = selection;
    m_pageBotCount = bots;

    if (m_page) {
        Field::commitPending(m_page);
        // The change may come from a button on the old page that is still on the stack.
        m_detailLayout->removeWidget(m_page);
        m_page->hide();
        m_page->setParent(nullptr);
        m_page->deleteLater();
        m_page = nullptr;
    }
    m_page = createPage(m_model, selection);
    if (!m_page) {
        m_page = new QWidget;
        m_page->setObjectName(u"emptyPage"_s);
    } else if (m_page->objectName().isEmpty()) {
        m_page->setObjectName(isBot ? u"botPage"_s
                                    : sectionRawValue(selection->section) + u"Page"_s);
    }
    editableArea(m_page)->setEnabled(m_model->canEdit());
    m_detailLayout->addWidget(m_page);
    m_page->show();
}

void ContentView::applyColumnVisibility()
{
    const bool all = m_state->columnVisibility() == ColumnVisibility::All;
    if (!all && m_sidebarColumn->isAncestorOf(focusWidget()))
        m_detail->setFocus();
    m_sidebarColumn->setVisible(all);
}

void ContentView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!m_shownOnce) {
        m_shownOnce = true;
        m_model->loadSkillsAndFeatures();
    }
    m_model->refreshStatus();
    m_statusTimer.start(m_model->statusRefreshInterval());
}

void ContentView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_statusTimer.stop();
}

void ContentView::focusAddBotWhenCurrent(QTreeWidgetItem *current)
{
    if (current == m_addBotItem && !m_leavingAddBot && m_sidebar->hasFocus()
        && m_addBot->isEnabled())
        m_addBot->setFocus(Qt::OtherFocusReason);
}

bool ContentView::leaveAddBot(int key)
{
    if (key != Qt::Key_Up && key != Qt::Key_Down)
        return false;
    // The list moves on from the "Add bot" row as if it had been the list's current row.
    const bool wasLeaving = std::exchange(m_leavingAddBot, true);
    m_sidebar->setFocus(Qt::OtherFocusReason);
    m_sidebar->setCurrentItem(m_addBotItem, 0, QItemSelectionModel::NoUpdate);
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(m_sidebar, &press);
    m_leavingAddBot = wasLeaving;
    return true;
}

bool ContentView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_addBot && event->type() == QEvent::KeyPress
        && leaveAddBot(static_cast<QKeyEvent *>(event)->key()))
        return true;
    if (watched == m_search && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape
        && !m_search->text().isEmpty()) {
        m_search->clear();
        m_state->setFilter(QString());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
