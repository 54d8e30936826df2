#include "config/configstore.h"

#include "config/configdocument.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

using namespace Qt::Literals::StringLiterals;

namespace {

// Modification time in seconds since 1970, or 0 when it cannot be read.
double modificationTime(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return 0;
    const QDateTime time = info.lastModified();
    return time.isValid() ? double(time.toMSecsSinceEpoch()) / 1000.0 : 0;
}

QByteArray digest(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

} // namespace

ConfigStore::ConfigStore(QString path, QObject *parent)
    : QObject(parent)
    , m_path(std::move(path))
{
    m_synced = m_values;
}

ConfigStore::~ConfigStore() = default;

bool ConfigStore::loadFromDisk()
{
    m_fileTaken = false;
    const ConfigFile::Snapshot disk = ConfigFile::read(m_path);
    switch (disk.state) {
    case ConfigFile::Snapshot::State::Missing:
        // A fresh start; the first save creates the file from what the store holds.
        m_known = disk.fingerprint;
        setFileProblem(std::nullopt);
        return false;
    case ConfigFile::Snapshot::State::Unusable:
        // Kept as it is, and never written over: it may hold the user's keys in a form a
        // person can mend.
        setFileProblem(disk.problem);
        return false;
    case ConfigFile::Snapshot::State::Document: break;
    }
    m_loadedMtime = modificationTime(m_path);
    m_loadedSize = disk.bytes.size();
    m_loadedDigest = digest(disk.bytes);
    m_known = disk.fingerprint;
    applyDocument(disk.document);
    m_synced = m_values;
    m_rawEdits.clear();
    m_replaceWhole = false;
    m_fileTaken = true;
    setFileProblem(std::nullopt);
    return true;
}

bool ConfigStore::changedSinceLoad() const
{
    if (modificationTime(m_path) != m_loadedMtime)
        return true;
    // Same time: two writes within one tick of the file system's clock (a few milliseconds, such
    // as the service answering a save at once) look alike by time alone.
    const QFileInfo info(m_path);
    if (!info.isFile())
        return false; // nothing that could have been loaded; never open a pipe or a device
    if (info.size() != m_loadedSize)
        return true;
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return digest(file.readAll()) != m_loadedDigest;
}

void ConfigStore::setFileProblem(const std::optional<QString> &problem)
{
    if (problem && !m_watcher) {
        // Watches the folder too: the mended file may arrive under a new inode (an editor's
        // rename), or appear where there was a folder.
        m_watcher = new QFileSystemWatcher(this);
        const QFileInfo info(m_path);
        m_watcher->addPath(info.absolutePath());
        if (info.exists())
            m_watcher->addPath(info.absoluteFilePath());
        auto retry = [this] {
            if (m_fileProblem)
                Q_EMIT fileTouched();
        };
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, retry);
        connect(m_watcher, &QFileSystemWatcher::fileChanged, this, retry);
    } else if (!problem && m_watcher) {
        m_watcher->deleteLater();
        m_watcher = nullptr;
    }
    if (m_fileProblem == problem)
        return;
    m_fileProblem = problem;
    Q_EMIT fileProblemChanged();
}

void ConfigStore::setLastSaveError(const std::optional<QString> &error)
{
    if (m_lastSaveError == error)
        return;
    m_lastSaveError = error;
    Q_EMIT lastSaveErrorChanged();
}

void ConfigStore::replaceDocument(const QJsonObject &document)
{
    applyDocument(document);
    m_replaceWhole = true;
}

void ConfigStore::setRawValue(const QString &key, const QJsonValue &value)
{
    m_raw.insert(key, value);
    m_rawEdits.insert(key);
}

QStringList ConfigStore::pendingKeys() const
{
    QStringList keys = ConfigDocument::changedKeys(m_synced, m_values);
    for (const QString &key : m_rawEdits) {
        if (!keys.contains(key))
            keys.append(key);
    }
    return keys;
}

void ConfigStore::applyDocument(const QJsonObject &document)
{
    m_raw = document;
    setValues(ConfigDocument::read(document));
    m_hasAppliedDocument = true;
    Q_EMIT documentApplied();
}

void ConfigStore::setValues(const ConfigValues &values)
{
    const ConfigValues old = std::exchange(m_values, values);
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...)                                       \
    if (!(old.member == m_values.member))                                                          \
        Q_EMIT changed(ConfigKey::Name);
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
}

QJsonObject ConfigStore::documentToWrite(ConfigValues &values,
                                         const ConfigFile::Snapshot &disk) const
{
    QJsonObject document = m_raw;
    ConfigDocument::write(values, document);
    // A file that went away since is written again whole, from what the store holds: merging
    // onto nothing would turn every value the user did not touch into its default.
    if (m_replaceWhole || disk.fingerprint == m_known
        || disk.state == ConfigFile::Snapshot::State::Missing)
        return document;

    // Another program wrote the file since this one last read or wrote it. Start from what is
    // there now and put only the user's own changes on top, so that what the other writer
    // changed meanwhile stays.
    const QJsonObject mine = document;
    document = disk.document;
    values = ConfigDocument::merge(m_synced, m_values, ConfigDocument::read(disk.document));
    if (ConfigDocument::botsRestructured(m_synced, m_values)) {
        // The user added or removed a bot: the bot lists are the user's, each bot with the
        // keys of its own object.
        for (const QLatin1StringView key :
             {"bot_tokens"_L1, "bot_token"_L1, "bot_nicknames"_L1, "bot_profiles"_L1})
            document.insert(key, mine.value(key));
    }
    for (const QString &key : m_rawEdits) {
        if (m_raw.contains(key))
            document.insert(key, m_raw.value(key));
        else
            document.remove(key);
    }
    ConfigDocument::write(values, document);
    return document;
}

std::optional<QString> ConfigStore::writeDocument()
{
    // Nothing is ever written over a file that is there but could not be used.
    if (m_fileProblem)
        return u"Not saved: "_s + *m_fileProblem;

    const auto failed = [this](const QString &reason) {
        setLastSaveError(u"Could not write "_s + m_path + u": "_s + reason);
        return m_lastSaveError;
    };
    // The whole read-modify-write holds the lock, so that a writer that keeps to it never
    // comes between this program's look at the file and its write.
    const ConfigFile::Lock lock(m_path);
    if (!lock.isHeld())
        return failed(lock.error());
    const ConfigFile::Snapshot disk = ConfigFile::read(m_path);
    if (!disk.isUsable()) {
        setFileProblem(disk.problem);
        return u"Not saved: "_s + disk.problem;
    }

    ConfigValues values = m_values;
    const QJsonObject document = documentToWrite(values, disk);
    ConfigFile::Fingerprint written;
    if (const std::optional<QString> reason
        = ConfigFile::write(m_path, ConfigDocument::serialise(document), &written))
        return failed(*reason); // the store keeps what the user typed
    m_raw = document;
    m_known = written;
    setValues(values); // the number texts are now normalised
    m_synced = m_values;
    m_rawEdits.clear();
    m_replaceWhole = false;
    setLastSaveError(std::nullopt);
    return std::nullopt;
}
