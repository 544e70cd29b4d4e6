#include "core/speed/time_map.h"

#include "core/curve/handles.h"
#include "core/curve/keyframe_store.h"
#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"
#include "core/foundation/report.h"

#include <algorithm>
#include <cmath>

// With v the speed, s the source time and t the render time,
//
//     s(t) = integral of v from 0 to t,
//
// so that render to source is an area and source to render its inverse. Both rest
// on the keyframes' places on the render axis:
//  1. a segment takes dt / v where the speed is held, else dt over the mean of its
//     two speeds; one that starts at speed 0 takes its source length dt;
//  2. at a keyframe the two times belong together exactly, whatever the area says,
//     which for smooth and eased speeds differs from dt.
// Numbers so large that an area overflows may leave none: then the answer is that of
// a keyframe, because a caller must never see NaN for a finite time.

namespace core {
namespace {

constexpr std::size_t kNone = KeyframeStore::kNone;

// By this part of the render time, and of a second before it, each part of a split segment
// may differ from what it was. Rounding makes a tenth of it in curves of 10,000 keyframes;
// ten times as much would show as a distance between keyframes from a day on.
constexpr double kSplitRounding = 1e-12;

// The render time that a segment takes. One whose speeds cancel never ends by the
// formula; it takes what one that stands still takes.
double RenderLengthOf(const SpeedKey& start, const SpeedKey& end, double reached) noexcept {
    const double dt = end.time - start.time;
    if (start.speed == 0.0) {
        return dt;
    }
    const double length = start.type == KeyframeInterpolationType::Hold
                              ? dt / start.speed
                              : 2.0 * dt / (start.speed + end.speed);
    return std::isfinite(reached + length) ? length : dt;
}

// The index of the time that matches `t`, the nearer should two do so, or kNone.
// `next` is `UpperBound(times, t)`.
std::size_t MatchAt(std::span<const double> times, std::size_t next, double t) noexcept {
    const bool matchesBefore = next > 0 && KeyframeStore::Matches(times[next - 1], t);
    const bool matchesAfter = next < times.size() && KeyframeStore::Matches(times[next], t);
    if (matchesBefore && matchesAfter) {
        return t - times[next - 1] <= times[next] - t ? next - 1 : next;
    }
    return matchesBefore ? next - 1 : matchesAfter ? next : kNone;
}

std::size_t FindMatch(std::span<const double> times, double t) noexcept {
    return MatchAt(times, UpperBound(times, t), t);
}

bool IsStill(const SpeedKey& key) noexcept {
    return std::fabs(key.speed) < kNegligible;
}

// For each key the length of the still segments that start before it, from time 0 on.
std::vector<double> StillBefore(std::span<const SpeedKey> keys) {
    std::vector<double> before(keys.size(), 0.0);
    for (std::size_t i = 1; i < keys.size(); ++i) {
        const SpeedKey& start = keys[i - 1];
        const bool counts = IsStill(start) && start.time >= 0.0;
        before[i] = before[i - 1] + (counts ? keys[i].time - start.time : 0.0);
    }
    return before;
}

}  // namespace

void TimeMap::Build(std::span<const SpeedKey> keys, double newSourceLength) {
    sourceLength = newSourceLength;
    sourceTimes.clear();
    for (const SpeedKey& key : keys) {
        sourceTimes.push_back(key.time);
    }
    stillSourceBefore = StillBefore(keys);
    PlaceOnRenderAxis(keys);
    stillRenderBefore = StillBefore(renderKeys);
    PrepareSegments();
}

void TimeMap::PlaceOnRenderAxis(std::span<const SpeedKey> keys) {
    renderKeys.clear();
    double reached = keys.empty() ? 0.0 : keys.front().time;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) {
            reached += RenderLengthOf(keys[i - 1], keys[i], reached);
            reached = reached <= 0.0 ? 0.0 : reached;
        }
        if (std::isfinite(reached)) {
            Insert({reached, keys[i].speed, keys[i].type});
        }
    }
    renderLength = reached;
    renderTimes.clear();
    for (const SpeedKey& key : renderKeys) {
        renderTimes.push_back(key.time);
    }
}

// As a keyframe curve takes a point: in order, replacing those that it matches. Only
// negative speeds lead back.
void TimeMap::Insert(const SpeedKey& key) {
    const auto isBefore = [](const SpeedKey& other, double time) {
        return other.time < time && !KeyframeStore::Matches(other.time, time);
    };
    if (renderKeys.empty() || isBefore(renderKeys.back(), key.time)) {
        renderKeys.push_back(key);
        return;
    }
    const auto first = std::lower_bound(renderKeys.begin(), renderKeys.end(), key.time, isBefore);
    const auto last = std::find_if_not(first, renderKeys.end(), [&key](const SpeedKey& other) {
        return KeyframeStore::Matches(other.time, key.time);
    });
    renderKeys.insert(renderKeys.erase(first, last), key);
}

void TimeMap::PrepareSegments() {
    const std::size_t count = renderKeys.size();
    prepared.Start(count);
    if (count == 0) {
        return;
    }
    prepared.segments[0] = ConstantSegment(renderKeys.front().speed);
    prepared.segments[count] = ConstantSegment(renderKeys.back().speed);
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const SpeedSegment s = SegmentFrom(i);
        SegmentCurve curve{};
        const Segment segment = PrepareSegment(
            {s.t0, s.v0, s.right, s.rightY, s.t1, s.v1, s.left, s.leftY, s.type0, s.type1}, curve);
        prepared.Keep(i + 1, segment, curve);
    }
    areas.Build(View());
    areaUpTo.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        areaUpTo[i] = areas.Area(View(), 0.0, renderTimes[i]);
    }
}

SpeedSegment TimeMap::SegmentFrom(std::size_t index) const noexcept {
    const auto handleKey = [this](std::size_t i) {
        return i < renderKeys.size()
                   ? HandleKey{renderKeys[i].time, renderKeys[i].speed, renderKeys[i].type}
                   : HandleKey{};
    };
    const HandleKey before = handleKey(index - 1);
    const HandleKey start = handleKey(index);
    const HandleKey end = handleKey(index + 1);
    const HandleKey after = handleKey(index + 2);
    const Pointd right = AutomaticRightHandle({index > 0 ? &before : nullptr, start, &end});
    const Pointd left =
        AutomaticLeftHandle({&start, end, index + 2 < renderKeys.size() ? &after : nullptr});
    return {start.time, start.value, right.x, right.y,    end.time,
            end.value,  left.x,      left.y,  start.type, end.type};
}

// The number of render keys at or before `t`: the last answer or the next, before a
// search.
std::size_t TimeMap::SegmentAt(double t) const noexcept {
    const auto holds = [&](std::size_t segment) {
        return segment > 0 && segment < renderTimes.size() && renderTimes[segment - 1] <= t &&
               t < renderTimes[segment];
    };
    if (!holds(lastSegment)) {
        lastSegment = holds(lastSegment + 1) ? lastSegment + 1 : UpperBound(renderTimes, t);
    }
    return lastSegment;
}

double TimeMap::SourceOfRender(double t) const noexcept {
    if (renderTimes.empty()) {
        return t;
    }
    if (t >= renderTimes.back()) {
        return sourceTimes.back();
    }
    const std::size_t next = SegmentAt(t);
    const std::size_t match = MatchAt(renderTimes, next, t);
    if (match != kNone && IsOneToOne()) {
        return sourceTimes[match];
    }
    if (!std::isfinite(t)) {
        return 0.0;
    }
    double source = 0.0;
    if (next == 0) {
        source = areas.Area(View(), 0.0, t);
    } else {
        const TimeInterval times{renderTimes[next - 1], renderTimes[next]};
        source = areaUpTo[next - 1] +
                 SegmentArea(prepared.segments[next], View().CurveOf(next), times, times.from, t);
    }
    return std::isnan(source) ? sourceTimes.front() : source;
}

double TimeMap::RenderOfSource(double s) const noexcept {
    if (renderTimes.empty()) {
        return s;
    }
    // Before the exact keyframe, on purpose: at the length the curve has ended.
    if (s >= sourceLength) {
        return renderTimes.back();
    }
    const std::size_t match = FindMatch(sourceTimes, s);
    if (match != kNone && IsOneToOne()) {
        return renderTimes[match];
    }
    return TimeOfArea(s);
}

// Source time is measured from 0 on a curve of speed 1 over the keyframes from there
// on; without one it has no length.
double TimeMap::TimeOfArea(double area) const noexcept {
    if (sourceTimes.back() < 0.0 || std::fabs(area) < kNegligible) {
        return 0.0;
    }
    double t = 0.0;
    if (!std::isfinite(area) || !areas.Solve(View(), 0.0, area, 1.0, t) || std::isnan(t)) {
        ReportUnsolved("core::BigParameterImpl::SolveTimeBaseArea", 2247);
        return renderTimes.back();
    }
    return t;
}

// Whether no source passes from a render key to the next.
bool TimeMap::StandsStillFrom(std::size_t index) const noexcept {
    if (index + 1 >= renderKeys.size()) {
        return false;
    }
    const SpeedKey& start = renderKeys[index];
    return IsStill(start) && start.time >= 0.0 &&
           (start.type == KeyframeInterpolationType::Hold || IsStill(renderKeys[index + 1]));
}

double TimeMap::PointOfRender(double t) const noexcept {
    const std::size_t next = UpperBound(renderTimes, t);
    const std::size_t match = MatchAt(renderTimes, next, t);
    if (match != kNone && IsOneToOne()) {
        return sourceTimes[match];
    }
    if (next == 0) {
        return SourceOfRender(t);
    }
    const double within = StandsStillFrom(next - 1) ? t - renderTimes[next - 1] : 0.0;
    return SourceOfRender(t) + stillRenderBefore[next - 1] + within;
}

bool TimeMap::FindPoint(double p, double& render) const noexcept {
    if (!IsOneToOne()) {
        return false;
    }
    const std::size_t next = UpperBound(sourceTimes, p);
    const std::size_t match = MatchAt(sourceTimes, next, p);
    if (match != kNone) {
        render = renderTimes[match];
        return true;
    }
    if (next > 0 && StandsStillFrom(next - 1)) {
        render = renderTimes[next - 1] + (p - sourceTimes[next - 1]);
        return true;
    }
    return false;
}

// Segments that start at speed 0 before the point are taken off it.
double TimeMap::SourceOfPoint(double p) const noexcept {
    const std::size_t next = UpperBound(sourceTimes, p);
    return next > 0 ? p - stillSourceBefore[next - 1] : p;
}

double TimeMap::RenderOfPoint(double p) const noexcept {
    double render = 0.0;
    // Kept on purpose: callers' freezes were placed with the rules for source times,
    // where what is left of the point meets the length or a keyframe exactly too.
    return FindPoint(p, render) ? render : RenderOfSource(SourceOfPoint(p));
}

double TimeMap::RenderOfInstant(double p) const noexcept {
    double render = p;
    return renderTimes.empty() || FindPoint(p, render) ? render : TimeOfArea(SourceOfPoint(p));
}

// The two parts of the segment take the time of the whole, and no slope of a neighbour
// runs through the new keyframe.
bool TimeMap::StaysWithKeyframeAt(double p, double t) const noexcept {
    using Type = KeyframeInterpolationType;
    const std::size_t next = UpperBound(sourceTimes, p);
    if (!IsOneToOne() || next == 0 || next == sourceTimes.size()) {
        return false;
    }
    const auto followsNoSlope = [this](std::size_t i) {
        const Type type = renderKeys[i].type;
        return type == Type::Hold || type == Type::Linear || type == Type::HermiteFlat;
    };
    const SpeedKey& start = renderKeys[next - 1];
    const SpeedKey& end = renderKeys[next];
    if (start.type == Type::HermiteFlat || !followsNoSlope(next - 1) || !followsNoSlope(next)) {
        return false;
    }
    const double tolerance = kSplitRounding * (1.0 + std::fabs(t));
    const auto takes = [=](const SpeedKey& from, const SpeedKey& to, double length) {
        return std::fabs(RenderLengthOf(from, to, 0.0) - length) <= tolerance;
    };
    const SpeedKey added{p, SpeedAt(t), start.type};
    return IsStill(start) == IsStill(added) &&
           takes({sourceTimes[next - 1], start.speed, start.type}, added, t - start.time) &&
           takes(added, {sourceTimes[next], end.speed, end.type}, end.time - t);
}

double TimeMap::SpeedAt(double t) const noexcept {
    if (renderKeys.empty()) {
        return 0.0;
    }
    const std::size_t segment = UpperBound(renderTimes, t);
    const SegmentCurve* curve = prepared.curves.empty() ? nullptr : &prepared.curves[segment];
    const double speed = SampleSegment(prepared.segments[segment], curve, t);
    return std::isnan(speed) ? renderKeys[segment > 0 ? segment - 1 : 0].speed : speed;
}

int TimeMap::KeyframeAt(double s) const noexcept {
    const std::size_t match = FindMatch(sourceTimes, s);
    return match == kNone ? -1 : static_cast<int>(match);
}

}  // namespace core
