#include "ui/mainwindow.h"

#include "ui/contentview.h"
#include "ui/controls/field.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QScrollArea>

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
    // A window manager keeps the window at least as large as the content's minimum; without
    // one the window can be made smaller, and the content then scrolls instead of being cut
    // off at the right or the bottom.
    auto *area = new QScrollArea;
    area->setObjectName(u"windowScroll"_s);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setBackgroundRole(QPalette::Window);
    area->viewport()->setAutoFillBackground(false);
    area->setWidget(view);
    setCentralWidget(area);
    setMinimumSize(ContentView::minimumContentSize());
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
    // Saving may run code that asks to close again (the window system repeats a request the
    // program was slow to answer); that is the same close, and it is accepted too.
    if (!m_closing) {
        m_closing = true;
        // The last keystrokes of a field still being edited are saved like a Return would,
        // before the window hides: hiding moves the focus, and the save must not wait for it.
        Field::commitPending(this);
        m_closing = false;
    }
    event->accept(); // hides; WA_DeleteOnClose is off, so the window and its state stay
}
