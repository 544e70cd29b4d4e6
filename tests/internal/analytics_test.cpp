#include "core/logging/analytics.h"

#include <gtest/gtest.h>

namespace {

// The recorder of a process is never empty again, so this one is tested without it.
TEST(Analytics, NoRecordsAreAnEmptyList) {
    EXPECT_EQ("{\"Events\": []}", core::analytics::Records().Text());
}

}  // namespace
