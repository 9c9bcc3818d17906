// What a test does when the machine lacks what it needs.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace kvtest {

// Whether a test that cannot run counts as failed.
inline bool MustRun() {
    const char* const value = std::getenv("KV_TESTS_MUST_RUN");
    return value != nullptr && *value != '\0';
}

}  // namespace kvtest

// Ends the test as skipped, or as failed where all must run, and says why.
#define KV_SKIP(why)             \
    do {                         \
        if (kvtest::MustRun()) { \
            FAIL() << (why);     \
        }                        \
        GTEST_SKIP() << (why);   \
    } while (false)
