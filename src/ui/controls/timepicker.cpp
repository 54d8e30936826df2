#include "ui/controls/timepicker.h"

#include "ui/controls/settingrow.h"
#include "config/configdocument.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

TimePickerView::Time TimePickerView::parse(const QString &text)
{
    const QStringList pieces = text.split(u':', Qt::SkipEmptyParts);
    if (pieces.size() != 2)
        return {};
    const auto hour = ConfigDocument::parseWholeInteger(pieces.at(0));
    const auto minute = ConfigDocument::parseWholeInteger(pieces.at(1));
    if (!hour || !minute || *hour < 0 || *hour > 23 || *minute < 0 || *minute > 59)
        return {};
    return {int(*hour), int(*minute)};
}

QString TimePickerView::format(int hour, int minute)
{
    return u"%1:%2"_s.arg(hour, 2, 10, QLatin1Char('0')).arg(minute, 2, 10, QLatin1Char('0'));
}

TimePickerView::TimePickerView(QWidget *parent)
    : QWidget(parent)
    , m_hour(new QComboBox)
    , m_minute(new QComboBox)
    , m_useGlobal(new QPushButton(u"Use global"_s))
{
    for (int h = 0; h < 24; ++h)
        m_hour->addItem(u"%1"_s.arg(h, 2, 10, QLatin1Char('0')), h);
    for (int m = 0; m < 60; ++m)
        m_minute->addItem(u"%1"_s.arg(m, 2, 10, QLatin1Char('0')), m);
    // The row names them "<row title>, hour" and "<row title>, minute"; the value is the value.
    m_hour->setProperty(accessibleNameSuffixProperty, u", hour"_s);
    m_minute->setProperty(accessibleNameSuffixProperty, u", minute"_s);
    m_minute->setMaxVisibleItems(15);
    m_useGlobal->hide();

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_hour);
    layout->addWidget(plainLabel(u":"_s));
    layout->addWidget(m_minute);
    layout->addWidget(m_useGlobal);
    setFocusProxy(m_hour);

    connect(this, &QObject::objectNameChanged, this, &TimePickerView::nameChildren);
    connect(m_hour, &QComboBox::activated, this,
            [this](int index) { choose(m_hour->itemData(index).toInt(), shownTime().minute); });
    connect(m_minute, &QComboBox::activated, this,
            [this](int index) { choose(shownTime().hour, m_minute->itemData(index).toInt()); });
    connect(m_useGlobal, &QPushButton::clicked, this, [this] {
        if (m_onUseGlobal)
            m_onUseGlobal();
    });
}

void TimePickerView::nameChildren(const QString &name)
{
    m_hour->setObjectName(name + u"Hour"_s);
    m_minute->setObjectName(name + u"Minute"_s);
    m_useGlobal->setObjectName(name + u"UseGlobal"_s);
}

void TimePickerView::bind(QObject *watched, const Bind::Text &time,
                          std::function<QString()> globalTime,
                          const QList<Bind::Change> &globalChanged, std::function<void()> save)
{
    m_time = time;
    m_globalTime = std::move(globalTime);
    m_save = std::move(save);
    Bind::watch(watched, this, time.changed + globalChanged, [this] { refresh(); });
}

void TimePickerView::setUseGlobal(std::function<void()> onUseGlobal)
{
    m_onUseGlobal = std::move(onUseGlobal);
    setShownWithParent(m_useGlobal, bool(m_onUseGlobal));
}

TimePickerView::Time TimePickerView::shownTime() const
{
    const QString own = m_time.get ? m_time.get() : QString();
    return parse(!own.isEmpty() ? own : (m_globalTime ? m_globalTime() : QString()));
}

void TimePickerView::refresh()
{
    const Time time = shownTime();
    const QSignalBlocker hourBlocker(m_hour);
    const QSignalBlocker minuteBlocker(m_minute);
    m_hour->setCurrentIndex(time.hour);
    m_minute->setCurrentIndex(time.minute);
}

void TimePickerView::choose(int hour, int minute)
{
    if (m_time.set)
        m_time.set(format(hour, minute));
    if (m_save)
        m_save();
    refresh();
}
