#include <core/curve/big_keyframe.h>
#include <core/curve/parameter_iterator.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "support/curve_words.h"

namespace {

using core::BigKeyframe;

static_assert(std::has_virtual_destructor_v<Parameter> &&
              std::has_virtual_destructor_v<BigKeyframe>);
static_assert(std::is_nothrow_move_constructible_v<Parameter>);
static_assert(!std::is_convertible_v<double, Parameter>, "a value is not a curve by accident");

template <class Handle>
class Handles : public ::testing::Test {};
using HandleTypes = ::testing::Types<Parameter, BigKeyframe>;
TYPED_TEST_SUITE(Handles, HandleTypes);

template <class Handle>
Handle Ramp() {
    Handle curve(0.25);
    curve.AddPoint(0, 0.0, kLinear);
    curve.AddPoint(2, 4.0, kLinear);
    curve.SetPointControlParamEx(1, 0.5, 0.6, 0.7, 0.8);
    curve.SetValueRange(0.5, 3.5);
    curve.SetBaseRatio(2.0);
    return curve;
}

/// Everything that a copy has to carry over, as one text.
std::string Describe(core::IKeyFrame& curve) {
    ValAny min, max;
    curve.GetValueRange(min, max);
    std::string text = std::to_string(curve.GetParameterType());
    for (double number : {curve.GetValue().AsDouble(), min.AsDouble(), max.AsDouble(),
                          curve.GetBaseRatio().AsDouble(), curve.GetValue(1.0, true).AsDouble(),
                          Area(curve, 0, 2)}) {
        text += " " + std::to_string(number);
    }
    return text + "\n" + plain::Print(plain::ReadBack(curve));
}

TYPED_TEST(Handles, CopiesAreDeepAndAssignmentToItselfChangesNothing) {
    auto original = Ramp<TypeParam>();
    const std::string before = Describe(original);
    TypeParam copy(original);
    TypeParam assigned("text");
    assigned.AddPoint(5, "gone", kLinear);
    assigned = original;
    EXPECT_EQ(before, Describe(copy));
    EXPECT_EQ(before, Describe(assigned));

    copy.AddPoint(1, 9.0, kLinear);
    copy.SetBaseRatio(1.0);
    assigned.ClearKeyFrames();
    EXPECT_EQ(before, Describe(original));

    TypeParam& itself = original;
    const std::uint64_t revision = original.Revision();
    original = itself;
    EXPECT_EQ(before, Describe(original));
    EXPECT_EQ(revision, original.Revision());
    original = std::move(itself);
    EXPECT_EQ(before, Describe(original));

    // Onto a curve that was sampled with fewer keyframes.
    TypeParam longer(original);
    for (int i = 3; i < 40; ++i) {
        longer.AddPoint(i, 0.1 * i, kLinear);
    }
    original = longer;
    EXPECT_EQ(longer.GetValue(38.5, true).AsDouble(), original.GetValue(38.5, true).AsDouble());
    EXPECT_EQ(Describe(longer), Describe(original));
}

TYPED_TEST(Handles, AMovedFromHandleAnswersHarmlesslyAndCanBeAssignedTo) {
    auto source = Ramp<TypeParam>();
    const std::string before = Describe(source);
    TypeParam target(std::move(source));
    EXPECT_EQ(before, Describe(target));
    EXPECT_EQ(nullptr, source.p_impl());

    double x = 7, y = 7, z = 7, w = 7;
    Parameter other;
    ValAny min = 1, max = 1;
    source.SetValueRange(0, 1);
    source.SetBaseRatio(2);
    source.SetParameterType(core::ParameterInt);
    source.AddPointEx(0, 1.0, kLinear);
    source.RemoveKeyFramesAfterTime(0);
    source.ClearKeyFrames();
    source.GetValueRange(min, max);
    source.GetValue();
    source.GetBaseRatio();
    source.GetParameterType();
    source.SolveTimeBaseArea(0, 1);
    source.Serialize();
    EXPECT_FALSE(AnyCallTakes(source, 0) || source.HasPoint(0) ||
                 source.GetPointControlParamOnCurve(0, x, y, z, w, true) ||
                 source.TransferAbsoluteParamToRelative(0, x, y, z, w) ||
                 source.TransferRelativeParamToAbsolute(0, x, y, z, w) ||
                 source.SplitIntoTwoMotionDimension(other, other) ||
                 source.GetPreviousKeyframeTime(1, nullptr));
    EXPECT_EQ(-1, source.AddPoint(0, 1.0, kLinear));
    EXPECT_EQ(0, source.GetKeyFramesCount());
    EXPECT_EQ(0, source.GetValue(0, true).AsInt());
    EXPECT_EQ(0, source.GetNKeyFramesInRange(0, 1, nullptr));
    EXPECT_EQ(-1, source.GetPointIndex(0));
    EXPECT_EQ(0.0, Area(source, 0, 1));
    EXPECT_EQ(-1, source.Desialize("{}"));
    EXPECT_STREQ("", source.SerializeEx());
    EXPECT_STREQ("", source.GetHashString());
    std::unique_ptr<core::ParameterIterator> it(source.GetParameterIterator(true));
    EXPECT_TRUE(it == nullptr || it->IsDone());

    TypeParam copyOfNothing(source);
    target = source;  // nothing may be assigned, too
    EXPECT_EQ(0, target.GetKeyFramesCount());
    EXPECT_EQ(0, copyOfNothing.GetKeyFramesCount());
    source = Ramp<TypeParam>();
    EXPECT_EQ(before, Describe(source));
    target = source;
    EXPECT_EQ(before, Describe(target));
}

}  // namespace
