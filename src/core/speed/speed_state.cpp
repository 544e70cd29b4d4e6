#include "core/speed/speed_state.h"

#include "core/foundation/report.h"
#include "core/speed/speed_text.h"

#include <core/data/json_doc.h>
#include <core/speed/speed_parameter.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <span>
#include <tuple>
#include <utility>

namespace core {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void ReportNoKeyframes() {
    ReportUnsolved("core::SpeedParameterImpl::GetRenderTotalTime0", 511);
}

bool IsSame(const Freeze& a, const Freeze& b) noexcept {
    return a.key == b.key && a.duration == b.duration && a.sourceTime == b.sourceTime;
}

// How many freezes are the same from the first one on.
std::size_t CommonStart(std::span<const Freeze> a, std::span<const Freeze> b) noexcept {
    const auto ends = std::mismatch(a.begin(), a.end(), b.begin(), b.end(), IsSame);
    return static_cast<std::size_t>(ends.first - a.begin());
}

// The time in both maps up to which they have the same speeds, where they have this many
// keyframes in common and are in order.
double SameUntil(const TimeMap& a, const TimeMap& b, std::size_t keys) noexcept {
    if (keys == 0) {
        return -kInfinity;
    }
    // A segment takes from the keyframe before its own two and from the one behind them.
    for (std::size_t i = keys > 3 ? keys - 3 : 0;; ++i) {
        const double start = std::min(a.RenderKey(i).time, b.RenderKey(i).time);
        if (i + 1 >= std::min(a.RenderCount(), b.RenderCount()) || i >= keys) {
            return start;
        }
        const SpeedSegment ofA = a.SegmentFrom(i);
        const SpeedSegment ofB = b.SegmentFrom(i);
        const auto numbers = [](const SpeedSegment& s) {
            return std::tie(s.t0, s.v0, s.right, s.rightY, s.t1, s.v1, s.left, s.leftY, s.type0,
                            s.type1);
        };
        if (numbers(ofA) != numbers(ofB)) {
            const bool isHeld = ofA.type0 == KeyframeInterpolationType::Hold && ofA.t0 == ofB.t0;
            return isHeld ? std::min(ofA.t1, ofB.t1) : start;
        }
    }
}

}  // namespace

SpeedState::SpeedState(Shared<Curve> curve, Shared<SpeedParameterFreezeImpl> list, double length,
                       double fps)
    : keyframes(std::move(curve)),
      freezes(std::move(list)),
      sourceTotalTime(length),
      sourceFPS(fps) {}

const TimeMap& SpeedState::Map() const {
    return map.Get([this] {
        if (keyframes->Count() == 0) {
            ReportNoKeyframes();
        }
        return std::make_unique<TimeMap>(*keyframes, sourceTotalTime);
    });
}

const PlacedFreezes& SpeedState::Placed() const {
    const PlacedFreezes* const made = placed.Peek();
    return made != nullptr
               ? *made
               : placed.Get([this] { return std::make_unique<PlacedFreezes>(*freezes, Map()); });
}

double SpeedState::RenderTotalTime() const {
    if (keyframes->Count() == 0 && map.Peek() != nullptr) {
        ReportNoKeyframes();
    }
    return Map().RenderLength() + freezes->TotalDuration();
}

FreezeFrame SpeedState::FreezeAt(std::size_t index) const {
    const Freeze& freeze = freezes->Freezes()[index];
    return {freeze.key, freeze.duration, freeze.sourceTime, Placed().RenderStart(index)};
}

const SpeedParameterEx& SpeedState::Reversed() const {
    return reversed.Get([this] { return std::make_unique<SpeedParameterEx>(Map(), *freezes); });
}

void SpeedState::GiveReversed(const SpeedState& other) const {
    reversed.Get(
        [&other] { return std::make_unique<SpeedParameterEx>(other.Map(), *other.freezes); });
}

Velocity SpeedState::VelocityAt(int index, bool inReverse, bool isReverted) const {
    if (inReverse) {
        return isReverted ? Reversed().VelocityAt(index) : Velocity{};
    }
    const std::vector<VelocityStretch>& all = stretches.Get([this] {
        return std::make_unique<std::vector<VelocityStretch>>(ListStretches(Map(), *freezes));
    });
    if (index < 0 || static_cast<std::size_t>(index) >= all.size()) {
        return {};
    }
    const int keyframe = all[static_cast<std::size_t>(index)].keyframe;
    if (keyframe == VelocityStretch::kFreeze) {
        return {};
    }
    if (!HasVelocity(Map(), keyframe)) {
        ReportUnsolved("core::SpeedParameterImpl::GetVelocityTimeCurve0", 920);
        return {};
    }
    return VelocityFrom(Map(), keyframe, Direction::Forward);
}

const Parameter& SpeedState::RenderCurve() const {
    return renderCurve.Get([this] {
        auto made = std::make_unique<Parameter>();
        for (std::size_t i = 0; i < Map().RenderCount(); ++i) {
            const SpeedKey key = Map().RenderKey(i);
            made->AddPoint(key.time, key.speed, key.type);
        }
        return made;
    });
}

// The last one has no segment; it too must be a number.
const std::vector<std::size_t>& SpeedState::NearZeroSpeeds() const {
    return nearZeroSpeeds.Get([this] {
        auto found = std::make_unique<std::vector<std::size_t>>();
        std::size_t index = 0;
        for (std::size_t block = 0; block < keyframes->BlockCount(); ++block) {
            for (const TimeValuePair& keyframe : keyframes->BlockAt(block).keyframes) {
                const double speed = keyframe.PeekValue().AsDouble();
                if (std::fabs(speed) < kNearZeroSpeed && index + 1 < keyframes->Count()) {
                    found->push_back(index);
                }
                ++index;
            }
        }
        return found;
    });
}

std::string SpeedState::Text(int flag) const {
    const auto write = [this, flag] {
        // By way of a tree, whose writer gives the numbers their stored form.
        JsonDoc document;
        document.Parse(keyframes->Text().c_str());
        std::vector<WrittenFreeze> written;
        written.reserve(freezes->Freezes().size());
        for (const Freeze& freeze : freezes->Freezes()) {
            const std::size_t keyframe = keyframes->Find(freeze.sourceTime);
            written.push_back(
                {freeze.key, freeze.duration,
                 keyframe != Curve::kNone ? keyframes->TimeOf(keyframe) : freeze.sourceTime});
        }
        WriteSpeedMembers(document.Root().AsObject(), {sourceTotalTime, sourceFPS, flag}, written);
        auto made = std::make_unique<WrittenText>();
        made->reverse = flag;
        document.Root().DumpToTail(made->text);
        return made;
    };
    const WrittenText& kept = texts[flag != 0 ? 1 : 0].Get(write);
    return kept.reverse == flag ? kept.text : write()->text;
}

bool SpeedState::AreSame(const SpeedState& a, const SpeedState& b) {
    const std::size_t count = a.keyframes->Count();
    const std::size_t frozen = a.freezes->Freezes().size();
    return &a == &b ||
           (a.sourceTotalTime == b.sourceTotalTime && a.sourceFPS == b.sourceFPS &&
            frozen == b.freezes->Freezes().size() &&
            CommonStart(a.freezes->Freezes(), b.freezes->Freezes()) == frozen &&
            count == b.keyframes->Count() && Curve::HaveSameSettings(*a.keyframes, *b.keyframes) &&
            Curve::CommonStart(*a.keyframes, *b.keyframes) == count);
}

// Up to where both play the same, and behind the ends of both each shows its last keyframe;
// what lies between is mostly moved.
TimeRange SpeedState::ChangedBetween(const SpeedState& a, const SpeedState& b) {
    constexpr double kTolerance = SpeedParameterFreezeImpl::kTolerance;
    const std::size_t keys = Curve::CommonStart(*a.keyframes, *b.keyframes);
    const std::size_t frozen = CommonStart(a.freezes->Freezes(), b.freezes->Freezes());
    const bool haveSameKeys = keys == a.keyframes->Count() && keys == b.keyframes->Count();
    if (haveSameKeys && frozen == a.freezes->Freezes().size() &&
        frozen == b.freezes->Freezes().size()) {
        return {};
    }
    TimeRange changed{-kInfinity, kInfinity};
    // Before a first keyframe that lies behind 0, render time is no longer that of the map.
    const auto isMapped = [](const SpeedState& state) {
        return state.keyframes->Count() > 0 && state.keyframes->TimeOf(0) < kTolerance &&
               state.Map().IsInOrder();
    };
    if (!isMapped(a) || !isMapped(b)) {
        return changed;
    }
    // Freezes behind the last keyframe are played behind its end.
    const auto end = [](const SpeedState& state) {
        return state.keyframes->TimeOf(state.keyframes->Count() - 1);
    };
    const auto endsThere = [end](const SpeedState& state) {
        const auto& listed = state.freezes->Freezes();
        return listed.empty() || listed.back().sourceTime <= end(state);
    };
    // A freeze whose source time the speeds never reach is shown behind the end of the clip.
    const auto shownUntil = [](const SpeedState& state) {
        const auto& listed = state.freezes->Freezes();
        const double length = state.Placed().RenderLength();
        return listed.empty() ? length
                              : std::max(length, state.Placed().RenderStart(listed.size() - 1) +
                                                     listed.back().duration);
    };
    if (end(a) == end(b) && endsThere(a) && endsThere(b)) {
        changed.to = std::max(shownUntil(a), shownUntil(b)) + kTolerance;
    }
    const double mapTime = haveSameKeys ? kInfinity : SameUntil(a.Map(), b.Map(), keys);
    changed.from = kInfinity;
    for (const SpeedState* state : {&a, &b}) {
        const PlacedFreezes& placed = state->Placed();
        std::size_t before = 0;
        while (before < frozen && placed.MapTime(before) < mapTime) {
            ++before;
        }
        const bool lacksOne = before == frozen && frozen < state->freezes->Freezes().size();
        const double shifted = mapTime + state->freezes->DurationBefore(before);
        const double from = lacksOne ? std::min(placed.RenderStart(frozen), shifted) : shifted;
        changed.from = std::min(changed.from, from - kTolerance);
    }
    return changed;
}

}  // namespace core
