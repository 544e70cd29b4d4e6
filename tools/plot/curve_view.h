#pragma once

#include "plot/clip.h"

#include <core/core.h>

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace plot {

/// The numbers of a curve at one time: a value, a point's x and y, or the source time and
/// the speed of a clip. What is not there is NaN.
using Answer = std::array<double, 2>;

/// A keyframe where it is seen: of a clip, on its timeline.
struct SeenKeyframe {
    core::TimeValuePair keyframe;
    double time;  // seconds
    Answer place;
    /// The ends of its levers, points of (time, value) or of the plane, where it has any.
    std::optional<core::Pointd> before;
    std::optional<core::Pointd> after;
    bool isFixed = false;  // its type settles them
};

/// Times and what the library answers there. Straight lines between them look like the
/// curve at any size up to a few thousand pixels.
struct CurveTrace {
    std::vector<double> times;
    std::vector<Answer> answers;
};

/// A stretch of numbers.
struct NumberSpan {
    double low;
    double high;
};

/// What a page and pictures show of a curve. All times are seconds, also where
/// the keyframes count ticks, and all numbers are answers of the library.
class CurveView {
public:
    /// Throws `TableError`, "name: what is wrong", for a curve that cannot be drawn: without
    /// a keyframe, or too large. A clip's `FramesPerSecond` are those of its source.
    CurveView(std::string name, std::unique_ptr<core::Parameter> curve);

    const std::string& Name() const { return name; }
    core::Parameter& Curve() const { return *curve; }
    core::SpeedParameter* Speed() const { return speed; }  // null for a parameter
    bool IsPath() const { return speed == nullptr && channels.size() == 2; }

    /// What the numbers of an answer are called.
    const std::vector<std::string>& Channels() const { return channels; }
    /// The texts that the numbers 0, 1, ... of a boolean or a text stand for; empty for
    /// numbers.
    const std::vector<std::string>& Texts() const { return texts; }
    /// What values are cut to.
    const std::optional<NumberSpan>& Range() const { return range; }
    const std::vector<SeenKeyframe>& Keyframes() const { return keyframes; }
    const std::vector<FreezeSpan>& Freezes() const { return freezes; }
    /// The rate at which the frames of a clip follow each other; none for a parameter.
    std::optional<double> FramesPerSecond() const;

    double From() const { return from; }
    double To() const { return to; }

    Answer At(double time) const;
    /// The curve from `start` to `end` with the greatest and the least value of each
    /// channel among its points.
    CurveTrace Trace(double start, double end) const;

private:
    void ReadSpeed();
    void ReadParameter();
    void AddLevers();
    double NumberOf(const core::ValAny& value) const;

    std::string name;
    std::unique_ptr<core::Parameter> curve;
    core::SpeedParameter* speed = nullptr;
    std::optional<SeenSpeed> seen;
    std::vector<std::string> channels;
    std::vector<std::string> texts;
    std::map<std::string, double> numberOfText;
    std::optional<NumberSpan> range;
    std::vector<SeenKeyframe> keyframes;
    std::vector<FreezeSpan> freezes;
    std::vector<double> corners;  // where the curve may bend or jump, ascending
    double unit = 1.0;            // of the keyframes' times, in a second
    double from = 0.0;
    double to = 0.0;
};

}  // namespace plot
