#include "config/settingsmodel.h"

#include "config/configdocument.h"
#include "service/notificationtransport.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QJsonDocument>
#include <QNetworkAccessManager>

using namespace Qt::Literals::StringLiterals;

namespace {

// Modification time in seconds since 1970, or 0 when it cannot be read.
double modificationTime(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return 0;
    const QDateTime time = info.lastModified();
    return time.isValid() ? double(time.toMSecsSinceEpoch()) / 1000.0 : 0;
}

QByteArray digest(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

template <typename T> bool validIndex(const QList<T> &list, qsizetype i)
{
    return i >= 0 && i < list.size();
}

} // namespace

SettingsModel::SettingsModel(QString path, ModelEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_path(std::move(path))
    , m_transport(environment.transport)
    , m_network(environment.network)
    , m_githubApiBase(std::move(environment.githubApiBase))
    , m_githubRawBase(std::move(environment.githubRawBase))
{
    m_synced = m_config;
    loadFromDisk();
    if (m_transport) {
        // The context object makes the observer go away with the model.
        connect(m_transport, &NotificationTransport::received, this,
                [this](const QString &name, const QVariantMap &) {
                    if (name == Notifications::configChanged())
                        reloadIfChanged();
                    else if (name == Notifications::quitSettings())
                        QCoreApplication::quit();
                });
    }
}

SettingsModel::~SettingsModel() = default;

// ---- loading and saving ------------------------------------------------------------------------

bool SettingsModel::loadFromDisk()
{
    m_fileTaken = false;
    const ConfigFile::Snapshot disk = ConfigFile::read(m_path);
    switch (disk.state) {
    case ConfigFile::Snapshot::State::Missing:
        // A fresh start; the first save creates the file from what the model holds.
        m_known = disk.fingerprint;
        setFileProblem(std::nullopt);
        return false;
    case ConfigFile::Snapshot::State::Unusable:
        // Kept as it is, and never written over: it may hold the user's keys in a form a
        // person can mend.
        setFileProblem(disk.problem);
        return false;
    case ConfigFile::Snapshot::State::Document: break;
    }
    m_loadedMtime = modificationTime(m_path);
    m_loadedSize = disk.bytes.size();
    m_loadedDigest = digest(disk.bytes);
    m_known = disk.fingerprint;
    applyDocument(disk.document);
    m_synced = m_config;
    m_rawEdits.clear();
    m_replaceWhole = false;
    m_fileTaken = true;
    setFileProblem(std::nullopt);
    return true;
}

bool SettingsModel::changedSinceLoad() const
{
    if (modificationTime(m_path) != m_loadedMtime)
        return true;
    // Same time: two writes within one tick of the file system's clock (a few milliseconds, such
    // as the service answering a save at once) look alike by time alone.
    const QFileInfo info(m_path);
    if (!info.isFile())
        return false; // nothing that could have been loaded; never open a pipe or a device
    if (info.size() != m_loadedSize)
        return true;
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return digest(file.readAll()) != m_loadedDigest;
}

void SettingsModel::reloadIfChanged()
{
    // A file that could not be used is read again on every occasion: it may have been mended
    // without its time moving (a copy that keeps times, a clock set back).
    if (!m_fileProblem && !changedSinceLoad())
        return;
    reload();
}

void SettingsModel::reload()
{
    loadFromDisk();
    loadSkillsAndFeatures();
    refreshStatus();
}

void SettingsModel::setFileProblem(const std::optional<QString> &problem)
{
    if (problem && !m_watcher) {
        // Watches the folder too: the mended file may arrive under a new inode (an editor's
        // rename), or appear where there was a folder.
        m_watcher = new QFileSystemWatcher(this);
        const QFileInfo info(m_path);
        m_watcher->addPath(info.absolutePath());
        if (info.exists())
            m_watcher->addPath(info.absoluteFilePath());
        auto retry = [this] {
            if (m_fileProblem)
                reloadIfChanged();
        };
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, retry);
        connect(m_watcher, &QFileSystemWatcher::fileChanged, this, retry);
    } else if (!problem && m_watcher) {
        m_watcher->deleteLater();
        m_watcher = nullptr;
    }
    assign(m_fileProblem, problem, &SettingsModel::fileProblemChanged);
}

void SettingsModel::setLastSaveError(const std::optional<QString> &error)
{
    assign(m_lastSaveError, error, &SettingsModel::lastSaveErrorChanged);
}

void SettingsModel::replaceDocument(const QJsonObject &document)
{
    applyDocument(document);
    m_replaceWhole = true;
}

void SettingsModel::setRawValue(const QString &key, const QJsonValue &value)
{
    m_raw.insert(key, value);
    m_rawEdits.insert(key);
}

QStringList SettingsModel::pendingKeys() const
{
    QStringList keys = ConfigDocument::changedKeys(m_synced, m_config);
    for (const QString &key : m_rawEdits) {
        if (!keys.contains(key))
            keys.append(key);
    }
    return keys;
}

void SettingsModel::applyDocument(const QJsonObject &document)
{
    m_raw = document;
    setConfig(ConfigDocument::read(document));
    const qsizetype bots = m_config.botTokens.size();
    if (!m_selection || (m_selection->isBot() && m_selection->bot >= bots)) {
        setSelection(bots > 0 ? SidebarItem::botAt(0)
                              : SidebarItem::defaults(allSections().constFirst()));
    }
}

void SettingsModel::setConfig(const ConfigValues &values)
{
    const ConfigValues old = std::exchange(m_config, values);
    auto notifyIfChanged
        = [this](const auto &before, const auto &after, void (SettingsModel::*signal)()) {
              if (!(before == after))
                  Q_EMIT(this->*signal)();
          };
    notifyIfChanged(old.baseURL, m_config.baseURL, &SettingsModel::baseURLChanged);
    notifyIfChanged(old.apiKey, m_config.apiKey, &SettingsModel::apiKeyChanged);
    notifyIfChanged(old.model, m_config.model, &SettingsModel::modelChanged);
    notifyIfChanged(old.modelName, m_config.modelName, &SettingsModel::modelNameChanged);
    notifyIfChanged(old.fallbacks, m_config.fallbacks, &SettingsModel::fallbacksChanged);
    notifyIfChanged(old.botTokens, m_config.botTokens, &SettingsModel::botTokensChanged);
    notifyIfChanged(old.botNicknames, m_config.botNicknames, &SettingsModel::botNicknamesChanged);
    notifyIfChanged(old.botProfiles, m_config.botProfiles, &SettingsModel::botProfilesChanged);
    notifyIfChanged(old.allowedIDs, m_config.allowedIDs, &SettingsModel::allowedIDsChanged);
    notifyIfChanged(old.briefingTime, m_config.briefingTime, &SettingsModel::briefingTimeChanged);
    notifyIfChanged(old.briefingPrompt, m_config.briefingPrompt,
                    &SettingsModel::briefingPromptChanged);
    notifyIfChanged(old.triggerWords, m_config.triggerWords, &SettingsModel::triggerWordsChanged);
    notifyIfChanged(old.clipTriggerWords, m_config.clipTriggerWords,
                    &SettingsModel::clipTriggerWordsChanged);
    notifyIfChanged(old.soulFile, m_config.soulFile, &SettingsModel::soulFileChanged);
    notifyIfChanged(old.maxTokens, m_config.maxTokens, &SettingsModel::maxTokensChanged);
    notifyIfChanged(old.chatBufferMax, m_config.chatBufferMax,
                    &SettingsModel::chatBufferMaxChanged);
    notifyIfChanged(old.recallLimit, m_config.recallLimit, &SettingsModel::recallLimitChanged);
    notifyIfChanged(old.factCap, m_config.factCap, &SettingsModel::factCapChanged);
    notifyIfChanged(old.researchMaxTokens, m_config.researchMaxTokens,
                    &SettingsModel::researchMaxTokensChanged);
    notifyIfChanged(old.apiTimeout, m_config.apiTimeout, &SettingsModel::apiTimeoutChanged);
    notifyIfChanged(old.dataDir, m_config.dataDir, &SettingsModel::dataDirChanged);
    notifyIfChanged(old.showInDock, m_config.showInDock, &SettingsModel::showInDockChanged);
    notifyIfChanged(old.launchAtLogin, m_config.launchAtLogin,
                    &SettingsModel::launchAtLoginChanged);
    notifyIfChanged(old.botMode, m_config.botMode, &SettingsModel::botModeChanged);
    notifyIfChanged(old.backfillMissed, m_config.backfillMissed,
                    &SettingsModel::backfillMissedChanged);
    notifyIfChanged(old.briefingCrypto, m_config.briefingCrypto,
                    &SettingsModel::briefingCryptoChanged);
    notifyIfChanged(old.autoMemory, m_config.autoMemory, &SettingsModel::autoMemoryChanged);
    notifyIfChanged(old.skillSources, m_config.skillSources, &SettingsModel::skillSourcesChanged);
}

QJsonObject SettingsModel::documentToWrite(ConfigValues &values,
                                           const ConfigFile::Snapshot &disk) const
{
    QJsonObject document = m_raw;
    ConfigDocument::write(values, document);
    // A file that went away since is written again whole, from what the model holds: merging
    // onto nothing would turn every value the user did not touch into its default.
    if (m_replaceWhole || disk.fingerprint == m_known
        || disk.state == ConfigFile::Snapshot::State::Missing)
        return document;

    // Another program wrote the file since this one last read or wrote it. Start from what is
    // there now and put only the user's own changes on top, so that what the other writer
    // changed meanwhile stays.
    const QJsonObject mine = document;
    document = disk.document;
    values = ConfigDocument::merge(m_synced, m_config, ConfigDocument::read(disk.document));
    if (ConfigDocument::botsRestructured(m_synced, m_config)) {
        // The user added or removed a bot: the bot lists are the user's, each bot with the
        // keys of its own object.
        for (const QLatin1StringView key :
             {"bot_tokens"_L1, "bot_token"_L1, "bot_nicknames"_L1, "bot_profiles"_L1})
            document.insert(key, mine.value(key));
    }
    for (const QString &key : m_rawEdits) {
        if (m_raw.contains(key))
            document.insert(key, m_raw.value(key));
        else
            document.remove(key);
    }
    ConfigDocument::write(values, document);
    return document;
}

std::optional<QString> SettingsModel::writeDocument()
{
    // Nothing is ever written over a file that is there but could not be used.
    if (m_fileProblem)
        return u"Not saved: "_s + *m_fileProblem;

    const auto failed = [this](const QString &reason) {
        setLastSaveError(u"Could not write "_s + m_path + u": "_s + reason);
        return m_lastSaveError;
    };
    // The whole read-modify-write holds the lock, so that a writer that keeps to it never
    // comes between this program's look at the file and its write.
    const ConfigFile::Lock lock(m_path);
    if (!lock.isHeld())
        return failed(lock.error());
    const ConfigFile::Snapshot disk = ConfigFile::read(m_path);
    if (!disk.isUsable()) {
        setFileProblem(disk.problem);
        return u"Not saved: "_s + disk.problem;
    }

    ConfigValues values = m_config;
    const QJsonObject document = documentToWrite(values, disk);
    ConfigFile::Fingerprint written;
    if (const std::optional<QString> reason
        = ConfigFile::write(m_path, ConfigDocument::serialise(document), &written))
        return failed(*reason); // the model keeps what the user typed
    m_raw = document;
    m_known = written;
    setConfig(values); // the number texts are now normalised
    m_synced = m_config;
    m_rawEdits.clear();
    m_replaceWhole = false;
    setLastSaveError(std::nullopt);
    return std::nullopt;
}

bool SettingsModel::saveAndNotify()
{
    if (writeDocument())
        return false;
    postConfigChanged();
    return true;
}

void SettingsModel::postConfigChanged()
{
    if (m_transport)
        m_transport->post(Notifications::configChanged());
}

// ---- bots --------------------------------------------------------------------------------------

bool SettingsModel::canAddBot() const
{
    return m_config.botTokens.isEmpty()
           || !ConfigDocument::trimBlanks(m_config.botTokens.constLast()).isEmpty();
}

void SettingsModel::addBot()
{
    if (!canAddBot() || !canEdit())
        return;
    ConfigValues values = m_config;
    values.botTokens.append(QString());
    values.botNicknames.resize(values.botTokens.size() - 1);
    values.botNicknames.append(QString());
    values.botProfiles.resize(values.botTokens.size() - 1);
    values.botProfiles.append(BotProfile());
    setConfig(values);
    saveAndNotify();
    setSelection(SidebarItem::botAt(int(m_config.botTokens.size()) - 1));
}

void SettingsModel::removeBot(int index)
{
    if (!validIndex(m_config.botTokens, index))
        return;
    ConfigValues values = m_config;
    values.botTokens.removeAt(index);
    if (index < values.botNicknames.size())
        values.botNicknames.removeAt(index);
    if (index < values.botProfiles.size())
        values.botProfiles.removeAt(index);
    setConfig(values);
    if (m_selection && *m_selection == SidebarItem::botAt(index)) {
        setSelection(values.botTokens.isEmpty() ? SidebarItem::defaults(allSections().constFirst())
                                                : SidebarItem::botAt(std::max(index - 1, 0)));
    }
    saveAndNotify();
}

void SettingsModel::setBotToken(int bot, const QString &token)
{
    if (!validIndex(m_config.botTokens, bot))
        return;
    QStringList tokens = m_config.botTokens;
    tokens[bot] = token;
    setBotTokens(tokens);
}

void SettingsModel::setBotNickname(int bot, const QString &nickname)
{
    if (!validIndex(m_config.botNicknames, bot))
        return;
    QStringList nicknames = m_config.botNicknames;
    nicknames[bot] = nickname;
    setBotNicknames(nicknames);
}

QString SettingsModel::botLabel(int bot) const
{
    if (validIndex(m_config.botNicknames, bot) && !m_config.botNicknames.at(bot).isEmpty())
        return m_config.botNicknames.at(bot);
    return u"Bot "_s + QString::number(bot + 1);
}

void SettingsModel::mutateProfile(int bot, const std::function<void(BotProfile &)> &change)
{
    if (!validIndex(m_config.botProfiles, bot))
        return;
    QList<BotProfile> profiles = m_config.botProfiles;
    change(profiles[bot]);
    setBotProfiles(profiles);
}

void SettingsModel::setBotProfileText(int bot, QString BotProfile::*field, const QString &text)
{
    mutateProfile(bot, [&](BotProfile &p) { p.*field = text; });
}

void SettingsModel::addBotFallback(int bot)
{
    if (!validIndex(m_config.botProfiles, bot))
        return;
    mutateProfile(bot, [](BotProfile &p) { p.fallbacks.append(Fallback::create()); });
    saveAndNotify();
}

void SettingsModel::moveBotFallback(int bot, int row, bool up)
{
    if (!validIndex(m_config.botProfiles, bot))
        return;
    const qsizetype count = m_config.botProfiles.at(bot).fallbacks.size();
    const int target = up ? row - 1 : row + 1;
    if (row < 0 || row >= count || target < 0 || target >= count)
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks.swapItemsAt(row, target); });
    saveAndNotify();
}

void SettingsModel::removeBotFallback(int bot, int row)
{
    if (!validIndex(m_config.botProfiles, bot)
        || !validIndex(m_config.botProfiles.at(bot).fallbacks, row))
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks.removeAt(row); });
    saveAndNotify();
}

void SettingsModel::setBotFallbackText(int bot, int row, QString Fallback::*field,
                                       const QString &text)
{
    if (!validIndex(m_config.botProfiles, bot)
        || !validIndex(m_config.botProfiles.at(bot).fallbacks, row))
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks[row].*field = text; });
}

// ---- backup models of the defaults -------------------------------------------------------------

bool SettingsModel::canAddFallback() const
{
    if (m_config.fallbacks.isEmpty())
        return true;
    const Fallback &last = m_config.fallbacks.constLast();
    return !ConfigDocument::trimBlanks(last.base_url).isEmpty()
           && !ConfigDocument::trimBlanks(last.model).isEmpty();
}

void SettingsModel::addFallback()
{
    QList<Fallback> list = m_config.fallbacks;
    list.append(Fallback::create());
    setFallbacks(list);
    saveAndNotify();
}

void SettingsModel::moveFallback(int index, bool up)
{
    const qsizetype count = m_config.fallbacks.size();
    if (index < 0 || index >= count)
        return;
    if (up && index == 0) {
        promoteFallback();
        return;
    }
    const int target = up ? index - 1 : index + 1;
    if (target >= count)
        return;
    QList<Fallback> list = m_config.fallbacks;
    list.swapItemsAt(index, target);
    setFallbacks(list);
    // A key shown in clear stays shown on the record that moved.
    if (m_showFallbackKeys.contains(index) != m_showFallbackKeys.contains(target)) {
        QSet<int> shown = m_showFallbackKeys;
        const bool indexShown = shown.remove(index);
        if (!indexShown)
            shown.remove(target);
        shown.insert(indexShown ? target : index);
        setShowFallbackKeys(shown);
    }
    saveAndNotify();
}

void SettingsModel::promoteFallback()
{
    if (m_config.fallbacks.isEmpty())
        return;
    ConfigValues values = m_config;
    const Fallback first = values.fallbacks.takeFirst();
    Fallback former = Fallback::create();
    former.base_url = values.baseURL;
    former.api_key = values.apiKey;
    former.model = values.model;
    former.name = values.modelName;
    values.baseURL = first.base_url;
    values.apiKey = first.api_key;
    values.model = first.model;
    values.modelName = first.name;
    values.fallbacks.prepend(former);
    setConfig(values);
    saveAndNotify();
}

void SettingsModel::removeFallback(int index)
{
    if (!validIndex(m_config.fallbacks, index))
        return;
    QList<Fallback> list = m_config.fallbacks;
    list.removeAt(index);
    setFallbacks(list);
    saveAndNotify();
}

void SettingsModel::setFallbackText(int index, QString Fallback::*field, const QString &text)
{
    if (!validIndex(m_config.fallbacks, index))
        return;
    QList<Fallback> list = m_config.fallbacks;
    list[index].*field = text;
    setFallbacks(list);
}

// ---- secrets shown in clear and choice controls ------------------------------------------------

template <typename T> static QSet<T> toggled(QSet<T> set, const T &value)
{
    if (!set.remove(value))
        set.insert(value);
    return set;
}

void SettingsModel::toggleShowTokenKey(int bot)
{
    setShowTokenKeys(toggled(m_showTokenKeys, bot));
}
void SettingsModel::toggleShowFallbackKey(int index)
{
    setShowFallbackKeys(toggled(m_showFallbackKeys, index));
}
void SettingsModel::toggleShowProfileKey(const QString &key)
{
    setShowProfileKeys(toggled(m_showProfileKeys, key));
}

void SettingsModel::setChoiceCustomMode(const QString &customKey, bool on)
{
    QSet<QString> keys = m_choiceCustom;
    if (on)
        keys.insert(customKey);
    else
        keys.remove(customKey);
    setChoiceCustom(keys);
}

// ---- property setters --------------------------------------------------------------------------

void SettingsModel::setBaseURL(const QString &value)
{
    assign(m_config.baseURL, value, &SettingsModel::baseURLChanged);
}

void SettingsModel::setApiKey(const QString &value)
{
    assign(m_config.apiKey, value, &SettingsModel::apiKeyChanged);
}

void SettingsModel::setModel(const QString &value)
{
    assign(m_config.model, value, &SettingsModel::modelChanged);
}

void SettingsModel::setModelName(const QString &value)
{
    assign(m_config.modelName, value, &SettingsModel::modelNameChanged);
}

void SettingsModel::setFallbacks(const QList<Fallback> &value)
{
    assign(m_config.fallbacks, value, &SettingsModel::fallbacksChanged);
}

void SettingsModel::setBotTokens(const QStringList &value)
{
    assign(m_config.botTokens, value, &SettingsModel::botTokensChanged);
}

void SettingsModel::setBotNicknames(const QStringList &value)
{
    assign(m_config.botNicknames, value, &SettingsModel::botNicknamesChanged);
}

void SettingsModel::setBotProfiles(const QList<BotProfile> &value)
{
    assign(m_config.botProfiles, value, &SettingsModel::botProfilesChanged);
}

void SettingsModel::setAllowedIDs(const QString &value)
{
    assign(m_config.allowedIDs, value, &SettingsModel::allowedIDsChanged);
}

void SettingsModel::setBriefingTime(const QString &value)
{
    assign(m_config.briefingTime, value, &SettingsModel::briefingTimeChanged);
}

void SettingsModel::setBriefingPrompt(const QString &value)
{
    assign(m_config.briefingPrompt, value, &SettingsModel::briefingPromptChanged);
}

void SettingsModel::setTriggerWords(const QString &value)
{
    assign(m_config.triggerWords, value, &SettingsModel::triggerWordsChanged);
}

void SettingsModel::setClipTriggerWords(const QString &value)
{
    assign(m_config.clipTriggerWords, value, &SettingsModel::clipTriggerWordsChanged);
}

void SettingsModel::setSoulFile(const QString &value)
{
    assign(m_config.soulFile, value, &SettingsModel::soulFileChanged);
}

void SettingsModel::setMaxTokens(const QString &value)
{
    assign(m_config.maxTokens, value, &SettingsModel::maxTokensChanged);
}

void SettingsModel::setChatBufferMax(const QString &value)
{
    assign(m_config.chatBufferMax, value, &SettingsModel::chatBufferMaxChanged);
}

void SettingsModel::setRecallLimit(const QString &value)
{
    assign(m_config.recallLimit, value, &SettingsModel::recallLimitChanged);
}

void SettingsModel::setFactCap(const QString &value)
{
    assign(m_config.factCap, value, &SettingsModel::factCapChanged);
}

void SettingsModel::setResearchMaxTokens(const QString &value)
{
    assign(m_config.researchMaxTokens, value, &SettingsModel::researchMaxTokensChanged);
}

void SettingsModel::setApiTimeout(const QString &value)
{
    assign(m_config.apiTimeout, value, &SettingsModel::apiTimeoutChanged);
}

void SettingsModel::setDataDir(const QString &value)
{
    assign(m_config.dataDir, value, &SettingsModel::dataDirChanged);
}

void SettingsModel::setShowInDock(bool value)
{
    assign(m_config.showInDock, value, &SettingsModel::showInDockChanged);
}

void SettingsModel::setLaunchAtLogin(bool value)
{
    assign(m_config.launchAtLogin, value, &SettingsModel::launchAtLoginChanged);
}

void SettingsModel::setBotMode(const QString &value)
{
    assign(m_config.botMode, value, &SettingsModel::botModeChanged);
}

void SettingsModel::setBackfillMissed(bool value)
{
    assign(m_config.backfillMissed, value, &SettingsModel::backfillMissedChanged);
}

void SettingsModel::setBriefingCrypto(bool value)
{
    assign(m_config.briefingCrypto, value, &SettingsModel::briefingCryptoChanged);
}

void SettingsModel::setAutoMemory(bool value)
{
    assign(m_config.autoMemory, value, &SettingsModel::autoMemoryChanged);
}

void SettingsModel::setSkillSources(const QStringList &value)
{
    assign(m_config.skillSources, value, &SettingsModel::skillSourcesChanged);
}

void SettingsModel::setChoiceCustom(const QSet<QString> &value)
{
    assign(m_choiceCustom, value, &SettingsModel::choiceCustomChanged);
}

void SettingsModel::setSelection(const std::optional<SidebarItem> &value)
{
    assign(m_selection, value, &SettingsModel::selectionChanged);
}

void SettingsModel::setAlertMessage(const std::optional<QString> &value)
{
    assign(m_alertMessage, value, &SettingsModel::alertMessageChanged);
}

void SettingsModel::setShowApiKey(bool value)
{
    assign(m_showApiKey, value, &SettingsModel::showApiKeyChanged);
}

void SettingsModel::setShowTokenKeys(const QSet<int> &value)
{
    assign(m_showTokenKeys, value, &SettingsModel::showTokenKeysChanged);
}

void SettingsModel::setShowProfileKeys(const QSet<QString> &value)
{
    assign(m_showProfileKeys, value, &SettingsModel::showProfileKeysChanged);
}

void SettingsModel::setShowFallbackKeys(const QSet<int> &value)
{
    assign(m_showFallbackKeys, value, &SettingsModel::showFallbackKeysChanged);
}

void SettingsModel::setColumnVisibility(ColumnVisibility value)
{
    assign(m_columnVisibility, value, &SettingsModel::columnVisibilityChanged);
}

void SettingsModel::setStatus(const StatusInfo &value)
{
    assign(m_status, value, &SettingsModel::statusChanged);
}

void SettingsModel::setTestState(const std::optional<TestOutcome> &value)
{
    assign(m_testState, value, &SettingsModel::testStateChanged);
}

void SettingsModel::setTesting(bool value)
{
    assign(m_testing, value, &SettingsModel::testingChanged);
}

void SettingsModel::setBackupTesting(const std::optional<qint64> &value)
{
    assign(m_backupTesting, value, &SettingsModel::backupTestingChanged);
}

void SettingsModel::setBackupTestState(const QMap<qint64, TestOutcome> &value)
{
    assign(m_backupTestState, value, &SettingsModel::backupTestStateChanged);
}

void SettingsModel::setBotControl(const std::optional<QString> &value)
{
    assign(m_botControl, value, &SettingsModel::botControlChanged);
}

void SettingsModel::setControlAt(const QDateTime &value)
{
    assign(m_controlAt, value, &SettingsModel::controlAtChanged);
}

void SettingsModel::setControlMsg(const std::optional<QString> &value)
{
    assign(m_controlMsg, value, &SettingsModel::controlMsgChanged);
}

void SettingsModel::setFilter(const QString &value)
{
    assign(m_filter, value, &SettingsModel::filterChanged);
}

void SettingsModel::setSkills(const QList<SkillInfo> &value)
{
    assign(m_skills, value, &SettingsModel::skillsChanged);
}

void SettingsModel::setSkillTab(int value)
{
    assign(m_skillTab, value, &SettingsModel::skillTabChanged);
}

void SettingsModel::setSkillsBot(const std::optional<int> &value)
{
    assign(m_skillsBot, value, &SettingsModel::skillsBotChanged);
}

void SettingsModel::setRegistryPage(int value)
{
    assign(m_registryPage, value, &SettingsModel::registryPageChanged);
}

void SettingsModel::setRegistryFilter(const QString &value)
{
    assign(m_registryFilter, value, &SettingsModel::registryFilterChanged);
}

void SettingsModel::setGithubResults(const QList<RegistryEntry> &value)
{
    assign(m_githubResults, value, &SettingsModel::githubResultsChanged);
}

void SettingsModel::setCatalogEntries(const QList<RegistryEntry> &value)
{
    assign(m_catalogEntries, value, &SettingsModel::catalogEntriesChanged);
}

void SettingsModel::setCatalogLoading(bool value)
{
    assign(m_catalogLoading, value, &SettingsModel::catalogLoadingChanged);
}

void SettingsModel::setCatalogError(const std::optional<QString> &value)
{
    assign(m_catalogError, value, &SettingsModel::catalogErrorChanged);
}

void SettingsModel::setNewSource(const QString &value)
{
    assign(m_newSource, value, &SettingsModel::newSourceChanged);
}

void SettingsModel::setGithubSearching(bool value)
{
    assign(m_githubSearching, value, &SettingsModel::githubSearchingChanged);
}

void SettingsModel::setGithubQuery(const QString &value)
{
    assign(m_githubQuery, value, &SettingsModel::githubQueryChanged);
}

void SettingsModel::setGithubPage(int value)
{
    assign(m_githubPage, value, &SettingsModel::githubPageChanged);
}

void SettingsModel::setGithubHasMore(bool value)
{
    assign(m_githubHasMore, value, &SettingsModel::githubHasMoreChanged);
}

QNetworkAccessManager *SettingsModel::network()
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    return m_network;
}
