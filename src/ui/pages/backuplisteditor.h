#pragma once

#include "ui/controls/binding.h"
#include "ui/controls/iconbutton.h"
#include "config/configtypes.h"
#include "providers/providertargets.h"
#include "providers/testoutcome.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

class QLabel;
class QWidget;
class SettingsModel;

// One editor for an ordered list of backup models, wherever the list lives (the defaults, one
// bot's own list). Each entry shows a header ("Backup model 2" with up, down and remove
// buttons), then its server URL, API key, model id with a "Fetch models" picker, optionally a
// nickname and a connection test; an add button ends the list. The block is rebuilt when the
// number of entries changes; in between, the fields follow the list through their bindings.
//
// Children are named after `prefix` and the entry's index: "<prefix>0Header", "<prefix>0Up",
// "<prefix>0Down", "<prefix>0Remove", "<prefix>0Url", "<prefix>0Key", "<prefix>0Model",
// "<prefix>0Name", "<prefix>0Test", "<prefix>0TestOutcome".
struct BackupList {
    // ---- Where the list lives
    std::function<int()> count;
    // One text of entry `row`; a row that no longer exists reads as empty and ignores writes.
    std::function<Bind::Text(int row, QString Fallback::*field)> text;
    std::function<Bind::Shown(int row)> shownKey;
    // The provider entry `row` stands for, for the picker's fetch.
    std::function<Providers::ProviderTarget(int row)> target;
    std::function<void(int row, bool up)> move;
    std::function<void(int row)> remove;
    std::function<void()> add;
    // Whether another entry may be added now; empty when it always may. Asked again after
    // every one of `changes`, so it may follow the text of the last entry.
    std::function<bool()> canAdd;
    // The signals after which the list may have another length or other values.
    QList<Bind::Change> changes;

    // An optional connection test under each entry, shown in the Sections look.
    struct Tests {
        std::function<void(int row)> start;
        std::function<bool(int row)> running;
        std::function<std::optional<TestOutcome>(int row)> outcome;
        QList<Bind::Change> changes;
    };
    std::optional<Tests> tests;

    // ---- How it shows
    enum class Look {
        // Entries as sections: hairlines between them, the title in a line of its own with its
        // buttons right after it. In a search the title, the test and its outcome stay while
        // any row of the entry matches.
        Sections,
        // Entries as rows among rows: a hairline above each, the title a row of its own with
        // its buttons at the row's end, searched like any row.
        Rows,
    };
    Look look = Look::Sections;
    QString prefix;
    IconButtonSize iconSize = IconButtonSize::Regular;
    // Whether up on the first entry and down on the last stay enabled (the list's owner
    // decides what they do there, e.g. promote the first entry).
    bool movesPastEnds = false;
    QString removeSymbol;
    QString removeHelp;

    // A labelled row of each entry. An empty title leaves the row out. The row is named
    // "<prefix><index><rowName>", or after its title when rowName is empty.
    struct Part {
        QString title;
        QString explainer;
        QString rowName;
    };
    Part url;
    Part key;
    Part model;
    Part nickname;

    QString addText;
    QString addName;
    QString addToolTip;
    // Whether the add button shows while the list is empty.
    bool addWhenEmpty = true;
};

// The editor as a block for a SettingsGroup.
QWidget *backupListEditor(SettingsModel *model, BackupList list);

// A connection test's outcome: a line of its own under the test button, aligned with the
// controls, hidden until it has something to say. Transport errors can be long and wrap there
// instead of squeezing the button or widening the page.
QLabel *testOutcomeLabel(const QString &name);
// "Testing connection…" while a test runs, then the outcome's message in green or red; the
// caller decides whether the label shows.
void showTestOutcome(QLabel *label, bool testing, const std::optional<TestOutcome> &outcome);
