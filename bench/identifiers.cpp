// Time-based identifiers, beside libuuid's.

#include "contests.h"

#include <core/foundation/uuid.h>

#include <uuid/uuid.h>

#include <set>
#include <string>

namespace bench {
namespace {

/// The largest part of the time that libuuid takes.
constexpr double kGoal = 1.0 / 200.0;

/// The version that the text of an identifier shows, its first groups in ours being
/// little-endian.
int VersionOf(const core::Uuid& uuid) {
    return uuid.Data()[7] >> 4;
}

}  // namespace

void AddIdentifiers(Suite& suite) {
    suite.Section("Time-based identifiers");
    const std::string ours = "identifier/Uuid::Generate/alone";
    const std::string theirs = "identifier/uuid_generate_time/alone";

    // Both are of version 1, and none comes twice.
    suite.Check(ours, 0.0, [] {
        constexpr int kCount = 100'000;
        Agreement agreement;
        std::set<std::string> made;
        for (int i = 0; i < kCount; ++i) {
            core::Uuid uuid;
            agreement.Compare(uuid.Generate() ? 1.0 : 0.0, 1.0);
            made.insert(uuid.GetUidString());
            if (i == 0) {
                uuid_t other;
                uuid_generate_time(other);
                agreement.Compare(VersionOf(uuid), uuid_type(other));
            }
        }
        agreement.Compare(static_cast<double>(made.size()), kCount);
        return agreement;
    });
    suite.Measure(ours, [](benchmark::State& state) {
        core::Uuid uuid;
        for (auto _ : state) {
            benchmark::DoNotOptimize(uuid.Generate());
            benchmark::DoNotOptimize(uuid.Data());
        }
    });
    suite.Measure(theirs, [](benchmark::State& state) {
        uuid_t uuid;
        for (auto _ : state) {
            uuid_generate_time(uuid);
            benchmark::DoNotOptimize(uuid);
        }
    });
    suite.Compare({"Uuid::Generate", 1, ours, theirs, "libuuid uuid_generate_time", kGoal});
}

}  // namespace bench
