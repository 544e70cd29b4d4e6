#include "core/curve/curve_draft.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace core {
namespace {

using Type = KeyframeInterpolationType;

}  // namespace

std::string FaultOfBounds(double from, double to) {
    if (!std::isfinite(from) || !std::isfinite(to)) {
        return "a time is not finite";
    }
    return from <= to ? "" : "the range ends before it starts";
}

std::string TimeText(double time) {
    constexpr int kDigits = 9;
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), time,
                                   std::chars_format::general, kDigits);
    return {text.data(), end.ptr};
}

namespace {

const char* const kTooLarge = "the numbers are too large";

bool IsFinite(Pointd handle) noexcept {
    return std::isfinite(handle.x) && std::isfinite(handle.y);
}

}  // namespace

std::string FaultOfHandles(std::span<const TimeValuePair> row) {
    const bool areFinite = std::all_of(row.begin(), row.end(), [](const TimeValuePair& keyframe) {
        return IsFinite(LeftOf(keyframe)) && IsFinite(RightOf(keyframe));
    });
    return areFinite ? "" : kTooLarge;
}

bool WriteHandles(Shared<Curve>& draft, std::size_t index, const std::optional<Pointd>& left,
                  const std::optional<Pointd>& right) {
    if ((left && !IsFinite(*left)) || (right && !IsFinite(*right))) {
        return false;
    }
    const TimeValuePair& keyframe = (*draft)[index];
    const bool setsLeft = left && !HandlesMatch(*left, LeftOf(keyframe));
    const bool setsRight = right && !HandlesMatch(*right, RightOf(keyframe));
    if (setsLeft || setsRight) {
        draft.Own().SetHandles(index, setsLeft ? &*left : nullptr, setsRight ? &*right : nullptr);
    }
    return true;
}

std::string NoNumbersAt(std::size_t index) {
    return "the values at keyframe " + std::to_string(index) + " are no numbers";
}

namespace {

// One more segment of the curve, before the stretch or behind it.
bool AddBefore(const Curve& curve, std::size_t start, KeyframeStretch& stretch) {
    SegmentForm form;
    if (!ReadForm(curve[start], curve[start + 1], curve.Type(), form)) {
        return false;
    }
    stretch.keyframes.insert(stretch.keyframes.begin(), curve[start]);
    stretch.sides.insert(stretch.sides.begin(), curve.HandSetOf(start));
    stretch.forms.insert(stretch.forms.begin(), form);
    return true;
}

bool AddBehind(const Curve& curve, std::size_t end, KeyframeStretch& stretch) {
    SegmentForm form;
    if (!ReadForm(curve[end - 1], curve[end], curve.Type(), form)) {
        return false;
    }
    stretch.keyframes.push_back(curve[end]);
    stretch.sides.push_back(curve.HandSetOf(end));
    stretch.forms.push_back(form);
    return true;
}

// What rounding alone has changed is what it was.
void KeepNumbers(const TimeValuePair& old, TimeValuePair& keyframe) {
    if (HandlesMatch(LeftOf(keyframe), LeftOf(old))) {
        keyframe.SetLeftDerivativeEx(LeftOf(old).x, LeftOf(old).y);
    }
    if (HandlesMatch(RightOf(keyframe), RightOf(old))) {
        keyframe.SetRightDerivativeEx(RightOf(old).x, RightOf(old).y);
    }
}

}  // namespace

std::string ReplaceStretch(const Curve& curve, Curve::Range range, KeyframeStretch stretch,
                           Shared<Curve>& draft) {
    if (range.last < curve.Count() && !AddBehind(curve, range.last++, stretch)) {
        return NoNumbersAt(range.last - 1);
    }
    std::vector<TimeValuePair> row = stretch.keyframes;
    for (;;) {
        std::vector<SegmentForm> forms = stretch.forms;
        if (!WriteForms(row, forms)) {
            return "a held path straightens what arrives at it";
        }
        if (range.first == 0 ||
            row[0].GetInterpolation() == curve[range.first].GetInterpolation()) {
            break;
        }
        if (!AddBefore(curve, --range.first, stretch)) {
            return NoNumbersAt(range.first);
        }
        row = stretch.keyframes;
    }
    if (std::string fault = FaultOfHandles(row); !fault.empty()) {
        return fault;
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        KeepNumbers(stretch.keyframes[i], row[i]);
    }
    const bool isPath = curve.Type() == ParameterPoint;
    if (row.size() == range.last - range.first) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (row[i].GetInterpolation() != curve[range.first + i].GetInterpolation()) {
                draft.Own().Add(row[i], curve.MaintainsPathHandles()
                                            ? Curve::PathHandles::Maintained
                                            : Curve::PathHandles::AsTheyAre);
            }
        }
    } else {
        std::vector<TimeValuePair> all = curve.Keyframes();
        std::vector<HandSet> sides = curve.HandSets();
        const auto replace = [&](auto& in, const auto& by) {
            const auto first = in.begin() + static_cast<std::ptrdiff_t>(range.first);
            const auto last = in.begin() + static_cast<std::ptrdiff_t>(range.last);
            in.insert(in.erase(first, last), by.begin(), by.end());
        };
        replace(all, row);
        replace(sides, stretch.sides);
        draft = curve.WithKeyframes(std::move(all), std::move(sides));
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t index = range.first + i;
        // Those of type 26 do not follow.
        const bool isFrozen = row[i].GetInterpolation() == Type::Extrapolate;
        const HandlePair automatic =
            AutomaticHandlesOf(index > 0 ? &(*draft)[index - 1] : nullptr, (*draft)[index],
                               index + 1 < draft->Count() ? &(*draft)[index + 1] : nullptr, isPath);
        HandSet sides = stretch.sides[i];
        sides.left = sides.left || (!isFrozen && !HandlesMatch(LeftOf(row[i]), automatic.left));
        sides.right = sides.right || (!isFrozen && !HandlesMatch(RightOf(row[i]), automatic.right));
        const TimeValuePair& now = (*draft)[index];
        const bool follows = !isFrozen && (!isPath || curve.MaintainsPathHandles());
        const HandlePair wanted = {follows && !sides.left ? automatic.left : LeftOf(row[i]),
                                   follows && !sides.right ? automatic.right : RightOf(row[i])};
        const HandSet had = draft->HandSetOf(index);
        if (wanted.left != LeftOf(now) || wanted.right != RightOf(now) || sides.left != had.left ||
            sides.right != had.right) {
            draft.Own().PutHandles(index, wanted, sides);
        }
    }
    return {};
}

}  // namespace core
