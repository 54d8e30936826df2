#include "providers/providertests.h"

#include "config/configstore.h"
#include "config/replacevalue.h"
#include "providers/providertest.h"

ProviderTests::ProviderTests(const ConfigStore *store,
                             std::function<QNetworkAccessManager *()> network, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_network(std::move(network))
{}

void ProviderTests::testPrimary()
{
    setTestState(std::nullopt);
    setTesting(true);
    // The texts as they stand, unsaved edits included: the user tests what is on screen.
    const ConfigValues &values = m_store->values();
    Providers::testProvider(m_network(), m_timeout, this, values.baseURL, values.apiKey,
                            values.model, [this](bool ok, const QString &message) {
                                setTestState(TestOutcome{ok, message});
                                setTesting(false);
                            });
}

void ProviderTests::testBackup(qint64 index)
{
    const QList<Fallback> &fallbacks = m_store->values().fallbacks;
    if (index < 0 || index >= fallbacks.size())
        return;
    QMap<qint64, TestOutcome> outcomes = m_backupTestState;
    outcomes.remove(index);
    setBackupTestState(outcomes);
    setBackupTesting(index);

    // Outcomes are kept by position: one that finishes after its backup moved or went away
    // still lands under the position it was started for.
    const Fallback backup = fallbacks.at(index);
    Providers::testProvider(m_network(), m_timeout, this, backup.base_url, backup.api_key,
                            backup.model, [this, index](bool ok, const QString &message) {
                                QMap<qint64, TestOutcome> finished = m_backupTestState;
                                finished.insert(index, TestOutcome{ok, message});
                                setBackupTestState(finished);
                                setBackupTesting(std::nullopt);
                            });
}

void ProviderTests::setTestState(const std::optional<TestOutcome> &value)
{
    if (replaceValue(m_testState, value))
        Q_EMIT testStateChanged();
}

void ProviderTests::setTesting(bool value)
{
    if (replaceValue(m_testing, value))
        Q_EMIT testingChanged();
}

void ProviderTests::setBackupTesting(const std::optional<qint64> &value)
{
    if (replaceValue(m_backupTesting, value))
        Q_EMIT backupTestingChanged();
}

void ProviderTests::setBackupTestState(const QMap<qint64, TestOutcome> &value)
{
    if (replaceValue(m_backupTestState, value))
        Q_EMIT backupTestStateChanged();
}
