#include "core/speed/freezes.h"

#include "core/curve/sorted_times.h"

#include <algorithm>
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
    for (std::size_t i = from; i < freezes.size(); ++i) {
        durationBefore[i + 1] = durationBefore[i] + freezes[i].duration;
    }
}

// The first freeze that contains `x`. The tolerance may let two contain it, the
// earlier one with its end.
SpeedParameterFreezeImpl::Place SpeedParameterFreezeImpl::Find(std::span<const double> starts,
                                                               double x,
                                                               bool hasLength) const noexcept {
    const auto endOf = [&](std::size_t i) {
        return starts[i] + (hasLength ? freezes[i].duration : 0.0);
    };
    const std::size_t behind = UpperBound(starts, x);
    std::size_t first = behind;
    while (first > 0 && x - endOf(first - 1) < kTolerance) {
        --first;
    }
    if (first < starts.size() && starts[first] - x < kTolerance) {
        return {first, durationBefore[first]};
    }
    return {kNone, durationBefore[behind]};
}

void SpeedParameterFreezeImpl::Assign(std::vector<Freeze> inOrder) {
    SpeedParameterFreezeImpl made;
    made.freezes = std::move(inOrder);
    for (const Freeze& freeze : made.freezes) {
        made.keys.push_back(freeze.key);
        made.sourceTimes.push_back(freeze.sourceTime);
    }
    made.durationBefore.resize(made.freezes.size() + 1);
    made.SumDurations(0);
    *this = std::move(made);
}

void SpeedParameterFreezeImpl::ReserveOneMore() {
    if (freezes.size() < freezes.capacity()) {
        return;
    }
    // The freezes last: as long as they are full, the others are looked at too.
    const std::size_t grown = std::max<std::size_t>(4, 2 * freezes.size());
    keys.reserve(grown);
    sourceTimes.reserve(grown);
    durationBefore.reserve(grown + 1);
    freezes.reserve(grown);
}

// A freeze behind all others, as readers of texts add them, costs no walk over these.
void SpeedParameterFreezeImpl::Insert(const Freeze& freeze) noexcept {
    const std::size_t place = UpperBound(keys, freeze.key);
    const auto offset = static_cast<std::ptrdiff_t>(place);
    freezes.insert(freezes.begin() + offset, freeze);
    keys.insert(keys.begin() + offset, freeze.key);
    sourceTimes.insert(sourceTimes.begin() + offset, freeze.sourceTime);
    durationBefore.push_back(0.0);
    ShiftKeys(place + 1, freeze.duration);
    SumDurations(place);
}

void SpeedParameterFreezeImpl::Remove(std::size_t index) noexcept {
    const auto offset = static_cast<std::ptrdiff_t>(index);
    ShiftKeys(index + 1, -freezes[index].duration);
    freezes.erase(freezes.begin() + offset);
    keys.erase(keys.begin() + offset);
    sourceTimes.erase(sourceTimes.begin() + offset);
    durationBefore.pop_back();
    SumDurations(index);
}

void SpeedParameterFreezeImpl::SetDuration(std::size_t index, double duration) noexcept {
    const double delta = duration - freezes[index].duration;
    freezes[index].duration = duration;
    ShiftKeys(index + 1, delta);
    SumDurations(index);
}

void SpeedParameterFreezeImpl::ShiftKeys(std::size_t from, double delta) noexcept {
    for (std::size_t i = from; i < freezes.size(); ++i) {
        freezes[i].key += delta;
        keys[i] = freezes[i].key;
    }
}

PlacedFreezes::PlacedFreezes(const SpeedParameterFreezeImpl& freezes, const TimeMap& timeMap)
    : list(freezes), map(timeMap) {
    const std::span<const Freeze> all = list.Freezes();
    mapTimes.reserve(all.size());
    renderStarts.reserve(all.size());
    double earliest = -std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < all.size(); ++i) {
        earliest = std::max(map.RenderOfInstant(all[i].sourceTime), earliest);
        mapTimes.push_back(earliest);
        renderStarts.push_back(earliest + list.DurationBefore(i));
    }
}

PlacedFreezes::Place PlacedFreezes::AtRender(double t) const noexcept {
    return renderStarts.empty() ? Place{SpeedParameterFreezeImpl::kNone, 0.0}
                                : list.Find(renderStarts, t, true);
}

double PlacedFreezes::SourceOfRender(double t) const noexcept {
    const Place place = AtRender(t);
    return place.IsFrozen() ? list.Freezes()[place.freeze].sourceTime
                            : map.SourceOfRender(t - place.shift);
}

double PlacedFreezes::FindSource(double t, Found& found) const noexcept {
    const Place place = AtRender(t);
    if (place.IsFrozen()) {
        return list.Freezes()[place.freeze].sourceTime;
    }
    found.from = -std::numeric_limits<double>::infinity();
    found.to = std::numeric_limits<double>::infinity();
    found.shift = place.shift;
    const std::size_t behind = UpperBound(renderStarts, t);
    if (behind > 0) {
        found.from = renderStarts[behind - 1] + list.Freezes()[behind - 1].duration;
    }
    if (behind < renderStarts.size()) {
        found.to = renderStarts[behind];
    }
    return map.SourceOfRender(t - place.shift, found.inMap);
}

double PlacedFreezes::RenderOfSource(double s) const {
    const Place place = list.AtSource(s);
    return place.IsFrozen() ? renderStarts[place.freeze] : map.RenderOfSource(s) + place.shift;
}

double PlacedFreezes::PointOfRender(double t) const noexcept {
    const Place place = AtRender(t);
    return place.IsFrozen() ? (t - renderStarts[place.freeze]) + list.Freezes()[place.freeze].key
                            : map.PointOfRender(t - place.shift) + place.shift;
}

double PlacedFreezes::RenderOfPoint(double p) const {
    const Place place = list.AtPoint(p);
    return place.IsFrozen() ? (p - list.Freezes()[place.freeze].key) + renderStarts[place.freeze]
                            : map.RenderOfPoint(p - place.shift) + place.shift;
}

// A freeze stands where a held speed may change, and rounding must not put a time in
// it or behind it before the change.
double PlacedFreezes::SpeedAt(double t) const noexcept {
    const std::size_t behind = UpperBound(renderStarts, t);
    if (behind == 0) {
        return map.SpeedAt(t);
    }
    const double last = mapTimes[behind - 1];
    const bool isFrozen = t <= renderStarts[behind - 1] + list.Freezes()[behind - 1].duration;
    return map.SpeedAt(isFrozen ? last : std::max(t - list.DurationBefore(behind), last));
}

}  // namespace core
