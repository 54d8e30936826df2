#include "skills/skillswitches.h"

#include "config/configdocument.h"
#include "config/configstore.h"
#include "skills/skillfile.h"

#include <QFile>
#include <QJsonArray>
#include <QSet>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

const QLatin1StringView disabledKey = "enabled_skills"_L1; // holds the names switched OFF

QSet<QString> toSet(const QStringList &list)
{
    return QSet<QString>(list.begin(), list.end());
}

} // namespace

SkillSwitches::SkillSwitches(ConfigStore *store, QObject *parent)
    : QObject(parent)
    , m_store(store)
{}

QString SkillSwitches::skillsFolder() const
{
    return SkillFile::skillsFolder(m_store->rawDocument(), m_store->path());
}

QString SkillSwitches::installFolder() const
{
    return SkillFile::installFolder(m_store->path());
}

void SkillSwitches::setSkills(const QList<SkillInfo> &value)
{
    if (m_skills == value)
        return;
    m_skills = value;
    Q_EMIT skillsChanged();
}

void SkillSwitches::listSkills()
{
    setSkills(SkillFile::listFolder(skillsFolder(), toSet(globallyDisabledSkills())));
}

void SkillSwitches::loadSkillsAndFeatures()
{
    listSkills();
    const ConfigValues stored = ConfigDocument::read(m_store->rawDocument());
    m_store->setBackfillMissed(stored.backfillMissed);
    m_store->setBriefingCrypto(stored.briefingCrypto);
    m_store->setAutoMemory(stored.autoMemory);
    m_store->setBotMode(stored.botMode);
    m_store->setSkillSources(stored.skillSources);
}

void SkillSwitches::save()
{
    if (!m_store->writeDocument())
        Q_EMIT saved();
}

bool SkillSwitches::isBot(int bot) const
{
    return bot >= 0 && bot < m_store->values().botProfiles.size();
}

// ---- switched off for every bot ----------------------------------------------------------------

QStringList SkillSwitches::globallyDisabledSkills() const
{
    return ConfigDocument::stringArray(m_store->rawDocument().value(disabledKey))
        .value_or(QStringList());
}

void SkillSwitches::setSkillEnabled(const QString &name, bool on)
{
    QStringList disabled = globallyDisabledSkills();
    if (on)
        disabled.removeAll(name);
    else if (!disabled.contains(name))
        disabled.append(name);
    // An empty list stays in the file as an empty array: the service then knows nothing is off.
    m_store->setRawValue(disabledKey, QJsonArray::fromStringList(disabled));
    // This switch writes the file itself; the bot service reloads the skills on the notification
    // without a restart.
    save();

    QList<SkillInfo> skills = m_skills;
    for (SkillInfo &skill : skills) {
        if (skill.name == name)
            skill.enabled = on;
    }
    setSkills(skills);
}

bool SkillSwitches::groupEnabled(const QString &group) const
{
    return std::any_of(m_skills.cbegin(), m_skills.cend(), [&group](const SkillInfo &skill) {
        return skill.group == group && skill.enabled;
    });
}

void SkillSwitches::setGroupEnabled(const QString &group, bool on)
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

void SkillSwitches::setFeature(const QString &key, bool value)
{
    if (key == u"backfill_missed")
        m_store->setBackfillMissed(value);
    else if (key == u"briefing_crypto")
        m_store->setBriefingCrypto(value);
    else if (key == u"auto_memory")
        m_store->setAutoMemory(value);
    else
        return;
    save();
}

// ---- switched off for one bot ------------------------------------------------------------------

void SkillSwitches::setBotSkill(int bot, const QString &name, bool on)
{
    if (!isBot(bot))
        return;
    QList<BotProfile> profiles = m_store->values().botProfiles;
    QStringList &disabled = profiles[bot].disabledSkills;
    if (on)
        disabled.removeAll(name);
    else if (!disabled.contains(name))
        disabled.append(name);
    m_store->setBotProfiles(profiles);
    save();
}

void SkillSwitches::resetBotSkills(int bot)
{
    if (!isBot(bot))
        return;
    QList<BotProfile> profiles = m_store->values().botProfiles;
    profiles[bot].disabledSkills.clear();
    m_store->setBotProfiles(profiles);
    save();
}

bool SkillSwitches::effectiveEnabled(int bot, const QString &name) const
{
    if (globallyDisabledSkills().contains(name))
        return false;
    if (!isBot(bot))
        return true;
    return !m_store->values().botProfiles.at(bot).disabledSkills.contains(name);
}

int SkillSwitches::botOverrideCount(int bot) const
{
    if (!isBot(bot))
        return 0;
    return int(m_store->values().botProfiles.at(bot).disabledSkills.size());
}

// ---- installed files and sources ---------------------------------------------------------------

bool SkillSwitches::isInstalled(const QString &name) const
{
    // A catalogue name such as "a/b" is installed as a-b.md and a search result
    // "github:owner/repo" as owner-repo.md, so either form counts.
    const QString bare = RegistryEntry::withoutSearchPrefix(name);
    const std::optional<QString> stem = SkillFile::installStem(bare);
    return std::any_of(m_skills.cbegin(), m_skills.cend(), [&](const SkillInfo &skill) {
        return skill.name == name || (stem && skill.name == *stem);
    });
}

bool SkillSwitches::deleteSkill(const QString &name)
{
    // Only a plain file name inside the folder is ever removed; QFile::remove unlinks a
    // symbolic link itself, never its target.
    if (!SkillFile::isPlainName(name))
        return false;
    if (!QFile::remove(installFolder() + u'/' + name + u".md"_s))
        return false;
    QStringList disabled = globallyDisabledSkills();
    disabled.removeAll(name);
    m_store->setRawValue(disabledKey, QJsonArray::fromStringList(disabled));
    save();
    listSkills();
    return true;
}

bool SkillSwitches::addSource(const QString &source)
{
    const QString trimmed = source.trimmed();
    if (trimmed.isEmpty() || m_store->values().skillSources.contains(trimmed))
        return false;
    m_store->setSkillSources(m_store->values().skillSources + QStringList{trimmed});
    Q_EMIT sourceAdded();
    save();
    return true;
}
