// A bot's page driven like a user drives it: the inheritance texts, the shared and per-bot
// custom-entry keys of the menus, the bot's own backup models, its secrets, the skills row and
// removing the bot, checked on screen and in the configuration file.
#include "ui/pages/botpage.h"

#include "ui/contentview.h"
#include "ui/controls/choicecontrol.h"
#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/controls/timepicker.h"
#include "ui/mainwindow.h"
#include "ui/pages/botskillssheet.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/telegramdefaultssection.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QComboBox>
#include <QAbstractButton>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// Four bots; the second is called Trading; the first two have two backup models of their own.
QByteArray fourBots()
{
    return "{\"bot_tokens\": [\"111:AAA\", \"222:BBB\", \"333:CCC\", \"444:DDD\"],"
           " \"bot_nicknames\": [\"\", \"Trading\"],"
           " \"allowed_ids\": [1, 2], \"api_key\": \"sk-default\", \"model\": \"gpt-default\","
           " \"base_url\": \"http://127.0.0.1:11234/v1\", \"briefing_time\": \"09:00\","
           " \"bot_profiles\": ["
           "  {\"fallbacks\": [{\"base_url\": \"http://a.example\", \"model\": \"m-a\","
           "                    \"api_key\": \"key-a\"},"
           "                   {\"base_url\": \"http://b.example\", \"model\": \"m-b\","
           "                    \"api_key\": \"key-b\"}]},"
           "  {\"fallbacks\": [{\"base_url\": \"http://c.example\", \"model\": \"m-c\"},"
           "                   {\"base_url\": \"http://d.example\", \"model\": \"m-d\"}]}]}";
}

} // namespace

class TestBotPage final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::vector<std::unique_ptr<QWidget>> m_pages;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QJsonObject file() const { return UiSupport::readConfig(configPath()); }
    QJsonObject fileProfile(int bot) const
    {
        return file().value("bot_profiles"_L1).toArray().at(bot).toObject();
    }

    void load(const QByteArray &config)
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_transport.clear();
    }
    BotPage *open(int bot)
    {
        auto page = std::make_unique<BotPage>(m_model.get(), bot);
        page->resize(820, 700);
        page->show();
        if (!QTest::qWaitForWindowExposed(page.get()))
            return nullptr;
        BotPage *raw = page.get();
        m_pages.push_back(std::move(page));
        return raw;
    }
    static SettingRow *rowOf(QWidget *control)
    {
        for (QWidget *w = control; w; w = w->parentWidget()) {
            if (auto *row = qobject_cast<SettingRow *>(w))
                return row;
        }
        return nullptr;
    }
    static QString explainerOf(QWidget *page, const QString &controlName)
    {
        auto *control = UiSupport::find(page, controlName);
        SettingRow *row = control ? rowOf(control) : nullptr;
        return row ? row->explainerLabel()->text() : u"<no row>"_s;
    }
    static void type(Field *field, const QString &text)
    {
        field->setFocus();
        QTest::keyClicks(field, text);
    }

private Q_SLOTS:
    void init() { m_transport.clear(); }
    void cleanup()
    {
        m_pages.clear();
        m_model.reset();
        QFile::remove(configPath());
    }

    // ---- the inheritance texts -------------------------------------------------------------

    void emptyAllowedIdsInheritTheDefaultAndTypingOverridesIt()
    {
        load(fourBots());
        BotPage *page = open(0);
        QCOMPARE(m_model->allowedIDs(), u"1, 2"_s);
        QCOMPARE(explainerOf(page, u"botAllowedIds"_s), u"Inherits the default: 1, 2"_s);
        type(UiSupport::find<Field>(page, u"botAllowedIds"_s), u"3"_s);
        QCOMPARE(explainerOf(page, u"botAllowedIds"_s), u"Overrides the default (1, 2)"_s);
        QTest::keyClick(UiSupport::find<Field>(page, u"botAllowedIds"_s), Qt::Key_Return);
        QCOMPARE(fileProfile(0).value("allowed_ids"_L1).toArray(), QJsonArray{3});
        QCOMPARE(m_transport.posts().size(), 1);
        // After the reload that follows the save the page still says the same.
        UiSupport::settle();
        QCOMPARE(explainerOf(page, u"botAllowedIds"_s), u"Overrides the default (1, 2)"_s);
    }

    void bothEmptyIsNotSetAndOnlyTheBotsValueOverrides()
    {
        load(fourBots());
        BotPage *page = open(2);
        const QString help
            = u" Words that make the bot answer in groups (besides @mention/reply)."_s;
        QCOMPARE(explainerOf(page, u"botTriggerWords"_s),
                 u"Inherits the default (not set)"_s + help);
        type(UiSupport::find<Field>(page, u"botTriggerWords"_s), u"momo"_s);
        QCOMPARE(explainerOf(page, u"botTriggerWords"_s), u"Overrides the default"_s + help);
        QCOMPARE(explainerOf(page, u"botClipWords"_s),
                 u"Inherits the default (not set) Words that grab an attached video/audio as a "
                 u"clip."_s);
        QCOMPARE(explainerOf(page, u"botBriefingPrompt"_s), u"Inherits the default (not set)"_s);
        QCOMPARE(explainerOf(page, u"botModel"_s), u"Inherits the default: gpt-default"_s);
        QCOMPARE(explainerOf(page, u"botBaseUrl"_s),
                 u"Inherits the default: http://127.0.0.1:11234/v1"_s);
        QCOMPARE(explainerOf(page, u"botMode"_s), u"Empty uses the default mode."_s);
    }

    void inheritanceTextsFollowTheDefaultsPageLive()
    {
        load(fourBots());
        BotPage *page = open(1);
        TelegramDefaultsSection defaults(m_model.get());
        defaults.show();
        QVERIFY(QTest::qWaitForWindowExposed(&defaults));

        auto *allowed = UiSupport::find<Field>(&defaults, u"allowedIds"_s);
        allowed->selectAll();
        type(allowed, u"5, 6"_s);
        // Every keystroke reaches the model, and the bot page follows at once.
        QCOMPARE(explainerOf(page, u"botAllowedIds"_s), u"Inherits the default: 5, 6"_s);
        QTest::keyClick(allowed, Qt::Key_Return);
        UiSupport::settle(); // the save, the notification and the reload of the file
        QCOMPARE(file().value("allowed_ids"_L1).toArray(), (QJsonArray{5, 6}));
        QCOMPARE(explainerOf(page, u"botAllowedIds"_s), u"Inherits the default: 5, 6"_s);

        auto *prompt = UiSupport::find<Field>(&defaults, u"briefingPrompt"_s);
        type(prompt, u"weather"_s);
        QCOMPARE(explainerOf(page, u"botBriefingPrompt"_s), u"Inherits the default: weather"_s);

        // Properties the other pages edit are followed the same way.
        m_model->setModel(u"deepseek-v4"_s);
        QCOMPARE(explainerOf(page, u"botModel"_s), u"Inherits the default: deepseek-v4"_s);
        m_model->setBriefingTime(u"06:15"_s);
        QCOMPARE(explainerOf(page, u"botBriefingTime"_s), u"Inherits the default: 06:15"_s);
        auto *time = UiSupport::find<TimePickerView>(page, u"botBriefingTime"_s);
        QCOMPARE(time->shownTime(), (TimePickerView::Time{6, 15}));
    }

    void useGlobalReturnsTheBotToTheInheritedBriefingTime()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto *time = UiSupport::find<TimePickerView>(page, u"botBriefingTime"_s);
        QCOMPARE(explainerOf(page, u"botBriefingTime"_s), u"Inherits the default: 09:00"_s);
        QVERIFY(UiSupport::choose(time->hourBox(), u"07"_s));
        QCOMPARE(m_model->botProfiles().at(0).briefingTime, u"07:00"_s);
        QCOMPARE(fileProfile(0).value("briefing_time"_L1).toString(), u"07:00"_s);
        QCOMPARE(explainerOf(page, u"botBriefingTime"_s), u"Overrides the default (09:00)"_s);

        auto *useGlobal = UiSupport::find<QPushButton>(page, u"botBriefingTimeUseGlobal"_s);
        QVERIFY(useGlobal->isVisible());
        QTest::mouseClick(useGlobal, Qt::LeftButton);
        QCOMPARE(m_model->botProfiles().at(0).briefingTime, QString());
        QVERIFY(!fileProfile(0).contains("briefing_time"_L1));
        QCOMPARE(explainerOf(page, u"botBriefingTime"_s), u"Inherits the default: 09:00"_s);
        QCOMPARE(time->shownTime(), (TimePickerView::Time{9, 0}));
    }

    void inheritedApiKeyIsNamedMaskedUntilThisRowsEyeShowsIt()
    {
        load(fourBots());
        BotPage *page = open(0);
        QCOMPARE(explainerOf(page, u"botApiKey"_s), u"Inherits the default: ••••••••"_s);
        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botApiKeyEye"_s), Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showProfileKeys(),
                 QSet<QString>{BotPage::primaryKeyIdentity(0)});
        QCOMPARE(BotPage::primaryKeyIdentity(0), u"0-key"_s);
        QCOMPARE(explainerOf(page, u"botApiKey"_s), u"Inherits the default: sk-default"_s);
        QVERIFY(!UiSupport::find<Field>(page, u"botApiKeyField"_s)->isSecure());
        // The backup rows of this bot stay masked.
        QVERIFY(UiSupport::find<Field>(page, u"botFallback0KeyField"_s)->isSecure());
        QVERIFY(UiSupport::find<Field>(page, u"botFallback1KeyField"_s)->isSecure());
    }

    // ---- the menus and their custom-entry keys ---------------------------------------------

    void customModeOnOneBotShowsOnEveryBotButCustomPersonaDoesNot()
    {
        load(fourBots());
        BotPage *second = open(2);
        BotPage *third = open(3);
        auto *thirdMode = UiSupport::find<ModeControl>(third, u"botMode"_s);
        QVERIFY(!thirdMode->isCustomMode());

        QVERIFY(
            UiSupport::choose(UiSupport::find<QComboBox>(second, u"botModeMenu"_s), u"Custom…"_s));
        QVERIFY(WindowState::of(m_model.get())->choiceCustom().contains(u"\\(i):mode"_s));
        QCOMPARE(BotPage::modeCustomKey().size(), 9);
        QVERIFY(thirdMode->isCustomMode());
        QVERIFY(UiSupport::find(third, u"botModeCustom"_s)->isVisible());
        QCOMPARE(thirdMode->menu()->currentText(), u"Custom…"_s);

        QVERIFY(UiSupport::choose(UiSupport::find<QComboBox>(second, u"botPersonaMenu"_s),
                                  u"Custom…"_s));
        QVERIFY(WindowState::of(m_model.get())->choiceCustom().contains(u"2:soul"_s));
        QVERIFY(UiSupport::find(second, u"botPersonaCustom"_s)->isVisible());
        QVERIFY(!UiSupport::find<ChoiceControl>(third, u"botPersona"_s)->isCustomMode());
        QVERIFY(!UiSupport::find(third, u"botPersonaCustom"_s)->isVisible());
    }

    void modeMenuOffersTheDefaultModeAndStoresTheChoice()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto *menu = UiSupport::find<QComboBox>(page, u"botModeMenu"_s);
        QCOMPARE(UiSupport::entries(menu),
                 (QStringList{u"Use default: assistant"_s, u"Researcher"_s, u"Coder"_s, u"Chef"_s,
                              u"None"_s, u"Custom…"_s}));
        QVERIFY(UiSupport::choose(menu, u"Chef"_s));
        QCOMPARE(fileProfile(0).value("bot_mode"_L1).toString(), u"chef"_s);
    }

    void personaMenuListsThePersonaFilesBesideTheDefault()
    {
        const QString folder = m_dir.filePath(u"personas"_s);
        QDir().mkpath(folder);
        for (const QString &name : {u"soul.md"_s, u"persona-pirate.md"_s, u"notes.md"_s})
            TestSupport::writeFile(folder + u'/' + name, "# x\n");
        load("{\"bot_tokens\": [\"1:A\"], \"soul_file\": \"" + folder.toUtf8() + "/soul.md\"}");
        BotPage *page = open(0);
        const QString soul = folder + u"/soul.md"_s;
        QCOMPARE(explainerOf(page, u"botPersona"_s), u"Inherits the default: "_s + soul);
        auto *menu = UiSupport::find<QComboBox>(page, u"botPersonaMenu"_s);
        QCOMPARE(UiSupport::entries(menu),
                 (QStringList{u"Use default: "_s + soul, u"persona-pirate.md"_s, u"soul.md"_s,
                              u"Custom…"_s}));
        QVERIFY(UiSupport::choose(menu, u"persona-pirate.md"_s));
        QCOMPARE(fileProfile(0).value("soul_file"_L1).toString(), u"persona-pirate.md"_s);
        QCOMPARE(explainerOf(page, u"botPersona"_s), u"Overrides the default ("_s + soul + u')');
    }

    // ---- the bot's own backup models -------------------------------------------------------

    void botWithoutOwnBackupsInheritsAndCanAddItsFirst()
    {
        load(fourBots());
        BotPage *page = open(2);
        auto *backups = UiSupport::find<SettingRow>(page, u"backupModelsRow"_s);
        QCOMPARE(backups->explainer(), u"Inherits the default (no backup models)."_s);
        auto *addFirst = UiSupport::find<QPushButton>(page, u"addOwnFallbacks"_s);
        QCOMPARE(addFirst->text(), u"Add this bot's own backup models"_s);
        QVERIFY(addFirst->isVisible());
        QVERIFY(!page->findChild<QWidget *>(u"addBotFallback"_s));

        QTest::mouseClick(addFirst, Qt::LeftButton);
        UiSupport::settle();
        QCOMPARE(m_model->botProfiles().at(2).fallbacks.size(), 1);
        QCOMPARE(backups->explainer(), u"Tried after this bot's primary model fails."_s);
        QVERIFY(!addFirst->isVisible());
        QVERIFY(UiSupport::find(page, u"botFallback0Url"_s)->isVisible());
        QCOMPARE(explainerOf(page, u"botFallback0Key"_s), u"Empty for local servers."_s);
        QCOMPARE(explainerOf(page, u"botFallback0Model"_s), u"e.g. deepseek-v4-flash-free."_s);

        // Unlike the defaults' list, adding never waits for the last row to be complete.
        auto *add = UiSupport::find<QPushButton>(page, u"addBotFallback"_s);
        QCOMPARE(add->text(), u"Add fallback provider"_s);
        QVERIFY(add->isEnabled());
        QTest::mouseClick(add, Qt::LeftButton);
        UiSupport::settle();
        QCOMPARE(m_model->botProfiles().at(2).fallbacks.size(), 2);
        QVERIFY(UiSupport::find<QPushButton>(page, u"addBotFallback"_s)->isEnabled());
        QVERIFY(m_model->botProfiles().at(2).fallbacks.at(0).id
                != m_model->botProfiles().at(2).fallbacks.at(1).id);

        type(UiSupport::find<Field>(page, u"botFallback1Url"_s), u"http://e.example"_s);
        type(UiSupport::find<Field>(page, u"botFallback1Model"_s), u"m-e"_s);
        QTest::keyClick(UiSupport::find<Field>(page, u"botFallback1Model"_s), Qt::Key_Return);
        const QJsonArray written = fileProfile(2).value("fallbacks"_L1).toArray();
        QCOMPARE(written.size(), 2);
        QCOMPARE(written.at(1).toObject().value("base_url"_L1).toString(), u"http://e.example"_s);
        QCOMPARE(written.at(1).toObject().value("model"_L1).toString(), u"m-e"_s);
    }

    void priorityButtonsSwapRowsOnlyWhereThereIsARowToSwapWith()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto urls = [this] {
            QStringList list;
            for (const Fallback &f : m_model->botProfiles().at(0).fallbacks)
                list.append(f.base_url);
            return list;
        };
        auto *up0 = UiSupport::find<QToolButton>(page, u"botFallback0Up"_s);
        QCOMPARE(up0->toolTip(), u"Higher priority"_s);
        QVERIFY(!up0->isEnabled()); // the first row cannot be promoted
        QTest::mouseClick(up0, Qt::LeftButton);
        QCOMPARE(urls(), (QStringList{u"http://a.example"_s, u"http://b.example"_s}));
        QVERIFY(!UiSupport::find<QToolButton>(page, u"botFallback1Down"_s)->isEnabled());

        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botFallback0Down"_s),
                          Qt::LeftButton);
        QCOMPARE(urls(), (QStringList{u"http://b.example"_s, u"http://a.example"_s}));
        QCOMPARE(UiSupport::find<Field>(page, u"botFallback0Url"_s)->text(), u"http://b.example"_s);
        const QJsonArray written = fileProfile(0).value("fallbacks"_L1).toArray();
        QCOMPARE(written.at(0).toObject().value("base_url"_L1).toString(), u"http://b.example"_s);

        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botFallback1Up"_s), Qt::LeftButton);
        QCOMPARE(urls(), (QStringList{u"http://a.example"_s, u"http://b.example"_s}));
        // The model refuses moves past the ends whatever the buttons say.
        m_model->moveBotFallback(0, 0, true);
        m_model->moveBotFallback(0, 1, false);
        QCOMPARE(urls(), (QStringList{u"http://a.example"_s, u"http://b.example"_s}));
    }

    void removeThisFallbackRemovesItsRow()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto *remove = UiSupport::find<QToolButton>(page, u"botFallback0Remove"_s);
        QCOMPARE(remove->toolTip(), u"Remove this fallback"_s);
        QCOMPARE(remove->property("symbol").toString(), u"trash"_s);
        QTest::mouseClick(remove, Qt::LeftButton);
        UiSupport::settle();
        QCOMPARE(m_model->botProfiles().at(0).fallbacks.size(), 1);
        QCOMPARE(UiSupport::find<Field>(page, u"botFallback0Url"_s)->text(), u"http://b.example"_s);
        QVERIFY(!page->findChild<QWidget *>(u"botFallback1Url"_s));
        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botFallback0Remove"_s),
                          Qt::LeftButton);
        UiSupport::settle();
        QVERIFY(!fileProfile(0).contains("fallbacks"_L1));
        QCOMPARE(UiSupport::find<SettingRow>(page, u"backupModelsRow"_s)->explainer(),
                 u"Inherits the default (no backup models)."_s);
        QVERIFY(UiSupport::find(page, u"addOwnFallbacks"_s)->isVisible());
    }

    void showingBot0SecondBackupKeyAddsZeroDashOneAndLeavesBot1Masked()
    {
        load(fourBots());
        BotPage *first = open(0);
        BotPage *second = open(1);
        auto *eye = UiSupport::find<QToolButton>(first, u"botFallback1KeyEye"_s);
        QCOMPARE(eye->toolTip(), u"Show or hide the key"_s);
        QTest::mouseClick(eye, Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showProfileKeys(), QSet<QString>{u"0-1"_s});
        QVERIFY(!UiSupport::find<Field>(first, u"botFallback1KeyField"_s)->isSecure());
        QCOMPARE(UiSupport::find<Field>(first, u"botFallback1KeyField"_s)->text(), u"key-b"_s);
        QVERIFY(UiSupport::find<Field>(first, u"botFallback0KeyField"_s)->isSecure());
        QVERIFY(UiSupport::find<Field>(second, u"botFallback0KeyField"_s)->isSecure());
        QVERIFY(UiSupport::find<Field>(second, u"botFallback1KeyField"_s)->isSecure());
        QVERIFY(UiSupport::find<Field>(first, u"botApiKeyField"_s)->isSecure());
    }

    void shownKeyFlagsStayWithTheRowNotTheMovedRecord()
    {
        load(fourBots());
        BotPage *page = open(0);
        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botFallback0KeyEye"_s),
                          Qt::LeftButton);
        QTest::mouseClick(UiSupport::find<QToolButton>(page, u"botFallback0Down"_s),
                          Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showProfileKeys(), QSet<QString>{u"0-0"_s});
        auto *shown = UiSupport::find<Field>(page, u"botFallback0KeyField"_s);
        QVERIFY(!shown->isSecure());
        QCOMPARE(shown->text(), u"key-b"_s);
        QVERIFY(UiSupport::find<Field>(page, u"botFallback1KeyField"_s)->isSecure());
    }

    // ---- about this bot --------------------------------------------------------------------

    void tokenStartsMaskedAndItsEyeShowsIt()
    {
        load(fourBots());
        BotPage *page = open(1);
        auto *token = UiSupport::find<Field>(page, u"botTokenField"_s);
        QVERIFY(token->isSecure());
        QCOMPARE(token->text(), u"222:BBB"_s);
        auto *eye = UiSupport::find<QToolButton>(page, u"botTokenEye"_s);
        QCOMPARE(eye->toolTip(), u"Show or hide the token"_s);
        QTest::mouseClick(eye, Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showTokenKeys(), QSet<int>{1});
        QVERIFY(!token->isSecure());
    }

    void headingAndIntroductionFollowTheNickname()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto *intro = UiSupport::find<QLabel>(page, u"pageIntro"_s);
        QCOMPARE(page->page()->headingLabel()->text(), u"Bot 1"_s);
        QCOMPARE(intro->text(), u"Settings on this page belong to Bot 1 only. Empty fields follow "
                                u"the defaults — each row shows what Bot 1 actually uses."_s);
        auto *nickname = UiSupport::find<Field>(page, u"botNickname"_s);
        type(nickname, u"<b>Trading</b>"_s);
        QTest::keyClick(nickname, Qt::Key_Return);
        QCOMPARE(file().value("bot_nicknames"_L1).toArray().at(0).toString(), u"<b>Trading</b>"_s);
        QCOMPARE(page->page()->headingLabel()->text(), u"<b>Trading</b>"_s);
        QVERIFY(
            intro->text().startsWith(u"Settings on this page belong to <b>Trading</b> only."_s));
        for (QLabel *label : page->findChildren<QLabel *>())
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    // ---- skills ----------------------------------------------------------------------------

    void skillsRowSummarisesTheBotsOverrides()
    {
        load(fourBots());
        BotPage *page = open(0);
        auto *summary = UiSupport::find<QLabel>(page, u"botSkillsSummary"_s);
        QCOMPARE(summary->text(), u"All skills allowed (follows the defaults)"_s);
        QCOMPARE(explainerOf(page, u"botSkillsSummary"_s),
                 u"This bot's skill overrides, on top of the defaults."_s);
        m_model->setBotSkill(0, u"weather"_s, false);
        m_model->setBotSkill(0, u"pdf"_s, false);
        QCOMPARE(summary->text(), u"2 skill(s) disabled on top of the defaults"_s);
    }

    void skillsButtonOpensTheSheetWithoutBlockingAndDoneClosesIt()
    {
        load(fourBots());
        BotPage *page = open(1);
        QVERIFY(!WindowState::of(m_model.get())->skillsBot());
        QTest::mouseClick(UiSupport::find<QPushButton>(page, u"botSkillsOpen"_s), Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->skillsBot(), std::optional<int>(1));
        BotSkillsSheet *sheet = page->skillsSheet();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->isVisible());
        QVERIFY(sheet->isModal());
        QCOMPARE(sheet->titleLabel()->text(), u"Skills for Trading"_s);
        QTest::mouseClick(sheet->doneButton(), Qt::LeftButton);
        QVERIFY(!WindowState::of(m_model.get())->skillsBot());
        QTRY_VERIFY(!page->skillsSheet()); // deleted once closed
    }

    void sheetOfAPageThatGoesAwayIsClosedAndForgotten()
    {
        load(fourBots());
        BotPage *page = open(0);
        WindowState::of(m_model.get())->setSkillsBot(0);
        QTRY_VERIFY(page->skillsSheet());
        m_pages.clear();
        QVERIFY(!WindowState::of(m_model.get())->skillsBot());
    }

    // ---- removing the bot ------------------------------------------------------------------

    void removingTheSelectedLastBotSelectsTheBotBeforeIt()
    {
        load(fourBots());
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(3));
        BotPage *page = open(3);
        QTest::mouseClick(UiSupport::find<QPushButton>(page, u"removeBot"_s), Qt::LeftButton);
        QCOMPARE(m_model->botTokens().size(), 3);
        QCOMPARE(WindowState::of(m_model.get())->selection(), std::optional(SidebarItem::botAt(2)));
        QCOMPARE(file().value("bot_tokens"_L1).toArray().size(), 3);
        QCOMPARE(m_transport.posts().size(), 1);
    }

    void removingTheOnlyBotSelectsTheFirstDefaultsPage()
    {
        load("{\"bot_tokens\": [\"1:A\"]}");
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(0));
        BotPage *page = open(0);
        QTest::mouseClick(UiSupport::find<QPushButton>(page, u"removeBot"_s), Qt::LeftButton);
        QVERIFY(m_model->botTokens().isEmpty());
        QCOMPARE(WindowState::of(m_model.get())->selection(),
                 std::optional(SidebarItem::defaults(SectionID::Model)));
        QVERIFY(file().value("bot_tokens"_L1).toArray().isEmpty());
    }

    void removingABotInTheWindowShowsThePageOfTheBotBefore()
    {
        load(fourBots());
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(1));
        UiSupport::settle();
        auto *button = window.findChild<QPushButton *>(u"removeBot"_s);
        QTest::mouseClick(button, Qt::LeftButton);
        UiSupport::settle();
        const QList<BotPage *> pages = window.findChildren<BotPage *>();
        QCOMPARE(pages.size(), 1);
        QCOMPARE(pages.constFirst()->bot(), 0);
        QCOMPARE(pages.constFirst()->page()->headingLabel()->text(), u"Bot 1"_s);
    }

    void pageOfAMissingBotEditsNothing()
    {
        load(fourBots());
        BotPage *page = open(9);
        QVERIFY(page);
        type(UiSupport::find<Field>(page, u"botAllowedIds"_s), u"7"_s);
        QTest::mouseClick(UiSupport::find<QPushButton>(page, u"addOwnFallbacks"_s), Qt::LeftButton);
        QTest::mouseClick(UiSupport::find<QPushButton>(page, u"removeBot"_s), Qt::LeftButton);
        QCOMPARE(m_model->botTokens().size(), 4);
        for (const BotProfile &profile : m_model->botProfiles())
            QVERIFY(profile.allowedIDs.isEmpty());
    }

    void everyControlIsNamedAndIconButtonsCarryTheirHelp()
    {
        load(fourBots());
        BotPage *page = open(0);
        {
            const QStringList problems = UiSupport::unnamedOrSilentControls(page);
            QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u", "_s)));
        }
    }

    // ---- rendering ---------------------------------------------------------------------------

    void renderingAt1020x700WithOwnBackupModels()
    {
        load(fourBots());
        m_model->setBotProfileText(1, &BotProfile::allowedIDs, u"42"_s);
        m_model->setBotSkill(1, u"weather"_s, false);
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(1));
        UiSupport::settle();
        auto *page = window.findChild<BotPage *>();
        QVERIFY(page);
        QScrollArea *scroll = page->page();
        const int viewportWidth = scroll->viewport()->width();
        for (QWidget *widget : page->findChildren<QWidget *>()) {
            if (!widget->isVisible()
                || !(qobject_cast<QAbstractButton *>(widget) || qobject_cast<QLineEdit *>(widget)
                     || qobject_cast<QComboBox *>(widget)))
                continue;
            const QRect box(widget->mapTo(scroll->viewport(), QPoint()), widget->size());
            QVERIFY2(box.left() >= 0 && box.right() < viewportWidth,
                     qPrintable(widget->objectName()));
        }
        const QString folder = QStringLiteral(VARNOOK_BINARY_DIR "/renderings");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(window.grab().save(folder + u"/bot-page.png"_s, "PNG"));
        scroll->ensureWidgetVisible(page->findChild<QWidget *>(u"botFallback1Model"_s), 0, 120);
        UiSupport::settle();
        QVERIFY(window.grab().save(folder + u"/bot-page-backups.png"_s, "PNG"));
        scroll->verticalScrollBar()->setValue(scroll->verticalScrollBar()->maximum());
        UiSupport::settle();
        QVERIFY(window.grab().save(folder + u"/bot-page-end.png"_s, "PNG"));
        QCOMPARE(QImage(folder + u"/bot-page.png"_s).size(), MainWindow::initialSize());
        window.hide();
    }
};

QTEST_MAIN(TestBotPage)
#include "tst_botpage.moc"
