#pragma once

// The innermost layer of a speed curve: source time and render time as if there
// were no freezes and no reverse.

#include "core/curve/area_index.h"
#include "core/curve/prepared_curve.h"

#include <core/curve/interpolation.h>

#include <cstddef>
#include <span>
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

/// Maps times both ways over the keyframes that it was built from.
///
/// No lock: one thread at a time, also for questions. Every answer for a finite time
/// is finite or, where speeds and times overflow, infinite: never NaN.
class TimeMap {
public:
    /// From finite keyframes in ascending order, no two of them matching, and the
    /// length of the source. O(n).
    void Build(std::span<const SpeedKey> keys, double sourceLength);

    /// The render time where the last segment ends; 0 without keyframes.
    double RenderLength() const noexcept { return renderLength; }
    /// The keyframes on the render axis, in ascending order. As many as there are
    /// keyframes, unless some fall on one render time, as negative speeds make them.
    std::span<const SpeedKey> RenderKeys() const noexcept { return renderKeys; }
    std::span<const double> SourceTimes() const noexcept { return sourceTimes; }

    /// All O(log n).
    double SourceOfRender(double renderTime) const noexcept;
    /// Reports an error where the source time is never reached, and answers the
    /// render time of the last keyframe.
    double RenderOfSource(double sourceTime) const noexcept;
    /// Point time counts segments of speed 0, too, which show no source.
    double PointOfRender(double renderTime) const noexcept;
    double RenderOfPoint(double pointTime) const noexcept;

    /// Where the curve passes a point of the source that lies before its last keyframe,
    /// whatever the source length; for placing freezes.
    double RenderOfInstant(double pointTime) const noexcept;
    /// Whether all answers stay what they are when a keyframe is added where the curve
    /// passes `pointTime`, with the speed of that render time and the type of the keyframe
    /// before it: so on held and linear speeds, which take the time that they show. O(log n).
    bool StaysWithKeyframeAt(double pointTime, double renderTime) const noexcept;

    double SpeedAt(double renderTime) const noexcept;
    /// The index of the keyframe that matches a source time, or -1.
    int KeyframeAt(double sourceTime) const noexcept;
    /// The segment from render key `index`, from 0 to one below the last.
    SpeedSegment SegmentFrom(std::size_t index) const noexcept;

private:
    // Whether keyframes and render keys have the same indices.
    bool IsOneToOne() const noexcept { return sourceTimes.size() == renderKeys.size(); }
    CurveView View() const noexcept { return {renderTimes, prepared.segments, prepared.curves}; }
    std::size_t SegmentAt(double renderTime) const noexcept;
    double TimeOfArea(double area) const noexcept;
    bool StandsStillFrom(std::size_t index) const noexcept;
    bool FindPoint(double pointTime, double& render) const noexcept;
    double SourceOfPoint(double pointTime) const noexcept;
    void PlaceOnRenderAxis(std::span<const SpeedKey> keys);
    void Insert(const SpeedKey& key);
    void PrepareSegments();

    double sourceLength = 0.0;
    double renderLength = 0.0;
    std::vector<double> sourceTimes;
    std::vector<SpeedKey> renderKeys;
    std::vector<double> renderTimes;  // those of the keys, close together for the search
    // The length of the segments of speed 0 that start before keyframe i, at time 0
    // or later; on either axis.
    std::vector<double> stillSourceBefore;
    std::vector<double> stillRenderBefore;
    PreparedCurve prepared;
    AreaIndex areas;
    std::vector<double> areaUpTo;  // from time 0 to each render key
    // Where the last render time was found, of the segments between two render keys:
    // a clip is played in order. It may be any number.
    mutable std::size_t lastSegment = 0;
};

}  // namespace core
