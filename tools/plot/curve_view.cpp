// A curve is traced from corner to corner: between two keyframes, or ends of freezes, it
// is smooth, or, for whole numbers, a flight of stairs. Each stretch is probed at a few
// places; where one of them lies off the straight line, the stretch is halved. So a
// straight stretch costs its ends alone, and a jump ends as a line that is all but upright.

#include "plot/curve_view.h"

#include "plot/keyframe_table.h"
#include "plot/levers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace plot {

namespace {

using core::ValAny;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

// Larger ones cannot be told apart on an axis, and their differences overflow.
constexpr double kLongestTime = 1e12;
constexpr double kLargestValue = 1e100;

// How far a curve may lie off its trace, as a part of its height: a third of a pixel on a
// picture 1000 pixels high.
constexpr double kFlatness = 1.0 / 3000.0;

// A stretch is halved that often at most.
constexpr int kDeepest = 14;

// Beyond so many points nothing is halved any more.
constexpr std::size_t kMostPoints = 400'000;

// Where a stretch is probed: at unequal distances, so that no wave hides from all.
constexpr std::array<double, 7> kFirstProbes = {0.07, 0.19, 0.33, 0.5, 0.64, 0.79, 0.93};
constexpr std::array<double, 3> kProbes = {0.27, 0.5, 0.71};

double JustBefore(double time) {
    return std::nextafter(time, -kInfinity);
}

class Tracer {
public:
    Tracer(const CurveView& what, std::size_t count) : view(what), channelCount(count) {}

    CurveTrace Trace(double from, double to, const std::vector<double>& corners) {
        std::vector<double> ends = {from};
        for (const double corner : corners) {
            if (corner > ends.back() && corner < to) {
                ends.push_back(corner);
            }
        }
        if (to > from) {
            ends.push_back(to);
        }
        MeasureHeight(ends);
        Add(ends.front(), view.At(ends.front()));
        for (std::size_t i = 1; i < ends.size(); ++i) {
            TraceStretch(ends[i - 1], ends[i]);
        }
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            AddExtreme(channel, 1.0);
            AddExtreme(channel, -1.0);
        }
        return std::move(trace);
    }

private:
    void Add(double time, const Answer& answer) {
        trace.times.push_back(time);
        trace.answers.push_back(answer);
    }

    void MeasureHeight(const std::vector<double>& ends) {
        Answer low = {kInfinity, kInfinity};
        Answer high = {-kInfinity, -kInfinity};
        const auto include = [&](double time) {
            const Answer answer = view.At(time);
            for (std::size_t channel = 0; channel < channelCount; ++channel) {
                low[channel] = std::min(low[channel], answer[channel]);
                high[channel] = std::max(high[channel], answer[channel]);
            }
        };
        include(ends.front());
        for (std::size_t i = 1; i < ends.size(); ++i) {
            include(ends[i]);
            include(ends[i - 1] + 0.37 * (ends[i] - ends[i - 1]));
        }
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            flatness[channel] = kFlatness * (high[channel] - low[channel]);
        }
    }

    bool IsOffLine(double time, double t0, const Answer& a0, double t1, const Answer& a1) const {
        const Answer answer = view.At(time);
        const double part = (time - t0) / (t1 - t0);
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            const double straight = a0[channel] + part * (a1[channel] - a0[channel]);
            if (std::fabs(answer[channel] - straight) > flatness[channel]) {
                return true;
            }
        }
        return false;
    }

    bool Differ(const Answer& a, const Answer& b) const {
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            if (std::fabs(a[channel] - b[channel]) > flatness[channel]) {
                return true;
            }
        }
        return false;
    }

    struct Piece {
        double start, end;
        Answer atStart, atEnd;
        int depth;
    };

    // What lies behind `start`, which is there already, up to `end`.
    void TraceStretch(double start, double end) {
        const Answer atEnd = view.At(end);
        const double last = JustBefore(end);
        const Answer arriving = last > start ? view.At(last) : atEnd;
        std::vector<Piece> open = {
            {start, last > start ? last : end, trace.answers.back(), arriving, 0}};
        while (!open.empty()) {
            const Piece piece = open.back();
            open.pop_back();
            const double middle = piece.start + 0.5 * (piece.end - piece.start);
            if (IsStraight(piece) || !(middle > piece.start && middle < piece.end)) {
                Add(piece.end, piece.atEnd);
                continue;
            }
            const Answer atMiddle = view.At(middle);
            open.push_back({middle, piece.end, atMiddle, piece.atEnd, piece.depth + 1});
            open.push_back({piece.start, middle, piece.atStart, atMiddle, piece.depth + 1});
        }
        // The time just before is of no use where nothing jumps.
        if (!Differ(arriving, atEnd)) {
            trace.times.back() = end;
            trace.answers.back() = atEnd;
        } else if (trace.times.back() < end) {
            Add(end, atEnd);
        }
    }

    bool IsStraight(const Piece& piece) const {
        if (piece.depth >= kDeepest || trace.times.size() >= kMostPoints) {
            return true;
        }
        const auto isOff = [&](double part) {
            return IsOffLine(piece.start + part * (piece.end - piece.start), piece.start,
                             piece.atStart, piece.end, piece.atEnd);
        };
        return piece.depth == 0 ? std::none_of(kFirstProbes.begin(), kFirstProbes.end(), isOff)
                                : std::none_of(kProbes.begin(), kProbes.end(), isOff);
    }

    // The peak lies beside the highest point: golden section finds it there.
    void AddExtreme(std::size_t channel, double sign) {
        const auto isLower = [&](const Answer& a, const Answer& b) {
            return sign * a[channel] < sign * b[channel];
        };
        const auto highest = std::max_element(trace.answers.begin(), trace.answers.end(), isLower);
        const auto index = static_cast<std::size_t>(highest - trace.answers.begin());
        double low = trace.times[index == 0 ? 0 : index - 1];
        double high = trace.times[std::min(index + 1, trace.times.size() - 1)];
        const double kGolden = 0.6180339887498949;
        for (int round = 0; round < 60 && high > low; ++round) {
            const double a = high - kGolden * (high - low);
            const double b = low + kGolden * (high - low);
            if (isLower(view.At(a), view.At(b))) {
                low = a;
            } else {
                high = b;
            }
        }
        const double peak = low + 0.5 * (high - low);
        const Answer answer = view.At(peak);
        const auto behind = std::lower_bound(trace.times.begin(), trace.times.end(), peak);
        if (isLower(*highest, answer) && behind != trace.times.end() && *behind != peak) {
            trace.answers.insert(trace.answers.begin() + (behind - trace.times.begin()), answer);
            trace.times.insert(behind, peak);
        }
    }

    const CurveView& view;
    std::size_t channelCount;
    Answer flatness = {0.0, 0.0};
    CurveTrace trace;
};

}  // namespace

CurveView::CurveView(std::string what, std::unique_ptr<core::Parameter> parameter)
    : name(std::move(what)),
      curve(std::move(parameter)),
      speed(dynamic_cast<core::SpeedParameter*>(curve.get())) {
    if (curve->GetKeyFramesCount() == 0) {
        throw TableError(name + ": holds no keyframe");
    }
    if (speed != nullptr) {
        ReadSpeed();
    } else {
        ReadParameter();
    }
    for (const SeenKeyframe& keyframe : keyframes) {
        corners.push_back(keyframe.time);
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            if (std::fabs(keyframe.place[channel]) > kLargestValue) {
                throw TableError(name + ": numbers too large to be drawn");
            }
        }
    }
    for (const FreezeSpan& freeze : freezes) {
        corners.push_back(freeze.start);
        corners.push_back(freeze.start + freeze.duration);
    }
    std::sort(corners.begin(), corners.end());
    if (!(std::fabs(from) <= kLongestTime && std::fabs(to) <= kLongestTime)) {
        throw TableError(name + ": too long to be drawn");
    }
}

void CurveView::ReadSpeed() {
    const core::ParameterTypeEnum type = speed->GetParameterType();
    if (type != core::ParameterDouble && type != core::ParameterInt) {
        throw TableError(name + ": speeds that are no numbers cannot be drawn");
    }
    channels = {"source time", "speed"};
    to = speed->GetRenderTotalTime();
    seen.emplace(*speed);
    freezes = seen->Freezes();
    const bool isReverse = speed->GetReverse() != 0;
    for (const core::TimeValuePair& keyframe : plot::Keyframes(*curve)) {
        const double source =
            isReverse ? speed->GetSourceTotalTime() - keyframe.GetTime() : keyframe.GetTime();
        const double value = keyframe.GetValue().AsDouble();
        keyframes.push_back({keyframe,
                             speed->GetRenderTime(source),
                             {source, isReverse ? -value : value},
                             std::nullopt,
                             std::nullopt});
    }
    keyframes.back().place[1] = kNothing;  // the last one's speed is never seen
    std::stable_sort(keyframes.begin(), keyframes.end(),
                     [](const SeenKeyframe& a, const SeenKeyframe& b) { return a.time < b.time; });
}

void CurveView::ReadParameter() {
    const core::ParameterTypeEnum type = curve->GetParameterType();
    const std::vector<core::TimeValuePair> stored = plot::Keyframes(*curve);
    channels = {"value"};
    if (type == core::ParameterPoint) {
        channels = {"x", "y"};
    } else if (type == core::ParameterBool) {
        texts = {"false", "true"};
    } else if (type == core::ParameterString) {
        for (const core::TimeValuePair& keyframe : stored) {
            const std::string text = keyframe.GetValue().AsString();
            if (numberOfText.emplace(text, static_cast<double>(texts.size())).second) {
                texts.push_back(text);
            }
        }
    } else {
        ValAny low;
        ValAny high;
        if (HasRange(*curve, low, high)) {
            range = {low.AsDouble(), high.AsDouble()};
        }
    }
    if (stored.back().GetTime() >= core::kFirstTickCount) {
        unit = core::kTicksPerSecond;
    }
    from = stored.front().GetTime() / unit;
    to = stored.back().GetTime() / unit;
    for (const core::TimeValuePair& keyframe : stored) {
        SeenKeyframe shown{
            keyframe, keyframe.GetTime() / unit, {kNothing, kNothing}, std::nullopt, std::nullopt};
        const ValAny value = keyframe.GetValue();
        if (type == core::ParameterPoint) {
            shown.place = {value.AsPoint().x, value.AsPoint().y};
        } else if (type == core::ParameterDouble || type == core::ParameterInt) {
            // A single keyframe is answered as stored, without the base ratio.
            shown.place[0] = stored.size() == 1 ? value.AsDouble() : ShownValue(*curve, value);
        } else {
            shown.place[0] = NumberOf(value);
        }
        keyframes.push_back(shown);
    }
    if (unit == 1.0 && texts.empty()) {
        AddLevers();
    }
}

void CurveView::AddLevers() {
    const std::vector<SegmentLevers> segments = Levers(*curve);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const SegmentLevers& segment = segments[i];
        if (segment.showsStart) {
            keyframes[i].after = segment.startControl;
        }
        if (segment.showsEnd) {
            keyframes[i + 1].before = segment.endControl;
        }
        keyframes[i].isFixed = segment.isFixed;
    }
}

std::optional<double> CurveView::FramesPerSecond() const {
    return speed == nullptr ? std::nullopt : std::optional<double>(speed->GetSourceFPS());
}

double CurveView::NumberOf(const ValAny& value) const {
    switch (value.Kind()) {
        case ValAny::kBool:
            return value.AsBool() ? 1.0 : 0.0;
        case ValAny::kString: {
            const auto found = numberOfText.find(value.AsString());
            return found == numberOfText.end() ? kNothing : found->second;
        }
        default:
            return value.IsNumber() ? value.AsDouble() : kNothing;
    }
}

Answer CurveView::At(double time) const {
    if (speed != nullptr) {
        return {speed->GetSourceTime(time), seen->At(time)};
    }
    const ValAny value = curve->GetValue(time * unit, true);
    if (channels.size() == 1) {
        return {NumberOf(value), kNothing};
    }
    const bool isPoint = value.Kind() == ValAny::kPoint;
    return isPoint ? Answer{value.AsPoint().x, value.AsPoint().y} : Answer{kNothing, kNothing};
}

CurveTrace CurveView::Trace(double start, double end) const {
    return Tracer(*this, channels.size()).Trace(start, end, corners);
}

}  // namespace plot
