#include "ui/pagerenderer.h"

#include "ui/contentview.h"
#include "ui/mainwindow.h"
#include "config/settingsmodel.h"
#include "service/notificationtransport.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
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
    const std::optional<SidebarItem> selection = model->selection();
    const QString filter = model->filter();

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
    model->setFilter(QString());
    for (const auto &[item, name] : std::as_const(items)) {
        model->setSelection(item);
        shoot(name);
    }
    model->setSelection(SidebarItem::defaults(SectionID::Model));
    model->setFilter(u"API"_s);
    shoot(u"search-api"_s);

    model->setFilter(filter);
    model->setSelection(selection);
    window.hide();
    return written;
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
