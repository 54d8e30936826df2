#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class QLabel;
class QPushButton;
class SettingsModel;

// "Check token" beside a bot's token: asks Telegram's Bot API whether the token works and
// tells the answer on a line of its own under the row: "@username · Name" in green, or in red
// what Telegram or the network said. The line goes away when the token changes, and a check
// still under way is dropped with it.
//
// Object names: the button "<name>Check", the line "<name>CheckOutcome".
class TokenCheck final : public QObject {
    Q_OBJECT
public:
    TokenCheck(SettingsModel *model, int bot, const QString &name, QObject *parent = nullptr);

    QPushButton *button() const { return m_button; }
    QLabel *outcome() const { return m_outcome; }
    // Whether the line should show, given whether its row matches the window's search.
    void setRowShown(bool shown);

    static QString checkingText() { return QStringLiteral("Checking token…"); }
    static QString validDescription() { return QStringLiteral("Telegram accepts this token"); }
    static QString invalidDescription() { return QStringLiteral("The token check failed"); }

private:
    void start();
    void clear();
    void show(bool checking, bool valid, const QString &text);

    QPointer<SettingsModel> m_model;
    int m_bot;
    QPushButton *m_button;
    QLabel *m_outcome;
    QPointer<QObject> m_pending; // the running request's context: deleting it aborts it
    QString m_checkedToken;
    bool m_rowShown = true;
};
