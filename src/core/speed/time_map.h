#pragma once

// The innermost layer of a speed curve: source time and render time as if there
// were no freezes and no reverse.

#include "core/curve/area_index.h"
#include "core/curve/curve.h"
#include "core/foundation/shared.h"

#include <core/curve/interpolation.h>

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
/// block, so that an edit elsewhere only moves it along the axis.
struct MapBlock final : BlockExtension {
    std::vector<SpeedKey> keys;
    std::vector<double> times;  // those of the keys, close together for the search
    std::vector<Segment> segments;
    std::vector<SegmentCurve> curves;
    std::unique_ptr<BlockAreas> sums;
    // The length of the segments of speed 0 that start before each key, and behind the
    // last one, on either axis.
    std::vector<double> stillSource;
    std::vector<double> stillRender;
    double length = 0.0;  // to the first keyframe of the next block
    // Whether the keyframes are far enough apart, and in order, wherever the block lies.
    bool canBeMoved = true;
};

/// Maps times both ways over the keyframes of a curve of speeds, as they were.
///
/// Immutable: any thread may ask. Every answer for a finite time is finite or, where
/// speeds and times overflow, infinite: never NaN.
class TimeMap {
public:
    /// Throws `AnyBadAccess` where a value is not a number. O(n / 64) and what the
    /// blocks take that have changed.
    TimeMap(Shared<Curve> speeds, double sourceLength);

    /// The render time where the last segment ends; 0 without keyframes.
    double RenderLength() const noexcept { return renderLength; }
    std::size_t SourceCount() const noexcept { return speeds->Count(); }
    double SourceTime(std::size_t index) const noexcept { return speeds->TimeOf(index); }
    /// The keyframes on the render axis, in ascending order. As many as there are
    /// keyframes, unless some fall on one render time, as negative speeds make them.
    std::size_t RenderCount() const noexcept { return renderCount; }
    SpeedKey RenderKey(std::size_t index) const noexcept;

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
    /// Whether `RenderOfInstant` and `SpeedAt` stay what they are when a keyframe is added
    /// where the curve passes `pointTime`, with the speed of that render time and the type of
    /// the keyframe before it: so on held and linear speeds, which take the time that they
    /// show, and behind the last of them. O(log n).
    bool StaysWithKeyframeAt(double pointTime, double renderTime) const noexcept;

    double SpeedAt(double renderTime) const noexcept;
    /// The index of the keyframe that matches a source time, or -1.
    int KeyframeAt(double sourceTime) const noexcept;
    /// How many keyframes there are to start a segment from, the last one included.
    std::size_t SegmentStarts() const noexcept {
        return playedKeys.empty() ? renderCount : playedKeys.size();
    }
    /// The segment from keyframe `index`, from 0 to one below the last, as it is played:
    /// also one so short that both its ends are one render key.
    SpeedSegment SegmentFrom(std::size_t index) const noexcept;

private:
    using Place = AreaIndex::Place;

    void PlaceBlocks();
    void PlaceAsOne();
    void Index();
    // Whether keyframes and render keys have the same indices.
    bool IsOneToOne() const noexcept { return speeds->Count() == renderCount; }
    std::size_t IndexOf(Place p) const noexcept {
        return before[p.block] + static_cast<std::size_t>(p.segment);
    }
    const SpeedKey* KeyAt(Place p) const noexcept;
    std::size_t MatchAt(Place p, double renderTime) const noexcept;
    double TimeOfArea(double area) const noexcept;
    bool StandsStillFrom(Place p) const noexcept;
    bool FindPoint(double pointTime, double& render) const noexcept;
    double SourceOfPoint(double pointTime) const noexcept;

    Shared<Curve> speeds;
    double sourceLength;
    double renderLength = 0.0;
    std::size_t renderCount = 0;
    double lastTime = 0.0;
    double lastSourceTime = 0.0;

    // Where the blocks of the curve can't be placed one by one, all keyframes are one.
    std::unique_ptr<MapBlock> whole;
    // Each keyframe by its own render time where some fall on one render key and none leads
    // back; else empty.
    std::vector<SpeedKey> playedKeys;
    std::vector<const MapBlock*> blocks;
    std::vector<double> offsets;
    std::vector<std::size_t> before;  // keys in the blocks before each
    std::vector<double> stillSourceBefore;
    std::vector<double> stillRenderBefore;
    std::unique_ptr<AreaIndex> areas;
    double areaToZero = 0.0;  // from the first key to time 0
};

}  // namespace core
