#include <core/curve/parameter.h>
#include <core/curve/val_any.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/allocations.h"

namespace {

using core::AnyBadAccess;
using core::Pointd;
using core::ValAny;

// A pointer that turns into a boolean is the classic trap of such a type.
template <class T>
constexpr bool kConverts = std::is_constructible_v<ValAny, T> || std::is_convertible_v<T, ValAny>;
static_assert(!kConverts<void*> && !kConverts<const void*> && !kConverts<int*> &&
              !kConverts<const double*> && !kConverts<Pointd*> && !kConverts<const ValAny*> &&
              !kConverts<core::Parameter*> && !kConverts<std::string*> && !kConverts<void (*)()> &&
              !kConverts<const wchar_t*> && !kConverts<const unsigned char*> &&
              !kConverts<int ValAny::*>);
static_assert(std::is_convertible_v<const char*, ValAny> && std::is_convertible_v<char*, ValAny>);
static_assert(std::is_nothrow_move_constructible_v<ValAny>);
static_assert(std::is_nothrow_move_assignable_v<ValAny>);

struct Row {
    const char* name;
    ValAny value;
    int kind;
    /// What the number reads as; for other kinds unused.
    double number;
    int truncated;
};

std::vector<Row> Rows() {
    const std::string longText(100, 'x');
    return {
        {"default", ValAny(), 2, 0.0, 0},
        {"none", ValAny(nullptr), 0, 0, 0},
        {"null text", ValAny(static_cast<const char*>(nullptr)), 0, 0, 0},
        {"true", true, 1, 0, 0},
        {"false", false, 1, 0, 0},
        {"lowest int", std::numeric_limits<int>::min(), 2, -2147483648.0, -2147483647 - 1},
        {"unsigned", 4294967295u, 3, 4294967295.0, 2147483647},
        {"int64", std::int64_t{-5000000000}, 4, -5e9, -2147483647 - 1},
        {"unsigned64", std::numeric_limits<std::uint64_t>::max(), 5, 18446744073709551615.0,
         2147483647},
        {"float", 0.5f, 6, 0.5, 0},
        {"double", 2.75, 7, 2.75, 2},
        {"negative double", -2.75, 7, -2.75, -2},
        {"largest double", 1.7976931348623157e308, 7, 1.7976931348623157e308, 2147483647},
        {"point", Pointd{1.5, -2.5}, 272, 0, 0},
        {"text", "Opening", 288, 0, 0},
        {"empty text", "", 288, 0, 0},
        {"long text", longText, 288, 0, 0},
    };
}

/// Kind and content, read through every accessor.
std::string Describe(const ValAny& value) {
    std::string text = std::to_string(value.Kind());
    auto add = [&text](const char* name, auto read) {
        try {
            text += std::string(" ") + name + "=" + read();
        } catch (const AnyBadAccess& error) {
            EXPECT_STREQ("ValAny Bad Access", error.what());
        }
    };
    add("bool", [&] { return std::to_string(value.AsBool()); });
    add("int", [&] { return std::to_string(value.AsInt()); });
    add("double", [&] { return std::to_string(value.AsDouble()); });
    add("point", [&] {
        return std::to_string(value.AsPoint().x) + "," + std::to_string(value.AsPoint().y);
    });
    add("text", [&] { return value.AsString(); });
    return text;
}

TEST(ValAny, ReadsAsItsOwnKindAndThrowsForOthers) {
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.name);
        bool isNumber = row.kind >= 2 && row.kind <= 7;
        EXPECT_EQ(row.kind, row.value.Kind());
        EXPECT_EQ(row.kind == 0, row.value.IsEmpty());
        EXPECT_EQ(isNumber, row.value.IsNumber());
        if (isNumber) {
            EXPECT_EQ(row.number, row.value.AsDouble());
            EXPECT_EQ(row.truncated, row.value.AsInt());
        } else {
            EXPECT_THROW(row.value.AsDouble(), AnyBadAccess);
            EXPECT_THROW(row.value.AsInt(), AnyBadAccess);
        }
        if (row.kind != 1) {
            EXPECT_THROW(row.value.AsBool(), AnyBadAccess);
        }
        if (row.kind != 272) {
            EXPECT_THROW(row.value.AsPoint(), AnyBadAccess);
        }
        if (row.kind != 288) {
            EXPECT_THROW(row.value.AsString(), AnyBadAccess);
        }
    }
    EXPECT_TRUE(ValAny(true).AsBool());
    EXPECT_FALSE(ValAny(false).AsBool());
    EXPECT_EQ((Pointd{1.5, -2.5}), ValAny(Pointd{1.5, -2.5}).AsPoint());
    EXPECT_EQ("Opening", ValAny("Opening").AsString());
    EXPECT_EQ(0, ValAny(std::numeric_limits<double>::quiet_NaN()).AsInt());
    const std::string withZero("a\0b", 3);
    EXPECT_EQ(withZero, ValAny(withZero).AsString());
}

TEST(ValAny, CopiesMovesAndAssignsAnyKindOverAnyOther) {
    for (const Row& from : Rows()) {
        for (const Row& to : Rows()) {
            SCOPED_TRACE(std::string(from.name) + " over " + to.name);
            const std::string expected = Describe(from.value);
            ValAny assigned = to.value;
            {
                ValAny source = from.value;
                assigned = source;
                EXPECT_EQ(expected, Describe(source));
            }
            EXPECT_EQ(expected, Describe(assigned));  // the source is gone

            ValAny moved = to.value;
            moved = std::move(assigned);
            EXPECT_EQ(expected, Describe(moved));
            assigned = to.value;  // a moved-from value can be used again
            EXPECT_EQ(Describe(to.value), Describe(assigned));

            ValAny& itself = moved;
            moved = itself;
            EXPECT_EQ(expected, Describe(moved));
            moved = std::move(itself);
            EXPECT_EQ(expected, Describe(moved));
        }
    }
}

TEST(ValAny, NumbersNeverAllocate) {
    ValAny text = std::string(100, 'x');
    std::size_t before = AllocationsSoFar();
    for (int i = 0; i < 10; ++i) {
        ValAny values[] = {ValAny(), true, i, 1u, std::int64_t{1}, std::uint64_t{1}, 0.5f, 0.25};
        for (ValAny& value : values) {
            ValAny copy = value;
            ValAny moved = std::move(copy);
            copy = moved;
            value = copy;
        }
        ValAny stolen = std::move(text);
        text = std::move(stolen);
    }
    EXPECT_EQ(before, AllocationsSoFar());
    ValAny copy = text;
    EXPECT_LT(before, AllocationsSoFar()) << "the count itself does not work";
}

}  // namespace
