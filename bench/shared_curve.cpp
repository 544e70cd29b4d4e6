// One curve sampled by several threads at once.

#include "inputs.h"
#include "rounds.h"

#include <core/curve/snapshot.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace bench {

RoundResult RunCurveRound(bool isSnapshot, int threads) {
    constexpr int kKeyframes = 1'000;
    // So many that the start of the threads is next to nothing.
    constexpr int kItems = 10'000'000;
    const std::shared_ptr<core::Parameter> curve =
        MakeCurve(core::KeyframeInterpolationType::Hermite, kKeyframes);
    const core::CurveSnapshot shared = curve->Snapshot();
    const auto times = SampleTimes(kKeyframes, Order::Ascending);
    const WallClock::time_point begin = WallClock::now();
    // One item a thread, so that each has its copy of the snapshot.
    OnThreads(threads, 1, nullptr, [&](int) {
        const core::CurveSnapshot own = shared;
        for (std::size_t i = 0; i < kItems; ++i) {
            const double t = (*times)[i % times->size()];
            benchmark::DoNotOptimize(isSnapshot ? own.GetValue(t, false).AsDouble()
                                                : curve->GetValue(t, false).AsDouble());
        }
    });
    return {NanosecondsSince(begin) / kItems, 0.0};
}

}  // namespace bench
