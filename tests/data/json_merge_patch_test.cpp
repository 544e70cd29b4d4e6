#include <core/data/json_doc.h>
#include <core/data/json_merge_patch.h>
#include <core/data/json_parse.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_model.h"
#include "support/small_stack.h"
#include "support/tracked_allocator.h"

namespace {

using core::JsonDoc;
using core::JsonValue;
using core::MergePatch;
using support::JsonModel;
using support::ModelOf;

TEST(MergePatch, DoesTheExamplesOfItsStandard) {
    for (const support::FileRow& row : support::RowsOf("merge_patches.txt")) {
        JsonDoc target, patch;
        ASSERT_TRUE(ParseJson(row[""], target.Root()) && ParseJson(row["patch"], patch.Root()));
        MergePatch(target.Root(), patch.Root());
        std::string text;
        target.Dump(text);
        EXPECT_EQ(row["result"], text) << row.name;
    }
}

/// The algorithm of the standard, for names that do not repeat.
JsonModel Merged(JsonModel target, const JsonModel& patch) {
    if (patch.kind != JsonValue::kObject) {
        return patch;
    }
    if (target.kind != JsonValue::kObject) {
        target = JsonModel{.kind = JsonValue::kObject};
    }
    for (std::size_t i = 0; i < patch.names.size(); ++i) {
        const auto found = std::find(target.names.begin(), target.names.end(), patch.names[i]);
        const auto at = found - target.names.begin();
        if (patch.children[i].kind == JsonValue::kNull) {
            if (found != target.names.end()) {
                target.names.erase(found);
                target.children.erase(target.children.begin() + at);
            }
        } else if (found != target.names.end()) {
            JsonModel& child = target.children[static_cast<std::size_t>(at)];
            child = Merged(child, patch.children[i]);
        } else {
            target.names.push_back(patch.names[i]);
            target.children.push_back(Merged({}, patch.children[i]));
        }
    }
    return target;
}

void FillAnyhow(JsonValue& value, Dice& dice, int depth) {
    switch (depth > 0 ? dice.Below(6) : dice.Below(3)) {
        case 0:
            value.Set(dice.Below(9));
            break;
        case 1:
            value.Set(nullptr);
            break;
        case 2:
            value.MakeEmptyArray().Add("a text that takes more than sixteen bytes");
            break;
        default:
            value.MakeEmptyObject();
            for (const char* name : {"a", "b", "c", "d"}) {
                if (dice.OneIn(2)) {
                    FillAnyhow(value.AsObject().Add(name, nullptr), dice, depth - 1);
                }
            }
    }
}

TEST(MergePatch, IsWholeOrNotAtAll) {
    Dice dice(5);
    for (int round = 0; round < 3000; ++round) {
        JsonValue patch;
        FillAnyhow(patch, dice, 4);
        const bool isInside = dice.OneIn(4);
        support::TrackedAllocator allocator;
        JsonValue target(&allocator);
        FillAnyhow(target, dice, 4);
        if (isInside && target.IsObject() && target.AsObject().Count() > 0) {
            patch = *target.AsObject().First();
        }
        const JsonModel before = ModelOf(target);
        const JsonModel expected = Merged(before, ModelOf(patch));
        for (std::size_t n = 1;; ++n) {
            allocator.FailAt(n);
            try {
                MergePatch(target, isInside && target.IsObject() && target.AsObject().Count() > 0
                                       ? *target.AsObject().First()
                                       : patch);
                break;
            } catch (const std::bad_alloc&) {
                ASSERT_EQ(before, ModelOf(target)) << "allocation " << n;
            }
        }
        allocator.FailAt(0);
        ASSERT_EQ(expected, ModelOf(target));
        for (const JsonValue* value = &target; value->IsObject() && value->AsObject().Count() > 0;
             value = value->AsObject().First()) {
            for (const core::JsonMember& member : value->AsObject()) {
                ASSERT_EQ(&value->AsObject(), member.Parent());
            }
        }
    }
}

TEST(MergePatch, TakesAnyDepthAndManyMembers) {
    support::OnSmallStack([] {
        const auto nested = [](int depth, const char* name) {
            JsonValue value;
            JsonValue* at = &value;
            for (int i = 0; i < depth; ++i) {
                at = &at->MakeEmptyObject()["x"];
            }
            at->MakeEmptyObject()[name] = 1;
            return value;
        };
        JsonValue target = nested(100'000, "a");
        MergePatch(target, nested(200'000, "b"));
        JsonValue many, patch;
        for (int i = 0; i < 100'000; ++i) {
            many.IsObject() ? void() : void(many.MakeEmptyObject());
            many.AsObject().Add(std::to_string(i), i);
            patch.IsObject() ? void() : void(patch.MakeEmptyObject());
            patch.AsObject().Add(std::to_string(2 * i), nullptr);
        }
        MergePatch(many, patch);
        EXPECT_EQ(50'000, many.AsObject().Count());
    });
}

}  // namespace
