#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/exportimportdialogs.h"
#include "ui/pages/appsection.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/pageshots.h"
#include "support/filedialogdriver.h"
#include "support/uisupport.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
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

// Dialogs that answer with the file the test chose, and remember how they were asked.
class ScriptedDialogs final : public FileDialogs {
public:
    struct Call {
        QString kind; // "save" or "open"
        QString title;
        QString proposedName;
        QString nameFilter;
    };

    QString nextFile; // empty: the user cancels
    QList<Call> calls;

    QString saveFileName(QWidget *, const QString &title, const QString &proposedName,
                         const QString &nameFilter) override
    {
        calls.append({u"save"_s, title, proposedName, nameFilter});
        return std::exchange(nextFile, QString());
    }
    QString openFileName(QWidget *, const QString &title, const QString &nameFilter) override
    {
        calls.append({u"open"_s, title, QString(), nameFilter});
        return std::exchange(nextFile, QString());
    }
};

QByteArray originalConfig()
{
    // Hand-written spacing: an export is a byte-for-byte copy, not a document written again.
    return "{\"api_key\":   \"sk-primary-secret\",\n \"bot_tokens\": [\"7001:AAH-token\"],\n"
           " \"data_dir\": \"/srv/elsewhere\", \"old_key\": 1}\n";
}

} // namespace

// The App page driven like a user drives it: switches, the data folder, the log and folder
// buttons, and export and import through the dialogs.
class TestAppPage final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::shared_ptr<ScriptedDialogs> m_dialogs;
    QList<QUrl> m_opened;
    std::unique_ptr<AppSection> m_page;

    QString path(const QString &name) const { return m_dir->filePath(name); }
    QString configPath() const { return path(u"bot-config.json"_s); }
    QJsonObject onDisk() const { return UiSupport::readConfig(configPath()); }

    void open(const QByteArray &config)
    {
        UiSupport::writeConfig(configPath(), config);
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        m_dialogs = std::make_shared<ScriptedDialogs>();
        AppSection::Services services{m_dialogs, [this](const QUrl &url) {
                                          m_opened.append(url);
                                          return true;
                                      }};
        m_page = std::make_unique<AppSection>(m_model.get(), services);
        m_page->resize(900, 800);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
    }
    template <typename T = QWidget> T *widget(const QString &name)
    {
        return find<T>(m_page.get(), name);
    }
    void click(const QString &name)
    {
        auto *button = widget<QAbstractButton>(name);
        QVERIFY2(button, qPrintable(name));
        QTest::mouseClick(button, Qt::LeftButton);
    }
    int configChangedPosts() const
    {
        int count = 0;
        for (const auto &post : m_transport.posts())
            count += post.name == Notifications::configChanged() ? 1 : 0;
        return count;
    }
    QWidgetList visibleWindows() const
    {
        QWidgetList windows;
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (window->isVisible())
                windows.append(window);
        }
        return windows;
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_transport.clear();
        m_opened.clear();
    }
    void cleanup()
    {
        m_page.reset();
        m_model.reset();
        m_dialogs.reset();
        m_dir.reset();
    }

    void groupsRowsAndHelpTextsReadAsWritten()
    {
        open("{}");
        const QList<std::pair<QString, QString>> rows{
            {u"showInDockRow"_s, u"Menu bar app icon in the Dock."_s},
            {u"launchAtLoginRow"_s, u"Start this app when you log in."_s},
            {u"dataDirRow"_s,
             u"Where config, memory, reminders and logs live (e.g. ~/.zandrel)."_s},
            {u"openLogRow"_s, QString()},
            {u"openDataFolderRow"_s, QString()},
            {u"exportSettingsRow"_s,
             u"Save a copy of the full config (including API keys) to a file."_s},
            {u"importSettingsRow"_s, u"Load a config file and apply it immediately."_s},
        };
        for (const auto &[name, help] : rows) {
            auto *row = widget<SettingRow>(name);
            QVERIFY2(row, qPrintable(name));
            QCOMPARE(row->explainer(), help);
        }
        QCOMPARE(widget<QPushButton>(u"openLog"_s)->text(), u"Open log"_s);
        QCOMPARE(widget<QPushButton>(u"openLog"_s)->property("symbol").toString(), u"doc.text"_s);
        QCOMPARE(widget<QPushButton>(u"openDataFolder"_s)->text(), u"Open data folder"_s);
        QCOMPARE(widget<QPushButton>(u"openDataFolder"_s)->property("symbol").toString(),
                 u"folder"_s);
        QCOMPARE(widget<QPushButton>(u"exportSettings"_s)->text(), u"Export settings"_s);
        QCOMPARE(widget<QPushButton>(u"importSettings"_s)->text(), u"Import settings"_s);
        QStringList groups;
        for (auto *label : m_page->findChildren<QLabel *>(u"groupTitle"_s))
            groups.append(label->text());
        QCOMPARE(groups,
                 (QStringList{u"Appearance"_s, u"Troubleshooting"_s, u"Backup & restore"_s}));
    }

    void switchingShowInDockOnWritesTrueAndPostsConfigChanged()
    {
        open("{}");
        const QWidgetList windowsBefore = visibleWindows();
        const Qt::WindowFlags flagsBefore = m_page->windowFlags();
        auto *dock = widget<QAbstractButton>(u"showInDock"_s);
        QVERIFY(!dock->isChecked());
        click(u"showInDock"_s);
        QVERIFY(dock->isChecked());
        QCOMPARE(onDisk().value(u"show_in_dock"_s), QJsonValue(true));
        QCOMPARE(configChangedPosts(), 1);
        // The setting is for the bot service: this program's own windows stay as they were.
        QCOMPARE(visibleWindows(), windowsBefore);
        QCOMPARE(m_page->windowFlags(), flagsBefore);

        click(u"showInDock"_s);
        QCOMPARE(onDisk().value(u"show_in_dock"_s), QJsonValue(false));
        QCOMPARE(configChangedPosts(), 2);
    }

    void switchingLaunchAtLoginOnWritesTrue()
    {
        open("{}");
        click(u"launchAtLogin"_s);
        QCOMPARE(onDisk().value(u"launch_at_login"_s), QJsonValue(true));
        QCOMPARE(onDisk().value(u"show_in_dock"_s), QJsonValue(false));
        QCOMPARE(configChangedPosts(), 1);
    }

    void dataDirIsSavedWhenCommitted()
    {
        open("{}");
        auto *field = widget<Field>(u"dataDir"_s);
        field->setFocus();
        QTest::keyClicks(field, u"~/bots/data"_s);
        QCOMPARE(m_model->dataDir(), u"~/bots/data"_s);
        QCOMPARE(onDisk().value(u"data_dir"_s).toString(), QString());
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(onDisk().value(u"data_dir"_s).toString(), u"~/bots/data"_s);
    }

    void openDataFolderOpensTheFixedHomeFolderWhateverDataDirSays()
    {
        open("{\"data_dir\": \"/srv/elsewhere\"}");
        QCOMPARE(widget<Field>(u"dataDir"_s)->text(), u"/srv/elsewhere"_s);
        click(u"openDataFolder"_s);
        QCOMPARE(m_opened, QList<QUrl>{QUrl::fromLocalFile(QDir::homePath() + u"/.zandrel"_s)});
    }

    void openLogOpensTheLogFileInTheHomeFolderEvenWhenMissing()
    {
        open("{\"data_dir\": \"/srv/elsewhere\"}");
        const QString log = QDir::homePath() + u"/.zandrel/inline-bot.log"_s;
        QVERIFY(!QFile::exists(log));
        click(u"openLog"_s);
        QCOMPARE(m_opened, QList<QUrl>{QUrl::fromLocalFile(log)});
        QVERIFY(m_opened.at(0).isLocalFile());
    }

    // ---- export -------------------------------------------------------------------------------

    void exportAsksWithTitleNameAndJsonOnlyAndCopiesTheFileForItsOwner()
    {
        open(originalConfig());
        const QString copy = path(u"saved/varnook-config.json"_s);
        QVERIFY(QDir().mkpath(path(u"saved"_s)));
        m_dialogs->nextFile = copy;
        click(u"exportSettings"_s);
        QCOMPARE(m_dialogs->calls.size(), 1);
        QCOMPARE(m_dialogs->calls.at(0).kind, u"save"_s);
        QCOMPARE(m_dialogs->calls.at(0).title, u"Export settings"_s);
        QCOMPARE(m_dialogs->calls.at(0).proposedName, u"varnook-config.json"_s);
        QCOMPARE(m_dialogs->calls.at(0).nameFilter, u"JSON (*.json)"_s);
        QCOMPARE(TestSupport::readFile(copy), originalConfig());
        QCOMPARE(QFileInfo(copy).permissions()
                     & ~(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser
                         | QFileDevice::WriteUser),
                 QFileDevice::Permissions());
        QCOMPARE(configChangedPosts(), 0);
    }

    void theExportedFileHoldsKeysAndTokensInClear()
    {
        open(originalConfig());
        const QString copy = path(u"export.json"_s);
        m_dialogs->nextFile = copy;
        click(u"exportSettings"_s);
        const QJsonObject exported = UiSupport::readConfig(copy);
        QCOMPARE(exported.value(u"api_key"_s).toString(), u"sk-primary-secret"_s);
        QCOMPARE(exported.value(u"bot_tokens"_s).toArray(), QJsonArray{u"7001:AAH-token"_s});
    }

    void exportingOntoAnExistingFileLeavesItUntouchedAndShowsNothing()
    {
        open(originalConfig());
        const QString existing = path(u"existing.json"_s);
        TestSupport::writeFile(existing, "{\"mine\": true}\n");
        const QWidgetList windowsBefore = visibleWindows();
        // The dialog has already asked whether to replace it; the copy still does not.
        m_dialogs->nextFile = existing;
        click(u"exportSettings"_s);
        QCOMPARE(TestSupport::readFile(existing), QByteArray("{\"mine\": true}\n"));
        QTest::qWait(50);
        QCOMPARE(visibleWindows(), windowsBefore);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void cancellingTheExportWritesNothing()
    {
        open(originalConfig());
        const QStringList before = QDir(m_dir->path()).entryList(QDir::Files);
        click(u"exportSettings"_s);
        QCOMPARE(m_dialogs->calls.size(), 1);
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files), before);
    }

    // ---- import -------------------------------------------------------------------------------

    void importAsksWithTitleAndJsonOnlyAndAppliesTheFileAtOnce()
    {
        open(originalConfig());
        m_dialogs->nextFile = TestSupport::fixture(u"exportimport/unknown-keys.json"_s);
        click(u"importSettings"_s);
        QCOMPARE(m_dialogs->calls.size(), 1);
        QCOMPARE(m_dialogs->calls.at(0).kind, u"open"_s);
        QCOMPARE(m_dialogs->calls.at(0).title, u"Import settings"_s);
        QCOMPARE(m_dialogs->calls.at(0).nameFilter, u"JSON (*.json)"_s);
        // Applied: the page shows the imported values, the file holds them.
        QCOMPARE(widget<Field>(u"dataDir"_s)->text(), QString());
        const QJsonObject written = onDisk();
        QCOMPARE(written.value(u"model"_s).toString(), u"imported-model"_s);
        QVERIFY(!written.contains(u"old_key"_s));
        QCOMPARE(configChangedPosts(), 1);
    }

    void importingATopLevelArrayChangesNothing()
    {
        open(originalConfig());
        m_dialogs->nextFile = TestSupport::fixture(u"exportimport/top-level-array.json"_s);
        click(u"importSettings"_s);
        QCOMPARE(TestSupport::readFile(configPath()), originalConfig());
        QCOMPARE(widget<Field>(u"dataDir"_s)->text(), u"/srv/elsewhere"_s);
        QCOMPARE(m_model->apiKey(), u"sk-primary-secret"_s);
        QCoreApplication::processEvents();
        QCOMPARE(m_transport.posts().size(), 0);
    }

    void importingOnlyALegacyBotTokenGivesOneBotAndWritesBotTokens()
    {
        open(originalConfig());
        m_dialogs->nextFile = TestSupport::fixture(u"exportimport/legacy-single-token.json"_s);
        click(u"importSettings"_s);
        QCOMPARE(m_model->botTokens(), QStringList{u"4242:legacy-token"_s});
        QCOMPARE(onDisk().value(u"bot_tokens"_s).toArray(), QJsonArray{u"4242:legacy-token"_s});
    }

    void importingKeepsUnknownKeysInTheWrittenConfiguration()
    {
        open(originalConfig());
        m_dialogs->nextFile = TestSupport::fixture(u"exportimport/unknown-keys.json"_s);
        click(u"importSettings"_s);
        const QJsonObject written = onDisk();
        QCOMPARE(written.value(u"future_setting"_s).toObject(),
                 (QJsonObject{{u"enabled"_s, true}, {u"depth"_s, 7}}));
        QCOMPARE(written.value(u"reminder_backend"_s).toString(), u"sqlite"_s);
        QCOMPARE(written.value(u"bot_profiles"_s)
                     .toArray()
                     .at(0)
                     .toObject()
                     .value(u"service_only_flag"_s)
                     .toObject(),
                 (QJsonObject{{u"level"_s, 3}}));
    }

    void cancellingTheImportChangesNothing()
    {
        open(originalConfig());
        click(u"importSettings"_s);
        QCOMPARE(m_dialogs->calls.size(), 1);
        QCOMPARE(TestSupport::readFile(configPath()), originalConfig());
        QCOMPARE(m_transport.posts().size(), 0);
    }

    // ---- the real dialogs ---------------------------------------------------------------------

    void theSystemSaveDialogProposesTheNameAndOnlyJson()
    {
        UiSupport::writeConfig(configPath(), originalConfig());
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        AppSection page(&model);
        page.resize(900, 800);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));

        const QString target = path(u"through-the-dialog.json"_s);
        auto *button = find<QPushButton>(&page, u"exportSettings"_s);
        const UiSupport::FileDialogSeen seen = UiSupport::answerFileDialog(
            target, [button] { QTest::mouseClick(button, Qt::LeftButton); });
        QVERIFY2(seen.failure.isEmpty(), qPrintable(seen.failure));
        QCOMPARE(seen.title, u"Export settings"_s);
        QCOMPARE(seen.nameFilters, QStringList{u"JSON (*.json)"_s});
        QCOMPARE(QFileInfo(seen.proposed).fileName(), u"varnook-config.json"_s);
        QCOMPARE(seen.acceptMode, QFileDialog::AcceptSave);
        QCOMPARE(TestSupport::readFile(target), originalConfig());
    }

    void theSystemOpenDialogTakesOneJsonFile()
    {
        UiSupport::writeConfig(configPath(), originalConfig());
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        AppSection page(&model);
        page.resize(900, 800);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));

        auto *button = find<QPushButton>(&page, u"importSettings"_s);
        const UiSupport::FileDialogSeen seen = UiSupport::answerFileDialog(
            TestSupport::fixture(u"exportimport/legacy-single-token.json"_s),
            [button] { QTest::mouseClick(button, Qt::LeftButton); });
        QVERIFY2(seen.failure.isEmpty(), qPrintable(seen.failure));
        QCOMPARE(seen.title, u"Import settings"_s);
        QCOMPARE(seen.nameFilters, QStringList{u"JSON (*.json)"_s});
        QCOMPARE(seen.fileMode, QFileDialog::ExistingFile);
        QCOMPARE(model.botTokens(), QStringList{u"4242:legacy-token"_s});
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"bot_tokens"_s).toArray(),
                 QJsonArray{u"4242:legacy-token"_s});
    }

    // ---- picture --------------------------------------------------------------------------------

    void rendersInTheWindowWithoutAnythingCutOff()
    {
        UiSupport::writeConfig(configPath(),
                               "{\"show_in_dock\": true, \"data_dir\": \"~/.zandrel\"}");
        SettingsModel model(configPath(), ModelEnvironment{&m_transport});
        const PageShots::Shot shot
            = PageShots::render(&model, SidebarItem::defaults(SectionID::App), u"app"_s,
                                PageShots::folder(m_dir->path()));
        QVERIFY(!shot.file.isEmpty());
        QCOMPARE(shot.size, QSize(1020, 700));
        QVERIFY2(shot.clipped.isEmpty(), qPrintable(shot.clipped.join(u"; "_s)));
    }
};

QTEST_MAIN(TestAppPage)
#include "tst_apppage.moc"
