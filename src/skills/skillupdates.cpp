#include "skills/skillupdates.h"

#include "skills/registrymodel.h"
#include "network/request.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"

#include <QFile>
#include <QFileInfo>
#include <QNetworkRequest>
#include <QTimer>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

QString fileOf(const QString &folder, const QString &name)
{
    return folder + u'/' + name + u".md"_s;
}

// The installed file, or nothing when it cannot be read. It is compared with a download that
// may hold at most `limit` bytes, so a longer file is different without being read whole.
std::optional<QByteArray> installedBytes(const QString &path, qint64 limit)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.read(limit + 1);
}

} // namespace

SkillUpdates::SkillUpdates(RegistryModel *registry, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
{}

QList<RegistryEntry> SkillUpdates::installedCatalogEntries(const QString &installFolder,
                                                           const QString &rawBase)
{
    QList<RegistryEntry> installed;
    for (const RegistryEntry &entry : SkillCatalog::skillRegistry(rawBase)) {
        if (QFileInfo(fileOf(installFolder, entry.name)).isFile())
            installed.append(entry);
    }
    return installed;
}

void SkillUpdates::check(const QString &name)
{
    const quint64 generation = ++m_generation;
    m_results.clear();
    m_problem.clear();
    if (!m_registry) {
        Q_EMIT changed();
        return;
    }
    const QString folder = m_registry->installFolder();
    QList<RegistryEntry> entries = installedCatalogEntries(folder, m_registry->githubRawBase());
    if (!name.isEmpty())
        entries.removeIf([&name](const RegistryEntry &entry) { return entry.name != name; });
    for (const RegistryEntry &entry : std::as_const(entries))
        m_results.append({entry.name, State::Checking, {}, {}});
    Q_EMIT changed();
    if (entries.isEmpty()) {
        // Answered from the event loop, like every check, so callers connect after check().
        QTimer::singleShot(0, this, [this, generation] {
            if (generation == m_generation)
                Q_EMIT finished();
        });
        return;
    }

    const Net::Limits limits{m_registry->downloadTimeout(), m_registry->downloadLimit()};
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const QString path = fileOf(folder, entries.at(i).name);
        Net::send(m_registry->network(), this, Net::Method::Get,
                  QNetworkRequest(QUrl(entries.at(i).rawURL)), {}, limits,
                  [this, i, generation, path, limits](const Net::Outcome &outcome) {
                      if (!outcome.succeeded()) {
                          settle(i, generation, State::Failed, outcome.text, {});
                          return;
                      }
                      const std::optional<QByteArray> installed
                          = installedBytes(path, limits.maxBodyBytes);
                      if (!installed) {
                          settle(i, generation, State::Failed, u"Couldn't read "_s + path, {});
                          return;
                      }
                      if (*installed == outcome.body)
                          settle(i, generation, State::Current, {}, {});
                      else
                          settle(i, generation, State::Outdated, {}, outcome.body);
                  });
    }
}

void SkillUpdates::settle(qsizetype index, quint64 generation, State state, const QString &problem,
                          const QByteArray &source)
{
    if (generation != m_generation || index >= m_results.size())
        return;
    Result &settled = m_results[index];
    settled.state = state;
    settled.problem = problem;
    settled.source = source;
    const bool done = !checking();
    Q_EMIT changed();
    if (done)
        Q_EMIT finished();
}

bool SkillUpdates::checking() const
{
    return std::any_of(m_results.begin(), m_results.end(),
                       [](const Result &r) { return r.state == State::Checking; });
}

const SkillUpdates::Result *SkillUpdates::result(const QString &name) const
{
    for (const Result &entry : m_results) {
        if (entry.name == name)
            return &entry;
    }
    return nullptr;
}

qsizetype SkillUpdates::count(State state) const
{
    return std::count_if(m_results.begin(), m_results.end(),
                         [state](const Result &r) { return r.state == state; });
}

bool SkillUpdates::update(const QString &name)
{
    m_problem.clear();
    const qsizetype index = std::find_if(m_results.begin(), m_results.end(),
                                         [&name](const Result &r) { return r.name == name; })
                            - m_results.begin();
    if (!m_registry || index >= m_results.size() || m_results.at(index).state != State::Outdated) {
        m_problem = name + u" has no update to install"_s;
        return false;
    }
    const QByteArray source = m_results.at(index).source;
    bool written = false;
    // The catalogue install's own write: a temporary file in the folder renamed over the old
    // one, then the folder listed again, so the Skills page shows the new title at once.
    const QMetaObject::Connection connection
        = connect(m_registry.data(), &RegistryModel::installFinished, this,
                  [&written, &name](const QString &installed, bool ok) {
                      if (installed == name)
                          written = ok;
                  });
    m_registry->installDownloaded(RegistryEntry{name, {}, {}, {}}, source);
    disconnect(connection);
    if (!written) {
        m_problem = u"Couldn't write "_s + fileOf(m_registry->installFolder(), name);
        if (!m_registry->lastWriteError().isEmpty())
            m_problem += u": "_s + m_registry->lastWriteError();
        return false;
    }
    m_results[index].state = State::Current;
    m_results[index].source.clear();
    Q_EMIT changed();
    return true;
}

QString SkillUpdates::summary() const
{
    if (checking())
        return u"Checking for updates…"_s;
    if (m_results.isEmpty())
        return u"No skills from the catalogue are installed."_s;
    const qsizetype outdated = count(State::Outdated);
    const qsizetype failed = count(State::Failed);
    QString text;
    if (outdated == 0)
        text = failed == 0 ? u"All catalogue skills are up to date."_s : QString();
    else if (outdated == 1)
        text = u"1 update available."_s;
    else
        text = QString::number(outdated) + u" updates available."_s;
    if (failed > 0) {
        if (!text.isEmpty())
            text += u' ';
        text += u"Couldn't check "_s + QString::number(failed) + u" of "_s
                + QString::number(m_results.size()) + u"."_s;
    }
    return text;
}
