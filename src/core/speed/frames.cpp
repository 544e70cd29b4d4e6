#include <core/speed/frames.h>

#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace core {
namespace {

constexpr std::int64_t kNoFrame = -1;

bool IsValid(TimeBase rate) noexcept {
    return rate.units > 0 && rate.seconds > 0;
}

double PerSecond(TimeBase rate) noexcept {
    return static_cast<double>(rate.units) / static_cast<double>(rate.seconds);
}

std::int64_t ToFrame(double whole) noexcept {
    constexpr double kMost = 0x1p62;
    return static_cast<std::int64_t>(std::clamp(whole, -kMost, kMost));
}

// The frames of a clip's material.
class Material {
public:
    Material(const SpeedSnapshot& speed, TimeBase rate) noexcept
        : perSecond(PerSecond(rate)), isReversed(speed.GetReverse() != 0) {
        const double length = speed.GetSourceTotalTime();
        if (length > 0.0) {
            last = std::max(LastBefore(length), 0.0);
        }
    }
    std::int64_t FrameAt(double sourceTime) const noexcept {
        const double frame = isReversed ? LastBefore(sourceTime)
                                        : std::floor((sourceTime + kTimeTolerance) * perSecond);
        return std::isnan(frame) ? kNoFrame : ToFrame(std::clamp(frame, 0.0, last));
    }

private:
    double LastBefore(double time) const noexcept {
        return std::ceil((time - kTimeTolerance) * perSecond) - 1.0;
    }

    double perSecond;
    bool isReversed;
    double last = 0x1p62;
};

}  // namespace

double FrameStart(std::int64_t frame, TimeBase rate) noexcept {
    return IsValid(rate) ? static_cast<double>(frame) * static_cast<double>(rate.seconds) /
                               static_cast<double>(rate.units)
                         : 0.0;
}

std::int64_t FrameAt(double time, TimeBase rate) noexcept {
    return IsValid(rate) && !std::isnan(time)
               ? ToFrame(std::floor((time + kTimeTolerance) * PerSecond(rate)))
               : kNoFrame;
}

std::int64_t GetSourceFrame(const SpeedSnapshot& speed, std::int64_t renderFrame,
                            TimeBase renderRate, TimeBase sourceRate) {
    std::int64_t frame = kNoFrame;
    GetSourceFrames(speed, renderFrame, 1, renderRate, sourceRate, &frame);
    return frame;
}

void GetSourceFrames(const SpeedSnapshot& speed, std::int64_t first, std::size_t count,
                     TimeBase renderRate, TimeBase sourceRate, std::int64_t* sourceFrames) {
    if (!IsValid(renderRate) || !IsValid(sourceRate)) {
        std::fill_n(sourceFrames, count, kNoFrame);
        return;
    }
    const Material material(speed, sourceRate);
    std::array<double, 256> times;
    for (std::size_t done = 0; done < count;) {
        const std::size_t part = std::min(times.size(), count - done);
        for (std::size_t i = 0; i < part; ++i) {
            times[i] = FrameStart(first + static_cast<std::int64_t>(done + i), renderRate);
        }
        speed.GetSourceTimes(times.data(), part, times.data());
        for (std::size_t i = 0; i < part; ++i) {
            sourceFrames[done + i] = material.FrameAt(times[i]);
        }
        done += part;
    }
}

}  // namespace core
