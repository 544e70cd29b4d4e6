#pragma once

#include "core/curve/curve.h"
#include "core/foundation/shared.h"
#include "core/speed/freezes.h"
#include "core/speed/time_map.h"
#include "core/speed/velocity.h"

#include <core/curve/parameter.h>
#include <core/speed/snapshot.h>

#include <cstddef>
#include <string>
#include <vector>

namespace core {

/// One version of a speed curve, the reverse flag apart: keyframes, freezes and settings,
/// and what follows from them. Immutable, and shared by parameter, copies and snapshots.
///
/// What follows is a member, made when it is first asked for, by any thread: the time map
/// from the keyframes; where the freezes lie from the map; stretches, text and the rest from
/// all of it. Everything that reads speeds throws `AnyBadAccess` where one is no number.
class SpeedState : public Counted {
public:
    SpeedState(Shared<Curve> keyframes, Shared<SpeedParameterFreezeImpl> freezes,
               double sourceTotalTime, double sourceFPS);

    const Shared<Curve> keyframes;
    const Shared<SpeedParameterFreezeImpl> freezes;
    const double sourceTotalTime;
    const double sourceFPS;

    /// Reports an error when it is made without keyframes.
    const TimeMap& Map() const;
    const PlacedFreezes& Placed() const;
    /// The same again, for whoever asks for the length, each time.
    double RenderTotalTime() const;
    FreezeFrame FreezeAt(std::size_t index) const;

    /// In reverse, of the stretches that `Reversed` has; none while `isReverted` is false,
    /// which is until somebody has asked for the reversed curve.
    Velocity VelocityAt(int index, bool inReverse, bool isReverted) const;
    /// Its own stretches backwards, unless it was given those of another.
    const SpeedParameterEx& Reversed() const;
    void GiveReversed(const SpeedState& other) const;

    /// The speeds on the render axis, freezes not counted.
    const Parameter& RenderCurve() const;
    /// The indices of the keyframes but the last whose speed is near zero.
    const std::vector<std::size_t>& NearZeroSpeeds() const;
    /// The whole text, with this flag.
    std::string Text(int reverse) const;

    static bool AreSame(const SpeedState& a, const SpeedState& b);
    /// The render times outside which both show the same.
    static TimeRange ChangedBetween(const SpeedState& a, const SpeedState& b);

private:
    struct WrittenText {
        int reverse;
        std::string text;
    };

    Lazy<TimeMap> map;
    Lazy<PlacedFreezes> placed;
    Lazy<std::vector<VelocityStretch>> stretches;
    Lazy<SpeedParameterEx> reversed;
    Lazy<Parameter> renderCurve;
    Lazy<std::vector<std::size_t>> nearZeroSpeeds;
    Lazy<WrittenText> texts[2];  // forward, and with the first other flag that was asked for
};

}  // namespace core
