#pragma once

#include "config/configfile.h"
#include "config/configtypes.h"

#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>
#include <type_traits>

class QFileSystemWatcher;

// What a setter of a configuration value takes: a flag by value, anything else by reference.
template <typename T> using ConfigArgument = std::conditional_t<std::is_scalar_v<T>, T, const T &>;

// The configuration file as this program holds it: its path, the raw document last read or
// written, the values the pages edit, and the safe save (under the lock, onto what another
// writer put there meanwhile, never over a file that cannot be used). Every value announces
// its change through changed(key). Main thread only.
class ConfigStore final : public QObject {
    Q_OBJECT

public:
    explicit ConfigStore(QString path, QObject *parent = nullptr);
    ~ConfigStore() override;

    const QString &path() const { return m_path; }
    const QJsonObject &rawDocument() const { return m_raw; }
    double loadedMtime() const { return m_loadedMtime; }
    const ConfigValues &values() const { return m_values; }

    // Reads the file and applies it. Returns whether the file was there and taken (readable,
    // JSON, an object); when it was not, the store keeps what it had.
    bool loadFromDisk();
    // Whether the latest loadFromDisk took the file.
    bool fileTaken() const { return m_fileTaken; }
    // Whether a document was ever applied (read, imported or handed in): until then the store
    // holds the initial values of the key list.
    bool hasAppliedDocument() const { return m_hasAppliedDocument; }
    // Whether the file differs from what was last loaded: its time moved, or, at the same time,
    // its size or content.
    bool changedSinceLoad() const;
    void applyDocument(const QJsonObject &document);
    // applyDocument for a document that replaces the whole configuration (an import): the
    // next save writes it as it is, whatever another program wrote meanwhile.
    void replaceDocument(const QJsonObject &document);
    // Why the file at path() cannot be used, in the user's words; nothing when it can, or when
    // it is missing. While there is a problem nothing is written to the file, and the store
    // watches the path and its folder and says so (fileTouched) when something changes there.
    const std::optional<QString> &fileProblem() const { return m_fileProblem; }
    bool canEdit() const { return !m_fileProblem; }
    // The keys the user changed since the file was last read or written, as
    // ConfigDocument::changedKeys names them, plus keys of the raw document edited directly.
    QStringList pendingKeys() const;
    // Writes the document; the failure text ("Could not write …") or nothing.
    std::optional<QString> writeDocument();
    // What the latest writeDocument gave: its failure text, or nothing when it worked or none
    // was made. A failed write keeps it until a later write works.
    const std::optional<QString> &lastSaveError() const { return m_lastSaveError; }

    // Replaces the values and announces every one that changed, in the order of the key list.
    void setValues(const ConfigValues &values);
    // Edits a key of the raw document that ConfigValues does not hold, and remembers it.
    void setRawValue(const QString &key, const QJsonValue &value);

#ifndef Q_MOC_RUN
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...)                                       \
    void set##Name(ConfigArgument<Type> value)                                                     \
    {                                                                                              \
        assign(ConfigKey::Name, m_values.member, value);                                           \
    }
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
#endif
    // The setter of a key named by its ConfigKey: set<ConfigKey::MaxTokens>(v) is setMaxTokens(v).
    template <ConfigKey Key> void set(ConfigArgument<typename ConfigKeyInfo<Key>::Value> value)
    {
        assign(Key, m_values.*ConfigKeyInfo<Key>::field,
               static_cast<const typename ConfigKeyInfo<Key>::Value &>(value));
    }

Q_SIGNALS:
    void changed(ConfigKey key);
    // A document was applied: read from the file, imported or handed in.
    void documentApplied();
    void fileProblemChanged();
    void lastSaveErrorChanged();
    // Something changed at the path or in its folder while the file could not be used.
    void fileTouched();

private:
    template <typename T> void assign(ConfigKey key, T &member, const T &value)
    {
        if (member == value)
            return;
        member = value;
        Q_EMIT changed(key);
    }
    void setFileProblem(const std::optional<QString> &problem);
    void setLastSaveError(const std::optional<QString> &error);
    // The document to write: the user's values on the document as last read or written, or, when
    // another program wrote the file since, the user's own changes on what is there now.
    QJsonObject documentToWrite(ConfigValues &values, const ConfigFile::Snapshot &disk) const;

    QString m_path;
    QJsonObject m_raw;
    double m_loadedMtime = 0;
    // Size and digest of the bytes last loaded: a write within the same tick of the file system's
    // clock leaves the time as it was, so when the time matches the content decides.
    qint64 m_loadedSize = -1;
    QByteArray m_loadedDigest;
    bool m_fileTaken = false;
    bool m_hasAppliedDocument = false;
    std::optional<QString> m_lastSaveError;
    std::optional<QString> m_fileProblem;
    QFileSystemWatcher *m_watcher = nullptr;
    // The file as this program last read or wrote it, and the values as they were then: the
    // user's pending changes are what differs from these.
    ConfigFile::Fingerprint m_known;
    ConfigValues m_synced;
    QSet<QString> m_rawEdits; // keys of m_raw edited directly since
    bool m_replaceWhole = false;
    ConfigValues m_values;
};
