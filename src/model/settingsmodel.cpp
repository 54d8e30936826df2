#include "model/settingsmodel.h"

#include "config/configdocument.h"
#include "service/notificationtransport.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>

using namespace Qt::Literals::StringLiterals;

namespace {

template <typename T> bool validIndex(const QList<T> &list, qsizetype i)
{
    return i >= 0 && i < list.size();
}

} // namespace

SettingsModel::SettingsModel(QString path, ModelEnvironment environment, QObject *parent)
    : QObject(parent)
    , m_store(new ConfigStore(std::move(path), this))
    , m_transport(environment.transport)
    , m_network(environment.network)
    , m_service(new ServiceLink(m_store->path(), m_transport, this))
    , m_providerTests(new ProviderTests(
          m_store, [this] { return network(); }, this))
    , m_registry(new RegistryModel(
          m_store->path(), std::move(environment.githubApiBase),
          std::move(environment.githubRawBase), [this] { return network(); }, this))
    , m_skillSwitches(new SkillSwitches(m_store, this))
{
    connect(m_store, &ConfigStore::changed, this, &SettingsModel::announce);
    connect(m_store, &ConfigStore::fileProblemChanged, this, &SettingsModel::fileProblemChanged);
    connect(m_store, &ConfigStore::lastSaveErrorChanged, this,
            &SettingsModel::lastSaveErrorChanged);
    connect(m_store, &ConfigStore::fileTouched, this, &SettingsModel::reloadIfChanged);

    connect(m_service, &ServiceLink::statusChanged, this, &SettingsModel::statusChanged);
    connect(m_service, &ServiceLink::botControlChanged, this, &SettingsModel::botControlChanged);
    connect(m_service, &ServiceLink::controlAtChanged, this, &SettingsModel::controlAtChanged);
    connect(m_service, &ServiceLink::controlMsgChanged, this, &SettingsModel::controlMsgChanged);

    connect(m_providerTests, &ProviderTests::testStateChanged, this,
            &SettingsModel::testStateChanged);
    connect(m_providerTests, &ProviderTests::testingChanged, this, &SettingsModel::testingChanged);
    connect(m_providerTests, &ProviderTests::backupTestingChanged, this,
            &SettingsModel::backupTestingChanged);
    connect(m_providerTests, &ProviderTests::backupTestStateChanged, this,
            &SettingsModel::backupTestStateChanged);

    connect(m_registry, &RegistryModel::githubResultsChanged, this,
            &SettingsModel::githubResultsChanged);
    connect(m_registry, &RegistryModel::catalogEntriesChanged, this,
            &SettingsModel::catalogEntriesChanged);
    connect(m_registry, &RegistryModel::catalogLoadingChanged, this,
            &SettingsModel::catalogLoadingChanged);
    connect(m_registry, &RegistryModel::catalogErrorChanged, this,
            &SettingsModel::catalogErrorChanged);
    connect(m_registry, &RegistryModel::githubSearchingChanged, this,
            &SettingsModel::githubSearchingChanged);
    connect(m_registry, &RegistryModel::githubQueryChanged, this,
            &SettingsModel::githubQueryChanged);
    connect(m_registry, &RegistryModel::githubPageChanged, this, &SettingsModel::githubPageChanged);
    connect(m_registry, &RegistryModel::githubHasMoreChanged, this,
            &SettingsModel::githubHasMoreChanged);
    // What an install wrote is listed before the install is reported.
    connect(m_registry, &RegistryModel::skillFileWritten, m_skillSwitches,
            &SkillSwitches::listSkills);
    connect(m_registry, &RegistryModel::installFinished, this, &SettingsModel::installFinished);

    connect(m_skillSwitches, &SkillSwitches::skillsChanged, this, &SettingsModel::skillsChanged);
    connect(m_skillSwitches, &SkillSwitches::saved, this, &SettingsModel::postConfigChanged);
    connect(m_skillSwitches, &SkillSwitches::sourceAdded, this,
            [this] { setNewSource(QString()); });

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

void SettingsModel::announce(ConfigKey key)
{
    // A key announces itself under its published name (maxTokensChanged) when this class
    // declares one. A key added to the list later needs none: pages bind it by its key
    // (Bind::config), which follows ConfigStore::changed.
    switch (key) {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, ...)                                       \
    case ConfigKey::Name:                                                                          \
        [](auto *model) {                                                                          \
            using Model = std::remove_pointer_t<decltype(model)>;                                  \
            if constexpr (requires { &Model::member##Changed; })                                   \
                Q_EMIT(model->*&Model::member##Changed)();                                         \
        }(this);                                                                                   \
        return;
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
    }
}

// ---- loading and saving ------------------------------------------------------------------------

bool SettingsModel::loadFromDisk()
{
    return m_store->loadFromDisk();
}

void SettingsModel::reloadIfChanged()
{
    // A file that could not be used is read again on every occasion: it may have been mended
    // without its time moving (a copy that keeps times, a clock set back).
    if (!fileProblem() && !changedSinceLoad())
        return;
    reload();
}

void SettingsModel::reload()
{
    loadFromDisk();
    loadSkillsAndFeatures();
    refreshStatus();
}

void SettingsModel::applyDocument(const QJsonObject &document)
{
    m_store->applyDocument(document);
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
    return config().botTokens.isEmpty()
           || !ConfigDocument::trimBlanks(config().botTokens.constLast()).isEmpty();
}

void SettingsModel::addBot()
{
    if (!canAddBot() || !canEdit())
        return;
    ConfigValues values = config();
    values.botTokens.append(QString());
    values.botNicknames.resize(values.botTokens.size() - 1);
    values.botNicknames.append(QString());
    values.botProfiles.resize(values.botTokens.size() - 1);
    values.botProfiles.append(BotProfile());
    setConfig(values);
    saveAndNotify();
    Q_EMIT botAdded(int(config().botTokens.size()) - 1);
}

void SettingsModel::removeBot(int index)
{
    if (!validIndex(config().botTokens, index))
        return;
    ConfigValues values = config();
    values.botTokens.removeAt(index);
    if (index < values.botNicknames.size())
        values.botNicknames.removeAt(index);
    if (index < values.botProfiles.size())
        values.botProfiles.removeAt(index);
    setConfig(values);
    Q_EMIT botRemoved(index);
    saveAndNotify();
}

void SettingsModel::setBotToken(int bot, const QString &token)
{
    if (!validIndex(config().botTokens, bot))
        return;
    QStringList tokens = config().botTokens;
    tokens[bot] = token;
    setBotTokens(tokens);
}

void SettingsModel::setBotNickname(int bot, const QString &nickname)
{
    if (!validIndex(config().botNicknames, bot))
        return;
    QStringList nicknames = config().botNicknames;
    nicknames[bot] = nickname;
    setBotNicknames(nicknames);
}

QString SettingsModel::botLabel(int bot) const
{
    if (validIndex(config().botNicknames, bot) && !config().botNicknames.at(bot).isEmpty())
        return config().botNicknames.at(bot);
    return u"Bot "_s + QString::number(bot + 1);
}

void SettingsModel::mutateProfile(int bot, const std::function<void(BotProfile &)> &change)
{
    if (!validIndex(config().botProfiles, bot))
        return;
    QList<BotProfile> profiles = config().botProfiles;
    change(profiles[bot]);
    setBotProfiles(profiles);
}

void SettingsModel::setBotProfileText(int bot, QString BotProfile::*field, const QString &text)
{
    mutateProfile(bot, [&](BotProfile &p) { p.*field = text; });
}

void SettingsModel::addBotFallback(int bot)
{
    if (!validIndex(config().botProfiles, bot))
        return;
    mutateProfile(bot, [](BotProfile &p) { p.fallbacks.append(Fallback::create()); });
    saveAndNotify();
}

void SettingsModel::moveBotFallback(int bot, int row, bool up)
{
    if (!validIndex(config().botProfiles, bot))
        return;
    const qsizetype count = config().botProfiles.at(bot).fallbacks.size();
    const int target = up ? row - 1 : row + 1;
    if (row < 0 || row >= count || target < 0 || target >= count)
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks.swapItemsAt(row, target); });
    saveAndNotify();
}

void SettingsModel::removeBotFallback(int bot, int row)
{
    if (!validIndex(config().botProfiles, bot)
        || !validIndex(config().botProfiles.at(bot).fallbacks, row))
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks.removeAt(row); });
    saveAndNotify();
}

void SettingsModel::setBotFallbackText(int bot, int row, QString Fallback::*field,
                                       const QString &text)
{
    if (!validIndex(config().botProfiles, bot)
        || !validIndex(config().botProfiles.at(bot).fallbacks, row))
        return;
    mutateProfile(bot, [&](BotProfile &p) { p.fallbacks[row].*field = text; });
}

// ---- backup models of the defaults -------------------------------------------------------------

bool SettingsModel::canAddFallback() const
{
    if (config().fallbacks.isEmpty())
        return true;
    const Fallback &last = config().fallbacks.constLast();
    return !ConfigDocument::trimBlanks(last.base_url).isEmpty()
           && !ConfigDocument::trimBlanks(last.model).isEmpty();
}

void SettingsModel::addFallback()
{
    QList<Fallback> list = config().fallbacks;
    list.append(Fallback::create());
    setFallbacks(list);
    saveAndNotify();
}

void SettingsModel::moveFallback(int index, bool up)
{
    const qsizetype count = config().fallbacks.size();
    if (index < 0 || index >= count)
        return;
    if (up && index == 0) {
        promoteFallback();
        return;
    }
    const int target = up ? index - 1 : index + 1;
    if (target >= count)
        return;
    QList<Fallback> list = config().fallbacks;
    list.swapItemsAt(index, target);
    setFallbacks(list);
    Q_EMIT fallbackMoved(index, target);
    saveAndNotify();
}

void SettingsModel::promoteFallback()
{
    if (config().fallbacks.isEmpty())
        return;
    ConfigValues values = config();
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
    if (!validIndex(config().fallbacks, index))
        return;
    QList<Fallback> list = config().fallbacks;
    list.removeAt(index);
    setFallbacks(list);
    saveAndNotify();
}

void SettingsModel::setFallbackText(int index, QString Fallback::*field, const QString &text)
{
    if (!validIndex(config().fallbacks, index))
        return;
    QList<Fallback> list = config().fallbacks;
    list[index].*field = text;
    setFallbacks(list);
}

// ---- skills ----------------------------------------------------------------------------------

void SettingsModel::setSkills(const QList<SkillInfo> &value)
{
    m_skillSwitches->setSkills(value);
}

void SettingsModel::setNewSource(const QString &value)
{
    assign(m_newSource, value, &SettingsModel::newSourceChanged);
}

QNetworkAccessManager *SettingsModel::network()
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    return m_network;
}
