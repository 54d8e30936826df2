// PLACEHOLDER window until the shell lands.
#include "config/settingsmodel.h"
#include <QApplication>
#include <QDir>
#include <QMainWindow>
int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString path = argc < 2 ? QDir::homePath() + QStringLiteral("/.zandrel/bot-config.json")
                                  : QString::fromLocal8Bit(argv[1]);
    SettingsModel model(path);
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Varnook AI"));
    window.resize(1020, 700);
    window.show();
    return app.exec();
}
