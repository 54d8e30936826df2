#pragma once

#include "config/configstore.h"
#include "config/sidebaritem.h"
#include "providers/providertests.h"
#include "service/servicelink.h"
#include "skills/registrymodel.h"
#include "skills/skillswitches.h"
#include "skills/skilltypes.h"

#include <QDateTime>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class NotificationTransport;
class QNetworkAccessManager;

// The outside world as the model sees it. Tests hand in loopback addresses and an in-memory
// transport; the program hands in the D-Bus transport and the one network access manager.
struct ModelEnvironment {
    NotificationTransport *transport = nullptr; // none: posts go nowhere
    QNetworkAccessManager *network = nullptr;   // none: the model makes its own on first use
    QString githubApiBase = QStringLiteral(VARNOOK_GITHUB_API_BASE);
    QString githubRawBase = QStringLiteral(VARNOOK_GITHUB_RAW_BASE);
};

// The one observable object the settings window and varnookctl are written against. It is made of
// parts, each of which can be used on its own: the configuration store (file, document, values,
// save), the service link (status and control), the provider tests, the skill registry and the
// skill switches (installed skills, which are on); this class owns them, forwards to them under
// the names the pages use, announces their changes as its own signals, posts config-changed when
// a part saved, and keeps the operations that span parts (bots, backup models). What the window
// remembers about itself (selection, search, secrets shown in clear) is not here: see
// ui/state/windowstate.h. Main thread only.
class SettingsModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString baseURL READ baseURL WRITE setBaseURL NOTIFY baseURLChanged)
    Q_PROPERTY(QString apiKey READ apiKey WRITE setApiKey NOTIFY apiKeyChanged)
    Q_PROPERTY(QString model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(QString modelName READ modelName WRITE setModelName NOTIFY modelNameChanged)
    Q_PROPERTY(QString allowedIDs READ allowedIDs WRITE setAllowedIDs NOTIFY allowedIDsChanged)
    Q_PROPERTY(
        QString briefingTime READ briefingTime WRITE setBriefingTime NOTIFY briefingTimeChanged)
    Q_PROPERTY(QString briefingPrompt READ briefingPrompt WRITE setBriefingPrompt NOTIFY
                   briefingPromptChanged)
    Q_PROPERTY(
        QString triggerWords READ triggerWords WRITE setTriggerWords NOTIFY triggerWordsChanged)
    Q_PROPERTY(QString clipTriggerWords READ clipTriggerWords WRITE setClipTriggerWords NOTIFY
                   clipTriggerWordsChanged)
    Q_PROPERTY(QString soulFile READ soulFile WRITE setSoulFile NOTIFY soulFileChanged)
    Q_PROPERTY(QString maxTokens READ maxTokens WRITE setMaxTokens NOTIFY maxTokensChanged)
    Q_PROPERTY(
        QString chatBufferMax READ chatBufferMax WRITE setChatBufferMax NOTIFY chatBufferMaxChanged)
    Q_PROPERTY(QString recallLimit READ recallLimit WRITE setRecallLimit NOTIFY recallLimitChanged)
    Q_PROPERTY(QString factCap READ factCap WRITE setFactCap NOTIFY factCapChanged)
    Q_PROPERTY(QString researchMaxTokens READ researchMaxTokens WRITE setResearchMaxTokens NOTIFY
                   researchMaxTokensChanged)
    Q_PROPERTY(QString apiTimeout READ apiTimeout WRITE setApiTimeout NOTIFY apiTimeoutChanged)
    Q_PROPERTY(QString dataDir READ dataDir WRITE setDataDir NOTIFY dataDirChanged)
    Q_PROPERTY(bool showInDock READ showInDock WRITE setShowInDock NOTIFY showInDockChanged)
    Q_PROPERTY(
        bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(QString botMode READ botMode WRITE setBotMode NOTIFY botModeChanged)
    Q_PROPERTY(bool backfillMissed READ backfillMissed WRITE setBackfillMissed NOTIFY
                   backfillMissedChanged)
    Q_PROPERTY(bool briefingCrypto READ briefingCrypto WRITE setBriefingCrypto NOTIFY
                   briefingCryptoChanged)
    Q_PROPERTY(bool autoMemory READ autoMemory WRITE setAutoMemory NOTIFY autoMemoryChanged)
    Q_PROPERTY(bool testing READ testing WRITE setTesting NOTIFY testingChanged)
    Q_PROPERTY(bool catalogLoading READ catalogLoading WRITE setCatalogLoading NOTIFY
                   catalogLoadingChanged)
    Q_PROPERTY(QString newSource READ newSource WRITE setNewSource NOTIFY newSourceChanged)
    Q_PROPERTY(bool githubSearching READ githubSearching WRITE setGithubSearching NOTIFY
                   githubSearchingChanged)
    Q_PROPERTY(QString githubQuery READ githubQuery WRITE setGithubQuery NOTIFY githubQueryChanged)
    Q_PROPERTY(
        bool githubHasMore READ githubHasMore WRITE setGithubHasMore NOTIFY githubHasMoreChanged)

public:
    explicit SettingsModel(QString path, ModelEnvironment environment = {},
                           QObject *parent = nullptr);
    ~SettingsModel() override;

    // ---- the parts -------------------------------------------------------------------------
    ConfigStore &store() { return *m_store; }
    const ConfigStore &store() const { return *m_store; }
    ServiceLink &service() { return *m_service; }
    const ServiceLink &service() const { return *m_service; }
    ProviderTests &providerTests() { return *m_providerTests; }
    const ProviderTests &providerTests() const { return *m_providerTests; }
    RegistryModel &registry() { return *m_registry; }
    const RegistryModel &registry() const { return *m_registry; }
    SkillSwitches &skillSwitches() { return *m_skillSwitches; }
    const SkillSwitches &skillSwitches() const { return *m_skillSwitches; }

    // ---- configuration file ----------------------------------------------------------------
    const QString &path() const { return m_store->path(); }
    const QJsonObject &rawDocument() const { return m_store->rawDocument(); }
    double loadedMtime() const { return m_store->loadedMtime(); }
    const ConfigValues &values() const { return m_store->values(); }

    // Reads the file and applies it. Returns whether the file was there and taken (readable,
    // JSON, an object); when it was not, the model keeps what it had.
    bool loadFromDisk();
    // Whether the latest loadFromDisk took the file.
    bool fileTaken() const { return m_store->fileTaken(); }
    void reloadIfChanged();
    // Whether the file differs from what was last loaded: its time moved, or, at the same time,
    // its size or content.
    bool changedSinceLoad() const { return m_store->changedSinceLoad(); }
    // Reads the file again whether or not it changed, then the skills and the status (the
    // Reload button of the window's file banner).
    void reload();
    void applyDocument(const QJsonObject &document);
    // applyDocument for a document that replaces the whole configuration (an import): the
    // next save writes it as it is, whatever another program wrote meanwhile.
    void replaceDocument(const QJsonObject &document) { m_store->replaceDocument(document); }
    // Why the file at path() cannot be used (it is there but is not a readable JSON object, or
    // not a regular file), in the user's words; nothing when it can, or when it is missing.
    // While there is a problem nothing is written to the file; the model watches the path and
    // its folder and reads the file again as soon as something changes there.
    const std::optional<QString> &fileProblem() const { return m_store->fileProblem(); }
    bool canEdit() const { return m_store->canEdit(); }
    // The keys the user changed since the file was last read or written, as
    // ConfigDocument::changedKeys names them, plus keys of the document edited directly
    // ("enabled_skills"). These, and only these, are put on top of the file when another
    // program wrote it meanwhile.
    QStringList pendingKeys() const { return m_store->pendingKeys(); }
    // Writes the document; the failure text ("Could not write …") or nothing.
    std::optional<QString> writeDocument() { return m_store->writeDocument(); }
    // What the latest writeDocument gave, for callers of operations that save by themselves:
    // its failure text, or nothing when it worked or none was made. A failed write keeps it
    // until a later write works.
    const std::optional<QString> &lastSaveError() const { return m_store->lastSaveError(); }
    // writeDocument, then config-changed when it worked. Returns whether the write worked.
    bool saveAndNotify();
    void postConfigChanged();

    // ---- bots ---------------------------------------------------------------------------------
    bool canAddBot() const;
    void addBot();
    void removeBot(int index);
    void setBotToken(int bot, const QString &token);
    void setBotNickname(int bot, const QString &nickname);
    QString botLabel(int bot) const; // nickname, or "Bot N"
    void setBotProfileText(int bot, QString BotProfile::*field, const QString &text);
    // The bot's own backup models.
    void addBotFallback(int bot);
    void moveBotFallback(int bot, int row, bool up);
    void removeBotFallback(int bot, int row);
    void setBotFallbackText(int bot, int row, QString Fallback::*field, const QString &text);

    // ---- backup models of the defaults ------------------------------------------------------
    bool canAddFallback() const;
    void addFallback();
    void moveFallback(int index, bool up); // up on the first one promotes it to primary
    void promoteFallback();
    void removeFallback(int index);
    void setFallbackText(int index, QString Fallback::*field, const QString &text);

    // ---- bot status and control (the status file, the bot-control request) -----------------
    void refreshStatus() { m_service->refreshStatus(); }
    void sendBotControl(const QString &action) { m_service->sendBotControl(action); }
    int statusRefreshInterval() const { return m_service->statusRefreshInterval(); }
    void setStatusRefreshInterval(int ms) { m_service->setStatusRefreshInterval(ms); }
    int controlPollInterval() const { return m_service->controlPollInterval(); }
    void setControlPollInterval(int ms) { m_service->setControlPollInterval(ms); }
    int controlClearDelay() const { return m_service->controlClearDelay(); }
    void setControlClearDelay(int ms) { m_service->setControlClearDelay(ms); }
    static constexpr int controlMaxPolls = ServiceLink::controlMaxPolls;

    // ---- provider connection test -----------------------------------------------------------
    void testPrimary() { m_providerTests->testPrimary(); }
    void testBackup(qint64 index) { m_providerTests->testBackup(index); }
    int providerTestTimeout() const { return m_providerTests->timeout(); }
    void setProviderTestTimeout(int ms) { m_providerTests->setTimeout(ms); }
    // The manager handed in, or the model's own, made when the network is first needed (a
    // provider test, the registry), so that a launch that never goes online does not pay for it.
    QNetworkAccessManager *network();

    // ---- skills -------------------------------------------------------------------------------
    // Listing: "skills_dir" with "~" expanded, else skills/ beside the config file.
    QString skillsFolder() const { return m_skillSwitches->skillsFolder(); }
    // Install and delete: always skills/ beside the config file.
    QString installFolder() const { return m_skillSwitches->installFolder(); }
    void loadSkillsAndFeatures() { m_skillSwitches->loadSkillsAndFeatures(); }
    // "enabled_skills" of the raw document: the names switched off.
    QStringList globallyDisabledSkills() const { return m_skillSwitches->globallyDisabledSkills(); }
    void setSkillEnabled(const QString &name, bool on)
    {
        m_skillSwitches->setSkillEnabled(name, on);
    }
    bool groupEnabled(const QString &group) const { return m_skillSwitches->groupEnabled(group); }
    void setGroupEnabled(const QString &group, bool on)
    {
        m_skillSwitches->setGroupEnabled(group, on);
    }
    // key: "backfill_missed", "briefing_crypto", …
    void setFeature(const QString &key, bool value) { m_skillSwitches->setFeature(key, value); }
    void setBotSkill(int bot, const QString &name, bool on)
    {
        m_skillSwitches->setBotSkill(bot, name, on);
    }
    void resetBotSkills(int bot) { m_skillSwitches->resetBotSkills(bot); }
    bool effectiveEnabled(int bot, const QString &name) const
    {
        return m_skillSwitches->effectiveEnabled(bot, name);
    }
    int botOverrideCount(int bot) const { return m_skillSwitches->botOverrideCount(bot); }

    // ---- skill registry -----------------------------------------------------------------------
    const QString &githubApiBase() const { return m_registry->githubApiBase(); }
    const QString &githubRawBase() const { return m_registry->githubRawBase(); }
    void searchGithub(const QString &text) { m_registry->searchGithub(text); }
    void search(int page) { m_registry->search(page); }
    void loadMore() { m_registry->loadMore(); }
    void loadFullCatalog() { m_registry->loadFullCatalog(skillSources()); }
    void addSource() { m_skillSwitches->addSource(m_newSource); }
    void install(const RegistryEntry &entry) { m_registry->install(entry); }
    void installSearchResult(const RegistryEntry &entry) { m_registry->installSearchResult(entry); }
    // Downloads what install(entry), or installSearchResult(entry) for a search result, would
    // write, with the same requests and limits, and hands it to `done` on the main thread unless
    // `context` is gone by then: the address it came from and the bytes, or an empty address
    // when the download failed. Nothing is written.
    void download(const RegistryEntry &entry, QObject *context,
                  std::function<void(const QString &source, const QByteArray &bytes)> done)
    {
        m_registry->download(entry, context, std::move(done));
    }
    // Writes bytes that download() brought as install would write them, lists the folder again
    // and reports installFinished, so what was previewed is exactly what is installed.
    void installDownloaded(const RegistryEntry &entry, const QByteArray &bytes)
    {
        m_registry->installDownloaded(entry, bytes);
    }
    bool deleteSkill(const QString &name) { return m_skillSwitches->deleteSkill(name); }
    bool isInstalled(const QString &name) const { return m_skillSwitches->isInstalled(name); }
    int downloadTimeout() const { return m_registry->downloadTimeout(); }
    void setDownloadTimeout(int ms) { m_registry->setDownloadTimeout(ms); }
    qint64 downloadLimit() const { return m_registry->downloadLimit(); }
    void setDownloadLimit(qint64 bytes) { m_registry->setDownloadLimit(bytes); }
    qint64 apiReplyLimit() const { return m_registry->apiReplyLimit(); }
    void setApiReplyLimit(qint64 bytes) { m_registry->setApiReplyLimit(bytes); }

    // ---- properties -------------------------------------------------------------------------
    // One getter and one setter per line of config/configkeys.def, such as maxTokens() and
    // setMaxTokens(); each change is announced by the signal of the same name (maxTokensChanged).
#ifndef Q_MOC_RUN
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...)                                       \
    ConfigArgument<Type> member() const                                                            \
    {                                                                                              \
        return m_store->values().member;                                                           \
    }                                                                                              \
    void set##Name(ConfigArgument<Type> value)                                                     \
    {                                                                                              \
        m_store->set##Name(value);                                                                 \
    }
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
#endif
    const StatusInfo &status() const
    {
        return m_service->status();
    }
    void setStatus(const StatusInfo &value)
    {
        m_service->setStatus(value);
    }
    const std::optional<TestOutcome> &testState() const
    {
        return m_providerTests->testState();
    }
    void setTestState(const std::optional<TestOutcome> &value)
    {
        m_providerTests->setTestState(value);
    }
    bool testing() const
    {
        return m_providerTests->testing();
    }
    void setTesting(bool value)
    {
        m_providerTests->setTesting(value);
    }
    const std::optional<qint64> &backupTesting() const
    {
        return m_providerTests->backupTesting();
    }
    void setBackupTesting(const std::optional<qint64> &value)
    {
        m_providerTests->setBackupTesting(value);
    }
    const QMap<qint64, TestOutcome> &backupTestState() const
    {
        return m_providerTests->backupTestState();
    }
    void setBackupTestState(const QMap<qint64, TestOutcome> &value)
    {
        m_providerTests->setBackupTestState(value);
    }
    const std::optional<QString> &botControl() const
    {
        return m_service->botControl();
    }
    void setBotControl(const std::optional<QString> &value)
    {
        m_service->setBotControl(value);
    }
    const QDateTime &controlAt() const
    {
        return m_service->controlAt();
    }
    void setControlAt(const QDateTime &value)
    {
        m_service->setControlAt(value);
    }
    const std::optional<QString> &controlMsg() const
    {
        return m_service->controlMsg();
    }
    void setControlMsg(const std::optional<QString> &value)
    {
        m_service->setControlMsg(value);
    }
    const QList<SkillInfo> &skills() const
    {
        return m_skillSwitches->skills();
    }
    void setSkills(const QList<SkillInfo> &value);
    const QList<RegistryEntry> &githubResults() const
    {
        return m_registry->githubResults();
    }
    void setGithubResults(const QList<RegistryEntry> &value)
    {
        m_registry->setGithubResults(value);
    }
    const QList<RegistryEntry> &catalogEntries() const
    {
        return m_registry->catalogEntries();
    }
    void setCatalogEntries(const QList<RegistryEntry> &value)
    {
        m_registry->setCatalogEntries(value);
    }
    bool catalogLoading() const
    {
        return m_registry->catalogLoading();
    }
    void setCatalogLoading(bool value)
    {
        m_registry->setCatalogLoading(value);
    }
    const std::optional<QString> &catalogError() const
    {
        return m_registry->catalogError();
    }
    void setCatalogError(const std::optional<QString> &value)
    {
        m_registry->setCatalogError(value);
    }
    const QString &newSource() const
    {
        return m_newSource;
    }
    void setNewSource(const QString &value);
    bool githubSearching() const
    {
        return m_registry->githubSearching();
    }
    void setGithubSearching(bool value)
    {
        m_registry->setGithubSearching(value);
    }
    const QString &githubQuery() const
    {
        return m_registry->githubQuery();
    }
    void setGithubQuery(const QString &value)
    {
        m_registry->setGithubQuery(value);
    }
    int githubPage() const
    {
        return m_registry->githubPage();
    }
    void setGithubPage(int value)
    {
        m_registry->setGithubPage(value);
    }
    bool githubHasMore() const
    {
        return m_registry->githubHasMore();
    }
    void setGithubHasMore(bool value)
    {
        m_registry->setGithubHasMore(value);
    }

Q_SIGNALS:
    void baseURLChanged();
    void apiKeyChanged();
    void modelChanged();
    void modelNameChanged();
    void fallbacksChanged();
    void botTokensChanged();
    void botNicknamesChanged();
    void botProfilesChanged();
    void allowedIDsChanged();
    void briefingTimeChanged();
    void briefingPromptChanged();
    void triggerWordsChanged();
    void clipTriggerWordsChanged();
    void soulFileChanged();
    void maxTokensChanged();
    void chatBufferMaxChanged();
    void recallLimitChanged();
    void factCapChanged();
    void researchMaxTokensChanged();
    void apiTimeoutChanged();
    void dataDirChanged();
    void showInDockChanged();
    void launchAtLoginChanged();
    void botModeChanged();
    void backfillMissedChanged();
    void briefingCryptoChanged();
    void autoMemoryChanged();
    void skillSourcesChanged();
    void statusChanged();
    void testStateChanged();
    void testingChanged();
    void backupTestingChanged();
    void backupTestStateChanged();
    void botControlChanged();
    void controlAtChanged();
    void controlMsgChanged();
    void skillsChanged();
    void githubResultsChanged();
    void catalogEntriesChanged();
    void catalogLoadingChanged();
    void catalogErrorChanged();
    void newSourceChanged();
    void githubSearchingChanged();
    void githubQueryChanged();
    void githubPageChanged();
    void githubHasMoreChanged();
    void fileProblemChanged();
    void lastSaveErrorChanged();
    // An install finished (for tests and the registry page); ok is false when nothing was written.
    void installFinished(const QString &name, bool ok);
    // Changes of shape, for whoever keeps state about records by their index (the window's
    // selection and shown secrets): a bot appended at `index` (after it was saved), a bot removed
    // from `index` (before the rest is saved), a backup model moved from one index to another.
    void botAdded(int index);
    void botRemoved(int index);
    void fallbackMoved(int from, int to);

private:
    template <typename T> void assign(T &member, const T &value, void (SettingsModel::*signal)())
    {
        if (member == value)
            return;
        member = value;
        Q_EMIT(this->*signal)();
    }
    // Announces a change of the store under the name of the value that changed.
    void announce(ConfigKey key);
    void setConfig(const ConfigValues &values)
    {
        m_store->setValues(values);
    }
    void mutateProfile(int bot, const std::function<void(BotProfile &)> &change);

    const ConfigValues &config() const
    {
        return m_store->values();
    }

    ConfigStore *m_store = nullptr;
    NotificationTransport *m_transport = nullptr;
    QNetworkAccessManager *m_network = nullptr;
    ServiceLink *m_service = nullptr;
    ProviderTests *m_providerTests = nullptr;
    RegistryModel *m_registry = nullptr;
    SkillSwitches *m_skillSwitches = nullptr;

    QString m_newSource;
};
