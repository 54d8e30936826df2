#pragma once

class SettingsGroup;
class SettingsModel;

namespace Providers {
class ProviderBatch;
}

// The "Test all" batch of the window. It lives as long as the model, not as long as the Model
// page, so that its table is still there after a visit to another page.
Providers::ProviderBatch *testAllBatch(SettingsModel *model);

// The "Test all" row of the Model page: the button, a one-line summary, and a compact table with
// one line per provider (name, address, model, outcome, ms) filled in as the tests end.
void addTestAll(SettingsModel *model, SettingsGroup *group);
