#include "ui/pages/pagekit.h"

#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "model/settingsmodel.h"
#include "ui/controls/rowfilter.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

QFont headingFont(const QFont &base)
{
    QFont font = base;
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setWeight(QFont::DemiBold);
    return font;
}

QWidget *buttonLine(QHBoxLayout **layout, const QString &name)
{
    auto *widget = new QWidget;
    widget->setObjectName(name);
    *layout = new QHBoxLayout(widget);
    (*layout)->setContentsMargins(0, 4, 0, 4);
    (*layout)->setSpacing(8);
    return widget;
}

QFont groupTitleFont(const QFont &base)
{
    QFont font = base;
    font.setWeight(QFont::DemiBold);
    return font;
}

// ---- SettingsGroup -----------------------------------------------------------------------------

SettingsGroup::SettingsGroup(const RowFilter *filter, const QString &title,
                             const QString &explainer, QWidget *parent)
    : QWidget(parent)
    , m_filter(filter)
    , m_title(plainLabel(title))
    , m_explainer(secondaryLabel(explainer))
    , m_layout(new QVBoxLayout)
{
    setObjectName(objectNameForTitle(title) + u"Group"_s);
    m_title->setObjectName(u"groupTitle"_s);
    m_title->setFont(groupTitleFont(font()));
    setShownWithParent(m_title, !title.isEmpty());
    m_explainer->setObjectName(u"groupExplainer"_s);
    setShownWithParent(m_explainer, !explainer.isEmpty());

    // The rows sit in a framed card, like a grouped form.
    auto *box = new CardFrame;
    box->setObjectName(u"groupBox"_s);
    box->setLayout(m_layout);
    m_layout->setContentsMargins(12, 6, 12, 6);
    m_layout->setSpacing(2);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addWidget(m_title);
    column->addWidget(m_explainer);
    column->addWidget(box);

    // Queued, so that the rows have applied the new filter first.
    if (m_filter)
        m_filter->followRowFilter(
            this, [this] { updateVisibility(); }, Qt::QueuedConnection);
}

void SettingsGroup::setExplainer(const QString &text)
{
    m_explainer->setText(text);
    setShownWithParent(m_explainer, !text.isEmpty());
}

void SettingsGroup::addWidget(QWidget *widget)
{
    m_layout->addWidget(widget);
    // A group built while a search is under way shows only if a row of it matches.
    if (m_filter && !m_filter->rowFilter().isEmpty())
        updateVisibility();
}

void SettingsGroup::updateVisibility()
{
    bool show = !m_filter || m_filter->rowFilter().isEmpty();
    if (!show) {
        const QList<FilteredRow *> rows = findChildren<FilteredRow *>();
        show = std::any_of(rows.cbegin(), rows.cend(),
                           [](const FilteredRow *row) { return row->matchesFilter(); });
    }
    setShownWithParent(this, show);
}

// ---- SettingsPage ------------------------------------------------------------------------------

SettingsPage::SettingsPage(const RowFilter *filter, const QString &heading, QWidget *parent)
    : QScrollArea(parent)
    , m_filter(filter)
    , m_heading(new ElidingLabel(heading))
    , m_layout(new QVBoxLayout)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    // Rows elide or wrap long texts, so a page is only wider than its column when the column
    // is narrower than the page's minimum (a window made smaller than its minimum size): then
    // it scrolls sideways rather than cutting controls off.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);

    auto *content = new QWidget;
    content->setObjectName(u"pageContent"_s);
    content->setLayout(m_layout);
    m_layout->setContentsMargins(24, 20, 24, 24);
    m_layout->setSpacing(16);

    m_heading->setObjectName(u"pageHeading"_s);
    m_heading->setFont(headingFont(font()));
    setShownWithParent(m_heading, !heading.isEmpty());
    m_layout->addWidget(m_heading);
    m_layout->addStretch(1);
    setWidget(content);
}

QLabel *SettingsPage::setIntro(const QString &text)
{
    if (!m_intro) {
        m_intro = secondaryLabel();
        m_intro->setObjectName(u"pageIntro"_s);
        m_layout->insertWidget(1, m_intro);
    }
    m_intro->setText(text);
    return m_intro;
}

void SettingsPage::setHeading(const QString &text)
{
    m_heading->setText(text);
    setShownWithParent(m_heading, !text.isEmpty());
}

void SettingsPage::addWidget(QWidget *widget)
{
    // Before the closing stretch, so the page packs to the top.
    m_layout->insertWidget(m_layout->count() - 1, widget);
}

SettingsGroup *SettingsPage::addGroup(const QString &title, const QString &explainer)
{
    auto *group = new SettingsGroup(m_filter, title, explainer);
    addWidget(group);
    return group;
}

// ---- DynamicBlock ------------------------------------------------------------------------------

DynamicBlock::DynamicBlock(QObject *watched, const QList<Bind::Change> &changes,
                           std::function<QString()> shape, Builder build, QWidget *parent)
    : QWidget(parent)
    , m_shape(std::move(shape))
    , m_build(std::move(build))
    , m_outer(new QVBoxLayout(this))
{
    m_outer->setContentsMargins(0, 0, 0, 0);
    m_outer->setSpacing(0);
    rebuild();
    for (const Bind::Change &change : changes) {
        change.connect(watched, this, [this] {
            if (m_shape() != m_lastShape)
                rebuild();
        });
    }
}

void DynamicBlock::rebuild()
{
    m_lastShape = m_shape();
    if (m_content) {
        Field::commitPending(m_content);
        // The change may come from a button inside the old content, still on the stack.
        m_outer->removeWidget(m_content);
        m_content->hide();
        m_content->setParent(nullptr); // so that lookups by name find only the new content
        m_content->deleteLater();
    }
    m_content = new QWidget;
    m_content->setObjectName(u"blockContent"_s);
    auto *layout = new QVBoxLayout(m_content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    m_build(layout);
    m_outer->addWidget(m_content);

    for (QWidget *ancestor = parentWidget(); ancestor; ancestor = ancestor->parentWidget()) {
        if (auto *group = qobject_cast<SettingsGroup *>(ancestor)) {
            group->updateVisibility();
            break;
        }
    }
}
