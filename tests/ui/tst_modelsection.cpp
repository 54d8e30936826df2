#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/modelsection.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "service/statusinfo.h"
#include "support/fakeproviderserver.h"
#include "support/pageshots.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using UiSupport::find;

namespace {

QJsonObject provider(const QString &name, const QString &url, const QString &key,
                     const QString &model)
{
    return {{u"name"_s, name}, {u"base_url"_s, url}, {u"api_key"_s, key}, {u"model"_s, model}};
}

// Primary P with backups A and B.
QByteArray threeProviders()
{
    const QJsonObject config{
        {u"base_url"_s, u"http://p.example/v1"_s},
        {u"api_key"_s, u"kp"_s},
        {u"model"_s, u"mp"_s},
        {u"model_name"_s, u"Primary"_s},
        {u"fallbacks"_s, QJsonArray{provider(u"A"_s, u"http://a.example/v1"_s, u"ka"_s, u"ma"_s),
                                    provider(u"B"_s, u"http://b.example/v1"_s, u"kb"_s, u"mb"_s)}},
    };
    return QJsonDocument(config).toJson();
}

QByteArray runningStatus()
{
    const QJsonObject status{
        {u"bot_running"_s, true},
        {u"pid"_s, 4242},
        {u"bot_handle"_s, u" alpha, ,beta"_s},
        {u"bot_nicknames"_s, QJsonArray{QString(), u"Trading"_s}},
        {u"requests"_s, 15},
        {u"requests_by_bot"_s, QJsonArray{12, 3}},
        {u"tokens_in"_s, 12400},
        {u"tokens_out"_s, 3100},
        {u"base_url"_s, u"  http://127.0.0.1:9/v1\n"_s},
        {u"model"_s, u"sim-model"_s},
        {u"fallbacks"_s, 2},
    };
    return QJsonDocument(status).toJson();
}

QColor textColour(const QLabel *label)
{
    return label->palette().color(label->foregroundRole());
}

} // namespace

// The Model page driven like a user drives it: status, server buttons, the primary model and
// its connection test, and the backup models with their tests, moves and removal.
class TestModelSection final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<ModelSection> m_page;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QJsonObject onDisk() const { return UiSupport::readConfig(configPath()); }

    void open(const QByteArray &config)
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_page = std::make_unique<ModelSection>(m_model.get());
        m_page->resize(900, 1200);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
    }

    template <typename T = QWidget> T *widget(const QString &name)
    {
        return find<T>(m_page.get(), name);
    }

    // Replaces the field's text the way a user does, without committing.
    void type(const QString &name, const QString &text)
    {
        auto *field = widget<Field>(name);
        QVERIFY2(field, qPrintable(name));
        field->setFocus();
        field->selectAll();
        if (text.isEmpty())
            QTest::keyClick(field, Qt::Key_Backspace);
        else
            QTest::keyClicks(field, text);
    }
    void typeAndCommit(const QString &name, const QString &text)
    {
        type(name, text);
        QTest::keyClick(widget<Field>(name), Qt::Key_Return);
    }
    void click(const QString &name)
    {
        auto *button = widget<QAbstractButton>(name);
        QVERIFY2(button, qPrintable(name));
        QTest::mouseClick(button, Qt::LeftButton);
    }
    QString text(const QString &name)
    {
        if (auto *label = m_page->findChild<QLabel *>(name))
            return label->text();
        if (auto *field = m_page->findChild<QLineEdit *>(name))
            return field->text();
        return u"<missing "_s + name + u'>';
    }
    int configChangedPosts() const
    {
        int count = 0;
        for (const auto &post : m_transport.posts())
            count += post.name == Notifications::configChanged() ? 1 : 0;
        return count;
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_transport.clear();
    }
    void cleanup()
    {
        m_page.reset();
        m_model.reset();
        m_dir.reset();
    }

    // ---- status block and server buttons ------------------------------------------------------

    void withoutAStatusFileTheServiceShowsStoppedInRed()
    {
        open("{}");
        m_model->refreshStatus();
        auto *status = widget<StatusRow>(u"statusRow"_s);
        QCOMPARE(status->value(), u"Stopped"_s);
        QCOMPARE(status->dot(), std::optional<QColor>(StatusColors::bad()));
        QCOMPARE(textColour(status->valueLabel()), StatusColors::bad());
        QCOMPARE(widget<StatusRow>(u"primaryProviderRow"_s)->value(), u"not configured"_s);
        QCOMPARE(widget<StatusRow>(u"backupModelsRow"_s)->value(), u"0 configured"_s);
        QCOMPARE(widget<StatusRow>(u"requestsRow"_s)->value(), u"0"_s);
        QCOMPARE(widget<StatusRow>(u"tokensUsedRow"_s)->value(), u"—"_s);
        QVERIFY(!widget(u"requestsByBot"_s)->isVisible());
    }

    void theStatusRowsShowWhatTheServiceReports()
    {
        open("{}");
        TestSupport::writeFile(statusFilePath(configPath()), runningStatus());
        m_model->refreshStatus();
        auto *status = widget<StatusRow>(u"statusRow"_s);
        QCOMPARE(status->value(), u"Running as @alpha, Trading"_s);
        QCOMPARE(status->dot(), std::optional<QColor>(StatusColors::good()));
        QCOMPARE(textColour(status->valueLabel()), StatusColors::good());
        QCOMPARE(widget<StatusRow>(u"primaryProviderRow"_s)->value(), u"http://127.0.0.1:9/v1"_s);
        QCOMPARE(widget<StatusRow>(u"backupModelsRow"_s)->value(), u"2 configured"_s);
        QCOMPARE(widget<StatusRow>(u"requestsRow"_s)->value(), u"15"_s);
        QCOMPARE(text(u"requestsByBot"_s), u"bot 1: 12 · Trading: 3"_s);
        QVERIFY(widget(u"requestsByBot"_s)->isVisible());
        // The breakdown is in a smaller type than the figures.
        QVERIFY(widget(u"requestsByBot"_s)->font().pointSizeF()
                < widget<StatusRow>(u"requestsRow"_s)->valueLabel()->font().pointSizeF());
        QCOMPARE(widget<StatusRow>(u"tokensUsedRow"_s)->value(), u"12.4K in · 3.1K out"_s);
    }

    void serverButtonsPostTheActionAndShowThePendingThenTheCompletionText()
    {
        open("{}");
        m_model->setControlPollInterval(5);
        m_model->setControlClearDelay(80);
        for (const QString &name : {u"startServer"_s, u"stopServer"_s, u"restartServer"_s})
            QVERIFY(widget(name)->isEnabled());
        QCOMPARE(widget<QPushButton>(u"startServer"_s)->text(), u"Start server"_s);
        QCOMPARE(widget<QPushButton>(u"stopServer"_s)->text(), u"Stop server"_s);
        QCOMPARE(widget<QPushButton>(u"restartServer"_s)->text(), u"Restart server"_s);

        const UiSupport::ShownTexts shown(m_model.get(), &SettingsModel::controlMsgChanged,
                                          m_page->findChild<QLabel *>(u"controlMessage"_s));
        click(u"startServer"_s);
        QCOMPARE(m_transport.posts().size(), 1);
        QCOMPARE(m_transport.posts().at(0).name, Notifications::botControl());
        QCOMPARE(m_transport.posts().at(0).userInfo, (QVariantMap{{u"action"_s, u"start"_s}}));
        QCOMPARE(text(u"controlMessage"_s), u"Starting…"_s);
        // No service answers: after the last poll the completion shows all the same, then goes.
        QTRY_COMPARE_WITH_TIMEOUT(shown.shown(),
                                  (QStringList{u"Starting…"_s, u"✓ Started"_s, QString()}), 20000);
        QCOMPARE(text(u"controlMessage"_s), QString());

        // "stop" with nothing running is done at the first poll.
        click(u"stopServer"_s);
        QCOMPARE(m_transport.posts().constLast().userInfo, (QVariantMap{{u"action"_s, u"stop"_s}}));
        QCOMPARE(text(u"controlMessage"_s), u"✓ Stopped"_s);

        click(u"restartServer"_s);
        QCOMPARE(m_transport.posts().constLast().userInfo,
                 (QVariantMap{{u"action"_s, u"restart"_s}}));
        QCOMPARE(text(u"controlMessage"_s), u"Restarting…"_s);
    }

    void serverButtonsStayEnabledWhileTheServiceRuns()
    {
        open("{}");
        TestSupport::writeFile(statusFilePath(configPath()), runningStatus());
        m_model->refreshStatus();
        for (const QString &name : {u"startServer"_s, u"stopServer"_s, u"restartServer"_s})
            QVERIFY(widget(name)->isEnabled());
    }

    // ---- primary model ------------------------------------------------------------------------

    void primaryRowsCarryTheirTitlesAndHelpTexts()
    {
        open("{}");
        const QList<std::pair<QString, QString>> rows{
            {u"Server URL (required)"_s,
             u"Any OpenAI-compatible endpoint — e.g. https://api.openai.com/v1, "
             u"https://openrouter.ai/api/v1, http://127.0.0.1:11234/v1 for local"_s},
            {u"API key"_s, u"Empty for local servers. Keys stay in your config file only."_s},
            {u"Model name (required)"_s,
             u"e.g. claude-sonnet-4-5, gpt-5, deepseek-v4-flash-free, or a local model id."_s},
            {u"Nickname"_s,
             u"A friendly name so you can tell models apart (shows in the menu bar picker)."_s},
            {u"Connection test"_s, QString()},
        };
        for (const auto &[title, explainer] : rows) {
            auto *row = widget<SettingRow>(objectNameForTitle(title) + u"Row"_s);
            QVERIFY2(row, qPrintable(title));
            QCOMPARE(row->titleLabel()->text(), title);
            QCOMPARE(row->explainerLabel()->text(), explainer);
            QCOMPARE(row->explainerLabel()->isVisible(), !explainer.isEmpty());
        }
        QCOMPARE(widget<QPushButton>(u"primaryTest"_s)->text(), u"Test"_s);
        QCOMPARE(widget<QToolButton>(u"primaryKeyEye"_s)->toolTip(), u"Show or hide the key"_s);
    }

    void primaryFieldsAreSavedWhenCommitted()
    {
        open("{}");
        type(u"primaryUrl"_s, u"http://127.0.0.1:8080/v1"_s);
        // Typing alone writes the model, not the file.
        QCOMPARE(m_model->baseURL(), u"http://127.0.0.1:8080/v1"_s);
        QVERIFY(!onDisk().contains(u"base_url"_s));
        QTest::keyClick(widget<Field>(u"primaryUrl"_s), Qt::Key_Return);
        QCOMPARE(onDisk().value(u"base_url"_s).toString(), u"http://127.0.0.1:8080/v1"_s);
        QCOMPARE(configChangedPosts(), 1);

        typeAndCommit(u"primaryKeyField"_s, u"sk-local"_s);
        typeAndCommit(u"primaryModel"_s, u"qwen3"_s);
        typeAndCommit(u"primaryNickname"_s, u"Desk"_s);
        const QJsonObject written = onDisk();
        QCOMPARE(written.value(u"api_key"_s).toString(), u"sk-local"_s);
        QCOMPARE(written.value(u"model"_s).toString(), u"qwen3"_s);
        QCOMPARE(written.value(u"model_name"_s).toString(), u"Desk"_s);
    }

    void theApiKeyIsMaskedUntilTheEyeIsPressed()
    {
        open("{\"api_key\": \"sk-secret\"}");
        auto *key = widget<Field>(u"primaryKeyField"_s);
        QCOMPARE(key->text(), u"sk-secret"_s);
        QCOMPARE(key->echoMode(), QLineEdit::Password);
        click(u"primaryKeyEye"_s);
        QCOMPARE(key->echoMode(), QLineEdit::Normal);
        QVERIFY(WindowState::of(m_model.get())->showApiKey());
        click(u"primaryKeyEye"_s);
        QCOMPARE(key->echoMode(), QLineEdit::Password);
    }

    void primaryConnectionTestShowsTestingThenTheOutcomeInColour()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        server.setAnswer(u"/v1/chat/completions"_s, {200, 300});
        open("{}");
        // What is on screen gets tested, whether saved or not.
        typeAndCommit(u"primaryUrl"_s, server.url(u"/v1"_s));
        typeAndCommit(u"primaryKeyField"_s, u"sk-test"_s);
        type(u"primaryModel"_s, u"gpt-model-being-typed"_s);
        type(u"primaryModel"_s, u"gpt-test"_s);
        QCOMPARE(onDisk().value(u"model"_s).toString(), QString());

        click(u"primaryTest"_s);
        // Pressing the button committed the model name; the test itself writes nothing.
        const QByteArray saved = TestSupport::readFile(configPath());
        QCOMPARE(onDisk().value(u"model"_s).toString(), u"gpt-test"_s);
        QCOMPARE(text(u"primaryTestOutcome"_s), u"Testing connection…"_s);
        QVERIFY(!widget(u"primaryTest"_s)->isEnabled());
        // A second press cannot start a second test.
        click(u"primaryTest"_s);
        QTRY_COMPARE(text(u"primaryTestOutcome"_s), u"gpt-test: reachable (HTTP 200)"_s);
        QCOMPARE(textColour(widget<QLabel>(u"primaryTestOutcome"_s)), StatusColors::good());
        QVERIFY(widget(u"primaryTest"_s)->isEnabled());
        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest &request = server.requests().at(0);
        QCOMPARE(request.method, u"POST"_s);
        QCOMPARE(request.path, u"/v1/chat/completions"_s);
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-test"));
        QCOMPARE(request.json().value(u"model"_s).toString(), u"gpt-test"_s);

        server.setAnswer(u"/v1/chat/completions"_s, {401, 0});
        click(u"primaryTest"_s);
        QTRY_COMPARE(text(u"primaryTestOutcome"_s), u"gpt-test: HTTP 401"_s);
        QCOMPARE(textColour(widget<QLabel>(u"primaryTestOutcome"_s)), StatusColors::bad());
        QCOMPARE(TestSupport::readFile(configPath()), saved);
    }

    // ---- backup models ------------------------------------------------------------------------

    void addModelIsEnabledWithoutBackupsAndWaitsForUrlAndModelName()
    {
        open("{}");
        auto *add = widget<QPushButton>(u"addFallback"_s);
        QCOMPARE(add->text(), u"Add model"_s);
        QCOMPARE(add->toolTip(), u"Complete the last row first"_s);
        QVERIFY(add->isEnabled());

        click(u"addFallback"_s);
        const QJsonArray written = onDisk().value(u"fallbacks"_s).toArray();
        QCOMPARE(written.size(), 1);
        QCOMPARE(written.at(0).toObject(), provider(QString(), QString(), QString(), QString()));
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());

        typeAndCommit(u"fallback0KeyField"_s, u"sk-only-a-key"_s);
        QCOMPARE(onDisk().value(u"fallbacks"_s).toArray().at(0).toObject().value(u"api_key"_s),
                 u"sk-only-a-key"_s);
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());
        typeAndCommit(u"fallback0Url"_s, u"http://127.0.0.1:1/v1"_s);
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());
        type(u"fallback0Model"_s, u" \t "_s);
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());
        type(u"fallback0Model"_s, u"m1"_s);
        QVERIFY(widget(u"addFallback"_s)->isEnabled());
        type(u"fallback0Url"_s, u"  "_s);
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());
        type(u"fallback0Url"_s, u"http://127.0.0.1:1/v1"_s);
        QVERIFY(widget(u"addFallback"_s)->isEnabled());

        click(u"addFallback"_s);
        QCOMPARE(onDisk().value(u"fallbacks"_s).toArray().size(), 2);
        QCOMPARE(text(u"fallback1Title"_s), u"Backup model 2"_s);
        QVERIFY(!widget(u"addFallback"_s)->isEnabled());
    }

    void theFirstBackupIsHeadedBackupModel1WithItsRowsAndButtons()
    {
        open(threeProviders());
        QCOMPARE(text(u"fallback0Title"_s), u"Backup model 1"_s);
        QCOMPARE(text(u"fallback1Title"_s), u"Backup model 2"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Up"_s)->toolTip(), u"Higher priority"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Down"_s)->toolTip(), u"Lower priority"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Remove"_s)->toolTip(),
                 u"Remove this backup model"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Up"_s)->property("symbol").toString(),
                 u"chevron.up"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Down"_s)->property("symbol").toString(),
                 u"chevron.down"_s);
        QCOMPARE(widget<QToolButton>(u"fallback0Remove"_s)->property("symbol").toString(),
                 u"minus.circle"_s);
        QCOMPARE(widget(u"fallback0Up"_s)->size(), QSize(16, 16));
        QCOMPARE(widget<QPushButton>(u"fallback0Test"_s)->toolTip(),
                 u"Test this provider with its current values"_s);

        QCOMPARE(text(u"fallback0Url"_s), u"http://a.example/v1"_s);
        QCOMPARE(text(u"fallback0KeyField"_s), u"ka"_s);
        QCOMPARE(text(u"fallback0Model"_s), u"ma"_s);
        QCOMPARE(text(u"fallback0Name"_s), u"A"_s);
        const QList<std::pair<QString, QString>> rows{
            {u"fallback0ServerUrlRequiredRow"_s, u"Tried after the primary model fails."_s},
            {u"fallback0ApiKeyRow"_s, u"Empty for local servers."_s},
            {u"fallback0ModelNameRequiredRow"_s, u"e.g. deepseek-v4-flash-free."_s},
            {u"fallback0NicknameRow"_s, QString()},
        };
        for (const auto &[name, explainer] : rows) {
            auto *row = widget<SettingRow>(name);
            QVERIFY2(row, qPrintable(name));
            QCOMPARE(row->explainer(), explainer);
        }
        auto *group = widget(u"backupModelsGroup"_s);
        QCOMPARE(group->findChild<QLabel *>(u"groupExplainer"_s)->text(),
                 u"Tried in order when the primary fails or throttles. Complete the last row "
                 u"before adding another."_s);
    }

    void higherPriorityOnTheFirstBackupExchangesItWithThePrimary()
    {
        open(threeProviders());
        click(u"fallback0Up"_s);
        const QJsonObject written = onDisk();
        QCOMPARE(written.value(u"base_url"_s).toString(), u"http://a.example/v1"_s);
        QCOMPARE(written.value(u"api_key"_s).toString(), u"ka"_s);
        QCOMPARE(written.value(u"model"_s).toString(), u"ma"_s);
        QCOMPARE(written.value(u"model_name"_s).toString(), u"A"_s);
        QCOMPARE(written.value(u"fallbacks"_s).toArray(),
                 (QJsonArray{provider(u"Primary"_s, u"http://p.example/v1"_s, u"kp"_s, u"mp"_s),
                             provider(u"B"_s, u"http://b.example/v1"_s, u"kb"_s, u"mb"_s)}));
        // What the page shows follows.
        QCOMPARE(text(u"primaryUrl"_s), u"http://a.example/v1"_s);
        QCOMPARE(text(u"primaryNickname"_s), u"A"_s);
        QCOMPARE(text(u"fallback0Url"_s), u"http://p.example/v1"_s);
        QCOMPARE(text(u"fallback0Name"_s), u"Primary"_s);
        QCOMPARE(text(u"fallback1Url"_s), u"http://b.example/v1"_s);

        // "Lower priority" on the last one, B, does nothing.
        const QByteArray before = TestSupport::readFile(configPath());
        const int posts = configChangedPosts();
        click(u"fallback1Down"_s);
        QCOMPARE(TestSupport::readFile(configPath()), before);
        QCOMPARE(configChangedPosts(), posts);
        QCOMPARE(text(u"fallback1Url"_s), u"http://b.example/v1"_s);
        QCOMPARE(text(u"fallback0Url"_s), u"http://p.example/v1"_s);
    }

    void lowerPriorityMovesTheBackupAndItsShownKeyDown()
    {
        open(threeProviders());
        click(u"fallback0KeyEye"_s);
        QCOMPARE(widget<QLineEdit>(u"fallback0KeyField"_s)->echoMode(), QLineEdit::Normal);
        click(u"fallback0Down"_s);
        QCOMPARE(onDisk().value(u"fallbacks"_s).toArray(),
                 (QJsonArray{provider(u"B"_s, u"http://b.example/v1"_s, u"kb"_s, u"mb"_s),
                             provider(u"A"_s, u"http://a.example/v1"_s, u"ka"_s, u"ma"_s)}));
        QCOMPARE(text(u"fallback1Name"_s), u"A"_s);
        QCOMPARE(widget<QLineEdit>(u"fallback1KeyField"_s)->echoMode(), QLineEdit::Normal);
        QCOMPARE(widget<QLineEdit>(u"fallback0KeyField"_s)->echoMode(), QLineEdit::Password);
        // And back up again.
        click(u"fallback1Up"_s);
        QCOMPARE(text(u"fallback0Name"_s), u"A"_s);
        QCOMPARE(widget<QLineEdit>(u"fallback0KeyField"_s)->echoMode(), QLineEdit::Normal);
    }

    void removeTakesTheBackupOutOfTheFile()
    {
        open(threeProviders());
        click(u"fallback1Remove"_s);
        QCOMPARE(onDisk().value(u"fallbacks"_s).toArray(),
                 QJsonArray{provider(u"A"_s, u"http://a.example/v1"_s, u"ka"_s, u"ma"_s)});
        QVERIFY(!m_page->findChild<QWidget *>(u"fallback1Title"_s));
        click(u"fallback0Remove"_s);
        QCOMPARE(onDisk().value(u"fallbacks"_s).toArray(), QJsonArray());
        QVERIFY(!m_page->findChild<QWidget *>(u"fallback0Title"_s));
        QVERIFY(widget(u"addFallback"_s)->isEnabled());
    }

    void testingBackup2KeepsBackup1sGreenOutcome()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        server.setAnswer(u"/ok/chat/completions"_s, {200, 0});
        server.setAnswer(u"/slow/chat/completions"_s, {401, 400});
        const QJsonObject config{
            {u"fallbacks"_s,
             QJsonArray{provider(u"one"_s, server.url(u"/ok"_s), QString(), u"m-one"_s),
                        provider(u"two"_s, server.url(u"/slow"_s), QString(), u"m-two"_s)}}};
        open(QJsonDocument(config).toJson());

        click(u"fallback0Test"_s);
        QCOMPARE(text(u"fallback0TestOutcome"_s), u"Testing connection…"_s);
        QTRY_COMPARE(text(u"fallback0TestOutcome"_s), u"m-one: reachable (HTTP 200)"_s);
        QCOMPARE(textColour(widget<QLabel>(u"fallback0TestOutcome"_s)), StatusColors::good());

        click(u"fallback1Test"_s);
        QCOMPARE(text(u"fallback1TestOutcome"_s), u"Testing connection…"_s);
        QVERIFY(!widget(u"fallback1Test"_s)->isEnabled());
        QCOMPARE(text(u"fallback0TestOutcome"_s), u"m-one: reachable (HTTP 200)"_s);
        QCOMPARE(textColour(widget<QLabel>(u"fallback0TestOutcome"_s)), StatusColors::good());
        QTRY_COMPARE(text(u"fallback1TestOutcome"_s), u"m-two: HTTP 401"_s);
        QCOMPARE(textColour(widget<QLabel>(u"fallback1TestOutcome"_s)), StatusColors::bad());
        QCOMPARE(text(u"fallback0TestOutcome"_s), u"m-one: reachable (HTTP 200)"_s);
        QCOMPARE(textColour(widget<QLabel>(u"fallback0TestOutcome"_s)), StatusColors::good());
        // Only the tests' own requests went out, and nothing was saved.
        QCOMPARE(server.requests().size(), 2);
        QCOMPARE(configChangedPosts(), 0);
    }

    void removingTheFirstOfTwoBackupsLeavesOutcomesWithTheirPositions()
    {
        FakeProviderServer server;
        QVERIFY(server.listen());
        server.setAnswer(u"/ok/chat/completions"_s, {200, 0});
        server.setAnswer(u"/bad/chat/completions"_s, {401, 0});
        const QJsonObject config{
            {u"fallbacks"_s,
             QJsonArray{provider(u"one"_s, server.url(u"/ok"_s), QString(), u"m-one"_s),
                        provider(u"two"_s, server.url(u"/bad"_s), QString(), u"m-two"_s)}}};
        open(QJsonDocument(config).toJson());
        click(u"fallback0Test"_s);
        QTRY_COMPARE(text(u"fallback0TestOutcome"_s), u"m-one: reachable (HTTP 200)"_s);
        click(u"fallback1Test"_s);
        QTRY_COMPARE(text(u"fallback1TestOutcome"_s), u"m-two: HTTP 401"_s);

        click(u"fallback0Remove"_s);
        // The former second backup is now "Backup model 1"...
        QCOMPARE(text(u"fallback0Title"_s), u"Backup model 1"_s);
        QCOMPARE(text(u"fallback0Name"_s), u"two"_s);
        QVERIFY(!m_page->findChild<QWidget *>(u"fallback1Title"_s));
        // ...and the outcomes stayed with the positions, not with the records.
        QCOMPARE(text(u"fallback0TestOutcome"_s), u"m-one: reachable (HTTP 200)"_s);

        // The second position's outcome comes back with a new second backup, until it is
        // tested again.
        click(u"addFallback"_s);
        QCOMPARE(text(u"fallback1Title"_s), u"Backup model 2"_s);
        QCOMPARE(text(u"fallback1TestOutcome"_s), u"m-two: HTTP 401"_s);
        QCOMPARE(textColour(widget<QLabel>(u"fallback1TestOutcome"_s)), StatusColors::bad());
        type(u"fallback1Url"_s, server.url(u"/ok"_s));
        type(u"fallback1Model"_s, u"m-three"_s);
        click(u"fallback1Test"_s);
        QTRY_COMPARE(text(u"fallback1TestOutcome"_s), u"m-three: reachable (HTTP 200)"_s);
    }

    // ---- search ---------------------------------------------------------------------------------

    void filterApiShowsTheKeyRowsWithTheirBackupHeaders()
    {
        open(threeProviders());
        WindowState::of(m_model.get())->setFilter(u"API"_s);
        QTRY_VERIFY(!widget(u"statusGroup"_s)->isVisible());
        QVERIFY(widget(u"apiKeyRow"_s)->isVisible());
        QVERIFY(!widget(u"nicknameRow"_s)->isVisible());
        QVERIFY(!widget(u"modelNameRequiredRow"_s)->isVisible());
        // Its help text names api.openai.com.
        QVERIFY(widget(u"serverUrlRequiredRow"_s)->isVisible());
        QVERIFY(!widget(u"fallback0ServerUrlRequiredRow"_s)->isVisible());
        QVERIFY(widget(u"fallback0ApiKeyRow"_s)->isVisible());
        QVERIFY(widget(u"fallback1ApiKeyRow"_s)->isVisible());
        QVERIFY(!widget(u"fallback0NicknameRow"_s)->isVisible());
        QVERIFY(widget(u"fallback0Header"_s)->isVisible());

        WindowState::of(m_model.get())->setFilter(u"menu bar picker"_s);
        QTRY_VERIFY(!widget(u"backupModelsGroup"_s)->isVisible());
        QVERIFY(widget(u"nicknameRow"_s)->isVisible());

        WindowState::of(m_model.get())->setFilter(QString());
        QTRY_VERIFY(widget(u"backupModelsGroup"_s)->isVisible());
        QVERIFY(widget(u"statusGroup"_s)->isVisible());
        QVERIFY(widget(u"fallback0NicknameRow"_s)->isVisible());
    }

    // ---- picture --------------------------------------------------------------------------------

    void rendersInTheWindowWithoutAnythingCutOff()
    {
        const QJsonObject config{
            {u"base_url"_s, u"https://openrouter.ai/api/v1"_s},
            {u"api_key"_s, u"sk-or-secret"_s},
            {u"model"_s, u"deepseek-v4-flash-free"_s},
            {u"model_name"_s, u"Daily driver"_s},
            {u"bot_tokens"_s, QJsonArray{u"1:a"_s, u"2:b"_s}},
            {u"bot_nicknames"_s, QJsonArray{u"Trading"_s, QString()}},
            {u"fallbacks"_s,
             QJsonArray{
                 provider(u"Local"_s, u"http://127.0.0.1:11234/v1"_s, QString(), u"qwen3-coder"_s),
                 provider(u"Backup"_s, u"https://api.openai.com/v1"_s, u"sk-oa"_s, u"gpt-5"_s)}}};
        UiSupport::writeConfig(configPath(), QJsonDocument(config).toJson());
        TestSupport::writeFile(statusFilePath(configPath()), runningStatus());
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        model.setBackupTestState({{0, TestOutcome{true, u"qwen3-coder: reachable (HTTP 200)"_s}}});
        model.setControlMsg(u"✓ Restarted"_s);

        const PageShots::Shot shot
            = PageShots::render(&model, SidebarItem::defaults(SectionID::Model), u"model"_s,
                                PageShots::folder(m_dir->path()));
        QVERIFY(!shot.file.isEmpty());
        QCOMPARE(shot.size, QSize(1020, 700));
        QVERIFY2(shot.clipped.isEmpty(), qPrintable(shot.clipped.join(u"; "_s)));
    }
};

QTEST_MAIN(TestModelSection)
#include "tst_modelsection.moc"
