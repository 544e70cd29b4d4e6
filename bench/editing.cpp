// Building, changing and copying curves. Times are those of the whole job.

#include "contests.h"
#include "inputs.h"

#include <core/curve/insert_keyframe.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>

namespace bench {
namespace {

constexpr auto kType = core::KeyframeInterpolationType::Hermite;

struct Keys {
    std::vector<double> times;
    std::vector<double> values;
};

Keys MakeKeys(int n, Order order) {
    Keys keys{KeyTimes(n), KeyValues(n)};
    if (order == Order::Random) {
        std::shuffle(keys.times.begin(), keys.times.end(), std::mt19937_64(21));
    }
    return keys;
}

core::Parameter AddAll(const Keys& keys) {
    core::Parameter curve;
    for (std::size_t i = 0; i < keys.times.size(); ++i) {
        curve.AddPoint(keys.times[i], keys.values[i], kType);
    }
    return curve;
}

/// The plain counterpart: a sorted vector, no handles and no lock.
std::vector<core::TimeValuePair> InsertAll(const Keys& keys) {
    std::vector<core::TimeValuePair> sorted;
    for (std::size_t i = 0; i < keys.times.size(); ++i) {
        const auto at = std::upper_bound(
            sorted.begin(), sorted.end(), keys.times[i],
            [](double time, const core::TimeValuePair& key) { return time < key.GetTime(); });
        sorted.insert(at, core::TimeValuePair(keys.times[i], keys.values[i], kType));
    }
    return sorted;
}

void AddInsertion(Suite& suite, Order order, const std::vector<int>& sizes) {
    const std::string what = std::string("AddPoint, ") + NameOf(order);
    for (const int n : sizes) {
        const auto keys = std::make_shared<const Keys>(MakeKeys(n, order));
        const std::string ours = Name("AddPoint", NameOf(order), n);
        const std::string theirs = Name("sorted vector", NameOf(order), n);
        if (n <= 10'000) {
            suite.Check(ours, 0.0, [=] {
                Agreement agreement;
                core::Parameter curve = AddAll(*keys);
                const auto sorted = InsertAll(*keys);
                agreement.Compare(curve.GetKeyFramesCount(), static_cast<double>(sorted.size()));
                for (std::size_t i = 0; i < sorted.size(); ++i) {
                    const int index = static_cast<int>(i);
                    agreement.Compare(curve.GetPointTime(index), sorted[i].GetTime());
                    agreement.Compare(curve.GetPointValue(index).AsDouble(),
                                      sorted[i].GetValue().AsDouble());
                }
                return agreement;
            });
        }
        suite.Measure(ours, [=](benchmark::State& state) {
            for (auto _ : state) {
                core::Parameter curve = AddAll(*keys);
                benchmark::DoNotOptimize(&curve);
            }
        });
        suite.Measure(theirs, [=](benchmark::State& state) {
            for (auto _ : state) {
                auto sorted = InsertAll(*keys);
                benchmark::DoNotOptimize(sorted.data());
            }
        });
        suite.Compare({what, n, ours, theirs, "sorted vector", 0.0});
    }
}

/// One edit and one sample, both at random.
struct Edit {
    int index;
    double value;
    double time;
};

void AddAlternation(Suite& suite) {
    for (const int n : kSizes) {
        const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
        const auto times = SampleTimes(n, Order::Random);
        Dice dice(22);
        auto edits = std::make_shared<std::vector<Edit>>();
        for (const double time : *times) {
            const int index = dice.Below(n);
            edits->push_back({index, dice.Between(50.0, 100.0), time});
        }
        const std::string name = Name("edit and sample", "random", n);
        suite.Measure(name, [=](benchmark::State& state) {
            RunOverPool(state, *edits, [&](const Edit& edit) {
                curve->SetPointValue(edit.index, edit.value);
                return curve->GetValue(edit.time, false).AsDouble();
            });
        });
        suite.Compare(
            {"SetPointValue + GetValue", n, name, Name("floor", "random", n), "floor", 0.0});
    }
}

void AddCopy(Suite& suite) {
    for (const int n : {10, 1'000, 10'000}) {
        const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
        const auto keys =
            std::make_shared<const std::vector<core::TimeValuePair>>(KeyframesOf(*curve));
        const std::string ours = Name("copy", "curve", n);
        const std::string theirs = Name("copy", "vector of keyframes", n);
        suite.Measure(ours, [=](benchmark::State& state) {
            for (auto _ : state) {
                core::Parameter copy(*curve);
                benchmark::DoNotOptimize(&copy);
            }
        });
        suite.Measure(theirs, [=](benchmark::State& state) {
            for (auto _ : state) {
                std::vector<core::TimeValuePair> copy(*keys);
                benchmark::DoNotOptimize(copy.data());
            }
        });
        suite.Compare({"copy", n, ours, theirs, "vector of keyframes", 0.0});
    }
}

/// A keyframe on the curve, and the curve back as it was; beside one that changes it.
void AddSplit(Suite& suite) {
    for (const int n : kSizes) {
        const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
        const auto times = SampleTimes(n, Order::Random);
        const core::CurveSnapshot before = curve->Snapshot();
        const std::string ours = Name("InsertKeyframe", "random", n);
        const std::string theirs = Name("AddPoint of GetValue", "random", n);
        suite.Measure(ours, [=](benchmark::State& state) {
            RunOverPool(state, *times, [&](double time) {
                const int added = core::InsertKeyframe(*curve, time).added;
                curve->Restore(before);
                return added;
            });
        });
        suite.Measure(theirs, [=](benchmark::State& state) {
            RunOverPool(state, *times, [&](double time) {
                const int index = curve->AddPoint(time, curve->GetValue(time, false), kType);
                curve->Restore(before);
                return index;
            });
        });
        suite.Compare({"InsertKeyframe, undone", n, ours, theirs, "AddPoint", 0.0});
    }
}

}  // namespace

void AddEditing(Suite& suite) {
    suite.Section("A Hermite curve built with AddPoint, handles included");
    AddInsertion(suite, Order::Ascending, {1'000, 10'000, 100'000});
    suite.Compare({"AddPoint, in order", 100'000, Name("AddPoint", "in order", 100'000),
                   Name("AddPoint", "in order", 10'000), "itself at n = 10,000", 15.0});
    // A sorted store moves half of itself for each: 100,000 take minutes.
    AddInsertion(suite, Order::Random, {1'000, 10'000});

    suite.Section("Editing");
    AddAlternation(suite);
    AddCopy(suite);
    AddSplit(suite);
}

}  // namespace bench
