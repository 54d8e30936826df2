// The backup-model list as the Model page and a bot's page show it: the same parts in the same
// order on both, what each page changes (titles, buttons at the ends, the test, adding), long
// texts that stay inside the page, and both pages drawn whole in light and dark (kept in
// $VARNOOK_RENDER_DIR when set).
#include "ui/pages/botpage.h"
#include "ui/pages/modelsection.h"

#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/pagerenderer.h"
#include "ui/pages/botskillssheet.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/pageshots.h"
#include "support/uisupport.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString longText = QString(400, u'w');

// Two backup models of the defaults and two of the first bot; the second of each has texts of
// 400 characters.
QByteArray twoLists()
{
    const QByteArray l = longText.toUtf8();
    return "{\"bot_tokens\": [\"111:AAA\"], \"api_key\": \"sk-default\", \"model\": \"gpt\","
           " \"base_url\": \"http://127.0.0.1:11234/v1\","
           " \"fallbacks\": [{\"name\": \"Fast\", \"base_url\": \"http://a.example\","
           "   \"model\": \"m-a\", \"api_key\": \"key-a\"},"
           "  {\"name\": \""
           + l + "\", \"base_url\": \"http://" + l + "\", \"model\": \"" + l + "\", \"api_key\": \""
           + l
           + "\"}],"
             " \"bot_profiles\": [{\"fallbacks\": ["
             "  {\"base_url\": \"http://c.example\", \"model\": \"m-c\", \"api_key\": \"key-c\"},"
             "  {\"base_url\": \"http://"
           + l + "\", \"model\": \"" + l + "\", \"api_key\": \"" + l + "\"}]}]}";
}

QStringList texts(const QWidget *root, const QStringList &names)
{
    QStringList found;
    for (const QString &name : names) {
        auto *widget = root->findChild<QWidget *>(name);
        if (auto *label = qobject_cast<QLabel *>(widget))
            found.append(label->text());
        else if (auto *row = qobject_cast<SettingRow *>(widget))
            found.append(row->title());
        else if (auto *button = qobject_cast<QAbstractButton *>(widget))
            found.append(button->accessibleName() + u" "_s
                         + (button->isEnabled() ? u"enabled"_s : u"disabled"_s));
        else
            found.append(widget ? u"<"_s + name + u">"_s : u"<no "_s + name + u">"_s);
    }
    return found;
}

} // namespace

class TestBackupListEditor final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    std::unique_ptr<QWidget> show(std::unique_ptr<QWidget> page)
    {
        page->resize(820, 700);
        page->show();
        if (!QTest::qWaitForWindowExposed(page.get()))
            return nullptr;
        UiSupport::settle();
        return page;
    }
    std::unique_ptr<QWidget> modelPage()
    {
        return show(std::make_unique<ModelSection>(m_model.get()));
    }
    std::unique_ptr<QWidget> botPage() { return show(std::make_unique<BotPage>(m_model.get(), 0)); }

    // The whole page, scrolled or not, as a user would see it in a window tall enough.
    static bool saveWhole(QWidget *page, const QString &file)
    {
        auto *area = page->findChild<QScrollArea *>();
        return area && area->widget() && area->widget()->grab().save(file, "PNG");
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        UiSupport::writeConfig(configPath(), twoLists());
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
    }
    void cleanup() { m_model.reset(); }

    void bothPagesShowEachBackupModelWithItsButtonsAndFields()
    {
        auto model = modelPage();
        QVERIFY(model);
        QCOMPARE(texts(model.get(), {u"fallback0Title"_s, u"fallback0Up"_s, u"fallback0Down"_s,
                                     u"fallback0Remove"_s, u"fallback1Title"_s, u"fallback1Up"_s,
                                     u"fallback1Down"_s}),
                 (QStringList{u"Backup model 1"_s, u"Higher priority enabled"_s,
                              u"Lower priority enabled"_s, u"Remove this backup model enabled"_s,
                              u"Backup model 2"_s, u"Higher priority enabled"_s,
                              u"Lower priority enabled"_s}));
        auto bot = botPage();
        QVERIFY(bot);
        QCOMPARE(
            texts(bot.get(), {u"botFallback0Header"_s, u"botFallback0Up"_s, u"botFallback0Down"_s,
                              u"botFallback0Remove"_s, u"botFallback1Header"_s, u"botFallback1Up"_s,
                              u"botFallback1Down"_s}),
            (QStringList{u"Backup model 1"_s, u"Higher priority disabled"_s,
                         u"Lower priority enabled"_s, u"Remove this fallback enabled"_s,
                         u"Backup model 2"_s, u"Higher priority enabled"_s,
                         u"Lower priority disabled"_s}));

        // Each entry: its server, its key (masked), its model with a fetch button.
        for (const auto &[page, prefix] :
             {std::pair{model.get(), u"fallback1"_s}, std::pair{bot.get(), u"botFallback1"_s}}) {
            QCOMPARE(UiSupport::find<Field>(page, prefix + u"Url"_s)->text(),
                     u"http://"_s + longText);
            QCOMPARE(UiSupport::find<Field>(page, prefix + u"Model"_s)->text(), longText);
            auto *key = UiSupport::find<Field>(page, prefix + u"KeyField"_s);
            QCOMPARE(key->text(), longText);
            QVERIFY(key->isSecure());
            QCOMPARE(UiSupport::find<QPushButton>(page, prefix + u"ModelFetch"_s)->text(),
                     u"Fetch models"_s);
            // Every control of the list is named and says what it does.
            QWidget *list = key;
            while (list && list->objectName() != u"blockContent"_s)
                list = list->parentWidget();
            QVERIFY(list);
            const QStringList silent = UiSupport::unnamedOrSilentControls(list);
            QVERIFY2(silent.isEmpty(), qPrintable(silent.join(u", "_s)));
            const QStringList clipped = PageShots::clippedWidgets(page);
            QVERIFY2(clipped.isEmpty(), qPrintable(clipped.join(u"; "_s)));
        }
        // Only the defaults' entries have a nickname and a connection test.
        QCOMPARE(UiSupport::find<Field>(model.get(), u"fallback1Name"_s)->text(), longText);
        QCOMPARE(UiSupport::find<QPushButton>(model.get(), u"fallback1Test"_s)->text(), u"Test"_s);
        QVERIFY(!bot->findChild<QWidget *>(u"botFallback1Name"_s));
        QVERIFY(!bot->findChild<QWidget *>(u"botFallback1Test"_s));
        QCOMPARE(UiSupport::find<QPushButton>(model.get(), u"addFallback"_s)->text(),
                 u"Add model"_s);
        QCOMPARE(UiSupport::find<QPushButton>(bot.get(), u"addBotFallback"_s)->text(),
                 u"Add fallback provider"_s);
    }

    void removingTheLastBotEntryLeavesThePageToOfferTheFirst()
    {
        auto bot = botPage();
        QVERIFY(bot);
        QTest::mouseClick(UiSupport::find<QToolButton>(bot.get(), u"botFallback1Remove"_s),
                          Qt::LeftButton);
        QTRY_VERIFY(!bot->findChild<QWidget *>(u"botFallback1Url"_s));
        QTest::mouseClick(UiSupport::find<QToolButton>(bot.get(), u"botFallback0Remove"_s),
                          Qt::LeftButton);
        QTRY_VERIFY(!bot->findChild<QWidget *>(u"botFallback0Url"_s));
        // No add button of the list while it is empty: the page's own button offers the first.
        QVERIFY(!bot->findChild<QWidget *>(u"addBotFallback"_s));
        QVERIFY(UiSupport::find(bot.get(), u"addOwnFallbacks"_s)->isVisible());
        QVERIFY(!UiSupport::readConfig(configPath())
                     .value("bot_profiles"_L1)
                     .toArray()
                     .at(0)
                     .toObject()
                     .contains("fallbacks"_L1));
        // The defaults' list keeps its add button, enabled once the last entry is complete.
        auto model = modelPage();
        QVERIFY(model);
        QVERIFY(UiSupport::find<QPushButton>(model.get(), u"addFallback"_s)->isEnabled());
    }

    void bothPagesDrawnWholeInLightAndDark()
    {
        const QString folder = PageShots::folder(m_dir.filePath(u"shots"_s));
        QVERIFY(QDir().mkpath(folder));
        const QPalette light = QApplication::palette();
        for (const bool dark : {false, true}) {
            QApplication::setPalette(dark ? Shell::darkPalette() : light);
            const QString suffix = dark ? u"-dark.png"_s : u"-light.png"_s;
            auto model = modelPage();
            QVERIFY(model);
            QVERIFY(saveWhole(model.get(), QDir(folder).filePath(u"backups-model"_s + suffix)));
            auto bot = botPage();
            QVERIFY(bot);
            QVERIFY(saveWhole(bot.get(), QDir(folder).filePath(u"backups-bot"_s + suffix)));
        }
        QApplication::setPalette(light);
    }
};

QTEST_MAIN(TestBackupListEditor)
#include "tst_backuplisteditor.moc"
