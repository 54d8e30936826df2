// The yardstick for bench/startup.sh: an empty Qt window of the same size and title, started
// and measured the same way as the settings program.
#include "../startup/firstpaint.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Varnook AI"));
    window.resize(1020, 700);
    new FirstPaintProbe(&window);
    window.show();
    return QApplication::exec();
}
