#pragma once

// Helpers for the widget tests (header only: the support library itself links no widgets).

#include "ui/contentview.h"
#include "ui/mainwindow.h"
#include "ui/pages/pagekit.h"
#include "support/testsupport.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QTest>
#include <QWidget>

namespace UiSupport {

// Lets queued updates, deferred deletions and layouts run for `ms` milliseconds.
inline void settle(int ms = 80)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

// Puts the pages of `model` in `window` and shows it at the size it first opens with. False when
// the window never reached the screen.
inline bool showWindow(MainWindow &window, SettingsModel *model)
{
    window.setContentView(new ContentView(model));
    window.resize(MainWindow::initialSize());
    window.show();
    return QTest::qWaitForWindowExposed(&window);
}

// Finds a widget by objectName under `root`, failing the test when there is none.
template <typename T = QWidget> T *find(const QObject *root, const QString &name)
{
    T *widget = root->findChild<T *>(name);
    if (!widget)
        qWarning("no widget named %s", qPrintable(name));
    return widget;
}

// Chooses the entry with exactly this text the way a keyboard user does: focus the menu,
// open it, walk to the entry with the arrow keys and press Return. Returns false when the
// menu has no such entry.
inline bool choose(QComboBox *menu, const QString &text)
{
    const int target = menu->findText(text, Qt::MatchExactly);
    if (target < 0)
        return false;
    menu->setFocus();
    menu->showPopup();
    QAbstractItemView *view = menu->view();
    if (!QTest::qWaitForWindowExposed(view->window()))
        return false;
    const int steps = target - menu->currentIndex();
    const Qt::Key key = steps > 0 ? Qt::Key_Down : Qt::Key_Up;
    for (int i = 0; i < std::abs(steps); ++i)
        QTest::keyClick(view, key);
    QTest::keyClick(view, Qt::Key_Return);
    return menu->currentIndex() == target;
}

// Every text `label` showed, in order, read each time `signal` fires (after the page's own
// handler, which was connected first). A test waits for a text to have been on screen, however
// briefly, instead of hoping to look in the moment it is there: on a busy machine one wait of the
// test's can span both the showing and the clearing of a short-lived message.
class ShownTexts final {
public:
    template <typename Sender, typename Signal>
    ShownTexts(const Sender *sender, Signal signal, const QLabel *label)
    {
        m_texts.append(label->text());
        QObject::connect(sender, signal, &m_context, [this, label] {
            if (label->text() != m_texts.constLast())
                m_texts.append(label->text());
        });
    }
    // The texts shown since the one on screen when recording began.
    QStringList shown() const { return m_texts.mid(1); }
    bool contains(const QString &text) const { return shown().contains(text); }

private:
    QObject m_context;
    QStringList m_texts;
};

// The titles of the groups under `root` that are shown, in the order the groups were made.
inline QStringList groupTitles(const QWidget *root)
{
    QStringList titles;
    for (SettingsGroup *group : root->findChildren<SettingsGroup *>()) {
        if (group->isVisible())
            titles.append(group->titleLabel()->text());
    }
    return titles;
}

inline QStringList entries(const QComboBox *menu)
{
    QStringList list;
    for (int i = 0; i < menu->count(); ++i)
        list.append(menu->itemText(i));
    return list;
}

// Writes a configuration document with a modification time an hour in the past, so that the
// next write is always seen as a change.
inline void writeConfig(const QString &path, const QByteArray &bytes)
{
    TestSupport::writeFile(path, bytes);
    QFile file(path);
    if (file.open(QIODevice::ReadWrite))
        file.setFileTime(QDateTime::currentDateTime().addSecs(-3600),
                         QFileDevice::FileModificationTime);
}

inline QJsonObject readConfig(const QString &path)
{
    return QJsonDocument::fromJson(TestSupport::readFile(path)).object();
}

// Every control a keyboard can reach has a name tests and tools can find it by, and every
// icon-only button says what it does.
inline QStringList unnamedOrSilentControls(const QWidget *root)
{
    QStringList problems;
    for (QWidget *widget : root->findChildren<QWidget *>()) {
        if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisible())
            continue;
        if (widget->objectName().isEmpty())
            problems.append(QString::fromLatin1(widget->metaObject()->className()));
        const auto *button = qobject_cast<QAbstractButton *>(widget);
        if (!button || !button->text().isEmpty())
            continue;
        // A switch is named by its row's title; an icon button by its help text.
        const bool isSwitch = qobject_cast<const QCheckBox *>(button) != nullptr;
        const bool silent = isSwitch ? button->accessibleName().isEmpty()
                                     : button->toolTip().isEmpty()
                                           || button->accessibleName() != button->toolTip();
        if (silent)
            problems.append(button->objectName());
    }
    return problems;
}

} // namespace UiSupport
