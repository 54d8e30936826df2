// Skill files written the way people write them (fenced code full of "# comments", YAML block
// scalars, a very long description, "~~~" fences), installed through the Registry page from a
// loopback GitHub, then looked at on the Skills & Features page and in a bot's skills sheet the
// way a user sees them: the title, the one-line caption, its tooltip and what a screen reader
// is told.
#include "ui/controls/elidedlabel.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/botskillssheet.h"
#include "ui/pages/registryview.h"
#include "ui/pages/skillsview.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "skills/skillcatalog.h"
#include "skills/skillfile.h"
#include "support/fakegithub.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int timeout = 10000;

const QStringList &fixtureNames()
{
    static const QStringList names{u"fenced-comments"_s, u"block-literal"_s, u"folded"_s,
                                   u"long-description"_s, u"tilde-fence"_s};
    return names;
}

QString plainTextOf(const QString &toolTip)
{
    QTextDocument document;
    document.setHtml(toolTip);
    return document.toPlainText();
}

QString accessibleDescription(QWidget *widget)
{
    QAccessibleInterface *face = QAccessible::queryAccessibleInterface(widget);
    return face ? face->text(QAccessible::Description) : u"<none>"_s;
}

} // namespace

class TestWildSkills final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    FakeGithub m_github;
    InMemoryTransport m_transport;
    QNetworkAccessManager m_network;
    std::unique_ptr<SettingsModel> m_model;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

private Q_SLOTS:
    void initTestCase()
    {
        // One source repository holding the five skills, each at skills/<name>/SKILL.md.
        QStringList paths;
        for (const QString &name : fixtureNames()) {
            paths.append(u"skills/"_s + name + u"/SKILL.md"_s);
            m_github.serveRaw(
                u"/someone/wild/main/skills/"_s + name + u"/SKILL.md"_s,
                TestSupport::readFile(TestSupport::fixture(u"skills/wild/"_s + name + u".md"_s)));
        }
        m_github.serveApi(u"/repos/someone/wild"_s,
                          FakeGithub::repositoryInfo(u"someone/wild"_s, u"main"_s));
        m_github.serveApi(u"/repos/someone/wild/git/trees/main"_s, FakeGithub::tree(paths));

        UiSupport::writeConfig(
            configPath(), "{\"skill_sources\": [\"someone/wild\"], \"bot_tokens\": [\"1:a\"]}");
        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, m_github.apiBase(), m_github.rawBase()});
        m_model->loadSkillsAndFeatures();

        // Installed the way a user does it: Load full catalog, find the skill, press Install.
        RegistryView registry(m_model.get());
        registry.resize(820, 700);
        registry.show();
        QVERIFY(QTest::qWaitForWindowExposed(&registry));
        QTest::mouseClick(UiSupport::find<QAbstractButton>(&registry, u"loadFullCatalog"_s),
                          Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!m_model->catalogLoading(), timeout);
        for (const QString &name : fixtureNames()) {
            WindowState::of(m_model.get())->setRegistryFilter(SkillCatalog::titleFromName(name));
            WindowState::of(m_model.get())->setRegistryPage(0);
            QAbstractButton *install = nullptr;
            QTRY_VERIFY_WITH_TIMEOUT(
                (install = registry.findChild<QAbstractButton *>(u"install:"_s + name)), timeout);
            QTest::mouseClick(install, Qt::LeftButton);
            QTRY_VERIFY_WITH_TIMEOUT(registry.findChild<QLabel *>(u"installed:"_s + name), timeout);
        }
    }

    void skillsPageShowsWhatTheFilesSay_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("description");
        QTest::newRow("fenced comments")
            << u"fenced-comments"_s << u"Key rotation"_s
            << u"Rotate the keys of a home server and keep a dated log of every change."_s;
        QTest::newRow("literal block")
            << u"block-literal"_s << u"Meal planner"_s
            << u"Plans a week of meals from what is already in the fridge. Writes a shopping list "
               "for the rest, sorted by the aisles of the user's usual shop."_s;
        QTest::newRow("folded block")
            << u"folded"_s << u"Memo to minutes"_s
            << u"Turns a voice memo into tidy meeting notes with decisions, owners and dates, then "
               "asks before sending them to anyone."_s;
        QTest::newRow("long description")
            << u"long-description"_s << u"Careful review"_s
            << SkillFile::parse(u"x"_s,
                                QString::fromUtf8(TestSupport::readFile(
                                    TestSupport::fixture(u"skills/wild/long-description.md"_s))),
                                {})
                   .description;
        QTest::newRow("tilde fence")
            << u"tilde-fence"_s << u"Watering diary"_s
            << u"Keeps a plant's watering diary and says which pot is due today."_s;
    }

    void skillsPageShowsWhatTheFilesSay()
    {
        QFETCH(QString, name);
        QFETCH(QString, title);
        QFETCH(QString, description);
        QCOMPARE(description.size() > 600, name == u"long-description"_s);

        SkillsView page(m_model.get());
        page.resize(1020 - 220, 700);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        auto *row = UiSupport::find<ToggleRow>(&page, u"skillRow:"_s + name);
        QVERIFY(row);
        QCOMPARE(row->titleLabel()->text(), title);

        const QString caption = description + u"  ·  Try: \"ask me to use it\""_s;
        auto *label = qobject_cast<ElidedLabel *>(row->explainerLabel());
        QVERIFY(label);
        QCOMPARE(label->fullText(), caption);
        QCOMPARE(label->textFormat(), Qt::PlainText);
        // One line that fits the row; a long description is cut, the example stays.
        const QString shown = label->text();
        QVERIFY(!shown.contains(u'\n'));
        QVERIFY(label->fontMetrics().horizontalAdvance(shown) <= label->contentsRect().width());
        QVERIFY(shown.endsWith(u"Try: \"ask me to use it\""_s));
        if (shown != caption) {
            // Cut inside the description, never inside the example.
            QVERIFY(label->isElided());
            QVERIFY(shown.contains(u"…  ·  Try: "_s));
            QVERIFY(caption.startsWith(shown.left(shown.indexOf(u'…'))));
        }
        if (name == u"long-description"_s)
            QVERIFY(label->isElided());
        // Whatever the length, the caption takes one line.
        QVERIFY(label->height() < 2 * label->fontMetrics().lineSpacing());
        // The whole text in the tooltip, as plain text, and for screen readers on the switch.
        QCOMPARE(plainTextOf(label->toolTip()), caption);
        QCOMPARE(accessibleDescription(row->toggle()), caption);
        QCOMPARE(accessibleDescription(label), caption);
    }

    void botSkillsSheetCutsLongDescriptionsToo()
    {
        BotSkillsSheet sheet(m_model.get(), 0);
        sheet.show();
        QVERIFY(QTest::qWaitForWindowExposed(&sheet));
        auto *row = UiSupport::find<ToggleRow>(&sheet, u"botSkillRow:long-description"_s);
        QVERIFY(row);
        QCOMPARE(row->titleLabel()->text(), u"Careful review"_s);
        auto *label = qobject_cast<ElidedLabel *>(row->explainerLabel());
        QVERIFY(label);
        QVERIFY(label->isElided());
        QVERIFY(label->text().endsWith(u'…'));
        QCOMPARE(label->fullText().size(), 700);
        QCOMPARE(plainTextOf(label->toolTip()), label->fullText());
        QCOMPARE(accessibleDescription(row->toggle()), label->fullText());

        auto *fenced = UiSupport::find<ToggleRow>(&sheet, u"botSkillRow:fenced-comments"_s);
        QCOMPARE(fenced->titleLabel()->text(), u"Key rotation"_s);
        QCOMPARE(fenced->explainerLabel()->text(),
                 u"Rotate the keys of a home server and keep a dated log of every change."_s);
    }
};

QTEST_MAIN(TestWildSkills)
#include "tst_wildskills.moc"
