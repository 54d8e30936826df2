#pragma once

#include <QLabel>
#include <QString>

// One line of plain text cut with "…" where the width it is given ends. The last `keepEnd`
// characters (the "  ·  Try: …" after a skill's description) stay whole while there is room
// for them, so it is the long part that is cut. The whole text is the tooltip (escaped, so
// outside text is never read as markup), the accessible name and the accessible description.
// Until a layout has given it a width it shows the whole text.
class ElidedLabel final : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget *parent = nullptr);

    void setFullText(const QString &text, qsizetype keepEnd = 0);
    const QString &fullText() const { return m_full; }
    bool isElided() const { return text() != m_full; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void elide();

    QString m_full;
    qsizetype m_keepEnd = 0;
    bool m_placed = false;
};

// A tooltip that shows `text` as it is: escaped into rich text, which the tooltip also wraps
// at a readable width instead of drawing one very long line.
QString plainToolTip(const QString &text);
