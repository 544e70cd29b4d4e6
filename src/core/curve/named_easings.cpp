#include <core/curve/easings.h>

#include "core/curve/cubic_bezier.h"
#include "core/curve/cubic_fit.h"
#include "core/curve/curve_draft.h"
#include "core/curve/interpolation_table.h"
#include "core/curve/numbers.h"
#include "core/curve/snapshot_access.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

// Letters: p the progress in time, e the eased progress.

namespace core {
namespace {

using Type = KeyframeInterpolationType;
using Kind = SegmentForm::Kind;

constexpr double kThird = 1.0 / 3.0;
constexpr double kPi = 3.141592653589793;
// How far "back" goes beyond: a tenth of the way.
constexpr double kOvershoot = 1.70158;
constexpr double kEasingError = 1e-4;
// "expo" starts with a jump of 2^-10, which its keyframes leave out.
constexpr double kExpoError = 1.1e-3;

constexpr bool kIsCubic = true;
constexpr bool kTakesKeyframes = false;

// In families of three from the sixth on: in, out, in-out.
constexpr std::array<NamedEasing, kNamedEasingCount> kNamedEasings = {{
    {"linear", kIsCubic, {kThird, kThird, 2 * kThird, 2 * kThird}, 0.0},
    {"ease", kIsCubic, {0.25, 0.1, 0.25, 1.0}, 0.0},
    {"ease-in", kIsCubic, {0.42, 0.0, 1.0, 1.0}, 0.0},
    {"ease-out", kIsCubic, {0.0, 0.0, 0.58, 1.0}, 0.0},
    {"ease-in-out", kIsCubic, {0.42, 0.0, 0.58, 1.0}, 0.0},
    {"sine-in", kTakesKeyframes, {}, kEasingError},
    {"sine-out", kTakesKeyframes, {}, kEasingError},
    {"sine-in-out", kTakesKeyframes, {}, kEasingError},
    {"quad-in", kIsCubic, {kThird, 0.0, 2 * kThird, kThird}, 0.0},
    {"quad-out", kIsCubic, {kThird, 2 * kThird, 2 * kThird, 1.0}, 0.0},
    {"quad-in-out", kTakesKeyframes, {}, 0.0},
    {"cubic-in", kIsCubic, {kThird, 0.0, 2 * kThird, 0.0}, 0.0},
    {"cubic-out", kIsCubic, {kThird, 1.0, 2 * kThird, 1.0}, 0.0},
    {"cubic-in-out", kTakesKeyframes, {}, 0.0},
    {"quart-in", kTakesKeyframes, {}, kEasingError},
    {"quart-out", kTakesKeyframes, {}, kEasingError},
    {"quart-in-out", kTakesKeyframes, {}, kEasingError},
    {"quint-in", kTakesKeyframes, {}, kEasingError},
    {"quint-out", kTakesKeyframes, {}, kEasingError},
    {"quint-in-out", kTakesKeyframes, {}, kEasingError},
    {"expo-in", kTakesKeyframes, {}, kExpoError},
    {"expo-out", kTakesKeyframes, {}, kExpoError},
    {"expo-in-out", kTakesKeyframes, {}, kExpoError},
    {"back-in", kIsCubic, {kThird, 0.0, 2 * kThird, -kOvershoot / 3}, 0.0},
    {"back-out", kIsCubic, {kThird, 1.0 + kOvershoot / 3, 2 * kThird, 1.0}, 0.0},
    {"back-in-out", kTakesKeyframes, {}, 0.0},
}};
constexpr std::size_t kFirstFamily = 5;

// The "in" of a family; `overshoot` differs where "back" is halved.
double EaseIn(std::size_t family, double p, double overshoot) noexcept {
    switch (family) {
        case 0:
            return 1.0 - std::cos(0.5 * kPi * p);
        case 5:
            return p == 0.0 ? 0.0 : std::exp2(10.0 * p - 10.0);
        case 6:
            return ((overshoot + 1.0) * p - overshoot) * p * p;
        default: {
            // p^2 to p^5
            double power = p;
            for (std::size_t k = 0; k < family; ++k) {
                power *= p;
            }
            return power;
        }
    }
}

CubicControls Planar(const CubicBezierEasing& e) noexcept {
    return {{{0.0, 0.0}, {e.x1, e.y1}, {e.x2, e.y2}, {1.0, 1.0}}};
}

double CubicAt(const CubicBezierEasing& e, double p) noexcept {
    const CubicControls c = Planar(e);
    const CubicBezier curve = CubicBezier::FromControlPoints(c[0], c[1], c[2], c[3]);
    return curve.Y(BezierTimeSolver::SolveExactly(curve, 1.0, p));
}

// A cubic of an easing from one progress to another.
struct EasingPiece {
    double from;
    double to;
    CubicControls cubic;  // in x
};

// Cubics of p, of which four values tell all.
std::vector<EasingPiece> HalvesOf(const NamedEasing& easing) {
    std::vector<EasingPiece> pieces;
    pieces.reserve(2);
    for (const double from : {0.0, 0.5}) {
        const auto at = [&](double u) { return EasedProgress(easing, from + 0.5 * u); };
        // Halves of an in-out easing are known at their ends to the last digit.
        const double e0 = from == 0.0 ? 0.0 : 0.5;
        const double e3 = from + 0.5;
        const double e1 = at(kThird);
        const double e2 = at(2 * kThird);
        const double c1 = (-5.0 * e0 + 18.0 * e1 - 9.0 * e2 + 2.0 * e3) / 6.0;
        const double c2 = (2.0 * e0 - 9.0 * e1 + 18.0 * e2 - 5.0 * e3) / 6.0;
        pieces.push_back({from, e3, {{{e0, 0.0}, {c1, 0.0}, {c2, 0.0}, {e3, 0.0}}}});
    }
    return pieces;
}

std::vector<EasingPiece> PiecesOf(const NamedEasing& easing) {
    if (easing.error == 0.0) {
        return HalvesOf(easing);
    }
    constexpr std::size_t kSteps = 512;
    // Between two steps the error grows by next to nothing.
    const double most = 0.98 * easing.error;
    std::vector<FitSample> samples;
    for (std::size_t i = 0; i <= kSteps; ++i) {
        const double p = static_cast<double>(i) / kSteps;
        samples.push_back({p, {EasedProgress(easing, p), 0.0}});
    }
    const auto isNear = [&](const FittedPiece& piece) {
        const double start = samples[piece.from].time;
        const double span = samples[piece.to].time - start;
        return std::all_of(samples.begin() + static_cast<std::ptrdiff_t>(piece.from),
                           samples.begin() + static_cast<std::ptrdiff_t>(piece.to) + 1,
                           [&](const FitSample& sample) {
                               const double u = (sample.time - start) / span;
                               return std::fabs(PointAt(piece.cubic, u).x - sample.value.x) <= most;
                           });
    };
    std::vector<FittedPiece> fitted;
    AppendPieces(
        0, kSteps,
        [&](FittedPiece& piece) {
            piece.isFitted = true;
            piece.cubic = FitCubic({samples.data() + piece.from, piece.to - piece.from + 1},
                                   &samples[piece.from].value, &samples[piece.to].value);
            return isNear(piece);
        },
        fitted);
    SmoothJoints(
        fitted, [&](std::size_t place) { return samples[place].time; }, isNear);
    std::vector<EasingPiece> pieces;
    pieces.reserve(fitted.size());
    for (const FittedPiece& piece : fitted) {
        pieces.push_back({samples[piece.from].time, samples[piece.to].time, piece.cubic});
    }
    return pieces;
}

bool IsNear(double a, double b) noexcept {
    constexpr double kSameControl = 1e-12;
    return std::fabs(a - b) <= kSameControl;
}

// The form of a segment that rises by `dv` with an easing; `type` is the start's.
SegmentForm FormOf(const CubicBezierEasing& e, double dv, Type type) {
    SegmentForm form;
    for (const InterpolationInfo& info : kInterpolations) {
        if (info.group == InterpolationGroup::CubicEasing && IsNear(info.firstControl.x, e.x1) &&
            IsNear(info.firstControl.y, e.y1) && IsNear(info.secondControl.x, e.x2) &&
            IsNear(info.secondControl.y, e.y2)) {
            form.kind = Kind::Eased;
            form.type = info.type;
            return form;
        }
    }
    if (IsNear(e.x1, kThird) && IsNear(e.x2, 2 * kThird)) {
        form.kind = Kind::Hermite;
        form.type = GroupOf(type) == InterpolationGroup::Hermite ? type : Type::Hermite;
        form.first.x = 3.0 * e.y1 * dv;
        form.second.x = 3.0 * (1.0 - e.y2) * dv;
        return form;
    }
    form.kind = Kind::TimeValue;
    form.type = IsBezier(type) ? type : Type::Bezier;
    form.first = {e.x1, e.y1 * dv};
    form.second = {e.x2, (e.y2 - 1.0) * dv};
    return form;
}

bool IsEasing(const CubicBezierEasing& e) noexcept {
    const auto isPart = [](double x) { return x >= 0.0 && x <= 1.0; };
    return isPart(e.x1) && isPart(e.x2) && std::isfinite(e.y1) && std::isfinite(e.y2);
}

// Reads the two values of a segment that may be eased; the answer is why it may not.
std::string ReadSegment(const Curve& curve, int index, double& from, double& to) {
    if (index < 0 || static_cast<std::size_t>(index) + 1 >= curve.Count()) {
        return "there is no segment " + std::to_string(index);
    }
    if (curve.Type() != ParameterDouble && curve.Type() != ParameterInt) {
        return "the curve is none of numbers";
    }
    const auto start = static_cast<std::size_t>(index);
    if (!ReadNumber(curve[start].PeekValue(), from) ||
        !ReadNumber(curve[start + 1].PeekValue(), to)) {
        return NoNumbersAt(start);
    }
    return {};
}

// The segment's keyframes with `forms` between them and `inner` keyframes.
std::string Write(const Curve& curve, std::size_t start, std::vector<TimeValuePair> inner,
                  std::vector<SegmentForm> forms, Shared<Curve>& draft) {
    KeyframeStretch stretch;
    stretch.keyframes = std::move(inner);
    stretch.sides.resize(stretch.keyframes.size());
    stretch.keyframes.insert(stretch.keyframes.begin(), curve[start]);
    stretch.keyframes.push_back(curve[start + 1]);
    stretch.sides.insert(stretch.sides.begin(), {curve.HandSetOf(start).left, false});
    stretch.sides.push_back({false, curve.HandSetOf(start + 1).right});
    stretch.forms = std::move(forms);
    return ReplaceStretch(curve, {start, start + 2}, std::move(stretch), draft);
}

std::string WriteCubic(const Curve& curve, int index, const CubicBezierEasing& easing,
                       Shared<Curve>& draft) {
    double from = 0.0;
    double to = 0.0;
    std::string fault = ReadSegment(curve, index, from, to);
    if (fault.empty()) {
        const auto start = static_cast<std::size_t>(index);
        fault = Write(curve, start, {},
                      {FormOf(easing, to - from, curve[start].GetInterpolation())}, draft);
    }
    return fault;
}

std::string WritePieces(const Curve& curve, int index, const NamedEasing& easing,
                        Shared<Curve>& draft) {
    double from = 0.0;
    double to = 0.0;
    if (std::string fault = ReadSegment(curve, index, from, to); !fault.empty()) {
        return fault;
    }
    if (curve.Type() == ParameterInt) {
        return "the easing takes keyframes between, which hold whole numbers";
    }
    const auto start = static_cast<std::size_t>(index);
    const double t0 = curve.TimeOf(start);
    const double dt = curve.TimeOf(start + 1) - t0;
    std::vector<TimeValuePair> inner;
    std::vector<SegmentForm> forms;
    for (const EasingPiece& piece : PiecesOf(easing)) {
        if ((piece.to - piece.from) * dt < 2.0 * kTimeTolerance) {
            return "the segment is too short for the keyframes that the easing takes";
        }
        if (!forms.empty()) {
            inner.emplace_back(t0 + dt * piece.from, from + (to - from) * piece.cubic[0].x,
                               Type::Hermite);
        }
        SegmentForm form;
        form.kind = Kind::Hermite;
        form.type = Type::Hermite;
        form.first.x = 3.0 * (piece.cubic[1].x - piece.cubic[0].x) * (to - from);
        form.second.x = 3.0 * (piece.cubic[3].x - piece.cubic[2].x) * (to - from);
        forms.push_back(form);
    }
    return Write(curve, start, std::move(inner), std::move(forms), draft);
}

}  // namespace

CurveEditResult SetSegmentEasing(KeyframeHandle& handle, int index,
                                 const CubicBezierEasing& easing) {
    if (!IsEasing(easing)) {
        return {"the numbers are no easing"};
    }
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        return WriteCubic(curve, index, easing, draft);
    });
}

bool GetSegmentEasing(const CurveSnapshot& snapshot, int index, CubicBezierEasing& easing) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    double from = 0.0;
    double to = 0.0;
    SegmentForm form;
    if (!ReadSegment(curve, index, from, to).empty() || from == to) {
        return false;
    }
    const auto start = static_cast<std::size_t>(index);
    if (!ReadForm(curve[start], curve[start + 1], curve.Type(), form)) {
        return false;
    }
    const double dv = to - from;
    switch (form.kind) {
        case Kind::Hermite:
            easing = {kThird, form.first.x / dv / 3.0, 2 * kThird, 1.0 - form.second.x / dv / 3.0};
            return true;
        case Kind::ValueBezier:
            easing = {kThird, (form.first.x - from) / dv, 2 * kThird, (form.second.x - from) / dv};
            return true;
        case Kind::TimeValue:
            easing = {form.first.x, form.first.y / dv, form.second.x, 1.0 + form.second.y / dv};
            return true;
        case Kind::Eased: {
            const InterpolationInfo& info = *InfoOf(form.type);
            if (info.group != InterpolationGroup::CubicEasing) {
                return false;
            }
            easing = {info.firstControl.x, info.firstControl.y, info.secondControl.x,
                      info.secondControl.y};
            return true;
        }
        default:
            return false;
    }
}

const NamedEasing* GetNamedEasing(int number) noexcept {
    return number >= 0 && number < kNamedEasingCount
               ? &kNamedEasings[static_cast<std::size_t>(number)]
               : nullptr;
}

const NamedEasing* FindNamedEasing(const char* name) noexcept {
    const auto* found =
        std::find_if(kNamedEasings.begin(), kNamedEasings.end(), [name](const NamedEasing& easing) {
            return name != nullptr && std::strcmp(easing.name, name) == 0;
        });
    return found != kNamedEasings.end() ? &*found : nullptr;
}

double EasedProgress(const NamedEasing& easing, double progress) noexcept {
    const double p = std::isnan(progress) ? progress : std::clamp(progress, 0.0, 1.0);
    const NamedEasing* const known = FindNamedEasing(easing.name);
    const auto number = static_cast<std::size_t>(known - kNamedEasings.data());
    if (known == nullptr || number < kFirstFamily) {
        return CubicAt(easing.cubic, p);
    }
    const std::size_t family = (number - kFirstFamily) / 3;
    switch ((number - kFirstFamily) % 3) {
        case 0:
            return EaseIn(family, p, kOvershoot);
        case 1:
            return 1.0 - EaseIn(family, 1.0 - p, kOvershoot);
        default: {
            // Both halves; "back" goes further beyond in half of the time.
            constexpr double kHalfOvershoot = 1.525 * kOvershoot;
            return p < 0.5 ? 0.5 * EaseIn(family, 2.0 * p, kHalfOvershoot)
                           : 1.0 - 0.5 * EaseIn(family, 2.0 - 2.0 * p, kHalfOvershoot);
        }
    }
}

CurveEditResult ApplyNamedEasing(KeyframeHandle& handle, int index, const NamedEasing& easing) {
    if (FindNamedEasing(easing.name) == nullptr) {
        return {"there is no easing of that name"};
    }
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        return easing.isCubic ? WriteCubic(curve, index, easing.cubic, draft)
                              : WritePieces(curve, index, easing, draft);
    });
}

}  // namespace core
