#include "ui/pages/appsection.h"

#include "ui/controls/binding.h"
#include "ui/controls/field.h"
#include "ui/controls/icons.h"
#include "ui/controls/settingrow.h"
#include "ui/exportimportdialogs.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "model/settingsmodel.h"
#include "ui/state/windowstate.h"

#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

// A row that is one button with its help text below. The row keeps its title for the search
// but shows the button in its place.
SettingRow *buttonRow(SettingsModel *model, QPushButton *button, const QString &help = {})
{
    auto *row = new SettingRow(WindowState::of(model), button->text(), help);
    row->titleLabel()->hide();
    row->setTitleTrailing(button);
    return row;
}

QPushButton *button(const QString &text, const QString &symbol, const QString &name)
{
    auto *result = new QPushButton(text);
    result->setObjectName(name);
    if (!symbol.isEmpty())
        Icons::setIcon(result, symbol);
    return result;
}

} // namespace

QString AppSection::logFilePath()
{
    return QDir::homePath() + u"/.zandrel/inline-bot.log"_s;
}

QString AppSection::dataFolderPath()
{
    return QDir::homePath() + u"/.zandrel"_s;
}

AppSection::AppSection(SettingsModel *model, Services services, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_page(new SettingsPage(WindowState::of(model), u"App"_s))
    , m_dialogs(std::move(services.dialogs))
    , m_openUrl(std::move(services.openUrl))
{
    if (!m_dialogs)
        m_dialogs = std::make_shared<SystemFileDialogs>();
    if (!m_openUrl)
        m_openUrl = [](const QUrl &url) { return QDesktopServices::openUrl(url); };

    setObjectName(u"appPage"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);
    auto save = [model] { model->saveAndNotify(); };

    // ---- Appearance: stored for the bot service, which decides its own Dock and login item.
    SettingsGroup *appearance = m_page->addGroup(u"Appearance"_s);
    auto *dock = new ToggleRow(WindowState::of(model), u"Show in Dock"_s,
                               u"Menu bar app icon in the Dock."_s);
    dock->toggle()->setObjectName(u"showInDock"_s);
    dock->bind(Bind::config<ConfigKey::ShowInDock>(&model->store()), save);
    appearance->addWidget(dock);
    auto *login = new ToggleRow(WindowState::of(model), u"Launch at Login"_s,
                                u"Start this app when you log in."_s);
    login->toggle()->setObjectName(u"launchAtLogin"_s);
    login->bind(Bind::config<ConfigKey::LaunchAtLogin>(&model->store()), save);
    appearance->addWidget(login);

    // ---- Troubleshooting
    SettingsGroup *troubleshooting = m_page->addGroup(u"Troubleshooting"_s);
    auto *dataDir = new Field;
    dataDir->setObjectName(u"dataDir"_s);
    dataDir->bind(model, Bind::config<ConfigKey::DataDir>(&model->store()), save);
    troubleshooting->addWidget(new SettingRow(
        WindowState::of(model), u"Data dir"_s,
        u"Where config, memory, reminders and logs live (e.g. ~/.zandrel)."_s, dataDir));

    QPushButton *openLog = button(u"Open log"_s, u"doc.text"_s, u"openLog"_s);
    connect(openLog, &QPushButton::clicked, this,
            [this] { m_openUrl(QUrl::fromLocalFile(logFilePath())); });
    troubleshooting->addWidget(buttonRow(model, openLog));
    QPushButton *openData = button(u"Open data folder"_s, u"folder"_s, u"openDataFolder"_s);
    connect(openData, &QPushButton::clicked, this,
            [this] { m_openUrl(QUrl::fromLocalFile(dataFolderPath())); });
    troubleshooting->addWidget(buttonRow(model, openData));

    // ---- Backup & restore
    SettingsGroup *backup = m_page->addGroup(u"Backup & restore"_s);
    QPushButton *exportButton
        = button(u"Export settings"_s, u"square.and.arrow.up"_s, u"exportSettings"_s);
    connect(exportButton, &QPushButton::clicked, this,
            [this] { ExportImportDialogs::exportConfig(m_model, *m_dialogs, window()); });
    backup->addWidget(buttonRow(
        model, exportButton, u"Save a copy of the full config (including API keys) to a file."_s));
    QPushButton *importButton
        = button(u"Import settings"_s, u"square.and.arrow.down"_s, u"importSettings"_s);
    connect(importButton, &QPushButton::clicked, this,
            [this] { ExportImportDialogs::importConfig(m_model, *m_dialogs, window()); });
    backup->addWidget(
        buttonRow(model, importButton, u"Load a config file and apply it immediately."_s));
}

QWidget *createAppSection(SettingsModel *model, QWidget *parent)
{
    return new AppSection(model, {}, parent);
}
