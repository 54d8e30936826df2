#pragma once

#include <QMainWindow>

class ContentView;

// The one settings window of the process: 1020 x 700, titled "Varnook AI". Closing it only
// hides it (it is never deleted on close) after committing any text still being typed; the
// process keeps running until the user quits (Ctrl+Q) or the bot service asks it to.
class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    static QString title() { return QStringLiteral("Varnook AI"); }
    static QSize initialSize() { return {1020, 700}; }

    explicit MainWindow(QWidget *parent = nullptr);

    void setContentView(ContentView *view);
    ContentView *contentView() const { return m_content; }

    // Centres the window on its screen.
    void centre();
    // Shows the window (again), un-minimised, raised and active.
    void bringToFront();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    ContentView *m_content = nullptr;
    bool m_closing = false;
};
