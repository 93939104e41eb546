#pragma once

#include <cstdio>
#include <cstdlib>

// Runs once before the first input: a platform that answers without asking the system, a
// private home, and logging switched off, so that inputs are fast and touch nothing.
void prepareFuzzing();

// A broken invariant is a finding: stop the way a crash does, with a message.
#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "invariant broken: %s (%s:%d)\n", #condition, __FILE__, __LINE__);          \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (0)
