#include "plot/clip.h"

#include "plot/keyframe_table.h"
#include "plot/utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string_view>

namespace plot {

namespace {

// "point time, blank, duration"
FreezeSpan ReadFreeze(std::string_view text, core::SpeedParameter& speed) {
    double point = 0.0;
    double duration = 0.0;
    const char* const end = text.data() + text.size();
    const char* const blank = std::from_chars(text.data(), end, point).ptr;
    std::from_chars(std::min(blank + 1, end), end, duration);
    return {speed.PointTimeToRenderTime(point), duration, point};
}

}  // namespace

int Clip::LastFrame() {
    return static_cast<int>(std::floor(speed.GetRenderTotalTime() * FramesPerSecond() + 1e-6));
}

double Clip::SpeedAt(double renderTime) {
    return SeenSpeed(speed).At(renderTime);
}

bool SeenSpeed::IsFrozen(double renderTime) const {
    const auto behind =
        std::upper_bound(freezes.begin(), freezes.end(), renderTime,
                         [](double time, const FreezeSpan& freeze) { return time < freeze.start; });
    return behind != freezes.begin() &&
           renderTime < std::prev(behind)->start + std::prev(behind)->duration;
}

double SeenSpeed::At(double renderTime) const {
    if (IsFrozen(renderTime)) {
        return 0.0;
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

bool CanBeShown(core::SpeedParameter& speed) {
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
    if (!CanBeShown(clip.speed)) {
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

}  // namespace plot
