// Arbitrary bytes as GitHub's replies, fed through the settings model's own request code by a
// network access manager that answers in-process (no sockets): the repository search, then
// installing what it found; or the repository info and the git tree of the full catalogue.
// What the model keeps must be what a plain reading of the reply gives, every request must
// stay on the GitHub hosts it was given, and installs must only ever write <stem>.md files
// inside the skills folder.
//
// Input: one mode byte, then two parts separated by the first NUL byte (JSON text never holds
// a raw NUL). Search mode: the query typed, then the search reply (without a NUL the query is
// "skills" and everything is the reply). Catalogue mode: the repository info reply, then the
// tree reply (without a NUL the info names the branch "main" and everything is the tree).
#include "model/settingsmodel.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"
#include "fuzzcheck.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrlQuery>

#include <cstdint>
#include <memory>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString host = u"fuzz.invalid"_s;
const QString apiBase = u"http://fuzz.invalid/api"_s;
const QString rawBase = u"http://fuzz.invalid/raw"_s;
const QByteArray installedSkill = "# Installed\n\nFrom the fuzzer.\n";

// A finished reply with a fixed body, delivered on the next turn of the event loop the way a
// real reply arrives.
class BytesReply final : public QNetworkReply {
public:
    BytesReply(const QNetworkRequest &request, QByteArray body, int status, QObject *parent)
        : QNetworkReply(parent)
        , m_body(std::move(body))
    {
        setRequest(request);
        setUrl(request.url());
        setOperation(QNetworkAccessManager::GetOperation);
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
        setHeader(QNetworkRequest::ContentLengthHeader, m_body.size());
        if (status < 200 || status > 299)
            setError(ContentNotFoundError, u"Not found"_s);
        QTimer::singleShot(0, this, [this] {
            if (m_aborted)
                return;
            Q_EMIT metaDataChanged();
            if (m_aborted)
                return;
            if (!m_body.isEmpty())
                Q_EMIT readyRead();
            if (m_aborted)
                return;
            setFinished(true);
            Q_EMIT finished();
        });
    }

    void abort() override
    {
        if (m_aborted || isFinished())
            return;
        m_aborted = true;
        setError(OperationCanceledError, u"Operation canceled"_s);
        setFinished(true);
        Q_EMIT errorOccurred(OperationCanceledError);
        Q_EMIT finished();
    }
    qint64 bytesAvailable() const override
    {
        return m_body.size() - m_read + QIODevice::bytesAvailable();
    }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = qMin(maxSize, qint64(m_body.size()) - m_read);
        if (count <= 0)
            return m_aborted || isFinished() ? -1 : 0;
        memcpy(data, m_body.constData() + m_read, size_t(count));
        m_read += count;
        return count;
    }

private:
    QByteArray m_body;
    qint64 m_read = 0;
    bool m_aborted = false;
};

// GitHub as the fuzzer wants it: the search, repository and tree replies are the input's
// bytes; every raw file is a small skill.
class FuzzNetwork final : public QNetworkAccessManager {
public:
    QByteArray search;
    QByteArray info;
    QByteArray tree;
    QList<QUrl> requests;

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request,
                                 QIODevice *) override
    {
        const QUrl url = request.url();
        requests.append(url);
        // Nothing from a reply may send a request anywhere but the given bases.
        FUZZ_CHECK(operation == GetOperation);
        FUZZ_CHECK(url.host() == host && url.scheme() == u"http");
        const QString path = url.path(QUrl::FullyDecoded);
        QByteArray body;
        int status = 404;
        if (path == u"/api/search/repositories") {
            body = search;
            status = 200;
        } else if (path.startsWith(u"/api/repos/anthropics/skills/git/trees/")) {
            body = tree;
            status = 200;
        } else if (path == u"/api/repos/anthropics/skills") {
            body = info;
            status = 200;
        } else if (path.startsWith(u"/raw/")) {
            body = installedSkill;
            status = 200;
        }
        return new BytesReply(request, body, status, this);
    }
};

struct Fixture {
    QTemporaryDir root;
    FuzzNetwork network;
    std::unique_ptr<SettingsModel> model;
    int installsFinished = 0;

    Fixture()
    {
        QDir(root.path()).mkpath(u"config"_s);
        model = std::make_unique<SettingsModel>(
            root.filePath(u"config/bot-config.json"_s),
            ModelEnvironment{nullptr, &network, apiBase, rawBase});
        QObject::connect(model.get(), &SettingsModel::installFinished, model.get(),
                         [this] { ++installsFinished; });
    }
};

Fixture &fixture()
{
    static Fixture *instance = [] {
        static int argc = 1;
        static char name[] = "fuzz_registry";
        static char *argv[] = {name, nullptr};
        new QCoreApplication(argc, argv);
        return new Fixture;
    }();
    return *instance;
}

// Runs the event loop until `done` holds; the replies need a few turns each.
template <typename Done> void spin(Done done)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        FUZZ_CHECK(timer.elapsed() < 5000);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

std::optional<QJsonObject> object(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

// The search results of one reply, read the plain way; nothing when the search failed.
std::optional<QList<RegistryEntry>> expectedResults(const QByteArray &reply)
{
    const std::optional<QJsonObject> top = object(reply);
    if (!top || !top->value("items"_L1).isArray())
        return std::nullopt;
    QList<RegistryEntry> entries;
    for (const QJsonValue &item : top->value("items"_L1).toArray()) {
        if (!item.isObject() || !item.toObject().value("full_name"_L1).isString())
            continue;
        const QString fullName = item.toObject().value("full_name"_L1).toString();
        const QJsonValue description = item.toObject().value("description"_L1);
        RegistryEntry entry;
        entry.name = u"github:"_s + fullName;
        entry.title = fullName.mid(fullName.lastIndexOf(u'/') + 1);
        entry.description = description.isString()
                                ? SkillCatalog::firstCharacters(description.toString(), 120)
                                : QString();
        entry.rawURL = rawBase + u'/' + fullName + u"/main/SKILL.md"_s;
        entries.append(entry);
    }
    return entries;
}

// The catalogue names of one tree reply, in order, first one wins.
std::optional<QStringList> expectedCatalogueNames(const QByteArray &reply)
{
    const std::optional<QJsonObject> top = object(reply);
    if (!top || !top->value("tree"_L1).isArray())
        return std::nullopt;
    QStringList names;
    for (const QJsonValue &element : top->value("tree"_L1).toArray()) {
        const QJsonValue path = element.toObject().value("path"_L1);
        if (!path.isString())
            continue;
        const QStringList pieces = path.toString().split(u'/', Qt::SkipEmptyParts);
        if (pieces.size() < 3 || pieces.first() != u"skills" || pieces.last() != u"SKILL.md")
            continue;
        const QString name = pieces.mid(1, pieces.size() - 2).join(u'/');
        if (SkillFile::installStem(name) && !names.contains(name))
            names.append(name);
    }
    return names;
}

// Every file under the temporary root, relative to it.
QStringList filesUnder(const QString &root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(QDir(root).relativeFilePath(it.next()));
    files.sort();
    return files;
}

void fuzzSearch(Fixture &f, const QString &query, const QByteArray &reply)
{
    SettingsModel &model = *f.model;
    f.network.search = reply;
    f.network.requests.clear();
    model.searchGithub(query);
    spin([&] { return !model.githubSearching(); });

    if (f.network.requests.isEmpty()) {
        // A query of blanks, or one that makes no address: nothing asked, nothing shown.
        FUZZ_CHECK(model.githubResults().isEmpty());
        return;
    }
    FUZZ_CHECK(f.network.requests.size() == 1);
    const QUrl asked = f.network.requests.constFirst();
    FUZZ_CHECK(asked.path() == u"/api/search/repositories");
    FUZZ_CHECK(asked.query(QUrl::FullyEncoded).endsWith("&page=1"_L1));

    const std::optional<QList<RegistryEntry>> expected = expectedResults(reply);
    if (!expected) {
        FUZZ_CHECK(model.githubResults().isEmpty() && !model.githubHasMore());
        return;
    }
    FUZZ_CHECK(model.githubResults() == *expected);
    FUZZ_CHECK(model.githubPage() == 0);
    FUZZ_CHECK(model.githubHasMore() == (expected->size() >= 10));

    // The next page appends the same reply again.
    model.loadMore();
    spin([&] { return !model.githubSearching(); });
    FUZZ_CHECK(model.githubResults() == *expected + *expected);
    FUZZ_CHECK(model.githubPage() == 1);

    // Installing the first two results writes <owner>-<repo>.md into the skills folder and
    // nowhere else; names that cannot be a file name write nothing.
    const QString folder = f.root.filePath(u"config/skills"_s);
    QSet<QString> expectedFiles;
    int started = 0;
    f.installsFinished = 0;
    for (const RegistryEntry &entry : expected->mid(0, 2)) {
        const std::optional<QString> stem = SkillFile::installStem(entry.name.mid(7));
        if (stem)
            expectedFiles.insert(u"config/skills/"_s + *stem + u".md"_s);
        model.installSearchResult(entry);
        ++started;
    }
    spin([&] { return f.installsFinished == started; });
    QStringList files = filesUnder(f.root.path());
    files.removeAll(u"config/bot-config.json"_s);
    FUZZ_CHECK(QSet<QString>(files.cbegin(), files.cend()) == expectedFiles);
    for (const QString &file : std::as_const(files)) {
        QFile written(f.root.filePath(file));
        FUZZ_CHECK(written.open(QIODevice::ReadOnly) && written.readAll() == installedSkill);
        written.close();
        written.remove();
    }
    QDir(folder).removeRecursively();
}

void fuzzCatalogue(Fixture &f, const QByteArray &info, const QByteArray &tree)
{
    SettingsModel &model = *f.model;
    f.network.info = info;
    f.network.tree = tree;
    f.network.requests.clear();
    model.setCatalogEntries({});
    model.loadFullCatalog();
    spin([&] { return !model.catalogLoading(); });

    const std::optional<QJsonObject> infoObject = object(info);
    const QJsonValue branch = infoObject ? infoObject->value("default_branch"_L1) : QJsonValue();
    if (!branch.isString()) {
        FUZZ_CHECK(model.catalogError() == u"Couldn't load anthropics/skills"_s);
        FUZZ_CHECK(f.network.requests.size() == 1 && model.catalogEntries().isEmpty());
        return;
    }
    FUZZ_CHECK(f.network.requests.size() == 2);
    const QString branchName = branch.toString();
    // The branch stays one piece of the tree address, whatever characters it holds.
    const QString treePath = f.network.requests.at(1).path(QUrl::FullyDecoded);
    if (QString::fromUtf8(branchName.toUtf8()) == branchName && !branchName.contains(u'\0'))
        FUZZ_CHECK(treePath == u"/api/repos/anthropics/skills/git/trees/"_s + branchName);
    FUZZ_CHECK(!f.network.requests.at(1).hasFragment());

    const std::optional<QStringList> expected = expectedCatalogueNames(tree);
    if (!expected) {
        FUZZ_CHECK(model.catalogError() == u"Couldn't list anthropics/skills"_s);
        FUZZ_CHECK(model.catalogEntries().isEmpty());
        return;
    }
    FUZZ_CHECK(!model.catalogError().has_value());
    const QList<RegistryEntry> &entries = model.catalogEntries();
    FUZZ_CHECK(entries.size() == expected->size());
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const RegistryEntry &entry = entries.at(i);
        FUZZ_CHECK(entry.name == expected->at(i));
        FUZZ_CHECK(entry.title == SkillCatalog::titleFromName(entry.name));
        FUZZ_CHECK(entry.description == u"From anthropics/skills"_s);
        const QUrl raw(entry.rawURL);
        FUZZ_CHECK(raw.isValid() && raw.host() == host && !raw.hasFragment() && !raw.hasQuery());
        FUZZ_CHECK(raw.path(QUrl::FullyDecoded).startsWith(u"/raw/anthropics/skills/"_s));
        FUZZ_CHECK(raw.path(QUrl::FullyDecoded).endsWith(u"/SKILL.md"_s));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fixture();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    Fixture &f = fixture();
    const bool catalogue = data[0] & 1;
    const QByteArray input(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    const qsizetype split = input.indexOf('\0');
    const QByteArray first = split < 0 ? QByteArray() : input.first(split);
    const QByteArray second = split < 0 ? input : input.sliced(split + 1);

    if (catalogue)
        fuzzCatalogue(f, split < 0 ? QByteArray(R"({"default_branch": "main"})") : first, second);
    else
        fuzzSearch(f, split < 0 ? u"skills"_s : QString::fromUtf8(first), second);
    return 0;
}
