#pragma once

#include <QString>
#include <QWidget>

class SettingsModel;
class SettingsPage;

// The Telegram page: the values every bot inherits unless its own page overrides them: who may
// talk to the bots, the daily briefing, the size limits, the provider time-out, the persona file
// and the trigger words. Every edit is saved at once (text fields when committed); number texts
// are normalised by the save and shown normalised afterwards.
//
// Controls are named "allowedIds", "briefingTime" (with "briefingTimeHour"/"Minute"),
// "briefingPrompt", "maxTokens", "chatBufferMax", "recallLimit", "factCap",
// "researchMaxTokens", "apiTimeout", "soulFile" (with "soulFileMenu"/"Custom"),
// "triggerWords" and "clipTriggerWords".
class TelegramDefaultsSection final : public QWidget {
    Q_OBJECT
public:
    // The soul-file menu's custom-entry key; the bot pages use keys of their own.
    static QString soulCustomKey() { return QStringLiteral("defaults:soul"); }

    explicit TelegramDefaultsSection(SettingsModel *model, QWidget *parent = nullptr);

    SettingsPage *page() const { return m_page; }

private:
    SettingsPage *m_page;
};
