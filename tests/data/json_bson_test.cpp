#include <core/data/bson_packer.h>
#include <core/data/json_bson.h>
#include <core/data/json_doc.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/allocations.h"
#include "support/bson_model.h"
#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_model.h"
#include "support/small_stack.h"
#include "support/tracked_allocator.h"

namespace {

using core::BsonBox;
using core::BsonMapSize;
using core::BsonPacker;
using core::BsonTupleSize;
using core::JsonArray;
using core::JsonDoc;
using core::JsonObject;
using core::JsonValue;
using support::Bytes;
using support::PlainItem;
using support::PlainReader;

BsonBox BoxOf(const Bytes& bytes) {
    return BsonBox(bytes.data(), bytes.size());
}

Bytes BytesOf(const BsonBox& box) {
    return {box.Data(), box.Data() + box.Size()};
}

Bytes Packed(const JsonValue& value) {
    BsonBox box;
    core::JsonToBson(value, box);
    return BytesOf(box);
}

/// A tree as text in which nothing is lost, kinds included.
std::string ShapeOf(const JsonValue& value) {
    return testing::PrintToString(support::ModelOf(value));
}

/// What a document of this text packs into, and the shape of what comes back.
std::pair<Bytes, std::string> ThereAndBack(const char* text) {
    JsonDoc document;
    EXPECT_EQ(std::strlen(text), static_cast<std::size_t>(document.Parse(text))) << text;
    const Bytes bytes = Packed(document.Root());
    JsonDoc other;
    EXPECT_TRUE(core::BsonToJson(BoxOf(bytes), other.Root())) << text;
    return {bytes, ShapeOf(other.Root())};
}

TEST(JsonBson, EachKindHasItsBytesAndComesBack) {
    for (const support::FileRow& row : support::RowsOf("packed_json.txt")) {
        const auto [bytes, shape] = ThereAndBack(row[""].c_str());
        EXPECT_EQ(support::BytesOfHex(row["packed"]), bytes) << row.name;
        EXPECT_EQ(row["shape"], shape) << row.name;
    }
}

// The kinds of numbers cross: what fits a signed number comes back as one.
TEST(JsonBson, UnsignedNumbersAreShortAndComeBackSignedWhereTheyFit) {
    JsonDoc document;
    for (const std::uint64_t number :
         {std::uint64_t{5}, std::uint64_t{127}, std::uint64_t{128}, std::uint64_t{255},
          std::uint64_t{65536}, (std::uint64_t{1} << 63) - 1, std::uint64_t{1} << 63}) {
        JsonValue value;
        value.Set(number);
        const Bytes bytes = Packed(value);
        EXPECT_EQ(number < 128, bytes.size() == 1);
        ASSERT_TRUE(core::BsonToJson(BoxOf(bytes), document.Root()));
        EXPECT_EQ(number >> 63 == 0, document.Root().IsSigned());
        EXPECT_EQ(number, document.Root().AsUint64());
    }
}

TEST(JsonBson, AnEmptyValueIsCountedAndNotWritten) {
    JsonValue value;
    EXPECT_EQ(Bytes{}, Packed(value));
    JsonArray& array = value.MakeEmptyArray();
    array.Add(JsonValue());
    array.Add(nullptr).Set(true);
    EXPECT_EQ((Bytes{0x92, 0xC3}), Packed(value));
    BsonBox box(reinterpret_cast<const unsigned char*>("before"), 6);
    core::JsonToBson(array, box);
    EXPECT_EQ((Bytes{0x92, 0xC3}), BytesOf(box));

    JsonObject& object = value.MakeEmptyObject();
    object.Add("a", JsonValue());
    EXPECT_EQ((Bytes{0x81, 0xA1, 'a'}), Packed(value));
    core::JsonToBson(object, box);
    EXPECT_EQ((Bytes{0x81, 0xA1, 'a'}), BytesOf(box));
}

TEST(JsonBson, AFaultEndsTheContainersAroundIt) {
    for (const support::FileRow& row : support::RowsOf("broken_packed.txt")) {
        JsonDoc document;
        document.Root().Set("before");
        const bool isDone = core::BsonToJson(BoxOf(support::BytesOfHex(row[""])), document.Root());
        EXPECT_EQ(row["shape"] != "empty", isDone) << row.name;
        EXPECT_EQ(row["shape"], ShapeOf(document.Root())) << row.name;
    }
}

/// The same by recursion, from the plain reader.
bool PlainUnpack(PlainReader& reader, JsonValue& value) {
    const PlainItem item = reader.Next();
    const int count = item.kind == 14 || item.kind == 15 ? static_cast<int>(item.number) : 0;
    if (item.kind == 0) {
        return false;
    }
    if (item.kind == 1) {
        value.Set(nullptr);
    } else if (item.kind == 2) {
        value.Set(item.number != 0);
    } else if (item.kind <= 10) {
        if (item.number < 0x1p63L) {
            value.Set(static_cast<std::int64_t>(item.number));
        } else {
            value.Set(static_cast<std::uint64_t>(item.number));
        }
    } else if (item.kind == 11) {
        const auto bits = static_cast<std::uint32_t>(item.bits);
        float single = 0.0F;
        std::memcpy(&single, &bits, sizeof single);
        value.Set(static_cast<double>(single));
    } else if (item.kind == 12) {
        double real = 0.0;
        std::memcpy(&real, &item.bits, sizeof real);
        value.Set(real);
    } else if (item.kind == 13) {
        value.Set(item.text.c_str());
    } else if (item.kind == 14) {
        JsonArray& array = value.MakeEmptyArray();
        for (int i = 0; i < count && PlainUnpack(reader, array.Add(nullptr)); ++i) {
        }
    } else {
        JsonObject& object = value.MakeEmptyObject();
        for (int i = 0; i < count; ++i) {
            const PlainItem key = reader.Next();
            if (key.kind != 13) {
                reader.Fail();
                break;
            }
            if (!PlainUnpack(reader, object.Add(key.text.c_str(), nullptr))) {
                break;
            }
        }
    }
    return true;
}

void PackTree(Dice& dice, BsonPacker& packer, int depth) {
    const int kind = depth > 5 ? 0 : dice.Below(12);
    const int children = dice.OneIn(20) ? 20 : dice.Below(4);
    if (kind < 8) {
        support::PackScalar(dice, packer);
        return;
    }
    if (kind < 10) {
        packer << BsonTupleSize(children);
    } else {
        packer << BsonMapSize(children);
    }
    for (int i = 0; i < children; ++i) {
        if (kind >= 10) {
            packer << std::string(static_cast<std::size_t>(dice.Below(20)), 'k');
        }
        PackTree(dice, packer, depth + 1);
    }
}

TEST(JsonBson, AgreesWithPlainRecursionOnWhateverBytesThereAre) {
    Dice dice(11);
    int changed = 0;
    for (int round = 0; round < 10'000; ++round) {
        SCOPED_TRACE(round);
        BsonPacker packer;
        PackTree(dice, packer, 0);
        Bytes bytes = BytesOf(packer.Take());
        if (dice.OneIn(2)) {
            for (int i = dice.Below(3); i >= 0; --i) {
                bytes[static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size())))] =
                    static_cast<unsigned char>(dice.Below(256));
            }
            if (dice.OneIn(2)) {
                bytes.resize(static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size()))));
            }
            ++changed;
        }
        JsonDoc expected;
        PlainReader reader(bytes);
        const bool isExpected = PlainUnpack(reader, expected.Root());
        JsonDoc document;
        ASSERT_EQ(isExpected, core::BsonToJson(BoxOf(bytes), document.Root()));
        const std::string shape = ShapeOf(document.Root());
        ASSERT_EQ(ShapeOf(expected.Root()), shape);
        // What has come through packs into bytes from which it comes again.
        if (isExpected) {
            BsonBox again;
            core::JsonToBson(document.Root(), again);
            ASSERT_TRUE(core::BsonToJson(again, expected.Root()));
            ASSERT_EQ(shape, ShapeOf(expected.Root()));
        }
    }
    EXPECT_LT(1'000, changed);
}

/// `depth` containers in each other, around `inner`.
Bytes Nested(int depth, const Bytes& head, const Bytes& inner) {
    Bytes bytes;
    for (int i = 0; i < depth; ++i) {
        bytes.insert(bytes.end(), head.begin(), head.end());
    }
    bytes.insert(bytes.end(), inner.begin(), inner.end());
    return bytes;
}

TEST(JsonBson, AMillionContainersInEachOtherNeedNoStack) {
    support::OnSmallStack([] {
        constexpr int kDepth = 1'000'000;
        for (const Bytes& head : {Bytes{0x91}, Bytes{0x81, 0xA1, 'k'}}) {
            const Bytes bytes = Nested(kDepth, head, {0xC3});
            JsonDoc document;
            ASSERT_TRUE(core::BsonToJson(BoxOf(bytes), document.Root()));
            EXPECT_TRUE(bytes == Packed(document.Root()));
            document.Root().Clear();
        }
        // Each of them still waits for more when the bytes end.
        const Bytes waiting = Nested(kDepth, {0xDD, 0x7F, 0xFF, 0xFF, 0xFF}, {});
        JsonDoc document;
        ASSERT_TRUE(core::BsonToJson(BoxOf(waiting), document.Root()));
        const JsonArray* array = &document.Root().AsArray();
        int depth = 1;
        while (array->First()->IsArray()) {
            ASSERT_EQ(2, array->Count());
            ASSERT_TRUE((*array)[1].IsNull());
            array = &array->First()->AsArray();
            ++depth;
        }
        EXPECT_EQ(kDepth, depth);
        EXPECT_EQ(1, array->Count());
    });
}

TEST(JsonBson, CountsThatTheBytesDoNotBackCostNoMemory) {
    const BsonBox array = BoxOf({0xDD, 0x7F, 0xFF, 0xFF, 0xFF, 0xC3});
    const BsonBox map = BoxOf({0xDF, 0x7F, 0xFF, 0xFF, 0xFF, 0xA1, 'a', 0xC3});
    JsonDoc document;
    const std::size_t before = AllocationsSoFar();
    EXPECT_TRUE(core::BsonToJson(array, document.Root()));
    EXPECT_TRUE(core::BsonToJson(map, document.Root()));
    // All of it from the first block of the document.
    EXPECT_EQ(before, AllocationsSoFar());
}

}  // namespace
