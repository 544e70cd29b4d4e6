#pragma once

// The words that the tests of speed curves have in common.

#include "support/curve_words.h"
#include "support/speed_model.h"

#include <core/speed/speed_parameter.h>

#include <cmath>
#include <memory>
#include <vector>

using core::SpeedParameter;
using SpeedKeys = std::vector<plain::SpeedModel::Key>;

inline constexpr int kHold = 6;
inline constexpr int kLine = 1;
inline constexpr int kEasedStep = 9;

/// A curve of exactly these keyframes.
inline std::unique_ptr<SpeedParameter> Speeds(double total, const SpeedKeys& keys) {
    auto speed = std::make_unique<SpeedParameter>();
    speed->SetSourceTotalTime(total);
    speed->ClearKeyFrames();
    for (const auto& key : keys) {
        speed->AddPoint(key.time, key.speed, KeyframeInterpolationType(key.type));
    }
    return speed;
}

/// Speed 1 for 4 s, then speed 2 up to 10 s of source: 7 s of render time.
inline std::unique_ptr<SpeedParameter> TwoSpeeds() {
    return Speeds(10, {{0, 1, kHold}, {4, 2, kHold}, {10, 1, kHold}});
}

struct Velocities {
    double a, b, c, d;
    bool operator==(const Velocities& o) const {
        return a == o.a && b == o.b && c == o.c && d == o.d;
    }
};
inline Velocities VelocityAt(SpeedParameter& speed, int index) {
    Velocities v{9, 9, 9, 9};
    speed.GetVelocityTimeCurve(v.a, v.b, v.c, v.d, index);
    return v;
}
