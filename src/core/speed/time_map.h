#pragma once

// The innermost layer of a speed curve: source time and render time as if there
// were no freezes and no reverse.

#include "core/curve/area_index.h"
#include "core/curve/curve.h"
#include "core/foundation/shared.h"
#include "core/speed/map_block.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace core {

/// Maps times both ways over the keyframes of a curve of speeds.
///
/// Immutable: any thread may ask. Every answer for a finite time is finite or, where
/// speeds and times overflow, infinite: never NaN.
class TimeMap {
public:
    /// Refers to `speeds`, which stays what it is as long as the map is. Throws
    /// `AnyBadAccess` where a value is not a number. O(n / 64) and what the blocks take
    /// that have changed.
    TimeMap(const Curve& speeds, double sourceLength);

    /// The render time where the last segment ends; 0 without keyframes.
    double RenderLength() const noexcept { return renderLength; }
    std::size_t SourceCount() const noexcept { return speeds.Count(); }
    double SourceTime(std::size_t index) const noexcept { return speeds.TimeOf(index); }
    /// The keyframes on the render axis, in ascending order. As many as there are
    /// keyframes, unless some fall on one render time, as negative speeds make them.
    std::size_t RenderCount() const noexcept { return renderCount; }
    SpeedKey RenderKey(std::size_t index) const noexcept;
    /// Whether keyframes and render keys have the same indices.
    bool IsOneToOne() const noexcept { return speeds.Count() == renderCount; }
    /// Whether they lie in the same order, each behind the one before.
    bool IsInOrder() const noexcept { return whole == nullptr; }
    /// Whether one lies before the one that it follows, as negative speeds lead back. What is
    /// played then are the render keys in their own order, up to the length.
    bool GoesBack() const noexcept { return whole != nullptr && whole->goesBack; }

    /// Where a source time was found, for times that lie near: playback asks for the same
    /// segment again.
    struct Found {
        const Segment* segment = Segment::Nowhere();
        double offset = 0.0;
        double source = 0.0;
    };
    /// All O(log n).
    double SourceOfRender(double renderTime) const noexcept {
        Found found;
        return FindSource(renderTime, found);
    }
    /// The same number; O(1) where `last` holds the time.
    double SourceOfRender(double renderTime, Found& last) const noexcept {
        const double x = renderTime - last.offset;
        if (IsInside(*last.segment, x)) {
            const double source = last.source + SourceShown(*last.segment, x);
            if (source == source) {  // no NaN
                return source;
            }
        }
        return FindSource(renderTime, last);
    }
    /// Reports an error where the source time is never reached, and answers the
    /// render time of the last keyframe.
    double RenderOfSource(double sourceTime) const;
    /// Point time counts segments of speed 0, too, which show no source.
    double PointOfRender(double renderTime) const noexcept;
    double RenderOfPoint(double pointTime) const;

    /// Where the curve passes a point of the source that lies before its last keyframe,
    /// whatever the source length; for placing freezes.
    double RenderOfInstant(double pointTime) const;
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
        return whole == nullptr || whole->played.empty() ? renderCount : whole->played.size();
    }
    /// The segment from keyframe `index`, from 0 to one below the last, as it is played:
    /// also one so short that both its ends are one render key.
    SpeedSegment SegmentFrom(std::size_t index) const noexcept;

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    // A block where it lies. All but `before` is of its first keyframe.
    struct Row {
        const MapBlock* block;
        std::span<const double> sourceTimes;
        double offset;       // render time, where the block's own axis starts
        double source;       // what has been shown since render time 0
        double stillSource;  // lengths of segments of speed 0 before it
        double stillRender;
        std::size_t before;  // keys in the blocks before
    };
    // A key, and the segment that it starts.
    struct Place {
        std::size_t row;
        std::size_t key;
    };
    // The keyframe at or before a source time, or the first one, and the one that matches.
    struct SourcePlace {
        Place place;
        bool isBefore;
        enum class Match { None, This, Next } match;
    };

    bool PlaceBlocks(std::vector<const MapBlock*>& blocks, std::vector<double>& offsets);
    const AreaIndex& Areas() const;
    Place PlaceOf(double renderTime) const noexcept;
    SourcePlace PlaceOfSource(double sourceTime) const noexcept;
    Place Next(Place p) const noexcept;
    bool HasSegment(Place p) const noexcept { return p.key < BlockOf(p).segments.size(); }
    const MapBlock& BlockOf(Place p) const noexcept { return *rows[p.row].block; }
    double TimeOfKey(Place p) const noexcept {
        return BlockOf(p).times[p.key] + rows[p.row].offset;
    }
    std::size_t MatchAt(double renderTime) const noexcept;
    double FindSource(double renderTime, Found& found) const noexcept;
    double TimeOfArea(double area) const;
    double TimeIn(Place p, double missing) const noexcept;
    bool StandsStillFrom(Place p) const noexcept;
    bool FindPoint(double pointTime, const SourcePlace& place, double& render) const noexcept;
    double SourceOfPoint(double pointTime, const SourcePlace& place) const noexcept;

    const Curve& speeds;
    double sourceLength;
    double renderLength = 0.0;
    std::size_t renderCount = 0;
    double firstSpeed = 0.0;
    double firstTime = 0.0;
    double lastTime = 0.0;
    double lastSourceTime = 0.0;
    // Whether the source grows with the render time, and how much may miss for an area to
    // count as reached.
    bool runsForward = true;
    double tolerance = 0.0;
    // Whether what has been shown at each keyframe is its time.
    bool isExact = true;

    // Where the blocks of the curve can't be placed one by one, all keyframes are one.
    std::unique_ptr<WholeMap> whole;
    std::vector<Row> rows;
    // Of the rows' first keys, close together for the searches.
    std::vector<double> starts;
    std::vector<double> sourceStarts;
    std::vector<double> sources;
    // For what the rows can't tell.
    Lazy<AreaIndex> areas;
};

}  // namespace core
