#include "botsimulator.h"

#include "config/configdocument.h"
#include "config/configfile.h"
#include "service/notificationtransport.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QSaveFile>
#include <QTextStream>
#include <QThread>

using namespace Qt::Literals::StringLiterals;

BotSimulator::BotSimulator(BotSimulatorOptions options, NotificationTransport *transport,
                           QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_transport(transport)
    // Made-up pids above the real one, so that every start gets a fresh one.
    , m_lastPid(QCoreApplication::applicationPid())
{
    m_transition.setSingleShot(true);
    connect(&m_transition, &QTimer::timeout, this, [this] {
        if (m_transitionUp)
            comeUp();
        else
            goDown();
    });
    m_traffic.setInterval(m_options.trafficIntervalMs);
    connect(&m_traffic, &QTimer::timeout, this, &BotSimulator::addTraffic);
    connect(m_transport, &NotificationTransport::received, this, &BotSimulator::onNotification);
}

bool BotSimulator::begin()
{
    readConfiguration();
    if (m_options.running)
        comeUp();
    else
        goDown();
    return QFile::exists(statusFilePath(m_options.configPath));
}

void BotSimulator::shutDown()
{
    m_transition.stop();
    goDown();
}

QString BotSimulator::handleFor(const QString &nickname, qsizetype index)
{
    QString handle;
    bool gap = false;
    for (const QChar c : nickname.toLower()) {
        if ((c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9')) {
            if (gap && !handle.isEmpty())
                handle += u'_';
            handle += c;
            gap = false;
        } else {
            gap = true;
        }
    }
    if (handle.isEmpty())
        return u"varnook_bot"_s + QString::number(index + 1);
    return handle + u"_bot"_s;
}

void BotSimulator::onNotification(const QString &name, const QVariantMap &userInfo)
{
    if (name == Notifications::configChanged()) {
        report(u"config-changed: reading "_s + m_options.configPath);
        readConfiguration();
        writeStatus();
    } else if (name == Notifications::botControl()) {
        const QVariant action = userInfo.value(u"action"_s);
        // Anything but a text is not a request of the settings program.
        if (action.metaType().id() == QMetaType::QString)
            onControl(action.toString());
    }
}

void BotSimulator::onControl(const QString &action)
{
    if (action == "start"_L1) {
        report(u"start requested"_s);
        m_transitionUp = true;
    } else if (action == "stop"_L1) {
        report(u"stop requested"_s);
        m_transitionUp = false;
    } else if (action == "restart"_L1) {
        // Down at once, up again after the delay under a new pid.
        report(u"restart requested"_s);
        m_transition.stop();
        goDown();
        m_transitionUp = true;
    } else {
        report(u"ignoring unknown action "_s + action);
        return;
    }
    m_transition.start(m_options.delayMs); // replaces one under way
}

void BotSimulator::readConfiguration()
{
    // Read as the settings program reads it: a pipe at the path is never opened.
    const ConfigFile::Snapshot disk = ConfigFile::read(m_options.configPath);
    if (disk.state != ConfigFile::Snapshot::State::Document)
        return; // keep running with what was read last, as a service would
    const ConfigValues values = ConfigDocument::read(disk.document);

    m_status.provider = values.baseURL.trimmed();
    m_status.model = values.model;
    m_status.fallbacks = values.fallbacks.size();

    // One bot per token that is set; nicknames follow the same positions as the handles.
    m_handles.clear();
    m_nicknames.clear();
    for (qsizetype i = 0; i < values.botTokens.size(); ++i) {
        if (values.botTokens.at(i).trimmed().isEmpty())
            continue;
        const QString nickname = values.botNicknames.value(i);
        m_handles.append(handleFor(nickname, i));
        m_nicknames.append(nickname);
    }
    // The per-bot counts keep their positions; bots that went away take theirs with them.
    m_status.requestsByBot.resize(m_handles.size());
    m_status.tokensByBot.resize(m_handles.size());
    for (QList<qint64> &tokens : m_status.tokensByBot)
        tokens.resize(2);
    if (m_status.botRunning) {
        m_status.botHandle = m_handles.join(u',');
        m_status.botNicknames = m_nicknames;
    }
}

void BotSimulator::comeUp()
{
    if (!m_status.botRunning) {
        m_status.botRunning = true;
        m_status.pid = ++m_lastPid;
    }
    m_status.botHandle = m_handles.join(u',');
    m_status.botNicknames = m_nicknames;
    if (m_options.demoTraffic)
        m_traffic.start();
    report(u"running as pid "_s + QString::number(m_status.pid));
    writeStatus();
}

void BotSimulator::goDown()
{
    m_traffic.stop();
    m_status.botRunning = false;
    m_status.pid = 0;
    m_status.botHandle.clear();
    m_status.botNicknames.clear();
    report(u"stopped"_s);
    writeStatus();
}

void BotSimulator::addTraffic()
{
    if (!m_status.botRunning || m_handles.isEmpty())
        return;
    QRandomGenerator *random = QRandomGenerator::global();
    const int bot = random->bounded(int(m_handles.size()));
    const qint64 requests = random->bounded(1, 4);
    const qint64 tokensIn = requests * random->bounded(200, 1500);
    const qint64 tokensOut = requests * random->bounded(50, 400);
    m_status.requests += requests;
    m_status.tokensIn += tokensIn;
    m_status.tokensOut += tokensOut;
    m_status.requestsByBot[bot] += requests;
    m_status.tokensByBot[bot][0] += tokensIn;
    m_status.tokensByBot[bot][1] += tokensOut;
    writeStatus();
}

bool BotSimulator::writeStatus()
{
    // Through a temporary file and a rename: the settings program reads the file at any
    // moment and must find either the old record or the new one, never a mix.
    const QString path = statusFilePath(m_options.configPath);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(serialiseStatus(m_status)) < 0
        || !file.commit()) {
        report(u"could not write "_s + path + u": "_s + file.errorString());
        return false;
    }
    return true;
}

void BotSimulator::report(const QString &line) const
{
    QTextStream(stderr) << "varnook-bot-sim: " << line << Qt::endl;
}

BotSimulator::Rewrites BotSimulator::rewriteConfiguration(const QString &configPath,
                                                          const QString &key, int times,
                                                          int intervalMs)
{
    Rewrites result;
    std::optional<qint64> last;
    for (int i = 1; i <= times; ++i) {
        if (i > 1 && intervalMs > 0)
            QThread::msleep(ulong(intervalMs));
        const ConfigFile::Lock lock(configPath);
        if (!lock.isHeld()) {
            ++result.failed;
            continue;
        }
        const ConfigFile::Snapshot disk = ConfigFile::read(configPath);
        if (!disk.isUsable()) {
            ++result.failed;
            continue;
        }
        QJsonObject document = disk.document;
        if (last && ConfigDocument::jsonInteger(document.value(key)) != last)
            ++result.lost;
        document.insert(key, qint64(i));
        if (ConfigFile::write(configPath, ConfigDocument::serialise(document))) {
            ++result.failed;
            continue;
        }
        last = i;
        ++result.written;
    }
    return result;
}
