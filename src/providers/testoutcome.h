#pragma once

#include <QString>

// The outcome of one provider connection test.
struct TestOutcome {
    bool ok = false;
    QString message;

    bool operator==(const TestOutcome &) const = default;
};
