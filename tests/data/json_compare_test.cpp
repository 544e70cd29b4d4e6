#include <core/data/json_compare.h>
#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/data/json_pointer.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_grammar.h"
#include "support/json_model.h"
#include "support/small_stack.h"

namespace {

using core::AreEqual;
using core::FindDifferences;
using core::JsonCompareOptions;
using core::JsonDoc;
using core::JsonMemberOrder;
using core::JsonValue;

constexpr JsonCompareOptions kInOrder = {JsonMemberOrder::Counts};

TEST(JsonCompare, NumbersAreEqualByValue) {
    const auto number = [](auto value) {
        JsonValue held;
        held.Set(value);
        return held;
    };
    // Each row holds one number in its ways; no two rows are equal.
    std::vector<std::vector<JsonValue>> rows(10);
    rows[0] = {number(0), number(0U), number(0.0), number(-0.0)};
    rows[1] = {number(-1), number(-1.0)};
    rows[2] = {number(UINT64_MAX)};
    rows[3] = {number(0x1p64)};
    rows[4] = {number(INT64_MAX), number(std::uint64_t{INT64_MAX})};
    rows[5] = {number(0x1p63), number(std::uint64_t{1} << 63)};
    rows[6] = {number(INT64_MIN), number(-0x1p63)};
    rows[7] = {number((std::int64_t{1} << 53) + 1)};
    rows[8] = {number(0x1p53), number(std::int64_t{1} << 53)};
    rows[9] = {number(std::nan("")), number(-std::nan(""))};
    rows.push_back({number(HUGE_VAL)});
    rows.push_back({number(0.5)});
    rows.push_back({number(true)});
    rows.push_back({number(nullptr)});
    rows.push_back({JsonValue()});
    rows.push_back({number("0")});
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < rows.size(); ++j) {
            for (const JsonValue& a : rows[i]) {
                for (const JsonValue& b : rows[j]) {
                    EXPECT_EQ(i == j, AreEqual(a, b)) << i << " " << j;
                }
            }
        }
    }
}

TEST(JsonCompare, NamesThePlacesThatDiffer) {
    const auto shown = [](const JsonValue* value) {
        std::string text = "none";
        value != nullptr ? value->Dump(text) : void();
        return text;
    };
    for (const support::FileRow& row : support::RowsOf("compared_trees.txt")) {
        JsonDoc before, after;
        ASSERT_TRUE(ParseJson(row[""], before.Root()) && ParseJson(row["after"], after.Root()));
        for (const bool isInOrder : {false, true}) {
            const JsonCompareOptions options = isInOrder ? kInOrder : JsonCompareOptions();
            std::string places;
            for (const auto& place : FindDifferences(before.Root(), after.Root(), options)) {
                places +=
                    place.pointer + " " + shown(place.before) + ">" + shown(place.after) + " ";
            }
            const bool isOther = isInOrder && !row["in order"].empty();
            EXPECT_EQ(row[isOther ? "in order" : "places"], "<" + places + ">") << row.name;
            EXPECT_EQ(places.empty(), AreEqual(before.Root(), after.Root(), options));
        }
    }
}

// A copy is equal, a copy with one value changed differs at that value alone.
TEST(JsonCompare, FindsWhatWasChanged) {
    Dice dice(9);
    for (int round = 0; round < 3000; ++round) {
        JsonDoc before;
        if (!ParseJson(support::RandomJsonText(dice), before.Root())) {
            continue;
        }
        JsonDoc after;
        after.Root() = before.Root();
        ASSERT_TRUE(AreEqual(before.Root(), after.Root(), kInOrder));
        JsonValue* value = &after.Root();
        for (core::JsonArray* array = nullptr; value->Get(array) && array->Count() > 0;) {
            value = &(*array)[dice.Below(array->Count())];
        }
        const std::string old = value->IsString() ? value->AsString() : "";
        *value = old + "changed";
        const auto places = FindDifferences(before.Root(), after.Root());
        ASSERT_EQ(1U, places.size());
        ASSERT_EQ(value, places[0].after);
        ASSERT_EQ(value, FindByPointer(after.Root(), places[0].pointer));
        ASSERT_EQ(places[0].before, FindByPointer(before.Root(), places[0].pointer));
    }
}

TEST(JsonCompare, TakesAnyDepth) {
    support::OnSmallStack([] {
        const auto nested = [](int bottom) {
            JsonValue value;
            JsonValue* at = &value;
            for (int i = 0; i < 500'000; ++i) {
                at = &at->MakeEmptyArray().Add(nullptr);
            }
            at->Set(bottom);
            return value;
        };
        const JsonValue a = nested(1), b = nested(2);
        EXPECT_FALSE(AreEqual(a, b));
        EXPECT_EQ(1'000'000U, FindDifferences(a, b).at(0).pointer.size());
    });
}

}  // namespace
