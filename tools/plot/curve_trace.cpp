// A curve is drawn from samples alone, so that the picture shows what a caller
// gets. Three steps:
//
// 1. Sample at the given times.
// 2. Between two samples that lie apart on the picture, halve the time. A steep
//    curve closes the gap after a few halvings. A jump never does: when the two
//    times have all but met, the stroke ends there and a new one begins, so a jump
//    is drawn upright and at its place.
// 3. Drop the points that a straight line between their neighbours shows as well
//    (Douglas and Peucker), which leaves a small file.

#include "plot/curve_trace.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace plot {

namespace {

using core::Pointd;

// Samples further apart than this are looked into; a line is about as wide.
constexpr double kGap = 1.5;

// The part of the whole time at which halving ends: a millionth of a pixel.
constexpr double kShortest = 1e-9;

// How far a dropped point may lie off the line; invisible even on a fine screen.
constexpr double kFlatness = 0.08;

struct Sample {
    double time;
    Pointd place;
};

double Distance(Pointd a, Pointd b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

double DistanceFromLine(Pointd p, Pointd a, Pointd b) {
    const double length = Distance(a, b);
    if (length == 0.0) {
        return Distance(p, a);
    }
    // The nearest point of the line piece, which may be an end.
    const double along = ((p.x - a.x) * (b.x - a.x) + (p.y - a.y) * (b.y - a.y)) / length / length;
    const double s = std::clamp(along, 0.0, 1.0);
    return Distance(p, {a.x + s * (b.x - a.x), a.y + s * (b.y - a.y)});
}

// Douglas and Peucker, with a stack of index ranges in place of the recursion.
std::vector<Pointd> Simplified(const std::vector<Pointd>& points) {
    std::vector<bool> keep(points.size(), false);
    keep.front() = keep.back() = true;
    std::vector<std::pair<std::size_t, std::size_t>> ranges = {{0, points.size() - 1}};
    while (!ranges.empty()) {
        const auto [first, last] = ranges.back();
        ranges.pop_back();
        std::size_t farthest = first;
        double greatest = kFlatness;
        for (std::size_t i = first + 1; i < last; ++i) {
            const double distance = DistanceFromLine(points[i], points[first], points[last]);
            if (distance > greatest) {
                greatest = distance;
                farthest = i;
            }
        }
        if (farthest != first) {
            keep[farthest] = true;
            ranges.emplace_back(first, farthest);
            ranges.emplace_back(farthest, last);
        }
    }
    std::vector<Pointd> kept;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (keep[i]) {
            kept.push_back(points[i]);
        }
    }
    return kept;
}

}  // namespace

Strokes TraceCurve(const std::function<Pointd(double)>& placeAt, const std::vector<double>& times) {
    Strokes strokes;
    if (times.empty()) {
        return strokes;
    }
    const double shortest = (times.back() - times.front()) * kShortest;
    Sample here = {times.front(), placeAt(times.front())};
    std::vector<Pointd> stroke = {here.place};
    std::vector<Sample> ahead;  // the nearest last
    for (std::size_t i = 1; i < times.size(); ++i) {
        ahead.push_back({times[i], placeAt(times[i])});
        while (!ahead.empty()) {
            const Sample next = ahead.back();
            const bool apart = Distance(here.place, next.place) > kGap;
            const double middle = here.time + (next.time - here.time) / 2.0;
            if (apart && next.time - here.time > shortest && middle > here.time &&
                middle < next.time) {
                ahead.push_back({middle, placeAt(middle)});
                continue;
            }
            if (apart) {
                strokes.push_back(Simplified(stroke));
                stroke.clear();
            }
            stroke.push_back(next.place);
            here = next;
            ahead.pop_back();
        }
    }
    strokes.push_back(Simplified(stroke));
    return strokes;
}

std::vector<double> TraceTimes(double from, double to, int count,
                               const std::vector<double>& extra) {
    std::vector<double> times;
    for (int i = 0; i <= count; ++i) {
        times.push_back(from + (to - from) * i / count);
    }
    for (const double time : extra) {
        if (time > from && time < to) {
            times.push_back(time);
        }
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

}  // namespace plot
