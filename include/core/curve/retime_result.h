#pragma once

#include <string>

namespace core {

/// Whether a curve was made or changed; if not, why.
struct RetimeResult {
    /// For people, as in "keyframe 3 would be at 120000 ticks, which reads as seconds"; empty
    /// when it was done.
    std::string reason;

    /// Whether it was done.
    explicit operator bool() const noexcept { return reason.empty(); }
};

}  // namespace core
