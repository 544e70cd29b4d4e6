#include <gtest/gtest.h>

#include <core/core.h>

TEST(Version, TextIsMadeOfTheFourNumbers) {
    const std::string expected =
        std::to_string(CORE_VERSION_MAJOR) + "." + std::to_string(CORE_VERSION_MINOR) + "." +
        std::to_string(CORE_VERSION_PATCH) + "." + std::to_string(CORE_VERSION_BUILD);
    EXPECT_EQ(expected, CORE_VERSION_STRING);
}
