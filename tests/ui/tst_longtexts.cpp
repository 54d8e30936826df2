#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/pageshots.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QComboBox>
#include <QDir>
#include <QHelpEvent>
#include <QJsonArray>
#include <QJsonObject>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolTip>
#include <QWindow>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qsizetype length = 400;

// One word of 400 characters: the worst case, nothing to wrap at.
QString word(const QString &start)
{
    return QString(start + QString(length, u'x')).left(length);
}

// 400 characters of words.
QString words(const QString &start)
{
    QString text = start;
    for (int i = 0; text.size() < length; ++i)
        text += u" word"_s + QString::number(i);
    return text.left(length);
}

QJsonObject fallback()
{
    const QString url = QString(u"https://"_s + QString(380, u'h') + u".example/v1"_s).left(length);
    return {{u"name"_s, words(u"Backup"_s)},
            {u"base_url"_s, url},
            {u"api_key"_s, word(u"sk-"_s)},
            {u"model"_s, word(u"model-"_s)}};
}

} // namespace

// Texts of 400 characters in every value a user or the service can set: nicknames, addresses,
// model names, prompts, trigger words, skill titles and descriptions, the status file's
// handle, a custom mode, a persona file, a skills source. No page may push a control out of
// the window, at its first size or at its minimum; long one-line texts end in "…" and show
// whole when hovered, long paragraphs wrap.
class TestLongTexts final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<MainWindow> m_window;

    QString folder() const { return m_dir.filePath(word(u"folder"_s).left(200)); }
    QString configPath() const { return QDir(folder()).filePath(u"bot-config.json"_s); }
    ContentView *view() const { return m_window->contentView(); }

    QList<SidebarItem> everyPage() const
    {
        QList<SidebarItem> items;
        for (int i = 0; i < m_model->botTokens().size(); ++i)
            items.append(SidebarItem::botAt(i));
        for (SectionID section : allSections())
            items.append(SidebarItem::defaults(section));
        return items;
    }

    // Every widget of the shown page lies inside the window, and inside the page's width.
    QStringList outsideTheWindow() const
    {
        QStringList outside;
        QWidget *page = view()->currentPage();
        const QRect window = m_window->rect();
        for (QWidget *widget : page->findChildren<QWidget *>()) {
            if (!widget->isVisible() || widget->isWindow())
                continue;
            const QRect rect(widget->mapTo(m_window.get(), QPoint(0, 0)), widget->size());
            // Rows below the fold are scrolled to, not cut: only the width counts.
            if (rect.left() < window.left() || rect.right() > window.right())
                outside.append(widget->objectName().isEmpty()
                                   ? QString::fromLatin1(widget->metaObject()->className())
                                   : widget->objectName());
        }
        outside.removeDuplicates();
        return outside;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir().mkpath(QDir(folder()).filePath(u"skills"_s)));
        QJsonObject config{
            {u"base_url"_s, fallback().value(u"base_url"_s)},
            {u"api_key"_s, word(u"sk-"_s)},
            {u"model"_s, word(u"model-"_s)},
            {u"model_name"_s, words(u"Main"_s)},
            {u"fallbacks"_s, QJsonArray{fallback()}},
            {u"bot_tokens"_s, QJsonArray{QString(u"1:"_s + QString(length - 2, u't')), u"2:b"_s}},
            {u"bot_nicknames"_s, QJsonArray{word(u"Nick"_s), words(u"Nick"_s)}},
            {u"bot_profiles"_s,
             QJsonArray{
                 QJsonObject{{u"trigger_words"_s, QJsonArray{words(u"momo"_s)}},
                             {u"bot_mode"_s, word(u"mode"_s)},
                             {u"model"_s, word(u"botmodel"_s)},
                             {u"base_url"_s, fallback().value(u"base_url"_s)},
                             {u"briefing_prompt"_s, words(u"prompt"_s)},
                             {u"soul_file"_s, QString(word(u"persona"_s).left(200) + u".md"_s)},
                             {u"fallbacks"_s, QJsonArray{fallback()}}},
                 QJsonObject{}}},
            {u"briefing_prompt"_s, words(u"weather"_s)},
            {u"trigger_words"_s, QJsonArray{words(u"jarvis"_s)}},
            {u"clip_trigger_words"_s, QJsonArray{word(u"clip"_s)}},
            {u"soul_file"_s, QDir(folder()).filePath(u"soul.md"_s)},
            {u"data_dir"_s, word(u"/data"_s)},
            {u"bot_mode"_s, word(u"assistant"_s)},
            {u"skill_sources"_s, QJsonArray{word(u"owner/repo"_s)}},
        };
        UiSupport::writeConfig(configPath(), QJsonDocument(config).toJson());
        TestSupport::writeFile(QDir(folder()).filePath(u"soul.md"_s), "# soul\n");
        TestSupport::writeFile(
            QDir(folder()).filePath(QString(word(u"persona"_s).left(200) + u".md"_s)),
            "# persona\n");
        for (const auto &[name, title, description] :
             {std::tuple{u"long1"_s, word(u"Title"_s), word(u"Desc"_s)},
              std::tuple{u"long2"_s, words(u"Title"_s), words(u"Desc"_s)}}) {
            TestSupport::writeFile(QDir(folder()).filePath(u"skills/"_s + name + u".md"_s),
                                   (u"---\ntitle: \""_s + title + u"\"\ndescription: \""_s
                                    + description + u"\"\n---\nBody\n"_s)
                                       .toUtf8());
        }
        const QJsonObject status{
            {u"bot_running"_s, true},
            {u"pid"_s, 7},
            {u"bot_handle"_s, word(u"handle"_s)},
            {u"requests"_s, 1234567},
            {u"requests_by_bot"_s, QJsonArray{1000, 2000}},
            {u"bot_nicknames"_s, QJsonArray{word(u"Nick"_s), words(u"Nick"_s)}},
            {u"base_url"_s, fallback().value(u"base_url"_s)},
            {u"model"_s, word(u"model"_s)}};
        TestSupport::writeFile(QDir(folder()).filePath(u"varnook-status.json"_s),
                               QJsonDocument(status).toJson());

        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_window = std::make_unique<MainWindow>();
        QVERIFY(UiSupport::showWindow(*m_window, m_model.get()));
        QTRY_COMPARE(m_model->skills().size(), 2);
        QTRY_VERIFY(m_model->status().botRunning);
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_model.reset();
    }

    void noControlLeavesTheWindow_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("first size") << MainWindow::initialSize();
        QTest::newRow("minimum size") << ContentView::minimumContentSize();
    }
    void noControlLeavesTheWindow()
    {
        QFETCH(QSize, size);
        m_window->resize(size);
        QTRY_COMPARE(m_window->size(), size);
        const QString shots = PageShots::folder(m_dir.path());
        for (const SidebarItem &item : everyPage()) {
            WindowState::of(m_model.get())->setSelection(item);
            UiSupport::settle(100);
            const QString name
                = item.isBot() ? u"bot-%1"_s.arg(item.bot + 1) : sectionRawValue(item.section);
            m_window->grab().save(
                QDir(shots).filePath(u"long-%1-%2.png"_s.arg(name).arg(size.width())), "PNG");
            const QStringList outside = outsideTheWindow();
            QVERIFY2(outside.isEmpty(), qPrintable(name + u": "_s + outside.join(u", "_s)));
            const QStringList clipped = PageShots::clippedWidgets(view()->currentPage());
            QVERIFY2(clipped.isEmpty(), qPrintable(name + u": "_s + clipped.join(u"; "_s)));
            // Nothing to scroll sideways: everything fits the page's width.
            auto *area = view()->currentPage()->findChild<QScrollArea *>();
            if (!area)
                area = qobject_cast<QScrollArea *>(view()->currentPage());
            QVERIFY(area);
            QCOMPARE(area->horizontalScrollBar()->maximum(), 0);
        }
        m_window->resize(MainWindow::initialSize());
    }

    // A long nickname as the page heading ends in "…"; hovering it shows it whole, as written.
    void elidedTextsShowWholeWhenHovered()
    {
        WindowState::of(m_model.get())->setSelection(SidebarItem::botAt(0));
        UiSupport::settle(100);
        auto *heading = UiSupport::find<ElidingLabel>(view()->currentPage(), u"pageHeading"_s);
        QVERIFY(heading);
        QCOMPARE(heading->text(), word(u"Nick"_s));
        QVERIFY(heading->isElided());
        QVERIFY(heading->width() <= view()->currentPage()->width());
        const QPoint at = heading->rect().center();
        QHelpEvent hover(QEvent::ToolTip, at, heading->mapToGlobal(at));
        QCoreApplication::sendEvent(heading, &hover);
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), plainToolTip(word(u"Nick"_s)));
        QToolTip::hideText();

        // The status line too.
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Model));
        UiSupport::settle(100);
        auto *status = UiSupport::find<StatusRow>(view()->currentPage(), u"statusRow"_s);
        QVERIFY(status);
        auto *value = qobject_cast<ElidingLabel *>(status->valueLabel());
        QVERIFY(value);
        QVERIFY(value->isElided());
        QCOMPARE(value->fullText(), status->value());
        QVERIFY(status->value().startsWith(u"Running as "_s));
        QVERIFY(status->value().contains(word(u"Nick"_s)));
    }

    // A window made smaller than its minimum (a desktop without a window manager allows it)
    // scrolls sideways to what does not fit, instead of cutting it off.
    void aWindowBelowItsMinimumScrollsSideways()
    {
        WindowState::of(m_model.get())->setSelection(SidebarItem::defaults(SectionID::Telegram));
        UiSupport::settle(100);
        m_window->windowHandle()->resize(700, 500);
        QTRY_COMPARE(m_window->width(), 700);
        auto *area = UiSupport::find<QScrollArea>(m_window.get(), u"windowScroll"_s);
        QVERIFY(area);
        QTRY_VERIFY(area->horizontalScrollBar()->isVisible());
        QCOMPARE(area->horizontalScrollBar()->maximum(),
                 ContentView::minimumContentSize().width() - area->viewport()->width());
        // Scrolled to the end, the right edge of the page is in view.
        area->horizontalScrollBar()->setValue(area->horizontalScrollBar()->maximum());
        UiSupport::settle();
        QWidget *page = view()->currentPage();
        const int pageRight = page->mapTo(m_window.get(), QPoint(page->width(), 0)).x();
        QVERIFY2(pageRight <= m_window->width(), qPrintable(QString::number(pageRight)));
        m_window->resize(MainWindow::initialSize());
        QTRY_VERIFY(!area->horizontalScrollBar()->isVisible());
    }
};

QTEST_MAIN(TestLongTexts)
#include "tst_longtexts.moc"
