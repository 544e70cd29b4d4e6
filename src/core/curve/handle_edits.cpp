#include <core/curve/handle_edits.h>

#include "core/curve/curve_draft.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_form.h"
#include "core/curve/segment_shape.h"
#include "core/curve/snapshot_access.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace core {
namespace {

const char* const kTooLarge = "the numbers are too large";

// Slopes on both sides of a keyframe that differ by less are one.
constexpr double kSmooth = 1e-9;

bool HasKeyframe(const Curve& curve, int index) noexcept {
    return index >= 0 && static_cast<std::size_t>(index) < curve.Count();
}

std::string NoKeyframe(int index) {
    return "there is no keyframe " + std::to_string(index);
}

// Of one coordinate.
double Between(double rise, double whole) noexcept {
    return std::clamp(rise, std::min(whole, 0.0), std::max(whole, 0.0));
}

// What `a` and `b` both allow.
double Flatter(double a, double b) noexcept {
    return a * b <= 0.0 ? 0.0 : std::fabs(a) < std::fabs(b) ? a : b;
}

Pointd RiseOf(const TimeValuePair& start, const TimeValuePair& end) {
    if (start.PeekValue().Kind() == ValAny::kPoint) {
        const Pointd a = start.PeekValue().AsPoint();
        const Pointd b = end.PeekValue().AsPoint();
        return {b.x - a.x, b.y - a.y};
    }
    double a = 0.0;
    double b = 0.0;
    ReadNumber(start.PeekValue(), a);
    ReadNumber(end.PeekValue(), b);
    return {b - a, 0.0};
}

// The segments between the keyframes of a range.
class Stretch {
public:
    Stretch(const Curve& from, Curve::Range keyframes) : curve(from), range(keyframes) {}

    bool Read(std::string& fault) {
        for (std::size_t i = range.first; i + 1 < range.last; ++i) {
            SegmentForm form;
            if (!ReadForm(curve[i], curve[i + 1], curve.Type(), form)) {
                fault = NoNumbersAt(i);
                return false;
            }
            levers.push_back(LeversOf(form, curve[i], curve[i + 1]));
            forms.push_back(form);
        }
        return true;
    }

    void Limit() {
        std::vector<Levers> before = levers;
        for (std::size_t i = 0; i < forms.size(); ++i) {
            const Pointd whole = RiseOf(curve[range.first + i], curve[range.first + i + 1]);
            for (std::optional<Lever>* lever : {&levers[i].first, &levers[i].second}) {
                if (*lever) {
                    (*lever)->rise = {Between((*lever)->rise.x, whole.x),
                                      Between((*lever)->rise.y, whole.y)};
                }
            }
        }
        for (std::size_t i = 0; i + 1 < forms.size(); ++i) {
            if (levers[i].second && levers[i + 1].first) {
                Level(i, before[i].second->rise, before[i + 1].first->rise);
            }
        }
        for (std::size_t i = 0; i < forms.size(); ++i) {
            const auto keepChanged = [](std::optional<Lever>& now,
                                        const std::optional<Lever>& was) {
                if (now && now->rise == was->rise) {
                    now.reset();
                }
            };
            keepChanged(levers[i].first, before[i].first);
            keepChanged(levers[i].second, before[i].second);
        }
    }

    bool Write(Shared<Curve>& draft) {
        bool isDone = true;
        for (std::size_t i = 0; i < forms.size(); ++i) {
            const std::size_t start = range.first + i;
            SetLevers(forms[i], curve[start], curve[start + 1], levers[i]);
            FormHandles handles = HandlesOf(forms[i], curve[start], curve[start + 1]);
            if (levers[i].first) {
                isDone = WriteHandles(draft, start, {}, handles.right) && isDone;
            }
            if (levers[i].second) {
                isDone = WriteHandles(draft, start + 1, handles.left, {}) && isDone;
            }
        }
        return isDone;
    }

private:
    double DurationOf(std::size_t i) const {
        return curve.TimeOf(range.first + i + 1) - curve.TimeOf(range.first + i);
    }

    // The two levers at the end of segment i have one slope again, where they had.
    void Level(std::size_t i, Pointd before, Pointd behind) {
        Lever& left = *levers[i].second;
        Lever& right = *levers[i + 1].first;
        const double a = left.reach * DurationOf(i);
        const double b = right.reach * DurationOf(i + 1);
        const auto level = [&](double Pointd::*d) {
            const double leftSlope = before.*d / a;
            const double rightSlope = behind.*d / b;
            if (std::fabs(leftSlope - rightSlope) <=
                kSmooth * (std::fabs(leftSlope) + std::fabs(rightSlope))) {
                const double slope = Flatter(left.rise.*d / a, right.rise.*d / b);
                // A side that is as flat already keeps its number.
                if (std::fabs(slope * a) < std::fabs(left.rise.*d)) {
                    left.rise.*d = slope * a;
                }
                if (std::fabs(slope * b) < std::fabs(right.rise.*d)) {
                    right.rise.*d = slope * b;
                }
            }
        };
        if (a > 0.0 && b > 0.0) {
            level(&Pointd::x);
            level(&Pointd::y);
        }
    }

    const Curve& curve;
    Curve::Range range;
    std::vector<SegmentForm> forms;
    std::vector<Levers> levers;
};

double LengthOf(Pointd p) noexcept {
    return std::hypot(p.x, p.y);
}

// The lever that goes on where `kept` comes from.
std::string Continue(const Lever& kept, double keptDuration, double duration, Lever& other) {
    const double own = LengthOf(other.rise);
    const double length = LengthOf(kept.rise);
    if (!(length > 0.0)) {
        return "the path rests on that side";
    }
    const double scale = own > 0.0 ? own / length : duration / keptDuration;
    other.rise = {kept.rise.x * scale, kept.rise.y * scale};
    return {};
}

std::string Align(const Curve& curve, std::size_t index, HandleSide kept, Shared<Curve>& draft) {
    const TimeValuePair& keyframe = curve[index];
    SegmentForm arriving;
    SegmentForm leaving;
    if (!ReadForm(curve[index - 1], keyframe, curve.Type(), arriving) ||
        !ReadForm(keyframe, curve[index + 1], curve.Type(), leaving)) {
        return NoNumbersAt(index);
    }
    const bool keepsLeft = kept == HandleSide::Left;
    const std::optional<Lever> left = LeversOf(arriving, curve[index - 1], keyframe).second;
    const std::optional<Lever> right = LeversOf(leaving, keyframe, curve[index + 1]).first;
    std::optional<Lever> other = keepsLeft ? right : left;
    if (!other) {
        return "the other side has no handle";
    }
    const double before = keyframe.GetTime() - curve.TimeOf(index - 1);
    const double behind = curve.TimeOf(index + 1) - keyframe.GetTime();
    const double duration = keepsLeft ? behind : before;
    if (keyframe.PeekValue().Kind() == ValAny::kPoint) {
        const std::optional<Lever>& own = keepsLeft ? left : right;
        std::string fault =
            Continue(own ? *own : Lever{}, keepsLeft ? before : behind, duration, *other);
        if (!fault.empty()) {
            return fault;
        }
    } else {
        const double time = keyframe.GetTime();
        using From = SegmentShape::From;
        const double slope =
            keepsLeft ? SegmentShape(curve.SegmentAt(std::nextafter(
                                         time, -std::numeric_limits<double>::infinity())))
                            .SlopeAt(time, From::Before)
                      : SegmentShape(curve.SegmentAt(time)).SlopeAt(time, From::After);
        if (!std::isfinite(slope)) {
            return "the tangent there is upright";
        }
        if (!(other->reach > 0.0)) {
            other->reach = kRightFraction;
        }
        other->rise.x = slope * other->reach * duration;
    }
    bool isDone = false;
    if (keepsLeft) {
        SetLevers(leaving, keyframe, curve[index + 1], {other, {}});
        isDone =
            WriteHandles(draft, index, {}, HandlesOf(leaving, keyframe, curve[index + 1]).right);
    } else {
        SetLevers(arriving, curve[index - 1], keyframe, {{}, other});
        isDone =
            WriteHandles(draft, index, HandlesOf(arriving, curve[index - 1], keyframe).left, {});
    }
    return isDone ? "" : kTooLarge;
}

}  // namespace

bool IsHandleSet(const CurveSnapshot& snapshot, int index, HandleSide side) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    if (!HasKeyframe(curve, index)) {
        return false;
    }
    const HandSet sides = curve.HandSetOf(static_cast<std::size_t>(index));
    return side == HandleSide::Left ? sides.left : sides.right;
}

CurveEditResult ResetHandles(KeyframeHandle& handle, double from, double to) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (fault.empty()) {
            const Curve::Range range = KeyframesFrom(curve, from, to);
            for (std::size_t i = range.first; i < range.last; ++i) {
                draft.Own().ResetHandles(i);
            }
        }
        return fault;
    });
}

CurveEditResult AlignHandles(KeyframeHandle& handle, int index, HandleSide kept) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        if (!HasKeyframe(curve, index)) {
            return NoKeyframe(index);
        }
        if (index == 0 || !HasKeyframe(curve, index + 1)) {
            return "keyframe " + std::to_string(index) + " has one neighbour";
        }
        return Align(curve, static_cast<std::size_t>(index), kept, draft);
    });
}

CurveEditResult BreakHandles(KeyframeHandle& handle, int index) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        if (!HasKeyframe(curve, index)) {
            return NoKeyframe(index);
        }
        const auto i = static_cast<std::size_t>(index);
        draft.Own().PutHandles(i, {LeftOf(curve[i]), RightOf(curve[i])}, {true, true});
        return std::string();
    });
}

CurveEditResult PreventOvershoot(KeyframeHandle& handle, double from, double to) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (fault.empty()) {
            Stretch stretch(curve, KeyframesFrom(curve, from, to));
            if (stretch.Read(fault)) {
                stretch.Limit();
                fault = stretch.Write(draft) ? "" : kTooLarge;
            }
        }
        return fault;
    });
}

}  // namespace core
