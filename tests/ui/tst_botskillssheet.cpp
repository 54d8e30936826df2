// The per-bot skills sheet: its switches on the bot's own list, the footer and "Reset to
// default", the title that follows the bot's name, and the model's record of the open sheet.
#include "ui/pages/botskillssheet.h"

#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "ui/pages/botpage.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray twoBots(const QByteArray &firstProfile = "{}", const QByteArray &globalOff = "[]")
{
    return "{\"bot_tokens\": [\"1:A\", \"2:B\"], \"bot_nicknames\": [\"Trading\", \"\"],"
           " \"enabled_skills\": "
           + globalOff + ", \"bot_profiles\": [" + firstProfile + ", {}]}";
}

} // namespace

class TestBotSkillsSheet final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<BotSkillsSheet> m_sheet;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir.filePath(u"skills"_s); }
    QJsonObject fileProfile(int bot) const
    {
        return UiSupport::readConfig(configPath())
            .value("bot_profiles"_L1)
            .toArray()
            .at(bot)
            .toObject();
    }
    void writeSkill(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u'/' + name + u".md"_s, bytes);
    }
    void load(const QByteArray &config)
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_model->loadSkillsAndFeatures();
        m_transport.clear();
    }
    // Shown without a modal loop: show() returns at once.
    BotSkillsSheet *open(int bot)
    {
        m_sheet = std::make_unique<BotSkillsSheet>(m_model.get(), bot);
        m_sheet->show();
        if (!QTest::qWaitForWindowExposed(m_sheet.get()))
            return nullptr;
        return m_sheet.get();
    }
    SwitchButton *toggle(const QString &skill) const
    {
        return UiSupport::find<SwitchButton>(m_sheet.get(), u"botSkill:"_s + skill);
    }

private Q_SLOTS:
    void init()
    {
        QDir(skillsPath()).removeRecursively();
        m_transport.clear();
        writeSkill(u"stock-research"_s, "---\ndescription: Deep-dive one stock.\n---\n");
        writeSkill(u"briefing"_s, "# Briefing\n");
        writeSkill(u"memory"_s, "# Memory\n");
        writeSkill(u"weather"_s, "# Weather\n");
        writeSkill(u"pdf"_s, "# PDF\n");
    }
    void cleanup()
    {
        m_sheet.reset();
        m_model.reset();
        QFile::remove(configPath());
    }

    void sheetShowsTitleCaptionAndSkillsGroupedAsOnTheSkillsPage()
    {
        load(twoBots());
        BotSkillsSheet *sheet = open(0);
        QCOMPARE(sheet->titleLabel()->text(), u"Skills for Trading"_s);
        QCOMPARE(sheet->windowTitle(), u"Skills for Trading"_s);
        QCOMPARE(UiSupport::find<QLabel>(sheet, u"sheetCaption"_s)->text(),
                 u"This list is the bot's override; Reset to default clears it."_s);
        QCOMPARE(
            UiSupport::groupTitles(m_sheet.get()),
            (QStringList{u"Research"_s, u"Daily"_s, u"Tools"_s, u"General"_s, u"From registry"_s}));
        for (const QString &skill :
             {u"stock-research"_s, u"briefing"_s, u"memory"_s, u"weather"_s, u"pdf"_s})
            QVERIFY2(toggle(skill)->isChecked(), qPrintable(skill));
        QCOMPARE(sheet->footerLabel()->text(), u"Follows the defaults exactly."_s);
        QVERIFY(!sheet->resetButton()->isVisible());
        QCOMPARE(sheet->doneButton()->text(), u"Done"_s);
    }

    void unnamedBotIsCalledByItsNumberAndTheTitleFollowsItsNickname()
    {
        load(twoBots());
        BotSkillsSheet *sheet = open(1);
        QCOMPARE(sheet->titleLabel()->text(), u"Skills for Bot 2"_s);
        m_model->setBotNickname(1, u"<i>News</i>"_s);
        QCOMPARE(sheet->titleLabel()->text(), u"Skills for <i>News</i>"_s);
        for (QLabel *label : sheet->findChildren<QLabel *>())
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void switchesAreOnExceptForTheBotsOwnDisabledNames()
    {
        load(twoBots("{\"enabled_skills\": [\"weather\", \"pdf\"]}"));
        BotSkillsSheet *sheet = open(0);
        QVERIFY(!toggle(u"weather"_s)->isChecked());
        QVERIFY(!toggle(u"pdf"_s)->isChecked());
        QVERIFY(toggle(u"memory"_s)->isChecked());
        QCOMPARE(sheet->footerLabel()->text(), u"2 skill(s) disabled on top of the defaults."_s);
        QVERIFY(sheet->resetButton()->isVisible());
    }

    void switchingOffAddsTheNameOnceAndSaves()
    {
        load(twoBots());
        BotSkillsSheet *sheet = open(0);
        QTest::mouseClick(toggle(u"memory"_s), Qt::LeftButton);
        QCOMPARE(TestSupport::jsonStrings(fileProfile(0).value("enabled_skills"_L1)),
                 QStringList{u"memory"_s});
        QCOMPARE(m_transport.posts().size(), 1);
        QCOMPARE(sheet->footerLabel()->text(), u"1 skill(s) disabled on top of the defaults."_s);
        QVERIFY(sheet->resetButton()->isVisible());
        // The other bot and the global list are untouched.
        QVERIFY(!fileProfile(1).contains("enabled_skills"_L1));
        QVERIFY(UiSupport::readConfig(configPath()).value("enabled_skills"_L1).toArray().isEmpty());
    }

    void switchingOnRemovesEveryOccurrence()
    {
        load(twoBots("{\"enabled_skills\": [\"memory\", \"weather\", \"memory\"]}"));
        open(0);
        QVERIFY(!toggle(u"memory"_s)->isChecked());
        QTest::mouseClick(toggle(u"memory"_s), Qt::LeftButton);
        QVERIFY(toggle(u"memory"_s)->isChecked());
        QCOMPARE(TestSupport::jsonStrings(fileProfile(0).value("enabled_skills"_L1)),
                 QStringList{u"weather"_s});
    }

    void resetToDefaultClearsTheBotsList()
    {
        load(twoBots("{\"enabled_skills\": [\"weather\", \"pdf\"]}"));
        BotSkillsSheet *sheet = open(0);
        QTest::mouseClick(sheet->resetButton(), Qt::LeftButton);
        QVERIFY(m_model->botProfiles().at(0).disabledSkills.isEmpty());
        QVERIFY(!fileProfile(0).contains("enabled_skills"_L1));
        QCOMPARE(sheet->footerLabel()->text(), u"Follows the defaults exactly."_s);
        QVERIFY(!sheet->resetButton()->isVisible());
        QVERIFY(toggle(u"weather"_s)->isChecked());
        QVERIFY(toggle(u"pdf"_s)->isChecked());
    }

    void skillOffGloballyStaysOffForTheBotWhateverItsList()
    {
        load(twoBots("{}", "[\"briefing\"]"));
        open(0);
        SwitchButton *briefing = toggle(u"briefing"_s);
        // The bot's list does not hold it, yet it shows off and cannot be switched on here.
        QVERIFY(!briefing->isChecked());
        QVERIFY(!briefing->isEnabled());
        QVERIFY(!m_model->effectiveEnabled(0, u"briefing"_s));
        auto *row = UiSupport::find<ToggleRow>(m_sheet.get(), u"botSkillRow:briefing"_s);
        QCOMPARE(row->explainer(), u"Switched off for every bot on the Skills & Features page."_s);
        QTest::mouseClick(briefing, Qt::LeftButton);
        QVERIFY(m_model->botProfiles().at(0).disabledSkills.isEmpty());

        // Switched back on globally, the bot follows at once.
        m_model->setSkillEnabled(u"briefing"_s, true);
        QVERIFY(briefing->isEnabled());
        QVERIFY(briefing->isChecked());
        QVERIFY(m_model->effectiveEnabled(0, u"briefing"_s));
    }

    void newlyInstalledSkillAppearsInTheOpenSheet()
    {
        load(twoBots());
        open(0);
        QVERIFY(!m_sheet->findChild<QWidget *>(u"botSkill:currency"_s));
        writeSkill(u"currency"_s, "# Currency\n");
        m_model->loadSkillsAndFeatures();
        UiSupport::settle();
        QVERIFY(toggle(u"currency"_s));
        QVERIFY(toggle(u"currency"_s)->isChecked());
    }

    void doneClosesTheSheetAndEscapeDoesToo()
    {
        load(twoBots());
        BotSkillsSheet *sheet = open(0);
        QTest::mouseClick(sheet->doneButton(), Qt::LeftButton);
        QVERIFY(!sheet->isVisible());
        QCOMPARE(sheet->result(), int(QDialog::Accepted));
        sheet->show();
        QVERIFY(QTest::qWaitForWindowExposed(sheet));
        QTest::keyClick(sheet, Qt::Key_Escape);
        QVERIFY(!sheet->isVisible());
    }

    void openSheetIsRecordedInTheModelUntilItCloses()
    {
        load(twoBots());
        BotPage page(m_model.get(), 0);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        QTest::mouseClick(UiSupport::find<QPushButton>(&page, u"botSkillsOpen"_s), Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->skillsBot(), std::optional<int>(0));
        QTRY_VERIFY(page.skillsSheet() && page.skillsSheet()->isVisible());
        // Edits in the sheet show on the page behind it.
        QTest::mouseClick(page.skillsSheet()->findChild<SwitchButton *>(u"botSkill:weather"_s),
                          Qt::LeftButton);
        QCOMPARE(UiSupport::find<QLabel>(&page, u"botSkillsSummary"_s)->text(),
                 u"1 skill(s) disabled on top of the defaults"_s);
        QTest::keyClick(page.skillsSheet(), Qt::Key_Escape);
        QVERIFY(!WindowState::of(m_model.get())->skillsBot());
        QTRY_VERIFY(!page.skillsSheet());

        // The model can ask for the sheet too, and take it away again.
        WindowState::of(m_model.get())->setSkillsBot(0);
        QTRY_VERIFY(page.skillsSheet() && page.skillsSheet()->isVisible());
        WindowState::of(m_model.get())->setSkillsBot(std::nullopt);
        QTRY_VERIFY(!page.skillsSheet());
        // Another bot's sheet is not this page's business.
        WindowState::of(m_model.get())->setSkillsBot(1);
        UiSupport::settle();
        QVERIFY(!page.skillsSheet());
    }

    void everyControlIsNamedAndIconButtonsCarryTheirHelp()
    {
        load(twoBots("{\"enabled_skills\": [\"weather\"]}"));
        BotSkillsSheet *sheet = open(0);
        {
            const QStringList problems = UiSupport::unnamedOrSilentControls(sheet);
            QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u", "_s)));
        }
    }

    void renderingOfTheSheetOverTheWindow()
    {
        load(twoBots("{\"enabled_skills\": [\"weather\"]}", "[\"briefing\"]"));
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(0));
        UiSupport::settle();
        WindowState::of(m_model.get())->setSkillsBot(0);
        UiSupport::settle();
        auto *page = window.findChild<BotPage *>();
        QVERIFY(page);
        BotSkillsSheet *sheet = page->skillsSheet();
        QVERIFY(sheet);
        QVERIFY(QTest::qWaitForWindowExposed(sheet));
        UiSupport::settle();
        // Every switch and the footer fit inside the sheet.
        for (SwitchButton *sw : sheet->findChildren<SwitchButton *>()) {
            if (!sw->isVisible())
                continue;
            const QRect box(sw->mapTo(sheet, QPoint()), sw->size());
            QVERIFY2(box.right() < sheet->width(), qPrintable(sw->objectName()));
        }
        const QString folder = QStringLiteral(VARNOOK_BINARY_DIR "/renderings");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(sheet->grab().save(folder + u"/bot-skills-sheet.png"_s, "PNG"));
        QVERIFY(!QImage(folder + u"/bot-skills-sheet.png"_s).isNull());
        sheet->reject();
        UiSupport::settle();
        QVERIFY(!WindowState::of(m_model.get())->skillsBot());
        window.hide();
    }
};

QTEST_MAIN(TestBotSkillsSheet)
#include "tst_botskillssheet.moc"
