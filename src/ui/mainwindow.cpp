#include "ui/mainwindow.h"

#include "ui/contentview.h"
#include "ui/controls/field.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QScreen>

using namespace Qt::Literals::StringLiterals;

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setObjectName(u"mainWindow"_s);
    setWindowTitle(title());
    resize(initialSize());
    // Window state is never restored from an earlier run; nothing here saves it either.
    setAttribute(Qt::WA_DeleteOnClose, false);

    auto *quit = new QAction(u"Quit"_s, this);
    quit->setObjectName(u"quitAction"_s);
    quit->setShortcut(QKeySequence::Quit);
    quit->setShortcutContext(Qt::WindowShortcut);
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    addAction(quit);
}

void MainWindow::setContentView(ContentView *view)
{
    m_content = view;
    setCentralWidget(view);
    resize(initialSize());
}

void MainWindow::centre()
{
    const QScreen *screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    QRect frame = frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    move(frame.topLeft());
}

void MainWindow::bringToFront()
{
    if (isMinimized())
        setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    // The last keystrokes of a field still being edited are saved like a Return would.
    Field::commitPending(this);
    event->accept(); // hides; WA_DeleteOnClose is off, so the window and its state stay
}
