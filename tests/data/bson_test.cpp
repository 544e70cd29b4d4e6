#include <core/data/bson_packer.h>
#include <core/data/bson_unpacker.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/allocations.h"
#include "support/bson_model.h"
#include "support/dice.h"
#include "support/file_rows.h"
#include "support/split.h"

namespace {

using core::BsonBox;
using core::BsonItem;
using core::BsonMapSize;
using core::BsonPacker;
using core::BsonTupleSize;
using core::BsonUnpacker;
using support::Bytes;
using support::PlainItem;
using support::PlainReader;

Bytes BytesOf(const BsonBox& box) {
    return {box.Data(), box.Data() + box.Size()};
}

template <class T>
Bytes Packed(const T& value) {
    BsonPacker packer;
    packer << value;
    return BytesOf(packer.Take());
}

/// "D2 00 05": as a reader of dumps writes bytes; only the first ones of many.
std::string Hex(const Bytes& bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size() && i < 12; ++i) {
        char pair[4];
        std::snprintf(pair, sizeof pair, i == 0 ? "%02X" : " %02X", unsigned{bytes[i]});
        text += pair;
    }
    return text;
}

/// A number as a type of which this is the name; a count of letters, pairs or elements too.
Bytes PackedAs(const std::string& type, const char* text) {
    const double number = std::strtod(text, nullptr);
    const auto whole = [text] { return std::int64_t{std::strtoll(text, nullptr, 10)}; };
    const auto count = [number] { return static_cast<std::int32_t>(number); };
    return type == "signed char"      ? Packed(static_cast<signed char>(number))
           : type == "short"          ? Packed(static_cast<short>(number))
           : type == "int"            ? Packed(static_cast<int>(number))
           : type == "long"           ? Packed(static_cast<long>(number))
           : type == "int64"          ? Packed(whole())
           : type == "unsigned char"  ? Packed(static_cast<unsigned char>(number))
           : type == "unsigned short" ? Packed(static_cast<unsigned short>(number))
           : type == "unsigned"       ? Packed(static_cast<unsigned>(number))
           : type == "uint64"         ? Packed(std::uint64_t{std::strtoull(text, nullptr, 10)})
           : type == "float"          ? Packed(static_cast<float>(number))
           : type == "double"         ? Packed(number)
           : type == "map"            ? Packed(BsonMapSize(count()))
           : type == "tuple"          ? Packed(BsonTupleSize(count()))
                                      : Packed(std::string(static_cast<std::size_t>(number), 'a'));
}

TEST(BsonPacker, WritesEachTypeInItsOwnForm) {
    for (const support::FileRow& row : support::RowsOf("packed_forms.txt")) {
        for (const std::string& line : support::Split(row[""], '\n')) {
            const std::size_t colon = line.find(": ");
            const std::string expected = line.substr(colon + 2);
            const std::string hex = Hex(PackedAs(row.name, line.c_str()));
            EXPECT_EQ(expected, row.name == "text" ? hex.substr(0, expected.size()) : hex)
                << row.name << " " << line;
        }
    }
    EXPECT_EQ(Bytes{0xC0}, Packed(nullptr));
    EXPECT_EQ(Bytes{0xC2}, Packed(false));
    EXPECT_EQ(Bytes{0xC3}, Packed(true));
    EXPECT_EQ(Bytes{0xA0}, Packed(static_cast<const char*>(nullptr)));
    EXPECT_EQ((Bytes{0xA3, 'a', 0, 'b'}), Packed(std::string("a\0b", 3)));
    EXPECT_EQ(65536U + 5U, PackedAs("text", "65536").size());
}

template <class T>
bool Fits(long double number) {
    using Limits = std::numeric_limits<T>;
    return number >= static_cast<long double>(Limits::min()) &&
           number <= static_cast<long double>(Limits::max());
}

/// Calls `check(T)` for each integer type that items know.
template <class Check>
void ForEachIntegerType(Check&& check) {
    std::apply([&](auto... types) { (check(types), ...); },
               std::tuple<signed char, unsigned char, short, unsigned short, int, unsigned, long,
                          unsigned long, long long, unsigned long long>());
}

// An integer is what it was, through every type that it fits: not even the sign
// tells the types apart that read it.
TEST(BsonItem, AnIntegerIsReadByEveryTypeThatItFits) {
    int compared = 0;
    for (const long double number : support::EdgeNumbers()) {
        ForEachIntegerType([&](auto stored) {
            using Stored = decltype(stored);
            // The byte-sized setters change kinds; they have a test of their own.
            if (sizeof(Stored) == 1 || !Fits<Stored>(number)) {
                return;
            }
            BsonItem item;
            item.Set(static_cast<Stored>(number));
            ForEachIntegerType([&](auto read) {
                using Read = decltype(read);
                Read value = 77;
                const bool isRead = item.Get(value);
                ++compared;
                EXPECT_EQ(Fits<Read>(number), isRead) << number << " kind " << item.Kind();
                EXPECT_EQ(isRead ? number : 77.0L, static_cast<long double>(value));
            });
        });
    }
    EXPECT_LT(10'000, compared);
}

TEST(BsonItem, ByteSizedSettersCrossOverAndLeaveTheOtherBytes) {
    BsonItem item;
    int value = 0;
    item.Set(static_cast<signed char>(-5));
    EXPECT_EQ(BsonItem::kUint8, item.Kind());
    EXPECT_TRUE(item.Get(value) && value == 251);

    item.Set(-1);
    item.Set(static_cast<unsigned char>(5));
    EXPECT_EQ(BsonItem::kInt16, item.Kind());
    EXPECT_TRUE(item.Get(value) && value == -251) << value;
    bool flag = true;
    item.Set(false);
    EXPECT_TRUE(item.Get(flag) && !flag);
    item.Set(true);
    EXPECT_TRUE(item.Get(flag) && flag);
    item.Set(static_cast<signed char>(7));
    item.Set(static_cast<unsigned char>(6));
    EXPECT_TRUE(item.Get(value) && value == -250) << value;
    item.Set(short{0x1234});
    item.Set(static_cast<unsigned char>(0x56));
    EXPECT_TRUE(item.Get(value) && value == 0x1256) << value;
}

TEST(BsonItem, AnItemOfAnotherKindIsNotReadAndNothingIsStored) {
    const std::function<void(BsonItem&)> setters[] = {
        [](BsonItem&) {},
        [](BsonItem& item) { item.Set(nullptr); },
        [](BsonItem& item) { item.Set(true); },
        [](BsonItem& item) { item.Set(1); },
        [](BsonItem& item) { item.Set(1.5F); },
        [](BsonItem& item) { item.Set(1e300); },
        [](BsonItem& item) { item.Set("1", 1); },
        [](BsonItem& item) { item.SetTupleSize(1); },
        [](BsonItem& item) { item.SetMapSize(1); },
    };
    // Which of the questions below each of them answers; nil is no value.
    const char* const expected[] = {"", "", "b", "i", "f", "f", "s", "t", "m"};
    for (std::size_t i = 0; i < std::size(setters); ++i) {
        BsonItem item;
        setters[i](item);
        EXPECT_EQ(i != 0, static_cast<bool>(item));
        EXPECT_EQ(i == 1, item.IsNull());
        bool flag = false;
        int number = 7;
        float single = 7.0F;
        double real = 7.0;
        std::string text = "7";
        const char* pointer = "7";
        std::int32_t elements = 7;
        std::int32_t pairs = 7;
        std::string answered;
        const auto ask = [&](const char* name, bool isAnswered, bool isKind) {
            EXPECT_EQ(isKind, isAnswered) << name;
            answered += isAnswered ? name : "";
        };
        ask("b", item.Get(flag), item.IsBool());
        ask("i", item.Get(number), item.IsInteger());
        ask("f", item.Get(real), item.IsFloat());
        ask("s", item.Get(pointer), item.IsString());
        ask("t", item.GetTupleSize(elements), item.IsTuple());
        ask("m", item.GetMapSize(pairs), item.IsMap());
        EXPECT_EQ(expected[i], answered);
        EXPECT_EQ(item.IsFloat(), item.Get(single));
        EXPECT_EQ(item.IsString(), item.Get(text));
        EXPECT_EQ(item.IsString() ? "1" : "7", text);
        EXPECT_EQ(item.IsString(), pointer != nullptr);
        EXPECT_EQ(item.IsInteger() ? 1 : 7, number);
    }
    BsonItem item;
    std::string text = "left over";
    item.Set("text");
    item.Set("text", 0);
    EXPECT_TRUE(item.Get(text) && text.empty());
    item.Set("text");
    item.Set(static_cast<const char*>(nullptr));
    EXPECT_TRUE(item.Get(text) && text.empty());
    float single = 0.0F;
    double real = 0.0;
    item.Set(1e300);
    EXPECT_TRUE(item.Get(single) && std::isinf(single));
    item.Set(0.1F);
    EXPECT_TRUE(item.Get(real) && real == static_cast<double>(0.1F));
}

TEST(BsonUnpacker, AgreesWithAPlainReaderOnWhateverBytesThereAre) {
    constexpr int kRounds = 20'000;
    Dice dice(7);
    int failures = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        BsonPacker packer;
        for (int i = dice.Below(6); i > 0; --i) {
            if (dice.OneIn(12)) {
                packer << BsonMapSize(static_cast<std::int32_t>(dice.Bits()));
            } else if (dice.OneIn(12)) {
                packer << BsonTupleSize(static_cast<std::int32_t>(dice.Bits()));
            } else {
                support::PackScalar(dice, packer);
            }
        }
        Bytes bytes = BytesOf(packer.Take());
        // A cut, a changed byte, a byte too many; or as it was written.
        if (dice.OneIn(2)) {
            for (int i = dice.Below(3); i > 0 && !bytes.empty(); --i) {
                bytes[static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size())))] =
                    static_cast<unsigned char>(dice.Below(256));
            }
            if (dice.OneIn(2) && !bytes.empty()) {
                bytes.resize(static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size()))));
            } else {
                bytes.push_back(static_cast<unsigned char>(dice.Below(256)));
            }
        }
        // Of exactly this size, so that a read beyond it is seen.
        bytes.shrink_to_fit();
        PlainReader plain(bytes);
        BsonUnpacker unpacker(bytes.data(), bytes.size());
        BsonItem item;
        item.Set(std::int64_t{-1});  // of which nothing may show in what is read
        while (!unpacker.Failed()) {
            const PlainItem expected = plain.Next();
            const BsonItem* read = &item;
            if (dice.OneIn(2)) {
                unpacker >> item;
            } else {
                read = unpacker.GetNextItem();
            }
            ASSERT_EQ(expected.kind == 0, unpacker.Failed());
            ASSERT_EQ(plain.IsAtEnd(), unpacker.Eos());
            if (!unpacker.Failed()) {
                ASSERT_TRUE(support::IsSame(expected, *read));
            } else {
                ASSERT_TRUE(read == nullptr || !*read);
                ++failures;
            }
        }
    }
    EXPECT_EQ(kRounds, failures);
}

TEST(BsonUnpacker, AFailureLastsUntilItIsOpenedAgain) {
    const Bytes good = {0xC0, 0xC3};
    for (const support::FileRow& row : support::RowsOf("broken_items.txt")) {
        SCOPED_TRACE(row.name);
        const Bytes bytes = support::BytesOfHex(row[""]);
        BsonUnpacker unpacker(bytes.data(), bytes.size());
        EXPECT_EQ(nullptr, unpacker.GetNextItem());
        EXPECT_TRUE(unpacker.Failed());
        EXPECT_EQ(row["at its end"] == "yes", unpacker.Eos());
        unpacker.Rewind();
        EXPECT_TRUE(unpacker.Failed());
        BsonItem item;
        item.Set("left over");
        unpacker >> item;
        EXPECT_FALSE(item);

        unpacker.Open(good.data(), good.size());
        EXPECT_FALSE((unpacker >> nullptr).Failed());
        EXPECT_TRUE(unpacker.GetNextItem()->IsBool());
        EXPECT_TRUE(unpacker.Eos());
        unpacker.Rewind();
        EXPECT_FALSE((unpacker >> nullptr).Failed());
    }
}

TEST(BsonUnpacker, WhatIsAskedForMustComeNext) {
    EXPECT_TRUE(BsonUnpacker(nullptr, 5).Eos());
    EXPECT_EQ(nullptr, BsonUnpacker(nullptr, 5).GetNextItem());
    BsonPacker packer;
    packer << BsonMapSize(3) << BsonTupleSize(4) << nullptr;
    const BsonBox box = packer.Take();
    const auto run = [&](const char* questions) {
        BsonUnpacker unpacker(box);
        BsonMapSize pairs(-7);
        BsonTupleSize elements(-7);
        for (const char* question = questions; *question != '\0'; ++question) {
            switch (*question) {
                case 'm':
                    unpacker >> pairs;
                    break;
                case 't':
                    unpacker >> elements;
                    break;
                default:
                    unpacker >> nullptr;
            }
        }
        return std::make_tuple(int{pairs}, int{elements}, unpacker.Failed());
    };
    EXPECT_EQ(std::make_tuple(3, 4, false), run("mtn"));
    EXPECT_EQ(std::make_tuple(-7, -7, true), run("tm"));
    EXPECT_EQ(std::make_tuple(-7, -7, true), run("tt"));
    EXPECT_EQ(std::make_tuple(3, -7, true), run("mnt"));
    EXPECT_EQ(std::make_tuple(3, -7, true), run("mm"));
    EXPECT_EQ(std::make_tuple(3, 4, true), run("mtnn"));
}

TEST(BsonUnpacker, ALengthThatTheBytesDoNotBackCostsNoMemory) {
    const Bytes bytes = {0xDB, 0x7F, 0xFF, 0xFF, 0xFF, 'a', 'b'};
    BsonUnpacker unpacker(bytes.data(), bytes.size());
    const std::size_t before = AllocationsSoFar();
    EXPECT_EQ(nullptr, unpacker.GetNextItem());
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(BsonPacker, TakesNoMoreThanThereCanBeAndStaysAsItWas) {
    BsonPacker packer;
    packer << "before";
    EXPECT_THROW(packer.Reserve(std::numeric_limits<std::size_t>::max()), std::length_error);
    packer.Reserve(3);
    packer.Reserve(0);
    packer << "after";
    EXPECT_EQ("A6 62 65 66 6F 72 65 A5 61 66 74 65", Hex(BytesOf(packer.Take())));
    EXPECT_EQ(0U, packer.Take().Size());

    packer << 1 << 2;
    packer.Clear();
    packer << true;
    EXPECT_EQ(Bytes{0xC3}, BytesOf(packer.Take()));

    // What a packer took over from another one, its room too, is its own.
    const std::string text(1'000'000, 'a');
    BsonPacker other;
    other << text;
    packer << 1;
    packer = std::move(other);
    packer << text << text;
    other << 2;
    EXPECT_EQ("D2 00 00 00 02", Hex(BytesOf(other.Take())));
    const BsonBox box = packer.Take();
    BsonUnpacker unpacker(box);
    for (int i = 0; i < 3; ++i) {
        std::string read;
        EXPECT_TRUE(unpacker.GetNextItem()->Get(read) && read == text);
    }
    EXPECT_TRUE(unpacker.Eos());
}

TEST(BsonBox, IsAValue) {
    const Bytes bytes = {1, 2, 3};
    BsonBox box(bytes.data(), bytes.size());
    BsonBox copy = box;
    EXPECT_NE(box.Data(), copy.Data());
    EXPECT_EQ(bytes, BytesOf(copy));
    const BsonBox moved = std::move(copy);
    EXPECT_EQ(bytes, BytesOf(moved));
    EXPECT_EQ(0U, copy.Size());
    copy = moved;
    box = std::move(copy);
    const BsonBox& self = box;
    box = self;
    EXPECT_EQ(bytes, BytesOf(box));
    box = BsonBox();
    EXPECT_EQ(0U, box.Size());
    EXPECT_EQ(0U, BsonBox(nullptr, 5).Size());
}

}  // namespace
