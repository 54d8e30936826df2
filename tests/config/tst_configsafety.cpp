#include "config/configdocument.h"
#include "config/configfile.h"
#include "model/exportimport.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/privileges.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;

// The settings model never loses or tears the configuration: a file it cannot use is never
// written over, a save puts only the user's own changes on top of what another writer left,
// and a failed save is reported with the system's reason while the model keeps the edit.
class TestConfigSafety final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }

    std::unique_ptr<SettingsModel> makeModel(const QString &path = {})
    {
        return std::make_unique<SettingsModel>(path.isEmpty() ? configPath() : path,
                                               ModelEnvironment{&m_transport});
    }

    QJsonObject fileObject() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }

    // Another program (the bot service) rewrites the file the way the protocol asks for: under
    // the lock, on what is there now, atomically.
    void otherWriterChanges(const std::function<void(QJsonObject &)> &change)
    {
        const ConfigFile::Lock lock(configPath());
        QVERIFY(lock.isHeld());
        QJsonObject document = ConfigFile::read(configPath()).document;
        change(document);
        QVERIFY(!ConfigFile::write(configPath(), ConfigDocument::serialise(document)));
    }

    int configChangedPosts() const
    {
        return int(
            std::count_if(m_transport.posts().begin(), m_transport.posts().end(),
                          [](const auto &p) { return p.name == Notifications::configChanged(); }));
    }

    // A file-size limit for the writes of this process while it lives.
    class FileSizeLimit final {
    public:
        explicit FileSizeLimit(rlim_t bytes)
        {
            getrlimit(RLIMIT_FSIZE, &m_original);
            const rlimit limited{bytes, m_original.rlim_max};
            setrlimit(RLIMIT_FSIZE, &limited);
        }
        ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_original); }

    private:
        rlimit m_original{};
    };

private Q_SLOTS:
    void initTestCase() { ConfigFile::ignoreFileSizeSignal(); }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_transport.clear();
    }

    // ---- a file that is there but cannot be used --------------------------------------------

    void anUnparsableFileIsNeverWrittenOver_data()
    {
        QTest::addColumn<QString>("fixture");
        QTest::addColumn<QString>("reason");
        QTest::newRow("truncated") << u"config/truncated.json"_s << u" is not valid JSON: "_s;
        QTest::newRow("top-level array")
            << u"config/top-level-array.json"_s << u" does not hold a JSON object"_s;
        QTest::newRow("non-UTF-8") << u"config/non-utf8.json"_s << u" is not valid JSON: "_s;
    }
    void anUnparsableFileIsNeverWrittenOver()
    {
        QFETCH(QString, fixture);
        QFETCH(QString, reason);
        const QByteArray bytes = TestSupport::readFile(TestSupport::fixture(fixture));
        QVERIFY(TestSupport::writeFile(configPath(), bytes));
        const auto model = makeModel();
        QVERIFY(model->fileProblem().has_value());
        QVERIFY2(model->fileProblem()->startsWith(configPath() + reason),
                 qPrintable(*model->fileProblem()));
        QVERIFY(!model->canEdit());

        // Every way of saving leaves the file as it was and tells the service nothing.
        model->setModel(u"typed"_s);
        QVERIFY(!model->saveAndNotify());
        model->addBot();
        model->setSkillEnabled(u"voice"_s, false);
        model->setFeature(u"auto_memory"_s, false);
        QCOMPARE(TestSupport::readFile(configPath()), bytes);
        QCOMPARE(configChangedPosts(), 0);
        QVERIFY(model->botTokens().isEmpty());
        QVERIFY(!model->lastSaveError()); // the banner about the file says it all
    }

    void aParseErrorNamesItsByte()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\n    \"api_key\": \"sk-abc"));
        const auto model = makeModel();
        QCOMPARE(
            model->fileProblem(),
            std::optional(configPath() + u" is not valid JSON: unterminated string at byte 24"_s));
    }

    void aPipeAtThePathDoesNotBlockTheModel()
    {
        QCOMPARE(::mkfifo(QFile::encodeName(configPath()).constData(), 0600), 0);
        const auto model = makeModel(); // would wait for a writer if it opened the pipe
        QCOMPARE(model->fileProblem(),
                 std::optional(configPath() + u" is a named pipe, not a configuration file"_s));
        QVERIFY(!model->saveAndNotify());
        QVERIFY(QFileInfo(configPath()).isFile() == false);
    }

    void aFolderAtThePathIsNotAFreshStart()
    {
        QVERIFY(QDir().mkdir(configPath()));
        const auto model = makeModel();
        QCOMPARE(model->fileProblem(),
                 std::optional(configPath() + u" is a folder, not a configuration file"_s));
        QVERIFY(!model->saveAndNotify());
        QVERIFY(QFileInfo(configPath()).isDir());
    }

    void aMissingFileIsStillAFreshStart()
    {
        const auto model = makeModel();
        QVERIFY(!model->fileProblem());
        QVERIFY(model->canEdit());
        model->setModel(u"first"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("model"_L1).toString(), u"first"_s);
    }

    // Mended by hand while the window is open: the model sees it without being told and takes
    // the file, and editing goes on.
    void aMendedFileIsTakenAsSoonAsItChanges()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"gpt\", "));
        const auto model = makeModel();
        QSignalSpy problemChanged(model.get(), &SettingsModel::fileProblemChanged);
        QVERIFY(model->fileProblem());
        // As an editor saves: a new file renamed over the old one.
        QVERIFY(TestSupport::writeFile(m_dir->filePath(u"mended.json"_s),
                                       "{\"model\": \"gpt\", \"api_key\": \"sk-kept\"}"));
        QCOMPARE(::rename(QFile::encodeName(m_dir->filePath(u"mended.json"_s)).constData(),
                          QFile::encodeName(configPath()).constData()),
                 0);
        QTRY_VERIFY_WITH_TIMEOUT(!model->fileProblem(), 30000);
        QVERIFY(problemChanged.count() >= 1);
        QCOMPARE(model->model(), u"gpt"_s);
        QCOMPARE(model->apiKey(), u"sk-kept"_s);
        model->setModelName(u"named"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("api_key"_L1).toString(), u"sk-kept"_s);
        QCOMPARE(fileObject().value("model_name"_L1).toString(), u"named"_s);
    }

    void aConfigChangedNotificationRetriesAnUnusableFile()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "[]"));
        const auto model = makeModel();
        QVERIFY(model->fileProblem());
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"fixed\"}"));
        m_transport.post(Notifications::configChanged());
        QTRY_COMPARE(model->model(), u"fixed"_s);
        QVERIFY(!model->fileProblem());
    }

    // A file that goes bad after it was read is found at the next save, under the lock.
    void aFileBrokenAfterItWasReadIsNotWrittenOver()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"m\"}"));
        const auto model = makeModel();
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"half"));
        model->setModel(u"edited"_s);
        QVERIFY(!model->saveAndNotify());
        QCOMPARE(TestSupport::readFile(configPath()), QByteArray("{\"model\": \"half"));
        QVERIFY(model->fileProblem());
        QCOMPARE(model->model(), u"edited"_s);
        QCOMPARE(configChangedPosts(), 0);
    }

    void anImportNeverReplacesAnUnusableFile()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": "));
        const auto model = makeModel();
        const QString source = m_dir->filePath(u"import.json"_s);
        QVERIFY(TestSupport::writeFile(source, "{\"model\": \"imported\"}"));
        QVERIFY(!ExportImport::importConfigFrom(*model, source));
        QCOMPARE(TestSupport::readFile(configPath()), QByteArray("{\"model\": "));
        QCOMPARE(model->model(), QString());
    }

    // ---- concurrent writers -----------------------------------------------------------------

    void theModelKnowsWhichKeysAnEditTouched()
    {
        QVERIFY(TestSupport::writeFile(
            configPath(),
            "{\"bot_tokens\": [\"1:a\", \"2:b\"], \"bot_nicknames\": [\"A\", \"B\"]}"));
        const auto model = makeModel();
        QCOMPARE(model->pendingKeys(), QStringList());
        model->setModel(u"m"_s);
        model->setBotProfileText(1, &BotProfile::apiKey, u"sk-bot"_s);
        model->setBotNickname(0, u"First"_s);
        QCOMPARE(model->pendingKeys(),
                 (QStringList{u"model"_s, u"bot_nicknames[0]"_s, u"bot_profiles[1].api_key"_s}));
        model->setSkillEnabled(u"voice"_s, false); // saves by itself
        QCOMPARE(model->pendingKeys(), QStringList());
    }

    // The service added a key and changed another since the window read the file; the window's
    // next save keeps both and adds the user's change.
    void aSaveKeepsWhatAnotherWriterChangedMeanwhile()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"m\", \"max_tokens\": 100}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) {
            document.insert("x_service_state"_L1, QJsonObject{{"last_update"_L1, 77}});
            document.insert("max_tokens"_L1, 900);
        });
        model->setModel(u"edited"_s);
        QVERIFY(model->saveAndNotify());
        const QJsonObject file = fileObject();
        QCOMPARE(file.value("model"_L1).toString(), u"edited"_s);
        QCOMPARE(file.value("max_tokens"_L1).toInteger(), 900);
        QCOMPARE(file.value("x_service_state"_L1).toObject().value("last_update"_L1).toInt(), 77);
        // The model shows what is in the file now.
        QCOMPARE(model->maxTokens(), u"900"_s);
        // And a second save with nothing new in the file writes the model's document whole.
        model->setModelName(u"n"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("max_tokens"_L1).toInteger(), 900);
        QCOMPARE(
            fileObject().value("x_service_state"_L1).toObject().value("last_update"_L1).toInt(),
            77);
    }

    void theUsersOwnChangeWinsOverTheSameKey()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"m\"}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) { document.insert("model"_L1, u"theirs"_s); });
        model->setModel(u"mine"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("model"_L1).toString(), u"mine"_s);
    }

    void perBotChangesOfBothWritersAreKept()
    {
        QVERIFY(TestSupport::writeFile(
            configPath(), "{\"bot_tokens\": [\"1:a\", \"2:b\"], \"bot_nicknames\": [\"A\", \"B\"], "
                          "\"bot_profiles\": [{\"x_bot_state\": 1}, {}]}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) {
            QJsonArray profiles = document.value("bot_profiles"_L1).toArray();
            QJsonObject first = profiles.at(0).toObject();
            first.insert("api_key"_L1, u"sk-service"_s);
            first.insert("x_bot_state"_L1, 2);
            profiles.replace(0, first);
            document.insert("bot_profiles"_L1, profiles);
        });
        model->setBotNickname(1, u"Second"_s);
        model->setBotProfileText(1, &BotProfile::model, u"bot-model"_s);
        QVERIFY(model->saveAndNotify());
        const QJsonObject file = fileObject();
        const QJsonArray profiles = file.value("bot_profiles"_L1).toArray();
        QCOMPARE(profiles.at(0).toObject().value("api_key"_L1).toString(), u"sk-service"_s);
        QCOMPARE(profiles.at(0).toObject().value("x_bot_state"_L1).toInt(), 2);
        QCOMPARE(profiles.at(1).toObject().value("model"_L1).toString(), u"bot-model"_s);
        QCOMPARE(TestSupport::jsonStrings(file.value("bot_nicknames"_L1)),
                 (QStringList{u"A"_s, u"Second"_s}));
    }

    // Bots are found by their token: the service put a bot in front, and the user's edit of
    // "bot 1" still lands on that bot.
    void aBotIsFoundByItsTokenWhenTheListMoved()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"bot_tokens\": [\"1:a\"]}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) {
            document.insert("bot_tokens"_L1, QJsonArray{u"0:new"_s, u"1:a"_s});
            document.insert("bot_nicknames"_L1, QJsonArray{u"New"_s, u""_s});
            document.insert("bot_profiles"_L1, QJsonArray{QJsonObject(), QJsonObject()});
        });
        model->setBotNickname(0, u"Mine"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(TestSupport::jsonStrings(fileObject().value("bot_tokens"_L1)),
                 (QStringList{u"0:new"_s, u"1:a"_s}));
        QCOMPARE(TestSupport::jsonStrings(fileObject().value("bot_nicknames"_L1)),
                 (QStringList{u"New"_s, u"Mine"_s}));
    }

    void aSkillSwitchKeepsWhatAnotherWriterChanged()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"enabled_skills\": []}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) { document.insert("x_seen"_L1, true); });
        model->setSkillEnabled(u"voice"_s, false);
        QCOMPARE(TestSupport::jsonStrings(fileObject().value("enabled_skills"_L1)),
                 QStringList{u"voice"_s});
        QCOMPARE(fileObject().value("x_seen"_L1), QJsonValue(true));
    }

    void anImportReplacesTheWholeFileEvenAfterAnotherWriter()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"model\": \"m\"}"));
        const auto model = makeModel();
        otherWriterChanges([](QJsonObject &document) { document.insert("x_gone"_L1, 1); });
        const QString source = m_dir->filePath(u"import.json"_s);
        QVERIFY(TestSupport::writeFile(source, "{\"model\": \"imported\"}"));
        QVERIFY(ExportImport::importConfigFrom(*model, source));
        QCOMPARE(fileObject().value("model"_L1).toString(), u"imported"_s);
        QVERIFY(!fileObject().contains("x_gone"_L1));
    }

    // ---- failed saves -----------------------------------------------------------------------

    // A size limit: the save fails with the system's reason, the file keeps its old bytes, the
    // model keeps what the user typed, nothing is announced, and the reason stays until a save
    // works.
    void aFailedSaveKeepsTheEditAndTheReason()
    {
        QVERIFY(TestSupport::writeFile(configPath(), "{\"max_tokens\": 100}"));
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify());
        m_transport.clear();
        const QByteArray before = TestSupport::readFile(configPath());
        QSignalSpy errorChanged(model.get(), &SettingsModel::lastSaveErrorChanged);
        model->setBriefingPrompt(QString(4000, u'x'));
        model->setMaxTokens(u"12a"_s);
        {
            const FileSizeLimit limit(rlim_t(before.size() + 64));
            QVERIFY(!model->saveAndNotify());
        }
        QCOMPARE(model->lastSaveError(),
                 std::optional(u"Could not write "_s + configPath() + u": File too large"_s));
        QCOMPARE(errorChanged.count(), 1);
        QCOMPARE(TestSupport::readFile(configPath()), before);
        QCOMPARE(model->maxTokens(), u"12a"_s); // not normalised away: nothing was saved
        QCOMPARE(model->briefingPrompt(), QString(4000, u'x'));
        QCOMPARE(configChangedPosts(), 0);

        QVERIFY(model->saveAndNotify());
        QVERIFY(!model->lastSaveError());
        QCOMPARE(errorChanged.count(), 2);
        QCOMPARE(fileObject().value("briefing_prompt"_L1).toString(), QString(4000, u'x'));
        QCOMPARE(configChangedPosts(), 1);
    }

    void aFullDiskIsReportedInTheSystemsWords()
    {
        const QString folder = m_dir->filePath(u"small"_s);
        QVERIFY(QDir().mkdir(folder));
        const TestSupport::SmallFileSystem disk(folder, 16);
        if (!disk.isMounted())
            QSKIP("cannot mount a small file system here");
        const QString path = folder + u"/bot-config.json"_s;
        const auto model = makeModel(path);
        QVERIFY(model->saveAndNotify());
        const QByteArray before = TestSupport::readFile(path);
        model->setBriefingPrompt(QString(64 * 1024, u'x'));
        QVERIFY(!model->saveAndNotify());
        QCOMPARE(model->lastSaveError(),
                 std::optional(u"Could not write "_s + path + u": No space left on device"_s));
        QCOMPARE(TestSupport::readFile(path), before);
    }

    void aReadOnlyFolderIsReportedInTheSystemsWords()
    {
        QVERIFY(QFile::setPermissions(
            m_dir->path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                               | QFileDevice::ReadOther | QFileDevice::ExeOther));
        const QString folder = m_dir->filePath(u"locked"_s);
        QVERIFY(QDir().mkdir(folder));
        const QString path = folder + u"/bot-config.json"_s;
        QVERIFY(TestSupport::writeFile(path, "{\"model\": \"m\"}"));
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0666) == 0);
        QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0555) == 0);
        const auto model = makeModel(path);
        model->setModel(u"edited"_s);
        {
            const TestSupport::AsNobody nobody;
            if (!nobody.permissionsApply())
                QSKIP("cannot act as an ordinary user here");
            QVERIFY(!model->saveAndNotify());
        }
        QCOMPARE(model->lastSaveError(),
                 std::optional(u"Could not write "_s + path + u": Permission denied"_s));
        QCOMPARE(TestSupport::readFile(path), QByteArray("{\"model\": \"m\"}"));
        QCOMPARE(model->model(), u"edited"_s);
    }

    void aSymlinkedConfigurationStaysALink()
    {
        const QString target = m_dir->filePath(u"real.json"_s);
        QVERIFY(TestSupport::writeFile(target, "{\"model\": \"m\"}"));
        QVERIFY(::chmod(QFile::encodeName(target).constData(), 0640) == 0);
        QVERIFY(QFile::link(target, configPath()));
        const auto model = makeModel();
        model->setModel(u"through the link"_s);
        QVERIFY(model->saveAndNotify());
        QVERIFY(QFileInfo(configPath()).isSymLink());
        QCOMPARE(QJsonDocument::fromJson(TestSupport::readFile(target))
                     .object()
                     .value("model"_L1)
                     .toString(),
                 u"through the link"_s);
        QCOMPARE(QFile::permissions(target) & 0x7777,
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser
                     | QFileDevice::WriteUser | QFileDevice::ReadGroup);
        QVERIFY(QFileInfo::exists(target + u".lock"_s));
    }
};

QTEST_GUILESS_MAIN(TestConfigSafety)
#include "tst_configsafety.moc"
