#pragma once

namespace core {

/// A point of the plane: a position on a motion path, in the caller's units,
/// or a control handle, whose two numbers the interpolation type defines.
struct Pointd {
    double x = 0.0;  ///< to the right, or the handle's first number
    double y = 0.0;  ///< up or down as the caller has it, or the second number
};

/// Whether both numbers are equal; NaN equals nothing.
inline bool operator==(const Pointd& a, const Pointd& b) noexcept {
    return a.x == b.x && a.y == b.y;
}
inline bool operator!=(const Pointd& a, const Pointd& b) noexcept {
    return !(a == b);
}

}  // namespace core
