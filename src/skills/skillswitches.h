#pragma once

#include "skills/skilltypes.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class ConfigStore;

// The installed skills and which of them are on: the skill files of the skills folder, the
// global list of skills switched off ("enabled_skills" of the raw document, which despite its
// name holds the names switched OFF), each bot's own list of skills switched off, the feature
// switches and the registry's extra sources. Every change is written through the store, which
// never writes over a file it cannot use; saved() says a write worked, so that whoever owns the
// notification transport can tell the bot service. Main thread only.
class SkillSwitches final : public QObject {
    Q_OBJECT

public:
    // store: the configuration, which must outlive this object.
    explicit SkillSwitches(ConfigStore *store, QObject *parent = nullptr);

    // Listing: "skills_dir" with "~" expanded, else the "skills" folder beside the configuration.
    QString skillsFolder() const;
    // Install and delete: always the "skills" folder beside the configuration file.
    QString installFolder() const;

    const QList<SkillInfo> &skills() const { return m_skills; }
    void setSkills(const QList<SkillInfo> &value);
    // Reads the skills folder again, each skill on unless the global list switches it off.
    void listSkills();
    // listSkills, then the feature switches, the bot mode and the sources as the store last read
    // them.
    void loadSkillsAndFeatures();

    // The names switched off for every bot.
    QStringList globallyDisabledSkills() const;
    void setSkillEnabled(const QString &name, bool on);
    // Whether any skill of the group is on.
    bool groupEnabled(const QString &group) const;
    void setGroupEnabled(const QString &group, bool on);
    // key: "backfill_missed", "briefing_crypto" or "auto_memory"; any other key does nothing.
    void setFeature(const QString &key, bool value);

    // A bot's own list can only switch more skills off; the global list always applies.
    void setBotSkill(int bot, const QString &name, bool on);
    void resetBotSkills(int bot);
    bool effectiveEnabled(int bot, const QString &name) const;
    int botOverrideCount(int bot) const;

    // Whether a skill of that name is installed; a catalogue name ("a/b") or a search result
    // ("github:owner/repo") counts under the file name its install gives.
    bool isInstalled(const QString &name) const;
    // Removes <name>.md from the install folder and the name from the global list. Returns
    // whether the file was removed; only a plain file name is ever taken.
    bool deleteSkill(const QString &name);
    // Adds a source repository, trimmed, unless it is blank or already listed. Returns whether
    // it was added.
    bool addSource(const QString &source);

Q_SIGNALS:
    void skillsChanged();
    // A change was written to the file.
    void saved();
    // addSource took the source; announced before the file is written, so that the field it
    // came from can be emptied first.
    void sourceAdded();

private:
    void save();
    bool isBot(int bot) const;

    ConfigStore *m_store;
    QList<SkillInfo> m_skills;
};
