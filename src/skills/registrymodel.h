#pragma once

#include "skills/skilltypes.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;

// The skill registry on GitHub: repository search, the full catalogue built from the skills
// folders of source repositories, and downloading and installing skill files into the skills
// folder beside the configuration. Every request is bounded in time and bytes. Main thread only.
class RegistryModel final : public QObject {
    Q_OBJECT

public:
    // configPath: the configuration file, beside which skills are installed. apiBase, rawBase:
    // GitHub's REST and raw-content addresses. network: the access manager to use, asked for
    // only when a request is made.
    RegistryModel(QString configPath, QString apiBase, QString rawBase,
                  std::function<QNetworkAccessManager *()> network, QObject *parent = nullptr);

    const QString &githubApiBase() const { return m_githubApiBase; }
    const QString &githubRawBase() const { return m_githubRawBase; }
    // Where installs write: the "skills" folder beside the configuration file.
    QString installFolder() const;
    // The access manager requests go through, made on first use.
    QNetworkAccessManager *network() const { return m_network(); }
    // Why the latest skill file could not be written, in the system's words; empty when it was.
    const QString &lastWriteError() const { return m_lastWriteError; }
    void searchGithub(const QString &text);
    void search(int page);
    void loadMore();
    // The catalogue of the built-in source and then of `sources`, one after the other.
    void loadFullCatalog(const QStringList &sources);
    void install(const RegistryEntry &entry);
    void installSearchResult(const RegistryEntry &entry);
    // Downloads what install(entry), or installSearchResult(entry) for a search result, would
    // write, with the same requests and limits, and hands it to `done` on the main thread unless
    // `context` is gone by then: the address it came from and the bytes, or an empty address
    // when the download failed. Nothing is written.
    void download(const RegistryEntry &entry, QObject *context,
                  std::function<void(const QString &source, const QByteArray &bytes)> done);
    // Writes bytes that download() brought as install would write them.
    void installDownloaded(const RegistryEntry &entry, const QByteArray &bytes);
    int downloadTimeout() const { return m_downloadTimeout; }
    void setDownloadTimeout(int ms) { m_downloadTimeout = ms; }
    qint64 downloadLimit() const { return m_downloadLimit; }
    void setDownloadLimit(qint64 bytes) { m_downloadLimit = bytes; }
    qint64 apiReplyLimit() const { return m_apiReplyLimit; }
    void setApiReplyLimit(qint64 bytes) { m_apiReplyLimit = bytes; }

    const QList<RegistryEntry> &githubResults() const { return m_githubResults; }
    void setGithubResults(const QList<RegistryEntry> &value);
    const QList<RegistryEntry> &catalogEntries() const { return m_catalogEntries; }
    void setCatalogEntries(const QList<RegistryEntry> &value);
    bool catalogLoading() const { return m_catalogLoading; }
    void setCatalogLoading(bool value);
    const std::optional<QString> &catalogError() const { return m_catalogError; }
    void setCatalogError(const std::optional<QString> &value);
    bool githubSearching() const { return m_githubSearching; }
    void setGithubSearching(bool value);
    const QString &githubQuery() const { return m_githubQuery; }
    void setGithubQuery(const QString &value);
    int githubPage() const { return m_githubPage; }
    void setGithubPage(int value);
    bool githubHasMore() const { return m_githubHasMore; }
    void setGithubHasMore(bool value);

Q_SIGNALS:
    void githubResultsChanged();
    void catalogEntriesChanged();
    void catalogLoadingChanged();
    void catalogErrorChanged();
    void githubSearchingChanged();
    void githubQueryChanged();
    void githubPageChanged();
    void githubHasMoreChanged();
    // A skill file was written into the skills folder; installFinished follows.
    void skillFileWritten();
    // An install finished; ok is false when nothing was written.
    void installFinished(const QString &name, bool ok);

private:
    void fetch(const QUrl &url, std::function<void(int status, const QByteArray &body)> done);
    void writeSkillFile(const QString &fileName, const QByteArray &bytes, const QString &name);

    QString m_configPath;
    QString m_lastWriteError;
    QString m_githubApiBase;
    QString m_githubRawBase;
    std::function<QNetworkAccessManager *()> m_network;
    int m_downloadTimeout = 30000;
    qint64 m_downloadLimit = 4 * 1024 * 1024;  // a skill file
    qint64 m_apiReplyLimit = 16 * 1024 * 1024; // a GitHub JSON reply

    QList<RegistryEntry> m_githubResults;
    QList<RegistryEntry> m_catalogEntries;
    bool m_catalogLoading = false;
    std::optional<QString> m_catalogError;
    bool m_githubSearching = false;
    QString m_githubQuery;
    int m_githubPage = 0;
    bool m_githubHasMore = false;
};
