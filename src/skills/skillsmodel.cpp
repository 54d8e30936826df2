// PLACEHOLDER: replaced by the skills work.
#include "config/settingsmodel.h"
QString SettingsModel::skillsFolder() const { return {}; }
QString SettingsModel::installFolder() const { return {}; }
void SettingsModel::loadSkillsAndFeatures() {}
QStringList SettingsModel::globallyDisabledSkills() const { return {}; }
void SettingsModel::setSkillEnabled(const QString &, bool) {}
bool SettingsModel::groupEnabled(const QString &) const { return false; }
void SettingsModel::setGroupEnabled(const QString &, bool) {}
void SettingsModel::setFeature(const QString &, bool) {}
void SettingsModel::setBotSkill(int, const QString &, bool) {}
void SettingsModel::resetBotSkills(int) {}
bool SettingsModel::effectiveEnabled(int, const QString &) const { return false; }
int SettingsModel::botOverrideCount(int) const { return 0; }
void SettingsModel::searchGithub(const QString &) {}
void SettingsModel::search(int) {}
void SettingsModel::loadMore() {}
void SettingsModel::loadFullCatalog() {}
void SettingsModel::addSource() {}
void SettingsModel::install(const RegistryEntry &) {}
void SettingsModel::installSearchResult(const RegistryEntry &) {}
bool SettingsModel::deleteSkill(const QString &) { return false; }
bool SettingsModel::isInstalled(const QString &) const { return false; }
void SettingsModel::listSkills() {}
void SettingsModel::fetch(const QUrl &, std::function<void(int, const QByteArray &)>) {}
void SettingsModel::writeSkillFile(const QString &, const QByteArray &, const QString &) {}
