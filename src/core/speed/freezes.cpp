#include "core/speed/freezes.h"

#include "core/curve/sorted_times.h"

#include <algorithm>
#include <limits>
#include <utility>

// One picture for all three axes: a freeze takes `duration` on the point axis and on
// the render axis, nothing on the source axis. A time outside all freezes, less what
// the freezes before it take, is a time of the map:
//
//     point axis    --a--|====|--b--|==|--c--     key,         duration
//     render axis   --a'-|====|--b'-|==|--c'-     renderStart, duration
//     source axis   --a--|--b--|--c--             sourceTime,  nothing

namespace core {

void SpeedParameterFreezeImpl::SumDurations(std::size_t from) noexcept {
    for (std::size_t i = from; i < frames.size(); ++i) {
        durationBefore[i + 1] = durationBefore[i] + frames[i].duration;
    }
}

// The first freeze that contains `x`. The tolerance may let two contain it, the
// earlier one with its end.
SpeedParameterFreezeImpl::Place SpeedParameterFreezeImpl::Find(std::span<const double> starts,
                                                               double x,
                                                               bool hasLength) const noexcept {
    const auto endOf = [&](std::size_t i) {
        return starts[i] + (hasLength ? frames[i].duration : 0.0);
    };
    const std::size_t behind = UpperBound(starts, x);
    std::size_t first = behind;
    while (first > 0 && x - endOf(first - 1) < kTolerance) {
        --first;
    }
    if (first < starts.size() && starts[first] - x < kTolerance) {
        return {&frames[first], durationBefore[first]};
    }
    return {nullptr, durationBefore[behind]};
}

SpeedParameterFreezeImpl::Place SpeedParameterFreezeImpl::AtPoint(double p) const noexcept {
    return Find(keys, p, true);
}

SpeedParameterFreezeImpl::Place SpeedParameterFreezeImpl::AtRender(double t) const noexcept {
    return Find(renderStarts, t, true);
}

SpeedParameterFreezeImpl::Place SpeedParameterFreezeImpl::AtSource(double s) const noexcept {
    return Find(sourceTimes, s, false);
}

double SpeedParameterFreezeImpl::SourceOfRender(const TimeMap& map, double t) const noexcept {
    const Place place = AtRender(t);
    return place.freeze != nullptr ? place.freeze->sourceTime : map.SourceOfRender(t - place.shift);
}

double SpeedParameterFreezeImpl::RenderOfSource(const TimeMap& map, double s) const noexcept {
    const Place place = AtSource(s);
    return place.freeze != nullptr ? place.freeze->renderStart
                                   : map.RenderOfSource(s) + place.shift;
}

double SpeedParameterFreezeImpl::PointOfRender(const TimeMap& map, double t) const noexcept {
    const Place place = AtRender(t);
    return place.freeze != nullptr ? (t - place.freeze->renderStart) + place.freeze->key
                                   : map.PointOfRender(t - place.shift) + place.shift;
}

double SpeedParameterFreezeImpl::RenderOfPoint(const TimeMap& map, double p) const noexcept {
    const Place place = AtPoint(p);
    return place.freeze != nullptr ? (p - place.freeze->key) + place.freeze->renderStart
                                   : map.RenderOfPoint(p - place.shift) + place.shift;
}

// A freeze stands where a held speed may change, and rounding must not put a time in
// it or behind it before the change.
double SpeedParameterFreezeImpl::SpeedAt(const TimeMap& map, double t) const noexcept {
    const std::size_t behind = UpperBound(renderStarts, t);
    if (behind == 0) {
        return map.SpeedAt(t);
    }
    const FreezeFrame& last = frames[behind - 1];
    const bool isFrozen = t <= last.renderStart + last.duration;
    return map.SpeedAt(isFrozen ? last.mapTime
                                : std::max(t - durationBefore[behind], last.mapTime));
}

void SpeedParameterFreezeImpl::Assign(std::vector<FreezeFrame> inOrder) {
    SpeedParameterFreezeImpl made;
    made.frames = std::move(inOrder);
    for (const FreezeFrame& frame : made.frames) {
        made.keys.push_back(frame.key);
        made.sourceTimes.push_back(frame.sourceTime);
    }
    made.renderStarts.resize(made.frames.size());
    made.durationBefore.resize(made.frames.size() + 1);
    made.SumDurations(0);
    *this = std::move(made);
}

void SpeedParameterFreezeImpl::ReserveOneMore() {
    if (frames.size() < frames.capacity()) {
        return;
    }
    // The frames last: as long as they are full, the others are looked at too.
    const std::size_t grown = std::max<std::size_t>(4, 2 * frames.size());
    keys.reserve(grown);
    renderStarts.reserve(grown);
    sourceTimes.reserve(grown);
    durationBefore.reserve(grown + 1);
    frames.reserve(grown);
}

// A freeze behind all others, as readers of texts add them, costs no walk over these.
void SpeedParameterFreezeImpl::Insert(double pointTime, double duration,
                                      double sourceTime) noexcept {
    const std::size_t place = UpperBound(keys, pointTime);
    const auto offset = static_cast<std::ptrdiff_t>(place);
    frames.insert(frames.begin() + offset, FreezeFrame{pointTime, duration, 0.0, sourceTime, 0.0});
    keys.insert(keys.begin() + offset, pointTime);
    renderStarts.insert(renderStarts.begin() + offset, 0.0);
    sourceTimes.insert(sourceTimes.begin() + offset, sourceTime);
    durationBefore.push_back(0.0);
    ShiftKeys(place + 1, duration);
    SumDurations(place);
}

void SpeedParameterFreezeImpl::SetDuration(std::size_t index, double duration) noexcept {
    const double delta = duration - frames[index].duration;
    frames[index].duration = duration;
    ShiftKeys(index + 1, delta);
    SumDurations(index);
}

void SpeedParameterFreezeImpl::ShiftKeys(std::size_t from, double delta) noexcept {
    for (std::size_t i = from; i < frames.size(); ++i) {
        frames[i].key += delta;
        keys[i] = frames[i].key;
    }
}

void SpeedParameterFreezeImpl::PlaceOnRenderAxis(const TimeMap& map) noexcept {
    double shift = 0.0;
    double earliest = -std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        FreezeFrame& frame = frames[i];
        frame.mapTime = std::max(map.RenderOfInstant(frame.sourceTime), earliest);
        frame.renderStart = frame.mapTime + shift;
        renderStarts[i] = frame.renderStart;
        earliest = frame.mapTime;
        shift += frame.duration;
    }
}

}  // namespace core
