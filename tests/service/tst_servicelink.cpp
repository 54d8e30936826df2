#include "service/notificationtransport.h"
#include "service/servicelink.h"
#include "support/testsupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The link to the bot service on its own: the status file beside the configuration, and a
// request posted and followed until the service got there.
class TestServiceLink final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }
    void writeStatus(bool running, qint64 pid)
    {
        StatusInfo status;
        status.botRunning = running;
        status.pid = pid;
        QVERIFY(TestSupport::writeFile(statusFilePath(configPath()), serialiseStatus(status)));
    }

private Q_SLOTS:
    void statusIsReadFromBesideTheConfiguration()
    {
        QVERIFY(m_dir.isValid());
        writeStatus(true, 4242);
        ServiceLink link(configPath(), nullptr);
        QSignalSpy changed(&link, &ServiceLink::statusChanged);
        link.refreshStatus();
        QCOMPARE(changed.count(), 1);
        QVERIFY(link.status().botRunning);
        QCOMPARE(link.status().pid, qint64(4242));

        // A file that is gone keeps what is shown.
        QVERIFY(QFile::remove(statusFilePath(configPath())));
        link.refreshStatus();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(link.status().pid, qint64(4242));
    }

    void aStopIsPostedAndShownUntilTheServiceStopped()
    {
        QVERIFY(m_dir.isValid());
        writeStatus(true, 7);
        InMemoryTransport transport;
        ServiceLink link(configPath(), &transport);
        link.setControlPollInterval(5);
        link.setControlClearDelay(50);
        link.refreshStatus();
        QList<std::optional<QString>> messages;
        connect(&link, &ServiceLink::controlMsgChanged, this,
                [&] { messages.append(link.controlMsg()); });

        link.sendBotControl(u"stop"_s);
        QCOMPARE(transport.posts().size(), 1);
        QCOMPARE(transport.posts().constFirst().name, Notifications::botControl());
        QCOMPARE(transport.posts().constFirst().userInfo.value(u"action"_s).toString(), u"stop"_s);
        QVERIFY(link.controlMsg() == std::optional<QString>(u"Stopping…"_s));

        writeStatus(false, 0);
        QTRY_COMPARE_WITH_TIMEOUT(messages.size(), 3, 5000);
        QVERIFY(messages.at(1) == std::optional<QString>(u"✓ Stopped"_s));
        QVERIFY(!messages.at(2).has_value());
        QVERIFY(!link.status().botRunning);
    }
};

QTEST_GUILESS_MAIN(TestServiceLink)
#include "tst_servicelink.moc"
