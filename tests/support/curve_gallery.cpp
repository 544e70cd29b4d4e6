#include "support/curve_gallery.h"

namespace gallery {

namespace {

plain::Curve ManyKeys() {
    plain::Curve curve;
    for (int i = 0; i < 500; ++i) {
        plain::Key key;
        key.time = i * 0.04;
        key.value = (i * 37) % 101 - 30;
        key.type = i % 27 == 26 ? 1 : i % 27;
        key.left = {0.6, 3.0 - i % 7};
        key.right = {0.3, i % 5 - 2.0};
        curve.push_back(key);
    }
    return curve;
}

plain::Curve MixedTypes() {
    plain::Curve curve;
    const int types[] = {1, 9, 12, 7, 6, 0, 1, 0, 16, 12, 12, 23, 24, 25, 7, 13, 26, 1, 6};
    double time = 0.25;
    for (int type : types) {
        curve.push_back({time, 4.0 - (type * 13) % 9, type});
        time += 0.5 + type % 3 * 0.25;
    }
    return curve;
}

std::vector<Exhibit> Hang() {
    // {time, value, type, left, right}
    return {
        {"Fade", {{0, 0, 17}, {1, 1, 6}, {4, 1, 16}, {5, 0, 1}}, false},
        {"SingleKey", {{2, 3.5, 7}}, false},
        {"SingleNegativeKey", {{-2, -3.5, 26}}, false},
        {"Straight", {{0, 0, 1}, {1, 10, 1}, {3, -2, 1}}, false},
        {"SmoothHills", {{0, 0, 7}, {1, 4, 8}, {2, -1, 9}, {5, 6, 10}, {6, 6, 11}}, false},
        {"BezierHills", {{0, 0, 0}, {1, 4, 2}, {2, -1, 5}, {5, 6, 13}, {6, 6, 15}}, false},
        {"ValueBezierStairs", {{0, 1, 12}, {2, 5, 12}, {3, 5, 12}}, false},

        // Handles that cross, stand upright or lie outside their segment.
        {"Cusp", {{0, 0, 0, {}, {1, 2}}, {1, 1, 0, {0, 2}}}, true},
        {"NearVertical",
         {{0, 0, 0, {}, {1, 0}}, {2, 100, 0, {0, 0}, {0.999999, 5}}, {3, -100, 2, {1e-6, 5}}},
         true},
        {"RawSlopes",
         {{0, 1, 3, {}, {0, 5}}, {1, 2, 4, {1, -7}, {1e-21, 3}}, {2, 0, 0, {1, 4}}},
         true},
        {"HandlesOutside",
         {{0, 1, 14, {}, {-3, 5}}, {4, 2, 0, {7, -7}, {2, 3}}, {6, 0, 1, {-1, 4}}},
         true},
        {"Overshoot",
         {{0, 0, 7, {}, {40, 0}},
          {1, 1, 12, {40, 0}, {30, 0}},
          {2, 0, 22, {-30, 0}},
          {3, 2, 23},
          {4, 0, 1}},
         true},
        {"BentLinear",
         {{0, 0, 1, {}, {5, 1}},
          {1, 1, 7, {-9, 0}, {3, 0}},
          {2, 4, 1, {}, {-2, 0}},
          {3, 4, 1, {100, 0}}},
         true},

        // Distances in time and value that rounding notices.
        {"EqualTimes",
         {{1, 0, 7}, {1.00000012, 5, 0}, {1.00000024, -5, 16}, {1.00000036, 2, 1}},
         false},
        {"HugeValues", {{0, -1e150, 7}, {1, 1e150, 0}, {2, 3e149, 1}, {3, 0, 6}}, false},
        {"TinyValues", {{0, 1e-150, 7}, {1, 2e-150, 0}, {2, 3e-150, 12}, {3, 0, 6}}, false},
        {"FarAway", {{-160000, 2, 7}, {0, 1, 1}, {160000, 3, 16}, {166000, 1, 1}}, false},

        // Times in 100-nanosecond ticks.
        {"Ticks",
         {{2000000, 0, 0},
          {4000000, 10, 17},
          {9000000, -3, 7},
          {12000000, 5, 12},
          {15000000, 5, 25},
          {20000000, 1, 1}},
         false},
        {"TicksFromZero",
         {{0, 1, 0}, {10000000, 10, 18}, {20000000, 2, 1}, {30000000, 4, 0}},
         false},

        {"FirstTick", {{166666.66666666666, 1, 0}, {500000, 3, 16}, {1000000, 2, 1}}, false},
        {"LastSecond", {{0.01, 1, 16}, {200000, 3, 0}, {1000000, 2, 1}}, false},

        // Speeds, as their areas are asked for.
        {"NegativeSpeeds", {{0, 2, 1}, {2, -1, 7}, {4, -3, 16}, {5, 1, 6}, {7, -1, 1}}, false},
        {"Standstill", {{0, 1, 6}, {2, 0, 6}, {3, 0, 1}, {5, 0, 9}, {6, 2, 6}, {8, 0, 6}}, false},
        {"NeverPositive", {{0, -1, 1}, {1, -2, 9}, {3, 0, 6}}, false},
        {"LongHold", {{0, 1, 6}, {100000, 1.5, 1}, {100001, 2, 6}}, false},
        {"Bounces", {{0, 0, 25}, {2, 1, 24}, {5, 0, 25}, {6, -3, 1}}, false},
        {"InnerExtrapolation",
         {{0, 2, 26, {}, {1, 0}},
          {2, 3, 7, {0.5, 0}, {1, 0}},
          {3, 1, 26, {2, 0}, {4, 0}},
          {5, 2, 26, {-1, 0}},
          {6, 0, 12, {3, 0}, {1, 0}},
          {8, 1, 26, {0.25, 0}},
          {9, 4, 1, {1, 0}}},
         true},
        {"MixedTypes", MixedTypes(), false},
        {"ManyKeys", ManyKeys(), true},
    };
}

}  // namespace

const std::vector<Exhibit>& Curves() {
    static const std::vector<Exhibit> curves = Hang();
    return curves;
}

core::Parameter Build(const Exhibit& exhibit) {
    return exhibit.handSet ? plain::Build(exhibit.curve) : plain::BuildAutomatic(exhibit.curve);
}

const std::vector<int>& Types() {
    static const std::vector<int> types = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                           10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                           20, 21, 22, 23, 24, 25, 26, 27, -1, 100};
    return types;
}

}  // namespace gallery
