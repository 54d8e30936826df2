#include "ui/controls/elidedlabel.h"

#include <QEvent>
#include <QFontMetrics>

using namespace Qt::Literals::StringLiterals;

QString plainToolTip(const QString &text)
{
    if (text.isEmpty())
        return {};
    return u"<p style=\"white-space:pre-wrap\">"_s + text.toHtmlEscaped() + u"</p>"_s;
}

ElidedLabel::ElidedLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(false);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void ElidedLabel::setFullText(const QString &text, qsizetype keepEnd)
{
    m_full = text;
    m_keepEnd = std::clamp<qsizetype>(keepEnd, 0, text.size());
    setToolTip(plainToolTip(text));
    setAccessibleName(text);
    setAccessibleDescription(text);
    if (m_placed)
        elide();
    else
        setText(text);
    updateGeometry();
}

QSize ElidedLabel::sizeHint() const
{
    const QFontMetrics metrics(font());
    const QMargins m = contentsMargins();
    return {metrics.horizontalAdvance(m_full) + m.left() + m.right() + 2 * margin(),
            metrics.height() + m.top() + m.bottom() + 2 * margin()};
}

QSize ElidedLabel::minimumSizeHint() const
{
    const QFontMetrics metrics(font());
    const QMargins m = contentsMargins();
    return {metrics.horizontalAdvance(u"…"_s),
            metrics.height() + m.top() + m.bottom() + 2 * margin()};
}

void ElidedLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    m_placed = true;
    elide();
}

void ElidedLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (m_placed && (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange))
        elide();
}

void ElidedLabel::elide()
{
    const QFontMetrics metrics(font());
    const int width = contentsRect().width() - 2 * margin();
    if (metrics.horizontalAdvance(m_full) <= width) {
        setText(m_full);
        return;
    }
    const QString end = m_full.right(m_keepEnd);
    const int endWidth = metrics.horizontalAdvance(end);
    const QString head = m_full.left(m_full.size() - m_keepEnd);
    // The end stays whole when at least a few characters of the head fit before it.
    if (!end.isEmpty() && width - endWidth > metrics.horizontalAdvance(u"MMMM…"_s)) {
        setText(metrics.elidedText(head, Qt::ElideRight, width - endWidth) + end);
        return;
    }
    setText(metrics.elidedText(m_full, Qt::ElideRight, width));
}
