#include "model/exportimport.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/testsupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

#include <sys/stat.h>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray originalConfig()
{
    // Hand-written and not normalised, so that a byte-for-byte copy is told apart from a
    // document written again.
    return "{\n  \"model\":    \"original-model\",\n  \"api_key\": \"sk-original\",\n"
           "  \"old_only_key\": [1, 2, 3],\n  \"bot_tokens\": [\"1:a\", \"2:b\"]\n}\n";
}

QJsonObject readObject(const QString &path)
{
    return QJsonDocument::fromJson(TestSupport::readFile(path)).object();
}

int configChangedPosts(const InMemoryTransport &transport)
{
    int count = 0;
    for (const auto &post : transport.posts())
        count += post.name == Notifications::configChanged() ? 1 : 0;
    return count;
}

} // namespace

// Backup and restore of the configuration file, without a window.
class TestExportImport final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;

    QString path(const QString &name) const { return m_dir->filePath(name); }
    QString configPath() const { return path(u"bot-config.json"_s); }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        TestSupport::writeFile(configPath(), originalConfig());
        {
            // An hour old, so that any later write is seen as a change.
            QFile file(configPath());
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                                     QFileDevice::FileModificationTime));
        }
        QVERIFY(QFile::setPermissions(configPath(), QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                        | QFileDevice::ReadGroup
                                                        | QFileDevice::ReadOther));
        m_transport.clear();
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        QCOMPARE(m_model->model(), u"original-model"_s);
    }
    void cleanup()
    {
        m_model.reset();
        m_dir.reset();
    }

    // ---- export -------------------------------------------------------------------------------

    void exportCopiesTheFileByteForByteReadableByItsOwnerOnly()
    {
        const QString copy = path(u"varnook-config.json"_s);
        QVERIFY(ExportImport::exportConfigTo(*m_model, copy));
        QCOMPARE(TestSupport::readFile(copy), originalConfig());
        QCOMPARE(QFileInfo(copy).permissions()
                     & (QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ReadOther
                        | QFileDevice::WriteOther | QFileDevice::ExeUser),
                 QFileDevice::Permissions());
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(copy).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, mode_t(0600));
        // The original keeps its own permissions.
        QVERIFY(QFileInfo(configPath()).permissions() & QFileDevice::ReadOther);
    }

    void exportCopiesWhatIsOnDiskNotWhatIsInMemory()
    {
        m_model->setModel(u"unsaved-edit"_s);
        const QString copy = path(u"copy.json"_s);
        QVERIFY(ExportImport::exportConfigTo(*m_model, copy));
        QCOMPARE(TestSupport::readFile(copy), originalConfig());
    }

    void exportedFileHoldsApiKeysAndTokensInClear()
    {
        TestSupport::writeFile(configPath(), TestSupport::readFile(TestSupport::fixture(
                                                 u"exportimport/with-secrets.json"_s)));
        const QString copy = path(u"secrets.json"_s);
        QVERIFY(ExportImport::exportConfigTo(*m_model, copy));
        const QByteArray bytes = TestSupport::readFile(copy);
        QVERIFY(bytes.contains("sk-primary-secret-123"));
        QVERIFY(bytes.contains("7001:AAH-secret-token"));
        QVERIFY(bytes.contains("sk-backup-secret-456"));
    }

    void exportOntoAnExistingFileLeavesItUntouched()
    {
        const QString existing = path(u"existing.json"_s);
        TestSupport::writeFile(existing, "precious bytes");
        QVERIFY(QFile::setPermissions(existing, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                    | QFileDevice::ReadOther));
        QVERIFY(!ExportImport::exportConfigTo(*m_model, existing));
        QCOMPARE(TestSupport::readFile(existing), QByteArray("precious bytes"));
        QVERIFY(QFileInfo(existing).permissions() & QFileDevice::ReadOther);
    }

    void exportWithoutAConfigurationFileWritesNothing()
    {
        QVERIFY(QFile::remove(configPath()));
        const QString copy = path(u"copy.json"_s);
        QVERIFY(!ExportImport::exportConfigTo(*m_model, copy));
        QVERIFY(!QFile::exists(copy));
    }

    void exportIntoAMissingFolderWritesNothing()
    {
        QVERIFY(!ExportImport::exportConfigTo(*m_model, path(u"no/such/folder/copy.json"_s)));
        QVERIFY(!QFile::exists(path(u"no"_s)));
    }

    void exportPostsNothing()
    {
        QVERIFY(ExportImport::exportConfigTo(*m_model, path(u"copy.json"_s)));
        QCoreApplication::processEvents();
        QCOMPARE(m_transport.posts().size(), 0);
    }

    // ---- import -------------------------------------------------------------------------------

    void importingATopLevelArrayChangesNothing()
    {
        const ConfigValues before = m_model->values();
        const QJsonObject rawBefore = m_model->rawDocument();
        QVERIFY(!ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/top-level-array.json"_s)));
        QCOMPARE(TestSupport::readFile(configPath()), originalConfig());
        QVERIFY(m_model->values() == before);
        QCOMPARE(m_model->rawDocument(), rawBefore);
        QCoreApplication::processEvents();
        QCOMPARE(m_transport.posts().size(), 0);
    }

    void importingTruncatedOrNonJsonOrMissingFilesChangesNothing()
    {
        const ConfigValues before = m_model->values();
        TestSupport::writeFile(path(u"text.json"_s), "model = nope\n");
        TestSupport::writeFile(path(u"empty.json"_s), "");
        TestSupport::writeFile(path(u"scalar.json"_s), "42");
        for (const QString &source :
             {TestSupport::fixture(u"exportimport/truncated.json"_s), path(u"text.json"_s),
              path(u"empty.json"_s), path(u"scalar.json"_s), path(u"missing.json"_s),
              m_dir->path()}) {
            QVERIFY2(!ExportImport::importConfigFrom(*m_model, source), qPrintable(source));
        }
        QCOMPARE(TestSupport::readFile(configPath()), originalConfig());
        QVERIFY(m_model->values() == before);
        QCoreApplication::processEvents();
        QCOMPARE(m_transport.posts().size(), 0);
    }

    void importingAPipeDoesNotWaitForIt()
    {
        const QString fifo = path(u"pipe.json"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        // Nobody writes into the pipe: reading it would never end.
        QVERIFY(!ExportImport::importConfigFrom(*m_model, fifo));
        QCOMPARE(TestSupport::readFile(configPath()), originalConfig());
    }

    void importingOnlyALegacyTokenGivesOneBotAndWritesBotTokens()
    {
        QVERIFY(ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/legacy-single-token.json"_s)));
        QCOMPARE(m_model->botTokens(), QStringList{u"4242:legacy-token"_s});
        const QJsonObject written = readObject(configPath());
        QCOMPARE(written.value(u"bot_tokens"_s).toArray(), QJsonArray{u"4242:legacy-token"_s});
        QCOMPARE(written.value(u"bot_token"_s).toString(), u"4242:legacy-token"_s);
        QCOMPARE(written.value(u"bot_nicknames"_s).toArray(), QJsonArray{QString()});
        QCOMPARE(written.value(u"bot_profiles"_s).toArray(), QJsonArray{QJsonObject()});
        QCOMPARE(written.value(u"model"_s).toString(), u"legacy-model"_s);
    }

    void importingKeepsUnknownKeysInTheWrittenConfiguration()
    {
        QVERIFY(ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/unknown-keys.json"_s)));
        const QJsonObject written = readObject(configPath());
        QCOMPARE(written.value(u"future_setting"_s).toObject(),
                 (QJsonObject{{u"enabled"_s, true}, {u"depth"_s, 7}}));
        QCOMPARE(written.value(u"reminder_backend"_s).toString(), u"sqlite"_s);
        const QJsonObject profile = written.value(u"bot_profiles"_s).toArray().at(0).toObject();
        QCOMPARE(profile.value(u"service_only_flag"_s).toObject(), (QJsonObject{{u"level"_s, 3}}));
        QCOMPARE(profile.value(u"model"_s).toString(), u"bot-model"_s);
    }

    void importingReplacesTheWholeDocument()
    {
        QVERIFY(ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/unknown-keys.json"_s)));
        const QJsonObject written = readObject(configPath());
        QVERIFY(!written.contains(u"old_only_key"_s));
        QCOMPARE(written.value(u"api_key"_s).toString(), QString());
        QCOMPARE(written.value(u"bot_tokens"_s).toArray(), QJsonArray{u"111:imported"_s});
        QCOMPARE(m_model->botTokens(), QStringList{u"111:imported"_s});
        QCOMPARE(m_model->model(), u"imported-model"_s);
        QCOMPARE(m_model->apiKey(), QString());
        // Normalised by the writing rules: defaults are written out.
        QCOMPARE(written.value(u"max_tokens"_s).toInt(), 350);
        QCOMPARE(written.value(u"show_in_dock"_s).toBool(true), false);
    }

    void importPostsConfigChangedAndIsReadBackOnce()
    {
        const double mtimeBefore = m_model->loadedMtime();
        QVERIFY(ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/unknown-keys.json"_s)));
        QCOMPARE(configChangedPosts(m_transport), 1);
        // The recorded time is the old one until the notification brings the read-back.
        QCOMPARE(m_model->loadedMtime(), mtimeBefore);
        QTRY_VERIFY(m_model->loadedMtime() != mtimeBefore);
        QCOMPARE(m_model->model(), u"imported-model"_s);
        QCOMPARE(m_model->rawDocument(), readObject(configPath()));
    }

    void importReadsTheSkillsAndTheStatusAgain()
    {
        QVERIFY(QDir(m_dir->path()).mkdir(u"skills"_s));
        QVERIFY(QFile::copy(TestSupport::fixture(u"skills/stock-research.md"_s),
                            path(u"skills/stock-research.md"_s)));
        TestSupport::writeFile(path(u"varnook-status.json"_s),
                               "{\"bot_running\": true, \"pid\": 77, \"requests\": 5}");
        QVERIFY(m_model->skills().isEmpty());
        QVERIFY(!m_model->status().botRunning);
        QVERIFY(ExportImport::importConfigFrom(
            *m_model, TestSupport::fixture(u"exportimport/unknown-keys.json"_s)));
        QVERIFY(m_model->status().botRunning);
        QCOMPARE(m_model->status().pid, 77);
        QCOMPARE(m_model->skills().size(), 1);
        QCOMPARE(m_model->skills().at(0).name, u"stock-research"_s);
    }

    void aFailedWriteKeepsTheImportInMemoryAndPostsNothing()
    {
        // A file-size limit the imported document does not fit in: no one can write it, root
        // neither. (A folder at the path is not a configuration this program may replace at
        // all; see tst_configsafety.)
        const QString blocked = path(u"blocked.json"_s);
        TestSupport::writeFile(path(u"varnook-status.json"_s), "{\"bot_running\": true}");
        SettingsModel model(blocked, ModelEnvironment{&m_transport});
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit original{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &original), 0);
        const rlimit limited{16, original.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        const bool imported = ExportImport::importConfigFrom(
            model, TestSupport::fixture(u"exportimport/unknown-keys.json"_s));
        setrlimit(RLIMIT_FSIZE, &original);
        QVERIFY(!imported);
        QCOMPARE(model.model(), u"imported-model"_s);
        QVERIFY(!QFileInfo::exists(blocked));
        // The status is read again all the same.
        QVERIFY(model.status().botRunning);
        QCoreApplication::processEvents();
        QCOMPARE(configChangedPosts(m_transport), 0);
    }
};

QTEST_GUILESS_MAIN(TestExportImport)
#include "tst_exportimport.moc"
