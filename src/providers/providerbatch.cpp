#include "providers/providerbatch.h"

#include "providers/providertest.h"

#include <QMetaObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace Providers {

QString ProviderBatch::Row::outcomeText() const
{
    const QString prefix = target.model + u": "_s;
    return outcome.message.startsWith(prefix) ? outcome.message.mid(prefix.size())
                                              : outcome.message;
}

ProviderBatch::ProviderBatch(QObject *parent)
    : QObject(parent)
{}

ProviderBatch::~ProviderBatch() = default;

void ProviderBatch::start(QNetworkAccessManager *network, const QList<ProviderTarget> &targets)
{
    Q_ASSERT(network);
    m_network = network;
    delete m_run;
    m_run = new QObject(this);
    m_rows.clear();
    for (const ProviderTarget &target : targets)
        m_rows.append(Row{target, State::Waiting, {}, -1});
    m_clocks = QList<QElapsedTimer>(m_rows.size());
    m_next = 0;
    m_inFlight = 0;
    m_running = true;
    Q_EMIT started();
    if (m_rows.isEmpty()) {
        // Queued like every other ending, so that a caller can connect after start().
        QMetaObject::invokeMethod(
            m_run,
            [this] {
                m_running = false;
                Q_EMIT finished();
            },
            Qt::QueuedConnection);
        return;
    }
    while (m_inFlight < maxRunning && m_next < m_rows.size())
        startNext();
}

void ProviderBatch::startNext()
{
    const int index = m_next++;
    ++m_inFlight;
    m_rows[index].state = State::Testing;
    const ProviderTarget target = m_rows.at(index).target;
    m_clocks[index].start();
    const QPointer<QObject> run = m_run;
    testProvider(m_network, m_timeoutMs, m_run, target.baseURL, target.apiKey, target.model,
                 [this, run, index](bool ok, const QString &message) {
                     if (run != m_run)
                         return;
                     Row &done = m_rows[index];
                     done.state = State::Done;
                     done.outcome = TestOutcome{ok, message};
                     done.ms = m_clocks.at(index).elapsed();
                     --m_inFlight;
                     Q_EMIT rowChanged(index);
                     if (run != m_run) // a receiver started another run
                         return;
                     if (m_next < m_rows.size()) {
                         startNext();
                     } else if (m_inFlight == 0) {
                         m_running = false;
                         Q_EMIT finished();
                     }
                 });
    Q_EMIT rowChanged(index);
}

qsizetype ProviderBatch::doneCount() const
{
    return std::count_if(m_rows.cbegin(), m_rows.cend(),
                         [](const Row &row) { return row.state == State::Done; });
}

qsizetype ProviderBatch::answeredCount() const
{
    return std::count_if(m_rows.cbegin(), m_rows.cend(),
                         [](const Row &row) { return row.state == State::Done && row.outcome.ok; });
}

bool ProviderBatch::allAnswered() const
{
    return !m_rows.isEmpty() && answeredCount() == m_rows.size();
}

} // namespace Providers
