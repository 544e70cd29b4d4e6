#include "core/speed/clip_row.h"

#include "core/speed/clip_maker.h"
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

// Speeds that differ by less of their size are one.
constexpr double kSpeedRounding = 1e-9;

// A source time that is worked out may differ by this part from the keyframe that it meets.
constexpr double kSourceRounding = 1e-9;

// What a freeze of speeds that stand still shows is where they stand.
constexpr double kOpen = std::numeric_limits<double>::quiet_NaN();

// Freezes are not before 0, but for what is written as 0.
constexpr double kStored = 4e-9;

// So far may the picture of a freeze be from that of its clip.
constexpr double kPicture = 1e-6;

bool IsNear(double a, double b) noexcept {
    return std::fabs(a - b) <= kSpeedRounding * (std::fabs(a) + std::fabs(b));
}

// On the straight way from one speed to another.
SpeedKey KeyBetween(double t0, double v0, double t1, double v1, double time) noexcept {
    return {time, v0 + (time - t0) / (t1 - t0) * (v1 - v0), Type::Hold};
}

// What comes before the first frame of a curve takes so long of it: a frame at its start is
// not yet at the keyframe, also where rounding in a file moves that.
constexpr double kLead = 2e-6;

// A keyframe as no neighbour is: what it says anything about, says something else.
SpeedKey Another(const SpeedSegment& s, double side) noexcept {
    return {(side < 0.0 ? s.t0 : s.t1) + side * 0.731 * (s.t1 - s.t0),
            1.37 * s.v0 + 0.5 * s.v1 + 0.771, Type::Linear};
}

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
    // What the clip has shown before, and the row not.
    double sourceBefore = RunningSource(clip, range.from);
    for (const PlayedStretch& s : stretches) {
        sourceBefore -= s.Shown();
    }

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
            whole.sourceBefore = sourceBefore;
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
            // By rounding, a range within a freeze may end before it begins.
            runTo(std::min(std::max(placed.MapTime(freeze), reached), range.to));
            AddFreeze(played, all[freeze].keepsKeyframe, all[freeze].sourceTime - sourceBefore);
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
        AddFreeze(stretch.to - stretch.from, true, kOpen);
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
            AddFreeze(f.duration, f.keepsKeyframe, kOpen);
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

void ClipRow::AddFreeze(double seconds, bool keepsKeyframe, double source) {
    if (!freezes.empty() && freezes.back().before == stretches.size()) {
        freezes.back().duration += seconds;
    } else {
        freezes.push_back({stretches.size(), seconds, keepsKeyframe, source});
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

// Slopes at a keyframe are those between its neighbours, and any point on the straight way from
// one to the other gives the same. So the speeds that are cut end, or begin, on it.
std::optional<SpeedKey> ClipRow::KeyBefore(std::size_t index) const {
    const PlayedStretch& s = stretches[index];
    if (index == 0 || !stretches[index - 1].LeadsTo(s) ||
        !StretchMaker::HasRoom(stretches[index - 1], index == 1)) {
        return std::nullopt;
    }
    const SpeedSegment& before = stretches[index - 1].speeds;
    return KeyBetween(before.t0, before.v0, s.speeds.t1, s.speeds.v1, s.speeds.t0 - kBeside);
}

std::optional<SpeedKey> ClipRow::KeyBehind(std::size_t index) const {
    const PlayedStretch& s = stretches[index];
    if (index + 1 == stretches.size() || !s.LeadsTo(stretches[index + 1]) ||
        !StretchMaker::HasRoom(stretches[index + 1], index + 2 == stretches.size())) {
        return std::nullopt;
    }
    const SpeedSegment& behind = stretches[index + 1].speeds;
    return KeyBetween(s.speeds.t0, s.speeds.v0, behind.t1, behind.v1, s.speeds.t1 + kBeside);
}

bool ClipRow::StaysSame(std::size_t index, const std::vector<Kept>& kept, bool withSlopes,
                        bool hasLead) const {
    const PlayedStretch& s = stretches[index];
    if (s.IsHeld()) {
        return true;
    }
    if (s.curve == nullptr) {
        return index + 1 == stretches.size() ||
               StartSpeed(index + 1, Is(kept[index + 1])) == s.speeds.v1;
    }
    const auto staysBeside = [&](std::size_t a, std::size_t b) {
        return Is(kept[a]) && Is(kept[b]) && stretches[a].LeadsTo(stretches[b]);
    };
    std::optional<SpeedKey> previous;
    std::optional<SpeedKey> next;
    SpeedKey end{s.speeds.t1, s.speeds.v1, s.speeds.type1};
    if (index == 0 && hasLead) {
        previous = Another(s.speeds, -1.0);
    } else if (index > 0) {
        const PlayedStretch& before = stretches[index - 1];
        const bool isBeside = staysBeside(index - 1, index);
        const auto added = withSlopes && !isBeside ? KeyBefore(index) : std::nullopt;
        previous = isBeside ? SpeedKey{before.speeds.t0, before.speeds.v0, before.speeds.type0}
                            : added.value_or(Another(s.speeds, -1.0));
        // A straight speed can't end at a Bezier.
        const bool isMade = !added && (!Is(kept[index - 1]) || before.curve == nullptr);
        if (isMade && !before.IsHeld() && IsBezier(s.speeds.type0)) {
            return false;
        }
    }
    if (index + 1 < stretches.size()) {
        const PlayedStretch& behind = stretches[index + 1];
        const bool isBeside = staysBeside(index, index + 1);
        const auto added = withSlopes && !isBeside ? KeyBehind(index) : std::nullopt;
        next = isBeside ? SpeedKey{behind.speeds.t1, behind.speeds.v1, behind.speeds.type1}
                        : added.value_or(Another(s.speeds, 1.0));
        const bool keepsType = Is(kept[index + 1]) || behind.IsHeld() || added;
        end.type = keepsType ? behind.speeds.type0 : Type::Linear;
        if (!added && StartSpeed(index + 1, Is(kept[index + 1])) != end.speed) {
            return false;
        }
    }
    const SpeedKey start{s.speeds.t0, s.speeds.v0, s.speeds.type0};
    const SpeedSegment now =
        SegmentBetween(previous ? &*previous : nullptr, start, end, next ? &*next : nullptr);
    return PlayedSpeeds(now).IsSame(PlayedSpeeds(s.speeds), withSlopes ? kSpeedRounding : 0.0);
}

std::vector<ClipRow::Kept> ClipRow::FindKept(Making making) const {
    const bool hasLead = making.ahead != 0.0;
    std::vector<Kept> kept;
    std::vector<std::size_t> asked;
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        kept.push_back(stretches[i].IsWhole() ? Kept::AsIs : Kept::No);
        asked.push_back(i);
    }
    while (!asked.empty()) {
        const std::size_t i = asked.back();
        asked.pop_back();
        const Kept before = kept[i];
        if (before == Kept::No || StaysSame(i, kept, before == Kept::WithSlopes, hasLead)) {
            continue;
        }
        const bool staysWithSlopes =
            making.keepsSlopes && before == Kept::AsIs && StaysSame(i, kept, true, hasLead);
        kept[i] = staysWithSlopes ? Kept::WithSlopes : Kept::No;
        if (i > 0) {
            asked.push_back(i - 1);
        }
        if (i + 1 < kept.size()) {
            asked.push_back(i + 1);
        }
    }
    return kept;
}

// The curve

ClipRow::Made ClipRow::MakeAs(const SpeedState& settings, Making making) const {
    const std::vector<Kept> kept = FindKept(making);
    CurveMaker curve(sourceStart);
    std::vector<Freeze> made;
    Made result;
    double frozen = 0.0;
    std::size_t freeze = 0;
    const auto addFreezes = [&](std::size_t before) {
        for (; freeze < freezes.size() && freezes[freeze].before == before; ++freeze) {
            const PlayedFreeze& f = freezes[freeze];
            made.push_back({curve.Source() + frozen, f.duration, curve.Source(), f.keepsKeyframe});
            frozen += f.duration;
            result.inFreezes.Add(f.source - curve.Source());
            result.canBeStored = result.canBeStored && made.back().key > -kStored;
        }
    };
    const double leadSpeed = making.ahead != 0.0
                                 ? PutLead(making.ahead,
                                           !stretches.empty() && !Is(kept[0]) &&
                                               stretches[0].to - stretches[0].from > 100.0 * kLead,
                                           curve)
                                 : 0.0;
    // By this much a keyframe comes earlier than in its clip.
    double moved = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        const PlayedStretch& s = stretches[i];
        const bool isLast = i + 1 == stretches.size();
        if ((i == 0 || !stretches[i - 1].LeadsTo(s)) && s.from == s.speeds.t0) {
            moved = s.sourceStart - curve.Source();
        }
        addFreezes(i);
        double endSpeed = s.SpeedAt(s.to);
        if (Is(kept[i])) {
            result.atKeyframes.Add(s.sourceStart - s.sourceBefore - curve.Source());
            curve.Keep(s);
            curve.Meet(s.sourceEnd - moved);
        } else {
            StretchMaker maker(s, curve);
            if (i == 0 && leadSpeed > 0.0) {
                maker.BeginAt(leadSpeed, kLead);
            }
            if (i > 0 && kept[i - 1] == Kept::WithSlopes) {
                if (const auto key = KeyBehind(i - 1)) {
                    maker.BeginWith(*key);
                }
            }
            const auto key =
                !isLast && kept[i + 1] == Kept::WithSlopes ? KeyBefore(i + 1) : std::nullopt;
            if (key) {
                maker.EndWith(*key);
            } else if (!s.IsHeld() && !isLast &&
                       StartSpeed(i + 1, Is(kept[i + 1])) != std::max(endSpeed, kSlowest)) {
                maker.EndWithJump();
            }
            endSpeed = maker.Run(making.ahead != 0.0);
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
                                      s.to == s.speeds.t1 && (Is(kept[i]) || s.IsHeld());
            if (endsWithClip) {
                PlayedStretch end = s;
                end.keyframe = s.keyframe + 1;
                curve.Keep(end);
            } else {
                curve.Put(endSpeed, Is(kept[i]) ? s.speeds.type1 : Type::Hold);
            }
        }
    }
    if (stretches.empty()) {
        addFreezes(0);
        curve.Put(restSpeed, Type::Hold);
    }
    SpeedParameterFreezeImpl list;
    list.Assign(std::move(made));
    const double length = std::max(curve.Source(), curve.Source() - making.ahead);
    result.state = Shared<SpeedState>::Make(curve.Finish(*settings.keyframes),
                                            Shared<SpeedParameterFreezeImpl>::Make(std::move(list)),
                                            length, settings.sourceFPS);
    return result;
}

// A keyframe before time 0 shifts those behind it along the source, and nothing that is shown
// between them: what is shown is counted from time 0. Answers the speed at which the clip is played
// for `kLead` then, or 0 where the first keyframe of the row lies at 0.
double ClipRow::PutLead(double ahead, bool startsBetween, CurveMaker& curve) const {
    if (sourceStart != 0.0) {
        throw NoClip("its freezes would show other pictures, and its first keyframe is not at 0");
    }
    const double before = std::max(2.0 * std::fabs(ahead), 1.0);
    const bool startsFrozen = !freezes.empty() && freezes.front().before == 0;
    curve.Meet(-before);
    if (!startsBetween || startsFrozen) {
        // So fast that it would be there before time 0.
        curve.Put(2.0 * (before + ahead) / before, Type::Hold);
        curve.Meet(ahead);
        return 0.0;
    }
    const double speed = (before + ahead) / before;
    curve.Put(speed, Type::Hold);
    curve.Meet(ahead + speed * kLead);
    return speed;
}

Shared<SpeedState> ClipRow::Make(const SpeedState& settings) const {
    return MakeAs(settings, {false, 0.0}).state;
}

// As it is made for any clip, if that shows the pictures; else with keyframes that keep slopes, so
// that fewer speeds are replaced; else with a lead besides.
Shared<SpeedState> ClipRow::MakeWithPictures(const SpeedState& settings) const {
    const auto shows = [](const Made& made) {
        return made.canBeStored &&
               !(made.inFreezes.least < -kPicture || made.inFreezes.most > kPicture);
    };
    Made made = MakeAs(settings, {false, 0.0});
    if (shows(made)) {
        return made.state;
    }
    made = MakeAs(settings, {true, 0.0});
    if (made.canBeStored && !shows(made)) {
        Spread all = made.inFreezes;
        all.Add(made.atKeyframes);
        if (all.most - all.least <= kPicture) {
            made = MakeAs(settings, {true, 0.5 * (all.least + all.most)});
        }
    }
    if (!made.canBeStored) {
        throw OtherPictures("a freeze shows what lies before the part's first picture, by a jump");
    }
    if (!shows(made)) {
        throw OtherPictures("a freeze would show another picture: the source jumps at keyframes");
    }
    return made.state;
}

}  // namespace core
