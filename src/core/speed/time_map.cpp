#include "core/speed/time_map.h"

#include "core/curve/handles.h"
#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"
#include "core/foundation/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
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

namespace core {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// By this part of the render time, and of a second before it, each part of a split segment
// may differ from what it was. Rounding makes a tenth of it in curves of 10,000 keyframes;
// ten times as much would show as a distance between keyframes from a day on.
constexpr double kSplitRounding = 1e-12;

// Render times further apart than this stay apart, and in order, wherever they are moved.
constexpr double kLeastLength = 1e-6;

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

bool IsStill(const SpeedKey& key) noexcept {
    return std::fabs(key.speed) < kNegligible;
}

bool CountsAsStill(const SpeedKey& key) noexcept {
    return IsStill(key) && key.time >= 0.0;
}

// For each key the length of the still segments that start before it, from time 0 on.
std::vector<double> StillBefore(std::span<const SpeedKey> keys) {
    std::vector<double> before(keys.size() + 1, 0.0);
    for (std::size_t i = 1; i < keys.size(); ++i) {
        const SpeedKey& start = keys[i - 1];
        before[i] = before[i - 1] + (CountsAsStill(start) ? keys[i].time - start.time : 0.0);
    }
    before.back() = keys.empty() ? 0.0 : before[keys.size() - 1];
    return before;
}

SpeedKey KeyOf(const TimeValuePair& keyframe) {
    return {keyframe.GetTime(), keyframe.PeekValue().AsDouble(), keyframe.GetInterpolation()};
}

// `previous` and `next` lie on either side of the segment's ends, or are null.
SpeedSegment SegmentBetween(const SpeedKey* previous, const SpeedKey& start, const SpeedKey& end,
                            const SpeedKey* next) noexcept {
    const auto handleKey = [](const SpeedKey* key) {
        return key != nullptr ? HandleKey{key->time, key->speed, key->type} : HandleKey{};
    };
    const HandleKey before = handleKey(previous);
    const HandleKey from = handleKey(&start);
    const HandleKey to = handleKey(&end);
    const HandleKey after = handleKey(next);
    const auto right = AutomaticRightHandle({previous != nullptr ? &before : nullptr, from, &to});
    const auto left = AutomaticLeftHandle({&from, to, next != nullptr ? &after : nullptr});
    return {start.time, start.speed, right.x, right.y,    end.time,
            end.speed,  left.x,      left.y,  start.type, end.type};
}

// Prepares the segments of a block whose keys are there. `previous` lies before them, the
// next two behind.
void PrepareSegments(MapBlock& block, const SpeedKey* previous, const SpeedKey* next,
                     const SpeedKey* afterNext) {
    const std::size_t count = block.keys.size();
    block.times.reserve(count);
    for (const SpeedKey& key : block.keys) {
        block.times.push_back(key.time);
    }
    const auto keyAt = [&](std::size_t i) -> const SpeedKey* {
        return i < count ? &block.keys[i] : i == count ? next : afterNext;
    };
    const std::size_t segments = next != nullptr ? count : count - 1;
    block.segments.resize(segments);
    for (std::size_t i = 0; i < segments; ++i) {
        const SpeedSegment s = SegmentBetween(i > 0 ? &block.keys[i - 1] : previous, block.keys[i],
                                              *keyAt(i + 1), keyAt(i + 2));
        SegmentCurve curve{};
        block.segments[i] = PrepareSegment(
            {s.t0, s.v0, s.right, s.rightY, s.t1, s.v1, s.left, s.leftY, s.type0, s.type1}, curve);
        if (block.segments[i].HasCurve()) {
            block.curves.resize(segments);
            block.curves[i] = curve;
        }
    }
    for (std::size_t i = 0; i < block.curves.size(); ++i) {
        if (block.segments[i].HasCurve()) {
            block.segments[i].curve = &block.curves[i];
        }
    }
    block.sums = std::make_unique<BlockAreas>(block.segments);
}

// Render times are counted from the first keyframe of the block.
std::unique_ptr<BlockExtension> MakeBlock(const Curve& speeds, std::size_t index) {
    // One keyframe before the block's, and two behind.
    std::array<SpeedKey, CurveBlock::kMost + 3> all;
    std::size_t count = 0;
    const CurveBlock& block = speeds.BlockAt(index);
    const std::size_t first = index > 0 ? 1 : 0;
    if (index > 0) {
        all[count++] = KeyOf(speeds.BlockAt(index - 1).keyframes.back());
    }
    for (const TimeValuePair& keyframe : block.keyframes) {
        all[count++] = KeyOf(keyframe);
    }
    const std::size_t end = count;
    for (std::size_t i = index + 1; i < speeds.BlockCount() && count < end + 2; ++i) {
        const std::vector<TimeValuePair>& keyframes = speeds.BlockAt(i).keyframes;
        for (std::size_t k = 0; k < keyframes.size() && count < end + 2; ++k) {
            all[count++] = KeyOf(keyframes[k]);
        }
    }

    auto made = std::make_unique<MapBlock>();
    made->stillSource.resize(end - first + 1);
    made->stillRender.resize(end - first + 1);
    std::array<SpeedKey, CurveBlock::kMost + 3> placed = all;
    double reached = 0.0;
    for (std::size_t i = first; i < count; ++i) {
        placed[i].time = reached;
        if (i + 1 == count) {
            break;
        }
        const double length = RenderLengthOf(all[i], all[i + 1], reached);
        reached += length;
        if (i < end) {
            made->canBeMoved = made->canBeMoved && length >= kLeastLength;
            made->length = reached;
            const bool isStill = CountsAsStill(all[i]);
            const double source = isStill ? all[i + 1].time - all[i].time : 0.0;
            const double render = isStill ? length : 0.0;
            made->stillSource[i - first + 1] = made->stillSource[i - first] + source;
            made->stillRender[i - first + 1] = made->stillRender[i - first] + render;
        }
    }
    if (first > 0) {
        placed[0].time = -RenderLengthOf(all[0], all[1], 0.0);
    }
    made->keys.assign(placed.begin() + static_cast<std::ptrdiff_t>(first),
                      placed.begin() + static_cast<std::ptrdiff_t>(end));
    PrepareSegments(*made, first > 0 ? placed.data() : nullptr,
                    end < count ? &placed[end] : nullptr,
                    end + 1 < count ? &placed[end + 1] : nullptr);
    return made;
}

// As a keyframe curve takes a point: in order, replacing those that it matches. Only
// negative speeds lead back.
void Insert(std::vector<SpeedKey>& keys, const SpeedKey& key) {
    const auto isBefore = [](const SpeedKey& other, double time) {
        return other.time < time && !TimesMatch(other.time, time);
    };
    if (keys.empty() || isBefore(keys.back(), key.time)) {
        keys.push_back(key);
        return;
    }
    const auto first = std::lower_bound(keys.begin(), keys.end(), key.time, isBefore);
    const auto last = std::find_if_not(first, keys.end(), [&key](const SpeedKey& other) {
        return TimesMatch(other.time, key.time);
    });
    keys.insert(keys.erase(first, last), key);
}

}  // namespace

TimeMap::TimeMap(Shared<Curve> curve, double length)
    : speeds(std::move(curve)), sourceLength(length) {
    if (speeds->Count() == 0) {
        return;
    }
    PlaceBlocks();
    if (blocks.empty()) {
        PlaceAsOne();
    }
    Index();
}

// Blocks are counted from their own start, which only moves them where no time is before 0
// and none is read as ticks.
void TimeMap::PlaceBlocks() {
    double offset = speeds->TimeOf(0);
    bool canBeMoved = offset >= 0.0;
    for (std::size_t i = 0; i < speeds->BlockCount() && canBeMoved; ++i) {
        const auto& block = static_cast<const MapBlock&>(
            speeds->BlockAt(i).extension.Get([&] { return MakeBlock(*speeds, i); }));
        blocks.push_back(&block);
        offsets.push_back(offset);
        offset += block.length;
        canBeMoved = block.canBeMoved && offset < kFirstTickCount;
    }
    if (!canBeMoved) {
        blocks.clear();
        offsets.clear();
    }
    renderLength = offset;
}

void TimeMap::PlaceAsOne() {
    whole = std::make_unique<MapBlock>();
    std::vector<SpeedKey> keys;
    keys.reserve(speeds->Count());
    for (std::size_t i = 0; i < speeds->BlockCount(); ++i) {
        for (const TimeValuePair& keyframe : speeds->BlockAt(i).keyframes) {
            keys.push_back(KeyOf(keyframe));
        }
    }
    bool goesBack = false;
    double reached = keys.front().time;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) {
            reached += RenderLengthOf(keys[i - 1], keys[i], reached);
            reached = reached <= 0.0 ? 0.0 : reached;
        }
        if (std::isfinite(reached)) {
            goesBack = goesBack || (!playedKeys.empty() && reached < playedKeys.back().time);
            playedKeys.push_back({reached, keys[i].speed, keys[i].type});
            Insert(whole->keys, playedKeys.back());
        }
    }
    if (goesBack || playedKeys.size() == whole->keys.size()) {
        playedKeys = {};
    }
    renderLength = reached;
    whole->stillSource = StillBefore(keys);
    whole->stillRender = StillBefore(whole->keys);
    PrepareSegments(*whole, nullptr, nullptr, nullptr);
    blocks = {whole.get()};
    offsets = {0.0};
}

void TimeMap::Index() {
    std::vector<AreaIndex::Block> rows;
    rows.reserve(blocks.size());
    double stillSource = 0.0;
    double stillRender = 0.0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const MapBlock& block = *blocks[i];
        before.push_back(renderCount);
        renderCount += block.keys.size();
        stillSourceBefore.push_back(stillSource);
        stillRenderBefore.push_back(stillRender);
        stillSource += block.stillSource.back();
        stillRender += block.stillRender.back();
        rows.push_back({block.times, block.segments, block.sums.get(), offsets[i]});
    }
    areas = std::make_unique<AreaIndex>(std::move(rows), RenderKey(0).speed,
                                        RenderKey(renderCount - 1).speed);
    lastTime = RenderKey(renderCount - 1).time;
    lastSourceTime = SourceTime(SourceCount() - 1);
    areaToZero = areas->Area(RenderKey(0).time, 0.0);
}

SpeedKey TimeMap::RenderKey(std::size_t index) const noexcept {
    const auto behind = std::upper_bound(before.begin(), before.end(), index);
    const auto block = static_cast<std::size_t>(behind - before.begin()) - 1;
    SpeedKey key = blocks[block]->keys[index - before[block]];
    key.time += offsets[block];
    return key;
}

SpeedSegment TimeMap::SegmentFrom(std::size_t index) const noexcept {
    const std::size_t count = SegmentStarts();
    const auto keyAt = [&](std::size_t i) {
        return playedKeys.empty() ? RenderKey(i) : playedKeys[i];
    };
    const SpeedKey previous = keyAt(index > 0 ? index - 1 : 0);
    const SpeedKey next = keyAt(std::min(index + 2, count - 1));
    return SegmentBetween(index > 0 ? &previous : nullptr, keyAt(index), keyAt(index + 1),
                          index + 2 < count ? &next : nullptr);
}

// On the axis of its block.
const SpeedKey* TimeMap::KeyAt(Place p) const noexcept {
    return &blocks[p.block]->keys[static_cast<std::size_t>(p.segment)];
}

// The index of the key that matches `t`, the nearer should two do so, or kNone. `p` is the
// place of `t`.
std::size_t TimeMap::MatchAt(Place p, double t) const noexcept {
    const bool hasBefore = !areas->IsBefore(p);
    const double timeBefore = hasBefore ? areas->StartOf(p) : 0.0;
    const Place next = areas->Next(p);
    const bool hasNext = !areas->IsAfter(p);
    const double timeAfter = hasNext ? areas->StartOf(next) : 0.0;
    const bool matchesBefore = hasBefore && TimesMatch(timeBefore, t);
    const bool matchesAfter = hasNext && TimesMatch(timeAfter, t);
    if (matchesBefore && matchesAfter) {
        return IndexOf(t - timeBefore <= timeAfter - t ? p : next);
    }
    return matchesBefore ? IndexOf(p) : matchesAfter ? IndexOf(next) : kNone;
}

double TimeMap::SourceOfRender(double t) const noexcept {
    if (renderCount == 0) {
        return t;
    }
    if (t >= lastTime) {
        return lastSourceTime;
    }
    if (!std::isfinite(t)) {
        return 0.0;
    }
    const Place place = areas->PlaceOf(t);
    const std::size_t match = MatchAt(place, t);
    if (match != kNone && IsOneToOne()) {
        return speeds->TimeOf(match);
    }
    const double source = areas->AreaUpTo(place, t) - areaToZero;
    return std::isnan(source) ? speeds->TimeOf(0) : source;
}

double TimeMap::RenderOfSource(double s) const noexcept {
    if (renderCount == 0) {
        return s;
    }
    // Before the exact keyframe, on purpose: at the length the curve has ended.
    if (s >= sourceLength) {
        return lastTime;
    }
    const std::size_t match = speeds->Find(s);
    if (match != Curve::kNone && IsOneToOne()) {
        return RenderKey(match).time;
    }
    return TimeOfArea(s);
}

// Source time is measured from 0 on a curve of speed 1 over the keyframes from there
// on; without one it has no length.
double TimeMap::TimeOfArea(double area) const noexcept {
    if (lastSourceTime < 0.0 || std::fabs(area) < kNegligible) {
        return 0.0;
    }
    double t = 0.0;
    if (!std::isfinite(area) || !areas->Solve(0.0, area, 1.0, t) || std::isnan(t)) {
        ReportUnsolved("core::BigParameterImpl::SolveTimeBaseArea", 2247);
        return lastTime;
    }
    return t;
}

// Whether no source passes from a render key to the next.
bool TimeMap::StandsStillFrom(Place p) const noexcept {
    if (areas->IsBefore(p) || areas->IsAfter(p)) {
        return false;
    }
    const SpeedKey& start = *KeyAt(p);
    return IsStill(start) && areas->StartOf(p) >= 0.0 &&
           (start.type == KeyframeInterpolationType::Hold || IsStill(*KeyAt(areas->Next(p))));
}

double TimeMap::PointOfRender(double t) const noexcept {
    if (renderCount == 0) {
        return t;
    }
    const Place place = areas->PlaceOf(t);
    const std::size_t match = MatchAt(place, t);
    if (match != kNone && IsOneToOne()) {
        return speeds->TimeOf(match);
    }
    if (areas->IsBefore(place)) {
        return SourceOfRender(t);
    }
    const double within = StandsStillFrom(place) ? t - areas->StartOf(place) : 0.0;
    const double still = stillRenderBefore[place.block] +
                         blocks[place.block]->stillRender[static_cast<std::size_t>(place.segment)];
    return SourceOfRender(t) + still + within;
}

bool TimeMap::FindPoint(double p, double& render) const noexcept {
    if (!IsOneToOne()) {
        return false;
    }
    const std::size_t match = speeds->Find(p);
    if (match != Curve::kNone) {
        render = RenderKey(match).time;
        return true;
    }
    const std::size_t next = speeds->UpperBound(p);
    if (next == 0) {
        return false;
    }
    const double start = RenderKey(next - 1).time;
    if (StandsStillFrom(areas->PlaceOf(start))) {
        render = start + (p - speeds->TimeOf(next - 1));
        return true;
    }
    return false;
}

// Segments that start at speed 0 before the point are taken off it.
double TimeMap::SourceOfPoint(double p) const noexcept {
    const std::size_t next = speeds->UpperBound(p);
    if (next == 0) {
        return p;
    }
    if (whole != nullptr) {
        return p - whole->stillSource[next - 1];
    }
    const auto behind = std::upper_bound(before.begin(), before.end(), next - 1);
    const auto block = static_cast<std::size_t>(behind - before.begin()) - 1;
    return p - (stillSourceBefore[block] + blocks[block]->stillSource[next - 1 - before[block]]);
}

double TimeMap::RenderOfPoint(double p) const noexcept {
    double render = 0.0;
    // Kept on purpose: callers' freezes were placed with the rules for source times,
    // where what is left of the point meets the length or a keyframe exactly too.
    return FindPoint(p, render) ? render : RenderOfSource(SourceOfPoint(p));
}

double TimeMap::RenderOfInstant(double p) const noexcept {
    double render = p;
    return renderCount == 0 || FindPoint(p, render) ? render : TimeOfArea(SourceOfPoint(p));
}

// Both parts of the segment, or the new one behind the last keyframe, take the time that the
// map gives them, and no slope of a neighbour runs through the new keyframe.
bool TimeMap::StaysWithKeyframeAt(double p, double t) const noexcept {
    using Type = KeyframeInterpolationType;
    const std::size_t next = speeds->UpperBound(p);
    if (!IsOneToOne() || next == 0) {
        return false;
    }
    const bool isBehindAll = next == speeds->Count();
    const auto followsNoSlope = [](const SpeedKey& key) {
        return key.type == Type::Hold || key.type == Type::Linear || key.type == Type::HermiteFlat;
    };
    const SpeedKey start = RenderKey(next - 1);
    const SpeedKey end = isBehindAll ? start : RenderKey(next);
    if (start.type == Type::HermiteFlat || !followsNoSlope(start) || !followsNoSlope(end)) {
        return false;
    }
    const double tolerance = kSplitRounding * (1.0 + std::fabs(t));
    const auto takes = [=](const SpeedKey& from, const SpeedKey& to, double length) {
        return std::fabs(RenderLengthOf(from, to, 0.0) - length) <= tolerance;
    };
    const SpeedKey added{p, SpeedAt(t), start.type};
    return IsStill(start) == IsStill(added) &&
           takes({speeds->TimeOf(next - 1), start.speed, start.type}, added, t - start.time) &&
           (isBehindAll || takes(added, {speeds->TimeOf(next), end.speed, end.type}, end.time - t));
}

double TimeMap::SpeedAt(double t) const noexcept {
    if (renderCount == 0) {
        return 0.0;
    }
    const Place place = areas->PlaceOf(t);
    if (areas->IsBefore(place)) {
        return RenderKey(0).speed;
    }
    const double held = KeyAt(place)->speed;
    if (areas->IsAfter(place)) {
        return held;
    }
    const MapBlock& block = *blocks[place.block];
    const double speed = SampleSegment(block.segments[static_cast<std::size_t>(place.segment)],
                                       t - offsets[place.block]);
    return std::isnan(speed) ? held : speed;
}

int TimeMap::KeyframeAt(double s) const noexcept {
    const std::size_t match = speeds->Find(s);
    return match == Curve::kNone ? -1 : static_cast<int>(match);
}

}  // namespace core
