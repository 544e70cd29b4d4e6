// core_bench_instructions: calls GetValue a known number of times, so that callgrind
// can count what those calls execute. See instructions.sh.

#include "inputs.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    using Type = core::KeyframeInterpolationType;
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s Hermite|Linear 'in order'|playback|random N LAPS\n",
                     argv[0]);
        return 2;
    }
    const Type type = std::string(argv[1]) == "Linear" ? Type::Linear : Type::Hermite;
    bench::Order order = bench::Order::Ascending;
    for (const bench::Order other : {bench::Order::Playback, bench::Order::Random}) {
        if (std::string(argv[2]) == bench::NameOf(other)) {
            order = other;
        }
    }
    const int n = std::atoi(argv[3]);
    const int laps = std::atoi(argv[4]);

    const std::shared_ptr<core::Parameter> curve = bench::MakeCurve(type, n);
    const auto times = bench::SampleTimes(n, order);
    double sum = 0.0;
    for (int lap = 0; lap < laps; ++lap) {
        for (const double t : *times) {
            sum += curve->GetValue(t, false).AsDouble();
        }
    }
    std::printf("%zu %.17g\n", times->size(), sum);
    return 0;
}
