#pragma once

#include "providers/providertargets.h"
#include "providers/testoutcome.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>

class QNetworkAccessManager;

namespace Providers {

// "Test all": the connection test of many providers, a few at a time, each timed from the
// moment its request leaves. The window's table and `varnookctl test --all` both run one.
class ProviderBatch final : public QObject {
    Q_OBJECT
public:
    // More at once would compete for the same few provider hosts and a home uplink, and make
    // the latencies measured say less.
    static constexpr int maxRunning = 4;

    enum class State { Waiting, Testing, Done };

    struct Row {
        ProviderTarget target;
        State state = State::Waiting;
        TestOutcome outcome; // Done only
        qint64 ms = -1;      // Done only: from sending to the outcome

        // The outcome without the model id the connection test begins it with, as the table
        // shows it beside the model column: "reachable (HTTP 200)", "HTTP 401", …
        QString outcomeText() const;
    };

    explicit ProviderBatch(QObject *parent = nullptr);
    ~ProviderBatch() override;

    // The deadline of each test; zero or less is the test's default.
    void setTimeout(int ms) { m_timeoutMs = ms; }

    // Starts testing `targets` on `network`, which must outlive the run, dropping any run still
    // going (its requests are aborted). The network is only asked for here, so that a window
    // that never tests makes no network access manager.
    void start(QNetworkAccessManager *network, const QList<ProviderTarget> &targets);

    bool running() const { return m_running; }
    const QList<Row> &rows() const { return m_rows; }
    // Rows that are done, and of those, the ones that answered with a success status.
    qsizetype doneCount() const;
    qsizetype answeredCount() const;
    // Every row done with a success status (and at least one row).
    bool allAnswered() const;

Q_SIGNALS:
    void started();
    void rowChanged(int row);
    void finished();

private:
    void startNext();

    QNetworkAccessManager *m_network = nullptr;
    int m_timeoutMs = 0;
    QList<Row> m_rows;
    QList<QElapsedTimer> m_clocks;
    QPointer<QObject> m_run; // parent of this run's requests; deleting it aborts them
    int m_next = 0;
    int m_inFlight = 0;
    bool m_running = false;
};

} // namespace Providers
