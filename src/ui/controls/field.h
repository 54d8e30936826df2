#pragma once

#include "ui/controls/binding.h"

#include <QLineEdit>
#include <QWidget>

#include <functional>

class QToolButton;

// A single-line text field bound to one text of the model (or of any object; bare signals among
// the binding's changes are signals of `watched`).
//
// Every keystroke is written into the model at once (textEdited). Saving is left to the
// `commit` callback, which runs when the edit is committed: Return, focus leaving the field,
// or Field::commitPending() (the window closing, the page going away). Saving on every
// keystroke would fight the normalisation on read-back: a comma list would lose the comma
// being typed and a number field would jump back to its default.
//
// The field takes the model's text only when it differs from what it shows, and never while
// it holds typed text that is not committed yet, so a reload that arrives mid-typing does not
// discard anything: the commit writes the typed text back into the model before saving.
//
// No placeholder of its own; pages put hints in the row's explainer.
class Field : public QLineEdit {
    Q_OBJECT
public:
    explicit Field(QWidget *parent = nullptr);

    void bind(QObject *watched, const Bind::Text &value, std::function<void()> commit);

    // Masked (password echo) when true.
    void setSecure(bool secure);
    bool isSecure() const { return echoMode() == QLineEdit::Password; }

    bool hasPendingEdit() const { return m_pending; }
    // Writes the typed text into the model (again, in case a reload replaced it) and runs the
    // commit callback; nothing when there is no pending edit.
    void commitEdit();
    // Takes `text` as the user's choice from a list (a completion): written into the model and
    // committed at once, as pickers are.
    void choose(const QString &text);
    // Commits every Field under `root`, `root` included.
    static void commitPending(QWidget *root);

    // Takes the model's text unless an edit is pending.
    void refresh();

    QSize sizeHint() const override;

protected:
    void focusOutEvent(QFocusEvent *event) override;

private:
    Bind::Text m_value;
    std::function<void()> m_commit;
    bool m_pending = false;
};

// A secure Field followed by the eye button that shows the secret in clear or masks it again.
// The eye shows "eye.slash" while the secret is in clear and "eye" while it is masked; its
// tooltip and accessible name are the help text ("Show or hide the key" or "Show or hide the
// token"). The field is masked exactly when the model says it is not shown.
//
// Children are named after this widget: "<name>Field" and "<name>Eye".
class SecretField final : public QWidget {
    Q_OBJECT
public:
    explicit SecretField(const QString &helpText, QWidget *parent = nullptr);

    static QString keyHelp() { return QStringLiteral("Show or hide the key"); }
    static QString tokenHelp() { return QStringLiteral("Show or hide the token"); }

    void bind(QObject *watched, const Bind::Text &value, std::function<void()> commit,
              const Bind::Shown &shown);

    Field *field() const { return m_field; }
    QToolButton *eyeButton() const { return m_eye; }

private:
    void nameChildren(const QString &name);

    Field *m_field;
    QToolButton *m_eye;
    Bind::Shown m_shown;
};
