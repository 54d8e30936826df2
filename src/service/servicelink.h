#pragma once

#include "service/statusinfo.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <optional>

class NotificationTransport;

// The settings window's link to the bot service: the status file beside the configuration and
// the start, stop and restart request with its wait for the outcome. Main thread only.
class ServiceLink final : public QObject {
    Q_OBJECT

public:
    // configPath: the configuration file, beside which the service writes its status file.
    // transport: where requests are posted; none: they go nowhere.
    ServiceLink(QString configPath, NotificationTransport *transport, QObject *parent = nullptr);

    void refreshStatus();
    void sendBotControl(const QString &action);
    int statusRefreshInterval() const { return m_statusRefreshInterval; }
    void setStatusRefreshInterval(int ms) { m_statusRefreshInterval = ms; }
    int controlPollInterval() const { return m_controlPollInterval; }
    void setControlPollInterval(int ms) { m_controlPollInterval = ms; }
    int controlClearDelay() const { return m_controlClearDelay; }
    void setControlClearDelay(int ms) { m_controlClearDelay = ms; }
    static constexpr int controlMaxPolls = 31;

    const StatusInfo &status() const { return m_status; }
    void setStatus(const StatusInfo &value);
    const std::optional<QString> &botControl() const { return m_botControl; }
    void setBotControl(const std::optional<QString> &value);
    const QDateTime &controlAt() const { return m_controlAt; }
    void setControlAt(const QDateTime &value);
    const std::optional<QString> &controlMsg() const { return m_controlMsg; }
    void setControlMsg(const std::optional<QString> &value);

Q_SIGNALS:
    void statusChanged();
    void botControlChanged();
    void controlAtChanged();
    void controlMsgChanged();

private:
    void pollControl(const QString &action, qint64 pidBefore, int attempts);

    QString m_configPath;
    NotificationTransport *m_transport = nullptr;
    int m_statusRefreshInterval = 5000;
    int m_controlPollInterval = 1000;
    int m_controlClearDelay = 2000;
    StatusInfo m_status;
    std::optional<QString> m_botControl;
    QDateTime m_controlAt;
    std::optional<QString> m_controlMsg;
};
