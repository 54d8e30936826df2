#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;

// The anonymous launch event. Nothing is sent unless the environment variable "POSTHOG_KEY"
// names a PostHog project, and nothing is sent while ~/.zandrel/analytics-off exists.
namespace Analytics {

// Sends events to one PostHog project. capture() below uses one for the whole process, built
// from the build's capture host, the environment and the home folder; tests build their own
// with a loopback host.
class Sender final {
public:
    Sender(QString host, QString projectKey, QString optOutMarker);

    const QString &host() const { return m_host; }
    const QString &projectKey() const { return m_projectKey; }
    const QString &optOutMarker() const { return m_optOutMarker; }
    QUrl captureUrl() const; // <host>/capture/

    // Starts the capture request on `network` and returns at once; the answer is ignored and
    // the reply deleted when it finishes. Returns whether a request was started: not without a
    // project key, not while the opt-out marker (a file or a folder) exists.
    bool capture(const QString &event, QNetworkAccessManager *network) const;
    // Whether capture() would send anything now: a key is set and the user has not opted out.
    bool willCapture() const;

    // { "api_key": <key>, "event": <event>,
    //   "properties": { "distinct_id": "varnook-settings", "app": "varnook-settings" } }
    static QByteArray body(const QString &projectKey, const QString &event);

private:
    QString m_host;
    QString m_projectKey;
    QString m_optOutMarker;
};

// The opt-out marker of the current user: ~/.zandrel/analytics-off.
QString defaultOptOutMarker();

// The process-wide sender, made on first use: the project key is read from the environment
// then and kept for the life of the process, so a key set later is not seen until the next
// start. The marker's existence is still checked on every event.
const Sender &processSender();

// Sends `event` with the process-wide sender. Returns at once, also when the capture host
// does not answer.
void capture(const QString &event, QNetworkAccessManager *network);
// Whether capture() would send anything now, so that a caller can skip making a network
// access manager (and loading the network code) for nothing.
bool willCapture();

} // namespace Analytics
