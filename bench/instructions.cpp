// core_bench_instructions: calls a function a known number of times, so that
// callgrind can count what those calls execute. See counts.cpp.

#include "inputs.h"

#include <core/logging/log.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int Sample(const std::string& curveType, const std::string& orderName, int n, int laps) {
    using Type = core::KeyframeInterpolationType;
    const Type type = curveType == "Linear" ? Type::Linear : Type::Hermite;
    bench::Order order = bench::Order::Ascending;
    for (const bench::Order other : {bench::Order::Playback, bench::Order::Random}) {
        if (orderName == bench::NameOf(other)) {
            order = other;
        }
    }
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

// Lines below the level of their module.
int LogSuppressed(int laps) {
    constexpr int kCalls = 1000;
    for (const char* module : {"ZYL", "render"}) {
        CoreLogSetLogLevelByModule(module, CORE_LOG_ERROR);
    }
    for (int call = 0; call < laps * kCalls; ++call) {
        CoreLogPrint("tag", CORE_LOG_INFO, "%d", call);
        CoreLogPrintWithSourceInfo("tag", CORE_LOG_INFO, __FILE__, "f", __LINE__, "%d", call);
        CoreLogPrintLog("render", CORE_LOG_INFO, "tag", nullptr, nullptr, -1, "%d", call);
    }
    std::printf("%d\n", kCalls);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "suppressed") == 0) {
        return LogSuppressed(std::atoi(argv[2]));
    }
    if (argc == 5) {
        return Sample(argv[1], argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    }
    std::fprintf(stderr,
                 "usage: %s Hermite|Linear 'in order'|playback|random N LAPS\n"
                 "       %s suppressed LAPS\n",
                 argv[0], argv[0]);
    return 2;
}
