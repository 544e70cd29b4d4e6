#include <core/curve/parameter.h>
#include <core/curve/time_value_pair.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using core::IKeyFrame;

/// The slot of a virtual member function in the Itanium C++ ABI, which GCC and
/// Clang use on both platforms: a pointer to it holds 1 + its offset in the table.
template <class Member>
std::ptrdiff_t SlotOf(Member member) {
    static_assert(sizeof member == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof words);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// Other modules call through these slots; the destructor takes the first two.
TEST(SlotOrder, EveryOperationStandsWhereCallersExpectIt) {
    struct Row {
        const char* name;
        std::ptrdiff_t slot;
    };
#define SLOT(name) #name, SlotOf(&IKeyFrame::name)
    const Row rows[] = {
        {"GetValue(t)", SlotOf<core::ValAny (IKeyFrame::*)(double, bool)>(&IKeyFrame::GetValue)},
        {SLOT(AddPoint)},
        {SLOT(SetValueRange)},
        {SLOT(RemovePoint)},
        {SLOT(GetPointValue)},
        {SLOT(GetPointTime)},
        {SLOT(GetInterpolationType)},
        {SLOT(GetPointControlParam)},
        {SLOT(SetPointValue)},
        {SLOT(SetPointTime)},
        {SLOT(SetPointInterpolationType)},
        {SLOT(SetPointControlParam)},
        {SLOT(GetKeyFramesCount)},
        {SLOT(SetParameterType)},
        {SLOT(GetParameterType)},
        {SLOT(GetValueRange)},
        {SLOT(Serialize)},
        {SLOT(Desialize)},
        {SLOT(GetAreaFromTo)},
        {SLOT(SolveTimeBaseArea)},
        {SLOT(RemoveKeyFramesAfterTime)},
        {SLOT(GetNKeyFramesInRange)},
        {SLOT(GetPointIndex)},
        {SLOT(ClearKeyFrames)},
        {SLOT(GetPreviousKeyframeTime)},
        {SLOT(SerializeEx)},
        {SLOT(AddPointEx)},
        {SLOT(GetHashString)},
        {SLOT(SetPointControlParamEx)},
        {SLOT(GetPointControlParamEx)},
        {SLOT(SetPointControlLeftParam)},
        {SLOT(SetPointControlRightParam)},
        {SLOT(GetPointControlLeftParam)},
        {SLOT(GetPointControlRightParam)},
        {SLOT(HasPoint)},
        {SLOT(GetPointControlParamOnCurve)},
        {SLOT(SplitIntoTwoMotionDimension)},
        {SLOT(TransferAbsoluteParamToRelative)},
        {SLOT(TransferRelativeParamToAbsolute)},
        {"GetValue()", SlotOf<core::ValAny (IKeyFrame::*)()>(&IKeyFrame::GetValue)},
        {SLOT(GetParameterIterator)},
        {SLOT(SetBaseRatio)},
        {SLOT(GetBaseRatio)},
    };
#undef SLOT
#define SLOT(name) #name, SlotOf(&core::SpeedParameter::name)
    const Row speedRows[] = {
        {SLOT(GetVelocityTimeCurve)},
        {SLOT(GetKeyFramesCountEx)},
        {SLOT(SetFreezeFrameDuration)},
    };
#undef SLOT
    std::ptrdiff_t expected = 2;
    for (const Row& row : rows) {
        EXPECT_EQ(expected++, row.slot) << row.name;
    }
    for (const Row& row : speedRows) {
        EXPECT_EQ(expected++, row.slot) << row.name;
    }
}

template <class T>
T FieldAt(const core::TimeValuePair& pair, std::size_t offset) {
    T field;
    std::memcpy(&field, reinterpret_cast<const unsigned char*>(&pair) + offset, sizeof field);
    return field;
}

TEST(Layout, AKeyframeIsSixtyFourBytesInTheOrderOfItsFields) {
    static_assert(sizeof(core::Pointd) == 16 && offsetof(core::Pointd, y) == 8);
    static_assert(sizeof(core::KeyframeInterpolationType) == 4);
    static_assert(sizeof(core::ParameterTypeEnum) == 4);
    static_assert(sizeof(core::ValAny) == 16);
    static_assert(sizeof(core::TimeValuePair) == 64);
    static_assert(sizeof(core::Parameter) == 2 * sizeof(void*));
    static_assert(sizeof(core::SpeedParameter) == sizeof(core::Parameter));

    core::TimeValuePair pair(1.0, 2.5, core::KeyframeInterpolationType::EaseInBack);
    pair.SetLeftDerivativeEx(3.0, 4.0);
    pair.SetRightDerivativeEx(5.0, 6.0);
    EXPECT_EQ(1.0, FieldAt<double>(pair, 0));
    EXPECT_EQ(2.5, FieldAt<double>(pair, 8));
    EXPECT_EQ(7, FieldAt<std::int32_t>(pair, 16));  // the kind of the value
    EXPECT_EQ(22, FieldAt<std::int32_t>(pair, 24));
    EXPECT_EQ(3.0, FieldAt<double>(pair, 32));
    EXPECT_EQ(4.0, FieldAt<double>(pair, 40));
    EXPECT_EQ(5.0, FieldAt<double>(pair, 48));
    EXPECT_EQ(6.0, FieldAt<double>(pair, 56));
}

}  // namespace
