#pragma once

#include "ui/controls/binding.h"

#include <QString>
#include <QWidget>

#include <functional>

class QComboBox;
class QPushButton;

// An "HH:MM" picker: an hour menu 00–23, ":" and a minute menu 00–59, then optionally a
// "Use global" button.
//
// It shows the effective time: the bound time when it is not empty, else the inherited global
// time. Choosing an hour or a minute writes "HH:MM" made of the choice and the other shown
// part, then runs `save`; so the first edit of an inheriting (empty) time turns the inherited
// value into an explicit one.
//
// Children are named after this widget: "<name>Hour", "<name>Minute", "<name>UseGlobal".
class TimePickerView final : public QWidget {
    Q_OBJECT
public:
    struct Time {
        int hour = 8;
        int minute = 0;
        bool operator==(const Time &) const = default;
    };
    // Two pieces split at ":" (empty pieces dropped), both whole decimal numbers, hour 0–23
    // and minute 0–59; anything else is 08:00.
    static Time parse(const QString &text);
    static QString format(int hour, int minute); // "%02d:%02d"

    explicit TimePickerView(QWidget *parent = nullptr);

    // `globalTime` is read again on each of `globalChanged` (and of the time's own signals); bare
    // signals among them are signals of `watched`.
    void bind(QObject *watched, const Bind::Text &time, std::function<QString()> globalTime,
              const QList<Bind::Change> &globalChanged, std::function<void()> save);
    // Shows the "Use global" button; pressing it runs onUseGlobal (pages clear the time there so
    // the global time is inherited again, and save).
    void setUseGlobal(std::function<void()> onUseGlobal);

    Time shownTime() const;

    QComboBox *hourBox() const { return m_hour; }
    QComboBox *minuteBox() const { return m_minute; }
    QPushButton *useGlobalButton() const { return m_useGlobal; }

private:
    void refresh();
    void choose(int hour, int minute);
    void nameChildren(const QString &name);

    QComboBox *m_hour;
    QComboBox *m_minute;
    QPushButton *m_useGlobal;
    Bind::Text m_time;
    std::function<QString()> m_globalTime;
    std::function<void()> m_save;
    std::function<void()> m_onUseGlobal;
};
