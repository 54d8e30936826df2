// The Model page against the simulated bot service over a private session bus: the server
// buttons end to end, and a saved edit travelling to the service and back into the status rows.
#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/modelsection.h"
#include "model/settingsmodel.h"
#include "service/dbustransport.h"
#include "service/statusinfo.h"
#include "support/bussupport.h"
#include "support/uisupport.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using UiSupport::find;

namespace {

QByteArray configText()
{
    const QJsonObject config{
        {u"base_url"_s, u"http://127.0.0.1:9/v1"_s},
        {u"model"_s, u"sim-model"_s},
        {u"bot_tokens"_s, QJsonArray{u"111:aaa"_s}},
        {u"bot_nicknames"_s, QJsonArray{u"Trading desk"_s}},
    };
    return QJsonDocument(config).toJson();
}

} // namespace

class TestBusModelSection final : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<BusSupport::BotSimulatorProcess> m_service;
    std::unique_ptr<DBusTransport> m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<ModelSection> m_page;

    QString configPath() const { return m_dir->filePath(u"bot-config.json"_s); }

    QLabel *messageLabel() const { return m_page->findChild<QLabel *>(u"controlMessage"_s); }
    QString message() const { return messageLabel()->text(); }
    StatusRow *statusRow(const QString &name) const { return find<StatusRow>(m_page.get(), name); }
    void click(const QString &name)
    {
        auto *button = find<QPushButton>(m_page.get(), name);
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(BusSupport::botSimulatorPath()),
                 "build the varnook-bot-sim target before this test");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        UiSupport::writeConfig(configPath(), configText());
        m_service = std::make_unique<BusSupport::BotSimulatorProcess>();
        QVERIFY(m_service->start(configPath(), {u"--running"_s, u"--delay"_s, u"150"_s}));

        m_transport = std::make_unique<DBusTransport>();
        QVERIFY(m_transport->flush());
        m_model
            = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{m_transport.get()});
        m_model->setControlPollInterval(100);
        m_model->setControlClearDelay(300);
        m_page = std::make_unique<ModelSection>(m_model.get());
        m_page->resize(900, 1000);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_page.get()));
        m_model->refreshStatus();
    }
    void cleanup()
    {
        m_page.reset();
        m_model.reset();
        m_transport.reset();
        if (m_service)
            QVERIFY2(m_service->stop(), m_service->log().constData());
        m_service.reset();
        m_dir.reset();
    }

    void restartShowsRestartingThenTheCheckMarkOnceThePidChangesThenClears()
    {
        QCOMPARE(statusRow(u"statusRow"_s)->value(), u"Running as Trading desk"_s);
        const qint64 pidBefore = m_model->status().pid;
        QVERIFY(pidBefore != 0);

        // What the status said when the completion appeared.
        std::optional<StatusInfo> atCompletion;
        connect(m_model.get(), &SettingsModel::controlMsgChanged, this, [this, &atCompletion] {
            if (message() == u"✓ Restarted"_s && !atCompletion)
                atCompletion = m_model->status();
        });

        const UiSupport::ShownTexts shown(m_model.get(), &SettingsModel::controlMsgChanged,
                                          messageLabel());
        click(u"restartServer"_s);
        QCOMPARE(message(), u"Restarting…"_s);
        QTRY_VERIFY_WITH_TIMEOUT(shown.contains(u"✓ Restarted"_s), 20000);
        QVERIFY(atCompletion.has_value());
        // Done because the service came back under a new pid, not because the polls ran out.
        QVERIFY(atCompletion->botRunning);
        QVERIFY(atCompletion->pid != 0);
        QVERIFY(atCompletion->pid != pidBefore);
        QCOMPARE(statusRow(u"statusRow"_s)->value(), u"Running as Trading desk"_s);
        QTRY_COMPARE_WITH_TIMEOUT(
            shown.shown(), (QStringList{u"Restarting…"_s, u"✓ Restarted"_s, QString()}), 20000);
        QCOMPARE(message(), QString());
    }

    void stopAndStartFollowTheServiceIntoTheStatusRow()
    {
        {
            const UiSupport::ShownTexts shown(m_model.get(), &SettingsModel::controlMsgChanged,
                                              messageLabel());
            click(u"stopServer"_s);
            QCOMPARE(message(), u"Stopping…"_s);
            QTRY_VERIFY_WITH_TIMEOUT(shown.contains(u"✓ Stopped"_s), 20000);
            QCOMPARE(statusRow(u"statusRow"_s)->value(), u"Stopped"_s);
            QCOMPARE(statusRow(u"statusRow"_s)->dot(), std::optional<QColor>(StatusColors::bad()));
            QTRY_COMPARE_WITH_TIMEOUT(
                shown.shown(), (QStringList{u"Stopping…"_s, u"✓ Stopped"_s, QString()}), 20000);
        }

        const UiSupport::ShownTexts shown(m_model.get(), &SettingsModel::controlMsgChanged,
                                          messageLabel());
        click(u"startServer"_s);
        QCOMPARE(message(), u"Starting…"_s);
        QTRY_VERIFY_WITH_TIMEOUT(shown.contains(u"✓ Started"_s), 20000);
        QCOMPARE(statusRow(u"statusRow"_s)->value(), u"Running as Trading desk"_s);
        QCOMPARE(statusRow(u"statusRow"_s)->dot(), std::optional<QColor>(StatusColors::good()));
    }

    void aSavedServerUrlReachesTheServiceAndComesBackInTheStatus()
    {
        QCOMPARE(statusRow(u"primaryProviderRow"_s)->value(), u"http://127.0.0.1:9/v1"_s);
        // The window re-reads the status file periodically; so does this test.
        QTimer refresher;
        connect(&refresher, &QTimer::timeout, m_model.get(), &SettingsModel::refreshStatus);
        refresher.start(50);

        auto *url = find<Field>(m_page.get(), u"primaryUrl"_s);
        url->setFocus();
        url->selectAll();
        QTest::keyClicks(url, u"http://127.0.0.1:10/v2"_s);
        QTest::keyClick(url, Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(statusRow(u"primaryProviderRow"_s)->value(),
                                  u"http://127.0.0.1:10/v2"_s, 10000);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"base_url"_s).toString(),
                 u"http://127.0.0.1:10/v2"_s);
    }
};

QTEST_MAIN(TestBusModelSection)
#include "tst_bus_modelsection.moc"
