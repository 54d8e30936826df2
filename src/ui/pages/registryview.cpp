#include "ui/pages/registryview.h"

#include "ui/controls/binding.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/pages/skillpreviewsheet.h"
#include "model/settingsmodel.h"
#include "skills/registrylisting.h"
#include "skills/skillcatalog.h"
#include "ui/state/windowstate.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

QList<RegistryEntry> catalogue(const SettingsModel *model)
{
    return SkillCatalog::withLoadedEntries(model->githubRawBase(), model->catalogEntries());
}

RegistryListing::Page currentPage(SettingsModel *model)
{
    return RegistryListing::page(catalogue(model), WindowState::of(model)->registryFilter(),
                                 WindowState::of(model)->registryPage());
}

// An "Install" button that stays disabled while its download runs, so a slow server does not
// invite a second click; the model reports the end of every install, written or not.
QPushButton *installButton(SettingsModel *model, const QString &objectName, const QString &name,
                           std::function<void()> start)
{
    auto *button = new QPushButton(u"Install"_s);
    button->setObjectName(objectName);
    QObject::connect(button, &QPushButton::clicked, button, [button, start = std::move(start)] {
        button->setEnabled(false);
        start();
    });
    QObject::connect(model, &SettingsModel::installFinished, button,
                     [button, name](const QString &finished, bool) {
                         if (finished == name)
                             button->setEnabled(true);
                     });
    return button;
}

// "Preview" and "Install" side by side: Preview opens the sheet that downloads the file and
// shows it before anything is written.
QWidget *previewAndInstall(SettingsModel *model, const RegistryEntry &entry, const QString &key,
                           QPushButton *install)
{
    auto *box = new QWidget;
    box->setObjectName(key + u"Actions:"_s + entry.name);
    auto *line = new QHBoxLayout(box);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    auto *preview = new QPushButton(u"Preview"_s);
    preview->setObjectName(key + u"Preview:"_s + entry.name);
    preview->setToolTip(u"Download this skill and look at it before installing"_s);
    preview->setAccessibleName(u"Preview "_s + entry.title);
    QObject::connect(preview, &QPushButton::clicked, preview, [model, entry, preview] {
        auto *sheet = new SkillPreviewSheet(model, entry, preview->window());
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        sheet->open();
    });
    line->addWidget(preview);
    line->addWidget(install);
    return box;
}

// What decides the catalogue rows on screen: the entries of the shown page and whether each is
// installed.
QString catalogueShape(SettingsModel *model)
{
    const RegistryListing::Page page = currentPage(model);
    QString shape = QString::number(page.page) + u'\x1e';
    for (const RegistryEntry &entry : page.entries) {
        shape += entry.name + u'\x1f' + entry.title + u'\x1f' + entry.description + u'\x1f'
                 + entry.rawURL + u'\x1f' + (model->isInstalled(entry.name) ? u'1' : u'0')
                 + u'\x1e';
    }
    return shape;
}

void buildCatalogueRows(SettingsModel *model, QVBoxLayout *layout)
{
    const RegistryListing::Page page = currentPage(model);
    if (page.entries.isEmpty()) {
        QLabel *none = secondaryLabel(u"No skills match the search."_s);
        none->setObjectName(u"noMatches"_s);
        layout->addWidget(none);
        return;
    }
    for (const RegistryEntry &entry : page.entries) {
        QWidget *control = nullptr;
        if (model->isInstalled(entry.name)) {
            QLabel *installed = secondaryLabel(u"Installed"_s);
            installed->setObjectName(u"installed:"_s + entry.name);
            // As tall as the buttons of the other rows, so every row has the same height.
            installed->setMinimumHeight(QPushButton(u"Install"_s).sizeHint().height());
            installed->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            control = installed;
        } else {
            control = previewAndInstall(model, entry, u"entry"_s,
                                        installButton(model, u"install:"_s + entry.name, entry.name,
                                                      [model, entry] { model->install(entry); }));
        }
        auto *row = new SettingRow(WindowState::of(model), entry.title, entry.description, control);
        row->setObjectName(u"entryRow:"_s + entry.name);
        layout->addWidget(row);
    }
}

QString resultsShape(const SettingsModel *model)
{
    QString shape;
    for (const RegistryEntry &entry : model->githubResults())
        shape += entry.name + u'\x1f' + entry.description + u'\x1e';
    return shape;
}

void buildResultRows(SettingsModel *model, QVBoxLayout *layout)
{
    for (const RegistryEntry &entry : model->githubResults()) {
        const QString fullName = RegistryEntry::withoutSearchPrefix(entry.name);
        auto *row = new SettingRow(
            WindowState::of(model), fullName, entry.description,
            previewAndInstall(
                model, entry, u"result"_s,
                installButton(model, u"installResult:"_s + entry.name, entry.name,
                              [model, entry] { model->installSearchResult(entry); })));
        row->setObjectName(u"resultRow:"_s + entry.name);
        QLabel *caption = secondaryLabel(u"GitHub repository"_s);
        caption->setObjectName(u"resultCaption"_s);
        caption->setWordWrap(false);
        row->setTitleTrailing(caption);
        layout->addWidget(row);
    }
}

} // namespace

RegistryView::RegistryView(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_page(new SettingsPage(WindowState::of(model), u"Skill Registry"_s))
{
    setObjectName(u"registryPage"_s);
    m_page->setObjectName(u"registryScroll"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    m_page->addWidget(buildSearchBar());

    // The catalogue list with its pager at the foot of the box.
    SettingsGroup *list = m_page->addGroup(u"Catalog"_s);
    auto *rows = new DynamicBlock(
        model,
        {Bind::Change(WindowState::of(model), &WindowState::registryFilterChanged),
         Bind::Change(WindowState::of(model), &WindowState::registryPageChanged),
         &SettingsModel::catalogEntriesChanged, &SettingsModel::skillsChanged},
        [model] { return catalogueShape(model); },
        [model](QVBoxLayout *blockLayout) { buildCatalogueRows(model, blockLayout); });
    rows->setObjectName(u"catalogueRows"_s);
    list->addWidget(rows);

    auto *pager = new QWidget;
    pager->setObjectName(u"pager"_s);
    auto *pagerLayout = new QHBoxLayout(pager);
    pagerLayout->setContentsMargins(0, 6, 0, 2);
    auto *previous = new QToolButton;
    previous->setObjectName(u"previousPage"_s);
    previous->setArrowType(Qt::LeftArrow);
    previous->setAutoRaise(true);
    previous->setToolTip(u"Previous page"_s);
    previous->setAccessibleName(previous->toolTip());
    QLabel *indicator = plainLabel();
    indicator->setObjectName(u"pageIndicator"_s);
    indicator->setAlignment(Qt::AlignCenter);
    indicator->setMinimumWidth(indicator->fontMetrics().horizontalAdvance(u"00 / 00"_s) + 8);
    auto *next = new QToolButton;
    next->setObjectName(u"nextPage"_s);
    next->setArrowType(Qt::RightArrow);
    next->setAutoRaise(true);
    next->setToolTip(u"Next page"_s);
    next->setAccessibleName(next->toolTip());
    pagerLayout->addStretch(1);
    pagerLayout->addWidget(previous);
    pagerLayout->addWidget(indicator);
    pagerLayout->addWidget(next);
    pagerLayout->addStretch(1);
    list->addWidget(pager);

    // The buttons step from the page on screen, which is the model's page kept in range.
    connect(previous, &QToolButton::clicked, this, [model] {
        const RegistryListing::Page page = currentPage(model);
        if (page.hasPrevious())
            WindowState::of(model)->setRegistryPage(page.page - 1);
    });
    connect(next, &QToolButton::clicked, this, [model] {
        const RegistryListing::Page page = currentPage(model);
        if (page.hasNext())
            WindowState::of(model)->setRegistryPage(page.page + 1);
    });
    Bind::watch(model, pager,
                {Bind::Change(WindowState::of(model), &WindowState::registryFilterChanged),
                 Bind::Change(WindowState::of(model), &WindowState::registryPageChanged),
                 &SettingsModel::catalogEntriesChanged},
                [model, previous, next, indicator] {
                    const RegistryListing::Page page = currentPage(model);
                    indicator->setText(page.indicator());
                    indicator->setAccessibleName(u"Page "_s + page.indicator());
                    previous->setEnabled(page.hasPrevious());
                    next->setEnabled(page.hasNext());
                });

    m_page->addWidget(buildCatalogueActions());
    m_page->addWidget(buildSources());
    QWidget *results = buildGithubResults();
    m_page->addWidget(results);
    // Placed first: showing a widget that has no parent yet would open it as a window.
    Bind::watch(model, results, {&SettingsModel::githubResultsChanged}, [model, results] {
        setShownWithParent(results, !model->githubResults().isEmpty());
    });
}

void RegistryView::setFilter(const QString &text)
{
    WindowState::of(m_model)->setRegistryFilter(text);
    // A narrower list may have fewer pages than the one the user was on.
    WindowState::of(m_model)->setRegistryPage(0);
}

QWidget *RegistryView::buildSearchBar()
{
    auto *bar = new QWidget;
    bar->setObjectName(u"searchBar"_s);
    auto *line = new QHBoxLayout(bar);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(8);

    m_search = new QLineEdit;
    m_search->setObjectName(u"registrySearch"_s);
    m_search->setPlaceholderText(u"Search skills…"_s);
    m_search->setAccessibleName(u"Search skills"_s);
    QAction *icon
        = m_search->addAction(Icons::icon(u"magnifyingglass"_s), QLineEdit::LeadingPosition);
    icon->setObjectName(u"registrySearchIcon"_s);
    icon->setText(u"Search"_s);
    icon->setEnabled(false); // a sign, not a button
    QAction *clear
        = m_search->addAction(Icons::icon(u"xmark.circle.fill"_s), QLineEdit::TrailingPosition);
    clear->setObjectName(u"registrySearchClear"_s);
    clear->setToolTip(u"Clear the search"_s);
    clear->setText(clear->toolTip());

    auto *search = new QPushButton(u"Search GitHub"_s);
    search->setObjectName(u"searchGithub"_s);
    search->setToolTip(u"Search GitHub repositories for skills matching the search text"_s);
    QLabel *searching = secondaryLabel(u"Searching…"_s);
    searching->setObjectName(u"githubSearching"_s);
    searching->setWordWrap(false);

    line->addWidget(m_search, 1);
    line->addWidget(search);
    line->addWidget(searching);

    connect(m_search, &QLineEdit::textEdited, this, &RegistryView::setFilter);
    connect(clear, &QAction::triggered, this, [this] {
        m_search->clear();
        setFilter(QString());
    });
    // Return starts the GitHub search with what was typed, like the button.
    connect(m_search, &QLineEdit::returnPressed, this,
            [this] { m_model->searchGithub(WindowState::of(m_model)->registryFilter()); });
    connect(search, &QPushButton::clicked, this,
            [this] { m_model->searchGithub(WindowState::of(m_model)->registryFilter()); });

    Bind::watch(WindowState::of(m_model), m_search, {&WindowState::registryFilterChanged},
                [this, clear] {
                    const QString &filter = WindowState::of(m_model)->registryFilter();
                    if (m_search->text() != filter)
                        m_search->setText(filter);
                    clear->setVisible(!filter.isEmpty());
                });
    Bind::watch(m_model, searching, {&SettingsModel::githubSearchingChanged},
                [this, searching] { setShownWithParent(searching, m_model->githubSearching()); });
    return bar;
}

QWidget *RegistryView::buildCatalogueActions()
{
    auto *box = new QWidget;
    box->setObjectName(u"catalogueActions"_s);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    QLabel *title = plainLabel(u"Full catalog"_s);
    title->setObjectName(u"fullCatalogTitle"_s);
    title->setFont(groupTitleFont(title->font()));
    column->addWidget(title);
    QLabel *about = secondaryLabel(
        u"Every skill in the skills folder of anthropics/skills and of your source repositories."_s);
    about->setObjectName(u"fullCatalogExplainer"_s);
    column->addWidget(about);

    auto *line = new QHBoxLayout;
    line->setSpacing(8);
    auto *load = new QPushButton(u"Load full catalog"_s);
    load->setObjectName(u"loadFullCatalog"_s);
    Icons::setIcon(load, u"arrow.down.circle"_s);
    load->setToolTip(u"List the skills of anthropics/skills and of your source repositories"_s);
    auto *progress = new QProgressBar;
    progress->setObjectName(u"catalogProgress"_s);
    progress->setRange(0, 0); // busy: the number of sources says nothing about the time left
    progress->setTextVisible(false);
    progress->setMaximumWidth(140);
    progress->setAccessibleName(u"Loading the catalog"_s);
    line->addWidget(load);
    line->addWidget(progress);
    line->addStretch(1);
    column->addLayout(line);

    QLabel *error = new WrapLabel; // names an address, which may be long
    error->setObjectName(u"catalogError"_s);
    QPalette palette = error->palette();
    palette.setColor(QPalette::WindowText, StatusColors::bad());
    error->setPalette(palette);
    column->addWidget(error);

    // Not disabled while loading: the model ignores a second press, and the progress bar says
    // why nothing happens.
    connect(load, &QPushButton::clicked, this, [this] { m_model->loadFullCatalog(); });
    Bind::watch(m_model, progress, {&SettingsModel::catalogLoadingChanged},
                [this, progress] { setShownWithParent(progress, m_model->catalogLoading()); });
    Bind::watch(m_model, error, {&SettingsModel::catalogErrorChanged}, [this, error] {
        const QString text = m_model->catalogError().value_or(QString());
        error->setText(text);
        setShownWithParent(error, !text.isEmpty());
    });
    return box;
}

QWidget *RegistryView::buildSources()
{
    auto *box = new QWidget;
    box->setObjectName(u"sources"_s);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);

    QLabel *sources = secondaryLabel();
    sources->setObjectName(u"skillSources"_s);
    column->addWidget(sources);

    auto *field = new QLineEdit;
    field->setObjectName(u"newSource"_s);
    field->setPlaceholderText(u"add source repo (owner/repo)"_s);
    field->setAccessibleName(u"Add source repository"_s);
    field->setToolTip(u"A GitHub repository with a skills folder; press Return to add it"_s);
    field->setMaximumWidth(field->fontMetrics().averageCharWidth() * 48);
    column->addWidget(field);

    Bind::watch(m_model, sources, {&SettingsModel::skillSourcesChanged}, [this, sources] {
        sources->setText(u"Sources: "_s + m_model->skillSources().join(u", "_s));
    });
    // Not a Field: leaving the field must not add a half-typed source; only Return does.
    connect(field, &QLineEdit::textEdited, this,
            [this](const QString &text) { m_model->setNewSource(text); });
    connect(field, &QLineEdit::returnPressed, this, [this] { m_model->addSource(); });
    Bind::watch(m_model, field, {&SettingsModel::newSourceChanged}, [this, field] {
        if (field->text() != m_model->newSource())
            field->setText(m_model->newSource());
    });
    return box;
}

QWidget *RegistryView::buildGithubResults()
{
    // A wrapper owns the "shown while there are results" rule, so that the group keeps its own
    // rule of hiding while the settings filter matches none of its rows.
    auto *section = new QWidget;
    section->setObjectName(u"githubResultsSection"_s);
    auto *column = new QVBoxLayout(section);
    column->setContentsMargins(0, 0, 0, 0);

    auto *group = new SettingsGroup(WindowState::of(m_model), u"GitHub results"_s);
    column->addWidget(group);
    auto *rows = new DynamicBlock(
        m_model, {&SettingsModel::githubResultsChanged, &SettingsModel::skillsChanged},
        [this] { return resultsShape(m_model); },
        [this](QVBoxLayout *blockLayout) { buildResultRows(m_model, blockLayout); });
    rows->setObjectName(u"resultRows"_s);
    group->addWidget(rows);

    auto *more = new QPushButton(u"Load more results…"_s);
    more->setObjectName(u"loadMoreResults"_s);
    auto *moreLine = new QHBoxLayout;
    moreLine->setContentsMargins(0, 6, 0, 2);
    moreLine->addWidget(more);
    moreLine->addStretch(1);
    group->boxLayout()->addLayout(moreLine);
    connect(more, &QPushButton::clicked, this, [this] { m_model->loadMore(); });

    Bind::watch(m_model, more,
                {&SettingsModel::githubHasMoreChanged, &SettingsModel::githubSearchingChanged},
                [this, more] {
                    setShownWithParent(more, m_model->githubHasMore());
                    // One page at a time: a second press while the next page is on its way
                    // would fetch the same page again.
                    more->setEnabled(!m_model->githubSearching());
                });
    return section;
}

QWidget *createRegistryView(SettingsModel *model, QWidget *parent)
{
    return new RegistryView(model, parent);
}
