#include "config/configstore.h"
#include "support/testsupport.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The configuration store on its own, against real files in a temporary folder: one change
// signal naming the value, and what a save puts on disk.
class TestConfigStore final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QJsonObject fileObject() const
    {
        return QJsonDocument::fromJson(TestSupport::readFile(configPath())).object();
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(TestSupport::writeFile(
            configPath(), TestSupport::readFile(TestSupport::fixture(u"config/full.json"_s))));
    }

    void aSetterAnnouncesItsKeyOnceAndTheSaveWritesIt()
    {
        ConfigStore store(configPath());
        QVERIFY(store.loadFromDisk());
        QCOMPARE(store.values().maxTokens, u"4000"_s);
        QList<ConfigKey> announced;
        connect(&store, &ConfigStore::changed, this,
                [&announced](ConfigKey key) { announced.append(key); });

        store.setMaxTokens(u"800"_s);
        store.setMaxTokens(u"800"_s); // the same value again is no change
        QVERIFY(announced == QList<ConfigKey>{ConfigKey::MaxTokens});
        QCOMPARE(store.values().maxTokens, u"800"_s);
        QCOMPARE(store.pendingKeys(), QStringList{u"max_tokens"_s});
        QCOMPARE(fileObject().value("max_tokens"_L1).toInt(), 4000); // nothing written yet

        QVERIFY(!store.writeDocument());
        QCOMPARE(fileObject().value("max_tokens"_L1).toInt(), 800);
        QCOMPARE(fileObject().value("model"_L1).toString(), u"gpt-5"_s); // the rest as it was
        QVERIFY(store.pendingKeys().isEmpty());
    }

    void newValuesAnnounceEveryChangedKeyInListOrder()
    {
        ConfigStore store(configPath());
        QVERIFY(store.loadFromDisk());
        QList<ConfigKey> announced;
        connect(&store, &ConfigStore::changed, this,
                [&announced](ConfigKey key) { announced.append(key); });

        ConfigValues values = store.values();
        values.skillSources = QStringList{u"someone/else"_s};
        values.showInDock = !values.showInDock;
        values.apiKey = u"sk-other"_s;
        store.setValues(values);
        QVERIFY(announced
                == (QList<ConfigKey>{ConfigKey::ApiKey, ConfigKey::ShowInDock,
                                     ConfigKey::SkillSources}));
        QVERIFY(store.values() == values);

        announced.clear();
        store.setValues(values);
        QVERIFY(announced.isEmpty());
    }

    void anUnusableFileIsNeverWrittenOver()
    {
        const QByteArray broken = "{\"max_tokens\": 4000, \"api_key\": \"sk-keep\"";
        QVERIFY(TestSupport::writeFile(configPath(), broken));
        ConfigStore store(configPath());
        QSignalSpy problem(&store, &ConfigStore::fileProblemChanged);
        QVERIFY(!store.loadFromDisk());
        QVERIFY(store.fileProblem().has_value());
        QVERIFY(!store.canEdit());
        QCOMPARE(problem.count(), 1);

        store.setMaxTokens(u"800"_s);
        const std::optional<QString> refused = store.writeDocument();
        QVERIFY(refused.has_value());
        QVERIFY(refused->startsWith(u"Not saved: "_s));
        QCOMPARE(TestSupport::readFile(configPath()), broken);
    }

    void aFailedWriteKeepsTheValuesAndSaysWhy()
    {
        ConfigStore store(m_dir.filePath(u"missing-folder/bot-config.json"_s));
        QVERIFY(!store.loadFromDisk()); // missing: a fresh start, no problem
        QVERIFY(store.canEdit());
        QSignalSpy saveError(&store, &ConfigStore::lastSaveErrorChanged);
        store.setModel(u"typed"_s);

        const std::optional<QString> failed = store.writeDocument();
        QVERIFY(failed.has_value());
        QVERIFY2(failed->startsWith(u"Could not write "_s), qPrintable(*failed));
        QVERIFY(store.lastSaveError() == failed);
        QCOMPARE(saveError.count(), 1);
        QCOMPARE(store.values().model, u"typed"_s);
    }
};

QTEST_GUILESS_MAIN(TestConfigStore)
#include "tst_configstore.moc"
