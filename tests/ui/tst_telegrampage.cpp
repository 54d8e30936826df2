#include "ui/controls/choicecontrol.h"
#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/controls/timepicker.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/telegramdefaultssection.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/pageshots.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QComboBox>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using UiSupport::find;

namespace {

struct RowText {
    QString title;
    QString explainer;
};

// Every row of the page, top to bottom, as the user reads it.
QList<RowText> expectedRows()
{
    return {
        {u"Allowed chat IDs"_s,
         u"Comma-separated user/group IDs that may talk to the bot (e.g. 512807364, "
         u"-1002718305964)."_s},
        {u"Daily briefing time"_s, u"24-hour HH:MM (e.g. 08:00)."_s},
        {u"Briefing prompt"_s,
         u"What the daily briefing should cover — e.g. \"weather, my reminders for today, and any "
         u"price alerts\"."_s},
        {u"Max reply tokens"_s,
         u"Safety ceiling for model replies — long answers split into multiple messages (e.g. "
         u"4000)."_s},
        {u"Context per chat"_s,
         u"How many recent messages the bot holds per chat for context (e.g. 40)."_s},
        {u"Memories per user"_s,
         u"Long-term memories recalled per user PER MESSAGE the bot answers (e.g. 15)."_s},
        {u"Memory database size (per user)"_s,
         u"Max long-term memories stored per user; each user's oldest are evicted beyond this "
         u"(e.g. 5000)."_s},
        {u"Research report tokens"_s, u"Budget for /research and /insiders reports (e.g. 1200)."_s},
        {u"API timeout (s)"_s,
         u"Seconds before a slow provider is abandoned (e.g. 90 — free-tier queues can stall for "
         u"a minute+)."_s},
        {u"Soul file"_s,
         u"Persona the bots run with. .md files in this folder (soul*.md, *persona*.md) appear in "
         u"every bot's Soul dropdown."_s},
        {u"Bot trigger words"_s,
         u"Comma-separated words that make the bot answer in groups (besides @mention, reply or "
         u"command) — e.g. \"momo, jarvis, hey bot\". Empty = default behaviour."_s},
        {u"Video/audio clip trigger words"_s,
         u"Words that make the bot grab an attached video or audio as a clip — e.g. \"clip this, "
         u"save this\". Empty = only replies/mentions trigger clips."_s},
    };
}

} // namespace

// The Telegram defaults page driven like a user drives it, with what lands in the file.
class TestTelegramPage final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<TelegramDefaultsSection> m_page;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }
    QJsonObject onDisk() const { return UiSupport::readConfig(configPath()); }
    QString personaFolder() const { return QDir::homePath() + u"/.zandrel"_s; }

    void open(const QByteArray &config)
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_page = std::make_unique<TelegramDefaultsSection>(m_model.get());
        m_page->resize(900, 1300);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
    }
    template <typename T = QWidget> T *widget(const QString &name)
    {
        return find<T>(m_page.get(), name);
    }
    void typeAndCommit(const QString &name, const QString &text)
    {
        auto *field = widget<Field>(name);
        QVERIFY2(field, qPrintable(name));
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
    }
    SettingRow *row(const QString &title)
    {
        return widget<SettingRow>(objectNameForTitle(title) + u"Row"_s);
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_transport.clear();
        QDir(personaFolder()).removeRecursively();
    }
    void cleanup()
    {
        m_page.reset();
        m_model.reset();
        m_dir.reset();
        QDir(personaFolder()).removeRecursively();
    }

    void headingIntroGroupsAndEveryRowReadAsWritten()
    {
        open("{}");
        QCOMPARE(widget<QLabel>(u"pageHeading"_s)->text(), u"Defaults"_s);
        QCOMPARE(widget<QLabel>(u"pageIntro"_s)->text(),
                 u"Default values every bot inherits. Open a bot in the sidebar to give it "
                 u"settings of its own."_s);
        QStringList groups;
        for (auto *group : m_page->findChildren<SettingsGroup *>())
            groups.append(group->titleLabel()->text());
        QCOMPARE(groups, (QStringList{u"Chats & briefing"_s, u"Behaviour"_s, u"Trigger words"_s}));

        QList<SettingRow *> rows = m_page->findChildren<SettingRow *>();
        QCOMPARE(rows.size(), expectedRows().size());
        for (qsizetype i = 0; i < rows.size(); ++i) {
            QCOMPARE(rows.at(i)->titleLabel()->text(), expectedRows().at(i).title);
            QCOMPARE(rows.at(i)->explainerLabel()->text(), expectedRows().at(i).explainer);
        }
        // The defaults inherit from nothing: no "Use global" beside the briefing time.
        QVERIFY(!widget(u"briefingTimeUseGlobal"_s)->isVisible());
    }

    void typingLettersIntoMaxReplyTokensSavesTheNumberLastReadFromTheFile()
    {
        open("{\"max_tokens\": 800}");
        auto *field = widget<Field>(u"maxTokens"_s);
        QCOMPARE(field->text(), u"800"_s);
        typeAndCommit(u"maxTokens"_s, u"abc"_s);
        QCOMPARE(onDisk().value(u"max_tokens"_s).toInteger(), 800);
        QCOMPARE(field->text(), u"800"_s);
        // And after the reload that the save brings.
        QTRY_VERIFY(m_transport.posts().size() >= 1);
        QTRY_COMPARE(m_model->maxTokens(), u"800"_s);
        QCOMPARE(field->text(), u"800"_s);
    }

    void typingLettersIntoMaxReplyTokensWithoutOneInTheFileSaves350()
    {
        open("{}");
        auto *field = widget<Field>(u"maxTokens"_s);
        QCOMPARE(field->text(), u"350"_s);
        typeAndCommit(u"maxTokens"_s, u"lots"_s);
        QCOMPARE(onDisk().value(u"max_tokens"_s).toInteger(), 350);
        QCOMPARE(field->text(), u"350"_s);
    }

    void numberFieldsSaveTrimmedWholeNumbers()
    {
        open("{}");
        const QList<std::pair<QString, QString>> fields{
            {u"maxTokens"_s, u"max_tokens"_s},
            {u"chatBufferMax"_s, u"chat_buffer_max"_s},
            {u"recallLimit"_s, u"recall_limit"_s},
            {u"factCap"_s, u"fact_cap"_s},
            {u"researchMaxTokens"_s, u"research_max_tokens"_s},
            {u"apiTimeout"_s, u"api_timeout"_s},
        };
        int value = 11;
        for (const auto &[name, key] : fields) {
            typeAndCommit(name, u"  "_s + QString::number(value) + u" "_s);
            QCOMPARE(onDisk().value(key).toInteger(), value);
            QCOMPARE(widget<Field>(name)->text(), QString::number(value));
            ++value;
        }
        // No range check: zero and negative numbers are kept.
        typeAndCommit(u"apiTimeout"_s, u"-5"_s);
        QCOMPARE(onDisk().value(u"api_timeout"_s).toInteger(), -5);
    }

    void personaFilesInTheSoulFolderFillTheSoulMenu()
    {
        QVERIFY(QDir().mkpath(personaFolder()));
        for (const QString &name : {u"Soul.md"_s, u"my-persona.MD"_s, u"notes.md"_s, u"soul.txt"_s})
            TestSupport::writeFile(personaFolder() + u'/' + name, "# persona\n");
        open("{}");
        QCOMPARE(m_model->soulFile(), u"~/.zandrel/soul.md"_s);
        auto *menu = widget<QComboBox>(u"soulFileMenu"_s);
        QCOMPARE(UiSupport::entries(menu),
                 (QStringList{u"Use default: ~/.zandrel/soul.md"_s, u"Soul.md"_s,
                              u"my-persona.MD"_s, u"Custom…"_s}));

        UiSupport::choose(menu, u"my-persona.MD"_s);
        QCOMPARE(onDisk().value(u"soul_file"_s).toString(), u"my-persona.MD"_s);
        QCOMPARE(m_model->soulFile(), u"my-persona.MD"_s);
        // A bare file name has no folder of its own to list, so the menu now holds only the
        // default and the custom entry, and the chosen name shows in the custom field.
        QCOMPARE(UiSupport::entries(menu),
                 (QStringList{u"Use default: ~/.zandrel/soul.md"_s, u"Custom…"_s}));
        QCOMPARE(widget<Field>(u"soulFileCustom"_s)->text(), u"my-persona.MD"_s);
    }

    void withoutAPersonaFolderTheSoulMenuOffersOnlyDefaultAndCustom()
    {
        open("{\"soul_file\": \"/no/such/folder/soul.md\"}");
        auto *menu = widget<QComboBox>(u"soulFileMenu"_s);
        QCOMPARE(UiSupport::entries(menu),
                 (QStringList{u"Use default: ~/.zandrel/soul.md"_s, u"Custom…"_s}));
        // A persona the catalogue lacks is shown in the custom field.
        QCOMPARE(menu->currentText(), u"Custom…"_s);
        QVERIFY(widget(u"soulFileCustom"_s)->isVisible());
        QCOMPARE(widget<Field>(u"soulFileCustom"_s)->text(), u"/no/such/folder/soul.md"_s);

        // "Use default" takes the key out of the file.
        QVERIFY(UiSupport::choose(menu, u"Use default: ~/.zandrel/soul.md"_s));
        QVERIFY(!onDisk().contains(u"soul_file"_s));
        QVERIFY(!WindowState::of(m_model.get())
                     ->choiceCustom()
                     .contains(TelegramDefaultsSection::soulCustomKey()));
    }

    void filterMemorShowsBothMemoryRowsAndHidesTheBriefingPrompt()
    {
        open("{}");
        for (const QString &filter : {u"memor"_s, u"MEMOR"_s, u"Memor"_s}) {
            WindowState::of(m_model.get())->setFilter(filter);
            QVERIFY(row(u"Memories per user"_s)->isVisible());
            QVERIFY(row(u"Memory database size (per user)"_s)->isVisible());
            QVERIFY(!row(u"Briefing prompt"_s)->isVisible());
            QVERIFY(!row(u"Max reply tokens"_s)->isVisible());
            QTRY_VERIFY(!widget(u"chatsBriefingGroup"_s)->isVisible());
            QVERIFY(!widget(u"triggerWordsGroup"_s)->isVisible());
            QVERIFY(widget(u"behaviourGroup"_s)->isVisible());
        }
        WindowState::of(m_model.get())->setFilter(QString());
        QTRY_VERIFY(widget(u"chatsBriefingGroup"_s)->isVisible());
        QVERIFY(row(u"Briefing prompt"_s)->isVisible());
    }

    void allowedChatIdsKeepOnlyWholeNumbers()
    {
        open("{}");
        typeAndCommit(u"allowedIds"_s, u"123, abc, -45"_s);
        QCOMPARE(onDisk().value(u"allowed_ids"_s).toArray(), (QJsonArray{123, -45}));
        // The reload that follows the save shows what was kept.
        QTRY_COMPARE(widget<Field>(u"allowedIds"_s)->text(), u"123, -45"_s);
    }

    void briefingTimeMenusWriteHoursAndMinutes()
    {
        open("{}");
        auto *hour = widget<QComboBox>(u"briefingTimeHour"_s);
        auto *minute = widget<QComboBox>(u"briefingTimeMinute"_s);
        QCOMPARE(hour->currentText(), u"08"_s);
        QCOMPARE(minute->currentText(), u"00"_s);
        QVERIFY(UiSupport::choose(hour, u"09"_s));
        QCOMPARE(onDisk().value(u"briefing_time"_s).toString(), u"09:00"_s);
        QVERIFY(UiSupport::choose(minute, u"45"_s));
        QCOMPARE(onDisk().value(u"briefing_time"_s).toString(), u"09:45"_s);
    }

    void briefingPromptAndTriggerWordsAreSaved()
    {
        open("{}");
        typeAndCommit(u"briefingPrompt"_s, u"weather and reminders"_s);
        typeAndCommit(u"triggerWords"_s, u"momo,  jarvis ,hey bot,"_s);
        typeAndCommit(u"clipTriggerWords"_s, u"clip this, save this"_s);
        const QJsonObject written = onDisk();
        QCOMPARE(written.value(u"briefing_prompt"_s).toString(), u"weather and reminders"_s);
        QCOMPARE(written.value(u"trigger_words"_s).toArray(),
                 (QJsonArray{u"momo"_s, u"jarvis"_s, u"hey bot"_s}));
        QCOMPARE(written.value(u"clip_trigger_words"_s).toArray(),
                 (QJsonArray{u"clip this"_s, u"save this"_s}));
        QTRY_COMPARE(widget<Field>(u"triggerWords"_s)->text(), u"momo, jarvis, hey bot"_s);
    }

    void rendersInTheWindowWithoutAnythingCutOff()
    {
        QVERIFY(QDir().mkpath(personaFolder()));
        TestSupport::writeFile(personaFolder() + u"/soul.md"_s, "x");
        TestSupport::writeFile(personaFolder() + u"/pirate-persona.md"_s, "x");
        const QJsonObject config{
            {u"allowed_ids"_s, QJsonArray{512807364, qint64(-1002718305964)}},
            {u"briefing_prompt"_s, u"weather, my reminders for today"_s},
            {u"trigger_words"_s, QJsonArray{u"momo"_s, u"jarvis"_s}},
            {u"max_tokens"_s, 4000},
        };
        UiSupport::writeConfig(configPath(), QJsonDocument(config).toJson());
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        const PageShots::Shot shot
            = PageShots::render(&model, SidebarItem::defaults(SectionID::Telegram), u"telegram"_s,
                                PageShots::folder(m_dir->path()));
        QVERIFY(!shot.file.isEmpty());
        QCOMPARE(shot.size, QSize(1020, 700));
        QVERIFY2(shot.clipped.isEmpty(), qPrintable(shot.clipped.join(u"; "_s)));
    }
};

QTEST_MAIN(TestTelegramPage)
#include "tst_telegrampage.moc"
