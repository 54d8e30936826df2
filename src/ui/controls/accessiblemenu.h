#pragma once

// Menus (non-editable QComboBox) as a screen reader should present them: named by their
// accessible name (the row's title, "Daily briefing time, hour"), with the current entry as
// their value. Qt's own interface on Linux makes the current entry the name as well and leaves
// the name to a label relation, so a menu whose label is a row title, or no label at all (the
// hour and minute of a time), is announced by its value alone.
namespace AccessibleMenu {
// Installs the interface for every non-editable combo box; once per process, on first call.
void install();
} // namespace AccessibleMenu
