#include "core/speed/stretch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <span>

namespace core {
namespace {

// A speed that is further off the straight way, by its size, is bent. Rounding makes a
// thousandth of it.
constexpr double kBent = 1e-12;

}  // namespace

PlayedSpeeds::PlayedSpeeds(const SpeedSegment& s) noexcept {
    PrepareSegment({s.t0, s.v0, s.right, s.rightY, s.t1, s.v1, s.left, s.leftY, s.type0, s.type1},
                   row.data(), curve);
}

bool PlayedSpeeds::IsSame(const PlayedSpeeds& other, double rounding) const noexcept {
    const auto areNear = [rounding](const auto& a, const auto& b) {
        const auto size = [](double x) { return std::fabs(x); };
        const double most = size(std::ranges::max(a, {}, size));
        return std::equal(std::begin(a), std::end(a), std::begin(b), [=](double x, double y) {
            return x == y || std::fabs(x - y) <= rounding * most;
        });
    };
    const auto numbers = [](const CubicBezier& b) {
        return std::array<double, 8>{b.ax, b.bx, b.cx, b.dx, b.ay, b.by, b.cy, b.dy};
    };
    const Segment& a = Get();
    const Segment& b = other.Get();
    const bool isEasing = a.shape == Segment::Shape::CubicEasing;
    const std::size_t count = a.HasCurve() || isEasing ? 3 : 4;
    return a.shape == b.shape && areNear(std::span(a.c, count), std::span(b.c, count)) &&
           (!isEasing || &a.Easing() == &b.Easing()) &&
           (!a.HasCurve() || areNear(numbers(curve.bezier), numbers(other.curve.bezier)));
}

bool PlayedStretch::IsStill() const noexcept {
    return speeds.v0 == 0.0 && (IsHeld() || (speeds.v1 == 0.0 && IsStraight()));
}

bool PlayedStretch::IsStraight() const noexcept {
    constexpr double kPlaces[] = {0.0, 0.137, 0.5, 0.613, 0.871};
    const PlayedSpeeds played(speeds);
    return IsHeld() || std::all_of(std::begin(kPlaces), std::end(kPlaces), [&](double u) {
               const double straight = speeds.v0 + u * (speeds.v1 - speeds.v0);
               const double size = std::fabs(speeds.v0) + std::fabs(speeds.v1);
               const double t = speeds.t0 + u * (speeds.t1 - speeds.t0);
               return std::fabs(played.SpeedAt(t) - straight) <= kBent * size;
           });
}

double PlayedStretch::SpeedAt(double t) const noexcept {
    return IsHeld() || t <= speeds.t0 ? speeds.v0
           : t >= speeds.t1           ? speeds.v1
                                      : PlayedSpeeds(speeds).SpeedAt(t);
}

double PlayedStretch::Shown() const noexcept {
    return PlayedSpeeds(speeds).Shown(from, to);
}

bool PlayedStretch::LeadsTo(const PlayedStretch& next) const noexcept {
    return curve != nullptr && curve == next.curve && keyframe + 1 == next.keyframe &&
           to == speeds.t1 && next.from == next.speeds.t0;
}

}  // namespace core
