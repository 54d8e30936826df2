#include "ui/pages/modelbindings.h"
#include "ui/controls/binding.h"
#include "ui/controls/choicecontrol.h"
#include "ui/controls/field.h"
#include "ui/controls/settingrow.h"
#include "ui/controls/timepicker.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QComboBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;

// The time picker and the two choice menus, driven with the keyboard and the mouse.
class TestControlsPickers final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<QWidget> m_host;
    int m_saves = 0;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    void show(QWidget *control)
    {
        m_host = std::make_unique<QWidget>();
        auto *layout = new QVBoxLayout(m_host.get());
        layout->addWidget(control);
        layout->addStretch(1);
        m_host->resize(700, 300);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
    }
    std::function<void()> save()
    {
        return [this] {
            ++m_saves;
            m_model->saveAndNotify();
        };
    }
    Bind::Text briefingTime()
    {
        return Bind::text(m_model.get(), &SettingsModel::briefingTime,
                          &SettingsModel::setBriefingTime, &SettingsModel::briefingTimeChanged);
    }
    Bind::Text soulFile()
    {
        return Bind::text(m_model.get(), &SettingsModel::soulFile, &SettingsModel::setSoulFile,
                          &SettingsModel::soulFileChanged);
    }
    // Saves what a test set up and lets the reload that follows the save happen, so that it
    // cannot replace the values later.
    void settle()
    {
        m_model->saveAndNotify();
        QCoreApplication::processEvents();
        m_saves = 0;
    }
    ChoiceControl *soulChoice(const QString &defaultValue, const QStringList &catalog)
    {
        auto *choice = new ChoiceControl;
        choice->setObjectName(u"soul"_s);
        choice->bind(
            m_model.get(), [defaultValue] { return defaultValue; }, [catalog] { return catalog; },
            Bind::customMode(WindowState::of(m_model.get()), u"defaults:soul"_s), soulFile(),
            save());
        return choice;
    }

private Q_SLOTS:
    void init()
    {
        QFile::remove(configPath());
        m_transport.clear();
        m_saves = 0;
        UiSupport::writeConfig(configPath(), R"({"soul_file": ""})");
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        QCOMPARE(m_model->soulFile(), QString());
    }
    void cleanup()
    {
        m_host.reset();
        m_model.reset();
    }

    // ---- time picker -------------------------------------------------------------------------

    void timeParsing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("hour");
        QTest::addColumn<int>("minute");
        QTest::newRow("7:5 reads as 07:05") << u"7:5"_s << 7 << 5;
        QTest::newRow("23:59") << u"23:59"_s << 23 << 59;
        QTest::newRow("empty pieces dropped") << u":9::30:"_s << 9 << 30;
        QTest::newRow("24:00") << u"24:00"_s << 8 << 0;
        QTest::newRow("12:60") << u"12:60"_s << 8 << 0;
        QTest::newRow("12") << u"12"_s << 8 << 0;
        QTest::newRow("a:b") << u"a:b"_s << 8 << 0;
        QTest::newRow("empty") << QString() << 8 << 0;
        QTest::newRow("negative") << u"-1:30"_s << 8 << 0;
        QTest::newRow("three pieces") << u"1:2:3"_s << 8 << 0;
        QTest::newRow("blank inside") << u" 7:05"_s << 8 << 0;
    }
    void timeParsing()
    {
        QFETCH(QString, text);
        QFETCH(int, hour);
        QFETCH(int, minute);
        const TimePickerView::Time time = TimePickerView::parse(text);
        QCOMPARE(time.hour, hour);
        QCOMPARE(time.minute, minute);
    }

    void pickersShowSevenFiveAsZeroSevenZeroFive()
    {
        m_model->setBriefingTime(u"7:5"_s);
        auto *picker = new TimePickerView;
        picker->setObjectName(u"briefing"_s);
        picker->bind(
            m_model.get(), briefingTime(), [] { return QString(); }, {}, save());
        show(picker);
        QCOMPARE(picker->hourBox()->currentText(), u"07"_s);
        QCOMPARE(picker->minuteBox()->currentText(), u"05"_s);
        QCOMPARE(picker->hourBox()->count(), 24);
        QCOMPARE(picker->minuteBox()->count(), 60);
        QCOMPARE(picker->minuteBox()->itemText(59), u"59"_s);
    }

    void invalidTimeWithEmptyGlobalShowsEightOClock()
    {
        for (const QString &text : {u"24:00"_s, u"12:60"_s, u"12"_s, u"a:b"_s, QString()}) {
            m_model->setBriefingTime(text);
            auto *picker = new TimePickerView;
            picker->bind(
                m_model.get(), briefingTime(), [] { return QString(); }, {}, save());
            show(picker);
            QCOMPARE(picker->hourBox()->currentText(), u"08"_s);
            QCOMPARE(picker->minuteBox()->currentText(), u"00"_s);
        }
    }

    void emptyTimeShowsTheGlobalTimeAndTheFirstChoiceMakesItExplicit()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        m_model->setBriefingTime(u"09:30"_s);
        settle();
        auto *picker = new TimePickerView;
        picker->setObjectName(u"botBriefing"_s);
        picker->bind(
            m_model.get(), Bind::botProfileText(m_model.get(), 0, &BotProfile::briefingTime),
            [this] { return m_model->briefingTime(); }, {&SettingsModel::briefingTimeChanged},
            save());
        show(picker);
        QComboBox *hour = UiSupport::find<QComboBox>(m_host.get(), u"botBriefingHour"_s);
        QComboBox *minute = UiSupport::find<QComboBox>(m_host.get(), u"botBriefingMinute"_s);
        QVERIFY(hour && minute);
        QCOMPARE(hour->currentText(), u"09"_s);
        QCOMPARE(minute->currentText(), u"30"_s);

        QVERIFY(UiSupport::choose(minute, u"45"_s));
        QCOMPARE(m_model->botProfiles().at(0).briefingTime, u"09:45"_s);
        QCOMPARE(m_saves, 1);
        // The global time is untouched.
        QCOMPARE(m_model->briefingTime(), u"09:30"_s);

        QVERIFY(UiSupport::choose(hour, u"06"_s));
        QCOMPARE(m_model->botProfiles().at(0).briefingTime, u"06:45"_s);
        const QJsonObject saved = UiSupport::readConfig(configPath());
        QCOMPARE(saved.value(u"bot_profiles"_s)
                     .toArray()
                     .at(0)
                     .toObject()
                     .value(u"briefing_time"_s)
                     .toString(),
                 u"06:45"_s);
    }

    void useGlobalButtonReturnsToTheInheritedTime()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        m_model->setBriefingTime(u"09:30"_s);
        m_model->setBotProfileText(0, &BotProfile::briefingTime, u"21:15"_s);
        settle();
        auto *picker = new TimePickerView;
        picker->setObjectName(u"botBriefing"_s);
        const Bind::Text own = Bind::botProfileText(m_model.get(), 0, &BotProfile::briefingTime);
        picker->bind(
            m_model.get(), own, [this] { return m_model->briefingTime(); },
            {&SettingsModel::briefingTimeChanged}, save());
        picker->setUseGlobal([own, this] {
            own.set(QString());
            m_model->saveAndNotify();
        });
        show(picker);
        QCOMPARE(picker->hourBox()->currentText(), u"21"_s);
        auto *useGlobal = UiSupport::find<QPushButton>(m_host.get(), u"botBriefingUseGlobal"_s);
        QVERIFY(useGlobal && useGlobal->isVisible());
        QCOMPARE(useGlobal->text(), u"Use global"_s);
        QTest::mouseClick(useGlobal, Qt::LeftButton);
        QCOMPARE(m_model->botProfiles().at(0).briefingTime, QString());
        QCOMPARE(picker->hourBox()->currentText(), u"09"_s);
        QCOMPARE(picker->minuteBox()->currentText(), u"30"_s);
    }

    void useGlobalButtonIsAbsentWithoutAnAction()
    {
        auto *picker = new TimePickerView;
        picker->bind(
            m_model.get(), briefingTime(), [] { return QString(); }, {}, save());
        show(picker);
        QVERIFY(!picker->useGlobalButton()->isVisible());
    }

    // ---- choice control ----------------------------------------------------------------------

    void menuListsDefaultThenCatalogueThenCustom()
    {
        ChoiceControl *choice
            = soulChoice(u"~/.zandrel/soul.md"_s, {u"persona-pirate.md"_s, u"soul.md"_s});
        show(choice);
        QCOMPARE(UiSupport::entries(choice->menu()),
                 (QStringList{u"Use default: ~/.zandrel/soul.md"_s, u"persona-pirate.md"_s,
                              u"soul.md"_s, u"Custom…"_s}));
        QCOMPARE(choice->menu()->itemData(0).toString(), QString());
        QCOMPARE(choice->menu()->itemData(3).toString(), u"__custom__"_s);
        QCOMPARE(choice->menu()->currentIndex(), 0);
        QVERIFY(!choice->customField()->isVisible());
    }

    void emptyDefaultReadsNotSet()
    {
        ChoiceControl *choice = soulChoice(QString(), {});
        show(choice);
        QCOMPARE(UiSupport::entries(choice->menu()),
                 (QStringList{u"Use default: (not set)"_s, u"Custom…"_s}));
    }

    void catalogueContainingTheDefaultListsItOnlyOnce()
    {
        ChoiceControl *choice = soulChoice(u"soul.md"_s, {u"persona-pirate.md"_s, u"soul.md"_s});
        show(choice);
        QCOMPARE(UiSupport::entries(choice->menu()),
                 (QStringList{u"Use default: soul.md"_s, u"persona-pirate.md"_s, u"Custom…"_s}));
    }

    void valueMissingFromTheCatalogueOpensInCustomModeWithThatText()
    {
        m_model->setSoulFile(u"/srv/odd.md"_s);
        ChoiceControl *choice = soulChoice(QString(), {u"soul.md"_s});
        show(choice);
        QVERIFY(choice->isCustomMode());
        QCOMPARE(choice->menu()->currentText(), u"Custom…"_s);
        auto *field = UiSupport::find<Field>(m_host.get(), u"soulCustom"_s);
        QVERIFY(field && field->isVisible());
        QCOMPARE(field->text(), u"/srv/odd.md"_s);
    }

    void choosingACatalogueEntryStoresItAndSavesAtOnce()
    {
        ChoiceControl *choice = soulChoice(QString(), {u"persona-pirate.md"_s, u"soul.md"_s});
        show(choice);
        QVERIFY(UiSupport::choose(choice->menu(), u"persona-pirate.md"_s));
        QCOMPARE(m_model->soulFile(), u"persona-pirate.md"_s);
        QCOMPARE(m_saves, 1);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"soul_file"_s).toString(),
                 u"persona-pirate.md"_s);
        QVERIFY(!choice->isCustomMode());
    }

    void customThenUseDefaultEmptiesTheValueAndLeavesCustomMode()
    {
        m_model->setSoulFile(u"soul.md"_s);
        ChoiceControl *choice = soulChoice(QString(), {u"persona-pirate.md"_s, u"soul.md"_s});
        show(choice);
        QCOMPARE(choice->menu()->currentText(), u"soul.md"_s);

        QVERIFY(UiSupport::choose(choice->menu(), u"Custom…"_s));
        QVERIFY(WindowState::of(m_model.get())->choiceCustom().contains(u"defaults:soul"_s));
        QCOMPARE(m_model->soulFile(), u"soul.md"_s); // left unchanged
        QVERIFY(choice->customField()->isVisible());
        QCOMPARE(choice->customField()->text(), u"soul.md"_s);

        // Typing in the custom field is kept until committed, then saved.
        choice->customField()->setFocus();
        choice->customField()->selectAll();
        QTest::keyClicks(choice->customField(), u"my-soul.md"_s);
        QCOMPARE(choice->customField()->text(), u"my-soul.md"_s);
        QTest::keyClick(choice->customField(), Qt::Key_Return);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"soul_file"_s).toString(),
                 u"my-soul.md"_s);

        QVERIFY(UiSupport::choose(choice->menu(), u"Use default: (not set)"_s));
        QCOMPARE(m_model->soulFile(), QString());
        QVERIFY(!WindowState::of(m_model.get())->choiceCustom().contains(u"defaults:soul"_s));
        QVERIFY(!choice->isCustomMode());
        QVERIFY(!choice->customField()->isVisible());
        QCOMPARE(choice->menu()->currentIndex(), 0);
    }

    void customModeFollowsTheSharedKeyAcrossControls()
    {
        auto *first = soulChoice(QString(), {u"soul.md"_s});
        auto *second = new ChoiceControl;
        second->bind(
            m_model.get(), [] { return QString(); }, [] { return QStringList{}; },
            Bind::customMode(WindowState::of(m_model.get()), u"defaults:soul"_s), soulFile(),
            save());
        auto *other = new ChoiceControl;
        other->bind(
            m_model.get(), [] { return QString(); }, [] { return QStringList{}; },
            Bind::customMode(WindowState::of(m_model.get()), u"1:soul"_s), soulFile(), save());
        show(first);
        m_host->layout()->addWidget(second);
        m_host->layout()->addWidget(other);
        QVERIFY(UiSupport::choose(first->menu(), u"Custom…"_s));
        QVERIFY(second->isCustomMode());
        QVERIFY(!other->isCustomMode());
    }

    void defaultThatFollowsTheModelRewritesTheFirstEntry()
    {
        m_model->setSoulFile(u"soul.md"_s);
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        settle();
        auto *choice = new ChoiceControl;
        choice->bind(
            m_model.get(), [this] { return m_model->soulFile(); },
            [] {
                return QStringList{u"soul.md"_s, u"persona-x.md"_s};
            },
            Bind::customMode(WindowState::of(m_model.get()), u"0:soul"_s),
            Bind::botProfileText(m_model.get(), 0, &BotProfile::soulFile), save(),
            {&SettingsModel::soulFileChanged});
        show(choice);
        QCOMPARE(UiSupport::entries(choice->menu()),
                 (QStringList{u"Use default: soul.md"_s, u"persona-x.md"_s, u"Custom…"_s}));
        m_model->setSoulFile(u"persona-x.md"_s);
        QCOMPARE(UiSupport::entries(choice->menu()),
                 (QStringList{u"Use default: persona-x.md"_s, u"soul.md"_s, u"Custom…"_s}));
    }

    // ---- mode control ------------------------------------------------------------------------

    void modeMenuShowsTitlesAndStoresValues()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        settle();
        auto *mode = new ModeControl;
        mode->setObjectName(u"mode"_s);
        mode->bind(m_model.get(), [this] { return m_model->botMode(); },
                   Bind::customMode(WindowState::of(m_model.get()), u"\\(i):mode"_s),
                   Bind::botProfileText(m_model.get(), 0, &BotProfile::botMode), save(),
                   {&SettingsModel::botModeChanged});
        show(mode);
        QCOMPARE(UiSupport::entries(mode->menu()),
                 (QStringList{u"Use default: assistant"_s, u"Researcher"_s, u"Coder"_s, u"Chef"_s,
                              u"None"_s, u"Custom…"_s}));
        QVERIFY(UiSupport::choose(mode->menu(), u"Chef"_s));
        QCOMPARE(m_model->botProfiles().at(0).botMode, u"chef"_s);
        QCOMPARE(mode->menu()->currentText(), u"Chef"_s);
    }

    void unknownModeIsACustomMode()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        m_model->setBotProfileText(0, &BotProfile::botMode, u"pirate"_s);
        settle();
        auto *mode = new ModeControl;
        mode->setObjectName(u"mode"_s);
        mode->bind(
            m_model.get(), [this] { return m_model->botMode(); },
            Bind::customMode(WindowState::of(m_model.get()), u"\\(i):mode"_s),
            Bind::botProfileText(m_model.get(), 0, &BotProfile::botMode), save());
        show(mode);
        QVERIFY(mode->isCustomMode());
        QCOMPARE(mode->menu()->currentText(), u"Custom…"_s);
        QCOMPARE(UiSupport::find<Field>(m_host.get(), u"modeCustom"_s)->text(), u"pirate"_s);
    }

    void modeDefaultEntryShowsTheDefaultAsItStands()
    {
        m_model->setBotMode(QString());
        auto *mode = new ModeControl;
        mode->bind(
            m_model.get(), [this] { return m_model->botMode(); },
            Bind::customMode(WindowState::of(m_model.get()), u"m"_s),
            Bind::text(m_model.get(), &SettingsModel::botMode, &SettingsModel::setBotMode,
                       &SettingsModel::botModeChanged),
            save());
        show(mode);
        QCOMPARE(mode->menu()->itemText(0), u"Use default: "_s);
    }
};

QTEST_MAIN(TestControlsPickers)
#include "tst_controls_pickers.moc"
