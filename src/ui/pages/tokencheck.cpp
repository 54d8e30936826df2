#include "ui/pages/tokencheck.h"

#include "ui/controls/settingrow.h"
#include "model/settingsmodel.h"
#include "network/addresses.h"
#include "telegram/botapi.h"

#include <QLabel>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

TokenCheck::TokenCheck(SettingsModel *model, int bot, const QString &name, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_bot(bot)
    , m_button(new QPushButton(u"Check token"_s))
    , m_outcome(new WrapLabel) // Telegram's reasons can be long; they wrap under the row
{
    m_button->setObjectName(name + u"Check"_s);
    m_button->setToolTip(u"Ask Telegram whether this token belongs to a bot"_s);
    m_outcome->setObjectName(name + u"CheckOutcome"_s);
    m_outcome->setAlignment(Qt::AlignRight | Qt::AlignTop);
    m_outcome->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_outcome->setContentsMargins(0, 0, 0, 4);
    m_outcome->hide();

    connect(m_button, &QPushButton::clicked, this, &TokenCheck::start);
    // An answer about another token is no answer about this one.
    connect(model, &SettingsModel::botTokensChanged, this, [this] {
        if (m_model && m_model->botTokens().value(m_bot) != m_checkedToken)
            clear();
    });
}

void TokenCheck::setRowShown(bool shown)
{
    m_rowShown = shown;
    setShownWithParent(m_outcome, shown && !m_outcome->text().isEmpty());
}

void TokenCheck::start()
{
    if (!m_model || m_pending)
        return;
    m_checkedToken = m_model->botTokens().value(m_bot);
    m_pending = new QObject(this);
    show(true, false, checkingText());
    BotApi::checkToken(m_model->network(), m_pending,
                       OutsideAddresses::fromEnvironment().telegramApiBase, m_checkedToken,
                       [this](const BotApi::TokenCheck &check) {
                           // The request is still winding down under this call.
                           m_pending->deleteLater();
                           m_pending = nullptr;
                           show(false, check.valid, check.text);
                       });
}

void TokenCheck::clear()
{
    delete m_pending; // aborts the request
    m_checkedToken.clear();
    m_outcome->setPalette(QPalette());
    m_outcome->clear();
    m_outcome->setAccessibleDescription(QString());
    setRowShown(m_rowShown);
}

void TokenCheck::show(bool checking, bool valid, const QString &text)
{
    // The button stays enabled while a check runs (a press then changes nothing): disabling
    // it would throw the keyboard focus onto the next field.
    if (checking) {
        m_outcome->setPalette(QPalette());
        m_outcome->setForegroundRole(QPalette::PlaceholderText);
        m_outcome->setAccessibleDescription(QString());
    } else {
        QPalette palette;
        palette.setColor(QPalette::WindowText, valid ? StatusColors::good() : StatusColors::bad());
        m_outcome->setPalette(palette);
        m_outcome->setForegroundRole(QPalette::WindowText);
        // The colour is not the only sign of the outcome.
        m_outcome->setAccessibleDescription(valid ? validDescription() : invalidDescription());
    }
    m_outcome->setText(text);
    setRowShown(m_rowShown);
}
