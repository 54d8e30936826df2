#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class BotSkillsSheet;
class SettingsModel;
class SettingsPage;

// The page of one bot: its token and nickname, and its own values for everything it would
// otherwise take from the defaults. Under every such row the page says whether the bot
// inherits the default or overrides it, and which default that is; the texts follow the
// defaults as they change.
//
// The skills sheet of this bot is open while the model's skillsBot names this bot: the page
// opens it when skillsBot becomes this bot and clears skillsBot when the sheet closes.
//
// Object names of the controls: "botToken" (with "botTokenField", "botTokenEye", and the
// token check's "botTokenCheck" and "botTokenCheckOutcome"),
// "botNickname", "botAllowedIds", "botTriggerWords", "botClipWords", "botBriefingTime" (with
// "…Hour", "…Minute", "…UseGlobal"), "botBriefingPrompt", "botMode" and "botPersona" (with
// "…Menu", "…Custom"), "botBaseUrl", "botApiKey" (with "…Field", "…Eye"), "botModel",
// "addOwnFallbacks", per backup row j "botFallback<j>Url", "botFallback<j>Key",
// "botFallback<j>Model", "botFallback<j>Up", "botFallback<j>Down", "botFallback<j>Remove",
// "addBotFallback", "botSkillsSummary", "botSkillsOpen", "removeBot".
class BotPage final : public QWidget {
    Q_OBJECT
public:
    BotPage(SettingsModel *model, int bot, QWidget *parent = nullptr);
    ~BotPage() override;

    // "Settings on this page belong to <label> only. Empty fields follow the defaults — …"
    static QString introText(const QString &label);
    // Identities in the model's showProfileKeys: "<bot>-<row>" for the bot's own backup rows,
    // and "<bot>-key" for its primary key, which no row number can spell.
    static QString fallbackKeyIdentity(int bot, int row);
    static QString primaryKeyIdentity(int bot);
    // The custom-entry key of the mode menu: the same nine characters for every bot, so the
    // custom mode field shows on every bot page at once.
    static QString modeCustomKey();
    // The custom-entry key of the persona menu: "<bot>:soul", one per bot.
    static QString soulCustomKey(int bot);

    int bot() const { return m_bot; }
    SettingsPage *page() const { return m_page; }
    BotSkillsSheet *skillsSheet() const { return m_sheet; }

private:
    void buildAbout();
    void buildTelegram();
    void buildProvider();
    void buildSkills();
    void buildRemove();
    void syncSheet();

    QPointer<SettingsModel> m_model; // pages may be deleted after the model
    int m_bot;
    SettingsPage *m_page;
    QPointer<BotSkillsSheet> m_sheet;
};
