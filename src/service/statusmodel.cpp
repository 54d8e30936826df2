// PLACEHOLDER: replaced by the bot-service work.
#include "config/settingsmodel.h"
void SettingsModel::refreshStatus() {}
void SettingsModel::sendBotControl(const QString &) {}
void SettingsModel::pollControl(const QString &, qint64, int) {}
