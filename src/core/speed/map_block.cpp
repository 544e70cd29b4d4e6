#include "core/speed/map_block.h"

#include "core/curve/handles.h"
#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>

namespace core {
namespace {

// Render times further apart than this stay apart, and in order, wherever they are moved.
constexpr double kLeastLength = 1e-6;

bool CountsAsStill(const SpeedKey& key) noexcept {
    return IsStill(key) && key.time >= 0.0;
}

// For each key the length of the still segments that start before it, from time 0 on, and
// once more behind the last one. Empty without any.
std::vector<double> StillBefore(std::span<const SpeedKey> keys, const SpeedKey* next) {
    if (std::none_of(keys.begin(), keys.end(), CountsAsStill)) {
        return {};
    }
    std::vector<double> before(keys.size() + 1, 0.0);
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const SpeedKey* const end = i + 1 < keys.size() ? &keys[i + 1] : next;
        const bool counts = CountsAsStill(keys[i]) && end != nullptr;
        before[i + 1] = before[i] + (counts ? end->time - keys[i].time : 0.0);
    }
    return before;
}

bool RunsForward(const BlockAreas& sums) noexcept {
    for (std::size_t i = 0; i < sums.highest.size(); ++i) {
        if (sums.lowest[i] < sums.upTo[i].high || sums.highest[i] > sums.upTo[i + 1].high) {
            return false;
        }
    }
    return std::isfinite(sums.upTo.back().high);
}

// What follows from the keys of a block, which are there. `previous` lies before them, the
// next two behind.
void Prepare(MapBlock& block, const SpeedKey* previous, const SpeedKey* next,
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
    block.segments = SegmentRow(segments);
    for (std::size_t i = 0; i < segments; ++i) {
        const SpeedSegment s = SegmentBetween(i > 0 ? &block.keys[i - 1] : previous, block.keys[i],
                                              *keyAt(i + 1), keyAt(i + 2));
        SegmentCurve curve{};
        PrepareSegment(
            {s.t0, s.v0, s.right, s.rightY, s.t1, s.v1, s.left, s.leftY, s.type0, s.type1},
            &block.segments[i], curve);
        if (block.segments[i].HasCurve()) {
            block.curves.resize(segments);
            block.curves[i] = curve;
        }
    }
    for (std::size_t i = 0; i < block.curves.size(); ++i) {
        if (block.segments[i].HasCurve()) {
            block.segments[i].Refer(&block.curves[i]);
        }
    }
    block.sums = std::make_unique<BlockAreas>(block.segments);
    block.runsForward = RunsForward(*block.sums);
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

SpeedKey KeyOf(const TimeValuePair& keyframe) {
    return {keyframe.GetTime(), keyframe.PeekValue().AsDouble(), keyframe.GetInterpolation()};
}

bool IsStill(const SpeedKey& key) noexcept {
    return std::fabs(key.speed) < kNegligible;
}

// One whose speeds cancel never ends by the formula; it takes what one that stands still
// takes.
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

std::unique_ptr<MapBlock> MakeMapBlock(const Curve& speeds, std::size_t index) {
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
    std::array<SpeedKey, CurveBlock::kMost + 3> placed = all;
    double reached = 0.0;
    for (std::size_t i = first; i < count; ++i) {
        placed[i].time = reached;
        if (i + 1 < count) {
            const double length = RenderLengthOf(all[i], all[i + 1], reached);
            reached += length;
            made->canBeMoved = made->canBeMoved && (i >= end || length >= kLeastLength);
            made->length = i < end ? reached : made->length;
        }
    }
    if (first > 0) {
        placed[0].time = -RenderLengthOf(all[0], all[1], 0.0);
    }
    const auto part = [first, end](const auto& keys) {
        return std::span<const SpeedKey>(keys).subspan(first, end - first);
    };
    made->keys.assign(part(placed).begin(), part(placed).end());
    made->stillSource = StillBefore(part(all), end < count ? &all[end] : nullptr);
    made->stillRender = StillBefore(part(placed), end < count ? &placed[end] : nullptr);
    Prepare(*made, first > 0 ? placed.data() : nullptr, end < count ? &placed[end] : nullptr,
            end + 1 < count ? &placed[end + 1] : nullptr);
    for (std::size_t i = 0; i < made->sums->upTo.size(); ++i) {
        const double wanted = all[first + i].time - all[first].time;
        const double missed = std::fabs(made->sums->upTo[i].high - wanted);
        made->mostMissed = std::max(made->mostMissed, missed);
    }
    return made;
}

std::unique_ptr<WholeMap> MakeWholeMap(const Curve& speeds) {
    std::vector<SpeedKey> keys;
    keys.reserve(speeds.Count());
    for (std::size_t i = 0; i < speeds.BlockCount(); ++i) {
        for (const TimeValuePair& keyframe : speeds.BlockAt(i).keyframes) {
            keys.push_back(KeyOf(keyframe));
        }
    }
    auto made = std::make_unique<WholeMap>();
    std::vector<SpeedKey>& placed = made->block.keys;
    double reached = keys.front().time;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) {
            reached += RenderLengthOf(keys[i - 1], keys[i], reached);
            reached = reached <= 0.0 ? 0.0 : reached;
        }
        if (std::isfinite(reached)) {
            made->goesBack =
                made->goesBack || (!made->played.empty() && reached < made->played.back().time);
            made->played.push_back({reached, keys[i].speed, keys[i].type});
            Insert(placed, made->played.back());
        }
    }
    if (made->goesBack || made->played.size() == placed.size()) {
        made->played = {};
    }
    made->renderLength = reached;
    for (const SpeedKey& key : keys) {
        made->sourceTimes.push_back(key.time);
    }
    made->block.stillSource = StillBefore(keys, nullptr);
    made->block.stillRender = StillBefore(placed, nullptr);
    Prepare(made->block, nullptr, nullptr, nullptr);
    made->block.mostMissed = std::numeric_limits<double>::infinity();
    return made;
}

}  // namespace core
