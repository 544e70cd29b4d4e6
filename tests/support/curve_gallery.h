#pragma once

#include "support/curve_oracle.h"

#include <string>
#include <vector>

/// The named curves of tests/files/gallery.txt. All tests walk through them: a new exhibit
/// is tried everywhere.
namespace gallery {

struct Exhibit {
    std::string name;
    plain::Curve curve;
    /// The curve comes with handles of its own; otherwise the library sets them.
    bool handSet;
};
const std::vector<Exhibit>& Curves();

/// Keyframes as lines: time, value and type, then the left handle and the right one, which may
/// be left out.
plain::Curve CurveOf(const std::string& lines);

/// The exhibit as the library builds it.
core::Parameter Build(const Exhibit& exhibit);

/// Every interpolation type there is, and numbers that are none.
const std::vector<int>& Types();

}  // namespace gallery
