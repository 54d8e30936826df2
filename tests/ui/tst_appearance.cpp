#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/pagerenderer.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/testsupport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPalette>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

int lightness(QRgb pixel)
{
    return QColor(pixel).lightness();
}

// The largest lightness difference between `reference` and any pixel of `image` inside `rect`.
int largestDifference(const QImage &image, const QRect &rect, QRgb reference)
{
    int largest = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            largest
                = std::max(largest, std::abs(lightness(image.pixel(x, y)) - lightness(reference)));
    return largest;
}

const char renderConfig[] = "{\"bot_tokens\": [\"1:a\"], \"bot_nicknames\": [\"Momo\"]}";

} // namespace

// How the window looks in a light and in a dark palette, and at twice the pixel density: what a
// user would see, checked on the drawn pixels.
class TestAppearance final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<QWidget> m_host;
    QPalette m_lightPalette;

    // A shown window with one group holding an empty text field and an off switch.
    void buildGroup()
    {
        m_host = std::make_unique<QWidget>();
        m_host->resize(640, 240);
        auto *layout = new QVBoxLayout(m_host.get());
        auto *group = new SettingsGroup(WindowState::of(m_model.get()), u"Telegram"_s);
        auto *field = new Field;
        field->setObjectName(u"emptyField"_s);
        field->setMinimumWidth(240);
        group->addWidget(
            new SettingRow(WindowState::of(m_model.get()), u"Allowed chat IDs"_s, {}, field));
        auto *toggle = new ToggleRow(WindowState::of(m_model.get()), u"Backfill missed messages"_s);
        toggle->toggle()->setObjectName(u"offSwitch"_s);
        group->addWidget(toggle);
        layout->addWidget(group);
        layout->addStretch(1);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        // A focused field draws a highlight ring; a user sees most fields without one.
        if (QWidget *focused = QApplication::focusWidget())
            focused->clearFocus();
        QCoreApplication::processEvents();
    }
    QImage shot() const { return m_host->grab().toImage(); }
    QRect rectOf(const QString &name) const
    {
        auto *widget = m_host->findChild<QWidget *>(name);
        return widget ? QRect(widget->mapTo(m_host.get(), QPoint(0, 0)), widget->size()) : QRect();
    }
    QRgb cardPixel(const QImage &image) const
    {
        // Just inside the box, left of the row's title, where nothing but the card is drawn.
        auto *box = m_host->findChild<QWidget *>(u"groupBox"_s);
        const QPoint inside = box->mapTo(m_host.get(), QPoint(4, box->height() / 2));
        return image.pixel(inside);
    }

    // The field is there for the eye when its frame or its inside stands out from the card.
    void checkEmptyFieldStandsOut()
    {
        buildGroup();
        const QImage image = shot();
        const QRgb card = cardPixel(image);
        const QRect field = rectOf(u"emptyField"_s);
        QVERIFY(field.isValid());
        QVERIFY2(largestDifference(image, field, card) >= 20,
                 qPrintable(u"an empty field is not distinguishable from its group: card %1"_s.arg(
                     QColor(card).name())));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_lightPalette = QApplication::palette();
        m_model = std::make_unique<SettingsModel>(m_dir.filePath(u"bot-config.json"_s),
                                                  ModelEnvironment{&m_transport});
    }
    void cleanup()
    {
        m_host.reset();
        QApplication::setPalette(m_lightPalette);
    }

    void emptyFieldStandsOutFromItsGroupInALightPalette()
    {
        QVERIFY(!PaletteColors::isDark(QApplication::palette()));
        checkEmptyFieldStandsOut();
    }

    void emptyFieldStandsOutFromItsGroupInADarkPalette()
    {
        QApplication::setPalette(Shell::darkPalette());
        QVERIFY(PaletteColors::isDark(QApplication::palette()));
        checkEmptyFieldStandsOut();
    }

    void groupCardIsLighterThanTheWindowInADarkPalette()
    {
        QApplication::setPalette(Shell::darkPalette());
        buildGroup();
        const QImage image = shot();
        const QRgb card = cardPixel(image);
        QCOMPARE(QColor(card).name(), PaletteColors::card(QApplication::palette()).name());
        QVERIFY(lightness(card) > QApplication::palette().color(QPalette::Window).lightness());
        QVERIFY(lightness(card) > QApplication::palette().color(QPalette::Base).lightness());
    }

    void groupsFollowAPaletteChangeWithoutBeingRebuilt()
    {
        buildGroup();
        QCOMPARE(QColor(cardPixel(shot())).name(),
                 QApplication::palette().color(QPalette::Base).name());
        QApplication::setPalette(Shell::darkPalette());
        QCoreApplication::processEvents();
        QCOMPARE(QColor(cardPixel(shot())).name(),
                 PaletteColors::card(Shell::darkPalette()).name());
    }

    // Section headings and "Add bot" are drawn in the placeholder colour of the palette in use,
    // also after a switch between light and dark while the window is open.
    void sidebarHeadingsAndAddBotFollowAPaletteChange()
    {
        MainWindow window;
        QVERIFY(UiSupport::showWindow(window, m_model.get()));
        QTreeWidget *sidebar = window.contentView()->sidebar();
        auto *addBot = UiSupport::find<QToolButton>(&window, u"addBot"_s);
        QVERIFY(addBot);
        const auto check = [&](const QPalette &palette) {
            const QColor placeholder = palette.color(QPalette::PlaceholderText);
            for (int i = 0; i < sidebar->topLevelItemCount(); ++i)
                QCOMPARE(sidebar->topLevelItem(i)->foreground(0).color().name(),
                         placeholder.name());
            QCOMPARE(addBot->palette().color(QPalette::ButtonText).name(), placeholder.name());
            QCOMPARE(addBot->palette().color(QPalette::Button).name(),
                     palette.color(QPalette::Button).name());
        };
        check(m_lightPalette);
        if (QTest::currentTestFailed())
            return;
        QApplication::setPalette(Shell::darkPalette());
        QCoreApplication::processEvents();
        check(Shell::darkPalette());
        if (QTest::currentTestFailed())
            return;
        QApplication::setPalette(m_lightPalette);
        QCoreApplication::processEvents();
        check(m_lightPalette);
    }

    void offSwitchKnobIsBrighterThanItsTrackInBothPalettes()
    {
        for (const QPalette &palette : {m_lightPalette, Shell::darkPalette()}) {
            QApplication::setPalette(palette);
            buildGroup();
            const QImage image = shot();
            const QRect toggle = rectOf(u"offSwitch"_s);
            QVERIFY(toggle.isValid());
            // Off: the knob sits at the left end, the bare track at the right end.
            const int middle = toggle.center().y();
            const QRgb knob = image.pixel(toggle.left() + toggle.height() / 2, middle);
            const QRgb track = image.pixel(toggle.right() - 6, middle);
            QVERIFY2(lightness(knob) - lightness(track) >= 40,
                     qPrintable(u"knob %1 on track %2 (%3 palette)"_s.arg(
                         QColor(knob).name(), QColor(track).name(),
                         PaletteColors::isDark(palette) ? u"dark"_s : u"light"_s)));
            m_host.reset();
        }
    }

    // The renderer a user runs to look at the pages: a dark palette on request, and every page
    // drawn at twice the pixels when the desktop scales by two.
    void rendererDrawsDarkPagesAtScaleTwo()
    {
        const QString config = m_dir.filePath(u"render-config.json"_s);
        QVERIFY(TestSupport::writeFile(config, renderConfig));

        const auto render
            = [&](const QString &folder, const QStringList &extra, const QString &scale) {
                  QProcess process;
                  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
                  env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
                  env.insert(u"QT_SCALE_FACTOR"_s, scale);
                  process.setProcessEnvironment(env);
                  process.start(QStringLiteral(VARNOOK_BINARY_DIR "/src/varnook-settings"),
                                QStringList{u"--render-pages"_s, folder, config} + extra);
                  return process.waitForFinished(60000) && process.exitCode() == 0;
              };
        const QString light = m_dir.filePath(u"light"_s);
        const QString dark = m_dir.filePath(u"dark"_s);
        QVERIFY(render(light, {}, u"1"_s));
        QVERIFY(render(dark, {u"--palette"_s, u"dark"_s}, u"2"_s));

        const QStringList names = QDir(dark).entryList({u"*.png"_s}, QDir::Files, QDir::Name);
        QCOMPARE(names, QDir(light).entryList({u"*.png"_s}, QDir::Files, QDir::Name));
        QVERIFY(names.contains(u"02-model.png"_s));
        const QImage lightModel(QDir(light).filePath(u"02-model.png"_s));
        const QImage darkModel(QDir(dark).filePath(u"02-model.png"_s));
        QCOMPARE(lightModel.size(), QSize(1020, 700));
        QCOMPARE(darkModel.size(), QSize(2040, 1400));
        // The bottom of the sidebar is bare window: light in one, dark in the other.
        const QColor lightWindow = lightModel.pixelColor(100, 690);
        const QColor darkWindow = darkModel.pixelColor(200, 1380);
        QCOMPARE(darkWindow.name(), Shell::darkPalette().color(QPalette::Window).name());
        QVERIFY(lightWindow.lightness() > 200);
    }
};

QTEST_MAIN(TestAppearance)
#include "tst_appearance.moc"
