// The Skills & Features page driven like a user drives it, checked on screen and on disk.
#include "ui/pages/skillsview.h"

#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray skillFile(const QByteArray &description, const QByteArray &heading)
{
    QByteArray text;
    if (!description.isEmpty())
        text += "---\ndescription: " + description + "\n---\n";
    if (!heading.isEmpty())
        text += "# " + heading + "\n";
    return text;
}

} // namespace

class TestSkillsView final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<SkillsView> m_view;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    QString skillsPath() const { return m_dir.filePath(u"skills"_s); }
    void writeSkill(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillsPath() + u'/' + name + u".md"_s, bytes);
    }
    QJsonObject file() const { return UiSupport::readConfig(configPath()); }
    int configChangedPosts() const
    {
        int n = 0;
        for (const InMemoryTransport::Post &post : m_transport.posts())
            n += post.name == Notifications::configChanged() ? 1 : 0;
        return n;
    }

    void open(const QByteArray &config = "{}")
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_model->loadSkillsAndFeatures();
        m_transport.clear();
        m_view = std::make_unique<SkillsView>(m_model.get());
        m_view->resize(820, 700);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }
    ToggleRow *row(const QString &skill) const
    {
        return UiSupport::find<ToggleRow>(m_view.get(), u"skillRow:"_s + skill);
    }
    SwitchButton *toggle(const QString &objectName) const
    {
        return UiSupport::find<SwitchButton>(m_view.get(), objectName);
    }

private Q_SLOTS:
    void init()
    {
        QDir(skillsPath()).removeRecursively();
        QFile::remove(configPath());
        m_transport.clear();
        writeSkill(u"stock-research"_s, skillFile("Deep-dive one stock.", "Stock Research"));
        writeSkill(u"currency"_s, skillFile("Convert currencies.", "Currency"));
        writeSkill(u"briefing"_s, skillFile("Your morning summary.", "Briefing"));
        writeSkill(u"pdf"_s, skillFile("Work with PDF files.", "PDF"));
        writeSkill(u"my-notes"_s, QByteArray());
        writeSkill(u"weather"_s, skillFile("Local forecast.", "Weather"));
    }
    void cleanup()
    {
        m_view.reset();
        m_model.reset();
    }

    void pageShowsTitleFeatureSwitchesAndGroupsInFixedOrder()
    {
        open("{\"backfill_missed\": false, \"briefing_crypto\": true}");
        QCOMPARE(m_view->page()->headingLabel()->text(), u"Skills & Features"_s);
        QVERIFY(!toggle(u"backfillMissed"_s)->isChecked());
        QVERIFY(toggle(u"briefingCrypto"_s)->isChecked());
        QVERIFY(toggle(u"autoMemory"_s)->isChecked()); // absent means on
        // Media and Tools have no skill here, so they have no section.
        QCOMPARE(UiSupport::groupTitles(m_view.get()),
                 (QStringList{u"Features"_s, u"Research"_s, u"Daily"_s, u"General"_s,
                              u"From registry"_s}));
        auto *features = UiSupport::find<SettingsGroup>(m_view.get(), u"featuresGroup"_s);
        QStringList labels;
        for (ToggleRow *feature : features->findChildren<ToggleRow *>())
            labels.append(feature->title() + u" | "_s + feature->explainer());
        QCOMPARE(
            labels,
            (QStringList{
                u"Backfill missed messages | Answer messages sent while the bot was offline."_s,
                u"BTC/ETH in morning briefing | Include crypto quotes in the daily briefing."_s,
                u"Auto-memory | Write a past-day summary to long-term memory each night."_s}));
    }

    void featureSwitchWritesItsBooleanAndPostsConfigChanged()
    {
        open();
        QTest::mouseClick(toggle(u"briefingCrypto"_s), Qt::LeftButton);
        QCOMPARE(file().value("briefing_crypto"_L1), QJsonValue(true));
        // Every save writes all three features as booleans.
        QCOMPARE(file().value("backfill_missed"_L1), QJsonValue(true));
        QCOMPARE(file().value("auto_memory"_L1), QJsonValue(true));
        QCOMPARE(configChangedPosts(), 1);
        QTest::mouseClick(toggle(u"autoMemory"_s), Qt::LeftButton);
        QCOMPARE(file().value("auto_memory"_L1), QJsonValue(false));
        QVERIFY(!m_model->autoMemory());
    }

    void groupSectionsListTheirSkillsInListOrder()
    {
        open();
        auto *research = UiSupport::find<SettingsGroup>(m_view.get(), u"researchGroup"_s);
        QStringList titles;
        for (ToggleRow *skill : research->findChildren<ToggleRow *>())
            titles.append(skill->title());
        // The master switch first, then currency before stock-research (folder order).
        QCOMPARE(titles,
                 (QStringList{u"All Research skills"_s, u"Currency"_s, u"Stock Research"_s}));
        auto *master = research->findChildren<ToggleRow *>().constFirst();
        QCOMPARE(master->explainer(), u"Master switch for this group."_s);
        QCOMPARE(UiSupport::find<SettingsGroup>(m_view.get(), u"fromRegistryGroup"_s)
                     ->findChildren<ToggleRow *>()
                     .constLast()
                     ->title(),
                 u"PDF"_s);
    }

    void skillCaptionJoinsDescriptionAndExamplePrompt()
    {
        open();
        QCOMPARE(row(u"stock-research"_s)->explainerLabel()->text(),
                 u"Deep-dive one stock.  ·  Try: \"research TSLA\""_s);
        QCOMPARE(row(u"currency"_s)->explainerLabel()->text(),
                 u"Convert currencies.  ·  Try: \"how much is 50 USD in CAD?\""_s);
    }

    void skillWithoutExamplePromptSaysAskMeToUseIt()
    {
        open();
        QCOMPARE(row(u"weather"_s)->explainerLabel()->text(),
                 u"Local forecast.  ·  Try: \"ask me to use it\""_s);
    }

    void skillWithoutDescriptionDropsTheSeparator()
    {
        open();
        QCOMPARE(row(u"my-notes"_s)->title(), u"My Notes"_s);
        QCOMPARE(row(u"my-notes"_s)->explainerLabel()->text(), u"Try: \"ask me to use it\""_s);
    }

    void skillSwitchOffWritesTheDisabledListAndPostsConfigChanged()
    {
        open();
        SwitchButton *sw = toggle(u"skill:weather"_s);
        QVERIFY(sw->isChecked());
        QTest::mouseClick(sw, Qt::LeftButton);
        QVERIFY(!sw->isChecked());
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 QStringList{u"weather"_s});
        QCOMPARE(configChangedPosts(), 1);

        QTest::mouseClick(sw, Qt::LeftButton);
        QVERIFY(sw->isChecked());
        // The last disabled skill back on leaves an empty array, not a missing key.
        QVERIFY(file().value("enabled_skills"_L1).isArray());
        QVERIFY(file().value("enabled_skills"_L1).toArray().isEmpty());
        QCOMPARE(configChangedPosts(), 2);
    }

    void disabledSkillsShowTheirSwitchOff()
    {
        open("{\"enabled_skills\": [\"briefing\"]}");
        QVERIFY(!toggle(u"skill:briefing"_s)->isChecked());
        QVERIFY(toggle(u"skill:weather"_s)->isChecked());
    }

    void disabledNameWithoutAFileStaysInTheListAndShowsNothing()
    {
        open("{\"enabled_skills\": [\"ghost\"]}");
        QVERIFY(!m_view->findChild<QWidget *>(u"skillRow:ghost"_s));
        QTest::mouseClick(toggle(u"skill:weather"_s), Qt::LeftButton);
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 (QStringList{u"ghost"_s, u"weather"_s}));
    }

    void groupWithAllSkillsOffShowsMasterOffAndFollowsItsSkills()
    {
        open("{\"enabled_skills\": [\"currency\", \"stock-research\"]}");
        SwitchButton *master = toggle(u"researchMaster"_s);
        QVERIFY(!master->isChecked());

        // Enabling any one skill turns the master on.
        QTest::mouseClick(toggle(u"skill:currency"_s), Qt::LeftButton);
        QVERIFY(master->isChecked());
        QVERIFY(!toggle(u"skill:stock-research"_s)->isChecked());

        // The master off disables every skill of the group, and only of that group.
        m_transport.clear();
        QTest::mouseClick(master, Qt::LeftButton);
        QVERIFY(!master->isChecked());
        QVERIFY(!toggle(u"skill:currency"_s)->isChecked());
        QVERIFY(!toggle(u"skill:stock-research"_s)->isChecked());
        QVERIFY(toggle(u"skill:briefing"_s)->isChecked());
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 (QStringList{u"stock-research"_s, u"currency"_s}));
        // One write and one notification per skill of the group.
        QCOMPARE(configChangedPosts(), 2);

        // The master on turns the whole group on.
        QTest::mouseClick(master, Qt::LeftButton);
        QVERIFY(toggle(u"skill:currency"_s)->isChecked());
        QVERIFY(toggle(u"skill:stock-research"_s)->isChecked());
        QVERIFY(file().value("enabled_skills"_L1).toArray().isEmpty());
    }

    void registrySkillHasATrashButtonAndBuiltInSkillsNever()
    {
        open();
        auto *trash = UiSupport::find<QToolButton>(m_view.get(), u"deleteSkill:pdf"_s);
        QVERIFY(trash->isVisible());
        QCOMPARE(trash->toolTip(), u"Delete this skill"_s);
        QCOMPARE(trash->property("symbol").toString(), u"trash"_s);
        QVERIFY(trash->autoRaise());
        const QList<QToolButton *> all = m_view->findChildren<QToolButton *>();
        QStringList deletable;
        for (QToolButton *button : all) {
            if (button->objectName().startsWith(u"deleteSkill:"))
                deletable.append(button->objectName());
        }
        QCOMPARE(deletable, QStringList{u"deleteSkill:pdf"_s});
    }

    void trashButtonDeletesTheFileAndItsDisabledEntry()
    {
        open("{\"enabled_skills\": [\"pdf\", \"weather\"]}");
        QVERIFY(QFile::exists(skillsPath() + u"/pdf.md"_s));
        QTest::mouseClick(UiSupport::find<QToolButton>(m_view.get(), u"deleteSkill:pdf"_s),
                          Qt::LeftButton);
        QVERIFY(!QFile::exists(skillsPath() + u"/pdf.md"_s));
        QCOMPARE(TestSupport::jsonStrings(file().value("enabled_skills"_L1)),
                 QStringList{u"weather"_s});
        QCOMPARE(configChangedPosts(), 1);
        UiSupport::settle();
        QVERIFY(!m_view->findChild<QWidget *>(u"skillRow:pdf"_s));
        // The section of a group left without skills goes away.
        QVERIFY(!UiSupport::groupTitles(m_view.get()).contains(u"From registry"_s));
    }

    void skillTextsFromFilesAreShownAsPlainText()
    {
        writeSkill(u"hostile"_s, skillFile("<img src=x> <b>bold</b>", "<a href='x'>Click</a>"));
        open();
        ToggleRow *hostile = row(u"hostile"_s);
        QCOMPARE(hostile->titleLabel()->text(), u"<a href='x'>Click</a>"_s);
        QVERIFY(hostile->explainerLabel()->text().startsWith(u"<img src=x> <b>bold</b>"_s));
        for (QLabel *label : m_view->findChildren<QLabel *>())
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void windowFilterHidesSkillRowsThatDoNotMatch()
    {
        open();
        WindowState::of(m_model.get())->setFilter(u"TSLA"_s);
        QTRY_VERIFY(!row(u"weather"_s)->isVisible());
        QVERIFY(row(u"stock-research"_s)->isVisible());
        QTRY_COMPARE(UiSupport::groupTitles(m_view.get()), QStringList{u"Research"_s});
        WindowState::of(m_model.get())->setFilter(QString());
        QTRY_VERIFY(row(u"weather"_s)->isVisible());
    }

    void switchFlipKeepsTheRowsInPlace()
    {
        open();
        QWidget *before = row(u"weather"_s);
        QTest::mouseClick(toggle(u"skill:weather"_s), Qt::LeftButton);
        UiSupport::settle();
        // Only a change in which skills there are rebuilds the sections.
        QCOMPARE(row(u"weather"_s), before);
    }

    void everyControlIsNamedAndIconButtonsCarryTheirHelp()
    {
        open();
        {
            const QStringList problems = UiSupport::unnamedOrSilentControls(m_view.get());
            QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u", "_s)));
        }
    }

    void emptySkillsFolderSaysWhereSkillsComeFrom()
    {
        QDir(skillsPath()).removeRecursively();
        open();
        auto *none = UiSupport::find<QLabel>(m_view.get(), u"noSkills"_s);
        QVERIFY(none->isVisible());
        QVERIFY(none->text().contains(skillsPath()));
        QCOMPARE(UiSupport::groupTitles(m_view.get()), QStringList{u"Features"_s});
    }

    void renderingAt1020x700ShowsEveryRowUnclipped()
    {
        UiSupport::writeConfig(configPath(), "{\"enabled_skills\": [\"currency\"]}");
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Skills));
        UiSupport::settle();
        auto *view = window.findChild<SkillsView *>();
        QVERIFY(view);
        QScrollArea *scroll = view->page();
        const int viewportWidth = scroll->viewport()->width();
        // No row is wider than the page: nothing is cut off at the right edge.
        for (SettingRow *settingRow : view->findChildren<SettingRow *>()) {
            if (!settingRow->isVisible())
                continue;
            const QPoint right
                = settingRow->mapTo(scroll->viewport(), settingRow->rect().topRight());
            QVERIFY2(right.x() < viewportWidth, qPrintable(settingRow->objectName()));
        }
        QVERIFY(scroll->verticalScrollBar()->maximum() > 0); // the groups run below the fold

        const QString folder = QStringLiteral(VARNOOK_BINARY_DIR "/renderings");
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + u"/skills.png"_s;
        QVERIFY(window.grab().save(path, "PNG"));
        QCOMPARE(QImage(path).size(), MainWindow::initialSize());
        window.hide();
    }
};

QTEST_MAIN(TestSkillsView)
#include "tst_skillsview.moc"
