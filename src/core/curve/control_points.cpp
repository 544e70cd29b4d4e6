#include <core/curve/control_points.h>

#include <algorithm>

// Letters of this file: (x0, y0) and (x1, y1) are the segment's keyframes; A is the
// control point beside the start with fraction fa and slope sa, B the one beside the
// end with fb and sb. Both fractions count from the start of the segment.

namespace core {
namespace {

// Kept on purpose: 1e-7 here and 1e-20 where segments are sampled. What editors
// have stored was converted with this one.
constexpr double kNoOffset = 1e-7;
// Kept on purpose: added to a duration of nothing, so that fractions stay finite.
constexpr double kShortestSpan = 1e-5;

bool IsNothing(double x) noexcept {
    return x > -kNoOffset && x < kNoOffset;
}

bool IsLinear(KeyframeInterpolationType type) noexcept {
    return type == KeyframeInterpolationType::Linear;
}

double NothingAsZero(double x) noexcept {
    return IsNothing(x) ? 0.0 : x;
}

}  // namespace

bool GetAbsolutePointControlParam(Pointd start, Pointd& startHandle, Pointd& endHandle, Pointd end,
                                  KeyframeInterpolationType startType,
                                  KeyframeInterpolationType endType) {
    const double x0 = start.x;
    const double x1 = end.x;
    const double fa = IsLinear(startType) ? 0.0 : std::clamp(startHandle.x, 0.0, 1.0);
    const double sa = IsLinear(startType) ? 0.0 : startHandle.y;
    const double fb = IsLinear(endType) ? 1.0 : std::clamp(endHandle.x, 0.0, 1.0);
    const double sb = IsLinear(endType) ? 0.0 : endHandle.y;

    const double ax = x0 + (x1 - x0) * fa;
    const double bx = x0 + (x1 - x0) * fb;
    const double da = ax - x0;
    const double db = bx - x1;
    startHandle = {ax, start.y + (IsNothing(da) ? sa : sa * da)};
    endHandle = {bx, end.y + (IsNothing(db) ? sb : db * sb)};
    return true;
}

bool GetRelativePointControlParam(Pointd start, Pointd& startHandle, Pointd& endHandle, Pointd end,
                                  KeyframeInterpolationType startType,
                                  KeyframeInterpolationType endType) {
    const double x0 = start.x;
    const double x1 = end.x;
    const double ax = IsLinear(startType) ? x0 : std::min(std::max(x0, startHandle.x), x1);
    const double ay = IsLinear(startType) ? start.y : startHandle.y;
    const double bx = IsLinear(endType) ? x1 : std::min(std::max(x0, endHandle.x), x1);
    const double by = IsLinear(endType) ? end.y : endHandle.y;

    const double da = ax - x0;
    const double db = bx - x1;
    const double sa = IsNothing(da) ? ay - start.y : (ay - start.y) / da;
    const double sb = IsNothing(db) ? by - end.y : (by - end.y) / db;
    const double span = x1 - x0;
    const double divisor = IsNothing(span) ? span + kShortestSpan : span;
    startHandle = {NothingAsZero(da / divisor), NothingAsZero(sa)};
    endHandle = {NothingAsZero((bx - x0) / divisor), NothingAsZero(sb)};
    return true;
}

}  // namespace core
