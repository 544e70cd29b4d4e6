#include <core/curve/interpolation_info.h>

#include "core/curve/interpolation_table.h"
#include "core/curve/segment.h"

#include <array>
#include <cstring>

namespace core {
namespace {

// Four values at equal distances in time: the cubic in time that has them as control
// values.
SegmentCubic InThirds(const SegmentEnds& e, InterpolationGroup group,
                      const std::array<double, 4>& values) noexcept {
    const double third = (e.t1 - e.t0) / 3.0;
    return {{e.t0, values[0]},
            {e.t0 + third, values[1]},
            {e.t1 - third, values[2]},
            {e.t1, values[3]},
            group};
}

SegmentCubic Line(const SegmentEnds& e, InterpolationGroup group, double from, double to) noexcept {
    const double third = (to - from) / 3.0;
    return InThirds(e, group, {from, from + third, to - third, to});
}

}  // namespace

const InterpolationInfo* FindInterpolation(KeyframeInterpolationType type) noexcept {
    return InfoOf(type);
}

const InterpolationInfo* FindInterpolation(const char* name) noexcept {
    for (const InterpolationInfo& info : kInterpolations) {
        if (name != nullptr && std::strcmp(name, info.name) == 0) {
            return &info;
        }
    }
    return nullptr;
}

bool GetSegmentCubic(const TimeValuePair& start, const TimeValuePair& end, ParameterTypeEnum type,
                     SegmentCubic& cubic) {
    using Group = InterpolationGroup;
    if (!(start.GetTime() < end.GetTime()) || type == ParameterBool || type == ParameterString) {
        return false;
    }
    if (type == ParameterPoint && start.PeekValue().Kind() == ValAny::kPoint &&
        end.PeekValue().Kind() == ValAny::kPoint) {
        const PathControls p = PathControlPoints(start, end);
        const bool isHeld = start.GetInterpolation() == KeyframeInterpolationType::Hold;
        cubic = {p[0], p[1], p[2], p[3], isHeld ? Group::Hold : Group::TimeValueBezier};
        return true;
    }
    SegmentEnds e{};
    if (!ReadEnds(start, end, type == ParameterPoint, e)) {
        return false;
    }
    const double dt = e.t1 - e.t0;
    const double dv = e.y1 - e.y0;
    switch (RuleOf(e.type0, e.type1)) {
        case SegmentRule::Ease: {
            const InterpolationInfo& easing = *InfoOf(e.type0);
            if (easing.group != Group::CubicEasing) {
                return false;
            }
            const auto at = [&](Pointd p) { return Pointd{e.t0 + p.x * dt, e.y0 + p.y * dv}; };
            cubic = {at({0.0, 0.0}),
                     at(easing.firstControl),
                     at(easing.secondControl),
                     {e.t1, e.y1},
                     Group::CubicEasing};
            return true;
        }
        case SegmentRule::Extrapolate:
            cubic = Line(e, Group::Extrapolate, e.y1 - dt * e.lx * dt, e.y1);
            return true;
        case SegmentRule::Hold:
            cubic = Line(e, Group::Hold, e.y0, e.y0);
            return true;
        case SegmentRule::ValueBezier:
            cubic = InThirds(e, Group::ValueBezier, {e.y0, e.rx, e.lx, e.y1});
            return true;
        case SegmentRule::TimeValueBezier: {
            // The rule works in seconds, whatever the unit of the times.
            const PathControls p = TimeValueControls(e);
            const double unit = dt / (p[3].x - p[0].x);
            const auto at = [&](Pointd point) {
                return Pointd{e.t0 + (point.x - p[0].x) * unit, point.y};
            };
            cubic = {{e.t0, e.y0}, at(p[1]), at(p[2]), {e.t1, e.y1}, Group::TimeValueBezier};
            return true;
        }
        case SegmentRule::Hermite:
            break;
    }
    if (e.type1 == KeyframeInterpolationType::Extrapolate) {
        cubic = Line(e, Group::Extrapolate, e.y0, e.y0 + dt * e.rx * dt);
    } else {
        cubic = InThirds(e, Group::Hermite,
                         {e.y0, e.y0 + dt * e.rx / 3.0, e.y1 - dt * e.lx / 3.0, e.y1});
    }
    return true;
}

}  // namespace core
