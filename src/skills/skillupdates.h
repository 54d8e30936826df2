#pragma once

#include "skills/skilltypes.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class RegistryModel;

// Keeping the skills installed from the fixed catalogue current: the source of each one is
// downloaded again, under the same limits as an install, and compared byte for byte with the
// installed file. A changed one is updated the way it was installed (a temporary file renamed
// over the old one), with the very bytes that were compared. The Skills & Features page and
// `varnookctl skills outdated|update` both run this.
class SkillUpdates final : public QObject {
    Q_OBJECT
public:
    enum class State {
        Checking, // the download is under way
        Current,  // the source is the installed file
        Outdated, // the source differs: "Update available"
        Failed,   // the source could not be downloaded, or the installed file read
    };

    struct Result {
        QString name;
        State state = State::Checking;
        QString problem;   // Failed: one line for people ("HTTP 404", "Request timed out")
        QByteArray source; // Outdated: the downloaded file, what update() writes
    };

    // Downloads and installs through `registry`, with its limits, into its install folder.
    explicit SkillUpdates(RegistryModel *registry, QObject *parent = nullptr);

    // The fixed-catalogue entries whose file is in the install folder, in catalogue order.
    static QList<RegistryEntry> installedCatalogEntries(const QString &installFolder,
                                                        const QString &rawBase);

    // Checks every installed catalogue skill, or only `name` when it is given. A check that is
    // running is abandoned: its answers are dropped.
    void check(const QString &name = {});
    bool checking() const;
    // One result per checked skill, in catalogue order.
    const QList<Result> &results() const { return m_results; }
    const Result *result(const QString &name) const;
    qsizetype count(State state) const;

    // Writes the source found by the last check over the installed file of `name` and lists
    // the skills again. False, with nothing written, when `name` is not Outdated or the write
    // failed; the reason is in `problem()`.
    bool update(const QString &name);
    const QString &problem() const { return m_problem; }

    // The line under the "Check for updates" button and the last line of
    // `varnookctl skills outdated`.
    QString summary() const;

Q_SIGNALS:
    // Any result changed, or a check began or ended.
    void changed();
    // The last answer of a check is in.
    void finished();

private:
    void settle(qsizetype index, quint64 generation, State state, const QString &problem,
                const QByteArray &source);

    QPointer<RegistryModel> m_registry;
    QList<Result> m_results;
    QString m_problem;
    quint64 m_generation = 0;
};
