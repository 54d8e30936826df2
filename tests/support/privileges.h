#pragma once

// Tests of permission failures. The tests usually run as root, for whom a read-only folder is
// writable; these helpers let a test act as an ordinary user for a while, or mount a small
// file system that fills up. Each says when it cannot, so the test can skip that case.

#include <QByteArray>
#include <QFile>
#include <QString>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TestSupport {

// The user "nobody" on Debian.
inline constexpr uid_t nobodyUid = 65534;
inline constexpr gid_t nobodyGid = 65534;

// Acts as "nobody" (effective ids only) while it lives, when the test runs as root. Files and
// folders the test wants "nobody" to reach must be open to others (mode o+rx).
class AsNobody final {
public:
    AsNobody()
    {
        if (::geteuid() != 0)
            return;
        m_active = ::setegid(nobodyGid) == 0 && ::seteuid(nobodyUid) == 0;
    }
    ~AsNobody()
    {
        if (m_active) {
            [[maybe_unused]] const int user = ::seteuid(0);
            [[maybe_unused]] const int group = ::setegid(0);
        }
    }
    AsNobody(const AsNobody &) = delete;
    AsNobody &operator=(const AsNobody &) = delete;

    // Whether permissions now apply to this process: it is not root, or it acts as "nobody".
    bool permissionsApply() const { return m_active || ::geteuid() != 0; }

private:
    bool m_active = false;
};

// A tmpfs of `kilobytes` mounted on an empty folder while it lives; needs root (CAP_SYS_ADMIN).
class SmallFileSystem final {
public:
    SmallFileSystem(const QString &folder, int kilobytes)
        : m_folder(QFile::encodeName(folder))
    {
        const QByteArray options = "size=" + QByteArray::number(kilobytes) + "k,mode=0755";
        m_mounted = ::mount("tmpfs", m_folder.constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~SmallFileSystem()
    {
        if (m_mounted)
            ::umount2(m_folder.constData(), MNT_DETACH);
    }
    SmallFileSystem(const SmallFileSystem &) = delete;
    SmallFileSystem &operator=(const SmallFileSystem &) = delete;

    bool isMounted() const { return m_mounted; }

private:
    QByteArray m_folder;
    bool m_mounted = false;
};

} // namespace TestSupport
