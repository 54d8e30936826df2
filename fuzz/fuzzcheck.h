#pragma once

// What every fuzz target uses to state a rule its input must keep.

#include <cstdio>
#include <cstdlib>

// Stops the run with the condition that failed, so the crash report says which rule broke.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition);           \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
