#include <core/curve/any_kind_mismatch.h>
#include <core/curve/parameter.h>
#include <core/curve/time_value_pair.h>
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
static_assert(!kConverts<void*> && !kConverts<const int*> && !kConverts<core::Parameter*> &&
              !kConverts<void (*)()> && !kConverts<const wchar_t*> && !kConverts<int ValAny::*>);
static_assert(std::is_nothrow_move_constructible_v<ValAny> &&
              std::is_nothrow_move_assignable_v<ValAny>);

/// Kind and content, read through every accessor; those that throw are left out.
std::string Describe(const ValAny& value) {
    std::string text = std::to_string(value.Kind());
    auto add = [&](const char* name, auto read) {
        try {
            text += std::string(" ") + name + "=" + read();
        } catch (const AnyBadAccess& error) {
            EXPECT_STREQ("ValAny Bad Access", error.what());
            const auto& mismatch = dynamic_cast<const core::AnyKindMismatch&>(error);
            EXPECT_EQ(value.Kind(), mismatch.HeldKind());
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

struct Row {
    ValAny value;
    std::string description;
};

const std::vector<Row>& Rows() {
    static const std::string longText(100, 'x');
    static const std::vector<Row> rows = {
        {ValAny(), "2 int=0 double=0.000000"},
        {nullptr, "0"},
        {static_cast<const char*>(nullptr), "0"},
        {true, "1 bool=1"},
        {false, "1 bool=0"},
        {-2147483647 - 1, "2 int=-2147483648 double=-2147483648.000000"},
        {4294967295u, "3 int=2147483647 double=4294967295.000000"},
        {std::int64_t{-5000000000}, "4 int=-2147483648 double=-5000000000.000000"},
        {std::numeric_limits<std::uint64_t>::max(),
         "5 int=2147483647 double=18446744073709551616.000000"},
        {0.5f, "6 int=0 double=0.500000"},
        {-2.75, "7 int=-2 double=-2.750000"},
        {-1e20, "7 int=-2147483648 double=-100000000000000000000.000000"},
        {Pointd{1.5, -2.5}, "272 point=1.500000,-2.500000"},
        {"Opening", "288 text=Opening"},
        {std::string("a\0b", 3), std::string("288 text=a\0b", 12)},
        {longText, "288 text=" + longText},
    };
    return rows;
}

TEST(ValAny, ReadsAsItsOwnKindAndThrowsForOthers) {
    for (const Row& row : Rows()) {
        EXPECT_EQ(row.description, Describe(row.value));
        bool isNumber = row.description.find("double=") != std::string::npos;
        EXPECT_EQ(isNumber, row.value.IsNumber()) << row.description;
        EXPECT_EQ(row.value.Kind() == 0, row.value.IsEmpty()) << row.description;
    }
    EXPECT_EQ(0, ValAny(std::numeric_limits<double>::quiet_NaN()).AsInt());
    try {
        ValAny("x").AsPoint();
        FAIL();
    } catch (const core::AnyKindMismatch& error) {
        EXPECT_EQ(static_cast<int>(ValAny::kPoint), error.WantedKind());
        EXPECT_EQ("a text where a point was wanted", error.Message());
    }
}

TEST(ValAny, CopiesMovesAndAssignsAnyKindOverAnyOther) {
    for (const Row& from : Rows()) {
        for (const Row& to : Rows()) {
            SCOPED_TRACE(from.description + " over " + to.description);
            ValAny assigned = to.value;
            {
                ValAny source = from.value;
                assigned = source;
                EXPECT_EQ(from.description, Describe(source));
            }
            EXPECT_EQ(from.description, Describe(assigned));  // the source is gone

            ValAny moved = to.value;
            moved = std::move(assigned);
            EXPECT_EQ(from.description, Describe(moved));
            assigned = to.value;  // a moved-from value can be used again
            EXPECT_EQ(to.description, Describe(assigned));

            ValAny& itself = moved;
            moved = itself;
            EXPECT_EQ(from.description, Describe(moved));
            moved = std::move(itself);
            EXPECT_EQ(from.description, Describe(moved));
        }
    }
}

TEST(ValAny, NumbersNeverAllocate) {
    ValAny text = std::string(100, 'x');
    std::size_t before = AllocationsSoFar();
    ValAny values[] = {ValAny(), true, 1, 1u, std::int64_t{1}, std::uint64_t{1}, 0.5f, 0.25};
    for (ValAny& value : values) {
        ValAny copy = value;
        ValAny moved = std::move(copy);
        copy = moved;
        value = copy;
    }
    ValAny stolen = std::move(text);
    text = std::move(stolen);
    EXPECT_EQ(before, AllocationsSoFar());
    ValAny copy = text;
    EXPECT_LT(before, AllocationsSoFar()) << "the count itself does not work";
}

TEST(TimeValuePair, StartsAtTimeZeroAsIntegerZeroAndExtrapolates) {
    const core::TimeValuePair pair;
    EXPECT_EQ(0.0, pair.GetTime());
    EXPECT_EQ(core::KeyframeInterpolationType(26), pair.GetInterpolation());
    EXPECT_TRUE(pair.GetValue().Kind() == ValAny::kInt && pair.GetValue().AsInt() == 0);
}

}  // namespace
