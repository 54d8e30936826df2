#include "ui/controls/field.h"

#include "ui/controls/icons.h"

#include <QHBoxLayout>
#include <QToolButton>

using namespace Qt::Literals::StringLiterals;

Field::Field(QWidget *parent)
    : QLineEdit(parent)
{
    connect(this, &QLineEdit::textEdited, this, [this](const QString &text) {
        m_pending = true;
        if (m_value.set)
            m_value.set(text);
    });
    // editingFinished is not emitted when the text went back to what it was; returnPressed
    // and focusOutEvent make sure a pending edit is always committed.
    connect(this, &QLineEdit::returnPressed, this, &Field::commitEdit);
    connect(this, &QLineEdit::editingFinished, this, &Field::commitEdit);
}

void Field::bind(QObject *watched, const Bind::Text &value, std::function<void()> commit)
{
    m_value = value;
    m_commit = std::move(commit);
    Bind::watch(watched, this, value.changed, [this] { refresh(); });
}

void Field::setSecure(bool secure)
{
    setEchoMode(secure ? QLineEdit::Password : QLineEdit::Normal);
}

void Field::commitEdit()
{
    if (!m_pending)
        return;
    m_pending = false;
    if (m_value.get && m_value.get() != text())
        m_value.set(text());
    if (m_commit)
        m_commit();
    refresh(); // show the normalised value
}

void Field::choose(const QString &text)
{
    setText(text);
    m_pending = true;
    if (m_value.set)
        m_value.set(text);
    commitEdit();
}

void Field::commitPending(QWidget *root)
{
    if (!root)
        return;
    QList<Field *> fields = root->findChildren<Field *>();
    if (auto *self = qobject_cast<Field *>(root))
        fields.prepend(self);
    for (Field *field : std::as_const(fields))
        field->commitEdit();
}

void Field::refresh()
{
    if (m_pending || !m_value.get)
        return;
    const QString value = m_value.get();
    if (value == text())
        return;
    setText(value);
    // A long value reads from its start (setText leaves the cursor, and the view, at the end).
    if (!hasFocus())
        setCursorPosition(0);
}

QSize Field::sizeHint() const
{
    const QSize base = QLineEdit::sizeHint();
    return {std::max(base.width(), fontMetrics().averageCharWidth() * 40), base.height()};
}

void Field::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    commitEdit();
}

// ---- SecretField -------------------------------------------------------------------------------

SecretField::SecretField(const QString &helpText, QWidget *parent)
    : QWidget(parent)
    , m_field(new Field)
    , m_eye(new QToolButton)
{
    m_field->setSecure(true); // every secret starts masked
    m_eye->setAutoRaise(true);
    m_eye->setFocusPolicy(Qt::StrongFocus);
    m_eye->setToolTip(helpText);
    m_eye->setAccessibleName(helpText);
    Icons::setIcon(m_eye, u"eye"_s);

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(m_field);
    layout->addWidget(m_eye);
    setFocusProxy(m_field);

    connect(this, &QObject::objectNameChanged, this, &SecretField::nameChildren);
    connect(m_eye, &QToolButton::clicked, this, [this] {
        if (m_shown.toggle)
            m_shown.toggle();
    });
}

void SecretField::nameChildren(const QString &name)
{
    m_field->setObjectName(name + u"Field"_s);
    m_eye->setObjectName(name + u"Eye"_s);
}

void SecretField::bind(QObject *watched, const Bind::Text &value, std::function<void()> commit,
                       const Bind::Shown &shown)
{
    m_field->bind(watched, value, std::move(commit));
    m_shown = shown;
    Bind::watch(watched, this, shown.changed, [this] {
        const bool inClear = m_shown.get();
        m_field->setSecure(!inClear);
        Icons::setIcon(m_eye, inClear ? u"eye.slash"_s : u"eye"_s);
    });
}
