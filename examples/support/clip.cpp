#include "support/clip.h"

#include "support/keyframe_table.h"
#include "support/utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string_view>

namespace example {

namespace {

// "point time, blank, duration"
FreezeSpan ReadFreeze(std::string_view text, core::SpeedParameter& speed) {
    double point = 0.0;
    double duration = 0.0;
    const char* const end = text.data() + text.size();
    const char* const blank = std::from_chars(text.data(), end, point).ptr;
    std::from_chars(std::min(blank + 1, end), end, duration);
    return {speed.PointTimeToRenderTime(point), duration};
}

bool CanBeDrawn(core::SpeedParameter& speed) {
    const double fps = speed.GetSourceFPS();
    const double length = speed.GetRenderTotalTime();
    bool isSmall = std::fabs(speed.GetSourceTotalTime()) <= kTimeLimit &&
                   speed.GetKeyFramesCount() <= kMaxKeyframes;
    for (int i = 0; i < speed.GetKeyFramesCount() && isSmall; ++i) {
        isSmall = std::fabs(speed.GetPointTime(i)) <= kTimeLimit &&
                  std::fabs(speed.GetPointValue(i).AsDouble()) <= kLargestNumber;
    }
    return isSmall && fps >= 0.1 && fps <= 1000.0 && length > 0.0 && length * fps < kMaxFrames;
}

}  // namespace

int Clip::LastFrame() {
    return static_cast<int>(std::floor(speed.GetRenderTotalTime() * FramesPerSecond() + 1e-6));
}

double Clip::SpeedAt(double renderTime) {
    for (const FreezeSpan& freeze : FreezesOf(speed)) {
        if (freeze.start <= renderTime && renderTime < freeze.start + freeze.duration) {
            return 0.0;
        }
    }
    const double forward = speed.GetCurrentFPS(renderTime);
    return speed.GetReverse() != 0 ? -forward : forward;
}

std::vector<FreezeSpan> FreezesOf(core::SpeedParameter& speed) {
    core::JsonDoc document;
    document.Parse(speed.Serialize().c_str());
    std::vector<FreezeSpan> freezes;
    if (const core::JsonMember* const array = document.Root().AsObject().Find("_freeze")) {
        for (const core::JsonElem& element : array->AsArray()) {
            freezes.push_back(ReadFreeze(element.AsString(), speed));
        }
    }
    return freezes;
}

std::optional<Clip> LoadClip(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in || std::filesystem::is_directory(file)) {
        return std::nullopt;
    }
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    core::JsonDoc document;
    const core::JsonObject* object = nullptr;
    if (document.Parse(text.c_str()) < 0 || !std::as_const(document).Root().Get(object) ||
        object->Find("_totalTime") == nullptr) {
        return std::nullopt;
    }
    const std::u8string stem = file.stem().u8string();
    Clip clip{{stem.begin(), stem.end()}, {}};
    const auto type = clip.speed.Desialize(text.c_str()) == 0 ? clip.speed.GetParameterType()
                                                              : core::ParameterString;
    if (type != core::ParameterDouble && type != core::ParameterInt) {
        return std::nullopt;
    }
    if (!CanBeDrawn(clip.speed)) {
        const std::u8string path = file.u8string();
        throw TableError(std::string(path.begin(), path.end()) +
                         ": a clip too long to be drawn, or without a length");
    }
    return clip;
}

void SaveClip(Clip& clip, const std::filesystem::path& file) {
    std::ofstream out(file, std::ios::binary);
    out << clip.speed.Serialize();
    out.close();
    if (!out) {
        const std::u8string path = file.u8string();
        throw TableError(std::string(path.begin(), path.end()) + ": cannot be written");
    }
}

}  // namespace example
