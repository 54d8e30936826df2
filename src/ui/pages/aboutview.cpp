#include "ui/pages/aboutview.h"

#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "model/settingsmodel.h"
#include "ui/state/windowstate.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

QFont InfoSection::captionFont(const QFont &base)
{
    QFont font = base;
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 0.85);
    return font;
}

QFont InfoSection::smallestCaptionFont(const QFont &base)
{
    QFont font = base;
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * 0.8);
    return font;
}

namespace {

QLabel *secondary(const QString &text, const QString &name)
{
    QLabel *label = plainLabel(text);
    label->setObjectName(name);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

qreal screenScale()
{
    return qApp ? qApp->devicePixelRatio() : 1.0;
}

// The image at `resource` drawn into a square of `side` points, smoothly; an SVG is rendered at
// the target size rather than scaled from another one. Null when it cannot be read.
QPixmap loadImage(const QString &resource, int side)
{
    Icons::ensureResources();
    const qreal scale = screenScale();
    const QSize target = QSize(side, side) * scale;
    QImageReader reader(resource);
    if (reader.supportsOption(QImageIOHandler::ScaledSize)) {
        QSize size = reader.size();
        if (size.isValid() && !size.isEmpty())
            reader.setScaledSize(size.scaled(target, Qt::KeepAspectRatio));
    }
    QImage image = reader.read();
    if (image.isNull())
        return {};
    if (image.width() > target.width() || image.height() > target.height()
        || (image.width() != target.width() && image.height() != target.height())) {
        image = image.scaled(target, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(scale);
    return pixmap;
}

// A symbol drawn in one colour, `side` points square.
QPixmap symbolPixmap(const QString &symbol, int side, const QColor &colour)
{
    const qreal scale = screenScale();
    QImage image(QSize(side, side) * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    Icons::icon(symbol).paint(&painter, QRect(0, 0, side, side));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRect(0, 0, side, side), colour);
    painter.end();
    return QPixmap::fromImage(image);
}

// A label with an icon, both in the secondary style; it opens nothing.
QWidget *linkLabel(const QString &symbol, const QString &text, const QString &name)
{
    auto *widget = new QWidget;
    widget->setObjectName(name);
    auto *layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    QLabel *icon = secondary({}, name + u"Icon"_s);
    const int side = icon->fontMetrics().height() - 2;
    icon->setPixmap(symbolPixmap(symbol, side, icon->palette().color(QPalette::PlaceholderText)));
    icon->setProperty("symbol", symbol);
    layout->addWidget(icon);
    layout->addWidget(secondary(text, name + u"Text"_s));
    layout->addStretch(1);
    return widget;
}

} // namespace

// ---- InfoSection -------------------------------------------------------------------------------

InfoSection::InfoSection(const QString &title, QWidget *parent)
    : QWidget(parent)
    , m_title(plainLabel(title))
    , m_layout(new QVBoxLayout)
{
    setObjectName(objectNameForTitle(title) + u"Section"_s);
    m_title->setObjectName(u"sectionTitle"_s);
    m_title->setFont(groupTitleFont(font()));

    // The same grouped-form box as the settings groups.
    auto *box = new CardFrame;
    box->setObjectName(u"sectionBox"_s);
    box->setLayout(m_layout);
    m_layout->setContentsMargins(12, 8, 12, 8);
    m_layout->setSpacing(6);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addWidget(m_title);
    column->addWidget(box);
}

QLabel *InfoSection::addRow(const QString &title, const QString &value, const QString &valueName)
{
    // A path is one long word: it breaks where it reaches the edge.
    QLabel *label = new WrapLabel(value);
    label->setObjectName(valueName);
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    addRow(title, label);
    return label;
}

void InfoSection::addRow(const QString &title, QWidget *value)
{
    auto *row = new QWidget;
    row->setObjectName(objectNameForTitle(title) + u"Row"_s);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 2, 0, 2);
    layout->setSpacing(0);
    QLabel *titleLabel = plainLabel(title);
    titleLabel->setObjectName(u"title"_s);
    titleLabel->setFixedWidth(titleColumnWidth);
    // A screen reader reads the value (its own text, or its widget's), labelled by the title.
    titleLabel->setBuddy(value);
    layout->addWidget(titleLabel, 0, Qt::AlignTop);
    layout->addWidget(value, 1);
    m_layout->addWidget(row);
}

void InfoSection::addWidget(QWidget *widget)
{
    m_layout->addWidget(widget);
}

// ---- AboutView ---------------------------------------------------------------------------------

QString AboutView::versionText()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? fallbackVersion() : version;
}

AboutView::AboutView(SettingsModel *model, const QString &logoResource, QWidget *parent)
    : QWidget(parent)
    // The same large heading as every other page of the sidebar's Defaults, so a screen reader
    // user moving by headings lands on "About" first; the centred name block follows it.
    , m_page(new SettingsPage(WindowState::of(model), u"About"_s))
    , m_logo(new QLabel)
{
    setObjectName(u"aboutPage"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    // ---- header
    auto *header = new QWidget;
    header->setObjectName(u"aboutHeader"_s);
    auto *headerLayout = new QVBoxLayout(header);
    headerLayout->setContentsMargins(0, 8, 0, 8);
    headerLayout->setSpacing(4);

    // The frame is the same whether the logo or the stand-in symbol fills it, so the page
    // does not move when the image is missing.
    m_logo->setObjectName(u"appLogo"_s);
    m_logo->setFixedSize(logoSide, logoSide);
    m_logo->setAlignment(Qt::AlignCenter);
    const QPixmap image = loadImage(logoResource, logoSide);
    if (!image.isNull()) {
        m_logo->setPixmap(image);
        m_logo->setAccessibleName(u"Varnook AI"_s);
    } else {
        // Points on screen are device-independent pixels here, so the symbol's 56-point font
        // is a 56-pixel one.
        QFont symbolFont = m_logo->font();
        symbolFont.setPixelSize(symbolPixelSize);
        m_logo->setFont(symbolFont);
        m_logo->setForegroundRole(QPalette::PlaceholderText);
        m_logo->setPixmap(symbolPixmap(u"cat.fill"_s, symbolPixelSize,
                                       palette().color(QPalette::PlaceholderText)));
        m_logo->setProperty("symbol", u"cat.fill"_s);
    }
    headerLayout->addWidget(m_logo, 0, Qt::AlignHCenter);
    headerLayout->addSpacing(4);

    QLabel *title = plainLabel(u"Varnook AI"_s);
    title->setObjectName(u"appTitle"_s);
    title->setFont(headingFont(title->font()));
    headerLayout->addWidget(title, 0, Qt::AlignHCenter);

    QLabel *version = secondary(u"Version "_s + versionText(), u"version"_s);
    version->setFont(InfoSection::captionFont(version->font()));
    headerLayout->addWidget(version, 0, Qt::AlignHCenter);

    QLabel *tagline = secondary(u"A Telegram bot in your menu bar."_s, u"tagline"_s);
    tagline->setFont(InfoSection::captionFont(tagline->font()));
    headerLayout->addWidget(tagline, 0, Qt::AlignHCenter);
    m_page->addWidget(header);

    // ---- where the files are; the path is fixed for the life of the process
    auto *details = new InfoSection(u"Details"_s);
    details->addRow(u"Config"_s, model->path(), u"configPath"_s);
    details->addRow(u"Data"_s, QFileInfo(model->path()).path(), u"dataPath"_s);
    m_page->addWidget(details);

    auto *links = new InfoSection(u"Links"_s);
    links->addRow(u"Source code"_s, linkLabel(u"link"_s, u"View source"_s, u"sourceCodeLink"_s));
    links->addRow(u"Documentation"_s,
                  linkLabel(u"book"_s, u"Read the docs"_s, u"documentationLink"_s));
    m_page->addWidget(links);
}

QWidget *createAboutView(SettingsModel *model, QWidget *parent)
{
    return new AboutView(model, AboutView::defaultLogoResource(), parent);
}
