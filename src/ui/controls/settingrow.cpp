#include "ui/controls/settingrow.h"

#include "ui/controls/accessiblemenu.h"
#include "ui/controls/elidedlabel.h"

#include <QAbstractButton>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QHelpEvent>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::Literals::StringLiterals;

bool filterMatches(const QString &filter, const QString &haystack)
{
    if (filter.isEmpty())
        return true;
    return haystack.toLower().contains(filter.toLower());
}

QString objectNameForTitle(const QString &title)
{
    QString name;
    QString word;
    auto flush = [&] {
        if (word.isEmpty())
            return;
        word = word.toLower();
        if (!name.isEmpty())
            word[0] = word.at(0).toUpper();
        name += word;
        word.clear();
    };
    for (QChar c : title) {
        if (c.isLetterOrNumber() && c.unicode() < 128)
            word += c;
        else
            flush();
    }
    flush();
    return name.isEmpty() ? u"control"_s : name;
}

namespace StatusColors {
// Mid-tone green and red: enough contrast on white and on a dark grey window alike.
QColor good()
{
    return QColor(0x2e, 0xa0, 0x4f);
}
QColor bad()
{
    return QColor(0xe0, 0x44, 0x3e);
}
} // namespace StatusColors

namespace PaletteColors {
bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness()
           < palette.color(QPalette::WindowText).lightness();
}

QColor card(const QPalette &palette)
{
    if (!isDark(palette))
        return palette.color(QPalette::Base);
    return palette.color(QPalette::Window).lighter(125);
}

QColor brightest(const QPalette &palette)
{
    QColor best = palette.color(QPalette::Light);
    for (const auto role : {QPalette::Base, QPalette::WindowText, QPalette::BrightText}) {
        const QColor candidate = palette.color(role);
        if (candidate.lightness() > best.lightness())
            best = candidate;
    }
    return best;
}
} // namespace PaletteColors

CardFrame::CardFrame(QWidget *parent)
    : QFrame(parent)
{
    setFrameShape(QFrame::StyledPanel);
}

void CardFrame::paintEvent(QPaintEvent *event)
{
    {
        QPainter painter(this);
        painter.fillRect(rect(), PaletteColors::card(palette()));
    }
    QFrame::paintEvent(event);
}

void setShownWithParent(QWidget *widget, bool shown)
{
    if (!shown)
        widget->hide();
    else if (widget->parentWidget())
        widget->show();
    else
        // Forget an earlier hide(): a widget that was not hidden on purpose shows with the
        // parent a layout gives it.
        widget->setAttribute(Qt::WA_WState_ExplicitShowHide, false);
}

QLabel *plainLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
    return label;
}

WrapLabel::WrapLabel(const QString &text, QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    setText(text);
}

void WrapLabel::forgetMeasuresOfAnotherText() const
{
    if (text() == m_measuredText)
        return;
    m_heights.clear();
    m_sizeHint = m_minimumSizeHint = QSize();
    m_longestWord = -1;
    m_measuredText = text();
}

int WrapLabel::longestWordWidth() const
{
    forgetMeasuresOfAnotherText();
    if (m_longestWord < 0) {
        const QFontMetrics metrics(font());
        m_longestWord = 0;
        for (const QStringView word : QStringView(m_measuredText).split(u' ', Qt::SkipEmptyParts))
            m_longestWord = std::max(m_longestWord, metrics.horizontalAdvance(word.toString()));
    }
    return m_longestWord;
}

bool WrapLabel::breaksWords(int width) const
{
    return longestWordWidth() > width - frameExtent().width();
}

int WrapLabel::layOutBreakingWords(QTextLayout &layout, int width) const
{
    const int room = std::max(1, width - frameExtent().width());
    QTextOption option(QStyle::visualAlignment(layoutDirection(), alignment()));
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setText(text());
    layout.setFont(font());
    layout.setTextOption(option);
    qreal height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(room);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return int(std::ceil(height)) + frameExtent().height();
}

void WrapLabel::paintEvent(QPaintEvent *event)
{
    if (!breaksWords(width())) {
        QLabel::paintEvent(event);
        return;
    }
    QTextLayout layout;
    layOutBreakingWords(layout, width());
    QPainter painter(this);
    painter.setPen(
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, foregroundRole()));
    const QMargins m = contentsMargins();
    layout.draw(&painter, QPointF(m.left() + margin(), m.top() + margin()));
}

// What QLabel adds around the text: contents margins and the margin on both sides.
QSize WrapLabel::frameExtent() const
{
    const QMargins m = contentsMargins();
    return {m.left() + m.right() + 2 * margin(), m.top() + m.bottom() + 2 * margin()};
}

int WrapLabel::heightForWidth(int width) const
{
    forgetMeasuresOfAnotherText();
    if (const auto it = m_heights.constFind(width); it != m_heights.constEnd())
        return *it;
    int height = 0;
    if (breaksWords(width)) {
        QTextLayout layout;
        height = layOutBreakingWords(layout, width);
    } else {
        height = QLabel::heightForWidth(width);
    }
    if (m_heights.size() > 64)
        m_heights.clear();
    m_heights.insert(width, height);
    return height;
}

QSize WrapLabel::sizeHint() const
{
    forgetMeasuresOfAnotherText();
    if (!m_sizeHint.isValid()) {
        const QFontMetrics metrics(font());
        const int lineWidth
            = std::min(metrics.horizontalAdvance(text()), metrics.averageCharWidth() * 80);
        const int width = lineWidth + frameExtent().width();
        m_sizeHint = QSize(width, heightForWidth(width));
    }
    return m_sizeHint;
}

QSize WrapLabel::minimumSizeHint() const
{
    forgetMeasuresOfAnotherText();
    if (!m_minimumSizeHint.isValid()) {
        const QFontMetrics metrics(font());
        const int longest = std::min(longestWordWidth(), metrics.averageCharWidth() * 20);
        m_minimumSizeHint = QSize(longest, metrics.height()) + frameExtent();
    }
    return m_minimumSizeHint;
}

void WrapLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange
        || event->type() == QEvent::ContentsRectChange) {
        m_heights.clear();
        m_sizeHint = m_minimumSizeHint = QSize();
        m_longestWord = -1;
    }
    QLabel::changeEvent(event);
}

// ---- ElidingLabel -----------------------------------------------------------------------------

ElidingLabel::ElidingLabel(const QString &text, QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setText(text);
}

QString ElidingLabel::fullText() const
{
    return buddy() ? QString(text()).replace(u"&&"_s, u"&"_s) : text();
}

QSize ElidingLabel::minimumSizeHint() const
{
    const QSize whole = QLabel::minimumSizeHint();
    const int few = fontMetrics().horizontalAdvance(u"MMMMMMMM…"_s);
    return {std::min(whole.width(), few), whole.height()};
}

bool ElidingLabel::isElided() const
{
    return fontMetrics().horizontalAdvance(fullText()) > contentsRect().width();
}

bool ElidingLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty()) {
        auto *help = static_cast<QHelpEvent *>(event);
        if (isElided())
            QToolTip::showText(help->globalPos(), plainToolTip(fullText()), this);
        else
            QToolTip::hideText();
        return true;
    }
    return QLabel::event(event);
}

void ElidingLabel::paintEvent(QPaintEvent *event)
{
    if (!isElided()) {
        QLabel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    const QRect room = contentsRect();
    const QString shown = fontMetrics().elidedText(fullText(), Qt::ElideRight, room.width());
    style()->drawItemText(&painter, room, QStyle::visualAlignment(layoutDirection(), alignment()),
                          palette(), isEnabled(), shown, foregroundRole());
}

QLabel *secondaryLabel(const QString &text, QWidget *parent)
{
    QLabel *label = new WrapLabel(text, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont font = label->font();
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    return label;
}

// ---- FilteredRow -------------------------------------------------------------------------------

FilteredRow::FilteredRow(const RowFilter *filter, QWidget *parent)
    : QWidget(parent)
    , m_filter(filter)
{
    if (m_filter)
        m_filter->followRowFilter(this, [this] { applyFilter(); });
}

void FilteredRow::applyFilter()
{
    const bool matches = filterMatches(m_filter ? m_filter->rowFilter() : QString(), haystack());
    const bool changed = matches != m_matches;
    m_matches = matches;
    setShownWithParent(this, matches);
    if (changed)
        Q_EMIT filterMatchChanged(matches);
}

// ---- SettingRow --------------------------------------------------------------------------------

SettingRow::SettingRow(const RowFilter *filter, const QString &title, const QString &explainer,
                       QWidget *control, QWidget *parent)
    : FilteredRow(filter, parent)
    , m_title(title)
    , m_explainer(explainer)
    , m_titleLabel(new ElidingLabel(title))
    , m_explainerLabel(secondaryLabel(explainer))
    , m_line(new QHBoxLayout)
{
    AccessibleMenu::install(); // menus in rows are announced by the row's title
    setObjectName(objectNameForTitle(title) + u"Row"_s);
    m_titleLabel->setObjectName(u"title"_s);
    m_explainerLabel->setObjectName(u"explainer"_s);
    setShownWithParent(m_explainerLabel, !explainer.isEmpty());

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 4, 0, 4);
    column->setSpacing(2);
    m_line->setSpacing(8);
    m_line->addWidget(m_titleLabel);
    m_line->addStretch(1);
    column->addLayout(m_line);
    column->addWidget(m_explainerLabel);

    if (control)
        setControl(control);
    applyFilter();
}

void SettingRow::setExplainer(const QString &explainer)
{
    if (explainer == m_explainer)
        return;
    m_explainer = explainer;
    if (auto *elided = qobject_cast<ElidedLabel *>(m_explainerLabel))
        elided->setFullText(explainer, m_keepEnd);
    else
        m_explainerLabel->setText(explainer);
    setShownWithParent(m_explainerLabel, !explainer.isEmpty());
    describeControl();
    applyFilter();
}

void SettingRow::setExplainerElided(qsizetype keepEnd)
{
    m_keepEnd = keepEnd;
    if (!m_elided) {
        m_elided = true;
        auto *label = new ElidedLabel;
        label->setObjectName(m_explainerLabel->objectName());
        label->setForegroundRole(m_explainerLabel->foregroundRole());
        label->setFont(m_explainerLabel->font());
        delete layout()->replaceWidget(m_explainerLabel, label);
        delete m_explainerLabel;
        m_explainerLabel = label;
    }
    qobject_cast<ElidedLabel *>(m_explainerLabel)->setFullText(m_explainer, keepEnd);
    setShownWithParent(m_explainerLabel, !m_explainer.isEmpty());
    describeControl();
}

// A screen reader gets the whole of a cut explainer from the control it is on.
void SettingRow::describeControl()
{
    if (!m_elided || !m_control)
        return;
    QList<QWidget *> widgets{m_control};
    widgets += m_control->findChildren<QWidget *>();
    for (QWidget *widget : std::as_const(widgets)) {
        if (widget->focusPolicy() != Qt::NoFocus)
            widget->setAccessibleDescription(m_explainer);
    }
}

void SettingRow::setControl(QWidget *control)
{
    if (m_control == control)
        return;
    if (m_control) {
        m_line->removeWidget(m_control);
        m_control->hide();
        m_control->deleteLater();
    }
    m_control = control;
    if (!control)
        return;
    if (control->objectName().isEmpty())
        control->setObjectName(objectNameForTitle(m_title));
    m_line->addWidget(control, 0, Qt::AlignRight | Qt::AlignVCenter);

    // Screen readers announce the control by the row's title. Buttons that carry their own
    // text or name keep it.
    QList<QWidget *> widgets{control};
    widgets += control->findChildren<QWidget *>();
    QWidget *buddy = nullptr;
    for (QWidget *widget : std::as_const(widgets)) {
        if (widget->focusPolicy() == Qt::NoFocus)
            continue;
        if (!buddy)
            buddy = widget;
        const auto *button = qobject_cast<QAbstractButton *>(widget);
        if (button && !button->text().isEmpty())
            continue;
        if (widget->accessibleName().isEmpty())
            widget->setAccessibleName(m_title
                                      + widget->property(accessibleNameSuffixProperty).toString());
    }
    m_titleLabel->setBuddy(buddy ? buddy : control);
    describeControl();
    // With a buddy the label reads "&" as a mnemonic marker; titles may be outside text (skill
    // titles) and are shown as written, so every "&" is doubled.
    m_titleLabel->setText(QString(m_title).replace(u'&', u"&&"_s));
}

void SettingRow::setTitleTrailing(QWidget *widget)
{
    if (m_titleTrailing) {
        m_line->removeWidget(m_titleTrailing);
        m_titleTrailing->hide();
        m_titleTrailing->deleteLater();
    }
    m_titleTrailing = widget;
    if (widget)
        m_line->insertWidget(1, widget);
}

QString SettingRow::haystack() const
{
    return m_title + u' ' + m_explainer;
}

// ---- SwitchButton ------------------------------------------------------------------------------

SwitchButton::SwitchButton(QWidget *parent)
    : QCheckBox(parent)
{
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
}

QSize SwitchButton::sizeHint() const
{
    return {40, 22};
}
QSize SwitchButton::minimumSizeHint() const
{
    return sizeHint();
}

bool SwitchButton::hitButton(const QPoint &pos) const
{
    return rect().contains(pos);
}

void SwitchButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QRectF track = QRectF(rect()).adjusted(2, 2, -2, -2);
    const qreal radius = track.height() / 2;
    if (!isEnabled())
        painter.setOpacity(0.45);

    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius + 1, radius + 1);
    }
    painter.setPen(QPen(pal.color(QPalette::Dark), 1));
    painter.setBrush(isChecked() ? pal.color(QPalette::Highlight) : pal.color(QPalette::Mid));
    painter.drawRoundedRect(track, radius, radius);

    const qreal knob = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    painter.setPen(QPen(pal.color(QPalette::Dark), 0.5));
    painter.setBrush(PaletteColors::brightest(pal));
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
}

// ---- ToggleRow ---------------------------------------------------------------------------------

ToggleRow::ToggleRow(const RowFilter *filter, const QString &title, const QString &explainer,
                     QWidget *parent)
    : SettingRow(filter, title, explainer, nullptr, parent)
    , m_switch(new SwitchButton)
{
    setControl(m_switch);
    // toggled, not clicked: the keyboard, the mouse and a screen reader's "Toggle" action all
    // change the switch, and each of them is the user's change. The model's own changes move
    // the switch with its signals blocked.
    connect(m_switch, &QAbstractButton::toggled, this, [this](bool checked) {
        if (m_isOn.set)
            m_isOn.set(checked);
        if (m_onToggle)
            m_onToggle();
    });
}

void ToggleRow::bind(const Bind::Flag &isOn, std::function<void()> onToggle)
{
    m_isOn = isOn;
    m_onToggle = std::move(onToggle);
    Bind::watch(nullptr, this, isOn.changed, [this] {
        const QSignalBlocker blocker(m_switch);
        m_switch->setChecked(m_isOn.get());
    });
}

// ---- StatusRow ---------------------------------------------------------------------------------

namespace {

class Dot final : public QWidget {
public:
    explicit Dot(QWidget *parent = nullptr)
        : QWidget(parent)
    {
        setFixedSize(8, 8);
    }
    void setColour(const QColor &colour)
    {
        m_colour = colour;
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_colour);
        painter.drawEllipse(QRectF(rect()));
    }

private:
    QColor m_colour;
};

} // namespace

StatusRow::StatusRow(const RowFilter *filter, const QString &label, QWidget *parent)
    : FilteredRow(filter, parent)
    , m_label(label)
    , m_labelLabel(plainLabel(label))
    , m_dotWidget(new Dot)
    , m_valueLabel(new ElidingLabel)
{
    setObjectName(objectNameForTitle(label) + u"Row"_s);
    m_labelLabel->setObjectName(u"label"_s);
    m_valueLabel->setObjectName(objectNameForTitle(label) + u"Value"_s);
    m_valueLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A screen reader reads the value label's own text, labelled by the row's label.
    m_labelLabel->setBuddy(m_valueLabel);
    m_dotWidget->setObjectName(u"dot"_s);
    m_dotWidget->hide();

    auto *line = new QHBoxLayout(this);
    line->setContentsMargins(0, 3, 0, 3);
    line->setSpacing(6);
    line->addWidget(m_labelLabel);
    line->addStretch(1);
    line->addWidget(m_dotWidget, 0, Qt::AlignVCenter);
    line->addWidget(m_valueLabel);
    applyFilter();
}

void StatusRow::setValue(const QString &value, std::optional<QColor> valueColor)
{
    m_valueLabel->setText(value);
    if (valueColor) {
        QPalette palette = m_valueLabel->palette();
        palette.setColor(QPalette::WindowText, *valueColor);
        m_valueLabel->setPalette(palette);
    } else {
        m_valueLabel->setPalette(QPalette());
    }
    if (value != m_value) {
        m_value = value;
        applyFilter();
    }
}

void StatusRow::setDot(std::optional<QColor> colour)
{
    m_dot = colour;
    if (colour)
        static_cast<Dot *>(m_dotWidget)->setColour(*colour);
    setShownWithParent(m_dotWidget, colour.has_value());
}

QString StatusRow::haystack() const
{
    return m_label + u' ' + m_value;
}
