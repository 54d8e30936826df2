#include "ui/state/windowstate.h"

#include "model/settingsmodel.h"

namespace {

template <typename T> QSet<T> toggled(QSet<T> set, const T &value)
{
    if (!set.remove(value))
        set.insert(value);
    return set;
}

} // namespace

WindowState *WindowState::of(SettingsModel *model)
{
    if (auto *state = model->findChild<WindowState *>(QString(), Qt::FindDirectChildrenOnly))
        return state;
    return new WindowState(model);
}

WindowState::WindowState(SettingsModel *model)
    : QObject(model)
    , m_model(model)
{
    connect(&model->store(), &ConfigStore::documentApplied, this, &WindowState::keepSelectionValid);
    connect(model, &SettingsModel::botAdded, this, &WindowState::botAdded);
    connect(model, &SettingsModel::botRemoved, this, &WindowState::botRemoved);
    connect(model, &SettingsModel::fallbackMoved, this, &WindowState::fallbackMoved);
    if (model->store().hasAppliedDocument())
        keepSelectionValid();
}

WindowState::~WindowState() = default;

// ---- following the model -----------------------------------------------------------------------

void WindowState::keepSelectionValid()
{
    const qsizetype bots = m_model->botTokens().size();
    if (!m_selection || (m_selection->isBot() && m_selection->bot >= bots)) {
        setSelection(bots > 0 ? SidebarItem::botAt(0)
                              : SidebarItem::defaults(allSections().constFirst()));
    }
}

void WindowState::botAdded(int index)
{
    setSelection(SidebarItem::botAt(index));
}

void WindowState::botRemoved(int index)
{
    if (m_selection && *m_selection == SidebarItem::botAt(index)) {
        setSelection(m_model->botTokens().isEmpty()
                         ? SidebarItem::defaults(allSections().constFirst())
                         : SidebarItem::botAt(std::max(index - 1, 0)));
    }
}

void WindowState::fallbackMoved(int from, int to)
{
    // A key shown in clear stays shown on the record that moved.
    if (m_showFallbackKeys.contains(from) == m_showFallbackKeys.contains(to))
        return;
    QSet<int> shown = m_showFallbackKeys;
    const bool fromShown = shown.remove(from);
    if (!fromShown)
        shown.remove(to);
    shown.insert(fromShown ? to : from);
    setShowFallbackKeys(shown);
}

// ---- the search --------------------------------------------------------------------------------

QMetaObject::Connection WindowState::followRowFilter(QObject *context,
                                                     std::function<void()> changed,
                                                     Qt::ConnectionType type) const
{
    return connect(this, &WindowState::filterChanged, context, std::move(changed), type);
}

// ---- setters -----------------------------------------------------------------------------------

void WindowState::setSelection(const std::optional<SidebarItem> &value)
{
    assign(m_selection, value, &WindowState::selectionChanged);
}

void WindowState::setFilter(const QString &value)
{
    assign(m_filter, value, &WindowState::filterChanged);
}

void WindowState::setShowApiKey(bool value)
{
    assign(m_showApiKey, value, &WindowState::showApiKeyChanged);
}

void WindowState::setShowTokenKeys(const QSet<int> &value)
{
    assign(m_showTokenKeys, value, &WindowState::showTokenKeysChanged);
}

void WindowState::toggleShowTokenKey(int bot)
{
    setShowTokenKeys(toggled(m_showTokenKeys, bot));
}

void WindowState::setShowFallbackKeys(const QSet<int> &value)
{
    assign(m_showFallbackKeys, value, &WindowState::showFallbackKeysChanged);
}

void WindowState::toggleShowFallbackKey(int index)
{
    setShowFallbackKeys(toggled(m_showFallbackKeys, index));
}

void WindowState::setShowProfileKeys(const QSet<QString> &value)
{
    assign(m_showProfileKeys, value, &WindowState::showProfileKeysChanged);
}

void WindowState::toggleShowProfileKey(const QString &key)
{
    setShowProfileKeys(toggled(m_showProfileKeys, key));
}

void WindowState::setChoiceCustom(const QSet<QString> &value)
{
    assign(m_choiceCustom, value, &WindowState::choiceCustomChanged);
}

void WindowState::setChoiceCustomMode(const QString &customKey, bool on)
{
    QSet<QString> keys = m_choiceCustom;
    if (on)
        keys.insert(customKey);
    else
        keys.remove(customKey);
    setChoiceCustom(keys);
}

void WindowState::setColumnVisibility(ColumnVisibility value)
{
    assign(m_columnVisibility, value, &WindowState::columnVisibilityChanged);
}

void WindowState::setAlertMessage(const std::optional<QString> &value)
{
    assign(m_alertMessage, value, &WindowState::alertMessageChanged);
}

void WindowState::setSkillTab(int value)
{
    assign(m_skillTab, value, &WindowState::skillTabChanged);
}

void WindowState::setSkillsBot(const std::optional<int> &value)
{
    assign(m_skillsBot, value, &WindowState::skillsBotChanged);
}

void WindowState::setRegistryFilter(const QString &value)
{
    assign(m_registryFilter, value, &WindowState::registryFilterChanged);
}

void WindowState::setRegistryPage(int value)
{
    assign(m_registryPage, value, &WindowState::registryPageChanged);
}

// ---- bindings ----------------------------------------------------------------------------------

namespace Bind {

Shown shownApiKey(WindowState *state)
{
    return {[state] { return state->showApiKey(); },
            [state] { state->toggleShowApiKey(); },
            {Change(state, &WindowState::showApiKeyChanged)}};
}

Shown shownToken(WindowState *state, int bot)
{
    return {[state, bot] { return state->showTokenKeys().contains(bot); },
            [state, bot] { state->toggleShowTokenKey(bot); },
            {Change(state, &WindowState::showTokenKeysChanged)}};
}

Shown shownFallbackKey(WindowState *state, int index)
{
    return {[state, index] { return state->showFallbackKeys().contains(index); },
            [state, index] { state->toggleShowFallbackKey(index); },
            {Change(state, &WindowState::showFallbackKeysChanged)}};
}

Shown shownProfileKey(WindowState *state, const QString &identity)
{
    return {[state, identity] { return state->showProfileKeys().contains(identity); },
            [state, identity] { state->toggleShowProfileKey(identity); },
            {Change(state, &WindowState::showProfileKeysChanged)}};
}

Flag customMode(WindowState *state, const QString &customKey)
{
    return {[state, customKey] { return state->choiceCustom().contains(customKey); },
            [state, customKey](const bool &on) { state->setChoiceCustomMode(customKey, on); },
            {Change(state, &WindowState::choiceCustomChanged)}};
}

} // namespace Bind
