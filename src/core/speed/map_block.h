#pragma once

// A block of a speed curve's keyframes on the render axis.

#include "core/curve/area.h"
#include "core/curve/area_index.h"
#include "core/curve/curve.h"

#include <core/curve/interpolation.h>
#include <core/curve/time_unit.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace core {

/// A keyframe of a speed curve.
struct SpeedKey {
    double time;  ///< on the source axis, or on the render axis where that is said
    double speed;
    KeyframeInterpolationType type;
};

/// A segment of the speed on the render axis, as a keyframe curve describes it.
struct SpeedSegment {
    double t0, v0, right, rightY;  ///< start: time, speed, outgoing handle
    double t1, v1, left, leftY;    ///< end: time, speed, incoming handle
    KeyframeInterpolationType type0, type1;
};

/// A block's keyframes on the render axis, and what follows from them. Kept with the
/// block of the keyframe curve, so that an edit elsewhere only moves it along the axes.
struct MapBlock final : BlockExtension {
    std::vector<SpeedKey> keys;
    std::vector<double> times;  // those of the keys, close together for the search
    SegmentRow segments;
    std::vector<SegmentCurve> curves;
    std::unique_ptr<BlockAreas> sums;
    // The length of the segments of speed 0 that start before each key, and behind the
    // last one, on either axis; empty where none is so slow.
    std::vector<double> stillSource;
    std::vector<double> stillRender;
    double length = 0.0;  // to the first keyframe of the next block
    // Whether the keyframes are far enough apart, and in order, wherever the block lies.
    bool canBeMoved = true;
    // Whether no segment shows its source backwards, not even for a while.
    bool runsForward = true;
    // The most by which the source that has been shown up to a keyframe misses its time.
    double mostMissed = 0.0;

    double StillSource(std::size_t key) const noexcept {
        return stillSource.empty() ? 0.0 : stillSource[key];
    }
    double StillRender(std::size_t key) const noexcept {
        return stillRender.empty() ? 0.0 : stillRender[key];
    }
};

/// The keyframe's numbers. Throws `AnyBadAccess` where its value is not a number.
SpeedKey KeyOf(const TimeValuePair& keyframe);

/// Whether nothing of the source passes at this speed.
bool IsStill(const SpeedKey& key) noexcept;

/// The render time that a segment takes, behind `reached`.
double RenderLengthOf(const SpeedKey& start, const SpeedKey& end, double reached) noexcept;

/// `previous` and `next` lie on either side of the segment's ends, or are null.
SpeedSegment SegmentBetween(const SpeedKey* previous, const SpeedKey& start, const SpeedKey& end,
                            const SpeedKey* next) noexcept;

/// Whether a time lies in a segment, and matches neither of its keys.
inline bool IsInside(const Segment& s, double x) noexcept {
    return x - s.from >= kTimeTolerance && s.To() - x >= kTimeTolerance;
}

/// c0 + c1 u + c2 u^2 + c3 u^3, by Horner's scheme.
inline double EvaluateCubic(double c0, double c1, double c2, double c3, double u) noexcept {
    return ((c3 * u + c2) * u + c1) * u + c0;
}

/// The integral of the speed c0 + c1 u + c2 u^2 + c3 u^3 over u, from 0.
inline double CubicArea(const double* c, double u) noexcept {
    return u * EvaluateCubic(c[0], 0.5 * c[1], (1.0 / 3.0) * c[2], 0.25 * c[3], u);
}

/// The source that a segment of speeds has shown from its start to a time in it.
inline double SourceShown(const Segment& s, double x) noexcept {
    if (s.shape == Segment::Shape::Cubic) {
        return (s.To() - s.from) * CubicArea(s.c, s.Progress(x));
    }
    return s.shape == Segment::Shape::Constant ? s.c[0] * (x - s.from) : SegmentArea(s, s.from, x);
}

/// Makes a block of a curve; render times are counted from its first keyframe. It follows
/// from its keyframes, one before and two behind them.
std::unique_ptr<MapBlock> MakeMapBlock(const Curve& speeds, std::size_t index);

/// All keyframes of a curve as one block, whatever their times and speeds, in the order in
/// which a keyframe curve would hold them.
struct WholeMap {
    MapBlock block;
    std::vector<double> sourceTimes;
    /// Each keyframe by its own render time where some fall on one render key and none
    /// leads back; else empty.
    std::vector<SpeedKey> played;
    double renderLength;
    bool goesBack = false;  // whether a keyframe comes before the one that it follows
};
std::unique_ptr<WholeMap> MakeWholeMap(const Curve& speeds);

}  // namespace core
