#include "support/speed_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace plain {

namespace {

const double kTolerance = 1e-7;

/// The speed between two keyframes on the render axis.
double SpeedBetween(const SpeedModel::Key& from, const SpeedModel::Key& to, double t) {
    double u = (t - from.time) / (to.time - from.time);
    switch (from.type) {
        case 6:
            return from.speed;
        case 1:
            return from.speed + u * (to.speed - from.speed);
        default:  // an eased step
            return from.speed + u * u * (3.0 - 2.0 * u) * (to.speed - from.speed);
    }
}

double SpeedOn(const std::vector<SpeedModel::Key>& keys, double t) {
    if (t < keys.front().time) {
        return keys.front().speed;
    }
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
        if (t < keys[i + 1].time) {
            return SpeedBetween(keys[i], keys[i + 1], t);
        }
    }
    return keys.back().speed;
}

/// Simpson's rule is exact for cubics, so that each segment is one step.
double AreaOn(const std::vector<SpeedModel::Key>& keys, double to) {
    double area = keys.front().speed * std::min(to, keys.front().time);
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
        const SpeedModel::Key& from = keys[i];
        double a = from.time;
        double b = std::min(keys[i + 1].time, to);
        if (a < b) {
            auto speed = [&](double t) { return SpeedBetween(from, keys[i + 1], t); };
            area += (b - a) / 6.0 * (speed(a) + 4.0 * speed((a + b) / 2.0) + speed(b));
        }
    }
    return area + keys.back().speed * std::max(0.0, to - keys.back().time);
}

}  // namespace

int SpeedModel::KeyAt(double source) const {
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (std::fabs(keys[i].time - source) < kTolerance) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void SpeedModel::Add(double time, double speed, int type) {
    std::erase_if(keys, [&](const Key& key) { return std::fabs(key.time - time) < kTolerance; });
    keys.push_back({time, speed, type});
    std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) { return a.time < b.time; });
}

void SpeedModel::Remove(int index) {
    keys.erase(keys.begin() + index);
}

void SpeedModel::SetTotal(double newTotal) {
    if (total != 0.0 && KeyAt(total) >= 0) {
        Remove(KeyAt(total));
    }
    total = newTotal;
    Add(total, 1.0, 6);
}

std::vector<SpeedModel::Key> SpeedModel::OnRenderAxis() const {
    std::vector<Key> placed = keys;
    for (std::size_t i = 1; i < keys.size(); ++i) {
        double dt = keys[i].time - keys[i - 1].time;
        double v0 = keys[i - 1].speed;
        double mean = keys[i - 1].type == 6 ? v0 : (v0 + keys[i].speed) / 2.0;
        placed[i].time = placed[i - 1].time + (v0 == 0.0 ? dt : dt / mean);
    }
    return placed;
}

double SpeedModel::CurveSource(double render) const {
    const std::vector<Key> placed = OnRenderAxis();
    if (render >= placed.back().time) {
        return keys.back().time;
    }
    for (std::size_t i = 0; i < placed.size(); ++i) {
        if (std::fabs(placed[i].time - render) < kTolerance) {
            return keys[i].time;
        }
    }
    return AreaOn(placed, render);
}

double SpeedModel::CurveRender(double source) const {
    const std::vector<Key> placed = OnRenderAxis();
    if (source >= total) {
        return placed.back().time;
    }
    if (KeyAt(source) >= 0) {
        return placed[static_cast<std::size_t>(KeyAt(source))].time;
    }
    return WhereReached(source);
}

double SpeedModel::WhereReached(double source) const {
    const std::vector<Key> placed = OnRenderAxis();
    double low = std::min(0.0, source / placed.front().speed);
    double high = placed.back().time + std::max(0.0, source / placed.back().speed);
    for (int round = 0; round < 100; ++round) {
        double middle = (low + high) / 2.0;
        (AreaOn(placed, middle) < source ? low : high) = middle;
    }
    return high;
}

/// On the point axis, a keyframe comes before the end.
double SpeedModel::CurveRenderOfPoint(double point) const {
    const int key = KeyAt(point);
    return key >= 0 ? OnRenderAxis()[static_cast<std::size_t>(key)].time : CurveRender(point);
}

double SpeedModel::WhereFrozen(const Freeze& freeze) const {
    const int key = KeyAt(freeze.source);
    return key >= 0 ? OnRenderAxis()[static_cast<std::size_t>(key)].time
                    : WhereReached(freeze.source);
}

std::vector<double> SpeedModel::FreezeStarts() const {
    std::vector<double> starts;
    double shift = 0.0;
    for (const Freeze& freeze : freezes) {
        starts.push_back(WhereFrozen(freeze) + shift);
        shift += freeze.duration;
    }
    return starts;
}

bool SpeedModel::AddFreeze(double point, double duration) {
    double source = point;
    std::size_t place = 0;
    for (const Freeze& freeze : freezes) {
        if (freeze.point - kTolerance < point &&
            point < freeze.point + freeze.duration + kTolerance) {
            return false;
        }
        if (freeze.point < point) {
            source -= freeze.duration;
            ++place;
        }
    }
    source = std::fabs(source - total) < kTolerance ? total : source;
    if (source > total) {
        return false;
    }
    if (KeyAt(source) < 0) {
        double speed = SpeedOn(OnRenderAxis(), CurveRender(source));
        int type = 6;
        for (const Key& key : keys) {
            type = key.time <= source ? key.type : type;
        }
        Add(source, speed, type);
    }
    for (std::size_t i = place; i < freezes.size(); ++i) {
        freezes[i].point += duration;
    }
    freezes.insert(freezes.begin() + static_cast<std::ptrdiff_t>(place), {point, duration, source});
    return true;
}

bool SpeedModel::SetFreezeDuration(int index, double duration) {
    if (!(duration > 0.0) || index < 0 || index >= static_cast<int>(freezes.size())) {
        return false;
    }
    auto at = static_cast<std::size_t>(index);
    for (std::size_t i = at + 1; i < freezes.size(); ++i) {
        freezes[i].point += duration - freezes[at].duration;
    }
    freezes[at].duration = duration;
    return true;
}

double SpeedModel::SourceTime(double render) const {
    const std::vector<double> starts = FreezeStarts();
    double shift = 0.0;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        if (starts[i] - kTolerance < render &&
            render < starts[i] + freezes[i].duration + kTolerance) {
            return reverse ? total - freezes[i].source : freezes[i].source;
        }
        shift += starts[i] < render ? freezes[i].duration : 0.0;
    }
    double source = CurveSource(render - shift);
    return reverse ? total - source : source;
}

double SpeedModel::RenderTime(double source) const {
    source = reverse ? total - source : source;
    const std::vector<double> starts = FreezeStarts();
    double shift = 0.0;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        if (std::fabs(freezes[i].source - source) < kTolerance) {
            return starts[i];
        }
        shift += freezes[i].source < source ? freezes[i].duration : 0.0;
    }
    return CurveRender(source) + shift;
}

double SpeedModel::RenderOfPoint(double point) const {
    const std::vector<double> starts = FreezeStarts();
    double shift = 0.0;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        const Freeze& freeze = freezes[i];
        if (freeze.point - kTolerance < point &&
            point < freeze.point + freeze.duration + kTolerance) {
            return point - freeze.point + starts[i];
        }
        shift += freeze.point < point ? freeze.duration : 0.0;
    }
    return CurveRenderOfPoint(point - shift) + shift;
}

double SpeedModel::PointOfRender(double render) const {
    const std::vector<double> starts = FreezeStarts();
    double shift = 0.0;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        const Freeze& freeze = freezes[i];
        if (starts[i] - kTolerance < render && render < starts[i] + freeze.duration + kTolerance) {
            return render - starts[i] + freeze.point;
        }
        shift += starts[i] < render ? freeze.duration : 0.0;
    }
    return CurveSource(render - shift) + shift;
}

double SpeedModel::Speed(double render) const {
    const std::vector<double> starts = FreezeStarts();
    double shift = 0.0;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        if (starts[i] <= render && render <= starts[i] + freezes[i].duration) {
            return SpeedOn(OnRenderAxis(), WhereFrozen(freezes[i]));
        }
        shift += starts[i] < render ? freezes[i].duration : 0.0;
    }
    return SpeedOn(OnRenderAxis(), render - shift);
}

double SpeedModel::RenderTotal() const {
    double length = OnRenderAxis().back().time;
    for (const Freeze& freeze : freezes) {
        length += freeze.duration;
    }
    return length;
}

std::string SpeedModel::Print() const {
    char line[160];
    std::snprintf(line, sizeof line, "total %.17g%s\n", total, reverse ? ", reverse" : "");
    std::string text = line;
    for (const Key& key : keys) {
        std::snprintf(line, sizeof line, "key {%.17g, %.17g, %d}\n", key.time, key.speed, key.type);
        text += line;
    }
    for (const Freeze& freeze : freezes) {
        std::snprintf(line, sizeof line, "freeze {%.17g, %.17g}, source %.17g\n", freeze.point,
                      freeze.duration, freeze.source);
        text += line;
    }
    return text;
}

}  // namespace plain
