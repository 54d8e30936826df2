#pragma once

#include "providers/testoutcome.h"

#include <QMap>
#include <QObject>

#include <functional>
#include <optional>

class ConfigStore;
class QNetworkAccessManager;

// The connection tests of the primary provider and of the backup models, with what they found.
// They change only the test state; nothing is saved and nothing is announced to the bot service.
class ProviderTests final : public QObject {
    Q_OBJECT

public:
    // store: where the providers' texts are read; network: the access manager to test with,
    // asked for only when a test starts.
    ProviderTests(const ConfigStore *store, std::function<QNetworkAccessManager *()> network,
                  QObject *parent = nullptr);

    void testPrimary();
    void testBackup(qint64 index);
    int timeout() const { return m_timeout; }
    void setTimeout(int ms) { m_timeout = ms; }
    // The access manager the tests use (other requests to the providers, such as their model
    // lists, go the same way and under the same time limit).
    QNetworkAccessManager *network() const { return m_network(); }

    const std::optional<TestOutcome> &testState() const { return m_testState; }
    void setTestState(const std::optional<TestOutcome> &value);
    bool testing() const { return m_testing; }
    void setTesting(bool value);
    const std::optional<qint64> &backupTesting() const { return m_backupTesting; }
    void setBackupTesting(const std::optional<qint64> &value);
    const QMap<qint64, TestOutcome> &backupTestState() const { return m_backupTestState; }
    void setBackupTestState(const QMap<qint64, TestOutcome> &value);

Q_SIGNALS:
    void testStateChanged();
    void testingChanged();
    void backupTestingChanged();
    void backupTestStateChanged();

private:
    const ConfigStore *m_store;
    std::function<QNetworkAccessManager *()> m_network;
    int m_timeout = 20000;
    std::optional<TestOutcome> m_testState;
    bool m_testing = false;
    std::optional<qint64> m_backupTesting;
    QMap<qint64, TestOutcome> m_backupTestState;
};
