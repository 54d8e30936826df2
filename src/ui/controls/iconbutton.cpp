#include "ui/controls/iconbutton.h"

#include "ui/controls/icons.h"

#include <QToolButton>

QToolButton *iconButton(const QString &objectName, const QString &symbol, const QString &help,
                        IconButtonSize size)
{
    auto *button = new QToolButton;
    button->setObjectName(objectName);
    button->setAutoRaise(true);
    if (size == IconButtonSize::Compact) {
        button->setFocusPolicy(Qt::StrongFocus);
        button->setIconSize(QSize(14, 14));
        button->setFixedSize(QSize(16, 16));
    } else {
        button->setIconSize(QSize(16, 16));
    }
    Icons::setIcon(button, symbol);
    button->setToolTip(help);
    button->setAccessibleName(help);
    return button;
}
