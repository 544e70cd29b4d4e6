#pragma once

#include <cstdlib>

namespace support {

/// How many times as long a random test runs: 1, or what CORE_TEST_ROUNDS says.
inline int Rounds() {
    const char* const rounds = std::getenv("CORE_TEST_ROUNDS");
    return rounds != nullptr ? std::atoi(rounds) : 1;
}

}  // namespace support
