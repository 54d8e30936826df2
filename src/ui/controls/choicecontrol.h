#pragma once

#include "ui/controls/binding.h"

#include <QString>
#include <QStringList>
#include <QWidget>

#include <functional>

class QComboBox;
class Field;

// A menu of the default, a catalogue of known values and a custom entry:
//   "Use default: <default>" (or "Use default: (not set)")   tag ""
//   every catalogue value except the default                   tag = the value
//   "Custom…"                                                  tag "__custom__"
// Custom mode is on while `customMode` says so (the window's choiceCustom holds the control's key),
// or while the value is not empty and not in the catalogue; then a text field bound to the value
// shows beside the menu. Choosing an entry saves at once; the custom field saves when committed
// (see Field).
//
// The default and the catalogue are read again whenever the control refreshes, so they may
// follow the model (list the signals that move them in `alsoWatch`).
//
// Children are named after this widget: "<name>Menu" and "<name>Custom".
class ChoiceControl : public QWidget {
    Q_OBJECT
public:
    static QString customTag() { return QStringLiteral("__custom__"); }

    explicit ChoiceControl(QWidget *parent = nullptr);

    // `customMode` says whether the user switched this control into custom-entry mode and
    // records a switch (the window keeps it; see Bind::customMode). Bare signals among the
    // changes are signals of `watched`.
    void bind(QObject *watched, std::function<QString()> defaultValue,
              std::function<QStringList()> catalog, const Bind::Flag &customMode,
              const Bind::Text &value, std::function<void()> save,
              const QList<Bind::Change> &alsoWatch = {});

    bool isCustomMode() const;
    QString selectedTag() const;

    QComboBox *menu() const { return m_menu; }
    Field *customField() const { return m_custom; }

protected:
    // What the menu shows for a catalogue value and for the first entry.
    virtual QString entryText(const QString &value) const { return value; }
    virtual QString defaultEntryText(const QString &defaultValue) const;

private:
    void refresh();
    void choose(const QString &tag);
    void nameChildren(const QString &name);

    QComboBox *m_menu;
    Field *m_custom;
    std::function<QString()> m_defaultValue;
    std::function<QStringList()> m_catalog;
    Bind::Flag m_customMode;
    Bind::Text m_value;
    std::function<void()> m_save;
};

// The bot mode menu: the same entries and rules over the fixed catalogue researcher, assistant,
// coder, chef, none, shown by title (Researcher, …) and stored by value. The first entry shows
// the default value as it stands.
class ModeControl final : public ChoiceControl {
    Q_OBJECT
public:
    using ChoiceControl::ChoiceControl;

    static QStringList modes();
    static QString modeTitle(const QString &mode); // the value itself for unknown modes

    void bind(QObject *watched, std::function<QString()> defaultValue, const Bind::Flag &customMode,
              const Bind::Text &value, std::function<void()> save,
              const QList<Bind::Change> &alsoWatch = {});

protected:
    QString entryText(const QString &value) const override { return modeTitle(value); }
    QString defaultEntryText(const QString &defaultValue) const override;
};
