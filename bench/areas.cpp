// The area of a curve and its inverse, beside prefix sums with quartics.

#include "contests.h"
#include "yardstick.h"

#include <string>

namespace bench {
namespace {

using Type = core::KeyframeInterpolationType;

/// What the library promises for the inverse.
constexpr double kPromised = 1e-9;

/// Areas from time 0 that are reached at the given times.
std::shared_ptr<std::vector<double>> AreasAt(core::Parameter& curve,
                                             const std::vector<double>& times) {
    auto areas = std::make_shared<std::vector<double>>();
    for (const double t : times) {
        areas->push_back(curve.GetAreaFromTo(0.0, t, false, 0.0, 0.0));
    }
    return areas;
}

void AddHermite(Suite& suite, int n) {
    const std::shared_ptr<core::Parameter> curve = MakeCurve(Type::Hermite, n);
    const auto plain = std::make_shared<PlainArea>(KeyframesOf(*curve));
    const auto times = SampleTimes(n, Order::Random);
    const auto areas = AreasAt(*curve, *times);

    suite.Check(Name("area", "Hermite", n), kPromised, [=] {
        Agreement agreement;
        for (std::size_t i = 0; i < times->size(); ++i) {
            agreement.Compare((*areas)[i], plain->AreaTo((*times)[i]));
        }
        return agreement;
    });
    suite.Check(Name("time of area", "Hermite", n), kPromised, [=] {
        Agreement agreement;
        for (const double area : *areas) {
            agreement.Compare(curve->SolveTimeBaseArea(0.0, area), plain->TimeOf(area));
        }
        return agreement;
    });
    suite.Measure(Name("area", "Hermite", n), [=](benchmark::State& state) {
        RunOverPool(state, *times,
                    [&](double t) { return curve->GetAreaFromTo(0.0, t, false, 0.0, 0.0); });
    });
    suite.Measure(Name("area", "plain", n), [=](benchmark::State& state) {
        RunOverPool(state, *times, [&](double t) { return plain->AreaTo(t); });
    });
    suite.Measure(Name("time of area", "Hermite", n), [=](benchmark::State& state) {
        RunOverPool(state, *areas,
                    [&](double area) { return curve->SolveTimeBaseArea(0.0, area); });
    });
    suite.Measure(Name("time of area", "plain", n), [=](benchmark::State& state) {
        RunOverPool(state, *areas, [&](double area) { return plain->TimeOf(area); });
    });
    suite.Measure(Name("area", "after edit", n), [=](benchmark::State& state) {
        core::Parameter edited(*curve);
        double value = 50.0;
        for (auto _ : state) {
            value = 150.0 - value;
            edited.SetPointValue(0, value);
            benchmark::DoNotOptimize(edited.GetAreaFromTo(0.0, 1.0, false, 0.0, 0.0));
        }
    });
}

void AddType(Suite& suite, const char* what, Type type) {
    constexpr int n = 1'000;
    const std::shared_ptr<core::Parameter> curve = MakeCurve(type, n);
    const auto times = SampleTimes(n, Order::Random);
    const auto areas = AreasAt(*curve, *times);
    const std::string area = Name("area", what, n);
    const std::string inverse = Name("time of area", what, n);
    suite.Check(inverse, kPromised, [=] {
        Agreement agreement;
        for (const double wanted : *areas) {
            const double t = curve->SolveTimeBaseArea(0.0, wanted);
            agreement.Compare(curve->GetAreaFromTo(0.0, t, false, 0.0, 0.0), wanted);
        }
        return agreement;
    });
    suite.Measure(area, [=](benchmark::State& state) {
        RunOverPool(state, *times,
                    [&](double t) { return curve->GetAreaFromTo(0.0, t, false, 0.0, 0.0); });
    });
    suite.Measure(inverse, [=](benchmark::State& state) {
        RunOverPool(state, *areas,
                    [&](double wanted) { return curve->SolveTimeBaseArea(0.0, wanted); });
    });
    suite.Compare(
        {std::string("area, ") + what, n, area, Name("area", "Hermite", n), "Hermite", 0.0});
    suite.Compare({std::string("time of area, ") + what, n, inverse,
                   Name("time of area", "Hermite", n), "Hermite", 0.0});
}

}  // namespace

void AddAreas(Suite& suite) {
    suite.Section("Areas of Hermite curves and their inverse, at random times");
    for (const int n : kSizes) {
        AddHermite(suite, n);
    }
    for (const char* what : {"area", "time of area"}) {
        for (const int n : kSizes) {
            suite.Compare({what, n, Name(what, "Hermite", n), Name(what, "plain", n),
                           "plain prefix sums", 0.0});
        }
    }
    for (const int n : kSizes) {
        suite.Compare({"area, first query after an edit", n, Name("area", "after edit", n),
                       Name("area", "Hermite", n), "query at rest", 0.0});
    }

    suite.Section("Areas of other types");
    AddType(suite, "Linear", Type::Linear);
    AddType(suite, "Hold", Type::Hold);
    AddType(suite, "ValueBezier", Type::ValueBezier);
    AddType(suite, "Bezier", Type::Bezier);
    AddType(suite, "EaseInOutCubic", Type::EaseInOutCubic);
    AddType(suite, "EaseOutElastic", Type::EaseOutElastic);
    AddType(suite, "EaseOutBounce", Type::EaseOutBounce);
}

}  // namespace bench
