#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process where a property does not hold; the fuzzer keeps the input then.
#define FUZZ_REQUIRE(condition)                                                          \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                \
        }                                                                                \
    } while (false)
