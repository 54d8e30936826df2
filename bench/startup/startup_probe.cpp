// The real program, started exactly as main() starts it, that reports when its window has
// painted for the first time and then quits. Driven by bench/startup.sh.
#include "firstpaint.h"

#include "ui/launch.h"
#include "ui/mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    Shell::prepareEnvironment(argc, argv);
    QApplication app(argc, argv);
    return Shell::run(QApplication::arguments(),
                      [](Shell::SettingsApp &settings) { new FirstPaintProbe(settings.window()); });
}
