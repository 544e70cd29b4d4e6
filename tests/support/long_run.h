#pragma once

#include <cstdlib>

namespace support {

/// How often a stress test goes round: `few` times in every run, `many` times where the
/// environment has CORE_LONG_TESTS.
inline int Rounds(int few, int many) {
    return std::getenv("CORE_LONG_TESTS") != nullptr ? many : few;
}

}  // namespace support
