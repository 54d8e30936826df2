// The yardsticks for bench/startup.sh, started and measured the same way as the settings
// program: an empty Qt window of the same size and title, and with --text the same window
// showing one label and one line edit. The second one pays what any window with text pays
// first (fontconfig reading its configuration, loading a font, shaping), which an empty window
// never does.
#include "../startup/firstpaint.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QVBoxLayout>

#include <cstring>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Varnook AI"));
    if (argc > 1 && std::strcmp(argv[1], "--text") == 0) {
        auto *content = new QWidget;
        auto *layout = new QVBoxLayout(content);
        layout->addWidget(new QLabel(QStringLiteral("Model name (required)")));
        layout->addWidget(new QLineEdit(QStringLiteral("gpt-5")));
        layout->addStretch(1);
        window.setCentralWidget(content);
    }
    window.resize(1020, 700);
    new FirstPaintProbe(&window);
    window.show();
    return QApplication::exec();
}
