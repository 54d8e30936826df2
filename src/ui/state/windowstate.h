#pragma once

#include "config/sidebaritem.h"
#include "ui/controls/binding.h"
#include "ui/controls/rowfilter.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

class SettingsModel;

// What the window remembers about itself and never writes to the file: the page shown, the
// search text, the secrets shown in clear, the choice controls in custom-entry mode, the sidebar,
// the Skills page's tab, open sheet and registry search. It lives as long as the model it belongs
// to (it is the model's child, made on first use by of()), and follows the model's changes of
// shape, so that the selection and a secret shown in clear stay with the record they were on when
// a bot is added or removed, a document is applied or a backup model moves. The model knows
// nothing of it: the terminal tool, which has no window, never makes one. Main thread only.
class WindowState final : public QObject, public RowFilter {
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(bool showApiKey READ showApiKey WRITE setShowApiKey NOTIFY showApiKeyChanged)
    Q_PROPERTY(QString registryFilter READ registryFilter WRITE setRegistryFilter NOTIFY
                   registryFilterChanged)

public:
    // The state of the window that shows `model`, made the first time it is asked for.
    static WindowState *of(SettingsModel *model);
    ~WindowState() override;

    // The page shown. Nothing while no configuration has been applied; after a document is
    // applied, a selection that no longer exists goes to the first bot, or the first defaults
    // page when there are no bots.
    const std::optional<SidebarItem> &selection() const { return m_selection; }
    void setSelection(const std::optional<SidebarItem> &value);

    // The search text of the sidebar's search field.
    const QString &filter() const { return m_filter; }
    void setFilter(const QString &value);
    QString rowFilter() const override { return m_filter; }
    QMetaObject::Connection followRowFilter(QObject *context, std::function<void()> changed,
                                            Qt::ConnectionType type
                                            = Qt::AutoConnection) const override;

    // Secrets shown in clear: the primary key, bot tokens (by bot), backup models' keys (by
    // index), per-bot keys (identity such as "0-1" for bot 0's second backup row).
    bool showApiKey() const { return m_showApiKey; }
    void setShowApiKey(bool value);
    void toggleShowApiKey() { setShowApiKey(!m_showApiKey); }
    const QSet<int> &showTokenKeys() const { return m_showTokenKeys; }
    void setShowTokenKeys(const QSet<int> &value);
    void toggleShowTokenKey(int bot);
    const QSet<int> &showFallbackKeys() const { return m_showFallbackKeys; }
    void setShowFallbackKeys(const QSet<int> &value);
    void toggleShowFallbackKey(int index);
    const QSet<QString> &showProfileKeys() const { return m_showProfileKeys; }
    void setShowProfileKeys(const QSet<QString> &value);
    void toggleShowProfileKey(const QString &key);

    // The customKey of each choice control switched into custom-entry mode.
    const QSet<QString> &choiceCustom() const { return m_choiceCustom; }
    void setChoiceCustom(const QSet<QString> &value);
    void setChoiceCustomMode(const QString &customKey, bool on);

    ColumnVisibility columnVisibility() const { return m_columnVisibility; }
    void setColumnVisibility(ColumnVisibility value);
    // An alert text; nothing sets it and no page shows it yet.
    const std::optional<QString> &alertMessage() const { return m_alertMessage; }
    void setAlertMessage(const std::optional<QString> &value);

    // The Skills page: its tab, the bot whose sheet is open, the registry's search and page.
    int skillTab() const { return m_skillTab; }
    void setSkillTab(int value);
    const std::optional<int> &skillsBot() const { return m_skillsBot; }
    void setSkillsBot(const std::optional<int> &value);
    const QString &registryFilter() const { return m_registryFilter; }
    void setRegistryFilter(const QString &value);
    int registryPage() const { return m_registryPage; }
    void setRegistryPage(int value);

Q_SIGNALS:
    void selectionChanged();
    void filterChanged();
    void showApiKeyChanged();
    void showTokenKeysChanged();
    void showFallbackKeysChanged();
    void showProfileKeysChanged();
    void choiceCustomChanged();
    void columnVisibilityChanged();
    void alertMessageChanged();
    void skillTabChanged();
    void skillsBotChanged();
    void registryFilterChanged();
    void registryPageChanged();

private:
    explicit WindowState(SettingsModel *model);
    template <typename T> void assign(T &member, const T &value, void (WindowState::*signal)())
    {
        if (member == value)
            return;
        member = value;
        Q_EMIT(this->*signal)();
    }
    void keepSelectionValid();
    void botAdded(int index);
    void botRemoved(int index);
    void fallbackMoved(int from, int to);

    SettingsModel *m_model;
    std::optional<SidebarItem> m_selection;
    QString m_filter;
    bool m_showApiKey = false;
    QSet<int> m_showTokenKeys;
    QSet<int> m_showFallbackKeys;
    QSet<QString> m_showProfileKeys;
    QSet<QString> m_choiceCustom;
    ColumnVisibility m_columnVisibility = ColumnVisibility::All;
    std::optional<QString> m_alertMessage;
    int m_skillTab = 0;
    std::optional<int> m_skillsBot;
    QString m_registryFilter;
    int m_registryPage = 0;
};

// Bindings to the window's state, for the controls that show it.
namespace Bind {

// Secret visibility: the primary key, a bot token, a backup model's key, a per-bot key
// (identity such as "0-1" for bot 0's second backup row).
Shown shownApiKey(WindowState *state);
Shown shownToken(WindowState *state, int bot);
Shown shownFallbackKey(WindowState *state, int index);
Shown shownProfileKey(WindowState *state, const QString &identity);
// Whether the choice control with `customKey` was switched into custom-entry mode.
Flag customMode(WindowState *state, const QString &customKey);

} // namespace Bind
