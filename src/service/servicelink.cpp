#include "service/servicelink.h"

#include "config/replacevalue.h"
#include "service/notificationtransport.h"

#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr QChar ellipsis = u'…';

struct ActionTexts {
    QString pending;
    QString completion;
};

// Every blank-separated word with its first letter upper case and the rest lower case.
QString capitaliseWords(const QString &text)
{
    QString result;
    result.reserve(text.size());
    bool wordStart = true;
    qsizetype i = 0;
    while (i < text.size()) {
        // One whole character, so that a letter outside the first plane is not split.
        const qsizetype length
            = text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()
                  ? 2
                  : 1;
        const QString character = text.mid(i, length);
        if (character.at(0).isSpace()) {
            result += character;
            wordStart = true;
        } else {
            result += wordStart ? character.toUpper() : character.toLower();
            wordStart = false;
        }
        i += length;
    }
    return result;
}

ActionTexts actionTexts(const QString &action)
{
    if (action == "start"_L1)
        return {u"Starting…"_s, u"Started"_s};
    if (action == "stop"_L1)
        return {u"Stopping…"_s, u"Stopped"_s};
    if (action == "restart"_L1)
        return {u"Restarting…"_s, u"Restarted"_s};
    const QString capitalised = capitaliseWords(action);
    return {capitalised + ellipsis, capitalised};
}

} // namespace

ServiceLink::ServiceLink(QString configPath, NotificationTransport *transport, QObject *parent)
    : QObject(parent)
    , m_configPath(std::move(configPath))
    , m_transport(transport)
{}

void ServiceLink::refreshStatus()
{
    // A missing, unreadable or malformed file keeps what is on screen.
    if (const std::optional<StatusInfo> read = readStatusFile(statusFilePath(m_configPath)))
        setStatus(*read);
}

void ServiceLink::sendBotControl(const QString &action)
{
    if (m_transport)
        m_transport->post(Notifications::botControl(), {{u"action"_s, action}});
    setControlMsg(actionTexts(action).pending);
    // The pid as shown, not re-read: a restart is recognised by a pid other than this one.
    pollControl(action, m_status.pid, 1);
}

// One poll of a control wait. Waits are independent: a second button press starts a second
// wait, and nothing cancels either; the timers die with the link.
void ServiceLink::pollControl(const QString &action, qint64 pidBefore, int attempt)
{
    refreshStatus();
    // Each poll judges on its own: nothing seen by an earlier poll (such as the service being
    // down for a moment during a restart) is kept in the wait's state.
    const bool done = controlReached(action, m_status, pidBefore);

    if (!done && attempt < controlMaxPolls) {
        QTimer::singleShot(m_controlPollInterval, this, [this, action, pidBefore, attempt] {
            pollControl(action, pidBefore, attempt + 1);
        });
        return;
    }

    // Shown even when the service never got there: the status line tells the truth within
    // one refresh.
    setControlMsg(u"✓ "_s + actionTexts(action).completion);
    QTimer::singleShot(m_controlClearDelay, this, [this] {
        // A newer request's pending text stays.
        if (m_controlMsg && !m_controlMsg->contains(ellipsis))
            setControlMsg(std::nullopt);
    });
}

void ServiceLink::setStatus(const StatusInfo &value)
{
    if (replaceValue(m_status, value))
        Q_EMIT statusChanged();
}

void ServiceLink::setBotControl(const std::optional<QString> &value)
{
    if (replaceValue(m_botControl, value))
        Q_EMIT botControlChanged();
}

void ServiceLink::setControlAt(const QDateTime &value)
{
    if (replaceValue(m_controlAt, value))
        Q_EMIT controlAtChanged();
}

void ServiceLink::setControlMsg(const std::optional<QString> &value)
{
    if (replaceValue(m_controlMsg, value))
        Q_EMIT controlMsgChanged();
}
