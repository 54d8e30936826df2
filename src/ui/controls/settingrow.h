#pragma once

#include "ui/controls/elidedlabel.h" // plainToolTip

#include "ui/controls/binding.h"
#include "ui/controls/rowfilter.h"

#include <QCheckBox>
#include <QColor>
#include <QFrame>
#include <QHash>
#include <QLabel>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class QBoxLayout;
class QTextLayout;
class QHBoxLayout;

// A control inside a row may carry this property (a string): the row then names it with its
// title followed by the suffix, e.g. "Daily briefing time" + ", hour".
inline constexpr char accessibleNameSuffixProperty[] = "accessibleNameSuffix";

// The settings search rule shared by every row: an empty filter shows everything; otherwise the
// row shows when its lower-cased haystack contains the lower-cased filter as one substring.
// Neither side is trimmed, and words are not matched separately.
bool filterMatches(const QString &filter, const QString &haystack);

// "Server URL (required)" -> "serverUrlRequired": the objectName a row gives a control that
// the page left unnamed.
QString objectNameForTitle(const QString &title);

// Green and red for outcome texts and status dots; chosen to read on light and dark palettes.
namespace StatusColors {
QColor good();
QColor bad();
} // namespace StatusColors

// Colours that follow the palette, light or dark.
namespace PaletteColors {
// True when the palette draws light text on a dark window.
bool isDark(const QPalette &palette);
// The background of a box of rows. A light palette gets its base colour (white boxes on a
// grey window); a dark palette gets a shade lighter than the window, because its base colour
// is darker than the window and text fields, whose frames the styles draw in a darkened
// window colour, would vanish into a base-coloured box.
QColor card(const QPalette &palette);
// The brightest colour the palette has (for a switch's knob on either track colour).
QColor brightest(const QPalette &palette);
} // namespace PaletteColors

// A framed box painted in PaletteColors::card(): the grouped-form look of every settings group
// and About section. It follows a palette change without being rebuilt.
class CardFrame final : public QFrame {
    Q_OBJECT
public:
    explicit CardFrame(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

// A row that hides itself (and takes no space) while the window's search (`filter`) does not match
// its haystack. Rows own their visibility: pages never call setVisible() on a row. No filter:
// the row always shows.
class FilteredRow : public QWidget {
    Q_OBJECT
public:
    explicit FilteredRow(const RowFilter *filter, QWidget *parent = nullptr);

    bool matchesFilter() const { return m_matches; }
    virtual QString haystack() const = 0;

Q_SIGNALS:
    void filterMatchChanged(bool matches);

protected:
    // Call at the end of every constructor and whenever the haystack changes.
    void applyFilter();

private:
    const RowFilter *m_filter;
    bool m_matches = true;
};

// A labelled setting: the title (and an optional widget right after it), a flexible space and
// the control at its natural size on the first line; the explainer below in a smaller,
// secondary style. The control gets an objectName derived from the title unless it has one,
// and every focusable widget inside it gets the title as accessible name; the title label is
// its buddy.
class SettingRow : public FilteredRow {
    Q_OBJECT
public:
    SettingRow(const RowFilter *filter, const QString &title, const QString &explainer = {},
               QWidget *control = nullptr, QWidget *parent = nullptr);

    const QString &title() const { return m_title; }
    const QString &explainer() const { return m_explainer; }
    // For texts that follow the model, e.g. "Inherits the default: …"; re-runs the filter.
    void setExplainer(const QString &explainer);
    // From now on the explainer shows on one line, cut with "…" at the row's width (an
    // ElidedLabel); its last `keepEnd` characters stay whole while there is room. For outside
    // texts of any length, such as skill descriptions. The whole text stays the filter's
    // haystack, and is the explainer's tooltip and the accessible description of the control.
    void setExplainerElided(qsizetype keepEnd = 0);

    QWidget *control() const { return m_control; }
    void setControl(QWidget *control);
    QWidget *titleTrailing() const { return m_titleTrailing; }
    void setTitleTrailing(QWidget *widget);

    QLabel *titleLabel() const { return m_titleLabel; }
    QLabel *explainerLabel() const { return m_explainerLabel; }

    QString haystack() const override;

private:
    void describeControl();

    QString m_title;
    QString m_explainer;
    bool m_elided = false;
    qsizetype m_keepEnd = 0;
    QLabel *m_titleLabel;
    QLabel *m_explainerLabel;
    QHBoxLayout *m_line;
    QPointer<QWidget> m_control;
    QPointer<QWidget> m_titleTrailing;
};

// A check box drawn as a switch, in the palette's colours.
class SwitchButton final : public QCheckBox {
    Q_OBJECT
public:
    explicit SwitchButton(QWidget *parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &pos) const override;
};

// A SettingRow with a switch. A user toggle writes the new value through the binding, then
// runs onToggle (pages save there). Model changes move the switch without calling onToggle. The
// binding's changes name their objects (Bind::config, Bind::Change(object, signal)): a row does
// not know the model.
class ToggleRow final : public SettingRow {
    Q_OBJECT
public:
    ToggleRow(const RowFilter *filter, const QString &title, const QString &explainer = {},
              QWidget *parent = nullptr);

    SwitchButton *toggle() const { return m_switch; }
    void bind(const Bind::Flag &isOn, std::function<void()> onToggle);
    // The optional view shown right after the title.
    void setTrailing(QWidget *widget) { setTitleTrailing(widget); }

private:
    SwitchButton *m_switch;
    Bind::Flag m_isOn;
    std::function<void()> m_onToggle;
};

// A read-only line: the label on the left; on the right an optional coloured dot, then the
// value, in valueColor when given. Its haystack is label + " " + value.
class StatusRow final : public FilteredRow {
    Q_OBJECT
public:
    StatusRow(const RowFilter *filter, const QString &label, QWidget *parent = nullptr);

    const QString &label() const { return m_label; }
    const QString &value() const { return m_value; }
    void setValue(const QString &value, std::optional<QColor> valueColor = std::nullopt);
    void setDot(std::optional<QColor> colour);
    std::optional<QColor> dot() const { return m_dot; }

    QLabel *labelLabel() const { return m_labelLabel; }
    QLabel *valueLabel() const { return m_valueLabel; }
    QString haystack() const override;

private:
    QString m_label;
    QString m_value;
    std::optional<QColor> m_dot;
    QLabel *m_labelLabel;
    QWidget *m_dotWidget;
    QLabel *m_valueLabel;
};

// A plain, word-wrapped label that remembers its measures. Layouts ask a wrapping label for its
// height many times while a page is laid out, and QLabel works out its size hints by laying
// the whole text out up to five times (a search for a pleasing width, one line, every word on
// a line of its own); each lay-out shapes the text again. Explainers are on every row, so the
// answers are worked out more cheaply and kept until the text or font changes.
//
// A word too long for the width (a URL, a path, a name without blanks) is broken where it
// reaches the edge instead of running out of the label.
class WrapLabel final : public QLabel {
    Q_OBJECT
public:
    explicit WrapLabel(const QString &text = {}, QWidget *parent = nullptr);
    int heightForWidth(int width) const override;
    // The text on lines of at most about 80 characters.
    QSize sizeHint() const override;
    // One line, as wide as the longest word, but no wider than about 20 characters: longer
    // words are broken.
    QSize minimumSizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void forgetMeasuresOfAnotherText() const;
    QSize frameExtent() const;
    int longestWordWidth() const;
    // Whether a word is wider than the text's room at this label width.
    bool breaksWords(int width) const;
    // Lays the text out for a label `width` wide, breaking long words; returns its height.
    int layOutBreakingWords(QTextLayout &layout, int width) const;

    mutable QString m_measuredText;
    mutable QHash<int, int> m_heights;
    mutable QSize m_sizeHint;
    mutable QSize m_minimumSizeHint;
    mutable int m_longestWord = -1;
};

// A one-line label for text that may be longer than the room it gets (a nickname as a page
// heading, a skill title, a status value). While it fits it is an ordinary label; when it does
// not, it shows as much as fits followed by "…", and hovering it shows the whole text. Its
// minimum width is a few characters, so a long text never pushes the controls beside it out of
// the window. A screen reader reads the whole text.
class ElidingLabel final : public QLabel {
    Q_OBJECT
public:
    explicit ElidingLabel(const QString &text = {}, QWidget *parent = nullptr);

    QSize minimumSizeHint() const override;
    // Whether the text is cut short at the current width.
    bool isElided() const;
    // The text as drawn: without the doubled "&" of a label with a buddy.
    QString fullText() const;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
};

// Hides `widget`, or lets it show. Unlike setVisible(true), never shows a widget that has no
// parent yet, which would open it as a window of its own until a layout adopts it; such a
// widget shows with the parent it is given.
void setShownWithParent(QWidget *widget, bool shown);

// A QLabel for text that may come from outside (nicknames, handles, file names): always plain.
QLabel *plainLabel(const QString &text = {}, QWidget *parent = nullptr);
// Secondary, slightly smaller text (explainers and hints), plain.
QLabel *secondaryLabel(const QString &text = {}, QWidget *parent = nullptr);
