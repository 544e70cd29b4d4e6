#pragma once

// What a curve keeps for sampling: one prepared segment before, between and after
// its keyframes, or nothing while it has not been sampled. An edit only marks the
// segments around it; they are prepared again when they are sampled.

#include "core/curve/segment.h"

#include <cstddef>
#include <vector>

namespace core {

class PreparedCurve {
public:
    /// Ready for `keyframes` keyframes: all segments stale.
    void Start(std::size_t keyframes) {
        segments.assign(keyframes + 1, Segment{});
        curves.clear();
    }
    void MarkAllStale() noexcept {
        for (Segment& segment : segments) {
            segment.shape = Segment::Shape::Stale;
        }
    }
    /// Marks the segments that touch the keyframes from `first` to `last`, and
    /// those of their neighbours, whose handles may have followed.
    void MarkStaleAround(std::size_t first, std::size_t last) noexcept {
        const std::size_t from = first > 0 ? first - 1 : 0;
        for (std::size_t i = from; i <= last + 2 && i < segments.size(); ++i) {
            segments[i].shape = Segment::Shape::Stale;
        }
    }

    /// Room for one more keyframe; the next insertion does not throw.
    void ReserveOneMore() {
        if (!segments.empty() && segments.size() == segments.capacity()) {
            segments.reserve(2 * segments.size());
        }
        if (!curves.empty() && curves.size() == curves.capacity()) {
            curves.reserve(2 * curves.size());
        }
    }
    void InsertKeyframe(std::size_t index) {
        const auto offset = static_cast<std::ptrdiff_t>(index);
        if (!segments.empty()) {
            segments.insert(segments.begin() + offset, Segment{});
        }
        if (!curves.empty()) {
            curves.insert(curves.begin() + offset, SegmentCurve{});
        }
    }
    void EraseKeyframes(std::size_t first, std::size_t last) noexcept {
        const auto from = static_cast<std::ptrdiff_t>(first);
        const auto to = static_cast<std::ptrdiff_t>(last);
        if (!segments.empty()) {
            segments.erase(segments.begin() + from, segments.begin() + to);
        }
        if (!curves.empty()) {
            curves.erase(curves.begin() + from, curves.begin() + to);
        }
    }

    /// Keeps what `segment` looks like from now on; `curve` goes with the shapes
    /// that have one.
    void Keep(std::size_t index, const Segment& segment, const SegmentCurve& curve) {
        const bool hasCurve = segment.shape == Segment::Shape::TimeValueBezier ||
                              segment.shape == Segment::Shape::Path;
        if (hasCurve) {
            if (curves.empty()) {
                curves.resize(segments.size());
            }
            curves[index] = curve;
        }
        segments[index] = segment;
    }

    std::vector<Segment> segments;
    /// One per segment, or none at all while no segment has needed one.
    std::vector<SegmentCurve> curves;
};

}  // namespace core
