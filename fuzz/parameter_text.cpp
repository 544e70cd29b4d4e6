// Texts of parameters. What is refused changes nothing; what is loaded has the hash of
// its own saved text, and from then on comes back to the last bit.

#include <core/curve/parameter.h>
#include <core/logging/log.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

core::Parameter Load(const std::string& text) {
    core::Parameter parameter;
    Require(parameter.Desialize(text.c_str()) == 0);
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
        Require(parameter.Serialize() == before);
        return 0;
    }

    const std::string saved = parameter.Serialize();
    core::Parameter loaded = Load(saved);
    Require(std::strcmp(loaded.GetHashString(), parameter.GetHashString()) == 0);
    Require(saved.find(parameter.GetHashString()) != std::string::npos);
    Require(loaded.GetKeyFramesCount() == parameter.GetKeyFramesCount());

    const std::string again = loaded.Serialize();
    core::Parameter third = Load(again);
    Require(third.Serialize() == again);
    Require(std::strcmp(third.GetHashString(), loaded.GetHashString()) == 0);
    for (int i = 0; i < third.GetKeyFramesCount(); ++i) {
        Require(third.GetPointTime(i) == loaded.GetPointTime(i));
        Require(i == 0 || third.GetPointTime(i) - third.GetPointTime(i - 1) >= 1e-7);
        const double time = third.GetPointTime(i) + 0.25;
        Require(third.GetValue(time, true).Kind() == loaded.GetValue(time, true).Kind());
    }
    return 0;
}
