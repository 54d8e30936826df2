// Text that comes from outside the program (skill files, the configuration document shared with
// the bot service, the status file the service writes, persona file names, GitHub's replies) is
// shown exactly as it was written, on every page of the real window: markup is never rendered,
// entities are never decoded, and an "&" never turns into a keyboard mnemonic.
#include "ui/contentview.h"
#include "ui/controls/elidedlabel.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/fakegithub.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolTip>
#include <QTreeWidget>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// Markup a label would render, a link it would make clickable, an entity it would decode (and
// whose "&" a mnemonic would eat), and an image it would try to load.
const QStringList &hostile()
{
    static const QStringList list{u"<img src=x>"_s, u"<a href=\"https://x\">x</a>"_s,
                                  u"&lt;b&gt;"_s, u"<b>bold</b>"_s};
    return list;
}

// What a user reads for a text drawn with mnemonics: "&&" is one "&", "&x" is an underlined x.
QString withoutMnemonics(const QString &text)
{
    QString shown;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'&' && i + 1 < text.size())
            ++i;
        shown += text.at(i);
    }
    return shown;
}

QString renderedAsRichText(const QString &text)
{
    QTextDocument document;
    document.setHtml(text);
    return document.toPlainText();
}

// Tooltips and labels left at Qt::AutoText decide by the text itself.
QString autoText(const QString &text)
{
    return Qt::mightBeRichText(text) ? renderedAsRichText(text) : text;
}

// What a tooltip was meant to show: a text escaped with plainToolTip() means the plain text it
// draws; any other tooltip means its text as given.
QString meantByToolTip(const QString &tip)
{
    const QString drawn = autoText(tip);
    return tip == plainToolTip(drawn) ? drawn : tip;
}

// A label renders markup when told to, or when left at Qt::AutoText and the text looks like
// markup; a plain label with a buddy draws "&" as a mnemonic.
QString drawnBy(const QLabel *label)
{
    const QString text = label->text();
    const bool rich = label->textFormat() == Qt::RichText
                      || (label->textFormat() == Qt::AutoText && Qt::mightBeRichText(text));
    if (rich)
        return renderedAsRichText(text);
    return label->buddy() ? withoutMnemonics(text) : text;
}

// Hovers `row` the way the pointer does and returns what the tooltip that opens draws; empty
// when no tooltip opens.
QString hoverTooltip(QTreeWidget *list, QTreeWidgetItem *row)
{
    QToolTip::hideText();
    const QPoint at = list->visualItemRect(row).center();
    QHelpEvent event(QEvent::ToolTip, at, list->viewport()->mapToGlobal(at));
    QCoreApplication::sendEvent(list->viewport(), &event);
    QString drawn;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        auto *tip = qobject_cast<QLabel *>(window);
        if (tip && tip->objectName() == u"qtooltip_label" && tip->isVisible())
            drawn = drawnBy(tip);
    }
    QToolTip::hideText();
    return drawn;
}

QString describe(const QObject *object)
{
    QStringList path;
    for (const QObject *o = object; o && path.size() < 4; o = o->parent()) {
        const QString name = o->objectName();
        path.prepend(QString::fromLatin1(o->metaObject()->className())
                     + (name.isEmpty() ? QString() : u'#' + name));
    }
    return path.join(u" > "_s);
}

// One piece of text on screen: what the program handed to the widget and what the widget
// draws from it.
struct Shown {
    QString where;
    QString given;
    QString drawn;
    bool visible = false;
    const QLabel *label = nullptr;
};

void addItemTexts(QList<Shown> &texts, const QAbstractItemModel *model, const QModelIndex &parent,
                  const QString &where, bool visible)
{
    for (int row = 0; row < model->rowCount(parent); ++row) {
        for (int column = 0; column < model->columnCount(parent); ++column) {
            const QModelIndex index = model->index(row, column, parent);
            const QString display = index.data(Qt::DisplayRole).toString();
            const QString tip = index.data(Qt::ToolTipRole).toString();
            const QString at = where + u" item "_s + QString::number(row);
            if (!display.isEmpty())
                texts.append({at, display, display, visible});
            if (!tip.isEmpty())
                texts.append({at + u" tooltip"_s, tip, autoText(tip), visible});
            if (model->hasChildren(index))
                addItemTexts(texts, model, index, where, visible);
        }
    }
}

// Every text drawn by `root` and the widgets inside it, hidden ones included: a row hidden now
// can be shown by the next search or model change.
QList<Shown> textsUnder(QWidget *root)
{
    QList<Shown> texts;
    QList<QWidget *> widgets{root};
    widgets += root->findChildren<QWidget *>();
    for (QWidget *widget : std::as_const(widgets)) {
        const QString where = describe(widget);
        const bool visible = widget->isVisible();
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            texts.append({where, label->text(), drawnBy(label), visible, label});
        } else if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            texts.append({where, button->text(), withoutMnemonics(button->text()), visible});
        } else if (auto *box = qobject_cast<QGroupBox *>(widget)) {
            texts.append({where, box->title(), withoutMnemonics(box->title()), visible});
        } else if (auto *edit = qobject_cast<QLineEdit *>(widget)) {
            texts.append({where, edit->text(), edit->text(), visible});
            texts.append({where + u" placeholder"_s, edit->placeholderText(),
                          edit->placeholderText(), visible});
        } else if (auto *combo = qobject_cast<QComboBox *>(widget)) {
            for (int i = 0; i < combo->count(); ++i)
                texts.append(
                    {where + u" entry"_s, combo->itemText(i), combo->itemText(i), visible});
        } else if (auto *view = qobject_cast<QAbstractItemView *>(widget)) {
            // A header view walks its list's model too but draws only the header titles.
            if (view->model() && !qobject_cast<QHeaderView *>(view))
                addItemTexts(texts, view->model(), view->rootIndex(), where, visible);
        } else if (auto *rich = qobject_cast<QTextEdit *>(widget)) {
            texts.append({where, rich->toPlainText(), rich->toPlainText(), visible});
        } else if (auto *plain = qobject_cast<QPlainTextEdit *>(widget)) {
            texts.append({where, plain->toPlainText(), plain->toPlainText(), visible});
        } else if (auto *tabs = qobject_cast<QTabBar *>(widget)) {
            for (int i = 0; i < tabs->count(); ++i) {
                texts.append({where + u" tab"_s, tabs->tabText(i),
                              withoutMnemonics(tabs->tabText(i)), visible});
                texts.append({where + u" tab tooltip"_s, tabs->tabToolTip(i),
                              autoText(tabs->tabToolTip(i)), visible});
            }
        }
        if (!widget->toolTip().isEmpty())
            texts.append({where + u" tooltip"_s, meantByToolTip(widget->toolTip()),
                          autoText(widget->toolTip()), visible});
        if (widget->isWindow())
            texts.append({where + u" window title"_s, widget->windowTitle(), widget->windowTitle(),
                          visible});
    }
    return texts;
}

// Every place where an outside text was handed to a widget that does not draw it as it is.
QStringList mangled(const QList<Shown> &texts)
{
    QStringList problems;
    for (const Shown &text : texts) {
        for (const QString &value : hostile()) {
            if (text.given.contains(value) && !text.drawn.contains(value))
                problems.append(text.where + u": given \""_s + text.given + u"\", drawn \""_s
                                + text.drawn + u'"');
            // A label showing outside text says so itself, rather than relying on the text
            // not looking like markup today (or on escaping that the next edit forgets).
            const bool shows = text.given.contains(value) || text.drawn.contains(value);
            if (shows && text.label && text.label->textFormat() != Qt::PlainText)
                problems.append(text.where + u": textFormat "_s
                                + QString::number(int(text.label->textFormat())) + u" for \""_s
                                + text.given + u'"');
        }
    }
    problems.removeDuplicates();
    return problems;
}

// The expected values that no visible text on screen shows literally.
QStringList missing(const QList<Shown> &texts, const QStringList &expected)
{
    QStringList absent;
    for (const QString &value : expected) {
        const bool found = std::any_of(texts.cbegin(), texts.cend(), [&](const Shown &text) {
            return text.visible && text.drawn.contains(value);
        });
        if (!found)
            absent.append(value);
    }
    return absent;
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

QJsonArray array(const QStringList &list)
{
    return QJsonArray::fromStringList(list);
}

} // namespace

class TestUntrustedText final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    QNetworkAccessManager m_network;
    std::unique_ptr<FakeGithub> m_github;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<MainWindow> m_window;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    ContentView *view() const { return m_window->contentView(); }

    // Shows `item`'s page and returns it; nullptr when the window shows no page for it.
    QWidget *visit(const SidebarItem &item)
    {
        WindowState::of(m_model.get())->setSelection(item);
        UiSupport::settle();
        QWidget *page = view()->currentPage();
        if (!page || page->objectName() == u"emptyPage")
            return nullptr;
        return page;
    }

    // The page mangles no outside text and shows each of `expected` literally. (The sidebar,
    // on screen with every page, has a test of its own.)
    void checkPage(QWidget *page, const QStringList &expected)
    {
        QVERIFY(page);
        const QList<Shown> texts = textsUnder(page);
        const QStringList problems = mangled(texts);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u"\n"_s)));
        const QStringList absent = missing(texts, expected);
        QVERIFY2(absent.isEmpty(),
                 qPrintable(page->objectName() + u" does not show: "_s + absent.join(u" | "_s)));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QStringList h = hostile();

        // The configuration document, as the bot service or a hand edit may leave it.
        const QString personas = m_dir.filePath(u"personas"_s);
        QVERIFY(QDir().mkpath(personas));
        TestSupport::writeFile(personas + u"/soul.md"_s, "# Soul\n");
        TestSupport::writeFile(personas + u"/persona "_s + h.at(3) + u".md"_s, "# P\n");
        TestSupport::writeFile(personas + u"/soul "_s + h.at(2) + u".md"_s, "# S\n");
        UiSupport::writeConfig(
            configPath(),
            json(QJsonObject{{"bot_tokens"_L1, array({u"1:a"_s, u"2:b"_s, u"3:c"_s, u"4:d"_s})},
                             {"bot_nicknames"_L1, array(h)},
                             {"model"_L1, h.at(1)},
                             {"model_name"_L1, h.at(0)},
                             {"briefing_prompt"_L1, h.at(2)},
                             {"trigger_words"_L1, array({h.at(3)})},
                             {"data_dir"_L1, QString(u"/srv/"_s + h.at(3))},
                             {"soul_file"_L1, QString(personas + u"/soul.md"_s)}}));

        // Skill files whose heading and description are markup.
        const QString skills = m_dir.filePath(u"skills"_s);
        QVERIFY(QDir().mkpath(skills));
        for (int i = 0; i < h.size(); ++i) {
            const QByteArray text = "---\ndescription: " + h.at((i + 1) % h.size()).toUtf8()
                                    + "\n---\n\n# " + h.at(i).toUtf8() + "\n\nBody.\n";
            TestSupport::writeFile(skills + u"/hostile-"_s + QString::number(i) + u".md"_s, text);
        }

        // The status file: handles, nicknames, provider and model as the service reports them.
        TestSupport::writeFile(
            m_dir.filePath(u"varnook-status.json"_s),
            json(QJsonObject{{"bot_running"_L1, true},
                             {"pid"_L1, 4242},
                             {"bot_handle"_L1, QString(h.at(3) + u",beta"_s)},
                             {"bot_nicknames"_L1, array({QString(), h.at(2), h.at(0)})},
                             {"requests"_L1, 6},
                             {"requests_by_bot"_L1, QJsonArray{1, 2, 3}},
                             {"base_url"_L1, h.at(1)},
                             {"model"_L1, h.at(2)}}));

        // GitHub: search results whose names and descriptions are markup.
        m_github = std::make_unique<FakeGithub>();
        QList<QByteArray> items;
        for (int i = 0; i < h.size(); ++i)
            items.append(FakeGithub::searchItem(u"owner"_s + QString::number(i) + u'/' + h.at(i),
                                                h.at((i + 2) % h.size())));
        m_github->serveSearchPage(1, FakeGithub::searchReply(items));

        m_model = std::make_unique<SettingsModel>(
            configPath(),
            ModelEnvironment{&m_transport, &m_network, m_github->apiBase(), m_github->rawBase()});
        m_window = std::make_unique<MainWindow>();
        QVERIFY(UiSupport::showWindow(*m_window, m_model.get()));

        QTRY_COMPARE_WITH_TIMEOUT(m_model->skills().size(), qsizetype(4), TestSupport::waitMs);
        QTRY_VERIFY_WITH_TIMEOUT(m_model->status().botRunning, TestSupport::waitMs);
        m_model->searchGithub(u"skills"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_model->githubResults().size(), qsizetype(4), 10000);
        QList<RegistryEntry> catalogue;
        for (int i = 0; i < h.size(); ++i)
            catalogue.append({u"hostile-catalogue-"_s + QString::number(i), h.at(i),
                              h.at((i + 3) % h.size()),
                              m_github->rawBase() + u"/o/r/main/skills/x/SKILL.md"_s});
        m_model->setCatalogEntries(catalogue);
    }

    void cleanupTestCase()
    {
        m_window.reset();
        m_model.reset();
    }

    void sidebarShowsEveryNicknameLiterally()
    {
        visit(SidebarItem::defaults(SectionID::Updates));
        QTreeWidget *sidebar = view()->sidebar();
        for (int i = 0; i < hostile().size(); ++i) {
            QTreeWidgetItem *row = view()->itemFor(SidebarItem::botAt(i));
            QVERIFY(row);
            QCOMPARE(row->text(0), hostile().at(i));
            // The tooltip that opens over the row, if any, shows the nickname as it is too.
            const QString tip = hoverTooltip(sidebar, row);
            QVERIFY2(tip.isEmpty() || tip.contains(hostile().at(i)),
                     qPrintable(u"tooltip over bot row "_s + QString::number(i) + u" draws \""_s
                                + tip + u"\" for \""_s + hostile().at(i) + u'"'));
        }
        const QList<Shown> texts = textsUnder(sidebar);
        const QStringList problems = mangled(texts);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u"\n"_s)));
        const QStringList absent = missing(texts, hostile());
        QVERIFY2(absent.isEmpty(), qPrintable(absent.join(u" | "_s)));
    }

    void botPageShowsItsNicknameLiterally_data()
    {
        QTest::addColumn<int>("bot");
        for (int i = 0; i < hostile().size(); ++i)
            QTest::addRow("%s", qPrintable(hostile().at(i))) << i;
    }
    void botPageShowsItsNicknameLiterally()
    {
        QFETCH(int, bot);
        QWidget *page = visit(SidebarItem::botAt(bot));
        // The nickname, and the defaults the bot inherits: the model, the briefing prompt and
        // the trigger words.
        checkPage(page, {hostile().at(bot), hostile().at(1), hostile().at(2), hostile().at(3)});
        // The nickname stands alone as the page's heading and in its own field.
        const QList<Shown> texts = textsUnder(page);
        const auto exact = std::count_if(texts.cbegin(), texts.cend(), [&](const Shown &text) {
            return text.visible && text.drawn == hostile().at(bot);
        });
        QVERIFY2(exact >= 2,
                 qPrintable(u"nickname shown alone "_s + QString::number(exact) + u" time(s)"_s));
    }

    void botSkillsSheetShowsSkillTitlesLiterally()
    {
        QWidget *page = visit(SidebarItem::botAt(0));
        QVERIFY(page);
        auto *open = UiSupport::find<QPushButton>(page, u"botSkillsOpen"_s);
        QVERIFY(open);
        QTest::mouseClick(open, Qt::LeftButton);
        QDialog *sheet = nullptr;
        QTRY_VERIFY((sheet = page->findChild<QDialog *>(u"botSkillsSheet"_s))
                    && sheet->isVisible());
        UiSupport::settle();
        const QList<Shown> texts = textsUnder(sheet);
        const QStringList problems = mangled(texts);
        const QStringList absent = missing(texts, hostile());
        sheet->reject();
        UiSupport::settle();
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u"\n"_s)));
        QVERIFY2(absent.isEmpty(), qPrintable(u"sheet does not show: "_s + absent.join(u" | "_s)));
    }

    void modelPageShowsTheServiceStatusLiterally()
    {
        // A handle and the nicknames in the status line and the request breakdown, the
        // provider the service reports, and the configured model and its name.
        checkPage(visit(SidebarItem::defaults(SectionID::Model)), hostile());
    }

    void telegramPageShowsPersonaFileNamesLiterally()
    {
        checkPage(visit(SidebarItem::defaults(SectionID::Telegram)),
                  {hostile().at(2), hostile().at(3)});
    }

    void appPageShowsTheDataFolderLiterally()
    {
        checkPage(visit(SidebarItem::defaults(SectionID::App)), {hostile().at(3)});
    }

    void skillsPageShowsSkillTitlesAndDescriptionsLiterally()
    {
        checkPage(visit(SidebarItem::defaults(SectionID::Skills)), hostile());
    }

    void registryPageShowsCatalogueAndSearchResultsLiterally()
    {
        QWidget *page = visit(SidebarItem::defaults(SectionID::Registry));
        checkPage(page, hostile());
        // Both lists are there: the catalogue titles and the repositories found on GitHub.
        const QList<Shown> texts = textsUnder(page);
        QStringList repositories;
        for (int i = 0; i < hostile().size(); ++i)
            repositories.append(u"owner"_s + QString::number(i) + u'/' + hostile().at(i));
        const QStringList absent = missing(texts, repositories);
        QVERIFY2(absent.isEmpty(), qPrintable(absent.join(u" | "_s)));
    }

    void aboutAndUpdatesPagesMangleNothing_data()
    {
        QTest::addColumn<int>("section");
        QTest::addRow("about") << int(SectionID::About);
        QTest::addRow("updates") << int(SectionID::Updates);
    }
    void aboutAndUpdatesPagesMangleNothing()
    {
        QFETCH(int, section);
        checkPage(visit(SidebarItem::defaults(static_cast<SectionID>(section))), {});
    }
};

QTEST_MAIN(TestUntrustedText)
#include "tst_untrustedtext.moc"
