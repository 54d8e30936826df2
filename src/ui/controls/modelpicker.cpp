#include "ui/controls/modelpicker.h"

#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "providers/providertests.h"
#include "providers/modellist.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStringListModel>

using namespace Qt::Literals::StringLiterals;

ModelPicker::ModelPicker(ProviderTests *tests, Field *field, Target target, QWidget *parent)
    : QWidget(parent)
    , m_tests(tests)
    , m_field(field)
    , m_target(std::move(target))
    , m_fetch(new QPushButton(u"Fetch models"_s))
    , m_message(new WrapLabel) // an address in a failure may be one long word
    , m_completer(new QCompleter(this))
    , m_ids(new QStringListModel(this))
{
    auto *line = new QHBoxLayout(this);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    line->addWidget(m_field);
    line->addWidget(m_fetch);

    m_fetch->setObjectName(m_field->objectName() + u"Fetch"_s);
    Icons::setIcon(m_fetch, u"arrow.down.circle"_s);
    m_fetch->setToolTip(u"Ask the provider for its models and offer them as you type"_s);
    connect(m_fetch, &QPushButton::clicked, this, &ModelPicker::fetch);

    m_message->setObjectName(m_field->objectName() + u"Models"_s);
    m_message->setAlignment(Qt::AlignRight | Qt::AlignTop);
    m_message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_message->setContentsMargins(0, 0, 0, 4);
    m_message->hide();

    // Sorted by the fetch already; the completer keeps that order and filters it.
    m_completer->setModel(m_ids);
    m_completer->setCompletionMode(QCompleter::PopupCompletion);
    m_completer->setFilterMode(Qt::MatchContains);
    m_completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_completer->setMaxVisibleItems(12);
    m_completer->popup()->setObjectName(m_field->objectName() + u"Completions"_s);
    m_completer->popup()->setAccessibleName(u"Models"_s);
    m_field->setCompleter(m_completer);
    // QLineEdit takes a completion with setText, which a Field does not treat as typing.
    connect(m_completer, qOverload<const QString &>(&QCompleter::activated), m_field,
            [this](const QString &id) { m_field->choose(id); });
}

QStringList ModelPicker::models() const
{
    return m_ids->stringList();
}

void ModelPicker::fetch()
{
    if (m_fetching)
        return;
    delete m_request;
    m_request = new QObject(this);
    m_fetching = true;
    m_fetch->setEnabled(false);
    showMessage(u"Fetching models…"_s, false);
    Providers::fetchModels(m_tests->network(), m_tests->timeout(), m_request, m_target(),
                           [this](const Providers::ModelList &list) {
                               m_fetching = false;
                               m_fetch->setEnabled(true);
                               if (!list.ok) {
                                   showMessage(list.message, true);
                                   Q_EMIT fetched(false);
                                   return;
                               }
                               m_ids->setStringList(list.ids);
                               showMessage(list.message, false);
                               if (!list.ids.isEmpty() && m_field->isVisible()) {
                                   // The whole list at first; typing narrows it.
                                   m_field->setFocus(Qt::OtherFocusReason);
                                   m_completer->setCompletionPrefix(QString());
                                   m_completer->complete();
                               }
                               Q_EMIT fetched(true);
                           });
}

void ModelPicker::followRow(SettingRow *row)
{
    m_row = row;
    connect(row, &FilteredRow::filterMatchChanged, m_message, [this] { updateMessageShown(); });
    updateMessageShown();
}

void ModelPicker::showMessage(const QString &text, bool failed)
{
    QPalette palette;
    if (failed)
        palette.setColor(QPalette::WindowText, StatusColors::bad());
    m_message->setPalette(palette);
    m_message->setForegroundRole(failed ? QPalette::WindowText : QPalette::PlaceholderText);
    m_message->setText(text);
    updateMessageShown();
}

void ModelPicker::updateMessageShown()
{
    const bool rowShown = !m_row || m_row->matchesFilter();
    setShownWithParent(m_message, rowShown && !m_message->text().isEmpty());
}
