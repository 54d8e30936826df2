#include "config/configfile.h"
#include "support/privileges.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

// The configuration file on disk, on real files: what reading it says about everything that can
// be found at the path, the atomic write and its failures, and the lock.
class TestConfigFile final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const QString &name = u"bot-config.json"_s) const { return m_dir->filePath(name); }

    static mode_t modeOf(const QString &file)
    {
        struct stat st = {};
        if (::lstat(QFile::encodeName(file).constData(), &st) != 0)
            return 0;
        return st.st_mode & 07777;
    }

    static ino_t inodeOf(const QString &file)
    {
        struct stat st = {};
        if (::stat(QFile::encodeName(file).constData(), &st) != 0)
            return 0;
        return st.st_ino;
    }

private Q_SLOTS:
    void initTestCase() { ConfigFile::ignoreFileSizeSignal(); }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        // Open to others, so that the cases run as "nobody" can reach their files.
        QVERIFY(QFile::setPermissions(
            m_dir->path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                               | QFileDevice::ReadOther | QFileDevice::ExeOther));
    }

    // ---- reading --------------------------------------------------------------------------

    void aMissingFileIsAFreshStart()
    {
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.state, ConfigFile::Snapshot::State::Missing);
        QVERIFY(snapshot.isUsable());
        QVERIFY(!snapshot.fingerprint.exists);
    }

    void aDocumentIsReadWithItsFingerprint()
    {
        QVERIFY(TestSupport::writeFile(path(), "{\"model\": \"m\"}"));
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.state, ConfigFile::Snapshot::State::Document);
        QCOMPARE(snapshot.document.value("model"_L1).toString(), u"m"_s);
        QVERIFY(snapshot.fingerprint.exists);
        QCOMPARE(snapshot.fingerprint.size, 14);
        QCOMPARE(snapshot.fingerprint.sha256.size(), 32);
        QVERIFY(snapshot.fingerprint.mtimeNs > 0);
    }

    void unusableFilesAreReportedInTheUsersWords_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");
        QTest::newRow("cut off in a string")
            << QByteArray("{\n    \"api_key\": \"sk-abc")
            << u"is not valid JSON: unterminated string at byte 24"_s;
        QTest::newRow("stray comma")
            << QByteArray("{\"model\": \"m\",}") << u"is not valid JSON: "_s;
        QTest::newRow("not UTF-8")
            << QByteArray("{\"model\": \"\xff\xfe\"}") << u"is not valid JSON: "_s;
        QTest::newRow("array") << QByteArray("[1, 2]")
                               << u"does not hold a JSON object at the top level"_s;
        QTest::newRow("empty") << QByteArray() << u"is empty"_s;
    }
    void unusableFilesAreReportedInTheUsersWords()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        QVERIFY(TestSupport::writeFile(path(), bytes));
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.state, ConfigFile::Snapshot::State::Unusable);
        QVERIFY2(snapshot.problem.startsWith(path() + u' ' + reason), qPrintable(snapshot.problem));
        if (reason.endsWith(u": "_s))
            QVERIFY2(snapshot.problem.contains(u" at byte "_s), qPrintable(snapshot.problem));
    }

    // A named pipe is never opened for reading: nobody writes into it, and the open would wait
    // for ever.
    void aNamedPipeIsRefusedWithoutWaitingForIt()
    {
        QCOMPARE(::mkfifo(QFile::encodeName(path()).constData(), 0600), 0);
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.state, ConfigFile::Snapshot::State::Unusable);
        QCOMPARE(snapshot.problem, path() + u" is a named pipe, not a configuration file"_s);
    }

    void aFolderIsRefused()
    {
        QVERIFY(QDir().mkdir(path()));
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.problem, path() + u" is a folder, not a configuration file"_s);
    }

    void aDeviceIsRefused()
    {
        QVERIFY(QFile::link(u"/dev/zero"_s, path()));
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.problem, path() + u" is a device, not a configuration file"_s);
    }

    void anUnreadableFileIsRefusedWithTheSystemsReason()
    {
        QVERIFY(TestSupport::writeFile(path(), "{}"));
        QVERIFY(QFile::setPermissions(path(), QFileDevice::WriteOwner));
        const TestSupport::AsNobody nobody;
        if (!nobody.permissionsApply())
            QSKIP("cannot act as an ordinary user here");
        const ConfigFile::Snapshot snapshot = ConfigFile::read(path());
        QCOMPARE(snapshot.problem, path() + u" cannot be read: Permission denied"_s);
    }

    // ---- writing --------------------------------------------------------------------------

    void aNewFileIsItsOwnersOnly()
    {
        QVERIFY(!ConfigFile::write(path(), "{}\n"));
        QCOMPARE(modeOf(path()), mode_t(0600));
        QCOMPARE(TestSupport::readFile(path()), QByteArray("{}\n"));
    }

    void anExistingFileKeepsItsMode()
    {
        QVERIFY(TestSupport::writeFile(path(), "{}"));
        QVERIFY(::chmod(QFile::encodeName(path()).constData(), 0640) == 0);
        QVERIFY(!ConfigFile::write(path(), "{\"a\": 1}\n"));
        QCOMPARE(modeOf(path()), mode_t(0640));
    }

    // The new document is renamed over the old file: a reader that had the old file open (here
    // a second name of it) keeps the old bytes whole, and no temporary file is left behind.
    void theWriteReplacesTheFileInOneStep()
    {
        QVERIFY(TestSupport::writeFile(path(), "{\"old\": true}"));
        QVERIFY(::link(QFile::encodeName(path()).constData(),
                       QFile::encodeName(path(u"old-name"_s)).constData())
                == 0);
        const ino_t before = inodeOf(path());
        ConfigFile::Fingerprint written;
        QVERIFY(!ConfigFile::write(path(), "{\"new\": true}\n", &written));
        QVERIFY(inodeOf(path()) != before);
        QCOMPARE(TestSupport::readFile(path(u"old-name"_s)), QByteArray("{\"old\": true}"));
        QCOMPARE(TestSupport::readFile(path()), QByteArray("{\"new\": true}\n"));
        QCOMPARE(written, ConfigFile::read(path()).fingerprint);
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{u"bot-config.json"_s, u"old-name"_s}));
    }

    void aSymbolicLinkStaysALinkAndItsTargetIsReplaced()
    {
        QVERIFY(QDir().mkdir(path(u"dotfiles"_s)));
        const QString target = path(u"dotfiles/bot-config.json"_s);
        QVERIFY(TestSupport::writeFile(target, "{}"));
        // A relative link, as `ln -s dotfiles/bot-config.json` makes it.
        QVERIFY(::symlink("dotfiles/bot-config.json", QFile::encodeName(path()).constData()) == 0);
        QCOMPARE(ConfigFile::writeTarget(path()), target);
        QCOMPARE(ConfigFile::lockPath(path()), target + u".lock"_s);
        QVERIFY(!ConfigFile::write(path(), "{\"linked\": true}\n"));
        QVERIFY(QFileInfo(path()).isSymLink());
        QCOMPARE(TestSupport::readFile(target), QByteArray("{\"linked\": true}\n"));
        QCOMPARE(QDir(path(u"dotfiles"_s)).entryList(QDir::Files | QDir::Hidden),
                 QStringList{u"bot-config.json"_s});
    }

    void aLinkToNothingGetsItsTargetCreated()
    {
        QVERIFY(::symlink("elsewhere.json", QFile::encodeName(path()).constData()) == 0);
        QCOMPARE(ConfigFile::read(path()).state, ConfigFile::Snapshot::State::Missing);
        QVERIFY(!ConfigFile::write(path(), "{}\n"));
        QVERIFY(QFileInfo(path()).isSymLink());
        QCOMPARE(TestSupport::readFile(path(u"elsewhere.json"_s)), QByteArray("{}\n"));
        QCOMPARE(modeOf(path(u"elsewhere.json"_s)), mode_t(0600));
    }

    void aSizeLimitIsAnErrorInTheSystemsWords()
    {
        QVERIFY(TestSupport::writeFile(path(), "{\"kept\": true}"));
        rlimit original{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &original), 0);
        const rlimit limited{100, original.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        const std::optional<QString> failure = ConfigFile::write(path(), QByteArray(4000, ' '));
        setrlimit(RLIMIT_FSIZE, &original);
        QCOMPARE(failure, std::optional(u"File too large"_s));
        QCOMPARE(TestSupport::readFile(path()), QByteArray("{\"kept\": true}"));
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{u"bot-config.json"_s});
    }

    void aFullDiskIsAnErrorInTheSystemsWords()
    {
        QVERIFY(QDir().mkdir(path(u"small"_s)));
        const TestSupport::SmallFileSystem disk(path(u"small"_s), 16);
        if (!disk.isMounted())
            QSKIP("cannot mount a small file system here");
        const QString file = path(u"small/bot-config.json"_s);
        QVERIFY(TestSupport::writeFile(file, "{\"kept\": true}"));
        const std::optional<QString> failure = ConfigFile::write(file, QByteArray(64 * 1024, ' '));
        QCOMPARE(failure, std::optional(u"No space left on device"_s));
        QCOMPARE(TestSupport::readFile(file), QByteArray("{\"kept\": true}"));
    }

    void aFolderAtThePathIsAnErrorInTheSystemsWords()
    {
        QVERIFY(QDir().mkdir(path()));
        QCOMPARE(ConfigFile::write(path(), "{}"), std::optional(u"Is a directory"_s));
        QVERIFY(QFileInfo(path()).isDir());
    }

    void aMissingFolderIsAnErrorInTheSystemsWords()
    {
        QCOMPARE(ConfigFile::write(path(u"missing/bot-config.json"_s), "{}"),
                 std::optional(u"No such file or directory"_s));
    }

    void aReadOnlyFolderIsAnErrorInTheSystemsWords()
    {
        QVERIFY(QDir().mkdir(path(u"locked"_s)));
        const QString file = path(u"locked/bot-config.json"_s);
        QVERIFY(TestSupport::writeFile(file, "{\"kept\": true}"));
        QVERIFY(::chmod(QFile::encodeName(file).constData(), 0666) == 0);
        QVERIFY(::chmod(QFile::encodeName(path(u"locked"_s)).constData(), 0555) == 0);
        std::optional<QString> failure;
        {
            const TestSupport::AsNobody nobody;
            if (!nobody.permissionsApply())
                QSKIP("cannot act as an ordinary user here");
            failure = ConfigFile::write(file, "{}");
        }
        QCOMPARE(failure, std::optional(u"Permission denied"_s));
        QCOMPARE(TestSupport::readFile(file), QByteArray("{\"kept\": true}"));
    }

    // ---- the lock -------------------------------------------------------------------------

    // The lock is an ordinary flock on "<file>.lock", so that any program can take it; here
    // the flock(1) tool stands for the bot service.
    void otherProgramsSeeTheLockWhileItIsHeld()
    {
        const QString lockFile = path() + u".lock"_s;
        const auto otherProgramGetsIt = [&] {
            return QProcess::execute(u"flock"_s, {u"--nonblock"_s, lockFile, u"true"_s}) == 0;
        };
        {
            const ConfigFile::Lock lock(path());
            QVERIFY(lock.isHeld());
            QVERIFY(QFileInfo::exists(lockFile));
            QCOMPARE(modeOf(lockFile), mode_t(0600));
            QVERIFY(!otherProgramGetsIt());
            // A nested holder in the same process shares the lock instead of waiting for itself.
            const ConfigFile::Lock nested(path());
            QVERIFY(nested.isHeld());
        }
        QVERIFY(otherProgramGetsIt());
    }

    void aLockHeldElsewhereTimesOutWithAReason()
    {
        const QString lockFile = path() + u".lock"_s;
        QProcess holder;
        // flock(1) holds the lock while `cat` waits for its input to end.
        holder.start(u"flock"_s, {lockFile, u"sh"_s, u"-c"_s, u"echo held; cat"_s});
        QVERIFY(holder.waitForReadyRead(30000));
        QCOMPARE(holder.readAllStandardOutput(), QByteArray("held\n"));
        {
            const ConfigFile::Lock lock(path(), 50);
            QVERIFY(!lock.isHeld());
            QVERIFY2(lock.error().contains(u"does not let go"_s), qPrintable(lock.error()));
        }
        holder.closeWriteChannel();
        QVERIFY(holder.waitForFinished(30000));
        const ConfigFile::Lock lock(path(), 30000);
        QVERIFY(lock.isHeld());
    }
};

QTEST_GUILESS_MAIN(TestConfigFile)
#include "tst_configfile.moc"
