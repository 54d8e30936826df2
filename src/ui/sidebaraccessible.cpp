#include "ui/sidebaraccessible.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace {

class SidebarColumnAccessible final : public QAccessibleWidget {
public:
    explicit SidebarColumnAccessible(SidebarColumn *column)
        : QAccessibleWidget(column)
    {}

    int childCount() const override { return QAccessibleWidget::childCount() + (button() ? 1 : 0); }

    QAccessibleInterface *child(int index) const override
    {
        const int widgets = QAccessibleWidget::childCount();
        if (index == widgets && button())
            return QAccessible::queryAccessibleInterface(button());
        return QAccessibleWidget::child(index);
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        if (child && button() && child->object() == button())
            return QAccessibleWidget::childCount();
        return QAccessibleWidget::indexOfChild(child);
    }

private:
    QToolButton *button() const { return static_cast<SidebarColumn *>(widget())->addBotButton(); }
};

class AddBotAccessible final : public QAccessibleWidget {
public:
    explicit AddBotAccessible(AddBotButton *button)
        : QAccessibleWidget(button, QAccessible::Button)
    {}

    QAccessibleInterface *parent() const override
    {
        if (SidebarColumn *column = static_cast<AddBotButton *>(widget())->column())
            return QAccessible::queryAccessibleInterface(column);
        return QAccessibleWidget::parent();
    }

    QString text(QAccessible::Text t) const override
    {
        const auto *button = static_cast<QToolButton *>(widget());
        if (t == QAccessible::Name && button->accessibleName().isEmpty())
            return button->text();
        return QAccessibleWidget::text(t);
    }

    QStringList actionNames() const override
    {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }

    void doAction(const QString &actionName) override
    {
        auto *button = static_cast<QToolButton *>(widget());
        if (actionName == pressAction()) {
            if (button->isEnabled())
                button->click();
            return;
        }
        QAccessibleWidget::doAction(actionName);
    }

    QStringList keyBindingsForAction(const QString &actionName) const override
    {
        if (actionName == pressAction())
            return {QStringLiteral("Space")};
        return QAccessibleWidget::keyBindingsForAction(actionName);
    }
};

QAccessibleInterface *sidebarAccessibleFactory(const QString &, QObject *object)
{
    if (auto *column = qobject_cast<SidebarColumn *>(object))
        return new SidebarColumnAccessible(column);
    if (auto *button = qobject_cast<AddBotButton *>(object))
        return new AddBotAccessible(button);
    return nullptr;
}

void installFactoryOnce()
{
    static const bool installed = [] {
        QAccessible::installFactory(sidebarAccessibleFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

} // namespace

SidebarColumn::SidebarColumn(QWidget *parent)
    : QWidget(parent)
{
    installFactoryOnce();
}

AddBotButton::AddBotButton(QWidget *parent)
    : QToolButton(parent)
{
    installFactoryOnce();
}
