#include "ui/launch.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    Shell::prepareEnvironment(argc, argv);
    QApplication app(argc, argv);
    return Shell::run(QApplication::arguments());
}
