#pragma once

#include "skills/skilltypes.h"

#include <QWidget>

class QLineEdit;
class SettingsModel;
class SettingsPage;

// The Skill Registry page: a search field that filters the catalogue and is also the query of
// "Search GitHub", the catalogue (the fixed entries, then those found by "Load full catalog")
// in title order and pages of ten, the user's source repositories, and the GitHub results.
// Everything it shows lives in the model; every action is a model operation.
//
// Object names: "registrySearch" (its actions "registrySearchIcon", "registrySearchClear"),
// "searchGithub", "githubSearching", catalogue rows "entryRow:<name>" with "entryPreview:<name>"
// and "install:<name>" or "installed:<name>", "previousPage", "pageIndicator", "nextPage",
// "noMatches", "loadFullCatalog", "catalogProgress", "catalogError", "skillSources", "newSource",
// "githubResultsSection", result rows "resultRow:<name>" with "resultPreview:<name>" and
// "installResult:<name>",
// "loadMoreResults".
class RegistryView final : public QWidget {
    Q_OBJECT
public:
    explicit RegistryView(SettingsModel *model, QWidget *parent = nullptr);

    SettingsPage *page() const { return m_page; }
    QLineEdit *searchField() const { return m_search; }

private:
    QWidget *buildSearchBar();
    QWidget *buildCatalogueActions();
    QWidget *buildSources();
    QWidget *buildGithubResults();
    void setFilter(const QString &text);

    SettingsModel *m_model;
    SettingsPage *m_page;
    QLineEdit *m_search = nullptr;
};
