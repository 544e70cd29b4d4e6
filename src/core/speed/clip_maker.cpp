#include "core/speed/clip_maker.h"

#include "core/speed/straight_speeds.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// What has been shown too much is made good within this time, or more where that is slow.
constexpr double kCatchUp = 1e-4;

// Where speeds in which keyframes show pictures of their own are cut in two first: those in
// between then don't lie in the middle, where a frame may be.
constexpr double kOffTheMiddle = 0.5317286;

NoClip RunsBackwardsAt(double mapTime) {
    return NoClip("the clip runs backwards at " + std::to_string(mapTime) +
                  " s, freezes not counted");
}

}  // namespace

void CurveMaker::Keep(const PlayedStretch& s) {
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

void CurveMaker::Put(double speed, Type type) {
    keys.push_back({source, TimeValuePair(0.0, speed, type), {}});
}

void CurveMaker::Run(double speed, Type type, double shown) {
    Put(speed, type);
    source += shown;
}

Shared<Curve> CurveMaker::Finish(const Curve& settings) {
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

double StretchMaker::SpeedAt(double t) const noexcept {
    return std::max(s.SpeedAt(t), kSlowest);
}

void StretchMaker::BeginAt(double speed, double seconds) noexcept {
    ShowAhead(speed * seconds - played.Shown(from, from + seconds));
    from += seconds;
}

void StretchMaker::BeginWith(const SpeedKey& key) {
    const double mean = s.IsHeld() ? s.speeds.v0 : 0.5 * (s.speeds.v0 + key.speed);
    const double seconds = key.time - from;
    curve.Keep(s);
    curve.Meet(curve.Source() + mean * seconds);
    if (IsBeside(s.to - s.from)) {
        last = key;
        isDone = true;
        return;
    }
    BeginAt(mean, seconds);
    curve.Run(key.speed, Type::Hold, key.speed * kBeside);
    BeginAt(key.speed, kBeside);
}

void StretchMaker::EndWith(const SpeedKey& key) {
    last = key;
    if (IsBeside(s.to - s.from)) {
        curve.Run(key.speed, Type::Hold, key.speed * kBeside);
        isDone = true;
        return;
    }
    jump = kBeside;
    to -= 2.0 * kBeside;
    ShowAhead((SpeedAt(to) + key.speed) * kBeside - played.Shown(to, s.to));
}

// What it shows too little is of the second order.
void StretchMaker::EndWithJump() noexcept {
    jump = std::min(kJump, 0.25 * (s.to - s.from));
    to = s.to - jump;
}

double StretchMaker::Run(bool offFrames) {
    if (isDone) {
        return last->speed;
    }
    if (ahead != 0.0 && s.IsStraight()) {
        CatchUp();
    }
    const double startSpeed = SpeedAt(from);
    const double endSpeed = SpeedAt(to);
    const double shown = played.Shown(from, to);
    if (s.IsHeld()) {
        if (!(shown > 0.0)) {
            throw RunsBackwardsAt(s.from);
        }
        curve.Run(s.speeds.v0, Type::Hold, shown);
    } else if (s.IsStraight() && startSpeed == s.SpeedAt(from) && endSpeed == s.SpeedAt(to) &&
               shown > kLeastPiece) {
        curve.Run(startSpeed, Type::Linear, shown);
    } else if (offFrames) {
        const double middle = from + kOffTheMiddle * (to - from);
        const double end = std::exchange(to, middle);
        RunPieces(startSpeed, SpeedAt(middle));
        from = std::exchange(to, end);
        ahead = 0.0;
        RunPieces(SpeedAt(middle), endSpeed);
    } else {
        RunPieces(startSpeed, endSpeed);
    }
    if (jump > 0.0) {
        curve.Run(endSpeed, Type::Hold, endSpeed * jump);
    }
    if (last) {
        curve.Run(last->speed, Type::Hold, last->speed * kBeside);
    }
    return s.IsHeld() ? s.SpeedAt(s.to) : endSpeed;
}

// A short while at another speed, so that what is straight can stay so behind it.
void StretchMaker::CatchUp() {
    const double seconds = std::max(kCatchUp, 4.0 * std::fabs(ahead) / SpeedAt(from));
    const double shown = played.Shown(from, from + seconds) - ahead;
    if (!(seconds < 0.5 * (to - from)) || !(shown > kSlowest * seconds)) {
        throw NoClip("a stretch of the clip is too short to be cut there");
    }
    curve.Run(shown / seconds, Type::Hold, shown);
    from += seconds;
    ahead = 0.0;
}

void StretchMaker::RunPieces(double startSpeed, double endSpeed) {
    const auto pieces = MakeStraight(played, from, to, startSpeed, endSpeed, ahead, besides);
    if (pieces.empty()) {
        throw RunsBackwardsAt(s.from);
    }
    for (const StraightSpeed& piece : pieces) {
        curve.Run(piece.speed, Type::Linear, piece.shown);
    }
}

}  // namespace core
