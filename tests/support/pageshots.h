#pragma once

// Renders a settings page inside the real window at 1020 x 700 and reports what does not fit.
// Header only: the support library itself links no widgets.

#include "ui/contentview.h"
#include "ui/controls/settingrow.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QDir>
#include <QLabel>
#include <QPixmap>
#include <QProcessEnvironment>
#include <QScrollArea>
#include <QScrollBar>
#include <QStringList>
#include <QTest>

namespace PageShots {

// $VARNOOK_RENDER_DIR when set (to keep the pictures), else `fallback`.
inline QString folder(const QString &fallback)
{
    const QString chosen
        = QProcessEnvironment::systemEnvironment().value(QStringLiteral("VARNOOK_RENDER_DIR"));
    return chosen.isEmpty() ? fallback : chosen;
}

// Visible widgets of `page` that stick out of its scroll area's width, and labels whose one-line
// text is wider than the label: what a user would see cut off.
inline QStringList clippedWidgets(QWidget *page)
{
    QStringList clipped;
    const QList<QScrollArea *> areas = page->findChildren<QScrollArea *>();
    auto *area = qobject_cast<QScrollArea *>(page);
    if (!area && !areas.isEmpty())
        area = areas.constFirst();
    if (!area || !area->widget())
        return {QStringLiteral("<no scroll area>")};
    QWidget *viewport = area->viewport();
    const QList<QWidget *> widgets = area->widget()->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        if (!widget->isVisible() || widget->isWindow())
            continue;
        const QRect rect(widget->mapTo(viewport, QPoint(0, 0)), widget->size());
        const QString name = widget->objectName().isEmpty()
                                 ? QString::fromLatin1(widget->metaObject()->className())
                                 : widget->objectName();
        if (rect.left() < 0 || rect.right() >= viewport->width())
            clipped.append(name + QStringLiteral(" sticks out"));
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            // An eliding label cuts its text on purpose, ends it with "…" and shows it whole
            // in its tooltip.
            if (!label->wordWrap() && !label->text().isEmpty()
                && !qobject_cast<ElidingLabel *>(label)
                && label->fontMetrics().horizontalAdvance(label->text())
                       > label->contentsRect().width()) {
                clipped.append(name + QStringLiteral(" text cut: ") + label->text());
            }
        }
    }
    return clipped;
}

struct Shot {
    QString file;
    QString endFile; // the same page scrolled to its end, when it scrolls
    QSize size;      // in device-independent pixels
    QStringList clipped;
};

// Shows the window for `model` at 1020 x 700 with `item` selected, saves it as
// `<folder>/<name>.png` and looks for cut-off widgets on the page.
inline Shot render(SettingsModel *model, const SidebarItem &item, const QString &name,
                   const QString &outputFolder)
{
    Shot shot;
    QDir().mkpath(outputFolder);
    MainWindow window;
    if (!UiSupport::showWindow(window, model))
        return shot;
    ContentView *content = window.contentView();
    WindowState::of(model)->setSelection(item);
    UiSupport::settle(150);
    const QPixmap pixmap = window.grab();
    shot.size = pixmap.deviceIndependentSize().toSize();
    const QString file = QDir(outputFolder).filePath(name + QStringLiteral(".png"));
    if (pixmap.save(file, "PNG"))
        shot.file = file;
    if (content->currentPage())
        shot.clipped = clippedWidgets(content->currentPage());
    else
        shot.clipped = {QStringLiteral("<no page>")};
    if (QWidget *page = content->currentPage()) {
        auto *area = qobject_cast<QScrollArea *>(page);
        if (!area)
            area = page->findChild<QScrollArea *>();
        if (area && area->verticalScrollBar()->maximum() > 0) {
            area->verticalScrollBar()->setValue(area->verticalScrollBar()->maximum());
            UiSupport::settle();
            const QString end = QDir(outputFolder).filePath(name + QStringLiteral("-end.png"));
            if (window.grab().save(end, "PNG"))
                shot.endFile = end;
        }
    }
    window.hide();
    return shot;
}

} // namespace PageShots
