#include "ui/controls/binding.h"

#include <QObject>

namespace Bind {

Change Change::key(ConfigStore *store, ConfigKey key)
{
    return Change([store, key](QObject *, QObject *context, const Refresh &refresh) {
        return QObject::connect(store, &ConfigStore::changed, context,
                                [key, refresh](ConfigKey changed) {
                                    if (changed == key)
                                        refresh();
                                });
    });
}

void watch(QObject *watched, QObject *context, const QList<Change> &changes,
           const std::function<void()> &refresh)
{
    for (const Change &change : changes)
        change.connect(watched, context, refresh);
    refresh();
}

} // namespace Bind
