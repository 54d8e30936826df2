#include "ui/controls/accessiblemenu.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QComboBox>

namespace {

class MenuAccessible final : public QAccessibleWidget {
public:
    explicit MenuAccessible(QComboBox *menu)
        : QAccessibleWidget(menu, QAccessible::ComboBox)
    {}

    QString text(QAccessible::Text t) const override
    {
        switch (t) {
        case QAccessible::Name: {
            const QString name = menu()->accessibleName();
            return name.isEmpty() ? menu()->currentText() : name;
        }
        case QAccessible::Value: return menu()->currentText();
        default: return QAccessibleWidget::text(t);
        }
    }

    // The list of entries, as Qt's own interface has it.
    int childCount() const override { return 1; }
    QAccessibleInterface *child(int index) const override
    {
        return index == 0 ? QAccessible::queryAccessibleInterface(menu()->view()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return child && child->object() == menu()->view() ? 0 : -1;
    }

    QStringList actionNames() const override
    {
        return QStringList{showMenuAction(), pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString &actionName) override
    {
        if (actionName == showMenuAction() || actionName == pressAction()) {
            if (menu()->isEnabled())
                menu()->showPopup();
            return;
        }
        QAccessibleWidget::doAction(actionName);
    }
    QStringList keyBindingsForAction(const QString &actionName) const override
    {
        if (actionName == showMenuAction() || actionName == pressAction())
            return {QStringLiteral("Space")};
        return QAccessibleWidget::keyBindingsForAction(actionName);
    }

private:
    QComboBox *menu() const { return static_cast<QComboBox *>(widget()); }
};

QAccessibleInterface *menuFactory(const QString &, QObject *object)
{
    auto *menu = qobject_cast<QComboBox *>(object);
    if (!menu || menu->isEditable())
        return nullptr;
    return new MenuAccessible(menu);
}

} // namespace

namespace AccessibleMenu {

void install()
{
    static const bool installed = [] {
        QAccessible::installFactory(menuFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

} // namespace AccessibleMenu
