#pragma once

#include "providers/providertargets.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

#include <functional>

class Field;
class QCompleter;
class QLabel;
class QObject;
class QPushButton;
class QStringListModel;
class SettingRow;
class ProviderTests;

// A model-id field with a "Fetch models" button beside it. The button asks the provider the
// field belongs to for its models (Providers::fetchModels, GET <server URL>/models) and offers
// the ids as the field's completion: a drop-down of the ids that contain what is typed, without
// regard to case. The field still takes any text; a choice from the drop-down is saved at once.
//
// The line under the row says how the last fetch went: "Fetching models…", "12 models", or the
// connection test's failure text in red ("gpt-5: HTTP 401"). It belongs to the row: place it
// with placeUnder(), and it hides with the row in a search.
//
// Children are named after the field: "<field>Fetch" (the button), "<field>Models" (the line).
class ModelPicker final : public QWidget {
    Q_OBJECT
public:
    // What the field's provider is at the moment of the fetch: its current (unsaved) values.
    using Target = std::function<Providers::ProviderTarget()>;

    // `tests` gives the network and the time limit of the connection test.
    ModelPicker(ProviderTests *tests, Field *field, Target target, QWidget *parent = nullptr);

    Field *field() const { return m_field; }
    QPushButton *fetchButton() const { return m_fetch; }
    QLabel *messageLabel() const { return m_message; }
    QCompleter *completer() const { return m_completer; }
    // The ids offered, sorted; empty until a fetch has brought some.
    QStringList models() const;
    bool fetching() const { return m_fetching; }

    // What the button does.
    void fetch();

    // Keeps the message line, already placed under `row` by the page, shown exactly while it
    // has text and the row matches the settings filter.
    void followRow(SettingRow *row);

Q_SIGNALS:
    void fetched(bool ok);

private:
    void showMessage(const QString &text, bool failed);
    void updateMessageShown();

    ProviderTests *m_tests;
    Field *m_field;
    Target m_target;
    QPushButton *m_fetch;
    QLabel *m_message;
    QCompleter *m_completer;
    QStringListModel *m_ids;
    QPointer<QObject> m_request; // the fetch under way; deleting it drops its answer
    QPointer<SettingRow> m_row;
    bool m_fetching = false;
};
