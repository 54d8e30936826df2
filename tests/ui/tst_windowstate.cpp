#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The window's own state beside a settings model on real files: the selection and the secrets
// shown in clear follow the model's changes of shape.
class TestWindowState final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    void writeConfig(const QByteArray &bytes) { UiSupport::writeConfig(configPath(), bytes); }
    QJsonObject fileObject() const { return UiSupport::readConfig(configPath()); }

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

    void oneStatePerModel()
    {
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        QCOMPARE(WindowState::of(model.get()), state);
        QCOMPARE(state->parent(), model.get());
        const auto other = makeModel();
        QVERIFY(WindowState::of(other.get()) != state);
    }

    // Made after the model read its file, the state starts where one made before would be.
    void aStateMadeLateStartsOnTheFirstBot()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\"]}");
        const auto model = makeModel();
        model->applyDocument(model->rawDocument());
        QCOMPARE(WindowState::of(model.get())->selection(), std::optional(SidebarItem::botAt(0)));
    }

    void selectionStartsOnTheFirstBot()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(0)));
    }

    void selectionStartsOnTheFirstDefaultsPageWithoutBots()
    {
        writeConfig("{}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        QCOMPARE(state->selection(), std::optional(SidebarItem::defaults(SectionID::Model)));
    }

    void withoutAFileNothingIsSelected()
    {
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        QCOMPARE(state->selection(), std::nullopt);
    }

    void selectionOfABotThatNoLongerExistsIsRepairedOnApply()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->setSelection(SidebarItem::botAt(1));
        model->applyDocument(QJsonObject{{"bot_tokens"_L1, QJsonArray{u"a"_s}}});
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(0)));
        state->setSelection(SidebarItem::defaults(SectionID::Skills));
        model->applyDocument(QJsonObject());
        QCOMPARE(state->selection(), std::optional(SidebarItem::defaults(SectionID::Skills)));
    }

    void removingTheSelectedFirstBotSelectsTheBotThatMovedUp()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\"], \"bot_nicknames\": [\"A\", \"B\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->setSelection(SidebarItem::botAt(0));
        model->removeBot(0);
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(0)));
        QCOMPARE(model->botTokens(), QStringList{u"b"_s});
        QCOMPARE(model->botNicknames(), QStringList{u"B"_s});
        QCOMPARE(fileObject().value("bot_tokens"_L1).toArray(), QJsonArray{u"b"_s});
        QCOMPARE(configChangedPosts(), 1);
    }

    void removingTheOnlyBotSelectsTheFirstDefaultsPage()
    {
        writeConfig("{\"bot_tokens\": [\"a\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        model->removeBot(0);
        QCOMPARE(state->selection(), std::optional(SidebarItem::defaults(SectionID::Model)));
        QVERIFY(model->botTokens().isEmpty());
        QVERIFY(model->botProfiles().isEmpty());
    }

    void removingTheSelectedLastBotSelectsTheOneBefore()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\", \"c\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->setSelection(SidebarItem::botAt(2));
        model->removeBot(2);
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(1)));
    }

    void removingAnotherBotKeepsTheSelectedNumber()
    {
        writeConfig("{\"bot_tokens\": [\"a\", \"b\", \"c\"]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->setSelection(SidebarItem::botAt(2));
        model->removeBot(0);
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(2)));
        QCOMPARE(model->botTokens().size(), 2);
    }

    void addBotAppendsAlignedEmptyEntriesSavesAndSelectsIt()
    {
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        model->addBot();
        QCOMPARE(model->botTokens(), QStringList{QString()});
        QCOMPARE(model->botNicknames(), QStringList{QString()});
        QCOMPARE(model->botProfiles(), QList<BotProfile>{BotProfile()});
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(0)));
        QCOMPARE(configChangedPosts(), 1);
        QCOMPARE(fileObject().value("bot_tokens"_L1).toArray(), QJsonArray{u""_s});

        model->addBot(); // blocked: the last token is empty
        QCOMPARE(model->botTokens().size(), 1);
        model->setBotToken(0, u"123:abc"_s);
        model->addBot();
        QCOMPARE(model->botTokens().size(), 2);
        QCOMPARE(state->selection(), std::optional(SidebarItem::botAt(1)));
    }

    void movingABackupMovesItsShownKeyFlag()
    {
        writeConfig("{\"fallbacks\": [{\"base_url\": \"A\", \"model\": \"a\"}, {\"base_url\": "
                    "\"B\", \"model\": \"b\"},"
                    "{\"base_url\": \"C\", \"model\": \"c\"}]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->toggleShowFallbackKey(0);
        model->moveFallback(0, false);
        QCOMPARE(model->fallbacks().at(1).base_url, u"A"_s);
        QCOMPARE(state->showFallbackKeys(), QSet<int>{1});
        model->moveFallback(2, true);
        QCOMPARE(model->fallbacks().at(1).base_url, u"C"_s);
        QCOMPARE(state->showFallbackKeys(), QSet<int>{2});
    }

    void botBackupModelsMoveWithoutTheirShownKeyFlags()
    {
        writeConfig(
            "{\"bot_tokens\": [\"t\"], \"bot_profiles\": [{\"fallbacks\": ["
            "{\"base_url\": \"A\", \"model\": \"a\"}, {\"base_url\": \"B\", \"model\": \"b\"}]}]}");
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        state->toggleShowProfileKey(u"0-1"_s);
        model->moveBotFallback(0, 0, true); // the first row cannot be promoted
        QCOMPARE(model->botProfiles().first().fallbacks.first().base_url, u"A"_s);
        model->moveBotFallback(0, 1, true);
        QCOMPARE(model->botProfiles().first().fallbacks.first().base_url, u"B"_s);
        QCOMPARE(state->showProfileKeys(), QSet<QString>{u"0-1"_s});
        model->moveBotFallback(0, 1, false); // the last row cannot go lower
        QCOMPARE(model->botProfiles().first().fallbacks.at(1).base_url, u"A"_s);
        model->removeBotFallback(0, 0);
        model->removeBotFallback(0, 5);
        QCOMPARE(model->botProfiles().first().fallbacks.size(), 1);
        model->addBotFallback(0);
        QCOMPARE(model->botProfiles().first().fallbacks.size(), 2);
        const QJsonArray written = fileObject()
                                       .value("bot_profiles"_L1)
                                       .toArray()
                                       .first()
                                       .toObject()
                                       .value("fallbacks"_L1)
                                       .toArray();
        QCOMPARE(written.size(), 2);
    }

    void filterAnnouncesItsOwnChange()
    {
        const auto model = makeModel();
        WindowState *state = WindowState::of(model.get());
        QSignalSpy filterSpy(state, &WindowState::filterChanged);
        state->setFilter(u"api"_s);
        QCOMPARE(filterSpy.size(), 1);
        state->setFilter(u"api"_s);
        QCOMPARE(filterSpy.size(), 1); // same value: no announcement
        QCOMPARE(state->rowFilter(), u"api"_s);
    }
};

QTEST_GUILESS_MAIN(TestWindowState)
#include "tst_windowstate.moc"
