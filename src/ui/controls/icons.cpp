#include "ui/controls/icons.h"

#include <QAbstractButton>
#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QIconEngine>
#include <QImageReader>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

using namespace Qt::Literals::StringLiterals;

// The resources live in a static library: without a reference the linker would drop them.
static void initBundledResources()
{
    Q_INIT_RESOURCE(resources);
}

namespace Icons {

void ensureResources()
{
    static const bool done = [] {
        initBundledResources();
        return true;
    }();
    Q_UNUSED(done);
}

namespace {

const QHash<QString, QStringList> &themeTable()
{
    // Standard freedesktop names first, then the GNOME symbolic and KDE spellings.
    static const QHash<QString, QStringList> table{
        {u"cpu"_s, {u"cpu"_s, u"computer-chip"_s, u"computer"_s}},
        {u"paperplane"_s, {u"mail-send"_s, u"document-send"_s, u"mail-send-symbolic"_s}},
        {u"switch.2"_s, {u"preferences-system"_s, u"preferences-other"_s}},
        {u"puzzlepiece"_s, {u"application-x-addon"_s, u"preferences-plugin"_s}},
        {u"shippingbox"_s, {u"package-x-generic"_s, u"system-software-install"_s}},
        {u"info.circle"_s, {u"help-about"_s, u"dialog-information"_s}},
        {u"arrow.down.circle"_s, {u"software-update-available"_s, u"go-down"_s}},
        {u"sidebar.left"_s, {u"sidebar-show"_s, u"view-sidebar"_s, u"sidebar-show-symbolic"_s}},
        {u"terminal"_s, {u"utilities-terminal"_s}},
        {u"eye"_s, {u"view-visible"_s, u"view-reveal-symbolic"_s}},
        {u"eye.slash"_s, {u"view-hidden"_s, u"view-conceal-symbolic"_s}},
        {u"chevron.up"_s, {u"go-up"_s}},
        {u"chevron.down"_s, {u"go-down"_s}},
        {u"minus.circle"_s, {u"list-remove"_s}},
        {u"trash"_s, {u"user-trash"_s, u"edit-delete"_s}},
        {u"doc.text"_s, {u"text-x-generic"_s, u"document-open"_s}},
        {u"folder"_s, {u"folder"_s}},
        {u"magnifyingglass"_s, {u"edit-find"_s, u"system-search"_s}},
        {u"xmark.circle.fill"_s, {u"edit-clear"_s, u"window-close"_s}},
        {u"cat.fill"_s, {}},
        {u"link"_s, {u"insert-link"_s, u"emblem-symbolic-link"_s}},
        {u"book"_s, {u"accessories-dictionary"_s, u"help-contents"_s}},
        {u"plus"_s, {u"list-add"_s}},
        {u"plus.circle"_s, {u"list-add"_s}},
        {u"arrow.clockwise"_s, {u"view-refresh"_s}},
        {u"play.fill"_s, {u"media-playback-start"_s}},
        {u"stop.fill"_s, {u"media-playback-stop"_s}},
        {u"square.and.arrow.up"_s, {u"document-export"_s, u"document-save-as"_s}},
        {u"square.and.arrow.down"_s, {u"document-import"_s, u"document-open"_s}},
        {u"checkmark.circle"_s, {u"emblem-ok"_s, u"dialog-ok"_s}},
        {u"exclamationmark.triangle"_s, {u"dialog-warning"_s}},
        {u"gearshape"_s, {u"preferences-system"_s, u"emblem-system"_s}},
        {u"globe"_s, {u"applications-internet"_s, u"web-browser"_s}},
    };
    return table;
}

QString bundledPath(const QString &symbolName)
{
    return u":/icons/"_s + symbolName + u".svg"_s;
}

// A bundled drawing, rendered only at the sizes and in the modes that are actually painted.
// Symbols use currentColor, filled in from the palette (the text colour, the disabled text
// colour, the highlighted text colour), so they read on light and dark themes alike; pictures
// (the logo) keep their own colours and are only faded when disabled.
class SymbolIconEngine final : public QIconEngine {
public:
    explicit SymbolIconEngine(QByteArray svg, bool tinted = true)
        : m_svg(std::move(svg))
        , m_tinted(tinted)
    {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        const qreal scale = painter->device() ? painter->device()->devicePixelRatio() : 1.0;
        QPixmap image = pixmap(rect.size() * scale, mode, state);
        image.setDevicePixelRatio(scale);
        painter->drawPixmap(rect, image);
    }
    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        return {side, side};
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        if (side <= 0)
            return {};
        const QPalette palette = QGuiApplication::palette();
        QByteArray svg = m_svg;
        QString key = QString::number(side);
        qreal opacity = 1.0;
        if (m_tinted) {
            const QColor ink = mode == QIcon::Disabled
                                   ? palette.color(QPalette::Disabled, QPalette::WindowText)
                               : mode == QIcon::Selected ? palette.color(QPalette::HighlightedText)
                                                         : palette.color(QPalette::WindowText);
            const QColor cutOut = palette.color(QPalette::Window);
            svg.replace("currentColor", ink.name().toLatin1());
            // Cut-outs in filled symbols take the window colour.
            svg.replace("#ffffff", cutOut.name().toLatin1());
            opacity = ink.alphaF();
            key += u'@' + ink.name(QColor::HexArgb) + cutOut.name();
        } else if (mode == QIcon::Disabled) {
            opacity = 0.45;
            key += u"@disabled"_s;
        }
        if (opacity < 1.0)
            svg.replace("<svg ",
                        QByteArray("<svg opacity=\"" + QByteArray::number(opacity) + "\" "));
        if (const auto it = m_cache.constFind(key); it != m_cache.constEnd())
            return *it;
        QBuffer buffer(&svg);
        buffer.open(QIODevice::ReadOnly);
        QImageReader reader(&buffer, "svg");
        reader.setScaledSize(QSize(side, side));
        const QPixmap rendered = QPixmap::fromImage(reader.read());
        m_cache.insert(key, rendered);
        return rendered;
    }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {{16, 16}, {24, 24}, {32, 32}, {48, 48}, {64, 64}, {128, 128}, {256, 256}};
    }
    bool isNull() override { return m_svg.isEmpty(); }
    QString key() const override { return QStringLiteral("varnook-symbol"); }
    QIconEngine *clone() const override { return new SymbolIconEngine(m_svg, m_tinted); }

private:
    QByteArray m_svg;
    bool m_tinted;
    QHash<QString, QPixmap> m_cache;
};

QIcon bundledIcon(const QString &symbolName)
{
    ensureResources();
    static QHash<QString, QIcon> cache;
    if (const auto it = cache.constFind(symbolName); it != cache.constEnd())
        return *it;
    QFile file(bundledPath(symbolName));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QIcon icon(new SymbolIconEngine(file.readAll()));
    cache.insert(symbolName, icon);
    return icon;
}

// Without a desktop icon theme Qt falls back to hicolor, which holds application icons only;
// looking symbols up there costs time and finds nothing.
bool desktopThemeInUse()
{
    const QString theme = QIcon::themeName();
    return !theme.isEmpty() && theme != u"hicolor"_s;
}

} // namespace

QStringList themeNames(const QString &symbolName)
{
    return themeTable().value(symbolName);
}

bool hasBundled(const QString &symbolName)
{
    ensureResources();
    return QFile::exists(bundledPath(symbolName));
}

QIcon icon(const QString &symbolName)
{
    if (desktopThemeInUse()) {
        for (const QString &name : themeNames(symbolName)) {
            if (QIcon::hasThemeIcon(name))
                return QIcon::fromTheme(name);
        }
    }
    QIcon bundled = bundledIcon(symbolName);
    if (!bundled.isNull())
        return bundled;
    return QIcon::fromTheme(symbolName);
}

QIcon appLogo()
{
    ensureResources();
    static const QIcon logo = [] {
        QFile file(u":/AppLogo.svg"_s);
        return file.open(QIODevice::ReadOnly)
                   ? QIcon(new SymbolIconEngine(file.readAll(), /*tinted=*/false))
                   : QIcon();
    }();
    return logo;
}

void setIcon(QAbstractButton *button, const QString &symbolName)
{
    button->setIcon(icon(symbolName));
    button->setProperty("symbol", symbolName);
}

} // namespace Icons
