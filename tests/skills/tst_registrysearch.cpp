// GitHub repository search against a loopback GitHub: paging, the "more" flag, the entries
// built from the items, and what a failed search leaves behind.
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"

#include "support/fakegithub.h"
#include "support/testsupport.h"

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 10000;

QByteArray pageOf(int count, const QString &prefix = u"owner"_s)
{
    QList<QByteArray> items;
    for (int i = 0; i < count; ++i)
        items.append(
            FakeGithub::searchItem(prefix + QString::number(i) + u"/skills-"_s + QString::number(i),
                                   u"Skills number "_s + QString::number(i)));
    return FakeGithub::searchReply(items);
}

struct Setup {
    QTemporaryDir dir;
    FakeGithub github;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    SettingsModel model{dir.filePath(u"bot-config.json"_s),
                        ModelEnvironment{&transport, &network, github.apiBase(), github.rawBase()}};

    // Runs a search and waits until its reply has been handled.
    void waitForSearch() { QTRY_VERIFY_WITH_TIMEOUT(!model.githubSearching(), timeout); }
};

QStringList namesOf(const QList<RegistryEntry> &entries)
{
    QStringList names;
    for (const RegistryEntry &entry : entries)
        names.append(entry.name);
    return names;
}

} // namespace

class TestRegistrySearch final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tenUsableItemsMeanThereMayBeMore()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(10));
        s.model.searchGithub(u"pdf"_s);
        QVERIFY(s.model.githubSearching());
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 10);
        QVERIFY(s.model.githubHasMore());
        QCOMPARE(s.model.githubPage(), 0);
    }

    void nineUsableItemsMeanNoMore()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(9));
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 9);
        QVERIFY(!s.model.githubHasMore());
    }

    void elevenUsableItemsMeanThereMayBeMore()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(11));
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 11);
        QVERIFY(s.model.githubHasMore());
    }

    void itemWithoutFullNameIsSkippedAndNotCounted()
    {
        Setup s;
        QList<QByteArray> items;
        for (int i = 0; i < 9; ++i)
            items.append(FakeGithub::searchItem(u"o/r"_s + QString::number(i), u"d"_s));
        items.insert(4, R"({"id":1,"name":"nameless","description":"no full name"})"_ba);
        s.github.serveSearchPage(1, FakeGithub::searchReply(items));
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 9);
        QVERIFY(!s.model.githubHasMore());
        QVERIFY(!namesOf(s.model.githubResults()).contains(u"github:"_s));
    }

    void recordedReplyBuildsEntries()
    {
        Setup s;
        s.github.serveSearchPage(
            1, TestSupport::readFile(TestSupport::fixture(u"github/search-mixed.json"_s)));
        s.model.searchGithub(u"agent"_s);
        s.waitForSearch();
        const QList<RegistryEntry> results = s.model.githubResults();
        // The item without "full_name" and the one whose full name is a number are skipped.
        QCOMPARE(namesOf(results),
                 (QStringList{u"github:octo-labs/agent-skills"_s,
                              u"github:kai-n/skills-collection"_s, u"github:mira/long-skills"_s,
                              u"github:petr/skill-pack"_s, u"github:ann/desc-number"_s}));
        QCOMPARE(results.at(0),
                 (RegistryEntry{u"github:octo-labs/agent-skills"_s, u"agent-skills"_s,
                                u"Skills for agents: PDFs, spreadsheets and more."_s,
                                s.github.rawBase() + u"/octo-labs/agent-skills/main/SKILL.md"_s}));
        QCOMPARE(results.at(1).description, QString()); // null description
        QCOMPARE(results.at(4).description, QString()); // a number is no description
        QVERIFY(!s.model.githubHasMore());
    }

    void longDescriptionShowsOnlyTheFirst120Characters()
    {
        Setup s;
        const QString longText = QString(100, u'd') + QString(60, u'e');
        s.github.serveSearchPage(
            1, FakeGithub::searchReply({FakeGithub::searchItem(u"a/b"_s, longText)}));
        s.model.searchGithub(u"x"_s);
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().constFirst().description,
                 QString(100, u'd') + QString(20, u'e'));
    }

    void requestCarriesTheQueryAndGithubHeaders()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(1));
        s.model.searchGithub(u"  pdf tools\t"_s);
        s.waitForSearch();
        const QList<FakeGithub::Request> requests = s.github.requestsUnder(u"/api/search"_s);
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.at(0).path, u"/api/search/repositories"_s);
        QCOMPARE(requests.at(0).encodedQuery,
                 "q=pdf%20tools+skills&sort=stars&per_page=10&page=1"_ba);
        QCOMPARE(requests.at(0).headers.value("user-agent"),
                 QByteArray("varnook-settings/" VARNOOK_VERSION));
        QCOMPARE(requests.at(0).headers.value("accept"), "application/vnd.github+json"_ba);
        QCOMPARE(s.model.githubQuery(), u"  pdf tools\t"_s);
    }

    void queryCharactersOutsideTheQuerySetAreEscaped()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(1));
        s.model.searchGithub(u"a#b%c\u00e9"_s);
        s.waitForSearch();
        QCOMPARE(s.github.requestsUnder(u"/api/search"_s).at(0).encodedQuery,
                 "q=a%23b%25c%C3%A9+skills&sort=stars&per_page=10&page=1"_ba);
    }

    void loadMoreAppendsTheNextPage()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(10, u"first"_s));
        s.github.serveSearchPage(2, pageOf(3, u"second"_s));
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        s.model.loadMore();
        QVERIFY(s.model.githubSearching());
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 13);
        QCOMPARE(s.model.githubResults().at(10).name, u"github:second0/skills-0"_s);
        QCOMPARE(s.model.githubPage(), 1);
        QVERIFY(!s.model.githubHasMore());
        QCOMPARE(s.github.requestsUnder(u"/api/search"_s).at(1).query.queryItemValue(u"page"_s),
                 u"2"_s);
    }

    void newSearchClearsTheOldResultsAtOnce()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(10));
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        s.model.loadMore(); // page 2 is not served: 404
        s.waitForSearch();
        QCOMPARE(s.model.githubPage(), 0);
        s.model.searchGithub(u"docx"_s);
        QVERIFY(s.model.githubResults().isEmpty());
        QCOMPARE(s.model.githubPage(), 0);
        QVERIFY(s.model.githubSearching());
        s.waitForSearch();
        QCOMPARE(s.model.githubResults().size(), 10);
    }

    void blankQueryMakesNoRequest()
    {
        Setup s;
        s.model.searchGithub(u" \t  "_s);
        QVERIFY(!s.model.githubSearching());
        QTest::qWait(50);
        QVERIFY(s.github.requests().isEmpty());
    }

    void lineBreakIsNotTrimmedFromTheQuery()
    {
        Setup s;
        s.github.serveSearchPage(1, pageOf(0));
        s.model.searchGithub(u"\n"_s);
        QVERIFY(s.model.githubSearching());
        s.waitForSearch();
        QCOMPARE(s.github.requestsUnder(u"/api/search"_s).at(0).encodedQuery,
                 "q=%0A+skills&sort=stars&per_page=10&page=1"_ba);
    }

    void failedPageKeepsTheResults_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::newRow("server error") << R"({"items":[]})"_ba << 500;
        QTest::newRow("rate limited") << R"({"message":"API rate limit exceeded"})"_ba << 403;
        QTest::newRow("not an object") << "[1,2,3]"_ba << 200;
        QTest::newRow("not json") << "<html>oops</html>"_ba << 200;
        QTest::newRow("no items") << R"({"total_count":0})"_ba << 200;
        QTest::newRow("items not an array") << R"({"items":{"a":1}})"_ba << 200;
    }
    void failedPageKeepsTheResults()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        Setup s;
        s.github.serveSearchPage(1, pageOf(10));
        s.github.serveSearchPage(2, body, status);
        s.model.searchGithub(u"pdf"_s);
        s.waitForSearch();
        const QList<RegistryEntry> before = s.model.githubResults();
        s.model.loadMore();
        s.waitForSearch();
        QCOMPARE(s.model.githubResults(), before);
        QVERIFY(!s.model.githubHasMore());
        QCOMPARE(s.model.githubPage(), 0);
    }

    void unreachableServerClearsTheBusyFlag()
    {
        QTemporaryDir dir;
        QNetworkAccessManager network;
        // Port 9 (discard) on the loopback address: nothing listens there in the test machine.
        SettingsModel model(
            dir.filePath(u"c.json"_s),
            ModelEnvironment{nullptr, &network, u"http://127.0.0.1:9"_s, u"http://127.0.0.1:9"_s});
        QSignalSpy spy(&model, &SettingsModel::githubSearchingChanged);
        model.searchGithub(u"pdf"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!model.githubSearching(), timeout);
        QCOMPARE(spy.size(), 2);
        QVERIFY(model.githubResults().isEmpty());
        QVERIFY(!model.githubHasMore());
    }
};

QTEST_GUILESS_MAIN(TestRegistrySearch)
#include "tst_registrysearch.moc"
