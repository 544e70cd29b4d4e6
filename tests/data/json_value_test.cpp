#include <core/data/json_doc.h>
#include <core/data/json_kind_mismatch.h>
#include <core/data/json_pointer.h>
#include <core/data/json_view.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/allocations.h"
#include "support/file_rows.h"
#include "support/json_model.h"
#include "support/small_stack.h"
#include "support/tracked_allocator.h"

namespace {

using core::JsonArray;
using core::JsonBadAccess;
using core::JsonDoc;
using core::JsonElem;
using core::JsonObject;
using core::JsonString;
using core::JsonValue;
using support::ModelOf;
using support::OnSmallStack;
using support::TrackedAllocator;

// A pointer that turns into a boolean is the classic trap of such a type.
template <class T>
concept CanBeSet = requires(JsonValue value, T content) {
    value.Set(content);
};
static_assert(!CanBeSet<void*> && !CanBeSet<const JsonArray*> && !CanBeSet<const wchar_t*>);
static_assert(CanBeSet<long> && CanBeSet<unsigned long long> && CanBeSet<float>);
static_assert(std::is_nothrow_move_constructible_v<JsonValue>);

template <class T>
JsonValue Holding(T content) {
    JsonValue value;
    value.Set(content);
    return value;
}

/// The value in every type that it converts to, in the order of the accessors. Both
/// ways of asking must agree.
std::string Conversions(const JsonValue& value) {
    std::ostringstream text;
    text.precision(17);
    const auto add = [&](const char* name, auto out, auto as) {
        const bool converts = value.Get(out);
        try {
            const auto answer = as();
            EXPECT_TRUE(converts) << name;
            EXPECT_EQ(0, std::memcmp(&out, &answer, sizeof out)) << name;
            text << name << answer;
        } catch (const JsonBadAccess& error) {
            EXPECT_FALSE(converts) << name;
            EXPECT_STREQ("Json bad access", error.what());
            const auto& mismatch = dynamic_cast<const core::JsonKindMismatch&>(error);
            EXPECT_EQ(value.Kind(), mismatch.HeldKind());
            EXPECT_EQ(Holding(out).Kind(), mismatch.WantedKind()) << name;
            EXPECT_STREQ("", mismatch.MemberName());
        }
    };
    add(" b", bool{}, [&] { return value.AsBool(); });
    add(" i", int{}, [&] { return value.AsInt(); });
    add(" u", unsigned{}, [&] { return value.AsUint(); });
    add(" I", std::int64_t{}, [&] { return value.AsInt64(); });
    add(" U", std::uint64_t{}, [&] { return value.AsUint64(); });
    long long wide = 0;
    std::int64_t same = 0;
    EXPECT_EQ(value.Get(same), value.Get(wide));
    EXPECT_EQ(same, wide);
    add(" d", double{}, [&] { return value.AsDouble(); });
    text.precision(9);
    add(" f", float{}, [&] { return value.AsFloat(); });
    std::string out = "left over";
    if (value.Get(out)) {
        EXPECT_EQ(out, value.AsString());
        text << " s" << out;
    } else {
        EXPECT_EQ("", out);
        EXPECT_THROW(value.AsString(), JsonBadAccess);
    }
    return text.str();
}

TEST(JsonMember, ItsRefusalNamesItAndBothKinds) {
    JsonDoc doc;
    ASSERT_GT(doc.Parse(R"({"text": "x", "list": [], "small": -1, "none": null, "on": true})"), 0);
    JsonObject& object = doc.Root().AsObject();
    const JsonObject& constant = object;
    const struct {
        std::function<void()> read;
        const char* message;
    } rows[] = {
        {[&] { object["text"].AsDouble(); }, "\"text\": a text where a number was wanted"},
        {[&] { object["text"].AsArray(); }, "\"text\": a text where an array was wanted"},
        {[&] { constant.Find("list")->AsInt(); }, "\"list\": an array where an integer was wanted"},
        {[&] { constant["list"].AsObject(); }, "\"list\": an array where an object was wanted"},
        {[&] { constant["no such"].AsInt(); }, "null where an integer was wanted"},
        {[&] { core::ValueByPointer<int>(doc.Root(), "/list/0"); },
         "\"/list/0\": nothing where an integer was wanted"},
        {[&] { core::ValueByPointer<std::string>(doc.Root(), "/on"); },
         "\"/on\": a boolean where a text was wanted"},
        {[&] { core::ValueByPointer<const core::JsonArray*>(doc.Root(), "/none"); },
         "\"/none\": null where an array was wanted"},
        {[&] { object["small"].AsUint64(); },
         "\"small\": a number that does not fit the integer that was wanted"},
        {[&] { object["small"].AsUint(); },
         "\"small\": a number that does not fit the integer that was wanted"},
        {[&] { object["text"].AsInt64(); }, "\"text\": a text where an integer was wanted"},
        {[&] { constant["text"].AsArray(); }, "\"text\": a text where an array was wanted"},
        {[&] { object["none"].AsBool(); }, "\"none\": null where a boolean was wanted"},
        {[&] { object["on"].AsString(); }, "\"on\": a boolean where a text was wanted"},
        {[&] { object["on"].AsFloat(); }, "\"on\": a boolean where a number was wanted"},
        {[&] { JsonValue().AsInt(); }, "nothing where an integer was wanted"},
        {[&] { doc.Root().AsArray(); }, "an object where an array was wanted"},
    };
    for (const auto& row : rows) {
        std::unique_ptr<core::JsonKindMismatch> kept;
        try {
            row.read();
        } catch (const core::JsonKindMismatch& error) {
            kept = std::make_unique<core::JsonKindMismatch>(error);
        }
        ASSERT_NE(kept, nullptr) << row.message;
        EXPECT_EQ(kept->Message(), row.message);
    }
}

TEST(JsonValue, ConvertsByKindAndRange) {
    const auto made = [](const std::string& kind, const char* text) {
        return kind == "bool"       ? Holding(*text == '1')
               : kind == "signed"   ? Holding(std::int64_t{std::strtoll(text, nullptr, 10)})
               : kind == "unsigned" ? Holding(std::uint64_t{std::strtoull(text, nullptr, 10)})
               : kind == "double"   ? Holding(std::strtod(text, nullptr))
               : kind == "text"     ? Holding(text)
               : kind == "array"    ? Holding(JsonArray())
               : kind == "object"   ? Holding(JsonObject())
               : kind == "null"     ? JsonValue(nullptr)
                                    : JsonValue();
    };
    for (const support::FileRow& row : support::RowsOf("conversions.txt")) {
        const std::size_t blank = std::min(row.name.find(' '), row.name.size());
        const JsonValue value = made(row.name.substr(0, blank), row.name.c_str() + blank + 1);
        EXPECT_EQ((row[""].empty() ? "" : " ") + row[""], Conversions(value)) << row.name;
    }
}

// Whatever is stored, in each of the ways, has the kind of its type; zero is a number.
TEST(JsonValue, ScalarsAndTextsGoWhereValuesGo) {
    const auto store = [](auto content) {
        JsonValue set;
        set.Set(content);
        JsonValue assigned(nullptr);
        assigned = content;
        JsonArray array;
        array.Add(content);
        array.Add(nullptr) = content;
        JsonObject object;
        object.Add("name", content);
        object["other"] = content;
        object.Add(std::string_view("third"), content);
        for (const JsonValue* stored :
             {static_cast<const JsonValue*>(&assigned), static_cast<const JsonValue*>(&array[0]),
              static_cast<const JsonValue*>(&array[1]),
              static_cast<const JsonValue*>(object.Find("name")),
              static_cast<const JsonValue*>(object.Find("other")),
              static_cast<const JsonValue*>(object.Find("third"))}) {
            EXPECT_EQ(ModelOf(set), ModelOf(*stored));
        }
        return set.Kind();
    };
    enum State { kIdle };
    EXPECT_EQ(JsonValue::kSigned, store(0));
    EXPECT_EQ(JsonValue::kSigned, store(kIdle));
    EXPECT_EQ(JsonValue::kSigned, store(0LL));
    EXPECT_EQ(JsonValue::kUnsigned, store(0UL));
    EXPECT_EQ(JsonValue::kDouble, store(0.0F));
    EXPECT_EQ(JsonValue::kBool, store(false));
    EXPECT_EQ(JsonValue::kNull, store(nullptr));
    EXPECT_EQ(JsonValue::kNull, store(static_cast<const char*>(nullptr)));
    EXPECT_EQ(JsonValue::kString, store("a text that takes more than sixteen bytes"));
    EXPECT_EQ(JsonValue::kString, store(std::string("text")));
    EXPECT_EQ(JsonValue::kString, store(std::string_view("text and more", 4)));
    EXPECT_EQ(JsonValue::kString, store(std::string_view()));
    JsonObject object;
    EXPECT_TRUE(object.Add("literal", 0).IsSigned());
    EXPECT_TRUE((object["literal"] = 0).IsSigned());
    EXPECT_TRUE(JsonArray().Add(0).IsSigned());
    EXPECT_TRUE((object["literal"] = {}).IsEmpty());
}

TEST(JsonValue, ContainersAnswerByTheirExactKind) {
    JsonDoc doc;
    EXPECT_FALSE(doc);
    JsonArray* array = nullptr;
    JsonObject* object = &doc.CreateRootObject();
    const JsonObject* readOnly = nullptr;
    EXPECT_TRUE(doc);
    EXPECT_TRUE(std::as_const(doc).Root().Get(readOnly));
    EXPECT_EQ(object, readOnly);
    EXPECT_FALSE(doc.Root().Get(array));
    EXPECT_EQ(nullptr, array);
    EXPECT_THROW(doc.Root().AsArray(), JsonBadAccess);
    (*object)["a"].Set(1);
    EXPECT_EQ(object, &doc.CreateRootObject());
    EXPECT_EQ(0, object->Count());
    array = &doc.CreateRootArray();
    EXPECT_EQ(array, &std::as_const(doc).Root().AsArray());
    EXPECT_FALSE(doc.Root().Get(object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(doc.Allocator(), array->Add(nullptr).Allocator());
}

TEST(JsonString, HoldsFifteenBytesInPlaceAndNoMoreThanAskedForElsewhere) {
    TrackedAllocator allocator;
    JsonString text(&allocator);
    text.Assign("123456789012345");
    EXPECT_EQ(0U, allocator.Lent());
    EXPECT_EQ(16, text.Capacity());
    text.Assign("1234567890123456");
    EXPECT_EQ(17U, allocator.LastSize());
    text.Assign("shorter");
    EXPECT_EQ(17, text.Capacity());
    text.Assign(text.Text() + 2, 3);
    EXPECT_STREQ("ort", text.Text());
    text.Assign(std::string("a\0b", 3));
    EXPECT_STREQ("a", text.Text());
    allocator.FailAt(1);
    EXPECT_THROW(text.Assign(std::string(40, 'x')), std::bad_alloc);
    EXPECT_STREQ("a", text.Text());
    // Longer than any text: nothing of it is read.
    const std::string_view longest("x", 2'147'483'647);
    EXPECT_THROW(text.Assign(longest), std::length_error);
    EXPECT_THROW(JsonValue().Set(longest), std::length_error);
    EXPECT_STREQ("a", text.Text());
    text.Assign(nullptr);
    EXPECT_STREQ("", text.Text());
}

TEST(JsonArray, AnIndexBelowZeroIsTheFirstAndOnePastTheEndBelongsToNoArray) {
    JsonArray array;
    array.Resize(3);
    array[0].Set("first");
    array[2].Set("last");
    EXPECT_STREQ("first", array[-3].AsString());
    EXPECT_STREQ("last", array[2].AsString());
    EXPECT_EQ(&array, array[2].Parent());

    JsonElem& outside = array[3];
    EXPECT_TRUE(outside.IsNull());
    EXPECT_EQ(nullptr, outside.Parent());
    EXPECT_EQ(nullptr, outside.NextSibling());
    outside.MakeEmptyArray().Add(nullptr).Set("written to");
    std::thread([] { EXPECT_TRUE(JsonArray()[0].IsNull()); }).join();
    EXPECT_TRUE(array[100].IsNull());
    EXPECT_EQ(3, array.Count());

    EXPECT_TRUE(array.Erase(-1));
    EXPECT_EQ(2, array.Count());
    EXPECT_FALSE(array.Erase(2) || array.Erase(3) || array.Erase(7));
    EXPECT_TRUE(array.Erase(1));
    array.Clear();
    EXPECT_FALSE(array.Erase(-1));
}

TEST(JsonArray, MovedElementsKeepTheirParent) {
    JsonDoc doc;
    JsonArray source(&doc);
    JsonElem& element = source.Add(nullptr);
    JsonArray target(&doc);
    target = std::move(source);
    EXPECT_EQ(&element, target.First());
    EXPECT_EQ(&source, element.Parent());
    EXPECT_EQ(0, source.Count());
    // What is copied has the new one.
    JsonArray copy(target);
    EXPECT_EQ(&copy, copy.First()->Parent());
    copy.AddArray().Add(nullptr);
    target = copy;
    EXPECT_EQ(&target, target[1].Parent());
    EXPECT_EQ(&target[1].AsArray(), target[1].AsArray().First()->Parent());
}

// What is moved to another allocator is copied.
TEST(JsonTree, ContainersGoToOtherAllocators) {
    JsonDoc doc;
    const auto check = [](auto& source, auto target) {
        auto copy(source);
        target = std::move(source);
        EXPECT_EQ(1, source.Count());
        target = std::move(copy);
        EXPECT_EQ(source.Allocator() == target.Allocator() ? 0 : 1, copy.Count());
        std::string text[2];
        source.Dump(text[0]), target.Dump(text[1]);
        EXPECT_EQ(text[0], text[1]);
        EXPECT_EQ(&target, target.First()->Parent());
    };
    JsonArray array(&doc);
    JsonObject object(&doc);
    array.Add(7), object.Add("name", 7);
    check(array, JsonArray());
    check(object, JsonObject());
}

TEST(JsonObject, FindsTheFirstOfANameByItsBytes) {
    JsonObject object;
    object.Add("twin", 1);
    object.Add("twin", 2);
    object.Add("tw", 3);
    EXPECT_EQ(3, object.Count());
    EXPECT_EQ(1, object["twin"].AsInt());
    EXPECT_EQ(3, std::as_const(object).Find("tw")->AsInt());
    EXPECT_EQ(nullptr, object.Find("t"));
    // A name ends at its first zero byte, as the one that is kept.
    const std::string withZero("tw\0in", 5);
    EXPECT_EQ(object.Find("tw"), object.Find(withZero));
    EXPECT_EQ(object.Find("tw"), &object[std::string_view(withZero)]);
    EXPECT_EQ(object.Find("tw"), core::JsonObjectView(object).Find(withZero));
    EXPECT_EQ(nullptr, object.Find(nullptr));
    EXPECT_TRUE(object.Erase("twin"));
    EXPECT_EQ(2, object["twin"].AsInt());
    EXPECT_FALSE(object["new"].IsEmpty());
    EXPECT_TRUE(object["new"].IsNull());
    EXPECT_STREQ("", object[nullptr].Name());

    const JsonObject& readOnly = object;
    const int count = object.Count();
    EXPECT_EQ(2, readOnly["twin"].AsInt());
    EXPECT_TRUE(readOnly["missing"].IsNull());
    EXPECT_EQ(2.0, readOnly.ValueOr("twin", 1.5));
    EXPECT_EQ(7U, readOnly.ValueOr("missing", 7U));
    EXPECT_EQ("none", readOnly.ValueOr("twin", "none"));
    EXPECT_TRUE(readOnly["new"].ValueOr(true));
    for (const auto& [name, value] : readOnly) {
        EXPECT_EQ(&value, readOnly.Find(name)) << name;
    }
    for (auto& [name, value] : object) {
        value = name;
    }
    EXPECT_STREQ("twin", object["twin"].AsString());
    EXPECT_EQ(count, object.Count());
}

// As text up to its first zero byte, whatever its type.
TEST(JsonObject, TakesNamesOfEveryType) {
    const JsonValue two = Holding(2);
    const auto check = [&two](const auto& name) {
        JsonObject object;
        const JsonObject& constant = object;
        object.Add("first", 0);
        EXPECT_FALSE(object.Erase(name));
        EXPECT_EQ(nullptr, object.Find(name));
        EXPECT_STREQ("", constant[name].Name());
        object[name] = 1;
        object.Add(name, two);
        object.Add(name, Holding(3));
        object.Add(name, nullptr);
        object.AddArray(name).Add(4);
        object.AddObject(name)["in"] = 5;
        EXPECT_EQ(1, object[name].AsInt());
        EXPECT_EQ(&object[name], &constant[name]);
        EXPECT_EQ(&object[name], constant.Find(name));
        EXPECT_EQ(object.Find(name), core::JsonObjectView(object).Find(name));
        EXPECT_EQ(object.Find(name), core::JsonObjectAccessor(object).Find(name));
        EXPECT_TRUE(object.Erase(name));
        std::string text;
        object.Dump(text);
        EXPECT_EQ(R"({"first": 0,"key": 2,"key": 3,"key": null,"key": [4],"key": {"in": 5}})",
                  text);
    };
    const char* const plain = "key";
    check(plain);
    check(std::string("key\0x", 5));
    check(std::string_view("key\0x", 5));
    check(std::string_view("keys", 3));
}

TEST(JsonViews, ShowWhatWasThereWhenTheyWereMade) {
    JsonObject object;
    JsonArray& array = object.AddArray("array");
    for (int i = 0; i < 100; ++i) {
        array.Add(nullptr).Set(i);
        object.Add("name" + std::to_string(i % 50), nullptr).Set(i);
    }
    core::JsonArrayView view(array);
    core::JsonArrayAccessor accessor(array);
    core::JsonObjectView members(object);
    core::JsonObjectAccessor writable(object);
    array.Add(nullptr);
    object["later"].Set(true);

    ASSERT_EQ(100, view.Count());
    EXPECT_TRUE(std::equal(view.begin(), view.end(), array.begin(),
                           [](const JsonValue& a, const JsonValue& b) { return &a == &b; }));
    EXPECT_EQ(&accessor[99], &accessor.end()[-1]);
    int walked = 0;
    for (auto& [name, value] : writable) {
        EXPECT_EQ(&value, writable.Find(name));
        ++walked;
    }
    EXPECT_EQ(51, walked);
    EXPECT_STREQ("array", members.begin()->Name());
    int i = 0;
    for (JsonElem* element = array.First(); i < view.Count(); element = element->NextSibling()) {
        EXPECT_EQ(element, &view[i]);
        EXPECT_EQ(element, &accessor[i++]);
    }
    // Names that repeat count once, and their first member is found.
    EXPECT_EQ(51, members.Count());
    EXPECT_EQ(51, members.end() - members.begin());
    EXPECT_EQ(7, members.Find("name7")->AsInt());
    EXPECT_EQ(object.Find("name7"), writable.Find(std::string("name7")));
    EXPECT_EQ(nullptr, members.Find("later"));
    EXPECT_EQ(nullptr, members.Find(nullptr));

    view.View(array);
    accessor.Access(array);
    members.View(object);
    writable.Access(object);
    EXPECT_EQ(101, view.Count());
    EXPECT_TRUE(accessor[100].IsNull());
    EXPECT_TRUE(members.Find("later")->AsBool());
    EXPECT_EQ(52, writable.Count());
}

// Arrays and objects in turn; every container has a sibling text behind it.
void Nest(JsonValue& value, int depth) {
    JsonValue* at = &value;
    for (int i = 0; i < depth; ++i) {
        if (i % 3 == 0) {
            JsonObject& object = at->MakeEmptyObject();
            at = &object["below"];
            object.Add("a name of more than sixteen bytes", nullptr);
        } else {
            JsonArray& array = at->MakeEmptyArray();
            at = &array.Add(nullptr);
            array.Add(nullptr).Set("beside");
        }
    }
    at->Set("at the bottom of it all");
}

int DepthOf(const JsonValue& value) {
    int depth = 0;
    for (const JsonValue* at = &value; !at->IsString(); ++depth) {
        at = at->IsArray() ? static_cast<const JsonValue*>(at->AsArray().First())
                           : at->AsObject().First();
    }
    return depth;
}

constexpr int kDepth = 1'000'000;

TEST(JsonValue, ATreeOfAnyDepthNeedsNoStack) {
    OnSmallStack([] {
        JsonDoc doc;
        Nest(doc.Root(), kDepth);
        const JsonValue copy(doc.Root());
        EXPECT_EQ(kDepth, DepthOf(copy));
        doc.CreateRootObject();
        doc.Root() = copy;
        // From inside itself, by copy and by move.
        doc.Root() = *doc.Root().AsObject().First();
        doc.Root() = std::move((*doc.Root().AsArray().First()));
        EXPECT_EQ(kDepth - 2, DepthOf(doc.Root()));
        JsonArray list(&doc);
        list.Add(doc.Root());
        list.Add(copy);
        list.Resize(1);
        EXPECT_TRUE(list.Erase(0));
        doc.Root().Clear();
    });
    OnSmallStack([] {
        JsonValue onHeap;
        Nest(onHeap, kDepth);
        JsonObject object;
        object["deep"] = std::move(onHeap);
        EXPECT_TRUE(onHeap.IsEmpty());
        EXPECT_TRUE(object.Erase("deep"));
    });
}

TEST(JsonValue, NodesGoBackInOrderWithTheirSizes) {
    TrackedAllocator allocator;
    JsonValue value(&allocator);
    Nest(value, 100);
    // Moved arrays leave their elements a parent that is gone.
    JsonArray* innermost = &value.AsObject().First()->AsArray();
    JsonArray moved(std::move(innermost->First()->AsArray()));
    *innermost = std::move(moved);
    JsonValue other(&allocator);
    other = value;
    EXPECT_EQ(ModelOf(value), ModelOf(other));
    value.Clear();
    other.Clear();
    EXPECT_EQ(0U, allocator.Lent());
}

/// Counts the nodes; what is derived from a pool is asked for each of them.
class CountingPool : public core::JsonOptimizedAllocator {
public:
    CountingPool() : JsonOptimizedAllocator(0) {}
    void* Alloc(std::size_t size, std::size_t align) override {
        ++lent;
        return JsonOptimizedAllocator::Alloc(size, align);
    }
    void Dealloc(void* pointer, std::size_t size) override {
        --lent;
        JsonOptimizedAllocator::Dealloc(pointer, size);
    }
    int lent = 0;
};

TEST(JsonAllocators, ADerivedPoolIsAskedForEachNode) {
    CountingPool pool;
    JsonValue value(&pool);
    Nest(value, 10);
    const int lent = pool.lent;
    EXPECT_LT(40, lent);
    JsonValue copy(value);
    EXPECT_EQ(2 * lent, pool.lent);
    copy.Clear();
    value.Clear();
    EXPECT_EQ(0, pool.lent);
}

TEST(JsonAllocators, ADocumentUsesAgainWhatEditsGiveBack) {
    JsonDoc doc;
    JsonObject& object = doc.CreateRootObject();
    const std::size_t before = AllocationsSoFar();
    for (int i = 0; i < 10'000; ++i) {
        object["a name of more than sixteen bytes"] = "a text of more than sixteen bytes";
        object.AddArray("list").Add("another text of more than sixteen bytes");
        EXPECT_TRUE(object.Erase(*object.First()) && object.Erase("list"));
    }
    // All of it from the first block of the document.
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(JsonAllocators, TheDefaultOneServesThoseWithoutAnother) {
    core::JsonAllocator* const standard = core::JsonDefaultAllocator::Instance();
    EXPECT_EQ(standard, JsonValue().Allocator());
    EXPECT_EQ(standard, JsonValue(nullptr).Allocator());
    EXPECT_EQ(standard, JsonArray().Allocator());
    EXPECT_EQ(standard, JsonObject(nullptr).Allocator());
    JsonDoc doc;
    JsonValue text(nullptr, &doc);
    EXPECT_TRUE(text.IsNull());
    text.Set(std::string("a text that needs memory of its own"));
    // Copies follow their source, assigned values keep their own.
    EXPECT_EQ(doc.Allocator(), JsonValue(text).Allocator());
    JsonValue assigned;
    assigned = std::move(text);
    EXPECT_EQ(standard, assigned.Allocator());
    EXPECT_STREQ(text.AsString(), assigned.AsString());
    JsonArray array(&doc);
    array.Add(assigned);
    JsonArray movedFrom(std::move(array));
    EXPECT_EQ(doc.Allocator(), movedFrom.Allocator());
    EXPECT_EQ(0, array.Count());
}

}  // namespace
