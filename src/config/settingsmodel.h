#pragma once

#include "config/configfile.h"
#include "config/configtypes.h"
#include "config/sidebaritem.h"
#include "providers/testoutcome.h"
#include "service/statusinfo.h"
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
class QFileSystemWatcher;
class QNetworkAccessManager;

// The outside world as the model sees it. Tests hand in loopback addresses and an in-memory
// transport; the program hands in the D-Bus transport and the one network access manager.
struct ModelEnvironment {
    NotificationTransport *transport = nullptr; // none: posts go nowhere
    QNetworkAccessManager *network = nullptr;   // none: the model makes its own on first use
    QString githubApiBase = QStringLiteral(VARNOOK_GITHUB_API_BASE);
    QString githubRawBase = QStringLiteral(VARNOOK_GITHUB_RAW_BASE);
};

// The one observable object that owns all state of the settings window: the configuration
// values, the raw configuration document, the bot status and the view state. Every property
// announces its own change. Main thread only.
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
    Q_PROPERTY(bool showApiKey READ showApiKey WRITE setShowApiKey NOTIFY showApiKeyChanged)
    Q_PROPERTY(bool testing READ testing WRITE setTesting NOTIFY testingChanged)
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(QString registryFilter READ registryFilter WRITE setRegistryFilter NOTIFY
                   registryFilterChanged)
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

    // ---- configuration file ----------------------------------------------------------------
    const QString &path() const { return m_path; }
    const QJsonObject &rawDocument() const { return m_raw; }
    double loadedMtime() const { return m_loadedMtime; }
    const ConfigValues &values() const { return m_config; }

    // Reads the file and applies it. Returns whether the file was there and taken (readable,
    // JSON, an object); when it was not, the model keeps what it had.
    bool loadFromDisk();
    // Whether the latest loadFromDisk took the file.
    bool fileTaken() const { return m_fileTaken; }
    void reloadIfChanged();
    // Whether the file differs from what was last loaded: its time moved, or, at the same time,
    // its size or content.
    bool changedSinceLoad() const;
    // Reads the file again whether or not it changed, then the skills and the status (the
    // Reload button of the window's file banner).
    void reload();
    void applyDocument(const QJsonObject &document);
    // applyDocument for a document that replaces the whole configuration (an import): the
    // next save writes it as it is, whatever another program wrote meanwhile.
    void replaceDocument(const QJsonObject &document);
    // Why the file at path() cannot be used (it is there but is not a readable JSON object, or
    // not a regular file), in the user's words; nothing when it can, or when it is missing.
    // While there is a problem nothing is written to the file; the model watches the path and
    // its folder and reads the file again as soon as something changes there.
    const std::optional<QString> &fileProblem() const { return m_fileProblem; }
    bool canEdit() const { return !m_fileProblem; }
    // The keys the user changed since the file was last read or written, as
    // ConfigDocument::changedKeys names them, plus keys of the document edited directly
    // ("enabled_skills"). These, and only these, are put on top of the file when another
    // program wrote it meanwhile.
    QStringList pendingKeys() const;
    // Writes the document; the failure text ("Could not write …") or nothing.
    std::optional<QString> writeDocument();
    // What the latest writeDocument gave, for callers of operations that save by themselves:
    // its failure text, or nothing when it worked or none was made. A failed write keeps it
    // until a later write works.
    const std::optional<QString> &lastSaveError() const { return m_lastSaveError; }
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

    // ---- secrets shown in clear and choice controls ----------------------------------------
    void toggleShowApiKey() { setShowApiKey(!m_showApiKey); }
    void toggleShowTokenKey(int bot);
    void toggleShowFallbackKey(int index);
    void toggleShowProfileKey(const QString &key);
    void setChoiceCustomMode(const QString &customKey, bool on);

    // ---- bot status and control (the status file, the bot-control request) -----------------
    void refreshStatus();
    void sendBotControl(const QString &action);
    int statusRefreshInterval() const { return m_statusRefreshInterval; }
    void setStatusRefreshInterval(int ms) { m_statusRefreshInterval = ms; }
    int controlPollInterval() const { return m_controlPollInterval; }
    void setControlPollInterval(int ms) { m_controlPollInterval = ms; }
    int controlClearDelay() const { return m_controlClearDelay; }
    void setControlClearDelay(int ms) { m_controlClearDelay = ms; }
    static constexpr int controlMaxPolls = 31;

    // ---- provider connection test -----------------------------------------------------------
    void testPrimary();
    void testBackup(qint64 index);
    int providerTestTimeout() const { return m_providerTestTimeout; }
    void setProviderTestTimeout(int ms) { m_providerTestTimeout = ms; }
    // The manager handed in, or the model's own, made when the network is first needed (a
    // provider test, the registry), so that a launch that never goes online does not pay for it.
    QNetworkAccessManager *network();

    // ---- skills -------------------------------------------------------------------------------
    QString skillsFolder() const;  // listing: "skills_dir" with "~" expanded, else skills/ beside
    QString installFolder() const; // install and delete: always skills/ beside the config file
    void loadSkillsAndFeatures();
    QStringList globallyDisabledSkills() const; // "enabled_skills" of the raw document
    void setSkillEnabled(const QString &name, bool on);
    bool groupEnabled(const QString &group) const;
    void setGroupEnabled(const QString &group, bool on);
    void setFeature(const QString &key, bool value); // "backfill_missed", "briefing_crypto", …
    void setBotSkill(int bot, const QString &name, bool on);
    void resetBotSkills(int bot);
    bool effectiveEnabled(int bot, const QString &name) const;
    int botOverrideCount(int bot) const;

    // ---- skill registry -----------------------------------------------------------------------
    const QString &githubApiBase() const { return m_githubApiBase; }
    const QString &githubRawBase() const { return m_githubRawBase; }
    void searchGithub(const QString &text);
    void search(int page);
    void loadMore();
    void loadFullCatalog();
    void addSource();
    void install(const RegistryEntry &entry);
    void installSearchResult(const RegistryEntry &entry);
    // Downloads what install(entry), or installSearchResult(entry) for a search result, would
    // write, with the same requests and limits, and hands it to `done` on the main thread unless
    // `context` is gone by then: the address it came from and the bytes, or an empty address
    // when the download failed. Nothing is written.
    void download(const RegistryEntry &entry, QObject *context,
                  std::function<void(const QString &source, const QByteArray &bytes)> done);
    // Writes bytes that download() brought as install would write them, lists the folder again
    // and reports installFinished, so what was previewed is exactly what is installed.
    void installDownloaded(const RegistryEntry &entry, const QByteArray &bytes);
    bool deleteSkill(const QString &name);
    bool isInstalled(const QString &name) const;
    int downloadTimeout() const { return m_downloadTimeout; }
    void setDownloadTimeout(int ms) { m_downloadTimeout = ms; }
    qint64 downloadLimit() const { return m_downloadLimit; }
    void setDownloadLimit(qint64 bytes) { m_downloadLimit = bytes; }
    qint64 apiReplyLimit() const { return m_apiReplyLimit; }
    void setApiReplyLimit(qint64 bytes) { m_apiReplyLimit = bytes; }

    // ---- properties -------------------------------------------------------------------------
    const QString &baseURL() const { return m_config.baseURL; }
    void setBaseURL(const QString &value);
    const QString &apiKey() const { return m_config.apiKey; }
    void setApiKey(const QString &value);
    const QString &model() const { return m_config.model; }
    void setModel(const QString &value);
    const QString &modelName() const { return m_config.modelName; }
    void setModelName(const QString &value);
    const QList<Fallback> &fallbacks() const { return m_config.fallbacks; }
    void setFallbacks(const QList<Fallback> &value);
    const QStringList &botTokens() const { return m_config.botTokens; }
    void setBotTokens(const QStringList &value);
    const QStringList &botNicknames() const { return m_config.botNicknames; }
    void setBotNicknames(const QStringList &value);
    const QList<BotProfile> &botProfiles() const { return m_config.botProfiles; }
    void setBotProfiles(const QList<BotProfile> &value);
    const QString &allowedIDs() const { return m_config.allowedIDs; }
    void setAllowedIDs(const QString &value);
    const QString &briefingTime() const { return m_config.briefingTime; }
    void setBriefingTime(const QString &value);
    const QString &briefingPrompt() const { return m_config.briefingPrompt; }
    void setBriefingPrompt(const QString &value);
    const QString &triggerWords() const { return m_config.triggerWords; }
    void setTriggerWords(const QString &value);
    const QString &clipTriggerWords() const { return m_config.clipTriggerWords; }
    void setClipTriggerWords(const QString &value);
    const QString &soulFile() const { return m_config.soulFile; }
    void setSoulFile(const QString &value);
    const QString &maxTokens() const { return m_config.maxTokens; }
    void setMaxTokens(const QString &value);
    const QString &chatBufferMax() const { return m_config.chatBufferMax; }
    void setChatBufferMax(const QString &value);
    const QString &recallLimit() const { return m_config.recallLimit; }
    void setRecallLimit(const QString &value);
    const QString &factCap() const { return m_config.factCap; }
    void setFactCap(const QString &value);
    const QString &researchMaxTokens() const { return m_config.researchMaxTokens; }
    void setResearchMaxTokens(const QString &value);
    const QString &apiTimeout() const { return m_config.apiTimeout; }
    void setApiTimeout(const QString &value);
    const QString &dataDir() const { return m_config.dataDir; }
    void setDataDir(const QString &value);
    bool showInDock() const { return m_config.showInDock; }
    void setShowInDock(bool value);
    bool launchAtLogin() const { return m_config.launchAtLogin; }
    void setLaunchAtLogin(bool value);
    const QString &botMode() const { return m_config.botMode; }
    void setBotMode(const QString &value);
    bool backfillMissed() const { return m_config.backfillMissed; }
    void setBackfillMissed(bool value);
    bool briefingCrypto() const { return m_config.briefingCrypto; }
    void setBriefingCrypto(bool value);
    bool autoMemory() const { return m_config.autoMemory; }
    void setAutoMemory(bool value);
    const QStringList &skillSources() const { return m_config.skillSources; }
    void setSkillSources(const QStringList &value);
    const QSet<QString> &choiceCustom() const { return m_choiceCustom; }
    void setChoiceCustom(const QSet<QString> &value);
    const std::optional<SidebarItem> &selection() const { return m_selection; }
    void setSelection(const std::optional<SidebarItem> &value);
    const std::optional<QString> &alertMessage() const { return m_alertMessage; }
    void setAlertMessage(const std::optional<QString> &value);
    bool showApiKey() const { return m_showApiKey; }
    void setShowApiKey(bool value);
    const QSet<int> &showTokenKeys() const { return m_showTokenKeys; }
    void setShowTokenKeys(const QSet<int> &value);
    const QSet<QString> &showProfileKeys() const { return m_showProfileKeys; }
    void setShowProfileKeys(const QSet<QString> &value);
    const QSet<int> &showFallbackKeys() const { return m_showFallbackKeys; }
    void setShowFallbackKeys(const QSet<int> &value);
    ColumnVisibility columnVisibility() const { return m_columnVisibility; }
    void setColumnVisibility(ColumnVisibility value);
    const StatusInfo &status() const { return m_status; }
    void setStatus(const StatusInfo &value);
    const std::optional<TestOutcome> &testState() const { return m_testState; }
    void setTestState(const std::optional<TestOutcome> &value);
    bool testing() const { return m_testing; }
    void setTesting(bool value);
    const std::optional<qint64> &backupTesting() const { return m_backupTesting; }
    void setBackupTesting(const std::optional<qint64> &value);
    const QMap<qint64, TestOutcome> &backupTestState() const { return m_backupTestState; }
    void setBackupTestState(const QMap<qint64, TestOutcome> &value);
    const std::optional<QString> &botControl() const { return m_botControl; }
    void setBotControl(const std::optional<QString> &value);
    const QDateTime &controlAt() const { return m_controlAt; }
    void setControlAt(const QDateTime &value);
    const std::optional<QString> &controlMsg() const { return m_controlMsg; }
    void setControlMsg(const std::optional<QString> &value);
    const QString &filter() const { return m_filter; }
    void setFilter(const QString &value);
    const QList<SkillInfo> &skills() const { return m_skills; }
    void setSkills(const QList<SkillInfo> &value);
    int skillTab() const { return m_skillTab; }
    void setSkillTab(int value);
    const std::optional<int> &skillsBot() const { return m_skillsBot; }
    void setSkillsBot(const std::optional<int> &value);
    int registryPage() const { return m_registryPage; }
    void setRegistryPage(int value);
    const QString &registryFilter() const { return m_registryFilter; }
    void setRegistryFilter(const QString &value);
    const QList<RegistryEntry> &githubResults() const { return m_githubResults; }
    void setGithubResults(const QList<RegistryEntry> &value);
    const QList<RegistryEntry> &catalogEntries() const { return m_catalogEntries; }
    void setCatalogEntries(const QList<RegistryEntry> &value);
    bool catalogLoading() const { return m_catalogLoading; }
    void setCatalogLoading(bool value);
    const std::optional<QString> &catalogError() const { return m_catalogError; }
    void setCatalogError(const std::optional<QString> &value);
    const QString &newSource() const { return m_newSource; }
    void setNewSource(const QString &value);
    bool githubSearching() const { return m_githubSearching; }
    void setGithubSearching(bool value);
    const QString &githubQuery() const { return m_githubQuery; }
    void setGithubQuery(const QString &value);
    int githubPage() const { return m_githubPage; }
    void setGithubPage(int value);
    bool githubHasMore() const { return m_githubHasMore; }
    void setGithubHasMore(bool value);

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
    void choiceCustomChanged();
    void selectionChanged();
    void alertMessageChanged();
    void showApiKeyChanged();
    void showTokenKeysChanged();
    void showProfileKeysChanged();
    void showFallbackKeysChanged();
    void columnVisibilityChanged();
    void statusChanged();
    void testStateChanged();
    void testingChanged();
    void backupTestingChanged();
    void backupTestStateChanged();
    void botControlChanged();
    void controlAtChanged();
    void controlMsgChanged();
    void filterChanged();
    void skillsChanged();
    void skillTabChanged();
    void skillsBotChanged();
    void registryPageChanged();
    void registryFilterChanged();
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

private:
    template <typename T> void assign(T &member, const T &value, void (SettingsModel::*signal)())
    {
        if (member == value)
            return;
        member = value;
        Q_EMIT(this->*signal)();
    }
    void setConfig(const ConfigValues &values); // announces every changed property
    void setFileProblem(const std::optional<QString> &problem);
    void setLastSaveError(const std::optional<QString> &error);
    // The document to write: the user's values on the document as last read or written, or, when
    // another program wrote the file since, the user's own changes on what is there now.
    QJsonObject documentToWrite(ConfigValues &values, const ConfigFile::Snapshot &disk) const;
    // Edits a key of the raw document that ConfigValues does not hold, and remembers it.
    void setRawValue(const QString &key, const QJsonValue &value);
    void mutateProfile(int bot, const std::function<void(BotProfile &)> &change);
    void listSkills();
    void fetch(const QUrl &url, std::function<void(int status, const QByteArray &body)> done);
    void writeSkillFile(const QString &fileName, const QByteArray &bytes, const QString &name);
    void pollControl(const QString &action, qint64 pidBefore, int attempts);

    QString m_path;
    QJsonObject m_raw;
    double m_loadedMtime = 0;
    // Size and digest of the bytes last loaded: a write within the same tick of the file system's
    // clock leaves the time as it was, so when the time matches the content decides.
    qint64 m_loadedSize = -1;
    QByteArray m_loadedDigest;
    bool m_fileTaken = false;
    std::optional<QString> m_lastSaveError;
    std::optional<QString> m_fileProblem;
    QFileSystemWatcher *m_watcher = nullptr;
    // The file as this program last read or wrote it, and the values as they were then: the
    // user's pending changes are what differs from these.
    ConfigFile::Fingerprint m_known;
    ConfigValues m_synced;
    QSet<QString> m_rawEdits; // keys of m_raw edited directly since
    bool m_replaceWhole = false;
    ConfigValues m_config;
    NotificationTransport *m_transport = nullptr;
    QNetworkAccessManager *m_network = nullptr;
    QString m_githubApiBase;
    QString m_githubRawBase;
    int m_statusRefreshInterval = 5000;
    int m_controlPollInterval = 1000;
    int m_controlClearDelay = 2000;
    int m_providerTestTimeout = 20000;
    int m_downloadTimeout = 30000;
    qint64 m_downloadLimit = 4 * 1024 * 1024;  // a skill file
    qint64 m_apiReplyLimit = 16 * 1024 * 1024; // a GitHub JSON reply

    QSet<QString> m_choiceCustom;
    std::optional<SidebarItem> m_selection;
    std::optional<QString> m_alertMessage;
    bool m_showApiKey = false;
    QSet<int> m_showTokenKeys;
    QSet<QString> m_showProfileKeys;
    QSet<int> m_showFallbackKeys;
    ColumnVisibility m_columnVisibility = ColumnVisibility::All;
    StatusInfo m_status;
    std::optional<TestOutcome> m_testState;
    bool m_testing = false;
    std::optional<qint64> m_backupTesting;
    QMap<qint64, TestOutcome> m_backupTestState;
    std::optional<QString> m_botControl;
    QDateTime m_controlAt;
    std::optional<QString> m_controlMsg;
    QString m_filter;
    QList<SkillInfo> m_skills;
    int m_skillTab = 0;
    std::optional<int> m_skillsBot;
    int m_registryPage = 0;
    QString m_registryFilter;
    QList<RegistryEntry> m_githubResults;
    QList<RegistryEntry> m_catalogEntries;
    bool m_catalogLoading = false;
    std::optional<QString> m_catalogError;
    QString m_newSource;
    bool m_githubSearching = false;
    QString m_githubQuery;
    int m_githubPage = 0;
    bool m_githubHasMore = false;
};
