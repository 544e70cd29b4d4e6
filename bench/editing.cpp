// Building, changing and copying curves. Times are those of the whole job.

#include "contests.h"
#include "inputs.h"

#include <core/curve/fit.h>
#include <core/curve/insert_keyframe.h>
#include <core/curve/ranges.h>

#include <algorithm>
#include <cmath>
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

enum class Build { InOrder, Descending, Random };
const char* NameOf(Build build) {
    return build == Build::InOrder ? "in order" : build == Build::Random ? "random" : "descending";
}

Keys MakeKeys(int n, Build build) {
    Keys keys{KeyTimes(n), KeyValues(n)};
    if (build == Build::Random) {
        std::shuffle(keys.times.begin(), keys.times.end(), std::mt19937_64(21));
    } else if (build == Build::Descending) {
        std::reverse(keys.times.begin(), keys.times.end());
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

void AddInsertion(Suite& suite, Build build, const std::vector<int>& sizes) {
    const std::string what = std::string("AddPoint, ") + NameOf(build);
    for (const int n : sizes) {
        const auto keys = std::make_shared<const Keys>(MakeKeys(n, build));
        const std::string ours = Name("AddPoint", NameOf(build), n);
        const std::string theirs = Name("sorted vector", NameOf(build), n);
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
        if (n > 10'000 && build != Build::InOrder) {
            // A sorted store moves half of itself for each: this many take minutes.
            suite.Compare({what, n, ours, Name("AddPoint", "in order", n), "in order", 0.0});
            continue;
        }
        suite.Measure(theirs, [=](benchmark::State& state) {
            for (auto _ : state) {
                auto sorted = InsertAll(*keys);
                benchmark::DoNotOptimize(sorted.data());
            }
        });
        suite.Compare({what, n, ours, theirs, "sorted vector", 0.0});
    }
}

void AddTransaction(Suite& suite) {
    constexpr int n = 100'000;
    const Keys keys = MakeKeys(n, Build::Random);
    auto keyframes = std::make_shared<std::vector<core::TimeValuePair>>();
    for (std::size_t i = 0; i < keys.times.size(); ++i) {
        keyframes->emplace_back(keys.times[i], keys.values[i], kType);
    }
    const std::string name = Name("AddPoints", "random", n);
    suite.Measure(name, [=](benchmark::State& state) {
        for (auto _ : state) {
            core::Parameter curve;
            curve.AddPoints(keyframes->data(), keyframes->size());
            benchmark::DoNotOptimize(&curve);
        }
    });
    suite.Compare(
        {"AddPoints, random", n, name, Name("AddPoint", "in order", n), "AddPoint, in order", 3.0});
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

/// An edit anywhere, then the area up to anywhere; also while a snapshot of before is held,
/// for which the edit makes a block of its own.
void AddEditAndArea(Suite& suite) {
    for (const int n : {1'000, 10'000, 100'000}) {
        const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
        const auto times = SampleTimes(n, Order::Random);
        const auto measure = [=](benchmark::State& state, bool isHeld) {
            core::Parameter edited(*curve);
            core::CurveSnapshot before = edited.Snapshot();
            Dice dice(23);
            RunOverPool(state, *times, [&](double time) {
                before = isHeld ? edited.Snapshot() : core::CurveSnapshot();
                edited.SetPointValue(dice.Below(n), dice.Between(50.0, 100.0));
                return edited.GetAreaFromTo(0.0, time, false, 0.0, 0.0);
            });
        };
        const std::string alone = Name("edit and area", "random", n);
        const std::string held = Name("edit and area", "snapshot held", n);
        suite.Measure(alone, [=](benchmark::State& state) { measure(state, false); });
        suite.Measure(held, [=](benchmark::State& state) { measure(state, true); });
        suite.Compare({"SetPointValue + GetAreaFromTo", n, alone,
                       Name("edit and area", "random", 1'000), "itself at n = 1,000", 0.0});
        suite.Compare({"the same, a snapshot held", n, held, alone, "no snapshot", 0.0});
    }
}

void AddCopy(Suite& suite) {
    for (const int n : {10, 1'000, 10'000, 100'000}) {
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
        const std::string snapshot = Name("copy", "Snapshot", n);
        suite.Measure(snapshot, [=](benchmark::State& state) {
            for (auto _ : state) {
                core::CurveSnapshot now = curve->Snapshot();
                benchmark::DoNotOptimize(&now);
            }
        });
        suite.Compare({"Snapshot", n, snapshot, theirs, "vector of keyframes", 0.0});
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

/// A thousand keyframes moved as one and one by one, and the curve back as it was.
void AddShift(Suite& suite) {
    constexpr int n = 100'000;
    constexpr int kMoved = 1'000;
    constexpr double kOffset = 1e-3;
    const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
    const core::CurveSnapshot before = curve->Snapshot();
    const int first = n / 2;
    const double from = curve->GetPointTime(first);
    const double to = curve->GetPointTime(first + kMoved - 1);
    const std::string ours = Name("ShiftRange", "1,000", n);
    const std::string theirs = Name("SetPointTime", "1,000", n);
    suite.Measure(ours, [=](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(bool(core::ShiftRange(*curve, from, to, kOffset)));
            curve->Restore(before);
        }
    });
    suite.Measure(theirs, [=](benchmark::State& state) {
        for (auto _ : state) {
            for (int i = first + kMoved - 1; i >= first; --i) {
                curve->SetPointTime(i, curve->GetPointTime(i) + kOffset);
            }
            curve->Restore(before);
        }
    });
    suite.Compare({"ShiftRange of 1,000, undone", n, ours, theirs, "SetPointTime", 0.0});
}

/// A recording of a slow wave.
void AddReduce(Suite& suite) {
    for (const int n : {1'000, 10'000, 100'000}) {
        std::vector<double> times;
        std::vector<double> values;
        core::Parameter recorded;
        for (int i = 0; i < n; ++i) {
            times.push_back(i / 24.0);
            values.push_back(std::sin(times.back()));
            recorded.AddPoint(times.back(), values.back(), core::KeyframeInterpolationType::Linear);
        }
        const core::CurveSnapshot before = recorded.Snapshot();
        const std::string reduce = Name("ReduceKeyframes", "baked", n);
        const std::string fit = Name("FitKeyframes", "samples", n);
        suite.Measure(reduce, [=](benchmark::State& state) {
            core::Parameter curve;
            for (auto _ : state) {
                curve.Restore(before);
                benchmark::DoNotOptimize(bool(core::ReduceKeyframes(curve, 0.0, 1e5, 1e-3)));
            }
        });
        suite.Measure(fit, [=](benchmark::State& state) {
            core::Parameter curve;
            for (auto _ : state) {
                benchmark::DoNotOptimize(bool(
                    core::FitKeyframes(times.data(), values.data(), times.size(), 1e-3, curve)));
            }
        });
        suite.Compare({"ReduceKeyframes", n, reduce, Name("ReduceKeyframes", "baked", 1'000),
                       "itself at n = 1,000", 0.0});
        suite.Compare({"FitKeyframes", n, fit, Name("FitKeyframes", "samples", 1'000),
                       "itself at n = 1,000", 0.0});
    }
}

}  // namespace

void AddEditing(Suite& suite) {
    suite.Section("A Hermite curve built with AddPoint, handles included");
    AddInsertion(suite, Build::InOrder, {1'000, 10'000, 100'000});
    suite.Compare({"AddPoint, in order", 100'000, Name("AddPoint", "in order", 100'000),
                   Name("AddPoint", "in order", 10'000), "itself at n = 10,000", 15.0});
    AddInsertion(suite, Build::Descending, {1'000, 10'000, 100'000});
    AddInsertion(suite, Build::Random, {1'000, 10'000, 100'000});
    AddTransaction(suite);

    suite.Section("Editing");
    AddAlternation(suite);
    AddEditAndArea(suite);
    AddCopy(suite);
    AddSplit(suite);
    AddShift(suite);
    AddReduce(suite);
}

}  // namespace bench
