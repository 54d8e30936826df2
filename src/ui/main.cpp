#include "ui/launch.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    if (const std::optional<int> status = Shell::answerWithoutWindow(argc, argv))
        return *status;
    Shell::prepareEnvironment(argc, argv);
    QApplication app(argc, argv);
    return Shell::run(QApplication::arguments());
}
