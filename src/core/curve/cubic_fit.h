#pragma once

// Cubics through many points, as long as an error allows.

#include <core/curve/pointd.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace core {

struct FitSample {
    double time;
    Pointd value;  // numbers in x
};

/// A cubic over time in Bernstein form.
using CubicControls = std::array<Pointd, 4>;

/// The cubic from the first to the last sample's time with the least squares of distances;
/// through the points that are not null at its ends. Samples that leave it open make it as
/// straight as they can.
CubicControls FitCubic(std::span<const FitSample> samples, const Pointd* first,
                       const Pointd* last) noexcept;

/// The point at u from 0 to 1.
Pointd PointAt(const CubicControls& cubic, double u) noexcept;

/// The part of a cubic from u = a to u = b as a cubic of its own.
CubicControls PartOf(const CubicControls& cubic, double a, double b) noexcept;

inline double LengthOf(Pointd p) noexcept {
    return p.y == 0.0 ? std::fabs(p.x) : std::hypot(p.x, p.y);
}

/// Whether a Bezier curve stays within `limit` of 0. A curve that just does so may be taken for
/// one that does not; NaN does not.
template <std::size_t Count>
bool StaysWithin(const std::array<Pointd, Count>& controls, double limit, int halvings = 12) {
    bool isInside = true;
    for (const Pointd& control : controls) {
        isInside = isInside && LengthOf(control) <= limit;
    }
    if (isInside) {
        return true;
    }
    if (halvings == 0 || !(LengthOf(controls.front()) <= limit) ||
        !(LengthOf(controls.back()) <= limit)) {
        return false;
    }
    // de Casteljau's scheme: both halves at once.
    std::array<Pointd, Count> left = controls;
    std::array<Pointd, Count> right = controls;
    for (std::size_t k = 1; k < Count; ++k) {
        for (std::size_t i = 0; i + k < Count; ++i) {
            right[i] = {0.5 * (right[i].x + right[i + 1].x), 0.5 * (right[i].y + right[i + 1].y)};
        }
        left[k] = right[0];
    }
    return StaysWithin(left, limit, halvings - 1) && StaysWithin(right, limit, halvings - 1);
}

/// A cubic from one place of a row to another; a step to the next place may be left as it is.
struct FittedPiece {
    std::size_t from;
    std::size_t to;
    bool isFitted;
    CubicControls cubic;
};

/// Pieces from place `from` to place `to`, each as long as `fit(piece)` goes on answering true
/// when its length doubles, and then by halves. `fit` is given both places, and the cubic of a
/// piece that it accepts. Every step of one place is accepted.
template <class Fit>
void AppendPieces(std::size_t from, std::size_t to, const Fit& fit,
                  std::vector<FittedPiece>& pieces) {
    while (from < to) {
        FittedPiece best{from, from + 1, false, {}};
        fit(best);
        std::size_t fails = to + 1;
        for (std::size_t step = 2; best.to < to; step *= 2) {
            FittedPiece longer{from, from + step < to ? from + step : to, true, {}};
            if (!fit(longer)) {
                fails = longer.to;
                break;
            }
            best = longer;
        }
        while (best.to + 1 < fails && best.to < to) {
            FittedPiece middle{from, best.to + (fails - best.to) / 2, true, {}};
            if (fit(middle)) {
                best = middle;
            } else {
                fails = middle.to;
            }
        }
        pieces.push_back(best);
        from = best.to;
    }
}

/// Gives neighbouring cubics one slope where they meet, where `isNear(piece)` allows it.
/// `timeOf` is the time of a place.
template <class TimeOf, class IsNear>
void SmoothJoints(std::vector<FittedPiece>& pieces, const TimeOf& timeOf, const IsNear& isNear) {
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
        if (!pieces[i].isFitted || !pieces[i + 1].isFitted || pieces[i].to != pieces[i + 1].from) {
            continue;
        }
        FittedPiece left = pieces[i];
        FittedPiece right = pieces[i + 1];
        const double a = timeOf(left.to) - timeOf(left.from);
        const double b = timeOf(right.to) - timeOf(right.from);
        const Pointd joint = right.cubic[0];
        // The chord between the two control points, as a slope.
        const Pointd slope = {(right.cubic[1].x - left.cubic[2].x) / (a + b),
                              (right.cubic[1].y - left.cubic[2].y) / (a + b)};
        left.cubic[2] = {joint.x - slope.x * a, joint.y - slope.y * a};
        right.cubic[1] = {joint.x + slope.x * b, joint.y + slope.y * b};
        if (isNear(left) && isNear(right)) {
            pieces[i] = left;
            pieces[i + 1] = right;
        }
    }
}

}  // namespace core
