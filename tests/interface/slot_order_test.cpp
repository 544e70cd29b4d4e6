#include <core/curve/parameter.h>
#include <core/curve/time_value_pair.h>
#include <core/data/json_doc.h>
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

TEST(SlotOrder, AllocatorsAreCalledThroughTheSecondPairOfSlots) {
    EXPECT_EQ(2, SlotOf(&core::JsonAllocator::Alloc));
    EXPECT_EQ(3, SlotOf(&core::JsonAllocator::Dealloc));
}

template <class T, class Object>
T FieldAt(const Object& object, std::size_t offset) {
    T field;
    std::memcpy(&field, reinterpret_cast<const unsigned char*>(&object) + offset, sizeof field);
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

TEST(Layout, JsonNodesKeepTheOrderOfTheirFields) {
    static_assert(sizeof(core::JsonValue) == 24 && sizeof(core::JsonString) == 32);
    static_assert(sizeof(core::JsonElem) == 40 && sizeof(core::JsonMember) == 48);
    static_assert(sizeof(core::JsonArray) == 32 && sizeof(core::JsonObject) == 32);
    using Pointer = const void*;
    core::JsonDoc doc;
    core::JsonObject& object = doc.CreateRootObject();
    core::JsonMember& first = object["first"];
    core::JsonMember& last = object["a name that is not held in place"];
    last.Set(-1);
    core::JsonArray& array = first.MakeEmptyArray();
    core::JsonElem& element = array.Add(nullptr);
    core::JsonElem& lastElement = array.Add(nullptr);
    const Pointer allocator = doc.Allocator();

    const core::JsonValue& root = doc.Root();
    EXPECT_EQ(allocator, FieldAt<Pointer>(root, 0));
    EXPECT_EQ(103, FieldAt<std::int32_t>(root, 8));
    EXPECT_EQ(&object, FieldAt<Pointer>(root, 16));
    EXPECT_EQ(-1, FieldAt<std::int64_t>(last, 16));

    EXPECT_EQ(allocator, FieldAt<Pointer>(object, 0));
    EXPECT_EQ(2, FieldAt<std::int32_t>(object, 8));
    EXPECT_EQ(&first, FieldAt<Pointer>(object, 16));
    EXPECT_EQ(&last, FieldAt<Pointer>(object, 24));
    EXPECT_EQ(&last, FieldAt<Pointer>(first, 32));
    EXPECT_EQ(&object, FieldAt<Pointer>(first, 40));

    EXPECT_EQ(allocator, FieldAt<Pointer>(array, 0));
    EXPECT_EQ(2, FieldAt<std::int32_t>(array, 8));
    EXPECT_EQ(&element, FieldAt<Pointer>(array, 16));
    EXPECT_EQ(&lastElement, FieldAt<Pointer>(array, 24));
    EXPECT_EQ(&lastElement, FieldAt<Pointer>(element, 24));
    EXPECT_EQ(&array, FieldAt<Pointer>(element, 32));

    // The name of a member: in place from offset 16, or elsewhere.
    const auto nameOf = [](const core::JsonMember& member) {
        return static_cast<const unsigned char*>(FieldAt<Pointer>(member, 24));
    };
    EXPECT_EQ(static_cast<Pointer>(nameOf(first) + 16), first.Name());
    EXPECT_EQ(16, *static_cast<const std::int32_t*>(static_cast<Pointer>(nameOf(first) + 8)));
    Pointer heap;
    std::memcpy(&heap, nameOf(last) + 16, sizeof heap);
    EXPECT_EQ(heap, last.Name());
}

}  // namespace
