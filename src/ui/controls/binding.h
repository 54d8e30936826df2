#pragma once

#include "config/configstore.h"
#include "config/configtypes.h"

#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QString>

#include <functional>

// Two-way bindings between a control and one value of some object, written once per control. A
// binding says how to read the value, how to write it, and which changes can move it; the control
// refreshes itself on those changes and guards against its own echo. Nothing here needs to know
// the settings model: a binding can follow any QObject, and a configuration value is bound by its
// key alone (Bind::config<ConfigKey::MaxTokens>(store)).
namespace Bind {

// One thing that can move a bound value: a signal of an object. Written either bound to its
// object, Change(store, &ConfigStore::documentApplied), or as a bare signal of the object the
// control is watching, &SettingsModel::statusChanged (resolved when the watch is made).
class Change {
public:
    using Refresh = std::function<void()>;

    template <typename Source, typename... Args>
    Change(void (Source::*signal)(Args...))
        : m_connect([signal](QObject *watched, QObject *context, const Refresh &refresh) {
            auto *source = qobject_cast<Source *>(watched);
            Q_ASSERT_X(source, "Bind::Change", "the watched object does not have this signal");
            if (!source)
                return QMetaObject::Connection();
            return QObject::connect(source, signal, context, [refresh] { refresh(); });
        })
    {}
    template <typename Source, typename... Args>
    Change(Source *source, void (Source::*signal)(Args...))
        : m_connect([source, signal](QObject *, QObject *context, const Refresh &refresh) {
            return QObject::connect(source, signal, context, [refresh] { refresh(); });
        })
    {}
    // A change of one key of the configuration store.
    static Change key(ConfigStore *store, ConfigKey key);

    // Runs `refresh` after the change for as long as `context` lives; `watched` is the object
    // a bare signal belongs to.
    QMetaObject::Connection connect(QObject *watched, QObject *context,
                                    const Refresh &refresh) const
    {
        return m_connect(watched, context, refresh);
    }

private:
    using Connector = std::function<QMetaObject::Connection(QObject *, QObject *, const Refresh &)>;
    explicit Change(Connector connect)
        : m_connect(std::move(connect))
    {}
    Connector m_connect;
};

template <typename T> struct Value {
    std::function<T()> get;
    std::function<void(const T &)> set;
    QList<Change> changed;
};
using Text = Value<QString>;
using Flag = Value<bool>;

// Whether one secret field is shown in clear, and how to flip it.
struct Shown {
    std::function<bool()> get;
    std::function<void()> toggle;
    QList<Change> changed;
};

// Runs `refresh` once now and again after each of `changes`, for as long as `context` lives.
// Bare signals in `changes` are signals of `watched`.
void watch(QObject *watched, QObject *context, const QList<Change> &changes,
           const std::function<void()> &refresh);

// One value of the configuration, named by its key: read from the store, written through its
// setter, refreshed when the store announces that key.
template <ConfigKey Key> Value<typename ConfigKeyInfo<Key>::Value> config(ConfigStore *store)
{
    using T = typename ConfigKeyInfo<Key>::Value;
    return {[store] { return store->values().*ConfigKeyInfo<Key>::field; },
            [store](const T &value) { store->set<Key>(value); },
            {Change::key(store, Key)}};
}

// A text or flag property of any object, given by its getter, setter and change signal, e.g.
// flag(state, &WindowState::showApiKey, &WindowState::setShowApiKey,
// &WindowState::showApiKeyChanged).
template <typename T, typename Source, typename Getter, typename Setter>
Value<T> property(Source *source, Getter getter, Setter setter, void (Source::*changed)())
{
    return {[source, getter] { return T((source->*getter)()); },
            [source, setter](const T &value) { (source->*setter)(value); },
            {Change(source, changed)}};
}
template <typename Source, typename Getter, typename Setter>
Text text(Source *source, Getter getter, Setter setter, void (Source::*changed)())
{
    return property<QString>(source, getter, setter, changed);
}
template <typename Source, typename Getter, typename Setter>
Flag flag(Source *source, Getter getter, Setter setter, void (Source::*changed)())
{
    return property<bool>(source, getter, setter, changed);
}

} // namespace Bind
