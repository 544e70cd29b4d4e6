#include <core/data/json_doc.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

template <class T, class Object>
T FieldAt(const Object& object, std::size_t offset) {
    T field;
    std::memcpy(&field, reinterpret_cast<const unsigned char*>(&object) + offset, sizeof field);
    return field;
}

// What stands in the fields, whose places are on record.
TEST(Layout, JsonNodesKeepTheOrderOfTheirFields) {
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
