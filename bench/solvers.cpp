// The two solvers that replay a bisection, alone: no curve, lock or search around
// them. The library hides them, so their sources are compiled into this program.

#include "contests.h"
#include "core/curve/cubic_bezier.h"
#include "core/curve/easing.h"
#include "yardstick.h"

#include <string>

namespace bench {
namespace {

/// A Bezier segment and a time inside it.
struct TimeQuestion {
    std::size_t segment;
    double x;
};

struct TimeSegment {
    BezierCubic x;
    double x0, x3;
    core::CubicBezier curve;
    core::BezierTimeSolver solver;
};

void AddTimeSolver(Suite& suite) {
    constexpr int kSegments = 1'000;
    Dice dice(11);
    auto segments = std::make_shared<std::vector<TimeSegment>>();
    for (int i = 0; i < kSegments; ++i) {
        const double x0 = dice.Between(0.0, 10'000.0);
        const double x3 = x0 + dice.Between(0.5, 1.5);
        const double x1 = x0 + (x3 - x0) * dice.Between(0.0, 1.0);
        const double x2 = x0 + (x3 - x0) * dice.Between(0.0, 1.0);
        const auto curve = core::CubicBezier::FromControlPoints({x0, 0}, {x1, 0}, {x2, 0}, {x3, 0});
        segments->push_back(
            {BezierCubic(x0, x1, x2, x3), x0, x3, curve, core::BezierTimeSolver(curve, x3)});
    }
    auto questions = std::make_shared<std::vector<TimeQuestion>>();
    for (int i = 0; i < kPoolSize; ++i) {
        const auto segment = static_cast<std::size_t>(dice.Below(kSegments));
        const TimeSegment& s = (*segments)[segment];
        questions->push_back({segment, dice.Between(s.x0, s.x3)});
    }

    const auto bisect = [segments](const TimeQuestion& q) {
        const TimeSegment& s = (*segments)[q.segment];
        return BisectBezier(s.x, s.x0, s.x3, q.x);
    };
    const auto solve = [segments](const TimeQuestion& q) {
        const TimeSegment& s = (*segments)[q.segment];
        return s.solver.Solve(s.curve, s.x3, q.x);
    };
    suite.Check("Bezier solver/alone", 0.0, [=] {
        Agreement agreement;
        for (const TimeQuestion& q : *questions) {
            agreement.Compare(solve(q), bisect(q));
        }
        return agreement;
    });
    suite.Measure("Bezier bisection/alone",
                  [=](benchmark::State& state) { RunOverPool(state, *questions, bisect); });
    suite.Measure("Bezier solver/alone",
                  [=](benchmark::State& state) { RunOverPool(state, *questions, solve); });
    suite.Compare(
        {"Bezier", kSegments, "Bezier solver/alone", "Bezier bisection/alone", "bisection", 0.6});
}

void AddEasingSolvers(Suite& suite) {
    Dice dice(12);
    auto progress = std::make_shared<std::vector<double>>();
    for (int i = 0; i < kPoolSize; ++i) {
        progress->push_back(dice.Between(0.0, 1.0));
    }
    for (const core::InterpolationInfo* const easing : CubicEasings()) {
        const auto bisect = [first = easing->firstControl,
                             second = easing->secondControl](double p) {
            return EasingCubic(BisectEasing(p, first.x, second.x), first.y, second.y);
        };
        const core::CubicEasing* solver = core::FindCubicEasing(easing->type);
        const auto solve = [solver](double p) { return solver->At(p); };

        const std::string name = easing->name;
        suite.Check(name + " solver/alone", 0.0, [=] {
            Agreement agreement;
            for (const double p : *progress) {
                agreement.Compare(solve(p), bisect(p));
            }
            return agreement;
        });
        suite.Measure(name + " bisection/alone",
                      [=](benchmark::State& state) { RunOverPool(state, *progress, bisect); });
        suite.Measure(name + " solver/alone",
                      [=](benchmark::State& state) { RunOverPool(state, *progress, solve); });
        suite.Compare(
            {name, 1, name + " solver/alone", name + " bisection/alone", "bisection", 0.25});
    }
}

}  // namespace

void AddSolvers(Suite& suite) {
    suite.Section("The solvers alone, at random times");
    AddTimeSolver(suite);
    AddEasingSolvers(suite);
}

}  // namespace bench
