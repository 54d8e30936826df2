// PLACEHOLDER: replaced by the provider-test work.
#include "config/settingsmodel.h"
void SettingsModel::testPrimary() {}
void SettingsModel::testBackup(qint64) {}
