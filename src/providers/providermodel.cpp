#include "config/settingsmodel.h"

#include "providers/providertest.h"

// The connection tests of the primary provider and of the backup models. They change only the
// test state; nothing is saved and nothing is announced to the bot service.

void SettingsModel::testPrimary()
{
    setTestState(std::nullopt);
    setTesting(true);
    // The texts as they stand, unsaved edits included: the user tests what is on screen.
    Providers::testProvider(network(), m_providerTestTimeout, this, m_config.baseURL,
                            m_config.apiKey, m_config.model,
                            [this](bool ok, const QString &message) {
                                setTestState(TestOutcome{ok, message});
                                setTesting(false);
                            });
}

void SettingsModel::testBackup(qint64 index)
{
    if (index < 0 || index >= m_config.fallbacks.size())
        return;
    QMap<qint64, TestOutcome> outcomes = m_backupTestState;
    outcomes.remove(index);
    setBackupTestState(outcomes);
    setBackupTesting(index);

    // Outcomes are kept by position: one that finishes after its backup moved or went away
    // still lands under the position it was started for.
    const Fallback &backup = m_config.fallbacks.at(index);
    Providers::testProvider(network(), m_providerTestTimeout, this, backup.base_url, backup.api_key,
                            backup.model, [this, index](bool ok, const QString &message) {
                                QMap<qint64, TestOutcome> finished = m_backupTestState;
                                finished.insert(index, TestOutcome{ok, message});
                                setBackupTestState(finished);
                                setBackupTesting(std::nullopt);
                            });
}
