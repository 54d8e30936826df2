#include "ui/launch.h"

#include "config/configfile.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    if (const std::optional<int> status = Shell::answerWithoutWindow(argc, argv))
        return *status;
    // A file-size limit makes a save fail with "File too large" instead of ending the process.
    ConfigFile::ignoreFileSizeSignal();
    Shell::prepareEnvironment(argc, argv);
    QApplication app(argc, argv);
    return Shell::run(QApplication::arguments());
}
