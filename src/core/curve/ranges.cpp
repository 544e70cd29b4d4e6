#include <core/curve/ranges.h>

#include "core/curve/curve_draft.h"
#include "core/curve/segment_form.h"
#include "core/curve/snapshot_access.h"

#include <core/curve/insert_keyframe.h>
#include <core/curve/parameter.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// Keyframes that are taken out of a curve to be put in again, with what of their handles is
// set by hand.
struct KeyframeRow {
    std::vector<TimeValuePair> keyframes;
    std::vector<HandSet> sides;
};

KeyframeRow RowOf(const Curve& curve, Curve::Range range) {
    KeyframeRow row;
    row.keyframes.reserve(range.last - range.first);
    for (std::size_t i = range.first; i < range.last; ++i) {
        row.keyframes.push_back(curve[i]);
        row.sides.push_back(curve.HandSetOf(i));
    }
    return row;
}

bool IsInTicks(const Curve& curve) noexcept {
    return curve.Count() > 0 && curve.TimeOf(curve.Count() - 1) >= kFirstTickCount;
}

std::string WouldBe(std::size_t index, double time) {
    return "keyframe " + std::to_string(index) + " would be at " + TimeText(time);
}

// What is wrong with new times of the keyframes from `first` on.
std::string FaultOfTimes(const KeyframeRow& row, const std::vector<double>& times,
                         std::size_t first, bool inTicks) {
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double old = row.keyframes[i].GetTime();
        const double now = times[i];
        if (!std::isfinite(now)) {
            return "the time of keyframe " + std::to_string(first + i) + " would not be finite";
        }
        const bool changesUnit = (old >= kFirstTickCount) != (now >= kFirstTickCount);
        // 0 is in both units.
        if (changesUnit && now != 0.0 && !(old == 0.0 && inTicks)) {
            return WouldBe(first + i, now) + ", which counts another unit";
        }
    }
    return {};
}

// Which keyframe of `rest` one at `time` would meet.
std::string FaultOfMeeting(const Curve& rest, double time, const char* what) {
    const std::size_t met = rest.Find(time);
    return met == Curve::kNone ? std::string()
                               : std::string(what) + " at " + TimeText(time) +
                                     " would meet one at " + TimeText(rest.TimeOf(met));
}

// Moves handles of the row to other times: those of the segments inside keep the segments'
// shape, the outer slopes are divided by `factor`.
void MoveHandles(const Curve& curve, Curve::Range range, double factor,
                 const std::vector<double>& times, KeyframeRow& row) {
    const auto setRight = [&](std::size_t i, Pointd handle) {
        if (!HandlesMatch(handle, RightOf(row.keyframes[i]))) {
            row.keyframes[i].SetRightDerivativeEx(handle.x, handle.y);
        }
    };
    const auto setLeft = [&](std::size_t i, Pointd handle) {
        if (!HandlesMatch(handle, LeftOf(row.keyframes[i]))) {
            row.keyframes[i].SetLeftDerivativeEx(handle.x, handle.y);
        }
    };
    for (std::size_t i = 0; i + 1 < times.size(); ++i) {
        SegmentForm form;
        TimeValuePair start = curve[range.first + i];
        TimeValuePair end = curve[range.first + i + 1];
        if (ReadForm(start, end, curve.Type(), form)) {
            start.SetTime(times[i]);
            end.SetTime(times[i + 1]);
            const FormHandles handles = HandlesOf(form, start, end);
            setRight(i, handles.right.value_or(RightOf(row.keyframes[i])));
            setLeft(i + 1, handles.left.value_or(LeftOf(row.keyframes[i + 1])));
            // What an automatic handle makes of a line that belongs to one end depends on the
            // duration; but for those of linear keyframes, which meet the other end.
            if (factor != 1.0 && form.kind == SegmentForm::Kind::Backward) {
                row.sides[i + 1].left = true;
            } else if (factor != 1.0 && form.kind == SegmentForm::Kind::Forward &&
                       form.type != Type::Linear) {
                row.sides[i].right = true;
            }
        }
    }
    const auto scaled = [&](SegmentForm::Kind kind, const std::optional<Lever>& lever,
                            Pointd handle) {
        if (lever && kind == SegmentForm::Kind::Hermite) {
            handle.x /= factor;
        } else if (lever && kind == SegmentForm::Kind::TimeValue && lever->reach > 0.0) {
            handle.y /= factor;
        }
        return handle;
    };
    SegmentForm form;
    if (range.first > 0 &&
        ReadForm(curve[range.first - 1], curve[range.first], curve.Type(), form)) {
        const Levers levers = LeversOf(form, curve[range.first - 1], curve[range.first]);
        setLeft(0, scaled(form.kind, levers.second, LeftOf(row.keyframes[0])));
    }
    if (range.last < curve.Count() &&
        ReadForm(curve[range.last - 1], curve[range.last], curve.Type(), form)) {
        const Levers levers = LeversOf(form, curve[range.last - 1], curve[range.last]);
        setRight(times.size() - 1, scaled(form.kind, levers.first, RightOf(row.keyframes.back())));
    }
}

// Adds keyframes with automatic handles; a path that does not maintain them keeps their numbers.
void AddAll(Curve& draft, const std::vector<TimeValuePair>& keyframes) {
    const auto paths = draft.MaintainsPathHandles() ? Curve::PathHandles::Maintained
                                                    : Curve::PathHandles::AsTheyAre;
    for (const TimeValuePair& keyframe : keyframes) {
        draft.Add(keyframe, paths);
    }
}

// Those that are set by hand are so again. Automatic handles of type 26 do not follow.
void AddRow(Curve& draft, const KeyframeRow& row) {
    AddAll(draft, row.keyframes);
    for (std::size_t i = 0; i < row.keyframes.size(); ++i) {
        const TimeValuePair& keyframe = row.keyframes[i];
        const HandSet sides = row.sides[i];
        const std::size_t index = draft.Find(keyframe.GetTime());
        const bool isFrozen = keyframe.GetInterpolation() == Type::Extrapolate;
        if (index == Curve::kNone || (!sides.left && !sides.right && !isFrozen)) {
            continue;
        }
        const TimeValuePair& added = draft[index];
        const HandlePair handles = {sides.left || isFrozen ? LeftOf(keyframe) : LeftOf(added),
                                    sides.right || isFrozen ? RightOf(keyframe) : RightOf(added)};
        draft.PutHandles(index, handles, sides);
    }
}

// Moves the keyframes of a range to `times`.
std::string MoveTo(Shared<Curve>& draft, Curve::Range range, const std::vector<double>& times,
                   double factor, Meeting meeting) {
    const Shared<Curve> before = draft;
    const Curve& curve = *before;
    KeyframeRow row = RowOf(curve, range);
    if (std::string fault = FaultOfTimes(row, times, range.first, IsInTicks(curve));
        !fault.empty()) {
        return fault;
    }
    MoveHandles(curve, range, factor, times, row);
    if (std::string fault = FaultOfHandles(row.keyframes); !fault.empty()) {
        return fault;
    }
    draft.Own().Remove(range.first, range.last);
    for (std::size_t i = 0; i < times.size(); ++i) {
        row.keyframes[i].SetTime(times[i]);
        if (meeting == Meeting::Replace) {
            continue;
        }
        const std::string what = "keyframe " + std::to_string(range.first + i);
        std::string fault = FaultOfMeeting(*draft, times[i], what.c_str());
        if (fault.empty() && i > 0 && times[i] - times[i - 1] < kTimeTolerance) {
            fault = what + " would meet the one before it at " + TimeText(times[i]);
        }
        if (!fault.empty()) {
            return fault;
        }
    }
    AddRow(draft.Own(), row);
    return {};
}

template <class TimeOf>
CurveEditResult MoveRange(KeyframeHandle& handle, double from, double to, double factor,
                          Meeting meeting, const TimeOf& timeOf) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (!fault.empty()) {
            return fault;
        }
        const Curve::Range range = KeyframesFrom(curve, from, to);
        std::vector<double> times;
        bool isMoved = false;
        for (std::size_t i = range.first; i < range.last; ++i) {
            times.push_back(timeOf(curve.TimeOf(i)));
            isMoved = isMoved || times.back() != curve.TimeOf(i);
        }
        return isMoved ? MoveTo(draft, range, times, factor, meeting) : fault;
    });
}

// Backwards

bool IsStored(ParameterTypeEnum type) noexcept {
    return type == ParameterBool || type == ParameterString;
}

// Elastic and bouncing segments as cubics.
std::string ResolveEasings(Shared<Curve>& draft, double from, double to) {
    Parameter resolved(std::make_unique<BigParameterImpl>(draft));
    const Curve::Range range = KeyframesFrom(*draft, from, to);
    bool isChanged = false;
    for (std::size_t i = range.first; i + 1 < range.last; ++i) {
        const TimeValuePair& start = (*draft)[i];
        if (GroupOf(start.GetInterpolation()) == InterpolationGroup::ClosedEasing &&
            !IsStored(draft->Type()) && draft->Type() != ParameterPoint) {
            const double middle = 0.5 * (start.GetTime() + draft->TimeOf(i + 1));
            KeyframeInsertion cut = InsertKeyframe(resolved, middle);
            if (!cut) {
                return std::move(cut.reason);
            }
            isChanged = true;
        }
    }
    if (isChanged) {
        draft = resolved.p_impl()->CurrentCurve();
    }
    return {};
}

Pointd Added(Pointd a, Pointd b, Pointd minus) noexcept {
    return {a.x + b.x - minus.x, a.y + b.y - minus.y};
}

std::string Reverse(Shared<Curve>& draft, double from, double to) {
    if (std::string fault = ResolveEasings(draft, from, to); !fault.empty()) {
        return fault;
    }
    const Shared<Curve> before = draft;
    const Curve& curve = *before;
    const Curve::Range range = KeyframesFrom(curve, from, to);
    if (range.last - range.first < 2) {
        return {};
    }
    const double first = curve.TimeOf(range.first);
    const double last = curve.TimeOf(range.last - 1);
    const std::size_t count = range.last - range.first;
    std::vector<TimeValuePair> row;
    std::vector<SegmentForm> forms;
    for (std::size_t i = range.last; i-- > range.first;) {
        const TimeValuePair& old = curve[i];
        TimeValuePair keyframe = old;
        keyframe.SetTime(i == range.first      ? last
                         : i == range.last - 1 ? first
                                               : first + (last - old.GetTime()));
        if (!row.empty() && keyframe.GetTime() - row.back().GetTime() < kTimeTolerance) {
            return WouldBe(i, keyframe.GetTime()) + ", where another one is";
        }
        row.push_back(std::move(keyframe));
        if (i > range.first) {
            SegmentForm form;
            if (!ReadForm(curve[i - 1], old, curve.Type(), form)) {
                return NoNumbersAt(i - 1);
            }
            if (IsStored(curve.Type())) {
                row.back().SetValue(curve[i - 1].GetValue());
            } else if (!Mirror(form, curve[i - 1], old)) {
                return "the segment after keyframe " + std::to_string(i - 1) +
                       " has no counterpart backwards";
            }
            forms.push_back(form);
        }
    }
    if (curve.Type() == ParameterPoint) {
        // Outside, handles of paths keep their direction.
        const auto place = [&](std::size_t i) {
            return row[i].PeekValue().Kind() == ValAny::kPoint ? row[i].PeekValue().AsPoint()
                                                               : Pointd{};
        };
        const Pointd left = Added(place(0), LeftOf(curve[range.first]), place(count - 1));
        const Pointd right = Added(place(count - 1), RightOf(curve[range.last - 1]), place(0));
        row.front().SetLeftDerivativeEx(left.x, left.y);
        row.back().SetRightDerivativeEx(right.x, right.y);
    }
    row.back().SetInterpolation(curve[range.last - 1].GetInterpolation());
    if (!WriteForms(row, forms)) {
        return "a held path straightens what arrives at it";
    }
    if (std::string fault = FaultOfHandles(row); !fault.empty()) {
        return fault;
    }
    Curve& made = draft.Own();
    made.Remove(range.first, range.last);
    AddAll(made, row);
    for (std::size_t i = 0; i < count; ++i) {
        const bool isPath = curve.Type() == ParameterPoint;
        const auto outer = [&](bool isOuter, Pointd handle) {
            return isOuter && !isPath ? std::optional<Pointd>() : handle;
        };
        WriteHandles(draft, range.first + i, outer(i == 0, LeftOf(row[i])),
                     outer(i + 1 == count, RightOf(row[i])));
    }
    return {};
}

}  // namespace

CurveEditResult ShiftRange(KeyframeHandle& curve, double from, double to, double offset,
                           Meeting meeting) {
    return MoveRange(curve, from, to, 1.0, meeting,
                     [offset](double time) { return time + offset; });
}

CurveEditResult ScaleRange(KeyframeHandle& curve, double from, double to, double pivot,
                           double factor, Meeting meeting) {
    if (!(factor > 0.0) || !std::isfinite(factor) || !std::isfinite(pivot)) {
        return {"the factor is not above 0"};
    }
    return MoveRange(curve, from, to, factor, meeting, [pivot, factor](double time) {
        return factor == 1.0 ? time : pivot + (time - pivot) * factor;
    });
}

CurveEditResult ReverseRange(KeyframeHandle& handle, double from, double to) {
    return EditCurve(handle, [&](const Curve&, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        return fault.empty() ? Reverse(draft, from, to) : fault;
    });
}

CurveEditResult RemoveRange(KeyframeHandle& handle, double from, double to, Ripple ripple) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (!fault.empty()) {
            return fault;
        }
        const Curve::Range range = KeyframesFrom(curve, from, to);
        if (range.first < range.last) {
            draft.Own().Remove(range.first, range.last);
        }
        if (ripple == Ripple::No || range.last == curve.Count()) {
            return fault;
        }
        std::vector<double> times;
        for (std::size_t i = range.last; i < curve.Count(); ++i) {
            times.push_back(curve.TimeOf(i) - (to - from));
        }
        return MoveTo(draft, {range.first, draft->Count()}, times, 1.0, Meeting::Refuse);
    });
}

CurveEditResult CopyRange(const CurveSnapshot& snapshot, double from, double to, Parameter& copy) {
    if (std::string fault = FaultOfBounds(from, to); !fault.empty()) {
        return {std::move(fault)};
    }
    if (to - from < kTimeTolerance) {
        return {"the range holds no time"};
    }
    Parameter cut(std::make_unique<BigParameterImpl>(SnapshotAccess::SharedCurveOf(snapshot)));
    for (const double time : {from, to}) {
        if (KeyframeInsertion end = InsertKeyframe(cut, time); !end) {
            return {std::move(end.reason)};
        }
    }
    const Shared<Curve> all = cut.p_impl()->CurrentCurve();
    KeyframeRow row = RowOf(*all, KeyframesFrom(*all, from, to));
    const Pointd right = RightOf(row.keyframes.front());
    const Pointd left = LeftOf(row.keyframes.back());
    Shared<Curve> made = all->WithKeyframes(std::move(row.keyframes), std::move(row.sides));
    WriteHandles(made, 0, {}, right);
    WriteHandles(made, made->Count() - 1, left, {});
    const Parameter taken(std::make_unique<BigParameterImpl>(std::move(made)));
    return {copy.Restore(taken.Snapshot()) ? "" : "the curve was moved away"};
}

CurveEditResult InsertCurve(KeyframeHandle& handle, double time, const CurveSnapshot& inserted,
                            Ripple ripple, Meeting meeting) {
    const Shared<Curve> other = SnapshotAccess::SharedCurveOf(inserted);
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(time, time);
        if (!fault.empty()) {
            return fault;
        }
        if (other->Count() == 0) {
            return std::string("the curve to be inserted has no keyframes");
        }
        if (other->Type() != curve.Type()) {
            return std::string("the two curves are of different kinds");
        }
        const Curve::Range whole = {0, other->Count()};
        KeyframeRow row = RowOf(*other, whole);
        const double first = other->TimeOf(0);
        const double length = other->TimeOf(other->Count() - 1) - first;
        std::vector<double> times;
        for (const TimeValuePair& keyframe : row.keyframes) {
            times.push_back(time + (keyframe.GetTime() - first));
        }
        fault = FaultOfTimes(row, times, 0, IsInTicks(*other));
        if (fault.empty() && curve.Count() > 0 &&
            IsInTicks(curve) != (times.back() >= kFirstTickCount)) {
            fault = "the two curves count different units of time";
        }
        const std::size_t place = curve.MatchesOf(time).first;
        if (fault.empty() && ripple == Ripple::Yes && place < curve.Count()) {
            std::vector<double> moved;
            for (std::size_t i = place; i < curve.Count(); ++i) {
                moved.push_back(curve.TimeOf(i) + length);
            }
            fault = MoveTo(draft, {place, curve.Count()}, moved, 1.0, Meeting::Refuse);
        }
        if (!fault.empty()) {
            return fault;
        }
        const Curve::Range met = KeyframesFrom(*draft, times.front(), times.back());
        if (met.first < met.last && meeting == Meeting::Refuse) {
            return "the inserted curve from " + TimeText(times.front()) + " to " +
                   TimeText(times.back()) + " would meet a keyframe at " +
                   TimeText(draft->TimeOf(met.first));
        }
        if (met.first < met.last) {
            draft.Own().Remove(met.first, met.last);
        }
        MoveHandles(*other, whole, 1.0, times, row);
        fault = FaultOfHandles(row.keyframes);
        if (!fault.empty()) {
            return fault;
        }
        for (std::size_t i = 0; i < times.size(); ++i) {
            row.keyframes[i].SetTime(times[i]);
        }
        const Pointd right = RightOf(row.keyframes.front());
        const Pointd left = LeftOf(row.keyframes.back());
        row.sides.front().left = false;
        row.sides.back().right = false;
        AddRow(draft.Own(), row);
        if (times.size() > 1) {
            WriteHandles(draft, met.first, {}, right);
            WriteHandles(draft, met.first + times.size() - 1, left, {});
        }
        return fault;
    });
}

}  // namespace core
