#pragma once

// The area under one segment, and where in the segment an area is reached.

#include "core/curve/segment.h"

namespace core {

/// The area of a numeric segment between two times that it holds; negative when
/// `to < from`. The value is the one that `SampleSegment` answers, with the curve
/// parameter solved exactly. No allocation.
double SegmentArea(const Segment& segment, double from, double to) noexcept;

/// A segment's time and value as a curve of the plane. False for an elastic easing and the
/// bounce, and for Beziers and easings that hold times in ticks.
bool ReadPlaneCurve(const Segment& segment, CubicBezier& curve) noexcept;

/// The highest and the lowest area reached on the way through a segment, and the
/// whole area.
struct AreaExtremes {
    double highest;
    double lowest;
    double whole;
};
AreaExtremes SegmentAreaExtremes(const Segment& segment) noexcept;

/// Goes from `start` to `end`, which may lie before it; a value with the sign of
/// `valueSign` adds to the area in either direction. Where the area reaches `missing` > 0, within
/// `tolerance` below it, answers true and stores that time, the first one.
/// Otherwise answers false and takes the area of the way off `missing`.
bool SolveSegmentArea(const Segment& segment, double start, double end, double valueSign,
                      double tolerance, double& missing, double& time) noexcept;

}  // namespace core
