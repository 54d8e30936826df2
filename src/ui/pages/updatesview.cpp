#include "ui/pages/updatesview.h"

#include "ui/controls/settingrow.h"
#include "ui/pages/aboutview.h"
#include "ui/pages/pagekit.h"
#include "ui/pages/pages.h"
#include "ui/state/windowstate.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace {

QLabel *note(const QString &text, const QString &name)
{
    QLabel *label = plainLabel(text);
    label->setObjectName(name);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setFont(InfoSection::smallestCaptionFont(label->font()));
    return label;
}

} // namespace

UpdatesView::UpdatesView(SettingsModel *model, QWidget *parent)
    : QWidget(parent)
    , m_page(new SettingsPage(WindowState::of(model), u"Updates"_s))
{
    setObjectName(u"updatesPage"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_page);

    auto *updates = new InfoSection(u"Updates"_s);
    updates->addRow(u"Installed version"_s, installedVersion(), u"installedVersion"_s);
    updates->addWidget(
        note(u"Update checking will be available once the project has a release channel."_s,
             u"releaseChannelNote"_s));
    updates->addWidget(note(u"Checking is disabled for now."_s, u"checkingDisabledNote"_s));

    auto *buttonLine = new QWidget;
    auto *buttonLayout = new QHBoxLayout(buttonLine);
    buttonLayout->setContentsMargins(0, 4, 0, 0);
    buttonLayout->addStretch(1);
    // Nothing to check against yet: the button is there, disabled, and does nothing.
    auto *check = new QPushButton(u"Check for Updates…"_s);
    check->setObjectName(u"checkForUpdates"_s);
    check->setEnabled(false);
    buttonLayout->addWidget(check);
    updates->addWidget(buttonLine);
    m_page->addWidget(updates);
}

QWidget *createUpdatesView(SettingsModel *model, QWidget *parent)
{
    return new UpdatesView(model, parent);
}
