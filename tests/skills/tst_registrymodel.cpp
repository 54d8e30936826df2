#include "skills/registrymodel.h"
#include "support/fakegithub.h"
#include "support/testsupport.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The GitHub registry client on its own, against a loopback GitHub: what a search shows, and
// what an install writes into the skills folder beside the configuration.
class TestRegistryModel final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    FakeGithub m_github;
    QNetworkAccessManager m_network;

    std::unique_ptr<RegistryModel> makeRegistry()
    {
        return std::make_unique<RegistryModel>(m_dir.filePath(u"bot-config.json"_s),
                                               m_github.apiBase(), m_github.rawBase(),
                                               [this] { return &m_network; });
    }

private Q_SLOTS:
    void aSearchShowsOneEntryPerRepository()
    {
        QVERIFY(m_dir.isValid());
        m_github.serveSearchPage(
            1, FakeGithub::searchReply({FakeGithub::searchItem(u"ana/pdf-skills"_s, u"PDF tools"_s),
                                        FakeGithub::searchItem(u"bo/notes"_s, u"Notes"_s)}));
        const auto registry = makeRegistry();
        QSignalSpy searching(registry.get(), &RegistryModel::githubSearchingChanged);

        registry->searchGithub(u"pdf"_s);
        QVERIFY(registry->githubSearching());
        QTRY_VERIFY_WITH_TIMEOUT(!registry->githubSearching(), 10000);
        QCOMPARE(searching.count(), 2);
        QCOMPARE(registry->githubResults().size(), 2);
        QCOMPARE(registry->githubResults().at(0).name, u"github:ana/pdf-skills"_s);
        QCOMPARE(registry->githubResults().at(0).description, u"PDF tools"_s);
        QVERIFY(!registry->githubHasMore()); // fewer than a full page
    }

    void anInstallWritesTheFileBesideTheConfigurationThenReports()
    {
        QVERIFY(m_dir.isValid());
        const QByteArray skill = "---\nname: weather\n---\nForecasts.\n";
        m_github.serveRaw(u"/someone/skills/main/skills/weather/SKILL.md"_s, skill);
        const auto registry = makeRegistry();
        QStringList events;
        connect(registry.get(), &RegistryModel::skillFileWritten, this,
                [&events] { events.append(u"written"_s); });
        connect(registry.get(), &RegistryModel::installFinished, this,
                [&events](const QString &name, bool ok) {
                    events.append(name + (ok ? u" ok"_s : u" failed"_s));
                });

        RegistryEntry entry;
        entry.name = u"weather"_s;
        entry.rawURL = m_github.rawBase() + u"/someone/skills/main/skills/weather/SKILL.md"_s;
        registry->install(entry);
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 2, 10000);
        QCOMPARE(events, (QStringList{u"written"_s, u"weather ok"_s}));
        QCOMPARE(TestSupport::readFile(m_dir.filePath(u"skills/weather.md"_s)), skill);

        // A name that would leave the folder is refused, and nothing is written.
        events.clear();
        entry.name = u"../escape"_s;
        registry->install(entry);
        QCOMPARE(events, QStringList{u"../escape failed"_s});
        QVERIFY(!QFile::exists(m_dir.filePath(u"escape.md"_s)));
    }
};

QTEST_GUILESS_MAIN(TestRegistryModel)
#include "tst_registrymodel.moc"
