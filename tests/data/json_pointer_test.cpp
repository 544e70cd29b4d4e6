#include <core/data/json_doc.h>
#include <core/data/json_pointer.h>
#include <core/data/json_tree.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>

#include "support/file_rows.h"
#include "support/json_model.h"
#include "support/tracked_allocator.h"

namespace {

using core::EraseByPointer;
using core::FindByPointer;
using core::JsonDoc;
using core::JsonTree;
using core::JsonValue;
using core::SetByPointer;
using support::ModelOf;

std::string TextOf(const JsonValue* value) {
    std::string text = "none";
    if (value != nullptr) {
        value->Dump(text);
    }
    return text;
}

TEST(JsonPointer, FindsTheExamplesOfItsStandard) {
    JsonDoc document;
    ASSERT_GT(document.Parse(R"({"foo": ["bar", "baz"], "": 0, "a/b": 1, "c%d": 2, "e^f": 3,)"
                             R"("g|h": 4, "i\\j": 5, "k\"l": 6, " ": 7, "m~n": 8})"),
              0);
    for (const support::FileRow& row : support::RowsOf("found_places.txt")) {
        EXPECT_EQ(row[""], TextOf(FindByPointer(std::as_const(document).Root(), row.name)))
            << row.name;
    }
    EXPECT_EQ(&document.Root(), FindByPointer(document.Root(), ""));
    EXPECT_EQ("baz", ValueByPointerOr(document.Root(), "/foo/1", "none"));
    EXPECT_EQ(7, ValueByPointerOr(document.Root(), "/foo/2", 7));
}

TEST(JsonPointer, MakesWhatIsMissingOrChangesNothing) {
    for (const support::FileRow& row : support::RowsOf("made_places.txt")) {
        SCOPED_TRACE(row[""] + row.name);
        const bool isMade = row[""] != row["after"];
        for (std::size_t n = 1;; ++n) {
            support::TrackedAllocator allocator;
            JsonValue root(&allocator);
            ASSERT_GT(root.Parse(row[""].c_str()), 0);
            allocator.FailAt(n);
            try {
                const JsonValue* const place = SetByPointer(root, row.name, 9);
                allocator.FailAt(0);
                EXPECT_EQ(row["after"], TextOf(&root));
                EXPECT_EQ(isMade ? FindByPointer(root, row.name) : nullptr,
                          row.name.ends_with('-') ? nullptr : place);
                break;
            } catch (const std::bad_alloc&) {
                allocator.FailAt(0);
                ASSERT_EQ(row[""], TextOf(&root)) << "allocation " << n;
            }
        }
    }
    JsonDoc document;
    SetByPointer(document.Root(), "/list/0", "text");
    SetByPointer(document.Root(), "/list/-", *FindByPointer(document.Root(), "/list"));
    SetByPointer(document.Root(), "/zero", 0);
    SetByPointer(document.Root(), "/null", 1);
    SetByPointer(document.Root(), "/null", nullptr);
    EXPECT_EQ(nullptr, SetByPointer(document.Root(), "null", nullptr));
    EXPECT_EQ(R"({"list": ["text",["text"]],"zero": 0,"null": null})", TextOf(&document.Root()));
    EXPECT_TRUE(EraseByPointer(document.Root(), "/list/0"));
    EXPECT_TRUE(EraseByPointer(document.Root(), "/zero"));
    EXPECT_FALSE(EraseByPointer(document.Root(), "/list/1"));
    for (const char* const pointer : {"", "/", "list", "/list/~", "/zero/0", "/list/-"}) {
        EXPECT_FALSE(EraseByPointer(document.Root(), pointer));
        EXPECT_FALSE(EraseByPointer(*FindByPointer(document.Root(), "/null"), pointer));
    }
    EXPECT_EQ(R"({"list": [["text"]],"null": null})", TextOf(&document.Root()));
}

TEST(JsonTree, OutlivesWhatItWasCopiedFromAndMovesAtNoCost) {
    JsonTree tree;
    EXPECT_TRUE(std::as_const(tree).Root().IsEmpty());
    {
        JsonDoc document;
        SetByPointer(document.Root(), "/name/0", "a text that takes more than sixteen bytes");
        tree = JsonTree(document.Root());
    }
    const auto model = ModelOf(*tree);
    const JsonValue* const inside = FindByPointer(tree.Root(), "/name/0");
    JsonTree moved(std::move(tree));
    EXPECT_EQ(inside, FindByPointer(moved.Root(), "/name/0"));
    EXPECT_TRUE(tree->IsEmpty());
    JsonTree copy(moved);
    copy.Root() = 1;
    swap(copy, moved);
    EXPECT_EQ(inside, FindByPointer(copy.Root(), "/name/0"));
    moved = copy;
    EXPECT_EQ(model, ModelOf(*moved));
    EXPECT_NE(inside, FindByPointer(moved.Root(), "/name/0"));
}

}  // namespace
