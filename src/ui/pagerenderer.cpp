#include "ui/pagerenderer.h"

#include "ui/contentview.h"
#include "ui/mainwindow.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "ui/state/windowstate.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPalette>
#include <QPixmap>
#include <QTextStream>

using namespace Qt::Literals::StringLiterals;

namespace Shell {

namespace {

// Lets layouts, deferred deletions and queued updates run before a page is drawn.
void settle()
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 60) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

} // namespace

QStringList renderPages(SettingsModel *model, const QString &folder)
{
    if (!QDir().mkpath(folder))
        return {};
    const std::optional<SidebarItem> selection = WindowState::of(model)->selection();
    const QString filter = WindowState::of(model)->filter();

    MainWindow window;
    window.setContentView(new ContentView(model));
    window.resize(MainWindow::initialSize());
    window.show();
    settle();

    QList<std::pair<SidebarItem, QString>> items;
    for (int i = 0; i < model->botTokens().size(); ++i)
        items.append({SidebarItem::botAt(i), u"bot-%1"_s.arg(i + 1)});
    for (SectionID section : allSections())
        items.append({SidebarItem::defaults(section), sectionRawValue(section)});

    QStringList written;
    auto shoot = [&](const QString &name) {
        settle();
        const QString file = QDir(folder).filePath(
            u"%1-%2.png"_s.arg(written.size() + 1, 2, 10, QLatin1Char('0')).arg(name));
        if (window.grab().save(file, "PNG"))
            written.append(file);
    };
    WindowState::of(model)->setFilter(QString());
    for (const auto &[item, name] : std::as_const(items)) {
        WindowState::of(model)->setSelection(item);
        shoot(name);
    }
    WindowState::of(model)->setSelection(SidebarItem::defaults(SectionID::Model));
    WindowState::of(model)->setFilter(u"API"_s);
    shoot(u"search-api"_s);

    WindowState::of(model)->setFilter(filter);
    WindowState::of(model)->setSelection(selection);
    window.hide();
    return written;
}

QPalette darkPalette()
{
    const QColor window(0x2b, 0x2b, 0x2b);
    const QColor base(0x1e, 0x1e, 0x1e);
    const QColor text(0xe6, 0xe6, 0xe6);
    const QColor button(0x3a, 0x3a, 0x3a);
    QPalette palette(button, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x26));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3c, 0x3c, 0x3c));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9a, 0x9a));
    palette.setColor(QPalette::Highlight, QColor(0x35, 0x84, 0xe4));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x78, 0xae, 0xed));
    palette.setColor(QPalette::Light, QColor(0x4a, 0x4a, 0x4a));
    palette.setColor(QPalette::Midlight, QColor(0x40, 0x40, 0x40));
    palette.setColor(QPalette::Mid, QColor(0x55, 0x55, 0x55));
    palette.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x18));
    palette.setColor(QPalette::Shadow, QColor(0x0c, 0x0c, 0x0c));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(0x80, 0x80, 0x80));
    return palette;
}

bool renderPages(const QString &configPath, const QString &folder)
{
    InMemoryTransport transport;
    SettingsModel model(configPath, ModelEnvironment{&transport});
    const QStringList files = renderPages(&model, folder);
    QTextStream out(stdout);
    for (const QString &file : files)
        out << file << Qt::endl;
    return !files.isEmpty();
}

} // namespace Shell
