#include <core/speed/frames.h>

#include "core/speed/snapshot_access.h"
#include "core/speed/source_sweep.h"

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

    /// The frame, where it is that of every source time within `error`; else false.
    bool FindFrame(double sourceTime, double error, std::int64_t& frame) const noexcept {
        const double place =
            (isReversed ? sourceTime - kTimeTolerance : sourceTime + kTimeTolerance) * perSecond;
        const double margin = error * perSecond + kPlaceRounding * std::fabs(place);
        if (!(place > margin && place < last)) {
            return false;
        }
        frame = static_cast<std::int64_t>(place);
        const double since = place - static_cast<double>(frame);
        return since > margin && 1.0 - since > margin;
    }

private:
    static constexpr double kPlaceRounding = 1e-15;

    double LastBefore(double time) const noexcept {
        return std::ceil((time - kTimeTolerance) * perSecond) - 1.0;
    }

    double perSecond;
    bool isReversed;
    double last = 0x1p62;
};

// The frames of a clip, each by the source time that it shows. A frame is a whole number:
// where a source time is known well enough to tell it, its last digits are not asked for.
class Player {
public:
    Player(const SpeedSnapshot& speed, TimeBase renderRate, TimeBase sourceRate)
        : placed(SpeedSnapshotAccess::StateOf(speed).Placed()),
          material(speed, sourceRate),
          rate(renderRate),
          isReversed(speed.GetReverse() != 0),
          length(speed.GetSourceTotalTime()) {}

    void Play(std::int64_t first, std::size_t count, std::int64_t* frames) {
        for (std::size_t done = 0; done < count; done += kMost) {
            const std::size_t part = std::min(kMost, count - done);
            for (std::size_t i = 0; i < part; ++i) {
                times[i] = FrameStart(first + static_cast<std::int64_t>(done + i), rate);
            }
            FindSources(part);
            for (std::size_t i = 0; i < part; ++i) {
                std::int64_t& frame = frames[done + i];
                if (errors[i] == 0.0) {
                    frame = material.FrameAt(sources[i]);
                } else if (!material.FindFrame(sources[i], errors[i], frame)) {
                    frame = material.FrameAt(SourceOf(placed.SourceOfRender(times[i])));
                }
            }
        }
    }

private:
    static constexpr std::size_t kMost = 256;
    // What the sweep is aimed at pays from this many frames on, ...
    static constexpr std::size_t kFewest = 4;
    // ... and is near enough for so many.
    static constexpr std::size_t kInSight = 8;

    double SourceOf(double shown) const noexcept { return isReversed ? length - shown : shown; }
    void FindSources(std::size_t count) {
        const double size = std::fabs(length) + std::fabs(times[0]) + std::fabs(times[count - 1]);
        for (std::size_t i = 0; i < count;) {
            sources[i] = SourceOf(placed.SourceOfRender(times[i], last));
            errors[i++] = 0.0;
            if (!SourceSweep::Suits(*last.inMap.segment) || i + kFewest > count ||
                !IsNearby(times[i]) || !sweep.Enter(last.inMap, size)) {
                continue;
            }
            std::size_t swept = kInSight;
            for (; swept == kInSight && i < count; i += swept) {
                swept = Sweep(i, std::min(i + kInSight, count));
            }
        }
    }
    // Whether a time lies in the segment that was found.
    bool IsNearby(double t) const noexcept {
        return PlacedFreezes::Holds(last, t) && IsInside(*last.inMap.segment, InMap(t));
    }
    double InMap(double t) const noexcept { return t - last.shift - last.inMap.offset; }
    // How many of them lie there, from the first one on.
    std::size_t Sweep(std::size_t from, std::size_t to) {
        while (to > from && !IsNearby(times[to - 1])) {
            --to;
        }
        if (to > from) {
            sweep.Aim(InMap(times[from]), InMap(times[to - 1]));
        }
        for (std::size_t i = from; i < to; ++i) {
            const SourceSweep::Near near = sweep.At(InMap(times[i]));
            sources[i] = SourceOf(near.source);
            errors[i] = near.error;
        }
        return to - from;
    }

    const PlacedFreezes& placed;
    Material material;
    TimeBase rate;
    bool isReversed;
    double length;
    PlacedFreezes::Found last;
    SourceSweep sweep;
    // Of a part of the frames; an error of 0 is that of an exact answer.
    std::array<double, kMost> times;
    std::array<double, kMost> sources;
    std::array<double, kMost> errors;
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
    Player(speed, renderRate, sourceRate).Play(first, count, sourceFrames);
}

}  // namespace core
