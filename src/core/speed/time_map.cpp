#include "core/speed/time_map.h"

#include "core/curve/area.h"
#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"
#include "core/foundation/report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

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
//
// A question is a search over the rows, one in a block, and one segment. The inverse is so
// where the source runs forward: where it is exact, the segment is the one of the source
// time, else that in which the area is reached. Elsewhere the areas of the curve answer.

namespace core {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// By this part of the render time, and of a second before it, each part of a split segment
// may differ from what it was. Rounding makes a tenth of it in curves of 10,000 keyframes;
// ten times as much would show as a distance between keyframes from a day on.
constexpr double kSplitRounding = 1e-12;

// What rounding may add up to between a keyframe and the area up to it, as a part of the
// time. Ten times as much would be seen in the inverse before the ninth digit.
constexpr double kExact = 1e-12;

// Areas are rounded to about this part of all that is summed.
constexpr double kSumRounding = 1e-15;

// The u in [0, 1] where the integral of a cubic speed is `area`, by Newton's method from
// where an even rate between the two ends reaches it; the speed is nowhere negative. NaN
// where that does not converge in a few rounds.
double SolveCubicArea(const double* c, double area) noexcept {
    constexpr int kMostRounds = 8;
    const double r0 = c[0];
    const double r1 = c[0] + c[1] + c[2] + c[3];
    const double D = std::max(r0 * r0 + 2.0 * (r1 - r0) * area, 0.0);
    const double rounding = kSumRounding * (r0 + r1 + std::fabs(c[2]) + std::fabs(c[3]));
    double u = 2.0 * area / (r0 + std::sqrt(D));
    for (int round = 0; round < kMostRounds && u >= 0.0 && u <= 1.0; ++round) {
        const double missing = CubicArea(c, u) - area;
        if (std::fabs(missing) <= rounding) {
            return u;
        }
        u -= missing / EvaluateCubic(c[0], c[1], c[2], c[3], u);
    }
    return std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

TimeMap::TimeMap(const Curve& curve, double length) : speeds(curve), sourceLength(length) {
    if (speeds.Count() == 0) {
        return;
    }
    std::vector<const MapBlock*> blocks;
    if (!PlaceBlocks(blocks, starts)) {
        whole = MakeWholeMap(speeds);
        renderLength = whole->renderLength;
        blocks = {&whole->block};
        starts = {0.0};
    }
    rows.reserve(blocks.size());
    sourceStarts.reserve(blocks.size());
    sources.reserve(blocks.size());
    Row next{};
    AreaSum source;
    firstTime = starts.front() + blocks.front()->times.front();
    firstSpeed = blocks.front()->keys.front().speed;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const MapBlock& block = *blocks[i];
        next.block = &block;
        next.sourceTimes = whole != nullptr ? std::span<const double>(whole->sourceTimes)
                                            : std::span<const double>(speeds.BlockAt(i).times);
        next.offset = starts[i];
        next.source = source.high;
        rows.push_back(next);
        sourceStarts.push_back(next.sourceTimes.front());
        next.stillSource += block.StillSource(block.keys.size());
        next.stillRender += block.StillRender(block.keys.size());
        next.before += block.keys.size();
        source = source.Plus(block.sums->upTo.back());
        runsForward = runsForward && block.runsForward;
    }
    renderCount = next.before;
    starts.front() = firstTime;
    const Place last{rows.size() - 1, rows.back().block->keys.size() - 1};
    lastTime = TimeOfKey(last);
    lastSourceTime = SourceTime(SourceCount() - 1);

    // What is counted from the first key so far is counted from time 0 from here on.
    const double toZero =
        firstTime >= 0.0 ? -(firstSpeed * firstTime) : Areas().Area(firstTime, 0.0);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row& row = rows[i];
        row.source -= toZero;
        sources.push_back(row.source);
        const double scale = kExact * std::max(1.0, std::fabs(row.sourceTimes.back()));
        isExact = isExact && row.block->mostMissed <= scale &&
                  std::fabs(row.source - sourceStarts[i]) <= scale;
    }
    // As `AreaIndex::Solve` has it, where every area is positive.
    tolerance = std::min(2.0 * kSumRounding * source.high, 1e-10);
    runsForward = runsForward && firstTime >= 0.0 && std::isfinite(source.high);
    isExact = isExact && runsForward;
}

// Blocks are counted from their own start, which only moves them where no time is before 0
// and none is read as ticks. False where that is not so.
bool TimeMap::PlaceBlocks(std::vector<const MapBlock*>& blocks, std::vector<double>& offsets) {
    double offset = speeds.TimeOf(0);
    bool canBeMoved = offset >= 0.0;
    blocks.reserve(speeds.BlockCount());
    offsets.reserve(speeds.BlockCount());
    for (std::size_t i = 0; i < speeds.BlockCount() && canBeMoved; ++i) {
        const auto& block = static_cast<const MapBlock&>(speeds.BlockAt(i).extension.Get(
            [&]() -> std::unique_ptr<BlockExtension> { return MakeMapBlock(speeds, i); }));
        blocks.push_back(&block);
        offsets.push_back(offset);
        offset += block.length;
        canBeMoved = block.canBeMoved && offset < kFirstTickCount;
    }
    renderLength = offset;
    return canBeMoved;
}

const AreaIndex& TimeMap::Areas() const {
    return areas.Get([&] {
        std::vector<AreaIndex::Block> parts;
        parts.reserve(rows.size());
        for (const Row& row : rows) {
            parts.push_back(
                {row.block->times, row.block->segments, row.block->sums.get(), row.offset});
        }
        return std::make_unique<AreaIndex>(std::move(parts), firstSpeed,
                                           rows.back().block->keys.back().speed);
    });
}

SpeedKey TimeMap::RenderKey(std::size_t index) const noexcept {
    const auto behind =
        std::upper_bound(rows.begin(), rows.end(), index,
                         [](std::size_t wanted, const Row& row) { return wanted < row.before; });
    const Row& row = *(behind - 1);
    SpeedKey key = row.block->keys[index - row.before];
    key.time += row.offset;
    return key;
}

SpeedSegment TimeMap::SegmentFrom(std::size_t index) const noexcept {
    const std::size_t count = SegmentStarts();
    const auto keyAt = [&](std::size_t i) {
        return whole == nullptr || whole->played.empty() ? RenderKey(i) : whole->played[i];
    };
    const SpeedKey previous = keyAt(index > 0 ? index - 1 : 0);
    const SpeedKey next = keyAt(std::min(index + 2, count - 1));
    return SegmentBetween(index > 0 ? &previous : nullptr, keyAt(index), keyAt(index + 1),
                          index + 2 < count ? &next : nullptr);
}

// Places

// Of a time that is not before the first key. Rounding of the difference must not move `t`
// past a keyframe.
TimeMap::Place TimeMap::PlaceOf(double t) const noexcept {
    const std::size_t row = std::max<std::size_t>(UpperBound(starts, t), 1) - 1;
    const std::vector<double>& times = rows[row].block->times;
    const double offset = rows[row].offset;
    std::size_t next = UpperBound(times, t - offset);
    while (next < times.size() && times[next] + offset <= t) {
        ++next;
    }
    while (next > 1 && times[next - 1] + offset > t) {
        --next;
    }
    return {row, std::max<std::size_t>(next, 1) - 1};
}

TimeMap::Place TimeMap::Next(Place p) const noexcept {
    return p.key + 1 < BlockOf(p).keys.size() ? Place{p.row, p.key + 1} : Place{p.row + 1, 0};
}

TimeMap::SourcePlace TimeMap::PlaceOfSource(double s) const noexcept {
    using Match = SourcePlace::Match;
    const std::size_t behind = UpperBound(sourceStarts, s);
    if (behind == 0) {
        const bool matches = sourceStarts.front() - s < kTimeTolerance;
        return {{0, 0}, true, matches ? Match::This : Match::None};
    }
    const std::span<const double> times = rows[behind - 1].sourceTimes;
    const std::size_t next = UpperBound(times, s);
    const double toNext = next < times.size()    ? times[next] - s
                          : behind < rows.size() ? sourceStarts[behind] - s
                                                 : kTimeTolerance;
    const double sinceLast = s - times[next - 1];
    Match match = Match::None;
    if (sinceLast < kTimeTolerance || toNext < kTimeTolerance) {
        match = sinceLast <= toNext ? Match::This : Match::Next;
    }
    return {{behind - 1, next - 1}, false, match};
}

// The index of the key that matches `t`, the nearer should two do so, or kNone.
std::size_t TimeMap::MatchAt(double t) const noexcept {
    const Place p = PlaceOf(t);
    const std::size_t index = rows[p.row].before + p.key;
    const double since = t - TimeOfKey(p);
    const double until = index + 1 < renderCount ? TimeOfKey(Next(p)) - t : kInfinity;
    if (std::fabs(since) < kTimeTolerance && since <= until) {
        return index;
    }
    return until < kTimeTolerance ? index + 1 : kNone;
}

// Render to source

double TimeMap::FindSource(double t, Found& found) const noexcept {
    if (renderCount == 0) {
        return t;
    }
    if (t >= lastTime) {
        return lastSourceTime;
    }
    if (!std::isfinite(t)) {
        return 0.0;
    }
    if (t < firstTime) {
        if (firstTime - t < kTimeTolerance && IsOneToOne()) {
            return SourceTime(0);
        }
        const double source = firstSpeed * (t - firstTime) + sources.front();
        return std::isnan(source) ? SourceTime(0) : source;
    }
    const Row& row = rows[UpperBound(starts, t) - 1];
    const double x = t - row.offset;
    const std::size_t key = std::max<std::size_t>(UpperBound(row.block->times, x), 1) - 1;
    const Segment& segment = row.block->segments[std::min(key, row.block->segments.size() - 1)];
    if (!IsInside(segment, x) && IsOneToOne()) {
        const std::size_t match = MatchAt(t);
        if (match != kNone) {
            return SourceTime(match);
        }
    }
    const double before = row.source + row.block->sums->upTo[key].high;
    const double source = before + SourceShown(segment, x);
    if (std::isnan(source)) {
        return SourceTime(0);
    }
    found = {&segment, row.offset, before};
    return source;
}

// Source to render

double TimeMap::RenderOfSource(double s) const {
    if (renderCount == 0) {
        return s;
    }
    // Before the exact keyframe, on purpose: at the length the curve has ended.
    if (s >= sourceLength) {
        return lastTime;
    }
    if (!IsOneToOne()) {
        return TimeOfArea(s);
    }
    const SourcePlace found = PlaceOfSource(s);
    if (found.match != SourcePlace::Match::None) {
        return TimeOfKey(found.match == SourcePlace::Match::This ? found.place : Next(found.place));
    }
    return isExact && !found.isBefore && HasSegment(found.place)
               ? TimeIn(found.place, s - rows[found.place.row].source -
                                         BlockOf(found.place).sums->upTo[found.place.key].high)
               : TimeOfArea(s);
}

// Source time is measured from 0 on a curve of speed 1 over the keyframes from there
// on; without one it has no length.
double TimeMap::TimeOfArea(double area) const {
    if (lastSourceTime < 0.0 || std::fabs(area) < kNegligible) {
        return 0.0;
    }
    // The first segment in which it is reached, but for rounding.
    const double bound = area - tolerance;
    if (runsForward && area > 0.0 && bound >= sources.front()) {
        Place p{UpperBound(sources, bound) - 1, 0};
        p.key = UpperBound(BlockOf(p).sums->highest, bound - rows[p.row].source);
        p = HasSegment(p) || p.row + 1 == rows.size() ? p : Place{p.row + 1, 0};
        if (HasSegment(p)) {
            return TimeIn(p, area - rows[p.row].source - BlockOf(p).sums->upTo[p.key].high);
        }
    }
    double t = 0.0;
    if (!std::isfinite(area) || !Areas().Solve(0.0, area, 1.0, t) || std::isnan(t)) {
        ReportUnsolved("core::BigParameterImpl::SolveTimeBaseArea", 2247);
        return lastTime;
    }
    return t;
}

// Where the segment has shown `missing` since its start; it runs forward, and shows as much
// but for rounding.
double TimeMap::TimeIn(Place p, double missing) const noexcept {
    const Segment& s = BlockOf(p).segments[p.key];
    const double offset = rows[p.row].offset;
    double time = s.To();
    if (!(missing > 0.0)) {
        time = s.from;
    } else if (s.shape == Segment::Shape::Constant) {
        time = std::min(s.from + missing / s.c[0], s.To());
    } else {
        const double span = s.To() - s.from;
        const double u = s.shape == Segment::Shape::Cubic
                             ? SolveCubicArea(s.c, missing / span)
                             : std::numeric_limits<double>::quiet_NaN();
        if (!std::isnan(u)) {
            time = s.from + u * span;
        } else {
            SolveSegmentArea(s, s.from, s.To(), 1.0, 4.0 * tolerance, missing, time);
        }
    }
    return time + offset;
}

// Points

// Whether no source passes from a render key to the next.
bool TimeMap::StandsStillFrom(Place p) const noexcept {
    if (BlockOf(p).stillRender.empty() || !HasSegment(p)) {
        return false;
    }
    const SpeedKey& start = BlockOf(p).keys[p.key];
    const Place next = Next(p);
    return IsStill(start) && TimeOfKey(p) >= 0.0 &&
           (start.type == KeyframeInterpolationType::Hold || IsStill(BlockOf(next).keys[next.key]));
}

double TimeMap::PointOfRender(double t) const noexcept {
    if (renderCount == 0) {
        return t;
    }
    if (IsOneToOne()) {
        const std::size_t match = MatchAt(t);
        if (match != kNone) {
            return SourceTime(match);
        }
    }
    const double source = SourceOfRender(t);
    if (t < firstTime) {
        return source;
    }
    const Place p = PlaceOf(t);
    const double within = StandsStillFrom(p) ? t - TimeOfKey(p) : 0.0;
    return source + (rows[p.row].stillRender + BlockOf(p).StillRender(p.key)) + within;
}

bool TimeMap::FindPoint(double p, const SourcePlace& found, double& render) const noexcept {
    if (!IsOneToOne()) {
        return false;
    }
    if (found.match != SourcePlace::Match::None) {
        render =
            TimeOfKey(found.match == SourcePlace::Match::This ? found.place : Next(found.place));
        return true;
    }
    if (!found.isBefore && StandsStillFrom(found.place)) {
        const double start = rows[found.place.row].sourceTimes[found.place.key];
        render = TimeOfKey(found.place) + (p - start);
        return true;
    }
    return false;
}

// Segments that start at speed 0 before the point are taken off it.
double TimeMap::SourceOfPoint(double p, const SourcePlace& found) const noexcept {
    return found.isBefore ? p
                          : p - (rows[found.place.row].stillSource +
                                 BlockOf(found.place).StillSource(found.place.key));
}

double TimeMap::RenderOfPoint(double p) const {
    if (renderCount == 0) {
        return p;
    }
    const SourcePlace found = PlaceOfSource(p);
    double render = 0.0;
    // Kept on purpose: callers' freezes were placed with the rules for source times,
    // where what is left of the point meets the length or a keyframe exactly too.
    return FindPoint(p, found, render) ? render : RenderOfSource(SourceOfPoint(p, found));
}

double TimeMap::RenderOfInstant(double p) const {
    if (renderCount == 0) {
        return p;
    }
    const SourcePlace found = PlaceOfSource(p);
    double render = 0.0;
    return FindPoint(p, found, render) ? render : TimeOfArea(SourceOfPoint(p, found));
}

// Both parts of the segment, or the new one behind the last keyframe, take the time that the
// map gives them, and no slope of a neighbour runs through the new keyframe.
bool TimeMap::StaysWithKeyframeAt(double p, double t) const noexcept {
    using Type = KeyframeInterpolationType;
    const std::size_t next = speeds.UpperBound(p);
    if (!IsOneToOne() || next == 0) {
        return false;
    }
    const bool isBehindAll = next == speeds.Count();
    const auto followsNoSlope = [](const SpeedKey& key) {
        return key.type == Type::Hold || key.type == Type::Linear || key.type == Type::HermiteFlat;
    };
    const SpeedKey start = RenderKey(next - 1);
    const SpeedKey end = isBehindAll ? start : RenderKey(next);
    if (start.type == Type::HermiteFlat || !followsNoSlope(start) || !followsNoSlope(end)) {
        return false;
    }
    const double most = kSplitRounding * (1.0 + std::fabs(t));
    const auto takes = [=](const SpeedKey& from, const SpeedKey& to, double length) {
        return std::fabs(RenderLengthOf(from, to, 0.0) - length) <= most;
    };
    const SpeedKey added{p, SpeedAt(t), start.type};
    return IsStill(start) == IsStill(added) &&
           takes({SourceTime(next - 1), start.speed, start.type}, added, t - start.time) &&
           (isBehindAll || takes(added, {SourceTime(next), end.speed, end.type}, end.time - t));
}

double TimeMap::SpeedAt(double t) const noexcept {
    if (renderCount == 0) {
        return 0.0;
    }
    if (t < firstTime) {
        return firstSpeed;
    }
    const Place p = PlaceOf(t);
    const double held = BlockOf(p).keys[p.key].speed;
    if (!HasSegment(p)) {
        return held;
    }
    const double speed = SampleSegment(BlockOf(p).segments[p.key], t - rows[p.row].offset);
    return std::isnan(speed) ? held : speed;
}

int TimeMap::KeyframeAt(double s) const noexcept {
    const std::size_t match = speeds.Find(s);
    return match == Curve::kNone ? -1 : static_cast<int>(match);
}

}  // namespace core
