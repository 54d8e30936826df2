#include "ui/controls/choicecontrol.h"

#include "ui/controls/settingrow.h"

#include "ui/controls/field.h"

#include <QComboBox>
#include <QHBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {
// Entries longer than this many characters make the menu keep a fixed width.
constexpr qsizetype longEntry = 48;
} // namespace

ChoiceControl::ChoiceControl(QWidget *parent)
    : QWidget(parent)
    , m_menu(new QComboBox)
    , m_custom(new Field)
{
    m_menu->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_custom->hide();

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addStretch(1); // the menu and the field sit at the trailing edge
    layout->addWidget(m_custom);
    layout->addWidget(m_menu);
    setFocusProxy(m_menu);

    connect(this, &QObject::objectNameChanged, this, &ChoiceControl::nameChildren);
    connect(m_menu, &QComboBox::activated, this,
            [this](int index) { choose(m_menu->itemData(index).toString()); });
}

void ChoiceControl::nameChildren(const QString &name)
{
    m_menu->setObjectName(name + u"Menu"_s);
    m_custom->setObjectName(name + u"Custom"_s);
}

QString ChoiceControl::defaultEntryText(const QString &defaultValue) const
{
    return u"Use default: "_s + (defaultValue.isEmpty() ? u"(not set)"_s : defaultValue);
}

void ChoiceControl::bind(QObject *watched, std::function<QString()> defaultValue,
                         std::function<QStringList()> catalog, const Bind::Flag &customMode,
                         const Bind::Text &value, std::function<void()> save,
                         const QList<Bind::Change> &alsoWatch)
{
    m_defaultValue = std::move(defaultValue);
    m_catalog = std::move(catalog);
    m_customMode = customMode;
    m_value = value;
    m_save = std::move(save);
    m_custom->bind(watched, value, m_save);
    Bind::watch(watched, this, value.changed + alsoWatch + customMode.changed,
                [this] { refresh(); });
}

bool ChoiceControl::isCustomMode() const
{
    if (!m_customMode.get)
        return false;
    if (m_customMode.get())
        return true;
    const QString value = m_value.get();
    return !value.isEmpty() && !m_catalog().contains(value);
}

QString ChoiceControl::selectedTag() const
{
    if (isCustomMode())
        return customTag();
    return m_value.get ? m_value.get() : QString();
}

void ChoiceControl::refresh()
{
    const QString defaultValue = m_defaultValue();
    QList<std::pair<QString, QString>> entries{{defaultEntryText(defaultValue), QString()}};
    for (const QString &item : m_catalog()) {
        if (item != defaultValue)
            entries.append({entryText(item), item});
    }
    entries.append({u"Custom…"_s, customTag()});

    const QSignalBlocker blocker(m_menu);
    bool same = m_menu->count() == entries.size();
    for (int i = 0; same && i < entries.size(); ++i) {
        same = m_menu->itemText(i) == entries.at(i).first
               && m_menu->itemData(i).toString() == entries.at(i).second;
    }
    if (!same) {
        m_menu->clear();
        for (const auto &[text, tag] : std::as_const(entries))
            m_menu->addItem(text, tag);
        // Entries are file names and values from the configuration file: a long one would make
        // the menu as wide as itself. Past a length the menu keeps a fixed width and clips its
        // current entry; the open list and the tooltip show entries in full.
        qsizetype longest = 0;
        for (const auto &entry : std::as_const(entries))
            longest = std::max(longest, entry.first.size());
        if (longest > longEntry) {
            m_menu->setMinimumContentsLength(int(longEntry));
            m_menu->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        } else {
            m_menu->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        }
    }
    // A value equal to the default is not listed on its own; it reads as the default entry.
    const int index = m_menu->findData(selectedTag());
    m_menu->setCurrentIndex(index >= 0 ? index : 0);
    const QString current = m_menu->currentText();
    m_menu->setToolTip(current.size() > longEntry ? plainToolTip(current) : QString());

    const bool custom = isCustomMode();
    if (custom != m_custom->isVisibleTo(this))
        m_custom->setVisible(custom);
}

void ChoiceControl::choose(const QString &tag)
{
    if (tag == customTag()) {
        m_customMode.set(true);
    } else {
        m_customMode.set(false);
        m_value.set(tag);
    }
    if (m_save)
        m_save();
    refresh();
}

// ---- ModeControl -------------------------------------------------------------------------------

QStringList ModeControl::modes()
{
    return {u"researcher"_s, u"assistant"_s, u"coder"_s, u"chef"_s, u"none"_s};
}

QString ModeControl::modeTitle(const QString &mode)
{
    if (!modes().contains(mode) || mode.isEmpty())
        return mode;
    return mode.at(0).toUpper() + mode.mid(1);
}

QString ModeControl::defaultEntryText(const QString &defaultValue) const
{
    return u"Use default: "_s + defaultValue;
}

void ModeControl::bind(QObject *watched, std::function<QString()> defaultValue,
                       const Bind::Flag &customMode, const Bind::Text &value,
                       std::function<void()> save, const QList<Bind::Change> &alsoWatch)
{
    ChoiceControl::bind(
        watched, std::move(defaultValue), [] { return modes(); }, customMode, value,
        std::move(save), alsoWatch);
}
