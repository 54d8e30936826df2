#pragma once

#include "service/statusinfo.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>

class NotificationTransport;

struct BotSimulatorOptions {
    QString configPath;
    int delayMs = 1000;       // how long a start or a stop takes
    bool running = false;     // running from the start
    bool demoTraffic = false; // count made-up requests and tokens while running
    int trafficIntervalMs = 1000;
};

// Plays the bot service's side of the contract with the settings program:
//
//  - it is the only writer of varnook-status.json beside the configuration file, and writes
//    it whole through a temporary file and a rename, so a reader never sees half a record;
//  - "com.tesselmo.varnook.bot-control" with "action" start, stop or restart changes the
//    running state after the configured delay; every start, a restart's included, comes up
//    under a new "pid", which is how the settings program tells that a restart happened;
//  - "com.tesselmo.varnook.config-changed" makes it read the configuration again and report
//    the provider ("base_url"), model, number of backup models and the bots it would run.
//
// It writes the configuration file only when asked to (rewriteConfiguration), the way a service
// that keeps some state of its own there must: under the lock, on what the file holds now.
class BotSimulator final : public QObject {
    Q_OBJECT
public:
    struct Rewrites {
        int written = 0;
        int lost = 0;   // own earlier rewrites found undone by another writer
        int failed = 0; // the file could not be used or written
    };
    // Rewrites the configuration file `times` times, `intervalMs` apart. Each rewrite takes the
    // configuration's lock, reads the file, checks that its own last value of `key` is still
    // there, stores the next count under `key` and writes the file atomically. Everything else
    // in the file is left as it is.
    static Rewrites rewriteConfiguration(const QString &configPath, const QString &key, int times,
                                         int intervalMs);

    BotSimulator(BotSimulatorOptions options, NotificationTransport *transport,
                 QObject *parent = nullptr);

    // Reads the configuration and writes the first status record.
    bool begin();
    // Writes "bot_running": false, as a service does on its way out.
    void shutDown();

    const StatusInfo &status() const { return m_status; }

    // The Telegram user name the simulator makes up for a bot: from its nickname when that
    // holds letters or digits ("Trading desk" gives trading_desk_bot), else varnook_bot<N>.
    static QString handleFor(const QString &nickname, qsizetype index);

private:
    void onNotification(const QString &name, const QVariantMap &userInfo);
    void onControl(const QString &action);
    void readConfiguration();
    void comeUp();
    void goDown();
    void addTraffic();
    bool writeStatus();
    void report(const QString &line) const;

    BotSimulatorOptions m_options;
    NotificationTransport *m_transport;
    StatusInfo m_status;
    // What the configuration asks for; shown only while running.
    QStringList m_handles;
    QStringList m_nicknames;
    qint64 m_lastPid = 0;
    QTimer m_transition; // the start or stop under way; a newer request replaces it
    bool m_transitionUp = false;
    QTimer m_traffic;
};
