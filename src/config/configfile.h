#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>

// The configuration file on disk: reading it without ever blocking or guessing, the lock that
// every writer takes, and the atomic write. Two programs write this file (this one and the bot
// service, often varnookctl too) and it holds the user's keys, so:
//
//  - a file that is there but cannot be used (not a regular file, unreadable, not JSON, not an
//    object) is reported with the reason and never treated as a fresh start;
//  - a write goes to a temporary file in the same folder, is flushed to disk and renamed over
//    the file, so a reader sees the old document or the new one, never a mix;
//  - every read-modify-write holds an advisory flock on "<file>.lock" beside the file.
namespace ConfigFile {

// What identifies one version of the file: when any of these moved, someone wrote it.
struct Fingerprint {
    bool exists = false;
    qint64 size = 0;
    qint64 mtimeNs = 0;
    QByteArray sha256;

    bool operator==(const Fingerprint &) const = default;
};

struct Snapshot {
    enum class State {
        Missing,  // nothing at the path: a fresh start
        Document, // a JSON object, in `document`
        Unusable, // something is there that cannot be used; `problem` says why
    };
    State state = State::Missing;
    QJsonObject document;
    QByteArray bytes;
    Fingerprint fingerprint;
    // In the user's words, naming the file: "… is not valid JSON: unterminated string at
    // byte 934".
    QString problem;

    bool isUsable() const { return state != State::Unusable; }
};

// A configuration document is a few kilobytes; anything beyond this is not one.
inline constexpr qint64 sizeLimit = 64 * 1024 * 1024;

// Reads the file at `path`. Looks at what the path is before opening it, so that a named pipe
// or a device is never opened for reading (which could block for ever).
Snapshot read(const QString &path);

// The file a write goes to: `path` with every symbolic link followed, so that a link at the
// path stays a link and the file it points to is replaced. `path` itself when it is no link.
QString writeTarget(const QString &path);

// The lock file of the configuration file at `path`: "<file>.lock" beside the file the path
// resolves to.
QString lockPath(const QString &path);

// An exclusive flock on the lock file, held while the object lives.
class Lock final {
public:
    // Takes the lock, waiting at most `timeoutMs` for another holder to let go. When it cannot
    // be had, isHeld() is false and error() says why in the system's words.
    explicit Lock(const QString &configPath, int timeoutMs = 10000);
    ~Lock();
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    bool isHeld() const { return m_fd >= 0; }
    const QString &error() const { return m_error; }

private:
    int m_fd = -1;
    QString m_path;
    QString m_error;
};

// Writes `bytes` atomically to writeTarget(path). An existing file keeps its mode; a new one is
// readable and writable by its owner only before it holds a byte. Returns the system's reason
// when it fails ("No space left on device", "File too large", "Permission denied", …); on
// success fills `written` with the fingerprint of the new file.
std::optional<QString> write(const QString &path, const QByteArray &bytes,
                             Fingerprint *written = nullptr);

// A file-size limit (ulimit -f) would end the process with SIGXFSZ in the middle of a write;
// ignored, the write fails with EFBIG ("File too large") and is reported like any other.
void ignoreFileSizeSignal();

// strerror of `error`, as a QString.
QString systemError(int error);

} // namespace ConfigFile
