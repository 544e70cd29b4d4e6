#include <core/curve/insert_keyframe.h>

#include "core/curve/big_parameter_impl.h"
#include "core/curve/curve.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_split.h"

#include <core/curve/keyframe_handle.h>

#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A plan is made of the curve as it is, then carried out on a draft. The new keyframes make
// automatic handles around them follow; those that have changed by more than rounding are
// set to what they were. At most those of the segment's ends and, should the types of these
// change, of the keyframes beside them: what a file has cut is not quite what it would be anew.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// What a keyframe must be afterwards; a side without a handle is left to itself.
struct Kept {
    std::size_t index = 0;  // before the edit
    Type type = Type::Hold;
    std::optional<Pointd> left;
    std::optional<Pointd> right;
};

struct Plan {
    const char* refusal = nullptr;
    std::vector<Kept> kept;
    std::vector<SplitKey> added;
    std::size_t place = 0;  // the index of the first of these
};

Kept KeptAsItIs(const Curve& curve, std::size_t index) {
    const TimeValuePair& keyframe = curve[index];
    return {index, keyframe.GetInterpolation(), LeftOf(keyframe), RightOf(keyframe)};
}

// Of a curve of integers: keyframes hold whole numbers.
bool MakeWhole(ValAny& value) {
    constexpr double kRounding = 1e-9;
    const double number = RequireNumber(value);
    const double whole = std::round(number);
    if (!(std::fabs(number - whole) <= kRounding) || TruncateToInt(whole) != whole) {
        return false;
    }
    value = static_cast<int>(whole);
    return true;
}

// Before the first keyframe and after the last one the curve rests.
Plan PlanOutside(const Curve& curve, std::size_t index, double time) {
    Plan plan;
    plan.place = index;
    const bool isBefore = index == 0;
    Kept end = KeptAsItIs(curve, isBefore ? 0 : index - 1);
    const ValAny value = curve[end.index].GetValue();
    if (isBefore) {
        plan.added = {{time, value, Type::Hold, {}, {}}};
    } else {
        const HandlePair rest = HandlesOfRest(end.type, value);
        plan.added = {{time, value, end.type, rest.left, {}}};
        end.right = rest.right;
    }
    plan.kept = {end};
    return plan;
}

// An end of type `Linear` that becomes `Hermite` lets the segment behind it say what the
// type has said.
void FreeEnd(const Curve& curve, Plan& plan, Kept& end) {
    end.type = Type::Hermite;
    if (end.index + 1 == curve.Count()) {
        return;
    }
    Kept next = KeptAsItIs(curve, end.index + 1);
    if (RuleOf(Type::Linear, next.type) == SegmentRule::TimeValueBezier) {
        end.right = Pointd{0.0, 0.0};
    } else if (next.type == Type::Linear && curve.Type() != ParameterPoint) {
        next.left->x = end.right->x;
    }
    plan.kept.push_back(next);
}

Plan PlanInside(const Curve& curve, std::size_t index, double time) {
    Plan plan;
    plan.place = index;
    const TimeValuePair& start = curve[index - 1];
    const TimeValuePair& end = curve[index];
    const bool isStored = curve.Type() == ParameterBool || curve.Type() == ParameterString;
    const bool isPath = curve.Type() == ParameterPoint &&
                        start.PeekValue().Kind() == ValAny::kPoint &&
                        end.PeekValue().Kind() == ValAny::kPoint;
    std::optional<Type> previous;
    if (index > 1) {
        previous = curve[index - 2].GetInterpolation();
    }
    SegmentEnds ends{};
    SegmentSplit split;
    if (isStored) {
        split.startType = start.GetInterpolation();
        split.inner = {{time, start.GetValue(), Type::Hold, {}, {}}};
    } else if (isPath) {
        split = SplitPath(start, end, time);
    } else if (ReadEnds(start, end, curve.Type() == ParameterPoint, ends)) {
        split = SplitSegment(ends, previous, time);
    } else {
        split.refusal = "the values there are no numbers";
    }
    plan.refusal = split.refusal;
    plan.added = std::move(split.inner);
    if (curve.Type() == ParameterInt) {
        for (SplitKey& key : plan.added) {
            if (plan.refusal == nullptr && !MakeWhole(key.value)) {
                plan.refusal = "the value there is not whole";
            }
        }
    }
    if (plan.refusal != nullptr) {
        return plan;
    }

    Kept keptStart = KeptAsItIs(curve, index - 1);
    Kept keptEnd = KeptAsItIs(curve, index);
    const bool hasNewType = split.startType != keptStart.type;
    keptStart.type = split.startType;
    if (split.startRight) {
        keptStart.right = split.startRight;
    }
    keptEnd.left = split.endLeft;
    if (previous && hasNewType) {
        plan.kept.push_back(KeptAsItIs(curve, index - 2));
    }
    plan.kept.push_back(keptStart);
    if (split.freesEnd) {
        FreeEnd(curve, plan, keptEnd);
    }
    plan.kept.push_back(keptEnd);
    return plan;
}

void SetHandles(BigParameterImpl& draft, std::size_t index, const std::optional<Pointd>& left,
                const std::optional<Pointd>& right) {
    const TimeValuePair keyframe = draft.KeyframeAt(index);
    if (left && !HandlesMatch(*left, LeftOf(keyframe))) {
        draft.SetPointControlLeftParam(static_cast<int>(index), left->x, left->y);
    }
    if (right && !HandlesMatch(*right, RightOf(keyframe))) {
        draft.SetPointControlRightParam(static_cast<int>(index), right->x, right->y);
    }
}

void CarryOut(const Plan& plan, BigParameterImpl& draft) {
    for (const Kept& kept : plan.kept) {
        draft.SetPointInterpolationType(static_cast<int>(kept.index), kept.type);
    }
    for (const SplitKey& key : plan.added) {
        draft.AddPoint(key.time, key.value, key.type);
    }
    for (std::size_t i = 0; i < plan.added.size(); ++i) {
        SetHandles(draft, plan.place + i, plan.added[i].left, plan.added[i].right);
    }
    for (const Kept& kept : plan.kept) {
        const std::size_t moved = kept.index < plan.place ? 0 : plan.added.size();
        SetHandles(draft, kept.index + moved, kept.left, kept.right);
    }
}

// A single keyframe is answered as it is stored, two of them by the parameter's type.
bool AnswersAsStored(const Curve& curve) {
    const ValAny& value = curve[0].PeekValue();
    double number = 0.0;
    switch (curve.Type()) {
        case ParameterDouble:
            return ReadNumber(value, number) && curve.Ratio() == 1.0;
        case ParameterInt:
            return ReadNumber(value, number) && TruncateToInt(number) == number &&
                   curve.IntegerRatio() == 1.0;
        default:
            return true;
    }
}

Plan PlanInsertion(const Curve& curve, double time) {
    Plan refused;
    if (curve.Count() == 0) {
        refused.refusal = "the curve has no keyframes";
        return refused;
    }
    if (curve.Count() == 1 && !AnswersAsStored(curve)) {
        refused.refusal = "its only keyframe is answered as it is stored";
        return refused;
    }
    const std::size_t index = curve.UpperBound(time);
    return index == 0 || index == curve.Count() ? PlanOutside(curve, index, time)
                                                : PlanInside(curve, index, time);
}

}  // namespace

KeyframeInsertion InsertKeyframe(KeyframeHandle& curve, double time) {
    KeyframeInsertion result;
    if (!std::isfinite(time)) {
        result.reason = "the time is not finite";
        return result;
    }
    while (BigParameterImpl* impl = curve.p_impl()) {
        const Shared<Curve> base = impl->CurrentCurve();
        if (const std::size_t found = base->Find(time); found != Curve::kNone) {
            result.index = static_cast<int>(found);
            return result;
        }
        const Plan plan = PlanInsertion(*base, time);
        if (plan.refusal != nullptr) {
            result.reason = plan.refusal;
            return result;
        }
        BigParameterImpl draft(base);
        CarryOut(plan, draft);
        const int index = draft.GetPointIndex(time);
        if (impl->TakeCurveIfStill(base, draft)) {
            result.index = index;
            result.added = static_cast<int>(plan.added.size());
            return result;
        }
    }
    result.reason = "the curve was moved away";
    return result;
}

}  // namespace core
