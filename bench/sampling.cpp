// GetValue beside a plain curve that holds the same lock, searches the same times
// and evaluates as the formula is written.

#include "contests.h"
#include "yardstick.h"

#include <malloc.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace bench {
namespace {

using Type = core::KeyframeInterpolationType;

/// Sums over a segment in another order of operations differ by a few roundings.
constexpr double kRounding = 1e-12;

double NoGoal(int, Order) {
    return 0.0;
}

/// A curve of the library against a plain one.
struct Contest {
    std::string what;
    std::string plain;
    /// How far their answers may lie apart; 0 for bit by bit.
    double tolerance = 0.0;
    /// The largest ratio asked for, 0 for none.
    double (*goal)(int n, Order order) = NoGoal;
    std::vector<int> sizes = {kSizes.begin(), kSizes.end()};
    std::vector<Order> orders = {Order::Ascending, Order::Random};
};

void Compare(const core::ValAny& a, double b, Agreement& agreement) {
    agreement.Compare(a.AsDouble(), b);
}
void Compare(const core::ValAny& a, core::Pointd b, Agreement& agreement) {
    const core::Pointd point = a.AsPoint();
    agreement.Compare(point.x, b.x);
    agreement.Compare(point.y, b.y);
}

/// Measures `make(n)` and the `Plain` curve of its keyframes, for all sizes and orders.
template <class Plain, class Make>
void Add(Suite& suite, const Contest& contest, Make&& make) {
    for (const int n : contest.sizes) {
        const std::shared_ptr<core::Parameter> curve = make(n);
        const auto plain = std::make_shared<Plain>(KeyframesOf(*curve));
        for (const Order order : contest.orders) {
            const auto times = SampleTimes(n, order);
            const std::string ours = Name(contest.what, NameOf(order), n);
            const std::string theirs = Name(contest.plain, NameOf(order), n);
            suite.Check(ours, contest.tolerance, [=] {
                Agreement agreement;
                for (const double t : *times) {
                    Compare(curve->GetValue(t, false), plain->GetValue(t), agreement);
                }
                return agreement;
            });
            suite.Measure(theirs, [=](benchmark::State& state) {
                RunOverPool(state, *times, [&](double t) { return plain->GetValue(t); });
            });
            suite.Measure(ours, [=](benchmark::State& state) {
                RunOverPool(state, *times, [&](double t) {
                    if constexpr (std::is_same_v<decltype(plain->GetValue(t)), double>) {
                        return curve->GetValue(t, false).AsDouble();
                    } else {
                        return curve->GetValue(t, false).AsPoint();
                    }
                });
            });
            suite.Compare({contest.what + ", " + NameOf(order), n, ours, theirs, contest.plain,
                           contest.goal(n, order)});
        }
    }
}

auto Curves(Type type) {
    return [type](int n) { return MakeCurve(type, n); };
}

void AddHermiteAndLinear(Suite& suite) {
    const std::vector<Order> orders = {Order::Ascending, Order::Playback, Order::Random};
    suite.Section("GetValue: Hermite and Linear, beside the floor: lock, binary search, one cubic");
    const auto goal = [](int n, Order order) {
        if (order != Order::Random) {
            return 1.2;
        }
        return n >= 1'000 ? 0.7 : 0.0;
    };
    Contest contest = {.what = "Hermite",
                       .plain = "floor",
                       .tolerance = kRounding,
                       .goal = goal,
                       .orders = orders};
    Add<Floor>(suite, contest, Curves(Type::Hermite));
    Contest large = contest;
    large.goal = [](int, Order) { return 1.0; };
    large.sizes = {1'000'000};
    large.orders = {Order::Random};
    Add<Floor>(suite, large, Curves(Type::Hermite));
    contest.what = "Linear";
    Add<Floor>(suite, contest, Curves(Type::Linear));
    for (const char* what : {"Hermite", "Linear"}) {
        for (const char* order : {NameOf(Order::Ascending), NameOf(Order::Playback)}) {
            suite.Compare({std::string(what) + ", " + order, 10'000, Name(what, order, 10'000),
                           Name(what, order, 10), "itself at n = 10", 1.1});
        }
    }
}

void AddEasings(Suite& suite) {
    suite.Section("GetValue: easings 16 to 23, bit for bit");
    for (const core::InterpolationInfo* const easing : CubicEasings()) {
        Contest contest = {.what = easing->name,
                           .plain = std::string("bisection ") + easing->name,
                           .goal = [](int, Order) { return 0.25; }};
        // The cost hardly depends on which easing it is: one of them shows all sizes.
        if (easing->type != Type::EaseInOutCubic) {
            contest.sizes = {1'000};
        }
        Add<Yardstick<BisectedEasing>>(suite, contest, Curves(easing->type));
    }

    suite.Section("GetValue: easings in closed form");
    Contest contest = {.what = "EaseOutElastic",
                       .plain = "plain elastic",
                       .tolerance = kRounding,
                       .sizes = {1'000}};
    Add<Yardstick<Elastic>>(suite, contest, Curves(Type::EaseOutElastic));
    contest.what = "EaseOutBounce";
    contest.plain = "plain bounce";
    Add<Yardstick<Bounce>>(suite, contest, Curves(Type::EaseOutBounce));
}

/// Many samples in one call, beside as many calls.
void AddBatches(Suite& suite) {
    suite.Section("GetValues: 1,000 times at once, by a parameter and by a snapshot");
    constexpr int n = 1'000;
    constexpr std::size_t kBatch = 1'000;
    for (const Type type : {Type::Hermite, Type::Bezier}) {
        const std::string what = core::FindInterpolation(type)->name;
        const std::shared_ptr<core::Parameter> curve = MakeCurve(type, n);
        const auto times = SampleTimes(n, Order::Ascending);
        const auto measure = [=](benchmark::State& state, const auto& sampled) {
            std::vector<double> values(kBatch);
            std::size_t at = 0;
            while (state.KeepRunningBatch(kBatch)) {
                sampled.GetValues(times->data() + at, kBatch, false, values.data());
                benchmark::DoNotOptimize(values.data());
                at = at + 2 * kBatch <= times->size() ? at + kBatch : 0;
            }
        };
        const std::string batch = Name("GetValues", what, n);
        const std::string ofSnapshot = Name("GetValues", what + ", snapshot", n);
        suite.Measure(batch, [=](benchmark::State& state) { measure(state, *curve); });
        suite.Measure(ofSnapshot,
                      [=](benchmark::State& state) { measure(state, curve->Snapshot()); });
        for (const std::string& name : {batch, ofSnapshot}) {
            suite.Compare({name.substr(0, name.rfind('/')), n, name, Name(what, "in order", n),
                           "GetValue", 0.0});
        }
    }
}

double AllocatedBytes() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

void AddBytes(Suite& suite) {
    suite.Section("Memory of a keyframe whose segment has been sampled");
    constexpr int n = 100'000;
    constexpr double kKeyframe = sizeof(core::TimeValuePair);
    for (const auto& [type, goal] : {std::pair(Type::Hermite, 130.0), {Type::Bezier, 220.0}}) {
        const std::string what = core::FindInterpolation(type)->name;
        const auto measure = [type = type] {
            const double before = AllocatedBytes();
            const std::shared_ptr<core::Parameter> curve = MakeCurve(type, n);
            for (const double time : KeyTimes(n)) {
                curve->GetValue(time, false);
            }
            return Figures{(AllocatedBytes() - before) / n, kKeyframe};
        };
        suite.Compare(ApartRow{Name("bytes a keyframe", what, n), what, n, "bytes", measure,
                               "TimeValuePair", goal / kKeyframe});
    }
}

}  // namespace

void AddSampling(Suite& suite) {
    AddHermiteAndLinear(suite);
    AddBytes(suite);
    AddBatches(suite);

    suite.Section("GetValue: Hold and point paths");
    Add<Yardstick<Step>>(suite, {.what = "Hold", .plain = "plain hold"}, Curves(Type::Hold));
    Add<Yardstick<Path>>(
        suite, {.what = "point path", .plain = "plain path", .tolerance = kRounding}, MakePath);

    suite.Section("GetValue: time-value Bezier, any handles, bit for bit");
    Add<Yardstick<BisectedBezier>>(
        suite, {.what = "Bezier", .plain = "bisection", .goal = [](int, Order) { return 0.5; }},
        Curves(Type::Bezier));

    AddEasings(suite);
}

}  // namespace bench
