#include "skills/registrymodel.h"

#include "config/configdocument.h"
#include "config/replacevalue.h"
#include "network/request.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString builtInSource = u"anthropics/skills"_s;
constexpr qsizetype searchPageSize = 10;
constexpr qsizetype searchDescriptionLength = 120;

// The reply as a JSON object, or nothing when the request failed or the bytes are no object.
std::optional<QJsonObject> jsonObject(int status, const QByteArray &body)
{
    if (status == 0)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

// Branch names and tree paths come from remote data; characters that would end the path (such
// as "?" or "#") are escaped so they stay part of it. Ordinary names are unchanged.
QString urlPath(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text, "/!$&'()*+,;=:@"));
}

RegistryEntry searchEntry(const QString &fullName, const QJsonValue &description,
                          const QString &rawBase)
{
    RegistryEntry entry;
    entry.name = RegistryEntry::searchResultName(fullName);
    entry.title = fullName.sliced(fullName.lastIndexOf(u'/') + 1);
    if (description.isString())
        entry.description
            = SkillCatalog::firstCharacters(description.toString(), searchDescriptionLength);
    entry.rawURL = rawBase + u'/' + fullName + u"/main/SKILL.md"_s;
    return entry;
}

// The catalogue entry for one tree path, or nothing when the path is not
// skills/<name…>/SKILL.md or the name could not be installed safely.
std::optional<RegistryEntry> catalogEntry(const QString &path, const QString &source,
                                          const QString &branch, const QString &rawBase)
{
    const QStringList pieces = path.split(u'/', Qt::SkipEmptyParts);
    if (pieces.size() <= 2 || pieces.constFirst() != u"skills" || pieces.constLast() != u"SKILL.md")
        return std::nullopt;
    RegistryEntry entry;
    entry.name = pieces.mid(1, pieces.size() - 2).join(u'/');
    // Git itself never stores "." or ".." in a tree; a server that sends them is not offered.
    if (!SkillFile::installStem(entry.name))
        return std::nullopt;
    entry.title = SkillCatalog::titleFromName(entry.name);
    entry.description = u"From "_s + source;
    entry.rawURL = rawBase + u'/' + source + u'/' + urlPath(branch) + u'/' + urlPath(path);
    return entry;
}

} // namespace

RegistryModel::RegistryModel(QString configPath, QString apiBase, QString rawBase,
                             std::function<QNetworkAccessManager *()> network, QObject *parent)
    : QObject(parent)
    , m_configPath(std::move(configPath))
    , m_githubApiBase(std::move(apiBase))
    , m_githubRawBase(std::move(rawBase))
    , m_network(std::move(network))
{}

// ---- HTTP ----------------------------------------------------------------------------------

// GETs `url` and hands the body to `done` on the main thread, with the HTTP status, or with
// status 0 and no body when anything went wrong: a transport error, an HTTP status outside
// 2xx, a body over its limit (the request stops as soon as that is known: from the announced
// length or while reading) or no complete answer within downloadTimeout(). GitHub's JSON
// replies may take apiReplyLimit() bytes, every other download downloadLimit().
QString RegistryModel::installFolder() const
{
    return SkillFile::installFolder(m_configPath);
}

void RegistryModel::fetch(const QUrl &url, std::function<void(int, const QByteArray &)> done)
{
    QNetworkRequest request(url);
    const bool api = QUrl(m_githubApiBase).isParentOf(url);
    // GitHub refuses requests without a User-Agent (the helper sets ours) and asks REST
    // clients for its media type.
    if (api) {
        request.setRawHeader("Accept", "application/vnd.github+json");
        request.setRawHeader("X-GitHub-Api-Version", "2022-11-28");
    }
    const Net::Limits limits{m_downloadTimeout, api ? m_apiReplyLimit : m_downloadLimit};
    Net::send(m_network(), this, Net::Method::Get, request, {}, limits,
              [done = std::move(done)](const Net::Outcome &outcome) {
                  if (!outcome.succeeded()) {
                      done(0, {});
                      return;
                  }
                  done(outcome.status, outcome.body);
              });
}

// ---- GitHub search -------------------------------------------------------------------------

void RegistryModel::searchGithub(const QString &text)
{
    setGithubQuery(text);
    setGithubPage(0);
    setGithubResults({});
    search(0);
}

void RegistryModel::search(int page)
{
    const QString query = ConfigDocument::trimBlanks(m_githubQuery);
    if (query.isEmpty())
        return;
    setGithubSearching(true);

    // The characters a URL query may hold stay as they are; everything else is escaped.
    const QByteArray value = QUrl::toPercentEncoding(query, "!$&'()*+,/:;=?@");
    const QByteArray address = QUrl(m_githubApiBase).toEncoded() + "/search/repositories?q=" + value
                               + "+skills&sort=stars&per_page=" + QByteArray::number(searchPageSize)
                               + "&page=" + QByteArray::number(page + 1);
    const QUrl url = QUrl::fromEncoded(address, QUrl::StrictMode);
    if (!url.isValid()) {
        setGithubSearching(false);
        return;
    }
    // Searches are not serialised: the reply that arrives last decides what is shown.
    fetch(url, [this, page](int status, const QByteArray &body) {
        const std::optional<QJsonObject> object = jsonObject(status, body);
        const QJsonValue items = object ? object->value("items"_L1) : QJsonValue();
        if (!items.isArray()) {
            setGithubHasMore(false);
            setGithubSearching(false);
            return;
        }
        QList<RegistryEntry> entries;
        for (const QJsonValue &item : items.toArray()) {
            const QJsonValue fullName = item.toObject().value("full_name"_L1);
            if (!item.isObject() || !fullName.isString())
                continue;
            entries.append(searchEntry(fullName.toString(), item.toObject().value("description"_L1),
                                       m_githubRawBase));
        }
        const qsizetype found = entries.size();
        setGithubResults(page == 0 ? entries : m_githubResults + entries);
        setGithubPage(page);
        // A full page means GitHub may have another one.
        setGithubHasMore(found >= searchPageSize);
        setGithubSearching(false);
    });
}

void RegistryModel::loadMore()
{
    search(m_githubPage + 1);
}

// ---- full catalogue ------------------------------------------------------------------------

void RegistryModel::loadFullCatalog(const QStringList &sources)
{
    if (m_catalogLoading)
        return;
    setCatalogLoading(true);
    setCatalogError(std::nullopt);

    struct Pass {
        QStringList sources;
        QSet<QString> names;
    };
    auto pass = std::make_shared<Pass>();
    pass->sources = QStringList{builtInSource} + sources;

    // One source after the other; each step schedules the next when its requests are done.
    // The step holds itself only weakly; the pending request callbacks keep it alive.
    auto step = std::make_shared<std::function<void(qsizetype)>>();
    *step = [this, pass, weakStep = std::weak_ptr(step)](qsizetype index) {
        const auto self = weakStep.lock();
        if (!self)
            return;
        if (index >= pass->sources.size()) {
            setCatalogLoading(false);
            return;
        }
        const QString source = pass->sources.at(index);
        const QUrl infoUrl(m_githubApiBase + u"/repos/"_s + source);
        fetch(infoUrl, [this, pass, self, index, source](int status, const QByteArray &body) {
            const std::optional<QJsonObject> info = jsonObject(status, body);
            const QJsonValue branch = info ? info->value("default_branch"_L1) : QJsonValue();
            if (!branch.isString()) {
                setCatalogError(u"Couldn't load "_s + source);
                (*self)(index + 1);
                return;
            }
            const QUrl treeUrl(m_githubApiBase + u"/repos/"_s + source + u"/git/trees/"_s
                               + urlPath(branch.toString()) + u"?recursive=1"_s);
            fetch(treeUrl, [this, pass, self, index, source, branchName = branch.toString()](
                               int treeStatus, const QByteArray &treeBody) {
                const std::optional<QJsonObject> tree = jsonObject(treeStatus, treeBody);
                const QJsonValue elements = tree ? tree->value("tree"_L1) : QJsonValue();
                if (!elements.isArray()) {
                    setCatalogError(u"Couldn't list "_s + source);
                    (*self)(index + 1);
                    return;
                }
                if (pass->names.isEmpty()) {
                    for (const RegistryEntry &known : std::as_const(m_catalogEntries))
                        pass->names.insert(known.name);
                }
                QList<RegistryEntry> added;
                for (const QJsonValue &element : elements.toArray()) {
                    const QJsonValue path = element.toObject().value("path"_L1);
                    if (!path.isString())
                        continue;
                    std::optional<RegistryEntry> entry
                        = catalogEntry(path.toString(), source, branchName, m_githubRawBase);
                    // The first entry with a name wins, across sources and within one.
                    if (entry && !pass->names.contains(entry->name)) {
                        pass->names.insert(entry->name);
                        added.append(std::move(*entry));
                    }
                }
                if (!added.isEmpty())
                    setCatalogEntries(m_catalogEntries + added);
                (*self)(index + 1);
            });
        });
    };
    (*step)(0);
}

// ---- install --------------------------------------------------------------------

void RegistryModel::install(const RegistryEntry &entry)
{
    const std::optional<QString> stem = SkillFile::installStem(entry.name);
    if (!stem) {
        Q_EMIT installFinished(entry.name, false);
        return;
    }
    fetch(QUrl(entry.rawURL),
          [this, name = entry.name, stem = *stem](int status, const QByteArray &body) {
              if (status == 0) {
                  Q_EMIT installFinished(name, false);
                  return;
              }
              writeSkillFile(stem, body, name);
          });
}

void RegistryModel::installSearchResult(const RegistryEntry &entry)
{
    const QString fullName = RegistryEntry::withoutSearchPrefix(entry.name);
    // owner/repo is installed as owner-repo.md.
    const std::optional<QString> stem = SkillFile::installStem(fullName);
    if (!stem) {
        Q_EMIT installFinished(entry.name, false);
        return;
    }
    auto address = [this, fullName](const QString &branch) {
        return QUrl(m_githubRawBase + u'/' + fullName + u'/' + branch + u"/SKILL.md"_s);
    };
    fetch(address(u"main"_s), [this, name = entry.name, stem = *stem,
                               master = address(u"master"_s)](int status, const QByteArray &body) {
        if (status != 0) {
            writeSkillFile(stem, body, name);
            return;
        }
        fetch(master, [this, name, stem](int masterStatus, const QByteArray &masterBody) {
            if (masterStatus == 0) {
                Q_EMIT installFinished(name, false);
                return;
            }
            writeSkillFile(stem, masterBody, name);
        });
    });
}

void RegistryModel::writeSkillFile(const QString &fileName, const QByteArray &bytes,
                                   const QString &name)
{
    // Install always writes beside the configuration file, even when "skills_dir" points
    // elsewhere; the listing that follows honours "skills_dir".
    m_lastWriteError.clear();
    const bool written = SkillFile::writeInto(installFolder(), fileName, bytes, &m_lastWriteError);
    if (written)
        Q_EMIT skillFileWritten();
    Q_EMIT installFinished(name, written);
}

// ---- preview --------------------------------------------------------------------------------

void RegistryModel::download(const RegistryEntry &entry, QObject *context,
                             std::function<void(const QString &, const QByteArray &)> done)
{
    const QPointer<QObject> guard(context);
    // A name install would refuse is not downloaded either.
    if (!SkillFile::installStem(RegistryEntry::withoutSearchPrefix(entry.name))) {
        QTimer::singleShot(0, this, [guard, done] {
            if (guard)
                done(QString(), QByteArray());
        });
        return;
    }
    auto reply = [guard, done](const QUrl &url, int status, const QByteArray &body) {
        if (guard)
            done(status == 0 ? QString() : url.toString(), status == 0 ? QByteArray() : body);
    };
    if (!RegistryEntry::isSearchResultName(entry.name)) {
        const QUrl url(entry.rawURL);
        fetch(url, [reply, url](int status, const QByteArray &body) { reply(url, status, body); });
        return;
    }
    // The branches installSearchResult tries, in its order.
    const QString fullName = RegistryEntry::withoutSearchPrefix(entry.name);
    const QUrl main(m_githubRawBase + u'/' + fullName + u"/main/SKILL.md"_s);
    const QUrl master(m_githubRawBase + u'/' + fullName + u"/master/SKILL.md"_s);
    fetch(main, [this, reply, main, master](int status, const QByteArray &body) {
        if (status != 0) {
            reply(main, status, body);
            return;
        }
        fetch(master, [reply, master](int masterStatus, const QByteArray &masterBody) {
            reply(master, masterStatus, masterBody);
        });
    });
}

void RegistryModel::installDownloaded(const RegistryEntry &entry, const QByteArray &bytes)
{
    const std::optional<QString> stem
        = SkillFile::installStem(RegistryEntry::withoutSearchPrefix(entry.name));
    if (!stem) {
        Q_EMIT installFinished(entry.name, false);
        return;
    }
    writeSkillFile(*stem, bytes, entry.name);
}

// ---- state ------------------------------------------------------------------------------------

void RegistryModel::setGithubResults(const QList<RegistryEntry> &value)
{
    if (replaceValue(m_githubResults, value))
        Q_EMIT githubResultsChanged();
}

void RegistryModel::setCatalogEntries(const QList<RegistryEntry> &value)
{
    if (replaceValue(m_catalogEntries, value))
        Q_EMIT catalogEntriesChanged();
}

void RegistryModel::setCatalogLoading(bool value)
{
    if (replaceValue(m_catalogLoading, value))
        Q_EMIT catalogLoadingChanged();
}

void RegistryModel::setCatalogError(const std::optional<QString> &value)
{
    if (replaceValue(m_catalogError, value))
        Q_EMIT catalogErrorChanged();
}

void RegistryModel::setGithubSearching(bool value)
{
    if (replaceValue(m_githubSearching, value))
        Q_EMIT githubSearchingChanged();
}

void RegistryModel::setGithubQuery(const QString &value)
{
    if (replaceValue(m_githubQuery, value))
        Q_EMIT githubQueryChanged();
}

void RegistryModel::setGithubPage(int value)
{
    if (replaceValue(m_githubPage, value))
        Q_EMIT githubPageChanged();
}

void RegistryModel::setGithubHasMore(bool value)
{
    if (replaceValue(m_githubHasMore, value))
        Q_EMIT githubHasMoreChanged();
}
