#include "core/curve/segment_form.h"

#include "core/curve/easing.h"
#include "core/curve/numbers.h"
#include "core/curve/segment.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace core {
namespace {

using Type = KeyframeInterpolationType;
using Kind = SegmentForm::Kind;

constexpr double kThird = 1.0 / 3.0;

double NumberOf(const TimeValuePair& keyframe) {
    double number = 0.0;
    ReadNumber(keyframe.PeekValue(), number);
    return number;
}

Pointd PlaceOf(const TimeValuePair& keyframe) {
    const ValAny& value = keyframe.PeekValue();
    return value.Kind() == ValAny::kPoint ? value.AsPoint() : Pointd{NumberOf(keyframe), 0.0};
}

double DurationOf(const TimeValuePair& start, const TimeValuePair& end) noexcept {
    return end.GetTime() - start.GetTime();
}

bool IsLinear(const TimeValuePair& keyframe) noexcept {
    return keyframe.GetInterpolation() == Type::Linear;
}

// On a path the side of such a keyframe has no handle; `isEnd` where the segment ends there.
bool HidesPathHandle(const TimeValuePair& keyframe, bool isEnd) noexcept {
    return IsLinear(keyframe) || (isEnd && keyframe.GetInterpolation() == Type::Hold);
}

// Kept on purpose: where the offset vanishes, a handle's Y is the rise itself.
double SlopeFor(double rise, double offset) noexcept {
    return std::fabs(offset) < kNegligible ? rise : rise / offset;
}

void BecomeTimeValue(SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end) {
    const Levers levers = LeversOf(form, start, end);
    const double first = levers.first ? levers.first->rise.x : 0.0;
    const double second = levers.second ? levers.second->rise.x : form.second.x * kThird;
    form.kind = Kind::TimeValue;
    form.first = {kThird, first};
    form.second = {2.0 * kThird, -second};
}

// Whether a segment of these types has the form's rule.
bool HasRule(Kind kind, Type start, Type end) noexcept {
    const SegmentRule rule = RuleOf(start, end);
    switch (kind) {
        case Kind::Hermite:
            return rule == SegmentRule::Hermite && end != Type::Extrapolate;
        case Kind::Forward:
            return rule == SegmentRule::Hermite && end == Type::Extrapolate;
        case Kind::ValueBezier:
            return rule == SegmentRule::ValueBezier;
        default:
            return rule == SegmentRule::TimeValueBezier;
    }
}

// The type of the start, given that of the end.
bool WriteType(SegmentForm& form, TimeValuePair& start, TimeValuePair& end) {
    switch (form.kind) {
        case Kind::Held:
            start.SetInterpolation(Type::Hold);
            return true;
        case Kind::Backward:
            start.SetInterpolation(Type::Extrapolate);
            return true;
        case Kind::Eased:
            start.SetInterpolation(form.type);
            return true;
        case Kind::Path: {
            const bool isFirstFree = form.first != PlaceOf(start);
            start.SetInterpolation(
                form.type == Type::Hold || (form.type == Type::Linear && isFirstFree) ? Type::Bezier
                                                                                      : form.type);
            if (form.second != PlaceOf(end) && HidesPathHandle(end, true)) {
                if (!IsLinear(end)) {
                    return false;
                }
                end.SetInterpolation(Type::Bezier);
            }
            return true;
        }
        default:
            break;
    }
    std::array<Type, 3> candidates = {form.type, Type::Hermite, Type::ValueBezier};
    const auto* found = std::find_if(candidates.begin(), candidates.end(), [&](Type type) {
        return HasRule(form.kind, type, end.GetInterpolation());
    });
    if (found == candidates.end()) {
        if (form.kind == Kind::Forward) {
            return false;
        }
        if (form.kind != Kind::TimeValue) {
            BecomeTimeValue(form, start, end);
        }
        // The start's own type where the end decides.
        start.SetInterpolation(
            HasRule(Kind::TimeValue, form.type, end.GetInterpolation()) ? form.type : Type::Bezier);
    } else {
        start.SetInterpolation(*found);
    }
    // A linear side has no handle in the plane, and two of them have one slope.
    if (form.kind == Kind::TimeValue) {
        if (IsLinear(start) && form.first != Pointd{}) {
            start.SetInterpolation(Type::Hermite);
        }
        if (IsLinear(end) && form.second != Pointd{1.0, 0.0}) {
            end.SetInterpolation(Type::Hermite);
        }
    } else if (form.kind == Kind::Hermite && IsLinear(start) && IsLinear(end) &&
               !HandlesMatch({form.first.x, 0.0}, {form.second.x, 0.0})) {
        start.SetInterpolation(Type::Hermite);
    }
    return true;
}

}  // namespace

bool ReadForm(const TimeValuePair& start, const TimeValuePair& end, ParameterTypeEnum type,
              SegmentForm& form) {
    form = {};
    form.type = start.GetInterpolation();
    if (type == ParameterBool || type == ParameterString) {
        return true;
    }
    if (type == ParameterPoint && start.PeekValue().Kind() == ValAny::kPoint &&
        end.PeekValue().Kind() == ValAny::kPoint) {
        const PathControls points = PathControlPoints(start, end);
        form.kind = form.type == Type::Hold ? Kind::Held : Kind::Path;
        form.first = points[1];
        form.second = points[2];
        return true;
    }
    SegmentEnds e{};
    if (!ReadEnds(start, end, type == ParameterPoint, e)) {
        return false;
    }
    const double dt = e.t1 - e.t0;
    switch (RuleOf(e.type0, e.type1)) {
        case SegmentRule::Hold:
            break;
        case SegmentRule::Ease:
            form.kind = Kind::Eased;
            break;
        case SegmentRule::Extrapolate:
            form.kind = Kind::Backward;
            form.second.x = dt * dt * e.lx;
            break;
        case SegmentRule::ValueBezier:
            form.kind = Kind::ValueBezier;
            form.first.x = e.rx;
            form.second.x = e.lx;
            break;
        case SegmentRule::TimeValueBezier: {
            const PathControls p = TimeValueControls(e);
            const double span = p[3].x - p[0].x;
            form.kind = Kind::TimeValue;
            form.first = {e.type0 == Type::Linear ? 0.0 : std::clamp(e.rx, 0.0, 1.0),
                          p[1].y - p[0].y};
            form.second = {e.type1 == Type::Linear ? 1.0 : std::clamp(e.lx, 0.0, 1.0),
                           p[2].y - p[3].y};
            if (!(span > 0.0)) {
                return false;
            }
            break;
        }
        case SegmentRule::Hermite:
            form.kind = e.type1 == Type::Extrapolate ? Kind::Forward : Kind::Hermite;
            form.first.x = form.kind == Kind::Forward ? dt * dt * e.rx : dt * e.rx;
            form.second.x = dt * e.lx;
            break;
    }
    return true;
}

Levers LeversOf(const SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end) {
    const Pointd p0 = PlaceOf(start);
    const Pointd p3 = PlaceOf(end);
    Levers levers;
    switch (form.kind) {
        case Kind::Held:
        case Kind::Eased:
            break;
        case Kind::Backward:
            levers.second = Lever{{form.second.x, 0.0}, 1.0};
            break;
        case Kind::Forward:
            levers.first = Lever{{form.first.x, 0.0}, 1.0};
            break;
        case Kind::Hermite:
            levers.first = Lever{{form.first.x * kThird, 0.0}, kThird};
            // Between two linear keyframes the start's counts for both.
            if (!IsLinear(start) || !IsLinear(end)) {
                levers.second = Lever{{form.second.x * kThird, 0.0}, kThird};
            }
            break;
        case Kind::ValueBezier:
            levers.first = Lever{{form.first.x - p0.x, 0.0}, kThird};
            levers.second = Lever{{p3.x - form.second.x, 0.0}, kThird};
            break;
        case Kind::TimeValue:
            if (!IsLinear(start)) {
                levers.first = Lever{{form.first.y, 0.0}, form.first.x};
            }
            if (!IsLinear(end)) {
                levers.second = Lever{{-form.second.y, 0.0}, 1.0 - form.second.x};
            }
            break;
        case Kind::Path:
            if (!HidesPathHandle(start, false)) {
                levers.first = Lever{{form.first.x - p0.x, form.first.y - p0.y}, kThird};
            }
            if (!HidesPathHandle(end, true)) {
                levers.second = Lever{{p3.x - form.second.x, p3.y - form.second.y}, kThird};
            }
            break;
    }
    return levers;
}

void SetLevers(SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end,
               const Levers& levers) {
    const Pointd p0 = PlaceOf(start);
    const Pointd p3 = PlaceOf(end);
    if (levers.first) {
        const Pointd rise = levers.first->rise;
        switch (form.kind) {
            case Kind::Forward:
                form.first.x = rise.x;
                break;
            case Kind::Hermite:
                form.first.x = 3.0 * rise.x;
                if (IsLinear(start) && IsLinear(end)) {
                    form.second.x = form.first.x;
                }
                break;
            case Kind::TimeValue:
                form.first = {levers.first->reach, rise.x};
                break;
            default:
                form.first = {p0.x + rise.x, p0.y + rise.y};
                break;
        }
    }
    if (levers.second) {
        const Pointd rise = levers.second->rise;
        switch (form.kind) {
            case Kind::Backward:
                form.second.x = rise.x;
                break;
            case Kind::Hermite:
                form.second.x = 3.0 * rise.x;
                break;
            case Kind::TimeValue:
                form.second = {1.0 - levers.second->reach, -rise.x};
                break;
            default:
                form.second = {p3.x - rise.x, p3.y - rise.y};
                break;
        }
    }
}

FormHandles HandlesOf(const SegmentForm& form, const TimeValuePair& start,
                      const TimeValuePair& end) {
    const double dt = DurationOf(start, end);
    FormHandles handles;
    switch (form.kind) {
        case Kind::Held:
        case Kind::Eased:
            break;
        case Kind::Backward:
            handles.left = Pointd{form.second.x / (dt * dt), 0.0};
            break;
        case Kind::Forward:
            handles.right = Pointd{form.first.x / (dt * dt), 0.0};
            break;
        case Kind::Hermite:
            handles.right = Pointd{form.first.x / dt, 0.0};
            if (!IsLinear(start) || !IsLinear(end)) {
                handles.left = Pointd{form.second.x / dt, 0.0};
            }
            break;
        case Kind::ValueBezier:
            handles.right = Pointd{form.first.x, 0.0};
            handles.left = Pointd{form.second.x, 0.0};
            break;
        case Kind::TimeValue: {
            const double t0 = InSeconds(start.GetTime());
            const double t1 = InSeconds(end.GetTime());
            const auto at = [&](double fraction) { return t0 + (t1 - t0) * fraction; };
            if (!IsLinear(start)) {
                const double fraction = form.first.x;
                handles.right = Pointd{fraction, SlopeFor(form.first.y, at(fraction) - t0)};
            }
            if (!IsLinear(end)) {
                const double fraction = form.second.x;
                handles.left = Pointd{fraction, SlopeFor(form.second.y, at(fraction) - t1)};
            }
            break;
        }
        case Kind::Path:
            if (!HidesPathHandle(start, false)) {
                handles.right = form.first;
            }
            if (!HidesPathHandle(end, true)) {
                handles.left = form.second;
            }
            break;
    }
    return handles;
}

bool Mirror(SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end) {
    const Pointd p0 = PlaceOf(start);
    const Pointd p3 = PlaceOf(end);
    const Pointd first = form.first;
    const Pointd second = form.second;
    const double rise = p3.x - p0.x;
    switch (form.kind) {
        case Kind::Held:
            if (start.PeekValue().Kind() == ValAny::kPoint) {
                return p0 == p3;
            }
            form.kind = Kind::Backward;
            form.second = {};
            break;
        case Kind::Backward: {
            // It starts where the line through the mirrored start has to end.
            const bool meets = HandlesMatch({second.x, 0.0}, {rise, 0.0});
            if (second.x != 0.0 && !meets) {
                return false;
            }
            form.kind = second.x == 0.0 ? Kind::Held : Kind::Hermite;
            form.type = second.x == 0.0 ? Type::Hold : Type::Hermite;
            form.first.x = form.second.x = -rise;
            break;
        }
        case Kind::Forward:
            form.kind = Kind::Backward;
            form.second.x = -first.x;
            break;
        case Kind::Hermite:
            form.first.x = -second.x;
            form.second.x = -first.x;
            break;
        case Kind::TimeValue:
            form.first = {1.0 - second.x, second.y};
            form.second = {1.0 - first.x, first.y};
            break;
        case Kind::Eased: {
            // The mirrored easings are a permutation of the eight.
            const auto mirrored = [](Pointd p) { return Pointd{1.0 - p.x, 1.0 - p.y}; };
            const InterpolationInfo* info = InfoOf(form.type);
            const auto isMirror = [&](const InterpolationInfo& other) {
                const auto isNear = [](Pointd a, Pointd b) {
                    return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) < 1e-9;
                };
                return other.group == InterpolationGroup::CubicEasing &&
                       isNear(other.firstControl, mirrored(info->secondControl)) &&
                       isNear(other.secondControl, mirrored(info->firstControl));
            };
            const auto* found =
                std::find_if(kInterpolations.begin(), kInterpolations.end(), isMirror);
            if (info->group != InterpolationGroup::CubicEasing || found == kInterpolations.end()) {
                return false;
            }
            form.type = found->type;
            break;
        }
        case Kind::ValueBezier:
        case Kind::Path:
            std::swap(form.first, form.second);
            break;
    }
    return true;
}

bool WriteForms(std::span<TimeValuePair> row, std::span<SegmentForm> forms) {
    for (std::size_t i = forms.size(); i-- > 0;) {
        if (!WriteType(forms[i], row[i], row[i + 1])) {
            return false;
        }
    }
    for (std::size_t i = 0; i < forms.size(); ++i) {
        const FormHandles handles = HandlesOf(forms[i], row[i], row[i + 1]);
        if (handles.right) {
            row[i].SetRightDerivativeEx(handles.right->x, handles.right->y);
        }
        if (handles.left) {
            row[i + 1].SetLeftDerivativeEx(handles.left->x, handles.left->y);
        }
    }
    return true;
}

}  // namespace core
