#include "ui/pages/testallview.h"

#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "providers/providerbatch.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

using namespace Qt::Literals::StringLiterals;
using Providers::ProviderBatch;

namespace {

enum Column { NameColumn, AddressColumn, ModelColumn, OutcomeColumn, MsColumn, ColumnCount };

// Beyond this many lines the table scrolls inside the page instead of growing further.
constexpr int tallestShown = 16;

QString summaryText(const ProviderBatch *batch)
{
    const qsizetype total = batch->rows().size();
    if (batch->running()) {
        return u"Tested "_s + QString::number(batch->doneCount()) + u" of "_s
               + QString::number(total) + u"…"_s;
    }
    return QString::number(batch->answeredCount()) + u" of "_s + QString::number(total)
           + u" answered"_s;
}

QTableWidgetItem *cell(const QString &text)
{
    auto *item = new QTableWidgetItem(text);
    item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    // Names and addresses come from the file and may be long: the cell cuts them, the tooltip
    // shows them whole, as written.
    item->setToolTip(plainToolTip(text));
    return item;
}

void fillRow(QTableWidget *table, int index, const ProviderBatch::Row &row)
{
    table->setItem(index, NameColumn, cell(row.target.name));
    table->setItem(index, AddressColumn, cell(row.target.baseURL));
    table->setItem(index, ModelColumn, cell(row.target.model));
    QString outcome;
    switch (row.state) {
    case ProviderBatch::State::Waiting: outcome = u"Waiting"_s; break;
    case ProviderBatch::State::Testing: outcome = u"Testing connection…"_s; break;
    case ProviderBatch::State::Done: outcome = row.outcomeText(); break;
    }
    QTableWidgetItem *outcomeItem = cell(outcome);
    if (row.state == ProviderBatch::State::Done)
        outcomeItem->setForeground(row.outcome.ok ? StatusColors::good() : StatusColors::bad());
    else
        outcomeItem->setForeground(table->palette().placeholderText());
    table->setItem(index, OutcomeColumn, outcomeItem);
    // A dash rather than nothing while the time is not known: a screen reader skips no cell.
    QTableWidgetItem *ms = cell(row.ms < 0 ? u"—"_s : QString::number(row.ms));
    ms->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    table->setItem(index, MsColumn, ms);
}

// As tall as its lines, up to tallestShown, so that the page scrolls rather than the table.
void fitHeight(QTableWidget *table)
{
    const int lines = std::min(table->rowCount(), tallestShown);
    int height = table->horizontalHeader()->sizeHint().height() + 2 * table->frameWidth();
    for (int i = 0; i < lines; ++i)
        height += table->rowHeight(i);
    table->setFixedHeight(height);
}

QTableWidget *resultsTable()
{
    auto *table = new QTableWidget(0, ColumnCount);
    table->setObjectName(u"testAllTable"_s);
    table->setAccessibleName(u"Test all results"_s);
    table->setHorizontalHeaderLabels({u"Name"_s, u"Address"_s, u"Model"_s, u"Outcome"_s, u"ms"_s});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setWordWrap(false);
    table->setTextElideMode(Qt::ElideMiddle);
    table->setShowGrid(false);
    table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 8);
    QHeaderView *header = table->horizontalHeader();
    header->setHighlightSections(false);
    header->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(AddressColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(ModelColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(OutcomeColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(MsColumn, QHeaderView::ResizeToContents);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return table;
}

} // namespace

ProviderBatch *testAllBatch(SettingsModel *model)
{
    const QString name = u"testAllBatch"_s;
    if (auto *batch = model->findChild<ProviderBatch *>(name, Qt::FindDirectChildrenOnly))
        return batch;
    auto *batch = new ProviderBatch(model);
    batch->setObjectName(name);
    return batch;
}

void addTestAll(SettingsModel *model, SettingsGroup *group)
{
    ProviderBatch *batch = testAllBatch(model);

    auto *button = new QPushButton(u"Test all"_s);
    button->setObjectName(u"testAll"_s);
    auto *row = new SettingRow(WindowState::of(model), u"Test all providers"_s,
                               u"Tests the primary model, every backup model and each bot's own "
                               u"provider and backup models, four at a time."_s,
                               button);
    group->addWidget(row);

    QLabel *summary = plainLabel();
    summary->setObjectName(u"testAllSummary"_s);
    summary->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    summary->hide();
    group->addWidget(summary);
    QTableWidget *table = resultsTable();
    table->hide();
    group->addWidget(table);

    QObject::connect(button, &QPushButton::clicked, button, [model, batch] {
        if (batch->running())
            return;
        // The values as they stand, unsaved edits included, like the single Test buttons.
        batch->setTimeout(model->providerTestTimeout());
        batch->start(model->network(), Providers::allTargets(model->values()));
    });

    auto update = [batch, button, summary, table, row] {
        button->setEnabled(!batch->running());
        const bool any = !batch->rows().isEmpty();
        summary->setText(any ? summaryText(batch) : QString());
        setShownWithParent(summary, any && row->matchesFilter());
        setShownWithParent(table, any && row->matchesFilter());
    };
    auto rebuild = [batch, table, update] {
        table->setRowCount(int(batch->rows().size()));
        for (int i = 0; i < table->rowCount(); ++i)
            fillRow(table, i, batch->rows().at(i));
        fitHeight(table);
        update();
    };
    QObject::connect(batch, &ProviderBatch::started, table, rebuild);
    QObject::connect(batch, &ProviderBatch::finished, table, update);
    QObject::connect(batch, &ProviderBatch::rowChanged, table, [batch, table, update](int i) {
        if (i < table->rowCount())
            fillRow(table, i, batch->rows().at(i));
        update();
    });
    QObject::connect(row, &FilteredRow::filterMatchChanged, table, update);
    rebuild();
}
