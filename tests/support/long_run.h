#pragma once

#include <cstdlib>

namespace support {

/// Whether the environment has CORE_LONG_TESTS, as `./dev test --long` sees to: time and
/// memory for what is too slow or too big for every run.
inline bool IsLongRun() {
    return std::getenv("CORE_LONG_TESTS") != nullptr;
}

/// How often a stress test or a random test goes round: `few` times in every run, `many`
/// times in a long one.
inline int Rounds(int few, int many) {
    return IsLongRun() ? many : few;
}

}  // namespace support
