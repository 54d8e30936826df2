#include "ui/pages/backuplisteditor.h"

#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/modelpicker.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "ui/state/windowstate.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString testingText = u"Testing connection…"_s;

QFrame *hairline()
{
    auto *rule = new QFrame;
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Plain);
    rule->setForegroundRole(QPalette::Midlight);
    return rule;
}

// Builds the editor's content for the list as it is now; DynamicBlock builds it again when the
// number of entries changes.
class Builder {
public:
    Builder(SettingsModel *model, const BackupList &list, QVBoxLayout *layout)
        : m_model(model)
        , m_list(list)
        , m_layout(layout)
    {}

    void build()
    {
        const int count = m_list.count();
        for (int i = 0; i < count; ++i)
            buildEntry(i, count);
        if (count > 0 || m_list.addWhenEmpty)
            buildAdd();
    }

private:
    QString name(int row, const QString &part) const
    {
        return m_list.prefix + QString::number(row) + part;
    }

    // The title and the up, down and remove buttons of entry `row`.
    QWidget *buildHeader(int row, int count)
    {
        const bool sections = m_list.look == BackupList::Look::Sections;
        QToolButton *up = iconButton(name(row, u"Up"_s), u"chevron.up"_s, u"Higher priority"_s,
                                     m_list.iconSize);
        QToolButton *down = iconButton(name(row, u"Down"_s), u"chevron.down"_s, u"Lower priority"_s,
                                       m_list.iconSize);
        QToolButton *remove = iconButton(name(row, u"Remove"_s), m_list.removeSymbol,
                                         m_list.removeHelp, m_list.iconSize);
        if (!m_list.movesPastEnds) {
            // The first entry has nothing above it and the last nothing below.
            up->setEnabled(row > 0);
            down->setEnabled(row < count - 1);
        }
        const BackupList &list = m_list;
        QObject::connect(up, &QToolButton::clicked, up,
                         [move = list.move, row] { move(row, true); });
        QObject::connect(down, &QToolButton::clicked, down,
                         [move = list.move, row] { move(row, false); });
        QObject::connect(remove, &QToolButton::clicked, remove,
                         [removeRow = list.remove, row] { removeRow(row); });
        const QString title = u"Backup model "_s + QString::number(row + 1);

        if (sections) {
            if (row > 0) {
                m_layout->addSpacing(4);
                m_layout->addWidget(hairline());
            }
            QHBoxLayout *line = nullptr;
            QWidget *header = buttonLine(&line, name(row, u"Header"_s));
            line->setContentsMargins(0, 8, 0, 0);
            line->setSpacing(4);
            QLabel *label = plainLabel(title);
            label->setObjectName(name(row, u"Title"_s));
            label->setFont(groupTitleFont(label->font()));
            line->addWidget(label);
            line->addSpacing(6);
            line->addWidget(up);
            line->addWidget(down);
            line->addWidget(remove);
            line->addStretch(1);
            m_layout->addWidget(header);
            return header;
        }

        auto *buttons = new QWidget;
        auto *line = new QHBoxLayout(buttons);
        line->setContentsMargins(0, 0, 0, 0);
        line->setSpacing(2);
        line->addWidget(up);
        line->addWidget(down);
        line->addWidget(remove);
        m_layout->addWidget(hairline());
        auto *header = new SettingRow(WindowState::of(m_model), title, {}, buttons);
        header->setObjectName(name(row, u"Header"_s));
        header->titleLabel()->setFont(groupTitleFont(header->titleLabel()->font()));
        m_layout->addWidget(header);
        return header;
    }

    SettingRow *partRow(int row, const BackupList::Part &part, QWidget *control)
    {
        auto *settingRow
            = new SettingRow(WindowState::of(m_model), part.title, part.explainer, control);
        const QString named = settingRow->objectName();
        settingRow->setObjectName(name(
            row, part.rowName.isEmpty() ? named.at(0).toUpper() + named.mid(1) : part.rowName));
        return settingRow;
    }

    void buildEntry(int row, int count)
    {
        SettingsModel *model = m_model;
        auto save = [model] { model->saveAndNotify(); };
        QWidget *header = buildHeader(row, count);

        QList<SettingRow *> rows;
        auto *url = new Field;
        url->setObjectName(name(row, u"Url"_s));
        url->bind(model, m_list.text(row, &Fallback::base_url), save);
        rows.append(partRow(row, m_list.url, url));
        m_layout->addWidget(rows.constLast());

        auto *key = new SecretField(SecretField::keyHelp());
        key->setObjectName(name(row, u"Key"_s));
        key->bind(model, m_list.text(row, &Fallback::api_key), save, m_list.shownKey(row));
        rows.append(partRow(row, m_list.key, key));
        m_layout->addWidget(rows.constLast());

        auto *modelId = new Field;
        modelId->setObjectName(name(row, u"Model"_s));
        modelId->bind(model, m_list.text(row, &Fallback::model), save);
        auto *picker = new ModelPicker(&model->providerTests(), modelId,
                                       [target = m_list.target, row] { return target(row); });
        SettingRow *modelRow = partRow(row, m_list.model, picker);
        rows.append(modelRow);
        m_layout->addWidget(modelRow);
        m_layout->addWidget(picker->messageLabel());
        picker->followRow(modelRow);

        if (!m_list.nickname.title.isEmpty()) {
            auto *nickname = new Field;
            nickname->setObjectName(name(row, u"Name"_s));
            nickname->bind(model, m_list.text(row, &Fallback::name), save);
            rows.append(partRow(row, m_list.nickname, nickname));
            m_layout->addWidget(rows.constLast());
        }

        if (m_list.look == BackupList::Look::Sections)
            buildSectionExtras(row, header, rows);
    }

    // The test under a section, and the search rule that keeps the section's title, test and
    // outcome with the rows they belong to.
    void buildSectionExtras(int row, QWidget *header, const QList<SettingRow *> &rows)
    {
        SettingsModel *model = m_model;
        QWidget *testLine = nullptr;
        QLabel *outcome = nullptr;
        QPushButton *test = nullptr;
        if (m_list.tests) {
            QHBoxLayout *testLayout = nullptr;
            testLine = buttonLine(&testLayout, name(row, u"TestLine"_s));
            test = new QPushButton(u"Test"_s);
            test->setObjectName(name(row, u"Test"_s));
            test->setToolTip(u"Test this provider with its current values"_s);
            testLayout->addStretch(1);
            testLayout->addWidget(test);
            m_layout->addWidget(testLine);
            outcome = testOutcomeLabel(name(row, u"TestOutcome"_s));
            m_layout->addWidget(outcome);
            QObject::connect(test, &QPushButton::clicked, test,
                             [start = m_list.tests->start, row] { start(row); });
        }

        auto blockShown = [model, rows] {
            return WindowState::of(model)->filter().isEmpty()
                   || std::any_of(rows.cbegin(), rows.cend(), [](SettingRow *settingRow) {
                          return settingRow->matchesFilter();
                      });
        };
        auto updateExtras = [blockShown, header, testLine, outcome] {
            const bool show = blockShown();
            setShownWithParent(header, show);
            if (testLine)
                setShownWithParent(testLine, show);
            if (outcome)
                setShownWithParent(outcome, show && !outcome->text().isEmpty());
        };
        for (SettingRow *settingRow : rows)
            QObject::connect(settingRow, &FilteredRow::filterMatchChanged, header, updateExtras);
        QObject::connect(WindowState::of(model), &WindowState::filterChanged, header, updateExtras);

        if (m_list.tests) {
            Bind::watch(model, outcome, m_list.tests->changes,
                        [tests = *m_list.tests, outcome, test, row, updateExtras] {
                            const bool testing = tests.running(row);
                            test->setEnabled(!testing);
                            showTestOutcome(outcome, testing, tests.outcome(row));
                            updateExtras();
                        });
        }
    }

    void buildAdd()
    {
        const bool sections = m_list.look == BackupList::Look::Sections;
        QHBoxLayout *addLayout = nullptr;
        QWidget *addLine = buttonLine(&addLayout, m_list.addName + u"Line"_s);
        addLayout->setContentsMargins(0, sections ? 8 : 6, 0, 4);
        auto *add = new QPushButton(m_list.addText);
        add->setObjectName(m_list.addName);
        Icons::setIcon(add, u"plus.circle"_s);
        if (!m_list.addToolTip.isEmpty())
            add->setToolTip(m_list.addToolTip);
        addLayout->addWidget(add);
        addLayout->addStretch(1);
        m_layout->addWidget(addLine);
        QObject::connect(add, &QPushButton::clicked, add,
                         [addRow = m_list.add, canAdd = m_list.canAdd] {
                             if (!canAdd || canAdd())
                                 addRow();
                         });
        if (m_list.canAdd) {
            // Enabling follows every keystroke in the last entry, not only added or removed
            // entries.
            Bind::watch(m_model, add, m_list.changes,
                        [canAdd = m_list.canAdd, add] { add->setEnabled(canAdd()); });
        }
    }

    SettingsModel *m_model;
    const BackupList &m_list;
    QVBoxLayout *m_layout;
};

} // namespace

QWidget *backupListEditor(SettingsModel *model, BackupList list)
{
    auto count = list.count;
    const QList<Bind::Change> changes = list.changes;
    return new DynamicBlock(
        model, changes, [count] { return QString::number(count()); },
        [model, list = std::move(list)](QVBoxLayout *layout) {
            Builder(model, list, layout).build();
        });
}

QLabel *testOutcomeLabel(const QString &name)
{
    QLabel *label = new WrapLabel; // an address in a message may be one long word
    label->setObjectName(name);
    label->setAlignment(Qt::AlignRight | Qt::AlignTop);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setContentsMargins(0, 0, 0, 4);
    label->hide();
    return label;
}

void showTestOutcome(QLabel *label, bool testing, const std::optional<TestOutcome> &outcome)
{
    if (testing) {
        label->setPalette(QPalette());
        label->setForegroundRole(QPalette::PlaceholderText);
        label->setText(testingText);
    } else if (outcome) {
        QPalette palette;
        palette.setColor(QPalette::WindowText,
                         outcome->ok ? StatusColors::good() : StatusColors::bad());
        label->setPalette(palette);
        label->setForegroundRole(QPalette::WindowText);
        label->setText(outcome->message);
    } else {
        label->clear();
    }
}
