#include "config/configdocument.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/testsupport.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <optional>
#include <sys/resource.h>

using namespace Qt::Literals::StringLiterals;

// The settings model against real files in a temporary folder.
class TestSettingsModel final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    // Writes a document and moves its modification time into the past, so that the next save
    // is always seen as a change even on file systems with coarse time stamps.
    void writeConfig(const QByteArray &bytes)
    {
        TestSupport::writeFile(configPath(), bytes);
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                                 QFileDevice::FileModificationTime));
    }
    void writeFixture(const QString &name)
    {
        writeConfig(TestSupport::readFile(TestSupport::fixture(name)));
    }

    QJsonObject fileObject() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }

    std::unique_ptr<SettingsModel> makeModel()
    {
        return std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
    }

    int configChangedPosts() const
    {
        return int(
            std::count_if(m_transport.posts().begin(), m_transport.posts().end(),
                          [](const auto &p) { return p.name == Notifications::configChanged(); }));
    }

private Q_SLOTS:
    void init()
    {
        QFile::remove(configPath());
        m_transport.clear();
    }

    void withoutAFileTheNumberPagesShowTheInitialTexts()
    {
        const auto model = makeModel();
        QCOMPARE(model->maxTokens(), u"4000"_s);
        QCOMPARE(model->chatBufferMax(), u"40"_s);
        QCOMPARE(model->recallLimit(), u"5"_s);
        QCOMPARE(model->factCap(), u"5000"_s);
        QCOMPARE(model->researchMaxTokens(), u"1200"_s);
        QCOMPARE(model->apiTimeout(), u"90"_s);
        QCOMPARE(model->botMode(), u"assistant"_s);
        QCOMPARE(model->baseURL(), QString());
        QCOMPARE(model->loadedMtime(), 0.0);
        QVERIFY(model->rawDocument().isEmpty());
    }

    void aFileWithoutMaxTokensShows350()
    {
        writeConfig("{\"model\": \"m\"}");
        const auto model = makeModel();
        QCOMPARE(model->maxTokens(), u"350"_s);
        QCOMPARE(model->apiTimeout(), u"30"_s);
        QVERIFY(model->loadedMtime() > 0);
    }

    // Whether a load took the file: only a readable JSON object counts, an empty one included.
    void loadingSaysWhetherItTookTheFile()
    {
        QVERIFY(!makeModel()->fileTaken()); // no file yet
        writeConfig("{}");
        const auto model = makeModel();
        QVERIFY(model->fileTaken());
        for (const QByteArray &bytes :
             {QByteArray("[1, 2]"), QByteArray("{\"model\": "), QByteArray("\xff\xfe{}")}) {
            writeConfig(bytes);
            QVERIFY2(!model->loadFromDisk(), bytes.constData());
            QVERIFY(!model->fileTaken());
        }
        writeConfig("{\"model\": \"m\"}");
        QVERIFY(model->loadFromDisk());
        QVERIFY(model->fileTaken());
        QCOMPARE(model->model(), u"m"_s);
    }

    void removingABotOutOfRangeChangesNothing()
    {
        writeConfig("{\"bot_tokens\": [\"a\"]}");
        const auto model = makeModel();
        model->removeBot(3);
        model->removeBot(-1);
        QCOMPARE(model->botTokens(), QStringList{u"a"_s});
        QCOMPARE(configChangedPosts(), 0);
    }

    void aSaveFollowedByConfigChangedReloadsOnceAndASecondNotificationNothing()
    {
        writeConfig("{\"max_tokens\": 100}");
        const auto model = makeModel();
        model->setMaxTokens(u"abc"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(model->maxTokens(), u"100"_s);

        // Something only in memory is replaced by the file when the notification reloads it.
        model->setModelName(u"unsaved"_s);
        QTRY_COMPARE(model->modelName(), QString());
        const double loaded = model->loadedMtime();

        // No write since: the second notification reloads nothing.
        model->setModelName(u"still unsaved"_s);
        m_transport.post(Notifications::configChanged());
        QTest::qWait(20);
        QCOMPARE(model->modelName(), u"still unsaved"_s);
        QCOMPARE(model->loadedMtime(), loaded);
    }

    void aRewriteThatKeepsTheModificationTimeIsStillPickedUp_data()
    {
        QTest::addColumn<QByteArray>("rewritten");
        QTest::newRow("longer") << QByteArray(R"({"model": "from the service"})");
        QTest::newRow("same length") << QByteArray(R"({"model": "bbbbbb"})");
    }
    void aRewriteThatKeepsTheModificationTimeIsStillPickedUp()
    {
        // Two writes within one tick of the file system's clock leave the same time behind.
        QFETCH(QByteArray, rewritten);
        writeConfig(R"({"model": "aaaaaa"})");
        const auto model = makeModel();
        QCOMPARE(model->model(), u"aaaaaa"_s);
        const QDateTime stamp = QFileInfo(configPath()).lastModified();
        TestSupport::writeFile(configPath(), rewritten);
        QFile file(configPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(stamp, QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(QFileInfo(configPath()).lastModified(), stamp);

        QVERIFY(model->changedSinceLoad());
        m_transport.post(Notifications::configChanged());
        QTRY_COMPARE(model->model(), QJsonDocument::fromJson(rewritten)[u"model"_s].toString());
        QVERIFY(!model->changedSinceLoad());
    }

    void aFileChangedByAnotherProgramIsPickedUpOnConfigChanged()
    {
        writeConfig("{\"model\": \"old\"}");
        const auto model = makeModel();
        TestSupport::writeFile(configPath(), "{\"model\": \"new\"}");
        QCOMPARE(model->model(), u"old"_s); // no polling of the file
        m_transport.post(Notifications::configChanged());
        QTRY_COMPARE(model->model(), u"new"_s);
    }

    void canAddBotIsFalseWhileTheLastTokenIsBlanks()
    {
        const auto model = makeModel();
        QVERIFY(model->canAddBot());
        model->setBotTokens({u"   "_s});
        QVERIFY(!model->canAddBot());
        model->setBotTokens({u" \t"_s});
        QVERIFY(!model->canAddBot());
        model->setBotTokens({u" x "_s});
        QVERIFY(model->canAddBot());
    }

    void aCreatedFileIsReadableByItsOwnerOnly()
    {
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify());
        QCOMPARE(QFile::permissions(configPath()) & 0x7777,
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser
                     | QFileDevice::WriteUser);
    }

    void anExistingFileKeepsItsMode()
    {
        writeConfig("{}");
        const auto mode = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser
                          | QFileDevice::WriteUser | QFileDevice::ReadGroup
                          | QFileDevice::ReadOther;
        QVERIFY(QFile::setPermissions(configPath(), mode));
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify());
        QCOMPARE(QFile::permissions(configPath()) & 0x7777, mode);
    }

    void aSaveIntoAMissingFolderFailsWithTheTextAndPostsNothing()
    {
        const QString path = m_dir.filePath(u"missing/bot-config.json"_s);
        SettingsModel model(path, ModelEnvironment{&m_transport});
        model.setModel(u"edited"_s);
        const auto failure = model.writeDocument();
        QVERIFY(failure.has_value());
        QVERIFY2(failure->startsWith(u"Could not write "_s + path + u": "_s), qPrintable(*failure));
        QVERIFY(failure->size() > (u"Could not write "_s + path + u": "_s).size());
        QVERIFY(!model.saveAndNotify());
        QCOMPARE(m_transport.posts().size(), 0);
        QCOMPARE(model.model(), u"edited"_s);
        QVERIFY(!QFileInfo::exists(m_dir.filePath(u"missing"_s)));
    }

    // A write that stops part way (a full disk; here a file-size limit the new document does
    // not fit in) puts the old bytes back: the user's keys are never left in half a document.
    void aWriteThatStopsPartWayLeavesTheOldFileWhole()
    {
        writeConfig("{\"api_key\": \"sk-kept\", \"model\": \"gpt-5\"}");
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify()); // now in the program's own form
        const QByteArray before = TestSupport::readFile(configPath());
        model->setBriefingPrompt(QString(4000, u'x'));

        rlimit original{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &original), 0);
        const rlimit limited{rlim_t(before.size() + 64), original.rlim_max};
        const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        const std::optional<QString> failure = model->writeDocument();
        setrlimit(RLIMIT_FSIZE, &original);
        std::signal(SIGXFSZ, previousHandler);

        QVERIFY(failure.has_value());
        QVERIFY2(failure->startsWith(u"Could not write "_s + configPath() + u": "_s),
                 qPrintable(*failure));
        QCOMPARE(model->lastSaveError(), failure);
        QCOMPARE(TestSupport::readFile(configPath()), before);
        QVERIFY(model->saveAndNotify()); // and with room again, the edit is saved
        QVERIFY(model->lastSaveError() == std::nullopt);
        QVERIFY(TestSupport::readFile(configPath()).contains(QByteArray(4000, 'x')));
    }

    void theWrittenFileIsPrettyPrintedWithSortedKeys()
    {
        writeConfig("{\"zeta\": 1, \"alpha\": 2}");
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify());
        const QByteArray bytes = TestSupport::readFile(configPath());
        QVERIFY(bytes.startsWith("{\n    \"allowed_ids\": [\n"));
        QVERIFY(bytes.indexOf("\"alpha\"") < bytes.indexOf("\"zeta\""));
        QCOMPARE(bytes, ConfigDocument::serialise(fileObject()));
    }

    void fullDocumentRoundTripKeepsEveryProperty()
    {
        writeFixture(u"config/full.json"_s);
        const auto first = makeModel();
        QCOMPARE(first->botTokens().size(), 2);
        QCOMPARE(first->fallbacks().size(), 2);
        QVERIFY(first->saveAndNotify());
        const auto second = makeModel();
        auto withoutIds = [](ConfigValues v) {
            for (Fallback &f : v.fallbacks)
                f.id = QUuid();
            for (BotProfile &p : v.botProfiles) {
                for (Fallback &f : p.fallbacks)
                    f.id = QUuid();
            }
            return v;
        };
        QCOMPARE(withoutIds(second->values()), withoutIds(first->values()));
        QCOMPARE(second->values().allowedIDs, u"512807364, -1002718305964"_s);
        QCOMPARE(second->values().botProfiles.first().disabledSkills,
                 (QStringList{u"pdf"_s, u"voice"_s}));
    }

    void savingUnchangedValuesKeepsTheDocumentsValues()
    {
        writeFixture(u"config/full.json"_s);
        const QJsonObject before = fileObject();
        const auto model = makeModel();
        QVERIFY(model->saveAndNotify());
        const QJsonObject after = fileObject();
        for (auto it = before.begin(); it != before.end(); ++it)
            QVERIFY2(after.value(it.key()) == it.value(), qPrintable(it.key()));
    }

    void unknownKeysOfEveryTypeSurviveASave()
    {
        writeFixture(u"config/unknown-keys.json"_s);
        const QJsonObject before = fileObject();
        const auto model = makeModel();
        model->setModel(u"changed"_s);
        QVERIFY(model->saveAndNotify());
        const QJsonObject after = fileObject();
        for (const QString &key : before.keys()) {
            if (key.startsWith(u"x_"_s) || key == u"skills_dir"_s)
                QCOMPARE(after.value(key), before.value(key));
        }
        const QJsonArray beforeProfiles = before.value("bot_profiles"_L1).toArray();
        const QJsonArray afterProfiles = after.value("bot_profiles"_L1).toArray();
        for (qsizetype i = 0; i < beforeProfiles.size(); ++i) {
            const QJsonObject b = beforeProfiles.at(i).toObject();
            for (const QString &key : b.keys()) {
                if (key.startsWith(u"x_"_s))
                    QCOMPARE(afterProfiles.at(i).toObject().value(key), b.value(key));
            }
        }
        QCOMPARE(after.value("x_integer"_L1).toInteger(), 9007199254740993LL);
    }

    void unreadableDocumentsLeaveTheModelUnchanged_data()
    {
        QTest::addColumn<QString>("fixture");
        QTest::newRow("top-level array") << u"config/top-level-array.json"_s;
        QTest::newRow("truncated") << u"config/truncated.json"_s;
        QTest::newRow("non-UTF-8") << u"config/non-utf8.json"_s;
    }
    void unreadableDocumentsLeaveTheModelUnchanged()
    {
        QFETCH(QString, fixture);
        writeConfig("{\"model\": \"before\", \"bot_tokens\": [\"a\"]}");
        const auto model = makeModel();
        const ConfigValues before = model->values();
        writeFixture(fixture);
        m_transport.post(Notifications::configChanged());
        QTest::qWait(20);
        model->loadFromDisk();
        QCOMPARE(model->values().model, before.model);
        QCOMPARE(model->values().botTokens, before.botTokens);
        QCOMPARE(model->values().maxTokens, before.maxTokens);
    }

    void aDocumentWithEveryKeyMistypedLoadsTheDefaults()
    {
        writeFixture(u"config/every-key-mistyped.json"_s);
        const auto model = makeModel();
        const ConfigValues v = model->values();
        QCOMPARE(v.baseURL, ConfigDocument::defaultBaseUrl());
        QCOMPARE(v.apiKey, QString());
        QCOMPARE(v.model, QString());
        QCOMPARE(v.botTokens, QStringList());
        QCOMPARE(v.botProfiles.size(), 0);
        QCOMPARE(v.fallbacks.size(), 0);
        QCOMPARE(v.maxTokens, u"350"_s);
        QCOMPARE(v.chatBufferMax, u"40"_s); // 40.5 is not an integer
        QCOMPARE(v.recallLimit, u"5"_s);
        QCOMPARE(v.factCap, u"5000"_s);
        QCOMPARE(v.researchMaxTokens, u"1200"_s);
        QCOMPARE(v.apiTimeout, u"30"_s);
        QCOMPARE(v.briefingTime, u"08:00"_s);
        QCOMPARE(v.botMode, u"assistant"_s);
        QCOMPARE(v.soulFile, u"~/.zandrel/soul.md"_s);
        QCOMPARE(v.allowedIDs, QString());
        QCOMPARE(v.triggerWords, QString());
        QCOMPARE(v.showInDock, false);
        QCOMPARE(v.backfillMissed, true);
        QCOMPARE(v.autoMemory, true);
        QCOMPARE(v.briefingCrypto, false);
        QVERIFY(v.skillSources.isEmpty());
        // Mistyped values stay in the document until a save overwrites their keys.
        QCOMPARE(model->rawDocument().value("max_tokens"_L1), QJsonValue(u"500"_s));
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("max_tokens"_L1), QJsonValue(350));
        QCOMPARE(fileObject().value("skills_dir"_L1), QJsonValue(5));
    }

    void hugeIntegersAreNotNumbers()
    {
        writeFixture(u"config/huge-integer.json"_s);
        const auto model = makeModel();
        QCOMPARE(model->maxTokens(), u"350"_s);
        QCOMPARE(model->recallLimit(), u"5"_s);
        QCOMPARE(model->factCap(), u"9223372036854775807"_s);
        QCOMPARE(model->apiTimeout(), u"-9223372036854775808"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(fileObject().value("fact_cap"_L1).toInteger(), std::numeric_limits<qint64>::max());
    }

    void typingLettersIntoANumberKeepsTheLastIntegerAfterTheReload()
    {
        writeConfig("{\"max_tokens\": 777}");
        const auto model = makeModel();
        model->setMaxTokens(u"lots"_s);
        QVERIFY(model->saveAndNotify());
        QCOMPARE(model->maxTokens(), u"777"_s);
        QCOMPARE(fileObject().value("max_tokens"_L1), QJsonValue(777));
    }

    // Every key of the list is announced under its published name (maxTokensChanged) and
    // through the store, once per change.
    void everyKeyIsAnnouncedUnderItsPublishedName()
    {
        const auto model = makeModel();
        int published = 0;
        const auto other = [](const auto &value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, bool>)
                return !value;
            else if constexpr (std::is_same_v<T, QString>)
                return QString(value + u"x"_s);
            else
                return T{typename T::value_type()} + value;
        };
        const auto check
            = [&](auto signal, auto set, const auto &value, ConfigKey key, const char *name) {
                  QSignalSpy store(&model->store(), &ConfigStore::changed);
                  std::optional<QSignalSpy> own;
                  if constexpr (!std::is_same_v<decltype(signal), std::nullptr_t>) {
                      own.emplace(model.get(), signal);
                      ++published;
                  }
                  set(other(value));
                  QVERIFY2(store.size() == 1 && store.at(0).at(0).value<ConfigKey>() == key, name);
                  if (own)
                      QVERIFY2(own->size() == 1, name);
              };
#define VARNOOK_CONFIG_KEY(Type, member, Name, ...)                                                \
    [&](auto *m) {                                                                                 \
        using Model = std::remove_pointer_t<decltype(m)>;                                          \
        auto set = [m](const Type &v) { m->set##Name(v); };                                        \
        if constexpr (requires { &Model::member##Changed; })                                       \
            check(&Model::member##Changed, set, m->member(), ConfigKey::Name, #member);            \
        else                                                                                       \
            check(nullptr, set, m->member(), ConfigKey::Name, #member);                            \
    }(model.get());
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
        QCOMPARE(published, 28); // the keys the pages published before keys were bound by name
    }

    void eachPropertyAnnouncesItsOwnChange()
    {
        writeConfig("{\"model\": \"a\", \"api_key\": \"k\"}");
        const auto model = makeModel();
        QSignalSpy modelSpy(model.get(), &SettingsModel::modelChanged);
        QSignalSpy keySpy(model.get(), &SettingsModel::apiKeyChanged);
        QSignalSpy tokensSpy(model.get(), &SettingsModel::botTokensChanged);
        model->applyDocument(QJsonObject{{"model"_L1, u"b"_s}, {"api_key"_L1, u"k"_s}});
        QCOMPARE(modelSpy.size(), 1);
        QCOMPARE(keySpy.size(), 0);
        QCOMPARE(tokensSpy.size(), 0);
        model->setModel(u"b"_s);
        QCOMPARE(modelSpy.size(), 1); // same value: no announcement
    }

    void canAddFallbackNeedsUrlAndModelOfTheLastRow()
    {
        const auto model = makeModel();
        QVERIFY(model->canAddFallback());
        model->addFallback();
        QVERIFY(!model->canAddFallback());
        model->setFallbackText(0, &Fallback::api_key, u"key"_s);
        QVERIFY(!model->canAddFallback());
        model->setFallbackText(0, &Fallback::base_url, u"http://x"_s);
        QVERIFY(!model->canAddFallback());
        model->setFallbackText(0, &Fallback::model, u" \t"_s);
        QVERIFY(!model->canAddFallback());
        model->setFallbackText(0, &Fallback::model, u"m"_s);
        QVERIFY(model->canAddFallback());
    }

    void removingABackupProviderSavesTheRest()
    {
        writeFixture(u"config/full.json"_s);
        const auto model = makeModel();
        model->removeFallback(0);
        QCOMPARE(model->fallbacks().size(), 1);
        QCOMPARE(model->fallbacks().first().model, u"qwen"_s);
        QCOMPARE(fileObject().value("fallbacks"_L1).toArray().size(), 1);
        QCOMPARE(configChangedPosts(), 1);
    }

    void higherPriorityOnTheFirstBackupExchangesItWithThePrimary()
    {
        writeConfig(
            "{\"base_url\": \"P\", \"api_key\": \"pk\", \"model\": \"pm\", \"model_name\": \"Pn\","
            "\"fallbacks\": [{\"base_url\": \"A\", \"api_key\": \"ak\", \"model\": \"am\", "
            "\"name\": \"An\"},"
            "{\"base_url\": \"B\", \"model\": \"bm\"}]}");
        const auto model = makeModel();
        model->moveFallback(0, true);
        QCOMPARE(model->baseURL(), u"A"_s);
        QCOMPARE(model->apiKey(), u"ak"_s);
        QCOMPARE(model->model(), u"am"_s);
        QCOMPARE(model->modelName(), u"An"_s);
        QCOMPARE(model->fallbacks().size(), 2);
        QCOMPARE(model->fallbacks().at(0).base_url, u"P"_s);
        QCOMPARE(model->fallbacks().at(0).name, u"Pn"_s);
        QCOMPARE(model->fallbacks().at(1).base_url, u"B"_s);
        QCOMPARE(fileObject().value("base_url"_L1), QJsonValue(u"A"_s));

        model->moveFallback(1, false); // lower priority on the last one
        QCOMPARE(model->fallbacks().at(1).base_url, u"B"_s);
    }

    void botLabelIsTheNicknameOrBotN()
    {
        writeConfig(
            "{\"bot_tokens\": [\"a\", \"b\", \"c\"], \"bot_nicknames\": [\"\", \"Helper\", \"\"]}");
        const auto model = makeModel();
        QCOMPARE(model->botLabel(0), u"Bot 1"_s);
        QCOMPARE(model->botLabel(1), u"Helper"_s);
        QCOMPARE(model->botLabel(2), u"Bot 3"_s);
        model->setBotNickname(2, u"Trading"_s);
        QCOMPARE(model->botLabel(2), u"Trading"_s);
    }
};

QTEST_GUILESS_MAIN(TestSettingsModel)
#include "tst_settingsmodel.moc"
