// Texts of speed curves. What is refused changes nothing; what is loaded has the hash of
// its own text, which is loaded too, and answers no finite time with NaN.

#include <core/logging/log.h>
#include <core/speed/speed_parameter.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool IsQuiet() {
    // A line for each keyframe that is left out would be all that is done.
    return CoreLogSetLogSink(0) >= 0;
}

bool AnswersNumbers(core::SpeedParameter& speed) {
    if (speed.GetParameterType() != core::ParameterDouble &&
        speed.GetParameterType() != core::ParameterInt) {
        return true;
    }
    for (const double time : {-1.0, 0.0, 0.5, 3.0, 4.25, 1e6}) {
        if (std::isnan(speed.GetSourceTime(time)) || std::isnan(speed.GetRenderTime(time)) ||
            std::isnan(speed.PointTimeToRenderTime(time)) ||
            std::isnan(speed.RenderTimeToPointTime(time))) {
            return false;
        }
    }
    return !std::isnan(speed.GetRenderTotalTime());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool isQuiet = IsQuiet();
    const std::string text(reinterpret_cast<const char*>(data), size);

    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);
    speed.AddFreezeFrame(3.0, 2.0);
    speed.SetReverse(true);
    const std::string before = speed.Serialize();
    if (speed.Desialize(text.c_str()) != 0) {
        Require(speed.Serialize() == before);
        return 0;
    }
    Require(AnswersNumbers(speed));

    const std::string saved = speed.Serialize();
    Require(saved.find(speed.GetHashString()) != std::string::npos);
    core::SpeedParameter loaded;
    Require(loaded.Desialize(saved.c_str()) == 0);
    Require(AnswersNumbers(loaded));
    return 0;
}
