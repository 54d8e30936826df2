// "Fetch models" beside every model-name field and "Test all" on the Model page, driven like a
// user drives them against loopback providers: the drop-down completion, the failure texts, the
// table of outcomes, and the pages as they look with them, light and dark.
#include "ui/controls/field.h"
#include "ui/controls/modelpicker.h"
#include "ui/controls/settingrow.h"
#include "ui/pagerenderer.h"
#include "ui/pages/botpage.h"
#include "ui/pages/botskillssheet.h"
#include "ui/pages/modelsection.h"
#include "model/settingsmodel.h"
#include "providers/providerbatch.h"
#include "service/notificationtransport.h"
#include "support/accessibilitywalk.h"
#include "support/fakeproviderserver.h"
#include "support/pageshots.h"
#include "support/silentserver.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCompleter>
#include <QDir>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using UiSupport::find;

namespace {

QByteArray modelsAnswer(const QStringList &ids)
{
    QJsonArray data;
    for (const QString &id : ids)
        data.append(QJsonObject{{u"id"_s, id}});
    return QJsonDocument(QJsonObject{{u"data"_s, data}}).toJson();
}

QJsonObject provider(const QString &url, const QString &key, const QString &model)
{
    return {{u"base_url"_s, url}, {u"api_key"_s, key}, {u"model"_s, model}};
}

QColor textColour(const QLabel *label)
{
    return label->palette().color(label->foregroundRole());
}

// The texts of one line of the table.
QStringList tableLine(const QTableWidget *table, int row)
{
    QStringList texts;
    for (int column = 0; column < table->columnCount(); ++column) {
        const QTableWidgetItem *item = table->item(row, column);
        texts.append(item ? item->text() : u"<none>"_s);
    }
    return texts;
}

} // namespace

class TestProviderPicks final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    FakeProviderServer m_server;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<QWidget> m_page;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }

    void open(const QJsonObject &config, int bot = -1)
    {
        UiSupport::writeConfig(configPath(), QJsonDocument(config).toJson());
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_model->setProviderTestTimeout(1500);
        if (bot < 0)
            m_page = std::make_unique<ModelSection>(m_model.get());
        else
            m_page = std::make_unique<BotPage>(m_model.get(), bot);
        m_page->resize(900, 1400);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
    }

    template <typename T = QWidget> T *widget(const QString &name)
    {
        return find<T>(m_page.get(), name);
    }

    QJsonObject primaryAndBackup() const
    {
        return {{u"base_url"_s, m_server.url(u"/v1"_s)},
                {u"api_key"_s, u"sk-primary"_s},
                {u"model"_s, u"gpt-5"_s},
                {u"fallbacks"_s,
                 QJsonArray{provider(m_server.url(u"/backup/"_s), QString(), u"local"_s)}}};
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.listen()); }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_server.clear();
        m_server.setDefaultAnswer({});
    }

    void cleanup()
    {
        m_page.reset();
        m_model.reset();
    }

    void fetchModelsOffersTheSortedIdsAsAFilteredCompletion()
    {
        m_server.setAnswer(
            u"/v1/models"_s, {200, 150},
            modelsAnswer({u"gpt-5"_s, u"GPT-4o-mini"_s, u"claude-sonnet-4-5"_s, u"o3"_s}));
        open(primaryAndBackup());
        auto *fetch = widget<QPushButton>(u"primaryModelFetch"_s);
        QVERIFY(fetch);
        QCOMPARE(fetch->text(), u"Fetch models"_s);
        QTest::mouseClick(fetch, Qt::LeftButton);
        auto *message = widget<QLabel>(u"primaryModelModels"_s);
        QCOMPARE(message->text(), u"Fetching models…"_s);
        QVERIFY(!fetch->isEnabled());
        QTRY_COMPARE(message->text(), u"4 models"_s);
        QVERIFY(message->isVisible());
        QVERIFY(fetch->isEnabled());

        const RecordedRequest &request = m_server.requests().constLast();
        QCOMPARE(request.method, u"GET"_s);
        QCOMPARE(request.path, u"/v1/models"_s);
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-primary"));

        auto *field = widget<Field>(u"primaryModel"_s);
        QCompleter *completer = field->completer();
        QVERIFY(completer);
        QCOMPARE(completer->filterMode(), Qt::MatchContains);
        QCOMPARE(completer->caseSensitivity(), Qt::CaseInsensitive);
        // The whole sorted list drops down at once.
        QTRY_VERIFY(completer->popup()->isVisible());
        QCOMPARE(completer->completionCount(), 4);
        QStringList offered;
        for (int i = 0; i < completer->completionModel()->rowCount(); ++i)
            offered.append(completer->completionModel()->index(i, 0).data().toString());
        QCOMPARE(offered,
                 (QStringList{u"claude-sonnet-4-5"_s, u"GPT-4o-mini"_s, u"gpt-5"_s, u"o3"_s}));

        // Typing narrows it to the ids that contain the text, in any case.
        field->selectAll();
        QTest::keyClicks(field, u"Gpt"_s);
        QTRY_COMPARE(completer->completionCount(), 2);
        QCOMPARE(completer->currentCompletion(), u"GPT-4o-mini"_s);

        // A choice from the drop-down is saved at once.
        QTest::keyClick(completer->popup(), Qt::Key_Down);
        QTest::keyClick(completer->popup(), Qt::Key_Return);
        QTRY_COMPARE(field->text(), u"GPT-4o-mini"_s);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"model"_s).toString(),
                 u"GPT-4o-mini"_s);

        // Any other text is still taken as typed.
        field->selectAll();
        QTest::keyClicks(field, u"my-own-finetune"_s);
        QTest::keyClick(field, Qt::Key_Escape);
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"model"_s).toString(),
                 u"my-own-finetune"_s);
    }

    void eachBackupModelFetchesFromItsOwnProvider()
    {
        m_server.setAnswer(u"/backup/models"_s, {200, 0}, modelsAnswer({u"qwen3"_s}));
        open(primaryAndBackup());
        QTest::mouseClick(widget<QPushButton>(u"fallback0ModelFetch"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"fallback0ModelModels"_s)->text(), u"1 model"_s);
        QCOMPARE(m_server.requests().constLast().path, u"/backup/models"_s);
        QVERIFY(!m_server.requests().constLast().hasHeader("Authorization"));
        auto *picker = qobject_cast<ModelPicker *>(widget<Field>(u"fallback0Model"_s)->parent());
        QVERIFY(picker);
        QCOMPARE(picker->models(), QStringList{u"qwen3"_s});
    }

    void failuresShowTheConnectionTestsTextsInRed_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        QTest::newRow("401") << 401 << QByteArray("{}") << u"gpt-5: HTTP 401"_s;
        QTest::newRow("garbage") << 200 << QByteArray("<html>") << u"gpt-5: not a list of models"_s;
    }

    void failuresShowTheConnectionTestsTextsInRed()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        m_server.setAnswer(u"/v1/models"_s, {status, 0}, body);
        open(primaryAndBackup());
        QTest::mouseClick(widget<QPushButton>(u"primaryModelFetch"_s), Qt::LeftButton);
        auto *message = widget<QLabel>(u"primaryModelModels"_s);
        QTRY_COMPARE(message->text(), expected);
        QCOMPARE(textColour(message), StatusColors::bad());
        QVERIFY(widget<Field>(u"primaryModel"_s)->completer()->model()->rowCount() == 0);
    }

    void aProviderThatNeverAnswersEndsAtTheDeadline()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        open({{u"base_url"_s, silent.url(u"/v1"_s)}, {u"model"_s, u"m"_s}});
        QTest::mouseClick(widget<QPushButton>(u"primaryModelFetch"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"primaryModelModels"_s)->text(), u"m: Request timed out"_s);
        QVERIFY(widget<QPushButton>(u"primaryModelFetch"_s)->isEnabled());
    }

    void aBotFetchesFromWhatItInheritsAndFromItsOwnBackups()
    {
        m_server.setAnswer(u"/v1/models"_s, {200, 0}, modelsAnswer({u"inherited"_s}));
        m_server.setAnswer(u"/own/models"_s, {200, 0}, modelsAnswer({u"own-a"_s, u"own-b"_s}));
        QJsonObject config = primaryAndBackup();
        config.insert(u"bot_tokens"_s, QJsonArray{u"1:a"_s});
        config.insert(u"bot_profiles"_s,
                      QJsonArray{QJsonObject{
                          {u"fallbacks"_s, QJsonArray{provider(m_server.url(u"/own"_s), u"sk-own"_s,
                                                               u"own-a"_s)}}}});
        open(config, 0);
        QTest::mouseClick(widget<QPushButton>(u"botModelFetch"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"botModelModels"_s)->text(), u"1 model"_s);
        QCOMPARE(m_server.requests().constLast().header("Authorization"),
                 QByteArray("Bearer sk-primary"));
        QTest::mouseClick(widget<QPushButton>(u"botFallback0ModelFetch"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"botFallback0ModelModels"_s)->text(), u"2 models"_s);
        QCOMPARE(m_server.requests().constLast().path, u"/own/models"_s);
        QCOMPARE(m_server.requests().constLast().header("Authorization"),
                 QByteArray("Bearer sk-own"));
    }

    void theFetchButtonIsNamedForScreenReaders()
    {
        open(primaryAndBackup());
        auto *fetch = widget<QPushButton>(u"primaryModelFetch"_s);
        QCOMPARE(fetch->accessibleName(), QString());
        QCOMPARE(fetch->text(), u"Fetch models"_s); // what a screen reader announces
        QCOMPARE(widget<Field>(u"primaryModel"_s)->accessibleName(), u"Model name (required)"_s);
    }

    void testAllShowsEveryProviderWithItsOutcomeAndMilliseconds()
    {
        SilentServer silent;
        QVERIFY(silent.listen());
        m_server.setAnswer(u"/slow/chat/completions"_s, {200, 400});
        m_server.setAnswer(u"/down/chat/completions"_s, {503, 0});
        QJsonObject config{
            {u"base_url"_s, m_server.url(u"/v1"_s)},
            {u"api_key"_s, u"sk-primary"_s},
            {u"model"_s, u"gpt-5"_s},
            {u"fallbacks"_s,
             QJsonArray{provider(m_server.url(u"/slow"_s), QString(), u"slow-model"_s),
                        provider(m_server.url(u"/down"_s), QString(), u"down-model"_s),
                        provider(silent.url(u"/v1"_s), QString(), u"quiet-model"_s)}},
            {u"bot_tokens"_s, QJsonArray{u"1:a"_s}},
            {u"bot_nicknames"_s, QJsonArray{u"Trading"_s}},
            {u"bot_profiles"_s, QJsonArray{QJsonObject{{u"model"_s, u"bot-model"_s}}}},
        };
        open(config);
        auto *table = widget<QTableWidget>(u"testAllTable"_s);
        QVERIFY(!table->isVisible());
        QTest::mouseClick(widget<QPushButton>(u"testAll"_s), Qt::LeftButton);
        QVERIFY(!widget<QPushButton>(u"testAll"_s)->isEnabled());
        QVERIFY(table->isVisible());
        QCOMPARE(table->rowCount(), 5);
        QCOMPARE(table->horizontalHeaderItem(0)->text(), u"Name"_s);
        QCOMPARE(table->horizontalHeaderItem(4)->text(), u"ms"_s);
        QCOMPARE(table->accessibleName(), u"Test all results"_s);
        // Four at a time: the fifth waits.
        QCOMPARE(table->item(4, 3)->text(), u"Waiting"_s);
        QCOMPARE(table->item(0, 3)->text(), u"Testing connection…"_s);
        QCOMPARE(table->item(0, 4)->text(), u"—"_s);
        // Every cell, the button and the field beside it say what they are.
        const QStringList unnamed = AccessibilityWalk::unnamedInteractive(m_page.get());
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join(u", "_s)));
        QAccessibleInterface *tableInterface
            = AccessibilityWalk::reachableInterfaceOf(m_page.get(), table);
        QVERIFY(tableInterface);
        QVERIFY(AccessibilityWalk::reads(tableInterface, u"Primary model"_s));

        auto *summary = widget<QLabel>(u"testAllSummary"_s);
        QTRY_COMPARE(summary->text(), u"3 of 5 answered"_s);
        QVERIFY(widget<QPushButton>(u"testAll"_s)->isEnabled());
        QCOMPARE(tableLine(table, 0).mid(0, 4),
                 (QStringList{u"Primary model"_s, m_server.url(u"/v1"_s), u"gpt-5"_s,
                              u"reachable (HTTP 200)"_s}));
        QCOMPARE(tableLine(table, 2).at(3), u"HTTP 503"_s);
        QCOMPARE(tableLine(table, 3).at(3), u"Request timed out"_s);
        QCOMPARE(tableLine(table, 4).mid(0, 4),
                 (QStringList{u"Trading"_s, m_server.url(u"/v1"_s), u"bot-model"_s,
                              u"reachable (HTTP 200)"_s}));
        QCOMPARE(table->item(0, 3)->foreground().color(), StatusColors::good());
        QCOMPARE(table->item(2, 3)->foreground().color(), StatusColors::bad());
        QVERIFY2(tableLine(table, 1).at(4).toInt() >= 350, qPrintable(tableLine(table, 1).at(4)));
        QVERIFY(tableLine(table, 3).at(4).toInt() >= 1400);
        // No key anywhere in the table.
        for (int row = 0; row < table->rowCount(); ++row)
            QVERIFY(!tableLine(table, row).join(u' ').contains(u"sk-"_s));

        // The single Test buttons work as before beside it.
        QTest::mouseClick(widget<QPushButton>(u"fallback1Test"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"fallback1TestOutcome"_s)->text(), u"down-model: HTTP 503"_s);

        // The table outlives the page: another page of the same model shows it again.
        m_page = std::make_unique<ModelSection>(m_model.get());
        QCOMPARE(widget<QTableWidget>(u"testAllTable"_s)->rowCount(), 5);
        QCOMPARE(widget<QLabel>(u"testAllSummary"_s)->text(), u"3 of 5 answered"_s);
    }

    void testAllHidesWithItsRowInASearch()
    {
        open(primaryAndBackup());
        QTest::mouseClick(widget<QPushButton>(u"testAll"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"testAllSummary"_s)->text(), u"2 of 2 answered"_s);
        WindowState::of(m_model.get())->setFilter(u"nickname"_s);
        UiSupport::settle();
        QVERIFY(!widget(u"testAllTable"_s)->isVisible());
        QVERIFY(!widget(u"testAllSummary"_s)->isVisible());
        WindowState::of(m_model.get())->setFilter(u"test all"_s);
        UiSupport::settle();
        QVERIFY(widget(u"testAllTable"_s)->isVisible());
    }

    // Pictures of the Model page and a bot page after a fetch and a "Test all", with
    // 400-character names, addresses and model ids, in a light and a dark palette.
    void rendersWithLongTextsLightAndDark()
    {
        const QString longText = QString(u"x"_s).repeated(380) + u"-end-of-text"_s;
        m_server.setAnswer(u"/v1/models"_s, {200, 0}, modelsAnswer({longText, u"gpt-5"_s}));
        m_server.setAnswer(u"/long/chat/completions"_s, {401, 0});
        QJsonObject config = primaryAndBackup();
        config.insert(u"fallbacks"_s,
                      QJsonArray{provider(m_server.url(u"/long/"_s) + longText, u"k"_s, longText),
                                 provider(m_server.url(u"/backup"_s), QString(), u"local"_s)});
        config.insert(u"bot_tokens"_s, QJsonArray{u"1:a"_s});
        config.insert(u"bot_nicknames"_s, QJsonArray{longText});
        config.insert(u"bot_profiles"_s, QJsonArray{QJsonObject{{u"model"_s, u"bot-model"_s}}});
        open(config);
        m_model->setProviderTestTimeout(20000);
        QTest::mouseClick(widget<QPushButton>(u"testAll"_s), Qt::LeftButton);
        QTRY_VERIFY(widget<QLabel>(u"testAllSummary"_s)->text().endsWith(u"answered"_s));
        const QString folder = PageShots::folder(m_dir->path());
        const QPalette light = QApplication::palette();

        // The lines under the model fields after a fetch: a count, and a long failure in red.
        QTest::mouseClick(widget<QPushButton>(u"primaryModelFetch"_s), Qt::LeftButton);
        QTest::mouseClick(widget<QPushButton>(u"fallback0ModelFetch"_s), Qt::LeftButton);
        QTRY_COMPARE(widget<QLabel>(u"primaryModelModels"_s)->text(), u"2 models"_s);
        QTRY_COMPARE(widget<QLabel>(u"fallback0ModelModels"_s)->text(),
                     longText + u": not a list of models"_s);
        auto *primary = widget<QLabel>(u"primaryModelModels"_s);
        QVERIFY(primary->isVisible());
        for (const bool dark : {false, true}) {
            QApplication::setPalette(dark ? Shell::darkPalette() : light);
            UiSupport::settle();
            const QPixmap shot = m_page->grab();
            QVERIFY(shot.save(QDir(folder).filePath(dark ? u"providers-fetch-dark.png"_s
                                                         : u"providers-fetch-light.png"_s)));
        }
        QApplication::setPalette(light);
        m_page.reset();

        for (const bool dark : {false, true}) {
            QApplication::setPalette(dark ? Shell::darkPalette() : light);
            const QString suffix = dark ? u"-dark"_s : u"-light"_s;
            const PageShots::Shot model
                = PageShots::render(m_model.get(), SidebarItem::defaults(SectionID::Model),
                                    u"providers-model"_s + suffix, folder);
            QVERIFY(!model.file.isEmpty());
            QVERIFY2(model.clipped.isEmpty(), qPrintable(model.clipped.join(u"; "_s)));
            const PageShots::Shot bot = PageShots::render(m_model.get(), SidebarItem::botAt(0),
                                                          u"providers-bot"_s + suffix, folder);
            QVERIFY(!bot.file.isEmpty());
            QVERIFY2(bot.clipped.isEmpty(), qPrintable(bot.clipped.join(u"; "_s)));
        }
        QApplication::setPalette(light);
    }
};

QTEST_MAIN(TestProviderPicks)
#include "tst_providerpicks.moc"
