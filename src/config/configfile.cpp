#include "config/configfile.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QMutex>
#include <QSaveFile>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace ConfigFile {

namespace {

QString kindOf(mode_t mode)
{
    if (S_ISFIFO(mode))
        return u"a named pipe"_s;
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return u"a device"_s;
    if (S_ISSOCK(mode))
        return u"a socket"_s;
    return u"not a regular file"_s;
}

// Why something other than a regular file at `path` cannot be the configuration.
QString placeProblem(const QString &path, mode_t mode)
{
    if (S_ISDIR(mode))
        return path + u" is a folder, not a configuration file"_s;
    const QString kind = kindOf(mode);
    if (kind.startsWith(u"not"))
        return path + u" is "_s + kind;
    return path + u" is "_s + kind + u", not a configuration file"_s;
}

Snapshot unusable(QString problem)
{
    Snapshot snapshot;
    snapshot.state = Snapshot::State::Unusable;
    snapshot.problem = std::move(problem);
    return snapshot;
}

qint64 mtimeNs(const struct stat &st)
{
    return qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

QByteArray sha256(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

class Descriptor final {
public:
    explicit Descriptor(int fd)
        : m_fd(fd)
    {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

// One flock per lock file and process. A flock belongs to the open file description: a second
// open of the same lock file in this process would wait for its own lock. Nested holders (a
// terminal command that locks around its whole run, and the save inside it) share the first.
struct HeldLock {
    int fd = -1;
    int holders = 0;
};

QMutex &heldLocksMutex()
{
    static QMutex mutex;
    return mutex;
}

QHash<QString, HeldLock> &heldLocks()
{
    static QHash<QString, HeldLock> locks;
    return locks;
}

} // namespace

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

Snapshot read(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    struct stat st = {};
    // stat, not open: opening a named pipe for reading waits for a writer, perhaps for ever.
    if (::stat(native.constData(), &st) != 0) {
        const int error = errno;
        if (error == ENOENT)
            return {}; // missing, or a link to nothing: a fresh start
        return unusable(path + u" cannot be read: "_s + systemError(error));
    }
    if (!S_ISREG(st.st_mode))
        return unusable(placeProblem(path, st.st_mode));

    // O_NONBLOCK as well: should the path have become a pipe since the stat, the open returns
    // at once and the fstat below refuses it.
    const Descriptor file(::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.fd() < 0) {
        const int error = errno;
        if (error == ENOENT)
            return {};
        return unusable(path + u" cannot be read: "_s + systemError(error));
    }
    if (::fstat(file.fd(), &st) != 0)
        return unusable(path + u" cannot be read: "_s + systemError(errno));
    if (!S_ISREG(st.st_mode))
        return unusable(placeProblem(path, st.st_mode));
    if (st.st_size > sizeLimit) {
        return unusable(path + u" is too large to be a configuration file ("_s
                        + QString::number(qint64(st.st_size)) + u" bytes)"_s);
    }

    QByteArray bytes;
    bytes.reserve(qsizetype(st.st_size) + 1);
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(file.fd(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return unusable(path + u" cannot be read: "_s + systemError(errno));
        }
        if (got == 0)
            break;
        bytes.append(buffer, qsizetype(got));
        if (bytes.size() > sizeLimit)
            return unusable(path + u" is too large to be a configuration file"_s);
    }
    if (::fstat(file.fd(), &st) != 0)
        return unusable(path + u" cannot be read: "_s + systemError(errno));

    Snapshot snapshot;
    snapshot.fingerprint = {true, bytes.size(), mtimeNs(st), sha256(bytes)};
    if (bytes.isEmpty()) {
        // An empty file is what a writer that truncates first leaves behind for a moment; it is
        // nobody's configuration, and writing defaults over it could lose the one coming.
        snapshot.state = Snapshot::State::Unusable;
        snapshot.problem = path + u" is empty"_s;
        return snapshot;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        snapshot.state = Snapshot::State::Unusable;
        // Qt puts an error at the very end one past it; the user's file has no such byte.
        snapshot.problem = path + u" is not valid JSON: "_s + error.errorString() + u" at byte "_s
                           + QString::number(std::min<qint64>(error.offset, bytes.size()));
        return snapshot;
    }
    if (!document.isObject()) {
        snapshot.state = Snapshot::State::Unusable;
        snapshot.problem = path + u" does not hold a JSON object at the top level"_s;
        return snapshot;
    }
    snapshot.state = Snapshot::State::Document;
    snapshot.document = document.object();
    snapshot.bytes = bytes;
    return snapshot;
}

QString writeTarget(const QString &path)
{
    QString current = path;
    // Forty links deep is what the kernel allows too.
    for (int depth = 0; depth < 40; ++depth) {
        const QFileInfo info(current);
        if (!info.isSymLink())
            return current;
        const QString target = info.symLinkTarget(); // absolute, also for a relative link
        if (target.isEmpty())
            return current;
        current = target;
    }
    return current;
}

QString lockPath(const QString &path)
{
    return writeTarget(path) + u".lock"_s;
}

Lock::Lock(const QString &configPath, int timeoutMs)
{
    const QString path = QFileInfo(lockPath(configPath)).absoluteFilePath();
    const QMutexLocker locker(&heldLocksMutex());
    HeldLock &held = heldLocks()[path];
    if (held.holders > 0) {
        ++held.holders;
        m_fd = held.fd;
        m_path = path;
        return;
    }
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    if (fd < 0) {
        m_error = systemError(errno);
        heldLocks().remove(path);
        return;
    }
    // flock has no time-out of its own; a holder that hangs must not freeze the window.
    const QDeadlineTimer deadline(timeoutMs);
    unsigned long pauseUs = 200;
    for (;;) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
            break;
        const int error = errno;
        if (error == EINTR)
            continue;
        if (error != EWOULDBLOCK || deadline.hasExpired()) {
            m_error = error == EWOULDBLOCK
                          ? u"another program holds "_s + path + u" and does not let go"_s
                          : systemError(error);
            ::close(fd);
            heldLocks().remove(path);
            return;
        }
        QThread::usleep(pauseUs);
        pauseUs = std::min<unsigned long>(pauseUs * 2, 5000);
    }
    held.fd = fd;
    held.holders = 1;
    m_fd = fd;
    m_path = path;
}

Lock::~Lock()
{
    if (m_fd < 0)
        return;
    const QMutexLocker locker(&heldLocksMutex());
    HeldLock &held = heldLocks()[m_path];
    if (--held.holders > 0)
        return;
    // Closing the descriptor lets go of the flock. The lock file stays: removing it would let
    // a waiter lock a file that no longer has a name while a newcomer locks a new one.
    ::close(held.fd);
    heldLocks().remove(m_path);
}

std::optional<QString> write(const QString &path, const QByteArray &bytes, Fingerprint *written)
{
    const QString target = writeTarget(path);
    const QByteArray native = QFile::encodeName(target);
    struct stat st = {};
    const bool exists = ::stat(native.constData(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode))
        return systemError(EISDIR);
    if (exists && !S_ISREG(st.st_mode))
        return target + u" is "_s + kindOf(st.st_mode);

    // QSaveFile makes the temporary file beside the target and renames it over the target on
    // commit. The bytes go through its descriptor directly, so that every failing call leaves
    // its own errno: QFile reports a short write (the first one past a size limit) as
    // "Unknown error".
    QSaveFile file(target);
    errno = 0;
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        const int error = errno;
        return error != 0 ? systemError(error) : file.errorString();
    }
    const int fd = file.handle();
    // Before the first byte: an existing file keeps its mode, a new one is its owner's only.
    if (::fchmod(fd, exists ? (st.st_mode & 07777) : (S_IRUSR | S_IWUSR)) != 0) {
        const int error = errno;
        file.cancelWriting();
        return systemError(error);
    }
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t put = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (put < 0) {
            const int error = errno;
            if (error == EINTR)
                continue;
            file.cancelWriting();
            return systemError(error);
        }
        done += put;
    }
    if (::fsync(fd) != 0) {
        const int error = errno;
        file.cancelWriting();
        return systemError(error);
    }
    struct stat after = {};
    const bool statted = ::fstat(fd, &after) == 0;
    errno = 0;
    if (!file.commit()) {
        const int error = errno;
        return error != 0 ? systemError(error) : file.errorString();
    }
    if (written) {
        *written = {true, bytes.size(), statted ? mtimeNs(after) : 0, sha256(bytes)};
    }
    return std::nullopt;
}

void ignoreFileSizeSignal()
{
    std::signal(SIGXFSZ, SIG_IGN);
}

} // namespace ConfigFile
