#include <core/curve/control_points.h>
#include <core/curve/interpolation_info.h>
#include <core/curve/snapshot.h>

#include <gtest/gtest.h>

#include <cmath>

#include "support/curve_words.h"
#include "support/file_rows.h"

namespace {

using Type = KeyframeInterpolationType;
using Convert = bool(Pointd, Pointd&, Pointd&, Pointd, Type, Type);

void ExpectTable(const char* file, Convert* convert) {
    for (const support::FileRow& row : support::RowsOf(file)) {
        const Times n = support::NumbersOf(row[""]);
        const auto type = [&](std::size_t i) { return static_cast<Type>(static_cast<int>(n[i])); };
        Pointd start = {n[2], n[3]};
        Pointd end = {n[4], n[5]};
        EXPECT_TRUE(convert({n[0], n[1]}, start, end, {n[6], n[7]}, type(8), type(9)));
        EXPECT_EQ(support::NumbersOf(row["becomes"]), (Times{start.x, start.y, end.x, end.y}))
            << row.name;
    }
}

TEST(ControlPoints, StoredHandlesAreFractionsAndSlopes) {
    ExpectTable("stored_handles.txt", core::GetAbsolutePointControlParam);
}

TEST(ControlPoints, PointsOutsideTheSegmentAreMovedToItsEnds) {
    ExpectTable("control_points.txt", core::GetRelativePointControlParam);
}

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
