#pragma once

// How long the tests wait for something to happen. Qt's own QTRY_VERIFY and QTRY_COMPARE give
// up after 5 s, which a loaded machine (CI shares its two cores, a developer builds beside the
// tests) can spend on a single busy stretch; a wait that succeeds returns as soon as its
// condition holds, so a generous limit costs nothing when things work. Every test includes this
// through the support headers, so a plain QTRY_* waits this long everywhere.

#include <QTest>

namespace TestSupport {
inline constexpr int waitMs = 30000;
}

#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(expr) QTRY_VERIFY_WITH_TIMEOUT(expr, TestSupport::waitMs)
#define QTRY_VERIFY2(expr, messageExpression)                                                      \
    QTRY_VERIFY2_WITH_TIMEOUT(expr, messageExpression, TestSupport::waitMs)
#define QTRY_COMPARE(expr, expected) QTRY_COMPARE_WITH_TIMEOUT(expr, expected, TestSupport::waitMs)
