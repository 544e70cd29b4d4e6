#include <core/curve/fit.h>

#include "core/curve/cubic_fit.h"
#include "core/curve/curve_draft.h"
#include "core/curve/interpolation_table.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_form.h"

#include <core/curve/parameter.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>

namespace core {
namespace {

using Type = KeyframeInterpolationType;
using Kind = SegmentForm::Kind;

// Degree 9: a cubic of a cubic.
using DeepControls = std::array<Pointd, 10>;

std::string FaultOfError(double error) {
    return error > 0.0 && std::isfinite(error) ? "" : "the error is not above 0";
}

Pointd PlaceOf(const TimeValuePair& keyframe) {
    const ValAny& value = keyframe.PeekValue();
    Pointd place;
    if (value.Kind() == ValAny::kPoint) {
        place = value.AsPoint();
    } else {
        ReadNumber(value, place.x);
    }
    return place;
}

Pointd Minus(Pointd a, Pointd b) noexcept {
    return {a.x - b.x, a.y - b.y};
}

// A segment as cubics of a parameter: the value, and which part of the duration has passed.
struct SourceSegment {
    bool isCubic = false;   // false for one that stays as it is
    bool isPlanar = false;  // time is the parameter unless it is
    CubicControls value;
    std::array<double, 4> passed{};
    SegmentForm form;

    double PassedAt(double s) const noexcept {
        const auto& x = passed;
        return isPlanar ? PointAt({{{x[0], 0}, {x[1], 0}, {x[2], 0}, {x[3], 0}}}, s).x : s;
    }
};

bool CountsOneUnit(double t0, double t1) noexcept {
    return (t0 < kFirstTickCount) == (t1 < kFirstTickCount) || t0 == 0.0;
}

SourceSegment Describe(const TimeValuePair& start, const TimeValuePair& end,
                       const SegmentForm& form) {
    SourceSegment source;
    source.form = form;
    const Pointd p0 = PlaceOf(start);
    const Pointd p3 = PlaceOf(end);
    const auto set = [&](Pointd p1, Pointd p2) {
        source.isCubic = true;
        source.value = {p0, p1, p2, p3};
    };
    switch (form.kind) {
        case Kind::Hermite:
            set({p0.x + form.first.x / 3.0, 0.0}, {p3.x - form.second.x / 3.0, 0.0});
            break;
        case Kind::ValueBezier:
            set({form.first.x, 0.0}, {form.second.x, 0.0});
            break;
        case Kind::Path:
            set(form.first, form.second);
            break;
        case Kind::TimeValue:
            set({p0.x + form.first.y, 0.0}, {p3.x + form.second.y, 0.0});
            source.isPlanar = true;
            source.passed = {0.0, form.first.x, form.second.x, 1.0};
            break;
        case Kind::Eased:
            if (const InterpolationInfo& info = *InfoOf(form.type);
                info.group == InterpolationGroup::CubicEasing) {
                const double dv = p3.x - p0.x;
                set({p0.x + dv * info.firstControl.y, 0.0},
                    {p0.x + dv * info.secondControl.y, 0.0});
                source.isPlanar = true;
                source.passed = {0.0, info.firstControl.x, info.secondControl.x, 1.0};
            }
            break;
        case Kind::Held:
        case Kind::Backward:
        case Kind::Forward:
            break;
    }
    source.isCubic =
        source.isCubic && (!source.isPlanar || CountsOneUnit(start.GetTime(), end.GetTime()));
    return source;
}

// c0 + c1 s + ... of a cubic in Bernstein form.
std::array<double, 4> PowerForm(double p0, double p1, double p2, double p3) noexcept {
    return {p0, 3.0 * (p1 - p0), 3.0 * (p2 - 2.0 * p1 + p0), p3 - 3.0 * p2 + 3.0 * p1 - p0};
}

// The difference of a planar segment and a cubic of the time that passes along it, u from 0
// to 1: composed in power form, and then in Bernstein form.
DeepControls DifferenceInPlane(const SourceSegment& source, const CubicControls& cubic) noexcept {
    const auto compose = [&](double Pointd::*d) {
        const std::array<double, 4> outer =
            PowerForm(cubic[0].*d, cubic[1].*d, cubic[2].*d, cubic[3].*d);
        const auto& p = source.passed;
        const std::array<double, 4> inner = PowerForm(p[0], p[1], p[2], p[3]);
        // Horner's scheme with a polynomial.
        std::array<double, 10> sum{};
        sum[0] = outer[3];
        for (std::size_t k = 3; k-- > 0;) {
            std::array<double, 10> product{};
            const std::size_t degree = 3 * (2 - k);
            for (std::size_t i = 0; i <= degree; ++i) {
                for (std::size_t j = 0; j < 4; ++j) {
                    product[i + j] += sum[i] * inner[j];
                }
            }
            sum = product;
            sum[0] += outer[k];
        }
        const auto& v = source.value;
        const std::array<double, 4> own = PowerForm(v[0].*d, v[1].*d, v[2].*d, v[3].*d);
        for (std::size_t i = 0; i < 4; ++i) {
            sum[i] -= own[i];
        }
        // b_i = sum over j <= i of C(i, j) / C(9, j) a_j.
        constexpr double kOf9[] = {1, 9, 36, 84, 126, 126, 84, 36, 9, 1};
        std::array<double, 10> bernstein{};
        for (std::size_t i = 0; i < 10; ++i) {
            double choose = 1.0;
            for (std::size_t j = 0; j <= i; ++j) {
                bernstein[i] += choose / kOf9[j] * sum[j];
                choose = choose * static_cast<double>(i - j) / static_cast<double>(j + 1);
            }
        }
        return bernstein;
    };
    const std::array<double, 10> x = compose(&Pointd::x);
    DeepControls controls{};
    for (std::size_t i = 0; i < 10; ++i) {
        controls[i].x = x[i];
    }
    return controls;
}

// Between two keyframes of a curve.
class Reduction {
public:
    Reduction(const Curve& of, Curve::Range keyframes, double most)
        : curve(of), range(keyframes), error(most) {}

    // Why it can't be done, or empty.
    std::string Read() {
        for (std::size_t i = range.first; i + 1 < range.last; ++i) {
            SegmentForm form;
            if (!ReadForm(curve[i], curve[i + 1], curve.Type(), form)) {
                return NoNumbersAt(i);
            }
            sources.push_back(Describe(curve[i], curve[i + 1], form));
        }
        return {};
    }

    void Fit() {
        const std::size_t count = sources.size();
        for (std::size_t i = 0; i < count;) {
            std::size_t end = i;
            while (end < count && sources[end].isCubic) {
                ++end;
            }
            if (end > i) {
                FitRun(i, end);
                i = end;
            } else {
                end = i + 1;
                while (end < count && IsSameHold(i, end)) {
                    ++end;
                }
                pieces.push_back({i, end, false, {}});
                i = end;
            }
        }
    }

    bool LeavesOut() const noexcept { return pieces.size() < sources.size(); }

    // The keyframes that stay.
    std::string Write(Shared<Curve>& draft) const {
        KeyframeStretch stretch;
        const auto keep = [&](std::size_t place) {
            stretch.keyframes.push_back(KeyAt(place));
            stretch.sides.push_back(curve.HandSetOf(range.first + place));
        };
        for (const FittedPiece& piece : pieces) {
            keep(piece.from);
            stretch.forms.push_back(piece.isFitted ? FormOf(piece, KeyAt(piece.from))
                                                   : sources[piece.from].form);
        }
        keep(sources.size());
        return ReplaceStretch(curve, range, std::move(stretch), draft);
    }

private:
    const TimeValuePair& KeyAt(std::size_t place) const { return curve[range.first + place]; }
    double TimeAt(std::size_t place) const { return curve.TimeOf(range.first + place); }

    // Whether a held segment goes on with what the one at `first` holds.
    bool IsSameHold(std::size_t first, std::size_t next) const {
        return sources[first].form.kind == Kind::Held && sources[next].form.kind == Kind::Held &&
               IsSame(KeyAt(first).PeekValue(), KeyAt(next).PeekValue());
    }

    void FitRun(std::size_t first, std::size_t last) {
        // Many segments need few samples each.
        constexpr std::size_t kMany = 64;
        const std::size_t perSegment = last - first > kMany ? 2 : 8;
        std::vector<FitSample> samples;
        samples.reserve((last - first) * perSegment + 1);
        for (std::size_t i = first; i < last; ++i) {
            for (std::size_t k = 0; k < perSegment; ++k) {
                const double s = static_cast<double>(k) / static_cast<double>(perSegment);
                const double passed = sources[i].PassedAt(s);
                samples.push_back({TimeAt(i) + (TimeAt(i + 1) - TimeAt(i)) * passed,
                                   PointAt(sources[i].value, s)});
            }
        }
        samples.push_back({TimeAt(last), PlaceOf(KeyAt(last))});
        const std::size_t before = pieces.size();
        AppendPieces(
            first, last,
            [&](FittedPiece& piece) {
                if (!piece.isFitted) {
                    return true;
                }
                const Pointd start = PlaceOf(KeyAt(piece.from));
                const Pointd end = PlaceOf(KeyAt(piece.to));
                piece.cubic = FitCubic({samples.data() + (piece.from - first) * perSegment,
                                        (piece.to - piece.from) * perSegment + 1},
                                       &start, &end);
                return IsNear(piece);
            },
            pieces);
        std::vector<FittedPiece> run(pieces.begin() + static_cast<std::ptrdiff_t>(before),
                                     pieces.end());
        SmoothJoints(
            run, [&](std::size_t place) { return TimeAt(place); },
            [&](const FittedPiece& piece) { return IsNear(piece); });
        std::copy(run.begin(), run.end(), pieces.begin() + static_cast<std::ptrdiff_t>(before));
    }

    // At every time.
    bool IsNear(const FittedPiece& piece) const {
        const double start = TimeAt(piece.from);
        const double span = TimeAt(piece.to) - start;
        for (std::size_t i = piece.from; i < piece.to; ++i) {
            const double a = i == piece.from ? 0.0 : (TimeAt(i) - start) / span;
            const double b = i + 1 == piece.to ? 1.0 : (TimeAt(i + 1) - start) / span;
            const CubicControls part = PartOf(piece.cubic, a, b);
            const SourceSegment& source = sources[i];
            if (source.isPlanar) {
                if (!StaysWithin(DifferenceInPlane(source, part), error)) {
                    return false;
                }
                continue;
            }
            const CubicControls difference = {
                Minus(part[0], source.value[0]), Minus(part[1], source.value[1]),
                Minus(part[2], source.value[2]), Minus(part[3], source.value[3])};
            if (!StaysWithin(difference, error)) {
                return false;
            }
        }
        return true;
    }

    SegmentForm FormOf(const FittedPiece& piece, const TimeValuePair& start) const {
        SegmentForm form;
        const CubicControls& c = piece.cubic;
        const bool isPath = sources[piece.from].form.kind == Kind::Path;
        form.type = start.GetInterpolation();
        if (isPath) {
            form.kind = Kind::Path;
            form.first = c[1];
            form.second = c[2];
            return form;
        }
        form.kind = Kind::Hermite;
        if (GroupOf(form.type) != InterpolationGroup::Hermite) {
            form.type = Type::Hermite;
        }
        form.first.x = 3.0 * (c[1].x - c[0].x);
        form.second.x = 3.0 * (c[3].x - c[2].x);
        return form;
    }

    const Curve& curve;
    Curve::Range range;
    double error;
    std::vector<SourceSegment> sources;
    std::vector<FittedPiece> pieces;
};

std::string FaultOfSamples(const std::vector<FitSample>& samples) {
    if (samples.empty()) {
        return "there are no samples";
    }
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const FitSample& sample = samples[i];
        const bool isFinite = std::isfinite(sample.time) && std::isfinite(sample.value.x) &&
                              std::isfinite(sample.value.y);
        if (!isFinite) {
            return "sample " + std::to_string(i) + " is not finite";
        }
        if (i > 0 && !(sample.time - samples[i - 1].time >= kTimeTolerance)) {
            return "sample " + std::to_string(i) + " at " + TimeText(sample.time) +
                   " is not after the one before it";
        }
    }
    return {};
}

std::vector<FittedPiece> FitSamples(const std::vector<FitSample>& samples, double error) {
    const auto isNear = [&](const FittedPiece& piece) {
        const double start = samples[piece.from].time;
        const double span = samples[piece.to].time - start;
        for (std::size_t i = piece.from; i <= piece.to; ++i) {
            const Pointd at = PointAt(piece.cubic, (samples[i].time - start) / span);
            if (!(LengthOf(Minus(at, samples[i].value)) <= error)) {
                return false;
            }
        }
        return true;
    };
    std::vector<FittedPiece> pieces;
    const auto fit = [&](FittedPiece& piece) {
        // Each goes on where the one before has ended, wherever that is within the error.
        const Pointd* start = pieces.empty() ? nullptr : &pieces.back().cubic[3];
        if (piece.to == piece.from + 1) {
            const Pointd a = start != nullptr ? *start : samples[piece.from].value;
            const Pointd b = samples[piece.to].value;
            piece.isFitted = true;
            piece.cubic = {a,
                           {(2.0 * a.x + b.x) / 3.0, (2.0 * a.y + b.y) / 3.0},
                           {(a.x + 2.0 * b.x) / 3.0, (a.y + 2.0 * b.y) / 3.0},
                           b};
            return true;
        }
        piece.cubic =
            FitCubic({samples.data() + piece.from, piece.to - piece.from + 1}, start, nullptr);
        return isNear(piece);
    };
    AppendPieces(0, samples.size() - 1, fit, pieces);
    SmoothJoints(
        pieces, [&](std::size_t place) { return samples[place].time; }, isNear);
    return pieces;
}

CurveEditResult MakeFitted(const std::vector<FitSample>& samples, ParameterTypeEnum type,
                           double error, Parameter& fitted) {
    std::string fault = FaultOfError(error);
    if (fault.empty()) {
        fault = FaultOfSamples(samples);
    }
    if (!fault.empty()) {
        return {std::move(fault)};
    }
    const bool isPath = type == ParameterPoint;
    std::vector<TimeValuePair> row;
    std::vector<SegmentForm> forms;
    const auto add = [&](double time, Pointd at) {
        row.emplace_back(time, isPath ? ValAny(at) : ValAny(at.x),
                         isPath ? Type::Bezier : Type::Hermite);
    };
    const std::vector<FittedPiece> pieces = FitSamples(samples, error);
    for (const FittedPiece& piece : pieces) {
        const CubicControls& c = piece.cubic;
        add(samples[piece.from].time, c[0]);
        SegmentForm form;
        form.kind = isPath ? Kind::Path : Kind::Hermite;
        form.first = isPath ? c[1] : Pointd{3.0 * (c[1].x - c[0].x), 0.0};
        form.second = isPath ? c[2] : Pointd{3.0 * (c[3].x - c[2].x), 0.0};
        forms.push_back(form);
    }
    add(samples.back().time, pieces.empty() ? samples.back().value : pieces.back().cubic[3]);
    WriteForms(row, forms);
    if (fault = FaultOfHandles(row); !fault.empty()) {
        return {std::move(fault)};
    }
    std::vector<HandSet> sides(row.size(), HandSet{true, true});
    const ValAny constant = isPath ? ValAny(Pointd{}) : ValAny(0.0);
    BigParameterImpl empty(type, constant, {});
    Shared<Curve> made = empty.CurrentCurve()->WithKeyframes(std::move(row), std::move(sides));
    const Parameter taken(std::make_unique<BigParameterImpl>(std::move(made)));
    return {fitted.Restore(taken.Snapshot()) ? "" : "the curve was moved away"};
}

template <class Value, class PointOf>
std::vector<FitSample> SamplesOf(const double* times, const Value* values, std::size_t count,
                                 const PointOf& pointOf) {
    std::vector<FitSample> samples;
    samples.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back({times[i], pointOf(values[i])});
    }
    return samples;
}

}  // namespace

CurveEditResult ReduceKeyframes(KeyframeHandle& handle, double from, double to, double error) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (fault.empty()) {
            fault = FaultOfError(error);
        }
        if (!fault.empty()) {
            return fault;
        }
        Reduction reduction(curve, KeyframesFrom(curve, from, to), error);
        fault = reduction.Read();
        if (fault.empty()) {
            reduction.Fit();
            if (reduction.LeavesOut()) {
                fault = reduction.Write(draft);
            }
        }
        return fault;
    });
}

CurveEditResult FitKeyframes(const double* times, const double* values, std::size_t count,
                             double error, Parameter& fitted) {
    if (count > std::numeric_limits<int>::max()) {
        return {"there are too many samples"};
    }
    return MakeFitted(SamplesOf(times, values, count,
                                [](double v) {
                                    return Pointd{v, 0.0};
                                }),
                      ParameterDouble, error, fitted);
}

CurveEditResult FitKeyframes(const double* times, const Pointd* values, std::size_t count,
                             double error, Parameter& fitted) {
    if (count > std::numeric_limits<int>::max()) {
        return {"there are too many samples"};
    }
    return MakeFitted(SamplesOf(times, values, count, [](Pointd v) { return v; }), ParameterPoint,
                      error, fitted);
}

}  // namespace core
