#include "core/speed/clip_row.h"

#include "core/speed/straight_speeds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

// A stretch is kept with its keyframe, or it is replaced: by one keyframe where its speed is
// held or straight, else by several. A stretch is kept while its speeds run as they did, which
// depends on the keyframes around it; so each that is replaced is a question to those beside it.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// So long before a jump of the speed a ramp ends. Ten times as much would be seen in the sixth
// digit of the source time, a tenth would make segments that are searched one by one.
constexpr double kJump = 1e-5;

// Speeds that differ by less of their size are one.
constexpr double kSpeedRounding = 1e-9;

// A source time that is worked out may differ by this part from the keyframe that it meets.
constexpr double kSourceRounding = 1e-9;

bool IsNear(double a, double b) noexcept {
    return std::fabs(a - b) <= kSpeedRounding * (std::fabs(a) + std::fabs(b));
}

NoClip RunsBackwardsAt(double mapTime) {
    return NoClip("the clip runs backwards at " + std::to_string(mapTime) +
                  " s, freezes not counted");
}

// A keyframe as no neighbour is: what it says anything about, says something else.
SpeedKey Another(const SpeedSegment& s, double side) noexcept {
    return {(side < 0.0 ? s.t0 : s.t1) + side * 0.731 * (s.t1 - s.t0),
            1.37 * s.v0 + 0.5 * s.v1 + 0.771, Type::Linear};
}

struct MadeKey {
    double source;
    TimeValuePair keyframe;
    HandSet sides;
};

// The curve as it grows.
class CurveMaker {
public:
    explicit CurveMaker(double sourceStart) noexcept : source(sourceStart) {}

    double Source() const noexcept { return source; }
    void Meet(double keyframeSource) noexcept { source = keyframeSource; }
    void Keep(const PlayedStretch& s) {
        if (s.curve == nullptr) {
            Put(s.speeds.v0, s.speeds.type0);
            return;
        }
        if (s.curve != handSetsOf) {
            handSets = s.curve->HandSets();
            handSetsOf = s.curve;
        }
        keys.push_back({source, (*s.curve)[s.keyframe], handSets[s.keyframe]});
    }
    void Put(double speed, Type type) {
        keys.push_back({source, TimeValuePair(0.0, speed, type), {}});
    }
    void Run(double speed, Type type, double shown) {
        Put(speed, type);
        source += shown;
    }
    Shared<Curve> Finish(const Curve& settings) {
        std::vector<TimeValuePair> keyframes;
        std::vector<HandSet> sides;
        keyframes.reserve(keys.size());
        sides.reserve(keys.size());
        for (MadeKey& key : keys) {
            if (!keyframes.empty() && !(key.source - keyframes.back().GetTime() > kTimeTolerance)) {
                throw NoClip("two keyframes would be one at " + std::to_string(key.source) + " s");
            }
            keyframes.push_back(std::move(key.keyframe));
            keyframes.back().SetTime(key.source);
            sides.push_back(key.sides);
        }
        Shared<Curve> made = settings.WithKeyframes(std::move(keyframes), std::move(sides));
        if (made->Type() == ParameterInt) {
            made.Own().SetType(ParameterDouble);
        }
        return made;
    }

private:
    double source;
    std::vector<MadeKey> keys;
    std::vector<HandSet> handSets;
    const Curve* handSetsOf = nullptr;
};

// Whether what is played of a stretch has no room for a keyframe of its own.
bool IsTooShort(const PlayedStretch& s) noexcept {
    return s.to - s.from < kLeastPiece || s.IsStill() || std::fabs(s.Shown()) <= kLeastPiece;
}

}  // namespace

// Rows

double ClipRow::RunningSource(const SpeedState& clip, double mapTime) {
    const TimeMap& map = clip.Map();
    const SpeedKey first = map.RenderKey(0);
    if (mapTime <= first.time && first.time >= 0.0) {
        return first.speed * mapTime;
    }
    double shown = std::max(first.time, 0.0) * first.speed;
    for (std::size_t i = 0; i + 1 < map.SegmentStarts(); ++i) {
        const SpeedSegment s = map.SegmentFrom(i);
        if (s.t0 >= mapTime) {
            break;
        }
        if (s.t1 > 0.0) {
            shown += PlayedSpeeds(s).Shown(std::max(s.t0, 0.0), std::min(s.t1, mapTime));
        }
    }
    return shown;
}

MapRange ClipRow::Add(const SpeedState& clip, double from, double to) {
    const TimeMap& map = clip.Map();
    const std::size_t count = map.SourceCount();
    const PlacedFreezes& placed = clip.Placed();
    const auto all = clip.freezes->Freezes();
    if (count == 0) {
        throw NoClip("the clip has no keyframes");
    }
    if (!(from >= 0.0 && to - from >= kTimeTolerance &&
          to <= placed.RenderLength() + kTimeTolerance)) {
        throw NoClip("the times don't lie in the clip, in order");
    }
    if (!map.IsOneToOne() || !(map.RenderLength() < kFirstTickCount)) {
        throw NoClip("keyframes of the clip meet on the timeline, or lie too far away");
    }
    const auto playedOf = [&](std::size_t i, double a, double b) {
        const double start = placed.RenderStart(i);
        return std::max(std::min(b, start + all[i].duration) - std::max(a, start), 0.0);
    };
    const auto inMap = [&](double t) {
        double frozen = 0.0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            frozen += playedOf(i, -std::numeric_limits<double>::infinity(), t);
        }
        return std::clamp(t - frozen, 0.0, std::max(map.RenderLength(), 0.0));
    };
    MapRange range{inMap(from), inMap(to)};
    restSpeed = map.SpeedAt(range.from);

    const SpeedKey first = map.RenderKey(0);
    const bool isFromStart = range.from < kTimeTolerance && stretches.empty();
    bool runsUpToFirst = range.from < first.time - kTimeTolerance;
    std::size_t freeze = 0;
    while (freeze < all.size() && playedOf(freeze, from, to) < kTimeTolerance) {
        ++freeze;
    }
    if (runsUpToFirst && isFromStart && range.to > first.time &&
        (freeze == all.size() || placed.MapTime(freeze) >= first.time)) {
        sourceStart = map.SourceTime(0);
        runsUpToFirst = false;
    }
    if (isFromStart && first.time < 0.0) {
        range.from = sourceStart = first.time;
    }
    // Up to each freeze, and to the end.
    const auto addUntil = [&](PlayedStretch whole, double until) {
        whole.from = std::max(whole.from, range.from);
        whole.to = std::min(whole.to, until);
        if (whole.to > whole.from) {
            AddPart(whole);
        }
    };
    std::size_t next = 0;
    while (next + 2 < count && map.RenderKey(next + 1).time < range.from + kTimeTolerance) {
        ++next;
    }
    double reached = range.from;
    const auto runTo = [&](double end) {
        if (runsUpToFirst) {
            const double until = std::min(first.time, end);
            addUntil({{0.0, first.speed, 0.0, 0.0, first.time, first.speed, 0.0, 0.0, Type::Hold,
                       Type::Hold},
                      reached,
                      until,
                      0.0,
                      map.SourceTime(0),
                      nullptr,
                      0},
                     until);
            runsUpToFirst = end < first.time;
        }
        for (; next + 1 < count; ++next) {
            const SpeedSegment s = map.SegmentFrom(next);
            if (!(s.t1 > s.t0)) {
                throw NoClip("keyframes of the clip meet on the timeline");
            }
            if (s.t0 > end - kTimeTolerance) {
                break;
            }
            const double begin = std::max(s.t0, reached);
            // Rounding makes no part of a whole.
            const double start = begin - s.t0 < kTimeTolerance ? s.t0 : begin;
            const double stop = s.t1 - end < kTimeTolerance ? s.t1 : end;
            addUntil({s, start, stop, map.SourceTime(next), map.SourceTime(next + 1),
                      clip.keyframes.get(), next},
                     stop);
            if (stop < s.t1) {
                break;
            }
        }
        reached = std::max(reached, end);
    };
    // Rounding of the range must not cut what starts it.
    range.from -= kTimeTolerance;
    for (; freeze < all.size(); ++freeze) {
        const double played = playedOf(freeze, from, to);
        if (played >= kTimeTolerance) {
            if (all[freeze].sourceTime > map.SourceTime(count - 1) + kTimeTolerance) {
                throw NoClip("freeze " + std::to_string(freeze) + " lies behind the last keyframe");
            }
            runTo(std::clamp(placed.MapTime(freeze), reached, range.to));
            AddFreeze(played, all[freeze].keepsKeyframe);
        }
    }
    runTo(range.to);
    range.from = isFromStart && first.time < 0.0 ? 0.0 : inMap(from);
    return range;
}

// What is too short for a keyframe of its own stands still.
void ClipRow::AddPart(const PlayedStretch& stretch) {
    if (stretch.IsWhole() || !IsTooShort(stretch)) {
        stretches.push_back(stretch);
    } else if (stretch.to - stretch.from >= kTimeTolerance) {
        AddFreeze(stretch.to - stretch.from, true);
    }
}

void ClipRow::AddHeld(double speed, double source) {
    const double seconds = source / speed;
    stretches.push_back({{0.0, speed, 0.0, 0.0, seconds, speed, 0.0, 0.0, Type::Hold, Type::Hold},
                         0.0,
                         seconds,
                         0.0,
                         source,
                         nullptr,
                         0});
}

void ClipRow::AddAtSpeed(const SpeedState& clip, double from, double to, double speed) {
    ClipRow played;
    played.Add(clip, from, to);
    if (played.sourceStart < 0.0) {
        throw NoClip("the clip has a keyframe before 0");
    }
    const std::size_t before = stretches.size();
    // What comes before a first keyframe is played at its speed.
    double shown = played.sourceStart * clip.Map().RenderKey(0).speed;
    const auto run = [&] {
        if (shown < 0.0) {
            throw NoClip("the clip runs backwards there");
        }
        if (shown > kLeastPiece) {
            AddHeld(speed, shown);
            shown = 0.0;
        }
    };
    std::size_t freeze = 0;
    for (std::size_t i = 0; i <= played.stretches.size(); ++i) {
        for (; freeze < played.freezes.size() && played.freezes[freeze].before == i; ++freeze) {
            const PlayedFreeze& f = played.freezes[freeze];
            run();
            AddFreeze(f.duration, f.keepsKeyframe);
        }
        if (i < played.stretches.size()) {
            shown += played.stretches[i].Shown();
        }
    }
    run();
    if (stretches.size() == before) {
        throw NoClip("the clip shows no source there");
    }
}

void ClipRow::AddFreeze(double seconds, bool keepsKeyframe) {
    if (!freezes.empty() && freezes.back().before == stretches.size()) {
        freezes.back().duration += seconds;
    } else {
        freezes.push_back({stretches.size(), seconds, keepsKeyframe});
    }
}

void ClipRow::MergeAt(std::size_t index) {
    if (index == 0 || index >= stretches.size()) {
        return;
    }
    const auto stands = [index](const PlayedFreeze& f) { return f.before == index; };
    const PlayedStretch& a = stretches[index - 1];
    const PlayedStretch& b = stretches[index];
    const double lengthOfA = a.to - a.from;
    const double lengthOfB = b.to - b.from;
    const bool meet = IsNear(a.SpeedAt(a.to), b.SpeedAt(b.from)) && a.IsStraight() &&
                      b.IsStraight() && a.IsHeld() == b.IsHeld() && !a.IsStill();
    const double rises = (a.SpeedAt(a.to) - a.SpeedAt(a.from)) * lengthOfB;
    const double risesOn = (b.SpeedAt(b.to) - b.SpeedAt(b.from)) * lengthOfA;
    const double size = std::fabs(a.speeds.v0) + std::fabs(b.speeds.v1);
    if (std::any_of(freezes.begin(), freezes.end(), stands) || !meet ||
        (!a.IsHeld() &&
         std::fabs(rises - risesOn) > kSpeedRounding * size * std::max(lengthOfA, lengthOfB))) {
        return;
    }
    PlayedStretch merged = a;
    merged.from = merged.speeds.t0 = 0.0;
    merged.to = merged.speeds.t1 = lengthOfA + lengthOfB;
    merged.speeds.v0 = a.SpeedAt(a.from);
    merged.speeds.v1 = a.IsHeld() ? merged.speeds.v0 : b.SpeedAt(b.to);
    merged.speeds.type0 = a.IsHeld() ? Type::Hold : Type::Linear;
    merged.speeds.type1 = Type::Linear;
    merged.speeds.right = merged.speeds.left =
        (merged.speeds.v1 - merged.speeds.v0) / merged.speeds.t1;
    merged.sourceStart = 0.0;
    merged.sourceEnd = a.Shown() + b.Shown();
    merged.curve = nullptr;
    stretches[index - 1] = merged;
    stretches.erase(stretches.begin() + static_cast<std::ptrdiff_t>(index));
    for (PlayedFreeze& freeze : freezes) {
        freeze.before -= freeze.before > index ? 1 : 0;
    }
}

// What is kept

double ClipRow::StartSpeed(std::size_t index, bool isKept) const noexcept {
    const PlayedStretch& s = stretches[index];
    return isKept || s.IsHeld() ? s.speeds.v0 : std::max(s.SpeedAt(s.from), kSlowest);
}

bool ClipRow::StaysSame(std::size_t index, const std::vector<bool>& kept) const {
    const PlayedStretch& s = stretches[index];
    if (s.IsHeld()) {
        return true;
    }
    if (s.curve == nullptr) {
        return index + 1 == stretches.size() ||
               StartSpeed(index + 1, kept[index + 1]) == s.speeds.v1;
    }
    const auto staysBeside = [&](std::size_t a, std::size_t b) {
        return kept[a] && kept[b] && stretches[a].LeadsTo(stretches[b]);
    };
    std::optional<SpeedKey> previous;
    std::optional<SpeedKey> next;
    SpeedKey end{s.speeds.t1, s.speeds.v1, s.speeds.type1};
    if (index > 0) {
        const PlayedStretch& before = stretches[index - 1];
        previous = staysBeside(index - 1, index)
                       ? SpeedKey{before.speeds.t0, before.speeds.v0, before.speeds.type0}
                       : Another(s.speeds, -1.0);
        // A straight speed can't end at a Bezier.
        const bool isMade = !kept[index - 1] || before.curve == nullptr;
        if (isMade && !before.IsHeld() && IsBezier(s.speeds.type0)) {
            return false;
        }
    }
    if (index + 1 < stretches.size()) {
        const PlayedStretch& behind = stretches[index + 1];
        const bool isBeside = staysBeside(index, index + 1);
        next = isBeside ? SpeedKey{behind.speeds.t1, behind.speeds.v1, behind.speeds.type1}
                        : Another(s.speeds, 1.0);
        end.type = kept[index + 1] || behind.IsHeld() ? behind.speeds.type0 : Type::Linear;
        if (StartSpeed(index + 1, kept[index + 1]) != end.speed) {
            return false;
        }
    }
    const SpeedKey start{s.speeds.t0, s.speeds.v0, s.speeds.type0};
    const SpeedSegment now =
        SegmentBetween(previous ? &*previous : nullptr, start, end, next ? &*next : nullptr);
    return PlayedSpeeds(now).IsSame(PlayedSpeeds(s.speeds));
}

std::vector<bool> ClipRow::FindKept() const {
    std::vector<bool> kept;
    std::vector<std::size_t> asked;
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        kept.push_back(stretches[i].IsWhole());
        asked.push_back(i);
    }
    while (!asked.empty()) {
        const std::size_t i = asked.back();
        asked.pop_back();
        if (kept[i] && !StaysSame(i, kept)) {
            kept[i] = false;
            if (i > 0) {
                asked.push_back(i - 1);
            }
            if (i + 1 < kept.size()) {
                asked.push_back(i + 1);
            }
        }
    }
    return kept;
}

// The curve

Shared<SpeedState> ClipRow::Make(const SpeedState& settings) const {
    const std::vector<bool> kept = FindKept();
    CurveMaker curve(sourceStart);
    std::vector<Freeze> made;
    double frozen = 0.0;
    std::size_t freeze = 0;
    const auto addFreezes = [&](std::size_t before) {
        for (; freeze < freezes.size() && freezes[freeze].before == before; ++freeze) {
            const PlayedFreeze& f = freezes[freeze];
            made.push_back({curve.Source() + frozen, f.duration, curve.Source(), f.keepsKeyframe});
            frozen += f.duration;
        }
    };
    // By this much a keyframe comes earlier than in its clip.
    double moved = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        const PlayedStretch& s = stretches[i];
        const bool isLast = i + 1 == stretches.size();
        if ((i == 0 || !stretches[i - 1].LeadsTo(s)) && s.from == s.speeds.t0) {
            moved = s.sourceStart - curve.Source();
        }
        addFreezes(i);
        const double shown = s.Shown();
        double endSpeed = s.SpeedAt(s.to);
        if (kept[i]) {
            curve.Keep(s);
            curve.Meet(s.sourceEnd - moved);
        } else if (s.IsHeld()) {
            if (!(shown > 0.0)) {
                throw RunsBackwardsAt(s.from);
            }
            curve.Run(s.speeds.v0, Type::Hold, shown);
        } else {
            const double startSpeed = StartSpeed(i, false);
            endSpeed = std::max(endSpeed, kSlowest);
            const PlayedSpeeds played(s.speeds);
            const bool jumps = !isLast && StartSpeed(i + 1, kept[i + 1]) != endSpeed;
            const double to = jumps ? s.to - std::min(kJump, 0.25 * (s.to - s.from)) : s.to;
            endSpeed = jumps ? std::max(s.SpeedAt(to), kSlowest) : endSpeed;
            const double ramp = played.Shown(s.from, to);
            if (s.IsStraight() && startSpeed == s.SpeedAt(s.from) && endSpeed == s.SpeedAt(to) &&
                ramp > kLeastPiece) {
                curve.Run(startSpeed, Type::Linear, ramp);
            } else {
                const auto pieces = MakeStraight(played, s.from, to, startSpeed, endSpeed);
                if (pieces.empty()) {
                    throw RunsBackwardsAt(s.from);
                }
                for (const StraightSpeed& piece : pieces) {
                    curve.Run(piece.speed, Type::Linear, piece.shown);
                }
            }
            if (jumps) {  // what it shows too little is of the second order
                curve.Run(endSpeed, Type::Hold, endSpeed * (s.to - to));
            }
        }
        if (s.to == s.speeds.t1) {
            const double wanted = s.sourceEnd - moved;
            if (std::fabs(curve.Source() - wanted) <= kSourceRounding * (1.0 + std::fabs(wanted))) {
                curve.Meet(wanted);
            } else {
                moved = s.sourceEnd - curve.Source();
            }
        }
        if (isLast) {
            addFreezes(i + 1);
            const bool endsWithClip = s.curve != nullptr && s.keyframe + 2 == s.curve->Count() &&
                                      s.to == s.speeds.t1 && (kept[i] || s.IsHeld());
            if (endsWithClip) {
                PlayedStretch end = s;
                end.keyframe = s.keyframe + 1;
                curve.Keep(end);
            } else {
                curve.Put(endSpeed, kept[i] ? s.speeds.type1 : Type::Hold);
            }
        }
    }
    if (stretches.empty()) {
        addFreezes(0);
        curve.Put(restSpeed, Type::Hold);
    }
    SpeedParameterFreezeImpl list;
    list.Assign(std::move(made));
    return Shared<SpeedState>::Make(curve.Finish(*settings.keyframes),
                                    Shared<SpeedParameterFreezeImpl>::Make(std::move(list)),
                                    curve.Source(), settings.sourceFPS);
}

}  // namespace core
