#include <core/curve/control_points.h>
#include <core/curve/interpolation_info.h>
#include <core/curve/snapshot.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/curve_words.h"
#include "support/file_rows.h"

using core::GetAbsolutePointControlParam;
using core::GetRelativePointControlParam;

namespace {

using Type = KeyframeInterpolationType;
const Type kBezier = Type::Bezier;

struct Handles {
    Pointd start;
    Pointd end;
};

bool operator==(const Handles& a, const Handles& b) {
    return a.start == b.start && a.end == b.end;
}
std::ostream& operator<<(std::ostream& out, const Handles& h) {
    return out << "(" << h.start.x << ", " << h.start.y << ") (" << h.end.x << ", " << h.end.y
               << ")";
}

Handles Absolute(Pointd start, Handles h, Pointd end, Type type0 = kBezier, Type type1 = kBezier) {
    EXPECT_TRUE(GetAbsolutePointControlParam(start, h.start, h.end, end, type0, type1));
    return h;
}
Handles Relative(Pointd start, Handles h, Pointd end, Type type0 = kBezier, Type type1 = kBezier) {
    EXPECT_TRUE(GetRelativePointControlParam(start, h.start, h.end, end, type0, type1));
    return h;
}

template <class Convert>
void ExpectTable(const char* file, Convert convert) {
    for (const support::FileRow& row : support::RowsOf(file)) {
        const Times n = support::NumbersOf(row[""]);
        const Times e = support::NumbersOf(row["becomes"]);
        const auto type = [&](std::size_t i) { return static_cast<Type>(static_cast<int>(n[i])); };
        EXPECT_EQ((Handles{{e[0], e[1]}, {e[2], e[3]}}),
                  convert({n[0], n[1]}, Handles{{n[2], n[3]}, {n[4], n[5]}}, {n[6], n[7]}, type(8),
                          type(9)))
            << row.name;
    }
}

TEST(ControlPoints, StoredHandlesAreFractionsAndSlopes) {
    ExpectTable("stored_handles.txt", Absolute);
}

TEST(ControlPoints, PointsOutsideTheSegmentAreMovedToItsEnds) {
    ExpectTable("control_points.txt", Relative);
}

TEST(ControlPoints, TheTwoConversionsAreInverse) {
    Dice dice(11);
    const std::vector<Type> types = {kBezier, Type::Bezier14, kLinear, Type::Hermite};
    const Times special = {0, 1, 1e-3, 1 - 1e-3};
    for (int n = 0; n < 20000; ++n) {
        const Type type0 = dice.Pick(types);
        const Type type1 = dice.Pick(types);
        const Pointd start = {dice.Between(-1e3, 1e3), dice.Between(-1e3, 1e3)};
        const double length = std::pow(10, dice.Between(-3, 3));
        const Pointd end = {start.x + length, dice.Between(-1e3, 1e3)};
        const auto fraction = [&] {
            return dice.OneIn(4) ? dice.Pick(special) : dice.Between(0, 1);
        };
        Handles stored = {{fraction(), dice.Between(-50, 50)}, {fraction(), dice.Between(-50, 50)}};
        if (type0 == kLinear) {
            stored.start = {0, 0};
        }
        if (type1 == kLinear) {
            stored.end = {1, 0};
        }
        const Handles points = Absolute(start, stored, end, type0, type1);
        const Handles back = Relative(start, points, end, type0, type1);
        // Values are near 1e3, and slopes are their differences over short times.
        const auto near = [](double a, double b, double offset) {
            return std::fabs(a - b) <= 1e-11 * (1 + std::fabs(a)) / std::fmin(1, offset);
        };
        const auto offset = [](double dx) { return std::fabs(dx) < 1e-7 ? 1 : std::fabs(dx); };
        const bool agree =
            std::fabs(back.start.x - stored.start.x) <= 1e-12 / std::fmin(1, length) &&
            std::fabs(back.end.x - stored.end.x) <= 1e-12 / std::fmin(1, length) &&
            near(back.start.y, stored.start.y, offset(points.start.x - start.x)) &&
            near(back.end.y, stored.end.y, offset(points.end.x - end.x));
        ASSERT_TRUE(agree) << "round " << n << ": " << stored << " became " << back;
    }
}

// ---------------------------------------------------------------------------
// On a curve
// ---------------------------------------------------------------------------

double Bernstein(double a, double b, double c, double d, double u) {
    const double v = 1 - u;
    return v * v * v * a + 3 * v * v * u * b + 3 * v * u * u * c + u * u * u * d;
}

Pointd At(const core::SegmentCubic& c, double u) {
    return {Bernstein(c.start.x, c.startControl.x, c.endControl.x, c.end.x, u),
            Bernstein(c.start.y, c.startControl.y, c.endControl.y, c.end.y, u)};
}

// All pairs of types, with handles inside and outside; NaN leaves them automatic. The curve
// finds its place along a time-value Bezier to 5e-5 s, which steep ones turn into
// thousandths.
TEST(SegmentCubic, IsTheSampledCurve) {
    for (int types = 0; types < 28 * 28; ++types) {
        const auto type0 = Type{types / 28};
        const auto type1 = Type{types % 28};
        for (const double handle : {std::nan(""), 0.3, -0.5}) {
            for (const double unit : {1.0, 1e7}) {
                Parameter curve;
                curve.AddPoint(1 * unit, 2.0, type0);
                curve.AddPoint(3 * unit, 5.0, type1);
                curve.AddPoint(4 * unit, -1.0, Type::Hermite);
                if (!std::isnan(handle) && unit == 1.0) {
                    curve.SetPointControlRightParam(0, handle, -2);
                    curve.SetPointControlLeftParam(1, 1 - handle, 1.5);
                }
                const core::CurveSnapshot now = curve.Snapshot();
                core::SegmentCubic cubic;
                const bool isSpringy =
                    type0 == Type::EaseOutElastic || type0 == Type::EaseOutBounce;
                ASSERT_NE(isSpringy, core::GetSegmentCubic(now.GetKeyframe(0), now.GetKeyframe(1),
                                                           core::ParameterDouble, cubic));
                for (double u = 0; u < 1 && !isSpringy; u += 0.0625) {
                    const Pointd at = At(cubic, u);
                    ASSERT_NEAR(curve.GetValue(at.x, false).AsDouble(), at.y,
                                2e-3 + 1e-12 * std::fabs(at.y))
                        << types << " at " << u;
                }
            }
        }
        Parameter path;
        path.SetParameterType(core::ParameterPoint);
        path.AddPointEx(1, Pointd{2, 0}, type0);
        path.AddPointEx(3, Pointd{5, 9}, type1);
        path.SetPointControlRightParam(0, 7, -3);
        const core::CurveSnapshot now = path.Snapshot();
        core::SegmentCubic cubic;
        ASSERT_TRUE(core::GetSegmentCubic(now.GetKeyframe(0), now.GetKeyframe(1),
                                          core::ParameterPoint, cubic));
        for (double u = 0; u < 1; u += 0.125) {
            const Pointd sampled = path.GetValue(1 + 2 * u, false).AsPoint();
            ASSERT_NEAR(sampled.x, At(cubic, u).x, 1e-12) << types;
            ASSERT_NEAR(sampled.y, At(cubic, u).y, 1e-12) << types;
        }
    }
}

TEST(InterpolationInfo, IsFoundByNumberAndName) {
    for (int number = -1; number <= core::kInterpolationCount; ++number) {
        const core::InterpolationInfo* const info = core::FindInterpolation(Type{number});
        ASSERT_EQ(number >= 0 && number < core::kInterpolationCount, info != nullptr);
        EXPECT_TRUE(info == nullptr || info->type == Type{number});
        EXPECT_TRUE(info == nullptr || core::FindInterpolation(info->name) == info);
    }
    EXPECT_EQ(nullptr, core::FindInterpolation("bezier"));
    EXPECT_EQ(nullptr, core::FindInterpolation(static_cast<const char*>(nullptr)));
}

}  // namespace
