#include "core/speed/velocity.h"

#include "core/curve/numbers.h"

#include <algorithm>
#include <cmath>

namespace core {
namespace {

// In Hermite form over `length` render seconds: from speed p0 to p1, with the slopes
// m0 and m1 in speed per segment.
struct HermiteForm {
    double p0, m0, m1, p1;
    double length;
    bool isEasedStep;
};

// The handles' X numbers count as slopes whatever the types of the two ends.
HermiteForm FormOf(const SpeedSegment& s) noexcept {
    using Type = KeyframeInterpolationType;
    const double length = s.t1 - s.t0;
    HermiteForm form{s.v0, s.right * length, s.left * length, s.v1, length, false};
    if (s.type0 == Type::HermiteFlat) {
        form.isEasedStep = true;
        return form;
    }
    double t0 = s.t0;
    double t1 = s.t1;
    if (s.type0 == Type::Extrapolate) {
        form.p0 = form.p1 - form.m1;
        form.m0 = form.m1;
        t0 = t1 - 1.0;
    } else if (s.type0 == Type::Hold) {
        form.m0 = 0.0;
        form.m1 = 0.0;
        form.p1 = form.p0;
    }
    if (s.type1 == Type::Extrapolate) {
        form.p1 = form.p0 + form.m0;
        form.m1 = form.m0;
        t1 = t0 + 1.0;
    }
    form.length = t1 - t0;
    return form;
}

HermiteForm Mirrored(const HermiteForm& form) noexcept {
    return {form.p1, -form.m1, -form.m0, form.p0, form.length, form.isEasedStep};
}

Velocity PowerForm(const HermiteForm& f) noexcept {
    const double dv = f.p1 - f.p0;
    const double D = f.length;
    if (f.isEasedStep) {
        // Kept on purpose: callers' pictures of an eased step rely on these 0.0001.
        return {f.p0, 0.0, 3.0 * dv / (D * D + 0.0001), -2.0 * dv / (D * D * D + 0.0001)};
    }
    // Kept on purpose: callers expect b per second, but c and d per segment.
    const double b = std::fabs(D) >= kNegligible ? f.m0 / D : 0.0;
    return {f.p0, b, 3.0 * dv - 2.0 * f.m0 - f.m1, f.m0 - 2.0 * dv + f.m1};
}

bool IsNear(double a, double b) noexcept {
    return std::fabs(a - b) < SpeedParameterFreezeImpl::kTolerance;
}

}  // namespace

// A frozen keyframe coincides with the start of its freeze and counts as that; its
// speeds are played from the end of the freeze on.
std::vector<VelocityStretch> ListStretches(const TimeMap& map,
                                           const SpeedParameterFreezeImpl& freezes) {
    std::vector<VelocityStretch> all;
    for (std::size_t i = 0; i < map.SourceCount(); ++i) {
        const double time = map.SourceTime(i);
        all.push_back({time + freezes.AtSource(time).shift, static_cast<int>(i)});
    }
    for (const Freeze& freeze : freezes.Freezes()) {
        const int keyframe = map.KeyframeAt(freeze.sourceTime);
        all.push_back({freeze.key, VelocityStretch::kFreeze});
        all.push_back(
            {freeze.key + freeze.duration, keyframe < 0 ? VelocityStretch::kNoKeyframe : keyframe});
    }
    std::sort(all.begin(), all.end(), [](const VelocityStretch& a, const VelocityStretch& b) {
        return a.pointTime < b.pointTime;
    });

    std::vector<VelocityStretch> kept;
    for (const VelocityStretch& stretch : all) {
        if (kept.empty() || !IsNear(stretch.pointTime, kept.back().pointTime)) {
            kept.push_back(stretch);
        } else if (stretch.keyframe == VelocityStretch::kFreeze) {
            kept.back().keyframe = VelocityStretch::kFreeze;
        }
    }
    return kept;
}

bool HasVelocity(const TimeMap& map, int keyframe) noexcept {
    const std::size_t count = std::min(map.SegmentStarts(), map.SourceCount());
    return keyframe >= 0 && static_cast<std::size_t>(keyframe) + 1 < count;
}

Velocity VelocityFrom(const TimeMap& map, int keyframe, Direction direction) noexcept {
    const HermiteForm form = FormOf(map.SegmentFrom(static_cast<std::size_t>(keyframe)));
    return PowerForm(direction == Direction::Forward ? form : Mirrored(form));
}

SpeedParameterEx::SpeedParameterEx(const TimeMap& map, const SpeedParameterFreezeImpl& freezes) {
    const std::vector<VelocityStretch> stretches = ListStretches(map, freezes);
    // The last one has no end, so that nothing of it is played.
    for (std::size_t i = stretches.size(); i-- > 1;) {
        const int keyframe = stretches[i - 1].keyframe;
        velocities.push_back(HasVelocity(map, keyframe)
                                 ? VelocityFrom(map, keyframe, Direction::Backward)
                                 : Velocity{});
    }
}

Velocity SpeedParameterEx::VelocityAt(int index) const noexcept {
    return index >= 0 && static_cast<std::size_t>(index) < velocities.size()
               ? velocities[static_cast<std::size_t>(index)]
               : Velocity{};
}

}  // namespace core
