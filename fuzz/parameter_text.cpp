// Texts of parameters. What is refused changes nothing; what is loaded has the hash of
// its own saved text, and from then on comes back to the last bit.

#include <core/curve/parameter.h>
#include <core/logging/log.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/require.h"

namespace {

core::Parameter Load(const std::string& text) {
    core::Parameter parameter;
    FUZZ_REQUIRE(parameter.Desialize(text.c_str()) == 0);
    return parameter;
}

bool IsQuiet() {
    // A line for each keyframe that is left out would be all that is done.
    return CoreLogSetLogSink(0) >= 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool isQuiet = IsQuiet();
    const std::string text(reinterpret_cast<const char*>(data), size);

    core::Parameter parameter(1.0, 2.0, core::KeyframeInterpolationType::Bezier,
                              core::ParameterDouble);
    const std::string before = parameter.Serialize();
    if (parameter.Desialize(text.c_str()) != 0) {
        FUZZ_REQUIRE(parameter.Serialize() == before);
        return 0;
    }

    const std::string saved = parameter.Serialize();
    core::Parameter loaded = Load(saved);
    FUZZ_REQUIRE(std::strcmp(loaded.GetHashString(), parameter.GetHashString()) == 0);
    FUZZ_REQUIRE(saved.find(parameter.GetHashString()) != std::string::npos);
    FUZZ_REQUIRE(loaded.GetKeyFramesCount() == parameter.GetKeyFramesCount());

    const std::string again = loaded.Serialize();
    core::Parameter third = Load(again);
    FUZZ_REQUIRE(third.Serialize() == again);
    FUZZ_REQUIRE(std::strcmp(third.GetHashString(), loaded.GetHashString()) == 0);
    for (int i = 0; i < third.GetKeyFramesCount(); ++i) {
        FUZZ_REQUIRE(third.GetPointTime(i) == loaded.GetPointTime(i));
        FUZZ_REQUIRE(i == 0 || third.GetPointTime(i) - third.GetPointTime(i - 1) >= 1e-7);
        const double time = third.GetPointTime(i) + 0.25;
        FUZZ_REQUIRE(third.GetValue(time, true).Kind() == loaded.GetValue(time, true).Kind());
    }
    return 0;
}
