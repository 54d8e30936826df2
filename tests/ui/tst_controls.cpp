#include "ui/pages/modelbindings.h"
#include "ui/controls/binding.h"
#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/pages/pagekit.h"
#include "model/settingsmodel.h"
#include "service/notificationtransport.h"
#include "support/uisupport.h"
#include "ui/state/windowstate.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::Literals::StringLiterals;

// The setting rows, the text field and the secret field, driven like a user drives them.
class TestControls final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    InMemoryTransport m_transport;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<QWidget> m_host;

    QString configPath() const { return m_dir.filePath(u"bot-config.json"_s); }

    // A shown window holding the widgets under test, as a page would.
    QVBoxLayout *host()
    {
        m_host = std::make_unique<QWidget>();
        m_host->resize(800, 600);
        auto *layout = new QVBoxLayout(m_host.get());
        layout->addStretch(1);
        return layout;
    }
    void showHost()
    {
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
    }
    void add(QWidget *widget)
    {
        auto *layout = static_cast<QVBoxLayout *>(m_host->layout());
        layout->insertWidget(layout->count() - 1, widget);
    }
    std::function<void()> save()
    {
        return [this] { m_model->saveAndNotify(); };
    }

private Q_SLOTS:
    void init()
    {
        QFile::remove(configPath());
        m_transport.clear();
        UiSupport::writeConfig(configPath(), R"({"max_tokens": 350, "allowed_ids": [1, 2]})");
        m_model = std::make_unique<SettingsModel>(configPath(), ModelEnvironment{&m_transport});
        host();
    }
    void cleanup()
    {
        m_host.reset();
        m_model.reset();
    }

    // ---- filter ----------------------------------------------------------------------------

    // Rows follow whatever filter they are given, not the model: a page shown on its own can
    // hand in its own search.
    void rowsAndGroupsFollowAnyRowFilter()
    {
        class OwnFilter final : public QObject, public RowFilter {
        public:
            QString text;
            QString rowFilter() const override { return text; }
            QMetaObject::Connection followRowFilter(QObject *context, std::function<void()> changed,
                                                    Qt::ConnectionType type) const override
            {
                return connect(this, &QObject::objectNameChanged, context, std::move(changed),
                               type);
            }
            void set(const QString &value)
            {
                text = value;
                setObjectName(value); // announces the change
            }
        } filter;
        auto *group = new SettingsGroup(&filter, u"Numbers"_s);
        auto *tokens = new SettingRow(&filter, u"Max reply tokens"_s, {}, new Field);
        group->addWidget(tokens);
        add(group);
        QVERIFY(tokens->isVisibleTo(m_host.get()));
        filter.set(u"nickname"_s);
        QVERIFY(!tokens->matchesFilter());
        QTRY_VERIFY(!group->isVisibleTo(m_host.get()));
        filter.set(u"TOKENS"_s);
        QVERIFY(tokens->matchesFilter());
        QTRY_VERIFY(group->isVisibleTo(m_host.get()));
        // The window's search does not reach rows that were given another filter.
        WindowState::of(m_model.get())->setFilter(u"nickname"_s);
        QVERIFY(tokens->matchesFilter());
        delete group; // before the filter it follows goes
    }

    // A field bound by a configuration key alone shows the store's value, writes what is typed
    // into the store, and follows a change made elsewhere.
    void aFieldBoundByItsKeyFollowsTheStoreAndWritesIntoIt()
    {
        auto *field = new Field;
        field->bind(nullptr, Bind::config<ConfigKey::MaxTokens>(&m_model->store()), save());
        add(new SettingRow(WindowState::of(m_model.get()), u"Max reply tokens"_s, {}, field));
        QCOMPARE(field->text(), u"350"_s);
        QSignalSpy announced(m_model.get(), &SettingsModel::maxTokensChanged);
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, u"512"_s);
        QCOMPARE(m_model->maxTokens(), u"512"_s);
        QCOMPARE(announced.size(), 3); // one per keystroke, under the model's published name
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(UiSupport::readConfig(configPath()).value("max_tokens"_L1).toInt(), 512);
        m_model->store().setMaxTokens(u"800"_s);
        QCOMPARE(field->text(), u"800"_s);
    }

    void filterApiShowsApiKeyRowIgnoringCaseAndHidesRowsWithoutApi()
    {
        auto *key = new SettingRow(WindowState::of(m_model.get()), u"API key"_s,
                                   u"Empty for local servers."_s, new Field);
        auto *nick = new SettingRow(WindowState::of(m_model.get()), u"Nickname"_s,
                                    u"A friendly name."_s, new Field);
        add(key);
        add(nick);
        showHost();
        QVERIFY(key->isVisible());
        QVERIFY(nick->isVisible());

        WindowState::of(m_model.get())->setFilter(u"API"_s);
        QVERIFY(key->isVisible());
        QVERIFY(!nick->isVisible());

        WindowState::of(m_model.get())->setFilter(u"api"_s);
        QVERIFY(key->isVisible());
        QVERIFY(!nick->isVisible());

        WindowState::of(m_model.get())->setFilter(QString());
        QVERIFY(nick->isVisible());
    }

    void twoWordFilterMatchesOnlyWhereTheWordsStandTogether()
    {
        auto *row = new SettingRow(WindowState::of(m_model.get()), u"Max reply tokens"_s,
                                   u"Safety ceiling for model replies."_s, new Field);
        add(row);
        showHost();

        WindowState::of(m_model.get())->setFilter(u"reply tokens"_s);
        QVERIFY(row->isVisible());
        WindowState::of(m_model.get())->setFilter(u"tokens reply"_s);
        QVERIFY(!row->isVisible());
        // Title and explainer are joined by one blank, so a phrase may span them.
        WindowState::of(m_model.get())->setFilter(u"tokens safety"_s);
        QVERIFY(row->isVisible());
        // No trimming: a leading blank must be matched too.
        WindowState::of(m_model.get())->setFilter(u" max"_s);
        QVERIFY(!row->isVisible());
    }

    void rowHiddenByFilterTakesNoSpace()
    {
        auto *first
            = new SettingRow(WindowState::of(m_model.get()), u"Allowed chat IDs"_s, {}, new Field);
        auto *second
            = new SettingRow(WindowState::of(m_model.get()), u"Briefing prompt"_s, {}, new Field);
        add(first);
        add(second);
        showHost();
        const int secondTop = second->geometry().top();
        QVERIFY(secondTop > first->geometry().top());

        WindowState::of(m_model.get())->setFilter(u"briefing"_s);
        QTRY_VERIFY(second->geometry().top() < secondTop);
        QCOMPARE(second->geometry().top(), m_host->layout()->contentsMargins().top());
    }

    void changedExplainerIsSearchedAgain()
    {
        auto *row = new SettingRow(WindowState::of(m_model.get()), u"Allowed chat IDs"_s,
                                   u"Inherits the default (not set)"_s, new Field);
        add(row);
        showHost();
        WindowState::of(m_model.get())->setFilter(u"overrides"_s);
        QVERIFY(!row->isVisible());
        row->setExplainer(u"Overrides the default (1, 2)"_s);
        QVERIFY(row->isVisible());
        QCOMPARE(row->explainerLabel()->text(), u"Overrides the default (1, 2)"_s);
    }

    void groupWithoutMatchingRowsHidesItsTitleToo()
    {
        SettingsPage page(WindowState::of(m_model.get()), u"Defaults"_s);
        SettingsGroup *chats = page.addGroup(u"Chats & briefing"_s);
        chats->addWidget(
            new SettingRow(WindowState::of(m_model.get()), u"Allowed chat IDs"_s, {}, new Field));
        SettingsGroup *behaviour = page.addGroup(u"Behaviour"_s);
        behaviour->addWidget(
            new SettingRow(WindowState::of(m_model.get()), u"Memories per user"_s, {}, new Field));
        page.resize(700, 500);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));

        WindowState::of(m_model.get())->setFilter(u"MEMOR"_s);
        QTRY_VERIFY(!chats->isVisible());
        QVERIFY(behaviour->isVisible());
        WindowState::of(m_model.get())->setFilter(QString());
        QTRY_VERIFY(chats->isVisible());
    }

    void statusRowSearchesLabelAndValueAndShowsDotAndColour()
    {
        auto *row = new StatusRow(WindowState::of(m_model.get()), u"Status"_s);
        row->setValue(u"Running as @momo_bot"_s, StatusColors::good());
        row->setDot(StatusColors::good());
        add(row);
        showHost();
        QCOMPARE(row->valueLabel()->text(), u"Running as @momo_bot"_s);
        QCOMPARE(row->valueLabel()->palette().color(QPalette::WindowText), StatusColors::good());
        QVERIFY(row->findChild<QWidget *>(u"dot"_s)->isVisible());
        QCOMPARE(row->findChild<QWidget *>(u"dot"_s)->size(), QSize(8, 8));

        WindowState::of(m_model.get())->setFilter(u"momo"_s);
        QVERIFY(row->isVisible());
        WindowState::of(m_model.get())->setFilter(u"status running"_s);
        QVERIFY(row->isVisible());
        WindowState::of(m_model.get())->setFilter(u"stopped"_s);
        QVERIFY(!row->isVisible());
        row->setValue(u"Stopped"_s);
        QVERIFY(row->isVisible());

        row->setDot(std::nullopt);
        QVERIFY(!row->findChild<QWidget *>(u"dot"_s)->isVisible());
    }

    void untrustedTextIsShownAsPlainText()
    {
        auto *status = new StatusRow(WindowState::of(m_model.get()), u"Status"_s);
        status->setValue(u"Running as <b>x</b>"_s);
        auto *row = new SettingRow(WindowState::of(m_model.get()), u"<i>title</i>"_s, u"<b>x</b>"_s,
                                   new Field);
        add(status);
        add(row);
        showHost();
        for (QLabel *label : m_host->findChildren<QLabel *>())
            QCOMPARE(label->textFormat(), Qt::PlainText);
        QCOMPARE(status->valueLabel()->text(), u"Running as <b>x</b>"_s);

        // A title with a buddy would turn "&" into a keyboard mnemonic: it is drawn as written.
        auto *ampersand
            = new SettingRow(WindowState::of(m_model.get()), u"Q&A &lt;b&gt;"_s, {}, new Field);
        add(ampersand);
        QCOMPARE(ampersand->titleLabel()->buddy(), ampersand->control());
        QString drawn;
        const QString text = ampersand->titleLabel()->text();
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text.at(i) == u'&' && i + 1 < text.size())
                ++i; // "&&" draws one "&"; "&x" draws an underlined x
            drawn += text.at(i);
        }
        QCOMPARE(drawn, u"Q&A &lt;b&gt;"_s);
        QCOMPARE(ampersand->title(), u"Q&A &lt;b&gt;"_s);
        QCOMPARE(ampersand->control()->accessibleName(), u"Q&A &lt;b&gt;"_s);
    }

    // ---- naming and accessibility ------------------------------------------------------------

    void controlsAreNamedAndAnnouncedByTheRowTitle()
    {
        auto *named = new Field;
        named->setObjectName(u"primaryUrl"_s);
        auto *urlRow
            = new SettingRow(WindowState::of(m_model.get()), u"Server URL (required)"_s, {}, named);
        auto *plainRow
            = new SettingRow(WindowState::of(m_model.get()), u"API key"_s, {}, new Field);
        auto *secret = new SecretField(SecretField::keyHelp());
        secret->setObjectName(u"primaryKey"_s);
        auto *secretRow = new SettingRow(WindowState::of(m_model.get()), u"API key"_s, {}, secret);
        add(urlRow);
        add(plainRow);
        add(secretRow);
        showHost();

        QCOMPARE(urlRow->control()->objectName(), u"primaryUrl"_s);
        QCOMPARE(plainRow->control()->objectName(), u"apiKey"_s);
        QCOMPARE(urlRow->control()->accessibleName(), u"Server URL (required)"_s);
        QCOMPARE(urlRow->titleLabel()->buddy(), urlRow->control());
        QCOMPARE(secret->field()->objectName(), u"primaryKeyField"_s);
        QCOMPARE(secret->field()->accessibleName(), u"API key"_s);
        QCOMPARE(secret->eyeButton()->objectName(), u"primaryKeyEye"_s);
        QCOMPARE(secret->eyeButton()->accessibleName(), u"Show or hide the key"_s);
        QCOMPARE(secret->eyeButton()->toolTip(), u"Show or hide the key"_s);
        QCOMPARE(objectNameForTitle(u"Video/audio clip trigger words"_s),
                 u"videoAudioClipTriggerWords"_s);
    }

    void everyControlIsReachableWithTab()
    {
        auto *url = new Field;
        auto *key = new SecretField(SecretField::keyHelp());
        auto *toggle = new ToggleRow(WindowState::of(m_model.get()), u"Show in Dock"_s);
        add(new SettingRow(WindowState::of(m_model.get()), u"Server URL"_s, {}, url));
        add(new SettingRow(WindowState::of(m_model.get()), u"API key"_s, {}, key));
        add(toggle);
        showHost();
        m_host->activateWindow();
        url->setFocus();
        QTRY_VERIFY(url->hasFocus());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), key->field());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), key->eyeButton());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), toggle->toggle());
        // Space flips a focused switch, as it does a check box.
        QTest::keyClick(toggle->toggle(), Qt::Key_Space);
        QVERIFY(toggle->toggle()->isChecked());
    }

    // ---- toggle row --------------------------------------------------------------------------

    void togglingWritesTheValueThenRunsOnToggle()
    {
        auto *row = new ToggleRow(WindowState::of(m_model.get()), u"Show in Dock"_s,
                                  u"Menu bar app icon in the Dock."_s);
        QList<bool> seenByOnToggle;
        row->bind(Bind::flag(m_model.get(), &SettingsModel::showInDock,
                             &SettingsModel::setShowInDock, &SettingsModel::showInDockChanged),
                  [this, &seenByOnToggle] {
                      seenByOnToggle.append(m_model->showInDock());
                      m_model->saveAndNotify();
                  });
        add(row);
        showHost();
        QVERIFY(!row->toggle()->isChecked());

        QTest::mouseClick(row->toggle(), Qt::LeftButton);
        QVERIFY(m_model->showInDock());
        QCOMPARE(seenByOnToggle, QList<bool>{true});
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"show_in_dock"_s).toBool(), true);
        QCOMPARE(m_transport.posts().size(), 1);

        // A change in the model moves the switch but is not a user toggle.
        m_model->setShowInDock(false);
        QVERIFY(!row->toggle()->isChecked());
        QCOMPARE(seenByOnToggle.size(), 1);
    }

    // ---- text field --------------------------------------------------------------------------

    void typingWritesTheModelOnEveryKeystrokeAndSavesOnReturn()
    {
        auto *field = new Field;
        field->bind(m_model.get(),
                    Bind::text(m_model.get(), &SettingsModel::model, &SettingsModel::setModel,
                               &SettingsModel::modelChanged),
                    save());
        add(field);
        showHost();
        field->setFocus();
        QTest::keyClicks(field, u"gpt"_s);
        QCOMPARE(m_model->model(), u"gpt"_s);
        QVERIFY(m_transport.posts().isEmpty()); // nothing saved while typing
        QVERIFY(!UiSupport::readConfig(configPath()).contains(u"model"_s));

        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"model"_s).toString(), u"gpt"_s);
        QCOMPARE(m_transport.posts().size(), 1);
        QVERIFY(field->placeholderText().isEmpty());
    }

    void commaListIsNotFoughtWhileTypingEvenAcrossAReload()
    {
        auto *ids = new Field;
        auto *other = new Field;
        ids->bind(m_model.get(),
                  Bind::text(m_model.get(), &SettingsModel::allowedIDs,
                             &SettingsModel::setAllowedIDs, &SettingsModel::allowedIDsChanged),
                  save());
        add(ids);
        add(other);
        showHost();
        QCOMPARE(ids->text(), u"1, 2"_s);

        m_host->activateWindow();
        ids->setFocus();
        QTRY_VERIFY(ids->hasFocus());
        ids->end(false);
        QTest::keyClicks(ids, u", 3,"_s);
        QCOMPARE(ids->text(), u"1, 2, 3,"_s);

        // The bot service rewrites the file and announces it while the user is still typing.
        UiSupport::writeConfig(configPath(),
                               R"({"max_tokens": 350, "allowed_ids": [1, 2], "model": "m"})");
        m_transport.post(Notifications::configChanged());
        QTRY_COMPARE(m_model->model(), u"m"_s); // the reload happened
        QCOMPARE(ids->text(), u"1, 2, 3,"_s);   // and did not touch the field

        QTest::keyClicks(ids, u" -40"_s);
        QCOMPARE(ids->text(), u"1, 2, 3, -40"_s);
        // Focus moving on commits: the file holds the normalised list.
        other->setFocus();
        QTRY_VERIFY(other->hasFocus());
        const QJsonArray saved
            = UiSupport::readConfig(configPath()).value(u"allowed_ids"_s).toArray();
        QCOMPARE(saved, (QJsonArray{1, 2, 3, -40}));
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"model"_s).toString(), u"m"_s);
    }

    void numberFieldKeepsWhatWasTypedUntilCommittedThenShowsTheNormalisedValue()
    {
        auto *field = new Field;
        field->bind(m_model.get(),
                    Bind::text(m_model.get(), &SettingsModel::maxTokens,
                               &SettingsModel::setMaxTokens, &SettingsModel::maxTokensChanged),
                    save());
        add(field);
        showHost();
        QCOMPARE(field->text(), u"350"_s);
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, u"12x"_s);
        QCOMPARE(field->text(), u"12x"_s);
        QCOMPARE(m_model->maxTokens(), u"12x"_s);

        QTest::keyClick(field, Qt::Key_Return);
        // Not a whole number: the value last read from the file stays.
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"max_tokens"_s).toInt(), 350);
        QCOMPARE(field->text(), u"350"_s);

        field->selectAll();
        QTest::keyClicks(field, u" 900 "_s);
        QTest::keyClick(field, Qt::Key_Enter);
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"max_tokens"_s).toInt(), 900);
        QTRY_COMPARE(field->text(), u"900"_s);
    }

    void modelChangeReplacesTheTextOnlyWhenNothingIsPending()
    {
        auto *field = new Field;
        field->bind(m_model.get(),
                    Bind::text(m_model.get(), &SettingsModel::modelName,
                               &SettingsModel::setModelName, &SettingsModel::modelNameChanged),
                    save());
        add(field);
        showHost();
        m_model->setModelName(u"Fast"_s);
        QCOMPARE(field->text(), u"Fast"_s);

        field->setFocus();
        field->end(false);
        QTest::keyClicks(field, u"er"_s);
        m_model->setModelName(u"Other"_s);
        QCOMPARE(field->text(), u"Faster"_s);
        QVERIFY(field->hasPendingEdit());
    }

    void pendingEditsAreCommittedWhenTheWindowCloses()
    {
        auto *field = new Field;
        field->bind(m_model.get(),
                    Bind::text(m_model.get(), &SettingsModel::triggerWords,
                               &SettingsModel::setTriggerWords,
                               &SettingsModel::triggerWordsChanged),
                    save());
        add(field);
        showHost();
        field->setFocus();
        QTest::keyClicks(field, u"momo, jarvis"_s);
        QVERIFY(m_transport.posts().isEmpty());
        Field::commitPending(m_host.get());
        QCOMPARE(UiSupport::readConfig(configPath()).value(u"trigger_words"_s).toArray(),
                 (QJsonArray{u"momo"_s, u"jarvis"_s}));
        QVERIFY(!field->hasPendingEdit());
        // Nothing pending any more: a second call saves nothing.
        const qsizetype posts = m_transport.posts().size();
        Field::commitPending(m_host.get());
        QCOMPARE(m_transport.posts().size(), posts);
    }

    // ---- secret field ------------------------------------------------------------------------

    void eyeButtonShowsTheKeyInClearAndMasksItAgain()
    {
        auto *secret = new SecretField(SecretField::keyHelp());
        secret->setObjectName(u"apiKey"_s);
        secret->bind(m_model.get(),
                     Bind::text(m_model.get(), &SettingsModel::apiKey, &SettingsModel::setApiKey,
                                &SettingsModel::apiKeyChanged),
                     save(), Bind::shownApiKey(WindowState::of(m_model.get())));
        add(new SettingRow(WindowState::of(m_model.get()), u"API key"_s, {}, secret));
        showHost();
        auto *field = UiSupport::find<Field>(m_host.get(), u"apiKeyField"_s);
        auto *eye = UiSupport::find<QToolButton>(m_host.get(), u"apiKeyEye"_s);
        QVERIFY(field && eye);
        // Every secret starts masked.
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(eye->property("symbol").toString(), u"eye"_s);
        QVERIFY(!eye->icon().isNull());

        QTest::mouseClick(eye, Qt::LeftButton);
        QVERIFY(WindowState::of(m_model.get())->showApiKey());
        QCOMPARE(field->echoMode(), QLineEdit::Normal);
        QCOMPARE(eye->property("symbol").toString(), u"eye.slash"_s);

        QTest::mouseClick(eye, Qt::LeftButton);
        QVERIFY(!WindowState::of(m_model.get())->showApiKey());
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(eye->property("symbol").toString(), u"eye"_s);
    }

    void tokenEyeTogglesOnlyThatBotsMembership()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"123:abc"_s);
        m_model->addBot();
        auto *first = new SecretField(SecretField::tokenHelp());
        first->bind(m_model.get(), Bind::botToken(m_model.get(), 0), save(),
                    Bind::shownToken(WindowState::of(m_model.get()), 0));
        auto *second = new SecretField(SecretField::tokenHelp());
        second->bind(m_model.get(), Bind::botToken(m_model.get(), 1), save(),
                     Bind::shownToken(WindowState::of(m_model.get()), 1));
        add(first);
        add(second);
        showHost();
        QCOMPARE(first->field()->text(), u"123:abc"_s);
        QCOMPARE(first->eyeButton()->toolTip(), u"Show or hide the token"_s);

        QTest::mouseClick(second->eyeButton(), Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showTokenKeys(), QSet<int>{1});
        QCOMPARE(first->field()->echoMode(), QLineEdit::Password);
        QCOMPARE(second->field()->echoMode(), QLineEdit::Normal);
    }

    void profileKeyIdentityFollowsBotAndRow()
    {
        m_model->addBot();
        m_model->setBotToken(0, u"1:a"_s);
        m_model->addBotFallback(0);
        m_model->addBotFallback(0);
        auto *row1 = new SecretField(SecretField::keyHelp());
        row1->bind(m_model.get(), Bind::botFallbackText(m_model.get(), 0, 1, &Fallback::api_key),
                   save(), Bind::shownProfileKey(WindowState::of(m_model.get()), u"0-1"_s));
        add(row1);
        showHost();
        QTest::mouseClick(row1->eyeButton(), Qt::LeftButton);
        QCOMPARE(WindowState::of(m_model.get())->showProfileKeys(), QSet<QString>{u"0-1"_s});
        row1->field()->setFocus();
        QTest::keyClicks(row1->field(), u"sk-1"_s);
        QTest::keyClick(row1->field(), Qt::Key_Return);
        QCOMPARE(m_model->botProfiles().at(0).fallbacks.at(1).api_key, u"sk-1"_s);
        QCOMPARE(m_model->botProfiles().at(0).fallbacks.at(0).api_key, QString());
    }

    // ---- icons -------------------------------------------------------------------------------

    void everySymbolTheWindowUsesHasAnIconOnABareMachine()
    {
        const QStringList symbols{u"cpu"_s,
                                  u"paperplane"_s,
                                  u"switch.2"_s,
                                  u"puzzlepiece"_s,
                                  u"shippingbox"_s,
                                  u"info.circle"_s,
                                  u"arrow.down.circle"_s,
                                  u"sidebar.left"_s,
                                  u"terminal"_s,
                                  u"eye"_s,
                                  u"eye.slash"_s,
                                  u"chevron.up"_s,
                                  u"chevron.down"_s,
                                  u"minus.circle"_s,
                                  u"trash"_s,
                                  u"doc.text"_s,
                                  u"folder"_s,
                                  u"magnifyingglass"_s,
                                  u"xmark.circle.fill"_s,
                                  u"cat.fill"_s,
                                  u"link"_s,
                                  u"book"_s,
                                  u"plus"_s};
        for (const QString &symbol : symbols) {
            QVERIFY2(Icons::hasBundled(symbol), qPrintable(symbol));
            const QIcon icon = Icons::icon(symbol);
            QVERIFY2(!icon.isNull(), qPrintable(symbol));
            QVERIFY2(!icon.pixmap(16, 16).isNull(), qPrintable(symbol));
        }
        QVERIFY(QFile::exists(u":/AppLogo"_s));
    }
};

QTEST_MAIN(TestControls)
#include "tst_controls.moc"
