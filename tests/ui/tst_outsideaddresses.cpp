// The outside addresses come from one place for the window and varnookctl alike: the build's
// defaults, each replaced by its environment variable. The window launched here must send its
// GitHub requests and its launch event where the environment says.
#include "ui/launch.h"

#include "analytics/analytics.h"
#include "model/settingsmodel.h"
#include "network/addresses.h"
#include "service/notificationtransport.h"

#include "support/fakegithub.h"
#include "support/fakeposthog.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QDir>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

class TestOutsideAddresses final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    FakeGithub m_github;
    FakePostHog m_postHog;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_postHog.listen());
    }

    void cleanup()
    {
        qunsetenv("VARNOOK_GITHUB_API_BASE");
        qunsetenv("VARNOOK_GITHUB_RAW_BASE");
        qunsetenv("VARNOOK_POSTHOG_HOST");
    }

    // The process-wide sender is made on the first event, so this runs first in this process
    // (a launch asks the sender too).
    void theLaunchEventGoesToTheHostTheEnvironmentNames()
    {
        qputenv("VARNOOK_POSTHOG_HOST", m_postHog.host().toUtf8());
        qputenv("POSTHOG_KEY", "phc_mirror");
        QNetworkAccessManager network;
        Analytics::capture(u"settings_launch"_s, &network);
        QTRY_COMPARE_WITH_TIMEOUT(m_postHog.requests().size(), 1, 20000);
        QCOMPARE(m_postHog.requests().constFirst().path, u"/capture/"_s);
        QCOMPARE(m_postHog.requests().constFirst().json().value("api_key"_L1).toString(),
                 u"phc_mirror"_s);
        qunsetenv("POSTHOG_KEY");
    }

    void withoutTheEnvironmentTheBuildsAddressesHold()
    {
        const OutsideAddresses addresses = OutsideAddresses::fromEnvironment();
        QCOMPARE(addresses.githubApiBase, QStringLiteral(VARNOOK_GITHUB_API_BASE));
        QCOMPARE(addresses.githubRawBase, QStringLiteral(VARNOOK_GITHUB_RAW_BASE));
        QCOMPARE(addresses.posthogHost, QStringLiteral(VARNOOK_POSTHOG_HOST));
        QCOMPARE(addresses.telegramApiBase, QStringLiteral(VARNOOK_TELEGRAM_API_BASE));
        QCOMPARE(OutsideAddresses::compiled().telegramApiBase, u"https://api.telegram.org"_s);
        // An empty variable is no address.
        qputenv("VARNOOK_GITHUB_API_BASE", "");
        QCOMPARE(OutsideAddresses::fromEnvironment().githubApiBase,
                 QStringLiteral(VARNOOK_GITHUB_API_BASE));
    }

    void eachVariableReplacesItsAddress()
    {
        qputenv("VARNOOK_GITHUB_API_BASE", "http://127.0.0.1:1/api");
        qputenv("VARNOOK_GITHUB_RAW_BASE", "http://127.0.0.1:1/raw");
        qputenv("VARNOOK_POSTHOG_HOST", "http://127.0.0.1:1");
        qputenv("VARNOOK_TELEGRAM_API_BASE", "http://127.0.0.1:1/telegram");
        const OutsideAddresses addresses = OutsideAddresses::fromEnvironment();
        QCOMPARE(addresses.telegramApiBase, u"http://127.0.0.1:1/telegram"_s);
        qunsetenv("VARNOOK_TELEGRAM_API_BASE");
        QCOMPARE(addresses.githubApiBase, u"http://127.0.0.1:1/api"_s);
        QCOMPARE(addresses.githubRawBase, u"http://127.0.0.1:1/raw"_s);
        QCOMPARE(addresses.posthogHost, u"http://127.0.0.1:1"_s);
    }

    void theWindowSearchesAndDownloadsWhereTheEnvironmentSays()
    {
        qputenv("VARNOOK_GITHUB_API_BASE", m_github.apiBase().toUtf8());
        qputenv("VARNOOK_GITHUB_RAW_BASE", m_github.rawBase().toUtf8());
        const QString config = m_dir.filePath(u"bot-config.json"_s);
        QVERIFY(TestSupport::writeFile(config, "{}"));
        m_github.serveSearchPage(
            1, FakeGithub::searchReply({FakeGithub::searchItem(u"someone/skills"_s, u"d"_s)}));
        m_github.serveRaw(u"/someone/skills/main/SKILL.md"_s, "# Mirror skill\n");

        InMemoryTransport transport;
        Shell::SettingsApp app(&transport);
        app.launch({u"varnook-settings"_s, config});
        SettingsModel *model = app.model();
        QCOMPARE(model->githubApiBase(), m_github.apiBase());
        QCOMPARE(model->githubRawBase(), m_github.rawBase());

        model->searchGithub(u"mirror"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!model->githubSearching(), 20000);
        QCOMPARE(model->githubResults().size(), 1);
        QCOMPARE(model->githubResults().constFirst().rawURL,
                 m_github.rawBase() + u"/someone/skills/main/SKILL.md"_s);
        QSignalSpy installed(model, &SettingsModel::installFinished);
        model->installSearchResult(model->githubResults().constFirst());
        QTRY_COMPARE_WITH_TIMEOUT(installed.size(), 1, 20000);
        QVERIFY(installed.constFirst().at(1).toBool());
        QCOMPARE(TestSupport::readFile(m_dir.filePath(u"skills/someone-skills.md"_s)),
                 QByteArray("# Mirror skill\n"));
        QCOMPARE(m_github.requestsUnder(u"/api/search/repositories"_s).size(), 1);
    }
};

QTEST_MAIN(TestOutsideAddresses)
#include "tst_outsideaddresses.moc"
