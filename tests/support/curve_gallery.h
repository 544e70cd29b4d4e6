#pragma once

#include "support/curve_oracle.h"

#include <vector>

/// Named curves that have been, or are likely to be, trouble. Tests, benchmarks
/// and fuzzers all walk through them: a new exhibit is tried everywhere.
namespace gallery {

struct Exhibit {
    const char* name;
    plain::Curve curve;
    /// The curve comes with handles of its own; otherwise the library sets them.
    bool handSet;
};
const std::vector<Exhibit>& Curves();

/// The exhibit as the library builds it.
core::Parameter Build(const Exhibit& exhibit);

/// Every interpolation type there is, and numbers that are none.
const std::vector<int>& Types();

}  // namespace gallery
