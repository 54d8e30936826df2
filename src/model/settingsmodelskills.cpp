// The skills side of the settings model: the skills folder, the global and per-bot disabled
// lists, the feature switches, the registry's sources and deleting a skill file.
#include "model/settingsmodel.h"

#include "config/configdocument.h"
#include "skills/skillfile.h"

#include <QFile>
#include <QJsonArray>

using namespace Qt::Literals::StringLiterals;

namespace {

const QLatin1StringView disabledKey = "enabled_skills"_L1; // holds the names switched OFF

QSet<QString> toSet(const QStringList &list)
{
    return QSet<QString>(list.begin(), list.end());
}

} // namespace

QString SettingsModel::skillsFolder() const
{
    return SkillFile::skillsFolder(rawDocument(), path());
}

QString SettingsModel::installFolder() const
{
    return SkillFile::installFolder(path());
}

void SettingsModel::loadSkillsAndFeatures()
{
    listSkills();
    const ConfigValues stored = ConfigDocument::read(rawDocument());
    setBackfillMissed(stored.backfillMissed);
    setBriefingCrypto(stored.briefingCrypto);
    setAutoMemory(stored.autoMemory);
    setBotMode(stored.botMode);
    setSkillSources(stored.skillSources);
}

void SettingsModel::listSkills()
{
    setSkills(SkillFile::listFolder(skillsFolder(), toSet(globallyDisabledSkills())));
}

QStringList SettingsModel::globallyDisabledSkills() const
{
    return ConfigDocument::stringArray(rawDocument().value(disabledKey)).value_or(QStringList());
}

void SettingsModel::setSkillEnabled(const QString &name, bool on)
{
    QStringList disabled = globallyDisabledSkills();
    if (on)
        disabled.removeAll(name);
    else if (!disabled.contains(name))
        disabled.append(name);
    // An empty list stays in the file as an empty array: the service then knows nothing is off.
    setRawValue(disabledKey, QJsonArray::fromStringList(disabled));
    // This switch writes the file itself; the bot service reloads the skills on the notification
    // without a restart.
    if (!writeDocument())
        postConfigChanged();

    QList<SkillInfo> skills = m_skills;
    for (SkillInfo &skill : skills) {
        if (skill.name == name)
            skill.enabled = on;
    }
    setSkills(skills);
}

bool SettingsModel::groupEnabled(const QString &group) const
{
    return std::any_of(m_skills.cbegin(), m_skills.cend(), [&group](const SkillInfo &skill) {
        return skill.group == group && skill.enabled;
    });
}

void SettingsModel::setGroupEnabled(const QString &group, bool on)
{
    // Names first: every setSkillEnabled replaces the skills list.
    QStringList names;
    for (const SkillInfo &skill : std::as_const(m_skills)) {
        if (skill.group == group)
            names.append(skill.name);
    }
    for (const QString &name : std::as_const(names))
        setSkillEnabled(name, on);
}

void SettingsModel::setFeature(const QString &key, bool value)
{
    if (key == u"backfill_missed")
        setBackfillMissed(value);
    else if (key == u"briefing_crypto")
        setBriefingCrypto(value);
    else if (key == u"auto_memory")
        setAutoMemory(value);
    else
        return;
    saveAndNotify();
}

void SettingsModel::setBotSkill(int bot, const QString &name, bool on)
{
    if (bot < 0 || bot >= config().botProfiles.size())
        return;
    mutateProfile(bot, [&](BotProfile &profile) {
        if (on)
            profile.disabledSkills.removeAll(name);
        else if (!profile.disabledSkills.contains(name))
            profile.disabledSkills.append(name);
    });
    saveAndNotify();
}

void SettingsModel::resetBotSkills(int bot)
{
    if (bot < 0 || bot >= config().botProfiles.size())
        return;
    mutateProfile(bot, [](BotProfile &profile) { profile.disabledSkills.clear(); });
    saveAndNotify();
}

bool SettingsModel::effectiveEnabled(int bot, const QString &name) const
{
    // A bot's list can only switch more skills off; the global list always applies.
    if (globallyDisabledSkills().contains(name))
        return false;
    if (bot < 0 || bot >= config().botProfiles.size())
        return true;
    return !config().botProfiles.at(bot).disabledSkills.contains(name);
}

int SettingsModel::botOverrideCount(int bot) const
{
    if (bot < 0 || bot >= config().botProfiles.size())
        return 0;
    return int(config().botProfiles.at(bot).disabledSkills.size());
}

bool SettingsModel::isInstalled(const QString &name) const
{
    // A catalogue name such as "a/b" is installed as a-b.md and a search result
    // "github:owner/repo" as owner-repo.md, so either form counts.
    const QString bare = RegistryEntry::withoutSearchPrefix(name);
    const std::optional<QString> stem = SkillFile::installStem(bare);
    return std::any_of(m_skills.cbegin(), m_skills.cend(), [&](const SkillInfo &skill) {
        return skill.name == name || (stem && skill.name == *stem);
    });
}

// ---- sources and deleting --------------------------------------------------------------------

void SettingsModel::addSource()
{
    const QString source = m_newSource.trimmed();
    if (source.isEmpty() || config().skillSources.contains(source))
        return;
    setSkillSources(config().skillSources + QStringList{source});
    setNewSource(QString());
    saveAndNotify();
}

bool SettingsModel::deleteSkill(const QString &name)
{
    // Only a plain file name inside the folder is ever removed; QFile::remove unlinks a
    // symbolic link itself, never its target.
    if (!SkillFile::isPlainName(name))
        return false;
    if (!QFile::remove(installFolder() + u'/' + name + u".md"_s))
        return false;
    QStringList disabled = globallyDisabledSkills();
    disabled.removeAll(name);
    setRawValue(u"enabled_skills"_s, QJsonArray::fromStringList(disabled));
    saveAndNotify();
    listSkills();
    return true;
}
